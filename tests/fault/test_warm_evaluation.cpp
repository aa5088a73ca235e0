// An evaluation takes no memory once the work areas have met the model.

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <vector>

#include "support/failing_new.h"
#include "support/fitted_models.h"

namespace tarn {
namespace {

/// What the real parameters are made of.
enum class Made_of { shared, of_covariates, of_functions };

/// Type, reals, threads.
class Warm_evaluation : public testing::TestWithParam<std::tuple<int, Made_of, int>> {
 protected:
  Warm_evaluation() {
    const auto [type, made_of, threads] = GetParam();
    const Fitted_options options{.by_record = made_of != Made_of::shared};
    model_ =
        std::make_unique<Model_builder>(unfinished_model(type, draw_animals(type, 20, options, 61), options));
    if (made_of == Made_of::of_functions) {
      const int product =
          model_->function(product_function, covariate_argument, 1.0, number_argument, 0.0, 1, 1);
      model_->function(power_function, covariate_argument, 2.0, number_argument, 2.0, 2, product, 2);
      for (const int member : {1, 2}) model_->set_member(member, Link::mlogit, 1);
    }
    model_->finish();
    model_->force_threads(threads);
    for (const unsigned seed : {1U, 2U, 3U}) x_.push_back(moderate_betas(*model_, seed));
  }

  Job& job() { return model_->job(); }

  /// Allocations of `run(x)` at one vector after it was called at two others.
  template <class Run>
  long of_third(Run run) {
    run(x_[0]);
    run(x_[1]);
    const long before = allocations();
    run(x_[2]);
    return allocations() - before;
  }

  std::unique_ptr<Model_builder> model_;
  std::vector<std::vector<double>> x_;
};

TEST_P(Warm_evaluation, of_the_objective_takes_no_memory) {
  EXPECT_EQ(of_third([&](const std::vector<double>& x) { func(job(), x); }), 0);
}

TEST_P(Warm_evaluation, of_the_gradient_takes_no_memory) {
  std::vector<double> g(static_cast<std::size_t>(model_->betas()));
  EXPECT_EQ(of_third([&](const std::vector<double>& x) { funcg(job(), x, g); }), 0);
}

TEST_P(Warm_evaluation, of_second_derivatives_takes_no_memory) {
  std::vector<Lanes> rows(static_cast<std::size_t>(model_->betas()));
  // Cells that depend on neither beta are left out of a pass; with every beta in turn each cell is met.
  const auto run = [&](const std::vector<double>& x) {
    for (int i = 1; i <= model_->betas(); ++i) func_derivatives(job(), x, i, rows);
  };
  EXPECT_EQ(of_third(run), 0);
}

TEST(Allocation_count, sees_allocations) {
  const long before = allocations();
  ::operator delete(::operator new(10));
  EXPECT_EQ(allocations() - before, 1);
}

INSTANTIATE_TEST_SUITE_P(types, Warm_evaluation,
                         testing::Combine(testing::ValuesIn(types_for_long_laws()),
                                          testing::Values(Made_of::shared, Made_of::of_covariates,
                                                          Made_of::of_functions),
                                          testing::Values(1, 2)));

}  // namespace
}  // namespace tarn
