#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "inference/estimates.h"
#include "support/test_job.h"

namespace tarn {
namespace {

constexpr double deltax = 1.4901161193847656e-08, z = 1.96f;

TEST(Limits_of_a_real, between_0_and_1_are_those_of_the_logit) {
  const Limits limits = real_limits(0.25, 0.1, false, deltax);
  const double centre = std::log(0.25 / 0.75), width = z * 0.1 / (0.25 * 0.75);
  EXPECT_NEAR(limits.lower, 1.0 / (1.0 + std::exp(-(centre - width))), 1e-14);
  EXPECT_NEAR(limits.upper, 1.0 / (1.0 + std::exp(-(centre + width))), 1e-14);
}

TEST(Limits_of_a_real, log_scale_gives_the_lognormal_rule) {
  const Limits limits = real_limits(20.0, 5.0, true, deltax);
  const double c = std::exp(z * std::sqrt(std::log(1.0 + 0.0625)));
  EXPECT_NEAR(limits.lower, 20.0 / c, 1e-12);
  EXPECT_NEAR(limits.upper, 20.0 * c, 1e-12);
}

TEST(Limits_of_a_real, exactly_0_or_1_gives_plain_limits) {
  for (const double x : {0.0, 1.0, deltax, 1.0 - deltax, 1.7}) {
    const Limits limits = real_limits(x, 0.01, false, deltax);
    EXPECT_DOUBLE_EQ(limits.lower, x - z * 0.01) << x;
    EXPECT_DOUBLE_EQ(limits.upper, x + z * 0.01) << x;
  }
}

TEST(Limits_of_a_real, of_an_error_that_is_no_number_are_none) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const double x : {0.0, 0.25, 1.0, 20.0})
    for (const bool log_scale : {false, true}) {
      const Limits limits = real_limits(x, nan, log_scale, deltax);
      EXPECT_TRUE(std::isnan(limits.lower) && std::isnan(limits.upper)) << x;
    }
}

TEST(Limits_of_a_real, multiplier_is_the_32_bit_number) { EXPECT_EQ(limit_multiplier, 1.9600000381469727); }

Array2<double> matrix_of_two(double a, double b, double c) {
  Array2<double> matrix;
  make_work_area(matrix, 2, 2);
  matrix(1, 1) = a;
  matrix(1, 2) = matrix(2, 1) = b;
  matrix(2, 2) = c;
  return matrix;
}

TEST(Inverse_of_the_information, leaves_out_what_is_not_estimated) {
  Test_job t;
  // Eigenvalues 8 and 2 in the directions (1,1) and (1,-1).
  const Array2<double> information = matrix_of_two(5.0, 3.0, 5.0);
  const Array2<double> full = invert_information(t, singular_system(t, information, 0.0), 2);
  EXPECT_NEAR(full(1, 1), 5.0 / 16.0, 1e-14);
  EXPECT_NEAR(full(1, 2), -3.0 / 16.0, 1e-14);
  const Array2<double> first = invert_information(t, singular_system(t, information, 0.0), 1);
  EXPECT_NEAR(first(1, 1), 1.0 / 16.0, 1e-14);
  EXPECT_NEAR(first(2, 1), 1.0 / 16.0, 1e-14);
  EXPECT_FALSE(invert_information(t, singular_system(t, {}, 0.0), 0).present());
}

TEST(Inverse_of_the_information, of_a_matrix_that_is_not_finite_is_no_number) {
  Test_job t;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Array2<double> inverse =
      invert_information(t, singular_system(t, matrix_of_two(nan, nan, 1.0), 0.0), 2);
  EXPECT_TRUE(std::isnan(inverse(2, 2)));
  EXPECT_TRUE(t.listing_has("Error number 2 returned from DSVDC."));
}

TEST(Inflation, is_by_the_c_hat_that_was_given) {
  Model_arrays model;
  Array2<double> matrix = matrix_of_two(16.0, 8.0, 4.0);
  model.quasi = true, model.chat = 9.0;  // the model's own c-hat leaves betas alone
  inflate(model, matrix);
  EXPECT_EQ(matrix(1, 1), 16.0);
  model.chat_given = 1.5;
  inflate(model, matrix);
  EXPECT_EQ(matrix(1, 1), 24.0);
  EXPECT_EQ(matrix(1, 2), 12.0);
  inflate(model, matrix, 3.0);  // to 1.5 from 3
  EXPECT_EQ(matrix(2, 1), 6.0);
  Array2<double> none;
  inflate(model, none);
  EXPECT_FALSE(none.present());
}

TEST(Parameters_of_a_matrix, are_the_singular_values_above_its_rounding) {
  EXPECT_EQ(parameters_of({}), 0);
  EXPECT_EQ(parameters_of(matrix_of_two(0.0, 0.0, 0.0)), 0);
  EXPECT_EQ(parameters_of(matrix_of_two(1e12, 0.0, 1e-12)), 2);
  EXPECT_EQ(parameters_of(matrix_of_two(1e12, 0.0, 0.0)), 1);
  EXPECT_EQ(parameters_of(matrix_of_two(1.0 / 3.0, 1.0 / 7.0, 3.0 / 49.0)), 1);  // of (1, 3/7)
  const double none = std::nan("");
  EXPECT_EQ(parameters_of(matrix_of_two(none, none, 1.0)), 1);
  EXPECT_EQ(parameters_of(matrix_of_two(2.0, none, none)), 1);
  EXPECT_EQ(parameters_of(matrix_of_two(none, none, none)), 2);
  EXPECT_EQ(parameters_of(matrix_of_two(1.0, 0.0, HUGE_VAL)), 2);
  // What a file holds: the inverse of an information matrix without its last directions, on another scale.
  Test_job t;
  constexpr int n = 6;
  for (int k = 1; k <= n; ++k) {
    Array2<double> information;
    make_work_area(information, n, n);
    for (int m = 1; m <= n; ++m)  // eigenvectors cos((i - 1/2)(m - 1) pi / n), eigenvalues 10^(7 - m)
      for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= n; ++j)
          information(i, j) += std::pow(10.0, 7 - m) * std::cos((i - 0.5) * (m - 1) * M_PI / n) *
                               std::cos((j - 0.5) * (m - 1) * M_PI / n);
    Array2<double> inverse = invert_information(t, singular_system(t, information, 1.0), k);
    const auto scale = [](int i) { return std::pow(7.0, i - 3) / 3.0; };
    for (int i = 1; i <= n; ++i)
      for (int j = 1; j <= n; ++j) {
        inverse(i, j) = inverse(i, j) * scale(i) * scale(j);
        inverse(i, j) = inverse(i, j) / (scale(i) * scale(j));
      }
    EXPECT_EQ(parameters_of(inverse), k);
  }
}

TEST(Inverse_of_the_information, knows_nothing_of_a_beta_without_information) {
  Test_job t;
  const Array2<double> inverse =
      invert_information(t, singular_system(t, matrix_of_two(4.0, 0.0, 1e-16), 0.5), 1);
  EXPECT_EQ(inverse(1, 1), 0.25);
  EXPECT_TRUE(std::isnan(inverse(1, 2)));
  EXPECT_TRUE(std::isnan(inverse(2, 1)));
  EXPECT_TRUE(std::isnan(inverse(2, 2)));
  EXPECT_TRUE(singular_system(t, matrix_of_two(4.0, 0.0, 1e-15), 0.5).without_information.empty());
  EXPECT_EQ(singular_system(t, matrix_of_two(4.0, 0.0, 1e-15), -9.0).without_information, (List<int>{2}));
}

TEST(Matrix_as_typed, has_the_scale_of_each_beta) {
  Test_job t;
  Model_arrays& model = t.job.model;
  model.ncovs_nlbetas = 3;
  ASSERT_TRUE(model.bindex.allocate(3) && model.scalefactor.allocate(3));
  model.bindex(1) = 2, model.bindex(3) = 1;  // the second beta is not estimated
  model.scalefactor(1) = 0.5, model.scalefactor(2) = 7.0, model.scalefactor(3) = 0.25;
  const Array2<double> typed = typed_vcmat(t, matrix_of_two(16.0, 8.0, 4.0));
  EXPECT_EQ(typed(1, 1), 1.0);
  EXPECT_EQ(typed(2, 1), 1.0);
  EXPECT_EQ(typed(2, 2), 1.0);
}

}  // namespace
}  // namespace tarn
