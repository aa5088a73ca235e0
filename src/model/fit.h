#pragma once
// One search for the betas of the job's model: its course on listing and screen, the words for its end.

#include <span>

#include "job/job.h"
#include "model/searches.h"
#include "optimizers/optmiz.h"

namespace tarn {

/// Minimises -2 log likelihood and penalty over the estimated betas by the method, limit and digits that the
/// model's options ask for.
/// Further starts as `search` (searches.h) has them, except for a fit that only seeks a start.
/// @param report  false for a fit that only seeks a start: its first values, count and time are not written
/// A fit that ends early warns and goes on; a minimiser that this program does not have is fatal.
Searches_end fit(Job& job, const Search_vectors& vectors, bool report = true);

}  // namespace tarn
