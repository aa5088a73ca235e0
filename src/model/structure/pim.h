#pragma once
// Parameter index matrices: which real parameter applies to which cell of a parameter's grid of occasions.

#include <algorithm>
#include <string_view>

#include "job/job.h"

namespace tarn {

/// A matrix as the hot loop reads it. Nothing is checked: every cell that is reached is checked when a model
/// is set up.
struct Pim_view {
  const int* before = nullptr;  ///< one before the first cell
  int nrows = 0, ncols = 0;
  bool square = false;

  Pim_view() = default;
  explicit Pim_view(const Pim& pim)
      : before(pim.cells.empty() ? nullptr : pim.cells.data() - 1),
        nrows(pim.nrows),
        ncols(pim.ncols),
        square(pim.shape == "SQUARE") {}

  bool given() const { return nrows > 0; }
  /// row(r)[c] is the number of the real parameter in row r, column c. A SQUARE matrix with fewer rows is
  /// read at its last one; a row of a triangle starts in its own column, so a triangle is never clamped.
  const int* row(int r) const {
    const int clamped = square ? std::min(r, nrows) : r;
    return before + static_cast<std::ptrdiff_t>(clamped - 1) * ncols;
  }
  int operator()(int r, int c) const { return row(r)[c]; }
};

/// The matrix of parameter q (position in `parameterlist`), second index a, third index b, group g.
inline Pim_view pim(const Job& job, int q, int a, int b, int g) {
  return Pim_view(job.model.pim2(q, a, b, g));
}

/// Position of `name` (its first 10 characters) in `parameterlist`, case and all; 0 when it is not there.
int findpar(const Data_module& data, std::string_view name);

/// Reads the matrix whose GROUP statement is in hand. All faults but an unknown option word are fatal.
void piread(Job& job);

/// Occasions of each primary session into `minlen`: a session ends at the last occasion and wherever the
/// interval that follows is above 0.
void fillminlen(Job& job);

/// What the data type settles before the statements are read: bounds of the matrices' second and third index,
/// `minlen`, `maxprimoccas`, `numderivedmcmcpar`; makes `pim2`. A number outside 1 to 185 is fatal.
void set_index_bounds(Job& job);

/// Writes one matrix.
void print_pim2(Job& job, int parameter, int istrta, int jstrta, int group);
/// Writes every matrix that was given.
void print_all_pims(Job& job);

}  // namespace tarn
