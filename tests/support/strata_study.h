#pragma once
// Robust designs of animals that move between strata: a job with a real parameter for every cell of every
// matrix, and the animals by enumeration, with nothing of the cell routines in it.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "data/gaussquad.h"
#include "support/closed_animals.h"
#include "support/fitted_models.h"

namespace tarn {

struct Strata_options {
  std::string codes = "AB";
  std::vector<float> between{};  ///< lengths of the first intervals between sessions, the others are 1
  int mixtures = 1;              ///< where the type has them
  int order = 101;
  int groups = 1;
  /// Rows of S and Psi: 0 a triangle with one for each session of the first capture, else a square of so
  /// many.
  int rows = 0;
  std::set<std::pair<int, int>> missing{};  ///< transitions without a matrix
};

/// Data whose betas are the reals. Strata, sessions and groups count from 1.
class Robust_strata_study {
 public:
  Robust_strata_study(int type, std::vector<int> lengths_in, Strata_options options_in = {})
      : model(type, sum_of(lengths_in), options_in.groups),
        row(datatype(type)),
        kind(Closed_kind::of(type)),
        options(std::move(options_in)),
        lengths(std::move(lengths_in)) {
    Job& job = model.job();
    model.sessions(lengths, options.between);
    model.strata(options.codes);
    job.status.nmixtures = mixtures();
    job.data.order = options.order;
    if (row.nodes != Nodes::none) gausquadpar(job);
    if (!job.data.u.allocate(noccas(), groups(), strata()) ||
        !job.data.ul.allocate(noccas(), groups(), strata()))
      throw std::bad_alloc();
    job.model.nlink = Link::identity;
    for (int g = 1; g <= groups(); ++g)
      for (int q = 1; q <= job.data.numparmnames; ++q) matrices(q, g);
    reals.assign(static_cast<std::size_t>(job.model.nlogit), 0.5);
  }

  int strata() const { return static_cast<int>(options.codes.size()); }
  int sessions() const { return static_cast<int>(lengths.size()); }
  int groups() const { return options.groups; }
  int noccas() { return model.job().status.noccas; }
  int mixtures() const { return kind.mixtures ? options.mixtures : 1; }
  int length(int s) const { return lengths[static_cast<std::size_t>(s) - 1]; }
  char code(int a) const { return options.codes[static_cast<std::size_t>(a) - 1]; }
  /// Occasions ahead of session s.
  int before(int s) const {
    int o = 0;
    for (int k = 1; k < s; ++k) o += length(k);
    return o;
  }
  /// Length of the interval behind session s.
  double interval(int s) { return static_cast<double>(model.job().data.timint(before(s + 1))); }
  bool has(const std::string& name) { return findpar(model.job().data, name) > 0; }

  const Pim& matrix(const std::string& name, int a, int b, int g = 1) {
    return model.job().model.pim2(findpar(model.job().data, name), a, b, g);
  }
  int number(const std::string& name, int a, int b, int r, int c, int g = 1) {
    const Pim& pim = matrix(name, a, b, g);
    if (r < 1 || r > pim.nrows || c < pim.start(r) || c > pim.ncols)
      throw std::out_of_range(name + " has no such cell");
    return pim.at(r, c);
  }
  double& real(const std::string& name, int a, int b, int r, int c, int g = 1) {
    return reals[static_cast<std::size_t>(number(name, a, b, r, c, g)) - 1];
  }
  /// Row 1 of the closed layer's matrix of stratum a in session s.
  void set(const std::string& name, int a, int s, const std::vector<double>& by_column, int r = 1,
           int g = 1) {
    for (std::size_t c = 0; c < by_column.size(); ++c)
      real(name, a, s, r, static_cast<int>(c) + 1, g) = by_column[c];
  }

  /// S of stratum a, or Psi from a to b, in interval s, of an animal first met in session `first`.
  double rate(const std::string& name, int a, int b, int first, int s, int g = 1) {
    return real(name, a, b, std::min(first, matrix(name, a, b, g).nrows), s, g);
  }
  double moves(int a, int b, int first, int s, int g = 1) {
    if (a != b) return options.missing.contains({a, b}) ? 0.0 : rate("Psi", a, b, first, s, g);
    double stays = 1.0;
    for (int other = 1; other <= strata(); ++other)
      if (other != a) stays -= moves(a, other, first, s, g);
    return stays;
  }
  /// Share of stratum a among the animals that session s meets first.
  double omega(int a, int s, int g = 1) {
    if (a < strata()) return real("Omega", a, 1, 1, s, g);
    double left = 1.0;
    for (int other = 1; other < a; ++other) left -= omega(other, s, g);
    return left;
  }

  /// Reals at random, no chance near 0 or 1, no row over-full.
  void draw(unsigned seed) {
    Draws draws(seed);
    const int n = strata();
    for (int q = 1; q <= model.job().data.numparmnames; ++q) {
      const std::string& name = model.job().data.parameterlist(q);
      double low = 0.05, high = 0.95;
      if (name == "Psi" || name == "Omega") low = 0.05, high = 0.95 / std::max(n - 1, 1);
      if (name == "pi") low = 0.2, high = 0.8 / std::max(mixtures() - 1, 1);
      if (name == "alpha") low = 0.5;
      if (name == "sigmap") low = 0.1, high = 1.2;
      if (name == "f0") low = 1.0, high = 30.0;
      for_each_matrix_of(model.job(), q, [&](const Pim_place&, const Pim& pim) {
        for_each_cell(pim, [&](int, int, int number) {
          reals[static_cast<std::size_t>(number) - 1] = draws.between(low, high);
        });
      });
    }
  }

  /// What the closed layer of a stratum in a session is made of.
  Closed_reals closed_reals(int a, int s, int g = 1) {
    Closed_reals x;
    double left = 1.0;
    for (int m = 1; m < mixtures(); ++m) left -= x.pi.emplace_back(real("pi", a, s, m, 1, g));
    x.pi.push_back(left);
    for (int m = 1; m <= mixtures(); ++m) {
      std::vector<double>&p = x.p.emplace_back(), &c = x.c.emplace_back();
      for (int o = 1; o <= length(s); ++o) {
        p.push_back(real("p", a, s, m, o, g));
        c.push_back(!kind.recapture || o == 1 ? p.back() : real("c", a, s, m, o - 1, g));
      }
    }
    for (int o = 1; o <= length(s); ++o) {
      x.alpha.push_back(kind.identification ? real("alpha", a, s, 1, o, g) : 1.0);
      x.sigma.push_back(kind.effect ? real("sigmap", a, s, 1, o, g) : 0.0);
    }
    return x;
  }

  /// Stratum of each session's captures, 0 without one.
  std::vector<int> caught_in(const std::string& history) const {
    std::vector<int> strata_of;
    for (int s = 1; s <= sessions(); ++s) {
      strata_of.push_back(0);
      for (int o = before(s); o < before(s + 1); ++o) {
        const std::size_t place = options.codes.find(history[static_cast<std::size_t>(o)]);
        if (place != std::string::npos) strata_of.back() = static_cast<int>(place) + 1;
      }
    }
    return strata_of;
  }

  /// A record, one character an occasion. Counts in `u` and `ul` grow with it.
  void record(const std::string& history, const std::vector<float>& observed, std::vector<float> lost = {}) {
    lost.resize(observed.size());
    model.record(history, observed, lost);
    histories.push_back(history);
    const std::vector<int> caught = caught_in(history);
    for (int s = 1; s <= sessions(); ++s) {
      const int a = caught[static_cast<std::size_t>(s) - 1];
      for (int g = 1; a > 0 && g <= groups(); ++g) {
        model.job().data.u(s, g, a) += observed[static_cast<std::size_t>(g) - 1];
        model.job().data.ul(s, g, a) += lost[static_cast<std::size_t>(g) - 1];
      }
    }
  }

  /// Probabilities of all records in group g at `reals`; `lost` those of the animals lost on capture.
  std::vector<double> probabilities(bool lost = false, int g = 1) {
    return model.probabilities(reals, lost, g);
  }

  Model_builder model;
  const Datatype& row;
  Closed_kind kind;
  Strata_options options;
  std::vector<int> lengths;
  std::vector<double> reals;  ///< by number, from 0
  std::vector<std::string> histories;

 private:
  static int sum_of(const std::vector<int>& lengths) {
    int sum = 0;
    for (const int length : lengths) sum += length;
    return sum;
  }

  void matrices(int q, int g) {
    const std::string& name = model.job().data.parameterlist(q);
    int number = model.job().model.nlogit;
    const auto add = [&](const char* shape, int rows, int columns, int a, int b) {
      if (rows < 1 || columns < 1) return;
      model.pim(
          q, g, shape, rows, columns, [&number](int, int) { return ++number; }, b, a);
    };
    const int n = sessions();
    const char* const shape = options.rows == 0 ? "TRIANG" : "SQUARE";
    const int rows = options.rows == 0 ? n - 1 : options.rows;
    for (int a = 1; a <= strata(); ++a) {
      if (name == "S") add(shape, rows, n - 1, a, 1);
      for (int b = 1; name == "Psi" && b <= strata(); ++b)
        if (b != a && !options.missing.contains({a, b})) add(shape, rows, n - 1, a, b);
      if (name == "Omega" && a < strata()) add("SQUARE", 1, n, a, 1);
      for (int s = 1; s <= n; ++s) {
        if (name == "pi") add("SQUARE", mixtures() - 1, 1, a, s);
        if (name == "p") add("SQUARE", mixtures(), length(s), a, s);
        if (name == "c") add("SQUARE", mixtures(), length(s) - 1, a, s);
        if (name == "alpha" || name == "sigmap") add("SQUARE", 1, length(s), a, s);
        if (name == "f0") add("SQUARE", 1, 1, a, s);
      }
    }
  }
};

/// What animals first caught in one session may show, in a given stratum or in any: to every record its
/// chance. Each way is followed by itself: through death, a move, and all that a session may show.
class Strata_animals {
 public:
  /// @param dots  one character an occasion, "." where nothing is sampled; may be empty
  Strata_animals(Robust_strata_study& study, int g, std::string dots)
      : study_(study), g_(g), dots_(std::move(dots)) {
    dots_.resize(static_cast<std::size_t>(study.noccas()), '_');
    for (int a = 1; a <= study.strata(); ++a)
      for (int s = 1; s <= study.sessions(); ++s) patterns_[{a, s}] = patterns_of(a, s);
  }

  /// Chance that an animal of stratum a is caught in session s.
  double pstar(int a, int s) const {
    double sum = 0.0;
    for (const auto& [pattern, share] : patterns_.at({a, s}))
      if (pattern.find(study_.code(a)) != std::string::npos) sum += share;
    return sum;
  }
  /// The product of the same over the sessions of a history with a capture.
  double pstar_of(const std::string& history) const {
    double product = 1.0;
    const std::vector<int> caught = study_.caught_in(history);
    for (int s = 1; s <= study_.sessions(); ++s)
      if (const int a = caught[static_cast<std::size_t>(s) - 1]; a > 0) product *= pstar(a, s);
    return product;
  }

  using Records = std::map<std::string, double>;

  /// Animals of stratum a first caught in session f, which they are with certainty.
  Records of_stratum(int f, int a) {
    Records made;
    begin(f, a, 1.0 / pstar(a, f), made);
    return made;
  }
  /// Animals first caught in session f, in whatever stratum, the strata having the shares Omega.
  Records of_session(int f) {
    double caught = 0.0;
    for (int a = 1; a <= study_.strata(); ++a) caught += study_.omega(a, f, g_) * pstar(a, f);
    Records made;
    for (int a = 1; a <= study_.strata(); ++a) begin(f, a, study_.omega(a, f, g_) / caught, made);
    return made;
  }

  /// Of an animal removed at its last capture: all that it might have shown later.
  static double removed(const Records& records, const std::string& history) {
    const std::size_t last = history.find_last_not_of("0.");
    double total = 0.0;
    for (const auto& [other, share] : records)
      if (other.compare(0, last + 1, history, 0, last + 1) == 0) total += share;
    return total;
  }

 private:
  Records patterns_of(int a, int s) const {
    const auto at = static_cast<std::size_t>(study_.before(s));
    const std::string dots = dots_.substr(at, static_cast<std::size_t>(study_.length(s)));
    Records patterns;
    const Closed_reals x = study_.closed_reals(a, s, g_);
    const Closed_animals animals(study_.kind, x, dots);
    for (const auto& [history, share] : animals.shares()) {
      std::string cells = history;
      for (std::size_t o = 0; o < cells.size(); ++o) {
        if (cells[o] == '1') cells[o] = study_.code(a);
        if (dots[o] == '.') cells[o] = '.';
      }
      patterns[cells] += share;
    }
    return patterns;
  }
  std::string unmet(std::string so_far) const {
    for (std::size_t o = so_far.size(); o < dots_.size(); ++o) so_far += dots_[o] == '.' ? '.' : '0';
    return so_far;
  }

  void begin(int f, int a, double share, Records& made) {
    const std::string ahead = unmet({}).substr(0, static_cast<std::size_t>(study_.before(f)));
    for (const auto& [pattern, chance] : patterns_.at({a, f}))
      if (pattern.find(study_.code(a)) != std::string::npos)
        go_on(f, f, a, share * chance, ahead + pattern, made);
  }
  /// Alive in stratum a at the end of session s.
  void go_on(int f, int s, int a, double share, const std::string& so_far, Records& made) {
    if (s == study_.sessions()) {
      made[so_far] += share;
      return;
    }
    const double alive = std::pow(study_.rate("S", a, 1, f, s, g_), study_.interval(s));
    made[unmet(so_far)] += share * (1.0 - alive);
    for (int b = 1; b <= study_.strata(); ++b)
      for (const auto& [pattern, chance] : patterns_.at({b, s + 1}))
        go_on(f, s + 1, b, share * alive * study_.moves(a, b, f, s, g_) * chance, so_far + pattern, made);
  }

  Robust_strata_study& study_;
  int g_;
  std::string dots_;
  std::map<std::pair<int, int>, Records> patterns_;  ///< by stratum and session; each sums to 1
};

}  // namespace tarn
