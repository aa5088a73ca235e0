#pragma once
// Births and population sizes of the superpopulation model (Crosbie and Manly 1985, Schwarz and Arnason
// 1996).
//
//   N*     animals that were ever there: `N` where it is fixed, else those caught plus `N`, the animals never
//          caught
//   pent   shares of N* by the occasion ahead of which they enter; the one that has no parameter, the first
//          or with PENTLAST the last, is what the others leave
//   B(i)   net births N* pent(i): those that live to occasion i; B(1) are the animals there at the start
//   N(i)   B(1) at the first occasion, then (N(i-1) - losses on capture at i-1) phi(i-1) + B(i)

#include "derived/derivedest.h"

namespace tarn {

/// Gross births by group and occasion, those that died ahead of it included: B(i) log(phi) / (phi - 1), phi
/// the survival over the interval ahead of occasion i; B(1) at the first.
void popan_gb(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Net births by group and occasion.
void popan_nb(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// All that ever entered, by group: the sum of the gross births.
void popan_gn(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Population size by group and occasion, ahead of the losses there.
void popan_n(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Gross births per net birth, when births come evenly over an interval of survival phi: log(phi)/(phi - 1),
/// 1 at phi = 1.
double gross_per_net(double phi);

}  // namespace tarn
