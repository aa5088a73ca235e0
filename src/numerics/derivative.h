#pragma once

#include <concepts>
#include <type_traits>

#include "numerics/special.h"

namespace tarn {

/// Eight doubles that are added, scaled and subtracted together. Held as pairs of the baseline instruction
/// set: g++ takes a wider vector type apart into single numbers.
class Lanes {
 public:
  static constexpr int count = 8;

  Lanes() = default;

  double& operator[](int j) { return reinterpret_cast<double*>(pairs_)[j]; }
  double operator[](int j) const { return pairs_[j / 2][j % 2]; }

  friend Lanes operator+(const Lanes& x, const Lanes& y) {
    return each([&](int k) { return x.pairs_[k] + y.pairs_[k]; });
  }
  friend Lanes operator-(const Lanes& x, const Lanes& y) {
    return each([&](int k) { return x.pairs_[k] - y.pairs_[k]; });
  }
  friend Lanes operator-(const Lanes& x) {
    return each([&](int k) { return -x.pairs_[k]; });
  }
  friend Lanes operator*(double factor, const Lanes& x) {
    return each([&](int k) { return factor * x.pairs_[k]; });
  }

 private:
  // The compiler's own vector type may stand for its elements, which operator[] relies on.
  typedef double Pair __attribute__((vector_size(2 * sizeof(double))));

  Lanes(Pair first, Pair second, Pair third, Pair fourth) : pairs_{first, second, third, fourth} {}

  // Written out: a loop would keep g++ from holding intermediate results in registers.
  template <class Operation>
  static Lanes each(const Operation& operation) {
    return Lanes(operation(0), operation(1), operation(2), operation(3));
  }

  Pair pairs_[count / 2] = {};
};

/// A number with its derivatives: the value `v`, the first derivative `a` in one direction i, and for each of
/// `lanes` directions j the first derivative `b[j]` and the mixed second derivative `ab[j]` = d2/(di dj).
/// Code that is a template over the scalar runs with it as with a double: branches see the value, whose bits
/// are those that a double would have had. A number converts implicitly and has derivatives of 0.
///
/// Forward differentiation of second order (Griewank and Walther 2008). A power of base 0 and a square root
/// of 0 have derivatives of 0, and so has whatever is clamped or floored.
struct Derivative {
  static constexpr int lanes = Lanes::count;

  double v = 0.0;
  double a = 0.0;
  Lanes b;
  Lanes ab;

  Derivative() = default;
  Derivative(double value) : v(value) {}
  Derivative(double value, double first_i, const Lanes& first_j, const Lanes& mixed)
      : v(value), a(first_i), b(first_j), ab(mixed) {}

  /// The variable itself: `is_i` when it is the variable of direction i; bit j of `lane_mask` when it is the
  /// variable of lane j (lanes numbered from 0).
  static Derivative variable(double value, bool is_i, unsigned lane_mask) {
    Derivative x(value);
    x.a = is_i ? 1.0 : 0.0;
    for (int j = 0; j < lanes; ++j) x.b[j] = (lane_mask >> j) & 1U ? 1.0 : 0.0;
    return x;
  }

  inline Derivative& operator+=(const Derivative& y);
  inline Derivative& operator-=(const Derivative& y);
  inline Derivative& operator*=(const Derivative& y);
  inline Derivative& operator/=(const Derivative& y);
  inline Derivative& operator+=(double y);
  inline Derivative& operator-=(double y);
  inline Derivative& operator*=(double y);
  inline Derivative& operator/=(double y);
};

inline double value_of(const Derivative& x) { return x.v; }

/// f(x) for a smooth function, given its value and first two derivatives at x.v.
inline Derivative chain(const Derivative& x, double f, double f1, double f2) {
  return {f, f1 * x.a, f1 * x.b, f1 * x.ab + (f2 * x.a) * x.b};
}

/// f(x, y) likewise, given the value, the two first and the three second partial derivatives.
inline Derivative chain(const Derivative& x, const Derivative& y, double f, double fx, double fy, double fxx,
                        double fxy, double fyy) {
  return {f, fx * x.a + fy * y.a, fx * x.b + fy * y.b,
          fx * x.ab + fy * y.ab + (fxx * x.a + fxy * y.a) * x.b + (fxy * x.a + fyy * y.a) * y.b};
}

inline Derivative operator+(const Derivative& x) { return x; }
inline Derivative operator-(const Derivative& x) { return {-x.v, -x.a, -x.b, -x.ab}; }

inline Derivative operator+(const Derivative& x, const Derivative& y) {
  return {x.v + y.v, x.a + y.a, x.b + y.b, x.ab + y.ab};
}
inline Derivative operator+(const Derivative& x, double y) { return {x.v + y, x.a, x.b, x.ab}; }
inline Derivative operator+(double x, const Derivative& y) { return {x + y.v, y.a, y.b, y.ab}; }

inline Derivative operator-(const Derivative& x, const Derivative& y) {
  return {x.v - y.v, x.a - y.a, x.b - y.b, x.ab - y.ab};
}
inline Derivative operator-(const Derivative& x, double y) { return {x.v - y, x.a, x.b, x.ab}; }
inline Derivative operator-(double x, const Derivative& y) { return {x - y.v, -y.a, -y.b, -y.ab}; }

inline Derivative operator*(const Derivative& x, const Derivative& y) {
  return {x.v * y.v, y.v * x.a + x.v * y.a, y.v * x.b + x.v * y.b,
          y.v * x.ab + y.a * x.b + x.a * y.b + x.v * y.ab};
}
inline Derivative operator*(const Derivative& x, double y) { return {x.v * y, y * x.a, y * x.b, y * x.ab}; }
inline Derivative operator*(double x, const Derivative& y) { return y * x; }

inline Derivative operator/(const Derivative& x, const Derivative& y) {
  const double scale = 1.0 / y.v, v = x.v / y.v, a = (x.a - v * y.a) * scale;
  const Lanes b = scale * (x.b - v * y.b);
  return {v, a, b, scale * (x.ab - a * y.b - y.a * b - v * y.ab)};
}
inline Derivative operator/(const Derivative& x, double y) {
  const double scale = 1.0 / y;
  return {x.v / y, scale * x.a, scale * x.b, scale * x.ab};
}
inline Derivative operator/(double x, const Derivative& y) {
  const double scale = 1.0 / y.v, quotient = x / y.v, slope = -quotient * scale;
  return chain(y, quotient, slope, -2.0 * slope * scale);
}

inline Derivative& Derivative::operator+=(const Derivative& y) {
  v += y.v;
  a += y.a;
  b = b + y.b;
  ab = ab + y.ab;
  return *this;
}
inline Derivative& Derivative::operator-=(const Derivative& y) {
  v -= y.v;
  a -= y.a;
  b = b - y.b;
  ab = ab - y.ab;
  return *this;
}
inline Derivative& Derivative::operator*=(const Derivative& y) { return *this = *this * y; }
inline Derivative& Derivative::operator/=(const Derivative& y) { return *this = *this / y; }
inline Derivative& Derivative::operator+=(double y) {
  v += y;
  return *this;
}
inline Derivative& Derivative::operator-=(double y) {
  v -= y;
  return *this;
}
inline Derivative& Derivative::operator*=(double y) { return *this = *this * y; }
inline Derivative& Derivative::operator/=(double y) { return *this = *this / y; }

/// A pair of scalars of which one at least carries derivatives and the other may be a plain number.
template <class X, class Y>
concept Compared_by_value = (std::same_as<X, Derivative> &&
                             (std::same_as<Y, Derivative> || std::is_arithmetic_v<Y>)) ||
                            (std::is_arithmetic_v<X> && std::same_as<Y, Derivative>);

template <class X, class Y>
requires Compared_by_value<X, Y>
bool operator<(const X& x, const Y& y) { return value_of(x) < value_of(y); }
template <class X, class Y>
requires Compared_by_value<X, Y>
bool operator>(const X& x, const Y& y) { return value_of(x) > value_of(y); }
template <class X, class Y>
requires Compared_by_value<X, Y>
bool operator<=(const X& x, const Y& y) { return value_of(x) <= value_of(y); }
template <class X, class Y>
requires Compared_by_value<X, Y>
bool operator>=(const X& x, const Y& y) { return value_of(x) >= value_of(y); }
template <class X, class Y>
requires Compared_by_value<X, Y>
bool operator==(const X& x, const Y& y) { return value_of(x) == value_of(y); }
template <class X, class Y>
requires Compared_by_value<X, Y>
bool operator!=(const X& x, const Y& y) { return value_of(x) != value_of(y); }

inline bool vanishes(const Derivative& x) { return vanishes(x.v); }

inline Derivative exp(const Derivative& x) {
  const double f = exp(x.v);
  return chain(x, f, f, f);
}

inline Derivative log(const Derivative& x) {
  const double slope = 1.0 / x.v;
  return chain(x, log(x.v), slope, -slope * slope);
}

inline Derivative sqrt(const Derivative& x) {
  const double f = sqrt(x.v);
  if (f == 0.0) return f;
  const double slope = 0.5 / f;
  return chain(x, f, slope, -0.5 * slope / x.v);
}

inline Derivative sin(const Derivative& x) {
  const double f = sin(x.v);
  return chain(x, f, std::cos(x.v), -f);
}

inline Derivative atan(const Derivative& x) {
  const double slope = 1.0 / (1.0 + x.v * x.v);
  return chain(x, atan(x.v), slope, -2.0 * x.v * slope * slope);
}

/// The kink at 0 has derivatives of 0.
inline Derivative abs(const Derivative& x) {
  if (x.v == 0.0) return 0.0;
  return x.v < 0.0 ? -x : x;
}

inline Derivative erf(const Derivative& x) {
  constexpr double two_over_root_pi = 1.1283791670955126;
  const double slope = two_over_root_pi * exp(-x.v * x.v);
  return chain(x, erf(x.v), slope, -2.0 * x.v * slope);
}

inline Derivative lgamma(const Derivative& x) { return chain(x, lgamma(x.v), digamma(x.v), trigamma(x.v)); }

/// Base 0 gives derivatives of 0.
inline Derivative pow(const Derivative& x, double y) {
  const double f = pow(x.v, y);
  if (x.v == 0.0) return f;
  // Quotients of the power are exact enough and cheap, unless the power has left the range of normal numbers.
  const bool scaled = abs(f) > 1e-290 && abs(x.v) > 1e-8;
  const double f2 = scaled ? f / x.v / x.v : pow(x.v, y - 2.0);
  return chain(x, f, y * (scaled ? f / x.v : pow(x.v, y - 1.0)), y * (y - 1.0) * f2);
}

/// Base 0 gives derivatives of 0.
inline Derivative pow(double x, const Derivative& y) {
  const double f = pow(x, y.v);
  if (!(x > 0.0)) return f;
  const double rate = log(x);
  return chain(y, f, f * rate, f * rate * rate);
}

/// Base 0 gives derivatives of 0. With a negative base only the derivatives in the base exist.
inline Derivative pow(const Derivative& x, const Derivative& y) {
  if (!(x.v > 0.0)) return pow(x, y.v);
  const double f = pow(x.v, y.v), rate = log(x.v);
  const double below = pow(x.v, y.v - 1.0);
  return chain(x, y, f, y.v * below, f * rate, y.v * (y.v - 1.0) * (below / x.v), below * (1.0 + y.v * rate),
               f * rate * rate);
}

// An integer exponent is a number like any other; without these the call would be ambiguous.
inline Derivative pow(const Derivative& x, int y) { return pow(x, static_cast<double>(y)); }

inline Derivative exprep(const Derivative& x) {
  const double f = exprep(x.v);
  if (!(x.v > minexp && x.v < maxexp)) return f;
  return chain(x, f, f, f);
}

inline Derivative expit(const Derivative& x) {
  const double p = expit(x.v);
  if (!(x.v > -maxexp && x.v < -minexp)) return p;
  const double slope = p * expit(-x.v);  // p (1 - p) without the cancellation
  return chain(x, p, slope, slope * (1.0 - 2.0 * p));
}

/// log(max(x, `minlog`)); at the floor, which a NaN takes too, the derivatives are 0.
inline Derivative floored_log(const Derivative& x) {
  if (!(x.v > minlog)) return floored_log(x.v);
  return log(x);
}

/// The value by the same rule as for numbers, the derivatives by the gamma function.
inline Derivative bincoef(const Derivative& n, const Derivative& k) {
  const double f = bincoef(n.v, k.v);
  Derivative exponent = lgamma(n + 1.0) - lgamma(k + 1.0) - lgamma(n - k + 1.0);
  if (!(exponent.v > minexp && exponent.v < maxexp)) return f;
  return chain(exponent, f, f, f);
}

}  // namespace tarn
