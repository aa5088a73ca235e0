// Limits by scale, each with its edges.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "inference/intervals.h"
#include "numerics/special.h"

namespace tarn {
namespace {

constexpr double z = 1.96f;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");

TEST(Intervals, probability_is_symmetric_on_the_logit_scale) {
  const double p = 0.3, se = 0.05;
  const Limits limits = probability_limits(p, se);
  const double half = z * se / (p * (1.0 - p)), centre = std::log(p / (1.0 - p));
  EXPECT_NEAR(std::log(limits.lower / (1.0 - limits.lower)), centre - half, 1e-12);
  EXPECT_NEAR(std::log(limits.upper / (1.0 - limits.upper)), centre + half, 1e-12);
  EXPECT_NEAR(limits.lower, 0.21182418996783461, 1e-14);
  EXPECT_NEAR(limits.upper, 0.4059746720306298, 1e-14);
}

TEST(Intervals, probability_of_exactly_0_or_1_collapses_to_the_estimate) {
  for (const double p : {0.0, 1.0})
    for (const double se : {0.0, 0.2, infinity}) {
      const Limits limits = probability_limits(p, se);
      EXPECT_EQ(limits.lower, p);
      EXPECT_EQ(limits.upper, p);
    }
}

TEST(Intervals, probability_with_an_immense_error_stays_within_0_and_1) {
  for (const double p : {1e-300, 1e-12, 0.5, 1.0 - 1e-12}) {
    const Limits limits = probability_limits(p, 1e6);
    EXPECT_GE(limits.lower, 0.0);
    EXPECT_LE(limits.lower, p);
    EXPECT_GE(limits.upper, p);
    EXPECT_LE(limits.upper, 1.0);
  }
}

TEST(Intervals, probability_without_error_is_a_point) {
  const Limits limits = probability_limits(0.7, 0.0);
  EXPECT_DOUBLE_EQ(limits.lower, 0.7);
  EXPECT_DOUBLE_EQ(limits.upper, 0.7);
}

TEST(Intervals, log_scale) {
  const Limits limits = log_limits(20.0, 5.0);
  const double c = std::exp(z * std::sqrt(std::log(1.0 + 0.0625)));
  EXPECT_DOUBLE_EQ(limits.lower, 20.0 / c);
  EXPECT_DOUBLE_EQ(limits.upper, 20.0 * c);
}

TEST(Intervals, log_scale_of_0) {
  const Limits limits = log_limits(0.0, 3.0);
  EXPECT_EQ(limits.lower, 0.0);
  EXPECT_EQ(limits.upper, 0.0);
}

TEST(Intervals, log_scale_of_an_infinite_error_is_bounded_by_exprep) {
  const Limits limits = log_limits(1.0, infinity);
  EXPECT_GT(limits.lower, 0.0);
  EXPECT_LT(limits.upper, infinity);
}

TEST(Intervals, population_is_the_log_scale_of_the_animals_not_seen) {
  const Limits limits = population_limits(130.0, 12.0, 100.0);
  const double c = std::exp(z * std::sqrt(std::log(1.0 + 0.16)));
  EXPECT_DOUBLE_EQ(limits.lower, 100.0 + 30.0 / c);
  EXPECT_DOUBLE_EQ(limits.upper, 100.0 + 30.0 * c);
  EXPECT_GT(limits.lower, 100.0);
}

TEST(Intervals, population_without_unseen_animals_collapses_to_the_minimum) {
  for (const double n : {100.0, 99.0, -5.0})
    for (const double se : {0.0, 7.0}) {
      const Limits limits = population_limits(n, se, 100.0);
      EXPECT_EQ(limits.lower, 100.0);
      EXPECT_EQ(limits.upper, 100.0);
    }
}

TEST(Intervals, plain) {
  const Limits limits = plain_limits(0.5, 0.4);
  EXPECT_DOUBLE_EQ(limits.lower, 0.5 - z * 0.4);
  EXPECT_DOUBLE_EQ(limits.upper, 0.5 + z * 0.4);
}

TEST(Intervals, an_error_that_is_no_number_gives_limits_that_are_none) {
  const auto are_none = [](const Limits& limits) {
    return std::isnan(limits.lower) && std::isnan(limits.upper);
  };
  for (const double p : {0.0, 0.4, 1.0}) EXPECT_TRUE(are_none(probability_limits(p, nan_value))) << p;
  for (const double est : {0.0, 4.0}) EXPECT_TRUE(are_none(log_limits(est, nan_value))) << est;
  for (const double n : {2.0, 4.0, 9.0}) EXPECT_TRUE(are_none(population_limits(n, nan_value, 4.0))) << n;
  EXPECT_TRUE(are_none(plain_limits(4.0, nan_value)));
}

}  // namespace
}  // namespace tarn
