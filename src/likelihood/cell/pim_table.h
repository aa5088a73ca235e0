#pragma once
// Parameter index matrices as the cell routines read them: unchecked in the hot loop, checked in the dry run.

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "data/catalogue/parameter.h"
#include "model/data_module.h"
#include "model/structure/pim.h"

namespace tarn {

/// A look-up of the dry run that gave no real parameter.
struct Pim_fault {
  bool found = false;
  int parameter = 0, index2 = 0, index3 = 0, group = 0;  ///< place in `pim2`
  int row = 0, column = 0;
  std::vector<int>* reached = nullptr;  ///< where the numbers that are looked up are noted
};

/// A matrix in the dry run: the first look-up that finds no real parameter is noted in `fault`; it gives
/// number 1, so that the run goes on. Every number that is found is added to its `reached`.
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

  Checked_pim(const Job& job, const Pim_fault& place, Pim_fault& fault);
  Row row(int r) const& { return {*this, r}; }
  Row row(int r) const&& = delete;  // a row refers to its matrix
  int operator()(int r, int c) const { return look_up(r, c); }
  int nrows = 0, ncols = 0;  ///< 0 when the matrix is outside the bounds of `pim2` or was not given

 private:
  int look_up(int row, int column) const;

  const Job* job_;
  Pim_fault place_;
  Pim_fault* fault_;
};

/// The views of all matrices of a model, made once, so that a cell pays for arithmetic only.
class Pim_table {
 public:
  Pim_table() = default;
  /// Refers to the matrices of `job.model.pim2`; may throw std::bad_alloc.
  explicit Pim_table(const Job& job);

  /// The matrix of a parameter of the data type, second index a, third index b, group g, all inside the
  /// bounds of `pim2`.
  const Pim_view& operator()(Parameter parameter, int a, int b, int g) const {
    return views_[static_cast<std::size_t>(((g * n3_ + b) * n2_ + a) * n1_ + position(parameter) - origin_)];
  }
  /// The same for the dry run; of a parameter that the data type does not have every look-up is a fault.
  Checked_pim checked(const Job& job, Parameter parameter, int a, int b, int g, Pim_fault& fault) const;

  /// Place of a parameter in `parameterlist`, found by name; 0 when the data type does not have it.
  int position(Parameter parameter) const { return positions_[static_cast<std::size_t>(parameter)]; }

 private:
  int n1_ = 0, n2_ = 0, n3_ = 0, origin_ = 0;
  std::array<int, parameter_names.size()> positions_{};
  std::vector<Pim_view> views_;
};

/// What is wrong with the cell of a fault, in words: names the matrix, row and column.
std::string words_of(const Job& job, const Pim_fault& fault);

}  // namespace tarn
