#pragma once
// Animals that move between strata (Arnason 1973; Brownie et al. 1993; Schwarz et al. 1993; Lebreton et al.
// 2009): a row of weights, one for each stratum, carried through the intervals.
//
//   interval c  the weight of stratum a is multiplied by survival S_a, then shared out by the transitions
//               Psi(a, .); what those to other strata leave of 1 stays
//   occasion o  caught in b: only the weight of b is left, times p_b; not caught: each times 1 - p_b; not
//               sampled: as it is
//
// Between two captures nothing counts but where and when they were made. Where histories share their real
// parameters the chance of that is computed once for all of them, and so is that of never being met again.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "likelihood/blocks/cohort_classes.h"
#include "likelihood/blocks/counted_parts.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/cell/cell.h"
#include "likelihood/cell/history_facts.h"
#include "model/structure/design.h"

namespace tarn {

/// What is left to a stratum whose other transitions leave nothing.
inline constexpr double least_stay = 2.220446049250313e-16;

/// What a history of strata shows. Codes: 0 not caught, 1 to `nstrta` the stratum, above it not sampled.
struct Stratum_facts : History_facts {
  int recovered = 0;                     ///< interval in which it was found dead, 0: none
  const unsigned char* codes = nullptr;  ///< of occasion o: element o - 1
  bool sampled = true;                   ///< on all occasions from the first capture on

  /// The recovery that counts. Nothing does behind the interval of a last capture at which the animal was
  /// lost.
  int recovered_of(bool lost) const { return lost && recovered != lastlc ? 0 : recovered; }
};

/// So many animals were caught in stratum `from` on occasion `left`, and next met on occasion `next`, there
/// caught in stratum `to`, or, with `to` 0, recovered in interval `next`, or, with `next` 0, not met again.
struct Stratum_count {
  int of_class = 0, left = 0, from = 0, next = 0, to = 0;
  double animals = 0.0;
};

/// Facts of all records, classes of cohorts, and counts.
class Stratum_records {
 public:
  /// @param recoveries  a second character that is not "0" is a recovery; there is an interval behind the
  /// last occasion
  Stratum_records(const Job& job, bool recoveries);

  const Stratum_facts* find(int i, History histry) const {
    const auto record = static_cast<std::size_t>(i) - 1;
    const bool own = record < facts_.size() && histry.cells() == cells_ + record * stride_;
    return own ? facts_.data() + record : nullptr;
  }
  /// Facts of any history; `room` holds its codes.
  Stratum_facts made_up(History histry, std::vector<unsigned char>& room) const {
    room.resize(static_cast<std::size_t>(histry.noccas()));
    return facts_of(histry, room.data());
  }

  int strata() const { return strata_; }
  int noccas() const { return noccas_; }
  /// Intervals in which animals are followed.
  int intervals() const { return recoveries_ ? noccas_ : noccas_ - 1; }
  bool recoveries() const { return recoveries_; }
  /// Of all cohorts with animals; none where records do not share their real parameters.
  const Cohort_classes& cohorts() const { return cohorts_; }
  const std::vector<Stratum_count>& counts() const { return counts_; }
  /// By record: 1 where the counts stand for it. Empty where its histories are fewer than the counts.
  const std::vector<char>& counted() const { return counted_; }

 private:
  Stratum_facts facts_of(History histry, unsigned char* codes) const;
  bool find_numbers(const Job& job, const Pim_table& pims, int j, int first, int from,
                    std::vector<int>& found) const;
  void count_animals(const Job& job);

  int strata_, noccas_;
  bool recoveries_;
  std::string signs_;
  const char* cells_ = nullptr;
  std::size_t stride_ = 0;
  std::vector<Stratum_facts> facts_;
  std::vector<unsigned char> codes_;
  Cohort_classes cohorts_;
  std::vector<Stratum_count> counts_;
  std::vector<char> counted_;
};

/// Calls visit(parameter, a, b, extra) for every matrix of rates of the family, second and third index a and
/// b; `extra` tells that it has a column for the interval behind the last occasion. Psi(a, a) is never read.
template <class Visit>
void for_each_stratum_matrix(int strata, bool recoveries, const Visit& visit) {
  for (int a = 1; a <= strata; ++a) {
    visit(Parameter::S, a, 1, recoveries);
    visit(Parameter::p, a, 1, false);
    if (recoveries) visit(Parameter::r, a, 1, true);
    for (int b = 1; b <= strata; ++b)
      if (b != a) visit(Parameter::Psi, a, b, false);
  }
}

/// The rates of one interval: element a of an array is that of stratum a + 1.
template <class Real>
struct Interval_rows {
  std::span<Real> step;    ///< S_a Psi(a, b) at a strata + b
  std::span<Real> dies;    ///< 1 - S_a
  std::span<Real> caught;  ///< p_b on the occasion at its end
  std::span<Real> found;   ///< r_a, of families with recoveries
};

/// What a history leaves open about an interval.
struct Interval_reach {
  int from = 0;       ///< the only stratum at its beginning, 0: any
  int to = 0;         ///< the only stratum in which a capture at its end could be, 0: any
  bool met = true;    ///< captures at its end count
  bool moves = true;  ///< the animal is followed to its end
  bool dies = true;   ///< it may die in it

  /// @param recovered  the recovery that counts, 0: none
  static Interval_reach of(const Stratum_facts& facts, int c, int strata, int noccas, int recovered) {
    const auto known = [&](int o) { return facts.codes[o - 1] <= strata ? int{facts.codes[o - 1]} : 0; };
    const bool dies = recovered > 0 ? c == recovered : c >= facts.lastlc;
    if (c == noccas || c == recovered) return {known(c), 0, false, false, dies};
    return {known(c), known(c + 1), facts.codes[c] <= strata, true, dies};
  }
};

/// Fills the rows of interval c as far as the reach asks; the rest is 0. Gives twice the sum of what
/// over-full rows of transitions leave, which is not positive; 0 where none is.
template <class Family, class Real>
Real fill_interval(const Job& job, int c, int row, int j, const Interval_reach& reach,
                   const Reals<Real>& parm, Cell_work<Real>& work, const Interval_rows<Real>& rows) {
  const Stratum_records& records = prepared<Family>(work);
  const auto rate = rates_of<Family>(job, parm, work);
  const int n = records.strata();
  Real over = 0.0;
  for (int a = 1; a <= n; ++a) {
    const std::size_t at = static_cast<std::size_t>(a) - 1;
    const bool starts = reach.from == 0 || reach.from == a;
    const Real s = starts ? rate.survival(work.matrix(Parameter::S, a, 1, j)(row, c), c) : Real(0.0);
    rows.dies[at] = 1.0 - s;
    rows.found[at] = starts && reach.dies && records.recoveries()
                         ? parm[work.matrix(Parameter::r, a, 1, j)(row, c)]
                         : Real(0.0);
    if (!reach.moves) continue;
    const bool ends = reach.met && (reach.to == 0 || reach.to == a);
    rows.caught[at] = ends ? parm[work.matrix(Parameter::p, a, 1, j)(row, c)] : Real(0.0);
    Real* const step = rows.step.data() + at * static_cast<std::size_t>(n);
    Real stays = 1.0;
    for (int b = 1; b <= n; ++b) {
      if (b == a) continue;
      const auto psi = work.matrix(Parameter::Psi, a, b, j);
      // A transition without a matrix does not happen.
      const Real moves = psi.nrows > 0 ? parm[psi(row, c)] : Real(0.0);
      stays = stays - moves;
      step[b - 1] = s * moves;
    }
    // KEPT: a row that leaves nothing keeps a rounding unit, and sums to more than 1; it is charged in serial
    // runs only, wherever the animal is. Looks wrong, is required.
    if (vanishes(stays)) {
      over += 2.0 * stays;
      stays = least_stay;
    }
    step[a - 1] = s * stays;
  }
  return over;
}

/// A class of cohorts under one set of reals.
template <class Real>
struct Stratum_table {
  std::uint64_t made_for = 0;  ///< stamp of the reals
  int made_from = 0;           ///< first interval
  std::vector<Real> rates;     ///< the rows of all intervals
  std::vector<Real> charged;   ///< of over-full rows, by interval
  std::vector<Real> unmet;     ///< never met again after stratum a on occasion o: (o - 1) strata + a - 1
  bool in_range = false;       ///< all rates are inside 0 to 1, no row over-full

  /// What follows a capture, as far as it was asked for.
  struct Start {
    std::uint64_t made_for = 0;
    int reached = 0;              ///< occasion up to which it is known
    std::vector<Real> weights;    ///< of an animal not met up to there, by stratum
    std::vector<Real> next;       ///< caught on occasion o in stratum b: (o - 1) strata + b - 1
    std::vector<Real> recovered;  ///< in interval c, not met before: c - 1
  };
  std::vector<Start> starts;  ///< by occasion and stratum
};

/// What families of strata keep.
template <class Real>
struct Stratum_kept {
  Power_memo powers;
  Stratum_facts made_up;
  std::vector<unsigned char> made_up_codes;
  std::vector<Stratum_table<Real>> tables;  ///< by class
};

namespace detail {

/// The rows of interval c, from `first` on, in an array of all of them.
template <class Real>
Interval_rows<Real> rows_of(std::span<Real> all, int strata, int c, int first) {
  const std::size_t n = static_cast<std::size_t>(strata), each = n * (n + 3);
  const std::span<Real> own = all.subspan(static_cast<std::size_t>(c - first) * each, each);
  return {own.subspan(0, n * n), own.subspan(n * n, n), own.subspan(n * (n + 1), n),
          own.subspan(n * (n + 2), n)};
}

/// weights * step, into `next`.
template <class Real>
void carry(std::span<const Real> weights, std::span<const Real> step, std::span<Real> next) {
  const std::size_t n = weights.size();
  std::fill(next.begin(), next.end(), Real(0.0));
  for (std::size_t a = 0; a < n; ++a) {
    if (value_of(weights[a]) == 0.0) continue;
    for (std::size_t b = 0; b < n; ++b) next[b] = next[b] + weights[a] * step[a * n + b];
  }
}

template <class Real>
bool inside_range(std::span<const Real> rates) {
  return std::all_of(rates.begin(), rates.end(),
                     [](const Real& rate) { return value_of(rate) >= 0.0 && value_of(rate) <= 1.0; });
}

/// Makes the table of class k.
template <class Family, class Real>
[[gnu::noinline]] void make_stratum_table(const Job& job, std::size_t k, const Reals<Real>& parm,
                                          Cell_work<Real>& work, Stratum_table<Real>& table) {
  const Stratum_records& records = prepared<Family>(work);
  const Cohort_class& of = records.cohorts().classes()[k];
  const int n = records.strata(), intervals = records.intervals(), noccas = records.noccas();
  const std::size_t strata = static_cast<std::size_t>(n), each = strata * (strata + 3);
  const auto keep = work.trace.keep();
  table.made_from = of.first;
  table.rates.resize(each * static_cast<std::size_t>(std::max(intervals - of.first + 1, 0)));
  table.charged.assign(static_cast<std::size_t>(intervals) + 1, Real(0.0));
  table.unmet.assign(strata * static_cast<std::size_t>(noccas), Real(1.0));
  table.starts.resize(strata * static_cast<std::size_t>(noccas));
  table.in_range = true;
  for (int c = intervals; c >= of.first; --c) {
    const Interval_rows<Real> rows = rows_of<Real>(table.rates, n, c, of.first);
    Real& over = table.charged[static_cast<std::size_t>(c)];
    over = fill_interval<Family>(job, c, of.first, of.group, {.moves = c < noccas}, parm, work, rows);
    table.in_range = table.in_range && value_of(over) == 0.0 && inside_range<Real>(rows.dies) &&
                     (!records.recoveries() || inside_range<Real>(rows.found)) &&
                     (c == noccas || (inside_range<Real>(rows.caught) && inside_range<Real>(rows.step)));
    for (std::size_t a = 0; a < strata; ++a) {
      Real unseen = rows.dies[a];
      if (records.recoveries()) unseen = unseen * (1.0 - rows.found[a]);
      if (c == noccas) {
        unseen = unseen + (1.0 - rows.dies[a]);
      } else {
        for (std::size_t b = 0; b < strata; ++b)
          unseen =
              unseen + rows.step[a * strata + b] *
                           ((1.0 - rows.caught[b]) * table.unmet[static_cast<std::size_t>(c) * strata + b]);
      }
      table.unmet[static_cast<std::size_t>(c - 1) * strata + a] = unseen;
    }
  }
  table.made_for = parm.stamp();
}

template <class Family, class Real>
Stratum_table<Real>& stratum_table(const Job& job, std::size_t k, const Reals<Real>& parm,
                                   Cell_work<Real>& work) {
  std::vector<Stratum_table<Real>>& tables = kept<Family>(work).tables;
  if (k >= tables.size()) tables.resize(prepared<Family>(work).cohorts().classes().size());
  Stratum_table<Real>& table = tables[k];
  if (table.made_for != parm.stamp()) make_stratum_table<Family>(job, k, parm, work, table);
  return table;
}

/// The start from stratum `from` on occasion `left`, known up to occasion `to` at least, and with recoveries
/// through the interval behind it.
template <class Real>
const typename Stratum_table<Real>::Start& start_of(const Stratum_records& records,
                                                    Stratum_table<Real>& table, int left, int from, int to,
                                                    Cell_work<Real>& work) {
  const int n = records.strata();
  const std::size_t strata = static_cast<std::size_t>(n);
  auto& start =
      table.starts[static_cast<std::size_t>(left - 1) * strata + static_cast<std::size_t>(from) - 1];
  const auto keep = work.trace.keep();
  const auto find = [&](int c) {
    const Interval_rows<Real> rows = rows_of<Real>(table.rates, n, c, table.made_from);
    Real found = 0.0;
    for (std::size_t a = 0; a < strata; ++a)
      found = found + start.weights[a] * (rows.dies[a] * rows.found[a]);
    start.recovered[static_cast<std::size_t>(c) - 1] = found;
  };
  if (start.made_for != table.made_for) {
    start.made_for = table.made_for;
    start.reached = left;
    start.weights.assign(strata, Real(0.0));
    start.weights[static_cast<std::size_t>(from) - 1] = 1.0;
    start.next.resize(strata * static_cast<std::size_t>(records.noccas()));
    start.recovered.resize(static_cast<std::size_t>(records.noccas()));
    if (records.recoveries()) find(left);
  }
  for (; start.reached < to; ++start.reached) {
    const int c = start.reached;
    const Interval_rows<Real> rows = rows_of<Real>(table.rates, n, c, table.made_from);
    Real* const next = start.next.data() + static_cast<std::size_t>(c) * strata;
    carry<Real>(start.weights, rows.step, {next, strata});
    for (std::size_t b = 0; b < strata; ++b) {
      start.weights[b] = next[b] * (1.0 - rows.caught[b]);
      next[b] = next[b] * rows.caught[b];
    }
    if (records.recoveries()) find(c + 1);
  }
  return start;
}

/// A history of which the rows of all its intervals are at hand: rows(c) gives those of interval c.
template <class Real, class Rows>
Real walk_strata(const Stratum_records& records, const Stratum_facts& facts, int last, int recovered,
                 Cell_work<Real>& work, const Rows& rows) {
  const std::size_t strata = static_cast<std::size_t>(records.strata());
  std::span<Real> weights = work.take(strata), next = work.take(strata);
  std::fill(weights.begin(), weights.end(), Real(0.0));
  weights[static_cast<std::size_t>(facts.codes[facts.first - 1]) - 1] = 1.0;
  Real dead = 0.0;
  const auto alive = [&] {
    Real sum = 0.0;
    for (const Real& weight : weights) sum = sum + weight;
    return sum;
  };
  for (int c = facts.first; c <= last; ++c) {
    const Interval_rows<Real> own = rows(c);
    if (recovered == c) {
      Real found = 0.0;
      for (std::size_t a = 0; a < strata; ++a) found = found + weights[a] * (own.dies[a] * own.found[a]);
      return found;
    }
    for (std::size_t a = 0; a < strata; ++a) {
      const Real dies = weights[a] * own.dies[a];
      dead = dead + (records.recoveries() ? Real(dies * (1.0 - own.found[a])) : dies);
    }
    if (c == records.noccas()) {
      for (std::size_t a = 0; a < strata; ++a) weights[a] = weights[a] * (1.0 - own.dies[a]);
      break;
    }
    carry<Real>(weights, own.step, next);
    std::swap(weights, next);
    const int code = facts.codes[c];
    if (code > records.strata()) continue;
    for (std::size_t b = 0; b < strata; ++b) {
      if (code == 0)
        weights[b] = weights[b] * (1.0 - own.caught[b]);
      else
        weights[b] = static_cast<int>(b) + 1 == code ? Real(weights[b] * own.caught[b]) : Real(0.0);
    }
    if (code != 0) dead = 0.0;
  }
  return alive() + dead;
}

}  // namespace detail

/// Probability of what follows the first capture of a history in group j, and in `work.penlty` the charge of
/// over-full rows of transitions. The family's `Prepared` is a `Stratum_records`, its `Kept` a
/// `Stratum_kept`.
template <class Family, class Real>
Real stratum_history(const Job& job, const Stratum_facts& facts, bool lost, int j, const Reals<Real>& parm,
                     Cell_work<Real>& work) {
  const Stratum_records& records = prepared<Family>(work);
  // The last interval that is read.
  int last = records.recoveries() ? records.noccas() : facts.lastsm - 1;
  if (lost) last = facts.lastlc - 1;
  const int recovered = facts.recovered_of(lost);
  if (recovered > 0) last = recovered;
  const int k = parm.stamp() != 0 ? records.cohorts().class_of(j, facts.first) : -1;
  if (k < 0) {
    const std::size_t strata = static_cast<std::size_t>(records.strata());
    const std::span<Real> room =
        work.take(strata * (strata + 3) * static_cast<std::size_t>(std::max(last - facts.first + 1, 0)));
    Real over = 0.0;
    for (int c = facts.first; c <= last; ++c)
      over += fill_interval<Family>(
          job, c, facts.first, j, Interval_reach::of(facts, c, records.strata(), records.noccas(), recovered),
          parm, work, detail::rows_of<Real>(room, records.strata(), c, facts.first));
    if (value_of(over) != 0.0) work.penlty[1] = over;
    return detail::walk_strata<Real>(records, facts, last, recovered, work, [&](int c) {
      return detail::rows_of<Real>(room, records.strata(), c, facts.first);
    });
  }
  Stratum_table<Real>& table = detail::stratum_table<Family>(job, static_cast<std::size_t>(k), parm, work);
  if (!table.in_range) {
    Real over = 0.0;
    for (int c = facts.first; c <= last; ++c) over += table.charged[static_cast<std::size_t>(c)];
    if (value_of(over) != 0.0) work.penlty[1] = over;
  }
  if (!facts.sampled)
    return detail::walk_strata<Real>(records, facts, last, recovered, work, [&](int c) {
      return detail::rows_of<Real>(table.rates, records.strata(), c, table.made_from);
    });
  const std::size_t strata = static_cast<std::size_t>(records.strata());
  Real prob = 1.0;
  int left = facts.first;
  for (int o = facts.first + 1; o <= facts.lastlc; ++o) {
    const int code = facts.codes[o - 1];
    if (code == 0) continue;
    prob = prob * detail::start_of(records, table, left, facts.codes[left - 1], o, work)
                      .next[static_cast<std::size_t>(o - 1) * strata + static_cast<std::size_t>(code) - 1];
    left = o;
  }
  const int from = facts.codes[left - 1];
  if (recovered > 0)
    return prob * detail::start_of(records, table, left, from, recovered, work)
                      .recovered[static_cast<std::size_t>(recovered) - 1];
  if (lost) return prob;
  return prob * table.unmet[static_cast<std::size_t>(left - 1) * strata + static_cast<std::size_t>(from) - 1];
}

/// Families of strata whose histories can be counted derive from this: see `Cell_routines::counted`.
template <class Family>
struct Counts_strata {
  static std::vector<char> counted_records(const Stratum_records& records) { return records.counted(); }

  template <class Real>
  static bool counted(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::vector<Counted_log<Real>>& logs) {
    logs.clear();
    const Stratum_records& records = prepared<Family>(work);
    const std::size_t strata = static_cast<std::size_t>(records.strata());
    double least = 0.0;
    for (const Stratum_count& shown : records.counts()) {
      Stratum_table<Real>& table =
          detail::stratum_table<Family>(job, static_cast<std::size_t>(shown.of_class), parm, work);
      if (!table.in_range) return false;
      const std::size_t from = static_cast<std::size_t>(shown.from) - 1;
      if (shown.next == 0) {
        const Real& unmet = table.unmet[static_cast<std::size_t>(shown.left - 1) * strata + from];
        if (!add_part(logs, shown.animals, unmet, shown.left > records.intervals(), least)) return false;
        continue;
      }
      const auto& start = detail::start_of(records, table, shown.left, shown.from, shown.next, work);
      const Real& met = shown.to > 0 ? start.next[static_cast<std::size_t>(shown.next - 1) * strata +
                                                  static_cast<std::size_t>(shown.to) - 1]
                                     : start.recovered[static_cast<std::size_t>(shown.next) - 1];
      if (!add_part(logs, shown.animals, met, false, least)) return false;
    }
    // So many parts a history has at the most.
    return clear_of_the_floor(least * records.noccas());
  }
};

/// Facts of `histry`: the prepared ones when it is record i's own cells, else computed into the work area.
template <class Family, class Real>
const Stratum_facts& stratum_facts(Cell_work<Real>& work, int i, History histry) {
  const Stratum_records& records = prepared<Family>(work);
  if (const Stratum_facts* own = records.find(i, histry)) return *own;
  Stratum_kept<Real>& room = kept<Family>(work);
  room.made_up = records.made_up(histry, room.made_up_codes);
  return room.made_up;
}

}  // namespace tarn
