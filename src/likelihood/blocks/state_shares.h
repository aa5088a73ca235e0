#pragma once
// The state of an animal that is met for the first time.

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>

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

/// Weights of the states of an animal first met on occasion `first`, into v[a - 1]: their shares times the
/// chance of the sign of that capture. Without shares it is in the state of its code, and a fault of record i
/// if it shows none. Gives the charge of rows that are over-full.
/// @param code  the state whose code it shows, 0 for an event
/// @param recorded  recorded(a): `Classified` for the sign, of one of state a
template <class Real, class Recorded>
Real release_weights(const Job& job, int i, History histry, int code, int first, int group,
                     const Reals<Real>& parm, Cell_work<Real>& work, std::span<Real> v,
                     const Recorded& recorded) {
  const int states = static_cast<int>(v.size());
  if (!release_shares_given(states, group, work)) {
    std::fill(v.begin(), v.end(), Real(0.0));
    if (code == 0)
      work.fail(i,
                "The encounter history \"" + histry.as_typed(job.status.liveeh != 0) +
                    "\" begins with an event, and no pi tells the state that the animal may have been in.");
    else
      v[static_cast<std::size_t>(code) - 1] = 1.0;
    return 0.0;
  }
  Real over = release_shares(first, group, parm, work, v);
  for (int a = 1; a <= states; ++a) {
    const auto seen = recorded(a);
    Real& weight = v[static_cast<std::size_t>(a) - 1];
    weight = weight * seen.chance;
    over += seen.over;
  }
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
