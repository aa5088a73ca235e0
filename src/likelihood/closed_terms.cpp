#include "likelihood/closed_terms.h"

#include <cassert>

#include "data/sessions.h"
#include "likelihood/blocks/closed_session.h"
#include "likelihood/blocks/penalty.h"
#include "likelihood/term_d.h"
#include "likelihood/term_e.h"

namespace tarn {
namespace {

template <class Real>
Real term_a(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work) {
  const Cell_routine<Real> routine = work.setting().routines.template of<Real>().routine;
  const History never_met(job.data.ehist.data(), job.status.noccas);
  Real total = 0.0, penalty = 0.0;
  for (int g = 1; g <= job.status.ngrps; ++g) {
    work.begin();
    Ch_result<Real> result;
    routine(job, result, never_met, 1, g, 0, parm, work);
    penalty += work.penlty[0] + range_penalty(result.prob, job.status.penalty_slope);
    const Real& f0 = parm[work.matrix(Parameter::f0, g)(1, 1)];
    const double caught =
        static_cast<double>(job.data.u(1, g, 1)) + static_cast<double>(job.data.ul(1, g, 1));
    total += f0 * result.lnprob + lgamma_rise(f0 + 1.0, caught);
  }
  work.begin();
  work.penlty[0] = penalty;
  return total;
}

/// B and C: the chance q of no capture is a product or a mixture of products, as the closed kind has it.
template <class Real>
Real term_of_sessions(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work) {
  const History never_met(job.data.ehist.data(), job.status.noccas);
  Closed_kept<Real> kept;
  Real total = 0.0, penalty = 0.0;
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int k = 1; k <= job.status.nstrta; ++k)
      for_each_session(job, [&](int s, const Primary_session& session) {
        work.begin();
        const Closed_stretch stretch{never_met, session.before, session.length, s, g, k, 0, 0, false};
        const Closed_result<Real> closed =
            closmods(job, work, kept, 1, stretch, job.status.closedmodel, parm);
        penalty += range_penalty(closed.prob, job.status.penalty_slope);
        const Real& f0 = parm[work.matrix(Parameter::f0, k, s, g)(1, 1)];
        const double caught =
            static_cast<double>(job.data.u(s, g, k)) + static_cast<double>(job.data.ul(s, g, k));
        total += f0 * log_never_met(closed) + lgamma_rise(f0 + 1.0, caught);
      });
  work.begin();
  work.penlty[0] = penalty;
  return total;
}

}  // namespace

template <class Real>
Real closed_terms(const Job& job, Closed_form form, const Reals<Real>& parm, Cell_work<Real>& work,
                  Charges* charges) {
  switch (form) {
    case Closed_form::A:
      return term_a(job, parm, work);
    case Closed_form::B:
    case Closed_form::C:
      return term_of_sessions(job, parm, work);
    case Closed_form::D:
      return term_d(job, parm, work, charges);
    case Closed_form::E:
      return term_e(job, parm, work);
    case Closed_form::none:
    case Closed_form::resight:
      break;
  }
  // No model with one of the others is set up.
  assert(form == Closed_form::none);
  return 0.0;
}

#define TARN_INSTANCE(type, name) \
  template type closed_terms(const Job&, Closed_form, const Reals<type>&, Cell_work<type>&, Charges*);
TARN_SCALARS(TARN_INSTANCE)
#undef TARN_INSTANCE

}  // namespace tarn
