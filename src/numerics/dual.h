#pragma once

#include "numerics/lanes.h"
#include "numerics/smooth.h"

namespace tarn {

/// A number with its first derivatives in eight directions: forward differentiation (Griewank and Walther
/// 2008).
struct Dual : Smooth<Dual> {
  static constexpr int lanes = Lanes::count;

  double v = 0.0;
  Lanes b;

  Dual() = default;
  Dual(double value) : v(value) {}
  Dual(double value, const Lanes& first) : v(value), b(first) {}
};

inline Dual chain(const Dual& x, double f, double f1) { return {f, f1 * x.b}; }
inline Dual chain(const Dual& x, const Dual& y, double f, double fx, double fy) {
  return {f, fx * x.b + fy * y.b};
}

/// True when value and derivatives are all 0.
inline bool is_nothing(double x) { return x == 0.0; }
inline bool is_nothing(const Dual& x) { return x.v == 0.0 && is_nothing(x.b); }

}  // namespace tarn
