#pragma once
// Estimates with their standard errors and limits, and the tables that show them.

#include <string>
#include <string_view>
#include <vector>

#include "derived/intervals.h"
#include "job/job.h"

namespace tarn {

/// Words of a failed allocation of a matrix of betas.
inline constexpr std::string_view vcmat_words = "from memory allocation of VCMAT.";

/// A column of estimates on the scale of the design as typed. All members from 1.
struct Estimates {
  Array1<double> estimate, se, lci, uci;
};

/// Estimates of one model. `vcmat` counts the estimated betas and is that of the scaled columns, on which the
/// reals are computed; the beta table and the file show it rescaled.
struct Model_estimates {
  Estimates beta;         ///< ncovs_nlbetas; 0 for the SE and limits of a beta that is not estimated
  Estimates real;         ///< nlogit
  Array2<double> vcmat;   ///< estimated betas, scaled columns
  Array2<double> vcrmat;  ///< nlogit x nlogit
};

/// The estimated betas of `model.beta`, in the optimizer's order.
std::vector<double> estimated_vector(const Model_arrays& model);

/// Limits of a real parameter x with standard error s, by the rule of its link.
/// @param log_scale  the row has the LOG link or belongs to a parameter that is not confined to 0..1
Limits real_limits(double x, double s, bool log_scale, double deltax);

/// Inverse of the information matrix (n x n, by columns) from its singular values, those beyond the first `k`
/// left out.
Array2<double> invert_information(Job& job, const std::vector<double>& information, int n, int k);

/// Fills `estimates.beta` from `job.model.beta` and `vcmat`.
void beta_estimates(Job& job, Model_estimates& estimates);

/// Fills `estimates.real` and `vcrmat` at the covariate values of the report, by the delta method.
void real_estimates(Job& job, Model_estimates& estimates);

/// The two tables. Each opens with its section title.
void beta_table(Job& job, const Estimates& beta);
void real_table(Job& job, const Estimates& real);

}  // namespace tarn
