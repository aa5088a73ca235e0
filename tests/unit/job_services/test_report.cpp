// The paged listing.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <regex>

#include "job/services/report.h"
#include "job/services/statement.h"
#include "support/test_job.h"

namespace tarn {
namespace {

using Words = std::vector<std::string>;

/// A job at its start: nothing written, no page yet.
struct Fresh_job : Test_job {
  Fresh_job() {
    const Status_module start;
    job.status.maxlin = start.maxlin;
    job.status.lines = start.lines;
    job.status.npage = start.npage;
  }
};

int headers(const Test_job& t) {
  int count = 0;
  for (const std::string& line : t.listing_lines())
    if (line.find("Program  TARN") != std::string::npos) ++count;
  return count;
}

TEST(Headng, first_page) {
  Fresh_job t;
  headng(t);
  const Words lines = t.listing_lines();
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[0], "");
  EXPECT_EQ(lines[1], " Program  TARN  - Survival Rate Estimation with Capture-Recapture Data");
  EXPECT_TRUE(std::regex_match(
      lines[2],
      std::regex(" vesperal\\(dble/PIM2\\) Vers\\. 11\\.2 Nov 2025  "
                 "[ 1-3][0-9]-[A-Z][a-z]{2}-[0-9]{4} [0-2][0-9]:[0-5][0-9]:[0-6][0-9]    Page  001")))
      << lines[2];
  EXPECT_EQ(lines[3], "  ");  // the title, one blank at the start
  std::string rule;
  for (int i = 0; i < 38; ++i) rule += " -";
  EXPECT_EQ(lines[4], rule);
  EXPECT_EQ(lines[5], " ");
  EXPECT_EQ(t.job.status.lines, 45);
  EXPECT_EQ(t.job.status.npage, 1);
  EXPECT_EQ(t.job.status.newpag, 1);
  EXPECT_EQ(t.screen(), "");
}

TEST(Headng, later_pages_open_with_a_page_feed) {
  Fresh_job t;
  headng(t);
  headng(t);
  const Words lines = t.listing_lines();
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(lines[6], "");
  EXPECT_EQ(lines[7].substr(0, 15), "\fProgram  TARN ");
  EXPECT_EQ(lines[8].substr(lines[8].size() - 10), " Page  002");
}

TEST(Headng, an_empty_title_takes_no_line) {
  Fresh_job t;
  t.job.status.titstr.clear();
  headng(t);
  EXPECT_EQ(t.listing_lines().size(), 5u);
  EXPECT_EQ(t.job.status.lines, 46);
}

TEST(Headng, with_paging_off_one_header_appears) {
  for (const int maxlin : {0, -3}) {
    Fresh_job t;
    t.job.status.maxlin = maxlin;
    headng(t);
    headng(t);
    for (int i = 0; i < 200; ++i) linchk(t, 5);
    EXPECT_EQ(headers(t), 1) << maxlin;
    EXPECT_EQ(t.job.status.npage, 1);
    EXPECT_EQ(t.job.status.lines, maxlin - 4);
  }
}

TEST(Linchk, counts_down_and_starts_a_page) {
  Fresh_job t;
  linchk(t, 5);
  EXPECT_EQ(headers(t), 1);
  EXPECT_EQ(t.job.status.lines, 40);
  linchk(t, 40);
  EXPECT_EQ(headers(t), 1);
  EXPECT_EQ(t.job.status.lines, 0);
  linchk(t, 0);
  EXPECT_EQ(headers(t), 1);
  linchk(t, 1);
  EXPECT_EQ(headers(t), 2);
  EXPECT_EQ(t.job.status.lines, 44);
}

TEST(Linchk, clears_the_mark_of_a_new_page_before_it_starts_one) {
  Fresh_job t;
  linchk(t, 1);
  EXPECT_EQ(t.job.status.newpag, 1);  // the header that this reservation brought about
  linchk(t, 1);
  EXPECT_EQ(t.job.status.newpag, 0);
}

TEST(Linchk, paging_never_overflows) {
  std::mt19937 random(7);
  for (const int maxlin : {30, 50, 150}) {
    Fresh_job t;
    t.job.status.maxlin = maxlin;
    for (int i = 0; i < 5000; ++i) {
      linchk(t, static_cast<int>(random() % 20));
      ASSERT_GE(t.job.status.lines, 0);
    }
  }
}

TEST(Put_lines, reserves_each_line) {
  Fresh_job t;
  linchk(t, 44);
  put_lines(t, "one\n\nthree");
  EXPECT_EQ(headers(t), 2);
  EXPECT_EQ(t.job.status.lines, 43);
  const std::vector<std::string> lines = t.listing_lines();
  EXPECT_EQ(lines.at(6), "one");  // page 1 holds the six lines of its header, and this one
  EXPECT_EQ(lines.at(lines.size() - 2), "");
  EXPECT_EQ(lines.back(), "three");
}

std::string numbered_lines(int n) {
  std::string text = "1";
  for (int i = 2; i <= n; ++i) text += '\n' + std::to_string(i);
  return text;
}

constexpr int lines_of_a_page = 45;  // 50 without header and title

TEST(Put_block, keeps_together_what_a_page_holds) {
  Fresh_job t;
  linchk(t, 1);
  put_block(t, numbered_lines(lines_of_a_page));
  EXPECT_EQ(headers(t), 2);
  EXPECT_EQ(t.job.status.lines, 0);
  linchk(t, 1);
  put_block(t, numbered_lines(lines_of_a_page - 2), 2);
  EXPECT_EQ(headers(t), 4);
  EXPECT_EQ(t.job.status.lines, 0);
  t.job.status.titstr.clear();
  linchk(t, 1);
  put_block(t, numbered_lines(lines_of_a_page + 1));
  EXPECT_EQ(headers(t), 6);
  EXPECT_EQ(t.job.status.lines, 0);
}

TEST(Put_block, breaks_what_no_page_holds) {
  Fresh_job t;
  linchk(t, 1);
  put_block(t, numbered_lines(lines_of_a_page + 1));
  EXPECT_EQ(headers(t), 2);
  EXPECT_EQ(t.job.status.lines, lines_of_a_page - 2);
  put_block(t, numbered_lines(lines_of_a_page - 2), 3);  // leaves no line for the three that follow
  EXPECT_EQ(headers(t), 3);
  EXPECT_EQ(t.job.status.lines, lines_of_a_page - 3);
}

TEST(Put_block, with_paging_off_no_header_comes_between) {
  Fresh_job t;
  t.job.status.maxlin = 0;
  headng(t);
  put_block(t, numbered_lines(300));
  EXPECT_EQ(headers(t), 1);
  EXPECT_EQ(t.listing_lines().back(), "300");
}

std::string title_of(const char* deck) {
  Test_job t(deck);
  title(t);
  return t.job.status.titstr;
}

TEST(Title, text_behind_the_keyword) {
  EXPECT_EQ(title_of("proc title My study;x;"), "My study");
  EXPECT_EQ(title_of("PROC TITLE   Two,  blanks (kept) ;x;"), "Two,  blanks (kept)");
  EXPECT_EQ(title_of("proc title=x;x;"), "x");  // the first character behind the keyword is dropped unseen
  EXPECT_EQ(title_of("proc title a TITLE b;x;"), "a TITLE b");
  EXPECT_EQ(title_of("proc TITLE a title b;x;"), "a title b");
}

TEST(Title, an_empty_text_makes_the_title_empty) {
  EXPECT_EQ(title_of("proc title;x;"), "");
  EXPECT_EQ(title_of("proc title ;x;"), "");
  EXPECT_EQ(title_of("proc title    ;x;"), "");
}

TEST(Kept, title_in_another_spelling_keeps_its_keyword) {
  EXPECT_EQ(title_of("Proc Title x;x;"), "Title x");
  EXPECT_EQ(title_of("a;x;"), "");
}

TEST(Title, reads_the_next_statement_and_starts_no_page) {
  Test_job t("proc title x; proc stop;");
  title(t);
  EXPECT_EQ(t.words(), (Words{"PROC", "STOP"}));
  EXPECT_EQ(headers(t), 0);
  headng(t);
  EXPECT_TRUE(t.listing_has("\n x\n"));
}

TEST(Sectionhead, centres_and_skips) {
  Test_job t;
  sectionhead(t, "abcd", 20, 0);
  sectionhead(t, "abcd", 20, 2);
  sectionhead(t, "abcde", 20, 1);
  sectionhead(t, "wider than its columns", 10, 0);
  EXPECT_EQ(t.listing_lines(),
            (Words{"        abcd", "", "", "        abcd", "", "       abcde", " wider than its columns"}));
}

TEST(Sectionhead, at_the_top_of_a_page_prints_no_empty_lines) {
  Test_job t;
  t.job.status.newpag = 1;
  sectionhead(t, "abcd", 20, 9);
  EXPECT_EQ(t.listing_lines(), (Words{"        abcd"}));
  EXPECT_EQ(t.job.status.newpag, 0);
  EXPECT_EQ(t.job.status.lines, 500000);  // it reserves nothing
}

std::string f14_with(int digits, double x) {
  Test_job t;
  t.job.status.prt_digits = digits;
  return f14(t, x);
}

TEST(F14, seven_digits) {
  EXPECT_EQ(f14_with(7, 0.0), " 0.0000000    ");
  EXPECT_EQ(f14_with(7, -0.0), " 0.0000000    ");
  EXPECT_EQ(f14_with(7, 1.0), " 1.0000000    ");
  EXPECT_EQ(f14_with(7, -1.0), "-1.0000000    ");
  EXPECT_EQ(f14_with(7, 123.456), " 123.45600    ");
  EXPECT_EQ(f14_with(7, 0.5), " 0.5000000    ");
  EXPECT_EQ(f14_with(7, -0.5), "-0.5000000    ");
  EXPECT_EQ(f14_with(7, 1234567.0), " 1234567.0    ");
  EXPECT_EQ(f14_with(7, 12345678.0), " 0.1234568E+08");
  EXPECT_EQ(f14_with(7, -12345678.0), "-0.1234568E+08");
  EXPECT_EQ(f14_with(7, 0.001), " 0.0010000    ");
  EXPECT_EQ(f14_with(7, 0.000999), " 0.9990000E-03");
}

TEST(F14, fewer_digits) {
  EXPECT_EQ(f14_with(1, 0.0), "       0.0    ");
  EXPECT_EQ(f14_with(1, 2.5), "       2.5    ");
  EXPECT_EQ(f14_with(1, 25.0), "       0.2E+02");
  EXPECT_EQ(f14_with(1, 0.001), "       0.0    ");
  EXPECT_EQ(f14_with(4, 0.0), "    0.0000    ");
  EXPECT_EQ(f14_with(4, 12.34567), "    12.346    ");
  EXPECT_EQ(f14_with(3, 12.34567), "     12.35    ");
}

TEST(F14, powers_of_ten_and_what_rounds_up_to_them) {
  EXPECT_EQ(f14_with(7, 10.0), " 10.000000    ");
  EXPECT_EQ(f14_with(7, 1000.0), " 1000.0000    ");
  EXPECT_EQ(f14_with(7, 1000000.0), " 1000000.0    ");
  EXPECT_EQ(f14_with(7, 10000000.0), " 0.1000000E+08");
  EXPECT_EQ(f14_with(7, 9.9999999), " 9.9999999    ");
  EXPECT_EQ(f14_with(7, 9.99999999), "10.0000000    ");
  EXPECT_EQ(f14_with(7, 9999999.99), "10000000.0    ");
  EXPECT_EQ(f14_with(7, 0.99999999), " 1.0000000    ");
}

TEST(F14, a_negative_number_that_rounds_up_loses_a_decimal_not_its_digits) {
  EXPECT_EQ(f14_with(7, -9.99999999), "-10.000000    ");
  EXPECT_EQ(f14_with(7, -999999.997), "-1000000.0    ");
  EXPECT_EQ(f14_with(7, -9999999.99), "-0.1000000E+08");
}

TEST(F14, what_is_no_number) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(f14_with(7, std::nan("")), "Not a Number  ");
  EXPECT_EQ(f14_with(7, -std::nan("")), "Not a Number  ");
  EXPECT_EQ(f14_with(7, infinity), "      Infinity");
  EXPECT_EQ(f14_with(3, -infinity), "     -Infinity");
}

TEST(F14, very_small_numbers_have_three_exponent_digits) {
  EXPECT_EQ(f14_with(7, 1e-99), " 0.1000000E-98");
  EXPECT_EQ(f14_with(7, 1e-100), " 0.1000000E-99");
  EXPECT_EQ(f14_with(7, 1e-101), "0.1000000E-100");
  EXPECT_EQ(f14_with(7, -1e-101), "-.1000000E-100");
  EXPECT_EQ(f14_with(7, 4.9406564584124654e-324), "0.4940656E-323");
  EXPECT_EQ(f14_with(1, 1e-200), "      0.1E-199");
}

TEST(Kept, f14_shows_asterisks_from_1e99_on) {
  EXPECT_EQ(f14_with(7, 9.9e98), " 0.9900000E+99");
  EXPECT_EQ(f14_with(7, 1e99), std::string(14, '*'));
  EXPECT_EQ(f14_with(7, -1e300), std::string(14, '*'));
}

TEST(Kept, digits_are_one_less_than_the_digits_shown) {
  EXPECT_EQ(f14_with(4, 1.0), "    1.0000    ");
  EXPECT_EQ(f14_with(4, 123.456), "    123.46    ");
  EXPECT_EQ(f14_with(4, 12345.6), "    0.1235E+05");  // the general form shows as many as were asked for
}

TEST(F14, every_number_takes_14_columns) {
  Test_job t;
  std::mt19937_64 random(11);
  for (int i = 0; i < 1000000; ++i) {
    t.job.status.prt_digits = static_cast<int>(random() % 7) + 1;
    double x = 0.0;
    if (i % 2 == 0) {
      const std::uint64_t bits = random();
      std::memcpy(&x, &bits, sizeof x);  // all magnitudes, infinities and what is no number
    } else {
      x = std::pow(10.0, static_cast<double>(random() % 20) - 8.0) *
          (1.0 + 1e-8 * (static_cast<double>(random() % 5) - 2.0));
      if (random() % 2 == 0) x = -x;
    }
    ASSERT_EQ(f14(t, x).size(), 14u) << x << ' ' << t.job.status.prt_digits;
    if (std::fabs(x) < 9e98) {
      ASSERT_EQ(f14(t, x).find('*'), std::string::npos) << x << ' ' << t.job.status.prt_digits;
    }
  }
}

TEST(F14, digits_outside_their_range_are_taken_into_it) {
  EXPECT_EQ(f14_with(0, 0.0), "       0.0    ");
  EXPECT_EQ(f14_with(9, 0.0), " 0.0000000    ");
}

TEST(Adjustfmt, shortest_text) {
  EXPECT_EQ(adjustfmt(0), "0");
  EXPECT_EQ(adjustfmt(999999), "999999");
  EXPECT_EQ(adjustfmt(12345678901), "12345678901");
  EXPECT_EQ(adjustfmt(-7), "-7");
}

TEST(Outtext, overwrites_the_text_before) {
  Test_job t;
  outtext(t, "12 done   ");
  EXPECT_EQ(t.screen(), std::string(9, '\b') + "12 done ");
  t.clear();
  outtext(t, "  ");
  EXPECT_EQ(t.screen(), "\b\b ");
  t.clear();
  t.job.status.color_output = 1;
  outtext(t, "x");
  EXPECT_EQ(t.screen(), "\b\b\b\033[36mx \033[0m");
  EXPECT_EQ(t.listing(), "");
}

}  // namespace
}  // namespace tarn
