#pragma once
// The objective at many vectors that differ from one in a single beta each, as a gradient by differences
// wants it, in one pass over the histories.

#include <span>
#include <vector>

#include "job/job.h"

namespace tarn {

/// The vector in hand with one of its elements at another value.
struct Moved_beta {
  int position = 0;  ///< in the optimizer's vector, from 1
  double value = 0.0;
};

/// True when `moved_objectives` can take the place of one evaluation a vector: real parameters that depend on
/// the record, and no design function with a beta in it.
bool can_move_betas(const Job& job);

/// `func` at x with each of `moves` in turn; the same numbers. A history whose cell reads no real parameter
/// that a beta moves is not computed again for it, and of a record's reals only those that move are.
/// `loglik`, `sumpen` and `parm` are left alone.
std::vector<double> moved_objectives(Job& job, std::span<const double> x, std::span<const Moved_beta> moves);

}  // namespace tarn
