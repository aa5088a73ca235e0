// Robust designs of animals that move between strata: primary sessions in which the population is closed, and
// in which no animal changes its stratum (Nichols and Coffman 1999; Kendall et al. 1997). What happens within
// a session stands in blocks/sessions.h, what between them in blocks/strata.h.
//
//   states      alive in one of the strata, dead; starts alive in the stratum of the first capture
//   interval s  survives with S_a(s), to the power of the interval's length; survivors then move from a to b
//               with Psi(a, b)(s), and stay with what is left of 1
//   session s   alive in b: caught with p*(b, s), and there under the closed layer's chance of what is shown;
//               dead: never caught
//   an animal lost on capture is followed to its last session only
//
// S and Psi stand in the row of the first session, column s; the closed layer's rates of stratum b in session
// s in the matrices (b, s).

#include "likelihood/blocks/sessions.h"
#include "likelihood/blocks/state_shares.h"
#include "likelihood/blocks/strata.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

/// @tparam omega  the stratum of the first capture has a chance of its own
template <bool omega>
struct Robust_strata {
  struct Prepared : Session_records, Stratum_records {
    explicit Prepared(const Job& job)
        : Session_records(job, false, true), Stratum_records(job, {.sessions = true, .starts = omega}) {
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
    std::vector<Stamped<Real>> stars;  ///< by group, session, stratum: of sessions sampled throughout
  };

  template <class Real>
  static Real caught(const Job& job, const Stratum_place& place, int c, int b, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
    return star(job, place, c + 1, b, parm, work);
  }

  template <class Real>
  static Real starts(const Job& job, const Stratum_place& place, int first, int from, const Reals<Real>& parm,
                     Cell_work<Real>& work) requires omega {
    return stratum_at_first_capture<Real>(from, job.status.nstrta, first, place.group, parm, work,
                                          [&](int a) { return star(job, place, first, a, parm, work); });
  }

  static std::vector<char> counted_records(const Prepared& records) { return records.counted(); }

  template <class Real>
  static bool counted(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::vector<Counted_log<Real>>& logs) {
    logs.clear();
    double lowest = 0.0;
    return count_patterns<Robust_strata>(job, parm, work, logs, lowest) &&
           count_strata<Robust_strata>(job, parm, work, logs, lowest) && clear_of_the_floor(lowest);
  }

 private:
  /// Chance that an animal of stratum b is caught in session s.
  template <class Real>
  static Real star(const Job& job, const Stratum_place& place, int s, int b, const Reals<Real>& parm,
                   Cell_work<Real>& work) {
    const Session_records& records = prepared<Robust_strata>(work);
    auto& own = kept<Robust_strata>(work);
    const Primary_session& session = records.session(s);
    const Closed_stretch stretch{place.histry, session.before, session.length, s, place.group, b};
    const auto compute = [&] {
      return closmods(job, work, own.closed, place.i, stretch, job.status.closedmodel, parm).pstar;
    };
    if (parm.stamp() == 0 || !stretch.sampled_throughout()) return compute();
    const int strata = job.status.nstrta;
    auto& entry = detail::entry_of(own.stars, static_cast<std::size_t>(records.sessions() * strata),
                                   job.status.ngrps, place.group, (s - 1) * strata + b - 1);
    if (entry.made_for != parm.stamp()) {
      const auto keep = work.trace.keep();
      entry.value = compute();
      entry.made_for = parm.stamp();
    }
    return entry.value;
  }
};

template <class Family, class Real>
Ch_result<Real> strata_and_sessions(const Job& job, History histry, int i, int j, bool lost,
                                    const Reals<Real>& parm, Cell_work<Real>& work) {
  if (!is_closed_kind(job.status.closedmodel)) {
    work.fail(i, invalid_closedmodel_text);
    return Ch_result<Real>::floor();
  }
  const Session_facts& within = session_facts<Family>(work, i, histry);
  if (within.first == 0) {
    work.fail(i, no_result_text);
    return Ch_result<Real>::floor();
  }
  const Stratum_facts& between = stratum_facts<Family>(work, i, histry);
  return Ch_result<Real>::from(within_sessions<Family>(job, within, histry, i, j, lost, parm, work) *
                               stratum_history<Family>(job, between, histry, i, lost, j, parm, work));
}

}  // namespace

template <class Real>
void robust_strata(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                   const Reals<Real>& parm, Cell_work<Real>& work) {
  result = strata_and_sessions<Robust_strata<false>>(job, histry, i, j, lost != 0, parm, work);
}

/// The stratum of the first capture has its chance, too: Omega of that session, weighted by p*.
template <class Real>
void robust_omega(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                  const Reals<Real>& parm, Cell_work<Real>& work) {
  result = strata_and_sessions<Robust_strata<true>>(job, histry, i, j, lost != 0, parm, work);
}

TARN_CELL_ROUTINE(robust_strata, Robust_strata<false>)
TARN_CELL_ROUTINE(robust_omega, Robust_strata<true>)

}  // namespace tarn
