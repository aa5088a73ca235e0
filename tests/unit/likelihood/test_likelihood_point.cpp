// Proposals at the price of the cells that they move, against evaluations of everything.

#include "likelihood/likelihood_point.h"

#include <gtest/gtest.h>

#include <functional>

#include "support/closed_builder.h"
#include "support/fitted_models.h"
#include "unit/likelihood/record_model.h"

namespace tarn {
namespace {

std::vector<double> start_of(Model_builder& m, unsigned seed) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> uniform(-0.8, 0.8);
  std::vector<double> x(static_cast<std::size_t>(m.betas()));
  for (double& element : x) element = uniform(random);
  return x;
}

class Proposals : public testing::TestWithParam<Kind> {};

/// A walk as a sampler makes it: proposals, some accepted, some taken back.
TEST_P(Proposals, are_the_numbers_of_evaluations) {
  Model_builder m = random_model(GetParam(), 200, 5);
  const std::vector<double> start = start_of(m, 3);
  for (const int threads : {1, 2, 3}) {
    m.force_threads(threads);
    Likelihood_point point(m.job());
    std::mt19937_64 random(17);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::vector<double> x = start;
    EXPECT_EQ(point.move_to(x).f, m.func(x));
    for (int step = 0; step < 60; ++step) {
      const std::size_t k = static_cast<std::size_t>(random() % x.size());
      const double value = x[k] + uniform(random), kept = x[k];
      const Objective_value proposed = point.propose({static_cast<int>(k) + 1, value});
      x[k] = value;
      // The job's own point evaluates the whole vector.
      EXPECT_EQ(proposed.f, m.func(x)) << "step " << step << ", threads " << threads;
      EXPECT_EQ(proposed.loglik, m.value.loglik);
      EXPECT_EQ(proposed.sumpen, m.value.sumpen);
      if (step % 3 == 0) {
        point.take_back();
        x[k] = kept;
      } else {
        point.accept();
        EXPECT_EQ(point.value().f, proposed.f);
      }
      EXPECT_TRUE(std::equal(x.begin(), x.end(), point.x().begin()));
    }
    const double reached = point.value().f;
    EXPECT_EQ(point.move_to(x).f, reached);
  }
}

/// A gradient in the middle of a walk is that of the place reached, and leaves the walk alone.
TEST_P(Proposals, and_gradients_do_not_disturb_each_other) {
  Model_builder m = random_model(GetParam(), 80, 6);
  std::vector<double> x = start_of(m, 4);
  Likelihood_point point(m.job());
  point.move_to(x);
  point.propose({1, 0.25});
  point.accept();
  x[0] = 0.25;
  std::vector<double> here(x.size()), expected(x.size());
  point.gradient(here);
  funcg(m.job(), x, expected);
  EXPECT_EQ(here, expected);
  x[1] = -0.5;
  EXPECT_EQ(point.propose({2, -0.5}).f, m.func(x));
}

TEST_P(Proposals, reals_are_those_of_the_point) {
  Model_builder m = random_model(GetParam(), 40, 7);
  const std::vector<double> x = start_of(m, 5);
  Likelihood_point point(m.job());
  point.move_to(x);
  point.propose({1, 3.0});
  m.func(x);
  const std::vector<double> expected = m.reals();
  const Reals<double> reals = point.reals();
  for (int i = 1; i <= m.job().model.nlogit; ++i)
    EXPECT_EQ(reals[i], expected[static_cast<std::size_t>(i) - 1]) << i;
}

/// The work areas are the model's: whoever else evaluates in between leaves the point what it is.
TEST_P(Proposals, do_not_mind_who_else_evaluates) {
  Model_builder m = random_model(GetParam(), 60, 8);
  const std::vector<double> x = start_of(m, 6), y = start_of(m, 7);
  std::vector<double> moved = x;
  moved[0] = 0.75;
  const double expected = m.func(moved);
  m.func(x);
  const std::vector<double> reals_at_x = m.reals();
  const auto reals_of = [&](Likelihood_point& point) {
    const Reals<double> reals = point.reals();
    std::vector<double> all;
    for (int i = 1; i <= m.job().model.nlogit; ++i) all.push_back(reals[i]);
    return all;
  };
  Array2<double> observed, lost;
  const std::function<void()> others[] = {[&] { m.func(y); },
                                          [&] { cell_probabilities(m.job(), y, observed, lost); },
                                          [&] { Likelihood_point(m.job()).move_to(y); }};
  for (const auto& other : others) {
    Likelihood_point point(m.job());
    point.move_to(x);
    other();
    EXPECT_EQ(reals_of(point), reals_at_x);
    other();
    EXPECT_EQ(point.propose({1, 0.75}).f, expected);
    other();
    EXPECT_EQ(reals_of(point), reals_at_x);
  }
}

TEST_P(Proposals, start_anew_where_the_point_is_moved_to) {
  Model_builder m = random_model(GetParam(), 60, 9);
  const std::vector<double> x = start_of(m, 6), y = start_of(m, 7);
  Likelihood_point point(m.job());
  point.move_to(x);
  point.propose({1, 0.75});
  point.move_to(y);
  std::vector<double> moved = y;
  moved[1] = -0.25;
  EXPECT_EQ(point.propose({2, -0.25}).f, m.func(moved));
}

TEST_P(Proposals, that_are_accepted_give_the_reals) {
  Model_builder m = random_model(GetParam(), 60, 10);
  std::vector<double> x = start_of(m, 6);
  Likelihood_point point(m.job());
  point.move_to(x);
  point.propose({1, 0.75});
  point.reals();
  point.accept();
  x[0] = 0.75;
  m.func(x);
  const std::vector<double> expected = m.reals();
  const Reals<double> reals = point.reals();
  for (int i = 1; i <= m.job().model.nlogit; ++i)
    EXPECT_EQ(reals[i], expected[static_cast<std::size_t>(i) - 1]) << i;
}

INSTANTIATE_TEST_SUITE_P(models, Proposals,
                         testing::Values(Kind::covariate, Kind::functions, Kind::multinomial, Kind::fixed,
                                         Kind::shared));

TEST(Likelihood_point, a_proposal_moves_the_closed_form_term) {
  Closed_builder b(5, 4, {.groups = 2});
  for (const std::string& history : all_histories(4))
    if (history.find('1') != std::string::npos) b.record(history, {1.0F, 2.0F}, {0.0F, 1.0F});
  b.model.finish();
  std::vector<double> x = b.vector_of({b.random_reals(1), b.random_reals(2)});
  Likelihood_point point(b.model.job());
  point.move_to(x);
  const std::vector<std::string> names = b.names();
  for (std::size_t k = 0; k < x.size(); ++k) {
    std::vector<double> moved = x;
    moved[k] = names[k] == "f0" ? 2.5 * x[k] : 1.25;  // a probability out of its range is charged for
    const Objective_value proposed = point.propose({static_cast<int>(k) + 1, moved[k]});
    EXPECT_EQ(proposed.f, b.model.func(moved)) << names[k];
    EXPECT_NE(proposed.f, point.value().f);
  }
}

/// Reals by record and a closed-form term, which is that of the first record.
TEST(Likelihood_point, a_proposal_moves_the_closed_form_term_of_record_1) {
  for (const int threads : {1, 2}) {
    const Fitted_options options{.by_record = true};
    Model_builder m = fitted_model(5, draw_animals(5, 30, options, 41), options);
    m.force_threads(threads);
    const std::vector<double> x = start_of(m, 3);
    Likelihood_point point(m.job());
    point.move_to(x);
    for (int k = 1; k <= m.betas(); ++k) {
      std::vector<double> moved = x;
      moved[static_cast<std::size_t>(k) - 1] += 0.3;
      EXPECT_EQ(point.propose({k, moved[static_cast<std::size_t>(k) - 1]}).f, m.func(moved)) << k;
    }
  }
}

TEST(Likelihood_point, without_the_histories_there_is_the_closed_form_term) {
  const Fitted_options options{};
  Model_builder m = fitted_model(5, draw_animals(5, 30, options, 41), options);
  m.job().model.phase1 = 0;
  const std::vector<double> x = start_of(m, 3);
  Likelihood_point point(m.job());
  point.move_to(x);
  std::vector<double> moved = x;
  moved[0] += 0.3;
  EXPECT_EQ(point.propose({1, moved[0]}).f, m.func(moved));
}

TEST(Likelihood_point, goes_with_a_job_that_is_moved) {
  Model_builder here = random_model(Kind::shared, 20, 5);
  const std::vector<double> x = start_of(here, 3);
  const double f = here.func(x);
  Model_builder there = std::move(here);
  EXPECT_EQ(there.func(x), f);
  EXPECT_EQ(&likelihood_point(there.job()).job(), &there.job());
}

TEST(Likelihood_point, a_beta_inside_a_design_function_moves_everything) {
  Model_builder m(1, 5, 1, 1);
  m.record("11010", {3.0F}, {}, {0.5});
  m.record("10110", {2.0F}, {}, {1.25});
  m.time_pims();
  m.design(8);
  for (int i = 1; i <= 8; ++i) m.cell(i, i, 1.0);
  m.job().model.nlbetas = 1;
  // Survival of the first interval: the covariate to the power of the extra beta, times the first column.
  const int power = m.function(power_function, covariate_argument, 1.0, number_argument, 0.0, 1, 1);
  m.function(nlbeta_function, number_argument, 1.0, number_argument, 0.0, 2, power, 2);
  m.job().model.licovs = 1;
  m.finish();
  std::vector<double> x(9, 0.3);
  x[8] = 2.0;
  Likelihood_point point(m.job());
  point.move_to(x);
  const double f = point.propose({9, 3.0}).f;
  x[8] = 3.0;
  EXPECT_EQ(f, m.func(x));
  EXPECT_NE(f, point.value().f);
  point.accept();
  EXPECT_EQ(point.value().f, f);
}

}  // namespace
}  // namespace tarn
