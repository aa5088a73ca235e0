// Live recaptures (Cormack 1964; Lebreton et al. 1992), conditional on the first capture.
//
//   states      alive, dead; starts alive at the first capture
//   interval c  survives with Phi(c), to the power of the interval's length
//   occasion o  alive:  "1" with p(o), "0" with 1 - p(o), "." with 1
//               dead:   "0" and "." with 1
//   an animal lost on capture is followed to its last capture only, any other to the last occasion sampled
//
// Phi(c) and p(c + 1) stand in the row of the first capture, column c.

#include "likelihood/blocks/chain2.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/cell.h"
#include "likelihood/chprob.h"

namespace tarn {

template <class Real>
void chprob001(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               Reals<Real> parm, Cell_work<Real>& work) {
  const History_facts& facts = work.facts_of(i, histry);
  const int last = lost ? facts.lastlc : facts.lastsm;
  const auto phi_matrix = work.pim(job, 1, 1, 1, j), p_matrix = work.pim(job, 2, 1, 1, j);
  const auto phi = phi_matrix.row(facts.first), p = p_matrix.row(facts.first);

  Chain2<Real> animal;
  for (int c = facts.first; c < last; ++c)
    animal.step(survival(job, work, parm, phi[c], c), emission(histry.live(c + 1), parm[p[c]]));

  result = Ch_result<Real>::from(animal.alive + animal.dead);
}

TARN_CELL_ROUTINE(chprob001)

}  // namespace tarn
