#pragma once
// Numbers with derivatives: what all kinds of them have in common. Code that is a template over the scalar
// runs with them as with a double: branches see the value, whose bits are those that a double would have had.
// A number converts implicitly and has derivatives of 0.
//
// A kind X has a member `v`, its value, and two functions that give a function's result by the chain rule:
//   chain(x, f, f1)         f(x) with its value and slope at x.v
//   chain(x, y, f, fx, fy)  f(x, y) with its value and partial derivatives
// All else follows once, here. A power of base 0 and a square root of 0 have derivatives of 0, and so has
// whatever is clamped or floored.

#include <concepts>

#include "numerics/special.h"

namespace tarn {

/// The operators of a kind of numbers X, which derives from this.
template <class X>
struct Smooth {
  friend X operator+(const X& x) { return x; }
  friend X operator-(const X& x) { return chain(x, -x.v, -1.0); }

  friend X operator+(const X& x, const X& y) { return chain(x, y, x.v + y.v, 1.0, 1.0); }
  friend X operator+(const X& x, double y) { return chain(x, x.v + y, 1.0); }
  friend X operator+(double x, const X& y) { return chain(y, x + y.v, 1.0); }

  friend X operator-(const X& x, const X& y) { return chain(x, y, x.v - y.v, 1.0, -1.0); }
  friend X operator-(const X& x, double y) { return chain(x, x.v - y, 1.0); }
  friend X operator-(double x, const X& y) { return chain(y, x - y.v, -1.0); }

  friend X operator*(const X& x, const X& y) { return chain(x, y, x.v * y.v, y.v, x.v); }
  friend X operator*(const X& x, double y) { return chain(x, x.v * y, y); }
  friend X operator*(double x, const X& y) { return chain(y, x * y.v, x); }

  friend X operator/(const X& x, const X& y) {
    const auto scale = 1.0 / y.v, quotient = x.v / y.v;
    return chain(x, y, quotient, scale, -(quotient * scale));
  }
  friend X operator/(const X& x, double y) { return chain(x, x.v / y, 1.0 / y); }
  friend X operator/(double x, const X& y) {
    const auto quotient = x / y.v;
    return chain(y, quotient, -(quotient / y.v));
  }

  friend X& operator+=(X& x, const X& y) { return x = x + y; }
  friend X& operator-=(X& x, const X& y) { return x = x - y; }
  friend X& operator*=(X& x, const X& y) { return x = x * y; }
  friend X& operator/=(X& x, const X& y) { return x = x / y; }

  friend bool operator<(const X& x, const X& y) { return value_of(x) < value_of(y); }
  friend bool operator>(const X& x, const X& y) { return value_of(x) > value_of(y); }
  friend bool operator<=(const X& x, const X& y) { return value_of(x) <= value_of(y); }
  friend bool operator>=(const X& x, const X& y) { return value_of(x) >= value_of(y); }
  friend bool operator==(const X& x, const X& y) { return value_of(x) == value_of(y); }
  friend bool operator!=(const X& x, const X& y) { return value_of(x) != value_of(y); }

  friend double value_of(const X& x) { return value_of(x.v); }
};

template <class X>
concept Smooth_number = std::derived_from<X, Smooth<X>>;

template <Smooth_number X>
double plain(const X& x) {
  return value_of(x);
}

template <Smooth_number X>
bool vanishes(const X& x) {
  return vanishes(value_of(x));
}

template <Smooth_number X>
X exp(const X& x) {
  const auto f = exp(x.v);
  return chain(x, f, f);
}

template <Smooth_number X>
X log(const X& x) {
  return chain(x, log(x.v), 1.0 / x.v);
}

template <Smooth_number X>
X log1p(const X& x) {
  return chain(x, log1p(x.v), 1.0 / (1.0 + x.v));
}

template <Smooth_number X>
X sqrt(const X& x) {
  const auto f = sqrt(x.v);
  if (f == 0.0) return 0.0;
  return chain(x, f, 0.5 / f);
}

template <Smooth_number X>
X sin(const X& x) {
  return chain(x, sin(x.v), cos(x.v));
}

template <Smooth_number X>
X cos(const X& x) {
  return chain(x, cos(x.v), -sin(x.v));
}

template <Smooth_number X>
X atan(const X& x) {
  return chain(x, atan(x.v), 1.0 / (1.0 + x.v * x.v));
}

/// The kink at 0 has derivatives of 0.
template <Smooth_number X>
X abs(const X& x) {
  if (x == 0.0) return 0.0;
  return x < 0.0 ? -x : x;
}

template <Smooth_number X>
X erf(const X& x) {
  constexpr double two_over_root_pi = 1.1283791670955126;
  return chain(x, erf(x.v), two_over_root_pi * exp(-x.v * x.v));
}

template <Smooth_number X>
X digamma(const X& x) {
  return chain(x, digamma(x.v), trigamma(x.v));
}

template <Smooth_number X>
X lgamma(const X& x) {
  return chain(x, lgamma(x.v), digamma(x.v));
}

template <Smooth_number X>
X digamma_rise(const X& x, double m) {
  return chain(x, digamma_rise(x.v, m), trigamma_rise(x.v, m));
}

template <Smooth_number X>
X lgamma_rise(const X& x, double m) {
  return chain(x, lgamma_rise(x.v, m), digamma_rise(x.v, m));
}

template <Smooth_number X>
X pow(const X& x, double y) {
  const auto f = pow(x.v, y);
  if (x == 0.0) return value_of(f);
  // A quotient of the power is exact enough and cheap, unless the power has left the range of normal numbers.
  const bool scaled = std::abs(value_of(f)) > 1e-290 && std::abs(value_of(x)) > 1e-8;
  return scaled ? chain(x, f, y * (f / x.v)) : chain(x, f, y * pow(x.v, y - 1.0));
}

// An integer exponent is a number like any other; without this the call would be ambiguous.
template <Smooth_number X>
X pow(const X& x, int y) {
  return pow(x, static_cast<double>(y));
}

template <Smooth_number X>
X pow(double x, const X& y) {
  const auto f = pow(x, y.v);
  if (!(x > 0.0)) return value_of(f);
  return chain(y, f, f * log(x));
}

/// With a base that is not above 0 only the derivatives in the base exist.
template <Smooth_number X>
X pow(const X& x, const X& y) {
  if (!(x > 0.0)) return pow(x, value_of(y));
  const auto f = pow(x.v, y.v);
  return chain(x, y, f, y.v * pow(x.v, y.v - 1.0), f * log(x.v));
}

template <Smooth_number X>
X exprep(const X& x) {
  const auto f = exprep(x.v);
  if (!(x > minexp && x < maxexp)) return value_of(f);
  return chain(x, f, f);
}

template <Smooth_number X>
X expit(const X& x) {
  const auto p = expit(x.v);
  if (!(x > -maxexp && x < -minexp)) return value_of(p);
  return chain(x, p, p * expit(-x.v));  // p (1 - p) without the cancellation
}

template <Smooth_number X>
X complement(const X& q, double rest) {
  return chain(q, complement(q.v, rest), -1.0);
}

template <Smooth_number X>
X with_odds_times(const X& rate, const X& factor) {
  const auto rest = 1.0 - rate.v, scale = 1.0 / (rest + rate.v * factor.v), square = scale * scale;
  return chain(rate, factor, with_odds_times(rate.v, factor.v), factor.v * square, rate.v * rest * square);
}

/// At the floor, which a NaN takes too, the derivatives are 0.
template <Smooth_number X>
X floored_log(const X& x) {
  if (!(x > minlog)) return floored_log(value_of(x));
  return log(x);
}

/// The value by the same rule as for numbers, the derivatives by the gamma function.
template <Smooth_number X>
X bincoef(const X& n, const X& k) {
  const auto f = bincoef(n.v, k.v);
  const X exponent = lgamma(n + 1.0) - lgamma(k + 1.0) - lgamma(n - k + 1.0);
  if (!(exponent > minexp && exponent < maxexp)) return value_of(f);
  return chain(exponent, f, f);
}

}  // namespace tarn
