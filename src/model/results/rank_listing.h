#pragma once
// The number of estimated parameters on the listing, from the gradient to the order of the betas.

#include <span>

#include "inference/rank.h"
#include "inference/varmat.h"
#include "job/job.h"

namespace tarn {

/// The gradient and its largest element.
void write_gradient(Job& job, const Gradient& gradient);

/// Warns of a gradient that is not near 0. One that is far from it is fatal, after the last betas and reals
/// are written.
/// @param x  the estimated betas
void judge_gradient(Job& job, const Gradient& gradient, std::span<const double> x);

/// Singular values and count of parameters of the Jacobian of the cell probabilities.
void write_jacobian(Job& job, const Jacobian_count& count);

/// Warns of singular values that could not be computed; writes them when the listing is to have details.
void write_singular_values(Job& job, const Rank& rank);

/// Gaps, threshold and counts, with a warning when they differ. Nothing under NUMPAR.
void write_counts_of_parameters(Job& job, const Rank& rank);

/// Order of the betas by estimability and those that are singular. Nothing when all are estimated.
void write_order_of_betas(Job& job, const Rank& rank);

}  // namespace tarn
