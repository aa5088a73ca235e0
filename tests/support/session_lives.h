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

/// Strata that every capture shows: types 32, 119 and 103.
class Open_lives : public Session_lives {
 public:
  explicit Open_lives(Session_study& study) : Session_lives(study), study_(study) {}

  int stratum(const std::string& record) const {
    return static_cast<int>(study_.codes().find(record[record.find_first_not_of("0.")])) + 1;
  }
  double chance(const std::string& record, bool lost = false) const {
    const int fs = first_session(record), m = stratum(record);
    const int row = study_.type() == 103 ? 1 : fs;
    // What was not sampled is told by the record as it stands.
    const std::string shown = lost ? up_to_last_capture(record) : record;
    const double later = after(shown, fs, m, row, lost ? last_session(record) : study_.sessions());
    return start(record, fs, m) * within(shown, fs, m) / star(record, fs, m) * later;
  }
  /// Of the first capture's stratum, of 103 of its session.
  double start(const std::string& record, int fs, int m) const {
    double own = 0.0, all = 0.0;
    if (study_.type() == 119)
      for (int a = 1; a <= study_.strata(); ++a) {
        const double weight = share("Omega", a, fs) * star(record, fs, a);
        all += weight;
        if (a == m) own = weight;
      }
    if (study_.type() == 103)
      for (int s = 1; s <= study_.sessions(); ++s) {
        double size = 1.0;
        for (int k = 1; k < s; ++k) size *= survival(k, m, 1) / seniority(k, m);
        const double weight = size * unmet(record, s, m) * star(record, s, m);
        all += weight;
        if (s == fs) own = weight;
      }
    return study_.type() == 32 ? 1.0 : own / all;
  }
  double star(const std::string& record, int s, int a) const { return 1.0 - misses(record, s, a).first; }

 private:
  double seniority(int s, int a) const {
    return std::pow(study_.rate("Gamma", a, 1, 1, s), study_.interval(s));
  }
  /// Of an animal in stratum a in session s: not caught before.
  double unmet(const std::string& record, int s, int a) const {
    if (s == 1) return 1.0;
    double before = 0.0;
    for (int k = 1; k <= study_.strata(); ++k)
      before += moves(s - 1, a, k, 1) * (1.0 - star(record, s - 1, k)) * unmet(record, s - 1, k);
    return 1.0 - seniority(s - 1, a) + seniority(s - 1, a) * before;
  }

  Session_study& study_;
};

/// States that a capture may leave open: types 121, 122, 126, 142 and 184.
class Uncertain_lives : public Session_lives {
 public:
  explicit Uncertain_lives(Session_study& study) : Session_lives(study), study_(study) {}

  /// State that a session's captures tell, 0: none.
  int known(const std::string& record, int s) const {
    const std::string cells = cells_of(record, s);
    for (int a = 1; a <= study_.strata(); ++a)
      if (cells.find(study_.codes()[static_cast<std::size_t>(a) - 1]) != std::string::npos) return a;
    return 0;
  }
  double caught(const std::string& record, int s, int a) const { return 1.0 - misses(record, s, a).first; }
  double unseen(const std::string& record, int s, int a) const {
    const auto [never, quiet] = misses(record, s, a);
    return quiet - never;
  }
  /// Chance that an animal caught first in session s is not recognised there.
  double open_class(const std::string& record, int s) const {
    double sum = 0.0;
    for (int k = 1; k <= study_.strata(); ++k)
      sum += share("pi", k, s) * unseen(record, s, k) / caught(record, s, k);
    return sum;
  }

  /// Weight of state a behind the first session.
  double start(const std::string& record, int s, int a) const {
    if (const int m = known(record, s); m > 0)
      return a == m ? share("pi", m, s) / caught(record, s, m) * within(record, s, m) : 0.0;
    double all = 0.0;
    for (int k = 1; k <= study_.strata(); ++k) all += share("Omega", k, s) * unseen(record, s, k);
    return open_class(record, s) * share("Omega", a, s) * within(record, s, a) / all;
  }
  double chance(const std::string& record) const {
    const int fs = first_session(record);
    double sum = 0.0;
    for (int a = 1; a <= study_.strata(); ++a)
      if (const double weight = start(record, fs, a); weight > 0.0)
        sum += weight * after(record, fs, a, fs, study_.sessions());
    return sum;
  }

 private:
  Session_study& study_;
};

/// Signs that a session may show beside "0", by state.
inline std::vector<std::string> kinds_of_signs(int type, const std::string& codes) {
  std::string open;
  if (datatype(type).strata_tail == Strata_tail::uncertain) open = "u";
  if (datatype(type).strata_tail == Strata_tail::lower)
    for (const char c : codes) open += static_cast<char>(c - 'A' + 'a');
  std::vector<std::string> all;
  for (const char c : codes) all.push_back(c + open);
  return all;
}

}  // namespace tarn
