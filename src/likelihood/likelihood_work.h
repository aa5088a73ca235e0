#pragma once
// What the likelihood keeps for one model.

#include <algorithm>
#include <chrono>
#include <memory>
#include <span>
#include <vector>

#include "data/catalogue/datatype.h"
#include "likelihood/cell/cell.h"
#include "likelihood/cell_classes.h"
#include "likelihood/history_sum.h"
#include "likelihood/likelihood_point.h"
#include "model/structure/links.h"

namespace tarn {

/// All that one thread writes during an evaluation. On cache lines of its own.
template <class Real>
struct alignas(128) Thread_area {
  Thread_area(const Job& job, const Cell_setting& setting) : cell(job, setting) {}
  Cell_work<Real> cell;
  Real_work<Real> reals;
  History_sum<Real> sum;
  int flags = 0;  ///< floating-point conditions met in the region
  bool out_of_memory = false;
};

template <class Real>
using Thread_areas = std::vector<std::unique_ptr<Thread_area<Real>>>;

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

struct Likelihood_work {
  Likelihood_work(const Job& job, const Cell_routines& routines) : setting(job, routines) {}

  Cell_setting setting;
  bool by_record = false;      ///< real parameters depend on the record
  bool serial_penalty = true;  ///< `num_threads` is 1: element 2 of `penlty` counts
  int threads = 1;
  Closed_form closed_form = Closed_form::none;
  std::vector<char> readable;  ///< per record and group: every matrix cell that the history reads is there
  Team plain_team, gradient_team, proposal_team, derivative_team;  ///< one for each kind of pass
  Thread_areas<double> plain;
  Thread_areas<Derivative> derivative;  ///< made when first asked for
  std::vector<Derivative> xbeta;
  std::unique_ptr<Cell_classes> classes;  ///< made when first asked for
  std::unique_ptr<Moved_classes> moved;
  std::unique_ptr<Reach_sets> reach_sets;
  List<char> idle_classes;                  ///< of the pass of derivatives in hand; empty: none
  std::unique_ptr<Likelihood_point> point;  ///< see likelihood_point.h
};

}  // namespace tarn
