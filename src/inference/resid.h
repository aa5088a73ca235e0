#pragma once
// Observed and expected counts of every history: the residual file and the Pearson sums.

#include <span>

#include "inference/saturd.h"
#include "job/job.h"

namespace tarn {

struct Pearson_sums {
  double pearson = 0.0;      ///< sum of (observed - expected)^2 / expected over all possible cells
  double sum_obs_exp = 0.0;  ///< sum of observed / expected over the cells
};

/// Writes the residual file `filres`: for each record its history, then for each group a tab, the observed
/// count, a tab, the expected count; a record with losses on capture gives a second line of the losses.
/// Behind the last record of a cohort a line with a blank history holds the histories that were not met.
/// Expected counts are the cell probability times the cohort's total; of a closed population the probability
/// given that the animal was caught. Where there are no Pearson figures they are the cell probability times
/// the group's total, and there are no lines of histories not met.
/// @param beta  the solution
/// Reads `cellpr` and `cellprlost`. The stream is open.
Pearson_sums resid(Job& job, std::span<const double> beta);

}  // namespace tarn
