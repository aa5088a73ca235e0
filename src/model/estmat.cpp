#include "model/estmat.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "derived/derivedest.h"
#include "inference/rank.h"
#include "inference/resid.h"
#include "inference/saturd.h"
#include "inference/varmat.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "job/services/timing.h"
#include "likelihood/func.h"
#include "model/estimate_options.h"
#include "model/fit.h"
#include "model/results/debug_report.h"
#include "model/results/figures.h"
#include "model/results/tables.h"
#include "model/results/vc_file.h"
#include "model/starting.h"
#include "model/structure/design.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"

namespace tarn {
namespace {

/// What one fit leaves for the refit that LOOP asks for.
struct Previous_fit {
  int removed = 0;            ///< beta that was taken out, 0 before the first fit
  int confounded = 0;         ///< beta most tied to it, 0 if none
  std::vector<double> reals;  ///< real parameters of that fit, from 0
  Array1<double> betsav;      ///< betas of that fit
};

int estimated_betas(const Model_arrays& model) {
  return static_cast<int>(
      std::count_if(model.bindex.begin(), model.bindex.end(), [](int b) { return b > 0; }));
}

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
std::vector<double> starting_vector(Job& job, int n) {
  Model_arrays& model = job.model;
  choose_start(job, [&job](std::vector<double>& start) {
    Fit_arrays arrays(job, static_cast<int>(start.size()));
    set_up_likelihood(job);
    fit(job, {start, arrays.g.span(), arrays.h.span()}, false);
  });
  std::vector<double> x(static_cast<std::size_t>(n));
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) x[static_cast<std::size_t>(model.bindex(i)) - 1] = model.betast(i);
  return x;
}

/// Real parameters that a refit no longer estimates freely, with their values before and after the beta left.
void write_confounded(Job& job, const Previous_fit& previous, std::span<const double> start) {
  const Model_arrays& model = job.model;
  const auto uses = [&model](int row, int beta) {
    return beta > 0 && beta <= model.ncovs && model.design(row, beta) != 0.0;
  };
  int confounded = 0;
  for (int r = model.nlogit; r >= 1; --r)
    if (uses(r, previous.confounded)) confounded = r;
  std::vector<double> x(start.begin(), start.end());
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) x[static_cast<std::size_t>(model.bindex(i)) - 1] = previous.betsav(i);
  recompute_reals(job, 1, x);
  linchk(job, 4);
  put(job, listing, "(/1x,a)", " Fixed     Confounded       Old            New ");
  put(job, listing, "(1x,a)", "Parameter  Parameter       Value          Value");
  put(job, listing, "(1x,a)", "---------  ----------  --------------  --------------");
  for (int r = 1; r <= model.nlogit; ++r) {
    if (!uses(r, previous.removed) || model.fixpar(r)) continue;
    linchk(job, 1);
    put(job, listing, "(1x,i5,6x,i5,7x,a,2x,a)", r, confounded,
        f14(job, previous.reals[static_cast<std::size_t>(r) - 1]), f14(job, model.parm(r)));
  }
}

void open_residuals(Job& job) {
  Status_module& status = job.status;
  if (status.filres == status.nullfile)
    job.streams.open_null(status.sysres);
  else if (!job.streams.open_output(status.sysres, status.filres, status.errmsg))
    error(job, "The residual file " + status.filres + " could not be opened: " + status.errmsg);
}

void close_residuals(Job& job) {
  if (!job.streams.close(job.status.sysres))
    warn(job, "The residual file " + job.status.filres +
                  " is incomplete: " + job.streams.fault(job.status.sysres));
}

void report_estimates(Job& job, Model_estimates& estimates) {
  beta_estimates(job, estimates);
  real_estimates(job, estimates);
  put_step_time(job, "To compute parameter estimates, CPU Time was ", true);
  beta_table(job, estimates.beta);
  real_table(job, estimates.real);
  check_ieee_exceptions(job, "computing the variance-covariance matrix");
}

/// -2 log likelihood and penalty at the solution, which `func` leaves with the reals in the model.
void report_solution(Job& job, std::span<const double> x) {
  Model_arrays& model = job.model;
  func(job, x);
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) model.beta(i) = x[static_cast<std::size_t>(model.bindex(i)) - 1];
  const bool penalised = model.sumpen > std::numeric_limits<double>::epsilon();
  if (penalised) warn(job, "One or more encounter histories have probabilities not in interval 0-1.");
  report_value(job, "-2logL ", model.loglik);
  if (penalised) report_value(job, "Penalty ", model.sumpen);
  check_ieee_exceptions(job, "during optimization");
}

/// One fit and its results, the last of them in `estimates`. True when LOOP has taken a beta out and the
/// model is to be fitted again.
bool fit_pass(Job& job, const Saturated_model& saturated, double effective_size, Previous_fit& previous,
              Model_estimates& estimates) {
  Model_arrays& model = job.model;
  const int n = estimated_betas(model);
  std::vector<double> x = starting_vector(job, n);
  Fit_arrays arrays(job, n);
  set_up_likelihood(job);
  if (previous.removed > 0) write_confounded(job, previous, x);
  if (job.status.debug != 0) debug_before_fit(job, x);
  model.report_first = true;
  fit(job, {x, arrays.g.span(), arrays.h.span()});
  report_solution(job, x);
  const double largest_gradient = check_gradient(job, arrays.g.span(), x);
  const double loglik = model.loglik;

  start_timing(job);
  varmat(job, x, arrays.h.span());
  put_step_time(job, "To compute VC matrix, CPU Time was ");
  model.loglik = loglik;
  const std::vector<double> information = expand(arrays.h.span(), n);
  const Rank rank = estimated_parameters(job, information, n, largest_gradient);

  model_figures(job, saturated, rank.npargmaxest, effective_size);
  open_residuals(job);
  const Pearson_sums sums = resid(job, x);
  close_residuals(job);
  if (job.status.detail != 0 && has_pearson_figures(job))
    pearson_figures(job, saturated, sums, rank.npargmaxest);
  if (job.status.debug != 0) debug_after_fit(job, x);

  start_timing(job);
  estimates = {};
  estimates.vcmat = invert_information(job, information, n, rank.npargmaxest);
  report_estimates(job, estimates);
  write_vc_file(job, estimates);

  if (!model.loop || rank.jpvt.empty()) return false;
  const int pivot = rank.jpvt.back();
  previous.reals.assign(model.parm.begin(), model.parm.end());
  previous.confounded = confounded_beta(model, information, n, pivot);
  previous.removed = remove_singular_beta(job, pivot);
  if (!model.beta.clone(previous.betsav)) {
    warn_of_allocation(job, "from memory allocation of BETSAV.", Allocation::no_memory);
    error_of_absent_array(job, "BETSAV");
  }
  check_ieee_exceptions(job, "determining singular parameters");
  if (job.status.debug != 0) debug_beta_index(job);
  return true;
}

/// Statements that were read and ask for what this version does not do.
void pass_over(Job& job) {
  if (job.model.lmcmc != 0)
    warn(job, "MCMC sampling is not available in this version of TARN and is passed over.");
}

}  // namespace

void estmat(Job& job) {
  job.model = {};
  job.status.detail = 1;
  set_index_bounds(job);
  estimate_options(job);
  estimate_statements(job);
  model_arrays(job);
  covariate_tables(job);

  model_heading(job);
  check_links(job);
  set_up_likelihood(job);
  check_derived(job);
  data_summary(job);
  const Saturated_model saturated = saturd(job);
  const double effective_size = saturated_report(job, saturated);
  scale_columns(job);
  if (job.status.debug != 0) print_all_pims(job);

  Model_estimates estimates;
  if (job.status.onlyrealderiv != 0) {
    read_vc_file(job, estimates);
    start_timing(job);
    report_estimates(job, estimates);
  } else {
    // A refit takes one beta out, so there are at most as many passes as betas.
    Previous_fit previous;
    while (fit_pass(job, saturated, effective_size, previous, estimates)) {
    }
  }
  derivedest(job, estimated_vector(job.model), estimates.vcmat);
  check_ieee_exceptions(job, "processing derived parameters");
  close_vc_file(job);
  pass_over(job);
  job.model = {};
}

}  // namespace tarn
