// Survival over the study.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "derived/rates.h"
#include "likelihood/likelihood_work.h"
#include "unit/derived/derived_model.h"

namespace tarn {
namespace {

double logit_of(double p) { return std::log(p / (1.0 - p)); }

/// One rate per interval, the same in all groups.
void survival_pims(Model_builder& m, int q, int columns) {
  for (int g = 1; g <= m.job().status.ngrps; ++g)
    m.pim(q, g, "SQUARE", 1, columns, [](int, int c) { return c; });
}

double product_of(Model_builder& m, const std::vector<double>& s, int group = 1) {
  std::vector<double> x, values(static_cast<std::size_t>(m.job().status.ngrps));
  for (const double p : s) x.push_back(logit_of(p));
  Derived_frame frame(m.job());
  kmprod(frame, x, 1, values);
  return values[static_cast<std::size_t>(group) - 1];
}

TEST(Kmprod, known_fate_counts_the_interval_behind_the_last_occasion) {
  Model_builder m(4, 3);
  survival_pims(m, 1, 3);
  m.finish();
  EXPECT_NEAR(product_of(m, {0.9, 0.8, 0.7}), 0.504, 1e-15);
}

TEST(Kmprod, nests_and_young_count_from_the_first_to_the_last_occasion) {
  for (const int dattyp : {24, 48}) {
    Model_builder m(dattyp, 4);
    survival_pims(m, 1, 3);
    if (dattyp == 48) m.pim(2, 1, "SQUARE", 1, 3, [](int, int) { return 4; });
    m.finish();
    std::vector<double> s{0.95, 0.9, 0.85};
    if (dattyp == 48) s.push_back(0.5);
    EXPECT_NEAR(product_of(m, s), 0.95 * 0.9 * 0.85, 1e-15);
  }
}

// With a random effect the rate of the median animal.
TEST(Kmprod, random_effect_uses_the_base_rate) {
  Model_builder m(155, 3);
  m.pim(1, 1, "SQUARE", 1, 1, [](int, int) { return 4; });
  survival_pims(m, 2, 3);
  // The product needs the index matrices and no cell routine.
  stop_text([&] { m.finish(); });
  m.job().model.likelihood = std::make_shared<Likelihood_work>(m.job(), Cell_routines());
  EXPECT_NEAR(product_of(m, {0.9, 0.8, 0.7, 0.5}), 0.504, 1e-15);
}

TEST(Kmprod, interval_lengths_are_powers) {
  Model_builder m(4, 3);
  m.intervals({2.0F, 1.0F, 0.5F});
  survival_pims(m, 1, 3);
  m.finish();
  EXPECT_NEAR(product_of(m, {0.9, 0.8, 0.7}), 0.81 * 0.8 * std::sqrt(0.7), 1e-15);
}

TEST(Kmprod, one_occasion_gives_its_survival) {
  Model_builder m(4, 1);
  survival_pims(m, 1, 1);
  m.finish();
  EXPECT_NEAR(product_of(m, {0.6}), 0.6, 1e-15);
}

TEST(Kmprod, each_group_has_its_own_product) {
  Model_builder m(4, 2, 2);
  m.pim(1, 1, "SQUARE", 1, 2, [](int, int c) { return c; });
  m.pim(1, 2, "SQUARE", 1, 2, [](int, int c) { return c + 2; });
  m.finish();
  EXPECT_NEAR(product_of(m, {0.9, 0.8, 0.7, 0.6}, 1), 0.72, 1e-15);
  EXPECT_NEAR(product_of(m, {0.9, 0.8, 0.7, 0.6}, 2), 0.42, 1e-15);
}

// Binomial deaths d of n at risk: var(beta) = 1 / (n s (1 - s)) on the logit scale, so the delta method gives
// Greenwood's variance, S^2 sum d / (n (n - d)).
TEST(Kmprod, standard_error_is_greenwoods) {
  Model_builder m(4, 3);
  survival_pims(m, 1, 3);
  m.finish();
  const double n[] = {40, 36, 30}, d[] = {4, 6, 9};
  std::vector<double> x;
  double product = 1.0, greenwood = 0.0;
  std::vector<double> variances(9, 0.0);
  for (std::size_t i = 0; i < 3; ++i) {
    const double s = 1.0 - d[i] / n[i];
    x.push_back(logit_of(s));
    variances[4 * i] = 1.0 / (n[i] * s * (1.0 - s));
    product *= s;
    greenwood += d[i] / (n[i] * (n[i] - d[i]));
  }
  Derived_frame frame(m.job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, only_section(4), x, matrix(3, variances), {}, values));
  EXPECT_NEAR(values.parmest(1), product, 1e-15);
  EXPECT_NEAR(values.parmse(1), product * std::sqrt(greenwood), 5e-5 * values.parmse(1));
  const Limits limits = probability_limits(values.parmest(1), values.parmse(1));
  EXPECT_EQ(values.parmlci(1), limits.lower);
  EXPECT_EQ(values.parmuci(1), limits.upper);
}

TEST(Kmprod, survival_without_deaths_has_limits_of_1) {
  Model_builder m(4, 2);
  m.job().model.nlink = Link::identity;
  survival_pims(m, 1, 2);
  m.finish();
  Derived_frame frame(m.job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, only_section(4), std::vector<double>{1.0, 1.0},
                             matrix(2, {0.01, 0, 0, 0.01}), {}, values));
  EXPECT_EQ(values.parmest(1), 1.0);
  EXPECT_GT(values.parmse(1), 0.0);
  EXPECT_EQ(values.parmlci(1), 1.0);
  EXPECT_EQ(values.parmuci(1), 1.0);
}

// As in the table of reals: ICVALUES, else the means under ICMEANS, else the first record.
TEST(Kmprod, covariates_take_the_values_of_the_report) {
  Model_builder m(4, 2, 1, 1);
  m.record("11", {1}, {}, {2.0});
  m.record("10", {1}, {}, {-1.0});
  m.pim(1, 1, "SQUARE", 1, 2, [](int, int) { return 1; });
  m.design(2);
  m.cell(1, 1, 1.0);
  m.covariate(1, 2, 1);
  m.finish();
  Job& job = m.job();
  ASSERT_TRUE(job.data.icvrmn.allocate(1));
  job.data.icvrmn(1) = 0.5;
  const auto product = [&] {
    double value = 0.0;
    Derived_frame frame(job);
    kmprod(frame, std::vector<double>{0.3, 0.4}, 1, std::span<double>(&value, 1));
    return value;
  };
  const auto expected = [](double x) { return std::pow(1.0 / (1.0 + std::exp(-0.3 - 0.4 * x)), 2.0); };
  EXPECT_NEAR(product(), expected(2.0), 1e-15);
  job.status.icmeans = 1;
  EXPECT_NEAR(product(), expected(0.5), 1e-15);
  job.model.icvalues = {-3.0};
  EXPECT_NEAR(product(), expected(-3.0), 1e-15);
}

TEST(Kmprod, a_cell_without_a_number_is_fatal_when_the_model_is_set_up) {
  Model_builder m(4, 3);
  m.pim(1, 1, "SQUARE", 1, 3, [](int, int c) { return c == 2 ? 0 : 1; });
  m.finish();
  EXPECT_EQ(
      error_of(m.test, [&] { check_derived(m.job()); }),
      "Parameter index matrix 'S', group 1: row 1, column 2 holds 0, which is no row of the design matrix.");
}

}  // namespace
}  // namespace tarn
