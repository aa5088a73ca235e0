#pragma once
// The closed-form term of POPAN: how many animals were caught first, and when (Schwarz and Arnason 1996).
//
//   pent(o)   share of the animals that enter ahead of occasion o; with `pentfirst` the first one is what the
//             others leave of 1, else the last one
//   psi(o)    share that is alive on o and was not caught before
//   S         share that is caught at some time: sum of psi(o) p(o)
//
// First captures are multinomial with psi(o) p(o) / S among the T animals caught, T binomial with S among N.
// 1 - S is summed over the ways not to be caught: where few are missed the difference has no digits.
// N is the number of all animals when it is fixed, else that of the animals never caught.

#include <span>

#include "likelihood/blocks/penalty.h"
#include "likelihood/blocks/popan.h"
#include "likelihood/closed_terms.h"

namespace tarn {

/// The term of group g. Entries that leave a negative remainder make chances outside 0 to 1, which are
/// charged; that of never being caught then counts as 1, or the term would grow with N beyond every penalty.
/// A fixed N below T is charged, too, and counts as T.
template <class Real>
Real term_e_of_group(const Job& job, int g, const Reals<Real>& parm, Cell_work<Real>& work, Real& penalty) {
  const auto rate = rates_of<Popan>(job, parm, work);
  const int last = job.status.noccas;
  const bool first_by_difference = job.model.pentfirst != 0;
  const auto phi = work.matrix(Parameter::Phi, g), p = work.matrix(Parameter::p, g),
             entries = work.matrix(Parameter::pent, g), all = work.matrix(Parameter::N, g);
  const int by_difference = first_by_difference ? 1 : last;
  Real others = 0.0;
  const auto given = [&](int o) -> const Real& { return parm[entries(1, first_by_difference ? o - 1 : o)]; };
  for (int o = 1; o <= last; ++o)
    if (o != by_difference) others += given(o);

  const std::span<Real> caught = work.take(static_cast<std::size_t>(last));
  Real psi = 0.0, ever = 0.0, never = 0.0;
  for (int o = 1; o <= last; ++o) {
    psi = psi + (o == by_difference ? Real(1.0 - others) : given(o));
    const Real& chance = parm[p(1, o)];
    Real& first = caught[static_cast<std::size_t>(o) - 1];
    first = psi * chance;
    ever += first;
    const Real missed = psi * (1.0 - chance);
    const Real stays = o == last ? Real(0.0) : rate.survival(phi(1, o), o);
    never += missed * (1.0 - stays);
    psi = missed * stays;
  }

  Real total = 0.0;
  double animals = 0.0;
  for (int o = 1; o <= last; ++o) {
    const double n = static_cast<double>(job.data.u(o, g, 1)) + static_cast<double>(job.data.ul(o, g, 1));
    const Real share = caught[static_cast<std::size_t>(o) - 1] / ever;
    penalty += range_penalty(share, job.status.penalty_slope);
    if (n > 0.0) total += n * floored_log(share);
    total = total - lgamma(n + 1.0);
    animals += n;
  }
  const int number = all(1, 1);
  Real unseen = parm[number];
  if (job.model.fixpar(number) != 0) {
    unseen = unseen - animals;
    if (value_of(unseen) < 0.0) {
      penalty += charge_of(unseen, job.status.penalty_slope);
      unseen = 0.0;
    }
  }
  penalty += range_penalty(never, job.status.penalty_slope);
  if (value_of(never) <= 1.0) total += unseen * floored_log(never);
  return total + animals * floored_log(ever) + lgamma_rise(unseen + 1.0, animals);
}

template <class Real>
Real term_e(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work) {
  Real total = 0.0, penalty = 0.0;
  for (int g = 1; g <= job.status.ngrps; ++g) {
    work.begin();
    total += term_e_of_group(job, g, parm, work, penalty);
  }
  work.begin();
  work.penlty[0] = penalty;
  return total;
}

}  // namespace tarn
