#pragma once
// Sites whose state a survey need not tell, surveyed in seasons in which it stays the same (MacKenzie et al.
// 2003).
//
//   season 1       state z with init(z)
//   season s       shows with e_s(z) what its surveys show; one without a survey shows nothing
//   s to s + 1     from z to y with M_s(z, y)
//   prob = sum over the states of ((init .* e_1) M_1 .* e_2) M_2 ...
//
// Seasons are the primary sessions of the study, or the whole study is one. Histories of several seasons are
// walked as those of animals whose state is hidden (hidden.h), with a season for a period. An animal lost on
// capture would be a site like any other.

#include <span>

#include "likelihood/blocks/hidden.h"
#include "likelihood/blocks/site_seasons.h"

namespace tarn {

/// What families of sites prepare.
struct Site_records : Hidden_records {
  Site_records(const Job& job, int states) : Hidden_records(job, {.sites = true, .states = states}) {}

  Season season(const Hidden_place& place, int s) const {
    const int before = first_occasion(s) - 1;
    return {place.histry, before, last_occasion(s) - before, s, place.group};
  }
};

/// What they keep.
template <class Real>
struct Site_kept : Hidden_tables<Real> {
  Node_tables<Real> nodes;
};

/// Families of sites derive from this. They have
///   begins(job, group, parm, work, init)
///   changes(job, group, s, parm, work, m)   M_s, element (z, y) at z states + y; gives what is charged for
///   it shows(job, season, parm, work, e)
/// their `Prepared` is a `Site_records`, their `Kept` a `Site_kept`.
template <class Family>
struct Sites : Counts_hidden<Family> {
  template <class Real>
  static Real starts(const Job& job, const Hidden_place& place, int first, const Reals<Real>& parm,
                     Cell_work<Real>& work, std::span<Real> v) {
    Family::template begins<Real>(job, place.group, parm, work, v);
    const std::span<Real> e = work.take(v.size());
    Family::template shows<Real>(job, prepared<Family>(work).season(place, first), parm, work, e);
    for (std::size_t z = 0; z < v.size(); ++z) v[z] = v[z] * e[z];
    return 0.0;
  }

  template <class Real>
  static Real moves(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, const Hidden_interval<Real>& interval) {
    return Family::template changes<Real>(job, place.group, c, parm, work, interval.matrix);
  }

  template <class Real>
  static Real shown(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, Hidden_shown<Real>& shown) {
    shown.met = true;  // no site dies
    Family::template shows<Real>(job, prepared<Family>(work).season(place, c + 1), parm, work, shown.after);
    return 0.0;
  }
};

/// Probability of the history of a site in group j; 1 exactly of one that was never surveyed.
template <class Family, class Real>
Ch_result<Real> site_cell(const Job& job, History histry, int i, int j, const Reals<Real>& parm,
                          Cell_work<Real>& work) {
  const Hidden_facts& facts = hidden_facts<Family>(work, i, histry);
  if (facts.last_sampled == 0) return {};
  return Ch_result<Real>::from(hidden_history<Family>(job, facts, histry, i, false, j, parm, work));
}

/// The rest of a row of chances, which may be negative; the range penalty then sees it.
template <class Real>
Real what_is_left(std::span<const Real> others) {
  Real left = 1.0;
  for (const Real& share : others) left = left - share;
  return left;
}

}  // namespace tarn
