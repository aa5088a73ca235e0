#pragma once
// Animals of a population that enter it in one of several states (Schwarz and Arnason 1996; Dupuis and Schwarz
// 2007), as long as they are not caught.
//
//   occasion o  pent(o) of the population enters ahead of it, pi(o, a) of these in state a; whatever is there
//               and was not caught before is caught with p_a(o), where o was sampled
//   interval c  survival, then transitions, as blocks/transitions.h tells
//
// An animal is caught at all with p*, the sum of the chances of first captures over states and occasions. Of
// pent the share without a parameter, the first or the last, is what the others leave; so is that of the last
// state. All stand in row 1.

#include <algorithm>
#include <cstddef>
#include <span>

#include "likelihood/blocks/rates.h"
#include "likelihood/blocks/state_shares.h"
#include "likelihood/blocks/transitions.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// Column of occasion o in a matrix of K columns, or of fewer, which are those of the last occasions; the first
/// serves what is ahead of them.
constexpr int column_of_occasion(int o, int noccas, int ncols) { return std::max(o - (noccas - ncols), 1); }

/// Shares of the population that enter ahead of each occasion up to `last`, into `shares`, an element for each
/// occasion.
template <class Real>
void entry_shares(const Job& job, int group, int last, const Reals<Real>& parm, Cell_work<Real>& work,
                  std::span<Real> shares) {
  const bool first_left = job.model.pentfirst != 0;
  const std::size_t left_over = first_left ? 0 : shares.size() - 1;
  const std::size_t read = left_over < static_cast<std::size_t>(last) ? shares.size() : static_cast<std::size_t>(last);
  Real left = 1.0;
  for (std::size_t o = 0; o < read; ++o) {
    if (o == left_over) continue;
    shares[o] = parm[work.matrix(Parameter::pent, group)(1, static_cast<int>(first_left ? o : o + 1))];
    left = left - shares[o];
  }
  shares[left_over] = left;
}

/// What is told of animals not caught yet.
template <class Real>
struct Unseen {
  std::span<Real> weights;  ///< share of the population that is in state a on occasion o: (o - 1) states + a - 1
  Real pstar = 0.0;
  Real charged = 0.0;  ///< of over-full rows of transitions up to the last occasion sampled
};

/// Follows animals up to the last occasion sampled; behind it weights are not set.
/// @param sampled  sampled(o): occasion o was
/// @param weights  room for an element for each occasion and state
template <class Real, class Sampled>
Unseen<Real> follow_unseen(const Job& job, int group, const Sampled& sampled, const Interval_rates<Real>& rate,
                           const Reals<Real>& parm, Cell_work<Real>& work, std::span<Real> weights) {
  const int noccas = job.status.noccas, n = job.status.nstrta;
  const std::size_t states = static_cast<std::size_t>(n);
  const std::span<Real> shares = work.take(static_cast<std::size_t>(noccas)),
                        moves = work.take(states * states), left = work.take(states), next = work.take(states);
  int last = noccas;
  while (last > 0 && !sampled(last)) --last;
  entry_shares(job, group, last, parm, work, shares);
  Unseen<Real> made{weights};
  for (int o = 1; o <= last; ++o) {
    const std::span<Real> there = weights.subspan(static_cast<std::size_t>(o - 1) * states, states);
    for (int a = 1; a <= n; ++a) {
      const std::size_t at = static_cast<std::size_t>(a) - 1;
      const Real enters = shares[static_cast<std::size_t>(o) - 1] *
                          state_share(Parameter::pi, a, n, o, group, parm, work);
      there[at] = o == 1 ? enters : Real(next[at] + enters);
    }
    // What is left of them at the beginning of the interval, then its survivors.
    for (int a = 1; a <= n; ++a) {
      const std::size_t at = static_cast<std::size_t>(a) - 1;
      left[at] = there[at];
      if (sampled(o)) {
        const auto p = work.matrix(Parameter::p, a, 1, group);
        const Real caught = there[at] * parm[p(1, column_of_occasion(o, noccas, p.ncols))];
        made.pstar += caught;
        left[at] = left[at] - caught;
      }
      if (o == last) continue;
      left[at] = left[at] * rate.survival(work.matrix(Parameter::S, a, 1, group)(1, o), o);
      made.charged += fill_transitions(a, n, 1, o, group, parm, work, moves.data() + at * states);
    }
    if (o < last) carry<Real>(left, moves, next);
  }
  return made;
}

}  // namespace tarn
