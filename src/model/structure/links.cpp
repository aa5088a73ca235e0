#include "model/structure/links.h"

#include <algorithm>
#include <numbers>

#include "data/catalogue/datatype.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "numerics/scalars.h"

namespace tarn {

namespace {

enum Link {
  logit_link = 1,
  loglog_link,
  cloglog_link,
  sin_link,
  log_link,
  identity_link,
  parm_specific,
  mlogit_link,
  clogit_link,
  absolute_link,
  cauchy_link,
  sumratio_link
};

std::size_t at(int i) { return static_cast<std::size_t>(i); }

/// A link with a value of its own; other codes leave `known` false.
template <class Real>
Real apply_link(int link, const Real& x, bool& known) {
  switch (link) {
    case logit_link:
      return expit(x);
    case loglog_link:
      return exprep(-exprep(-x));
    case cloglog_link:
      return 1.0 - exprep(-exprep(x));
    case sin_link:
      return (sin(x) + 1.0) * 0.5;
    case log_link:
      return exprep(x);
    case identity_link:
      return x;
    case absolute_link: {
      Real size = abs(x);
      return size > minlog ? size : Real(minlog);
    }
    case cauchy_link:
      return atan(x) / std::numbers::pi + 0.5;
    default:
      known = false;
      return x;
  }
}

void find_sets(const Model_arrays& model, std::vector<Link_set>& sets, std::vector<int>& set_of) {
  sets.clear();
  set_of.assign(at(model.nlogit), -1);
  for (int k = 0; k < model.nummlogit(); ++k) {
    const Link_function_row& member = model.linkfuncptr[at(k)];
    const bool same = k > 0 && member.code == model.linkfuncptr[at(k - 1)].code &&
                      member.set == model.linkfuncptr[at(k - 1)].set;
    if (same)
      sets.back().last = k;
    else
      sets.push_back({k, k});
    if (member.parm >= 1 && member.parm <= model.nlogit)
      set_of[at(member.parm - 1)] = static_cast<int>(sets.size()) - 1;
  }
}

/// The rows of `dmicrows` and of every set that holds one of them.
void find_animal_pass(const Model_arrays& model, const std::vector<Link_set>& sets,
                      const std::vector<int>& set_of, Link_pass& animal) {
  std::vector<char> wanted(at(model.nlogit), 0), set_wanted(sets.size(), 0);
  for (int row : model.dmicrows) {
    wanted[at(row - 1)] = 1;
    if (set_of[at(row - 1)] >= 0) set_wanted[at(set_of[at(row - 1)])] = 1;
  }
  animal = {};
  for (std::size_t s = 0; s < sets.size(); ++s) {
    if (!set_wanted[s]) continue;
    animal.sets.push_back(static_cast<int>(s));
    for (int k = sets[s].first; k <= sets[s].last; ++k) wanted[at(model.linkfuncptr[at(k)].parm - 1)] = 1;
  }
  for (int i = 1; i <= model.nlogit; ++i)
    if (wanted[at(i - 1)]) animal.rows.push_back(i);
  for (int j = 0; j < model.nfixed(); ++j)
    if (wanted[at(model.fixdex[at(j)] - 1)]) animal.fixed.push_back(j);
}

template <class Real>
Real cell_value(const Design_cell& cell, const Design_work<Real>& design, const std::vector<Real>& sbeta) {
  const Real& beta = sbeta[at(cell.col - 1)];
  return cell.varying < 0 ? cell.value * beta : design.cells[at(cell.varying)] * beta;
}

template <class Real>
void all_linear_predictors(const Model_arrays& model, Real_work<Real>& work) {
  std::size_t animal = 0;
  for (int row = 1; row <= model.nlogit; ++row) {
    const std::vector<Design_cell>& cells = model.design_rows[at(row - 1)];
    const bool varies = animal < model.dmicrows.size() && model.dmicrows[animal] == row;
    const std::size_t before = varies ? at(work.prefix_cells[animal]) : cells.size();
    Real sum(0.0);
    std::size_t k = 0;
    for (; k < before; ++k) sum += cell_value(cells[k], work.design, work.sbeta);
    if (varies) work.prefix[animal++] = sum;
    for (; k < cells.size(); ++k) sum += cell_value(cells[k], work.design, work.sbeta);
    work.linear[at(row - 1)] = sum;
  }
}

/// The same sums in the same order, taken up where the first varying cell stands.
template <class Real>
void animal_linear_predictors(const Model_arrays& model, Real_work<Real>& work) {
  for (std::size_t animal = 0; animal < model.dmicrows.size(); ++animal) {
    const int row = model.dmicrows[animal];
    const std::vector<Design_cell>& cells = model.design_rows[at(row - 1)];
    Real sum = work.prefix[animal];
    for (std::size_t k = at(work.prefix_cells[animal]); k < cells.size(); ++k)
      sum += cell_value(cells[k], work.design, work.sbeta);
    work.linear[at(row - 1)] = sum;
  }
}

template <class Real>
void add_up_set(const Job& job, int set, Real_work<Real>& work) {
  const Model_arrays& model = job.model;
  const Link_set& range = work.link_sets[at(set)];
  Real sum(0.0);
  double fixed = 0.0;
  for (int k = range.first; k <= range.last; ++k) {
    const Link_function_row& member = model.linkfuncptr[at(k)];
    if (member.fixed > 0) {
      fixed += model.fixval[at(member.fixed - 1)];
      continue;
    }
    const Real& x = work.linear[at(member.parm - 1)];
    Real& parm = work.parm[at(member.parm - 1)];
    parm = member.code == sumratio_link ? abs(x) : exprep(x);
    sum += parm;
  }
  work.exp_sum[at(set)] = sum;
  work.fixed_sum[at(set)] = fixed;
  if (fixed > 1.0 && work.fault.empty()) {
    const Link_function_row& head = model.linkfuncptr[at(range.first)];
    work.fault = std::string("Sum of fixed values for ") + link_names[at(head.code - 1)] + "(" +
                 adjustfmt(head.set) + ") that exceeded 1.0 was " + f14(job, fixed);
  }
}

template <class Real>
void finish_row(const Model_arrays& model, int row, Real_work<Real>& work) {
  const int set = work.set_of[at(row - 1)];
  Real& parm = work.parm[at(row - 1)];
  // A member of a set holds its exponential or size here already, unless it is fixed.
  if (set < 0) parm = work.linear[at(row - 1)];
  const int link = model.lindex(row);
  if (link == mlogit_link || link == clogit_link) {
    // KEPT: a row of these links that stands in no set keeps its linear predictor: the divisor is 1 + 0.
    if (set >= 0) parm = parm / (1.0 + work.exp_sum[at(set)]) * (1.0 - work.fixed_sum[at(set)]);
    return;
  }
  bool known = true;
  if (link == sumratio_link && set >= 0)
    parm = parm / work.exp_sum[at(set)];
  else
    parm = apply_link(link, Real(parm), known);
  if (!known && work.fault.empty())
    work.fault = link == sumratio_link ? "SUMRATIO link for a real parameter that stands in no set."
                                       : "Incorrect LINK function number specified.";
}

/// Gives a link to every real parameter that stands in a matrix of parameter q.
void override_link(Job& job, int q, int link) {
  Model_arrays& model = job.model;
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int b = model.pim2index3lobd; b <= model.pim2index3upbd; ++b)
      for (int a = model.pim2index2lobd; a <= model.pim2index2upbd; ++a)
        // Cells that do not exist hold 0, like those without a number.
        for (int number : model.pim2(q, a, b, g).cells)
          if (number >= 1 && number <= model.nlogit) model.lindex(number) = link;
}

}  // namespace

template <class Real>
void prepare(Job& job, Real_work<Real>& work) {
  const Model_arrays& model = job.model;
  work.begin_stamps(++job.model.real_works);
  work.fault.clear();
  work.fault.reserve(200);
  const std::size_t betas = at(model.ncovs_nlbetas), reals = at(model.nlogit);
  work.beta.assign(betas, Real(0.0));
  if (model.beta.present())
    for (std::size_t i = 0; i < betas; ++i) work.beta[i] = model.beta(static_cast<int>(i) + 1);
  work.sbeta.assign(at(model.ncovs), Real(0.0));
  work.linear.assign(reals, Real(0.0));
  work.parm.assign(reals, Real(0.0));

  work.prefix.assign(model.dmicrows.size(), Real(0.0));
  work.prefix_cells.clear();
  for (int row : model.dmicrows) {
    const std::vector<Design_cell>& cells = model.design_rows[at(row - 1)];
    const auto first =
        std::find_if(cells.begin(), cells.end(), [](const Design_cell& cell) { return cell.varying >= 0; });
    work.prefix_cells.push_back(static_cast<int>(first - cells.begin()));
  }

  find_sets(model, work.link_sets, work.set_of);
  work.exp_sum.assign(work.link_sets.size(), Real(0.0));
  work.fixed_sum.assign(work.link_sets.size(), 0.0);
  find_animal_pass(model, work.link_sets, work.set_of, work.animal);
  work.all = {};
  for (std::size_t s = 0; s < work.link_sets.size(); ++s) work.all.sets.push_back(static_cast<int>(s));
  for (int i = 1; i <= model.nlogit; ++i) work.all.rows.push_back(i);
  for (int j = 0; j < model.nfixed(); ++j) work.all.fixed.push_back(j);
  prepare(job, work.design);
}

template <class Real>
void tranlg(const Job& job, int hist, std::span<const Real> xbeta, Real_work<Real>& work, int newbeta,
            int allrows, const double* other_values) {
  const Model_arrays& model = job.model;
  if (!model.varying_cells.empty()) {
    const char* fault = updatedm(job, hist, xbeta, work.design, other_values);
    if (fault != nullptr && work.fault.empty()) work.fault = fault;
  }
  const bool everything = newbeta == 1 || allrows != 0;
  if (everything) {
    for (int i = 1; i <= model.ncovs_nlbetas; ++i)
      if (model.bindex(i) > 0) work.beta[at(i - 1)] = xbeta[at(model.bindex(i) - 1)];
    for (int i = 1; i <= model.ncovs; ++i)
      work.sbeta[at(i - 1)] = work.beta[at(i - 1)] * model.scalefactor(i);
    all_linear_predictors(model, work);
  } else {
    if (model.dmicrows.empty()) return;
    animal_linear_predictors(model, work);
  }
  work.changed();
  const Link_pass& pass = everything ? work.all : work.animal;
  for (int set : pass.sets) add_up_set(job, set, work);
  for (int row : pass.rows) finish_row(model, row, work);
  for (int j : pass.fixed) work.parm[at(model.fixdex[at(j)] - 1)] = model.fixval[at(j)];
}

Beta_rows rows_of_beta(const Job& job, const Real_work<double>& work, int beta) {
  const Model_arrays& model = job.model;
  std::vector<char> in_animal_pass(at(model.nlogit), 0), holds(at(model.nlogit), 0);
  for (int row : work.animal.rows) in_animal_pass[at(row - 1)] = 1;
  Beta_rows rows;
  for (int row = 1; row <= model.nlogit; ++row) {
    const std::vector<Design_cell>& cells = model.design_rows[at(row - 1)];
    if (std::none_of(cells.begin(), cells.end(),
                     [beta](const Design_cell& cell) { return cell.col == beta; }))
      continue;
    holds[at(row - 1)] = 1;
    if (in_animal_pass[at(row - 1)]) rows.sums.push_back(row);
  }
  for (std::size_t set = 0; set < work.link_sets.size(); ++set) {
    const auto member_row = [&](int k) { return model.linkfuncptr[at(k)].parm; };
    bool moves = false;
    for (int k = work.link_sets[set].first; k <= work.link_sets[set].last; ++k)
      moves = moves || holds[at(member_row(k) - 1)];
    if (!moves) continue;
    if (in_animal_pass[at(member_row(work.link_sets[set].first) - 1)])
      rows.animal.sets.push_back(static_cast<int>(set));
    for (int k = work.link_sets[set].first; k <= work.link_sets[set].last; ++k)
      holds[at(member_row(k) - 1)] = 1;
  }
  for (int row = 1; row <= model.nlogit; ++row)
    if (holds[at(row - 1)]) (in_animal_pass[at(row - 1)] ? rows.animal.rows : rows.others).push_back(row);
  for (int j = 0; j < model.nfixed(); ++j) {
    const int row = model.fixdex[at(j)];
    if (holds[at(row - 1)] && in_animal_pass[at(row - 1)]) rows.animal.fixed.push_back(j);
  }
  return rows;
}

void shift_beta(const Job& job, Real_work<double>& work, const Beta_rows& rows, int beta, double value,
                Shift_undo& undo) {
  const Model_arrays& model = job.model;
  undo.linear.clear();
  undo.parm.clear();
  for (int row : rows.sums) undo.linear.push_back(work.linear[at(row - 1)]);
  for (int row : rows.animal.rows) undo.parm.push_back(work.parm[at(row - 1)]);
  undo.beta = work.beta[at(beta - 1)];
  undo.sbeta = work.sbeta[at(beta - 1)];
  work.beta[at(beta - 1)] = value;
  work.sbeta[at(beta - 1)] = value * model.scalefactor(beta);
  for (int row : rows.sums) {
    double sum = 0.0;
    for (const Design_cell& cell : model.design_rows[at(row - 1)])
      sum += cell_value(cell, work.design, work.sbeta);
    work.linear[at(row - 1)] = sum;
  }
  for (int set : rows.animal.sets) add_up_set(job, set, work);
  for (int row : rows.animal.rows) finish_row(model, row, work);
  for (int j : rows.animal.fixed) work.parm[at(model.fixdex[at(j)] - 1)] = model.fixval[at(j)];
  work.changed();
}

void undo_shift(Real_work<double>& work, const Beta_rows& rows, int beta, const Shift_undo& undo) {
  work.beta[at(beta - 1)] = undo.beta;
  work.sbeta[at(beta - 1)] = undo.sbeta;
  for (std::size_t k = 0; k < rows.sums.size(); ++k) work.linear[at(rows.sums[k] - 1)] = undo.linear[k];
  for (std::size_t k = 0; k < rows.animal.rows.size(); ++k)
    work.parm[at(rows.animal.rows[k] - 1)] = undo.parm[k];
  work.changed();
}

void exchange_reals(Real_work<double>& work, std::span<Placed_real> rows) {
  for (Placed_real& placed : rows) std::swap(work.parm[at(placed.row - 1)], placed.value);
  work.changed();
}

#define TARN_LINK_INSTANCE(type, name)                                                           \
  template void prepare<type>(Job&, Real_work<type>&);                                           \
  template void tranlg<type>(const Job&, int, std::span<const type>, Real_work<type>&, int, int, \
                             const double*);
TARN_LINK_SCALARS(TARN_LINK_INSTANCE)
#undef TARN_LINK_INSTANCE

int link_code(std::string_view name) {
  const auto found = std::find(link_names.begin(), link_names.end(), name);
  return found == link_names.end() ? 0 : static_cast<int>(found - link_names.begin()) + 1;
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
    int code = link_code(name);
    if (code == 0) {
      warn(job, "unidentified LINK function " + name);
      code = logit_link;
      warn(job, "LINK function set to LOGIT        ");
    }
    model.lindex(i) = code;
    if (code != mlogit_link && code != clogit_link && code != sumratio_link) continue;
    Link_function_row member;
    member.code = code;
    member.set = ivalue(job, word_as_typed(job, 3));
    if (code == clogit_link) member.second = ivalue(job, word_as_typed(job, 4));
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
  if (model.nlink == parm_specific) return;
  model.lindex.fill(model.nlink);
  if (job.status.dattyp < 5 || job.status.dattyp > 182) return;
  const Datatype& type = datatype(job.status.dattyp);
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const std::string& name = job.data.parameterlist[at(q - 1)];
    if (names_hold(type.log_link, name)) override_link(job, q, log_link);
    if (names_hold(type.identity_link, name)) override_link(job, q, identity_link);
  }
}

void check_links(Job& job) {
  Model_arrays& model = job.model;
  if (model.nlink != parm_specific && model.nummlogit() > 0) {
    warn(job, "The LINKS statement has no effect without LINK=PARM-SPECIFIC.");
    model.linkfuncptr.clear();
  }
  std::vector<Link_set> sets;
  std::vector<int> set_of;
  find_sets(model, sets, set_of);
  for (int i = 1; i <= model.nlogit; ++i)
    if (model.lindex(i) == sumratio_link && set_of[at(i - 1)] < 0)
      error(job, "SUMRATIO link for real parameter " + adjustfmt(i) + " that stands in no set.");
}

double link_derivative(Job& job, int link, double p) {
  switch (link) {
    case logit_link:
      return p * (1.0 - p);
    case loglog_link:
      return -p * floored_log(p);
    case cloglog_link:
      return -(1.0 - p) * floored_log(1.0 - p);
    case sin_link:
      return sqrt(p * (1.0 - p));
    case log_link:
      return p;
    case identity_link:
    case absolute_link:
      return 1.0;
    case cauchy_link: {
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
  zeros.assign(at(job.status.nicovs), 0.0);
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
