#include "fault/fault_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <memory>
#include <new>

#include "job/procedures.h"
#include "job/services/fault.h"
#include "model/results/results_file.h"

namespace tarn {
namespace {

constexpr long no_fault = -1;
constexpr std::string_view words_of_allocation = "from memory allocation of ";

void open_job(Job& job, const Fault_deck& deck) {
  Status_module& status = job.status;
  status.maxlin = 0;  // no page headers, which would tell the time
  status.color_output = 0;
  status.osunix = 1;
  status.nullfile = "/dev/null";
  status.filres = testing::TempDir() + "tarn_fault.res";
  status.filvcm = testing::TempDir() + "tarn_fault.vcm";
  status.num_threads = status.num_max_threads = deck.threads;
  job.streams.open_memory(status.sysout);
  job.streams.open_memory(status.syscrn);
  job.streams.open_memory_input(status.sysin, deck.text);
  if (deck.results) job.streams.open_memory(status.sysjson);
}

/// The lines that say something and do not tell the time.
std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  for (std::size_t p = 0; p < text.size();) {
    const std::size_t end = std::min(text.find('\n', p), text.size());
    const std::string_view line = text.substr(p, end - p);
    const bool clock =
        line.find("Time") != std::string_view::npos || line.find("    Page ") != std::string_view::npos;
    if (line.find_first_not_of(' ') != std::string_view::npos && !clock) lines.push_back(line);
    p = end + 1;
  }
  return lines;
}

bool holds(std::string_view line, std::string_view text) { return line.find(text) != std::string_view::npos; }

/// What stood on the listing before the fault stands there still: up to the first line of a warning or of the
/// fatal end the listing is that of the run without a fault; its last line may be cut. Gives the first line
/// that is another one.
std::string_view change_of_head(const std::vector<std::string_view>& lines,
                                const std::vector<std::string_view>& whole) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i < whole.size() && lines[i] == whole[i]) continue;
    // The fatal end repeats the statement in hand before its message.
    if (holds(lines[i], "WARNING") || holds(lines[i], "ERROR -- ") || holds(lines[i], "INPUT ---")) return {};
    const bool cut = i + 1 == lines.size() && (i >= whole.size() || whole[i].starts_with(lines[i]));
    return cut ? std::string_view() : lines[i];
  }
  return {};
}

void collect_words(const std::vector<std::string_view>& lines, std::set<std::string>& words) {
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
    const std::size_t place = lines[i].find(words_of_allocation);
    if (place == std::string_view::npos) continue;
    if (holds(lines[i], "Error number 5020 ") && holds(lines[i + 1], "Insufficient virtual memory"))
      words.insert(std::string(lines[i].substr(place, lines[i].find_last_not_of(' ') + 1 - place)));
    else
      words.insert("not in the stated form: " + std::string(lines[i]) + " / " + std::string(lines[i + 1]));
  }
}

/// The tables of a run that went on after a warning hold what they hold without a fault. Gives the first line
/// that is a new one.
std::string_view change_of_results(const std::vector<std::string_view>& lines,
                                   const std::vector<std::string_view>& whole) {
  const std::set<std::string_view> known(whole.begin(), whole.end());
  for (const std::string_view line : lines)
    if (!known.contains(line) && !holds(line, "WARNING")) return line;
  return {};
}

}  // namespace

Fault_outcome run_with_fault(const Fault_deck& deck, long n, Failing failing, Counted counted) {
  Fault_outcome outcome;
  std::unique_ptr<Job> job;  // outlives the fault, so that what it wrote can be seen
  {
    std::feclearexcept(FE_ALL_EXCEPT);
    const Allocation_fault fault(n, failing, counted);
    try {
      job = std::make_unique<Job>();
      try {
        open_job(*job, deck);
        run_job(*job);
      } catch (const Stop& stop) {
        outcome.stop = stop.text;
      } catch (const std::bad_alloc&) {
        outcome.out_of_memory = true;
      }
      try {
        end_results(*job, outcome.stop);
      } catch (const std::bad_alloc&) {
        outcome.out_of_memory = true;
      }
      if (outcome.out_of_memory) job->streams.close_all();
    } catch (const std::bad_alloc&) {
      outcome.out_of_memory = true;
    }
  }
  if (job == nullptr) return outcome;
  outcome.job_made = true;
  const Status_module& status = job->status;
  for (const int number : {status.sysin, status.sysout, status.sysres, status.sysvcm})
    if (job->streams.is_open(number)) outcome.open.push_back(number);
  outcome.listing = job->streams.contents(status.sysout);
  outcome.screen = job->streams.contents(status.syscrn);
  return outcome;
}

Fault_summary run_every_fault(const Fault_deck& deck, Failing failing, Counted counted, long last) {
  Fault_summary summary;
  const Fault_outcome whole = run_with_fault(deck, no_fault, Failing::one, counted);
  summary.allocations = Allocation_fault::count();
  EXPECT_EQ(whole.stop, "NORMAL EXIT") << whole.listing;
  if (whole.stop != "NORMAL EXIT") return summary;
  const std::vector<std::string_view> whole_lines = lines_of(whole.listing);
  for (long n = 1; n <= last; ++n) {
    long live = live_allocations();
    bool met = false, sound = true;
    {
      const Fault_outcome outcome = run_with_fault(deck, n, failing, counted);
      met = Allocation_fault::count() >= n;
      const std::vector<std::string_view> lines = lines_of(outcome.listing);
      if (outcome.out_of_memory)
        ++summary.out_of_memory;
      else
        ++(outcome.stop == "NORMAL EXIT" ? summary.completed : summary.fatal);
      const long before_words = live_allocations();
      collect_words(lines, summary.words);
      live += live_allocations() - before_words;  // these the summary keeps
      const auto expect = [&](bool holds_good, const char* what) {
        sound = sound && holds_good;
        EXPECT_TRUE(holds_good) << what << "; allocation " << n << " failed, stop text \"" << outcome.stop
                                << "\", other lines: " << change_of_head(lines, whole_lines) << " / "
                                << change_of_results(lines, whole_lines);
      };
      expect(outcome.out_of_memory || outcome.stop == "NORMAL EXIT" || outcome.stop == "ERROR EXIT from TARN",
             "every run ends as the program ends");
      expect(outcome.open.empty(), "no file is left open");
      expect(change_of_head(lines, whole_lines).empty(), "what was written before stands");
      if (outcome.stop == "NORMAL EXIT")
        expect(change_of_results(lines, whole_lines).empty(), "a run that goes on gives the same results");
    }
    const long kept = live_allocations() - live;
    EXPECT_EQ(kept, 0) << "memory that was not given back; allocation " << n << " failed";
    if (!met || !sound || kept != 0) break;
  }
  return summary;
}

}  // namespace tarn
