#pragma once
// How an animal that is met is recorded: which sign its state is given (Pradel 2005; Kendall et al. 2012).

#include <algorithm>

#include "likelihood/blocks/transitions.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// Chance of one sign, and the charge of a row of signs that leaves nothing for the last.
template <class Real>
struct Classified {
  Real chance = 0.0, over = 0.0;
};

/// Where the chances of signs stand.
struct Classification {
  Parameter parameter = Parameter::Delta;
  int row = 1, group = 1;
  int occasion = 1;   ///< or interval
  int occasions = 0;  ///< columns count back from the last one of so many; 0: they count from the first

  template <class Matrix>
  int column(const Matrix& matrix) const {
    if (occasions == 0) return occasion;
    return std::max(occasion - (occasions - matrix.ncols), matrix.first_column(row));
  }
};

/// Chance of sign number `chosen` of `signs` (from 1) for an animal of state a; `position(k)` is the place of
/// sign k in the alphabet. The chance of sign q stands in the matrix (a, q), or, if that is not given, (q,
/// a); in neither: 0. The last sign takes what the others leave of 1.
template <class Real, class Position>
Classified<Real> classified(const Classification& at, int a, int chosen, int signs, const Position& position,
                            const Reals<Real>& parm, Cell_work<Real>& work) {
  Classified<Real> found;
  Real rest = 1.0;
  for (int k = 1; k < signs; ++k) {
    const int q = position(k);
    const auto direct = work.matrix(at.parameter, a, q, at.group);
    const auto matrix = direct.nrows > 0 ? direct : work.matrix(at.parameter, q, a, at.group);
    if (matrix.nrows == 0) continue;
    const Real& chance = parm[matrix(at.row, at.column(matrix))];
    rest = rest - chance;
    if (k == chosen) found.chance = chance;
  }
  found.over = rest_of_row(rest);
  if (chosen == signs) found.chance = rest;
  return found;
}

}  // namespace tarn
