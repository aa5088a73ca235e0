#pragma once
// What is charged for a value outside its range.

#include <type_traits>

#include "numerics/traced.h"

namespace tarn {

/// Violations up to this size are rounding, and have no second derivative.
inline constexpr double smallest_violation = 1e-9;

/// Gradients see a kink as the side in violation does, so that a search that stands on it is led back.
template <class Real>
inline constexpr bool kinks_count = std::is_same_v<Real, Traced<double>>;

/// Penalty of a violation, which is negative or, within rounding, 0: `slope` times it.
template <class Real>
Real charge_of(const Real& violation, double slope) {
  const bool counts = kinks_count<Real> || -value_of(violation) > smallest_violation;
  return counts ? slope * violation : Real(slope * value_of(violation));
}

/// Penalty of a share below 0: negative, `slope` times what it falls short; else 0.
template <class Real>
Real shortfall_penalty(const Real& share, double slope) {
  const double v = value_of(share);
  if (!(kinks_count<Real> ? v <= 0.0 : v < 0.0)) return 0.0;
  return charge_of(share, slope);
}

/// Penalty of a probability outside 0 to 1: negative, `slope` times the violation; 0 inside, and for a NaN,
/// which the floor of the logarithm takes care of.
template <class Real>
Real range_penalty(const Real& prob, double slope) {
  const double p = value_of(prob);
  if (!(kinks_count<Real> ? p <= 0.0 || p >= 1.0 : p < 0.0 || p > 1.0)) return 0.0;
  return charge_of(p <= 0.0 ? prob : Real(1.0 - prob), slope);
}

}  // namespace tarn
