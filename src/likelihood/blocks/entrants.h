#pragma once
// Animals of a population that enter it in one of several states (Schwarz and Arnason 1996; Dupuis and
// Schwarz 2007), as long as they are not caught.
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
#include <cstdint>
#include <span>
#include <vector>

#include "likelihood/blocks/rates.h"
#include "likelihood/blocks/state_shares.h"
#include "likelihood/blocks/transitions.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// Column of occasion o in a matrix of K columns, or of fewer, which are those of the last occasions; the
/// first serves what is ahead of them.
constexpr int column_of_occasion(int o, int noccas, int ncols) { return std::max(o - (noccas - ncols), 1); }

/// Shares of the population that enter ahead of each occasion up to `last`, into `shares`, an element for
/// each occasion.
template <class Real>
void entry_shares(const Job& job, int group, int last, const Reals<Real>& parm, Cell_work<Real>& work,
                  std::span<Real> shares) {
  const bool first_left = job.model.pentfirst != 0;
  const std::size_t left_over = first_left ? 0 : shares.size() - 1;
  const std::size_t read =
      left_over < static_cast<std::size_t>(last) ? shares.size() : static_cast<std::size_t>(last);
  Real left = 1.0;
  for (std::size_t o = 0; o < read; ++o) {
    if (o == left_over) continue;
    shares[o] = parm[work.matrix(Parameter::pent, group)(1, static_cast<int>(first_left ? o : o + 1))];
    left = left - shares[o];
  }
  shares[left_over] = left;
}

/// What is told of animals not caught yet: room for `size_of` numbers, and p*.
template <class Real>
struct Unseen {
  std::span<Real> room;
  int states = 1, noccas = 1;
  Real pstar = 0.0;

  static std::size_t size_of(const Job& job) {
    return static_cast<std::size_t>(job.status.noccas * (job.status.nstrta + 1));
  }
  /// Share of the population that is in state a on occasion o and was not caught before.
  Real& there(int o, int a) const { return room[static_cast<std::size_t>((o - 1) * states + a) - 1]; }
  /// Charge of over-full rows of transitions ahead of occasion o.
  Real& charged(int o) const { return room[static_cast<std::size_t>(noccas * states + o) - 1]; }
};

/// Follows animals up to occasion `last`; nothing is told of those behind it.
/// @param sampled  sampled(o): occasion o was
template <class Real, class Sampled>
Unseen<Real> follow_unseen(const Job& job, int group, int last, const Sampled& sampled,
                           const Interval_rates<Real>& rate, const Reals<Real>& parm, Cell_work<Real>& work,
                           std::span<Real> room) {
  const int noccas = job.status.noccas, n = job.status.nstrta;
  const std::size_t states = static_cast<std::size_t>(n);
  const std::span<Real> shares = work.take(static_cast<std::size_t>(noccas)), left = work.take(states),
                        next = work.take(states), moves = work.take(states * states);
  entry_shares(job, group, last, parm, work, shares);
  Unseen<Real> made{room, n, noccas};
  Real charged = 0.0;
  for (int o = 1; o <= last; ++o) {
    made.charged(o) = charged;
    for (int a = 1; a <= n; ++a) {
      const std::size_t at = static_cast<std::size_t>(a) - 1;
      const Real enters =
          shares[static_cast<std::size_t>(o) - 1] * state_share(Parameter::pi, a, n, o, group, parm, work);
      Real& there = made.there(o, a);
      there = o == 1 ? enters : Real(next[at] + enters);
      left[at] = there;
      if (sampled(o)) {
        const auto p = work.matrix(Parameter::p, a, 1, group);
        const Real caught = there * parm[p(1, column_of_occasion(o, noccas, p.ncols))];
        made.pstar += caught;
        left[at] = left[at] - caught;
      }
      if (o == last) continue;
      left[at] = left[at] * rate.survival(work.matrix(Parameter::S, a, 1, group)(1, o), o);
      charged += fill_transitions(a, n, 1, o, group, parm, work, moves.data() + at * states);
    }
    if (o < last)
      carry<Real>(states, left.data(), State_set::all(states), moves.data(), State_set::all(states),
                  next.data());
  }
  return made;
}

/// What families of such populations keep.
template <class Real>
struct Unseen_kept {
  struct Entry {
    std::uint64_t made_for = 0;
    std::vector<Real> room;
    Unseen<Real> unseen;
  };
  std::vector<Entry> entries;               ///< by group, sampling
  const Unseen<Real>* of_record = nullptr;  ///< of the record in hand, where none is kept
};

/// Animals not caught yet in a study sampled as `histry` is; one without occasions was sampled on all. The
/// family's `Kept` is an `Unseen_kept` with a `Power_memo powers`.
/// @param sampling  number of that sampling among `samplings`, -1 where it has none
template <class Family, class Real>
Unseen<Real> unseen_animals(const Job& job, int group, History histry, int sampling, std::size_t samplings,
                            const Reals<Real>& parm, Cell_work<Real>& work) {
  Unseen_kept<Real>& own = kept<Family>(work);
  const bool all = histry.noccas() == 0;
  const auto follow = [&](std::span<Real> room) {
    return follow_unseen<Real>(
        job, group, all ? job.status.noccas : lastsm(histry),
        [&](int o) { return all || histry.live(o) != '.'; }, rates_of<Family>(job, parm, work), parm, work,
        room);
  };
  if (parm.stamp() == 0 || sampling < 0)
    return own.of_record != nullptr ? *own.of_record : follow(work.take(Unseen<Real>::size_of(job)));
  if (own.entries.empty()) own.entries.resize(samplings * static_cast<std::size_t>(job.status.ngrps));
  auto& entry =
      own.entries[samplings * (static_cast<std::size_t>(group) - 1) + static_cast<std::size_t>(sampling)];
  if (entry.made_for != parm.stamp()) {
    const auto keep = work.trace.keep();
    entry.room.resize(Unseen<Real>::size_of(job));
    entry.unseen = follow(entry.room);
    entry.made_for = parm.stamp();
  }
  return entry.unseen;
}

}  // namespace tarn
