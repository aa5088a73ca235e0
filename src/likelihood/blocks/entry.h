#pragma once
// First captures in an open population, of which animals enter and leave (Pradel 1996; Schwarz and Arnason
// 1996; Link and Barker 2005). Told in entrants; in reversed time the same numbers are the chances that an
// animal present now was not caught before.
//
//   sizes       in period k there are size(k) animals for every one at the start, unmarked(k) of them not
//               caught before
//   period k    each is caught with p(k); of the caught a share is not released again
//   interval k  what is left survives, entrants come; the size of the next period is that of both together

#include <span>

#include "likelihood/blocks/rates.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// What a population does in an interval. Where growth itself may have no bound, sizes behind interval k are
/// told `rates.scale(k)` times smaller than those before it.
template <class Real>
struct Growth_step {
  Real survives;  ///< of an animal left, times the scale
  Real entrants;  ///< times the scale
};

/// Chances that an animal which is caught at all is caught for the first time in period k, into chances[k-1].
/// `rates` has `start()`, the size in period 1; `caught(k)`; `released(k)`, the share of the caught that is
/// released again; `interval(k, left)`, the `Growth_step` of interval k for `left` animals; and its
/// `scale(k)`, unless `scaled()` is false.
template <class Real, class Rates>
void first_captures(const Rates& rates, std::span<Real> chances) {
  const int periods = static_cast<int>(chances.size());
  Real size = rates.start(), unmarked = size;
  for (int k = 1; k <= periods; ++k) {
    const Real p = rates.caught(k);
    chances[static_cast<std::size_t>(k) - 1] = unmarked * p;
    if (k == periods) break;
    const double removed = 1.0 - rates.released(k);
    const Real left = removed == 0.0 ? size : Real(size * (1.0 - p * removed));
    const Growth_step<Real> step = rates.interval(k, left);
    size = step.survives * left + step.entrants;
    unmarked = step.survives * (unmarked * (1.0 - p)) + step.entrants;
  }
  Real behind = 1.0, total = 0.0;
  for (int k = periods - 1; rates.scaled() && k >= 1; --k) {
    behind = behind * rates.scale(k);
    Real& chance = chances[static_cast<std::size_t>(k) - 1];
    chance = chance * behind;
  }
  for (const Real& chance : chances) total += chance;
  for (Real& chance : chances) chance = chance / total;
}

/// How growth of a population is told: by the chance that an animal was there before, by its factor, or by
/// recruits for each animal.
enum class Growth { seniority, lambda, recruitment };

/// The growth of a family, from the parameters that it has.
inline Growth growth_of(const Job& job) {
  if (findpar(job.data, "Gamma") > 0) return Growth::seniority;
  return findpar(job.data, "Lambda") > 0 ? Growth::lambda : Growth::recruitment;
}

/// Interval k of a population that grows by its own parameters: column k of row 1 of `Phi` and of the
/// parameter of growth, both to the power of the length of time interval c.
template <class Real, class Matrix>
Growth_step<Real> growth_step(const Interval_rates<Real>& rate, Growth growth, const Matrix& phi,
                              const Matrix& grows, int k, int c, const Real& left) {
  const Real survives = rate.survival(phi(1, k), c);
  switch (growth) {
    case Growth::seniority: {
      // The population grows by survival over seniority, which has no bound; sizes are told seniority times
      // smaller.
      const Real seniority = rate.survival(grows(1, k), c);
      return {survives * seniority, survives * (1.0 - seniority) * left};
    }
    case Growth::lambda:
      return {survives, (rate.survival(grows(1, k), c) - survives) * left};
    case Growth::recruitment:
      break;
  }
  return {survives, (rate.of_sum(phi(1, k), grows(1, k), c) - survives) * left};
}

/// The parameter of growth.
constexpr Parameter parameter_of(Growth growth) {
  switch (growth) {
    case Growth::seniority:
      return Parameter::Gamma;
    case Growth::lambda:
      return Parameter::Lambda;
    case Growth::recruitment:
      break;
  }
  return Parameter::f;
}

}  // namespace tarn
