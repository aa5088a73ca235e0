// The gradient in one pass over the histories against one evaluation a vector.

#include "likelihood/gradient.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/model_builder.h"

namespace tarn {
namespace {

enum class Kind { covariate, functions, multinomial, fixed };

/// Records of two groups with losses, dots, unequal intervals and a covariate.
Model_builder random_model(Kind kind, int records, int seed) {
  const int occasions = 8, intervals = occasions - 1;
  Model_builder m(1, occasions, 2, 1);
  std::mt19937_64 random(static_cast<unsigned>(seed));
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  m.intervals({1.0F, 2.0F, 0.5F});
  for (int i = 0; i < records; ++i) {
    std::string live(static_cast<std::size_t>(occasions), '0');
    const int first = static_cast<int>(uniform(random) * occasions);
    for (int o = first; o < occasions; ++o) {
      const double u = uniform(random);
      live[static_cast<std::size_t>(o)] = o == first || u < 0.4 ? '1' : u < 0.5 ? '.' : '0';
    }
    // One animal in one group, now and then animals of both groups, released and lost.
    const float both = uniform(random) < 0.2 ? 1.0F : 0.0F, lost = uniform(random) < 0.2 ? 2.0F : 0.0F;
    const bool second = uniform(random) < 0.5;
    m.record(live, {second ? both : 3.0F, second ? 1.0F : both}, {0.0F, lost}, {uniform(random) - 0.5});
  }
  // Survival by interval and group, recapture by interval for both.
  for (int g = 1; g <= 2; ++g) {
    m.pim(1, g, "TRIANG", intervals, intervals, [&](int, int c) { return (g - 1) * intervals + c; });
    m.pim(2, g, "TRIANG", intervals, intervals, [&](int, int c) { return 2 * intervals + c; });
  }
  const int reals = 3 * intervals;
  m.design(reals + 1);
  for (int i = 1; i <= reals; ++i) m.cell(i, i, 1.0);
  if (kind == Kind::functions) {
    constexpr int number = 1, own_covariate = 3;
    for (int row = 1; row <= intervals; ++row)
      m.function(power_function, own_covariate, 1, number, 2.0, row, reals + 1);
  } else {
    for (int row = 1; row <= intervals; ++row) m.covariate(row, reals + 1, 1);
  }
  if (kind == Kind::multinomial) {
    for (int row = intervals - 1; row <= intervals + 2; ++row) m.set_member(row, Link::mlogit, 1);
    for (int row = 2 * intervals + 1; row <= 2 * intervals + 2; ++row) m.set_member(row, Link::mlogit, 2);
  }
  if (kind == Kind::fixed) {
    m.fix(2, 0.7);
    m.fix(2 * intervals + 3, 1.0);
  }
  m.finish();
  return m;
}

class Gradient_pass : public testing::TestWithParam<Kind> {};

TEST_P(Gradient_pass, gives_the_numbers_of_single_evaluations) {
  Model_builder m = random_model(GetParam(), 300, 7);
  ASSERT_TRUE(can_move_betas(m.job()));
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
    const std::vector<double> together = moved_objectives(m.job(), x, moves);
    for (std::size_t k = 0; k < moves.size(); ++k)
      EXPECT_EQ(together[k], single[k]) << "move " << k << ", threads " << threads;
    EXPECT_EQ(m.func(x), f);
  }
}

TEST_P(Gradient_pass, is_what_funcg_differentiates) {
  for (const int central : {0, 1}) {
    Model_builder m = random_model(GetParam(), 60, 11);
    m.job().model.centfd = central;
    const std::vector<double> x(static_cast<std::size_t>(m.betas()), -0.1);
    std::vector<double> g(x.size());
    const double f = funcg(m.job(), x, g);
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

TEST(Gradient_pass_of_a_model, is_left_to_single_evaluations_where_it_cannot_be) {
  Model_builder plain(1, 4);
  plain.record("1010", {3});
  plain.time_pims();
  plain.finish();
  EXPECT_FALSE(can_move_betas(plain.job()));
}

}  // namespace
}  // namespace tarn
