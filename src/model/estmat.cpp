#include "model/estmat.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "job/services/timing.h"
#include "likelihood/func.h"
#include "likelihood/set_up.h"
#include "model/estimate_options.h"
#include "model/fit.h"
#include "model/results/debug_report.h"
#include "model/results/derived_listing.h"
#include "model/results/description.h"
#include "model/results/estimability_listing.h"
#include "model/results/figures.h"
#include "model/results/fitted_model.h"
#include "model/results/heading.h"
#include "model/results/rank_listing.h"
#include "model/results/residual_file.h"
#include "model/results/results_file.h"
#include "model/results/tables.h"
#include "model/results/vc_file.h"
#include "model/starting.h"
#include "model/structure/design.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"
#include "numerics/floating_environment.h"

namespace tarn {
namespace {

/// What one fit leaves for the refit that LOOP asks for.
struct Previous_fit {
  int removed = 0;        ///< beta that was taken out, 0 before the first fit
  int confounded = 0;     ///< beta most tied to it, 0 if none
  double loglik = 0.0;    ///< -2 log likelihood of that fit
  List<double> reals;     ///< real parameters of that fit
  Array1<double> betsav;  ///< betas of that fit
};

/// The Hessian's factors and the gradient of a search over n betas.
struct Fit_arrays {
  Fit_arrays(Job& job, int n) {
    if (!allocate(job, "from memory allocation of G, H and WORK.", shaped(g, n),
                  shaped(h, static_cast<std::int64_t>(n) * (n + 1) / 2)))
      error_of_absent_array(job, "H");
  }
  Array1<double> g, h;
};

/// The optimizer's vector at the start of a fit.
List<double> starting_vector(Job& job, int n) {
  Model_arrays& model = job.model;
  choose_start(job, [&job](std::vector<double>& start) {
    Fit_arrays arrays(job, static_cast<int>(start.size()));
    renew_likelihood(job);
    fit(job, {start, arrays.g.span(), arrays.h.span()}, false);
  });
  List<double> x(n);
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) x(model.bindex(i)) = model.betast(i);
  return x;
}

/// Real parameters that a refit no longer estimates freely, with their values before and after the beta left.
/// @param x  the refit's starting betas
void write_confounded(Job& job, const Previous_fit& previous, List<double> x) {
  const Model_arrays& model = job.model;
  const auto uses = [&model](int row, int beta) {
    return beta > 0 && beta <= model.ncovs && model.design(row, beta) != 0.0;
  };
  int confounded = 0;
  for (int r = model.nlogit; r >= 1; --r)
    if (uses(r, previous.confounded)) confounded = r;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) x(model.bindex(i)) = previous.betsav(i);
  recompute_reals(job, 1, x);
  linchk(job, 4);
  put(job, listing, "(/1x,a)", " Fixed     Confounded       Old            New ");
  put(job, listing, "(1x,a)", "Parameter  Parameter       Value          Value");
  put(job, listing, "(1x,a)", "---------  ----------  --------------  --------------");
  for (int r = 1; r <= model.nlogit; ++r) {
    if (!uses(r, previous.removed) || model.fixpar(r)) continue;
    linchk(job, 1);
    put(job, listing, "(1x,i5,6x,i5,7x,a,2x,a)", r, confounded, f14(job, previous.reals(r)),
        f14(job, model.parm(r)));
  }
}

/// Time of the step that was timed last.
Seconds step_time(const Timing_module& timing) {
  return {static_cast<double>(timing.timestop) - static_cast<double>(timing.timestrt),
          static_cast<double>(timing.systime) / static_cast<double>(timing.count_rate)};
}

/// Betas and reals with their errors at the matrix in the record, then their tables.
void report_estimates(Job& job, Fitted_model& record) {
  if (job.model.chat_given > 0.0) report_value(job, "Variances multiplied by c-hat ", job.model.chat_given);
  Model_estimates& estimates = record.estimates;
  beta_estimates(job, estimates);
  real_estimates(job, estimates);
  put_step_time(job, "To compute parameter estimates, CPU Time was ", true);
  record.estimation = step_time(job.timing);
  beta_table(job, estimates.beta);
  real_table(job, estimates.real);
  check_ieee_exceptions(job, "computing the variance-covariance matrix");
}

/// -2 log likelihood and penalty at the solution; leaves its betas and reals in the model.
void report_solution(Job& job, View<const double> x, Fit_record& record) {
  Model_arrays& model = job.model;
  Likelihood_point& point = likelihood_point(job);
  const Objective_value value = point.move_to(x.span());
  const Reals<double> reals = point.reals();
  for (int r = 1; r <= model.nlogit; ++r) model.parm(r) = reals[r];
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) model.beta(i) = x(model.bindex(i));
  record.loglik = value.loglik;
  record.penalty = value.sumpen + 0.0;  // a 0 without a sign
  const bool penalised = record.penalty > std::numeric_limits<double>::epsilon();
  if (penalised) warn(job, "One or more encounter histories have probabilities not in interval 0-1.");
  report_value(job, "-2logL ", record.loglik);
  if (penalised) report_value(job, "Penalty ", record.penalty);
  check_ieee_exceptions(job, "during optimization");
}

/// The information matrix at the solution; the matrix that the optimizer has left goes in as `h`.
void report_information(Job& job, std::span<const double> x, std::span<double> h, Fit_record& record) {
  start_timing(job);
  if (job.status.debug != 0) {
    record.jacobian = jacobian(job, x);
    if (record.jacobian) write_jacobian(job, *record.jacobian);
  }
  varmat(job, x, h, [&job](int percent) {
    outtext(job, " VC Matrix: " + job.model.modnam + " " + adjustfmt(percent) + "% done.");
  });
  put_step_time(job, "To compute VC matrix, CPU Time was ");
  record.variance = step_time(job.timing);
  record.information = expand(h, static_cast<int>(x.size()));
}

/// The number of estimated parameters, from the information matrix and the gradient.
void report_rank(Job& job, Fit_record& record) {
  const Model_arrays& model = job.model;
  Rank& rank = record.rank;
  if (record.information.extent(1) > 0) {
    start_timing(job);
    rank = singular_values(record.information);
    write_singular_values(job, rank);
    put_step_time(job, "To invert VC matrix, CPU Time was ");
    record.inversion = step_time(job.timing);
    count_parameters(rank, model.numpar, job.status.ratiothresh, record.gradient.largest, record.loglik);
    write_counts_of_parameters(job, rank);
    order_betas(rank, model, record.information);
    write_order_of_betas(job, rank);
  }
}

/// Deviance, criteria, and what observed and expected counts tell.
void report_figures(Job& job, std::span<const double> x, Fitted_model& record) {
  Model_arrays& model = job.model;
  Fit_record& fit = record.fit;
  const int k = fit.rank.npargmaxest;
  fit.figures = model_figures(fit.loglik, record.saturated, k, record.data.effective_size, model.quasi,
                              model.chat_given);
  model.chat = fit.figures.quasi ? fit.figures.quasi->chat : fit.figures.chat;
  write_figures(job, fit.figures);
  const Pearson_sums sums = write_residual_file(job, x);
  if (has_pearson_figures(job)) {
    fit.pearson = pearson_figures(record.saturated, sums, k);
    if (job.status.detail != 0) write_figures(job, *fit.pearson);
  }
  if (job.status.debug != 0) debug_after_fit(job, x);
}

/// Takes the beta that can be estimated least out of the model, as LOOP asks. False when there is none.
bool remove_beta(Job& job, Fitted_model& record, const Singular_system& system, Previous_fit& previous) {
  Model_arrays& model = job.model;
  const Fit_record& fit = record.fit;
  if (!model.loop || fit.rank.jpvt.empty()) return false;
  const int pivot = fit.rank.jpvt.back();
  previous.reals.clear();
  for (const double real : model.parm) previous.reals.push_back(real);
  previous.loglik = fit.loglik;
  previous.confounded = confounded_beta(model, system, pivot);
  previous.removed = remove_singular_beta(job, pivot);
  if (!model.beta.clone(previous.betsav)) {
    warn_of_allocation(job, "from memory allocation of BETSAV.", Allocation::no_memory);
    error_of_absent_array(job, "BETSAV");
  }
  check_ieee_exceptions(job, "determining singular parameters");
  if (job.status.debug != 0) debug_beta_index(job);
  return true;
}

/// A beta that the data do not identify can be taken out at no cost.
void compare_with(Job& job, const Previous_fit& previous, const Fit_record& fit) {
  // What a fit to seven digits of the betas may leave.
  constexpr double least_rise = 1e-3;
  const double rise = fit.loglik - previous.loglik;
  if (rise > least_rise)
    warn(job, "-2 log likelihood rose by " + formatted("(1pg0.4)", rise) + " when beta " +
                  adjustfmt(previous.removed) + " was taken out: what is left is another model.");
}

/// One fit and its results, stage by stage: each is computed into the record and written before the next one
/// begins. True when LOOP has taken a beta out and the model is to be fitted again.
bool fit_pass(Job& job, Previous_fit& previous, Fitted_model& record) {
  const int n = estimated_betas(job.model);
  List<double> x = starting_vector(job, n);
  Fit_arrays arrays(job, n);
  renew_likelihood(job);
  if (previous.removed > 0) write_confounded(job, previous, x);
  if (job.status.debug != 0) debug_before_fit(job, x);
  record.fit = {};
  ++record.fits;
  const Searches_end searches = fit(job, {x, arrays.g.span(), arrays.h.span()});
  record.fit.minimiser = searches.minimiser;
  record.fit.starts = searches.starts;
  record.fit.fitting = step_time(job.timing);
  report_solution(job, x, record.fit);
  if (previous.removed > 0) compare_with(job, previous, record.fit);
  record.fit.gradient = gradient_at_solution(arrays.g.span());
  write_gradient(job, record.fit.gradient);
  judge_gradient(job, record.fit.gradient, x);
  report_information(job, x, arrays.h.span(), record.fit);
  report_rank(job, record.fit);
  report_figures(job, x, record);

  start_timing(job);
  record.estimates = {};
  const Singular_system system = singular_system(job, record.fit.information, record.fit.loglik);
  record.estimates.vcmat = invert_information(job, system, record.fit.rank.npargmaxest);
  inflate(job.model, record.estimates.vcmat);
  report_estimates(job, record);
  record.estimability = judge_estimability(job, system, record.fit.rank.npargmaxest, record.estimates);
  write_estimability(job, record.estimability, record.estimates.real);
  record.typed_vcmat = typed_vcmat(job, record.estimates.vcmat);
  write_vc_file(job, record.estimates, record.typed_vcmat);

  if (!remove_beta(job, record, system, previous)) return false;
  record.removed_betas.push_back(previous.removed);
  return true;
}

/// c-hat of a model whose estimates were read, as its fit has told it: deviance at the betas over its degrees
/// of freedom.
double chat_of_estimates(Job& job, const Fitted_model& record) {
  // What the one evaluation raises has been told by the fit.
  const Kept_floating_environment kept;
  const Model_arrays& model = job.model;
  renew_likelihood(job);
  const double loglik = likelihood_point(job).move_to(estimated_vector(model)).loglik;
  const int k = model.numpar > 0 ? model.numpar : parameters_of(record.estimates.vcmat);
  return model_figures(loglik, record.saturated, k, record.data.effective_size, true).quasi->chat;
}

/// Estimates of a variance-covariance file in place of a fit.
void read_estimates(Job& job, Fitted_model& record) {
  read_vc_file(job, record.estimates);
  if (job.model.quasi && !(job.model.chat_given > 0.0)) job.model.chat = chat_of_estimates(job, record);
  start_timing(job);
  report_estimates(job, record);
  record.typed_vcmat = typed_vcmat(job, record.estimates.vcmat);
}

/// Hands the warnings behind the first `earlier` ones over to the record.
void take_warnings(Job& job, std::size_t earlier, Fitted_model& record) {
  std::vector<std::string>& warnings = job.status.warnings;
  for (std::size_t k = earlier; k < warnings.size(); ++k) record.warnings.push_back(std::move(warnings[k]));
  warnings.resize(earlier);
}

/// Statements that were read and ask for what this version does not do.
void pass_over(Job& job) {
  if (job.model.lmcmc != 0)
    warn(job, "MCMC sampling is not available in this version of TARN and is passed over.");
}

}  // namespace

void estmat(Job& job) {
  const std::size_t earlier_warnings = job.status.warnings.size();
  job.model = {};
  job.status.detail = 1;
  set_index_bounds(job);
  estimate_options(job);
  estimate_statements(job);
  model_arrays(job);
  covariate_tables(job);

  Fitted_model record;
  setlink(job);
  write_model_heading(job);
  check_links(job);
  set_up_likelihood(job);
  check_derived(job);
  record.data = data_summary(job);
  write_data_summary(job, record.data);
  record.saturated = saturd(job);
  record.data.effective_size = rounded_sample_size(job);
  write_saturated(job, record.saturated, record.data);
  scale_columns(job);
  if (job.status.debug != 0) print_all_pims(job);

  record.fitted = job.status.onlyrealderiv == 0;
  if (record.fitted) {
    // A refit takes one beta out, so there are at most as many passes as betas.
    Previous_fit previous;
    while (fit_pass(job, previous, record)) {
    }
    if (record.fit.figures.quasi) job.data.quasi_chat = record.fit.figures.quasi->chat;
  } else {
    read_estimates(job, record);
  }
  record.derived =
      report_derived(job, estimated_vector(job.model), record.estimates.vcmat, record.estimability);
  check_ieee_exceptions(job, "processing derived parameters");
  close_vc_file(job);
  pass_over(job);
  ++job.status.models;
  take_warnings(job, earlier_warnings, record);
  if (results_wanted(job)) {
    record.description = describe_model(job);
    write_results(job, record);
  }
  job.model = {};
}

}  // namespace tarn
