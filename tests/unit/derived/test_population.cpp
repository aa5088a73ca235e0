// Population sizes and densities of the closed models against closed forms and worked numbers.

#include <gtest/gtest.h>

#include <cmath>

#include "derived/population.h"
#include "support/closed_builder.h"
#include "unit/derived/derived_model.h"

namespace tarn {
namespace {

constexpr double z = 1.96f;

/// p .2 .3 .4, c .5 .6, alpha .9 .95 .85; with mixtures pi .35, p .5 .6 .7 in the second.
Closed_reals worked(const Closed_kind& kind) {
  Closed_reals x;
  x.pi = {0.35, 0.65};
  x.p = {{0.2, 0.3, 0.4}, {0.5, 0.6, 0.7}};
  x.c = {{0.0, 0.5, 0.6}, {0.0, 0.45, 0.55}};
  x.alpha = {0.9, 0.95, 0.85};
  x.sigma = {0.8, 0.8, 0.8};
  x.f0 = 5.5;
  x.ptilde = 0.6;
  if (!kind.mixtures) x.p.resize(1), x.c.resize(1);
  return x;
}

constexpr double plain_pstar = 0.664, mixed_pstar = 0.8434, effect_pstar = 0.6459813349;

Derived_values derive(Closed_builder& b, const std::vector<double>& x, const std::vector<double>& variances) {
  const int n = static_cast<int>(x.size());
  Array2<double> v;
  EXPECT_TRUE(v.allocate(n, n));
  for (int i = 1; i <= n; ++i) v(i, i) = variances[static_cast<std::size_t>(i) - 1];
  Derived_frame frame(b.model.job());
  Derived_values values;
  EXPECT_TRUE(derive_section(frame, only_section(b.model.job().status.dattyp), x, v, {}, values));
  return values;
}

Derived_values derive(Closed_builder& b, const Closed_reals& reals) {
  const std::vector<double> x = b.vector_of(reals);
  return derive(b, x, std::vector<double>(x.size(), 0.0));
}

/// 20 animals of four histories, some of them lost; 12, 5 and 3 first caught on occasions 1 to 3.
void twenty_animals(Closed_builder& b) {
  b.record("110", {7}, {1});
  b.record("100", {4}, {0});
  b.record("011", {5}, {0});
  b.record("001", {0}, {3});
  b.model.finish();
}

TEST(Full_population, animals_caught_and_those_never_caught) {
  for (const int type : {5, 22, 23}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    twenty_animals(b);
    const std::vector<std::string> names = b.names();
    std::vector<double> variances(names.size(), 0.01);
    for (std::size_t i = 0; i < names.size(); ++i)
      if (names[i] == "f0") variances[i] = 4.0;
    const Derived_values values = derive(b, b.vector_of(worked(b.kind)), variances);
    ASSERT_EQ(values.parmest.extent(), 1);
    EXPECT_DOUBLE_EQ(values.parmest(1), 25.5);
    EXPECT_NEAR(values.parmse(1), 2.0, 1e-9);  // only f0 counts
    const double c = std::exp(z * std::sqrt(std::log(1.0 + 4.0 / (5.5 * 5.5))));
    EXPECT_NEAR(values.parmlci(1), 20.0 + 5.5 / c, 1e-8);
    EXPECT_NEAR(values.parmuci(1), 20.0 + 5.5 * c, 1e-8);
  }
}

TEST(Full_population, groups_have_their_own_animals) {
  Closed_builder b(5, 2, {.groups = 2});
  b.record("11", {3, 6}, {0, 0});
  b.record("01", {2, 0}, {0, 1});
  b.model.finish();
  Closed_reals one;
  one.p = {{0.2, 0.3}};
  one.c = {{0.0, 0.4}};
  one.f0 = 1.5;
  Closed_reals two = one;
  two.f0 = 2.25;
  const std::vector<double> x = b.vector_of({one, two});
  const Derived_values values = derive(b, x, std::vector<double>(x.size(), 0.0));
  ASSERT_EQ(values.parmest.extent(), 2);
  EXPECT_DOUBLE_EQ(values.parmest(1), 6.5);
  EXPECT_DOUBLE_EQ(values.parmest(2), 9.25);
}

TEST(Full_population, none_unseen_collapses_to_the_animals_caught) {
  for (const double f0 : {0.0, -3.0}) {
    Closed_builder b(5, 3);
    twenty_animals(b);
    Closed_reals x = worked(b.kind);
    x.f0 = f0;
    const Derived_values values = derive(b, x);
    EXPECT_EQ(values.parmest(1), 20.0);
    EXPECT_EQ(values.parmlci(1), 20.0);
    EXPECT_EQ(values.parmuci(1), 20.0);
  }
}

TEST(Full_population, a_group_without_animals_is_f0) {
  for (const int type : {5, 49}) {
    Closed_builder b(type, 3);
    b.record("110", {0}, {0});
    b.model.finish();
    EXPECT_DOUBLE_EQ(derive(b, worked(b.kind)).parmest(1), 5.5);
  }
}

// 12 animals first caught on occasion 1, 5 on occasion 2, 3 on occasion 3.
constexpr double read_rightly = 12 * 0.9 + 5 * 0.95 + 3 * 0.85;

TEST(Misidentification, full_population_is_that_of_the_animals_read_rightly) {
  for (const int type : {49, 51, 52}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    twenty_animals(b);
    const Derived_values values = derive(b, worked(b.kind));
    EXPECT_NEAR(values.parmest(1), read_rightly / 20.0 * 25.5, 1e-12);
    EXPECT_NEAR(values.parmlci(1), values.parmest(1), 1e-9);  // no variance
  }
}

// With a variance without bounds the lower limit comes down to the minimum.
TEST(Misidentification, minimum_of_the_limits_are_the_animals_caught_twice) {
  for (const int type : {49, 50, 51, 52, 53, 54}) {
    Closed_builder b(type, 3, {.mixtures = 2, .groups = 2});
    b.record("110", {7, 2}, {1, 0});
    b.record("100", {4, 9}, {0, 0});
    b.record("011", {5, 0}, {0, 0});
    b.record("001", {0, 8}, {3, 0});
    b.record("111", {0, 1}, {0, 3});
    b.model.finish();
    const std::vector<double> x = b.vector_of({worked(b.kind), worked(b.kind)});
    const Derived_values values = derive(b, x, std::vector<double>(x.size(), 1e8));
    const double twice[] = {13.0, 6.0};
    for (int g = 1; g <= 2; ++g) {
      EXPECT_GT(values.parmlci(g), twice[g - 1]) << type;
      EXPECT_LT(values.parmlci(g), twice[g - 1] + 0.01) << type;
    }
  }
}

TEST(Misidentification, limits_stand_around_the_number_beyond_the_minimum) {
  Closed_builder b(50, 3);
  twenty_animals(b);
  const Derived_values values = derive(b, worked(b.kind));
  const double estimate = read_rightly / plain_pstar, beyond = estimate - 13.0,
               se = std::sqrt(read_rightly * (1.0 - plain_pstar)) / plain_pstar;
  const double c = std::exp(z * std::sqrt(std::log(1.0 + se * se / (beyond * beyond))));
  EXPECT_NEAR(values.parmlci(1), 13.0 + beyond / c, 1e-9);
  EXPECT_NEAR(values.parmuci(1), 13.0 + beyond * c, 1e-9);
}

TEST(Misidentification, fewer_than_were_caught_twice_are_those) {
  Closed_builder b(49, 3);
  twenty_animals(b);
  Closed_reals x = worked(b.kind);
  x.alpha.assign(3, 0.3);
  x.f0 = 1.0;
  EXPECT_EQ(derive(b, x).parmest(1), 13.0);
}

TEST(Misidentification, conditional_population) {
  for (const int type : {50, 53, 54}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    twenty_animals(b);
    const double pstar = type == 50 ? plain_pstar : mixed_pstar;
    const Derived_values values = derive(b, worked(b.kind));
    EXPECT_NEAR(values.parmest(1), read_rightly / pstar, 1e-10);
    EXPECT_NEAR(values.parmse(1), std::sqrt(read_rightly * (1.0 - pstar)) / pstar, 1e-10);
  }
}

TEST(Misidentification, everything_read_rightly_is_no_misidentification) {
  for (const auto& [with, without] : {std::pair{49, 5}, {50, 12}, {51, 22}, {52, 23}, {53, 25}, {54, 26}}) {
    std::vector<double> all;
    for (const int type : {with, without}) {
      Closed_builder b(type, 3, {.mixtures = 2});
      twenty_animals(b);
      Closed_reals x = worked(b.kind);
      x.alpha = {1.0, 1.0, 1.0};
      const Derived_values values = derive(b, x);
      all.push_back(values.parmest(1));
      all.push_back(values.parmse(1));
    }
    for (std::size_t i = 0; i < 2; ++i) EXPECT_NEAR(all[i], all[i + 2], 1e-10) << with;
  }
}

TEST(Conditional_population, animals_over_the_chance_to_be_caught) {
  for (const auto& [type, pstar] :
       {std::pair{12, plain_pstar}, {25, mixed_pstar}, {26, mixed_pstar}, {145, effect_pstar}}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    twenty_animals(b);
    const Derived_values values = derive(b, worked(b.kind));
    EXPECT_NEAR(values.parmest(1), 20.0 / pstar, 1e-7) << type;
    EXPECT_NEAR(values.parmse(1), std::sqrt(20.0 * (1.0 - pstar)) / pstar, 1e-7) << type;
    const double f0 = values.parmest(1) - 20.0;
    const double c = std::exp(z * std::sqrt(std::log(1.0 + std::pow(values.parmse(1) / f0, 2.0))));
    EXPECT_NEAR(values.parmlci(1), 20.0 + f0 / c, 1e-9);
    EXPECT_NEAR(values.parmuci(1), 20.0 + f0 * c, 1e-9);
  }
}

/// One chance of capture p on all n occasions, on the logit scale; `animals` caught.
Model_builder constant_capture(int n, float animals) {
  Model_builder m(12, n);
  m.record("1" + std::string(static_cast<std::size_t>(n) - 1, '0'), {animals});
  m.pim(1, 1, "SQUARE", 1, n, [](int, int) { return 1; });
  m.pim(2, 1, "SQUARE", 1, n - 1, [](int, int) { return 1; });
  m.finish();
  return m;
}

// With constant capture the conditional estimate reaches the known variance of the model without variation,
// N / (q^-n - n / q + n - 1) (Otis et al. 1978).
TEST(Conditional_population, variance_is_that_of_constant_capture) {
  const int n = 5;
  const double p = 0.25, q = 1.0 - p, total = 1000.0;
  const double pstar = 1.0 - std::pow(q, n), caught = total * pstar, captures = total * n * p;
  // Information of p among the animals caught, carried to the logit scale.
  const double slope = n * std::pow(q, n - 1);
  const double curvature = -n * (n - 1) * std::pow(q, n - 2);
  const double information = captures / (p * p) + (n * caught - captures) / (q * q) +
                             caught * (curvature * pstar - slope * slope) / (pstar * pstar);
  const double variance = 1.0 / (information * p * p * q * q);
  Model_builder m = constant_capture(n, static_cast<float>(caught));
  Derived_frame frame(m.job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, only_section(12), std::vector<double>{std::log(p / q)},
                             matrix(1, {variance}), {}, values));
  EXPECT_NEAR(values.parmest(1), total, 1e-4);  // counts are 32-bit numbers
  const double known = std::sqrt(total / (std::pow(q, -n) - n / q + n - 1.0));
  EXPECT_NEAR(values.parmse(1), known, 5e-5 * known);
  const double exact = -caught * slope * p * q / (pstar * pstar);
  EXPECT_NEAR(values.partials(1, 1), exact, 5e-5 * std::fabs(exact));
}

// With p so small that only first orders count, N = caught / (n p) and falls by itself as logit p grows.
TEST(Conditional_population, has_its_digits_where_captures_are_rare) {
  for (const double p : {1e-6, 1e-9, 1e-12, 1e-15}) {
    Model_builder m = constant_capture(5, 30.0F);
    Derived_frame frame(m.job());
    Derived_values values;
    ASSERT_TRUE(derive_section(frame, only_section(12), std::vector<double>{std::log(p / (1.0 - p))},
                               matrix(1, {0.01}), {}, values));
    const double expected = 30.0 / -std::expm1(5.0 * std::log1p(-p));
    // The beta is a number of some 30, so p has 14 digits.
    EXPECT_NEAR(values.parmest(1) / expected, 1.0, 1e-13) << p;
    // Differences over a step of up to .027: a sixth of its square.
    EXPECT_NEAR(values.partials(1, 1) / -expected, 1.0, 1.5e-4) << p;
    EXPECT_NEAR(values.parmse(1) / (expected * std::sqrt(0.01 + 1.0 / 30.0)), 1.0, 1.5e-4) << p;
  }
}

TEST(Conditional_population, occasions_not_sampled_do_not_catch) {
  Model_builder m(12, 3);
  m.record("110", {8});
  m.record(".10", {3});
  m.record("1.0", {2}, {1});
  m.record("01.", {1});
  m.record("11.", {4});
  m.pim(1, 1, "SQUARE", 1, 3, [](int, int c) { return c; });
  m.pim(2, 1, "SQUARE", 1, 2, [](int, int c) { return 3 + c; });
  m.job().model.nlink = Link::identity;
  m.finish();
  Derived_frame frame(m.job());
  double n = 0.0;
  huggins_pstar(frame, std::vector<double>{0.2, 0.3, 0.4, 0.5, 0.6}, 0, std::span<double>(&n, 1));
  EXPECT_NEAR(n, 8 / 0.664 + 3 / (1 - 0.7 * 0.6) + 3 / (1 - 0.8 * 0.6) + 5 / (1 - 0.8 * 0.7), 1e-12);
}

TEST(Conditional_population, no_chance_of_capture_does_not_divide_by_0) {
  Model_builder m = constant_capture(3, 1.0F);
  m.job().model.lindex.fill(Link::identity);
  Derived_frame frame(m.job());
  frame.minimum.assign(1, 0.0);
  frame.added_variance.assign(1, 0.0);
  double n = 0.0;
  huggins_pstar(frame, std::vector<double>{0.0}, 0, std::span<double>(&n, 1));
  EXPECT_EQ(n, 1.0 / minlog);
}

/// Capture depends on a covariate: logit p = b1 + b2 x.
Model_builder with_covariate(const std::vector<double>& covariates) {
  Model_builder m(12, 2, 1, 1);
  for (const double x : covariates) m.record("10", {1}, {}, {x});
  m.pim(1, 1, "SQUARE", 1, 2, [](int, int) { return 1; });
  m.pim(2, 1, "SQUARE", 1, 1, [](int, int) { return 1; });
  m.design(2);
  m.cell(1, 1, 1.0);
  m.covariate(1, 2, 1);
  m.finish();
  return m;
}

TEST(Conditional_population, each_record_has_its_own_chance) {
  const std::vector<double> covariates{-1.0, 0.5, 2.0, 0.5};
  Model_builder m = with_covariate(covariates);
  Derived_frame frame(m.job());
  EXPECT_EQ(frame.capture_classes(false).size(), 4);
  double expected = 0.0;
  std::vector<double> exact(2, 0.0);
  double sampling = 0.0;
  for (const double x : covariates) {
    const double p = 1.0 / (1.0 + std::exp(-(-0.4 + 0.3 * x))), pstar = 1.0 - (1.0 - p) * (1.0 - p);
    const double slope = -2.0 * (1.0 - p) * p * (1.0 - p) / (pstar * pstar);
    expected += 1.0 / pstar;
    sampling += (1.0 - pstar) / (pstar * pstar);
    exact[0] += slope;
    exact[1] += slope * x;
  }
  const Array2<double> v = matrix(2, {0.2, 0.03, 0.03, 0.1});
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, only_section(12), std::vector<double>{-0.4, 0.3}, v, {}, values));
  EXPECT_NEAR(values.parmest(1), expected, 1e-12);
  for (int k = 1; k <= 2; ++k) {
    const double d = exact[static_cast<std::size_t>(k) - 1];
    EXPECT_NEAR(values.partials(1, k), d, 5e-5 * std::fabs(d));
  }
  const double se = std::sqrt(sandwich_of(exact, v) + sampling);
  EXPECT_NEAR(values.parmse(1), se, 5e-5 * se);
}

// ICVALUES are for what reads one set of reals; a sum over animals uses theirs.
TEST(Conditional_population, covariate_values_of_the_report_do_not_enter_the_sum) {
  Model_builder m = with_covariate({-1.0, 2.0});
  const std::vector<double> x{-0.4, 0.3};
  Derived_frame frame(m.job());
  double plain = 0.0, with_values = 0.0;
  huggins_pstar(frame, x, 0, std::span<double>(&plain, 1));
  m.job().model.icvalues = {50.0};
  huggins_pstar(frame, x, 0, std::span<double>(&with_values, 1));
  EXPECT_EQ(plain, with_values);
}

TEST(Conditional_population, records_are_grouped_when_nothing_depends_on_them) {
  Closed_builder b(50, 3);
  b.record("110", {7}, {0});
  b.record("101", {2}, {1});
  b.record("011", {5}, {0});
  b.record("01.", {5}, {0});
  b.model.finish();
  Derived_frame frame(b.model.job());
  EXPECT_EQ(frame.capture_classes(false).size(), 2);
  EXPECT_EQ(frame.capture_classes(true).size(), 3);
  EXPECT_EQ(frame.capture_classes(true)(1).first, 1);
  EXPECT_EQ(frame.capture_classes(true)(1).animals, 10.0);
}

TEST(Density, animals_inside_over_the_area) {
  for (const auto& [type, pstar] :
       {std::pair{127, plain_pstar}, {128, mixed_pstar}, {129, mixed_pstar}, {161, effect_pstar}}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    twenty_animals(b);
    ASSERT_TRUE(b.model.job().data.areas.allocate(1));
    b.model.job().data.areas(1) = 2.5;
    const Derived_values values = derive(b, worked(b.kind));
    const double d = 20.0 * 0.6 / pstar / 2.5, se = std::sqrt(20.0 * 0.36 * (1.0 - pstar)) / pstar / 2.5;
    EXPECT_NEAR(values.parmest(1), d, 1e-7) << type;
    EXPECT_NEAR(values.parmse(1), se, 1e-7) << type;
    const Limits limits = log_limits(values.parmest(1), values.parmse(1));
    EXPECT_EQ(values.parmlci(1), limits.lower);
    EXPECT_EQ(values.parmuci(1), limits.upper);
  }
}

TEST(Density, added_variance_of_one_class) {
  EXPECT_DOUBLE_EQ(density_var_add(20.0, 0.6, 0.664, 2.5), 20.0 * 0.36 * 0.336 / (0.664 * 0.664) / 6.25);
}

TEST(Density, a_type_without_locations_is_fatal) {
  Model_builder m = constant_capture(3, 5.0F);
  Derived_frame frame(m.job());
  double d = 0.0;
  EXPECT_EQ(error_of(m.test, [&] { density(frame, std::vector<double>{0.1}, 1, std::span<double>(&d, 1)); }),
            "Wrong data type passed to subroutine density.");
}

TEST(Check_derived, a_location_factor_without_a_number_is_fatal_when_the_model_is_set_up) {
  Closed_builder b(127, 3);
  twenty_animals(b);
  ASSERT_TRUE(b.model.job().data.areas.allocate(1));
  b.model.job().data.areas.fill(1.0);
  check_derived(b.model.job());
  const int q = findpar(b.model.job().data, "ptilde");
  b.model.job().model.pim2(q, 1, 1, 1) = Pim{};
  EXPECT_EQ(error_of(b.model.test, [&] { check_derived(b.model.job()); }),
            "Parameter index matrix 'ptilde', group 1 is needed but was not given.");
}

TEST(Check_derived, sound_matrices_pass_without_a_word) {
  for (const int type : {5, 12, 22, 23, 25, 26, 49, 50, 51, 52, 53, 54, 145}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    twenty_animals(b);
    b.model.test.clear();
    check_derived(b.model.job());
    EXPECT_EQ(b.model.test.listing(), "") << type;
  }
}

}  // namespace
}  // namespace tarn
