#pragma once
// The number of estimated parameters, decided from the fitted model: gradient, singular values of the
// information matrix, order of the betas by estimability. Computes only; what comes out is a record.

#include <optional>
#include <span>
#include <vector>

#include "inference/estimates.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// The gradient at the solution.
struct Gradient {
  List<double> g;        ///< by position in the estimated vector
  double largest = 0.0;  ///< largest absolute element; infinity when some element is not finite
};

/// What the largest element of a gradient tells of the fit.
enum class Convergence {
  good,
  suspect,  ///< above 1
  none      ///< above 50
};

Gradient gradient_at_solution(std::span<const double> g);
Convergence convergence(const Gradient& gradient);

/// Largest ratio of neighbouring singular values, the next largest, and the count that follows.
struct Gap {
  int count = 0;
  int max_at = 0, next_at = 0;  ///< i of s(i)/s(i+1), from 1; 0 when there is none
  double max = 0.0, next = 0.0;
};

/// The gap method: the largest ratio marks the last estimated parameter, unless `ratiothresh` exceeds it.
Gap gap_method(std::span<const double> s, double ratiothresh);

/// The threshold method: singular values above twice the gradient that counts.
struct Threshold {
  double value = 0.0;
  int count = 0;
};

/// What the singular values tell of the information matrix of n estimated betas.
struct Rank {
  int npargmaxest = 0;                 ///< K, the number of estimated parameters
  int gap_count = 0;                   ///< the count of the gap method
  List<double> s;                      ///< n singular values, descending
  int info = 0;                        ///< code of their computation, 0: done
  std::optional<Gap> gap;              ///< absent under NUMPAR and where there are no singular values
  std::optional<Threshold> threshold;  ///< absent also where the gradient is as good as 0
  /// The gaps alone decide, and leave out a singular value that is no rounding.
  bool doubtful_gap = false;
  List<int> jpvt;   ///< positions in the estimated vector from most to least estimable; empty when K = n
  List<int> order;  ///< their betas; those behind the first K are the singular ones
};

/// The singular values of an n x n information matrix; K and the count of gaps are n. A matrix that is not
/// finite gives a code.
Rank singular_values(const Array2<double>& information);

/// K: NUMPAR, else by gap and threshold method. A gradient that is as good as 0 leaves it to the gaps.
/// @param largest_gradient  largest absolute element
/// @param loglik            -2 log likelihood, whose spacing over the default step of differences is the
/// least
///                          that counts as a gradient: to that the solution is known
void count_parameters(Rank& rank, int numpar, double ratiothresh, double largest_gradient, double loglik);

/// When K < n and there is no NUMPAR: the order of the betas, by QR with pivoting of the information matrix.
void order_betas(Rank& rank, const Model_arrays& model, const Array2<double>& information);

/// The beta, other than the one at position `pivot`, that weighs most in the direction of the parameters
/// which the data tell least of; 0 if there is none.
int confounded_beta(const Model_arrays& model, const Singular_system& system, int pivot);

/// LOOP: takes the beta at position `pivot` of the estimated vector out of the model and closes the gap in
/// `bindex`. Gives the number of the beta; a position that no beta has is fatal.
int remove_singular_beta(Job& job, int pivot);

}  // namespace tarn
