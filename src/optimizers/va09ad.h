#pragma once

#include <span>

#include "optimizers/objective.h"

namespace tarn {

struct Va09ad_result {
  int iexit =
      0;  ///< 1 converged, 2 no downhill direction, 3 `maxfn` evaluations made, 0 mode 2 matrix not positive
  int itn = 0;     ///< iterations
  int ifn = 0;     ///< evaluations of the objective
  double f = 0.0;  ///< value at x
};

/// Variable-metric minimiser: factorised Hessian approximation, cubic line search, gradient from the caller.
/// @param x  n long (n may be 0): the start, on return the best point
/// @param g  n long: the gradient at x; after `iexit` 3 that at the last accepted point
/// @param h  n(n+1)/2 long: packed factors L D L' of the Hessian approximation, see mc11ad.h
/// @param w  3n long, work
/// @param dfn  expected first reduction; 0: the first value itself, negative: |dfn f|; not above 0 in the
/// end: 1
/// @param eps  n long: absolute accuracy wanted in each x; every step element below it is convergence
/// @param mode  1 start with h = identity, 2 h holds a matrix (packed lower triangle), 3 h holds factors
/// @param maxfn  the search ends when exactly this many evaluations were made
/// @param iprint  0: no detail told to the course; else at every `iprint`-th iteration, at entry and at the
/// end
///
/// A value that is not finite counts as +infinity, and a trial point with such a value or without a finite
/// slope is rejected and the step cut to a tenth: it offers nothing to interpolate. Fletcher (1972); Fletcher
/// and Powell (1974) for the factors.
Va09ad_result va09ad(const Gradient_objective& funct, std::span<double> x, std::span<double> g,
                     std::span<double> h, std::span<double> w, double dfn, std::span<const double> eps,
                     int mode, int maxfn, int iprint, const Minimiser_course& course);

}  // namespace tarn
