#pragma once
// Sizes of a population whose animals enter in one of several states (Schwarz and Arnason 1996; Dupuis and
// Schwarz 2007).
//
//   N*       animals that were ever there: the sum over those caught of 1 / p*, p* the chance to be caught on
//            the occasions on which the animal was sampled
//   al(i, a) share of these in state a on occasion i: those of the occasion before that live and move there,
//            and the entrants pent(i) pi_a(i)

#include "derived/derivedest.h"

namespace tarn {

/// N* by group; with the flag 1 also the sampling term, the sum of (1 - p*) / p*^2.
void msjspstar(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// N* al(i, a) by group, state and occasion, animals lost on capture not taken out. The sampling term is that
/// of N*.
void msjsnstar(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Gross births by group, state and occasion: N* pent(i) pi_a(i), times log(s)/(s - 1) behind the first
/// occasion, s the survival of state a over the interval ahead of it, for those that died in it. The sampling
/// term is that of N*.
void msjsgress(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

}  // namespace tarn
