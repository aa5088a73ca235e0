#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <fstream>
#include <limits>
#include <string>

#include "numerics/special.h"

namespace tarn {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

TEST(Special, vanishes_is_zero_or_below_to_within_rounding) {
  EXPECT_TRUE(vanishes(0.0));
  EXPECT_TRUE(vanishes(-3.0));
  EXPECT_TRUE(vanishes(1e-17));
  EXPECT_TRUE(vanishes(std::ldexp(1.0, -53)));
  EXPECT_FALSE(vanishes(std::ldexp(1.0, -52)));
  EXPECT_FALSE(vanishes(no_number));
}

TEST(Special, quotient_is_the_ieee_one_and_raises_no_condition) {
  for (const double a : {0.0, -0.0, 2.0, -2.0, infinity, -infinity, no_number})
    for (const double b : {0.0, -0.0, 4.0, -4.0, infinity, -infinity, no_number}) {
      // Divided at run time, not by the compiler.
      volatile double upper = a, lower = b;
      const double stated = upper / lower;
      std::feclearexcept(FE_ALL_EXCEPT);
      const double ratio = quotient(upper, lower);
      EXPECT_EQ(std::fetestexcept(FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW | FE_UNDERFLOW), 0)
          << a << ' ' << b;
      if (std::isnan(stated)) {
        EXPECT_TRUE(std::isnan(ratio)) << a << ' ' << b;
      } else {
        EXPECT_EQ(ratio, stated) << a << ' ' << b;
        EXPECT_EQ(std::signbit(ratio), std::signbit(stated)) << a << ' ' << b;
      }
    }
  std::feclearexcept(FE_ALL_EXCEPT);
}

TEST(Special, logit_at_and_beyond_its_ends) {
  EXPECT_EQ(logit(0.0), -708.3964185322641);
  EXPECT_EQ(logit(1.0), 709.782712893384);
  EXPECT_EQ(logit(1.7), 709.782712893384);
  EXPECT_EQ(logit(-0.2), -708.3964185322641);
  EXPECT_EQ(logit(no_number), -708.3964185322641);
  EXPECT_EQ(logit(1e-310), -708.3964185322641);
  EXPECT_EQ(logit(0.5), 0.0);
  EXPECT_NEAR(logit(0.8), std::log(4.0), 1e-15);
}

TEST(Special, expit_at_and_beyond_its_ends) {
  EXPECT_EQ(expit(1000.0), 1.0);
  EXPECT_GT(expit(-1000.0), 0.0);
  EXPECT_NEAR(expit(-1000.0) / std::exp(-709.782712893384), 1.0, 1e-12);
  EXPECT_EQ(expit(-infinity), expit(-1000.0));
  EXPECT_EQ(expit(infinity), 1.0);
  EXPECT_EQ(expit(no_number), expit(-1000.0));
  EXPECT_EQ(expit(0.0), 0.5);
  for (double x = -30; x < 30; x += 0.37) EXPECT_EQ(expit(x), 1.0 / (1.0 + std::exp(-x)));
}

TEST(Special, expit_undoes_logit) {
  for (double p = 0.001; p < 1.0; p += 0.0173) EXPECT_NEAR(expit(logit(p)), p, 1e-15);
}

TEST(Special, exprep_is_neither_zero_nor_infinite) {
  EXPECT_EQ(exprep(-1e6), std::exp(minexp));
  EXPECT_EQ(exprep(no_number), std::exp(minexp));
  EXPECT_EQ(exprep(1e6), std::exp(maxexp));
  EXPECT_TRUE(std::isfinite(exprep(infinity)));
  EXPECT_EQ(exprep(1.5), std::exp(1.5));
}

TEST(Special, floored_log_takes_the_floor_for_what_is_no_number) {
  EXPECT_EQ(floored_log(0.0), std::log(minlog));
  EXPECT_EQ(floored_log(-2.0), std::log(minlog));
  EXPECT_EQ(floored_log(no_number), std::log(minlog));
  EXPECT_EQ(floored_log(0.3), std::log(0.3));
}

TEST(Special, bincoef_by_each_of_its_rules) {
  EXPECT_EQ(bincoef(5, 0), 1.0);
  EXPECT_EQ(bincoef(5, 5), 1.0);
  EXPECT_EQ(bincoef(5, 4), 5.0);
  EXPECT_EQ(bincoef(5, 1), 5.0);
  EXPECT_EQ(bincoef(5, 3), 10.0);
  EXPECT_EQ(bincoef(5, 2), 10.0);
  EXPECT_NEAR(bincoef(10, 5), 252.0, 1e-11);
  EXPECT_NEAR(bincoef(7.5, 3.0) / (7.5 * 6.5 * 5.5 / 6.0), 1.0, 1e-13);
  EXPECT_EQ(bincoef(1e6, 5e5), std::exp(maxexp));
  EXPECT_EQ(bincoef(3, 7), std::exp(minexp));
}

// References: sums of m terms, log(x + k), 1 / (x + k) and -1 / (x + k)^2 for k = 0 to m - 1.
TEST(Special, rises_are_sums_over_whole_steps) {
  for (const double x : {0.5, 3.25, 9.75, 10.0, 17.5, 1e3, 1e6, 1e9, 1e13, 1e15})
    for (const int m : {0, 1, 2, 7, 40, 1000}) {
      long double gamma = 0.0L, di = 0.0L, tri = 0.0L;
      for (int k = 0; k < m; ++k) {
        const long double y = static_cast<long double>(x) + k;
        gamma += std::log(y), di += 1.0L / y, tri -= 1.0L / (y * y);
      }
      // Relative to the sum; below 10 of the functions themselves, which are of the order of 1 to 10^4 there.
      const double scale = x < 10.0 ? 5.0 + 10.0 * m : 0.0;
      const auto near = [&](double got, long double sum, const char* what) {
        const double expected = static_cast<double>(sum);
        EXPECT_NEAR(got, expected, 1e-14 * (std::abs(expected) + scale)) << what << ' ' << x << ' ' << m;
      };
      near(lgamma_rise(x, m), gamma, "lgamma");
      near(digamma_rise(x, m), di, "digamma");
      near(trigamma_rise(x, m), tri, "trigamma");
    }
}

TEST(Special, log_of_rest_is_the_logarithm_of_the_complement) {
  EXPECT_DOUBLE_EQ(log_of_rest(0.25), std::log(0.75));
  EXPECT_DOUBLE_EQ(log_of_rest(0.75), std::log(0.25));
  EXPECT_DOUBLE_EQ(log_of_rest(-3.0), std::log(4.0));
  EXPECT_DOUBLE_EQ(log_of_rest(1e-20), -1e-20);
  EXPECT_EQ(log_of_rest(1.0), std::log(minlog));
  EXPECT_EQ(log_of_rest(2.0), std::log(minlog));
  EXPECT_EQ(log_of_rest(std::nan("")), std::log(minlog));
}

TEST(Special, lgamma_digamma_trigamma_agree_with_fifty_digit_arithmetic) {
  std::ifstream table(std::string(TARN_TEST_DATA) + "/special.txt");
  double x, value, first, second;
  int count = 0;
  for (; table >> x >> value >> first >> second; ++count) {
    EXPECT_NEAR(lgamma(x), value, 1e-14 * std::max(1.0, std::abs(value))) << x;
    EXPECT_NEAR(digamma(x), first, 2e-14 * std::max(1.0, std::abs(first))) << x;
    EXPECT_NEAR(trigamma(x) / second, 1.0, 2e-14) << x;
  }
  EXPECT_EQ(count, 31);
}

TEST(Special, poles_of_the_gamma_function) {
  for (double x : {0.0, -1.0, -7.0}) {
    EXPECT_EQ(lgamma(x), infinity);
    EXPECT_TRUE(std::isnan(digamma(x)));
    EXPECT_TRUE(std::isnan(trigamma(x)));
  }
  EXPECT_TRUE(std::isnan(digamma(no_number)));
  EXPECT_TRUE(std::isnan(digamma(-infinity)));
}

}  // namespace
}  // namespace tarn
