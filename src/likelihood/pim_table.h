#pragma once
// Parameter index matrices as the cell routines read them: unchecked in the hot loop, checked in the dry run.

#include <cstddef>
#include <string>
#include <vector>

#include "model/data_module.h"
#include "model/pim.h"

namespace tarn {

/// The views of all matrices of a model, made once, so that a cell pays for arithmetic only.
class Pim_table {
 public:
  Pim_table() = default;
  /// Refers to the matrices of `job.model.pim2`; may throw std::bad_alloc.
  explicit Pim_table(const Job& job);

  /// The matrix of parameter q, second index a, third index b, group g, all inside the bounds of `pim2`.
  const Pim_view& operator()(int q, int a, int b, int g) const {
    return views_[static_cast<std::size_t>(((g * n3_ + b) * n2_ + a) * n1_ + q - origin_)];
  }

 private:
  int n1_ = 0, n2_ = 0, n3_ = 0, origin_ = 0;
  std::vector<Pim_view> views_;
};

/// A look-up of the dry run that gave no real parameter.
struct Pim_fault {
  int parameter = 0, index2 = 0, index3 = 0, group = 0;  ///< place in `pim2`; parameter 0: no fault
  int row = 0, column = 0;
};

/// A matrix in the dry run: the first look-up that finds no real parameter is noted in `fault`; it gives
/// number 1, so that the run goes on.
class Checked_pim {
 public:
  class Row {
   public:
    Row(const Checked_pim& matrix, int row) : matrix_(&matrix), row_(row) {}
    int operator[](int column) const { return matrix_->look_up(row_, column); }

   private:
    const Checked_pim* matrix_;
    int row_;
  };

  Checked_pim(const Job& job, const Pim_fault& place, Pim_fault& fault)
      : job_(&job), place_(place), fault_(&fault) {}
  Row row(int r) const { return {*this, r}; }
  int operator()(int r, int c) const { return look_up(r, c); }

 private:
  int look_up(int row, int column) const;

  const Job* job_;
  Pim_fault place_;
  Pim_fault* fault_;
};

/// What is wrong with the cell of a fault, in words: names the matrix, row and column.
std::string words_of(const Job& job, const Pim_fault& fault);

}  // namespace tarn
