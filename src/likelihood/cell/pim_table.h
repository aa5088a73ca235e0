#pragma once
// Parameter index matrices as the cell routines read them: unchecked in the hot loop, checked in the dry run.

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "data/catalogue/parameter.h"
#include "model/data_module.h"
#include "model/structure/pim.h"
#include "numerics/number_sets.h"

namespace tarn {

/// A look-up of the dry run that gave no real parameter.
struct Pim_fault {
  bool found = false;
  Pim_place place;
  int row = 0, column = 0;
};

/// What the look-ups of a dry run tell.
struct Pim_report {
  Pim_fault fault;                ///< the first one
  Number_set* reached = nullptr;  ///< where real parameters that are looked up are noted, if anywhere
};

/// A matrix in the dry run: the first look-up that finds no real parameter is the `fault` of its report; it
/// gives number 1, so that the run goes on. Every number that is found is noted in the report.
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

  /// The matrix at `place` of the job, which may lie outside the bounds of `pim2`.
  Checked_pim(const Job& job, const Pim_place& place, Pim_report& report);
  Checked_pim(const Pim_view& matrix, int nlogit, const Pim_place& place, Pim_report& report)
      : nrows(matrix.nrows),
        ncols(matrix.ncols),
        matrix_(matrix),
        nlogit_(nlogit),
        report_(&report),
        place_(place) {}
  Row row(int r) const& { return {*this, r}; }
  Row row(int r) const&& = delete;  // a row refers to its matrix
  int operator()(int r, int c) const { return look_up(r, c); }
  int first_column(int r) const { return matrix_.first_column(r); }
  int nrows = 0, ncols = 0;  ///< 0 when the matrix is outside the bounds of `pim2` or was not given

 private:
  int look_up(int row, int column) const {
    const int read = matrix_.row_read(row);
    if (read < 1 || read > nrows || column < 1 || column > ncols) return no_real(row, column);
    const int number = matrix_.before[static_cast<std::ptrdiff_t>(read - 1) * ncols + column];
    if (number < 1 || number > nlogit_) return no_real(row, column);
    if (report_->reached != nullptr) report_->reached->insert(number);
    return number;
  }
  [[gnu::cold]] int no_real(int row, int column) const;

  Pim_view matrix_;
  int nlogit_ = 0;
  Pim_report* report_ = nullptr;
  Pim_place place_;
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
  Checked_pim checked(const Job& job, Parameter parameter, int a, int b, int g, Pim_report& report) const {
    const Pim_place place{position(parameter), a, b, g};
    return {holds(place) ? (*this)(parameter, a, b, g) : Pim_view(), job.model.nlogit, place, report};
  }

  /// Place of a parameter in `parameterlist`, found by name; 0 when the data type does not have it.
  int position(Parameter parameter) const { return positions_[static_cast<std::size_t>(parameter)]; }

 private:
  bool holds(const Pim_place& at) const {
    return !views_.empty() && at.q >= 1 && at.a >= lo2_ && at.a < lo2_ + n2_ && at.b >= lo3_ &&
           at.b < lo3_ + n3_ && at.g >= 1 && at.g <= groups_;
  }

  int n1_ = 0, n2_ = 0, n3_ = 0, origin_ = 0;
  int lo2_ = 1, lo3_ = 1, groups_ = 0;
  std::array<int, parameter_names.size()> positions_{};
  std::vector<Pim_view> views_;
};

/// What is wrong with the cell of a fault, in words: names the matrix, row and column.
std::string words_of(const Job& job, const Pim_fault& fault);

}  // namespace tarn
