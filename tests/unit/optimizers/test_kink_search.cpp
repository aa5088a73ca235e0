#include "optimizers/kink_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace tarn {
namespace {

struct Found {
  Minimiser_end end;
  std::vector<double> x, g;
};

Found from(std::vector<double> start, const Gradient_objective& objective, int most = 3000) {
  Found found;
  found.x = std::move(start);
  found.g.resize(found.x.size());
  found.end = kink_search(objective, {found.x, found.g, {}}, 1e-9, most);
  return found;
}

double sign(double x) { return x < 0.0 ? -1.0 : 1.0; }

// Rosenbrock's valley whose floor is a kink (Lewis and Overton 2013): a search that trusts the slope stops
// anywhere on it.
TEST(Kink_search, follows_a_valley_with_a_sharp_floor) {
  const Found found = from({-1.0, 2.0}, [](std::span<const double> x, std::span<double> g) {
    const double floor = x[1] - x[0] * x[0];
    g[0] = 2.0 * (x[0] - 1.0) - 16.0 * sign(floor) * x[0];
    g[1] = 8.0 * sign(floor);
    return (x[0] - 1.0) * (x[0] - 1.0) + 8.0 * std::fabs(floor);
  });
  EXPECT_NEAR(found.x[0], 1.0, 1e-3);
  EXPECT_NEAR(found.x[1], 1.0, 1e-3);
  EXPECT_LT(found.end.f, 1e-6);
}

TEST(Kink_search, comes_to_a_smooth_minimum_too) {
  const Found found = from({-1.2, 1.0}, [](std::span<const double> x, std::span<double> g) {
    const double a = 1.0 - x[0], b = x[1] - x[0] * x[0];
    g[0] = -2.0 * a - 400.0 * b * x[0];
    g[1] = 200.0 * b;
    return a * a + 100.0 * b * b;
  });
  EXPECT_NEAR(found.x[0], 1.0, 1e-4);
  EXPECT_LT(found.end.f, 1e-8);
}

// A slope of 3 down to a wall with a slope of 1e6: the end is on the side of 3, not on the wall's.
TEST(Kink_search, ends_on_the_flat_side_of_a_wall) {
  const Found found = from({4.0, 0.3}, [](std::span<const double> x, std::span<double> g) {
    g[0] = x[0] > 1.0 ? 3.0 : -1e6;
    g[1] = 2.0 * x[1];
    return (x[0] > 1.0 ? 3.0 * (x[0] - 1.0) : 1e6 * (1.0 - x[0])) + x[1] * x[1];
  });
  EXPECT_LT(found.end.f, 1e-6);
  EXPECT_EQ(found.g[0], 3.0);
  EXPECT_GE(found.x[0], 1.0);
}

TEST(Kink_search, keeps_to_its_evaluations_and_is_never_worse_than_its_start) {
  int evaluations = 0;
  const Found found = from(
      {3.0},
      [&](std::span<const double> x, std::span<double> g) {
        ++evaluations;
        g[0] = sign(x[0]);
        return std::fabs(x[0]);
      },
      3);
  EXPECT_LE(evaluations, 3);
  EXPECT_EQ(found.end.ifn, evaluations);
  EXPECT_LE(found.end.f, 3.0);
}

TEST(Kink_search, of_what_is_no_number_ends_at_once) {
  const Found found = from({1.0}, [](std::span<const double>, std::span<double> g) {
    g[0] = 0.0;
    return std::nan("");
  });
  EXPECT_EQ(found.x[0], 1.0);
  EXPECT_EQ(found.end.ifn, 1);
}

}  // namespace
}  // namespace tarn
