// Animals whose state is recorded as an event that may not tell it (Pradel 2005; Kendall et al. 2012),
// conditional on the first capture, or, without shares of the states at release, on its state code.
//
//   states      alive in one of n states, dead
//   first       of state a with pi_a, and recorded as Delta(a, .) tells; without pi in the state of its code
//   interval c  survives with S_a(c), to the power of the interval's length; survivors then move from a to b
//               with Psi(a, b)(c), and stay with what is left of 1
//   occasion o  alive in b: sign q with p_b(o - 1) Delta(b, q)(o), "0" with 1 - p_b(o - 1), "." with 1
//               dead:       "0" and "." with 1
//   signs       codes of the n states, recorded with certainty, then those of the events
//   an animal lost on capture is followed to its last capture only

#include <string>

#include "likelihood/blocks/event_signs.h"
#include "likelihood/blocks/hidden.h"
#include "likelihood/blocks/state_shares.h"
#include "likelihood/chprob.h"
#include "model/structure/pim.h"

namespace tarn {
namespace {

struct Hidden_markov : Counts_hidden<Hidden_markov> {
  struct Prepared : Hidden_records {
    explicit Prepared(const Job& job)
        : Hidden_records(job, {.certain_start = job.status.nstrta > 1 && !has_matrix(job, "pi")}),
          signs(job) {}
    Event_signs signs;
  };
  template <class Real>
  using Kept = Hidden_kept<Real>;

  template <class Real>
  static Real starts(const Job& job, const Hidden_place& place, int first, const Reals<Real>& parm,
                     Cell_work<Real>& work, std::span<Real> v) {
    const Prepared& records = prepared<Hidden_markov>(work);
    const int sign = records.signs.position(place.histry.live(first));
    return release_weights(
        job, place.i, place.histry, sign <= records.states() ? sign : 0, first, place.group, parm, work, v,
        [&](int a) { return recorded_sign(job, records.signs, place, a, first, parm, work); });
  }

  template <class Real>
  static Real moves(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, const Hidden_interval<Real>& interval) {
    return survive_and_move<Hidden_markov>(job, place, c, c, parm, work, interval);
  }

  template <class Real>
  static Real shown(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, Hidden_shown<Real>& shown) {
    const auto caught = [&](int a) -> const Real& {
      return parm[work.matrix(Parameter::p, a, 1, place.group)(place.row, c)];
    };
    return show_sign(job, prepared<Hidden_markov>(work).signs, place, c, caught, parm, work, shown);
  }
};

}  // namespace

template <class Real>
void chprob178(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = hidden_cell<Hidden_markov>(job, histry, i, j, lost != 0, parm, work, no_result_text);
}

TARN_CELL_ROUTINE(chprob178, Hidden_markov)

}  // namespace tarn
