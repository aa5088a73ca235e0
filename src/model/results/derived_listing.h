#pragma once
// Derived parameters on the listing and in the variance-covariance file.

#include <span>

#include "derived/sections.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// Title, heading and one line per value.
void report_section(Job& job, const Derived_values& values);

/// Five records of the variance-covariance file: "DERIVED", the section's letter and the count, then
/// estimates, standard errors, lower and upper limits of values `first` to `first` + count - 1.
void print_derived(Job& job, int count, const Derived_values& values, int first = 1);

/// All sections of the data type, each computed, listed and written to the variance-covariance file before
/// the next one is begun. Starts a page when few lines are left.
/// Behind them stand the values that rest on what the data leave open.
List<Derived_values> report_derived(Job& job, std::span<const double> x, const Array2<double>& vcmat,
                                    const Estimability& open);

}  // namespace tarn
