#include "likelihood/closed_terms.h"

#include <type_traits>

#include "likelihood/blocks/penalty.h"
#include "likelihood/cells.h"

namespace tarn {
namespace {

/// The cell routine of the job's data type for this scalar.
template <class Real>
Cell_routine<Real> cell_routine(const Job& job) {
  const Cell_routines routines = cell_routines(datatype(job.status.dattyp).cell);
  if constexpr (std::is_same_v<Real, Derivative>) {
    return routines.derivative;
  } else if constexpr (std::is_same_v<Real, Reach>) {
    return routines.reach;
  } else {
    return routines.plain;
  }
}

template <class Real>
Real term_a(const Job& job, Reals<Real> parm, Cell_work<Real>& work) {
  const Cell_routine<Real> routine = cell_routine<Real>(job);
  const History never_met(job.data.ehist.data(), job.status.noccas);
  Real total = 0.0, penalty = 0.0;
  for (int g = 1; g <= job.status.ngrps; ++g) {
    work.begin();
    Ch_result<Real> result;
    routine(job, result, never_met, 1, g, 0, parm, work);
    penalty += work.penlty[0] + range_penalty(result.prob, job.status.penalty_slope);
    const Real& f0 = parm[work.pim(job, work.closed_positions().f0, 1, 1, g)(1, 1)];
    const double caught =
        static_cast<double>(job.data.u(1, g, 1)) + static_cast<double>(job.data.ul(1, g, 1));
    total += f0 * result.lnprob + lgamma(f0 + caught + 1.0) - lgamma(f0 + 1.0);
  }
  work.begin();
  work.penlty[0] = penalty;
  return total;
}

}  // namespace

template <class Real>
Real closed_terms(const Job& job, Closed_form form, Reals<Real> parm, Cell_work<Real>& work) {
  switch (form) {
    case Closed_form::A:
      return term_a(job, parm, work);
    default:
      return 0.0;
  }
}

template double closed_terms(const Job&, Closed_form, Reals<double>, Cell_work<double>&);
template Derivative closed_terms(const Job&, Closed_form, Reals<Derivative>, Cell_work<Derivative>&);
template Reach closed_terms(const Job&, Closed_form, Reals<Reach>, Cell_work<Reach>&);

}  // namespace tarn
