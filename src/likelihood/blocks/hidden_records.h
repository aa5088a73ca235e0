#pragma once
// Histories of animals whose state need not be known, told apart: what they show, interval by interval, where
// they begin alike and where they end alike. No parameter changes it. Sites whose state need not be known
// when they are surveyed are told apart in the same way.

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "data/catalogue/encounter.h"
#include "job/job.h"
#include "likelihood/blocks/cohort_classes.h"

namespace tarn {

/// What a family of hidden states follows.
struct Hidden_study {
  bool two_characters = false;  ///< second characters tell of intervals; one stands behind the last period
  bool sessions = false;        ///< periods are primary sessions
  bool whole_study = false;     ///< rates stand in row 1; all that was sampled counts at the start
  bool certain_start = false;   ///< the first capture has no chance of its own
  bool sites =
      false;       ///< sites of closed seasons: they take part from the first period on, and a loss is none
  int states = 0;  ///< 0: as many as there are strata
  /// Whether a second character ends a history.
  std::function<bool(char)> ends = [](char) { return false; };
};

/// Periods of a history; 0: none.
struct Hidden_facts {
  int first = 0, last_caught = 0;  ///< first and last capture
  int last_met = 0;                ///< last interval or period, less 1, in which anything was met
  int last_sampled = 0;
  int ended = 0;  ///< interval that ended it
};

/// A record that shows something, in interval c; of a start c is the first period.
struct Hidden_example {
  int c = 0, record = 0;
  bool removed = false;  ///< the last period as of animals lost on capture
};

/// Interval c shows `shown`, in which nothing is met, and tail `next`, or the end (-1), follows.
struct Hidden_tail {
  int c = 0, shown = 0, next = -1;
};

/// What a history shows: its start, steps and tail.
struct Hidden_path {
  int start = -1;         ///< -1: it is not told apart
  std::size_t steps = 0;  ///< place of the first of its steps
  int count = 0;          ///< steps, one for each interval from the first period on
  int tail = -1;          ///< behind the steps; -1: none
  bool ends = false;      ///< nothing counts behind the steps
};

/// Animals with one history in one class of cohorts.
struct Hidden_leaf : Hidden_path {
  int of_class = 0;
  bool certain = false;  ///< nothing makes its chance less than 1
  int shared = -1;       ///< steps that it has in common with the leaf before it; -1: not even the start
  double animals = 0.0;
};

class Hidden_records {
 public:
  /// May throw std::bad_alloc.
  Hidden_records(const Job& job, Hidden_study study);

  const Hidden_facts* find(int i, History histry) const {
    const auto record = static_cast<std::size_t>(i) - 1;
    const bool own = record < facts_.size() && histry.cells() == cells_ + record * stride_;
    return own ? facts_.data() + record : nullptr;
  }
  Hidden_facts facts_of(History histry) const;
  History history(int i) const {
    return {cells_ + static_cast<std::size_t>(i - 1) * stride_, static_cast<int>(stride_ / 2)};
  }

  int states() const { return states_; }
  int periods() const { return static_cast<int>(ends_.size()); }
  /// Row of the matrices for a first capture in this period.
  int row(int first) const { return study_.whole_study ? 1 : first; }
  /// First and last occasion of a period; behind the last one stands the interval of its number.
  int first_occasion(int period) const { return period == 1 ? 1 : last_occasion(period - 1) + 1; }
  int last_occasion(int period) const { return ends_[static_cast<std::size_t>(period) - 1]; }
  /// Last interval that counts for an animal.
  int last_interval(const Hidden_facts& facts, bool lost) const;

  /// The classes of cohorts with animals, and the class (from 0) of the cohort of group j with this first
  /// capture; -1 where real parameters are not shared.
  const std::vector<Cohort_class>& classes() const { return classes_; }
  int class_of(int j, int first) const {
    return class_at_.empty() ? -1 : class_at_[static_cast<std::size_t>((j - 1) * periods() + first - 1)];
  }

  const std::vector<Hidden_example>& starts() const { return starts_; }
  const std::vector<Hidden_example>& shown() const { return shown_; }
  /// The end of a tail stands ahead of it.
  const std::vector<Hidden_tail>& tails() const { return tails_; }
  /// Sorted, so that neighbours begin alike.
  const std::vector<Hidden_leaf>& leaves() const { return leaves_; }
  const int* steps_of(const Hidden_path& path) const { return steps_.data() + path.steps; }
  /// What record i shows, released or lost, when `histry` is its own cells and it is told apart; else
  /// nullptr.
  const Hidden_path* path(int i, History histry, bool lost) const {
    if (paths_.empty() || find(i, histry) == nullptr) return nullptr;
    const Hidden_path& own = paths_[2 * (static_cast<std::size_t>(i) - 1) + (lost ? 1 : 0)];
    return own.start < 0 ? nullptr : &own;
  }
  /// By record: 1 where the leaves stand for it; empty where real parameters are not shared.
  const std::vector<char>& counted() const { return counted_; }

 private:
  struct Numbers;
  void find_classes(const Job& job);
  void find_leaves(const Job& job);
  Hidden_path path_of(int i, bool lost, bool to_the_end, Numbers& numbers);
  int shown_by(int i, int c, int last_counted, bool removed, Numbers& numbers);
  int tail_of(int i, int from, int to, Numbers& numbers);
  void sort_leaves();
  std::string cells_text(History histry, int period, int last_counted) const;
  Hidden_facts facts_of_site(History histry) const;
  bool seasons_repeat() const;

  Hidden_study study_;
  int states_ = 0;
  std::vector<int> ends_;  ///< last occasion of each period
  const char* cells_ = nullptr;
  std::size_t stride_ = 0;
  std::vector<Hidden_facts> facts_;
  std::vector<int> class_at_;
  std::vector<Cohort_class> classes_;
  std::vector<Hidden_example> starts_, shown_;
  std::vector<Hidden_tail> tails_;
  std::vector<Hidden_path> paths_;  ///< by record, released and lost
  std::vector<Hidden_leaf> leaves_;
  std::vector<int> steps_;
  std::vector<char> counted_;
};

}  // namespace tarn
