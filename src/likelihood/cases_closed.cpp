// Closed populations of one session, and density from animals that were also located.
//
// The whole history is one stretch of `closmods` (blocks/closed_session.h). Density (Ivan et al. 2013): of L
// locations of an animal I are inside the study area, each with chance ptilde:
//
//   prob = closed probability times ptilde^I (1 - ptilde)^(L - I)

#include "likelihood/blocks/closed_session.h"
#include "likelihood/cell/cell.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

/// Session 1 of `closmods`; with a kind that is none the fault is recorded and the floor given.
template <class Real>
Ch_result<Real> whole_history(const Job& job, History histry, int i, int j, int lost, const Reals<Real>& parm,
                              Cell_work<Real>& work) {
  const int kind = job.status.closedmodel;
  if (!is_closed_kind(kind)) {
    work.fail(i, invalid_closedmodel_text);
    return Ch_result<Real>::floor();
  }
  const History_facts& facts = facts_of<One_closed_session>(work, i, histry);
  const Closed_stretch stretch{histry, 0, histry.noccas(), 1, j, 1, facts.first, facts.lastlc, lost != 0};
  const Closed_result<Real> closed =
      closmods(job, work, kept<One_closed_session>(work), i, stretch, kind, parm);
  if (facts.first == 0 && !Closed_traits(kind).conditional) return {closed.prob, log_never_met(closed)};
  return Ch_result<Real>::from(closed.prob);
}

/// True when record i has animals in group j.
bool counted(const Job& job, int i, int j) {
  const auto group = static_cast<std::size_t>(j) - 1;
  const Encounter_store& encounters = job.data.encounters;
  return encounters.observed(i)[group] + encounters.lost_on_capture(i)[group] > 0.0F;
}

}  // namespace

template <class Real>
void closed_population(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                       const Reals<Real>& parm, Cell_work<Real>& work) {
  result = whole_history(job, histry, i, j, lost, parm, work);
}

template <class Real>
void closed_density(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                    const Reals<Real>& parm, Cell_work<Real>& work) {
  closed_population(job, result, histry, i, j, lost, parm, work);
  const Array1<double>& located = job.data.nlocations;
  if (i > job.data.encounters.size() || !located.present() || i > located.extent()) return;
  if (!counted(job, i, j) || !(located(i) > 0.0)) return;
  const Real& inside = parm[work.matrix(Parameter::ptilde, j)(1, 1)];
  const Real outside = 1.0 - inside;
  const double times_inside = job.data.ninside(i), times_outside = located(i) - times_inside;
  // The logarithm is a sum: the bare product leaves the range of numbers at about a thousand locations.
  if (times_inside > 0.0) {
    result.prob *= pow(inside, times_inside);
    result.lnprob += times_inside * floored_log(inside);
  }
  if (times_outside > 0.0) {
    if (!vanishes(outside)) result.prob *= pow(outside, times_outside);
    result.lnprob += times_outside * floored_log(outside);
  }
}

TARN_CELL_ROUTINE(closed_population, One_closed_session)
TARN_CELL_ROUTINE(closed_density, One_closed_session)

}  // namespace tarn
