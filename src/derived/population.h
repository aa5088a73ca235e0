#pragma once
// Population sizes and densities.

#include "derived/derivedest.h"

namespace tarn {

// Values by group and session, groups outermost. Types without sessions have one, the study.

/// Population size of the full closed models: animals caught in the session plus its `f0`. The animals caught
/// are its minimum. Under mis-identification the size is multiplied by the share of the animals that were
/// read rightly at their first capture in the session, mean `alpha` there (Lukacs and Burnham 2005), and its
/// minimum are the animals caught twice or more in the session.
void population_full(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Sum over the animals caught in the session of 1 / p*, p* their chance to be caught there at least once
/// under the record's own covariates and sampled occasions; with the flag 1 also the sampling term, the sum
/// of (1 - p*) / p*^2 (Huggins 1989, Alho 1990). The animals caught are its minimum. Under mis-identification
/// an animal counts alpha, that of its first capture in the session, and the minimum are the animals caught
/// twice or more there.
void huggins_pstar(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Animals per area by group: sum over records of f `ptilde` / p*, divided by `areas` (Ivan et al. 2013).
/// Fatal for a data type without locations.
void density(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// What sampling adds to the variance of a density: f `ptilde`^2 (1 - p*) / p*^2 / area^2 of one class of
/// records.
double density_var_add(double animals, double ptilde, double pstar, double area);

}  // namespace tarn
