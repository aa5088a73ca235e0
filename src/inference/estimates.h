#pragma once
// Betas and real parameters with their standard errors, limits and variance-covariance matrices.

#include <cmath>
#include <span>
#include <string_view>
#include <vector>

#include "inference/intervals.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// Words of a failed allocation of a matrix of betas.
inline constexpr std::string_view vcmat_words = "from memory allocation of VCMAT.";

/// A column of estimates on the scale of the design as typed. All members from 1.
struct Estimates {
  Array1<double> estimate, se, lci, uci;
};

/// Estimates of one model. `vcmat` counts the estimated betas and is that of the scaled columns, on which the
/// reals are computed; `typed_vcmat` gives it on the scale that tables and files show.
struct Model_estimates {
  Estimates beta;         ///< ncovs_nlbetas; 0 for the SE and limits of a beta that is not estimated
  Estimates real;         ///< nlogit
  Array2<double> vcmat;   ///< estimated betas, scaled columns
  Array2<double> slopes;  ///< derivatives of the reals by the estimated betas, nlogit x betas
  Array2<double> vcrmat;  ///< nlogit x nlogit
};

/// Whether something with this derivative by a beta hangs on it, so that it has no standard error where the
/// beta has none. What stands at the end of its range does not.
inline bool hangs_on(double derivative) { return std::isgreater(std::fabs(derivative), 1e-10); }

/// The estimated betas of `model.beta`, in the optimizer's order.
std::vector<double> estimated_vector(const Model_arrays& model);

/// The beta at each position of the optimizer's vector, from 1.
List<int> betas_by_position(const Model_arrays& model);

/// The design at the estimated betas `x`, as plain numbers at the covariate values of the report, into
/// nlogit x ncovs `values`. Gives nullptr, or the text of a fault that must stop a fit.
const char* report_design(const Job& job, std::span<const double> x, Array2<double>& values);

/// Limits of a real parameter x with standard error s, by the rule of its link. No numbers where s is none.
/// @param log_scale  the row has the LOG link or belongs to a parameter that is not confined to 0..1
Limits real_limits(double x, double s, bool log_scale, double deltax);

/// The singular values of an n x n information matrix with their vectors.
struct Singular_system {
  List<double> s;    ///< descending
  Array2<double> v;  ///< right vectors, a column each
  /// Positions whose row of the matrix is 0, to the spacing of doubles at the likelihood.
  List<int> without_information;
  int info = 0;  ///< code of the computation, 0: done
};

/// Computes it; a code is told by a warning.
/// @param loglik  -2 log likelihood
Singular_system singular_system(Job& job, const Array2<double>& information, double loglik);

/// Inverse of the information matrix from its singular values, those beyond the first `k` left out. Rows and
/// columns of betas of which there is no information are NaN. Absent without betas, and when there is no
/// memory, of which it warns; NaN throughout when the values cannot be computed.
Array2<double> invert_information(Job& job, const Singular_system& system, int k);

/// Multiplies the variances and covariances of betas by the c-hat of CHAT=, if one was given.
/// @param held  the c-hat that they hold already
void inflate(const Model_arrays& model, Array2<double>& vcmat, double held = 1.0);

/// The number of parameters that a variance-covariance matrix of betas was made of: as many of its singular
/// values stand above its rounding. A beta whose variance is no number was not counted; where all are none
/// the matrix could not be made, and every beta was. Of a matrix with an infinite entry its order.
int parameters_of(const Array2<double>& vcmat);

/// `vcmat` on the scale of the design as typed. No memory is fatal.
Array2<double> typed_vcmat(Job& job, const Array2<double>& vcmat);

/// Fills `estimates.beta` from `job.model.beta` and `vcmat`.
void beta_estimates(Job& job, Model_estimates& estimates);

/// Fills `estimates.real` and `vcrmat` at the covariate values of the report, by the delta method.
void real_estimates(Job& job, Model_estimates& estimates);

}  // namespace tarn
