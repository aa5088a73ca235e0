#pragma once
// Robust designs of animals that live in strata: primary sessions, in which no animal changes its stratum,
// and between which it moves. What happens within a session is its layer's (closed_session.h,
// open_session.h), what happens between them stands in strata.h.
//
//   prob = chance of the first capture's stratum, where the family has one
//          times, for every session with a capture, the chance of what is shown there, given a capture or, in
//          the full closed kinds, not
//          times the chance of the sequence of sessions and strata, a session being an occasion on which an
//          animal is caught with p*

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "likelihood/blocks/sessions.h"
#include "likelihood/blocks/state_shares.h"
#include "likelihood/blocks/strata.h"

namespace tarn {

/// The chance of the stratum, and of the session, of a first capture.
enum class First_stratum {
  given,     ///< 1
  omega,     ///< shares of the strata, weighted by p*
  seniority  ///< first captures in strata that grow, within the stratum
};

/// A family of them. `Layer` has `within(job, i, stretch, parm, work, closed_kept)`, a `Closed_result`.
template <class Layer, First_stratum start>
struct Session_strata {
  static constexpr bool grows = start == First_stratum::seniority;

  struct Prepared : Session_records, Stratum_records {
    explicit Prepared(const Job& job)
        : Session_records(job, false, true),
          Stratum_records(job,
                          {.sessions = true, .whole_study = grows, .starts = start != First_stratum::given}) {
      const Stratum_records& strata = *this;
      count_patterns(job, strata.counted());
      // All parts stand on the trace at once, histories one after the other: few must serve many.
      if (2 * (pattern_counts().size() + strata.counts().size()) < strata.counted_histories())
        counted_ = strata.counted();
    }
    /// By record: 1 where counts stand for it; empty: nowhere.
    const std::vector<char>& counted() const { return counted_; }

   private:
    std::vector<char> counted_;
  };
  template <class Real>
  struct Kept : Session_kept<Real>, Stratum_tables<Real> {
    std::vector<Stamped<Real>> stars;          ///< by group, session, stratum: of sessions sampled throughout
    std::vector<Stamped<Real>> start_charges;  ///< by group, session
  };

  template <class Real>
  static Closed_result<Real> layer(const Job& job, int i, const Closed_stretch& stretch,
                                   const Reals<Real>& parm, Cell_work<Real>& work) {
    return Layer::template within<Real>(job, i, stretch, parm, work, kept<Session_strata>(work).closed);
  }

  template <class Real>
  static Real caught(const Job& job, const Stratum_place& place, int c, int b, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
    return star(job, place, c + 1, b, parm, work);
  }

  template <class Real>
  static Real starts(const Job& job, const Stratum_place& place, int first, int from, const Reals<Real>& parm,
                     Cell_work<Real>& work) requires(start != First_stratum::given) {
    if constexpr (grows)
      return caught_first(job, place, first, from, parm, work);
    else
      return stratum_at_first_capture<Real>(from, job.status.nstrta, first, place.group, parm, work,
                                            [&](int a) { return star(job, place, first, a, parm, work); });
  }

  /// What transitions ahead of a first capture are charged, which its chance reads.
  template <class Real>
  static Real start_charge(const Job& job, const Stratum_place& place, int first, const Reals<Real>& parm,
                           Cell_work<Real>& work) requires grows {
    return once<Real>(job, place, first, parm, work, kept<Session_strata>(work).start_charges, [&] {
      const int n = job.status.nstrta;
      const std::span<Real> psi = work.take(static_cast<std::size_t>(n));
      Real sum = 0.0;
      for (int s = 1; s < first; ++s)
        for (int a = 1; a <= n; ++a) sum += fill_transitions(a, n, 1, s, place.group, parm, work, psi.data());
      return sum;
    });
  }

  static std::vector<char> counted_records(const Prepared& records) { return records.counted(); }

  template <class Real>
  static bool counted(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::vector<Counted_log<Real>>& logs) {
    logs.clear();
    double lowest = 0.0;
    return count_patterns<Session_strata>(job, parm, work, logs, lowest) &&
           count_strata<Session_strata>(job, parm, work, logs, lowest) && clear_of_the_floor(lowest);
  }

 private:
  /// Chance that an animal of stratum b is caught in session s.
  template <class Real>
  static Real star(const Job& job, const Stratum_place& place, int s, int b, const Reals<Real>& parm,
                   Cell_work<Real>& work) {
    const Session_records& records = prepared<Session_strata>(work);
    const Primary_session& session = records.session(s);
    const Closed_stretch stretch{place.histry, session.before, session.length, s, place.group, b};
    const auto compute = [&] { return layer(job, place.i, stretch, parm, work).pstar; };
    if (!stretch.sampled_throughout()) return compute();
    return once<Real>(job, place, s, parm, work, kept<Session_strata>(work).stars, compute, job.status.nstrta,
                      b);
  }

  /// What `compute()` gives of a group and session, and of the k-th of so many parts: from the table where
  /// real parameters are shared.
  template <class Real, class Compute>
  static Real once(const Job& job, const Stratum_place& place, int s, const Reals<Real>& parm,
                   Cell_work<Real>& work, std::vector<Stamped<Real>>& table, const Compute& compute,
                   int parts = 1, int k = 1) {
    if (parm.stamp() == 0) return compute();
    const Session_records& records = prepared<Session_strata>(work);
    auto& entry = detail::entry_of(table, static_cast<std::size_t>(records.sessions() * parts),
                                   job.status.ngrps, place.group, (s - 1) * parts + k - 1);
    if (entry.made_for != parm.stamp()) {
      const auto keep = work.trace.keep();
      entry.value = compute();
      entry.made_for = parm.stamp();
    }
    return entry.value;
  }

  /// Chance that an animal which is caught at all, first in stratum `from`, is so in session `first`
  /// (Pradel 1996; Nichols et al. 2000). Of the animals of a stratum the share Gamma was in the population
  /// one session before, where the transitions tell; the stratum grows by the factor S / Gamma.
  template <class Real>
  static Real caught_first(const Job& job, const Stratum_place& place, int first, int from,
                           const Reals<Real>& parm, Cell_work<Real>& work) {
    const Stratum_records& records = prepared<Session_strata>(work);
    const auto rate = rates_of<Session_strata>(job, parm, work);
    const int n = records.strata(), j = place.group;
    const std::size_t strata = static_cast<std::size_t>(n);
    // Of an animal that is in a now: not caught in the sessions before, nor now.
    const std::span<Real> unmet = work.take(strata), missed = work.take(strata), psi = work.take(strata);
    std::fill(unmet.begin(), unmet.end(), Real(1.0));
    Real size = 1.0, own = 0.0, all = 0.0;
    // In the last session the stratum in hand alone counts.
    const auto counts = [&](int a, int s) { return a == from || s < records.periods(); };
    for (int s = 1; s <= records.periods(); ++s) {
      for (int a = 1; a <= n; ++a) {
        if (!counts(a, s)) continue;
        const std::size_t at = static_cast<std::size_t>(a) - 1;
        const Real caught = star(job, place, s, a, parm, work);
        missed[at] = unmet[at] * (1.0 - caught);
        if (a != from) continue;
        const Real entrants = size * unmet[at] * caught;
        all = all + entrants;
        if (s == first) own = entrants;
      }
      if (s == records.periods()) break;
      const int behind = records.time_interval(s);
      for (int a = 1; a <= n; ++a) {
        if (!counts(a, s + 1)) continue;
        const Real senior = rate.survival(work.matrix(Parameter::Gamma, a, 1, j)(1, s), behind);
        fill_transitions(a, n, 1, s, j, parm, work, psi.data());
        Real before = 0.0;
        for (std::size_t k = 0; k < strata; ++k) before = before + psi[k] * missed[k];
        unmet[static_cast<std::size_t>(a) - 1] = 1.0 - senior + senior * before;
        if (a != from) continue;
        // Sizes stand on the scale of the last session: no rate is divided by.
        size = size * rate.survival(work.matrix(Parameter::S, a, 1, j)(1, s), behind);
        all = all * senior;
        own = own * senior;
      }
    }
    return vanishes(all) ? Real(minlog) : Real(own / all);
  }
};

/// The result of a history of such a family; one without a capture is a fault of history i with this text.
template <class Family, class Real>
Ch_result<Real> strata_and_sessions(const Job& job, History histry, int i, int j, bool lost,
                                    const Reals<Real>& parm, Cell_work<Real>& work,
                                    std::string_view text_of_none) {
  const Session_facts& within = session_facts<Family>(work, i, histry);
  if (within.first == 0) {
    work.fail(i, text_of_none);
    return Ch_result<Real>::floor();
  }
  const Stratum_facts& between = stratum_facts<Family>(work, i, histry);
  return Ch_result<Real>::from(within_sessions<Family>(job, within, histry, i, j, lost, parm, work) *
                               stratum_history<Family>(job, between, histry, i, lost, j, parm, work));
}

}  // namespace tarn
