#pragma once
// Rates of occupancy dynamics that follow from the occupancy of two seasons and the other rate (MacKenzie et
// al. 2003).

#include "likelihood/blocks/penalty.h"
#include "numerics/special.h"

namespace tarn {

/// A probability that follows from others.
template <class Real>
struct Derived_rate {
  Real value;         ///< clamped to 0 to 1
  Real charge = 0.0;  ///< for leaving the range: twice the excess, negative or, within rounding, 0
};

/// `rate`, clamped and charged.
template <class Real>
Derived_rate<Real> clamped_rate(const Real& rate) {
  constexpr double slope = 2.0;
  if (vanishes(rate)) return {Real(0.0), charge_of(rate, slope)};
  const Real rest = 1.0 - rate;
  if (vanishes(rest)) return {Real(1.0), charge_of(rest, slope)};
  return {rate};
}

/// Colonisation between two seasons with occupancy `psi` and `next` when the occupied die out with `epsilon`:
/// (next - (1 - epsilon) psi) / (1 - psi). 0 without a charge where no site is left to colonise.
template <class Real>
Derived_rate<Real> gamma_of(const Real& psi, const Real& next, const Real& epsilon) {
  const Real empty = 1.0 - psi;
  if (vanishes(empty)) return {Real(0.0)};
  return clamped_rate<Real>((next - (1.0 - epsilon) * psi) / empty);
}

/// Extinction between two seasons with occupancy `psi` and `next` when empty sites are colonised with
/// `gamma`: 1 - (next - (1 - psi) gamma) / psi. 0 without a charge where no site is left to die out.
template <class Real>
Derived_rate<Real> epsilon_of(const Real& psi, const Real& next, const Real& gamma) {
  if (vanishes(psi)) return {Real(0.0)};
  return clamped_rate<Real>(1.0 - (next - (1.0 - psi) * gamma) / psi);
}

}  // namespace tarn
