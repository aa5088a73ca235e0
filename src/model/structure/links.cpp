#include "model/structure/links.h"

#include <algorithm>
#include <numbers>

#include "data/catalogue/datatype.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "model/structure/pim.h"
#include "numerics/scalars.h"

namespace tarn {

namespace {

/// True when x is not clamped by `exprep`.
template <class Real>
bool has_slope(const Real& x) {
  return x > minexp && x < maxexp;
}

/// Real value and, if asked for, its derivative by the linear predictor x, of a link with a value of its own;
/// other codes leave `known` false.
template <bool sloped, class Real>
Real apply_link(Link link, const Real& x, [[maybe_unused]] Real& slope, bool& known) {
  switch (link) {
    case Link::logit: {
      if constexpr (!sloped) return expit(x);
      slope = 0.0;
      if (!has_slope(-x)) return expit(value_of(x));
      const Real odds_against = exp(-x), p = 1.0 / (1.0 + odds_against);
      slope = odds_against * p * p;  // p (1 - p) without the cancellation
      return p;
    }
    case Link::loglog: {
      const Real inner = exprep(-x), p = exprep(-inner);
      if constexpr (sloped) slope = has_slope(-x) && has_slope(-inner) ? inner * p : Real(0.0);
      return p;
    }
    case Link::cloglog: {
      const Real inner = exprep(x), rest = exprep(-inner);
      if constexpr (sloped) slope = has_slope(x) && has_slope(-inner) ? inner * rest : Real(0.0);
      return 1.0 - rest;
    }
    case Link::sin:
      if constexpr (sloped) slope = 0.5 * cos(x);
      return (sin(x) + 1.0) * 0.5;
    case Link::log: {
      const Real p = exprep(x);
      if constexpr (sloped) slope = has_slope(x) ? p : Real(0.0);
      return p;
    }
    case Link::identity:
      if constexpr (sloped) slope = 1.0;
      return x;
    case Link::absolute: {
      const Real size = abs(x);
      const bool floored = !(size > minlog);
      if constexpr (sloped) slope = floored ? 0.0 : x < 0.0 ? -1.0 : 1.0;
      return floored ? Real(minlog) : size;
    }
    case Link::cauchy:
      if constexpr (sloped) slope = 1.0 / (std::numbers::pi * (1.0 + x * x));
      return atan(x) / std::numbers::pi + 0.5;
    default:
      known = false;
      return x;
  }
}

void find_sets(const Model_arrays& model, List<Link_set>& sets, List<int>& set_of) {
  sets.clear();
  set_of.assign(model.nlogit, 0);
  for (int k = 1; k <= model.nummlogit(); ++k) {
    const Link_function_row& member = model.linkfuncptr(k);
    const bool same =
        k > 1 && member.code == model.linkfuncptr(k - 1).code && member.set == model.linkfuncptr(k - 1).set;
    if (same)
      sets.back().last = k;
    else
      sets.push_back({k, k});
    if (member.parm >= 1 && member.parm <= model.nlogit) set_of(member.parm) = sets.size();
  }
}

/// What gives the `rows` (ascending) of those that depend on the animal, and of every set that holds one.
template <class Real>
Link_pass pass_of_rows(const Model_arrays& model, const Real_work<Real>& work, const List<int>& rows) {
  List<char> wanted(model.nlogit, 0), set_wanted(work.link_sets.size(), 0);
  for (const int row : rows) {
    wanted(row) = 1;
    if (work.set_of(row) > 0) set_wanted(work.set_of(row)) = 1;
  }
  Link_pass pass;
  for (int s = 1; s <= work.link_sets.size(); ++s) {
    if (!set_wanted(s)) continue;
    pass.sets.push_back(s);
    const Link_set& range = work.link_sets(s);
    for (int k = range.first; k <= range.last; ++k) wanted(model.linkfuncptr(k).parm) = 1;
  }
  for (int v = 1; v <= model.varying_cells.size(); ++v)
    if (wanted(model.varying_cells(v).row)) pass.cells.push_back(v);
  for (int i = 1; i <= model.nlogit; ++i) {
    if (!wanted(i)) continue;
    pass.rows.push_back(i);
    if (work.animal_of(i) > 0) pass.animals.push_back(work.animal_of(i));
  }
  for (int j = 1; j <= model.nfixed(); ++j)
    if (wanted(model.fixdex(j))) pass.fixed.push_back(j);
  for (const int row : pass.rows) {
    const int animal = work.animal_of(row);
    const Link link = model.lindex(row);
    if (animal == 0 || work.set_of(row) > 0 || link == Link::mlogit || link == Link::clogit) {
      pass.other_rows.push_back(row);
      if (animal > 0) pass.other_animals.push_back(animal);
      continue;
    }
    const List<Design_cell>& cells = model.design_rows(row);
    const Design_cell* const first = cells.data();
    pass.direct.push_back({row, animal, link, first + work.prefix_cells(animal), first + cells.size()});
  }
  return pass;
}

template <class Real>
Real cell_value(const Design_cell& cell, const Design_work<Real>& design, const List<Real>& sbeta) {
  const Real& beta = sbeta(cell.col);
  return cell.varying == 0 ? cell.value * beta : design.cells(cell.varying) * beta;
}

template <class Real>
void all_linear_predictors(const Model_arrays& model, Real_work<Real>& work) {
  for (int row = 1; row <= model.nlogit; ++row) {
    const List<Design_cell>& cells = model.design_rows(row);
    const int animal = work.animal_of(row);
    const int before = animal > 0 ? work.prefix_cells(animal) : cells.size();
    Real sum(0.0);
    int k = 1;
    for (; k <= before; ++k) sum += cell_value(cells(k), work.design, work.sbeta);
    if (animal > 0) work.prefix(animal) = sum;
    for (; k <= cells.size(); ++k) sum += cell_value(cells(k), work.design, work.sbeta);
    work.linear(row) = sum;
  }
}

/// The same sums in the same order, taken up where the first varying cell stands.
template <class Real>
void animal_linear_predictors(const Model_arrays& model, const List<int>& animals, Real_work<Real>& work) {
  for (const int animal : animals) {
    const int row = model.dmicrows(animal);
    const List<Design_cell>& cells = model.design_rows(row);
    Real sum = work.prefix(animal);
    for (int k = work.prefix_cells(animal) + 1; k <= cells.size(); ++k)
      sum += cell_value(cells(k), work.design, work.sbeta);
    work.linear(row) = sum;
  }
}

template <class Real>
void add_up_set(const Job& job, int set, Real_work<Real>& work) {
  const Model_arrays& model = job.model;
  const Link_set& range = work.link_sets(set);
  Real sum(0.0);
  double fixed = 0.0;
  for (int k = range.first; k <= range.last; ++k) {
    const Link_function_row& member = model.linkfuncptr(k);
    if (member.fixed > 0) {
      fixed += model.fixval(member.fixed);
      continue;
    }
    const Real& x = work.linear(member.parm);
    Real& parm = work.parm(member.parm);
    parm = member.code == Link::sumratio ? abs(x) : exprep(x);
    sum += parm;
  }
  work.exp_sum(set) = sum;
  work.fixed_sum(set) = fixed;
  if (fixed > 1.0 && work.fault.empty()) {
    const Link_function_row& head = model.linkfuncptr(range.first);
    work.fault = "Sum of fixed values for " + std::string(link_name(head.code)) + "(" + adjustfmt(head.set) +
                 ") that exceeded 1.0 was " + f14(job, fixed);
  }
}

template <class Real>
void tell_link_fault(Link link, Real_work<Real>& work) {
  if (work.fault.empty())
    work.fault = link == Link::sumratio ? "SUMRATIO link for a real parameter that stands in no set."
                                        : "Incorrect LINK function number specified.";
}

template <bool sloped, class Real>
void finish_row(const Model_arrays& model, int row, Real_work<Real>& work) {
  const int set = work.set_of(row);
  Real& parm = work.parm(row);
  // A member of a set holds its exponential or size here already, unless it is fixed.
  if (set == 0) parm = work.linear(row);
  const Link link = model.lindex(row);
  Real no_slope;
  Real& slope = sloped ? work.slope(row) : no_slope;
  if (link == Link::mlogit || link == Link::clogit) {
    // KEPT: a row of these links that stands in no set keeps its linear predictor: the divisor is 1 + 0.
    if constexpr (sloped) slope = 1.0;
    if (set > 0) parm = parm / (1.0 + work.exp_sum(set)) * (1.0 - work.fixed_sum(set));
    return;
  }
  bool known = true;
  if (link == Link::sumratio && set > 0)
    parm = parm / work.exp_sum(set);
  else
    parm = apply_link<sloped>(link, Real(parm), slope, known);
  if (!known) tell_link_fault(link, work);
}

/// Linear predictor and value of a row, as `animal_linear_predictors` and `finish_row` give them.
template <bool sloped, class Real>
void finish_direct(const Direct_row& direct, Real_work<Real>& work) {
  Real sum = work.prefix(direct.animal);
  for (const Design_cell* cell = direct.from; cell != direct.to; ++cell)
    sum += cell_value(*cell, work.design, work.sbeta);
  work.linear(direct.row) = sum;
  if (!sloped && direct.link == Link::logit) {
    work.parm(direct.row) = expit(sum);
    return;
  }
  Real no_slope;
  bool known = true;
  work.parm(direct.row) =
      apply_link<sloped>(direct.link, sum, sloped ? work.slope(direct.row) : no_slope, known);
  if (!known) tell_link_fault(direct.link, work);
}

/// `updatedm`; betas leave their trace in the design functions that hold them.
template <class Real>
const char* update_cells(const Job& job, int hist, std::span<const Real> xbeta, Real_work<Real>& work,
                         const double* other_values, const List<int>* wanted) {
  if constexpr (has_traces<Real>) {
    if (work.functions != nullptr) {
      Traced_functions<Real>& functions = *work.functions;
      functions.trace.drop_kept();
      for (std::size_t k = 0; k < xbeta.size(); ++k)
        functions.xbeta[k] = Traced<Real>(xbeta[k], 1.0, functions.trace.leaf(k));
      const auto keep = functions.trace.keep();
      const char* fault = updatedm<Traced<Real>>(job, hist, functions.xbeta, functions.design, other_values);
      for (int v = 1; v <= work.design.cells.size(); ++v) work.design.cells(v) = functions.design.cells(v).v;
      return fault;
    }
  }
  if (wanted == nullptr || other_values != nullptr || job.model.functions.numdmfuncs > 0)
    return updatedm<Real>(job, hist, xbeta, work.design, other_values, wanted);
  // Covariates alone, from record to record.
  const std::span<const double> own = job.data.encounters.ind_covariates(hist);
  for (const int v : *wanted) {
    const int covariate = job.model.varying_cells(v).covariate;
    if (static_cast<std::size_t>(covariate) > own.size())
      return updatedm<Real>(job, hist, xbeta, work.design, other_values, wanted);
    work.design.cells(v) = own[static_cast<std::size_t>(covariate) - 1];
  }
  return nullptr;
}

/// Turns the derivatives by the members of a set into those by their linear predictors, in `to.parm`.
template <class T>
void set_back(const Model_arrays& model, int set, const Real_work<T>& work, Real_adjoints<T>& to) {
  const Link_set& range = work.link_sets(set);
  T whole(0.0);
  const auto each = [&](const auto& visit) {
    for (int k = range.first; k <= range.last; ++k) {
      const Link_function_row& member = model.linkfuncptr(k);
      if (member.fixed == 0) visit(to.parm(member.parm), work.parm(member.parm), work.linear(member.parm));
    }
  };
  each([&](const T& adjoint, const T& value, const T&) { whole += adjoint * value; });
  const T& sum = work.exp_sum(set);
  if (model.linkfuncptr(range.first).code == Link::sumratio) {
    each([&](T& adjoint, const T&, const T& x) {
      adjoint = x == 0.0 ? T(0.0) : (adjoint - whole) / (x < 0.0 ? -sum : sum);
    });
    return;
  }
  const double share = 1.0 - work.fixed_sum(set);
  each([&](T& adjoint, const T& value, const T& x) {
    adjoint = has_slope(x) && share != 0.0 ? value * (adjoint - whole / share) : T(0.0);
  });
}

/// Hands the derivative by a row's linear predictor down to what it is made of.
template <class T>
void predictor_back(const Model_arrays& model, int row, const T& adjoint, Real_work<T>& work,
                    Real_adjoints<T>& to) {
  to.linear(row) += adjoint;
  const int animal = work.animal_of(row);
  if (animal == 0) return;
  const List<Design_cell>& cells = model.design_rows(row);
  for (int k = work.prefix_cells(animal) + 1; k <= cells.size(); ++k) {
    const Design_cell& cell = cells(k);
    if (cell.varying == 0) {
      to.sbeta(cell.col) += cell.value * adjoint;
      continue;
    }
    to.sbeta(cell.col) += work.design.cells(cell.varying) * adjoint;
    if (work.functions != nullptr)
      add_to_result(work.functions->design.cells(cell.varying), adjoint * work.sbeta(cell.col));
  }
}

/// Gives a link to every real parameter that stands in a matrix of parameter q.
void override_link(Job& job, int q, Link link) {
  Model_arrays& model = job.model;
  for_each_matrix_of(job, q, [&model, link](const Pim_place&, const Pim& pim) {
    for_each_cell(pim, [&model, link](int, int, int number) {
      if (number >= 1 && number <= model.nlogit) model.lindex(number) = link;
    });
  });
}

}  // namespace

template <class Real>
void prepare(Job& job, Real_work<Real>& work, bool slopes) {
  const Model_arrays& model = job.model;
  work.begin_stamps(++job.model.real_works);
  work.fault.clear();
  work.fault.reserve(200);
  work.beta.assign(model.ncovs_nlbetas, Real(0.0));
  if (model.beta.present())
    for (int i = 1; i <= model.ncovs_nlbetas; ++i) work.beta(i) = model.beta(i);
  work.sbeta.assign(model.ncovs, Real(0.0));
  work.linear.assign(model.nlogit, Real(0.0));
  work.parm.assign(model.nlogit, Real(0.0));
  work.slope.assign(slopes ? model.nlogit : 0, Real(0.0));

  work.prefix.assign(model.dmicrows.size(), Real(0.0));
  work.prefix_cells.clear();
  work.animal_of.assign(model.nlogit, 0);
  for (int row : model.dmicrows) {
    const List<Design_cell>& cells = model.design_rows(row);
    const auto first =
        std::find_if(cells.begin(), cells.end(), [](const Design_cell& cell) { return cell.varying > 0; });
    work.prefix_cells.push_back(static_cast<int>(first - cells.begin()));
    work.animal_of(row) = work.prefix_cells.size();
  }

  find_sets(model, work.link_sets, work.set_of);
  work.exp_sum.assign(work.link_sets.size(), Real(0.0));
  work.fixed_sum.assign(work.link_sets.size(), 0.0);
  List<int> every_row;
  for (int i = 1; i <= model.nlogit; ++i) every_row.push_back(i);
  work.animal = pass_of_rows(model, work, model.dmicrows);
  List<char> in_animal_pass(model.nlogit, 0);
  for (const int row : work.animal.rows) in_animal_pass(row) = 1;
  List<int> others;
  for (int i = 1; i <= model.nlogit; ++i)
    if (!in_animal_pass(i)) others.push_back(i);
  work.shared = pass_of_rows(model, work, others);
  work.all = pass_of_rows(model, work, every_row);
  prepare(job, work.design);

  work.functions.reset();
  if constexpr (has_traces<Real>) {
    if (!slopes || !holds_betas(model.functions)) return;
    work.functions = std::make_unique<Traced_functions<Real>>();
    const std::size_t betas = static_cast<std::size_t>(estimated_betas(model));
    work.functions->trace.begin(betas);
    work.functions->xbeta.resize(betas);
    prepare(job, work.functions->design);
  }
}

template <class Real>
void tranlg(const Job& job, int hist, std::span<const Real> xbeta, Real_work<Real>& work, int newbeta,
            int allrows, const double* other_values, const Link_pass* own) {
  const Model_arrays& model = job.model;
  const bool everything = newbeta == 1 || allrows != 0;
  const Link_pass& pass = everything ? work.all : own != nullptr ? *own : work.animal;
  if (!model.varying_cells.empty()) {
    const char* fault =
        update_cells<Real>(job, hist, xbeta, work, other_values, everything ? nullptr : &pass.cells);
    if (fault != nullptr && work.fault.empty()) work.fault = fault;
  }
  everything ? work.changed() : work.changed_for_record();
  const View<const Real> estimated(xbeta);
  if (everything) {
    for (int i = 1; i <= model.ncovs_nlbetas; ++i)
      if (model.bindex(i) > 0) work.beta(i) = estimated(model.bindex(i));
    for (int i = 1; i <= model.ncovs; ++i) work.sbeta(i) = work.beta(i) * model.scalefactor(i);
    all_linear_predictors(model, work);
  } else {
    if (model.dmicrows.empty()) return;
    animal_linear_predictors(model, pass.other_animals, work);
  }
  for (int set : pass.sets) add_up_set(job, set, work);
  const auto finish_rows = [&](auto sloped) {
    for (int row : everything ? pass.rows : pass.other_rows) finish_row<sloped()>(model, row, work);
    if (everything) return;
    for (const Direct_row& direct : pass.direct) finish_direct<sloped()>(direct, work);
  };
  if constexpr (has_traces<Real>)
    work.slope.empty() ? finish_rows(std::false_type()) : finish_rows(std::true_type());
  else
    finish_rows(std::false_type());
  for (int j : pass.fixed) work.parm(model.fixdex(j)) = model.fixval(j);
}

bool Record_strip::serves(const Job& job, const Link_pass& pass) {
  const Model_arrays& model = job.model;
  if (model.functions.numdmfuncs > 0 || !pass.other_rows.empty() || !pass.sets.empty() || !pass.fixed.empty())
    return false;
  for (const Direct_row& direct : pass.direct) {
    double slope = 0.0;
    bool known = true;
    apply_link<false>(direct.link, 0.0, slope, known);
    if (!known) return false;
  }
  return std::all_of(pass.cells.begin(), pass.cells.end(), [&](int v) {
    const int covariate = model.varying_cells(v).covariate;
    return covariate >= 1 && covariate <= job.status.nicovs;
  });
}

void Record_strip::go_to(const Job& job, int i, const Link_pass& pass, Real_work<double>& work) {
  if (pass_ != &pass || i < first_ || i >= first_ + count_) compute(job, i, pass, work);
  const double* value = values_.data() + (i - first_);
  for (const Direct_row& direct : pass.direct) {
    work.parm(direct.row) = *value;
    value += size;
  }
  work.changed_for_record();
}

void Record_strip::compute(const Job& job, int first, const Link_pass& pass, const Real_work<double>& work) {
  const Model_arrays& model = job.model;
  const Encounter_store& encounters = job.data.encounters;
  pass_ = &pass;
  first_ = first;
  count_ = std::min(size, encounters.size() - first + 1);
  values_.resize(pass.direct.size() * size);
  const double* const covariates = encounters.ind_covariates(first).data();
  double* value = values_.data();
  for (const Direct_row& direct : pass.direct) {
    std::fill(value, value + count_, work.prefix(direct.animal));
    for (const Design_cell* cell = direct.from; cell != direct.to; ++cell) {
      const double beta = work.sbeta(cell->col);
      if (cell->varying == 0) {
        for (int k = 0; k < count_; ++k) value[k] += cell->value * beta;
      } else {
        const double* own = covariates + model.varying_cells(cell->varying).covariate - 1;
        for (int k = 0; k < count_; ++k, own += job.status.nicovs) value[k] += *own * beta;
      }
    }
    bool known = true;
    double no_slope = 0.0;
    if (direct.link == Link::logit) {
      // In two passes, so that divisions go side by side and wait for no exponential.
      for (int k = 0; k < count_; ++k) value[k] = odds_against(value[k]);
#pragma omp simd
      for (int k = 0; k < count_; ++k) value[k] = 1.0 / (1.0 + value[k]);
    } else {
      for (int k = 0; k < count_; ++k) value[k] = apply_link<false>(direct.link, value[k], no_slope, known);
    }
    value += size;
  }
}

template <class Real>
Link_pass part_of_animal_pass(const Job& job, const Real_work<Real>& work, const List<int>& rows) {
  List<char> wanted(job.model.nlogit, 0);
  for (const int row : rows) wanted(row) = 1;
  List<int> own;
  for (const int row : work.animal.rows)
    if (wanted(row)) own.push_back(row);
  return pass_of_rows(job.model, work, own);
}

template <class T>
void Real_adjoints<T>::begin(const Job& job, bool by_record) {
  const Model_arrays& model = job.model;
  parm.assign(model.nlogit, T(0.0));
  // Without covariates all real parameters wait until the end.
  linear.assign(by_record ? model.nlogit : 0, T(0.0));
  sbeta.assign(by_record ? model.ncovs : 0, T(0.0));
  xbeta.assign(by_record && holds_betas(model.functions) ? estimated_betas(model) : 0, T(0.0));
}

template <class T>
void Real_adjoints<T>::add(const Real_adjoints& other) {
  const auto add_list = [](List<T>& to, const List<T>& from) {
    for (int k = 1; k <= from.size(); ++k) to(k) += from(k);
  };
  add_list(parm, other.parm);
  add_list(linear, other.linear);
  add_list(sbeta, other.sbeta);
  add_list(xbeta, other.xbeta);
}

template <class T>
void links_back(const Job& job, const Link_pass& pass, Real_work<T>& work, Real_adjoints<T>& to) {
  const Model_arrays& model = job.model;
  for (const int j : pass.fixed) to.parm(model.fixdex(j)) = 0.0;
  for (const int set : pass.sets) set_back(model, set, work, to);
  for (const int row : pass.rows) {
    T& adjoint = to.parm(row);
    if (is_nothing(adjoint)) continue;
    predictor_back(model, row, work.set_of(row) > 0 ? adjoint : T(adjoint * work.slope(row)), work, to);
    adjoint = 0.0;
  }
  if (work.functions != nullptr) work.functions->trace.walk_kept_back();
}

template <class T>
void functions_back(Real_work<T>& work, Real_adjoints<T>& to) {
  if (work.functions == nullptr) return;
  for (int k = 1; k <= to.xbeta.size(); ++k)
    to.xbeta(k) += work.functions->trace.take_adjoint(static_cast<std::size_t>(k) - 1);
}

template <class T>
void betas_back(const Job& job, const Real_work<T>& work, Real_adjoints<T>& from, std::span<T> gradient) {
  const Model_arrays& model = job.model;
  for (int row = 1; row <= model.nlogit; ++row) {
    const List<Design_cell>& cells = model.design_rows(row);
    const int animal = work.animal_of(row);
    const int shared = animal > 0 ? work.prefix_cells(animal) : cells.size();
    for (int k = 1; k <= shared; ++k) from.sbeta(cells(k).col) += cells(k).value * from.linear(row);
  }
  for (std::size_t k = 0; k < gradient.size(); ++k)
    gradient[k] = from.xbeta.empty() ? T(0.0) : from.xbeta(static_cast<int>(k) + 1);
  for (int i = 1; i <= model.ncovs; ++i)
    if (const int position = model.bindex(i); position > 0)
      gradient[static_cast<std::size_t>(position) - 1] += from.sbeta(i) * model.scalefactor(i);
}

Beta_rows rows_of_beta(const Job& job, const Real_work<double>& work, int beta) {
  const Model_arrays& model = job.model;
  List<char> in_animal_pass(model.nlogit, 0), holds(model.nlogit, 0);
  for (int row : work.animal.rows) in_animal_pass(row) = 1;
  Beta_rows rows;
  for (int row = 1; row <= model.nlogit; ++row) {
    const List<Design_cell>& cells = model.design_rows(row);
    if (std::none_of(cells.begin(), cells.end(),
                     [beta](const Design_cell& cell) { return cell.col == beta; }))
      continue;
    holds(row) = 1;
    if (in_animal_pass(row)) rows.sums.push_back(row);
  }
  for (int set = 1; set <= work.link_sets.size(); ++set) {
    const Link_set& range = work.link_sets(set);
    const auto member_row = [&](int k) { return model.linkfuncptr(k).parm; };
    bool moves = false;
    for (int k = range.first; k <= range.last; ++k) moves = moves || holds(member_row(k));
    if (!moves) continue;
    if (in_animal_pass(member_row(range.first))) rows.animal.sets.push_back(set);
    for (int k = range.first; k <= range.last; ++k) holds(member_row(k)) = 1;
  }
  for (int row = 1; row <= model.nlogit; ++row)
    if (holds(row)) (in_animal_pass(row) ? rows.animal.rows : rows.others).push_back(row);
  for (int j = 1; j <= model.nfixed(); ++j) {
    const int row = model.fixdex(j);
    if (holds(row) && in_animal_pass(row)) rows.animal.fixed.push_back(j);
  }
  return rows;
}

void shift_beta(const Job& job, Real_work<double>& work, const Beta_rows& rows, int beta, double value,
                Shift_undo& undo) {
  const Model_arrays& model = job.model;
  undo.linear.clear();
  undo.parm.clear();
  for (int row : rows.sums) undo.linear.push_back(work.linear(row));
  for (int row : rows.animal.rows) undo.parm.push_back(work.parm(row));
  undo.beta = work.beta(beta);
  undo.sbeta = work.sbeta(beta);
  work.beta(beta) = value;
  work.sbeta(beta) = value * model.scalefactor(beta);
  for (int row : rows.sums) {
    double sum = 0.0;
    for (const Design_cell& cell : model.design_rows(row)) sum += cell_value(cell, work.design, work.sbeta);
    work.linear(row) = sum;
  }
  for (int set : rows.animal.sets) add_up_set(job, set, work);
  for (int row : rows.animal.rows) finish_row<false>(model, row, work);
  for (int j : rows.animal.fixed) work.parm(model.fixdex(j)) = model.fixval(j);
  work.changed();
}

void undo_shift(Real_work<double>& work, const Beta_rows& rows, int beta, const Shift_undo& undo) {
  work.beta(beta) = undo.beta;
  work.sbeta(beta) = undo.sbeta;
  for (int k = 1; k <= rows.sums.size(); ++k) work.linear(rows.sums(k)) = undo.linear(k);
  for (int k = 1; k <= rows.animal.rows.size(); ++k) work.parm(rows.animal.rows(k)) = undo.parm(k);
  work.changed();
}

void exchange_reals(Real_work<double>& work, std::span<Placed_real> rows) {
  for (Placed_real& placed : rows) std::swap(work.parm(placed.row), placed.value);
  work.changed();
}

#define TARN_LINK_INSTANCE(type, name)                                                           \
  template void prepare<type>(Job&, Real_work<type>&, bool);                                     \
  template void tranlg<type>(const Job&, int, std::span<const type>, Real_work<type>&, int, int, \
                             const double*, const Link_pass*);                                   \
  template Link_pass part_of_animal_pass<type>(const Job&, const Real_work<type>&, const List<int>&);
TARN_LINK_SCALARS(TARN_LINK_INSTANCE)
#undef TARN_LINK_INSTANCE

#define TARN_BACK_INSTANCE(type, name)                                                                  \
  template struct Real_adjoints<type>;                                                                  \
  template void links_back<type>(const Job&, const Link_pass&, Real_work<type>&, Real_adjoints<type>&); \
  template void functions_back<type>(Real_work<type>&, Real_adjoints<type>&);                           \
  template void betas_back<type>(const Job&, const Real_work<type>&, Real_adjoints<type>&, std::span<type>);
TARN_BASE_SCALARS(TARN_BACK_INSTANCE)
#undef TARN_BACK_INSTANCE

std::vector<char> rows_by_record(const Model_arrays& model) {
  std::vector<char> varies(static_cast<std::size_t>(model.nlogit), 0);
  for (const int row : model.dmicrows) varies[static_cast<std::size_t>(row) - 1] = 1;
  for (const Link_function_row& varying : model.linkfuncptr) {
    if (!std::binary_search(model.dmicrows.begin(), model.dmicrows.end(), varying.parm)) continue;
    for (const Link_function_row& member : model.linkfuncptr)
      if (member.code == varying.code && member.set == varying.set)
        varies[static_cast<std::size_t>(member.parm) - 1] = 1;
  }
  return varies;
}

void find_fixed_members(Job& job) {
  Model_arrays& model = job.model;
  for (Link_function_row& member : model.linkfuncptr) {
    const auto found = std::find(model.fixdex.begin(), model.fixdex.end(), member.parm);
    member.fixed = found == model.fixdex.end() ? 0 : static_cast<int>(found - model.fixdex.begin()) + 1;
  }
}

void links_statement(Job& job) {
  Model_arrays& model = job.model;
  for (int i = 1; i <= model.nlogit; ++i) {
    getcmd(job);
    const std::string name = word(job, 1);
    Link code = link_of(name);
    if (code == Link::none) {
      warn(job, "unidentified LINK function " + name);
      code = Link::logit;
      warn(job, "LINK function set to LOGIT        ");
    }
    model.lindex(i) = code;
    if (!links_a_set(code)) continue;
    Link_function_row member;
    member.code = code;
    member.set = ivalue(job, word_as_typed(job, 3));
    if (code == Link::clogit) member.second = ivalue(job, word_as_typed(job, 4));
    member.parm = i;
    model.linkfuncptr.push_back(member);
  }
  // The rows of one set must stand together, whatever stood between them in the deck.
  std::stable_sort(model.linkfuncptr.begin(), model.linkfuncptr.end(),
                   [](const Link_function_row& one, const Link_function_row& two) {
                     return one.code != two.code ? one.code < two.code : one.set < two.set;
                   });
  find_fixed_members(job);
}

void setlink(Job& job) {
  Model_arrays& model = job.model;
  if (model.nlink == Link::parm_specific) return;
  model.lindex.fill(model.nlink);
  const Datatype& type = datatype(job.status.dattyp);
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const std::string& name = job.data.parameterlist(q);
    if (names_hold(type.log_link, name)) override_link(job, q, Link::log);
    if (names_hold(type.identity_link, name)) override_link(job, q, Link::identity);
  }
}

void check_links(Job& job) {
  Model_arrays& model = job.model;
  if (model.nlink != Link::parm_specific && model.nummlogit() > 0) {
    warn(job, "The LINKS statement has no effect without LINK=PARM-SPECIFIC.");
    model.linkfuncptr.clear();
  }
  List<Link_set> sets;
  List<int> set_of;
  find_sets(model, sets, set_of);
  for (int i = 1; i <= model.nlogit; ++i)
    if (model.lindex(i) == Link::sumratio && set_of(i) == 0)
      error(job, "SUMRATIO link for real parameter " + adjustfmt(i) + " that stands in no set.");
}

double link_derivative(Job& job, Link link, double p) {
  switch (link) {
    case Link::logit:
      return p * (1.0 - p);
    case Link::loglog:
      return -p * floored_log(p);
    case Link::cloglog:
      return -(1.0 - p) * floored_log(1.0 - p);
    case Link::sin:
      return sqrt(p * (1.0 - p));
    case Link::log:
      return p;
    case Link::identity:
    case Link::absolute:
      return 1.0;
    case Link::cauchy: {
      const double s = sin(std::numbers::pi * p);
      return s * s / std::numbers::pi;
    }
    default:
      error(job, "An incorrect LINK function number specified.");
  }
}

const double* report_values(const Job& job, std::vector<double>& zeros) {
  if (job.model.licovs == 0) return nullptr;
  if (job.model.nicvalues() > 0) return job.model.icvalues.data();
  if (job.status.icmeans == 0) return nullptr;
  if (job.status.stdic == 0) return job.data.icvrmn.data();
  // The mean of a standardised covariate is 0.
  zeros.assign(static_cast<std::size_t>(job.status.nicovs), 0.0);
  return zeros.data();
}

void recompute_reals(Job& job, int hist, std::span<const double> xbeta) {
  Real_work<double> work;
  prepare(job, work);
  std::vector<double> zeros;
  tranlg<double>(job, hist, xbeta, work, 1, 0, report_values(job, zeros));
  if (!work.fault.empty()) error(job, work.fault);
  std::copy(work.parm.begin(), work.parm.end(), job.model.parm.begin());
}

}  // namespace tarn
