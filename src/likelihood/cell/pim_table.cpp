#include "likelihood/cell/pim_table.h"

#include <algorithm>

#include "job/job.h"
#include "job/services/report.h"

namespace tarn {
namespace {

/// The matrix at a place, none outside the bounds of `pim2`.
const Pim* matrix_at(const Job& job, const Pim_place& at) {
  const Model_arrays& model = job.model;
  const bool inside = model.pim2.present() && at.q >= 1 && at.q <= job.data.numparmnames &&
                      at.a >= model.pim2index2lobd && at.a <= model.pim2index2upbd &&
                      at.b >= model.pim2index3lobd && at.b <= model.pim2index3upbd && at.g >= 1 &&
                      at.g <= job.status.ngrps;
  return inside ? &model.pim2(at.q, at.a, at.b, at.g) : nullptr;
}

Pim_view view_at(const Job& job, const Pim_place& place) {
  const Pim* const matrix = matrix_at(job, place);
  return matrix == nullptr ? Pim_view() : Pim_view(*matrix);
}

}  // namespace

Pim_table::Pim_table(const Job& job) {
  const Model_arrays& model = job.model;
  for (std::size_t k = 0; k < positions_.size(); ++k) positions_[k] = findpar(job.data, parameter_names[k]);
  if (!model.pim2.present()) return;
  n1_ = job.data.numparmnames;
  n2_ = model.pim2index2upbd - model.pim2index2lobd + 1;
  n3_ = model.pim2index3upbd - model.pim2index3lobd + 1;
  lo2_ = model.pim2index2lobd;
  lo3_ = model.pim2index3lobd;
  groups_ = job.status.ngrps;
  origin_ = ((n3_ + model.pim2index3lobd) * n2_ + model.pim2index2lobd) * n1_ + 1;
  for_each_matrix(job, [this](const Pim_place&, const Pim& pim) { views_.emplace_back(pim); });
}

Checked_pim::Checked_pim(const Job& job, const Pim_place& place, Pim_report& report)
    : Checked_pim(view_at(job, place), job.model.nlogit, place, report) {}

int Checked_pim::no_real(int row, int column) const {
  if (!report_->fault.found) report_->fault = {.found = true, .place = place_, .row = row, .column = column};
  return 1;
}

std::string words_of(const Job& job, const Pim_fault& fault) {
  const Pim_place& at = fault.place;
  std::string name = adjustfmt(at.q);
  if (at.q >= 1 && at.q <= job.data.parameterlist.size()) name = "'" + job.data.parameterlist(at.q) + "'";
  std::string text = "Parameter index matrix " + name;
  const Model_arrays& model = job.model;
  if (model.pim2index2upbd > 1) text += ", second index " + adjustfmt(at.a);
  if (model.pim2index3upbd > 1) text += ", third index " + adjustfmt(at.b);
  text += ", group " + adjustfmt(at.g);
  const Pim* const matrix = matrix_at(job, at);
  if (matrix == nullptr) return text + " lies outside the matrices of this data type.";
  const Pim& pim = *matrix;
  if (!pim.given()) return text + " is needed but was not given.";
  const int row = Pim_view(pim).row_read(fault.row);
  text += ": row " + adjustfmt(fault.row) + ", column " + adjustfmt(fault.column);
  if (row < 1 || row > pim.nrows || fault.column < pim.start(row) || fault.column > pim.ncols)
    return text + " is needed but lies outside the matrix.";
  const int number = pim.at(row, fault.column);
  return text + " holds " + adjustfmt(number) + ", which is no row of the design matrix.";
}

}  // namespace tarn
