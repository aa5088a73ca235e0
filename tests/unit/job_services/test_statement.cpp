// The statement reader: buffer, statements, comments, words, echo.

#include <gtest/gtest.h>

#include <chrono>

#include "job/services/report.h"
#include "job/services/statement.h"
#include "support/test_job.h"

namespace tarn {
namespace {

using Words = std::vector<std::string>;

/// Where the words of the last statement point, without the blanks and the line end before it.
std::string text_in_hand(const Test_job& t) { return std::string(statement_text(t)); }

TEST(Getcmd, words_are_upper_case_and_kept_as_typed) {
  const Test_job t("proc title My study;");
  EXPECT_EQ(t.words(), (Words{"PROC", "TITLE", "MY", "STUDY"}));
  EXPECT_EQ(t.words_as_typed(), (Words{"proc", "title", "My", "study"}));
  EXPECT_EQ(t.job.status.lstwrd, 4);
}

TEST(Getcmd, delimiters_are_words_and_separators_are_not) {
  EXPECT_EQ(Test_job("a=1,b=(2 3);").words(), (Words{"A", "=", "1", "B", "=", "(", "2", "3", ")"}));
  EXPECT_EQ(Test_job("GROUPS=3;").words(), (Words{"GROUPS", "=", "3"}));
  EXPECT_EQ(Test_job("a<b>c:d/e,,f , g;").words(),
            (Words{"A", "<", "B", ">", "C", ":", "D", "/", "E", "F", "G"}));
  EXPECT_EQ(Test_job("it's \"x\"y;").words(), (Words{"IT'S", "\"X\"Y"}));
}

TEST(Getcmd, a_terminator_inside_the_first_comment_does_not_count) {
  const Test_job t("/* a; b */ proc stop;");
  EXPECT_EQ(t.words(), (Words{"PROC", "STOP"}));
  EXPECT_EQ(text_in_hand(t), "/* a; b */ proc stop;");
}

TEST(Getcmd, comments_between_words) {
  EXPECT_EQ(Test_job("x /*c*/ y;").words(), (Words{"X", "Y"}));
  EXPECT_EQ(Test_job("x/*c*/y;").words(), (Words{"X", "Y"}));
  EXPECT_EQ(Test_job("x/*c*/;").words(), (Words{"X"}));
  EXPECT_EQ(Test_job("x //*c*/ y;").words(), (Words{"X", "/", "Y"}));
  EXPECT_EQ(Test_job("a /*b*/ c /*d*/ e;").words(), (Words{"A", "C", "E"}));
}

TEST(Getcmd, a_star_between_two_slashes_opens_and_closes_a_comment) {
  EXPECT_EQ(Test_job("x /*/ y;").words(), (Words{"X", "Y"}));
}

TEST(Kept, terminator_inside_a_second_comment_ends_the_statement) {
  Test_job t;
  EXPECT_EQ(error_of(t, [&] { t.read("a /*b*/ c /* d; e */ f;"); }), "No closing comment string (*/).");
  EXPECT_TRUE(t.listing_has("a /*b*/"));
}

TEST(Getcmd, unclosed_comment) {
  Test_job t;
  EXPECT_EQ(error_of(t, [&] { t.read("proc /* title x;\nproc stop;"); }), "Unclosed comment string.");
}

TEST(Getcmd, no_terminator) {
  Test_job t;
  EXPECT_EQ(error_of(t, [&] { t.read("proc title x"); }), "Length of command exceeded MAXCHR/2 characters.");
  Test_job comment;
  EXPECT_EQ(error_of(comment, [&] { comment.read("a /* b; */ c"); }),
            "Length of command exceeded MAXCHR/2 characters.");
  Test_job empty;
  EXPECT_EQ(error_of(empty, [&] { empty.open(""), fillsg(empty), getcmd(empty); }),
            "Length of command exceeded MAXCHR/2 characters.");
}

TEST(Kept, deck_that_does_not_end_with_stop_is_fatal) {
  for (const char* deck : {"a;", "a;\n", "a; \n\n"}) {
    Test_job t(deck);
    EXPECT_EQ(error_of(t, [&] { getcmd(t); }), "Length of command exceeded MAXCHR/2 characters.") << deck;
  }
}

TEST(Getcmd, a_terminator_at_the_very_end_of_the_text_makes_proc_stop) {
  Test_job t("a;");
  t.job.status.lstchr = t.job.status.lcmded;  // nothing unread, which only a full buffer brings about
  getcmd(t);
  EXPECT_EQ(t.words(), (Words{"PROC", "STOP"}));
  EXPECT_EQ(t.words_as_typed(), (Words{"proc", "stop"}));
  EXPECT_EQ(t.job.status.lcmdst, 0);
  EXPECT_EQ(t.job.status.lcmded, 0);
  EXPECT_EQ(text_in_hand(t), "");
}

TEST(Kept, statement_without_words_ends_the_job) {
  for (const char* deck : {";", "  ;", " , ,;", "/* only */;", "\n\n ;"}) {
    Test_job t;
    EXPECT_EQ(error_of(t, [&] { t.read(deck); }),
              "Index '0' of dimension 1 of array 'words' below lower bound of 1")
        << deck;
  }
}

TEST(Getcmd, the_highest_number_of_words_is_kept) {
  Test_job t("a b c; d; e f;");
  getcmd(t);
  EXPECT_EQ(t.job.status.max_word_used, 3);
  EXPECT_EQ(t.words(), (Words{"D"}));
}

TEST(Getcmd, an_unended_text_stands_above_its_error) {
  Test_job t;
  EXPECT_NE(error_of(t, [&] { t.read("proc title x\nproc stop"); }), "");
  EXPECT_EQ(t.listing_lines()[0], " INPUT --- proc title x proc stop p ");
  Test_job again;
  again.read("a; b");
  EXPECT_NE(error_of(again, [&] { getcmd(again); }), "");
  EXPECT_EQ(again.listing_lines()[0], " INPUT --- a;");
  EXPECT_EQ(again.listing_lines()[1], " INPUT --- a;");
}

TEST(Getcmd, an_unended_text_that_moved_in_the_buffer_stands_above_its_error) {
  std::string deck;
  for (int i = 0; i < 4000; ++i) deck += "1234567890\n";
  deck += ";\n";
  for (int i = 0; i < 8000; ++i) deck += "lost text\n";
  Test_job t(deck);
  prtcmd(t);
  const std::size_t echoed = t.listing_lines().size();
  EXPECT_EQ(error_of(t, [&] { getcmd(t); }), "Length of command exceeded MAXCHR/2 characters.");
  const Words lines = t.listing_lines();
  ASSERT_EQ(lines.size(), 2 * echoed + 10 + 2);
  EXPECT_EQ(lines[2 * echoed].substr(0, 20), " INPUT --- lost text");
  EXPECT_EQ(lines[2 * echoed + 9].substr(0, 15), " INPUT --- lost");
}

TEST(Getcmd, words_of_a_longer_statement_do_not_come_back) {
  Test_job t("a b c; d;");
  getcmd(t);
  EXPECT_EQ(word(t, 1), "D");
  EXPECT_EQ(error_of(t, [&] { word(t, 2); }),
            "Index '2' of dimension 1 of array 'words' above upper bound of 1");
}

TEST(Word, bounds) {
  Test_job t("a b;");
  EXPECT_EQ(word(t, 2), "B");
  EXPECT_EQ(word_as_typed(t, 2), "b");
  const auto fault = [](auto read) {
    Test_job job("a b;");
    return error_of(job, [&] { read(job); });
  };
  EXPECT_EQ(fault([](Job& job) { word(job, 3); }),
            "Index '3' of dimension 1 of array 'words' above upper bound of 2");
  EXPECT_EQ(fault([](Job& job) { word(job, -1); }),
            "Index '-1' of dimension 1 of array 'words' below lower bound of 1");
  EXPECT_EQ(fault([](Job& job) { word_as_typed(job, 3); }),
            "Index '3' of dimension 1 of array 'wordss' above upper bound of 2");
}

TEST(Fillsg, lines_are_joined_by_one_blank) {
  Test_job t;
  t.open("a\nb\n\nc \n;\n");
  fillsg(t);
  // the line ";" and then, at the end of the file, its first character once more, each with its blank
  EXPECT_EQ(t.job.status.string.substr(0, 12), "a b  c ; ;  ");
  EXPECT_EQ(t.job.status.lstchr, 11);
}

TEST(Fillsg, tabs_become_blanks) { EXPECT_EQ(Test_job("a\tb\t\tc;").words(), (Words{"A", "B", "C"})); }

TEST(Fillsg, a_carriage_return_at_the_end_of_a_line_becomes_a_blank_and_stays_inside) {
  const Test_job t("a\r\nb\rc;\r\nproc stop;\r\n");
  EXPECT_EQ(t.words(), (Words{"A", "B\rC"}));
  EXPECT_EQ(text_in_hand(t), "a b\rc;");
}

TEST(Fillsg, a_full_piece_joins_the_next_without_a_blank) {
  const std::string full(4096, 'x');
  EXPECT_EQ(Test_job(full + "\ny;").words(), (Words{std::string(4096, 'X') + "Y"}));
  EXPECT_EQ(Test_job(full + "y;").words(), (Words{std::string(4096, 'X') + "Y"}));
  EXPECT_EQ(Test_job(full + full + "\ny;").words(), (Words{std::string(8192, 'X') + "Y"}));
  EXPECT_EQ(Test_job(full + "\n\ny;").words(), (Words{std::string(4096, 'X'), "Y"}));
  EXPECT_EQ(Test_job(std::string(4095, 'x') + "\ny;").words(), (Words{std::string(4095, 'X'), "Y"}));
  EXPECT_EQ(Test_job(std::string(4095, 'x') + "\r\ny;").words(), (Words{std::string(4095, 'X'), "Y"}));
  EXPECT_EQ(Test_job(full + "\r\ny;").words(), (Words{std::string(4096, 'X'), "Y"}));
}

TEST(Fillsg, the_tail_at_the_end_of_the_file_is_the_first_character_of_the_last_line) {
  const auto tail_of = [](const char* deck) {
    Test_job t(deck);
    const Status_module& s = t.job.status;
    return s.string.substr(static_cast<std::size_t>(s.lcmded), static_cast<std::size_t>(s.lstchr - s.lcmded));
  };
  EXPECT_EQ(tail_of("proc stop;"), " p ");
  EXPECT_EQ(tail_of("proc stop;\n"), " p ");
  EXPECT_EQ(tail_of(" proc stop;"), "  ");
  EXPECT_EQ(tail_of("\tproc stop;"), "  ");
  EXPECT_EQ(tail_of("proc stop;\n\n"), "   ");
  EXPECT_EQ(tail_of("proc stop; \n\r\n"), "   ");
}

TEST(Fillsg, the_end_of_the_file_may_be_met_by_a_later_call) {
  // Seventeen full pieces fill the buffer; only the next call reads what follows them.
  const std::string first(static_cast<std::size_t>(17 * 4096 - 1), 'x');
  Test_job t;
  t.job.status.noecho = 1;
  t.read(first + ";\n");
  EXPECT_EQ(t.job.status.eof, 0);
  EXPECT_EQ(error_of(t, [&] { getcmd(t); }), "Length of command exceeded MAXCHR/2 characters.");
  EXPECT_EQ(t.job.status.eof, 1);
  EXPECT_EQ(t.job.status.string.substr(0, 3), "x  ");  // the tail
  EXPECT_EQ(t.job.status.lstchr, 2);
}

TEST(Fillsg, no_more_is_read_than_the_buffer_takes) {
  Test_job t;
  std::string deck;
  for (int i = 0; i < 100; ++i) deck += std::string(4095, 'x') + ";\n";
  t.open(deck);
  fillsg(t);
  EXPECT_EQ(t.job.status.lstchr, 17 * 4096);
  EXPECT_EQ(t.job.status.eof, 0);
  for (int i = 0; i < 100; ++i) {
    getcmd(t);
    ASSERT_EQ(word(t, 1), std::string(4095, 'X'));
  }
}

TEST(Fillsg, a_statement_may_end_with_the_full_buffer) {
  for (const int left : {0, 1, 2}) {
    const std::string first(static_cast<std::size_t>(17 * 4096 - 1 - left), 'x');
    Test_job t(first + ";" + std::string(static_cast<std::size_t>(left), 'y') + "\nnext; proc stop;\n");
    t.job.status.noecho = 1;
    EXPECT_EQ(t.job.status.lstchr - t.job.status.lcmded, left);
    getcmd(t);
    EXPECT_EQ(t.words(), (Words{std::string(static_cast<std::size_t>(left), 'Y') + "NEXT"}));
    getcmd(t);
    EXPECT_EQ(t.words(), (Words{"PROC", "STOP"}));
  }
}

TEST(Fillsg, a_deck_that_is_not_open_is_at_its_end) {
  Test_job t;
  EXPECT_EQ(error_of(t, [&] { fillsg(t), getcmd(t); }), "Length of command exceeded MAXCHR/2 characters.");
}

TEST(Fillsg, a_read_fault_is_told_and_ends_the_deck) {
  Test_job t;
  std::string errmsg;
  // The first page of this file can be opened and never be read.
  ASSERT_TRUE(t.job.streams.open_input(t.job.status.sysin, "/proc/self/mem", errmsg)) << errmsg;
  EXPECT_EQ(error_of(t, [&] { fillsg(t), getcmd(t); }), "Length of command exceeded MAXCHR/2 characters.");
  EXPECT_EQ(t.listing_lines()[0], "  ERROR from FILLSG Input/output error, IOSTAT=5");
  EXPECT_EQ(t.screen_lines()[0], "  ERROR from FILLSG Input/output error, IOSTAT=5");
  EXPECT_EQ(t.job.status.ieropt, 5);
  EXPECT_EQ(t.job.status.errmsg, "Input/output error");
}

TEST(Getcmd, any_byte_is_a_word_character) {
  std::string odd;
  for (int c = 0; c < 256; ++c)
    if (std::string(":;,=() /<>\t\n\r").find(static_cast<char>(c)) == std::string::npos)
      odd += static_cast<char>(c);
  Test_job t(odd + ";");
  EXPECT_EQ(t.job.status.lstwrd, 1);
  EXPECT_EQ(word_as_typed(t, 1), odd);
}

TEST(Getcmd, statements_cross_the_refill) {
  std::string deck;
  const int records = 20000;
  for (int i = 1; i <= records; ++i) deck += "record " + std::to_string(i) + " 0101010101 1;\n";
  deck += "proc stop;\n";
  Test_job t;
  t.job.status.noecho = 1;
  t.open(deck);
  fillsg(t);
  for (int i = 1; i <= records; ++i) {
    getcmd(t);
    ASSERT_EQ(t.job.status.lstwrd, 4);
    ASSERT_EQ(word(t, 2), std::to_string(i));
  }
  getcmd(t);
  EXPECT_EQ(t.words(), (Words{"PROC", "STOP"}));
}

/// Seconds that a deck of so many one-record statements takes.
double reading_time(int records) {
  std::string deck;
  for (int i = 0; i < records; ++i) deck += "0101010101010101010101 1 0 0;\n";
  deck += "proc stop;\n";
  Test_job t;
  t.job.status.noecho = 1;
  t.open(deck);
  const auto start = std::chrono::steady_clock::now();
  fillsg(t);
  do getcmd(t);
  while (word(t, 1) != "PROC");
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(Getcmd, a_deck_of_many_records_is_read_in_linear_time) {
  reading_time(20000);
  const double one = reading_time(40000), eight = reading_time(320000);
  // 8 if linear, 64 if quadratic.
  EXPECT_LT(eight, 24 * one + 0.2);
}

TEST(Prtcmd, echo_of_a_statement) {
  Test_job t("proc title x; proc stop;");
  prtcmd(t);
  EXPECT_EQ(t.listing(), " INPUT --- proc title x;\n");
  EXPECT_EQ(t.screen(), " INPUT --- proc title x;\n");
}

TEST(Prtcmd, colour_on_the_screen_only) {
  Test_job t("proc title x;");
  t.job.status.color_output = 1;
  prtcmd(t);
  EXPECT_EQ(t.listing(), " INPUT --- proc title x;\n");
  EXPECT_EQ(t.screen(), " \033[36mINPUT --- \033[0mproc title x;\n");
}

TEST(Prtcmd, the_level_sets_the_indentation) {
  const auto echo = [](int indent) {
    Test_job t("  a;");
    t.job.status.indent = indent;
    prtcmd(t);
    return t.listing();
  };
  EXPECT_EQ(echo(0), " INPUT -a;\n");
  EXPECT_EQ(echo(1), " INPUT --- a;\n");
  EXPECT_EQ(echo(2), " INPUT ---    a;\n");
  EXPECT_EQ(echo(3), " INPUT ---       a;\n");
  EXPECT_EQ(echo(5), " INPUT ---             a;\n");
  EXPECT_EQ(echo(9), " INPUT ---             a;\n");
  EXPECT_EQ(echo(-2), " INPUT ---      a;\n");
  EXPECT_EQ(echo(-3), " INPUT ---         a;\n");
}

TEST(Prtcmd, noecho_writes_nothing) {
  Test_job t("a;");
  t.job.status.noecho = 1;
  prtcmd(t);
  EXPECT_EQ(t.listing() + t.screen(), "");
}

TEST(Prtcmd, a_statement_of_blanks_writes_nothing) {
  Test_job t;
  t.job.status.string.replace(0, 4, "   ;");
  t.job.status.lcmded = 4;
  prtcmd(t);
  EXPECT_EQ(t.listing() + t.screen(), "");
}

TEST(Prtcmd, a_fresh_page_sets_the_statement_off) {
  Test_job t("a;");
  Status_module& s = t.job.status;
  s.maxlin = 50;
  s.lines = 46;
  prtcmd(t);
  EXPECT_EQ(t.listing_lines().size(), 3u);
  EXPECT_EQ(s.lines, 43);
  t.read("a;");
  t.clear();
  s.indent = 2;
  s.lines = 46;
  prtcmd(t);
  EXPECT_EQ(t.listing_lines().size(), 2u);
  EXPECT_EQ(s.lines, 44);
  t.read("a;");
  t.clear();
  s.indent = 3;
  s.lines = 46;
  prtcmd(t);
  EXPECT_EQ(t.listing_lines().size(), 1u);
  EXPECT_EQ(s.lines, 45);
}

TEST(Prtcmd, a_long_statement_breaks_at_a_blank_within_60_places) {
  Test_job t(std::string(30, 'a') + " " + std::string(28, 'b') + " cc;");
  prtcmd(t);
  EXPECT_EQ(t.listing_lines(), (Words{" INPUT --- " + std::string(30, 'a') + " " + std::string(28, 'b') + " ",
                                      " INPUT --- cc;"}));
  t.clear();
  t.read(std::string(30, 'a') + " " + std::string(29, 'b') + " cc;");
  prtcmd(t);
  EXPECT_EQ(t.listing_lines(), (Words{" INPUT --- " + std::string(30, 'a') + " ",
                                      " INPUT --- " + std::string(29, 'b') + " cc;"}));
}

TEST(Prtcmd, a_word_longer_than_a_line_is_cut) {
  Test_job t(std::string(130, 'a') + ";");
  prtcmd(t);
  EXPECT_EQ(t.listing_lines(),
            (Words{" INPUT --- " + std::string(60, 'a'), " INPUT --- " + std::string(60, 'a'),
                   " INPUT --- " + std::string(10, 'a') + ";"}));
}

TEST(Prtcmd, sixty_places_fit_on_one_line) {
  Test_job t(std::string(59, 'a') + ";");
  prtcmd(t);
  EXPECT_EQ(t.listing_lines().size(), 1u);
}

TEST(Prtcmd, a_comment_ends_its_line) {
  Test_job t("/* first */ proc title x /* second */;");
  prtcmd(t);
  EXPECT_EQ(t.listing_lines(),
            (Words{" INPUT --- /* first */", " INPUT ---  proc title x /* second */", " INPUT --- ;"}));
}

TEST(Prtcmd, a_page_header_inside_a_long_echo_does_not_break_the_statement) {
  std::string deck = "x";
  for (int i = 0; i < 400; ++i) deck += " 1234567";
  Test_job t(deck + ";");
  Status_module& s = t.job.status;
  s.maxlin = 30;
  s.lines = 5;
  prtcmd(t);
  std::string echoed;
  int headers = 0;
  for (const std::string& line : t.listing_lines()) {
    if (line.rfind(" INPUT --- ", 0) == 0) echoed += line.substr(11);
    if (line.find("Program  TARN") != std::string::npos) ++headers;
  }
  EXPECT_EQ(echoed, deck + ";");
  EXPECT_EQ(headers, 3);  // 58 pieces, 5 of them before the first header and 25 on a page
  EXPECT_GE(s.lines, 0);
}

TEST(Prtcmd, double_blanks_behind_initial_are_closed_in_the_buffer) {
  Test_job t("initial   1  2 3     4; next  one; proc stop;");
  prtcmd(t);
  EXPECT_EQ(t.listing(), " INPUT --- initial 1 2 3 4;\n");
  getcmd(t);
  EXPECT_EQ(t.words(), (Words{"NEXT", "ONE"}));
  getcmd(t);
  EXPECT_EQ(t.words(), (Words{"PROC", "STOP"}));
}

TEST(Prtcmd, only_the_lower_case_word_closes_blanks_and_only_behind_it) {
  Test_job t("INITIAL  1  2;");
  prtcmd(t);
  EXPECT_EQ(t.listing(), " INPUT --- INITIAL  1  2;\n");
  t.clear();
  t.read("a  b initial  1  2;");
  prtcmd(t);
  EXPECT_EQ(t.listing(), " INPUT --- a  b initial 1 2;\n");
}

TEST(Prtcmd, a_long_list_of_starting_values_is_closed_in_linear_time) {
  std::string deck = "initial";
  for (int i = 0; i < 3000; ++i) deck += "          1";
  Test_job t(deck + "; proc stop;");
  const auto start = std::chrono::steady_clock::now();
  prtcmd(t);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 1.0);
  EXPECT_EQ(t.listing_lines().size(), 101u);  // 6009 characters
  getcmd(t);
  EXPECT_EQ(t.words(), (Words{"PROC", "STOP"}));
}

TEST(Getcmd, a_statement_is_echoed_when_the_next_is_read) {
  Test_job t("a; b; proc stop;");
  EXPECT_EQ(t.listing(), "");
  getcmd(t);
  EXPECT_EQ(t.listing(), " INPUT --- a;\n");
}

TEST(Getcmd, the_statement_that_caused_the_error_stands_above_it) {
  Test_job t("a; b c;");
  getcmd(t);
  EXPECT_EQ(stop_text([&] { word(t, 7); }), "ERROR EXIT from TARN");
  EXPECT_EQ(t.listing_lines(),
            (Words{" INPUT --- a;", " INPUT --- b c;", "",
                   " ERROR -- Index '7' of dimension 1 of array 'words' above upper bound of 2"}));
}

}  // namespace
}  // namespace tarn
