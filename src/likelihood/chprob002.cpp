// Dead recoveries (Seber 1970), conditional on the release.
//
//   states      alive, dead and reported, dead and not reported; starts alive at its release
//   interval c  survives with S(c), to the power of the interval's length; a death is reported with r(c)
//   cell c      first character "1": released at the start of interval c
//               second character not "0": reported dead in interval c
//   an animal without a report was not reported in any interval, the one behind the last occasion included
//
// S(c) and r(c) stand in the row of the release, column c. A release with a negative count is no release.

#include "likelihood/blocks/fates.h"
#include "likelihood/blocks/open_study.h"
#include "likelihood/chprob.h"

namespace tarn {

template <class Real>
void chprob002(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = {};
  if (lost) return;
  const History_facts& facts = facts_of<Open_study>(work, i, histry);
  const auto s = work.matrix(Parameter::S, j), r = work.matrix(Parameter::r, j);
  const auto rate = rates_of<Open_study>(job, parm, work);
  const auto survives = [&](int c) { return rate.survival(s(facts.first, c), c); };
  const auto reports = [&](int c) { return parm[r(facts.first, c)]; };
  result = Ch_result<Real>::from(seber_recovery<Real>(histry, facts.first, facts.last1, survives, reports));
}

TARN_CELL_ROUTINE(chprob002, Open_study)

}  // namespace tarn
