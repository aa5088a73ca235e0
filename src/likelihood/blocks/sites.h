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

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "likelihood/blocks/hidden.h"
#include "likelihood/blocks/site_seasons.h"

namespace tarn {

/// What families of sites prepare.
class Site_records : public Hidden_records {
 public:
  /// @param of_states  the parameters that no season's surveys depend on. May throw std::bad_alloc.
  Site_records(const Job& job, int states, std::string_view of_states);

  Season season(History histry, int group, int s) const {
    const int before = first_occasion(s) - 1;
    return {histry, before, last_occasion(s) - before, s, group};
  }

  /// Of one season, where states depend on the record and the surveys of group j do not: number (from 0) of
  /// what record i shows, -1 elsewhere and where that is nothing.
  int pattern(int i, History histry, int j) const {
    return !surveys_shared_.empty() && surveys_shared_[static_cast<std::size_t>(j) - 1] != 0 &&
                   find(i, histry) != nullptr
               ? pattern_of_[static_cast<std::size_t>(i) - 1]
               : -1;
  }
  std::size_t patterns() const { return patterns_; }

 private:
  std::vector<char> surveys_shared_;  ///< by group; empty: nothing is
  std::vector<int> pattern_of_;       ///< by record
  std::size_t patterns_ = 0;
};

/// What they keep.
template <class Real>
struct Site_kept : Hidden_tables<Real> {
  Node_tables<Real> nodes;
  /// What the season shows, by group, pattern and state, and the reals that it was computed at.
  std::vector<Real> seasons;
  std::vector<std::uint64_t> seasons_at;
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
    Family::template shows<Real>(job, prepared<Family>(work).season(place.histry, place.group, first), parm,
                                 work, e);
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
    Family::template shows<Real>(job, prepared<Family>(work).season(place.histry, place.group, c + 1), parm,
                                 work, shown.after);
    return 0.0;
  }
};

namespace detail {

/// What the one season of record i shows, by state, where other records share it.
template <class Family>
const double* shared_season(const Job& job, int pattern, History histry, int j, const Reals<double>& parm,
                            Cell_work<double>& work) {
  const Site_records& records = prepared<Family>(work);
  auto& own = kept<Family>(work);
  const std::size_t n = static_cast<std::size_t>(records.states());
  const std::size_t place =
      (static_cast<std::size_t>(j) - 1) * records.patterns() + static_cast<std::size_t>(pattern);
  if (own.seasons.empty()) {
    own.seasons_at.assign(records.patterns() * static_cast<std::size_t>(job.status.ngrps), 0);
    own.seasons.resize(own.seasons_at.size() * n);
  }
  double* const shown = own.seasons.data() + place * n;
  if (own.seasons_at[place] != parm.shared_stamp()) [[unlikely]] {
    Family::template shows<double>(job, records.season(histry, j, 1), parm.shared(), work,
                                   std::span(shown, n));
    own.seasons_at[place] = parm.shared_stamp();
  }
  return shown;
}

/// Of one season. `pattern` is its number, -1 where the surveys are computed anew.
template <class Family, class Real>
[[gnu::always_inline]] inline Real season_history(const Job& job, History histry, int pattern, int j,
                                                  const Reals<Real>& parm, Cell_work<Real>& work) {
  const Site_records& records = prepared<Family>(work);
  const std::size_t n = static_cast<std::size_t>(records.states());
  std::array<Real, 8> few;
  const std::span<Real> room = 2 * n <= few.size() ? std::span<Real>(few) : work.take(2 * n);
  const std::span<Real> init = room.subspan(0, n), e = room.subspan(n, n);
  Family::template begins<Real>(job, j, parm, work, init);
  const Real* shown = e.data();
  if constexpr (std::is_same_v<Real, double>)
    if (pattern >= 0) shown = shared_season<Family>(job, pattern, histry, j, parm, work);
  if (shown == e.data()) Family::template shows<Real>(job, records.season(histry, j, 1), parm, work, e);
  Real sum = 0.0;
  for (std::size_t z = 0; z < n; ++z) sum = sum + init[z] * shown[z];
  return sum;
}

}  // namespace detail

/// Probability of the history of a site in group j; 1 exactly of one that was never surveyed.
template <class Family, class Real>
Ch_result<Real> site_cell(const Job& job, History histry, int i, int j, const Reals<Real>& parm,
                          Cell_work<Real>& work) {
  const Site_records& records = prepared<Family>(work);
  // Tables of numbers with a trace would live for one record only.
  if constexpr (std::is_same_v<Real, double>)
    if (const int pattern = records.pattern(i, histry, j); pattern >= 0 && parm.stamp() != 0)
      return Ch_result<Real>::from(detail::season_history<Family>(job, histry, pattern, j, parm, work));
  const Hidden_facts& facts = hidden_facts<Family>(work, i, histry);
  if (facts.last_sampled == 0) return {};
  return Ch_result<Real>::from(records.periods() == 1
                                   ? detail::season_history<Family>(job, histry, -1, j, parm, work)
                                   : hidden_history<Family>(job, facts, histry, i, false, j, parm, work));
}

}  // namespace tarn
