#include <gtest/gtest.h>

#include <cfenv>
#include <limits>
#include <string>
#include <vector>

#include "model/results/rank_listing.h"
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

/// The rank of a model, told stage by stage.
Rank report_rank(Job& job, const Array2<double>& information, double largest_gradient) {
  Rank rank = singular_values(information);
  write_singular_values(job, rank);
  count_parameters(rank, job.model.numpar, job.status.ratiothresh, largest_gradient, 0.0);
  write_counts_of_parameters(job, rank);
  order_betas(rank, job.model, information);
  write_order_of_betas(job, rank);
  return rank;
}

double report_gradient(Job& job, const std::vector<double>& g, const std::vector<double>& x) {
  const Gradient gradient = gradient_at_solution(g);
  write_gradient(job, gradient);
  judge_gradient(job, gradient, x);
  return gradient.largest;
}

TEST(Rank_listing, exact_gradient_leaves_it_to_the_gap) {
  Test_job t;
  make_model(t, 3);
  const Rank rank = report_rank(t, diagonal({1e-9, 40.0, 100.0}), 0.0);
  EXPECT_EQ(rank.gap_count, 2);
  EXPECT_EQ(rank.npargmaxest, 2);
  EXPECT_FALSE(t.listing_has("Threshold {M}"));
  EXPECT_TRUE(t.listing_has("Ratio Threshold = 50.00 Max Gap (2/3) = 4.0000E+10 Next Max Gap (1/2) = 2.500"))
      << t.listing();
  EXPECT_TRUE(t.listing_has(" Gap Method for Num. of Estimated Parameters {M} = 2          \n"));
  EXPECT_TRUE(t.listing_has(" Number of Estimated Parameters {M} = 2          \n"));
}

TEST(Rank_listing, gradient_sets_the_threshold) {
  Test_job t;
  make_model(t, 3);
  const Rank rank = report_rank(t, diagonal({0.5, 40.0, 100.0}), 0.3);
  EXPECT_EQ(rank.gap_count, 2);
  EXPECT_EQ(rank.npargmaxest, 2);
  const Rank lower = report_rank(t, diagonal({0.7, 30.0, 20.0}), 0.3);
  EXPECT_EQ(lower.npargmaxest, 3);
  const Rank higher = report_rank(t, diagonal({0.9, 30.0, 20.0}), 0.5);
  EXPECT_EQ(higher.npargmaxest, 2);
  EXPECT_EQ(higher.gap_count, 3);
  EXPECT_TRUE(t.listing_has(
      "  * *  WARNING  * *   Number of parameters estimated from gap method (=3) and threshold method (=2) "
      "differ.  Inspect full output."))
      << t.listing();
}

TEST(Rank_listing, orders_the_betas_and_names_the_singular_ones) {
  Test_job t;
  make_model(t, 3);
  t.job.model.bindex(1) = 0;  // betas 2 and 3 stand at positions 1 and 2 of a model of two
  t.job.model.bindex(2) = 1;
  t.job.model.bindex(3) = 2;
  t.job.model.numpar = 0;
  // A threshold between the two values: position 2, beta 3, cannot be estimated.
  const Rank rank = report_rank(t, diagonal({40.0, 1.0}), 1.0);
  EXPECT_EQ(rank.npargmaxest, 1);
  EXPECT_EQ(rank.order, (List<int>{2, 3}));
  EXPECT_TRUE(t.listing_has("\n Attempted ordering of parameters by estimatibility:\n")) << t.listing();
  EXPECT_TRUE(t.listing_has(" Beta number 3 is a singular value.\n"));
  EXPECT_TRUE(t.screen_has("Beta number 3 is a singular value."));
}

TEST(Kept, order_of_betas_has_no_blanks_between) {
  Test_job t;
  make_model(t, 3);
  report_rank(t, diagonal({40.0, 30.0, 1.0}), 1.0);
  EXPECT_TRUE(t.listing_has(" Attempted ordering of parameters by estimatibility:\n 123\n")) << t.listing();
}

TEST(Rank_listing, orders_any_number_of_betas) {
  // 25 a line; a template of a hundred lines holds 2500, and a line of its own is begun behind a full one.
  for (const int n : {24, 25, 26, 2475, 2499, 2500, 2501, 2525, 2526, 9999}) {
    Test_job t;
    make_model(t, 1);
    Rank rank;
    rank.npargmaxest = n;
    for (int i = 1; i <= n; ++i) rank.order.push_back(i);
    write_order_of_betas(t, rank);
    const std::size_t width = std::to_string(n).size();
    std::string text = "\n Attempted ordering of parameters by estimatibility:";
    for (int i = 1; i <= n; ++i) {
      if (i % 25 == 1) text += "\n ";
      const std::string number = std::to_string(i);
      text += std::string(width - number.size(), ' ') + number;
    }
    if (n % 25 == 0 && n < 2500) text += "\n";
    EXPECT_EQ(t.listing(), text + "\n") << n;
  }
}

TEST(Rank_listing, a_singular_value_of_0_is_an_infinite_gap_and_no_fault_of_arithmetic) {
  Test_job t;
  make_model(t, 3);
  t.job.status.debug = 1;
  std::feclearexcept(FE_ALL_EXCEPT);
  const Rank rank = report_rank(t, diagonal({40.0, 0.0, 100.0}), 0.0);
  EXPECT_EQ(std::fetestexcept(FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW), 0);
  EXPECT_EQ(rank.gap_count, 2);
  EXPECT_TRUE(t.listing_has("Max Gap (2/3) = Inf Next Max Gap (1/2) = 2.500")) << t.listing();
  std::feclearexcept(FE_ALL_EXCEPT);
}

TEST(Rank_listing, numpar_skips_the_rules) {
  Test_job t;
  make_model(t, 3);
  t.job.model.numpar = 2;
  const Rank rank = report_rank(t, diagonal({3.0, 2.0, 1.0}), 0.5);
  EXPECT_EQ(rank.npargmaxest, 2);
  EXPECT_EQ(rank.gap_count, 2);
  EXPECT_TRUE(rank.jpvt.empty());
  EXPECT_FALSE(t.listing_has("Gap Method"));
}

TEST(Rank_listing, information_that_is_not_finite_falls_back_to_all) {
  Test_job t;
  make_model(t, 3);
  const Rank rank = report_rank(t, diagonal({1.0, std::numeric_limits<double>::quiet_NaN(), 1.0}), 0.1);
  EXPECT_EQ(rank.npargmaxest, 3);
  EXPECT_TRUE(t.listing_has("Error number 3 returned from DSVDC."));
}

TEST(Gradient_check, has_three_outcomes) {
  Test_job t;
  make_model(t, 2);
  const std::vector<double> x{0.1, 0.2};
  EXPECT_EQ(report_gradient(t, std::vector<double>{-1.0, 0.5}, x), 1.0);
  EXPECT_FALSE(t.listing_has("WARNING"));
  EXPECT_EQ(report_gradient(t, std::vector<double>{0.0, -50.0}, x), 50.0);
  EXPECT_TRUE(t.listing_has("  * *  WARNING  * *   Numerical convergence suspect."));
  t.clear();
  EXPECT_EQ(error_of(t,
                     [&] {
                       report_gradient(t, std::vector<double>{50.1, 0.0}, x);
                     }),
            "Numerical convergence never reached.");
  EXPECT_TRUE(t.listing_has(" ERROR -- Numerical convergence never reached, with maximum G =   50.100    \n"))
      << t.listing();
  EXPECT_TRUE(t.listing_has(" Last Beta Parameter Values:\n beta 1  0.1000000    \n"));
  EXPECT_TRUE(t.listing_has(" Last Real Parameter Values:\n real 1"));
}

TEST(Gradient_check, without_numbers_is_never_reached) {
  Test_job t;
  make_model(t, 1);
  EXPECT_EQ(error_of(t,
                     [&] {
                       report_gradient(t, std::vector<double>{std::numeric_limits<double>::quiet_NaN()},
                                       std::vector<double>{0.0});
                     }),
            "Numerical convergence never reached.");
}

}  // namespace
}  // namespace tarn
