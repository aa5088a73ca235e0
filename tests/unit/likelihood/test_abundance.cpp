// Sums over the number of animals at a site, against numbers made in another way.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "likelihood/blocks/abundance.h"

namespace tarn {
namespace {

/// log of the sum over N = 99 to 400 of y^(N - 99) 99! / N! C(N, 99)^surveys, from logarithms.
double log_sum_of_99(int surveys, double y) {
  std::vector<double> logs;
  double largest = -1e300;
  for (double n = 99.0; n <= 400.0; ++n) {
    const double ways = lgamma(n + 1.0) - lgamma(100.0) - lgamma(n - 98.0);
    logs.push_back((n - 99.0) * std::log(y) + lgamma(100.0) - lgamma(n + 1.0) + surveys * ways);
    largest = std::max(largest, logs.back());
  }
  double sum = 0.0;
  for (const double each : logs) sum += std::exp(each - largest);
  return largest + std::log(sum);
}

TEST(Abundance, of_large_counts_in_many_surveys_leaves_no_range) {
  for (const int surveys : {60, 99, 154, 200, 500}) {
    const std::vector<double> counts(static_cast<std::size_t>(surveys), 99.0);
    detail::Count_weights weights{counts};
    // Half the animals are missed in a survey, but for the last row, in which one is as likely as none.
    for (const double y : {100.0 * std::pow(0.5, surveys), std::pow(0.01, surveys)}) {
      if (y < 1e-300) continue;
      const auto sum = add_up_abundance<double>(99, y, nullptr, weights);
      EXPECT_TRUE(sum.complete);
      // The reference has logarithms of some 1e5, of which 1e-16 each is lost, times the surveys.
      EXPECT_NEAR(sum.log_sum, log_sum_of_99(surveys, y), 1e-9) << surveys << ' ' << y;
      EXPECT_TRUE(std::isfinite(sum.by_log_y));
    }
  }
}

TEST(Abundance, that_no_study_has_is_out_of_reach_and_no_trap) {
  const double spread = 1.0, wide = 1e299;
  for (const double* added : {&spread, &wide}) {
    const auto none = Abundance<double>::of(1e-170, added);
    EXPECT_EQ(none.log_missed(0.5), 0.0);
    EXPECT_EQ(none.mean, 0.0);
  }
  // Where the size is l^2 / V = 1e-260 the chance of a site with animals is next to nothing, too.
  const auto hardly = Abundance<double>::of(1e-130, &spread);
  EXPECT_FALSE(hardly.poisson);
  EXPECT_NEAR(hardly.log_missed(0.5), 0.0, 1e-250);
  // A spread that is nothing beside the largest numbers.
  const double wider = 1e291;
  EXPECT_TRUE(Abundance<double>::of(1e300, &wider).poisson);
  // The square of the mean is beyond all numbers, the size is not.
  const double little = 1e150;
  const auto huge = Abundance<double>::of(1e160, &little);
  EXPECT_NEAR(huge.size, 1e170, 1e156);  // two operations
  EXPECT_FALSE(detail::within_reach(huge, 0.5));
  EXPECT_FALSE(detail::within_reach(Abundance<double>{1e160}, 0.5));
  EXPECT_FALSE(detail::within_reach(Abundance<double>{1.0}, 0.0));
  EXPECT_TRUE(detail::within_reach(Abundance<double>{1e6}, 1e-280));
}

TEST(Abundance, of_detections_beyond_all_numbers_is_not_possible) {
  std::vector<double> rates{1e-200, 1e-200}, chances, by_rates;
  detail::Detection_weights<double> weights(rates, chances, by_rates, false, 1);
  EXPECT_FALSE(add_up_abundance<double>(1, 1.0, nullptr, weights).possible());
  // One that is certain has no logarithm of its complement.
  rates = {1.0, 0.5};
  detail::Detection_weights<double> certain(rates, chances, by_rates, false, 3);
  EXPECT_EQ(certain.chances[0], 1.0);
  EXPECT_NEAR(certain.chances[1], 0.875, 1e-15);  // two operations
}

}  // namespace
}  // namespace tarn
