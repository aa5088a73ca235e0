// Live recaptures (Cormack 1964; Lebreton et al. 1992), conditional on the first capture.
//
//   states      alive, dead; starts alive at the first capture
//   interval c  survives with Phi(c), to the power of the interval's length
//   occasion o  alive:  "1" with p(o), "0" with 1 - p(o), "." with 1
//               dead:   "0" and "." with 1
//   an animal lost on capture is followed to its last capture only, any other to the last occasion sampled
//
// Phi(c) and p(c + 1) stand in the row of the first capture, column c. Histories that end in "0" alone, as
// most do, share the steps of their cohort as long as the reals are the same.

#include "likelihood/blocks/cell.h"
#include "likelihood/blocks/chain2.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

/// The steps of a cohort's table.
template <class Real>
void make_cohort(const Job& job, int first, int noccas, int j, Reals<Real> parm, Cell_work<Real>& work,
                 Chain2_cohort<Real>& cohort) {
  const auto phi = work.pim(job, 1, 1, 1, j), p = work.pim(job, 2, 1, 1, j);
  const auto survives = [&](int c) { return survival(job, work, parm, phi(first, c), c); };
  const auto seen = [&](char character, int c) { return emission(character, parm[p(first, c)]); };
  cohort.make(first, noccas, work.reals_stamp(), survives, seen);
}

/// The chain itself, from the first capture to occasion `last`.
template <class Real>
Real step_by_step(const Job& job, History histry, int first, int last, int j, Reals<Real> parm,
                  Cell_work<Real>& work) {
  const auto phi = work.pim(job, 1, 1, 1, j), p = work.pim(job, 2, 1, 1, j);
  Chain2<Real> animal;
  for (int c = first; c < last; ++c)
    animal.step(survival(job, work, parm, phi(first, c), c), emission(histry.live(c + 1), parm[p(first, c)]));
  return animal.prob();
}

}  // namespace

template <class Real>
void chprob001(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               Reals<Real> parm, Cell_work<Real>& work) {
  const History_facts& facts = work.facts_of(i, histry);
  if (facts.codes != nullptr && !lost && work.reals_stamp() != 0) {
    Chain2_cohort<Real>& cohort = work.cohorts.at(j, facts.first, histry.noccas());
    if (cohort.made_for != work.reals_stamp())
      make_cohort(job, facts.first, histry.noccas(), j, parm, work, cohort);
    result = Ch_result<Real>::from(cohort.prob(facts.codes, facts.first, facts.last_caught));
  } else {
    const int last = lost ? facts.lastlc : facts.lastsm;
    result = Ch_result<Real>::from(step_by_step(job, histry, facts.first, last, j, parm, work));
  }
}

TARN_CELL_ROUTINE(chprob001)

}  // namespace tarn
