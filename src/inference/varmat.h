#pragma once
// The information matrix of the estimated betas: second derivatives of minus the log likelihood.

#include <cstddef>
#include <span>
#include <vector>

#include "job/job.h"

namespace tarn {

/// Fills `h` at the solution `beta` by the procedure `vartyp`, on the scale of the log likelihood:
///   1 Hessian   half of the matrix whose factors L D L' the optimizer has left in `h`
///   2 Observed  sum of count dp dp' / p^2 over cells with a count, dp by central differences
///   3 Expected  sum of released dp dp' / p over the cells of each release cohort and its unobserved cell
///   4 2ndPart   exact second derivatives of the objective, range penalty included
/// Also fills `cellpr` and `cellprlost`, and leaves the reals of the solution in `parm`. With `debug` the
/// count of parameters from the Jacobian of the cell probabilities is written first.
/// @param h  n(n+1)/2 long: the lower triangle by columns, h11, h21, ..., hn1, h22, ...; numbers that are not
/// finite
///           may come out and are left to the caller
/// Lebreton, Burnham, Clobert and Anderson (1992).
void varmat(Job& job, std::span<const double> beta, std::span<double> h);

/// The packed symmetric matrix as n x n numbers by columns.
std::vector<double> expand(std::span<const double> h, int n);

/// Place in the packed lower triangle of side n of row i, column j, both from 1, i >= j.
constexpr std::size_t packed_place(int i, int j, int n) {
  return static_cast<std::size_t>((j - 1) * static_cast<long long>(n) -
                                  (j - 1) * static_cast<long long>(j) / 2 + (i - 1));
}

}  // namespace tarn
