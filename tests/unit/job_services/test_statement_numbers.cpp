// Words to numbers, and the text helpers used with words.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <random>

#include "job/services/report.h"
#include "job/services/statement.h"
#include "support/test_job.h"

namespace tarn {
namespace {

std::string ivalue_error(std::string_view word) {
  Test_job t;
  return error_of(t, [&] { ivalue(t, word); });
}

std::string value_error(std::string_view word) {
  Test_job t;
  return error_of(t, [&] { value(t, word); });
}

TEST(Ivalue, integers) {
  Test_job t;
  EXPECT_EQ(ivalue(t, ""), 0);
  EXPECT_EQ(ivalue(t, "   "), 0);
  EXPECT_EQ(ivalue(t, "7"), 7);
  EXPECT_EQ(ivalue(t, "-12"), -12);
  EXPECT_EQ(ivalue(t, "  42 "), 42);
  EXPECT_EQ(ivalue(t, "007"), 7);
  EXPECT_EQ(ivalue(t, "-"), 0);
  EXPECT_EQ(ivalue(t, "2147483647"), 2147483647);
}

TEST(Kept, integers_count_ten_characters) {
  Test_job t;
  EXPECT_EQ(ivalue(t, "12345678901"), 1234567890);
  EXPECT_EQ(ivalue(t, "-1234567890"), -123456789);
  EXPECT_EQ(ivalue(t, "1234567890-"), 1234567890);
}

TEST(Kept, integers_overflow_unreported) {
  Test_job t;
  EXPECT_EQ(ivalue(t, "9999999999"), 1410065407);  // modulo 2^32
  EXPECT_EQ(ivalue(t, "2147483648"), -2147483647 - 1);
}

TEST(Ivalue, faults) {
  EXPECT_EQ(ivalue_error("."), "Error with integer read of '.'");
  EXPECT_EQ(ivalue_error("1.5"), "Error with integer read of '1.5'");
  EXPECT_EQ(ivalue_error("+1"), "Error with integer read of '+1'");
  EXPECT_EQ(ivalue_error("3A"), "Error with integer read of '3A'");
  EXPECT_EQ(ivalue_error("1 2"), "Error with integer read of '1 2'");
  EXPECT_EQ(ivalue_error("--1"), "Error from multiple minus signs with integer read of '--1'");
  EXPECT_EQ(ivalue_error("-1-"), "Error from multiple minus signs with integer read of '-1-'");
  EXPECT_EQ(ivalue_error("1-"), "Error from minus sign not first with integer read of '1-'");
}

TEST(Value, short_road) {
  Test_job t;
  EXPECT_EQ(value(t, "0"), 0.0);
  EXPECT_EQ(value(t, "1"), 1.0);
  EXPECT_EQ(value(t, "1.0"), value(t, "1"));
  EXPECT_EQ(value(t, "."), -9999.0);
  t.job.status.missrwp = -1.0;
  EXPECT_EQ(value(t, "."), -1.0);
}

TEST(Value, a_point_alone_is_fatal_where_none_may_be_missing) {
  Test_job t;
  for (const char* point : {".", " .", ". "})
    EXPECT_EQ(error_of(t, [&] { given_value(t.job, point); }),
              "\".\" stands for no number here: only individual covariates of a record may be missing.");
  EXPECT_EQ(given_value(t.job, ".5"), 0.5);
  EXPECT_EQ(given_value(t.job, "-9999"), -9999.0);
}

TEST(Ends_procedure, proc_or_the_single_word_stop) {
  const auto ends = [](const char* statement) {
    Test_job t(statement);
    return ends_procedure(t.job);
  };
  EXPECT_TRUE(ends("proc estimate link=SIN;"));
  EXPECT_TRUE(ends("proc stop;"));
  EXPECT_TRUE(ends("stop;"));
  EXPECT_TRUE(ends("  Stop  ;"));
  EXPECT_FALSE(ends("stop 1;"));
  EXPECT_FALSE(ends("initial 1;"));
}

TEST(Value, free_form) {
  Test_job t;
  EXPECT_EQ(value(t, "1.5"), 1.5);
  EXPECT_EQ(value(t, "-2"), -2.0);
  EXPECT_EQ(value(t, "+2"), 2.0);
  EXPECT_EQ(value(t, "3E-4"), 3e-4);
  EXPECT_EQ(value(t, "1.5D0"), 1.5);
  EXPECT_EQ(value(t, "1.5d+2"), 150.0);
  EXPECT_EQ(value(t, "2q1"), 20.0);
  EXPECT_EQ(value(t, ".5"), 0.5);
  EXPECT_EQ(value(t, "-.5"), -0.5);
  EXPECT_EQ(value(t, "5."), 5.0);
  EXPECT_EQ(value(t, "1+3"), 1000.0);
  EXPECT_EQ(value(t, "1-3"), 0.001);
  EXPECT_EQ(value(t, " 7 "), 7.0);
  EXPECT_TRUE(std::signbit(value(t, "-0")));
}

TEST(Value, reads_back_what_was_printed) {
  Test_job t;
  std::mt19937_64 random(20251107);
  for (int i = 0; i < 2000; ++i) {
    const double x =
        std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 1900) - 1000);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.17g", x);
    EXPECT_EQ(value(t, text.data()), x);
  }
}

TEST(Value, limits_of_64_bits) {
  Test_job t;
  EXPECT_EQ(value(t, "1E-400"), 0.0);
  EXPECT_EQ(value(t, "0.0E999999999999"), 0.0);
  EXPECT_EQ(value(t, "0." + std::string(400, '0') + "1E+401"), 1.0);
  EXPECT_EQ(value(t, std::string(400, '0') + "1"), 1.0);
  EXPECT_EQ(value_error("1E400"), "Reading \"1E400\" : too large for a number of 64 bits.");
  EXPECT_EQ(value_error("-1E99999999999999"),
            "Reading \"-1E99999999999999\" : too large for a number of 64 bits.");
}

TEST(Value, faults) {
  EXPECT_EQ(value_error(""), "Trying to read value from blank variable.");
  EXPECT_EQ(value_error("  "), "Trying to read value from blank variable.");
  EXPECT_EQ(value_error("ABC"), "Reading \"ABC\" : not a number.");
  for (const char* word : {"1.5X", "-",    "+",   "..",  "-.",  "E5",  "1E",    "1E+",   "1D-",  "1E5.",
                           "1 2",  "0x10", "NAN", "INF", "1,5", "--1", "1.2.3", "1E1E1", "\xff", "1EE1"})
    EXPECT_EQ(value_error(word).rfind("Reading \"" + std::string(word) + "\" :", 0), 0u) << word;
}

TEST(Text, case_changes_letters_only) {
  std::string s = "aZ{`m1\xe4";
  cvtcas(s);
  EXPECT_EQ(s, "AZ{`M1\xe4");
  s = "aZ[@M1\xc4";
  cvtlcas(s);
  EXPECT_EQ(s, "az[@m1\xc4");
}

TEST(Text, translate) {
  EXPECT_EQ(translate("a.b,c", ".,", "  "), "a b c");
  EXPECT_EQ(translate("abc", "abc", "x"), "xbc");  // no partner: left alone
  EXPECT_EQ(translate("", "a", "b"), "");
}

TEST(Text, findloc_pads_with_blanks) {
  const std::array<Charray, 3> list{"one", "two  ", ""};
  EXPECT_EQ(findloc_ch(list, "two"), 2);
  EXPECT_EQ(findloc_ch(list, "one "), 1);
  EXPECT_EQ(findloc_ch(list, " "), 3);
  EXPECT_EQ(findloc_ch(list, "ONE"), 0);
  EXPECT_EQ(findloc_ch({}, "one"), 0);
}

}  // namespace
}  // namespace tarn
