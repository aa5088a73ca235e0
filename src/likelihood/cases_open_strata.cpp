// Robust designs of animals that move between strata, with sessions that they enter and leave: what happens
// within a session stands in blocks/open_session.h, what between them in blocks/strata.h (Schwarz and Stobo
// 1997; Kendall and Bjorkland 2001).
//
//   states      alive in one of the strata, dead; starts alive in the stratum of the first capture
//   interval s  survives with S_a(s), to the power of the interval's length; survivors then move from a to b
//               with Psi(a, b)(s), and stay with what is left of 1
//   session s   alive in b: arrives ahead of occasion j with b(j), stays to the next with Phi(j), is caught
//               with p(j) while it is there; caught at all with p*(b, s); dead: never caught
//   an animal lost on capture is followed to its last capture only
//
// S and Psi stand in the row of the first session, column s; pent, Phi and p of stratum b in session s in row
// 1 of the matrices (b, s).

#include "likelihood/blocks/open_session.h"
#include "likelihood/blocks/session_strata.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

struct Open_layer {
  /// Of what is shown given a capture, and of a capture. After a removal the remaining occasions count in p*
  /// only.
  template <class Real>
  static Closed_result<Real> within(const Job& job, int, const Closed_stretch& stretch,
                                    const Reals<Real>& parm, Cell_work<Real>& work, Closed_kept<Real>&) {
    auto session =
        open_session(job, {}, {stretch.stratum, stretch.session, stretch.group, stretch.length}, parm, work);
    const Real pstar = session.caught([&](int o) { return stretch.sampled(o); });
    if (stretch.first == 0) return {0.0, pstar};
    if (vanishes(pstar)) return {minlog, pstar};
    // The quotient of two equal chances, which rounding would charge for.
    if (stretch.first == stretch.last && stretch.sampled_once()) return {1.0, pstar};
    const Real shown = session.probability([&](int o) {
      if (!stretch.sampled(o) || o > stretch.last_open()) return Open_shown::unsampled;
      return stretch.caught(o) ? Open_shown::recognised : Open_shown::missed;
    });
    return {shown / pstar, pstar};
  }
};

template <First_stratum start>
using Open_strata = Session_strata<Open_layer, start>;

}  // namespace

template <class Real>
void chprob032(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = strata_and_sessions<Open_strata<First_stratum::given>>(job, histry, i, j, lost != 0, parm, work,
                                                                  no_result_text);
}

/// The stratum of the first capture has its chance, too: Omega of that session, weighted by p*.
template <class Real>
void chprob119(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  result = strata_and_sessions<Open_strata<First_stratum::omega>>(job, histry, i, j, lost != 0, parm, work,
                                                                  no_result_text);
}

/// The session of the first capture has its chance, given the stratum there: strata grow by the factor S /
/// Gamma, and of the animals of a stratum Gamma were there a session before. S, Psi and Gamma stand in row 1.
template <class Real>
void open_pradel_strata(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                        const Reals<Real>& parm, Cell_work<Real>& work) {
  result = strata_and_sessions<Open_strata<First_stratum::seniority>>(job, histry, i, j, lost != 0, parm,
                                                                      work, no_result_text);
}

TARN_CELL_ROUTINE(chprob032, Open_strata<First_stratum::given>)
TARN_CELL_ROUTINE(chprob119, Open_strata<First_stratum::omega>)
TARN_CELL_ROUTINE(open_pradel_strata, Open_strata<First_stratum::seniority>)

}  // namespace tarn
