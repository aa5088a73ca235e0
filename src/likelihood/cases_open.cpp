// Open populations whose first captures are part of the data.

#include "likelihood/blocks/jolly_seber.h"
#include "likelihood/chprob.h"

namespace tarn {

// Jolly-Seber with lambda (Burnham 1991), conditional on the first capture: live recaptures. What the first
// captures say stands in the closed-form term (term_d.h).
//
//   states      alive, dead; starts alive at the first capture
//   interval c  survives with Phi(c), to the power of the interval's length
//   occasion o  alive:  "1" with p(o), "0" with 1 - p(o);  dead:  "0" with 1
//   an animal lost on capture is followed to its last capture only
//
// Phi(c) stands in row 1, column c; p(o) in row 1, column o: the term reads p of occasion 1, too.
template <class Real>
void jolly_seber(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                 const Reals<Real>& parm, Cell_work<Real>& work) {
  const Live_facts& facts = facts_of<Jolly_seber>(work, i, histry);
  result = Ch_result<Real>::from(live_recaptures<Jolly_seber>(job, histry, facts, lost != 0, j, parm, work));
}

TARN_CELL_ROUTINE(jolly_seber, Jolly_seber)

}  // namespace tarn
