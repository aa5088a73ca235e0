#pragma once
// The data procedure.

#include "job/job.h"

namespace tarn {

/// PROC CHMATRIX: drops the data before, fixes the array sizes by a first pass over the statement in hand,
/// allocates and reads. Returns with the next PROC statement in hand. Data with faults stop the job with
/// "TARN Error found in data".
void data_procedure(Job& job);

/// Reads the options of the statement in hand and all statements of the procedure into the arrays that the
/// first pass has allocated, and reports. False when a record held a foreign character.
bool xmatrx(Job& job);

}  // namespace tarn
