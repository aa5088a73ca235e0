// What a record adds to the likelihood depends on that record alone, whatever stands before it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "support/fitted_models.h"

namespace tarn {
namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();

/// Figures of one data set at one vector.
struct Figures {
  double f = 0.0;
  std::vector<double> mixed;           ///< second derivatives, in an order of their own
  std::vector<double> observed, lost;  ///< probabilities of the cells, record by record
};

Figures figures(Model_builder& m, const std::vector<double>& x, bool derivatives) {
  Figures made;
  m.job().model.phase2 = 0;  // the closed-form term is one for all records
  made.f = m.func(x);
  Array2<double> observed, lost;
  cell_probabilities(m.job(), x, observed, lost);
  made.observed.assign(observed.begin(), observed.end());
  made.lost.assign(lost.begin(), lost.end());
  const int n = static_cast<int>(x.size());
  for (const int i : derivatives ? std::vector<int>{1, n / 2, n} : std::vector<int>{}) {
    const std::vector<double> rows = m.second_derivatives(x, i);
    made.mixed.insert(made.mixed.end(), rows.begin(), rows.end());
  }
  return made;
}

class Records : public testing::TestWithParam<int> {
 protected:
  static inline const Fitted_options by_record{.noccas = 4, .groups = 2, .covariates = 2, .by_record = true};
  static std::vector<Animal> animals() {
    std::vector<Animal> all = draw_animals(GetParam(), 40, by_record, 5);
    // Losses tell how many animals were left, to which later entrants relate: no record is without the
    // others.
    const std::vector<Cell> related{Cell::pradsen, Cell::pradlambda, Cell::pradrec, Cell::robust_pradel,
                                    Cell::robust_pradel_n};
    if (std::find(related.begin(), related.end(), datatype(GetParam()).cell) != related.end())
      for (Animal& animal : all) std::fill(animal.lost.begin(), animal.lost.end(), 0.0F);
    return all;
  }
  static Model_builder model(const std::vector<Animal>& of, const Fitted_options& options = by_record) {
    Model_builder m = unfinished_model(GetParam(), of, options);
    // The number of animals caught is one for all records, whichever there are.
    if (datatype(GetParam()).cell == Cell::robust_pradel_n) {
      Model_builder whole = unfinished_model(GetParam(), animals(), options);
      const Array3<float>& counts = whole.job().data.u;
      std::copy(counts.begin(), counts.end(), m.job().data.u.begin());
    }
    m.finish();
    return m;
  }
  /// @param threads  what is charged in serial runs only is not charged in those of several
  static Figures alone(const Animal& animal, const std::vector<double>& x, bool derivatives = true,
                       int threads = 1) {
    Model_builder m = model({animal});
    m.force_threads(threads);
    return figures(m, x, derivatives);
  }
};

TEST_P(Records, add_up) {
  const std::vector<Animal> all = animals();
  Model_builder together = model(all);
  const std::vector<double> x = moderate_betas(together, 3);
  for (const int threads : {1, 2}) {
    together.force_threads(threads);
    const Figures whole = figures(together, x, true);
    double f = 0.0, size = 0.0;
    std::vector<double> mixed(whole.mixed.size(), 0.0), sizes = mixed;
    for (const Animal& animal : all) {
      const Figures one = alone(animal, x, true, threads);
      f += one.f, size += std::abs(one.f);
      for (std::size_t k = 0; k < mixed.size(); ++k)
        mixed[k] += one.mixed[k], sizes[k] += std::abs(one.mixed[k]);
    }
    // Each record's own figure is rounded, and so is each sum here.
    const double rounding = static_cast<double>(all.size()) * epsilon;
    EXPECT_NEAR(whole.f, f, rounding * size);
    for (std::size_t k = 0; k < mixed.size(); ++k)
      EXPECT_NEAR(whole.mixed[k], mixed[k], rounding * sizes[k]) << k;
  }
}

// The same for every two that stand next to each other: no cell hides behind the others.
TEST_P(Records, add_up_with_their_neighbours) {
  const std::vector<Animal> all = animals();
  std::vector<double> x;
  for (std::size_t i = 0; i + 1 < all.size(); ++i) {
    Model_builder two = model({all[i], all[i + 1]});
    if (x.empty()) x = moderate_betas(two, 7);
    const double first = alone(all[i], x, false).f, second = alone(all[i + 1], x, false).f;
    EXPECT_NEAR(figures(two, x, false).f, first + second,
                2.0 * epsilon * (std::abs(first) + std::abs(second)))
        << "records " << i + 1 << ", " << i + 2;
  }
}

TEST_P(Records, have_the_cells_of_a_data_set_of_their_own) {
  const std::vector<Animal> all = animals();
  Model_builder together = model(all);
  const std::vector<double> x = moderate_betas(together, 11);
  Array2<double> observed, lost;
  cell_probabilities(together.job(), x, observed, lost);
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Figures one = alone(all[i], x, false);
    for (int g = 1; g <= by_record.groups; ++g) {
      const auto group = static_cast<std::size_t>(g) - 1;
      const int record = static_cast<int>(i) + 1;
      EXPECT_EQ(observed(record, g), one.observed[group]) << all[i].cells << ", group " << g;
      EXPECT_EQ(lost(record, g), one.lost[group]) << all[i].cells << ", group " << g;
    }
  }
}

// Without covariates the reals are shared, and what follows from them may be kept from cell to cell: a record
// alone at given reals has the same likelihood either way.
TEST_P(Records, do_not_know_where_their_reals_come_from) {
  Fitted_options shared = by_record;
  shared.by_record = false;
  shared.identity = true;
  std::vector<double> x;
  for (const Animal& animal : animals()) {
    Model_builder own = model({animal});
    if (x.empty()) x = moderate_betas(own, 13);
    const double f = figures(own, x, false).f;
    Model_builder given = model({animal}, shared);
    const std::vector<double> reals = own.reals();
    const double g = figures(given, reals, false).f;
    // A table shared by the records of a cohort multiplies in another order.
    EXPECT_NEAR(f, g, 10.0 * epsilon * (1.0 + std::abs(f))) << animal.cells;
  }
}

// What is kept from cell to cell belongs to no cell: the gradient of a record alone, which shares nothing, is
// what it adds to the gradient of all.
TEST_P(Records, add_up_in_the_gradient_where_reals_are_shared) {
  Fitted_options shared = by_record;
  shared.by_record = false;
  const std::vector<Animal> all = animals();
  Model_builder together = model(all, shared);
  together.job().model.phase2 = 0;
  const std::vector<double> x = moderate_betas(together, 19);
  std::vector<double> whole(x.size()), sum(x.size(), 0.0), sizes(x.size(), 0.0), one(x.size());
  bool charges = false;
  funcg(together.job(), x, whole);
  for (const Animal& animal : all) {
    Model_builder alone = model({animal}, shared);
    alone.job().model.phase2 = 0;
    charges |= funcg(alone.job(), x, one).sumpen > 0.0;
    for (std::size_t k = 0; k < x.size(); ++k) sum[k] += one[k], sizes[k] += std::abs(one[k]);
  }
  // Some ten operations a record, summed in another order; the rounding of a chance that is charged for is
  // charged, too.
  const double charged = charges ? 1e-15 * together.job().status.penalty_slope : 0.0;
  for (std::size_t k = 0; k < x.size(); ++k)
    EXPECT_NEAR(whole[k], sum[k], 1e-12 * (1.0 + sizes[k]) + charged) << "beta " << k + 1;
}

// The gradient's one pass over the records gives the numbers of single evaluations.
TEST_P(Records, move_one_beta_at_a_time_as_in_single_evaluations) {
  for (const int slope_every : {1, 3}) {
    Fitted_options options = by_record;
    options.slope_every = slope_every;
    Model_builder m = fitted_model(GetParam(), animals(), options);
    const std::vector<double> x = moderate_betas(m, 17);
    ASSERT_TRUE(reals_depend_on_record(m.job().model));
    for (const int threads : {1, 2}) {
      m.force_threads(threads);
      std::vector<Moved_beta> moves;
      std::vector<double> single;
      for (int k = 1; k <= m.betas(); ++k)
        for (const double by : {1e-8, -0.4, 2.0}) {
          moves.push_back({k, x[static_cast<std::size_t>(k) - 1] + by});
          std::vector<double> moved = x;
          moved[static_cast<std::size_t>(k) - 1] += by;
          single.push_back(m.func(moved));
        }
      const std::vector<double> together = m.objectives(x, moves);
      for (std::size_t k = 0; k < moves.size(); ++k)
        EXPECT_EQ(together[k], single[k]) << "beta " << moves[k].position << ", threads " << threads;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(types, Records, testing::ValuesIn(types_with_a_routine()), name_of_type);

}  // namespace
}  // namespace tarn
