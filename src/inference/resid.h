#pragma once
// Observed and expected counts of every history, and the Pearson sums over them.

#include <functional>
#include <span>
#include <string_view>

#include "inference/saturd.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

struct Pearson_sums {
  double pearson = 0.0;      ///< sum of (observed - expected)^2 / expected over all possible cells
  double sum_obs_exp = 0.0;  ///< sum of observed / expected over the cells
};

struct Cell_counts {
  double observed, expected;
};

/// Takes the counts of one history by group, from 1. Both are gone when it returns. An empty one is not
/// called.
using Residual_line = std::function<void(std::string_view history, const List<Cell_counts>& groups)>;

/// Hands out the observed and expected counts of each record, of the released animals and then, where there
/// are any, of those lost on capture. Behind the last record of a cohort a line with a blank history holds
/// the histories that were not met. Expected counts are the cell probability times the cohort's total; where
/// the likelihood counts the animals never caught in a closed session, the probability given a capture in
/// each session that has one. Where there are no Pearson figures they are that probability times the group's
/// total, and there are no lines of histories not met.
/// @param beta  the solution
/// Reads `cellpr` and `cellprlost`.
Pearson_sums resid(Job& job, std::span<const double> beta, const Residual_line& line);

}  // namespace tarn
