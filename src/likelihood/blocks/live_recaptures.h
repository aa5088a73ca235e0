#pragma once
// Live recaptures behind the first capture (Cormack 1964; Lebreton et al. 1992): alive up to the last
// capture, then never seen again, step by step, or from a table that the histories of a cohort share.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "likelihood/blocks/emission.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/cell/cell.h"
#include "likelihood/cell/history_facts.h"
#include "model/structure/design.h"

namespace tarn {

/// In the codes of a stored history code 3 stands for the occasions behind the last capture, and as many are
/// added as make up a whole number of this many steps.
inline constexpr int padded_steps = 4;

struct Live_facts : History_facts {
  int last_caught = 0;  ///< last "1" in a first character
  /// Codes (blocks/emission.h) of the occasions behind `first`, for a record of the data set that is made of
  /// "1", "0" and "." with nothing but "0" behind the last "1"; else nullptr.
  const unsigned char* codes = nullptr;

  static Live_facts of(History h) {
    Live_facts facts{History_facts::of(h)};
    for (int o = h.noccas(); o >= 1 && facts.last_caught == 0; --o)
      if (h.live(o) == '1') facts.last_caught = o;
    return facts;
  }
};

/// Facts of all records; with their codes where records share their real parameters, so that a cohort's table
/// serves many histories.
class Live_records : public Record_facts<Live_facts> {
 public:
  explicit Live_records(const Job& job) : Record_facts(job) {
    if (reals_depend_on_record(job.model)) return;
    const Encounter_store& encounters = job.data.encounters;
    const std::size_t length = static_cast<std::size_t>(job.status.noccas + padded_steps);
    codes_.assign(facts_.size() * length, 3);
    for (int i = 1; i <= encounters.size(); ++i) {
      const std::size_t record = static_cast<std::size_t>(i) - 1;
      set_codes(encounters.history(i), codes_.data() + record * length, facts_[record]);
    }
  }

 private:
  static void set_codes(History h, unsigned char* codes, Live_facts& facts) {
    if (facts.last_caught == 0) return;
    for (int o = 1; o <= h.noccas(); ++o) {
      const std::size_t code = live_code(h.live(o));
      const bool behind = o > facts.last_caught;
      if (behind ? h.live(o) != '0' : code == 3) return;
      if (!behind) codes[o - 1] = static_cast<unsigned char>(code);
    }
    facts.codes = codes + facts.first;
  }

  std::vector<unsigned char> codes_;
};

/// One cohort of a group under one set of reals: what each character of each occasion multiplies a living
/// animal's weight with, and the chance of never being seen again. Histories share them, so a step costs one
/// product.
/// On a cache line of its own, which also makes its place cheap to find.
template <class Real>
struct alignas(64) Chain2_cohort {
  std::vector<Real> factors;  ///< interval c, character code k: element 4 (c - 1) + k; code 3 has factor 1
  std::vector<Real> never_again;  ///< after a capture on occasion o: element o - 1
  std::uint64_t made_for = 0;     ///< stamp of the reals

  /// Fills the tables for intervals `first` to `noccas` - 1. `survives(c)` gives the rate of interval c, and
  /// `caught(c)` the capture probability at its end.
  template <class Survives, class Caught>
  void make(int first, int noccas, std::uint64_t stamp, const Survives& survives, const Caught& caught) {
    const std::size_t size = static_cast<std::size_t>(noccas);
    if (factors.empty()) factors.assign(4 * (size + padded_steps), Real(1.0));
    never_again.resize(size);
    never_again[size - 1] = 1.0;
    for (int c = noccas - 1; c >= first; --c) {
      const Real s = survives(c), p = caught(c);
      Real* row = factors.data() + 4 * (c - 1);
      for (const char character : live_characters) row[live_code(character)] = s * emission(character, p);
      const std::size_t o = static_cast<std::size_t>(c);
      never_again[o - 1] = (1.0 - s) + row[live_code('0')] * never_again[o];
    }
    made_for = stamp;
  }

  /// Probability of a history of this cohort from its first to its last capture, given by the codes of the
  /// occasions between (see `Live_facts`), and of not being seen after it.
  Real prob(const unsigned char* codes, int first, int last) const {
    Real weight = 1.0;
    const Real* row = factors.data() + 4 * (first - 1);
    // Four steps at once: the length of a history is hard to guess for the processor, a fourth of it less so.
    for (int o = first; o < last; o += padded_steps, codes += padded_steps, row += 4 * padded_steps)
      weight = weight * ((row[codes[0]] * row[4 + codes[1]]) * (row[8 + codes[2]] * row[12 + codes[3]]));
    return weight * never_again[static_cast<std::size_t>(last) - 1];
  }
};

/// What a family of live recaptures prepares and keeps.
struct Live_recaptures {
  using Prepared = Live_records;
  template <class Real>
  struct Kept {
    Power_memo powers;
    Live_facts made_up;
    std::vector<Chain2_cohort<Real>> cohorts;  ///< each made when a history first asks for it
  };
};

/// The rates of one cohort: `survives(c)`, the chance to live through interval c, and `caught(c)`, the
/// capture probability on the occasion at its end.
template <class Survives, class Caught>
struct Live_rates {
  Survives survives;
  Caught caught;
};
template <class Survives, class Caught>
Live_rates(Survives, Caught) -> Live_rates<Survives, Caught>;

/// What the rates of a cell follow from. Handed on as it came, because most cells find their steps in a table
/// and have no use for it.
template <class Real>
struct Live_cell {
  const Job& job;
  Cell_work<Real>& work;
  const Reals<Real>& parm;
  int group, first;
};

/// The rates `Phi` and `p` of a cell: `Phi` of interval c in column c, the capture at its end in column c +
/// `shift` of `p`, both in this row.
template <class Family, class Real>
auto phi_and_p(const Live_cell<Real>& cell, int row, int shift) {
  const auto rate = rates_of<Family>(cell.job, cell.parm, cell.work);
  const auto phi = cell.work.matrix(Parameter::Phi, cell.group),
             p = cell.work.matrix(Parameter::p, cell.group);
  return Live_rates{[=](int c) -> Real { return rate.survival(phi(row, c), c); },
                    [=, parm = cell.parm.before()](int c) -> const Real& { return parm[p(row, c + shift)]; }};
}

namespace detail {

/// Makes the table of a cohort. Out of the way of the histories that only read it.
template <class Real, class Rates>
[[gnu::noinline]] void make_cohort(const Job& job, int first, int j, int noccas, const Reals<Real>& parm,
                                   Cell_work<Real>& work, const Rates& rates, Chain2_cohort<Real>& cohort) {
  const auto of = rates(Live_cell<Real>{job, work, parm, j, first});
  const auto keep = work.trace.keep();
  cohort.make(first, noccas, parm.stamp(), of.survives, of.caught);
}

/// The same without a table, from the first capture to occasion `last`.
template <class Real, class Rates>
[[gnu::noinline]] Real step_by_step(const Job& job, History histry, const Live_facts& facts, int last, int j,
                                    const Reals<Real>& parm, Cell_work<Real>& work, const Rates& rates) {
  const auto of = rates(Live_cell<Real>{job, work, parm, j, facts.first});
  Real seen = 1.0, never_again = 1.0;
  int alive = facts.first;  // occasion up to which the animal is known to live
  for (; alive < facts.last_caught; ++alive)
    seen = seen * (of.survives(alive) * emission<Real>(histry.live(alive + 1), of.caught(alive)));
  for (int c = last - 1; c >= alive; --c) {
    const Real s = of.survives(c);
    never_again = (1.0 - s) + s * emission<Real>(histry.live(c + 1), of.caught(c)) * never_again;
  }
  return seen * never_again;
}

}  // namespace detail

/// Probability of what follows the first capture of `histry` in group j: to its last capture when the animal
/// was lost there, else to the last occasion sampled. `rates(cell)` gives the `Live_rates` of its cohort from
/// a `Live_cell`; it is asked only when they are not at hand in a table.
/// @param place  numbers, from 0 and without large gaps, the cohorts that have rates of their own: by group
///               and first capture at least
/// The family's `Kept` has `cohorts`. May throw std::bad_alloc when a place is met for the first time.
template <class Family = Live_recaptures, class Real, class Rates>
Real live_recaptures(const Job& job, History histry, const Live_facts& facts, bool lost, int j, int place,
                     const Reals<Real>& parm, Cell_work<Real>& work, const Rates& rates) {
  if (facts.codes != nullptr && !lost && parm.stamp() != 0) {
    std::vector<Chain2_cohort<Real>>& cohorts = kept<Family>(work).cohorts;
    const std::size_t own = static_cast<std::size_t>(place);
    if (own >= cohorts.size()) cohorts.resize(own + 1);
    Chain2_cohort<Real>& cohort = cohorts[own];
    if (cohort.made_for != parm.stamp())
      detail::make_cohort(job, facts.first, j, histry.noccas(), parm, work, rates, cohort);
    return cohort.prob(facts.codes, facts.first, facts.last_caught);
  }
  const int last = lost ? facts.lastlc : facts.lastsm;
  return detail::step_by_step<Real>(job, histry, facts, last, j, parm, work, rates);
}

/// Number of the cohort of group j with this first capture, when cohorts have rates of their own by group and
/// first capture only.
inline int cohort_place(int j, int first, int noccas) { return (j - 1) * noccas + first - 1; }

}  // namespace tarn
