#pragma once
// Live captures on occasions joined with what is reported between them.

#include "likelihood/cell/history_facts.h"

namespace tarn {

/// Probability of an animal's encounters from its first capture on (Burnham 1993; Barker 1997, 1999). Alive
/// it is in the study area, where it may be caught, or outside; it starts in the area.
///
/// `rates` has, for interval c, `event(histry, c)`: '0' nothing, '1' reported dead, '2' seen alive;
/// `survives(c)`; `shows_alive(event, c)`: chance of the event given survival; `shows_dead(event, c)`: given
/// death in the interval; `stays(c)` and `returns(c)`: to be in the area at the end of c, given survival, for
/// one inside and one outside at its start; and `caught(c)`: capture in the area at the end of c.
///
/// A rate whose weight is 0 by rule is not asked for: what the dead show before the last encounter, the
/// return of an animal that was just caught, anything behind a reported death.
/// @param lost  the animal was removed at its last live capture, and nothing behind that counts
template <class Real, class Rates>
Real joint_encounters(History histry, const History_facts& facts, bool lost, const Rates& rates) {
  const int noccas = histry.noccas(), last = lost ? facts.lastlc - 1 : noccas;
  Real inside = 1.0, outside = 0.0, dead = 0.0;
  bool may_be_outside = false;
  for (int c = facts.first; c <= last; ++c) {
    const char event = rates.event(histry, c);
    const bool may_be_dead = !lost && c >= facts.last1;
    if (event == '1' && !may_be_dead) return 0.0;
    const Real s = rates.survives(c);
    if (may_be_dead) dead = dead + (inside + outside) * ((1.0 - s) * rates.shows_dead(event, c));
    if (event == '1') return dead;

    const Real alive = s * rates.shows_alive(event, c);
    if (c == noccas) {
      inside = inside * alive;
      outside = outside * alive;
      break;
    }
    const Real stays = rates.stays(c);
    Real in = inside * stays, out = inside * (1.0 - stays);
    if (may_be_outside) {
      const Real returns = rates.returns(c);
      in = in + outside * returns;
      out = out + outside * (1.0 - returns);
    }
    const Real p = rates.caught(c);
    const bool caught = histry.live(c + 1) != '0';
    inside = alive * in * (caught ? p : Real(1.0 - p));
    outside = caught ? Real(0.0) : Real(alive * out);
    may_be_outside = !caught;
  }
  return inside + outside + dead;
}

}  // namespace tarn
