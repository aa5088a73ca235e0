#pragma once
// The state of an animal that is met for the first time.

#include <algorithm>
#include <cstddef>
#include <span>

#include "likelihood/blocks/transitions.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// Chance that an animal is of state `state`, where the states have shares and the last takes what the others
/// leave of 1: the share of state a < `states` stands in row 1 and this column of the matrix (a, 1) of the
/// parameter.
template <class Real>
Real state_share(Parameter parameter, int state, int states, int column, int group, const Reals<Real>& parm,
                 Cell_work<Real>& work) {
  const auto share = [&](int a) -> const Real& {
    return parm[work.matrix(parameter, a, 1, group)(1, column)];
  };
  if (state < states) return share(state);
  Real rest = 1.0;
  for (int a = 1; a < states; ++a) rest = rest - share(a);
  return rest;
}

/// Whether the deck tells the shares of the states among animals that are met first; of one state they are
/// told by themselves.
template <class Real>
bool release_shares_given(int states, int group, Cell_work<Real>& work) {
  for (int a = 1; a < states; ++a)
    if (work.matrix(Parameter::pi, a, 1, group).nrows > 0) return true;
  return states == 1;
}

/// These shares for a first capture on occasion `first`, in row 1 and that column or the last of `pi` (a, 1),
/// into shares[a - 1]; the last takes what the others leave. Gives the charge of shares that leave nothing.
template <class Real>
Real release_shares(int first, int group, const Reals<Real>& parm, Cell_work<Real>& work,
                    std::span<Real> shares) {
  Real rest = 1.0;
  for (std::size_t a = 1; a < shares.size(); ++a) {
    const auto matrix = work.matrix(Parameter::pi, static_cast<int>(a), 1, group);
    shares[a - 1] = parm[matrix(1, std::min(first, std::max(matrix.ncols, 1)))];
    rest = rest - shares[a - 1];
  }
  const Real over = rest_of_row(rest);
  shares.back() = rest;
  return over;
}

/// Chance that an animal caught for the first time in session s is of stratum `from`: the share Omega of the
/// stratum times the chance `star(a)` of a capture there, of the sum of these (Nichols and Coffman 1999).
template <class Real, class Star>
Real stratum_at_first_capture(int from, int strata, int s, int group, const Reals<Real>& parm,
                              Cell_work<Real>& work, const Star& star) {
  Real own = 0.0, all = 0.0;
  for (int a = 1; a <= strata; ++a) {
    const Real weight = state_share(Parameter::Omega, a, strata, s, group, parm, work) * star(a);
    all = all + weight;
    if (a == from) own = weight;
  }
  return vanishes(all) ? Real(minlog) : Real(own / all);
}

}  // namespace tarn
