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

#include "likelihood/blocks/classification.h"
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
          codes(job.data.strata.substr(0, static_cast<std::size_t>(job.status.nstrta + job.status.nevents))) {
    }
    /// Place of a sign in the alphabet, from 1.
    int position(char sign) const { return static_cast<int>(codes.find(sign)) + 1; }
    int signs() const { return static_cast<int>(codes.size()); }
    std::string codes;
  };
  template <class Real>
  using Kept = Hidden_kept<Real>;

  template <class Real>
  static Real starts(const Job& job, const Hidden_place& place, int first, const Reals<Real>& parm,
                     Cell_work<Real>& work, std::span<Real> v) {
    const Prepared& records = prepared<Hidden_markov>(work);
    const int sign = records.position(place.histry.live(first));
    return release_weights(job, place.i, place.histry, sign <= records.states() ? sign : 0, first,
                           place.group, parm, work, v,
                           [&](int a) { return classify(job, place, a, sign, first, parm, work); });
  }

  template <class Real>
  static Real moves(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, const Hidden_interval<Real>& interval) {
    return survive_and_move<Hidden_markov>(job, place, c, c, parm, work, interval);
  }

  template <class Real>
  static Real shown(const Job& job, const Hidden_place& place, int c, const Reals<Real>& parm,
                    Cell_work<Real>& work, Hidden_shown<Real>& shown) {
    const char sign = place.histry.live(c + 1);
    if (sign == '.') return 0.0;
    shown.met = captured(sign);
    const Prepared& records = prepared<Hidden_markov>(work);
    Real over = 0.0;
    for (int a = 1; a <= records.states(); ++a) {
      const Real& p = parm[work.matrix(Parameter::p, a, 1, place.group)(place.row, c)];
      Real& after = shown.after[static_cast<std::size_t>(a) - 1];
      if (!shown.met) {
        after = 1.0 - p;
        continue;
      }
      const Classified<Real> seen = classify(job, place, a, records.position(sign), c + 1, parm, work);
      after = p * seen.chance;
      over += seen.over;
    }
    return over;
  }

 private:
  template <class Real>
  static Classified<Real> classify(const Job& job, const Hidden_place& place, int a, int sign, int occasion,
                                   const Reals<Real>& parm, Cell_work<Real>& work) {
    return classified<Real>(
        {Parameter::Delta, place.row, place.group, occasion, job.status.noccas}, a, sign,
        prepared<Hidden_markov>(work).signs(), [](int k) { return k; }, parm, work);
  }
};

}  // namespace

template <class Real>
void chprob178(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  const Hidden_facts& facts = hidden_facts<Hidden_markov>(work, i, histry);
  if (facts.first == 0) {
    work.fail(i, no_result_text);
    result = Ch_result<Real>::floor();
    return;
  }
  result =
      Ch_result<Real>::from(hidden_history<Hidden_markov>(job, facts, histry, i, lost != 0, j, parm, work));
}

TARN_CELL_ROUTINE(chprob178, Hidden_markov)

}  // namespace tarn
