#pragma once
// Jobs of open populations and of robust designs: primary sessions of any lengths, a real parameter for every
// cell of every matrix.

#include <algorithm>
#include <cstddef>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "data/gaussquad.h"
#include "support/closed_builder.h"
#include "support/model_builder.h"

namespace tarn {

struct Study_options {
  std::vector<float> between{};  ///< lengths of the first intervals between sessions, the others are 1
  int mixtures = 1;              ///< where the type has them
  int order = 101;
  int groups = 1;
  bool by_cohort = false;  ///< rates between sessions depend on the session of the first capture, too
  bool short_return =
      false;  ///< Gamma' and a' have no column for the first interval, in which none is outside
};

class Study_builder {
 public:
  /// @param lengths  of the sessions; in the types without sessions the occasions, each of them 1
  Study_builder(int type, std::vector<int> lengths, Study_options options = {})
      : model(type, total(lengths), options.groups),
        row(datatype(type)),
        kind(Closed_kind::of(type)),
        options(std::move(options)),
        lengths(std::move(lengths)) {
    Job& job = model.job();
    if (row.sessions)
      model.sessions(this->lengths, this->options.between);
    else
      for (std::size_t c = 0; c < this->options.between.size(); ++c)
        model.intervals_from(static_cast<int>(c) + 1, {this->options.between[c]});
    job.status.nmixtures = kind.mixtures ? this->options.mixtures : 1;
    job.data.order = this->options.order;
    if (row.nodes != Nodes::none) gausquadpar(job);
    if (!job.data.u.allocate(noccas(), groups(), 1) || !job.data.ul.allocate(noccas(), groups(), 1))
      throw std::bad_alloc();
    job.model.nlink = Link::identity;
    for (int g = 1; g <= groups(); ++g)
      for (int q = 1; q <= job.data.numparmnames; ++q) matrices(q, g);
    reals.assign(static_cast<std::size_t>(job.model.nlogit), 0.5);
  }

  int noccas() { return model.job().status.noccas; }
  int groups() const { return options.groups; }
  int sessions() const { return static_cast<int>(lengths.size()); }
  /// Occasions ahead of session s.
  int before(int s) const {
    int o = 0;
    for (int k = 1; k < s; ++k) o += lengths[static_cast<std::size_t>(k) - 1];
    return o;
  }
  /// Length of the interval behind session s.
  double interval(int s) { return model.job().data.timint(before(s + 1)); }
  bool has(const std::string& name) { return findpar(model.job().data, name) > 0; }

  /// The matrix of a parameter.
  const Pim& matrix(const std::string& name, int session = 1, int g = 1) {
    return model.job().model.pim2(findpar(model.job().data, name), 1, session, g);
  }
  double& real(const std::string& name, int r, int c, int session = 1, int g = 1) {
    const Pim& pim = matrix(name, session, g);
    if (r < 1 || r > pim.nrows || c < pim.start(r) || c > pim.ncols)
      throw std::out_of_range(name + " has no such cell");
    return reals[static_cast<std::size_t>(pim.at(r, c)) - 1];
  }
  /// Row `r` of a matrix.
  void set(const std::string& name, const std::vector<double>& by_column, int session = 1, int r = 1,
           int g = 1) {
    for (std::size_t c = 0; c < by_column.size(); ++c)
      real(name, r, static_cast<int>(c) + 1, session, g) = by_column[c];
  }
  /// A rate of interval s, of an animal first met in session `first`.
  double rate(const std::string& name, int first, int s, int g = 1) {
    const Pim& pim = matrix(name, 1, g);
    const bool returns = name == "Gamma'" || name == "a'";
    return real(name, pim.nrows == 1 ? 1 : first, returns ? s - (sessions() - 1 - pim.ncols) : s, 1, g);
  }

  /// Reals at random, no chance near 0 or 1, entrants in every interval.
  void draw(unsigned seed) {
    std::mt19937_64 bits(seed);
    for (int q = 1; q <= model.job().data.numparmnames; ++q) {
      const auto [low, high] = bounds(model.job().data.parameterlist(q));
      for_each_matrix_of(model.job(), q, [&, low = low, high = high](const Pim_place&, const Pim& pim) {
        for_each_cell(pim, [&](int, int, int number) {
          reals[static_cast<std::size_t>(number) - 1] =
              low + (high - low) * static_cast<double>(bits() >> 11) * 0x1p-53;
        });
      });
    }
  }

  /// What the closed layer of a session is made of.
  Closed_reals closed_reals(int session, int g = 1) {
    const auto n = static_cast<std::size_t>(lengths[static_cast<std::size_t>(session) - 1]);
    Closed_reals x;
    double left = 1.0;
    for (int m = 1; m < mixtures(); ++m) left -= x.pi.emplace_back(real("pi", m, 1, session, g));
    x.pi.push_back(left);
    const auto column = [](std::size_t o) { return static_cast<int>(o) + 1; };
    for (int m = 1; m <= mixtures(); ++m) {
      std::vector<double>&p = x.p.emplace_back(), &c = x.c.emplace_back();
      for (std::size_t o = 0; o < n; ++o) {
        p.push_back(real("p", m, column(o), session, g));
        c.push_back(!kind.recapture || o == 0 ? p.back() : real("c", m, column(o) - 1, session, g));
      }
    }
    for (std::size_t o = 0; o < n; ++o) {
      x.alpha.push_back(kind.identification ? real("alpha", 1, column(o), session, g) : 1.0);
      x.sigma.push_back(kind.effect ? real("sigmap", 1, column(o), session, g) : 0.0);
    }
    return x;
  }
  int mixtures() const { return kind.mixtures ? options.mixtures : 1; }

  /// A record: one character an occasion, or two in the types that have them. Counts in `u` and `ul` grow.
  void record(const std::string& history, const std::vector<float>& observed, std::vector<float> lost = {}) {
    const auto n = static_cast<std::size_t>(noccas());
    lost.resize(observed.size());
    Encounter_store& store = model.job().data.encounters;
    std::string cells;
    if (history.size() == n)
      for (const char live : history) cells += {live, '0'};
    else
      cells = history;
    const int i = store.append(History(cells.data(), noccas()), -9999.0);
    std::copy(observed.begin(), observed.end(), store.observed(i).begin());
    std::copy(lost.begin(), lost.end(), store.lost_on_capture(i).begin());
    model.job().status.nhist = store.size();
    for (const int at : counted_at(cells))
      for (std::size_t g = 0; g < observed.size(); ++g) {
        model.job().data.u(at, static_cast<int>(g) + 1, 1) += observed[g];
        model.job().data.ul(at, static_cast<int>(g) + 1, 1) += lost[g];
      }
  }
  /// One animal a history in every group, released and lost.
  void records(const std::vector<std::string>& histories) {
    const std::vector<float> one(static_cast<std::size_t>(groups()), 1.0F);
    for (const std::string& history : histories) record(history, one, one);
  }

  /// Probabilities of all records in group g at `reals`; `lost` those of the animals lost on capture. The
  /// model must be finished.
  std::vector<double> probabilities(bool lost = false, int g = 1) {
    return model.probabilities(reals, lost, g);
  }

  /// Sessions in which something was caught: one `false` or `true` a session.
  std::vector<bool> captured(const std::string& history) {
    const std::size_t width = history.size() / static_cast<std::size_t>(noccas());
    std::vector<bool> caught;
    for (int s = 1; s <= sessions(); ++s) {
      caught.push_back(false);
      for (int o = before(s); o < before(s + 1); ++o) {
        const char live = history[width * static_cast<std::size_t>(o)];
        if (live != '0' && live != '.') caught.back() = true;
      }
    }
    return caught;
  }

  Model_builder model;
  const Datatype& row;
  Closed_kind kind;
  Study_options options;
  std::vector<int> lengths;
  std::vector<double> reals;  ///< by number, from 0

 private:
  static int total(const std::vector<int>& lengths) {
    int sum = 0;
    for (const int length : lengths) sum += length;
    return sum;
  }

  /// Sessions, or the occasion of the first capture, at which a record is counted.
  std::vector<int> counted_at(const std::string& cells) {
    const std::vector<bool> caught = captured(cells);
    std::vector<int> places;
    for (std::size_t s = 0; s < caught.size(); ++s)
      if (caught[s] && (row.sessions || places.empty())) places.push_back(static_cast<int>(s) + 1);
    return places;
  }

  void matrices(int q, int g) {
    const std::string& name = model.job().data.parameterlist(q);
    const bool layer = row.closed != Closed::none;
    const bool within = layer && (name == "p" || name == "c" || name == "alpha" || name == "sigmap" ||
                                  name == "pi" || name == "f0");
    const auto add = [&](const char* shape, int rows, int columns, int session) {
      if (rows < 1 || columns < 1) return;
      int number = model.job().model.nlogit;
      model.pim(
          q, g, shape, rows, columns, [&number](int, int) { return ++number; }, session);
    };
    const int n = sessions();
    if (!within) {
      const bool behind_last =
          row.cell == Cell::robust_barker && (name[0] == 'S' || name[0] == 'r' || name[0] == 'R');
      const bool returns = name == "Gamma'" || name == "a'";
      int columns = behind_last || name == "p" ? n : n - 1;
      if (name == "N") columns = 1;
      if (returns && options.short_return) --columns;
      const bool cohorts = options.by_cohort && (row.cell == Cell::robust || row.cell == Cell::robust_barker);
      add(cohorts ? "TRIANG" : "SQUARE", cohorts ? columns : 1, columns, 1);
      return;
    }
    for (int s = 1; s <= n; ++s) {
      const int occasions = lengths[static_cast<std::size_t>(s) - 1];
      if (name == "pi")
        add("SQUARE", mixtures() - 1, 1, s);
      else if (name == "p" || name == "c")
        add("SQUARE", mixtures(), name == "c" ? occasions - 1 : occasions, s);
      else
        add("SQUARE", 1, name == "f0" ? 1 : occasions, s);
    }
  }

  std::pair<double, double> bounds(const std::string& name) const {
    static const std::vector<std::pair<std::string, std::pair<double, double>>> known{
        {"S", {0.5, 0.95}},     {"Phi", {0.5, 0.95}},    {"Gamma''", {0.05, 0.6}}, {"Gamma'", {0.2, 0.8}},
        {"Gamma", {0.4, 0.95}}, {"Lambda", {0.96, 1.4}}, {"f", {0.05, 0.6}},       {"a''", {0.4, 0.9}},
        {"a'", {0.2, 0.8}},     {"F", {0.6, 0.95}},      {"r", {0.1, 0.7}},        {"R", {0.1, 0.7}},
        {"R'", {0.1, 0.7}},     {"alpha", {0.5, 0.95}},  {"sigmap", {0.1, 1.2}},   {"f0", {1.0, 30.0}},
        {"N", {60.0, 90.0}},    {"p", {0.05, 0.9}},      {"c", {0.05, 0.9}}};
    if (name == "pi") return {0.2, 0.8 / std::max(mixtures() - 1, 1)};
    if (name == "pent") return {0.02, 0.9 / sessions()};
    for (const auto& [known_name, range] : known)
      if (known_name == name) return range;
    throw std::invalid_argument(name);
  }
};

}  // namespace tarn
