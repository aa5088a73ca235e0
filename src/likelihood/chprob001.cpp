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

#include "likelihood/blocks/live_recaptures.h"
#include "likelihood/chprob.h"

namespace tarn {

template <class Real>
void chprob001(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  const Live_facts& facts = facts_of<Live_recaptures>(work, i, histry);
  result =
      Ch_result<Real>::from(live_recaptures<Live_recaptures>(job, histry, facts, lost != 0, j, parm, work));
}

TARN_CELL_ROUTINE(chprob001, Live_recaptures)

}  // namespace tarn
