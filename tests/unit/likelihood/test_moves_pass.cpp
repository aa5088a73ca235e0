// Many moves of one beta each in one pass over the histories against one evaluation a vector.

#include <gtest/gtest.h>

#include <cmath>

#include "likelihood/likelihood_point.h"
#include "unit/likelihood/record_model.h"

namespace tarn {
namespace {

class Gradient_pass : public testing::TestWithParam<Kind> {};

TEST_P(Gradient_pass, gives_the_numbers_of_single_evaluations) {
  Model_builder m = random_model(GetParam(), 300, 7);
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> uniform(-0.8, 0.8);
  std::vector<double> x(static_cast<std::size_t>(m.betas()));
  for (double& element : x) element = uniform(random);
  std::vector<Moved_beta> moves;
  for (int k = 1; k <= m.betas(); ++k) {
    moves.push_back({k, x[static_cast<std::size_t>(k) - 1] + 1e-8});
    moves.push_back({k, x[static_cast<std::size_t>(k) - 1] - 0.3});
  }
  std::vector<double> single;
  for (const Moved_beta& move : moves) {
    std::vector<double> moved = x;
    moved[static_cast<std::size_t>(move.position) - 1] = move.value;
    single.push_back(m.func(moved));
  }
  for (const int threads : {1, 2, 3, 5}) {
    m.force_threads(threads);
    const double f = m.func(x);
    std::vector<double> together(moves.size());
    Likelihood_point& point = likelihood_point(m.job());
    for (int pass = 0; pass < 2; ++pass) point.objectives(moves, together);
    for (std::size_t k = 0; k < moves.size(); ++k)
      EXPECT_EQ(together[k], single[k]) << "move " << k << ", threads " << threads;
    EXPECT_EQ(m.func(x), f);
  }
}

TEST_P(Gradient_pass, is_what_funcg_differentiates) {
  for (const int central : {0, 1}) {
    Model_builder m = random_model(GetParam(), 60, 11);
    m.job().model.centfd = central;
    m.job().status.deltax = 2e-8;
    const std::vector<double> x(static_cast<std::size_t>(m.betas()), -0.1);
    std::vector<double> g(x.size());
    const double f = funcg(m.job(), x, g).f;
    const double step = m.job().status.deltax * 1.1;
    for (std::size_t k = 0; k < x.size(); ++k) {
      std::vector<double> above = x, below = x;
      above[k] += central ? 0.5 * step : step;
      below[k] -= central ? 0.5 * step : 0.0;
      EXPECT_NEAR(g[k], (m.func(above) - m.func(below)) / step, 1e-6 * (1.0 + std::abs(g[k])));
    }
    EXPECT_EQ(f, m.func(x));
  }
}

INSTANTIATE_TEST_SUITE_P(models, Gradient_pass,
                         testing::Values(Kind::covariate, Kind::functions, Kind::multinomial, Kind::fixed));

}  // namespace
}  // namespace tarn
