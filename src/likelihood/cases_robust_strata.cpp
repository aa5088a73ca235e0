// Robust designs of animals that move between strata: primary sessions in which the population is closed, and
// in which no animal changes its stratum (Nichols and Coffman 1999; Kendall et al. 1997). What happens within
// a session stands in blocks/sessions.h, what between them in blocks/strata.h.
//
//   states      alive in one of the strata, dead; starts alive in the stratum of the first capture
//   interval s  survives with S_a(s), to the power of the interval's length; survivors then move from a to b
//               with Psi(a, b)(s), and stay with what is left of 1
//   session s   alive in b: caught with p*(b, s), and there under the closed layer's chance of what is shown;
//               dead: never caught
//   an animal lost on capture is followed to its last session only
//
// S and Psi stand in the row of the first session, column s; the closed layer's rates of stratum b in session
// s in the matrices (b, s).

#include "likelihood/blocks/session_strata.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

struct Closed_layer {
  template <class Real>
  static Closed_result<Real> within(const Job& job, int i, const Closed_stretch& stretch,
                                    const Reals<Real>& parm, Cell_work<Real>& work, Closed_kept<Real>& kept) {
    return closmods(job, work, kept, i, stretch, job.status.closedmodel, parm);
  }
};

template <First_stratum start>
using Robust_strata = Session_strata<Closed_layer, start>;

template <class Family, class Real>
Ch_result<Real> closed_sessions(const Job& job, History histry, int i, int j, bool lost,
                                const Reals<Real>& parm, Cell_work<Real>& work) {
  if (is_closed_kind(job.status.closedmodel))
    return strata_and_sessions<Family>(job, histry, i, j, lost, parm, work, no_result_text);
  work.fail(i, invalid_closedmodel_text);
  return Ch_result<Real>::floor();
}

}  // namespace

template <class Real>
void robust_strata(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                   const Reals<Real>& parm, Cell_work<Real>& work) {
  result = closed_sessions<Robust_strata<First_stratum::given>>(job, histry, i, j, lost != 0, parm, work);
}

/// The stratum of the first capture has its chance, too: Omega of that session, weighted by p*.
template <class Real>
void robust_omega(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                  const Reals<Real>& parm, Cell_work<Real>& work) {
  result = closed_sessions<Robust_strata<First_stratum::omega>>(job, histry, i, j, lost != 0, parm, work);
}

TARN_CELL_ROUTINE(robust_strata, Robust_strata<First_stratum::given>)
TARN_CELL_ROUTINE(robust_omega, Robust_strata<First_stratum::omega>)

}  // namespace tarn
