#pragma once
// A deck run with an allocation that fails, handled as the program's main handles it.

#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "job/job.h"
#include "support/failing_new.h"

namespace tarn {

/// A deck with the options of the command line that matter here.
struct Fault_deck {
  std::string text;
  int threads = 1;
  bool results = false;  ///< a results file is asked for
};

/// How a run ended and what it left.
struct Fault_outcome {
  std::string stop;            ///< stop text
  bool out_of_memory = false;  ///< ended by std::bad_alloc
  std::string listing, screen;
  std::vector<int> open;  ///< files that were left open
  bool job_made = false;
};

/// One run of the deck with the fault.
Fault_outcome run_with_fault(const Fault_deck& deck, long n, Failing failing, Counted counted);

/// What the runs over all n have shown.
struct Fault_summary {
  long allocations = 0;                              ///< of a run without a fault
  long out_of_memory = 0, fatal = 0, completed = 0;  ///< ends of the runs
  std::set<std::string> words;  ///< "from memory allocation of ...", each with the system's text below it
};

/// Runs the deck with the n-th allocation failing, for n = 1, 2, ... until a run meets no fault (or n is
/// `last`), and checks every run: its end, its files, what it had written before, and that it gave back all
/// memory.
Fault_summary run_every_fault(const Fault_deck& deck, Failing failing, Counted counted,
                              long last = std::numeric_limits<long>::max());

}  // namespace tarn
