// The scalar itself: its digits, and the rules that it shares with doubles.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "many_digits/many_digits.h"

namespace tarn {
namespace {

// References: series and logarithms summed with 70 digits.
TEST(Many_digits, are_right) {
  constexpr std::size_t digits_held = 50;  // the point among them, and at times a 0
  const auto digits = [](const Many_digits& x) { return text_of(x).substr(0, digits_held); };
  const std::vector<std::pair<Many_digits, std::string>> values{
      {exp(Many_digits(1.0)), "2.718281828459045235360287471352662497757247093699959"},
      {log(Many_digits(2.0)), "0.693147180559945309417232121458176568075500134360255"},
      {sqrt(Many_digits(2.0)), "1.414213562373095048801688724209698078569671875376948"},
      {sin(Many_digits(1.0)), "0.841470984807896506652502321630298999622563060798371"},
      {4.0 * atan(Many_digits(1.0)), "3.141592653589793238462643383279502884197169399375105"},
      {erf(Many_digits(1.0)), "0.842700792949714869341220635082609259296066997966302"},
      {lgamma(Many_digits(0.5)), "0.572364942924700087071713675676529355823647406457655"},
      {lgamma(Many_digits(7.5)), "7.534364236758732955158367632436685767027279021952120"},
      {pow(2.0, Many_digits(0.5)), "1.414213562373095048801688724209698078569671875376948"},
      {expit(Many_digits(0.5)), "0.622459331201854564638900565745508478753279365308910"},
      {exprep(Many_digits(1.0)), "2.718281828459045235360287471352662497757247093699959"},
      {floored_log(Many_digits(2.0)), "0.693147180559945309417232121458176568075500134360255"},
      {abs(Many_digits(-2.0)) / 3.0, "0.666666666666666666666666666666666666666666666666666"}};
  for (std::size_t k = 0; k < values.size(); ++k)
    EXPECT_EQ(digits(values[k].first), values[k].second.substr(0, digits_held)) << k;
  const Many_digits one = 1.0, more = one + 1e-45;
  EXPECT_TRUE(one < more && more > one && one <= more && more >= one && one != more);
  EXPECT_LT(value_of(abs(bincoef(Many_digits(9.0), Many_digits(4.0)) - 126.0)), 1e-45);
}

TEST(Many_digits, follow_the_rules_of_doubles) {
  const double none = std::numeric_limits<double>::quiet_NaN();
  const std::vector<double> numbers{-1e4,    -709.9, -708.5, -2.0, -1.0, -1e-17, 0.0,   1e-320, 1e-16,
                                    1.2e-16, 0.25,   1.0,    2.0,  3.0,  708.,   709.9, 1e4,    none};
  // Relative, of what is rounded to doubles on both sides.
  const auto same = [](double many, double plain) {
    return many == plain || (std::isnan(many) && std::isnan(plain)) ||
           std::abs(many - plain) <= 1e-12 * std::abs(plain);
  };
  for (const double x : numbers) {
    const Many_digits many(x);
    EXPECT_TRUE(same(value_of(many), x)) << x;
    EXPECT_TRUE(same(value_of(exprep(many)), exprep(x))) << x;
    EXPECT_TRUE(same(value_of(expit(many)), expit(x))) << x;
    EXPECT_TRUE(same(value_of(floored_log(many)), floored_log(x))) << x;
    EXPECT_TRUE(same(value_of(abs(many)), abs(x))) << x;
    EXPECT_EQ(vanishes(many), vanishes(x)) << x;
    if (abs(x) < 100.0) {
      EXPECT_TRUE(same(value_of(lgamma(many)), lgamma(x))) << x;
    }
    for (const double y : numbers) {
      EXPECT_EQ(many < y, x < y) << x << ' ' << y;
      EXPECT_EQ(many > y, x > y) << x << ' ' << y;
      EXPECT_EQ(many <= y, x <= y) << x << ' ' << y;
      EXPECT_EQ(many >= y, x >= y) << x << ' ' << y;
      EXPECT_EQ(many == y, x == y) << x << ' ' << y;
      EXPECT_EQ(many != y, x != y) << x << ' ' << y;
      // Beyond that the range of a double ends, and no chance has such a power.
      if (abs(y) < 4.0 && abs(x) < 1e3 && x != 1e-320) {
        EXPECT_TRUE(same(value_of(pow(many, y)), pow(x, y))) << x << ' ' << y;
      }
      if (x < 100.0 && y >= 0.0 && y <= x) {
        EXPECT_TRUE(same(value_of(bincoef(many, y)), bincoef(x, y))) << x << ' ' << y;
      }
    }
  }
}

}  // namespace
}  // namespace tarn
