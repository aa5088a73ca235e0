#pragma once
// What the likelihood keeps for one model.

#include <algorithm>
#include <chrono>
#include <memory>
#include <type_traits>
#include <vector>

#include "data/catalogue/datatype.h"
#include "likelihood/cell/cell.h"
#include "likelihood/cell_classes.h"
#include "likelihood/folded_records.h"
#include "likelihood/likelihood_point.h"
#include "likelihood/thread_area.h"

namespace tarn {

/// Whether a pass over the histories is worth a parallel region: one that takes less than some microseconds,
/// as with most small data sets, only loses by waking threads. Told by the shortest of the first passes,
/// which are serial: on a busy machine one of them may take long for no reason of its own. Such a machine can
/// also make a region many times dearer than the pass that it shares out, when a thread waits for a core. So
/// the region stays under judgement: a window of passes that took longer than serial ones do is followed by a
/// rest of serial passes, which are timed in their turn, and each rest that did not help is twice as long.
/// What a pass gives is the same either way.
struct Team {
  bool measured = false;
  bool parallel = false;
  bool resting = false;
  int passes = 0;  ///< in the window in hand
  int rest = shortest_rest;
  std::chrono::nanoseconds shortest = std::chrono::nanoseconds::max();
  std::chrono::nanoseconds spent{0};  ///< in the window in hand
  /// What a serial pass takes, from the last serial ones.
  std::chrono::nanoseconds serial = std::chrono::nanoseconds::max();

  static constexpr int trial = 16, shortest_rest = 64, longest_rest = 4096;

  void timed(std::chrono::nanoseconds pass) {
    if (!measured)
      first_passes(pass);
    else if (parallel || resting)
      later_passes(pass);
  }

 private:
  void first_passes(std::chrono::nanoseconds pass) {
    constexpr std::chrono::microseconds worth_it{60}, beyond_doubt{1000};
    constexpr int passes_needed = 3;
    shortest = std::min(shortest, pass);
    measured = ++passes == passes_needed || pass >= beyond_doubt;
    if (!measured) return;
    parallel = shortest >= worth_it;
    serial = shortest;
    passes = 0;
  }

  void later_passes(std::chrono::nanoseconds pass) {
    spent += pass;
    if (++passes < (parallel ? trial : rest)) return;
    const std::chrono::nanoseconds mean = spent / passes;
    if (resting) {
      serial = mean;
      rest = std::min(2 * rest, longest_rest);
      resting = false;
    } else if (mean > serial) {
      resting = true;
    } else {
      rest = shortest_rest;
    }
    parallel = !resting;
    passes = 0;
    spent = std::chrono::nanoseconds{0};
  }
};

/// Number of the blocks that derivatives are added up in: enough for many threads, and few enough that what a
/// block costs by itself does not show: memory for each real parameter, and where records share them tables
/// of its own.
inline int blocks_of_histories(int records, bool by_record) {
  return std::clamp(records / (by_record ? 64 : 256), 1, 16);
}

/// What passes with traced scalars over T work with; made when first asked for.
template <class T>
struct Traced_passes {
  Thread_areas<Traced<T>> areas;
  Team team;
  List<Real_adjoints<T>> blocks;  ///< by block of histories, the last one for the closed-form terms
  Real_adjoints<T> total;
  List<char> idle_classes;  ///< cells that have no part in the pass in hand; empty: none
};

/// What is kept for one model.
struct Likelihood_work {
  Likelihood_work(const Job& job, const Cell_routines& routines)
      : setting(job, routines), counts_all(setting.counts_all()) {}

  Cell_setting setting;
  bool counts_all = false;     ///< a family's counts stand for all records
  bool by_record = false;      ///< real parameters depend on the record
  bool serial_penalty = true;  ///< `num_threads` is 1: element 2 of `penlty` counts
  Closed_form closed_form = Closed_form::none;
  Folded_records folded;
  std::vector<char> readable;  ///< per record and group: every matrix cell that the history reads is there
  Team plain_team, moves_team, proposal_team;  ///< one for each kind of pass
  Thread_areas<double> plain;
  Traced_passes<double> traced;
  Traced_passes<Dual> traced_dual;
  std::vector<Dual> directions;           ///< the vector of the pass of second derivatives in hand
  std::vector<Dual> rows;                 ///< what it gives
  std::unique_ptr<Cell_classes> classes;  ///< made when first asked for
  std::unique_ptr<Moved_classes> moved;
  std::unique_ptr<Reach_sets> reach_sets;
  std::unique_ptr<Likelihood_point> point;  ///< see likelihood_point.h

  /// Where reals depend on the record: what gives those that its cells read, by reach set. Empty when there
  /// are too many sets to be worth their memory.
  List<Link_pass> record_passes;
  List<int> pass_of_set;
  const Link_pass& pass_of_record(int i) const {
    return record_passes.empty() ? plain[0]->reals.animal : record_passes(pass_of_set(reach_sets->of(i)));
  }
  /// Whether one pass serves neighbour after neighbour.
  bool neighbours() const { return record_passes.size() <= 1 && !folded.any(); }

  template <class Real>
  auto& areas() {
    if constexpr (std::is_same_v<Real, double>)
      return plain;
    else
      return passes<Base_of<Real>>().areas;
  }
  template <class T>
  Traced_passes<T>& passes() {
    if constexpr (std::is_same_v<T, double>)
      return traced;
    else
      return traced_dual;
  }
};

/// Work areas for `count` threads, where they are not there yet. One that no memory is left for is told of
/// and done without: the sum does not depend on the number of threads.
template <class Real>
void make_areas(Job& job, const Likelihood_work& work, int count, Thread_areas<Real>& areas);

}  // namespace tarn
