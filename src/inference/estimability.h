#pragma once
// What the data leave open about real parameters: directions in which they may move together without a change
// of the likelihood, and ends of ranges at which they stand.

#include "inference/estimates.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// The end of its range at which a real parameter stands.
enum class Range_end {
  lower,  ///< 0
  upper,  ///< 1, of a probability, or of what its link confines to 0 to 1
  wall    ///< of a standard deviation, beyond which the likelihood is not computed
};

struct Real_at_boundary {
  int real = 0;
  Range_end end = Range_end::lower;
};

/// A real parameter, or a beta, in a direction that the data do not identify.
struct Confounded {
  int number = 0;
  double share = 0.0;  ///< of the direction: squares of the moves, of 1
  int partner = 0;     ///< the other one that has the largest share, 0: none
};

/// A direction that the data do not identify.
struct Unidentified_direction {
  List<Confounded> members;  ///< ascending; those with a share worth telling
  bool of_betas = false;     ///< it moves no real parameter at the values of the report; members are betas
};

/// What is to be told of a fit. All from 1; empty where there is nothing.
struct Estimability {
  List<Unidentified_direction> directions;
  List<Real_at_boundary> at_boundary;
  List<int> without_information;  ///< betas
  Array2<double> moves;           ///< estimated betas x directions, columns of length 1
  /// Largest singular value left out, where directions are told of it that may be identified: it is no
  /// rounding, so a large gradient or NUMPAR left it out. 0 otherwise.
  double bend_left_out = 0.0;

  bool silent() const { return directions.empty() && at_boundary.empty() && without_information.empty(); }
};

/// Judges the fit of the job's model. A direction is not identified when it is one of the singular vectors of
/// the information matrix behind the first k; of these the combinations are told that move fewest real
/// parameters. Moves are those of the real parameter, relative ones of a size or deviation. A probability
/// stands at an end of its range when it is next to it and its own information is less than a hundredth of
/// an animal that says otherwise.
/// @param k  number of estimated parameters
Estimability judge_estimability(const Job& job, const Singular_system& system, int k,
                                const Model_estimates& estimates);

/// A step from a boundary into the range, for the question whether something depends on the real parameter.
double step_inside(const Real_at_boundary& boundary);

}  // namespace tarn
