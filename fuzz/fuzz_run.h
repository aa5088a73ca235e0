#pragma once
// One run of the program over a made-up deck: in memory, and bounded in size and time.

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "job/procedures.h"
#include "job/services/fault.h"
#include "support/test_job.h"

namespace tarn {

/// The text with runs of digits cut to `longest` places, so that no array grows beyond what a fuzzer's memory
/// limit holds; the limits themselves have tests of their own.
inline std::string with_short_numbers(std::string_view text, int longest) {
  std::string result;
  int run = 0;
  for (const char c : text) {
    run = std::isdigit(static_cast<unsigned char>(c)) ? run + 1 : 0;
    if (run <= longest) result += c;
  }
  return result;
}

/// The text without the words that start long searches or name files; each keeps its length.
inline std::string without_long_work(std::string text) {
  std::string upper = text;
  cvtcas(upper);
  for (const std::string_view word :
       {"MAXFN", "MCMC", "SIMANNEAL", "NEWOPTMIZ", "DIFF_EVOL", "OPTMIZ", "HYPERDIST", "NODES", "LOOP"})
    for (std::size_t at = upper.find(word); at != std::string::npos; at = upper.find(word, at + 1))
      text[at] = '!';
  return text;
}

/// Runs a deck to its end. Every end is an end by `Stop` or by return; the stop text is one of the program's.
inline void run_bounded(std::string_view deck) {
  std::string text = without_long_work(with_short_numbers(deck, 2));
  std::string upper = text;
  cvtcas(upper);
  // A search of few steps reaches all that follows a fit.
  for (std::size_t at = upper.rfind("PROC ESTIMATE"); at != std::string::npos;
       at = upper.rfind("PROC ESTIMATE", at - 1)) {
    text.insert(at + 13, " maxfn=3 ");
    if (at == 0) break;
  }
  Test_job t;
  t.open(text);
  const std::string end = stop_text([&] { run_job(t.job); });
  if (!end.empty() && end != "NORMAL EXIT" && end != "ERROR EXIT from TARN" &&
      end != "TARN Error found in data")
    std::abort();
}

}  // namespace tarn
