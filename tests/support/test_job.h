#pragma once
// A job whose deck, listing and screen live in memory.

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "job/job.h"
#include "job/services/fault.h"
#include "job/services/statement.h"

namespace tarn {

/// `Test_job t("proc title x; proc stop;")` holds the deck's first statement in `words`. The page is so long
/// that no page header comes between, and the screen has no colour; a test that wants either sets it.
class Test_job {
 public:
  explicit Test_job(std::string_view deck = {}) {
    Status_module& status = job.status;
    status.maxlin = 1000000;
    status.lines = 500000;
    status.npage = 1;
    status.color_output = 0;
    status.nullfile = status.filres = status.filvcm = "/dev/null";
    status.osunix = 1;
    job.streams.open_memory(status.sysout);
    job.streams.open_memory(status.syscrn);
    if (!deck.empty()) read(deck);
  }

  /// Puts another deck in and reads its first statement.
  void read(std::string_view deck) {
    open(deck);
    fillsg(job);
    getcmd(job);
  }

  /// Puts another deck in without reading.
  void open(std::string_view deck) {
    const Status_module fresh;
    Status_module& status = job.status;
    status.string.assign(fresh.string.size(), ' ');
    status.lstchr = status.lcmded = status.lstwrd = status.eof = 0;
    status.nxtchr = status.lcmdst = 1;
    status.line_buffer = fresh.line_buffer;
    status.line_goes_on = false;
    job.streams.open_memory_input(status.sysin, std::string(deck));
  }

  std::string listing() const { return std::string(job.streams.contents(job.status.sysout)); }
  std::string screen() const { return std::string(job.streams.contents(job.status.syscrn)); }
  /// Forgets what has been written.
  void clear() {
    job.streams.open_memory(job.status.sysout);
    job.streams.open_memory(job.status.syscrn);
  }

  std::vector<std::string> listing_lines() const { return lines_of(listing()); }
  std::vector<std::string> screen_lines() const { return lines_of(screen()); }
  bool listing_has(std::string_view text) const { return listing().find(text) != std::string::npos; }
  bool screen_has(std::string_view text) const { return screen().find(text) != std::string::npos; }

  /// The words of the statement in hand.
  std::vector<std::string> words() const { return first_words(job.status.words); }
  std::vector<std::string> words_as_typed() const { return first_words(job.status.wordss); }

  operator Job&() { return job; }
  operator const Job&() const { return job; }

  Job job;

 private:
  static std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t p = 0; p < text.size();) {
      const std::size_t end = std::min(text.find('\n', p), text.size());
      lines.push_back(text.substr(p, end - p));
      p = end + 1;
    }
    return lines;
  }
  std::vector<std::string> first_words(const List<Charray>& list) const {
    return {list.begin(), list.begin() + job.status.lstwrd};
  }
};

/// The stop text with which `run` ends the job; empty when it returns.
template <class Run>
std::string stop_text(Run&& run) {
  try {
    run();
  } catch (const Stop& stop) {
    return stop.text;
  }
  return {};
}

/// The message of the fatal error with which `run` ends: what stands behind "ERROR -- " on the listing.
/// Empty when it returned or stopped otherwise.
template <class Run>
std::string error_of(Test_job& t, Run&& run) {
  if (stop_text(run) != "ERROR EXIT from TARN") return {};
  const std::string text = t.listing();
  const std::size_t place = text.rfind("ERROR -- ");
  if (place == std::string::npos) return {};
  return text.substr(place + 9, text.find('\n', place) - place - 9);
}

}  // namespace tarn
