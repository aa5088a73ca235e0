#pragma once
// Occupancy of sites in one of several states, or by several species.

#include "derived/derivedest.h"

namespace tarn {

/// Empty, and occupied in one of two states.
inline constexpr int states_of_a_site = 3;

/// Chance that a site is occupied and in state 2, by group (Nichols et al. 2007).
void psi1psi2(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Chances of the states - empty, 1, 2 - of a site behind an interval, given that ahead of it (MacKenzie et
/// al. 2009): by group, interval, state ahead, state behind.
void phi_t(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);
/// Shares of the sites in each state, by group, session, state.
void phi_t_psi(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Chance that all species of a set are at a site, by group and set: those of `fdesign`, in the order of its
/// columns (Rota et al. 2016).
void multiocc_psi(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// The species of each of those sets as digits, 123 for the first three.
List<int> species_of_sets(const Job& job);

}  // namespace tarn
