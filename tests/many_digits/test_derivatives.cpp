// Values, gradients and second derivatives of the objective against those of 50 digits.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "inference/varmat.h"
#include "likelihood/func.h"
#include "many_digits/objective_in.h"
#include "many_digits/proof_models.h"

namespace tarn {
namespace {

using Maker = Proof_model (*)(int type);

class Proof : public testing::TestWithParam<std::tuple<int, Maker>> {
 protected:
  Proof() : model_(std::get<1>(GetParam())(std::get<0>(GetParam()))), job_(model_.m.job()), exact_(job_) {}

  /// Calls `look(x, f)` at 20 points with the value of 50 digits there.
  template <class Look>
  void at_points(const Look& look) {
    constexpr int points = 20;
    Draws draws(1);
    int looked_at = 0;
    for (int k = 0; k < 4 * points && looked_at < points; ++k) {
      const std::vector<double> x = model_.point(draws);
      const double f = exact_.value(x);
      if (!exact_.smooth()) continue;
      look(x, f);
      ++looked_at;
    }
    EXPECT_EQ(looked_at, points);
  }

  Proof_model model_;
  Job& job_;
  Many_digit_differences exact_;
};
class Smooth_proof : public Proof {};

TEST_P(Proof, values_are_those_of_many_digits) {
  at_points([&](const std::vector<double>& x, double f) {
    // The rounding of some hundred operations a cell.
    EXPECT_NEAR(func(job_, x).f, f, 1e-12 * std::abs(f));
  });
}

TEST_P(Proof, gradients_are_those_of_many_digits) {
  at_points([&](const std::vector<double>& x, double f) {
    std::vector<double> g(x.size());
    const Objective_value value = funcg(job_, x, g);
    EXPECT_NEAR(value.f, f, 1e-12 * std::abs(f));
    const std::vector<double> exact = exact_.gradient(x);
    // An element is a sum over cells that may cancel; the rounding of a chance that is charged for is
    // charged, too.
    const double charged = value.sumpen > 0.0 ? 1e-14 * job_.status.penalty_slope : 0.0;
    for (std::size_t i = 0; i < x.size(); ++i)
      EXPECT_NEAR(g[i], exact[i], 1e-10 * (1.0 + std::abs(exact[i])) + charged) << "beta " << i + 1;
  });
}

// Survival is 1 - 7e-10, and the step of a difference moves it by two spacings of doubles where it should
// by 2.1: the difference is 5% off, in the middle of an ordinary fit.
TEST(Rounded_survival, gradients_are_those_of_many_digits) {
  Proof_model model = model_with_constants(2);
  Job& job = model.m.job();
  const std::vector<double> x{21.06831255908838, 6.3087663557858367};
  std::vector<double> g(x.size());
  funcg(job, x, g);
  const std::vector<double> exact = Many_digit_differences(job).gradient(x);
  // What is left of 1 - S has 7 digits.
  for (std::size_t i = 0; i < x.size(); ++i)
    EXPECT_NEAR(g[i], exact[i], 1e-6 * std::abs(exact[i])) << "beta " << i + 1;
}

// A penalty has no second derivatives that a diagonal element could set the scale of.
TEST_P(Smooth_proof, second_derivatives_are_those_of_many_digits) {
  Draws draws(2);
  const std::vector<double> x = model_.point(draws);
  const std::size_t n = x.size();
  const std::vector<double> exact = exact_.second_derivatives(x);
  std::vector<double> h(n * (n + 1) / 2);
  job_.model.vartyp = Variance::second_partials;
  varmat(job_, x, h);  // half of the second derivatives
  const Array2<double> full = expand(h, static_cast<int>(n));
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j <= i; ++j) {
      const double scale = std::sqrt(std::abs(exact[i * n + i] * exact[j * n + j]));
      // The rest is the rounding of elements that are 0, as those of a fixed real parameter are.
      EXPECT_NEAR(2.0 * full(static_cast<int>(i) + 1, static_cast<int>(j) + 1), exact[i * n + j],
                  1e-8 * scale + 1e-12)
          << "betas " << i + 1 << ", " << j + 1;
    }
}

constexpr auto type_of = [](const testing::TestParamInfo<Proof::ParamType>& info) {
  return "type_" + std::to_string(std::get<0>(info.param));
};
const auto every_type = testing::ValuesIn(types_for_long_laws());

INSTANTIATE_TEST_SUITE_P(links, Proof, testing::Combine(every_type, testing::Values(&model_of_every_link)),
                         type_of);
INSTANTIATE_TEST_SUITE_P(records, Proof, testing::Combine(every_type, testing::Values(&model_by_record)),
                         type_of);
INSTANTIATE_TEST_SUITE_P(links, Smooth_proof,
                         testing::Combine(every_type, testing::Values(&model_of_every_link)), type_of);
INSTANTIATE_TEST_SUITE_P(records, Smooth_proof,
                         testing::Combine(every_type, testing::Values(&model_by_record)), type_of);
INSTANTIATE_TEST_SUITE_P(out_of_range, Proof,
                         testing::Combine(every_type, testing::Values(&model_out_of_range)), type_of);

}  // namespace
}  // namespace tarn
