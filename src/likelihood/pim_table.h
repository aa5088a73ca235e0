#pragma once
// Parameter index matrices as the cell routines read them: flat, unchecked in the hot loop, checked in the
// dry run.

#include <cstddef>
#include <type_traits>
#include <vector>

#include "likelihood/reach.h"
#include "model/data_module.h"

namespace tarn {

/// Where a look-up of the dry run left its matrix or found no real parameter.
struct Pim_fault {
  enum class Kind { none, no_matrix, no_cell, no_number, number_too_high };
  Kind kind = Kind::none;
  int parameter = 0, index2 = 0, index3 = 0, group = 0;  ///< place in `pim2`
  int row = 0, column = 0, number = 0;
};

/// All matrices of a model in one block. The matrix of parameter q, second index a, third index b and group g
/// is found by arithmetic; a missing one has no cells.
class Pim_table {
 public:
  struct Entry {
    std::size_t before = 0;  ///< place of row 1, column 0 (which does not exist) in `cells_`
    int ncols = 0;
    int last_row = 0;  ///< rows beyond it are read as this one: SQUARE matrices with fewer rows are clamped
  };

  Pim_table() = default;
  /// Copies the matrices of `job.model.pim2`; may throw std::bad_alloc.
  explicit Pim_table(const Job& job);

  const Entry& entry(int q, int a, int b, int g) const {
    return entries_[static_cast<std::size_t>(((g * n3_ + b) * n2_ + a) * n1_ + q - origin_)];
  }
  const int* cells() const { return cells_.data(); }

 private:
  int n1_ = 0, n2_ = 0, n3_ = 0, origin_ = 0;
  std::vector<Entry> entries_;
  std::vector<int> cells_;  ///< one unused element in front, then the matrices
};

/// One matrix in the hot loop; `row(r)[c]` is the number of the real parameter, not checked.
class Pim_lookup {
 public:
  Pim_lookup(const Pim_table& table, int q, int a, int b, int g)
      : Pim_lookup(table.cells(), table.entry(q, a, b, g)) {}
  const int* row(int r) const {
    return before_ + static_cast<std::ptrdiff_t>((r < last_row_ ? r : last_row_) - 1) * ncols_;
  }

 private:
  Pim_lookup(const int* cells, const Pim_table::Entry& entry)
      : before_(cells + entry.before), ncols_(entry.ncols), last_row_(entry.last_row) {}
  const int* before_;
  int ncols_, last_row_;
};

/// The same matrix in the dry run: a look-up that finds no real parameter notes the first such place in
/// `fault` and gives number 1, so that the run goes on.
class Checked_pim_lookup {
 public:
  Checked_pim_lookup(const Pim& pim, int nlogit, const Pim_fault& place, Pim_fault& fault)
      : pim_(&pim), nlogit_(nlogit), place_(place), fault_(&fault) {}

  class Row;
  Row row(int r) const;

 private:
  int look_up(int row, int column) const;

  const Pim* pim_;
  int nlogit_;
  Pim_fault place_;
  Pim_fault* fault_;
};

class Checked_pim_lookup::Row {
 public:
  Row(const Checked_pim_lookup& matrix, int row) : matrix_(matrix), row_(row) {}
  int operator[](int column) const { return matrix_.look_up(row_, column); }

 private:
  Checked_pim_lookup matrix_;
  int row_;
};

inline Checked_pim_lookup::Row Checked_pim_lookup::row(int r) const { return {*this, r}; }

}  // namespace tarn
