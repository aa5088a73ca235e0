// Warnings, the fatal end, the floating-point report.

#include <gtest/gtest.h>

#include <cfenv>

#include "job/services/fault.h"
#include "support/test_job.h"

namespace tarn {
namespace {

using Words = std::vector<std::string>;

TEST(Warn, listing_and_screen) {
  Test_job t;
  warn(t, "Something.");
  EXPECT_EQ(t.listing(), "\n   * *  WARNING  * *   Something. \n");
  EXPECT_EQ(t.screen(), "\n   * *  WARNING  * *  Something. \n");
  EXPECT_EQ(t.job.status.lines, 499998);
}

TEST(Warn, in_colour) {
  Test_job t;
  t.job.status.color_output = 1;
  warn(t, "Something.");
  EXPECT_EQ(t.listing(), "\n   * *  WARNING  * *   Something. \n");
  EXPECT_EQ(t.screen(), "\n \033[33m  * *  WARNING  * *  \033[0mSomething. \n");
}

TEST(Warnum, listing_and_screen) {
  Test_job t;
  warnum(t, "from memory allocation of X.", 179);
  EXPECT_EQ(t.listing(), "\n   * *  WARNING  * *   Error number 179 from memory allocation of X. \n");
  EXPECT_EQ(t.screen(), "\n   * *  WARNING  * *   Error number 179 from memory allocation of X. \n");
  t.clear();
  t.job.status.color_output = 1;
  warnum(t, "x", -1);
  EXPECT_EQ(t.screen(), "\n \033[33m  * *  WARNING  * *  \033[0m Error number -1 x \n");
}

TEST(Error, echoes_the_statement_reports_and_stops) {
  Test_job t("bad word;");
  EXPECT_EQ(stop_text([&] { error(t, "No good."); }), "ERROR EXIT from TARN");
  EXPECT_EQ(t.listing_lines(), (Words{" INPUT --- bad word;", "", " ERROR -- No good."}));
  EXPECT_EQ(t.screen_lines(), (Words{" INPUT --- bad word;", " ERROR -- No good."}));
  const Status_module& s = t.job.status;
  for (const int number : {s.sysres, s.sysvcm, s.sysout, s.sysin})
    EXPECT_FALSE(t.job.streams.is_open(number));
  EXPECT_TRUE(t.job.streams.is_open(s.syscrn));
}

TEST(Error, is_red_on_the_screen) {
  Test_job t;
  t.job.status.color_output = 1;
  stop_text([&] { error(t, "No good."); });
  EXPECT_EQ(t.screen(), " \033[31mERROR -- \033[0mNo good.\n");
}

TEST(Stop, reports_nothing) {
  Test_job t;
  EXPECT_EQ(stop_text([] { stop("No input file"); }), "No input file");
  EXPECT_EQ(t.listing() + t.screen(), "");
}

TEST(Error, a_full_disk_is_told_on_the_screen) {
  Test_job t;
  std::string errmsg;
  ASSERT_TRUE(t.job.streams.open_output(t.job.status.sysout, "/dev/full", errmsg));
  EXPECT_EQ(stop_text([&] { error(t, "No good."); }), "ERROR EXIT from TARN");
  EXPECT_TRUE(t.screen_has(" Writing on unit 6 failed: ")) << t.screen();
}

class Conditions : public testing::Test {
 protected:
  void SetUp() override { std::feclearexcept(FE_ALL_EXCEPT); }
  void TearDown() override { std::feclearexcept(FE_ALL_EXCEPT); }
};

TEST_F(Conditions, overflow) {
  Test_job t;
  std::feraiseexcept(FE_OVERFLOW | FE_INEXACT);
  check_ieee_exceptions(t, "reading data");
  EXPECT_EQ(t.listing_lines(),
            (Words{"", "   * *  WARNING  * *   Numerical overflow occurred reading data. ",
                   "     IEEE flag status reading data:", "     overflow       T", "     divide by zero F",
                   "     invalid        F", "     underflow      F", "     inexact        T", ""}));
  EXPECT_EQ(t.job.status.lines, 500000 - 8);
  EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
  for (const bool flag : t.job.status.flags5) EXPECT_FALSE(flag);
  t.clear();
  check_ieee_exceptions(t, "reading data");
  EXPECT_EQ(t.listing(), "");
}

TEST_F(Conditions, each_has_its_sentence_and_invalid_has_none) {
  Test_job t;
  std::feraiseexcept(FE_OVERFLOW | FE_DIVBYZERO | FE_UNDERFLOW | FE_INVALID);
  check_ieee_exceptions(t, "here");
  EXPECT_TRUE(t.screen_has("Numerical overflow occurred here."));
  EXPECT_TRUE(t.screen_has("Divide by zero occurred here."));
  EXPECT_TRUE(t.screen_has("Numerical underflow occurred here."));
  EXPECT_EQ(t.screen_lines().size(), 6u);
  t.clear();
  std::feraiseexcept(FE_INVALID);
  check_ieee_exceptions(t, "here");
  EXPECT_EQ(t.screen(), "");
  EXPECT_TRUE(t.listing_has("     invalid        T\n"));
}

TEST_F(Conditions, inexact_alone_does_not_count) {
  Test_job t;
  std::feraiseexcept(FE_INEXACT);
  check_ieee_exceptions(t, "here");
  EXPECT_EQ(t.listing(), "");
}

TEST_F(Conditions, verbose_tells_that_none_is_set) {
  Test_job t;
  check_ieee_exceptions(t, "this point", true);
  EXPECT_EQ(t.listing(), " No flags signaling at this point.\n");
}

}  // namespace
}  // namespace tarn
