#include <algorithm>

#include "model/structure/design.h"
#include "numerics/scalars.h"

namespace tarn {

namespace {

/// The whole number in a function's argument, towards 0; numbers that no index can be come out as -1.
int whole(double x) { return x > -1e9 && x < 1e9 ? static_cast<int>(x) : -1; }

struct Record_values {
  const double* covariates = nullptr;  ///< 1 to count, from 0
  int count = 0;
  History history;
};

/// The record's covariates and history; absent parts stay empty.
Record_values values_of(const Job& job, int hist, const double* other_values) {
  Record_values record;
  record.count = job.status.nicovs;
  record.covariates = other_values;
  if (hist >= 1 && hist <= job.data.encounters.size()) {
    record.history = job.data.encounters.history(hist);
    if (other_values == nullptr) {
      const std::span<const double> own = job.data.encounters.ind_covariates(hist);
      record.covariates = own.data();
      record.count = static_cast<int>(own.size());
    }
  }
  if (record.covariates == nullptr) record.count = 0;
  return record;
}

constexpr const char* no_covariate_value =
    "Design matrix refers to an individual covariate that no record holds.";

/// Whether some occasion from a to b has a capture in its first (`live`) or second character.
const char* prior_capture(const Record_values& record, double a, double b, bool live, bool& found) {
  const int first = whole(a), last = whole(b);
  found = false;
  if (last < first) return nullptr;
  if (first < 1 || last > record.history.noccas())
    return "Occasion of PRIORCAPL or PRIORCAPD is outside of the encounter history.";
  for (int o = first; o <= last && !found; ++o) {
    const char c = live ? record.history.live(o) : record.history.dead(o);
    found = c != '.' && c != '0';
  }
  return nullptr;
}

bool equal(double a, double b) { return vanishes(std::abs(a - b)); }

/// Result of one function; `fault` takes the text of what must stop the run.
template <class Real>
Real evaluate(const Job& job, int function, int level, const Real& a, const Real& b, View<const Real> xbeta,
              const Record_values& record, const char*& fault) {
  const double x = value_of(a), y = value_of(b);
  switch (function) {
    case add_function:
      return a + b;
    case product_function:
      return a * b;
    case eq_function:
      return equal(x, y) ? 1.0 : 0.0;
    case ge_function:
      return x > y || equal(x, y) ? 1.0 : 0.0;
    case gt_function:
      return x > y ? 1.0 : 0.0;
    case le_function:
      return y > x || equal(x, y) ? 1.0 : 0.0;
    case lt_function:
      return y > x ? 1.0 : 0.0;
    case power_function:
      return pow(a, b);
    case min_function:
      return b < a ? b : a;
    case max_function:
      return b > a ? b : a;
    case log_function:
      return floored_log(a);
    case exp_function:
      return exprep(a);
    case priorcapl_function:
    case priorcapd_function: {
      bool found = false;
      const char* outside = prior_capture(record, x, y, function == priorcapl_function, found);
      if (outside != nullptr) fault = outside;
      return found ? 1.0 : 0.0;
    }
    case nlbeta_function: {
      const Model_arrays& model = job.model;
      const int beta = whole(x) >= 1 && whole(x) <= model.nlbetas ? whole(x) + model.ncovs : 0;
      const int position = beta > 0 ? model.bindex(beta) : 0;
      if (position >= 1 && position <= xbeta.size()) return xbeta(position);
      fault = beta == 0 ? "NLBETA refers to a beta parameter that does not exist."
                        : "NLBETA refers to a beta parameter that is not estimated.";
      return 0.0;
    }
    default:
      fault = level == 1 ? "Incorrect DESIGN Matrix function number specified."
                         : "Incorrect DESIGNTMP Matrix nested function number specified.";
      return 0.0;
  }
}

/// Place of argument 1 or 2 of node k among the arguments of all nodes.
int argument_of(int k, int slot) { return 2 * (k - 1) + slot; }

/// Results of all nodes, the last first, so that a nested one runs before its parent. That of a node of level
/// 1 is left in the place of its own first argument.
template <class Real>
const char* evaluate_nodes(const Job& job, const Record_values& record, View<const Real> xbeta,
                           List<Real>& arguments) {
  const Design_matrix_funcs_module& tables = job.model.functions;
  const char* fault = nullptr;
  for (int k = 1; k <= tables.numdmfuncs; ++k)
    for (int slot = 1; slot <= 2; ++slot) arguments(argument_of(k, slot)) = tables.dmfuncsargs(slot, k);
  for (int k = tables.numdmfuncs; k >= 1; --k) {
    Real &first = arguments(argument_of(k, 1)), &second = arguments(argument_of(k, 2));
    for (int slot = 1; slot <= 2; ++slot) {
      const int kind = tables.dmfuncstypes(slot, k);
      if (kind == number_argument) continue;
      Real& argument = slot == 1 ? first : second;
      const int number = whole(value_of(argument));
      if (kind == covariate_argument && number >= 1 && number <= record.count) {
        argument = record.covariates[number - 1];
      } else if (kind == cell_argument && number >= 1 && number <= job.model.ncovs) {
        argument = job.model.design(tables.dmfuncstypes(row_or_slot, k), number);
      } else {
        fault = no_covariate_value;
        argument = 0.0;
      }
    }
    const int level = tables.dmfuncstypes(nesting_level, k);
    const Real result = evaluate<Real>(job, tables.dmfuncstypes(function_number, k), level, first, second,
                                       xbeta, record, fault);
    if (level == 1)
      first = result;
    else
      arguments(argument_of(tables.dmfuncstypes(column_or_parent, k), tables.dmfuncstypes(row_or_slot, k))) =
          result;
  }
  return fault;
}

}  // namespace

int design_function(std::string_view name) {
  for (std::size_t f = 0; f < dmfuncnames.size(); ++f)
    if (dmfuncnames[f] == name) return static_cast<int>(f) + 1;
  return 0;
}

template <class Real>
void prepare(const Job& job, Design_work<Real>& work) {
  work.cells.assign(job.model.varying_cells.size(), Real(0.0));
  work.arguments.assign(2 * job.model.functions.numdmfuncs, Real(0.0));
}

template <class Real>
const char* updatedm(const Job& job, int hist, std::span<const Real> xbeta, Design_work<Real>& work,
                     const double* other_values, const List<int>* cells) {
  const Model_arrays& model = job.model;
  const Record_values record = values_of(job, hist, other_values);
  const char* fault = nullptr;
  if (model.functions.numdmfuncs > 0) fault = evaluate_nodes<Real>(job, record, xbeta, work.arguments);
  const auto fill = [&](int v) {
    const Varying_cell& cell = model.varying_cells(v);
    if (cell.node > 0) {
      work.cells(v) = work.arguments(argument_of(cell.node, 1));
    } else if (cell.covariate <= record.count) {
      work.cells(v) = record.covariates[cell.covariate - 1];
    } else {
      work.cells(v) = 0.0;
      fault = no_covariate_value;
    }
  };
  if (cells != nullptr)
    for (const int v : *cells) fill(v);
  else
    for (int v = 1; v <= model.varying_cells.size(); ++v) fill(v);
  return fault;
}

int row_of_function(const Design_matrix_funcs_module& functions, int k) {
  while (functions.dmfuncstypes(nesting_level, k) > 1) k = functions.dmfuncstypes(column_or_parent, k);
  return functions.dmfuncstypes(row_or_slot, k);
}

bool holds_betas(const Design_matrix_funcs_module& functions) {
  for (int k = 1; k <= functions.numdmfuncs; ++k)
    if (functions.dmfuncstypes(function_number, k) == nlbeta_function) return true;
  return false;
}

int estimated_betas(const Model_arrays& model) {
  return static_cast<int>(
      std::count_if(model.bindex.begin(), model.bindex.end(), [](int b) { return b > 0; }));
}

#define TARN_DESIGN_INSTANCE(type, name)                                                          \
  template void prepare<type>(const Job&, Design_work<type>&);                                    \
  template const char* updatedm<type>(const Job&, int, std::span<const type>, Design_work<type>&, \
                                      const double*, const List<int>*);
TARN_LINK_SCALARS(TARN_DESIGN_INSTANCE)
TARN_TRACED_SCALARS(TARN_DESIGN_INSTANCE)
#undef TARN_DESIGN_INSTANCE

}  // namespace tarn
