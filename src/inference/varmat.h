#pragma once
// The information matrix of the estimated betas: second derivatives of minus the log likelihood.

#include <cstddef>
#include <functional>
#include <optional>
#include <span>

#include "inference/rank.h"
#include "job/job.h"
#include "job/services/timing.h"

namespace tarn {

/// Told of the part of the work that is done, in percent.
using Percent_done = std::function<void(int percent)>;

/// Fills `h` at the solution `beta` by the procedure in force, on the scale of the log likelihood:
///   Hessian   half of the matrix whose factors L D L' the optimizer has left in `h`
///   Observed  sum of count dp dp' / p^2 over cells with a count, dp by central differences
///   Expected  sum of released dp dp' / p over the cells of each release cohort and its unobserved cell
///   2ndPart   exact second derivatives of the objective, range penalty included; the only one that tells how
///             far it is
/// Also fills `cellpr` and `cellprlost`, and leaves the reals of the solution in `parm`. Warns of a procedure
/// that does not fit the likelihood.
/// @param h  n(n+1)/2 long: the lower triangle by columns, h11, h21, ..., hn1, h22, ...; numbers that are not
/// finite
///           may come out and are left to the caller
/// Lebreton, Burnham, Clobert and Anderson (1992).
void varmat(Job& job, std::span<const double> beta, std::span<double> h, const Percent_done& told = {});

/// The count of parameters from the singular values of J'J, J the derivatives of all cell probabilities by
/// the betas.
struct Jacobian_count {
  List<double> s;  ///< singular values, descending
  int info = 0;    ///< code of their computation, 0: done
  Gap gap;
  Seconds seconds;  ///< spent on it
};

/// The count at `beta`; absent without betas, and when there is no memory, of which it warns.
std::optional<Jacobian_count> jacobian(Job& job, std::span<const double> beta);

/// The packed symmetric matrix as n x n numbers.
Array2<double> expand(std::span<const double> h, int n);

/// Place in the packed lower triangle of side n of row i, column j, both from 1, i >= j.
constexpr std::size_t packed_place(int i, int j, int n) {
  return static_cast<std::size_t>((j - 1) * static_cast<long long>(n) -
                                  (j - 1) * static_cast<long long>(j) / 2 + (i - 1));
}

}  // namespace tarn
