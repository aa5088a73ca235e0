// Captures that are rare: what is near 0 is not the difference of two numbers near 1.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "inference/varmat.h"
#include "likelihood/func.h"
#include "many_digits/objective_in.h"
#include "many_digits/proof_models.h"

namespace tarn {
namespace {

/// Every cell of every matrix has a beta of its own. Chances of a first capture lie about `p`, the numbers
/// never caught where p would have them; all else is what it is where captures are many.
struct Rare {
  Model_builder m;
  std::vector<double> x;
};

Rare rare(int type, double p) {
  const Fitted_options options{.noccas = 4, .groups = 1, .covariates = 0};
  Rare made{unfinished_model(type, draw_animals(type, 16, options, 3), options), {}};
  Job& job = made.m.job();
  made.x.resize(static_cast<std::size_t>(job.model.nlogit));
  Draws draws(4);
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const std::string& name = job.data.parameterlist(q);
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      for_each_cell(pim, [&](int row, int, int number) {
        double& beta = made.x[static_cast<std::size_t>(number) - 1];
        beta = draws.between(-1.0, 1.0);
        // In the second mixture by far rarer.
        if (name == "p") beta += std::log(p) * (row == 1 ? 1.0 : 1.25);
        if (name == "f0") beta += std::log(10.0 / p);
        // Growth below survival: none enter, and the term of the unmarked is told apart from their number.
        if (name == "Phi") beta = 0.5;
        if (name == "Lambda") beta = -0.9;
        if (name == "N") beta = 6.0;
      });
    });
  }
  made.m.finish();
  return made;
}

class Rare_captures : public testing::TestWithParam<std::tuple<int, double>> {
 protected:
  Rare_captures() : made_(rare(std::get<0>(GetParam()), std::get<1>(GetParam()))), exact_(made_.m.job()) {}

  Rare made_;
  Many_digit_differences exact_;
};
class Curvature_of_rare_captures : public Rare_captures {};

TEST_P(Rare_captures, values_and_gradients_are_those_of_many_digits) {
  Job& job = made_.m.job();
  const double f = exact_.value(made_.x);
  // The rounding of some hundred operations a cell.
  EXPECT_NEAR(func(job, made_.x).f, f, 1e-13 * std::abs(f));
  std::vector<double> g(made_.x.size());
  EXPECT_NEAR(funcg(job, made_.x, g).f, f, 1e-13 * std::abs(f));
  const std::vector<double> exact = exact_.gradient(made_.x);
  // An element is a sum over cells that may cancel.
  for (std::size_t i = 0; i < g.size(); ++i)
    EXPECT_NEAR(g[i], exact[i], 1e-11 * (1.0 + std::abs(exact[i]))) << "beta " << i + 1;
}

TEST_P(Curvature_of_rare_captures, second_derivatives_are_those_of_many_digits) {
  Job& job = made_.m.job();
  const std::size_t n = made_.x.size();
  const std::vector<double> exact = exact_.second_derivatives(made_.x);
  std::vector<double> h(n * (n + 1) / 2);
  job.model.vartyp = Variance::second_partials;
  varmat(job, made_.x, h);  // half of the second derivatives
  const Array2<double> full = expand(h, static_cast<int>(n));
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j <= i; ++j)
      EXPECT_NEAR(2.0 * full(static_cast<int>(i) + 1, static_cast<int>(j) + 1), exact[i * n + j],
                  1e-9 * (1.0 + std::abs(exact[i * n + j])))
          << "betas " << i + 1 << ", " << j + 1;
}

const auto conditional = testing::Values(12, 25, 26, 50, 53, 54, 127, 128, 129, 145, 161);
const auto full = testing::Values(5, 22, 23, 49, 51, 52);
const auto open_population = testing::Values(11);
const auto rates = testing::Values(0.3, 1e-3, 1e-6, 1e-9, 1e-12);
// With 1e10 animals never caught their gamma function takes the digits that second differences need.
const auto rates_of_many = testing::Values(0.3, 1e-3, 1e-6);
constexpr auto type_and_rate = [](const testing::TestParamInfo<Rare_captures::ParamType>& info) {
  return "type_" + std::to_string(std::get<0>(info.param)) + "_exponent_" +
         std::to_string(static_cast<int>(-std::log10(std::get<1>(info.param))));
};

INSTANTIATE_TEST_SUITE_P(conditional, Rare_captures, testing::Combine(conditional, rates), type_and_rate);
INSTANTIATE_TEST_SUITE_P(full, Rare_captures, testing::Combine(full, rates), type_and_rate);
INSTANTIATE_TEST_SUITE_P(open, Rare_captures, testing::Combine(open_population, rates), type_and_rate);
INSTANTIATE_TEST_SUITE_P(conditional, Curvature_of_rare_captures, testing::Combine(conditional, rates),
                         type_and_rate);
INSTANTIATE_TEST_SUITE_P(full, Curvature_of_rare_captures, testing::Combine(full, rates_of_many),
                         type_and_rate);
INSTANTIATE_TEST_SUITE_P(open, Curvature_of_rare_captures, testing::Combine(open_population, rates_of_many),
                         type_and_rate);

}  // namespace
}  // namespace tarn
