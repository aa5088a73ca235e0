#pragma once
// A whole deck run in memory, and the numbers of its listing.

#include <cmath>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "job/procedures.h"
#include "support/test_job.h"

namespace tarn {

/// What a deck gave.
struct Deck_result {
  std::string stop, listing, screen;

  /// The first number behind `label` on the listing; NaN when the label is not there.
  double number(std::string_view label) const {
    const std::size_t place = listing.find(label);
    if (place == std::string::npos) return std::nan("");
    return std::strtod(listing.c_str() + place + label.size(), nullptr);
  }
  bool has(std::string_view text) const { return listing.find(text) != std::string::npos; }

  struct Row {
    double estimate, se, lower, upper;
  };
  /// Row i of the table of reals (of betas), the last one on the listing.
  Row real(int i) const { return row("Real Function Parameters of ", 28, 5, i); }
  Row beta(int i) const { return row(" Link Function Parameters of ", 27, 4, i); }

 private:
  Row row(std::string_view heading, std::size_t column, int width, int i) const {
    std::size_t place = listing.rfind(heading);
    std::string number = std::to_string(i);
    number = " " + std::string(static_cast<std::size_t>(width) - number.size(), ' ') + number + ":";
    place = place == std::string::npos ? place : listing.find("\n" + number, place);
    if (place == std::string::npos) return {NAN, NAN, NAN, NAN};
    const char* text = listing.c_str() + place + column;
    const auto field = [&](int k) { return std::strtod(text + 16 * k, nullptr); };
    return {field(0), field(1), field(2), field(3)};
  }
};

/// Runs a deck without paging. `prepare` may set options of the job before its first statement.
template <class Prepare>
Deck_result run_deck(std::string_view deck, Prepare&& prepare) {
  Test_job t;
  t.job.status.maxlin = 0;
  t.open(deck);
  prepare(t.job);
  Deck_result result;
  // closeout closes the streams, so their contents are kept by copies that outlive it
  t.job.streams.open_memory(t.job.status.sysout);
  result.stop = stop_text([&] { run_job(t.job); });
  result.listing = t.listing();
  result.screen = t.screen();
  return result;
}

inline Deck_result run_deck(std::string_view deck) {
  return run_deck(deck, [](Job&) {});
}

/// Expected counts of a Cormack-Jolly-Seber study: `released` new animals on every occasion but the last, Phi
/// and p by interval, interval lengths t. One record a history, over the characters "0" and "1".
inline std::string expected_records(const std::vector<double>& phi, const std::vector<double>& p,
                                    const std::vector<double>& t, double released) {
  const int occasions = static_cast<int>(phi.size()) + 1;
  std::string records;
  for (int first = 1; first < occasions; ++first) {
    const int later = occasions - first;
    for (unsigned mask = 0; mask < (1u << later); ++mask) {
      double alive = 1.0, gone = 0.0;
      std::string history(static_cast<std::size_t>(first) - 1, '0');
      history += '1';
      for (int o = first + 1; o <= occasions; ++o) {
        const auto c = static_cast<std::size_t>(o) - 2;
        const bool seen = (mask >> (o - first - 1)) & 1u;
        const double survives = std::pow(phi[c], t[c]);
        gone = seen ? 0.0 : gone + alive * (1.0 - survives);
        alive *= survives * (seen ? p[c] : 1.0 - p[c]);
        history += seen ? '1' : '0';
      }
      char count[40];
      std::snprintf(count, sizeof count, " %.9g;\n", released * (alive + gone));
      records += history + count;
    }
  }
  return records;
}

}  // namespace tarn
