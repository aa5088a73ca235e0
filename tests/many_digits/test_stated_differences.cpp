// The differences that CENTRALFD and a step of one's own ask for, against the gradient that numbers carry.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "likelihood/func.h"
#include "many_digits/objective_in.h"
#include "many_digits/proof_models.h"
#include "optimizers/optmiz.h"

namespace tarn {
namespace {

struct Rule {
  int centfd = 0;
  double deltax = 0.0;
};

class Stated_differences : public testing::TestWithParam<int> {
 protected:
  /// The largest error of the objective among some points close by, and its last digit.
  static double noise_at(Job& job, const std::vector<double>& x) {
    Many_digit_differences exact(job);
    double noise = 0.0;
    for (int k = 0; k < 6; ++k) {
      std::vector<double> y = x;
      for (double& moved : y) moved += 1e-7 * k;
      const double f = func(job, y).f;
      noise = std::max(noise,
                       std::abs(f - exact.value(y)) + std::numeric_limits<double>::epsilon() * std::abs(f));
    }
    return noise;
  }

  static void expect_near_the_gradient(Job& job, const std::vector<double>& x) {
    std::vector<double> exact(x.size());
    funcg(job, x, exact);
    const double noise = noise_at(job, x), usual = job.status.deltax;
    std::vector<double> g(x.size());
    std::vector<Lanes> rows(x.size());
    for (const Rule rule : {Rule{1, usual}, Rule{1, 1e-5}, Rule{0, 1e-6}}) {
      job.model.centfd = rule.centfd;
      job.status.deltax = rule.deltax;
      funcg(job, x, g);
      for (std::size_t i = 0; i < x.size(); ++i) {
        const int beta = static_cast<int>(i) + 1;
        func_derivatives(job, x, beta, rows);
        const double second = rows[i][0];
        const double h = rule.deltax * (std::abs(x[i]) + 1.0);
        const double one_sided = rule.centfd == 0 ? 0.5 * h * second : 0.0;
        // Two values of the objective over the step; the third derivatives are about as large as the second.
        EXPECT_NEAR(g[i], exact[i] + one_sided, 4.0 * noise / h + 4.0 * h * h * (1.0 + std::abs(second)))
            << "beta " << beta << ", step " << rule.deltax;
      }
    }
    job.model.centfd = 0;
    job.status.deltax = usual;
  }
};

TEST_P(Stated_differences, are_near_the_gradient_at_random_points) {
  Proof_model model = model_of_every_link(GetParam());
  Draws draws(3);
  int looked_at = 0;
  while (looked_at < 20) {
    const std::vector<double> x = model.point(draws);
    // A step may cross the kink of a penalty.
    if (func(model.m.job(), x).sumpen > 0.0) continue;
    expect_near_the_gradient(model.m.job(), x);
    ++looked_at;
  }
}

TEST_P(Stated_differences, are_near_the_gradient_at_a_solution) {
  Proof_model model = model_with_constants(GetParam());
  Job& job = model.m.job();
  Draws draws(4);
  std::vector<double> x = model.point(draws), g(x.size()), h(x.size() * (x.size() + 1) / 2);
  const Minimiser_end end = minimise(
      [&job](std::span<const double> at, std::span<double> gradient) { return funcg(job, at, gradient).f; },
      {}, {x, g, h}, {});
  ASSERT_LT(end.ifn, Minimiser_settings().maxfn);
  ASSERT_EQ(func(job, x).sumpen, 0.0);
  expect_near_the_gradient(job, x);
}

INSTANTIATE_TEST_SUITE_P(types, Stated_differences, testing::ValuesIn(types_for_long_laws()), name_of_type);

}  // namespace
}  // namespace tarn
