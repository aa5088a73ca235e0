#pragma once
// The functions that may stand in a cell of the design matrix: names, numbers and their nodes' tables.

#include <array>
#include <string_view>

#include "numerics/array.h"

namespace tarn {

enum Design_function {
  add_function = 1,
  product_function,
  eq_function,
  ge_function,
  gt_function,
  le_function,
  lt_function,
  power_function,
  min_function,
  max_function,
  log_function,
  exp_function,
  priorcapl_function,
  priorcapd_function,
  nlbeta_function
};

/// Names by function number 1 to 15.
inline constexpr std::array<std::string_view, 15> dmfuncnames{
    "ADD", "PRODUCT", "EQ",  "GE",  "GT",        "LE",        "LT",    "POWER",
    "MIN", "MAX",     "LOG", "EXP", "PRIORCAPL", "PRIORCAPD", "NLBETA"};

/// Rows of `dmfuncstypes`.
enum Function_row {
  kind_of_first = 1,  ///< kind of argument 1; argument 2 has the next row
  kind_of_second,
  row_or_slot,       ///< level 1: design row; nested: argument of the parent that takes the result
  column_or_parent,  ///< level 1: design column; nested: the parent node
  function_number,
  nesting_level
};

/// Kinds of arguments.
enum Argument_of_function { number_argument = 1, cell_argument, covariate_argument };

/// Coded cells: covariate c is -(999000 + c), function node k is -(899000 + k).
inline constexpr double covariate_code = -999000.0, function_code = -899000.0;
/// More nodes than this would run into the codes of the covariates.
inline constexpr int most_nodes = 99999;

/// The tables of the design functions. Node k: functions 1 to 15, arguments, place of its result.
struct Design_matrix_funcs_module {
  int numdmfuncs = 0, dmfuncsmaxnest = 0, dmfuncslevel = 0;
  Array2<int> dmfuncstypes;    ///< 6 x n
  Array2<double> dmfuncsargs;  ///< 2 x n
  bool prior_capture = false;  ///< PRIORCAPL or PRIORCAPD is used
};

}  // namespace tarn
