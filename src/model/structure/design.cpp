#include "model/structure/design.h"

#include <cstdint>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "model/design_matrix_funcs_module.h"

namespace tarn {

namespace {

/// Cells of a matrix that can be held; more could only be an error of the deck.
constexpr std::int64_t most_design_cells = 20'000'000;
constexpr const char* arrays_of_a_design =
    "from memory allocation of DESIGN, LINDEX, RLABEL, BLABEL, SCALEFACTOR, and DESIGNNICVARFLG.";

/// Covariate number of a word; 0 when it names none.
int covariate_of(const Job& job, const std::string& name) {
  return job.status.nicovs > 0 ? findloc_ch(job.data.icname, name) : 0;
}

/// A new node for `function`, its arguments numbers of value 0. `first` and `second` are rows 3 and 4 of its
/// column.
int new_node(Job& job, int function, int first, int second) {
  Design_matrix_funcs_module& tables = job.model.functions;
  if (tables.numdmfuncs >= most_nodes)
    error(job, "More than " + adjustfmt(most_nodes) + " design matrix functions.");
  if (function == priorcapl_function || function == priorcapd_function) tables.prior_capture = true;
  const int k = ++tables.numdmfuncs;
  ++tables.dmfuncslevel;
  tables.dmfuncsmaxnest = std::max(tables.dmfuncsmaxnest, tables.dmfuncslevel);
  const int room = tables.dmfuncstypes.extent(2);
  if (k > room) {
    // Room for 20 nodes at first; later growth is by halves, since a step of ten would copy the tables for
    // ever.
    const int larger = room == 0 ? 20 : room + std::max(10, room / 2);
    if (!tables.dmfuncstypes.resize(6, larger) || !tables.dmfuncsargs.resize(2, larger)) {
      warn_of_allocation(job, "from memory allocation of DMFUNCSTYPES and DMFUNCSARGS.",
                         Allocation::no_memory);
      error(job, "No memory for the design matrix functions.");
    }
  }
  tables.dmfuncstypes(kind_of_first, k) = tables.dmfuncstypes(kind_of_second, k) = number_argument;
  tables.dmfuncstypes(row_or_slot, k) = first;
  tables.dmfuncstypes(column_or_parent, k) = second;
  tables.dmfuncstypes(function_number, k) = function;
  tables.dmfuncstypes(nesting_level, k) = tables.dmfuncslevel;
  tables.dmfuncsargs(1, k) = tables.dmfuncsargs(2, k) = 0.0;
  return k;
}

/// Reads argument `slot` of node k at word `position`.
/// @return number of the function that stands there and has to be read first; 0 when the argument is complete
int read_argument(Job& job, int k, int slot, int position) {
  Design_matrix_funcs_module& tables = job.model.functions;
  const std::string& text = word(job, position);
  if (const int covariate = covariate_of(job, text); covariate > 0) {
    tables.dmfuncstypes(slot, k) = covariate_argument;
    tables.dmfuncsargs(slot, k) = covariate;
    job.model.licovs = 1;
    return 0;
  }
  if (const int function = design_function(text); function > 0) return function;
  if (text.starts_with("COL"))
    error(job, "Use of COLxx no longer valid with recursive design function calling.");
  if (!text.empty() && text.front() >= 'A' && text.front() <= 'Z')
    error(job, "Incorrect covariate name?  Invalid value: " + word_as_typed(job, position));
  tables.dmfuncsargs(slot, k) = given_value(job, text);
  return 0;
}

/// Reads the function that stands at word col + offset, with all that is nested in it. The nesting may be
/// thousands of levels deep, so open functions wait in a list and not on the call stack.
void read_function(Job& job, int function, int row, int col, int& offset) {
  struct Open_function {
    int node, slot;
  };
  const Design_matrix_funcs_module& tables = job.model.functions;
  std::vector<Open_function> open;
  const auto begin = [&](int number, int first, int second) {
    open.push_back({new_node(job, number, first, second), 1});
    offset += 2;  // the opening parenthesis, then argument 1
  };
  begin(function, row, col);
  job.model.design(row, col) = function_code - tables.numdmfuncs;
  while (!open.empty()) {
    const Open_function top = open.back();
    if (top.slot <= 2) {
      if (const int nested = read_argument(job, top.node, top.slot, col + offset); nested > 0) {
        begin(nested, top.slot, top.node);
        continue;
      }
    }
    // The last word of an argument has been read, by itself or as the closing parenthesis of a nested
    // function.
    for (;;) {
      Open_function& innermost = open.back();
      ++offset;
      if (innermost.slot == 1 && word(job, col + offset) != ")") {
        innermost.slot = 2;
        break;
      }
      open.pop_back();
      --job.model.functions.dmfuncslevel;
      if (open.empty()) return;
    }
  }
}

void read_options(Job& job, bool& identity) {
  Model_arrays& model = job.model;
  for (int i = 2; i <= job.status.lstwrd; ++i) {
    const std::string& option = word(job, i);
    if (option == "MATRIX") continue;
    if (option == "IDENTITY") {
      identity = true;
    } else if (option == "CONSTRAINTS" || option == "COVARIATES" || option == "NLBETAS") {
      int& target = option == "CONSTRAINTS"  ? model.nlogit
                    : option == "COVARIATES" ? model.ncovs
                                             : model.nlbetas;
      i += 2;
      target = ivalue(job, word(job, i));
    } else {
      warn(job, "The design matrix option '" + option + "' was not recognized.");
    }
  }
}

void make_arrays(Job& job) {
  Model_arrays& model = job.model;
  const std::int64_t cells = static_cast<std::int64_t>(model.nlogit) * model.ncovs;
  if (cells > most_design_cells || model.ncovs_nlbetas > most_design_cells ||
      !model.design.allocate(model.nlogit, model.ncovs) || !model.lindex.allocate(model.nlogit) ||
      !model.rlabel.allocate(model.nlogit) || !model.blabel.allocate(model.ncovs_nlbetas) ||
      !model.scalefactor.allocate(model.ncovs_nlbetas) || !model.designicvarflag.allocate(model.nlogit)) {
    warn_of_allocation(job, arrays_of_a_design, Allocation::no_memory);
    error(job, "No memory for a design matrix of " + adjustfmt(model.nlogit) + " rows and " +
                   adjustfmt(model.ncovs) + " columns.");
  }
  model.scalefactor.fill(1.0);
  model.lindex.fill(model.nlink);
}

}  // namespace

void filldm(Job& job, int row, int col, int& offset) {
  Model_arrays& model = job.model;
  const std::string& text = word(job, col + offset);
  if (const int covariate = covariate_of(job, text); covariate > 0) {
    model.design(row, col) = covariate_code - covariate;
    model.designicvarflag(row) = 1;
    model.licovs = 1;
    return;
  }
  if (const int function = design_function(text); function > 0) {
    model.designicvarflag(row) = 1;
    read_function(job, function, row, col, offset);
    return;
  }
  const double number = given_value(job, text);
  if (number < function_code) error(job, "Design matrix can not have values less than -899000.");
  model.design(row, col) = number;
}

void check_initial_values(Job& job) {
  const Model_arrays& model = job.model;
  if (model.initial_given && model.intvals.size() != model.ncovs_nlbetas)
    error(job, "Number of initial values does not match the number of beta parameters.");
}

void default_labels(Job& job) {
  for (int i = 1; i <= job.model.nlogit; ++i) job.model.rlabel(i) = "real " + adjustfmt(i);
  for (int i = 1; i <= job.model.ncovs_nlbetas; ++i) job.model.blabel(i) = "beta " + adjustfmt(i);
}

void design_statement(Job& job) {
  Model_arrays& model = job.model;
  if (model.design.present()) {
    warn_of_allocation(job, arrays_of_a_design, Allocation::already_allocated);
    error(job, "A second DESIGN MATRIX was specified in one PROC ESTIMATE.");
  }
  bool identity = false;
  read_options(job, identity);
  model.identity = identity;
  if (model.nlogit < 1) error(job, "No constraints specified on DESIGN MATRIX statement.");
  if (model.ncovs < 1) error(job, "No covariates specifed on DESIGN MATRIX statement.");
  if (model.nlbetas < 0 || static_cast<std::int64_t>(model.ncovs) + model.nlbetas > most_design_cells)
    error(job, "Invalid number of NLBETAS on DESIGN MATRIX statement.");
  model.ncovs_nlbetas = model.ncovs + model.nlbetas;
  if (identity && model.ncovs != model.nlogit)
    error(job, "Identity design matrix specified, but number of columns not equal number of rows.");
  check_initial_values(job);
  make_arrays(job);
  default_labels(job);
  if (identity) {
    for (int i = 1; i <= model.nlogit; ++i) model.design(i, i) = 1.0;
    return;
  }
  for (int row = 1; row <= model.nlogit; ++row) {
    getcmd(job);
    if (job.status.lstwrd < model.ncovs)
      error(job, "More covariates were requested than specified in DESIGN MATRIX.");
    int offset = 0;
    for (int col = 1; col <= model.ncovs; ++col) filldm(job, row, col, offset);
  }
}

}  // namespace tarn
