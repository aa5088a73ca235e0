#pragma once
// The one entry for fitting: selects the minimiser, words its return codes, reports count and time.

#include <span>

#include "job/job.h"

namespace tarn {

/// Minimisers by number, as the keywords of PROC ESTIMATE select them.
enum class Minimiser : int { va09ad = 1, simanneal, optmizs, newoptmiz, find_minimum, sa, diff_evol };

/// Minimises the objective of the job's model over the estimated betas.
/// @param maxfn  limit on evaluations of the objective
/// @param nsig  significant digits wanted: every step element below 10^-nsig ends the search
/// @param x  n long: starting values in, solution out
/// @param f  objective at x
/// @param h  n(n+1)/2: factors L D L' of the final Hessian approximation by columns (mc11ad.h)
/// @param g  n long: gradient at x
/// @param report  false for a fit that only seeks a start: count and time are not written
/// A fit that ends early warns and goes on; a minimiser that this program does not have is fatal.
void optmiz(Job& job, Minimiser method, int maxfn, int nsig, std::span<double> x, double& f,
            std::span<double> h, std::span<double> g, bool report = true);

}  // namespace tarn
