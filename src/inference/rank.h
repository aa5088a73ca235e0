#pragma once
// The number of estimated parameters, decided from the fitted model: gradient check, singular values, order
// of the betas by estimability.

#include <span>
#include <vector>

#include "job/job.h"

namespace tarn {

/// What the singular values tell of the information matrix.
struct Rank {
  int npargmaxest = 0;    ///< K, the number of estimated parameters
  int gap_count = 0;      ///< the count of the gap method
  std::vector<double> s;  ///< singular values, descending
  std::vector<int>
      jpvt;  ///< positions in the estimated vector from most to least estimable; empty when K = n
};

/// Largest ratio of neighbouring singular values, the next largest, and the count that follows.
struct Gap {
  int count = 0;
  int max_at = 0, next_at = 0;  ///< i of s(i)/s(i+1), from 1; 0 when there is none
  double max = 0.0, next = 0.0;
};

/// The gap method: the largest ratio marks the last estimated parameter, unless `ratiothresh` exceeds it.
Gap gap_method(std::span<const double> s, double ratiothresh);

/// Writes the gradient and its largest element and judges it: above 1 warns, above 50 is fatal after the last
/// betas and reals are written.
/// @return the largest absolute element
double check_gradient(Job& job, std::span<const double> g, std::span<const double> x);

/// Singular values, gap and threshold method, order of the betas when some cannot be estimated; all reported.
/// @param information  n x n by columns
/// @param largest_gradient  from check_gradient
Rank estimated_parameters(Job& job, std::span<const double> information, int n, double largest_gradient);

/// The beta, other than the one at position `pivot`, that weighs most in the direction of the parameters
/// which the data tell least of; 0 if there is none.
int confounded_beta(const Model_arrays& model, std::span<const double> information, int n, int pivot);

/// LOOP: takes the beta at position `pivot` of the estimated vector out of the model and closes the gap in
/// `bindex`. Gives the number of the beta; a position that no beta has is fatal.
int remove_singular_beta(Job& job, int pivot);

}  // namespace tarn
