#pragma once
// From the character of an occasion to what a living animal shows of it.

#include <array>
#include <cstddef>

#include "numerics/special.h"

namespace tarn {

/// A live recapture's chance as numbers: `base` + `slope` times the capture probability. Tables and not
/// branches, because characters come in no order that could be guessed.
struct Emission_code {
  double base = 0.0, slope = 0.0;
};

/// Characters with a meaning, by code: not caught, caught, not sampled.
inline constexpr std::array<char, 3> live_characters{'0', '1', '.'};
/// By code; code 3 is any other character, which cannot come from the living.
inline constexpr std::array<Emission_code, 4> live_emissions{{{1.0, -1.0}, {0.0, 1.0}, {1.0, 0.0}, {}}};

namespace detail {
inline constexpr std::array<unsigned char, 256> live_codes = [] {
  std::array<unsigned char, 256> codes{};
  codes.fill(3);
  for (std::size_t k = 0; k < live_characters.size(); ++k)
    codes[static_cast<unsigned char>(live_characters[k])] = static_cast<unsigned char>(k);
  return codes;
}();
}  // namespace detail

/// Code 0 to 3 of a character.
constexpr std::size_t live_code(char character) {
  return detail::live_codes[static_cast<unsigned char>(character)];
}

/// Chance of the character, given life and the capture probability p.
template <class Real>
Real emission(char character, const Real& p) {
  const Emission_code& code = live_emissions[live_code(character)];
  return code.slope * p + code.base;
}

}  // namespace tarn
