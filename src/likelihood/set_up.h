#pragma once
// What is done again for a model that has been set up.

#include "job/job.h"

namespace tarn {

/// Makes the work areas of the threads anew, as is needed when the design, the links, the betas that are
/// estimated or their scales have changed since `set_up_likelihood`. What follows from histories, counts and
/// matrices alone (the facts of histories, the checks, the classes of cells) is kept.
void renew_likelihood(Job& job);

}  // namespace tarn
