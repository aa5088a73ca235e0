// What follows from a design matrix that has been read: compiled rows, cells that depend on the animal and
// their values, scaling of the columns.

#include <algorithm>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "model/design_matrix_funcs_module.h"
#include "model/structure/design.h"

namespace tarn {

namespace {

/// Covariate number of a coded cell; 0 when it is none.
int covariate_in(double cell) { return cell <= covariate_code ? static_cast<int>(covariate_code - cell) : 0; }

/// Function node of a coded cell; 0 when it is none.
int node_in(double cell) {
  return cell < function_code && cell > covariate_code ? static_cast<int>(function_code - cell) : 0;
}

}  // namespace

void covariate_tables(Job& job) {
  Model_arrays& model = job.model;
  model.dmicrows.clear();
  model.varying_cells.clear();
  model.design_rows.assign(model.nlogit, {});
  for (int row = 1; row <= model.nlogit; ++row)
    for (int col = 1; col <= model.ncovs; ++col) {
      const double cell = model.design(row, col);
      if (cell == 0.0) continue;
      Design_cell compiled;
      compiled.col = col;
      const int covariate = covariate_in(cell), node = node_in(cell);
      if (covariate > 0 || node > 0) {
        model.varying_cells.push_back({row, col, covariate, node});
        compiled.varying = model.varying_cells.size();
        if (model.dmicrows.empty() || model.dmicrows.back() != row) model.dmicrows.push_back(row);
      } else {
        compiled.value = cell;
      }
      model.design_rows(row).push_back(compiled);
    }
}

void evaluated_design(const Job& job, const Design_work<double>& work, Array2<double>& values) {
  const Model_arrays& model = job.model;
  for (int row = 1; row <= model.nlogit; ++row)
    for (int col = 1; col <= model.ncovs; ++col) values(row, col) = model.design(row, col);
  for (int v = 1; v <= model.varying_cells.size(); ++v)
    values(model.varying_cells(v).row, model.varying_cells(v).col) = work.cells(v);
}

List<double> column_sizes(Job& job) {
  const Model_arrays& model = job.model;
  List<double> sizes(model.ncovs_nlbetas, 0.0);
  const auto raise = [&](int col, double cell) {
    const double size = std::abs(cell);
    if (size > sizes(col)) sizes(col) = size;
  };
  for (const List<Design_cell>& row : model.design_rows)
    for (const Design_cell& cell : row)
      if (cell.varying == 0) raise(cell.col, cell.value);
  if (model.varying_cells.empty()) return sizes;
  Design_work<double> work;
  prepare(job, work);
  int estimated = 0;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) estimated = std::max(estimated, model.bindex(i));
  const List<double> xbeta(estimated, 0.0);
  for (int hist = 1; hist <= job.data.encounters.size(); ++hist) {
    if (const char* fault = updatedm<double>(job, hist, xbeta, work, nullptr)) error(job, fault);
    for (int v = 1; v <= work.cells.size(); ++v) raise(model.varying_cells(v).col, work.cells(v));
  }
  return sizes;
}

void scale_columns(Job& job) {
  Model_arrays& model = job.model;
  model.scalefactor.fill(1.0);
  if (!model.standardize_design) return;
  const List<double> sizes = column_sizes(job);
  for (int i = 1; i <= sizes.size(); ++i)
    if (sizes(i) > 1.0) model.scalefactor(i) = sizes(i);
  for (double& factor : model.scalefactor) factor = 1.0 / factor;
  if (job.status.debug != 0) {
    put_block(job, formatted("(/1x,a,a,a)", "Scaling Factors ", model.modnam, ":") + '\n' +
                       formatted("(1x,5g14.7)", model.scalefactor.span()));
  }
}

}  // namespace tarn
