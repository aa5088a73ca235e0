#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "job/services/fault.h"
#include "job/services/template.h"

namespace tarn {
namespace {

constexpr Argument_kind integer{Item_kind::integer}, floating{Item_kind::floating}, text{Item_kind::text},
    logical{Item_kind::logical}, integers{Item_kind::integer, true}, floatings{Item_kind::floating, true},
    texts{Item_kind::text, true};

template <class... Kinds>
constexpr Template_fault fault_of(std::string_view layout, Kinds... kinds) {
  const std::array<Argument_kind, sizeof...(Kinds) + 1> list{kinds..., Argument_kind{}};
  return scan(layout, list.data(), sizeof...(Kinds)).fault;
}

// A template of the source that is bad does not compile: these are the checks that its constructor makes.
using enum Template_fault;
static_assert(scan("(a,q)").bad());
static_assert(fault_of("") == no_opening_bracket);
static_assert(fault_of("   ") == no_opening_bracket);
static_assert(fault_of("1x,a") == no_opening_bracket);
static_assert(fault_of("2(a)") == no_opening_bracket);
static_assert(fault_of("*(a)") == no_opening_bracket);
static_assert(fault_of("(a") == bracket_not_closed);
static_assert(fault_of("(2(a,i0)") == bracket_not_closed);
static_assert(fault_of("(a))") == text_behind_the_end);
static_assert(fault_of("(a) x") == text_behind_the_end);
static_assert(fault_of("(a)  ") == none);
static_assert(fault_of("((((((((((a))))))))))") == groups_too_deep);
static_assert(fault_of("(z5)") == unknown_item);
static_assert(fault_of("(a:)") == unknown_item);
static_assert(fault_of("(3)") == count_not_allowed);
static_assert(fault_of("(3,a)") == count_not_allowed);
static_assert(fault_of("(3'-')") == count_not_allowed);
static_assert(fault_of("(3t5)") == count_not_allowed);
static_assert(fault_of("('abc)") == literal_not_closed);
static_assert(fault_of("('it''s)") == literal_not_closed);
static_assert(fault_of("(\"abc')") == literal_not_closed);
static_assert(fault_of("(i)") == number_missing);
static_assert(fault_of("(f10)") == number_missing);
static_assert(fault_of("(f10.)") == number_missing);
static_assert(fault_of("(g14.7e)") == number_missing);
static_assert(fault_of("(g14.0)") == number_missing);
static_assert(fault_of("(e0.4)") == number_missing);
static_assert(fault_of("(i5.)") == number_missing);
static_assert(fault_of("(t)") == number_missing);
static_assert(fault_of("(t0)") == number_missing);
static_assert(fault_of("(p)") == number_missing);
static_assert(fault_of("(0x)") == number_missing);
static_assert(fault_of("(0a)") == number_missing);
static_assert(fault_of("(a0)") == number_missing);
static_assert(fault_of("(l0)") == number_missing);
static_assert(fault_of("(0(a))") == number_missing);
static_assert(fault_of("(99999999999a)") == number_too_large);
static_assert(fault_of("(10000001x)") == number_too_large);
static_assert(fault_of("(f2000.1000)") == number_too_large);
static_assert(fault_of("(g14.7e10)") == number_too_large);
static_assert(fault_of("(1x a)") == comma_missing);
static_assert(fault_of("('a''b' 'c')") == comma_missing);
static_assert(fault_of("(a(a))") == comma_missing);
static_assert(fault_of("((a)a)") == comma_missing);
static_assert(fault_of("(,a)") == comma_without_item);
static_assert(fault_of("(a,,a)") == comma_without_item);
static_assert(fault_of("(a,)") == comma_without_item);
static_assert(fault_of("(a,2())") == empty_group);
static_assert(fault_of("(*(a),a)") == star_group_not_last);
static_assert(fault_of("(2(*(a)))") == star_group_not_last);
static_assert(fault_of("(*(1x))") == star_group_without_item);
static_assert(fault_of("(2pe12.4)") == scale_factor_not_0_or_1);
static_assert(fault_of("()", integer) == no_place_for_items);
static_assert(fault_of("(1x,'text')", text) == no_place_for_items);
static_assert(fault_of("()") == none);
static_assert(fault_of("(A,//A,I3,/,A,L5,/A,G9.2,/A,G9.2,/A,G9.2,/A,I4,/A,I4,/A,I4,/A,I10,/A,I4)") == none);

// Letters against arguments.
static_assert(fault_of("(i0)", integer) == none);
static_assert(fault_of("(i0)", floating) == item_of_another_kind);
static_assert(fault_of("(i0)", text) == item_of_another_kind);
static_assert(fault_of("(i0)", logical) == item_of_another_kind);
static_assert(fault_of("(f5.1)", integer) == item_of_another_kind);
static_assert(fault_of("(e12.5,g12.5,1pf8.2)", floating, floating, floating) == none);
static_assert(fault_of("(a)", floating) == item_of_another_kind);
static_assert(fault_of("(l)", logical) == none);
static_assert(fault_of("(l)", integer) == item_of_another_kind);
static_assert(fault_of("(a,i0)", text) == none);  // output ends at the item that is not there
static_assert(fault_of("(a,i0)", text, integer, text, integer) == none);  // starts again
static_assert(fault_of("(a,i0)", text, integer, integer) == item_of_another_kind);
static_assert(fault_of("(2(a,i0),f5.1)", text, integer, text, integer, floating) == none);
static_assert(fault_of("(2(a,i0),f5.1)", text, integer, text, integer, text) == item_of_another_kind);
static_assert(fault_of("(a,*(i0))", text, integer, integer, integer) == none);
static_assert(fault_of("(a,*(i0))", text, integer, text) == item_of_another_kind);
static_assert(fault_of("(a,*(i0))", text, integers) == none);
static_assert(fault_of("(a,*(i0))", text, floatings) == item_of_another_kind);
static_assert(fault_of("(5a,f5.1)", texts, floating) == none);
static_assert(fault_of("(5a,f5.1)", texts, integer) == item_of_another_kind);
static_assert(fault_of("(a,i3,':',200(20f4.0/))", text, integer, floatings) == none);
static_assert(fault_of("(i0,5(a,f5.1))", integer, texts, floating) == none);
static_assert(fault_of("(300(a,i0))", text) == too_many_parts);
static_assert(fault_of("(300(a,i0))") == none);
static_assert(fault_of("(9000000(9000000(9000000(9000000i0))))", integers) == none);

TEST(Template, a_template_without_items_is_written_as_it_stands) {
  EXPECT_EQ(formatted("(1x,'it''s \"so\"')"), " it's \"so\"");
  EXPECT_EQ(formatted("(1x,\"say \"\"so\"\" it''s\")"), " say \"so\" it''s");
  EXPECT_EQ(formatted("(/1x,'a'//1x,'b'/)"), "\n a\n\n b\n");
  EXPECT_EQ(formatted("()"), "");
  EXPECT_EQ(formatted("(5x)"), "");
  EXPECT_EQ(formatted("(\" \")"), " ");
}

TEST(Template, output_ends_at_the_first_data_item_without_an_item) {
  EXPECT_EQ(formatted("(1x,a,', ',i0,' not reached')", "abc"), " abc, ");
  EXPECT_EQ(formatted("(1x,9a)", "ab", "cd"), " abcd");
}

TEST(Template, items_that_remain_start_it_again_from_its_beginning_on_a_new_line) {
  EXPECT_EQ(formatted("(1x,a)", "a", "b", "c"), " a\n b\n c");
  EXPECT_EQ(formatted("(1x,2(a,i0,1x))", "ab", 1, "cd", 2, "ef", 3), " ab1 cd2\n ef3")
      << "from the beginning, groups or not";
  EXPECT_EQ(formatted("(3x,2i3)", std::vector<int>{1, 2, 3, 4}), "     1  2\n     3  4")
      << "and not once more";
}

TEST(Template, a_star_group_takes_all_items) {
  EXPECT_EQ(formatted("(6x,*(i4))", std::vector<int>{1, 2, 3}), "         1   2   3");
  EXPECT_EQ(formatted("(6x,*(i4))", std::vector<int>{}), "");
  EXPECT_EQ(formatted("(1x,a,*(/2x,a))", "x", std::vector<std::string>{"y", "z"}), " x\n  y\n  z\n");
}

TEST(Template, letters_and_words_in_upper_case) {
  EXPECT_EQ(formatted("(1X,A,I0,F6.2,G14.7E2,L,T2,A)", "a", 1, 2.5, 12345678.0, true, "B"),
            " B1  2.50 0.1234568E+08T");
}

TEST(Template, text_in_columns) {
  EXPECT_EQ(formatted("(a5)", "abc"), "  abc");
  EXPECT_EQ(formatted("(a2)", "abc"), "ab");
  EXPECT_EQ(formatted("(a)", ""), "");
  EXPECT_EQ(formatted("(1x,3a)", 'x', std::string("yz"), std::string_view("!")), " xyz!");
}

TEST(Template, moves_to_columns) {
  EXPECT_EQ(formatted("(a,t10,a)", "abc", "def"), "abc      def");
  EXPECT_EQ(formatted("(a,t2,a)", "abcdef", "X"), "aXcdef");
  EXPECT_EQ(formatted("(a/t3,a)", "abcdef", "X"), "abcdef\n  X");
}

TEST(Template, integers_of_all_widths) {
  EXPECT_EQ(formatted("(i0,1x,i0)", std::numeric_limits<std::int64_t>::min(),
                      std::numeric_limits<std::uint64_t>::max()),
            "-9223372036854775808 18446744073709551615");
  EXPECT_EQ(formatted("(4i4)", short{-7}, 7u, static_cast<unsigned char>(200), 1L), "  -7   7 200   1");
  EXPECT_EQ(formatted("(i2,i2.2,i5.3,i3)", 100, 7, 12, -100), "**07  012***");
}

TEST(Template, reals_of_all_widths) {
  EXPECT_EQ(formatted("(f5.1,f5.1,f5.1)", 1.5f, 1.5, 1.5L), "  1.5  1.5  1.5");
  EXPECT_EQ(formatted("(f4.2,f4.3,f4.2)", 0.5, 0.5, -0.5), "0.50.500-.50")
      << "the zero goes only without room";
  EXPECT_EQ(formatted("(f14.3)", 0.001), "         0.001");
  EXPECT_EQ(formatted("(g14.7)", 1.0), "  1.000000    ");
}

TEST(Template, a_logical_is_one_column) {
  EXPECT_EQ(formatted("(5x,a,l)", "overflow       ", true), "     overflow       T");
  EXPECT_EQ(formatted("(l,l,l3)", std::vector<bool>{true, false, true}), "TF  T");
}

TEST(Template, a_scale_factor_holds_to_the_end_of_the_operation) {
  EXPECT_EQ(formatted("(1pe11.4,f6.1,0pf6.1)", 1.5, 1.5, 1.5), " 1.5000E+00  15.0   1.5");
}

TEST(Template, ranges_give_their_elements) {
  Array1<double> numbers;
  ASSERT_TRUE(numbers.allocate(3));
  for (int k = 1; k <= 3; ++k) numbers(k) = k;
  EXPECT_EQ(formatted("(i0,':',20f4.0)", 7, numbers), "7:  1.  2.  3.");
  EXPECT_EQ(formatted("(*(f4.0))", std::span<const double>(numbers.span())), "  1.  2.  3.");
  const std::array<const char*, 2> words{"ab", "cd"};
  EXPECT_EQ(formatted("(2a,i3)", words, 5), "abcd  5");
  const std::deque<char> cells{'1', '0', '.'};
  EXPECT_EQ(formatted("(*(1x,a))", cells), " 1 0 .");
  const Array1<double> absent;
  EXPECT_EQ(formatted("(a,*(f4.0))", "none", absent), "none");
  EXPECT_EQ(formatted("(3a,i3)", std::vector<std::string>{}, "a", "b", "c", 4), "abc  4");
}

/// A job whose listing, screen and residual streams are in memory.
class Template_job : public testing::Test {
 protected:
  Template_job() {
    for (const int number : {0, 6, 9}) job_.streams.open_memory(number);
    job_.status.maxlin = 0;
  }
  std::string_view text(int number) const { return job_.streams.contents(number); }
  Job job_;
};

TEST_F(Template_job, targets_are_the_streams_that_are_named) {
  put(job_, listing, "(1x,a)", "one");
  put(job_, screen, "(1x,a)", "two");
  put(job_, listing | screen, "(/1x,a)", "three");
  put(job_, residual, "(a)", "four");
  EXPECT_EQ(text(6), " one\n\n three\n");
  EXPECT_EQ(text(0), " two\n\n three\n");
  EXPECT_EQ(text(9), "four\n");
}

TEST_F(Template_job, a_stream_can_be_replaced) {
  job_.streams.open_null(1);
  job_.status.syscrn = 1;
  put(job_, listing | screen, "(a)", "text");
  EXPECT_EQ(text(0), "");
  EXPECT_EQ(text(6), "text\n");
}

TEST_F(Template_job, colour_reaches_the_screen_only) {
  put(job_, listing | screen | residual, "(1x,a,a)", coloured("ERROR -- ", Colour::red), "text");
  EXPECT_EQ(text(6), " ERROR -- text\n");
  EXPECT_EQ(text(9), " ERROR -- text\n");
  EXPECT_EQ(text(0), " \033[31mERROR -- \033[0mtext\n");
}

TEST_F(Template_job, colours_by_name) {
  put(job_, screen, "(3a)", coloured("c", Colour::cyan), coloured("y", Colour::yellow),
      coloured("n", Colour::none));
  EXPECT_EQ(text(0), "\033[36mc\033[0m\033[33my\033[0mn\n");
}

TEST_F(Template_job, without_colour_output_the_screen_is_plain) {
  job_.status.color_output = 0;
  put(job_, listing | screen, "(1x,a)", coloured("ERROR -- ", Colour::red));
  EXPECT_EQ(text(0), " ERROR -- \n");
}

TEST_F(Template_job, escapes_take_no_columns) {
  put(job_, screen, "(a4,t6,a)", coloured("ab", Colour::red), "x");
  EXPECT_EQ(text(0), "  \033[31mab\033[0m x\n");
  const std::vector<Coloured_text> many{coloured("a", Colour::none), coloured("b", Colour::cyan)};
  put(job_, screen, "(*(a))", many);
  EXPECT_EQ(text(0), "  \033[31mab\033[0m x\na\033[36mb\033[0m\n");
}

TEST_F(Template_job, put_reserves_no_lines) {
  job_.status.maxlin = 50;
  job_.status.lines = 3;
  put(job_, listing, "(/////a)", "text");
  EXPECT_EQ(job_.status.lines, 3);
}

TEST_F(Template_job, run_time_templates_print_as_compiled_ones) {
  put_runtime(job_, listing, "(" + std::to_string(3) + "x,a)", "text");
  EXPECT_EQ(text(6), "   text\n");
  const std::string cells(400, '1');
  put_runtime(job_, residual, "(400a,300(a1,f4.1))", std::vector<char>(cells.begin(), cells.end()), "\t",
              1.5);
  EXPECT_EQ(text(9), cells + "\t 1.5\n") << "longer than what is checked while compiling";
}

std::string stop_text_of(Job& job, std::string_view layout, auto... items) {
  try {
    put_runtime(job, listing, layout, items...);
  } catch (const Stop& stopped) {
    return stopped.text;
  }
  return "not stopped";
}

TEST_F(Template_job, a_bad_run_time_template_is_fatal) {
  EXPECT_EQ(stop_text_of(job_, "(1x,a", "text"), "ERROR EXIT from TARN");
  EXPECT_NE(text(6).find("\n ERROR -- Template \"(1x,a\": a bracket is not closed.\n"),
            std::string_view::npos)
      << text(6);
}

TEST_F(Template_job, an_item_of_another_kind_in_a_run_time_template_is_fatal) {
  EXPECT_EQ(stop_text_of(job_, "(1x,i5)", 1.5), "ERROR EXIT from TARN");
  EXPECT_NE(text(6).find("\n ERROR -- Template \"(1x,i5)\": an item is of another kind than its letter.\n"),
            std::string_view::npos)
      << text(6);
}

TEST_F(Template_job, items_without_a_place_in_a_run_time_template_are_fatal) {
  EXPECT_EQ(stop_text_of(job_, "(1x,'text')", 1.5), "ERROR EXIT from TARN");
  EXPECT_NE(text(6).find("it has no data item."), std::string_view::npos) << text(6);
}

TEST_F(Template_job, a_range_of_a_length_that_does_not_fit_shows_asterisks) {
  EXPECT_EQ(formatted("(2i3,a4)", std::vector<int>{1}, "text"), "  1***");
}

}  // namespace
}  // namespace tarn
