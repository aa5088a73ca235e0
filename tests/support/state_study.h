#pragma once
// Jobs of animals whose state is not known, or that enter in one of several states: every cell of every
// matrix is a real parameter of its own. What the routines must agree with follows animals event by event,
// from what `State_study` says of each step; nothing of the routines is used.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "data/strata.h"
#include "model/structure/pim.h"
#include "support/fitted_models.h"

namespace tarn {

struct State_layout {
  int type = 178;
  int noccas = 3;
  std::string states = "AB";
  /// Events of captures, of live resightings, of recoveries; 178 and 185 have the first only.
  std::string captures{}, resightings{}, recoveries{};
  std::vector<float> lengths{};  ///< of the first intervals, the others are 1
  bool by_cohort = true;         ///< a row for every occasion of first capture, where the type has them
  bool pi = true;                ///< there are matrices of pi
  bool turned = false;           ///< a classification's matrix of state a and event x stands at (x, a)
  bool certain = true;           ///< there are matrices of the states' own codes
  bool own_alone =
      false;           ///< of 179 and 180 with one event a list: the own code's matrix at (a, 1), no other
  int delta_less = 0;  ///< columns that Delta has less than occasions
  int p_less = 0;      ///< the same of p, in populations
  int pi_columns = 0;  ///< 0: one an occasion
  int psi_more = 0;    ///< columns of Psi beyond those of the intervals between occasions
  int groups = 1;
};

class State_study {
 public:
  explicit State_study(const State_layout& layout_)
      : layout(layout_), model(layout.type, layout.noccas, layout.groups), row(datatype(layout.type)) {
    Status_module& status = model.job().status;
    status.liveeh = row.live ? 1 : 0;
    status.nstrta = strata();
    status.neventsp = static_cast<int>(layout.captures.size());
    status.neventslr = static_cast<int>(layout.resightings.size());
    status.neventsbr = static_cast<int>(layout.recoveries.size());
    status.nevents = status.neventsp + status.neventslr + status.neventsbr;
    status.nstrtaplus = strata() + status.nevents + 1;
    signs_ =
        strata_of(row, layout.states + layout.captures + layout.resightings + layout.recoveries, strata());
    model.job().data.strata = signs_;
    model.job().data.strata.resize(96, ' ');
    for (std::size_t c = 0; c < layout.lengths.size(); ++c)
      model.intervals_from(static_cast<int>(c) + 1, {layout.lengths[c]});
    set_index_bounds(model.job());
    model.job().model.nlink = Link::identity;
    for (int g = 1; g <= layout.groups; ++g) matrices(g);
    reals.assign(static_cast<std::size_t>(model.job().model.nlogit), 0.5);
  }

  int strata() const { return static_cast<int>(layout.states.size()); }
  int noccas() const { return layout.noccas; }
  std::size_t width() const { return row.live ? 1 : 2; }
  std::size_t at(int o) const { return static_cast<std::size_t>(o - 1) * width(); }
  /// Types 176, 179, 180.
  bool resighted() const { return !row.live; }
  /// Types 183 and 185.
  bool enters() const { return row.derived_sections == Derived_sections::state_abundance; }
  bool cohorts() const { return layout.by_cohort && !enters(); }
  char code(int a) const { return layout.states[static_cast<std::size_t>(a) - 1]; }
  double length(int c) { return static_cast<double>(model.job().data.timint(c)); }

  /// One character an occasion, or two.
  void record(const std::string& cells, std::vector<float> observed, std::vector<float> lost = {}) {
    std::string two;
    for (const char c : cells) {
      two += c;
      if (row.live) two += '0';
    }
    observed.resize(static_cast<std::size_t>(layout.groups));
    lost.resize(static_cast<std::size_t>(layout.groups));
    Encounter_store& store = model.job().data.encounters;
    const int i = store.append(History(two.data(), noccas()), -9999.0);
    std::copy(observed.begin(), observed.end(), store.observed(i).begin());
    std::copy(lost.begin(), lost.end(), store.lost_on_capture(i).begin());
    model.job().status.nhist = store.size();
    histories.push_back(cells);
  }

  /// Reals at random: no chance near 0 or 1, something left of every row of shares.
  void draw(unsigned seed) {
    Draws draws(seed);
    for (const auto& [key, number] : numbers_) {
      const std::string& name = std::get<0>(key);
      double high = 0.95;
      if (name == "Psi") high = 0.9 / strata();
      if (name == "pi") high = 0.9 / std::max(strata() - 1, 1);
      if (name == "pent") high = 0.9 / noccas();
      if (classifies(name) && !alone()) high = 0.9 / (1.0 + static_cast<double>(events_of(name).size()));
      reals[static_cast<std::size_t>(number) - 1] = draws.between(0.05, high);
    }
  }

  bool has(const std::string& name, int a, int b, int g = 1) const {
    return matrices_.count({name, a, b, g}) > 0;
  }
  double& real(const std::string& name, int a, int b, int r, int c, int g = 1) {
    return reals[static_cast<std::size_t>(numbers_.at({name, a, b, r, c, g})) - 1];
  }
  /// All cells of a matrix.
  void set(const std::string& name, int a, int b, double value, int g = 1) {
    bool any = false;
    for (const auto& [key, number] : numbers_) {
      const auto& [its_name, its_a, its_b, r, c, its_g] = key;
      if (its_name != name || its_a != a || its_b != b || its_g != g) continue;
      reals[static_cast<std::size_t>(number) - 1] = value;
      any = true;
    }
    if (!any) throw std::out_of_range(name + " has no such matrix");
  }
  /// Row 1 of a matrix.
  void set_columns(const std::string& name, int a, int b, const std::vector<double>& values) {
    for (std::size_t c = 0; c < values.size(); ++c) real(name, a, b, 1, static_cast<int>(c) + 1) = values[c];
  }
  /// Number of a real parameter, from 1.
  int number(const std::string& name, int a, int b, int r, int c, int g = 1) const {
    return numbers_.at({name, a, b, r, c, g});
  }

  /// A rate of state a by interval, of an animal first caught on occasion f.
  double rate(const std::string& name, int a, int f, int c, int g = 1) {
    return real(name, a, 1, cohorts() ? f : 1, c, g);
  }
  double survival(int a, int f, int c, int g = 1) { return std::pow(rate("S", a, f, c, g), length(c)); }
  /// Chance of an event of rate `name` within interval c.
  double within(const std::string& name, int a, int f, int c, int g = 1) {
    return 1.0 - std::pow(1.0 - rate(name, a, f, c, g), length(c));
  }
  /// Chance of a capture on occasion o.
  double caught(int a, int f, int o, int g = 1) {
    if (!enters()) return rate("p", a, f, o - 1, g);
    return real("p", a, 1, 1, std::max(o - layout.p_less, 1), g);
  }
  double moves(int a, int b, int f, int c, int g = 1) {
    c = std::min(c, noccas() - 1 + layout.psi_more);
    const int r = cohorts() ? std::min(f, noccas() - 1 + layout.psi_more) : 1;
    const auto off = [&](int to) { return has("Psi", a, to, g) ? real("Psi", a, to, r, c, g) : 0.0; };
    if (a != b) return off(b);
    double left = 1.0;
    for (int to = 1; to <= strata(); ++to)
      if (to != a) left -= off(to);
    return left;
  }
  /// Share of state a at a release, or at an entry, on occasion f.
  double starts_in(int a, int f, int g = 1) {
    if (strata() == 1) return 1.0;
    const int c = std::min(f, layout.pi_columns > 0 ? layout.pi_columns : noccas());
    if (a < strata()) return real("pi", a, 1, 1, c, g);
    double left = 1.0;
    for (int b = 1; b < strata(); ++b) left -= real("pi", b, 1, 1, c, g);
    return left;
  }
  /// Share of a population that enters ahead of occasion o.
  double enters_at(int o, int g = 1) {
    const bool first_left = model.job().model.pentfirst != 0;
    const int c = first_left ? o - 1 : o;
    if (c >= 1 && c < noccas()) return real("pent", 1, 1, 1, c, g);
    double left = 1.0;
    for (int k = 1; k < noccas(); ++k) left -= real("pent", 1, 1, 1, k, g);
    return left;
  }

  /// Signs that a capture in state a may leave, and their chances. Delta of occasion o.
  std::map<char, double> captured(int a, int f, int o, int g = 1) {
    if (layout.type == 183) return {{code(a), 1.0}};
    const int less = layout.delta_less;
    return classified("Delta", a, f, std::max(o - less, cohorts() ? std::min(f, noccas() - less) : 1), 'U',
                      g);
  }
  std::map<char, double> resighting(int a, int f, int c, bool survives, int g = 1) {
    return classified(survives ? "rho" : "rho'", a, f, c, 'U', g);
  }
  std::map<char, double> recovery(int a, int f, int c, int g = 1) { return classified("b", a, f, c, 'u', g); }

  /// Events that a classification tells from the own code.
  const std::string& events_of(const std::string& name) const {
    static const std::string uncertain = "U";
    if (layout.type == 176) return uncertain;
    return name == "Delta" ? layout.captures : name == "b" ? layout.recoveries : layout.resightings;
  }
  static bool classifies(const std::string& name) {
    return name == "Delta" || name == "rho" || name == "rho'" || name == "b";
  }

  std::vector<double> probabilities(bool lost = false, int g = 1) {
    return model.probabilities(reals, lost, g);
  }

  const State_layout layout;
  Model_builder model;
  const Datatype& row;
  std::vector<std::string> histories;
  std::vector<double> reals;  ///< by number, from 0

 private:
  using Matrix = std::tuple<std::string, int, int, int>;              // name, second, third index, group
  using Cell_key = std::tuple<std::string, int, int, int, int, int>;  // name, indices, row, column, group

  /// The own code alone has a matrix, the event what it leaves.
  bool alone() const { return layout.type == 176 || layout.own_alone; }
  int position(char sign) const { return static_cast<int>(signs_.find(sign)) + 1; }
  std::pair<int, int> place_of(int a, char event) const {
    return layout.turned ? std::pair(position(event), a) : std::pair(a, position(event));
  }

  std::map<char, double> classified(const std::string& name, int a, int f, int c, char uncertain, int g) {
    const char own = name == "b" ? static_cast<char>(std::tolower(code(a))) : code(a);
    const std::string& events = events_of(name);
    int r = cohorts() ? f : 1;
    if (cohorts() && name == "Delta") r = std::min(f, noccas() - layout.delta_less);
    if (alone()) {
      const double told = real(name, a, 1, r, c, g);
      return {{own, told}, {layout.type == 176 ? uncertain : events[0], 1.0 - told}};
    }
    std::map<char, double> shares;
    double left = 1.0;
    if (has(name, a, a, g)) left -= shares[own] += real(name, a, a, r, c, g);
    if (events.empty()) return {{own, 1.0}};
    for (std::size_t k = 0; k + 1 < events.size(); ++k) {
      const auto [second, third] = place_of(a, events[k]);
      if (has(name, second, third, g)) left -= shares[events[k]] += real(name, second, third, r, c, g);
    }
    shares[events.back()] += left;
    return shares;
  }

  void matrix(const std::string& name, int a, int b, int g, int columns, bool by_cohort) {
    const int q = findpar(model.job().data, name);
    if (q == 0 || columns < 1 || !matrices_.emplace(name, a, b, g).second) return;
    by_cohort = by_cohort && cohorts();
    model.pim(
        q, g, by_cohort ? "TRIANG" : "SQUARE", by_cohort ? columns : 1, columns,
        [&](int r, int c) {
          const int next = static_cast<int>(numbers_.size()) + 1;
          numbers_.emplace(Cell_key(name, a, b, r, c, g), next);
          return next;
        },
        b, a);
  }

  void matrices(int g) {
    const int K = noccas(), between = K - 1, to_the_end = resighted() ? K : K - 1;
    matrix("pent", 1, 1, g, between, false);
    for (const char* name : {"Phi", "F", "F'"}) matrix(name, 1, 1, g, between, true);
    for (int a = 1; a <= strata(); ++a) {
      matrix("S", a, 1, g, to_the_end, true);
      matrix("p", a, 1, g, enters() ? K - layout.p_less : between, true);
      for (const char* name : {"R", "R'", "r"}) matrix(name, a, 1, g, K, true);
      for (int b = 1; b <= strata(); ++b)
        if (b != a) matrix("Psi", a, b, g, between + layout.psi_more, true);
      if (layout.pi && a < strata())
        matrix("pi", a, 1, g, layout.pi_columns > 0 ? layout.pi_columns : K, false);
      for (const char* each : {"Delta", "rho", "rho'", "b"}) {
        const std::string name = each, &events = events_of(name);
        const int columns = name == "Delta" ? K - layout.delta_less : K;
        if (alone()) {
          matrix(name, a, 1, g, columns, true);
          continue;
        }
        if (events.empty()) continue;
        if (layout.certain) matrix(name, a, a, g, columns, true);
        for (std::size_t k = 0; k + 1 < events.size(); ++k) {
          const auto [second, third] = place_of(a, events[k]);
          matrix(name, second, third, g, columns, true);
        }
      }
    }
  }

  std::string signs_;
  std::map<Cell_key, int> numbers_;
  std::set<Matrix> matrices_;
};

/// Records and their chances.
class State_records {
 public:
  void add(const std::string& cells, double share) { shares_[cells] += share; }
  const std::map<std::string, double>& shares() const { return shares_; }
  double at(const std::string& cells) const {
    const auto found = shares_.find(cells);
    return found == shares_.end() ? 0.0 : found->second;
  }
  /// Of an animal removed at its last capture: whatever it would have shown later.
  double removed(const std::string& cells, std::size_t width) const {
    std::size_t last = 0;
    for (std::size_t k = 0; k < cells.size(); k += width)
      if (cells[k] != '0' && cells[k] != '.') last = k;
    double total = 0.0;
    for (const auto& [other, share] : shares_)
      if (other.compare(0, last + 1, cells, 0, last + 1) == 0) total += share;
    return total;
  }
  double total() const {
    double sum = 0.0;
    for (const auto& [cells, share] : shares_) sum += share;
    return sum;
  }

 private:
  std::map<std::string, double> shares_;
};

/// Occasions on which nothing is sampled, "." in one character an occasion.
class Dots {
 public:
  Dots(std::string dots = {}) : dots_(std::move(dots)) {}  // NOLINT: a text is such a list
  bool at(int o) const {
    return static_cast<std::size_t>(o) <= dots_.size() && dots_[static_cast<std::size_t>(o) - 1] == '.';
  }
  /// Cells of nothing met.
  std::string empty(const State_study& study) const {
    std::string cells(study.width() * static_cast<std::size_t>(study.noccas()), '0');
    for (int o = 1; o <= study.noccas(); ++o)
      if (at(o)) cells[study.at(o)] = '.';
    return cells;
  }

 private:
  std::string dots_;
};

}  // namespace tarn
