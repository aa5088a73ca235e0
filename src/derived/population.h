#pragma once
// Population sizes and densities.

#include "derived/derivedest.h"

namespace tarn {

/// Population size by group of the full closed models: animals caught plus `f0`. The animals caught are its
/// minimum. Under mis-identification the size is multiplied by the share of the animals that were read
/// rightly at their first capture, mean `alpha` there (Lukacs and Burnham 2005), and its minimum are the
/// animals caught twice or more.
void population_full(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Sum over records of f / p*, f the animals of a record and p* their chance to be caught at least once under
/// the record's own covariates and sampled occasions; with the flag 1 also the sampling term
/// sum f (1 - p*) / p*^2 (Huggins 1989, Alho 1990). The animals caught, sum f, are its minimum. Under
/// mis-identification f alpha stands for f, alpha that of the record's first capture, and the minimum are the
/// animals caught twice or more.
void huggins_pstar(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Animals per area by group: sum over records of f `ptilde` / p*, divided by `areas` (Ivan et al. 2013).
/// Fatal for a data type without locations.
void density(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// What sampling adds to the variance of a density: f `ptilde`^2 (1 - p*) / p*^2 / area^2 of one class of
/// records.
double density_var_add(double animals, double ptilde, double pstar, double area);

}  // namespace tarn
