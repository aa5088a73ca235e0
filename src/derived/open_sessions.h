#pragma once
// Populations of sessions that animals enter and leave.

#include "derived/derivedest.h"

namespace tarn {

// Values by group, stratum and session, groups outermost.

/// Sum over the animals caught in the stratum and session of 1 / p*, p* their chance to be caught there at
/// least once under the record's own covariates and sampled occasions; with the flag 1 also the sampling
/// term, the sum of (1 - p*) / p*^2. Where a capture need not show the state: over the animals recorded with
/// certainty in it, p* their chance of such a record (Kendall and Bjorkland 2001; Kendall et al. 2012).
void openrd_n(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Occasions of the session on which an animal that enters it is present, on average (Schwarz and Stobo
/// 1997).
void openrd_rt1(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// The same of an animal of the stratum, whether it takes part in the session or not: `alpha` times it.
void openrdseas_rt1a(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

}  // namespace tarn
