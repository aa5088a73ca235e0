#pragma once
// PROC ESTIMATE: one model, from its statement to its results.

#include "job/job.h"

namespace tarn {

/// Reads the model of the statement in hand and those that follow, fits it to the data, reports, writes the
/// files, and returns with the next PROC statement in hand. Nothing of the model survives but listing, files
/// and `deltax`.
void estmat(Job& job);

}  // namespace tarn
