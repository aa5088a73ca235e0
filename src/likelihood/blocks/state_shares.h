#pragma once
// The state of an animal that is met for the first time.

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
