// The frame of the derived parameters: derivatives, variances, layout, records, and who has sections at all.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "data/catalogue/available.h"
#include "derived/sections.h"
#include "unit/derived/derived_model.h"

namespace tarn {
namespace {

/// Three functions of two betas with known derivatives.
void curves(Derived_frame&, std::span<const double> x, int, View<double> values) {
  values(1) = std::exp(x[0]) + x[1] * x[1];
  values(2) = std::sin(x[0] * x[1]);
  values(3) = 1.0 / (1.0 + std::exp(-x[0] - 2.0 * x[1]));
}

void logistic(Derived_frame&, std::span<const double> x, int, View<double> values) {
  values(1) = 1.0 / (1.0 + std::exp(-x[0]));
}

void constant(Derived_frame&, std::span<const double>, int, View<double> values) { values(1) = 0.25; }

/// 40 animals known, 10 not; a sampling variance of 9.
void counted(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  values(1) = 40.0 + 10.0 * x[0];
  if (flag != 1) return;
  frame.minimum(1) = 40.0;
  frame.added_variance(1) = 9.0;
}

template <int count>
List<List<int>> numbered(const Job&) {
  List<List<int>> rows;
  for (int i = 1; i <= count; ++i) rows.push_back({i});
  return rows;
}

template <int count>
Section section_of(Derived_routine routine, Interval interval, bool inflated = false) {
  return {.title = "Curves of ",
          .label_names = {},
          .rows = numbered<count>,
          .interval = interval,
          .inflated = inflated,
          .routine = routine};
}

class Derived : public testing::Test {
 protected:
  Derived() : m(1, 3) {
    m.record("110", {4});
    m.time_pims();
    m.finish();
    job().model.modnam = "{M}";
  }
  Job& job() { return m.job(); }
  Model_builder m;
};

TEST_F(Derived, partials_are_close_to_exact_derivatives) {
  Derived_frame frame(job());
  const std::vector<double> x{0.4, -0.7};
  const Array2<double> v = matrix(2, {0.04, 0.01, 0.01, 0.09});
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, section_of<3>(curves, Interval::plain), x, v, {}, values));
  const double p = 1.0 / (1.0 + std::exp(1.0));
  const std::vector<std::vector<double>> exact{{std::exp(0.4), -1.4},
                                               {-0.7 * std::cos(0.28), 0.4 * std::cos(0.28)},
                                               {p * (1.0 - p), 2.0 * p * (1.0 - p)}};
  for (int i = 1; i <= 3; ++i) {
    const std::vector<double>& row = exact[static_cast<std::size_t>(i) - 1];
    for (int k = 1; k <= 2; ++k) {
      const double d = row[static_cast<std::size_t>(k) - 1];
      EXPECT_NEAR(values.partials(i, k), d, 5e-5 * std::fabs(d));
    }
    EXPECT_NEAR(values.parmse(i), std::sqrt(sandwich_of(row, v)), 5e-5 * values.parmse(i));
  }
  EXPECT_NEAR(values.vcdmat(1, 2), values.vcdmat(2, 1), 1e-15);
  EXPECT_DOUBLE_EQ(values.parmest(1), std::exp(0.4) + 0.49);
}

// The step is stated, so the differences themselves are known.
TEST_F(Derived, partials_are_the_stated_central_differences) {
  Derived_frame frame(job());
  const std::vector<double> x{2.5};
  const Array2<double> v = matrix(1, {0.3});
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, section_of<1>(logistic, Interval::probability), x, v, {}, values));
  const double step = 1.4901161193847656e-08 * 0.5 * 3.5 * 100000.0;
  const auto p = [](double b) { return 1.0 / (1.0 + std::exp(-b)); };
  const double difference = (p(2.5 + step) - p(2.5 - step)) / (2.0 * step);
  EXPECT_NEAR(step, 7.45e-4 * 3.5, 1e-6 * 3.5);
  EXPECT_NEAR(values.partials(1, 1), difference, 1e-15);
}

TEST_F(Derived, one_beta_gives_the_square_of_its_partial_times_its_variance) {
  Derived_frame frame(job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, section_of<1>(logistic, Interval::probability), std::vector<double>{0.2},
                             matrix(1, {0.3}), {}, values));
  EXPECT_DOUBLE_EQ(values.vcdmat(1, 1), values.partials(1, 1) * 0.3 * values.partials(1, 1));
  EXPECT_DOUBLE_EQ(values.parmse(1), std::sqrt(values.vcdmat(1, 1)));
}

TEST_F(Derived, without_betas_there_is_no_variance) {
  Derived_frame frame(job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, section_of<1>(constant, Interval::probability), {}, {}, {}, values));
  EXPECT_EQ(values.parmest(1), 0.25);
  EXPECT_EQ(values.parmse(1), 0.0);
  EXPECT_DOUBLE_EQ(values.parmlci(1), 0.25);
  EXPECT_DOUBLE_EQ(values.parmuci(1), 0.25);
}

TEST_F(Derived, negative_variance_gives_a_standard_error_of_0) {
  Derived_frame frame(job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, section_of<1>(logistic, Interval::plain), std::vector<double>{0.2},
                             matrix(1, {-0.3}), {}, values));
  EXPECT_LT(values.vcdmat(1, 1), 0.0);
  EXPECT_EQ(values.parmse(1), 0.0);
  EXPECT_EQ(values.parmlci(1), values.parmest(1));
}

TEST_F(Derived, a_matrix_that_is_no_number_gives_errors_that_are_none) {
  Derived_frame frame(job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, section_of<1>(logistic, Interval::probability), std::vector<double>{0.2},
                             matrix(1, {std::nan("")}), {}, values));
  EXPECT_TRUE(std::isnan(values.parmse(1)));
  EXPECT_TRUE(std::isnan(values.parmlci(1)));
  EXPECT_TRUE(std::isnan(values.parmuci(1)));
}

TEST_F(Derived, betas_come_back_as_they_were) {
  Derived_frame frame(job());
  std::vector<double> x{0.1, 0.2};
  Derived_values values;
  ASSERT_TRUE(values.parmest.allocate(3) && values.partials.allocate(3, 2));
  std::vector<double> g(3), w(3);
  get_partials(frame, curves, x, values, g, w);
  EXPECT_EQ(x, (std::vector<double>{0.1, 0.2}));
}

TEST_F(Derived, steps_are_those_of_the_default_whatever_deltax_says) {
  const auto partials_with = [&](double deltax) {
    job().status.deltax = deltax;
    Derived_frame frame(job());
    std::vector<double> x{0.1, 0.2};
    Derived_values values;
    EXPECT_TRUE(values.parmest.allocate(3) && values.partials.allocate(3, 2));
    std::vector<double> g(3), w(3);
    get_partials(frame, curves, x, values, g, w);
    return std::move(values.partials);
  };
  const Array2<double> usual = partials_with(default_deltax), wide = partials_with(1e-3);
  for (int i = 1; i <= 3; ++i)
    for (int k = 1; k <= 2; ++k) EXPECT_EQ(usual(i, k), wide(i, k)) << i << k;
}

TEST_F(Derived, count_of_the_section_is_known_to_the_job) {
  Derived_frame frame(job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, section_of<3>(curves, Interval::plain), std::vector<double>{0.1, 0.2},
                             matrix(2, {1, 0, 0, 1}), {}, values));
  EXPECT_EQ(job().status.nests, 3);
}

double error_with_chat(Job& job, bool quasi, double chat, bool inflated) {
  job.model.quasi = quasi;
  job.model.chat = chat;
  Derived_frame frame(job);
  Derived_values values;
  EXPECT_TRUE(derive_section(frame, section_of<1>(counted, Interval::population, inflated),
                             std::vector<double>{1.0}, matrix(1, {0.16}), {}, values));
  return values.parmse(1);
}

TEST_F(Derived, chat_inflates_under_quasi_only_and_only_when_finite_and_positive) {
  const double infinity = HUGE_VAL;
  EXPECT_NEAR(error_with_chat(job(), false, 4.0, true), 5.0, 1e-9);
  EXPECT_NEAR(error_with_chat(job(), true, 4.0, true), 10.0, 1e-9);
  EXPECT_NEAR(error_with_chat(job(), true, 4.0, false), 5.0, 1e-9);
  for (const double none : {0.0, -2.0, infinity, std::nan("")})
    EXPECT_NEAR(error_with_chat(job(), true, none, true), 5.0, 1e-9);
}

// The matrix of the betas holds a c-hat that was given: of the variance of `counted`, 16 + 9, the 9 of
// sampling are multiplied by it, whether the section is inflated or not, and whatever the model's own c-hat
// is.
TEST_F(Derived, chat_that_was_given_multiplies_the_sampling_term_alone) {
  job().model.chat_given = 4.0;
  for (const bool inflated : {false, true})
    for (const double own : {1.0, 4.0, 7.0})
      EXPECT_NEAR(error_with_chat(job(), true, own, inflated), std::sqrt(16.0 + 4.0 * 9.0), 1e-9);
  Derived_frame frame(job());
  Derived_values values;
  ASSERT_TRUE(derive_section(frame, section_of<3>(curves, Interval::plain, true),
                             std::vector<double>{0.3, 0.5}, matrix(2, {0.5, 0.1, 0.1, 0.25}), {}, values));
  EXPECT_EQ(values.chat, 4.0);
}

TEST_F(Derived, chat_and_sampling_terms_stand_in_the_matrix) {
  job().model.quasi = true;
  const auto matrix_at = [&](double chat, Derived_routine routine, auto rows) {
    job().model.chat = chat;
    Derived_frame frame(job());
    Derived_values values;
    EXPECT_TRUE(derive_section(frame, section_of<rows()>(routine, Interval::plain, true),
                               std::vector<double>{0.3, 0.5}, matrix(2, {0.5, 0.1, 0.1, 0.25}), {}, values));
    return std::move(values.vcdmat);
  };
  const std::integral_constant<int, 3> three;
  const std::integral_constant<int, 1> one;
  const Array2<double> plain = matrix_at(1.0, curves, three), inflated = matrix_at(4.0, curves, three);
  for (int i = 1; i <= 3; ++i)
    for (int j = 1; j <= 3; ++j) EXPECT_EQ(inflated(i, j), 4.0 * plain(i, j)) << i << j;
  // The derivative is 10 and the variance of the beta 0.5; sampling adds 9.
  EXPECT_NEAR(matrix_at(4.0, counted, one)(1, 1), 4.0 * (50.0 + 9.0), 1e-6);
}

TEST_F(Derived, a_population_below_the_animals_known_is_those) {
  Derived_frame frame(job());
  Derived_values values;
  for (const double unseen : {0.0, -0.5}) {
    ASSERT_TRUE(derive_section(frame, section_of<1>(counted, Interval::population),
                               std::vector<double>{unseen}, matrix(1, {0.16}), {}, values));
    EXPECT_EQ(values.parmest(1), 40.0);
    EXPECT_EQ(values.parmlci(1), 40.0);
    EXPECT_EQ(values.parmuci(1), 40.0);
  }
}

/// No section is handed out.
void none(Derived_values&) { ADD_FAILURE(); }

TEST_F(Derived, types_without_sections_write_nothing) {
  int silent = 0;
  for (int n = 1; n <= max_dattyp; ++n) {
    if (datatype(n).derived_sections != Derived_sections::none) continue;
    ++silent;
    job().status.dattyp = n;
    m.test.clear();
    derivedest(job(), {}, {}, {}, none);
    check_derived(job());
    EXPECT_EQ(m.test.listing(), "") << n;
    EXPECT_EQ(m.test.screen(), "") << n;
  }
  EXPECT_EQ(silent, 31);
}

TEST_F(Derived, a_number_outside_the_table_is_told) {
  for (const int n : {0, 186, -4}) {
    job().status.dattyp = n;
    m.test.clear();
    derivedest(job(), {}, {}, {}, none);
    EXPECT_TRUE(
        m.test.listing_has("  * *  WARNING  * *   No derived parameters are available for data type number " +
                           std::to_string(n) + "."));
  }
}

TEST(Sections, are_there_for_every_tag_that_is_said_to_be_available) {
  for (int n = 1; n <= max_dattyp; ++n) {
    const Datatype& type = datatype(n);
    const bool wanted =
        is_available(type.derived_sections) && type.derived_sections != Derived_sections::none;
    EXPECT_EQ(!derived_sections(type).empty(), wanted) << n;
  }
}

}  // namespace
}  // namespace tarn
