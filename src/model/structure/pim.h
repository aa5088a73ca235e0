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
        square(pim.shape == Pim_shape::square) {}

  bool given() const { return nrows > 0; }
  /// The row that a look-up of row r reads: a SQUARE matrix with fewer rows is read at its last one. A row of
  /// a triangle starts in its own column, so a triangle is never clamped.
  int row_read(int r) const { return square ? std::min(r, nrows) : r; }
  /// The first column of row r.
  int first_column(int r) const { return square ? 1 : r; }
  /// row(r)[c] is the number of the real parameter in row r, column c.
  const int* row(int r) const { return before + static_cast<std::ptrdiff_t>(row_read(r) - 1) * ncols; }
  int operator()(int r, int c) const { return row(r)[c]; }
};

/// The matrix of parameter q (position in `parameterlist`), second index a, third index b, group g.
inline Pim_view pim(const Job& job, int q, int a, int b, int g) {
  return Pim_view(job.model.pim2(q, a, b, g));
}

/// Place of a matrix in `pim2`: parameter, second index, third index, group.
struct Pim_place {
  int q = 0, a = 0, b = 0, g = 0;
};

/// Calls visit(place, matrix) for every matrix of parameter q, given or not; group outermost, second index
/// innermost. The matrix is const when the job is.
template <class A_job, class Visit>
void for_each_matrix_of(A_job& job, int q, const Visit& visit) {
  auto& model = job.model;
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int b = model.pim2index3lobd; b <= model.pim2index3upbd; ++b)
      for (int a = model.pim2index2lobd; a <= model.pim2index2upbd; ++a)
        visit(Pim_place{q, a, b, g}, model.pim2(q, a, b, g));
}

/// The same for every parameter, which is innermost: the order in which `pim2` holds them.
template <class A_job, class Visit>
void for_each_matrix(A_job& job, const Visit& visit) {
  auto& model = job.model;
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int b = model.pim2index3lobd; b <= model.pim2index3upbd; ++b)
      for (int a = model.pim2index2lobd; a <= model.pim2index2upbd; ++a)
        for (int q = 1; q <= job.data.numparmnames; ++q) visit(Pim_place{q, a, b, g}, model.pim2(q, a, b, g));
}

/// Calls visit(row, column, number) for every cell that the shape of a matrix has, row by row. The number may
/// be written to when the matrix may.
template <class A_pim, class Visit>
void for_each_cell(A_pim& pim, const Visit& visit) {
  for (int r = 1; r <= pim.nrows; ++r)
    for (int c = pim.start(r); c <= pim.ncols; ++c) visit(r, c, pim.cells((r - 1) * pim.ncols + c));
}

/// Position of `name` (its first 10 characters) in `parameterlist`, case and all; 0 when it is not there.
int findpar(const Data_module& data, std::string_view name);

/// Whether there is a matrix of parameter `name`, whatever its indices and its group.
bool has_matrix(const Job& job, std::string_view name);

/// The shape that an option word of a GROUP statement tells; `none` for any other word.
Pim_shape pim_shape(std::string_view word);

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
