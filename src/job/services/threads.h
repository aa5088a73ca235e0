#pragma once
// How many threads a job uses.

#include "job/job.h"

namespace tarn {

/// Threads for a THREADS= value n when `most` are there: all for 0 and for more than there are; a negative n
/// leaves that many free, but one is always used.
int thread_rule(int n, int most);

/// `num_threads` and `num_max_threads` from the threading layer.
void default_threads(Job& job);

/// Applies the rule to THREADS= of a statement: sets `num_threads` and tells the threading layer.
void set_threads(Job& job, int n);

/// Tells the threading layer `num_threads` when it is below the maximum.
void tell_threads(Job& job);

/// Passes the dynamic flag to the threading layer; gives what the layer then says.
bool tell_dynamic_threads(bool dynamic);

}  // namespace tarn
