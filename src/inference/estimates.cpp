#include "inference/estimates.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "model/structure/design.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"
#include "numerics/linear_algebra.h"
#include "numerics/special.h"

namespace tarn {
namespace {

/// Rows whose real parameter is not the link of a sum of products: a multinomial set, or an extra beta inside
/// a design function. Their derivatives are central differences.
List<char> rows_without_analytic_derivative(const Model_arrays& model) {
  List<char> rows(model.nlogit, 0);
  for (int r = 1; r <= model.nlogit; ++r)
    if (links_a_set(model.lindex(r))) rows(r) = 1;
  const Design_matrix_funcs_module& functions = model.functions;
  for (int k = 1; k <= functions.numdmfuncs; ++k)
    if (functions.dmfuncstypes(function_number, k) == nlbeta_function)
      rows(row_of_function(functions, k)) = 1;
  return rows;
}

/// Derivatives of the reals by the estimated betas, nlogit x n. Leaves the reals at the solution in `parm`.
void fill_partials(Job& job, View<double> x, Array2<double>& partials) {
  Model_arrays& model = job.model;
  const double deltax = job.status.deltax;
  const List<char> differences = rows_without_analytic_derivative(model);
  const List<int> beta_at = betas_by_position(model);

  if (std::find(differences.begin(), differences.end(), 1) != differences.end()) {
    List<double> parmup(model.nlogit);
    for (int j = 1; j <= x.size(); ++j) {
      const double kept = x(j);
      x(j) = kept + deltax;
      recompute_reals(job, 1, x.span());
      for (int r = 1; r <= model.nlogit; ++r) parmup(r) = model.parm(r);
      x(j) = kept - deltax;
      recompute_reals(job, 1, x.span());
      x(j) = kept;
      for (int r = 1; r <= model.nlogit; ++r)
        if (differences(r)) partials(r, j) = (parmup(r) - model.parm(r)) / (2.0 * deltax);
    }
  }

  recompute_reals(job, 1, x.span());
  Array2<double> values;
  if (!values.allocate(model.nlogit, model.ncovs)) error_of_absent_array(job, "DESIGN");
  if (const char* fault = report_design(job, x.span(), values)) error(job, fault);
  for (int r = 1; r <= model.nlogit; ++r) {
    if (differences(r) || model.fixpar(r)) continue;
    const double slope = link_derivative(job, model.lindex(r), model.parm(r));
    for (int j = 1; j <= x.size(); ++j) {
      const int beta = beta_at(j);
      if (beta <= model.ncovs) partials(r, j) = slope * values(r, beta) * model.scalefactor(beta);
    }
  }
  for (int r = 1; r <= model.nlogit; ++r)
    if (model.fixpar(r))
      for (int j = 1; j <= x.size(); ++j) partials(r, j) = 0.0;
}

/// Reals of parameters that are counts or deviations keep the LOG rule whatever their link.
List<char> rows_on_log_scale(const Job& job) {
  const Model_arrays& model = job.model;
  List<char> rows(model.nlogit, 0);
  for (int r = 1; r <= model.nlogit; ++r) rows(r) = model.lindex(r) == Link::log;
  for (const char* name : {"sigma", "N", "f0"}) {
    const int q = findpar(job.data, name);
    if (q == 0) continue;
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      for_each_cell(pim, [&](int, int, int cell) {
        if (cell >= 1 && cell <= model.nlogit) rows(cell) = 1;
      });
    });
  }
  return rows;
}

}  // namespace

std::vector<double> estimated_vector(const Model_arrays& model) {
  const List<int> beta_at = betas_by_position(model);
  std::vector<double> x;
  for (const int beta : beta_at) x.push_back(model.beta(beta));
  return x;
}

List<int> betas_by_position(const Model_arrays& model) {
  int n = 0;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) n = std::max(n, model.bindex(i));
  List<int> beta_at(n);
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) beta_at(model.bindex(i)) = i;
  return beta_at;
}

const char* report_design(const Job& job, std::span<const double> x, Array2<double>& values) {
  Design_work<double> work;
  prepare(job, work);
  std::vector<double> zeros;
  const char* fault = updatedm<double>(job, 1, x, work, report_values(job, zeros));
  evaluated_design(job, work, values);
  return fault;
}

Limits real_limits(double x, double s, bool log_scale, double deltax) {
  const double z = limit_multiplier;
  if (std::isnan(s)) return {s, s};
  if (s == 0.0) return {x, x};
  if (log_scale) return log_limits(x, s);
  if (x > deltax && x < 1.0 - deltax) {
    const double c = exprep(z * s / (x * (1.0 - x)));
    return {x / (x + (1.0 - x) * c), x * c / (1.0 - x + x * c)};
  }
  return {x - z * s, x + z * s};
}

Singular_system singular_system(Job& job, const Array2<double>& information, double loglik) {
  const int n = information.extent(1);
  Singular_system system;
  if (n == 0) return system;
  const double rounding = spacing(std::max(std::fabs(loglik), 1.0));
  for (int j = 1; j <= n; ++j) {
    const std::span<const double> column = information.column(j);
    if (std::all_of(column.begin(), column.end(),
                    [&](double element) { return std::fabs(element) <= rounding; }))
      system.without_information.push_back(j);
  }
  Array2<double> x;
  make_work_area(x, n, n);
  make_work_area(system.v, n, n);
  std::copy(information.begin(), information.end(), x.begin());
  system.s.assign(n, 0.0);
  List<double> e(n), work(n);
  dsvdc(x.data(), n, n, n, system.s.data(), e.data(), nullptr, 1, system.v.data(), n, work.data(), 1,
        system.info);
  if (system.info != 0) warnum(job, "returned from DSVDC.", system.info);
  return system;
}

Array2<double> invert_information(Job& job, const Singular_system& system, int k) {
  constexpr double none = std::numeric_limits<double>::quiet_NaN();
  const int n = system.s.size();
  Array2<double> inverse;
  if (n == 0 || !allocate(job, vcmat_words, inverse, n, n)) return inverse;
  if (system.info != 0) {
    inverse.fill(none);
    return inverse;
  }
  for (int m = 1; m <= std::min(k, n); ++m) {
    const double reciprocal = system.s(m) == 0.0 ? 0.0 : 1.0 / system.s(m);
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= n; ++i) inverse(i, j) += system.v(i, m) * reciprocal * system.v(j, m);
  }
  for (const int position : system.without_information)
    for (int i = 1; i <= n; ++i) inverse(i, position) = inverse(position, i) = none;
  return inverse;
}

void inflate(const Model_arrays& model, Array2<double>& vcmat, double held) {
  if (!(model.chat_given > 0.0) || !vcmat.present()) return;
  const double factor = model.chat_given / held;
  for (double& element : vcmat) element *= factor;
}

int parameters_of(const Array2<double>& vcmat) {
  List<int> known;
  for (int i = 1; i <= vcmat.extent(1); ++i)
    if (!std::isnan(vcmat(i, i))) known.push_back(i);
  const int n = known.size();
  if (n == 0) return vcmat.extent(1);
  // As correlations: betas of any scale stand beside each other, and so does the rounding of their sums of
  // products.
  const auto correlation = [&](int i, int j) {
    const double size = std::sqrt(std::fabs(vcmat(i, i))) * std::sqrt(std::fabs(vcmat(j, j)));
    return size == 0.0 ? 0.0 : vcmat(i, j) / size;
  };
  List<double> x, s(n), e(n), work(n);
  for (const int j : known)
    for (const int i : known) x.push_back(correlation(i, j));
  int info = 0;
  dsvdc(x.data(), n, n, n, s.data(), e.data(), nullptr, 1, nullptr, 1, work.data(), 0, info);
  if (info != 0) return n;
  // Sums of n products, and columns whose scale was taken out and put in again.
  const double rounding = 8.0 * n * std::numeric_limits<double>::epsilon() * s(1);
  return static_cast<int>(std::count_if(s.begin(), s.end(), [&](double value) { return value > rounding; }));
}

Array2<double> typed_vcmat(Job& job, const Array2<double>& vcmat) {
  const Model_arrays& model = job.model;
  const List<int> beta_at = betas_by_position(model);
  const int n = beta_at.size();
  Array2<double> typed;
  allocate(job, vcmat_words, typed, n, n);
  require(job, typed, "VCMAT");
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      typed(i, j) = vcmat(i, j) * model.scalefactor(beta_at(i)) * model.scalefactor(beta_at(j));
  return typed;
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
  Array2<double>& partials = estimates.slopes;
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
        const bool known = !std::isnan(covariance);
        for (int r = 1; r <= nlogit; ++r)
          if (known || hangs_on(partials(r, k))) product(r, j) += partials(r, k) * covariance;
      }
    for (int j = 1; j <= n; ++j)
      for (int q = 1; q <= nlogit; ++q) {
        const double slope = partials(q, j);
        if (slope == 0.0 || (std::isnan(estimates.vcmat(j, j)) && !hangs_on(slope))) continue;
        for (int r = 1; r <= nlogit; ++r) estimates.vcrmat(r, q) += product(r, j) * slope;
      }
  }
  const List<char> log_scale = rows_on_log_scale(job);
  for (int r = 1; r <= nlogit; ++r) {
    real.estimate(r) = model.parm(r);
    // Rounding can leave a variance of 0 below 0; a NaN stays one.
    const double variance = estimates.vcrmat(r, r);
    real.se(r) = std::sqrt(std::isless(variance, 0.0) ? 0.0 : variance);
    const Limits limits = real_limits(real.estimate(r), real.se(r), log_scale(r) != 0, job.status.deltax);
    real.lci(r) = limits.lower;
    real.uci(r) = limits.upper;
  }
}

}  // namespace tarn
