#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <numeric>
#include <string>
#include <vector>

#include "optimizers/mc11ad.h"
#include "optimizers/va09ad.h"

namespace tarn {
namespace {

using Vector = std::vector<double>;
using Point = std::span<const double>;
using Slope = std::span<double>;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

/// A call of the minimiser with its arrays; members may be changed before `run`.
struct Minimisation {
  Vector x, g, h, w, eps;
  double dfn = -0.01;
  int mode = 1, maxfn = 5000, iprint = 0, calls = 0;
  Minimiser_course course;
  Va09ad_result result;

  explicit Minimisation(Vector start, double accuracy = 1e-8)
      : x(std::move(start)),
        g(x.size()),
        h(x.size() * (x.size() + 1) / 2),
        w(3 * x.size()),
        eps(x.size(), accuracy) {}

  const Va09ad_result& run(const Gradient_objective& f) {
    const Gradient_objective counted = [&](Point at, Slope slope) {
      ++calls;
      return f(at, slope);
    };
    result = va09ad(counted, x, g, h, w, dfn, eps, mode, maxfn, iprint, course);
    return result;
  }
};

double rosenbrock(Point x, Slope g) {
  const double a = x[1] - x[0] * x[0], b = 1 - x[0];
  g[0] = -400 * x[0] * a - 2 * b;
  g[1] = 200 * a;
  return 100 * a * a + b * b;
}

double powell_singular(Point x, Slope g) {
  const double a = x[0] + 10 * x[1], b = x[2] - x[3], c = x[1] - 2 * x[2], d = x[0] - x[3];
  g[0] = 2 * a + 40 * d * d * d;
  g[1] = 20 * a + 4 * c * c * c;
  g[2] = 10 * b - 8 * c * c * c;
  g[3] = -10 * b - 40 * d * d * d;
  return a * a + 5 * b * b + c * c * c * c + 10 * d * d * d * d;
}

double wood(Point x, Slope g) {
  const double a = x[1] - x[0] * x[0], b = 1 - x[0], c = x[3] - x[2] * x[2], d = 1 - x[2];
  const double e = x[1] - 1, k = x[3] - 1;
  g[0] = -400 * x[0] * a - 2 * b;
  g[1] = 200 * a + 20.2 * e + 19.8 * k;
  g[2] = -360 * x[2] * c - 2 * d;
  g[3] = 180 * c + 20.2 * k + 19.8 * e;
  return 100 * a * a + b * b + 90 * c * c + d * d + 10.1 * (e * e + k * k) + 19.8 * e * k;
}

double helical_valley(Point x, Slope g) {
  const double two_pi = 2 * std::numbers::pi, r = std::hypot(x[0], x[1]);
  const double theta = std::atan2(x[1], x[0]) / two_pi;
  const double a = x[2] - 10 * theta, b = r - 1;
  g[0] = 200 * (10 * a * x[1] / (two_pi * r * r) + b * x[0] / r);
  g[1] = 200 * (-10 * a * x[0] / (two_pi * r * r) + b * x[1] / r);
  g[2] = 200 * a + 2 * x[2];
  return 100 * (a * a + b * b) + x[2] * x[2];
}

double beale(Point x, Slope g) {
  double f = 0;
  g[0] = g[1] = 0;
  const double y[3] = {1.5, 2.25, 2.625};
  for (int i = 1; i <= 3; ++i) {
    const double power = std::pow(x[1], i), t = y[i - 1] - x[0] * (1 - power);
    f += t * t;
    g[0] += -2 * t * (1 - power);
    g[1] += 2 * t * x[0] * i * std::pow(x[1], i - 1);
  }
  return f;
}

/// Spedicato's trigonometric function, minimum 0.
double trigonometric(Point x, Slope g) {
  const std::size_t n = x.size();
  double cosines = 0, f = 0, sum = 0;
  for (double v : x) cosines += std::cos(v);
  for (std::size_t i = 0; i < n; ++i) {
    const double index = static_cast<double>(i + 1);
    const double t = static_cast<double>(n) - cosines + index * (1 - std::cos(x[i])) - std::sin(x[i]);
    f += t * t;
    sum += t;
    g[i] = 2 * t * (index * std::sin(x[i]) - std::cos(x[i]));
  }
  for (std::size_t i = 0; i < n; ++i) g[i] += 2 * sum * std::sin(x[i]);
  return f;
}

/// Half of sum d_i (x_i - i)^2 plus a coupling of neighbours that keeps its minimum at x_i = i.
Gradient_objective quadratic(std::size_t n, double condition) {
  return [n, condition](Point x, Slope g) {
    double f = 0;
    for (std::size_t i = 0; i < n; ++i) g[i] = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const double d = std::pow(condition, n > 1 ? static_cast<double>(i) / static_cast<double>(n - 1) : 0.0);
      const double r = x[i] - static_cast<double>(i + 1);
      f += 0.5 * d * r * r;
      g[i] += d * r;
      if (i == 0) continue;
      const double c = r - (x[i - 1] - static_cast<double>(i));
      f += 0.5 * c * c;
      g[i] += c;
      g[i - 1] -= c;
    }
    return f;
  };
}

void expect_near(const Vector& x, const Vector& y, double tolerance) {
  ASSERT_EQ(x.size(), y.size());
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(x[i], y[i], tolerance) << i;
}

TEST(Va09ad, rosenbrock) {
  Minimisation run({-1.2, 1.0});
  EXPECT_EQ(run.run(rosenbrock).iexit, 1);
  expect_near(run.x, {1, 1}, 1e-7);
  EXPECT_LT(run.result.ifn, 80);
  EXPECT_EQ(run.result.ifn, run.calls);
}

TEST(Va09ad, wood) {
  Minimisation run({-3, -1, -3, -1});
  EXPECT_EQ(run.run(wood).iexit, 1);
  expect_near(run.x, {1, 1, 1, 1}, 1e-7);
}

TEST(Va09ad, helical_valley) {
  Minimisation run({-1, 0, 0});
  EXPECT_EQ(run.run(helical_valley).iexit, 1);
  expect_near(run.x, {1, 0, 0}, 1e-7);
}

TEST(Va09ad, beale) {
  Minimisation run({1, 1});
  EXPECT_EQ(run.run(beale).iexit, 1);
  expect_near(run.x, {3, 0.5}, 1e-7);
}

TEST(Va09ad, powell_singular_has_a_singular_second_derivative_at_its_minimum) {
  Minimisation run({3, -1, 0, 1}, 1e-7);
  EXPECT_EQ(run.run(powell_singular).iexit, 1);
  EXPECT_LT(run.result.f, 1e-14);
  expect_near(run.x, {0, 0, 0, 0}, 1e-3);
}

TEST(Va09ad, trigonometric_of_ten) {
  Minimisation run(Vector(10, 0.1));
  EXPECT_EQ(run.run(trigonometric).iexit, 1);
  for (double slope : run.g) EXPECT_NEAR(slope, 0.0, 1e-6);
  // The start leads to one of the function's two known stationary values, 0 and 2.79506e-5.
  EXPECT_TRUE(run.result.f < 1e-12 || std::abs(run.result.f - 2.79506e-5) < 1e-9) << run.result.f;
}

TEST(Va09ad, quadratic_of_fifty) {
  Minimisation run(Vector(50, 0.0));
  EXPECT_EQ(run.run(quadratic(50, 10)).iexit, 1);
  Vector expected(50);
  std::iota(expected.begin(), expected.end(), 1.0);
  expect_near(run.x, expected, 1e-6);
}

TEST(Va09ad, ill_conditioned_quadratic) {
  Minimisation run(Vector(8, 0.0), 1e-10);
  // The minimum is reached to the last bit, so what ends the run is that no direction leads down from there.
  EXPECT_EQ(run.run(quadratic(8, 1e8)).iexit, 2);
  expect_near(run.g, Vector(8, 0.0), 0.0);
  expect_near(run.x, {1, 2, 3, 4, 5, 6, 7, 8}, 1e-6);
}

TEST(Va09ad, order_one) {
  Minimisation run({3.0});
  EXPECT_EQ(run.run([](Point x, Slope g) {
                 g[0] = std::sinh(x[0] - 1);
                 return std::cosh(x[0] - 1);
               })
                .iexit,
            1);
  EXPECT_NEAR(run.x[0], 1.0, 1e-8);
  EXPECT_NEAR(run.h[0], 1.0, 0.05);
}

TEST(Va09ad, order_zero_makes_one_evaluation) {
  Minimisation run({});
  run.run([](Point, Slope) { return 12.5; });
  EXPECT_EQ(run.calls, 1);
  EXPECT_EQ(run.result.ifn, 1);
  EXPECT_EQ(run.result.f, 12.5);
  EXPECT_EQ(run.result.iexit, 2);
}

TEST(Va09ad, factors_come_to_the_second_derivatives) {
  Minimisation run(Vector(5, 0.0), 1e-12);
  run.run(quadratic(5, 4));
  // Column 1 of the matrix from the factors: d1 and d1 L(i,1). Searches that stop short of the minimum along
  // their line leave the approximation a little off the second derivatives 2, -1, 0; it began at 1, 0, 0.
  EXPECT_NEAR(run.h[0], 2.0, 0.005);
  EXPECT_NEAR(run.h[0] * run.h[1], -1.0, 0.005);
  EXPECT_NEAR(run.h[0] * run.h[2], 0.0, 0.005);
}

TEST(Va09ad, every_update_takes_the_step_to_the_change_of_the_gradient) {
  // Both forms of the update are met on the way of these runs; each must satisfy B s = y.
  for (const auto& [f, start] : {std::pair<Gradient_objective, Vector>{rosenbrock, {-1.2, 1.0}},
                                 {wood, {-3, -1, -3, -1}},
                                 {quadratic(6, 100), Vector(6, 0.0)}}) {
    Minimisation run(start);
    Vector x, g;
    int checked = 0;
    run.course.progress = [&](const Minimiser_state& state) {
      const int n = static_cast<int>(state.x.size());
      if (state.itn > 0) {
        Vector residual(x.size());
        double size = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
          residual[i] = state.g[i] - g[i];
          size = std::max(size, std::abs(residual[i]));
        }
        solve_packed(run.h, n, residual);  // B^-1 y
        for (std::size_t i = 0; i < x.size(); ++i)
          EXPECT_NEAR(residual[i], state.x[i] - x[i], 1e-8) << state.itn;
        ++checked;
      }
      x.assign(state.x.begin(), state.x.end());
      g.assign(state.g.begin(), state.g.end());
    };
    run.run(f);
    EXPECT_GT(checked, 5);
  }
}

TEST(Va09ad, first_value_of_zero_expects_a_reduction_of_one) {
  // Slope -1 at the start: with df = 1 the first step is min(1, 2) = 1; with df = 0 it would be none.
  Minimisation run({0.0});
  Vector tried;
  run.run([&](Point x, Slope g) {
    tried.push_back(x[0]);
    g[0] = x[0] - 1;
    return 0.5 * x[0] * x[0] - x[0];
  });
  ASSERT_GE(tried.size(), 2u);
  EXPECT_EQ(tried[0], 0.0);
  EXPECT_EQ(tried[1], 1.0);
}

TEST(Va09ad, expected_reduction_sets_the_first_step) {
  // f = 8, slope -4 along a direction of length 4: alpha = 2 df / 16.
  for (auto [dfn, df] : {std::pair{0.0, 8.0}, {-0.01, 0.08}, {0.4, 0.4}}) {
    Minimisation run({0.0});
    run.dfn = dfn;
    Vector tried;
    run.run([&](Point x, Slope g) {
      tried.push_back(x[0]);
      g[0] = x[0] - 4;
      return 0.5 * (x[0] - 4) * (x[0] - 4);
    });
    EXPECT_DOUBLE_EQ(tried[1], std::min(1.0, df / 8) * 4);
  }
}

TEST(Va09ad, one_evaluation_allowed) {
  Minimisation run({-1.2, 1.0});
  run.maxfn = 1;
  EXPECT_EQ(run.run(rosenbrock).iexit, 3);
  EXPECT_EQ(run.calls, 1);
  EXPECT_EQ(run.result.itn, 1);
  expect_near(run.x, {-1.2, 1.0}, 0.0);
  EXPECT_DOUBLE_EQ(run.result.f, 24.2);
}

TEST(Va09ad, stops_after_exactly_the_evaluations_allowed) {
  for (int maxfn = 2; maxfn < 30; ++maxfn) {
    Minimisation run({-1.2, 1.0});
    run.maxfn = maxfn;
    EXPECT_EQ(run.run(rosenbrock).iexit, 3);
    EXPECT_EQ(run.calls, maxfn);
    Vector slope(2);
    EXPECT_EQ(run.result.f, rosenbrock(run.x, slope)) << maxfn;
  }
}

TEST(Va09ad, value_and_gradient_belong_to_the_point) {
  for (double accuracy : {1e-1, 1e-3, 1e-8}) {
    Minimisation run({-1.2, 1.0}, accuracy);
    ASSERT_EQ(run.run(rosenbrock).iexit, 1);
    Vector slope(2);
    EXPECT_NEAR(run.result.f, rosenbrock(run.x, slope), 1e-12);
    expect_near(run.g, slope, 1e-10);
  }
}

TEST(Va09ad, gradient_belongs_to_the_point_when_the_search_ends_behind_an_extrapolation) {
  // From 0 one step to 1, still falling steeply; everything farther is rejected until the step is below its
  // accuracy.
  Minimisation run({0.0});
  run.dfn = 1.0;
  EXPECT_EQ(run.run([](Point x, Slope g) {
                 g[0] = x[0] < 1.0 ? -1.0 : -2.0;
                 return x[0] > 1.0 ? infinity : -x[0];
               })
                .iexit,
            1);
  EXPECT_NEAR(run.x[0], 1.0, 1e-15);
  EXPECT_EQ(run.result.f, -1.0);
  EXPECT_EQ(run.g[0], -2.0);
}

TEST(Va09ad, no_downhill_direction) {
  Minimisation run({2.0, 3.0});
  EXPECT_EQ(run.run([](Point, Slope g) {
                 g[0] = g[1] = 0;
                 return 7.0;
               })
                .iexit,
            2);
  EXPECT_EQ(run.calls, 1);
  expect_near(run.x, {2, 3}, 0.0);
  // Factors that are not positive can turn the direction uphill.
  Minimisation uphill({-1.2, 1.0});
  uphill.mode = 3;
  uphill.h = {-1, 0, -1};
  EXPECT_EQ(uphill.run(rosenbrock).iexit, 2);
  expect_near(uphill.x, {-1.2, 1.0}, 0.0);
}

TEST(Va09ad, value_under_the_root_of_the_cubic_that_is_not_positive_counts_as_zero) {
  // Slopes whose products underflow: gs = -1e-180, gys = -2e-180 with the value unchanged give z = -3e-180
  // and nothing under the root, and the step is then multiplied by 1 - (gys - z) / (gys - gs) = 2.
  Minimisation run({0.0});
  run.mode = 3;
  run.h = {1e-180};
  run.dfn = 1.0;
  run.maxfn = 3;
  Vector tried;
  run.run([&](Point x, Slope g) {
    tried.push_back(x[0]);
    g[0] = x[0] == 0.0 ? 1e-180 : 2e-180;
    return 0.0;
  });
  ASSERT_EQ(tried.size(), 3u);
  EXPECT_DOUBLE_EQ(tried[1], -1.0);
  EXPECT_DOUBLE_EQ(tried[2], -2.0);
}

TEST(Va09ad, starts_from_a_matrix_or_from_factors) {
  const Gradient_objective f = quadratic(2, 1);  // second derivatives [2 -1; -1 2]
  Minimisation from_matrix({0, 0});
  from_matrix.mode = 2;
  from_matrix.dfn = 1e6;
  from_matrix.h = {2, -1, 2};
  // One step to the minimum, and no direction leads down from there.
  EXPECT_EQ(from_matrix.run(f).iexit, 2);
  expect_near(from_matrix.x, {1, 2}, 1e-12);
  EXPECT_EQ(from_matrix.calls, 2);
  Minimisation from_factors({0, 0});
  from_factors.mode = 3;
  from_factors.dfn = 1e6;
  from_factors.h = {2, -0.5, 1.5};
  EXPECT_EQ(from_factors.run(f).iexit, 2);
  EXPECT_EQ(from_factors.x, from_matrix.x);
  EXPECT_EQ(from_factors.calls, from_matrix.calls);
}

TEST(Va09ad, matrix_that_is_not_positive_ends_at_once) {
  Minimisation run({0, 0});
  run.mode = 2;
  run.iprint = 1;
  run.h = {1, 2, 1};
  int entered = 0, left = 0;
  run.course.entering = [&] { ++entered; };
  run.course.leaving = [&](const Minimiser_state& state) {
    ++left;
    EXPECT_EQ(state.iexit, 0);
  };
  EXPECT_EQ(run.run(rosenbrock).iexit, 0);
  EXPECT_EQ(run.calls, 0);
  EXPECT_EQ(entered, 1);
  EXPECT_EQ(left, 1);
}

TEST(Va09ad, tells_its_course) {
  for (int iprint : {0, 1, 3}) {
    Minimisation run({-1.2, 1.0});
    run.iprint = iprint;
    std::string order;
    int progress = 0, details = 0;
    run.course.entering = [&] { order += 'e'; };
    run.course.detail = [&](const Minimiser_state& state) {
      EXPECT_EQ(state.itn % iprint, 0);
      EXPECT_EQ(state.itn, progress);
      ++details;
      order += 'd';
    };
    run.course.progress = [&](const Minimiser_state& state) {
      EXPECT_EQ(state.itn, progress++);
      Vector slope(2);
      EXPECT_EQ(state.f, rosenbrock(state.x, slope));
      EXPECT_EQ(state.maxfn, 5000);
      order += 'p';
    };
    run.course.leaving = [&](const Minimiser_state& state) {
      EXPECT_EQ(state.iexit, 1);
      order += 'l';
    };
    run.run(rosenbrock);
    EXPECT_EQ(progress, run.result.itn);
    EXPECT_EQ(details, iprint == 0 ? 0 : (progress + iprint - 1) / iprint);
    EXPECT_EQ(order.front(), iprint == 0 ? 'p' : 'e');
    EXPECT_EQ(order.back(), iprint == 0 ? 'p' : 'l');
  }
}

TEST(Va09ad, steps_out_of_the_region_of_finite_values) {
  for (double outside : {infinity, no_number, -infinity}) {
    Minimisation run({0.5, 0.5});
    run.dfn = 1e4;  // the first step is long enough to leave
    run.run([&](Point x, Slope g) {
      if (x[0] <= 0 || x[1] <= 0) {
        g[0] = g[1] = no_number;
        return outside;
      }
      g[0] = 30 - 3 / x[0];
      g[1] = 20 - 4 / x[1];
      return 30 * x[0] - 3 * std::log(x[0]) + 20 * x[1] - 4 * std::log(x[1]);
    });
    EXPECT_EQ(run.result.iexit, 1);
    expect_near(run.x, {0.1, 0.2}, 1e-7);
    EXPECT_LT(run.calls, 100);
  }
}

TEST(Va09ad, starts_outside_the_region_of_finite_values) {
  Minimisation bad_slope({1.0});
  EXPECT_EQ(bad_slope.run([](Point, Slope g) { return g[0] = no_number; }).iexit, 2);
  EXPECT_EQ(bad_slope.calls, 1);
  EXPECT_EQ(bad_slope.result.f, infinity);
  // With a usable slope an infinite value is left downhill.
  Minimisation run({5.0});
  run.run([](Point x, Slope g) {
    g[0] = 2 * x[0];
    return x[0] > 4.5 ? no_number : x[0] * x[0];
  });
  EXPECT_NEAR(run.x[0], 0.0, 1e-8);
}

TEST(Va09ad, ends_on_objectives_without_a_minimum_or_without_sense) {
  const auto expect_end = [](const Gradient_objective& f, const char* name) {
    for (double accuracy : {1e-7, 0.0})
      for (Vector start : {Vector{1.0}, Vector{0.3, -2.0, 5.0}}) {
        Minimisation run(start, accuracy);
        run.maxfn = 2000;
        run.run(f);
        EXPECT_LE(run.calls, 2000) << name;
        for (double x : run.x) EXPECT_TRUE(std::isfinite(x)) << name;
      }
  };
  const auto slopes = [](Slope g, double value) {
    for (double& slope : g) slope = value;
  };
  expect_end([&](Point x, Slope g) { return slopes(g, -1), -x[0]; }, "falls for ever");
  expect_end([&](Point x, Slope g) { return slopes(g, -std::exp(x[0])), -std::exp(x[0]); },
             "falls to -infinity");
  expect_end([&](Point, Slope g) { return slopes(g, 1), 3.0; }, "slope without fall");
  expect_end([&](Point x, Slope g) { return slopes(g, 1), -x[0]; }, "slope of the wrong sign");
  expect_end([&](Point x, Slope g) { return slopes(g, no_number), x[0] * x[0]; }, "slope no number");
  expect_end([&](Point, Slope g) { return slopes(g, 1), no_number; }, "value no number");
  expect_end([&](Point, Slope g) { return slopes(g, infinity), 1.0; }, "slope infinite");
  expect_end([&](Point, Slope g) { return slopes(g, 1e308), 1e308; }, "slope huge");
  expect_end([&](Point, Slope g) { return slopes(g, 5e-324), 1.0; }, "slope tiny");
  int call = 0;
  expect_end(
      [&](Point, Slope g) { return slopes(g, ++call % 2 ? 1.0 : no_number), static_cast<double>(-call); },
      "slope every other time");
  expect_end([&](Point, Slope g) { return slopes(g, ++call % 3 - 1.0), (call * 7919) % 101 - 50.0; },
             "noise");
}

TEST(Va09ad, ends_without_a_bound_on_evaluations) {
  Minimisation run({1.0}, 0.0);
  run.maxfn = 0;  // the test is equality, so this is no bound
  run.run([](Point x, Slope g) {
    g[0] = 1;
    return -x[0];
  });
  EXPECT_EQ(run.result.iexit, 1);
  EXPECT_LT(run.calls, 5000);
}

}  // namespace
}  // namespace tarn
