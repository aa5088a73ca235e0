#pragma once
// What is charged for a value outside its range.

#include "numerics/special.h"

namespace tarn {

/// Violations up to this size are rounding, and have no derivative.
inline constexpr double smallest_violation = 1e-9;

/// Penalty of a violation, which is negative or, within rounding, 0: `slope` times it. Its derivative counts
/// above `smallest_violation` only.
template <class Real>
Real charge_of(const Real& violation, double slope) {
  return -value_of(violation) > smallest_violation ? slope * violation : Real(slope * value_of(violation));
}

/// Penalty of a probability outside 0 to 1: negative, `slope` times the violation; 0 inside, and for a NaN,
/// which the floor of the logarithm takes care of.
template <class Real>
Real range_penalty(const Real& prob, double slope) {
  const double p = value_of(prob);
  if (!(p < 0.0 || p > 1.0)) return 0.0;
  return charge_of(p < 0.0 ? prob : Real(1.0 - prob), slope);
}

/// max(x, floor), a NaN taking the floor; where x is below, slope times the violation goes to `penalty`.
template <class Real>
Real raised_to(const Real& x, double floor, double slope, Real& penalty) {
  const double v = value_of(x);
  if (v > floor) return x;
  if (v < 0.0) penalty += range_penalty(x, slope);
  return floor;
}

}  // namespace tarn
