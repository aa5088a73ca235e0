// Populations whose animals enter in one of several states (Schwarz and Arnason 1996; Dupuis and Schwarz
// 2007), given that they are caught at all. No cohorts: every rate stands in row 1.
//
//   states      not there yet, alive in one of the states, dead
//   occasion o  enters ahead of it with pent(o), then in state a with pi_a(o); alive in a: the code of a with
//               p_a(o), "0" with 1 - p_a(o), "." with 1; not there or dead: "0" and "." with 1
//   interval c  survives with S_a(c), to the power of the interval's length; survivors then move from a to b
//               with Psi(a, b)(c), and stay with what is left of 1
//   the whole   over p*, the chance of a capture on the occasions that were sampled
//   an animal lost on capture is followed to its last capture only, p* is that of one never lost

#include "likelihood/blocks/entrants.h"
#include "likelihood/blocks/event_signs.h"
#include "likelihood/blocks/hidden.h"
#include "likelihood/blocks/samplings.h"
#include "likelihood/blocks/strata.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

/// The chance of a capture on occasion o.
template <class Real>
const Real& caught_on(const Job& job, int o, int a, int group, const Reals<Real>& parm,
                      Cell_work<Real>& work) {
  const auto p = work.matrix(Parameter::p, a, 1, group);
  return parm[p(1, column_of_occasion(o, job.status.noccas, p.ncols))];
}

struct Strata_population : Counts_strata<Strata_population> {
  struct Prepared : Stratum_records {
    explicit Prepared(const Job& job) : Stratum_records(job, {.whole_study = true, .starts = true}) {}
  };
  template <class Real>
  struct Kept : Stratum_kept<Real>, Unseen_kept<Real> {};

  template <class Real>
  static Real caught(const Job& job, const Stratum_place& place, int c, int b, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
    return caught_on(job, c + 1, b, place.group, parm, work);
  }

  /// What transitions ahead of a first capture are charged.
  template <class Real>
  static Real start_charge(const Job& job, const Stratum_place& place, int first, const Reals<Real>& parm,
                           Cell_work<Real>& work) {
    return unseen(job, place, parm, work).charged(first);
  }

  /// Chance of a first capture in stratum `from`.
  template <class Real>
  static Real starts(const Job& job, const Stratum_place& place, int first, int from, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
    const Unseen<Real> ahead = unseen(job, place, parm, work);
    if (vanishes(ahead.pstar)) return minlog;
    return ahead.there(first, from) * caught_on(job, first, from, place.group, parm, work) / ahead.pstar;
  }

  template <class Real>
  static Unseen<Real> unseen(const Job& job, const Stratum_place& place, const Reals<Real>& parm,
                             Cell_work<Real>& work) {
    const Stratum_records& records = prepared<Strata_population>(work);
    int sampling = 0;
    if (place.histry.noccas() > 0) {
      const Stratum_facts* const facts = records.find(place.i, place.histry);
      sampling = facts != nullptr ? facts->sampling : -1;
    }
    return unseen_animals<Strata_population>(job, place.group, place.histry, sampling, records.samplings(),
                                             parm, work);
  }
};

/// Calls compute(unseen) with what is told of the animals not caught yet, and has it at hand for that time.
template <class Family, class Real, class Compute>
Ch_result<Real> given_unseen(const Unseen<Real>& ahead, Cell_work<Real>& work, const Compute& compute) {
  if (vanishes(ahead.pstar)) return Ch_result<Real>::from(minlog);
  Unseen_kept<Real>& own = kept<Family>(work);
  own.of_record = &ahead;
  const Real prob = compute();
  own.of_record = nullptr;
  return Ch_result<Real>::from(prob);
}

}  // namespace

template <class Real>
void chprob183(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  const Stratum_facts& facts = stratum_facts<Strata_population>(work, i, histry);
  if (facts.first == 0) {
    work.fail(i, no_result_text);
    result = Ch_result<Real>::floor();
    return;
  }
  const Unseen<Real> ahead = Strata_population::unseen(job, {1, j, i, histry}, parm, work);
  result = given_unseen<Strata_population>(ahead, work, [&] {
    return stratum_history<Strata_population>(job, facts, histry, i, lost != 0, j, parm, work);
  });
}

TARN_CELL_ROUTINE(chprob183, Strata_population)

// A capture may not tell the state (Pradel 2005): Delta(a, .) gives the sign under which one of state a is
// recorded, codes of the states and of events, as in the hidden Markov model.
//
//   occasion o  alive in a: sign q with p_a(o) Delta(a, q)(o)

namespace {

struct Hidden_population : Counts_hidden<Hidden_population> {
  struct Prepared : Hidden_records {
    explicit Prepared(const Job& job) : Hidden_records(job, {.whole_study = true}), signs(job) {
      for (int i = 1; i <= job.data.encounters.size(); ++i)
        samplings.add(i, text_of_sampling(job.data.encounters.history(i), 1), 1);
      samplings.number_them();
    }
    Event_signs signs;
    Samplings samplings;
  };
  template <class Real>
  struct Kept : Hidden_kept<Real>, Unseen_kept<Real> {};

  /// What was there and not caught before, and is caught now.
  template <class Real>
  static Real starts(const Job& job, const Hidden_place& place, int first, const Reals<Real>& parm,
                     Cell_work<Real>& work, std::span<Real> v) {
    const Unseen<Real> ahead = unseen(job, place, parm, work);
    Real over = ahead.charged(first);
    for (int a = 1; a <= static_cast<int>(v.size()); ++a) {
      const Classified<Real> seen =
          recorded_sign(job, prepared<Hidden_population>(work).signs, place, a, first, parm, work);
      // Without a chance to be caught the floor stands for all histories.
      v[static_cast<std::size_t>(a) - 1] =
          vanishes(ahead.pstar)
              ? Real(0.0)
              : Real(ahead.there(first, a) * caught_on(job, first, a, place.group, parm, work) * seen.chance /
                     ahead.pstar);
      over += seen.over;
    }
    return over;
  }

  template <class Real>
  static Real moves(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, const Hidden_interval<Real>& interval) {
    return survive_and_move<Hidden_population>(job, place, c, c, parm, work, interval);
  }

  template <class Real>
  static Real shown(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, Hidden_shown<Real>& shown) {
    const auto caught = [&](int a) -> const Real& {
      return caught_on(job, c + 1, a, place.group, parm, work);
    };
    return show_sign(job, prepared<Hidden_population>(work).signs, place, c, caught, parm, work, shown);
  }

  template <class Real>
  static Unseen<Real> unseen(const Job& job, const Hidden_place& place, const Reals<Real>& parm,
                             Cell_work<Real>& work) {
    const Prepared& records = prepared<Hidden_population>(work);
    const int sampling = records.find(place.i, place.histry) != nullptr ? records.samplings.of(place.i) : -1;
    return unseen_animals<Hidden_population>(job, place.group, place.histry, sampling,
                                             records.samplings.examples().size(), parm, work);
  }
};

}  // namespace

template <class Real>
void chprob185(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  const Hidden_facts& facts = hidden_facts<Hidden_population>(work, i, histry);
  if (facts.first == 0) {
    work.fail(i, no_result_text);
    result = Ch_result<Real>::floor();
    return;
  }
  const Unseen<Real> ahead = Hidden_population::unseen(job, {1, j, i, histry}, parm, work);
  result = given_unseen<Hidden_population>(ahead, work, [&] {
    return hidden_history<Hidden_population>(job, facts, histry, i, lost != 0, j, parm, work);
  });
}

TARN_CELL_ROUTINE(chprob185, Hidden_population)

}  // namespace tarn
