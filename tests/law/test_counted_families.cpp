// Counts of what histories have in common stand for the histories in every family that counts: the same
// objective and derivatives, and at the floor, outside the range and at its ends the histories themselves.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/fitted_models.h"

namespace tarn {
namespace {

enum class Point { inside, below_the_floor, outside, at_an_end };

/// Many animals of which betas are the real parameters. Below the floor only those that were caught on the
/// first and on the last occasion: not to be met beyond a capture would be certain to the last digit there,
/// and leave all to the histories by itself.
Model_builder many_animals(int type, Point point) {
  const Fitted_options options{.noccas = 5, .groups = 2, .covariates = 0, .identity = true};
  const bool floor = point == Point::below_the_floor;
  std::vector<Animal> animals = draw_animals(type, floor ? 20000 : 3000, options, 51);
  if (floor)
    std::erase_if(animals, [](const Animal& animal) {
      return !captured(animal.cells[0]) || !captured(animal.cells[8]) || animal.cells[9] != '0';
    });
  return fitted_model(type, animals, options);
}

class Counted_families : public testing::TestWithParam<int> {
 protected:
  /// Real parameters by number: a size or rate among them is 4.
  static std::vector<double> reals(Model_builder& m, unsigned seed, Point point) {
    Draws draws(seed);
    Job& job = m.job();
    std::vector<double> x(static_cast<std::size_t>(job.model.nlogit), 0.0);
    for (int q = 1; q <= job.data.numparmnames; ++q)
      for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
        for (int r = 1; r <= pim.nrows; ++r)
          for (int c = pim.start(r); c <= pim.ncols; ++c) {
            double& real = x[static_cast<std::size_t>(pim.at(r, c)) - 1];
            const std::string& name = job.data.parameterlist(q);
            real = name == "f0" || name == "N" ? 4.0 : draws.between(0.2, 0.45);
            if (name == "Lambda") real += 0.6;
            const bool chance = name == "p" || name == "S" || name == "Phi" || name == "Gamma" ||
                                name == "Psi" || name == "Omega";
            if (point == Point::below_the_floor && name == "p") real = 1e-160;
            if (point == Point::outside && chance) real = draws.between(-0.4, 1.4);
            if (point == Point::at_an_end && chance) real = draws.chance(0.5) ? 1.0 : 0.0;
          }
      });
    return x;
  }
};

TEST_P(Counted_families, give_objective_and_derivatives_of_the_histories) {
  for (const Point point : {Point::inside, Point::below_the_floor, Point::outside, Point::at_an_end}) {
    Model_builder counts = many_animals(GetParam(), point), histories = many_animals(GetParam(), point);
    ASSERT_TRUE(counts.job().model.likelihood->setting.counts_some());
    histories.force_histories();
    for (unsigned seed = 1; seed <= 3; ++seed) {
      const std::vector<double> x = reals(counts, seed, point);
      std::vector<double> g(x.size()), other(x.size());
      const Objective_value by_counts = funcg(counts.job(), x, g), whole = funcg(histories.job(), x, other);
      EXPECT_NEAR(by_counts.f, whole.f, 1e-13 * std::abs(whole.f));
      EXPECT_EQ(by_counts.sumpen, whole.sumpen);
      EXPECT_EQ(by_counts.f, counts.func(x));
      double size = 0.0;
      for (const double element : other)
        if (std::isfinite(element)) size = std::max(size, std::abs(element));
      // Sums over some ten thousand animals.
      for (std::size_t k = 0; k < g.size(); ++k) {
        if (!std::isfinite(other[k])) continue;
        EXPECT_NEAR(g[k], other[k], 1e-11 * size) << "beta " << k + 1;
      }
      if (point != Point::inside) continue;
      const std::vector<double> rows = counts.second_derivatives(x, 3),
                                others = histories.second_derivatives(x, 3);
      size = 0.0;
      for (const double element : others) size = std::max(size, std::abs(element));
      for (std::size_t k = 0; k < rows.size(); ++k) EXPECT_NEAR(rows[k], others[k], 1e-11 * size) << k;
    }
  }
}

// One of each routine, closed kinds of every sort among them.
INSTANTIATE_TEST_SUITE_P(types, Counted_families,
                         testing::Values(9, 14, 15, 16, 17, 19, 21, 31, 7, 13, 41, 56, 146, 43, 18, 67, 80,
                                         93, 102, 148, 163, 164, 33, 34, 37, 63, 66, 104, 106, 147, 32, 119,
                                         103, 121, 122, 126, 142, 184),
                         name_of_type);

}  // namespace
}  // namespace tarn
