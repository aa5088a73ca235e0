#pragma once
// The minimisers by name.

#include <array>
#include <cstddef>
#include <string_view>

namespace tarn {

/// Minimisers by number, as the keywords of PROC ESTIMATE select them.
enum class Minimiser : int { va09ad = 1, simanneal, optmizs, newoptmiz, find_minimum, sa, diff_evol };

/// Keywords by number 1 to 7.
inline constexpr std::array<std::string_view, 7> minimiser_names{
    "VA09AD", "SIMANNEAL", "OPTMIZ", "NEWOPTMIZ", "SIMANNEAL2", "SIMANNEAL3", "DIFF_EVOL"};

constexpr std::string_view name_of(Minimiser method) {
  return minimiser_names[static_cast<std::size_t>(method) - 1];
}

}  // namespace tarn
