// Recoveries without a reporting rate of their own: Brownie, BTO, virtual population analysis.
//
// In all of them an animal is released at the start of interval `first` (first character "1") and reported
// dead in interval `last` (second character not "0"), or never. Rates stand in the row of the release. A
// release with a negative count is no release.

#include "likelihood/blocks/fates.h"
#include "likelihood/blocks/open_study.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

/// Chance to be harvested in the one interval of length t, and to survive it, under the rates M of natural
/// death and F of harvest (Baranov 1918).
template <class Real>
struct Catch {
  Real harvested, survives;

  Catch(const Real& m, const Real& f, double t) {
    const Real z = m + f;
    survives = exp(-(z * t));
    // The limit for a rate of 0, where the quotient is none.
    harvested = z == 0.0 ? Real(f * t) : Real(f / z * (1.0 - survives));
  }
};

}  // namespace

// Brownie et al. (1985): survives interval c with S(c), to the power of its length; is killed in it and
// reported with f(c), which S(c) does not bind. Nobody needs to survive the last interval.
template <class Real>
void brownie(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
             const Reals<Real>& parm, Cell_work<Real>& work) {
  result = {};
  if (lost) return;
  const History_facts& facts = facts_of<Open_study>(work, i, histry);
  const auto s = work.matrix(Parameter::S, j), f = work.matrix(Parameter::f, j);
  const auto rate = rates_of<Open_study>(job, parm, work);
  const auto survives = [&](int c) { return rate.survival(s(facts.first, c), c); };
  const auto reported = [&](int c) { return parm[f(facts.first, c)]; };
  result = Ch_result<Real>::from(recovery<Real>(histry, facts.first, facts.last1, survives, reported));
}

// Haldane (1955): given a report in one of the intervals `first` to the last, all deaths being reported
// alike, the interval is that of death. Survives interval c with S(c), to the power of its length. A record
// without a report has probability 1.
template <class Real>
void bto(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
         const Reals<Real>& parm, Cell_work<Real>& work) {
  result = {};
  const History_facts& facts = facts_of<Open_study>(work, i, histry);
  if (lost || !has_recovery(histry, facts.last1)) return;
  const auto s = work.matrix(Parameter::S, j);
  const auto rate = rates_of<Open_study>(job, parm, work);
  const auto survives = [&](int c) { return rate.survival(s(facts.first, c), c); };
  const auto dies = [&](int c) -> Real { return 1.0 - survives(c); };
  Real to_the_end = 1.0;
  for (int c = facts.first; c <= histry.noccas(); ++c) to_the_end = to_the_end * survives(c);
  const Real prob = reported_dead_in<Real>(facts.first, facts.last1, survives, dies) / (1.0 - to_the_end);
  // KEPT: the probability itself is raised to the floor, not only its logarithm, so one below 0 is not seen
  // by the range penalty; looks wrong, is required.
  result = Ch_result<Real>::from(prob > minlog ? prob : Real(minlog));
}

// Virtual population analysis: given a harvest in one of the intervals `first` to the last, the interval is
// that of the harvest. In interval c animals die of other causes at the rate M(c) and are harvested at the
// rate F(c), both for each unit of time. A record without a harvest has probability 1.
template <class Real>
void vpa(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
         const Reals<Real>& parm, Cell_work<Real>& work) {
  result = {};
  const History_facts& facts = facts_of<Open_study>(work, i, histry);
  if (lost || !has_recovery(histry, facts.last1)) return;
  const auto m = work.matrix(Parameter::M, j), f = work.matrix(Parameter::F, j);
  Real alive = 1.0, harvested = 0.0, ever_harvested = 0.0;
  for (int c = facts.first; c <= histry.noccas(); ++c) {
    const double t = job.data.timevy == 0 ? 1.0 : job.data.timint(c);
    const Catch<Real> interval(parm[m(facts.first, c)], parm[f(facts.first, c)], t);
    const Real here = alive * interval.harvested;
    if (c == facts.last1) harvested = here;
    ever_harvested = ever_harvested + here;
    alive = alive * interval.survives;
  }
  result = Ch_result<Real>::from(harvested / ever_harvested);
}

TARN_CELL_ROUTINE(brownie, Open_study)
TARN_CELL_ROUTINE(bto, Open_study)
TARN_CELL_ROUTINE(vpa, Open_study)

}  // namespace tarn
