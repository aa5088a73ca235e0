// Animals that move between strata, conditional on the first capture and its stratum. The rates of interval c
// stand in the row of the first capture, column c, those of stratum a in the matrices of a; Psi(a, b) in that
// "a to b".
//
//   states      alive in one of the strata, dead; starts alive in the stratum of the first capture
//   interval c  survives with S_a(c), to the power of the interval's length, a the stratum at its beginning;
//               survivors then move from a to b with Psi(a, b)(c), and stay with what is left of 1
//   occasion o  alive in b:  the code of b with p_b(o - 1), "0" with 1 - p_b(o - 1), "." with 1
//               dead:        "0" and "." with 1
//   an animal lost on capture is followed to its last capture only

#include "likelihood/blocks/strata.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

template <bool dead_too>
struct Strata : Counts_strata<Strata<dead_too>> {
  struct Prepared : Stratum_records {
    explicit Prepared(const Job& job) : Stratum_records(job, {.recoveries = dead_too}) {}
  };
  template <class Real>
  using Kept = Stratum_kept<Real>;

  template <class Real>
  static Real caught(const Job&, const Stratum_place& place, int c, int b, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
    return parm[work.matrix(Parameter::p, b, 1, place.group)(place.row, c)];
  }
};

template <class Family, class Real>
Ch_result<Real> stratum_cell(const Job& job, History histry, int i, int j, int lost, const Reals<Real>& parm,
                             Cell_work<Real>& work) {
  const Stratum_facts& facts = stratum_facts<Family>(work, i, histry);
  if (facts.first == 0) {
    work.fail(i, no_result_text);
    return Ch_result<Real>::floor();
  }
  return Ch_result<Real>::from(stratum_history<Family>(job, facts, histry, i, lost != 0, j, parm, work));
}

}  // namespace

template <class Real>
void chprob009(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = stratum_cell<Strata<false>>(job, histry, i, j, lost, parm, work);
}

TARN_CELL_ROUTINE(chprob009, Strata<false>)

// Live and dead encounters (Barker et al. 2005; Duriez et al. 2009): a death in interval c in stratum a is
// reported with r_a(c), wherever the animal would have gone; the interval behind the last occasion counts.
//
//   cell c  second character not "0": found dead in interval c, and nothing behind it counts
template <class Real>
void strata_live_dead(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                      const Reals<Real>& parm, Cell_work<Real>& work) {
  result = stratum_cell<Strata<true>>(job, histry, i, j, lost, parm, work);
}

TARN_CELL_ROUTINE(strata_live_dead, Strata<true>)

}  // namespace tarn
