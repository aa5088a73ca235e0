#pragma once
// One run of the program over a made-up deck: in memory, and bounded in size and time.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>

#include "fuzz_fits.h"
#include "job/procedures.h"
#include "job/services/fault.h"
#include "support/failing_new.h"
#include "support/test_job.h"

namespace tarn {

inline std::string upper_case(std::string text) {
  cvtcas(text);
  return text;
}

/// The text with every number behind a "=" from 21 to 99999 cut to its first digits, 20 at most: sizes that
/// are lawful and only slow. Larger ones must find their message, and those of HIST are capacities.
inline std::string with_bounded_sizes(std::string_view text) {
  const auto is_digit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    result += text[at];
    if (text[at++] != '=') continue;
    while (at < text.size() && text[at] == ' ') result += text[at++];
    std::size_t end = at;
    long number = 0;
    for (; end < text.size() && is_digit(text[end]); ++end)
      number = std::min(10 * number + (text[end] - '0'), 100000L);
    std::string word = upper_case(result.substr(result.size() - std::min<std::size_t>(result.size(), 20)));
    word.erase(std::remove(word.begin(), word.end(), ' '), word.end());
    const bool is_size = number > 20 && number < 100000 && !word.ends_with("HIST=");
    while (is_size && number > 20) number /= 10;
    result += is_size ? std::to_string(number) : std::string(text.substr(at, end - at));
    at = end;
  }
  return result;
}

/// The text without the words that start long searches or name files; each keeps its length.
inline std::string without_long_work(std::string text) {
  const std::string upper = upper_case(text);
  for (const std::string_view word :
       {"MAXFN", "MCMC", "SIMANNEAL", "NEWOPTMIZ", "DIFF_EVOL", "OPTMIZ", "HYPERDIST", "LOOP"})
    for (std::size_t at = upper.find(word); at != std::string::npos; at = upper.find(word, at + 1))
      text[at] = '!';
  return text;
}

/// Runs a deck to its end. Every end is an end by `Stop`, by return, or for want of memory; the stop text is
/// one of the program's.
/// @param model  what follows the deck and is the target's own, with sizes that are right as they are
inline void run_bounded(std::string_view deck, std::string_view model = {}) {
  std::string text = without_long_work(with_bounded_sizes(deck)).append(model);
  const std::string upper = upper_case(text);
  // A search of few steps reaches all that follows a fit.
  for (std::size_t at = upper.rfind("PROC ESTIMATE"); at != std::string::npos;
       at = upper.rfind("PROC ESTIMATE", at - 1)) {
    text.insert(at + 13, " maxfn=3 ");
    if (at == 0) break;
  }
  std::string end;
  Test_job t;
  t.open(text);
  try {
    const Memory_limit limit(std::size_t{256} << 20);
    end = stop_text([&] { run_job(t.job); });
  } catch (const std::bad_alloc&) {
    return;  // as the program's main handles it
  }
  if (!end.empty() && end != "NORMAL EXIT" && end != "ERROR EXIT from TARN" &&
      end != "TARN Error found in data")
    std::abort();
  // At the start of a line, where no text of the deck stands.
  if (t.listing_has("\n -2logL {")) note_fit(t.job.status.dattyp);
}

}  // namespace tarn
