#pragma once
// The design matrix: reading, the cells that depend on the animal, scaling of the columns.

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "job/job.h"

namespace tarn {

/// One thread's values of the cells that depend on the animal. Made by `prepare`; calls take no memory.
template <class Real>
struct Design_work {
  List<Real> cells;      ///< value of each of `job.model.varying_cells`
  List<Real> arguments;  ///< two arguments of each function node
};

/// Number 1 to 15 of a function name (upper case); 0 when it is none.
int design_function(std::string_view name);

/// Reads DESIGN MATRIX and its rows. All faults of the statement are fatal but an unknown option, which
/// warns.
void design_statement(Job& job);

/// Fatal when INITIAL values were read and their number is not that of the betas.
void check_initial_values(Job& job);

/// One cell of a row: `row` and `col` of the cell; `offset` is added to the word number of the column and
/// grows by the words that functions take.
void filldm(Job& job, int row, int col, int& offset);

/// Tables after the last statement: `varying_cells`, `dmicrows` and the compiled rows that `tranlg` adds up.
/// A row holds its cells other than plain zeros in column order.
void covariate_tables(Job& job);

/// Takes the memory for `updatedm`.
template <class Real>
void prepare(const Job& job, Design_work<Real>& work);

/// Values of covariate and function cells for record `hist`, into `work.cells`.
/// @param xbeta  estimated betas in the optimizer's order, for NLBETA
/// @param other_values  1 to nicovs covariate values in place of the record's; nullptr: the record's own
/// @param cells  the varying cells that are wanted (design functions give theirs in any case); nullptr: all
/// @return nullptr, or the text of a fault that must stop the run
template <class Real>
const char* updatedm(const Job& job, int hist, std::span<const Real> xbeta, Design_work<Real>& work,
                     const double* other_values, const List<int>* cells = nullptr);

/// The whole matrix as plain numbers: the cells as typed with `work`'s values in the varying ones.
void evaluated_design(const Job& job, const Design_work<double>& work, Array2<double>& values);

/// By column, the largest absolute value of its cells over all records, as typed; 0 where there is none.
/// Betas in design functions count as 0.
List<double> column_sizes(Job& job);

/// Sets `scalefactor`: one over the largest absolute value of the column over all records, at least 1; all 1
/// under NOSTANDDM. Cells that depend on the animal are evaluated for every record.
void scale_columns(Job& job);

/// Whether real parameters may differ from record to record: a covariate or a function stands in the design.
inline bool reals_depend_on_record(const Model_arrays& model) {
  return model.licovs != 0 || model.functions.numdmfuncs > 0;
}

/// Design row of the cell in which function node k stands, nested or not.
int row_of_function(const Design_matrix_funcs_module& functions, int k);

/// Whether a design function holds a beta (NLBETA).
bool holds_betas(const Design_matrix_funcs_module& functions);

/// Length of the optimizer's vector.
int estimated_betas(const Model_arrays& model);

/// "real i" and "beta i" for every row and column.
void default_labels(Job& job);

}  // namespace tarn
