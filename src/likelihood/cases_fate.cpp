// Fates that are known: animals that are followed, nests that are visited.

#include "likelihood/blocks/cell.h"
#include "likelihood/blocks/fates.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/chprob.h"

namespace tarn {

// Known fate (Kaplan and Meier 1958; Pollock et al. 1989).
//
//   cell c      "10" at risk in interval c and alive at its end, "11" died in interval c,
//               "00" or ".0" not followed in interval c, which leaves the probability as it is
//   interval c  survives with S(c), to the power of the interval's length
//
// S(c) stands in the row of the first interval at risk, column c. An animal lost has cells "00" and needs no
// count of its own.
template <class Real>
void known_fate(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int, Reals<Real> parm,
                Cell_work<Real>& work) {
  const int first = work.facts_of(i, histry).first;
  const auto s = work.pim(job, 1, 1, 1, j);
  const auto survives = [&](int c) { return survival(job, work, parm, s(first, c), c); };
  result = Ch_result<Real>::from(followed<Real>(histry, survives));
}

// Nest success (Dinsmore et al. 2002).
//
//   first "1"   the day on which the nest was found, active
//   last "1"    the last day on which it was seen active
//   dead "1"    the day on which it was found failed, having failed since the last day active
//   interval c  survives with S(c), to the power of the interval's length
//
// S(c) stands in the row of the day found, column c. A nest that was not found failed is followed to its last
// day active only.
template <class Real>
void nest(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int, Reals<Real> parm,
          Cell_work<Real>& work) {
  const History_facts& facts = work.facts_of(i, histry);
  const auto s = work.pim(job, 1, 1, 1, j);
  const auto survives_from_to = [&](int from, int to) {
    Real active = 1.0;
    for (int c = from; c < to; ++c) active = active * survival(job, work, parm, s(facts.first, c), c);
    return active;
  };
  Real prob = survives_from_to(facts.first, facts.lastlc);
  if (facts.lastdr != 0) prob = prob * (1.0 - survives_from_to(facts.lastlc, facts.lastdr));
  result = Ch_result<Real>::from(prob);
}

TARN_CELL_ROUTINE(known_fate)
TARN_CELL_ROUTINE(nest)

}  // namespace tarn
