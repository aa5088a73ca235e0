// Estimates, standard errors and limits of real parameters under every link, from formulas of their own.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

#include "model/results/tables.h"
#include "support/fitted_models.h"

namespace tarn {
namespace {

using Vector = std::vector<double>;

/// A real parameter as a function of its own linear predictor, and its slope.
struct Link_rule {
  Link code;
  std::function<double(double)> value, slope;
};

const std::vector<Link_rule>& single_links() {
  using std::exp, std::sin, std::cos, std::abs, std::atan;
  static const std::vector<Link_rule> rules{
      {Link::logit, [](double x) { return exp(x) / (1.0 + exp(x)); },
       [](double x) { return exp(x) / ((1.0 + exp(x)) * (1.0 + exp(x))); }},
      {Link::loglog, [](double x) { return exp(-exp(-x)); }, [](double x) { return exp(-x - exp(-x)); }},
      {Link::cloglog, [](double x) { return 1.0 - exp(-exp(x)); }, [](double x) { return exp(x - exp(x)); }},
      {Link::sin, [](double x) { return 0.5 + 0.5 * sin(x); }, [](double x) { return 0.5 * cos(x); }},
      {Link::log, [](double x) { return exp(x); }, [](double x) { return exp(x); }},
      {Link::identity, [](double x) { return x; }, [](double) { return 1.0; }},
      {Link::absolute, [](double x) { return abs(x); }, [](double x) { return x < 0.0 ? -1.0 : 1.0; }},
      {Link::cauchy, [](double x) { return 0.5 + atan(x) / std::numbers::pi; },
       [](double x) { return 1.0 / (std::numbers::pi * (1.0 + x * x)); }}};
  return rules;
}

double sum_over(const Vector& x, const std::function<double(double)>& term) {
  double sum = 0.0;
  for (const double each : x) sum += term(each);
  return sum;
}

/// Member i of a set of linear predictors, and its slope by member j.
double set_value(Link code, const Vector& x, std::size_t i) {
  if (code == Link::sumratio) return std::abs(x[i]) / sum_over(x, [](double y) { return std::abs(y); });
  return std::exp(x[i]) / (1.0 + sum_over(x, [](double y) { return std::exp(y); }));
}
double set_slope(Link code, const Vector& x, std::size_t i, std::size_t j) {
  const double p = set_value(code, x, i);
  if (code != Link::sumratio) return p * ((i == j ? 1.0 : 0.0) - set_value(code, x, j));
  const double total = sum_over(x, [](double y) { return std::abs(y); });
  const auto sign = [&](std::size_t k) { return x[k] < 0.0 ? -1.0 : 1.0; };
  return ((i == j ? sign(i) : 0.0) - p * sign(j)) / total;
}

/// What the limits are made of.
enum class Scale { log, other };

Limits expected_limits(double x, double s, Scale scale) {
  constexpr double z = 1.96F;
  if (s == 0.0) return {x, x};
  if (scale == Scale::log) {
    const double width = z * std::sqrt(std::log1p(s * s / (x * x)));
    return {std::exp(std::log(x) - width), std::exp(std::log(x) + width)};
  }
  if (x <= 0x1p-26 || x >= 1.0 - 0x1p-26) return {x - z * s, x + z * s};
  const double centre = std::log(x / (1.0 - x)), width = z * s / (x * (1.0 - x));
  return {1.0 / (1.0 + std::exp(width - centre)), 1.0 / (1.0 + std::exp(-centre - width))};
}

/// A job with `betas` values and a covariance matrix for them.
struct Fitted {
  Fitted(Model_builder& m, const Vector& betas, unsigned seed) : job(m.job()) {
    Draws draws(seed);
    const int n = static_cast<int>(betas.size());
    Array2<double> root;
    if (!root.allocate(n, n) || !estimates.vcmat.allocate(n, n)) throw std::bad_alloc();
    for (double& element : root) element = draws.between(-0.15, 0.15);
    for (int i = 1; i <= n; ++i) {
      job.model.beta(i) = betas[static_cast<std::size_t>(i) - 1];
      for (int j = 1; j <= n; ++j)
        for (int k = 1; k <= n; ++k) estimates.vcmat(i, j) += root(i, k) * root(j, k);
    }
    real_estimates(job, estimates);
  }

  /// Standard error of a real parameter with these slopes by the betas.
  double se(const Vector& slopes) const {
    double variance = 0.0;
    for (std::size_t i = 0; i < slopes.size(); ++i)
      for (std::size_t j = 0; j < slopes.size(); ++j)
        variance += slopes[i] * slopes[j] * estimates.vcmat(static_cast<int>(i) + 1, static_cast<int>(j) + 1);
    return std::sqrt(variance);
  }

  /// The row is x with standard error s and the limits of these: `rounding` relative to each number.
  void expect_row(int row, double x, double s, Scale scale, double rounding) const {
    const Estimates& real = estimates.real;
    const Limits limits = expected_limits(x, s, scale);
    EXPECT_NEAR(real.estimate(row), x, 1e-14 * (1.0 + std::abs(x))) << row;
    EXPECT_NEAR(real.se(row), s, rounding * s) << row;
    EXPECT_NEAR(real.lci(row), limits.lower, rounding * (1.0 + std::abs(limits.lower))) << row;
    EXPECT_NEAR(real.uci(row), limits.upper, rounding * (1.0 + std::abs(limits.upper))) << row;
  }

  Job& job;
  Model_estimates estimates;
};

// Some products of rates near 1, and the exponential of a number of some units.
constexpr double rounding_of_formulas = 1e-12;
// A difference of reals over twice the step of 1.5e-8.
constexpr double rounding_of_differences = 2e-7;

class Limits_of_reals : public testing::TestWithParam<unsigned> {};

// Each real parameter has a beta of its own, and half of one that all have.
TEST_P(Limits_of_reals, follow_from_the_betas_under_links_of_their_own) {
  Draws draws(GetParam());
  const std::vector<Link_rule>& rules = single_links();
  const int count = static_cast<int>(rules.size());
  Model_builder m(1, count / 2 + 1);
  m.record("1" + std::string(static_cast<std::size_t>(count) / 2, '0'), {1.0F});
  m.time_pims();
  m.design(count + 1);
  for (int r = 1; r <= count; ++r) {
    m.link(r, rules[static_cast<std::size_t>(r) - 1].code);
    m.cell(r, r, 1.0);
    m.cell(r, count + 1, 0.5);
  }
  m.finish();
  Vector betas;
  for (int r = 1; r <= count; ++r) betas.push_back(draws.between(-0.9, 0.9));
  betas.push_back(draws.between(-0.3, 0.3));
  const Fitted fitted(m, betas, GetParam());
  for (int r = 1; r <= count; ++r) {
    const Link_rule& rule = rules[static_cast<std::size_t>(r) - 1];
    const double x = betas[static_cast<std::size_t>(r) - 1] + 0.5 * betas.back(), slope = rule.slope(x);
    Vector slopes(betas.size(), 0.0);
    slopes[static_cast<std::size_t>(r) - 1] = slope;
    slopes.back() = 0.5 * slope;
    fitted.expect_row(r, rule.value(x), fitted.se(slopes), rule.code == Link::log ? Scale::log : Scale::other,
                      rounding_of_formulas);
  }
}

TEST_P(Limits_of_reals, follow_from_the_betas_of_their_set) {
  Draws draws(GetParam());
  constexpr Link codes[] = {Link::mlogit, Link::clogit, Link::sumratio};
  Model_builder m(1, 7);
  m.record("1000000", {1.0F});
  m.time_pims();
  for (int set = 0; set < 3; ++set)
    for (int k = 1; k <= 4; ++k) m.set_member(4 * set + k, codes[set], set + 1);
  m.finish();
  Vector betas;
  for (int k = 0; k < 12; ++k) betas.push_back(draws.between(0.3, 1.5) * (draws.chance(0.5) ? 1.0 : -1.0));
  const Fitted fitted(m, betas, GetParam());
  for (std::size_t set = 0; set < 3; ++set) {
    const Vector x(betas.begin() + static_cast<std::ptrdiff_t>(4 * set),
                   betas.begin() + static_cast<std::ptrdiff_t>(4 * set + 4));
    for (std::size_t i = 0; i < 4; ++i) {
      Vector slopes(betas.size(), 0.0);
      for (std::size_t j = 0; j < 4; ++j) slopes[4 * set + j] = set_slope(codes[set], x, i, j);
      fitted.expect_row(static_cast<int>(4 * set + i) + 1, set_value(codes[set], x, i), fitted.se(slopes),
                        Scale::other, rounding_of_differences);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(seeds, Limits_of_reals, testing::Range(1U, 6U));

/// All reals are their betas.
Model_builder identities(int count) {
  Model_builder m(1, count / 2 + 1);
  m.record("1" + std::string(static_cast<std::size_t>(count) / 2, '0'), {1.0F});
  m.time_pims();
  m.job().model.nlink = Link::identity;
  m.finish();
  return m;
}

Vector unit(int n, int i) {
  Vector slopes(static_cast<std::size_t>(n), 0.0);
  slopes[static_cast<std::size_t>(i) - 1] = 1.0;
  return slopes;
}

// At the ends of 0 to 1, within the step of them, and outside the plain rule holds.
TEST(Limits_of_reals, are_plain_at_the_ends_of_0_to_1_and_outside) {
  const Vector betas{0.0, 1.0, -0.4, 1.7, 1e-9, 1.0 - 1e-9, 1e-7, 1.0 - 1e-7};
  const int n = static_cast<int>(betas.size());
  Model_builder m = identities(n);
  const Fitted fitted(m, betas, 9);
  for (int r = 1; r <= n; ++r)
    fitted.expect_row(r, betas[static_cast<std::size_t>(r) - 1], fitted.se(unit(n, r)), Scale::other,
                      rounding_of_formulas);
}

// Counts and deviations have the rule of LOG whatever their link.
TEST(Limits_of_reals, of_sigma_N_and_f0_are_those_of_the_log) {
  for (const char* name : {"sigma", "N", "f0"}) {
    const Vector betas{0.4, 0.3, 2.5, 14.0};
    Model_builder m = identities(4);
    m.job().data.parameterlist(2) = name;  // the second parameter: numbers 3 and 4
    const Fitted fitted(m, betas, 11);
    for (int r = 1; r <= 4; ++r)
      fitted.expect_row(r, betas[static_cast<std::size_t>(r) - 1], fitted.se(unit(4, r)),
                        r > 2 ? Scale::log : Scale::other, rounding_of_formulas);
  }
}

// A rate that no beta moves any more has a standard error of 0 and is its own limits.
TEST(Limits_of_reals, without_a_standard_error_are_the_estimate) {
  Model_builder m(1, 3);
  m.record("100", {1.0F});
  m.time_pims();
  m.fix(2, 0.7);
  m.finish();
  m.job().model.fixpar(2) = 1;
  const Fitted fitted(m, {60.0, 0.3, -0.5, 0.2}, 13);
  const Estimates& real = fitted.estimates.real;
  for (const auto& [row, value] : {std::pair{1, 1.0}, {2, 0.7}}) {
    EXPECT_EQ(real.estimate(row), value);
    EXPECT_EQ(real.se(row), 0.0);
    EXPECT_EQ(real.lci(row), value);
    EXPECT_EQ(real.uci(row), value);
  }
}

}  // namespace
}  // namespace tarn
