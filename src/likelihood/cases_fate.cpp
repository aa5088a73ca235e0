// Fates that are known: animals that are followed, nests that are visited.

#include "likelihood/blocks/fates.h"
#include "likelihood/blocks/open_study.h"
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
void known_fate(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int,
                const Reals<Real>& parm, Cell_work<Real>& work) {
  const int first = facts_of<Open_study>(work, i, histry).first;
  const auto s = work.matrix(Parameter::S, j);
  const auto rate = rates_of<Open_study>(job, parm, work);
  const auto survives = [&](int c) { return rate.survival(s(first, c), c); };
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
void nest(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int, const Reals<Real>& parm,
          Cell_work<Real>& work) {
  const History_facts& facts = facts_of<Open_study>(work, i, histry);
  const auto s = work.matrix(Parameter::S, j);
  const auto rate = rates_of<Open_study>(job, parm, work);
  const auto survives_from_to = [&](int from, int to) {
    Real active = 1.0;
    for (int c = from; c < to; ++c) active = active * rate.survival(s(facts.first, c), c);
    return active;
  };
  Real prob = survives_from_to(facts.first, facts.lastlc);
  if (facts.lastdr != 0) prob = prob * (1.0 - survives_from_to(facts.lastlc, facts.lastdr));
  result = Ch_result<Real>::from(prob);
}

TARN_CELL_ROUTINE(known_fate, Open_study)
TARN_CELL_ROUTINE(nest, Open_study)

}  // namespace tarn
