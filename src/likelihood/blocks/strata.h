#pragma once
// Animals that move between strata and are known to be in one when they are caught (Arnason 1973; Brownie et
// al. 1993; Schwarz et al. 1993; Lebreton et al. 2009): a row of weights, one for each stratum, carried
// through the intervals between periods. A period is an occasion, or a primary session.
//
//   interval c  survival, then transitions, as blocks/transitions.h tells
//   period o    caught in b: only the weight of b is left, times the chance of a capture there; not caught:
//               each times 1 less its own; not sampled: as it is
//
// Between two captures nothing counts but where and when they were made. Where histories share their real
// parameters the chance of that is computed once for all of them, and so is that of never being met again.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "data/sessions.h"
#include "likelihood/blocks/cohort_classes.h"
#include "likelihood/blocks/counted_parts.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/blocks/transitions.h"
#include "likelihood/cell/cell.h"
#include "model/structure/design.h"

namespace tarn {

/// What a family of strata follows.
struct Stratum_study {
  bool recoveries = false;   ///< second characters that are not "0"; an interval behind the last period
  bool sessions = false;     ///< periods are primary sessions
  bool whole_study = false;  ///< rates stand in row 1, and what is ahead of the first capture counts
  bool starts = false;       ///< the first capture has a chance of its own
};

/// What a history of strata shows, by period. Codes: 0 not caught, 1 to `nstrta` the stratum, above it not
/// sampled.
struct Stratum_facts {
  int first = 0, last_caught = 0;        ///< first and last capture, 0: none
  int last_sampled = 0;                  ///< of the study
  int recovered = 0;                     ///< interval in which it was found dead, 0: none
  const unsigned char* codes = nullptr;  ///< of period o: element o - 1
  /// Number of the set of occasions that were not sampled, among those that many records share: 0 for none of
  /// them, -1 where few share it.
  int sampling = 0;

  /// The recovery that counts. Nothing does behind the interval of a last capture at which the animal was
  /// lost.
  int recovered_of(bool lost) const { return lost && recovered != last_caught ? 0 : recovered; }
};

/// So many animals were caught in stratum `from` in period `left`, and next met in period `next`, there
/// caught in stratum `to`, or, with `to` 0, recovered in interval `next`, or, with `next` 0, not met again.
struct Stratum_count {
  int of_class = 0, sampling = 0, left = 0, from = 0, next = 0, to = 0;
  double animals = 0.0;
};

/// What a history leaves open about an interval.
struct Interval_reach {
  int from = 0;       ///< the only stratum at its beginning, 0: any
  int to = 0;         ///< the only stratum in which a capture at its end could be, 0: any
  bool met = true;    ///< captures at its end count
  bool moves = true;  ///< the animal is followed to its end
  bool dies = true;   ///< it may die in it

  /// @param recovered  the recovery that counts, 0: none
  static Interval_reach of(const Stratum_facts& facts, int c, int strata, int periods, int recovered) {
    const auto known = [&](int o) { return facts.codes[o - 1] <= strata ? int{facts.codes[o - 1]} : 0; };
    const bool dies = recovered > 0 ? c == recovered : c >= facts.last_caught;
    if (c == periods || c == recovered) return {known(c), 0, false, false, dies};
    return {known(c), known(c + 1), facts.codes[c] <= strata, true, dies};
  }
};

/// Facts of all records, classes of cohorts, and counts.
class Stratum_records {
 public:
  Stratum_records(const Job& job, const Stratum_study& study);

  const Stratum_facts* find(int i, History histry) const {
    const auto record = static_cast<std::size_t>(i) - 1;
    const bool own = record < facts_.size() && histry.cells() == cells_ + record * stride_;
    return own ? facts_.data() + record : nullptr;
  }
  /// Facts of any history; `room` holds its codes.
  Stratum_facts made_up(History histry, std::vector<unsigned char>& room) const {
    room.resize(static_cast<std::size_t>(periods()));
    return facts_of(histry, room.data());
  }

  int strata() const { return strata_; }
  int periods() const { return static_cast<int>(ends_.size()); }
  /// Intervals in which animals are followed.
  int intervals() const { return study_.recoveries ? periods() : periods() - 1; }
  bool recoveries() const { return study_.recoveries; }
  /// Row of the matrices for a first capture in this period.
  int row(int first) const { return study_.whole_study ? 1 : first; }
  bool by_session() const { return study_.sessions; }
  /// Elements that the rows of one interval take.
  std::size_t row_size() const { return static_cast<std::size_t>(strata_ * (strata_ + 3)); }
  /// The last interval in which an animal released at its last capture is followed. Between sessions that is
  /// the study's last, on occasions the one ahead of the last sampled.
  int last_followed(const Stratum_facts& facts) const {
    return study_.recoveries || study_.sessions ? intervals() : facts.last_sampled - 1;
  }
  /// What a table for the sampling of an example reads, or, with nullptr, where every occasion was sampled:
  /// its last interval, and the reach of one.
  int last_in_table(const Stratum_facts* example) const {
    return example == nullptr ? intervals() : last_followed(*example);
  }
  Interval_reach reach_in_table(const Stratum_facts* example, int c) const {
    const bool sampled = example == nullptr || c == periods() || example->codes[c] <= strata_;
    return {.met = sampled, .moves = c < periods()};
  }
  /// Occasion behind which the interval behind a period stands.
  int time_interval(int c) const { return ends_[static_cast<std::size_t>(c) - 1]; }
  /// Of all cohorts with animals; none where records do not share their real parameters.
  const Cohort_classes& cohorts() const { return cohorts_; }
  /// A record with that sampling; 0 for the sampling of every occasion.
  int example(int sampling) const { return examples_[static_cast<std::size_t>(sampling)]; }
  std::size_t samplings() const { return examples_.size(); }
  const Stratum_facts& facts(int i) const { return facts_[static_cast<std::size_t>(i) - 1]; }
  History history(int i) const {
    return {cells_ + static_cast<std::size_t>(i - 1) * stride_, static_cast<int>(stride_ / 2)};
  }
  const std::vector<Stratum_count>& counts() const { return counts_; }
  /// First captures: `from` in period `left`; of families in which they have a chance of their own.
  const std::vector<Stratum_count>& first_counts() const { return first_counts_; }
  /// By record: 1 where the counts stand for it. Empty where its histories are fewer than the counts.
  const std::vector<char>& counted() const { return counted_; }
  /// Histories that the counts stand for.
  std::size_t counted_histories() const { return counted_histories_; }

 private:
  Stratum_facts facts_of(History histry, unsigned char* codes) const;
  void find_samplings();
  bool find_numbers(const Job& job, const Pim_table& pims, int j, int first, int from,
                    std::vector<int>& found) const;
  void find_numbers_within(const Job& job, const Pim_table& pims, int j, int from, std::vector<int>& found,
                           Pim_report& report) const;
  void count_animals(const Job& job);

  Stratum_study study_;
  int strata_;
  std::vector<int> ends_;  ///< last occasion of each period
  std::string signs_;
  const char* cells_ = nullptr;
  std::size_t stride_ = 0;
  std::vector<Stratum_facts> facts_;
  std::vector<unsigned char> codes_;
  std::vector<int> examples_{0};
  Cohort_classes cohorts_;
  std::vector<Stratum_count> counts_, first_counts_;
  std::vector<char> counted_;
  std::size_t counted_histories_ = 0;
};

/// The rates of one interval: element a of an array is that of stratum a + 1.
template <class Real>
struct Interval_rows {
  std::span<Real> step;    ///< S_a Psi(a, b) at a strata + b
  std::span<Real> dies;    ///< 1 - S_a
  std::span<Real> caught;  ///< in b in the period at its end
  std::span<Real> found;   ///< r_a, of families with recoveries
};

/// Where the rates of a history stand, or of all that are sampled as record i is.
struct Stratum_place {
  int row = 1, group = 1;
  int i = 1;
  History histry;
};

/// Families whose first captures read rates of earlier intervals, and may be charged for them.
template <class Family>
inline constexpr bool charges_starts = requires {
  &Family::template start_charge<double>;
};

/// Fills the rows of interval c as far as the reach asks; the rest is 0. Gives twice the sum of what
/// over-full rows of transitions leave, which is not positive; 0 where none is. The family has `caught(job,
/// place, c, b, parm, work)`: the chance of a capture in the period at the end of interval c, in stratum b.
template <class Family, class Real>
Real fill_interval(const Job& job, int c, const Stratum_place& place, const Interval_reach& reach,
                   const Reals<Real>& parm, Cell_work<Real>& work, const Interval_rows<Real>& rows) {
  const Stratum_records& records = prepared<Family>(work);
  const auto rate = rates_of<Family>(job, parm, work);
  const int n = records.strata(), j = place.group;
  Real over = 0.0;
  for (int a = 1; a <= n; ++a) {
    const std::size_t at = static_cast<std::size_t>(a) - 1;
    const bool starts = reach.from == 0 || reach.from == a;
    const Real s =
        starts ? rate.survival(work.matrix(Parameter::S, a, 1, j)(place.row, c), records.time_interval(c))
               : Real(0.0);
    rows.dies[at] = 1.0 - s;
    rows.found[at] = starts && reach.dies && records.recoveries()
                         ? parm[work.matrix(Parameter::r, a, 1, j)(place.row, c)]
                         : Real(0.0);
    if (!reach.moves) continue;
    const bool ends = reach.met && (reach.to == 0 || reach.to == a);
    rows.caught[at] = ends ? Family::template caught<Real>(job, place, c, a, parm, work) : Real(0.0);
    Real* const step = rows.step.data() + at * static_cast<std::size_t>(n);
    over += fill_transitions(a, n, place.row, c, j, parm, work, step);
    for (int b = 0; b < n; ++b) step[b] = s * step[b];
  }
  return over;
}

/// A class of cohorts with one sampling, under one set of reals.
template <class Real>
struct Stratum_table {
  std::uint64_t made_for = 0;  ///< stamp of the reals
  int made_from = 0;           ///< first interval
  int made_to = 0;             ///< last interval
  std::vector<Real> rates;     ///< the rows of all intervals
  std::vector<Real> charged;   ///< of over-full rows, by interval
  std::vector<Real> unmet;     ///< never met again after stratum a in period o: (o - 1) strata + a - 1
  bool in_range = false;       ///< all rates are inside 0 to 1, no row over-full
  /// Whether every cell that the table reads is given; a record need not read them all.
  enum class Cells : unsigned char { unknown, given, missing } cells = Cells::unknown;

  /// What follows a capture, as far as it was asked for.
  struct Start {
    std::uint64_t made_for = 0;
    int reached = 0;              ///< period up to which it is known
    std::vector<Real> weights;    ///< of an animal not met up to there, by stratum
    std::vector<Real> next;       ///< caught in period o in stratum b: (o - 1) strata + b - 1
    std::vector<Real> recovered;  ///< in interval c, not met before: c - 1
  };
  std::vector<Start> starts;  ///< by period and stratum
  struct First {
    std::uint64_t made_for = 0;
    Real chance;
  };
  std::vector<First> firsts;  ///< of first captures, by period and stratum
};

/// What families of strata keep.
template <class Real>
struct Stratum_tables {
  Stratum_facts made_up_strata;
  std::vector<unsigned char> made_up_codes;
  std::vector<Stratum_table<Real>> tables;  ///< by sampling, class
};
template <class Real>
struct Stratum_kept : Stratum_tables<Real> {
  Power_memo powers;
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

template <class Real>
bool inside_range(std::span<const Real> rates) {
  return std::all_of(rates.begin(), rates.end(),
                     [](const Real& rate) { return value_of(rate) >= 0.0 && value_of(rate) <= 1.0; });
}

/// A record whose sampling is that of the table, or a history of which every occasion was sampled.
template <class Family, class Real>
Stratum_place place_of(int row, int group, int sampling, const Cell_work<Real>& work) {
  const Stratum_records& records = prepared<Family>(work);
  const int i = records.example(sampling);
  return {row, group, std::max(i, 1), i > 0 ? records.history(i) : History()};
}

/// Makes the table of class k and a sampling.
template <class Family, class Real>
[[gnu::noinline]] void make_stratum_table(const Job& job, std::size_t k, int sampling,
                                          const Reals<Real>& parm, Cell_work<Real>& work,
                                          Stratum_table<Real>& table) {
  const Stratum_records& records = prepared<Family>(work);
  const Cohort_class& of = records.cohorts().classes()[k];
  const Stratum_facts* example = sampling > 0 ? &records.facts(records.example(sampling)) : nullptr;
  const int n = records.strata(), periods = records.periods();
  const int last = records.last_in_table(example);
  const std::size_t strata = static_cast<std::size_t>(n), each = records.row_size();
  const Stratum_place place = place_of<Family>(records.row(of.first), of.group, sampling, work);
  const auto keep = work.trace.keep();
  table.made_from = of.first;
  table.made_to = last;
  table.rates.resize(each * static_cast<std::size_t>(std::max(last - of.first + 1, 0)));
  table.charged.assign(static_cast<std::size_t>(std::max(last, 0)) + 1, Real(0.0));
  table.unmet.assign(strata * static_cast<std::size_t>(periods), Real(1.0));
  table.starts.resize(strata * static_cast<std::size_t>(periods));
  table.firsts.resize(strata * static_cast<std::size_t>(periods));
  table.in_range = true;
  if constexpr (charges_starts<Family>)
    table.in_range = value_of(Family::template start_charge<Real>(job, place, of.first, parm, work)) == 0.0;
  for (int c = last; c >= of.first; --c) {
    const Interval_rows<Real> rows = rows_of<Real>(table.rates, n, c, of.first);
    Real& over = table.charged[static_cast<std::size_t>(c)];
    over = fill_interval<Family>(job, c, place, records.reach_in_table(example, c), parm, work, rows);
    table.in_range = table.in_range && value_of(over) == 0.0 && inside_range<Real>(rows.dies) &&
                     (!records.recoveries() || inside_range<Real>(rows.found)) &&
                     (c == periods || (inside_range<Real>(rows.caught) && inside_range<Real>(rows.step)));
    for (std::size_t a = 0; a < strata; ++a) {
      Real unseen = rows.dies[a];
      if (records.recoveries()) unseen = unseen * (1.0 - rows.found[a]);
      if (c == periods) {
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

/// Runs the look-ups of a table, with reals of several sizes: what is not read at one is at another.
template <class Family>
bool stratum_cells_given(const Job& job, std::size_t k, int sampling, const Cell_setting& setting) {
  Cell_work<Reach> dry(job, setting);
  const Stratum_records& records = prepared<Family>(dry);
  const Cohort_class& of = records.cohorts().classes()[k];
  const Stratum_facts* example = sampling > 0 ? &records.facts(records.example(sampling)) : nullptr;
  const Stratum_place place = place_of<Family>(records.row(of.first), of.group, sampling, dry);
  for (const double size : {0.25, 0.0, 1.0, 9.0}) {
    const std::vector<Reach> reals(static_cast<std::size_t>(std::max(job.model.nlogit, 1)), Reach(size));
    for (int c = of.first; c <= records.last_in_table(example); ++c) {
      dry.begin();
      const std::span<Reach> room = dry.take(records.row_size());
      fill_interval<Family>(job, c, place, records.reach_in_table(example, c), Reals<Reach>(reals.data()),
                            dry, rows_of<Reach>(room, records.strata(), c, c));
    }
  }
  return !dry.pim_report.fault.found;
}

/// The table of class k and a sampling; nullptr when some of the cells that it reads are not given.
template <class Family, class Real>
Stratum_table<Real>* stratum_table(const Job& job, std::size_t k, int sampling, const Reals<Real>& parm,
                                   Cell_work<Real>& work) {
  using Cells = typename Stratum_table<Real>::Cells;
  const Stratum_records& records = prepared<Family>(work);
  Stratum_tables<Real>& own = kept<Family>(work);
  const std::size_t classes = records.cohorts().classes().size();
  if (own.tables.empty()) own.tables.resize(classes * records.samplings());
  Stratum_table<Real>& table = own.tables[static_cast<std::size_t>(sampling) * classes + k];
  if (table.cells == Cells::unknown)
    table.cells =
        stratum_cells_given<Family>(job, k, sampling, work.setting()) ? Cells::given : Cells::missing;
  if (table.cells == Cells::missing) return nullptr;
  if (table.made_for != parm.stamp()) make_stratum_table<Family>(job, k, sampling, parm, work, table);
  return &table;
}

/// The start from stratum `from` in period `left`, known up to period `to` at least, and with recoveries
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
    start.next.resize(strata * static_cast<std::size_t>(records.periods()));
    start.recovered.resize(static_cast<std::size_t>(records.periods()));
    if (records.recoveries()) find(left);
  }
  const unsigned char known = static_cast<unsigned char>(from - 1);
  for (; start.reached < to; ++start.reached) {
    const int c = start.reached;
    const Interval_rows<Real> rows = rows_of<Real>(table.rates, n, c, table.made_from);
    Real* const next = start.next.data() + static_cast<std::size_t>(c) * strata;
    carry<Real>(strata, start.weights.data(), c == left ? State_set::only(known) : State_set::all(strata),
                rows.step.data(), State_set::all(strata), next);
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
    if (c == records.periods()) {
      for (std::size_t a = 0; a < strata; ++a) weights[a] = weights[a] * (1.0 - own.dies[a]);
      break;
    }
    const int here = facts.codes[c - 1];
    const unsigned char known = static_cast<unsigned char>(here - 1);
    const bool is_known = here >= 1 && here <= records.strata();
    carry<Real>(strata, weights.data(), is_known ? State_set::only(known) : State_set::all(strata),
                own.step.data(), State_set::all(strata), next.data());
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

/// Chance of the first capture, of families that give it one. `from` is the stratum there.
template <class Family>
inline constexpr bool has_start = requires {
  &Family::template starts<double>;
};

template <class Family, class Real>
const Real& first_of(const Job& job, Stratum_table<Real>& table, const Stratum_place& place, int first,
                     int from, const Reals<Real>& parm, Cell_work<Real>& work) {
  const std::size_t strata = static_cast<std::size_t>(prepared<Family>(work).strata());
  auto& own = table.firsts[static_cast<std::size_t>(first - 1) * strata + static_cast<std::size_t>(from) - 1];
  if (own.made_for != table.made_for) {
    const auto keep = work.trace.keep();
    own.chance = Family::template starts<Real>(job, place, first, from, parm, work);
    own.made_for = table.made_for;
  }
  return own.chance;
}

}  // namespace detail

/// Probability of what a history shows between its periods from the first capture on, in group j; of families
/// that have `starts(job, place, first, from, parm, work)` times that, the chance of the first capture. And
/// in `work.penlty` the charge of over-full rows of transitions. The family's `Prepared` is a
/// `Stratum_records`, its `Kept` a `Stratum_tables`.
template <class Family, class Real>
Real stratum_history(const Job& job, const Stratum_facts& facts, History histry, int i, bool lost, int j,
                     const Reals<Real>& parm, Cell_work<Real>& work) {
  const Stratum_records& records = prepared<Family>(work);
  const int n = records.strata();
  // The last interval that is read.
  int last = records.last_followed(facts);
  if (lost) last = facts.last_caught - 1;
  const int recovered = facts.recovered_of(lost);
  if (recovered > 0) last = recovered;
  const int k = parm.stamp() != 0 ? records.cohorts().class_of(j, facts.first) : -1;
  const int row = records.row(facts.first), start = facts.codes[facts.first - 1];
  const Stratum_place own{row, j, i, histry};
  Real chance = 1.0;
  Real over = 0.0;
  if constexpr (charges_starts<Family>)
    over = Family::template start_charge<Real>(job, own, facts.first, parm, work);
  // Where every occasion is a period, rates do not hang on what was sampled.
  Stratum_table<Real>* const shared =
      k < 0 || (facts.sampling < 0 && records.by_session())
          ? nullptr
          : detail::stratum_table<Family>(job, static_cast<std::size_t>(k), std::max(facts.sampling, 0), parm,
                                          work);
  if (shared == nullptr) {
    if constexpr (detail::has_start<Family>)
      chance = Family::template starts<Real>(job, own, facts.first, start, parm, work);
    const std::span<Real> room =
        work.take(records.row_size() * static_cast<std::size_t>(std::max(last - facts.first + 1, 0)));
    const auto rows = [&](int c) { return detail::rows_of<Real>(room, n, c, facts.first); };
    for (int c = facts.first; c <= last; ++c)
      over += fill_interval<Family>(
          job, c, own, Interval_reach::of(facts, c, n, records.periods(), recovered), parm, work, rows(c));
    if (value_of(over) != 0.0) work.penlty[1] = over;
    return chance * detail::walk_strata<Real>(records, facts, last, recovered, work, rows);
  }
  Stratum_table<Real>& table = *shared;
  if (!table.in_range)
    for (int c = facts.first; c <= last; ++c) over += table.charged[static_cast<std::size_t>(c)];
  if (value_of(over) != 0.0) work.penlty[1] = over;
  if (facts.sampling < 0) {
    if constexpr (detail::has_start<Family>)
      chance = Family::template starts<Real>(job, own, facts.first, start, parm, work);
    return chance * detail::walk_strata<Real>(records, facts, last, recovered, work, [&](int c) {
             return detail::rows_of<Real>(table.rates, n, c, table.made_from);
           });
  }
  if constexpr (detail::has_start<Family>)
    chance = detail::first_of<Family>(job, table, own, facts.first, start, parm, work);
  const std::size_t strata = static_cast<std::size_t>(n);
  int left = facts.first;
  for (int o = facts.first + 1; o <= facts.last_caught; ++o) {
    const int code = facts.codes[o - 1];
    if (code == 0 || code > n) continue;
    chance =
        chance * detail::start_of(records, table, left, facts.codes[left - 1], o, work)
                     .next[static_cast<std::size_t>(o - 1) * strata + static_cast<std::size_t>(code) - 1];
    left = o;
  }
  const int from = facts.codes[left - 1];
  if (recovered > 0)
    return chance * detail::start_of(records, table, left, from, recovered, work)
                        .recovered[static_cast<std::size_t>(recovered) - 1];
  if (lost) return chance;
  return chance *
         table.unmet[static_cast<std::size_t>(left - 1) * strata + static_cast<std::size_t>(from) - 1];
}

/// The logarithms of what histories of strata have in common between periods, added to `logs`. False where
/// some history may meet the floor of the logarithm, the range penalty or the penalty's kink.
/// @param lowest  the least that the logarithms of one history can come to is added
template <class Family, class Real>
bool count_strata(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                  std::vector<Counted_log<Real>>& logs, double& lowest) {
  const Stratum_records& records = prepared<Family>(work);
  const std::size_t strata = static_cast<std::size_t>(records.strata());
  double least = 0.0;
  const auto table_of = [&](const Stratum_count& shown) {
    return detail::stratum_table<Family>(job, static_cast<std::size_t>(shown.of_class), shown.sampling, parm,
                                         work);
  };
  for (const Stratum_count& shown : records.counts()) {
    Stratum_table<Real>* const shared = table_of(shown);
    if (shared == nullptr || !shared->in_range) return false;
    Stratum_table<Real>& table = *shared;
    const std::size_t from = static_cast<std::size_t>(shown.from) - 1;
    if (shown.next == 0) {
      const Real& unmet = table.unmet[static_cast<std::size_t>(shown.left - 1) * strata + from];
      if (!add_part(logs, shown.animals, unmet, shown.left > table.made_to, least)) return false;
      continue;
    }
    const auto& start = detail::start_of(records, table, shown.left, shown.from, shown.next, work);
    const Real& met = shown.to > 0 ? start.next[static_cast<std::size_t>(shown.next - 1) * strata +
                                                static_cast<std::size_t>(shown.to) - 1]
                                   : start.recovered[static_cast<std::size_t>(shown.next) - 1];
    if (!add_part(logs, shown.animals, met, false, least)) return false;
  }
  // So many parts a history has at the most.
  lowest += least * records.periods();
  if constexpr (detail::has_start<Family>) {
    least = 0.0;
    for (const Stratum_count& shown : records.first_counts()) {
      const Cohort_class& of = records.cohorts().classes()[static_cast<std::size_t>(shown.of_class)];
      const Stratum_place place =
          detail::place_of<Family>(records.row(of.first), of.group, shown.sampling, work);
      Stratum_table<Real>* const shared = table_of(shown);
      if (shared == nullptr) return false;
      if constexpr (charges_starts<Family>)
        if (value_of(Family::template start_charge<Real>(job, place, shown.left, parm, work)) != 0.0)
          return false;
      const Real& chance = detail::first_of<Family>(job, *shared, place, shown.left, shown.from, parm, work);
      if (!add_part(logs, shown.animals, chance, false, least)) return false;
    }
    lowest += least;
  }
  return true;
}

/// Families of strata whose histories can be counted derive from this: see `Cell_routines::counted`.
template <class Family>
struct Counts_strata {
  static std::vector<char> counted_records(const Stratum_records& records) { return records.counted(); }

  template <class Real>
  static bool counted(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::vector<Counted_log<Real>>& logs) {
    logs.clear();
    double lowest = 0.0;
    return count_strata<Family>(job, parm, work, logs, lowest) && clear_of_the_floor(lowest);
  }
};

/// Facts of `histry`: the prepared ones when it is record i's own cells, else computed into the work area.
template <class Family, class Real>
const Stratum_facts& stratum_facts(Cell_work<Real>& work, int i, History histry) {
  const Stratum_records& records = prepared<Family>(work);
  if (const Stratum_facts* own = records.find(i, histry)) return *own;
  Stratum_tables<Real>& room = kept<Family>(work);
  room.made_up_strata = records.made_up(histry, room.made_up_codes);
  return room.made_up_strata;
}

}  // namespace tarn
