#pragma once
// The tables of betas and real parameters on the listing.

#include "inference/estimates.h"
#include "job/job.h"

namespace tarn {

/// The two tables. Each opens with its section title.
void beta_table(Job& job, const Estimates& beta);
void real_table(Job& job, const Estimates& real);

}  // namespace tarn
