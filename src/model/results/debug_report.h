#pragma once
// The extra listings of DEBUG.

#include <span>

#include "job/job.h"

namespace tarn {

/// Starting betas, design matrix and the probability of every record at the start.
void debug_before_fit(Job& job, std::span<const double> start);

/// Values of parameters and betas and the probability of every record at the solution.
void debug_after_fit(Job& job, std::span<const double> solution);

/// Which betas a refit still estimates.
void debug_beta_index(Job& job);

}  // namespace tarn
