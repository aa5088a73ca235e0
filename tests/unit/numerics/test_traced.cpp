#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "support/traced.h"

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

/// Compares f, a callable on vectors of any scalar, with the differences.
template <class Function>
void expect_derivatives(const Function& f, const Point& at, const std::string& name, Wide h = 0.02L) {
  SCOPED_TRACE(name);
  ASSERT_LE(at.size(), static_cast<std::size_t>(Dual::lanes));
  const double value = f(at);
  const Second_order exact = second_order(f, at), plain = first_order(f, at);
  EXPECT_EQ(exact.value, value);
  EXPECT_EQ(plain.value, value);
  for (std::size_t i = 0; i < at.size(); ++i) {
    const double slope = extrapolated([&](Wide step) { return first_difference(f, at, i, step); }, h);
    const double tolerance = 1e-10 * (1 + std::abs(slope));
    EXPECT_NEAR(exact.gradient[i], slope, tolerance) << "variable " << i;
    EXPECT_NEAR(exact.forward[i], slope, tolerance) << "direction " << i;
    EXPECT_NEAR(plain.gradient[i], slope, tolerance) << "variable " << i;
    for (std::size_t j = 0; j < at.size(); ++j) {
      const double bend = extrapolated([&](Wide step) { return mixed_difference(f, at, i, j, step); }, h);
      EXPECT_NEAR(exact.second[i][j], bend, 1e-9 * (1 + std::abs(bend))) << i << "," << j;
    }
  }
}

/// A function of one variable: value, slope and bend.
struct Bent {
  double v, a, ab;
};
template <class Function>
Bent bent(const Function& f, double at) {
  const Second_order all = second_order([&f](const auto& x) { return f(x[0]); }, {at});
  EXPECT_NEAR(all.forward[0], all.gradient[0], 1e-15 * std::abs(all.gradient[0]));
  return {all.value, all.gradient[0], all.second[0][0]};
}

Wide with_odds_times(Wide rate, Wide factor) { return rate * factor / (1.0L - rate + rate * factor); }

// Unqualified calls find the wide versions of the C++ library beside those of the scalar.
using std::abs;
using std::atan;
using std::erf;
using std::exp;
using std::log;
using std::pow;
using std::sin;
using std::sqrt;

TEST(Traced, arithmetic_of_two_scalars) {
  const Point at{1.3, -0.7};
  expect_derivatives([](const auto& x) { return x[0] + x[1]; }, at, "sum");
  expect_derivatives([](const auto& x) { return x[0] - x[1]; }, at, "difference");
  expect_derivatives([](const auto& x) { return x[0] * x[1]; }, at, "product");
  expect_derivatives([](const auto& x) { return x[0] / x[1]; }, at, "quotient");
  expect_derivatives([](const auto& x) { return x[0] * x[0]; }, at, "square");
  expect_derivatives([](const auto& x) { return x[0] / x[0] + x[1] * x[1] / x[0]; }, at, "own quotient");
  expect_derivatives([](const auto& x) { return -x[0] * +x[1]; }, at, "signs");
}

TEST(Traced, arithmetic_with_plain_numbers) {
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

TEST(Traced, compound_assignment_also_to_itself) {
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

TEST(Traced, smooth_functions) {
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
  expect_derivatives([](const auto& x) { return with_odds_times(x[0], x[1]); }, {0.3, 2.5}, "odds");
}

TEST(Traced, guarded_functions_inside_their_range) {
  for (double at : {-3.0, 0.4, 5.0}) {
    const Bent rate = bent([](const auto& x) { return expit(x); }, at);
    const double p = expit(at), q = expit(-at);
    EXPECT_EQ(rate.v, p);
    EXPECT_NEAR(rate.a, p * q, 1e-16);
    EXPECT_NEAR(rate.ab, p * q * (q - p), 1e-16);
    EXPECT_EQ(bent([](const auto& x) { return exprep(x); }, at).ab, std::exp(at));
  }
  const Bent logarithm = bent([](const auto& x) { return floored_log(x); }, 0.2);
  EXPECT_EQ(logarithm.v, std::log(0.2));
  EXPECT_NEAR(logarithm.a, 5.0, 1e-15);
  EXPECT_NEAR(logarithm.ab, -25.0, 1e-13);
}

TEST(Traced, guarded_functions_are_flat_where_they_are_clamped) {
  const double no_number = std::numeric_limits<double>::quiet_NaN();
  for (double at : {-800.0, 800.0, no_number}) {
    const Bent power = bent([](const auto& x) { return exprep(x); }, at);
    EXPECT_EQ(power.v, exprep(at));
    EXPECT_EQ(power.a, 0.0);
    EXPECT_EQ(power.ab, 0.0);
    const Bent rate = bent([](const auto& x) { return expit(x); }, at);
    EXPECT_EQ(rate.v, expit(at));
    EXPECT_EQ(rate.a, 0.0);
    EXPECT_EQ(rate.ab, 0.0);
  }
  for (double at : {0.0, -1.0, 1e-320, no_number}) {
    const Bent logarithm = bent([](const auto& x) { return floored_log(x); }, at);
    EXPECT_EQ(logarithm.v, std::log(minlog));
    EXPECT_EQ(logarithm.a, 0.0);
    EXPECT_EQ(logarithm.ab, 0.0);
  }
}

TEST(Traced, expit_keeps_its_digits_near_one) {
  const Bent p = bent([](const auto& x) { return expit(x); }, 40.0);
  EXPECT_NEAR(p.a / std::exp(-40.0), 1.0, 1e-15);
  EXPECT_NEAR(p.ab / std::exp(-40.0), -1.0, 1e-15);
}

TEST(Traced, lgamma_and_bincoef) {
  for (double at : {0.4, 3.0, 17.5, -1.3}) {
    const Bent gamma = bent([](const auto& x) { return lgamma(x); }, at);
    EXPECT_EQ(gamma.v, lgamma(at));
    EXPECT_EQ(gamma.a, digamma(at));
    EXPECT_EQ(gamma.ab, trigamma(at));
  }
  const auto over = [](double n, double k) {
    return bent([k](const auto& x) { return bincoef(x, std::decay_t<decltype(x)>(k)); }, n);
  };
  // n(n - 1)/2 has the slope n - 1/2 and the bend 1, and n over 0 has neither.
  EXPECT_EQ(over(7.0, 2.0).v, 21.0);
  EXPECT_NEAR(over(7.0, 2.0).a, 6.5, 1e-13);
  EXPECT_NEAR(over(7.0, 2.0).ab, 1.0, 1e-13);
  EXPECT_NEAR(over(7.0, 0.0).a, 0.0, 1e-14);
  EXPECT_NEAR(over(7.0, 4.0).v, 35.0, 1e-12);
  // At k = n the value is 1 by rule, and the slope in n is that of the gamma function, 1 + 1/2 + ... + 1/n.
  EXPECT_EQ(over(7.0, 7.0).v, 1.0);
  EXPECT_NEAR(over(7.0, 7.0).a, 363.0 / 140.0, 1e-13);
  EXPECT_EQ(over(1e6, 5e5).a, 0.0);
}

TEST(Traced, rises_and_complements) {
  for (double at : {0.4, 3.0, 17.5, 1e9}) {
    const Bent rise = bent([](const auto& x) { return lgamma_rise(x, 5.0); }, at);
    EXPECT_EQ(rise.v, lgamma_rise(at, 5.0));
    EXPECT_EQ(rise.a, digamma_rise(at, 5.0));
    EXPECT_EQ(rise.ab, trigamma_rise(at, 5.0));
  }
  for (double at : {-0.5, 1e-20, 0.25}) {
    const Bent logarithm = bent([](const auto& x) { return log1p(x); }, at);
    EXPECT_EQ(logarithm.v, std::log1p(at));
    EXPECT_DOUBLE_EQ(logarithm.a, 1.0 / (1.0 + at));
    EXPECT_DOUBLE_EQ(logarithm.ab, -1.0 / ((1.0 + at) * (1.0 + at)));
  }
  for (double chance : {1e-20, 0.3, 0.8}) {
    const Bent rest = bent([](const auto& x) { return log_of_rest(x); }, chance);
    EXPECT_DOUBLE_EQ(rest.v, std::log1p(-chance));
    EXPECT_DOUBLE_EQ(rest.a, -1.0 / (1.0 - chance));
    EXPECT_DOUBLE_EQ(rest.ab, -1.0 / ((1.0 - chance) * (1.0 - chance)));
  }
  // The value as it is told, the derivatives those of 1 - x x.
  const Bent rest = bent([](const auto& x) { return complement(x * x, 0.125); }, 0.75);
  EXPECT_EQ(rest.v, 0.125);
  EXPECT_EQ(rest.a, -1.5);
  EXPECT_EQ(rest.ab, -2.0);
}

TEST(Traced, power_of_base_zero_is_flat) {
  const auto flat = [](const Bent& power, double value) {
    EXPECT_EQ(power.v, value);
    EXPECT_EQ(power.a, 0.0);
    EXPECT_EQ(power.ab, 0.0);
  };
  for (const double exponent : {2.0, 1.0, 0.5})
    flat(bent([exponent](const auto& x) { return pow(x, exponent); }, 0.0), 0.0);
  flat(bent([](const auto& x) { return pow(x, x + 2.0); }, 0.0), 0.0);
  flat(bent([](const auto& x) { return pow(0.0, x); }, 2.0), 0.0);
  flat(bent([](const auto& x) { return pow(x, 0.0); }, 0.0), 1.0);
  flat(bent([](const auto& x) { return sqrt(x); }, 0.0), 0.0);
  flat(bent([](const auto& x) { return abs(x); }, 0.0), 0.0);
}

TEST(Traced, powers_at_the_edge_of_the_range) {
  const auto power = [](double y) { return bent([y](const auto& x) { return pow(x, y); }, 1e-200); };
  EXPECT_EQ(power(2.0).v, 0.0);
  EXPECT_NEAR(power(2.0).a / 2e-200, 1.0, 1e-14);
  EXPECT_EQ(power(2.0).ab, 2.0);
  EXPECT_EQ(power(1.0).a, 1.0);
  EXPECT_EQ(power(1.0).ab, 0.0);
  EXPECT_EQ(power(0.0).a, 0.0);
}

template <class X>
class Scalars : public testing::Test {};
using All_scalars = testing::Types<Dual, Traced<double>, Traced<Dual>>;
TYPED_TEST_SUITE(Scalars, All_scalars);

TYPED_TEST(Scalars, branches_see_the_value) {
  const TypeParam x = 1.5, y = 2.0;
  EXPECT_TRUE(x < y);
  EXPECT_TRUE(y > x);
  EXPECT_TRUE(x <= 1.5);
  EXPECT_TRUE(x >= 1.5);
  EXPECT_TRUE(x == 1.5);
  EXPECT_TRUE(1 < x);
  EXPECT_TRUE(2 != x);
  EXPECT_FALSE(x > 3);
  EXPECT_EQ(value_of(x), 1.5);
  EXPECT_FALSE(TypeParam(std::numeric_limits<double>::quiet_NaN()) == x);
  EXPECT_TRUE(vanishes(TypeParam(0.0)));
  EXPECT_FALSE(vanishes(x));
}

TEST(Traced, a_number_leaves_no_trace) {
  const Second_order all =
      second_order([](const auto& x) { return 0.0 * x[0] + exp(std::decay_t<decltype(x[0])>(0.5)); }, {2.0});
  EXPECT_EQ(all.value, std::exp(0.5));
  EXPECT_EQ(all.gradient[0], 0.0);
  EXPECT_EQ(all.second[0][0], 0.0);
  const Traced<double> constant = 3.25;
  EXPECT_EQ(constant.v, 3.25);
  EXPECT_EQ((constant * constant + 1.0).step, nullptr);
}

TEST(Traced, kept_steps_serve_many_results) {
  Trace<double> trace;
  trace.begin(2);
  const Traced<double> x(3.0, 1.0, trace.leaf(0)), y(5.0, 1.0, trace.leaf(1));
  Traced<double> product;
  {
    const auto keep = trace.keep();
    product = x * y;
  }
  for (const double factor : {1.0, 10.0}) {
    add_to_result(product * x, factor);
    trace.walk_back();
  }
  EXPECT_EQ(trace.leaf(0)->adjoint, 11.0 * 15.0);  // what did not pass the product
  trace.walk_kept_back();
  EXPECT_EQ(trace.take_adjoint(0), 11.0 * (15.0 + 15.0));
  EXPECT_EQ(trace.take_adjoint(1), 11.0 * 9.0);
  EXPECT_EQ(trace.take_adjoint(1), 0.0);
  // A second walk starts from nothing.
  add_to_result(product, 1.0);
  trace.walk_back();
  trace.walk_kept_back();
  EXPECT_EQ(trace.take_adjoint(0), 5.0);
  EXPECT_EQ(trace.take_adjoint(1), 3.0);
}

TEST(Traced, traces_longer_than_their_storage_grows_by) {
  // 1637 steps of plain numbers fill a piece of storage; leaves, kept and passing steps cross its end.
  Trace<double> trace;
  for (const std::size_t leaves :
       {std::size_t{1}, std::size_t{1636}, std::size_t{1637}, std::size_t{1638}, std::size_t{5000}}) {
    trace.begin(leaves);
    std::vector<Traced<double>> x;
    for (std::size_t k = 0; k < leaves; ++k)
      x.emplace_back(1.0 + 1e-6 * static_cast<double>(k), 1.0, trace.leaf(k));
    for (int round = 0; round < 2; ++round) {
      Traced<double> sum = 0.0;
      {
        const auto keep = trace.keep();
        for (int times = 0; times < 3; ++times)
          for (const Traced<double>& each : x) sum = sum + each * each;
      }
      for (int times = 0; times < 2000; ++times) sum = sum * x[0];
      add_to_result(sum, 1.0);
      trace.walk_back();
      trace.walk_kept_back();
      trace.drop_kept();
      EXPECT_NEAR(trace.take_adjoint(leaves - 1), leaves == 1 ? 6.0 + 3.0 * 2000.0 : 6.0 * value_of(x.back()),
                  1e-9);
      for (std::size_t k = 0; k < leaves; ++k) trace.take_adjoint(k);
    }
  }
}

TEST(Traced, what_the_result_does_not_depend_on_does_no_harm) {
  const Second_order all = first_order(
      [](const auto& x) {
        const auto infinite = x[0] / (x[1] * 0.0);
        return infinite > 0.0 ? x[0] * x[1] : infinite;
      },
      {2.0, 3.0});
  EXPECT_EQ(all.gradient, (std::vector<double>{3.0, 2.0}));
}

TEST(Traced, a_long_expression_of_eight_variables) {
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
