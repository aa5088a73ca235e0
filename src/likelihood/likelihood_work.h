#pragma once
// What the likelihood keeps for one model.

#include <algorithm>
#include <cfenv>
#include <chrono>
#include <memory>
#include <span>
#include <vector>

#include "data/datatype.h"
#include "likelihood/cell.h"
#include "likelihood/cell_classes.h"
#include "likelihood/history_sum.h"
#include "model/links.h"

namespace tarn {

/// Puts the floating-point conditions back at the end of its life: those of the dry run, which computes with
/// made-up numbers, are nobody's.
class Kept_floating_environment {
 public:
  Kept_floating_environment() { std::feholdexcept(&environment_); }
  Kept_floating_environment(const Kept_floating_environment&) = delete;
  Kept_floating_environment& operator=(const Kept_floating_environment&) = delete;
  ~Kept_floating_environment() { std::fesetenv(&environment_); }

 private:
  std::fenv_t environment_;
};

/// All that one thread writes during an evaluation. On cache lines of its own.
template <class Real>
struct alignas(128) Thread_area {
  Thread_area(const Stored_facts& facts, const Pim_table& pims) : cell(facts, pims) {}
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
/// which are serial: on a busy machine one of them may take long for no reason of its own.
struct Team {
  bool measured = false;
  bool parallel = false;
  int passes = 0;
  std::chrono::nanoseconds shortest = std::chrono::nanoseconds::max();

  void timed(std::chrono::nanoseconds pass) {
    constexpr std::chrono::microseconds worth_it{60}, beyond_doubt{1000};
    constexpr int passes_needed = 3;
    if (measured) return;
    shortest = std::min(shortest, pass);
    measured = ++passes == passes_needed || pass >= beyond_doubt;
    parallel = measured && shortest >= worth_it;
  }
};

struct Likelihood_work {
  explicit Likelihood_work(const Job& job) : facts(job.data.encounters), pims(job) {}

  Stored_facts facts;
  Pim_table pims;
  bool by_record = false;      ///< real parameters depend on the record
  bool serial_penalty = true;  ///< `num_threads` is 1: element 2 of `penlty` counts
  int threads = 1;
  Closed_form closed_form = Closed_form::none;
  std::vector<char> readable;  ///< per record and group: every matrix cell that the history reads is there
  Team plain_team, derivative_team;
  Thread_areas<double> plain;
  Thread_areas<Derivative> derivative;  ///< made when first asked for
  std::vector<Derivative> xbeta;
  std::vector<double> shifted;            ///< work vector of `funcg`
  std::unique_ptr<Cell_classes> classes;  ///< made when first asked for
  std::unique_ptr<Moved_classes> moved;
  std::vector<char> idle_classes;  ///< of the pass of derivatives in hand; empty: none
};

}  // namespace tarn
