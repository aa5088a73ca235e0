#pragma once
// Growth of open populations.

#include "derived/derivedest.h"

namespace tarn {

// Values by group and interval between occasions, or primary sessions, groups outermost.

/// Growth per unit of time from the parameters of the type: `Phi` / `Gamma`, `Lambda`, or `Phi` + `f`
/// (Pradel 1996). Fatal for a data type that is none of these.
void lambda_pradel(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Growth over the interval: the population size behind it over that ahead of it, as the population section
/// has them. Infinite or no number where nothing was there ahead of it.
void lambda_n_derived(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Growth of any type that derives it, by one of the two.
void lambda_derived(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Logarithms of `lambda_derived`.
void log_lambda_derived(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Intervals that growth is told of.
int growth_intervals(const Job& job);

}  // namespace tarn
