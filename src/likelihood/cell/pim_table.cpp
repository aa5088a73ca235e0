#include "likelihood/cell/pim_table.h"

#include <algorithm>

#include "job/job.h"
#include "job/services/report.h"

namespace tarn {
namespace {

bool inside_bounds(const Job& job, const Pim_fault& place) {
  const Model_arrays& model = job.model;
  return model.pim2.present() && place.parameter >= 1 && place.parameter <= job.data.numparmnames &&
         place.index2 >= model.pim2index2lobd && place.index2 <= model.pim2index2upbd &&
         place.index3 >= model.pim2index3lobd && place.index3 <= model.pim2index3upbd && place.group >= 1 &&
         place.group <= job.status.ngrps;
}

const Pim& matrix_at(const Job& job, const Pim_fault& place) {
  return job.model.pim2(place.parameter, place.index2, place.index3, place.group);
}

/// The row that a look-up of `row` reads: a SQUARE matrix with fewer rows is read at its last one.
int row_read(const Pim& pim, int row) {
  return pim.shape == Pim_shape::square ? std::min(row, pim.nrows) : row;
}

}  // namespace

Pim_table::Pim_table(const Job& job) {
  const Model_arrays& model = job.model;
  for (std::size_t k = 0; k < positions_.size(); ++k) positions_[k] = findpar(job.data, parameter_names[k]);
  if (!model.pim2.present()) return;
  n1_ = job.data.numparmnames;
  n2_ = model.pim2index2upbd - model.pim2index2lobd + 1;
  n3_ = model.pim2index3upbd - model.pim2index3lobd + 1;
  origin_ = ((n3_ + model.pim2index3lobd) * n2_ + model.pim2index2lobd) * n1_ + 1;
  for_each_matrix(job, [this](const Pim_place&, const Pim& pim) { views_.emplace_back(pim); });
}

Checked_pim Pim_table::checked(const Job& job, Parameter parameter, int a, int b, int g,
                               Pim_fault& fault) const {
  return {job, {.parameter = position(parameter), .index2 = a, .index3 = b, .group = g}, fault};
}

Checked_pim::Checked_pim(const Job& job, const Pim_fault& place, Pim_fault& fault)
    : job_(&job), place_(place), fault_(&fault) {
  if (!inside_bounds(job, place)) return;
  nrows = matrix_at(job, place).nrows;
  ncols = matrix_at(job, place).ncols;
}

int Checked_pim::look_up(int row, int column) const {
  int number = 0;
  if (inside_bounds(*job_, place_)) {
    const Pim& pim = matrix_at(*job_, place_);
    number = pim.at(row_read(pim, row), column);
  }
  if (number >= 1 && number <= job_->model.nlogit) {
    if (fault_->reached != nullptr) fault_->reached->push_back(number);
    return number;
  }
  if (!fault_->found) {
    fault_->found = true;
    fault_->parameter = place_.parameter;
    fault_->index2 = place_.index2;
    fault_->index3 = place_.index3;
    fault_->group = place_.group;
    fault_->row = row;
    fault_->column = column;
  }
  return 1;
}

std::string words_of(const Job& job, const Pim_fault& fault) {
  std::string name = adjustfmt(fault.parameter);
  if (fault.parameter >= 1 && fault.parameter <= job.data.parameterlist.size())
    name = "'" + job.data.parameterlist(fault.parameter) + "'";
  std::string text = "Parameter index matrix " + name;
  const Model_arrays& model = job.model;
  if (model.pim2index2upbd > 1) text += ", second index " + adjustfmt(fault.index2);
  if (model.pim2index3upbd > 1) text += ", third index " + adjustfmt(fault.index3);
  text += ", group " + adjustfmt(fault.group);
  if (!inside_bounds(job, fault)) return text + " lies outside the matrices of this data type.";
  const Pim& pim = matrix_at(job, fault);
  if (!pim.given()) return text + " is needed but was not given.";
  const int row = row_read(pim, fault.row);
  text += ": row " + adjustfmt(fault.row) + ", column " + adjustfmt(fault.column);
  if (row < 1 || row > pim.nrows || fault.column < pim.start(row) || fault.column > pim.ncols)
    return text + " is needed but lies outside the matrix.";
  const int number = pim.at(row, fault.column);
  return text + " holds " + adjustfmt(number) + ", which is no row of the design matrix.";
}

}  // namespace tarn
