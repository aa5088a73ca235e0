// Robust designs of animals whose state is not always recognised when they are caught (Kendall et al. 2003,
// 2012; Kendall 2009), conditional on the first session with a capture. What happens within a session, in
// which no animal changes its state, stands in blocks/open_session.h, what between sessions in
// blocks/hidden.h.
//
//   states      alive in one of n states, dead
//   first       of state a with pi_a. A session that shows the state: with the chance of what it shows,
//               given a capture, e(a) / p*(a). One that does not: the animal is one of those caught and not
//               recognised, with C = sum of pi_k u(k) / p*(k), and of these with Omega_a e(a) / sum of
//               Omega_k u(k) of state a, showing this
//   interval s  survives with S_a(s), to the power of the interval's length; survivors then move from a to b
//               with Psi(a, b)(s), and stay with what is left of 1
//   session s   alive in a: shows with e(a) what is shown; dead: never caught
//   e, p*, u    chances of what a session shows, of a capture in it, of captures that do not show the state
//
// An animal lost on capture is followed to its last capture only; it might have shown anything later.
// Signs: codes of the states, recorded with certainty, then one for all captures that leave the state open,
// or, in one of the types, n codes of a guess: right with R_a(j), else any of the others.
// S and Psi stand in the row of the first session, column s; pi and Omega in row 1, column s; the rates of
// state a in session s in the matrices (a, s), R_a in that of Delta (n + a, s).

#include <string>

#include "likelihood/blocks/hidden.h"
#include "likelihood/blocks/open_matrix.h"
#include "likelihood/blocks/open_session.h"
#include "likelihood/blocks/state_shares.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

struct Uncertain_states : Counts_hidden<Uncertain_states> {
  struct Prepared : Hidden_records {
    explicit Prepared(const Job& job)
        : Hidden_records(job, {.sessions = true}),
          traits(open_traits(datatype(job.status.dattyp))),
          guesses(datatype(job.status.dattyp).strata_tail == Strata_tail::lower),
          signs(job.data.strata) {}
    /// Place of a capture's sign: up to the number of states one that tells its state.
    int position(char sign) const { return static_cast<int>(signs.find(sign)) + 1; }
    int length(int s) const { return last_occasion(s) - first_occasion(s) + 1; }

    Open_traits traits;
    bool guesses;
    std::string signs;
  };
  template <class Real>
  using Kept = Hidden_kept<Real>;

  template <class Real>
  static Real starts(const Job& job, const Hidden_place& place, int first, const Reals<Real>& parm,
                     Cell_work<Real>& work, std::span<Real> v) {
    const Session session(prepared<Uncertain_states>(work), place, first);
    std::fill(v.begin(), v.end(), Real(0.0));
    if (session.known > 0)
      v[static_cast<std::size_t>(session.known) - 1] = recognised_weight(job, session, parm, work);
    else
      unrecognised_weights(job, session, parm, work, v);
    return charge(job, place, first, parm, work);
  }

  template <class Real>
  static Real moves(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, const Hidden_interval<Real>& interval) {
    const int behind = prepared<Uncertain_states>(work).last_occasion(c);
    return survive_and_move<Uncertain_states>(job, place, c, behind, parm, work, interval) +
           charge(job, place, c + 1, parm, work);
  }

  template <class Real>
  static Real shown(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, Hidden_shown<Real>& shown) {
    const Session session(prepared<Uncertain_states>(work), place, c + 1);
    shown.met = session.met;
    for (int a = 1; a <= session.records.states(); ++a)
      shown.after[static_cast<std::size_t>(a) - 1] =
          session.known == 0 || session.known == a ? chance_of(job, session, a, parm, work) : Real(0.0);
    return 0.0;
  }

 private:
  /// What a history shows in a session.
  struct Session {
    Session(const Prepared& prepared_records, const Hidden_place& of, int session)
        : records(prepared_records),
          place(of),
          s(session),
          before(records.first_occasion(s) - 1),
          length(records.length(s)),
          open(place.removed ? std::min(lastlc(place.histry) - before, length) : length) {
      for (int j = 1; j <= open; ++j) {
        if (!captured(sign(j))) continue;
        met = true;
        if (const int code = records.position(sign(j)); code <= records.states()) known = code;
      }
    }
    char sign(int j) const { return place.histry.live(before + j); }
    bool sampled(int j) const { return sign(j) != '.'; }
    /// @param later  what the occasions say on which a removed animal could be caught no more
    Open_shown shown(int j, Open_shown later) const {
      if (!sampled(j)) return Open_shown::unsampled;
      if (j > open) return later;
      if (!captured(sign(j))) return Open_shown::missed;
      return records.position(sign(j)) <= records.states() ? Open_shown::recognised
                                                           : Open_shown::unrecognised;
    }
    Open_place of_state(int a) const { return {a, s, place.group, length}; }

    const Prepared& records;
    const Hidden_place& place;
    int s, before, length;
    int open;  ///< last occasion that says something of the animal
    bool met = false;
    int known = 0;  ///< state that a capture tells, 0: none does
  };

  /// Chance that an animal of state a shows this.
  template <class Real>
  static Real chance_of(const Job& job, const Session& session, int a, const Reals<Real>& parm,
                        Cell_work<Real>& work, Open_shown later = Open_shown::unsampled) {
    Real chance =
        open_session(job, session.records.traits, session.of_state(a), parm, work).probability([&](int j) {
          return session.shown(j, later);
        });
    for (int j = 1; session.records.guesses && j <= session.open; ++j)
      if (session.shown(j, later) == Open_shown::unrecognised)
        chance = chance * guess(session, a, j, parm, work);
    return chance;
  }

  /// Chance of the guess that occasion j shows.
  template <class Real>
  static Real guess(const Session& session, int a, int j, const Reals<Real>& parm, Cell_work<Real>& work) {
    const int n = session.records.states();
    if (n == 1) return 1.0;
    const auto rates = work.matrix(Parameter::Delta, n + a, session.s, session.place.group);
    // Without a matrix a guess tells nothing.
    const Real right = rates.nrows > 0 ? parm[rates(1, j)] : Real(1.0 / n);
    return session.records.position(session.sign(j)) - n == a ? right : Real((1.0 - right) / (n - 1));
  }

  /// Chance pi_a / p*(a) that an animal caught first in a session is of state a, per capture of one.
  template <class Real>
  static Real share_per_capture(const Session& session, int a, const Real& caught, const Reals<Real>& parm,
                                Cell_work<Real>& work) {
    if (!(value_of(caught) > 0.0)) return 0.0;
    return state_share(Parameter::pi, a, session.records.states(), session.s, session.place.group, parm,
                       work) /
           caught;
  }

  /// Of the state that a capture tells.
  template <class Real>
  static Real recognised_weight(const Job& job, const Session& session, const Reals<Real>& parm,
                                Cell_work<Real>& work) {
    const int a = session.known;
    const Real caught =
        open_session(job, session.records.traits, session.of_state(a), parm, work).caught([&](int j) {
          return session.sampled(j);
        });
    return share_per_capture(session, a, caught, parm, work) * chance_of(job, session, a, parm, work);
  }

  /// Of all states. An animal that was removed might have been recognised later: of these pi tells the state.
  template <class Real>
  static void unrecognised_weights(const Job& job, const Session& session, const Reals<Real>& parm,
                                   Cell_work<Real>& work, std::span<Real> v) {
    const int n = session.records.states();
    const std::span<Real> later = work.take(v.size());
    Real unseen = 0.0, all = 0.0;
    for (int a = 1; a <= n; ++a) {
      const std::size_t at = static_cast<std::size_t>(a) - 1;
      const Open_stars<Real> stars =
          open_session(job, session.records.traits, session.of_state(a), parm, work).stars([&](int o) {
            return session.sampled(o);
          });
      const Real per_capture = share_per_capture(session, a, stars.caught, parm, work);
      const Real omega = state_share(Parameter::Omega, a, n, session.s, session.place.group, parm, work);
      const Real never = chance_of(job, session, a, parm, work, Open_shown::quiet);
      unseen = unseen + per_capture * stars.unseen;
      all = all + omega * stars.unseen;
      v[at] = omega * never;
      later[at] = session.open < session.length
                      ? Real(per_capture * (chance_of(job, session, a, parm, work) - never))
                      : Real(0.0);
    }
    const bool some = value_of(all) > 0.0;
    for (std::size_t at = 0; at < v.size(); ++at)
      v[at] = later[at] + (some ? Real(unseen / all * v[at]) : Real(0.0));
  }

  /// What the rates within a session are charged, in all states. Such as make no sense are a fault.
  template <class Real>
  static Real charge(const Job& job, const Hidden_place& place, int s, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
    const Prepared& records = prepared<Uncertain_states>(work);
    if (records.traits.closed) return 0.0;
    Open_place within{1, s, place.group, records.length(s)};
    // In the dry run rates have no values.
    if constexpr (!std::is_same_v<Real, Reach>)
      check_open_matrices(job, records.traits, within, records.states(), place.i, parm, work);
    Real sum = 0.0;
    for (int& a = within.stratum; a <= records.states(); ++a)
      sum += charge_of_arrivals(job, records.traits, within, parm, work);
    return sum;
  }
};

}  // namespace

template <class Real>
void uncertain_states(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                      const Reals<Real>& parm, Cell_work<Real>& work) {
  result = hidden_cell<Uncertain_states>(job, histry, i, j, lost != 0, parm, work, no_result_text);
}

TARN_CELL_ROUTINE(uncertain_states, Uncertain_states)

}  // namespace tarn
