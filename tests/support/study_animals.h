#pragma once
// Open populations and robust designs by enumeration: what the routines must agree with. Animals are followed
// event by event, with nothing of the cell routines in it.

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/closed_animals.h"
#include "support/study_builder.h"

namespace tarn {

/// What may be recorded of animals, and with what chance: one character an occasion, or two in the types that
/// have them, "0" where nothing was sampled.
class Recorded {
 public:
  void add(const std::string& history, double share) { shares_[history] += share; }
  void add(const Recorded& other, double times) {
    for (const auto& [history, share] : other.shares_) shares_[history] += times * share;
  }

  const std::map<std::string, double>& shares() const { return shares_; }
  double at(const std::string& history) const {
    const auto found = shares_.find(undotted(history));
    return found == shares_.end() ? 0.0 : found->second;
  }
  /// Of an animal removed at its last capture: whatever it would have done later.
  /// @param width  characters an occasion
  double removed(const std::string& dotted, std::size_t width) const {
    const std::string history = undotted(dotted);
    std::size_t last = 0;
    for (std::size_t o = 0; o < history.size(); o += width)
      if (history[o] == '1') last = o;
    const std::string start = history.substr(0, last + 1);
    double total = 0.0;
    for (auto each = shares_.lower_bound(start);
         each != shares_.end() && each->first.compare(0, start.size(), start) == 0; ++each)
      total += each->second;
    return total;
  }
  double total() const {
    double sum = 0.0;
    for (const auto& [history, share] : shares_) sum += share;
    return sum;
  }

  static std::string undotted(std::string history) {
    std::replace(history.begin(), history.end(), '.', '0');
    return history;
  }

 private:
  std::map<std::string, double> shares_;
};

/// The animals of one group of a study at its reals.
class Study_animals {
 public:
  /// @param dots  one character an occasion, "." where nothing is sampled; may be empty
  Study_animals(Study_builder& study, int g = 1, std::string dots = {})
      : study_(study), g_(g), n_(study.sessions()), dots_(std::move(dots)) {
    dots_.resize(static_cast<std::size_t>(study.noccas()), '_');
    for (int s = 1; s <= n_; ++s) patterns_.push_back(patterns_of(s));
  }

  /// Chance that an animal that is there is caught in session s.
  double pstar(int s) const {
    double sum = 0.0;
    for (const auto& [pattern, share] : patterns_[static_cast<std::size_t>(s) - 1])
      if (caught(pattern)) sum += share;
    return sum;
  }
  /// The product of the same over the sessions of a history with a capture.
  double pstar_of(const std::string& history) const {
    double product = 1.0;
    const std::vector<bool> captured = study_.captured(history);
    for (int s = 1; s <= n_; ++s)
      if (captured[static_cast<std::size_t>(s) - 1]) product *= pstar(s);
    return product;
  }

  /// Temporary emigration, of animals caught in session `first`, which they are with certainty.
  Recorded emigrants(int first) {
    Recorded made;
    begin(first, [&](const std::string& so_far, double share) {
      emigrant(first, first, so_far, true, share, made);
    });
    return made;
  }
  /// Live and dead encounters in the same way.
  Recorded resighted(int first) {
    Recorded made;
    begin(first, [&](const std::string& so_far, double share) {
      resighted_interval(first, first, so_far, Where::available, share, made);
    });
    return made;
  }
  /// Animals that enter ahead of session `entry`, which is alive in that session with certainty; those never
  /// caught among them.
  Recorded entered(int entry) {
    Recorded made;
    present(entry, std::string(static_cast<std::size_t>(study_.before(entry)), '0'), 1.0, made);
    return made;
  }
  /// Animals alive at an occasion of a type without sessions, caught there with certainty.
  Recorded released(int occasion) {
    Recorded made;
    survive(occasion, std::string(static_cast<std::size_t>(occasion) - 1, '0') + "1", 1.0, made);
    return made;
  }

 private:
  using Patterns = std::map<std::string, double>;
  enum class Where { available, away, gone };

  static bool caught(const std::string& pattern) { return pattern.find('1') != std::string::npos; }
  std::string nothing(int s) const {
    return std::string(static_cast<std::size_t>(study_.lengths[static_cast<std::size_t>(s) - 1]), '0');
  }
  double over(double rate, int s) const { return std::pow(rate, study_.interval(s)); }

  /// Sums to 1: of an animal that is there something is recorded, if nothing but "0".
  Patterns patterns_of(int s) const {
    const auto at = static_cast<std::size_t>(study_.before(s));
    if (study_.row.closed == Closed::none) {
      const double p = dots_[at] == '.' ? 0.0 : study_.real("p", 1, s, 1, g_);
      return {{"0", 1.0 - p}, {"1", p}};
    }
    const Closed_reals x = study_.closed_reals(s, g_);
    return Closed_animals(study_.kind, x, dots_.substr(at, nothing(s).size())).shares();
  }

  template <class Go_on>
  void begin(int first, const Go_on& go_on) {
    const std::string ahead(static_cast<std::size_t>(study_.before(first)), '0');
    const double certain = 1.0 / pstar(first);
    for (const auto& [pattern, share] : patterns_[static_cast<std::size_t>(first) - 1])
      if (caught(pattern)) go_on(ahead + pattern, share * certain);
  }

  /// An animal alive in session s, or outside then, whose captures up to s are told.
  void emigrant(int first, int s, const std::string& so_far, bool inside, double share, Recorded& made) {
    if (s == n_) return made.add(so_far, share);
    const double stays_alive = over(study_.rate("S", first, s, g_), s);
    std::string dead = so_far;
    dead.resize(dots_.size(), '0');
    made.add(dead, share * (1.0 - stays_alive));
    const double outside = inside ? 1.0 - over(1.0 - study_.rate("Gamma''", first, s, g_), s)
                                  : over(study_.rate("Gamma'", first, s, g_), s);
    emigrant(first, s + 1, so_far + nothing(s + 1), false, share * stays_alive * outside, made);
    for (const auto& [pattern, chance] : patterns_[static_cast<std::size_t>(s)])
      emigrant(first, s + 1, so_far + pattern, true, share * stays_alive * (1.0 - outside) * chance, made);
  }

  /// Live cells of sessions `first` to s, and a code behind each session but the last one, as two characters
  /// an occasion; the animal is alive at the end of session s.
  void resighted_interval(int first, int s, const std::string& live, Where where, double share,
                          Recorded& made) {
    resighted_interval(first, s, live, codes_ahead(first), where, share, made);
  }
  std::string codes_ahead(int first) const { return std::string(static_cast<std::size_t>(first) - 1, '0'); }

  void resighted_interval(int first, int s, const std::string& live, const std::string& codes, Where where,
                          double share, Recorded& made) {
    const double s_alive = over(study_.rate("S", first, s, g_), s), r = study_.rate("r", first, s, g_),
                 seen = 1.0 - over(1.0 - study_.rate("R", first, s, g_), s),
                 seen_before = 1.0 - over(1.0 - study_.rate("R'", first, s, g_), s);
    made.add(both(live, codes + '1'), share * (1.0 - s_alive) * r);
    made.add(both(live, codes + '2'), share * (1.0 - s_alive) * (1.0 - r) * seen_before);
    made.add(both(live, codes + '0'), share * (1.0 - s_alive) * (1.0 - r) * (1.0 - seen_before));
    resighted_moves(first, s, live, codes + '2', where, share * s_alive * seen, made);
    resighted_moves(first, s, live, codes + '0', where, share * s_alive * (1.0 - seen), made);
  }

  void resighted_moves(int first, int s, const std::string& live, const std::string& codes, Where where,
                       double share, Recorded& made) {
    if (s == n_) return made.add(both(live, codes), share);
    const std::string missed = live + nothing(s + 1);
    double stays = 0.0, available = 0.0;
    if (where != Where::gone) {
      stays = over(study_.rate("F", first, s, g_), s);
      available = where == Where::available ? over(study_.rate("a''", first, s, g_), s)
                                            : 1.0 - over(1.0 - study_.rate("a'", first, s, g_), s);
    }
    resighted_interval(first, s + 1, missed, codes, Where::gone, share * (1.0 - stays), made);
    if (stays == 0.0) return;
    resighted_interval(first, s + 1, missed, codes, Where::away, share * stays * (1.0 - available), made);
    for (const auto& [pattern, chance] : patterns_[static_cast<std::size_t>(s)])
      resighted_interval(first, s + 1, live + pattern, codes, Where::available,
                         share * stays * available * chance, made);
  }

  /// Two characters an occasion, the code of a session in its last cell.
  std::string both(std::string live, std::string codes) const {
    live.resize(dots_.size(), '0');
    codes.resize(static_cast<std::size_t>(n_), '0');
    std::string cells;
    for (const char captured : live) cells += {captured, '0'};
    for (int s = 1; s <= n_; ++s)
      cells[2 * static_cast<std::size_t>(study_.before(s + 1)) - 1] = codes[static_cast<std::size_t>(s) - 1];
    return cells;
  }

  /// An animal that is there in session s, with what was recorded ahead of it.
  void present(int s, const std::string& so_far, double share, Recorded& made) {
    for (const auto& [pattern, chance] : patterns_[static_cast<std::size_t>(s) - 1])
      survive(s, so_far + pattern, share * chance, made);
  }
  void survive(int s, const std::string& so_far, double share, Recorded& made) {
    if (s == n_) return made.add(so_far, share);
    const double alive = over(study_.rate("Phi", 1, s, g_), s);
    std::string dead = so_far;
    dead.resize(dots_.size(), '0');
    made.add(dead, share * (1.0 - alive));
    present(s + 1, so_far, share * alive, made);
  }

  Study_builder& study_;
  int g_, n_;
  std::string dots_;
  std::vector<Patterns> patterns_;
};

/// Sizes of a population, and of what enters it.
struct Entering {
  std::vector<double> present;   ///< in each session
  std::vector<double> entrants;  ///< ahead of each session
};

/// How the growth of a population is told.
enum class Growth { seniority, growth, recruitment, sizes };

/// The population of group g from its reals.
/// @param released  share of the animals caught in each session that went back
inline Entering entering(Study_builder& study, const Study_animals& animals, Growth by,
                         const std::vector<double>& released, int g = 1) {
  const int n = study.sessions();
  const auto place = [](int s) { return static_cast<std::size_t>(s) - 1; };
  Entering made{{1.0}, {}};
  if (by == Growth::sizes) {
    made.present.clear();
    for (int s = 1; s <= n; ++s) {
      const Job& job = study.model.job();
      const double caught =
          static_cast<double>(job.data.u(s, g, 1)) + static_cast<double>(job.data.ul(s, g, 1));
      made.present.push_back(study.kind.conditional ? caught / animals.pstar(s)
                                                    : caught + study.real("f0", 1, 1, s, g));
    }
  }
  made.entrants.push_back(made.present[0]);
  for (int s = 1; s < n; ++s) {
    const double t = study.interval(s), phi = study.rate("Phi", 1, s, g);
    const double left = made.present[place(s)] * (1.0 - animals.pstar(s) * (1.0 - released[place(s)]));
    const double survivors = std::pow(phi, t) * left;
    if (by == Growth::seniority)
      made.present.push_back(survivors / std::pow(study.rate("Gamma", 1, s, g), t));
    if (by == Growth::growth) made.present.push_back(std::pow(study.rate("Lambda", 1, s, g), t) * left);
    if (by == Growth::recruitment) made.present.push_back(std::pow(phi + study.rate("f", 1, s, g), t) * left);
    made.entrants.push_back(made.present[place(s + 1)] - survivors);
  }
  return made;
}

/// All histories of a population, as shares of the animals that are ever caught.
inline Recorded ever_caught(Study_builder& study, Study_animals& animals, const Entering& of) {
  Recorded all;
  for (int s = 1; s <= study.sessions(); ++s)
    all.add(animals.entered(s), of.entrants[static_cast<std::size_t>(s) - 1]);
  const double caught = all.total() - all.at(std::string(static_cast<std::size_t>(study.noccas()), '0'));
  Recorded made;
  for (const auto& [history, share] : all.shares())
    if (history.find('1') != std::string::npos) made.add(history, share / caught);
  return made;
}

/// How the growth of the population of a type is told.
inline Growth growth_of(Study_builder& study) {
  if (study.row.cell == Cell::robust_pradel_n) return Growth::sizes;
  return study.has("Gamma") ? Growth::seniority : study.has("Lambda") ? Growth::growth : Growth::recruitment;
}

/// Share of the animals caught in each session that went back, of group g.
inline std::vector<double> released_shares(Study_builder& study, int g = 1) {
  const Encounter_store& store = study.model.job().data.encounters;
  const auto n = static_cast<std::size_t>(study.sessions());
  std::vector<double> met(n, 0.0), kept(n, 0.0);
  for (int i = 1; i <= store.size(); ++i) {
    std::string history;
    for (int o = 1; o <= study.noccas(); ++o) history += store.history(i).live(o);
    const std::vector<bool> captured = study.captured(history);
    const double lost = store.lost_on_capture(i, g), animals = lost + store.observed(i, g);
    std::size_t last = 0;
    for (std::size_t s = 0; s < n; ++s)
      if (captured[s]) met[s] += animals, last = s;
    kept[last] += lost;
  }
  std::vector<double> shares;
  for (std::size_t s = 0; s < n; ++s) shares.push_back(met[s] > 0.0 ? 1.0 - kept[s] / met[s] : 1.0);
  return shares;
}

}  // namespace tarn
