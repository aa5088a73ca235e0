#pragma once
// Fates after a release: a death reported in one interval or never, an animal that is followed.

#include "data/catalogue/encounter.h"

namespace tarn {

/// Chance that an animal released at the start of interval `first` lives up to interval `last` and is then
/// reported dead: `survives(c)` is the chance to live through interval c, `reported(c)` the chance, given
/// life at its start, to die in it and be reported.
template <class Real, class Survives, class Reported>
Real reported_dead_in(int first, int last, Survives survives, Reported reported) {
  Real alive = 1.0;
  for (int c = first; c < last; ++c) alive = alive * survives(c);
  return alive * reported(last);
}

/// The sum of these chances over the intervals `first` to `last`; interval `last` itself need not be
/// survived.
template <class Real, class Survives, class Reported>
Real reported_dead(int first, int last, Survives survives, Reported reported) {
  Real alive = 1.0, sum = reported(first);
  for (int c = first + 1; c <= last; ++c) {
    alive = alive * survives(c - 1);
    sum = sum + alive * reported(c);
  }
  return sum;
}

/// True when the history ends in a recovery, which then stands in its last cell `last`.
inline bool has_recovery(History histry, int last) { return histry.dead(last) != '0'; }

/// The cell of a recovery study: reported in interval `last`, or never up to the end of the study.
template <class Real, class Survives, class Reported>
Real recovery(History histry, int first, int last, Survives survives, Reported reported) {
  if (has_recovery(histry, last)) return reported_dead_in<Real>(first, last, survives, reported);
  return 1.0 - reported_dead<Real>(first, histry.noccas(), survives, reported);
}

/// The same when a death of interval c is reported with chance `reports(c)` (Seber 1970).
template <class Real, class Survives, class Reports>
Real seber_recovery(History histry, int first, int last, Survives survives, Reports reports) {
  return recovery<Real>(histry, first, last, survives,
                        [&](int c) -> Real { return (1.0 - survives(c)) * reports(c); });
}

/// An animal that is followed in some intervals: a first character other than "0" and "." says that it is,
/// any second character other than "0" that it died.
template <class Real, class Survives>
Real followed(History histry, Survives survives) {
  Real prob = 1.0;
  for (int c = 1; c <= histry.noccas(); ++c) {
    if (histry.live(c) == '0' || histry.live(c) == '.') continue;
    const Real s = survives(c);
    prob = prob * (histry.dead(c) == '0' ? s : Real(1.0 - s));
  }
  return prob;
}

}  // namespace tarn
