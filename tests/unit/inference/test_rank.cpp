#include "inference/rank.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/test_job.h"

namespace tarn {
namespace {

/// A job with a model of n betas, all estimated.
void make_model(Job& job, int n) {
  Model_arrays& model = job.model;
  model.modnam = "{M}";
  model.ncovs = model.ncovs_nlbetas = n;
  ASSERT_TRUE(model.bindex.allocate(n) && model.beta.allocate(n) && model.blabel.allocate(n));
  for (int i = 1; i <= n; ++i) model.bindex(i) = i, model.blabel(i) = "beta " + std::to_string(i);
  ASSERT_TRUE(model.parm.allocate(1) && model.rlabel.allocate(1));
  model.nlogit = 1;
  model.rlabel(1) = "real 1";
}

Array2<double> diagonal(const List<double>& values) {
  Array2<double> matrix;
  make_work_area(matrix, values.size(), values.size());
  for (int i = 1; i <= values.size(); ++i) matrix(i, i) = values(i);
  return matrix;
}

/// All that the rank of a model is made of.
Rank rank_of(const Job& job, const Array2<double>& information, double largest_gradient,
             double loglik = 0.0) {
  Rank rank = singular_values(information);
  count_parameters(rank, job.model.numpar, job.status.ratiothresh, largest_gradient, loglik);
  order_betas(rank, job.model, information);
  return rank;
}

TEST(Threshold, is_no_finer_than_the_spacing_of_the_likelihood) {
  const auto threshold = [](double gradient, double loglik) {
    Rank rank = singular_values(diagonal({1e4, 10.0, 1.6e-5, 1.5e-5, 1e-9}));
    count_parameters(rank, 0, 100.0, gradient, loglik);
    if (rank.threshold) {
      EXPECT_EQ(rank.npargmaxest, rank.threshold->value < 1e-6 ? 4 : rank.threshold->value < 1.0 ? 3 : 2);
    }
    return rank.threshold ? rank.threshold->value : 0.0;
  };
  // At 1000 doubles stand 2^-43 apart; over the default step of 2^-26 that is 2^-17, twice that 1.5e-5.
  for (const double gradient : {0.0, 1e-9, 7e-6})
    for (const double loglik : {1000.0, -1000.0}) EXPECT_EQ(threshold(gradient, loglik), 0x1p-16);
  EXPECT_EQ(threshold(1.0, 1000.0), 2.0);
  // Below 8 the spacing is as good as 0, and the gaps decide.
  EXPECT_EQ(threshold(0.0, 7.9), 0.0);
  EXPECT_EQ(threshold(0.0, 8.1), 0x1p-22);
}

TEST(Threshold, without_one_gaps_that_leave_out_much_are_doubtful) {
  const auto doubtful = [](double last, double loglik) {
    Rank rank = singular_values(diagonal({1e4, 100.0, last}));
    count_parameters(rank, 0, 50.0, 0.0, loglik);
    return rank.doubtful_gap;
  };
  EXPECT_TRUE(doubtful(90.0, 5.0));  // a gap of 100 before it
  EXPECT_TRUE(doubtful(2e-4, 5.0));
  EXPECT_FALSE(doubtful(0.9e-4, 5.0));
  EXPECT_FALSE(doubtful(2e-4, 9.0));
  Rank full = singular_values(diagonal({3.0, 2.0, 1.0}));
  count_parameters(full, 0, 50.0, 0.0, 5.0);
  EXPECT_FALSE(full.doubtful_gap);
}

TEST(Gap_method, orders_1_and_2_are_always_full) {
  EXPECT_EQ(gap_method(std::vector<double>{3.0}, 50.0).count, 1);
  EXPECT_EQ(gap_method(std::vector<double>{3.0, 1e-12}, 50.0).count, 2);
}

TEST(Gap_method, ratios_below_the_threshold_count_everything_and_still_tell_the_largest) {
  const Gap gap = gap_method(std::vector<double>{100.0, 50.0, 5.0, 4.0}, 50.0);
  EXPECT_EQ(gap.count, 4);
  EXPECT_EQ(gap.max_at, 2);
  EXPECT_DOUBLE_EQ(gap.max, 10.0);
  EXPECT_EQ(gap.next_at, 1);
  EXPECT_DOUBLE_EQ(gap.next, 2.0);
}

TEST(Gap_method, the_largest_gap_ends_the_count) {
  EXPECT_EQ(gap_method(std::vector<double>{100.0, 50.0, 40.0, 1e-9}, 50.0).count, 3);
  EXPECT_EQ(gap_method(std::vector<double>{100.0, 2.0, 2.0, 2.0}, 50.0).count, 1);  // a ratio of 50 is a gap
  EXPECT_EQ(gap_method(std::vector<double>{100.0, 50.0, 0.0, 0.0}, 50.0).count, 2);
  EXPECT_EQ(gap_method(std::vector<double>{0.0, 0.0, 0.0}, 50.0).count, 3);
}

TEST(Rank_of_information, exact_gradient_leaves_it_to_the_gap) {
  Test_job t;
  make_model(t, 3);
  const Rank rank = rank_of(t, diagonal({1e-9, 40.0, 100.0}), 0.0);
  EXPECT_EQ(rank.s, (List<double>{100.0, 40.0, 1e-9}));
  EXPECT_EQ(rank.gap_count, 2);
  EXPECT_EQ(rank.npargmaxest, 2);
  EXPECT_FALSE(rank.threshold);
  ASSERT_TRUE(rank.gap);
  EXPECT_EQ(rank.gap->max_at, 2);
}

TEST(Rank_of_information, gradient_sets_the_threshold) {
  Test_job t;
  make_model(t, 3);
  const Rank rank = rank_of(t, diagonal({0.5, 40.0, 100.0}), 0.3);
  EXPECT_EQ(rank.gap_count, 2);
  EXPECT_EQ(rank.npargmaxest, 2);
  ASSERT_TRUE(rank.threshold);
  EXPECT_EQ(rank.threshold->value, 0.6);
  const Rank lower = rank_of(t, diagonal({0.7, 30.0, 20.0}), 0.3);
  EXPECT_EQ(lower.npargmaxest, 3);
  const Rank higher = rank_of(t, diagonal({0.9, 30.0, 20.0}), 0.5);
  EXPECT_EQ(higher.npargmaxest, 2);
  EXPECT_EQ(higher.gap_count, 3);
  EXPECT_EQ(t.listing(), "");
}

// 2^-23 is the least gradient that counts.
TEST(Rank_of_information, least_gradient_that_counts) {
  Test_job t;
  make_model(t, 3);
  EXPECT_TRUE(rank_of(t, diagonal({3.0, 2.0, 1.0}), 1.1920928955078125e-07).threshold);
  EXPECT_FALSE(rank_of(t, diagonal({3.0, 2.0, 1.0}), 1.1920928955078124e-07).threshold);
}

TEST(Rank_of_information, orders_the_betas) {
  Test_job t;
  make_model(t, 3);
  t.job.model.bindex(1) = 0;  // betas 2 and 3 stand at positions 1 and 2 of a model of two
  t.job.model.bindex(2) = 1;
  t.job.model.bindex(3) = 2;
  // A threshold between the two values: position 2, beta 3, cannot be estimated.
  const Rank rank = rank_of(t, diagonal({40.0, 1.0}), 1.0);
  EXPECT_EQ(rank.npargmaxest, 1);
  EXPECT_EQ(rank.jpvt, (List<int>{1, 2}));
  EXPECT_EQ(rank.order, (List<int>{2, 3}));
}

TEST(Rank_of_information, numpar_skips_the_rules) {
  Test_job t;
  make_model(t, 3);
  t.job.model.numpar = 2;
  const Rank rank = rank_of(t, diagonal({3.0, 2.0, 1.0}), 0.5);
  EXPECT_EQ(rank.npargmaxest, 2);
  EXPECT_EQ(rank.gap_count, 2);
  EXPECT_TRUE(rank.jpvt.empty());
  EXPECT_FALSE(rank.gap);
  EXPECT_FALSE(rank.threshold);
}

TEST(Rank_of_information, that_is_not_finite_falls_back_to_all) {
  Test_job t;
  make_model(t, 3);
  const Rank rank = rank_of(t, diagonal({1.0, std::numeric_limits<double>::quiet_NaN(), 1.0}), 0.1);
  EXPECT_EQ(rank.npargmaxest, 3);
  EXPECT_EQ(rank.info, 3);
  EXPECT_FALSE(rank.gap);
  EXPECT_FALSE(rank.threshold);
}

TEST(Rank_of_information, without_betas_is_0) {
  Test_job t;
  EXPECT_EQ(rank_of(t, diagonal({}), 0.0).npargmaxest, 0);
}

TEST(Gradient_at_solution, has_three_outcomes) {
  const auto outcome = [](double element) {
    return convergence(gradient_at_solution(std::vector<double>{0.5, -element}));
  };
  EXPECT_EQ(gradient_at_solution(std::vector<double>{-1.0, 0.5}).largest, 1.0);
  EXPECT_EQ(outcome(1.0), Convergence::good);
  EXPECT_EQ(outcome(1.0001), Convergence::suspect);
  EXPECT_EQ(outcome(50.0), Convergence::suspect);
  EXPECT_EQ(outcome(50.1), Convergence::none);
  EXPECT_EQ(outcome(std::numeric_limits<double>::quiet_NaN()), Convergence::none);
}

TEST(Loop, takes_the_beta_out_and_closes_the_gap) {
  Test_job t;
  make_model(t, 4);
  t.job.model.beta(3) = 7.0;
  EXPECT_EQ(remove_singular_beta(t, 3), 3);
  EXPECT_EQ(t.job.model.bindex(1), 1);
  EXPECT_EQ(t.job.model.bindex(3), 0);
  EXPECT_EQ(t.job.model.bindex(4), 3);
  EXPECT_EQ(t.job.model.beta(3), 0.0);
  EXPECT_EQ(error_of(t, [&] { remove_singular_beta(t, 4); }), "Did not find singular parameter in BINDEX!");
  EXPECT_EQ(error_of(t, [&] { remove_singular_beta(t, 0); }), "Did not find singular parameter in BINDEX!");
}

TEST(Confounded_beta, is_the_one_that_moves_with_the_removed) {
  Test_job t;
  make_model(t, 3);
  // Betas 1 and 3 enter as a sum only.
  Array2<double> information = diagonal({2.0, 5.0, 2.0});
  information(1, 3) = information(3, 1) = 2.0;
  const Singular_system system = singular_system(t, information, 0.0);
  EXPECT_EQ(confounded_beta(t.job.model, system, 3), 1);
  EXPECT_EQ(confounded_beta(t.job.model, system, 1), 3);
}

}  // namespace
}  // namespace tarn
