#pragma once
// Live captures on occasions, or in primary sessions, joined with what is reported between them.

#include "data/catalogue/encounter.h"
#include "likelihood/cell/history_facts.h"

namespace tarn {

/// An animal of a study whose occasions are its periods, with an interval behind the last one.
struct Joint_animal {
  Joint_animal(History histry, const History_facts& facts, bool lost)
      : first(facts.first),
        last_met(facts.last1),
        last(lost ? facts.lastlc - 1 : histry.noccas()),
        periods(histry.noccas()),
        lost(lost),
        histry_(histry) {}
  bool caught(int o) const { return histry_.live(o) != '0'; }
  /// What its record holds of interval c.
  char record(int c) const { return histry_.dead(c); }

  int first;     ///< first capture
  int last_met;  ///< last encounter of either kind
  int last;      ///< last interval in which it is followed
  int periods;   ///< occasions
  bool lost;     ///< removed at its last capture

 private:
  History histry_;
};

/// Probability of an animal's encounters from its first capture on (Burnham 1993; Barker 1997, 1999; Kendall
/// et al. 1995, 2013). Alive it is in the study area, where it may be caught, or outside, or gone for good;
/// it starts in the area. Period c is followed by interval c.
///
/// `animal` is a `Joint_animal` or something that tells the same. `rates` has, for interval c,
/// `event(record)`: '0' nothing, '1' reported dead, '2' seen alive; `survives(c)`; `shows_alive(event, c)`:
/// chance of the event given survival; `shows_dead(event, c)`: given death in the interval; `stays(c)` and
/// `returns(c)`: to be in the area at the end of c, given survival, for one inside and one outside at its
/// start; and `caught(c)`: capture in the area at the end of c. Rates of animals that may go for good have
/// `faithful(c)`: not to do so, given survival.
///
/// A rate whose weight is 0 by rule is not asked for: what the dead show before the last encounter, the
/// return of an animal that was just caught, anything behind a reported death.
template <class Real, class Animal, class Rates>
Real joint_encounters(const Animal& animal, const Rates& rates) {
  constexpr bool may_go = requires { rates.faithful(1); };
  Real inside = 1.0, outside = 0.0, gone = 0.0, dead = 0.0;
  bool may_be_outside = false;
  for (int c = animal.first; c <= animal.last; ++c) {
    const char event = rates.event(animal.record(c));
    const bool may_be_dead = !animal.lost && c >= animal.last_met;
    if (event == '1' && !may_be_dead) return 0.0;
    const Real s = rates.survives(c);
    if (may_be_dead) dead = dead + (inside + outside + gone) * ((1.0 - s) * rates.shows_dead(event, c));
    if (event == '1') return dead;

    const Real alive = s * rates.shows_alive(event, c);
    if (c == animal.periods) {
      inside = inside * alive;
      outside = outside * alive;
      gone = gone * alive;
      break;
    }
    const bool caught = animal.caught(c + 1);
    Real present = alive;
    if constexpr (may_go) {
      const Real faithful = rates.faithful(c);
      gone = caught ? Real(0.0) : Real(alive * (gone + (1.0 - faithful) * (inside + outside)));
      present = alive * faithful;
    }
    const Real stays = rates.stays(c);
    Real in = inside * stays, out = inside * (1.0 - stays);
    if (may_be_outside) {
      const Real returns = rates.returns(c);
      in = in + outside * returns;
      out = out + outside * (1.0 - returns);
    }
    const Real p = rates.caught(c);
    inside = present * in * (caught ? p : Real(1.0 - p));
    outside = caught ? Real(0.0) : Real(present * out);
    may_be_outside = !caught;
  }
  return inside + outside + gone + dead;
}

}  // namespace tarn
