#pragma once
// Lives of animals that move between sessions, followed one way after the other, and all records of a study
// of sessions. No block is used.

#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "support/session_paths.h"

namespace tarn {

/// All records of sessions of these lengths: signs[k] are what a session of kind k may show beside "0", so
/// that every session has the signs of one kind only. Occasions of `dots` that are "." are not sampled. The
/// first is the record of an animal never caught.
inline std::vector<std::string> all_records(const std::vector<int>& lengths,
                                            const std::vector<std::string>& kinds, const std::string& dots) {
  std::vector<std::string> records{""};
  std::size_t o = 0;
  for (const int length : lengths) {
    std::vector<std::string> longer, blank{""}, shown;
    std::set<std::string> different;
    for (const std::string& signs : kinds) {
      std::vector<std::string> patterns{""};
      for (int j = 0; j < length; ++j) {
        const bool sampled = dots.empty() || dots[o + static_cast<std::size_t>(j)] != '.';
        std::vector<std::string> next;
        for (const std::string& cells : patterns)
          for (const char c : sampled ? "0" + signs : std::string(".")) next.push_back(cells + c);
        patterns = next;
      }
      for (const std::string& cells : patterns)
        if (different.insert(cells).second) shown.push_back(cells);
    }
    o += static_cast<std::size_t>(length);
    for (const std::string& cells : records)
      for (const std::string& pattern : shown) longer.push_back(cells + pattern);
    records = longer;
  }
  return records;
}

/// Whether a record has no capture.
inline bool never_caught(const std::string& cells) {
  return cells.find_first_not_of("0.") == std::string::npos;
}

class Session_lives {
 public:
  Session_lives(Session_study& study, int g = 1) : study_(study), g_(g) {}

  /// Session s of a record.
  std::string cells_of(const std::string& record, int s) const {
    return record.substr(static_cast<std::size_t>(study_.before(s)),
                         static_cast<std::size_t>(study_.length(s)));
  }
  int first_session(const std::string& record) const {
    int s = 1;
    while (s < study_.sessions() && never_caught(cells_of(record, s))) ++s;
    return s;
  }
  int last_session(const std::string& record) const {
    int s = study_.sessions();
    while (s > 1 && never_caught(cells_of(record, s))) --s;
    return s;
  }
  /// The record of a removed animal as far as it says something of it.
  static std::string up_to_last_capture(std::string record) {
    const std::size_t last = record.find_last_not_of("0.");
    for (std::size_t k = last + 1; k < record.size(); ++k) record[k] = '.';
    return record;
  }

  double within(const std::string& record, int s, int a) const {
    return session_chance(session_rates(study_, a, s, g_), a, cells_of(record, s), study_.codes(), guesses());
  }
  /// Chances of no capture, and of none that shows the state, on the occasions that the record has sampled.
  std::pair<double, double> misses(const std::string& record, int s, int a) const {
    return session_misses(session_rates(study_, a, s, g_), cells_of(record, s));
  }

  double survival(int s, int a, int row) const {
    return std::pow(study_.rate("S", a, 1, row, s, g_), study_.interval(s));
  }
  double moves(int s, int a, int b, int row) const {
    if (a != b) return study_.rate("Psi", a, b, row, s, g_);
    double stays = 1.0;
    for (int k = 1; k <= study_.strata(); ++k)
      if (k != a) stays -= study_.rate("Psi", a, k, row, s, g_);
    return stays;
  }

  /// Chance of what a record shows behind session s up to session `last`, of an animal alive in a in s.
  double after(const std::string& record, int s, int a, int row, int last) const {
    if (s >= last) return 1.0;
    bool unseen = true;
    for (int k = s + 1; k <= last; ++k) unseen = unseen && never_caught(cells_of(record, k));
    const double survives = survival(s, a, row);
    double chance = unseen ? 1.0 - survives : 0.0;
    for (int b = 1; b <= study_.strata(); ++b)
      chance +=
          survives * moves(s, a, b, row) * within(record, s + 1, b) * after(record, s + 1, b, row, last);
    return chance;
  }

  /// Share of a state in column s, the last one what the others leave.
  double share(const std::string& name, int a, int s) const {
    if (a < study_.strata()) return study_.rate(name, a, 1, 1, s, g_);
    double rest = 1.0;
    for (int k = 1; k < study_.strata(); ++k) rest -= study_.rate(name, k, 1, 1, s, g_);
    return rest;
  }

  std::string guesses() const {
    std::string lower;
    if (datatype(study_.type()).strata_tail == Strata_tail::lower)
      for (const char c : study_.codes()) lower += static_cast<char>(c - 'A' + 'a');
    return lower;
  }

 private:
  Session_study& study_;
  int g_;
};

}  // namespace tarn
