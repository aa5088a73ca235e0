#pragma once
// The residual file: observed and expected counts of every history.

#include <span>

#include "inference/resid.h"
#include "job/job.h"

namespace tarn {

/// Writes the residual file `filres` (nothing when it is the null file) at the solution `beta`: for
/// each line of `resid` its history, then for each group a tab, the observed count, a tab, the expected
/// count; a tab at the end. Gives the sums over the cells, which are made on the way. A file that cannot be
/// opened is fatal, one that is incomplete warns.
Pearson_sums write_residual_file(Job& job, std::span<const double> beta);

}  // namespace tarn
