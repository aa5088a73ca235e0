#pragma once
// Animals whose state need not be known when they are met (Pradel 2005): a row of weights, one for each live
// state, and the weight of those that are dead or gone, carried through the intervals between periods. A
// period is an occasion, or a primary session.
//
//   weights v, dead z; interval c, and the period at its end, take them to
//       v' = ((v .* before) M) .* after
//       z' = 0 when the animal is met at the end, else v . dies, and z as well unless the interval shows life
//
// M shares out what survives; what a history shows gives the rest. The chance of a history is the sum of the
// weights at its end. Sorted histories share their beginnings, which are walked once, and derivatives are
// carried back along the same walk (Baum et al. 1970), so that neither is stored for more than one history.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "likelihood/blocks/counted_parts.h"
#include "likelihood/blocks/hidden_records.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/blocks/transitions.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// Where the rates of a history stand.
struct Hidden_place {
  int row = 1, group = 1;
  int i = 1;
  History histry;
  bool removed = false;  ///< what its last period holds behind the last capture counts as not sampled
};

/// What an interval does, whatever a history shows.
template <class Real>
struct Hidden_interval {
  std::span<Real> matrix;  ///< M, element (a, b) at a states + b
  std::span<Real> dies;    ///< chance of the end of life in it
};

/// What a history shows in an interval and at its end. To be filled by the family; `dies` and `before` come
/// filled with those of the interval and with 1.
template <class Real>
struct Hidden_shown {
  std::span<Real> before, after, dies;
  bool quiet = true;  ///< one that died before may have shown this
  bool met = false;   ///< at the end of the interval
  bool moves = true;  ///< there is a period at its end; else M and `after` are not looked at
};

/// Survival S_a and transitions Psi(a, b) of interval c, into M, and 1 - S_a. Gives the charge of over-full
/// rows.
/// @param time_interval  occasion behind which the interval stands
template <class Family, class Real>
Real survive_and_move(const Job& job, const Hidden_place& place, int c, int time_interval,
                      const Reals<Real>& parm, Cell_work<Real>& work, const Hidden_interval<Real>& rows) {
  const auto rate = rates_of<Family>(job, parm, work);
  const int n = static_cast<int>(rows.dies.size());
  Real over = 0.0;
  for (int a = 1; a <= n; ++a) {
    const Real s = rate.survival(work.matrix(Parameter::S, a, 1, place.group)(place.row, c), time_interval);
    rows.dies[static_cast<std::size_t>(a) - 1] = 1.0 - s;
    Real* const to = rows.matrix.data() + static_cast<std::size_t>((a - 1) * n);
    over += fill_transitions(a, n, place.row, c, place.group, parm, work, to);
    for (int b = 0; b < n; ++b) to[b] = s * to[b];
  }
  return over;
}

namespace detail {

/// Numbers of a table, those beneath them, and the derivatives of the result by them.
template <class Real>
class Hidden_numbers {
 public:
  using T = Base_of<Real>;
  std::span<Real> room(std::size_t size) {
    reals_.assign(size, Real(0.0));
    return reals_;
  }
  void settle() {
    if constexpr (Scalar_traits<Real>::traced) {
      values_.resize(reals_.size());
      for (std::size_t k = 0; k < reals_.size(); ++k) values_[k] = reals_[k].v;
      adjoints_.assign(reals_.size(), T(0.0));
    }
  }
  const Real* reals() const { return reals_.data(); }
  const T* values() const {
    if constexpr (Scalar_traits<Real>::traced)
      return values_.data();
    else
      return reals_.data();
  }
  T* adjoints() { return adjoints_.data(); }
  /// Hands the derivatives on to what the numbers were computed from.
  void hand_on() {
    for (std::size_t k = 0; k < adjoints_.size(); ++k) add_to_result(reals_[k], adjoints_[k]);
  }

 private:
  std::vector<Real> reals_;
  std::vector<T> values_, adjoints_;
};

/// A number that is 0 whatever the reals are, or, where derivatives are not asked for, that is 0.
template <class Real>
bool adds_nothing(const Real& x) {
  if constexpr (Scalar_traits<Real>::traced)
    return value_of(x) == 0.0 && x.step == nullptr;
  else
    return value_of(x) == 0.0;
}

/// Which elements of an array may be above 0.
template <class Real>
void find_places_that_count(const Real* first, std::size_t count, std::vector<unsigned char>& places) {
  places.clear();
  places.reserve(count);  // once: a warm table takes no memory
  for (std::size_t k = 0; k < count; ++k)
    if (!adds_nothing(first[k])) places.push_back(static_cast<unsigned char>(k));
}

}  // namespace detail

/// What a class of histories has in common in one interval.
template <class Real>
struct Hidden_interval_table {
  std::uint64_t made_for = 0;
  detail::Hidden_numbers<Real> numbers;  ///< M, then `dies`
  Real over = 0.0;
};

/// The same with what is shown.
template <class Real>
struct Hidden_shown_table {
  std::uint64_t made_for = 0;
  detail::Hidden_numbers<Real> numbers;  ///< before, after, dies
  Real over = 0.0;
  bool quiet = true, met = false, moves = true;
  std::vector<unsigned char> states;  ///< those possible at the end
};

/// The weights of histories that begin alike.
template <class Real>
struct Hidden_start_table {
  std::uint64_t made_for = 0;
  detail::Hidden_numbers<Real> numbers;
  Real over = 0.0;
  std::vector<unsigned char> states;
};

/// Chances of what shows nothing more, by state.
template <class Real>
struct Hidden_tail_table {
  std::uint64_t made_for = 0;
  bool over_full = false;  ///< a row in it
  std::vector<Base_of<Real>> values, adjoints;
};

/// The walk in hand: weights of every step, and the derivatives by them.
template <class T>
struct Hidden_walk {
  struct Step {
    std::vector<T> v, u, by_v;
    T z = 0.0, by_z = 0.0;
    int c = 0, shown = 0;
    const std::vector<unsigned char>* states = nullptr;
  };
  std::vector<Step> steps;
  std::vector<T> by_u;
};

/// What families of hidden states keep.
template <class Real>
struct Hidden_tables {
  std::vector<Hidden_interval_table<Real>> intervals;  ///< by class, interval
  std::vector<Hidden_shown_table<Real>> shown;         ///< by class, number of what is shown
  std::vector<Hidden_start_table<Real>> starts;        ///< by class, number of the start
  std::vector<Hidden_tail_table<Real>> tails;          ///< by class, number of the tail
  Hidden_walk<Base_of<Real>> walk;
  Hidden_facts made_up_facts;
};
template <class Real>
struct Hidden_kept : Hidden_tables<Real> {
  Power_memo powers;
};

namespace detail {

/// One step: u = ((v .* before) M) and v' = u .* after, over the states that count before and at the end.
template <class S>
void step_of_states(std::size_t n, const S* v, const State_set& states, const S* before, const S* matrix,
                    const S* after, const State_set& next_states, S* u, S* next) {
  // What goes into the interval stands in `next` for the time being.
  for (std::size_t a = 0; a < n; ++a) next[a] = v[a] * before[a];
  carry<S>(n, next, states, matrix, next_states, u);
  // Where a state does not count u is 0.
  for (std::size_t b = 0; b < n; ++b) next[b] = u[b] * after[b];
}

/// The weight of the dead behind a step.
template <class S>
S dead_behind(std::size_t n, const S* v, const S& z, const S* dies, bool quiet, bool met) {
  if (met) return 0.0;
  S sum = quiet ? z : S(0.0);
  for (std::size_t a = 0; a < n; ++a) sum = sum + v[a] * dies[a];
  return sum;
}

template <class S>
S sum_of(const S* v, std::size_t n) {
  S sum = 0.0;
  for (std::size_t a = 0; a < n; ++a) sum = sum + v[a];
  return sum;
}

/// Fills what is shown; the spans of `shown` lie behind one another.
template <class Family, class Real>
Real fill_shown(const Job& job, const Hidden_place& place, int c, const Real* interval_dies,
                const Reals<Real>& parm, Cell_work<Real>& work, Hidden_shown<Real>& shown) {
  std::fill(shown.before.begin(), shown.before.end(), Real(1.0));
  std::fill(shown.after.begin(), shown.after.end(), Real(1.0));
  std::copy_n(interval_dies, shown.dies.size(), shown.dies.begin());
  return Family::template shown<Real>(job, place, c, parm, work, shown);
}

template <class Family, class Real>
Hidden_place hidden_place(const Hidden_example& example, int row, int group, const Cell_work<Real>& work) {
  return {row, group, example.record, prepared<Family>(work).history(example.record), example.removed};
}

template <class Family, class Real>
const Hidden_interval_table<Real>& interval_table(const Job& job, int k, int c, const Reals<Real>& parm,
                                                  Cell_work<Real>& work) {
  const Hidden_records& records = prepared<Family>(work);
  auto& own = kept<Family>(work);
  const std::size_t n = static_cast<std::size_t>(records.states());
  if (own.intervals.empty())
    own.intervals.resize(records.classes().size() * static_cast<std::size_t>(records.periods()));
  auto& table = own.intervals[static_cast<std::size_t>(k * records.periods() + c - 1)];
  if (table.made_for != parm.stamp()) [[unlikely]] {
    const auto keep = work.trace.keep();
    const Cohort_class& of = records.classes()[static_cast<std::size_t>(k)];
    const std::span<Real> room = table.numbers.room(n * n + n);
    const Hidden_place place{records.row(of.first), of.group, 1, History(), false};
    table.over = Family::template moves<Real>(
        job, place, c, parm, work, Hidden_interval<Real>{room.subspan(0, n * n), room.subspan(n * n, n)});
    table.numbers.settle();
    table.made_for = parm.stamp();
  }
  return table;
}

template <class Family, class Real>
const Hidden_shown_table<Real>& shown_table(const Job& job, int k, int number, const Reals<Real>& parm,
                                            Cell_work<Real>& work) {
  const Hidden_records& records = prepared<Family>(work);
  auto& own = kept<Family>(work);
  const std::size_t n = static_cast<std::size_t>(records.states());
  if (own.shown.empty()) own.shown.resize(records.classes().size() * records.shown().size());
  auto& table =
      own.shown[static_cast<std::size_t>(k) * records.shown().size() + static_cast<std::size_t>(number)];
  if (table.made_for != parm.stamp()) [[unlikely]] {
    const Hidden_example& example = records.shown()[static_cast<std::size_t>(number)];
    const Cohort_class& of = records.classes()[static_cast<std::size_t>(k)];
    const Real* const dies = interval_table<Family>(job, k, example.c, parm, work).numbers.reals() + n * n;
    const auto keep = work.trace.keep();
    const std::span<Real> room = table.numbers.room(3 * n);
    Hidden_shown<Real> shown{room.subspan(0, n), room.subspan(n, n), room.subspan(2 * n, n)};
    table.over = fill_shown<Family>(job, hidden_place<Family>(example, records.row(of.first), of.group, work),
                                    example.c, dies, parm, work, shown);
    table.quiet = shown.quiet;
    table.met = shown.met;
    table.moves = shown.moves;
    find_places_that_count(shown.moves ? shown.after.data() : shown.before.data(), n, table.states);
    table.numbers.settle();
    table.made_for = parm.stamp();
  }
  return table;
}

template <class Family, class Real>
const Hidden_start_table<Real>& start_table(const Job& job, int k, int number, const Reals<Real>& parm,
                                            Cell_work<Real>& work) {
  const Hidden_records& records = prepared<Family>(work);
  auto& own = kept<Family>(work);
  if (own.starts.empty()) own.starts.resize(records.classes().size() * records.starts().size());
  auto& table =
      own.starts[static_cast<std::size_t>(k) * records.starts().size() + static_cast<std::size_t>(number)];
  if (table.made_for != parm.stamp()) [[unlikely]] {
    const auto keep = work.trace.keep();
    const Hidden_example& example = records.starts()[static_cast<std::size_t>(number)];
    const int group = records.classes()[static_cast<std::size_t>(k)].group;
    const std::span<Real> room = table.numbers.room(static_cast<std::size_t>(records.states()));
    table.over = Family::template starts<Real>(
        job, hidden_place<Family>(example, records.row(example.c), group, work), example.c, parm, work, room);
    find_places_that_count(room.data(), room.size(), table.states);
    table.numbers.settle();
    table.made_for = parm.stamp();
  }
  return table;
}

/// A tail, which is number `number` from 0; -1 is the end, behind which everything is certain.
template <class Family, class Real>
const Hidden_tail_table<Real>& tail_table(const Job& job, int k, int number, const Reals<Real>& parm,
                                          Cell_work<Real>& work) {
  using T = Base_of<Real>;
  const Hidden_records& records = prepared<Family>(work);
  auto& own = kept<Family>(work);
  const std::size_t n = static_cast<std::size_t>(records.states());
  // The end stands behind all others.
  if (own.tails.empty()) own.tails.resize(records.classes().size() * (records.tails().size() + 1));
  const std::size_t each = records.tails().size() + 1;
  const std::size_t place = number < 0 ? each - 1 : static_cast<std::size_t>(number);
  auto& table = own.tails[static_cast<std::size_t>(k) * each + place];
  if (table.made_for == parm.stamp()) return table;
  table.over_full = false;
  table.values.assign(n, T(1.0));
  table.adjoints.assign(n, T(0.0));
  if (number >= 0) {
    const Hidden_tail& tail = records.tails()[place];
    const auto& behind = tail_table<Family>(job, k, tail.next, parm, work);
    const T* const next = behind.values.data();
    const auto& shown = shown_table<Family>(job, k, tail.shown, parm, work);
    const auto& interval = interval_table<Family>(job, k, tail.c, parm, work);
    const T* const before = shown.numbers.values();
    const T *const after = before + n, *const dies = after + n;
    const T* const matrix = interval.numbers.values();
    table.over_full = behind.over_full || value_of(shown.over) != 0.0 || value_of(interval.over) != 0.0;
    for (std::size_t a = 0; a < n; ++a) {
      T lives = shown.moves ? 0.0 : 1.0;
      for (std::size_t b = 0; shown.moves && b < n; ++b)
        lives = lives + matrix[a * n + b] * (after[b] * next[b]);
      table.values[a] = dies[a] + before[a] * lives;
    }
  }
  table.made_for = parm.stamp();
  return table;
}

/// The walk over sorted histories of one evaluation.
template <class Family, class Real>
class Sorted_walk {
  using T = Base_of<Real>;
  static constexpr bool traced = Scalar_traits<Real>::traced;

 public:
  Sorted_walk(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work)
      : job_(job),
        parm_(parm),
        work_(work),
        records_(prepared<Family>(work)),
        own_(kept<Family>(work)),
        n_(static_cast<std::size_t>(records_.states())) {
    auto& walk = own_.walk;
    if (walk.steps.size() < static_cast<std::size_t>(records_.periods()) + 1) {
      walk.steps.resize(static_cast<std::size_t>(records_.periods()) + 1);
      for (auto& step : walk.steps) step.v.resize(n_), step.u.resize(n_), step.by_v.resize(n_);
      walk.by_u.resize(n_);
    }
  }

  /// Chance of the leaf; `depth` steps are what it has in common with the one before it.
  T chance(const Hidden_leaf& leaf) {
    back_to(leaf.shared);
    class_ = leaf.of_class;
    if (depth_ < 0) begin(leaf);
    while (depth_ < leaf.count) forward(records_.steps_of(leaf)[depth_]);
    const auto& last = own_.walk.steps[static_cast<std::size_t>(depth_)];
    T sum = last.z;
    tail_ = nullptr;
    if (!leaf.ends) {
      const auto& tail = tail_table<Family>(job_, class_, leaf.tail, parm_, work_);
      tail_ = tail.values.data();
      over_full_ = over_full_ || tail.over_full;
    }
    for (const unsigned char a : *last.states)
      sum = sum + (tail_ == nullptr ? last.v[a] : last.v[a] * tail_[a]);
    return sum;
  }
  /// The derivative of the result by the chance of the leaf in hand.
  void back_from(const Hidden_leaf& leaf, const T& by_chance) {
    auto& last = own_.walk.steps[static_cast<std::size_t>(depth_)];
    last.by_z += by_chance;
    T* by_tail = nullptr;
    if (tail_ != nullptr) by_tail = tail_adjoints(leaf.tail);
    for (const unsigned char a : *last.states) {
      if (tail_ == nullptr) {
        last.by_v[a] += by_chance;
      } else {
        last.by_v[a] += by_chance * tail_[a];
        by_tail[a] += by_chance * last.v[a];
      }
    }
  }
  /// Behind the last leaf.
  void end() { back_to(-1); }
  /// Hands all derivatives on to what the tables were computed from.
  void hand_on() {
    for (std::size_t k = 0; k < records_.classes().size(); ++k) tails_back(static_cast<int>(k));
    const auto hand_on = [&](auto& tables) {
      for (auto& table : tables)
        if (table.made_for == parm_.stamp()) table.numbers.hand_on();
    };
    hand_on(own_.shown);
    hand_on(own_.intervals);
    hand_on(own_.starts);
  }
  /// Whether a row was over-full in anything that was read.
  bool over_full() const { return over_full_; }

 private:
  void begin(const Hidden_leaf& leaf) {
    depth_ = 0;
    auto& step = own_.walk.steps[0];
    const auto& start = start_table<Family>(job_, class_, leaf.start, parm_, work_);
    see(start.over);
    std::copy_n(start.numbers.values(), n_, step.v.begin());
    step.z = 0.0;
    step.states = &start.states;
    step.shown = leaf.start;
    clear(step);
  }

  void forward(int number) {
    const auto& from = own_.walk.steps[static_cast<std::size_t>(depth_)];
    auto& to = own_.walk.steps[static_cast<std::size_t>(++depth_)];
    const auto& shown = shown_table<Family>(job_, class_, number, parm_, work_);
    to.c = records_.shown()[static_cast<std::size_t>(number)].c;
    to.shown = number;
    const auto& interval = interval_table<Family>(job_, class_, to.c, parm_, work_);
    see(shown.over);
    see(interval.over);
    const T* const before = shown.numbers.values();
    if (shown.moves) {
      step_of_states<T>(n_, from.v.data(), State_set::of(*from.states), before, interval.numbers.values(),
                        before + n_, State_set::of(shown.states), to.u.data(), to.v.data());
      to.states = &shown.states;
    } else {
      for (std::size_t a = 0; a < n_; ++a) to.v[a] = from.v[a] * before[a];
      to.states = from.states;
    }
    to.z = dead_behind<T>(n_, from.v.data(), from.z, before + 2 * n_, shown.quiet, shown.met);
    clear(to);
  }

  void clear(typename Hidden_walk<T>::Step& step) {
    if constexpr (traced) {
      std::fill(step.by_v.begin(), step.by_v.end(), T(0.0));
      step.by_z = 0.0;
    }
  }
  void see(const Real& over) { over_full_ = over_full_ || value_of(over) != 0.0; }

  void back_to(int depth) {
    if constexpr (traced)
      for (; depth_ > depth && depth_ >= 0; --depth_) step_back();
    depth_ = std::min(depth_, depth);
  }

  void step_back() {
    auto& steps = own_.walk.steps;
    auto& to = steps[static_cast<std::size_t>(depth_)];
    if (depth_ == 0) {
      auto& start = own_.starts[static_cast<std::size_t>(class_) * records_.starts().size() +
                                static_cast<std::size_t>(to.shown)];
      for (const unsigned char a : *to.states) start.numbers.adjoints()[a] += to.by_v[a];
      return;
    }
    auto& from = steps[static_cast<std::size_t>(depth_) - 1];
    auto& shown = own_.shown[static_cast<std::size_t>(class_) * records_.shown().size() +
                             static_cast<std::size_t>(to.shown)];
    auto& interval = own_.intervals[static_cast<std::size_t>(class_ * records_.periods() + to.c - 1)];
    const T* const before = shown.numbers.values();
    T* const by_before = shown.numbers.adjoints();
    if (shown.moves) {
      const T* const after = before + n_;
      T* const by_u = own_.walk.by_u.data();
      for (const unsigned char b : *to.states) {
        by_before[n_ + b] += to.by_v[b] * to.u[b];
        by_u[b] = to.by_v[b] * after[b];
      }
      const T* const matrix = interval.numbers.values();
      T* const by_matrix = interval.numbers.adjoints();
      for (const unsigned char a : *from.states) {
        const T x = from.v[a] * before[a];
        T by_x = 0.0;
        for (const unsigned char b : *to.states) {
          by_matrix[a * n_ + b] += x * by_u[b];
          by_x += matrix[a * n_ + b] * by_u[b];
        }
        from.by_v[a] += by_x * before[a];
        by_before[a] += by_x * from.v[a];
      }
    } else {
      for (const unsigned char a : *from.states) {
        from.by_v[a] += to.by_v[a] * before[a];
        by_before[a] += to.by_v[a] * from.v[a];
      }
    }
    if (shown.met) return;
    const T* const dies = before + 2 * n_;
    for (const unsigned char a : *from.states) {
      from.by_v[a] += to.by_z * dies[a];
      by_before[2 * n_ + a] += to.by_z * from.v[a];
    }
    if (shown.quiet) from.by_z += to.by_z;
  }

  T* tail_adjoints(int number) {
    const std::size_t each = records_.tails().size() + 1;
    return own_
        .tails[static_cast<std::size_t>(class_) * each +
               (number < 0 ? each - 1 : static_cast<std::size_t>(number))]
        .adjoints.data();
  }

  /// A tail stands behind the one that it goes on with.
  void tails_back(int k) {
    if (own_.tails.empty()) return;
    class_ = k;
    for (int number = static_cast<int>(records_.tails().size()) - 1; number >= 0; --number) {
      auto& table = own_.tails[static_cast<std::size_t>(k) * (records_.tails().size() + 1) +
                               static_cast<std::size_t>(number)];
      if (table.made_for != parm_.stamp()) continue;
      const Hidden_tail& tail = records_.tails()[static_cast<std::size_t>(number)];
      const T* const next = tail_table<Family>(job_, k, tail.next, parm_, work_).values.data();
      T* const by_next = tail_adjoints(tail.next);
      auto& shown = own_.shown[static_cast<std::size_t>(k) * records_.shown().size() +
                               static_cast<std::size_t>(tail.shown)];
      auto& interval = own_.intervals[static_cast<std::size_t>(k * records_.periods() + tail.c - 1)];
      const T* const before = shown.numbers.values();
      const T *const after = before + n_, *const matrix = interval.numbers.values();
      T* const by_before = shown.numbers.adjoints();
      T* const by_matrix = interval.numbers.adjoints();
      for (std::size_t a = 0; a < n_; ++a) {
        const T by = table.adjoints[a];
        if (is_nothing(by)) continue;
        by_before[2 * n_ + a] += by;
        if (!shown.moves) {
          by_before[a] += by;
          continue;
        }
        T lives = 0.0;
        for (std::size_t b = 0; b < n_; ++b) {
          const T seen = after[b] * next[b];
          lives += matrix[a * n_ + b] * seen;
          by_matrix[a * n_ + b] += by * before[a] * seen;
          const T by_seen = by * before[a] * matrix[a * n_ + b];
          by_before[n_ + b] += by_seen * next[b];
          by_next[b] += by_seen * after[b];
        }
        by_before[a] += by * lives;
      }
    }
  }

  const Job& job_;
  const Reals<Real>& parm_;
  Cell_work<Real>& work_;
  const Hidden_records& records_;
  Hidden_tables<Real>& own_;
  std::size_t n_;
  int depth_ = -1, class_ = 0;
  const T* tail_ = nullptr;
  bool over_full_ = false;
};

}  // namespace detail

/// Probability of a history in group j, and in `work.penlty` the charge of over-full rows. The family's
/// `Prepared` is a `Hidden_records`, its `Kept` a `Hidden_tables` with a `Power_memo powers`; it has
///   starts(job, place, first, parm, work, v)       weights in the first period, given what is shown there
///   moves(job, place, c, parm, work, interval)     M and `dies` of interval c; it must not look at a history
///   shown(job, place, c, parm, work, shown)        what the history of the place shows in it and at its end
/// each of which gives the charge of rows that are over-full, or 0.
template <class Family, class Real>
Real hidden_history(const Job& job, const Hidden_facts& facts, History histry, int i, bool lost, int j,
                    const Reals<Real>& parm, Cell_work<Real>& work) {
  const Hidden_records& records = prepared<Family>(work);
  const std::size_t n = static_cast<std::size_t>(records.states());
  const int k = parm.stamp() != 0 ? records.class_of(j, facts.first) : -1;
  std::span<Real> v = work.take(n), next = work.take(n), u = work.take(n);
  Real over = 0.0, z = 0.0;
  const auto step = [&](const Real* matrix, const Real* before, bool quiet, bool met, bool moves) {
    const Real *const after = before + n, *const dies = after + n;
    z = detail::dead_behind<Real>(n, v.data(), z, dies, quiet, met);
    if (moves)
      detail::step_of_states<Real>(n, v.data(), State_set::all(n), before, matrix, after, State_set::all(n),
                                   u.data(), next.data());
    else
      for (std::size_t a = 0; a < n; ++a) next[a] = v[a] * before[a];
    std::swap(v, next);
  };
  if (const Hidden_path* path = k >= 0 ? records.path(i, histry, lost) : nullptr) {
    const auto& start = detail::start_table<Family>(job, k, path->start, parm, work);
    std::copy_n(start.numbers.reals(), n, v.begin());
    over = start.over;
    const auto show = [&](int c, int number) {
      const auto& shown = detail::shown_table<Family>(job, k, number, parm, work);
      const auto& interval = detail::interval_table<Family>(job, k, c, parm, work);
      over += interval.over;
      over += shown.over;
      step(interval.numbers.reals(), shown.numbers.reals(), shown.quiet, shown.met, shown.moves);
    };
    const int* const steps = records.steps_of(*path);
    for (int s = 0; s < path->count; ++s) show(facts.first + s, steps[s]);
    for (int t = path->tail; t >= 0; t = records.tails()[static_cast<std::size_t>(t)].next) {
      const Hidden_tail& tail = records.tails()[static_cast<std::size_t>(t)];
      show(tail.c, tail.shown);
    }
  } else {
    const Hidden_place place{records.row(facts.first), j, i, histry, lost};
    over = Family::template starts<Real>(job, place, facts.first, parm, work, v);
    const std::span<Real> room = work.take(n * n + n), shows = work.take(3 * n);
    const int last = records.last_interval(facts, lost);
    for (int c = facts.first; c <= last; ++c) {
      const Real* matrix = room.data();
      if (k >= 0) {
        const auto& table = detail::interval_table<Family>(job, k, c, parm, work);
        matrix = table.numbers.reals();
        over += table.over;
      } else {
        over += Family::template moves<Real>(
            job, place, c, parm, work, Hidden_interval<Real>{room.subspan(0, n * n), room.subspan(n * n, n)});
      }
      Hidden_shown<Real> shown{shows.subspan(0, n), shows.subspan(n, n), shows.subspan(2 * n, n)};
      over += detail::fill_shown<Family>(job, place, c, matrix + n * n, parm, work, shown);
      step(matrix, shows.data(), shown.quiet, shown.met, shown.moves);
    }
  }
  if (value_of(over) != 0.0) work.penlty[1] = over;
  return detail::sum_of<Real>(v.data(), n) + z;
}

/// Facts of `histry`: the prepared ones when it is record i's own cells, else computed into the work area.
template <class Family, class Real>
const Hidden_facts& hidden_facts(Cell_work<Real>& work, int i, History histry) {
  const Hidden_records& records = prepared<Family>(work);
  if (const Hidden_facts* own = records.find(i, histry)) return *own;
  Hidden_tables<Real>& room = kept<Family>(work);
  room.made_up_facts = records.facts_of(histry);
  return room.made_up_facts;
}

/// The cell of a record; `invalid` is the fault of one without a capture.
template <class Family, class Real>
Ch_result<Real> hidden_cell(const Job& job, History histry, int i, int j, bool lost, const Reals<Real>& parm,
                            Cell_work<Real>& work, std::string_view invalid) {
  const Hidden_facts& facts = hidden_facts<Family>(work, i, histry);
  if (facts.first == 0) {
    work.fail(i, invalid);
    return Ch_result<Real>::floor();
  }
  return Ch_result<Real>::from(hidden_history<Family>(job, facts, histry, i, lost, j, parm, work));
}

/// Families of hidden states derive from this: see `Cell_routines::counted`. Histories are told apart once
/// for a model; at each evaluation they are walked as they are sorted.
template <class Family>
struct Counts_hidden {
  static std::vector<char> counted_records(const Hidden_records& records) { return records.counted(); }

  template <class Real>
  static bool counted(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::vector<Counted_log<Real>>& logs) {
    using T = Base_of<Real>;
    logs.clear();
    const Hidden_records& records = prepared<Family>(work);
    detail::Sorted_walk<Family, Real> walk(job, parm, work);
    // Derivatives go along the walk, so the logarithm itself has none.
    const auto log_of = [](const T& chance) -> Real {
      if constexpr (Scalar_traits<Real>::traced)
        return {log(chance), T(0.0), nullptr};
      else
        return log(chance);
    };
    double least = 0.0;
    for (const Hidden_leaf& leaf : records.leaves()) {
      const T chance = walk.chance(leaf);
      const double value = value_of(chance);
      if (!(value > 0.0 && (value < 1.0 || (value == 1.0 && leaf.certain)))) return false;
      logs.push_back({leaf.animals, log_of(chance)});
      least = std::min(least, value_of(logs.back().log));
      if constexpr (Scalar_traits<Real>::traced) walk.back_from(leaf, leaf.animals / chance);
    }
    walk.end();
    if (walk.over_full() || !clear_of_the_floor(least)) return false;
    if constexpr (Scalar_traits<Real>::traced) walk.hand_on();
    return true;
  }
};

}  // namespace tarn
