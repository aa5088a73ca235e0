#include "model/results/tables.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"
#include "numerics/linear_algebra.h"
#include "numerics/special.h"

namespace tarn {
namespace {

// Widths of the ruler lines, in which the section titles are centred.
constexpr int beta_ruler = 90, real_ruler = 91;

/// Beta of each position of the optimizer's vector, from 1.
std::vector<int> betas_by_position(const Model_arrays& model, int n) {
  std::vector<int> beta_at(static_cast<std::size_t>(n) + 1, 0);
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) beta_at[static_cast<std::size_t>(model.bindex(i))] = i;
  return beta_at;
}

/// Rows whose real parameter is not the link of a sum of products: a multinomial set, or an extra beta inside
/// a design function. Their derivatives are central differences.
std::vector<char> rows_without_analytic_derivative(const Model_arrays& model) {
  std::vector<char> rows(static_cast<std::size_t>(model.nlogit) + 1, 0);
  for (int r = 1; r <= model.nlogit; ++r)
    if (links_a_set(model.lindex(r))) rows[static_cast<std::size_t>(r)] = 1;
  const Design_matrix_funcs_module& functions = model.functions;
  constexpr int nlbeta_function = 15;
  for (int k = 1; k <= functions.numdmfuncs; ++k) {
    if (functions.dmfuncstypes(5, k) != nlbeta_function) continue;
    int top = k;
    while (functions.dmfuncstypes(6, top) > 1) top = functions.dmfuncstypes(4, top);
    rows[static_cast<std::size_t>(functions.dmfuncstypes(3, top))] = 1;
  }
  return rows;
}

/// Derivatives of the reals by the estimated betas, nlogit x n. Leaves the reals at the solution in `parm`.
void fill_partials(Job& job, std::span<double> x, Array2<double>& partials) {
  Model_arrays& model = job.model;
  const int n = static_cast<int>(x.size());
  const std::vector<char> differences = rows_without_analytic_derivative(model);
  const std::vector<int> beta_at = betas_by_position(model, n);

  if (std::find(differences.begin(), differences.end(), 1) != differences.end()) {
    std::vector<double> parmup(static_cast<std::size_t>(model.nlogit) + 1);
    for (int j = 1; j <= n; ++j) {
      const double kept = x[static_cast<std::size_t>(j) - 1];
      x[static_cast<std::size_t>(j) - 1] = kept + job.status.deltax;
      recompute_reals(job, 1, x);
      for (int r = 1; r <= model.nlogit; ++r) parmup[static_cast<std::size_t>(r)] = model.parm(r);
      x[static_cast<std::size_t>(j) - 1] = kept - job.status.deltax;
      recompute_reals(job, 1, x);
      x[static_cast<std::size_t>(j) - 1] = kept;
      for (int r = 1; r <= model.nlogit; ++r)
        if (differences[static_cast<std::size_t>(r)])
          partials(r, j) = (parmup[static_cast<std::size_t>(r)] - model.parm(r)) / (2.0 * job.status.deltax);
    }
  }

  recompute_reals(job, 1, x);
  Design_work<double> work;
  prepare(job, work);
  std::vector<double> zeros;
  if (const char* fault = updatedm<double>(job, 1, x, work, report_values(job, zeros))) error(job, fault);
  Array2<double> values;
  if (!values.allocate(job.model.nlogit, job.model.ncovs)) error_of_absent_array(job, "DESIGN");
  evaluated_design(job, work, values);
  for (int r = 1; r <= model.nlogit; ++r) {
    if (differences[static_cast<std::size_t>(r)] || model.fixpar(r)) continue;
    const double slope = link_derivative(job, model.lindex(r), model.parm(r));
    for (int j = 1; j <= n; ++j) {
      const int beta = beta_at[static_cast<std::size_t>(j)];
      if (beta <= model.ncovs) partials(r, j) = slope * values(r, beta) * model.scalefactor(beta);
    }
  }
  for (int r = 1; r <= model.nlogit; ++r)
    if (model.fixpar(r))
      for (int j = 1; j <= n; ++j) partials(r, j) = 0.0;
}

/// Reals of parameters that are counts or deviations keep the LOG rule whatever their link.
std::vector<char> rows_on_log_scale(const Job& job) {
  const Model_arrays& model = job.model;
  std::vector<char> rows(static_cast<std::size_t>(model.nlogit) + 1, 0);
  for (int r = 1; r <= model.nlogit; ++r) rows[static_cast<std::size_t>(r)] = model.lindex(r) == Link::log;
  for (const char* name : {"sigma", "N", "f0"}) {
    const int q = findpar(job.data, name);
    if (q == 0) continue;
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      for (const int cell : pim.cells)
        if (cell >= 1 && cell <= model.nlogit) rows[static_cast<std::size_t>(cell)] = 1;
    });
  }
  return rows;
}

void write_covariate_values(Job& job) {
  const Model_arrays& model = job.model;
  const Status_module& status = job.status;
  const bool standardized = status.stdic != 0;
  linchk(job, 5 + status.nicovs);
  if (model.nicvalues() > 0)
    put(job, listing, "(/6x,a)",
        standardized
            ? "Following estimates based on user-specified individual covariate values that were "
              "standardized:"
            : "Following estimates based on user-specified individual covariate values not standardized:");
  else
    put(job, listing, "(/6x,a)",
        standardized ? "Following estimates based on standardized individual covariate values:"
                     : "Following estimates based on unstandardized individual covariate values:");
  const std::string_view dashes = " -------------";
  if (standardized) {
    put(job, listing, "(10x,a,t35,a,a,a)", "Variable  ", " Value        ", " Mean         ", " SD          ");
    put(job, listing, "(10x,a,t35,a,a,a)", "----------", dashes, dashes, dashes);
  } else {
    put(job, listing, "(10x,a,t35,a)", "Variable  ", " Value        ");
    put(job, listing, "(10x,a,t35,a)", "----------", dashes);
  }
  std::vector<double> zeros;
  const double* values = report_values(job, zeros);
  for (int c = 1; c <= status.nicovs; ++c) {
    const double shown = values != nullptr
                             ? values[c - 1]
                             : job.data.encounters.ind_covariates(1)[static_cast<std::size_t>(c) - 1];
    const std::string& name = job.data.icname(c);
    if (standardized)
      put(job, listing, "(10x,a,t35,a,a,a)", name, f14(job, shown), f14(job, job.data.icvrmn(c)),
          f14(job, job.data.icvrsd(c)));
    else
      put(job, listing, "(10x,a,t35,a)", name, f14(job, shown));
  }
}

/// The history that design functions of earlier captures take theirs from.
void write_prior_captures(Job& job) {
  const Status_module& status = job.status;
  std::string cells;
  const History history = job.data.encounters.history(1);
  for (int o = 1; o <= history.noccas(); ++o) {
    cells += history.live(o);
    if (status.liveeh == 0) cells += history.dead(o);
  }
  linchk(job, 1);
  put(job, listing, "(6x,a,1x,a)", " Estimates based on the following encounter history:", cells);
}

/// Rows for which a profile interval was asked: one that depends on an animal's covariate cannot have one.
void warn_of_profiles(Job& job) {
  Model_arrays& model = job.model;
  bool wanted = false;
  for (int r = 1; r <= model.nlogit; ++r) {
    if (!model.profileflag(r)) continue;
    if (model.designicvarflag(r) != 0)
      warn(job,
           "Real Parameter " + adjustfmt(r) + ":" + model.rlabel(r) +
               " is modeled with an individual covariate and cannot have a profile likelihood confidence "
               "interval.");
    else
      wanted = true;
  }
  if (wanted)
    warn(
        job,
        "Profile likelihood intervals are not available in this version of TARN; the intervals below are not "
        "profiles.");
}

}  // namespace

std::vector<double> estimated_vector(const Model_arrays& model) {
  int n = 0;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) n = std::max(n, model.bindex(i));
  std::vector<double> x(static_cast<std::size_t>(n));
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) x[static_cast<std::size_t>(model.bindex(i)) - 1] = model.beta(i);
  return x;
}

Limits real_limits(double x, double s, bool log_scale, double deltax) {
  const double z = limit_multiplier;
  if (s == 0.0) return {x, x};
  if (log_scale) return log_limits(x, s);
  if (x > deltax && x < 1.0 - deltax) {
    const double c = exprep(z * s / (x * (1.0 - x)));
    return {x / (x + (1.0 - x) * c), x * c / (1.0 - x + x * c)};
  }
  return {x - z * s, x + z * s};
}

Array2<double> invert_information(Job& job, const std::vector<double>& information, int n, int k) {
  Array2<double> inverse;
  if (n == 0 || !allocate(job, vcmat_words, inverse, n, n)) return inverse;
  const std::size_t size = static_cast<std::size_t>(n);
  std::vector<double> x = information, s(size), e(size), work(size), v(size * size);
  int info = 0;
  dsvdc(x.data(), n, n, n, s.data(), e.data(), nullptr, 1, v.data(), n, work.data(), 1, info);
  if (info != 0) {
    warnum(job, "returned from DSVDC.", info);
    inverse.fill(std::numeric_limits<double>::quiet_NaN());
    return inverse;
  }
  for (int m = 0; m < std::min(k, n); ++m) {
    const double reciprocal =
        s[static_cast<std::size_t>(m)] == 0.0 ? 0.0 : 1.0 / s[static_cast<std::size_t>(m)];
    const double* column = v.data() + static_cast<std::size_t>(m) * size;
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= n; ++i) inverse(i, j) += column[i - 1] * reciprocal * column[j - 1];
  }
  return inverse;
}

void beta_estimates(Job& job, Model_estimates& estimates) {
  const Model_arrays& model = job.model;
  Estimates& beta = estimates.beta;
  const int betas = model.ncovs_nlbetas;
  if (!allocate(job, "from memory allocation of BETA_SE.", shaped(beta.estimate, betas),
                shaped(beta.se, betas), shaped(beta.lci, betas), shaped(beta.uci, betas)))
    error_of_absent_array(job, "BETA_SE");
  if (!estimated_vector(model).empty()) require(job, estimates.vcmat, "VCMAT");
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) {
    beta.estimate(i) = model.beta(i) * model.scalefactor(i);
    const int position = model.bindex(i);
    if (position == 0) continue;
    beta.se(i) = std::sqrt(estimates.vcmat(position, position)) * model.scalefactor(i);
    beta.lci(i) = beta.estimate(i) - limit_multiplier * beta.se(i);
    beta.uci(i) = beta.estimate(i) + limit_multiplier * beta.se(i);
  }
}

void real_estimates(Job& job, Model_estimates& estimates) {
  Model_arrays& model = job.model;
  std::vector<double> x = estimated_vector(model);
  const int n = static_cast<int>(x.size()), nlogit = model.nlogit;
  Estimates& real = estimates.real;
  if (!allocate(job, "from memory allocation of PARMSE, PARMLCI and PARMUCI.", shaped(real.estimate, nlogit),
                shaped(real.se, nlogit), shaped(real.lci, nlogit), shaped(real.uci, nlogit)))
    error_of_absent_array(job, "PARMSE");
  Array2<double> partials;
  if (n > 0) {
    allocate(job, "from memory allocation of PARTIALS, PARMUP, and PARMDN.", partials, nlogit, n);
    require(job, partials, "PARTIALS");
    fill_partials(job, x, partials);
  } else {
    recompute_reals(job, 1, x);
  }
  allocate(job, "from memory allocation of VCRMAT.", estimates.vcrmat, nlogit, nlogit);
  require(job, estimates.vcrmat, "VCRMAT");
  if (n > 0) {
    Array2<double> product;
    allocate(job, "from memory allocation of PARTIALS.", product, nlogit, n);
    require(job, product, "PARTIALS");
    for (int j = 1; j <= n; ++j)
      for (int k = 1; k <= n; ++k) {
        const double covariance = estimates.vcmat(k, j);
        for (int r = 1; r <= nlogit; ++r) product(r, j) += partials(r, k) * covariance;
      }
    for (int j = 1; j <= n; ++j)
      for (int q = 1; q <= nlogit; ++q) {
        const double slope = partials(q, j);
        if (slope == 0.0) continue;
        for (int r = 1; r <= nlogit; ++r) estimates.vcrmat(r, q) += product(r, j) * slope;
      }
  }
  const std::vector<char> log_scale = rows_on_log_scale(job);
  for (int r = 1; r <= nlogit; ++r) {
    real.estimate(r) = model.parm(r);
    // Rounding can leave a variance of 0 below 0; a NaN stays one.
    const double variance = estimates.vcrmat(r, r);
    real.se(r) = std::sqrt(variance < 0.0 ? 0.0 : variance);
    const Limits limits = real_limits(real.estimate(r), real.se(r),
                                      log_scale[static_cast<std::size_t>(r)] != 0, job.status.deltax);
    real.lci(r) = limits.lower;
    real.uci(r) = limits.upper;
  }
}

void beta_table(Job& job, const Estimates& beta) {
  const Model_arrays& model = job.model;
  headng(job);
  linchk(job, 5);
  sectionhead(job, " Link Function Parameters of " + model.modnam, beta_ruler, 1);
  put(job, listing, "(62x,'95% Confidence Interval')");
  put(job, listing, "(4x,'Parameter',14x,'    Beta         Standard Error',5x,'Lower',11x,'Upper')");
  put(job, listing, "(1x,25('-'),4(2x,'--------------'))");
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) {
    linchk(job, 1);
    put(job, listing, "(1x,i4,':',a,t27,4('  ',a14))", i, model.blabel(i), f14(job, beta.estimate(i)),
        f14(job, beta.se(i)), f14(job, beta.lci(i)), f14(job, beta.uci(i)));
  }
}

void real_table(Job& job, const Estimates& real) {
  const Model_arrays& model = job.model;
  warn_of_profiles(job);
  linchk(job, 8);
  sectionhead(job, "Real Function Parameters of " + model.modnam, real_ruler, 2);
  if (model.licovs != 0 && job.status.nicovs > 0) write_covariate_values(job);
  if (model.functions.prior_capture) write_prior_captures(job);
  put(job, listing, "(63x,\"95% Confidence Interval\")");
  put(job, listing, "(5x,\"Parameter\",14x,\"  Estimate       Standard Error\",5x,\"Lower\",11x,\"Upper\")");
  put(job, listing, "(1x,26(\"-\"),4(2x,\"--------------\"))");
  for (int r = 1; r <= model.nlogit; ++r) {
    linchk(job, 1);
    put(job, listing, "(1x,i5,':',a,t28,4('  ',a14),2x,a)", r, model.rlabel(r), f14(job, real.estimate(r)),
        f14(job, real.se(r)), f14(job, real.lci(r)), f14(job, real.uci(r)), model.fixpar(r) ? "Fixed" : "");
  }
}

}  // namespace tarn
