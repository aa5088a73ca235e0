// Populations whose animals enter in one of several states (Schwarz and Arnason 1996; Dupuis and Schwarz 2007),
// given that they are caught at all. No cohorts: every rate stands in row 1.
//
//   states      not there yet, alive in one of the states, dead
//   occasion o  enters ahead of it with pent(o), then in state a with pi_a(o); alive in a: the code of a with
//               p_a(o), "0" with 1 - p_a(o), "." with 1; not there or dead: "0" and "." with 1
//   interval c  survives with S_a(c), to the power of the interval's length; survivors then move from a to b
//               with Psi(a, b)(c), and stay with what is left of 1
//   the whole   over p*, the chance of a capture on the occasions that were sampled
//   an animal lost on capture is followed to its last capture only, p* is that of one never lost

#include "likelihood/blocks/entrants.h"
#include "likelihood/blocks/sessions.h"
#include "likelihood/blocks/strata.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

/// What is kept of animals not caught yet, under one set of reals.
template <class Real>
struct Unseen_kept {
  std::vector<Real> weights;
  Unseen<Real> unseen;
};

struct Strata_population : Counts_strata<Strata_population> {
  struct Prepared : Stratum_records {
    explicit Prepared(const Job& job) : Stratum_records(job, {.whole_study = true, .starts = true}) {}
  };
  template <class Real>
  struct Kept : Stratum_kept<Real> {
    std::vector<Stamped<Unseen_kept<Real>>> unseen;  ///< by group, sampling
    const Unseen<Real>* of_record = nullptr;         ///< of the record in hand, where it alone is sampled so
  };

  template <class Real>
  static Real caught(const Job& job, const Stratum_place& place, int c, int b, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
    const auto p = work.matrix(Parameter::p, b, 1, place.group);
    return parm[p(1, column_of_occasion(c + 1, job.status.noccas, p.ncols))];
  }

  /// Chance of a first capture in stratum `from`.
  template <class Real>
  static Real starts(const Job& job, const Stratum_place& place, int first, int from, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
    const Unseen<Real> ahead = unseen(job, place, parm, work);
    if (vanishes(ahead.pstar)) return minlog;
    const std::size_t at = static_cast<std::size_t>((first - 1) * job.status.nstrta + from) - 1;
    const auto p = work.matrix(Parameter::p, from, 1, place.group);
    return ahead.weights[at] * parm[p(1, column_of_occasion(first, job.status.noccas, p.ncols))] / ahead.pstar;
  }

  /// Animals not caught yet in a study sampled as that of the place.
  template <class Real>
  static Unseen<Real> unseen(const Job& job, const Stratum_place& place, const Reals<Real>& parm,
                             Cell_work<Real>& work) {
    const Stratum_records& records = prepared<Strata_population>(work);
    const History histry = place.histry;
    const bool throughout = histry.noccas() == 0;
    const Stratum_facts* const facts = throughout ? nullptr : records.find(place.i, histry);
    const int sampling = throughout ? 0 : facts != nullptr ? facts->sampling : -1;
    const std::size_t size = static_cast<std::size_t>(job.status.noccas * job.status.nstrta);
    const auto compute = [&](std::span<Real> weights) {
      return follow_unseen<Real>(
          job, place.group, [&](int o) { return throughout || histry.live(o) != '.'; },
          rates_of<Strata_population>(job, parm, work), parm, work, weights);
    };
    auto& own = kept<Strata_population>(work);
    if (parm.stamp() == 0 || sampling < 0)
      return own.of_record != nullptr ? *own.of_record : compute(work.take(size));
    auto& entry = detail::entry_of(own.unseen, records.samplings(), job.status.ngrps, place.group, sampling);
    if (entry.made_for != parm.stamp()) {
      const auto keep = work.trace.keep();
      entry.value.weights.resize(size);
      entry.value.unseen = compute(entry.value.weights);
      entry.made_for = parm.stamp();
    }
    return entry.value.unseen;
  }
};

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
  const Unseen<Real>*& of_record = kept<Strata_population>(work).of_record;
  of_record = nullptr;
  const Unseen<Real> ahead = Strata_population::unseen(job, {1, j, i, histry}, parm, work);
  of_record = &ahead;
  const Real prob = stratum_history<Strata_population>(job, facts, histry, i, lost != 0, j, parm, work);
  of_record = nullptr;
  // All transitions up to the last occasion sampled have been read.
  work.penlty[1] = ahead.charged;
  result = Ch_result<Real>::from(vanishes(ahead.pstar) ? Real(minlog) : prob);
}

TARN_CELL_ROUTINE(chprob183, Strata_population)

}  // namespace tarn
