// Sums over the number of animals at a site, against numbers made in another way.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "likelihood/blocks/abundance.h"
#include "likelihood/likelihood_work.h"
#include "support/model_builder.h"

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
    const std::vector<std::uint8_t> counts(static_cast<std::size_t>(surveys), 99);
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

/// Poisson models of two surveys with one r, in betas, and their log probabilities in closed form.
struct Two_surveys {
  Model_builder model;

  Two_surveys(int type, const char* cells) : model(type, 2) {
    if (type == 117) model.job().status.liveeh = 0;
    Encounter_store& store = model.job().data.encounters;
    const int i = store.append(History(cells, 2), -9999.0);
    store.observed(i, 1) = 1.0F;
    model.job().status.nhist = 1;
    model.pim(1, 1, "SQUARE", 1, 2, [](int, int) { return 1; });
    model.pim(2, 1, "SQUARE", 1, 1, [](int, int) { return 2; });
    model.link(1, Link::log);
    model.link(2, Link::log);
    model.finish();
  }
  /// -2 log likelihood at means and detection rates.
  double at(double mean, double r) { return model.func({std::log(r), std::log(mean)}); }
};

/// Counts 1 and 2: C(N, 1) C(N, 2) = 2 C(N, 2) + 3 C(N, 3).
double counts_of_1_and_2(double mean, double r) {
  const double missed = (1.0 - r) * (1.0 - r), y = mean * missed, caught = r * (2.0 - r);
  return -2.0 * (-mean * caught + 3.0 * std::log(r / (1.0 - r)) + std::log(y * y + 0.5 * y * y * y));
}

/// Detections in both surveys, few animals of many detected.
double two_detections(double mean, double r) {
  const double one = -mean * r, either = -mean * r * (2.0 - r);
  return -2.0 * std::log1p(std::exp(either) - 2.0 * std::exp(one));
}

TEST(Abundance, in_steps_gives_the_closed_forms) {
  Two_surveys counts(117, "0102"), detections(111, "1010");
  // Either side of the mean from which steps are taken, and far beyond.
  for (const double mean : {2e4, 0.99e5, 1.01e5, 3e5, 2e6, 5e9, 1e14, 1e30}) {
    for (const double met : {0.5, 4.0}) {
      const double r = met / mean, f = counts_of_1_and_2(mean, r);
      // The logarithm of r alone has a rounding of 1e-14.
      EXPECT_NEAR(counts.at(mean, r), f, 1e-12 * (1.0 + f)) << mean << ' ' << met;
      EXPECT_NEAR(detections.at(mean, r), two_detections(mean, r), 1e-12 * (1.0 + std::exp(-met))) << mean;
    }
  }
  EXPECT_LT(counts.model.job().model.likelihood->plain[0]->cell.notes.terms, 20000);
}

TEST(Abundance, in_steps_has_the_derivatives_of_its_values) {
  for (const auto& [type, cells] : {std::pair(117, "0102"), std::pair(111, "1010")}) {
    Two_surveys both(type, cells);
    const std::vector<double> x{std::log(3e-6), std::log(1.5e6)};
    std::vector<double> g(2);
    funcg(both.model.job(), x, g);
    for (std::size_t k = 0; k < 2; ++k) {
      std::vector<double> up = x, down = x;
      up[k] += 1e-4, down[k] -= 1e-4;
      // Third derivatives are of the size of the first.
      EXPECT_NEAR(g[k], (both.model.func(up) - both.model.func(down)) / 2e-4, 1e-6) << type << ' ' << k;
    }
  }
}

}  // namespace
}  // namespace tarn
