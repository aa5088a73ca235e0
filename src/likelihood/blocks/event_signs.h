#pragma once
// Occasions on which a capture leaves a sign that may not tell the state: codes of the states, seen with
// certainty, then those of events (Pradel 2005; Kendall et al. 2012).

#include <cstddef>
#include <string>

#include "likelihood/blocks/classification.h"
#include "likelihood/blocks/hidden.h"

namespace tarn {

/// The signs, as STRATA names them.
class Event_signs {
 public:
  explicit Event_signs(const Job& job)
      : codes_(job.data.strata.substr(0, static_cast<std::size_t>(job.status.nstrta + job.status.nevents))) {}
  /// Place of a sign, from 1: up to the number of states that of a state.
  int position(char sign) const { return static_cast<int>(codes_.find(sign)) + 1; }
  int count() const { return static_cast<int>(codes_.size()); }

 private:
  std::string codes_;
};

/// Chance that one of state a who is caught on an occasion leaves the sign that the history has there.
template <class Real>
Classified<Real> recorded_sign(const Job& job, const Event_signs& signs, const Hidden_place& place, int a,
                               int occasion, const Reals<Real>& parm, Cell_work<Real>& work) {
  return classified<Real>(
      {Parameter::Delta, place.row, place.group, occasion, job.status.noccas}, a,
      signs.position(place.histry.live(occasion)), signs.count(), [](int k) { return k; }, parm, work);
}

/// What the occasion at the end of interval c shows; `caught(a)` is the chance of a capture there.
template <class Real, class Caught>
Real show_sign(const Job& job, const Event_signs& signs, const Hidden_place& place, int c,
               const Caught& caught, const Reals<Real>& parm, Cell_work<Real>& work,
               Hidden_shown<Real>& shown) {
  const char sign = place.histry.live(c + 1);
  if (sign == '.') return 0.0;
  shown.met = captured(sign);
  Real over = 0.0;
  for (std::size_t a = 0; a < shown.after.size(); ++a) {
    const int state = static_cast<int>(a) + 1;
    const Real& p = caught(state);
    if (!shown.met) {
      shown.after[a] = 1.0 - p;
      continue;
    }
    const Classified<Real> seen = recorded_sign(job, signs, place, state, c + 1, parm, work);
    shown.after[a] = p * seen.chance;
    over += seen.over;
  }
  return over;
}

}  // namespace tarn
