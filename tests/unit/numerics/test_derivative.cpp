#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "numerics/derivative.h"

namespace tarn {
namespace {

// The reference is differences in long double of the same formula. Richardson's extrapolation of the central
// second difference over steps h, h/2, h/4, h/8 leaves an error of h^8, far below the rounding at these
// steps.
using Wide = long double;
using Point = std::vector<double>;

template <class Function>
Wide mixed_difference(const Function& f, const Point& at, std::size_t i, std::size_t j, Wide h) {
  const auto value = [&](Wide di, Wide dj) {
    std::vector<Wide> x(at.begin(), at.end());
    x[i] += di;
    x[j] += dj;
    return f(x);
  };
  if (i == j) return (value(h, 0) - 2 * value(0, 0) + value(-h, 0)) / (h * h);
  return (value(h, h) - value(h, -h) - value(-h, h) + value(-h, -h)) / (4 * h * h);
}

template <class Function>
Wide first_difference(const Function& f, const Point& at, std::size_t i, Wide h) {
  std::vector<Wide> up(at.begin(), at.end()), down = up;
  up[i] += h;
  down[i] -= h;
  return (f(up) - f(down)) / (2 * h);
}

template <class Difference>
double extrapolated(const Difference& difference, Wide h) {
  std::array<Wide, 4> row;
  for (std::size_t k = 0; k < row.size(); ++k) row[k] = difference(h / static_cast<Wide>(1 << k));
  for (std::size_t level = 1; level < row.size(); ++level) {
    const Wide factor = std::pow(Wide{4}, static_cast<int>(level));
    for (std::size_t k = row.size() - 1; k >= level; --k) row[k] += (row[k] - row[k - 1]) / (factor - 1);
  }
  return static_cast<double>(row.back());
}

/// Runs f, a callable on vectors of any scalar, with every pair of directions, and compares with the
/// differences.
template <class Function>
void expect_derivatives(const Function& f, const Point& at, const std::string& name, Wide h = 0.02L) {
  SCOPED_TRACE(name);
  std::vector<double> plain(at.begin(), at.end());
  const double value = f(plain);
  ASSERT_LE(at.size(), static_cast<std::size_t>(Derivative::lanes));
  for (std::size_t i = 0; i < at.size(); ++i) {
    std::vector<Derivative> x;
    for (std::size_t j = 0; j < at.size(); ++j) x.push_back(Derivative::variable(at[j], i == j, 1u << j));
    const Derivative result = f(x);
    EXPECT_EQ(result.v, value);
    const double slope = extrapolated([&](Wide step) { return first_difference(f, at, i, step); }, h);
    EXPECT_NEAR(result.a, slope, 1e-10 * (1 + std::abs(slope))) << "direction " << i;
    EXPECT_NEAR(result.b[i], slope, 1e-10 * (1 + std::abs(slope))) << "lane " << i;
    for (std::size_t j = 0; j < at.size(); ++j) {
      const double bend = extrapolated([&](Wide step) { return mixed_difference(f, at, i, j, step); }, h);
      EXPECT_NEAR(result.ab[j], bend, 1e-9 * (1 + std::abs(bend))) << i << "," << j;
    }
    for (int j = static_cast<int>(at.size()); j < Derivative::lanes; ++j) {
      EXPECT_EQ(result.b[j], 0.0);
      EXPECT_EQ(result.ab[j], 0.0);
    }
  }
}

// Unqualified calls find the wide versions of the C++ library beside those of the scalar.
using std::abs;
using std::atan;
using std::erf;
using std::exp;
using std::log;
using std::pow;
using std::sin;
using std::sqrt;

TEST(Derivative, arithmetic_of_two_scalars) {
  const Point at{1.3, -0.7};
  expect_derivatives([](const auto& x) { return x[0] + x[1]; }, at, "sum");
  expect_derivatives([](const auto& x) { return x[0] - x[1]; }, at, "difference");
  expect_derivatives([](const auto& x) { return x[0] * x[1]; }, at, "product");
  expect_derivatives([](const auto& x) { return x[0] / x[1]; }, at, "quotient");
  expect_derivatives([](const auto& x) { return x[0] * x[0]; }, at, "square");
  expect_derivatives([](const auto& x) { return x[0] / x[0] + x[1] * x[1] / x[0]; }, at, "own quotient");
  expect_derivatives([](const auto& x) { return -x[0] * +x[1]; }, at, "signs");
}

TEST(Derivative, arithmetic_with_plain_numbers) {
  const Point at{1.3};
  expect_derivatives([](const auto& x) { return 2.5 + x[0]; }, at, "2.5 + x");
  expect_derivatives([](const auto& x) { return x[0] + 2.5; }, at, "x + 2.5");
  expect_derivatives([](const auto& x) { return 2.5 - x[0] * x[0]; }, at, "2.5 - xx");
  expect_derivatives([](const auto& x) { return x[0] * x[0] - 2.5; }, at, "xx - 2.5");
  expect_derivatives([](const auto& x) { return 3 * x[0] * x[0] * 2; }, at, "3 xx 2");
  expect_derivatives([](const auto& x) { return 2.0 / x[0]; }, at, "2 / x");
  expect_derivatives([](const auto& x) { return x[0] * x[0] / 4; }, at, "xx / 4");
  expect_derivatives([](const auto& x) { return 1 / (1 - x[0] * x[0]); }, at, "integers");
}

TEST(Derivative, compound_assignment_also_to_itself) {
  const auto f = [](const auto& x) {
    auto y = x[0];
    y *= x[1];
    y += x[0];
    y /= x[1] + 3.0;
    y -= x[1];
    y *= 1.5;
    y += 0.25;
    y /= 2.0;
    y -= 0.125;
    y *= y;
    auto z = y;
    const auto& same = z;  // an operand that is the target itself
    z /= same;
    y += y;
    return y + z;
  };
  expect_derivatives(f, {0.9, 1.7}, "compound");
}

TEST(Derivative, smooth_functions) {
  for (double at : {0.3, 1.0, 2.4}) {
    expect_derivatives([](const auto& x) { return exp(x[0] * x[0]); }, {at}, "exp", 0.01L);
    expect_derivatives([](const auto& x) { return log(x[0]); }, {at}, "log", 0.01L);
    expect_derivatives([](const auto& x) { return sqrt(x[0]); }, {at}, "sqrt", 0.01L);
    expect_derivatives([](const auto& x) { return sin(x[0] * x[0]); }, {at}, "sin", 0.01L);
    expect_derivatives([](const auto& x) { return erf(x[0]); }, {at}, "erf");
    expect_derivatives([](const auto& x) { return atan(3.0 * x[0]); }, {at}, "atan", 0.005L);
    expect_derivatives([](const auto& x) { return pow(x[0], 2.7); }, {at}, "power", 0.01L);
    expect_derivatives([](const auto& x) { return pow(x[0], 3); }, {at}, "whole power", 0.01L);
    expect_derivatives([](const auto& x) { return pow(0.4, x[0]); }, {at}, "exponential");
    expect_derivatives([](const auto& x) { return abs(-x[0] * x[0]); }, {at}, "abs", 0.01L);
  }
  expect_derivatives([](const auto& x) { return pow(x[0], x[1]); }, {1.8, -0.6}, "power of two scalars");
  expect_derivatives([](const auto& x) { return pow(x[0], -3.0); }, {-1.2}, "negative base");
}

TEST(Derivative, guarded_functions_inside_their_range) {
  for (double at : {-3.0, 0.4, 5.0}) {
    const Derivative x = Derivative::variable(at, true, 1u);
    const double p = expit(at), q = expit(-at);
    EXPECT_EQ(expit(x).v, p);
    EXPECT_NEAR(expit(x).a, p * q, 1e-16);
    EXPECT_NEAR(expit(x).ab[0], p * q * (q - p), 1e-16);
    EXPECT_EQ(exprep(x).ab[0], std::exp(at));
  }
  const Derivative x = Derivative::variable(0.2, true, 1u);
  EXPECT_EQ(floored_log(x).v, std::log(0.2));
  EXPECT_NEAR(floored_log(x).a, 5.0, 1e-15);
  EXPECT_NEAR(floored_log(x).ab[0], -25.0, 1e-13);
}

TEST(Derivative, guarded_functions_are_flat_where_they_are_clamped) {
  const double no_number = std::numeric_limits<double>::quiet_NaN();
  for (double at : {-800.0, 800.0, no_number}) {
    const Derivative x = Derivative::variable(at, true, 1u);
    EXPECT_EQ(exprep(x).v, exprep(at));
    EXPECT_EQ(exprep(x).a, 0.0);
    EXPECT_EQ(expit(x).v, expit(at));
    EXPECT_EQ(expit(x).ab[0], 0.0);
  }
  for (double at : {0.0, -1.0, 1e-320, no_number}) {
    const Derivative logarithm = floored_log(Derivative::variable(at, true, 1u));
    EXPECT_EQ(logarithm.v, std::log(minlog));
    EXPECT_EQ(logarithm.a, 0.0);
    EXPECT_EQ(logarithm.ab[0], 0.0);
  }
}

TEST(Derivative, expit_keeps_its_digits_near_one) {
  const Derivative p = expit(Derivative::variable(40.0, true, 1u));
  EXPECT_NEAR(p.a / std::exp(-40.0), 1.0, 1e-15);
  EXPECT_NEAR(p.ab[0] / std::exp(-40.0), -1.0, 1e-15);
}

TEST(Derivative, lgamma_and_bincoef) {
  for (double at : {0.4, 3.0, 17.5, -1.3}) {
    const Derivative x = Derivative::variable(at, true, 1u);
    EXPECT_EQ(lgamma(x).v, lgamma(at));
    EXPECT_EQ(lgamma(x).a, digamma(at));
    EXPECT_EQ(lgamma(x).ab[0], trigamma(at));
  }
  // n(n - 1)/2 has the slope n - 1/2 and the bend 1, and n over 0 has neither.
  const Derivative n = Derivative::variable(7.0, true, 1u);
  EXPECT_EQ(bincoef(n, 2.0).v, 21.0);
  EXPECT_NEAR(bincoef(n, 2.0).a, 6.5, 1e-13);
  EXPECT_NEAR(bincoef(n, 2.0).ab[0], 1.0, 1e-13);
  EXPECT_NEAR(bincoef(n, 0.0).a, 0.0, 1e-14);
  EXPECT_NEAR(bincoef(n, 4).v, 35.0, 1e-12);
  // At k = n the value is 1 by rule, and the slope in n is that of the gamma function, 1 + 1/2 + ... + 1/n.
  EXPECT_EQ(bincoef(n, 7.0).v, 1.0);
  EXPECT_NEAR(bincoef(n, 7.0).a, 363.0 / 140.0, 1e-13);
  EXPECT_EQ(bincoef(Derivative::variable(1e6, true, 1u), 5e5).a, 0.0);
}

TEST(Derivative, power_of_base_zero_is_flat) {
  const Derivative zero = Derivative::variable(0.0, true, 1u), x = Derivative::variable(2.0, true, 1u);
  for (const Derivative& power :
       {pow(zero, 2.0), pow(zero, 1.0), pow(zero, 0.5), pow(zero, x), pow(0.0, x)}) {
    EXPECT_EQ(power.v, 0.0);
    EXPECT_EQ(power.a, 0.0);
    EXPECT_EQ(power.b[0], 0.0);
    EXPECT_EQ(power.ab[0], 0.0);
  }
  EXPECT_EQ(pow(zero, 0.0).v, 1.0);
  EXPECT_EQ(pow(zero, 0.0).a, 0.0);
  EXPECT_EQ(sqrt(zero).a, 0.0);
  EXPECT_EQ(abs(zero).a, 0.0);
}

TEST(Derivative, powers_at_the_edge_of_the_range) {
  const Derivative x = Derivative::variable(1e-200, true, 1u);
  EXPECT_EQ(pow(x, 2.0).v, 0.0);
  EXPECT_NEAR(pow(x, 2.0).a / 2e-200, 1.0, 1e-14);
  EXPECT_EQ(pow(x, 2.0).ab[0], 2.0);
  EXPECT_EQ(pow(x, 1.0).a, 1.0);
  EXPECT_EQ(pow(x, 1.0).ab[0], 0.0);
  EXPECT_EQ(pow(x, 0.0).a, 0.0);
}

TEST(Derivative, branches_see_the_value) {
  const Derivative x = Derivative::variable(1.5, true, 1u), y = 2.0;
  EXPECT_TRUE(x < y);
  EXPECT_TRUE(y > x);
  EXPECT_TRUE(x <= 1.5);
  EXPECT_TRUE(x >= 1.5);
  EXPECT_TRUE(x == 1.5);
  EXPECT_TRUE(1 < x);
  EXPECT_TRUE(2 != x);
  EXPECT_FALSE(x > 3);
  EXPECT_EQ(value_of(x), 1.5);
  EXPECT_FALSE(Derivative(std::numeric_limits<double>::quiet_NaN()) == x);
  EXPECT_TRUE(vanishes(Derivative(0.0)));
  EXPECT_FALSE(vanishes(x));
}

TEST(Derivative, a_number_has_none) {
  const Derivative x = 3.25;
  EXPECT_EQ(x.v, 3.25);
  EXPECT_EQ(x.a, 0.0);
  for (int j = 0; j < Derivative::lanes; ++j) {
    EXPECT_EQ(x.b[j], 0.0);
    EXPECT_EQ(x.ab[j], 0.0);
  }
}

TEST(Derivative, seeds_one_direction_and_any_lanes) {
  const Derivative x = Derivative::variable(2.0, false, 0b10000101u);
  EXPECT_EQ(x.a, 0.0);
  for (int j = 0; j < Derivative::lanes; ++j) EXPECT_EQ(x.b[j], j == 0 || j == 2 || j == 7 ? 1.0 : 0.0);
}

TEST(Derivative, a_long_expression_of_eight_variables) {
  // A capture history written out: products of survival and capture rates, mixtures, a power and a logarithm.
  const auto f = [](const auto& x) {
    auto alive = x[0] * (1.0 - x[1]);
    auto dead = 1.0 - x[0];
    for (int t = 0; t < 6; ++t) {
      const auto survival = 1.0 / (1.0 + exp(-(x[2] + x[3] * static_cast<double>(t))));
      const auto seen = 1.0 / (1.0 + exp(-x[4]));
      dead = dead + alive * (1.0 - pow(survival, 1.5));
      alive = alive * pow(survival, 1.5) * (1.0 - seen);
    }
    const auto mixed = x[5] * alive + (1.0 - x[5]) * dead / (1.0 + x[6] * x[6]);
    return log(mixed) * 3.0 + sqrt(x[7] + mixed) - sin(x[7]) * erf(x[6]);
  };
  expect_derivatives(f, {0.8, 0.3, 0.5, -0.2, 0.1, 0.6, 0.7, 1.1}, "history", 0.005L);
}

}  // namespace
}  // namespace tarn
