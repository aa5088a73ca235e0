#pragma once
// From the character of an occasion to what an animal in each state shows of it.

#include <array>
#include <cstddef>

#include "numerics/special.h"

namespace tarn {

/// Probability of the character given alive, and given dead (which no parameter enters).
template <class Real>
struct Emission {
  Real alive;
  double dead;
};

/// A character's emission as numbers: alive with `base` + `slope` times the capture probability.
struct Emission_code {
  double base = 0.0, slope = 0.0, dead = 1.0;
};

/// By character: "1" caught, "0" not caught, "." not sampled. A table, because characters come in no order
/// that a branch could be guessed from.
inline constexpr std::array<Emission_code, 256> live_emissions = [] {
  std::array<Emission_code, 256> codes{};
  codes[static_cast<std::size_t>('1')] = {0.0, 1.0, 0.0};
  codes[static_cast<std::size_t>('0')] = {1.0, -1.0, 1.0};
  codes[static_cast<std::size_t>('.')] = {1.0, 0.0, 1.0};
  return codes;
}();

/// Live recapture with capture probability p. A character that is none of the three cannot come from the
/// living.
template <class Real>
Emission<Real> emission(char character, const Real& p) {
  const Emission_code& code = live_emissions[static_cast<unsigned char>(character)];
  return {code.slope * p + code.base, code.dead};
}

}  // namespace tarn
