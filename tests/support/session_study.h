#pragma once
// Studies of sessions with strata or states, by the letters of their data types: a real parameter for every
// cell of every matrix, found by name.

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

#include "data/strata.h"
#include "inference/resid.h"
#include "support/fitted_models.h"
#include "support/model_builder.h"

namespace tarn {

struct Session_options {
  std::vector<float> between{};      ///< lengths of the first intervals between sessions
  bool by_cohort = false;            ///< S and Psi by first session
  bool triangles = false;            ///< p, c and Phi of a session by arrival; otherwise `rows` rows
  bool one_row_of_captures = false;  ///< p and c are the same for all arrivals
  int rows = 1;
  int pentfirst = 1;
  bool all_pent = false;  ///< a column of pent for every occasion
  int groups = 1;
  bool guesses = true;  ///< matrices of the chance that an uncertain code is right
};

class Session_study {
 public:
  Session_study(int type, std::vector<int> lengths, std::string codes, Session_options options = {})
      : model(type, std::accumulate(lengths.begin(), lengths.end(), 0), options.groups),
        lengths_(std::move(lengths)),
        codes_(std::move(codes)),
        options_(std::move(options)),
        type_(type) {
    const int n = strata(), groups = options_.groups, T = sessions();
    model.sessions(lengths_, options_.between);
    Job& job = model.job();
    Model_arrays& arrays = job.model;
    job.status.nstrta = job.status.nstrtaplus = n;
    arrays.pentfirst = options_.pentfirst;
    arrays.pim2index2upbd = datatype(type).pim_bounds == Pim_bounds::doubled ? 2 * n : n;
    arrays.pim2index3upbd = std::max(n, T);
    arrays.pim2 = {};
    arrays.pim2.allocate(job.data.numparmnames, 1, arrays.pim2index2upbd, 1, arrays.pim2index3upbd, groups);
    arrays.nlink = Link::identity;
    job.data.strata = strata_of(datatype(type), codes_, n);
    for (int g = 1; g <= groups; ++g) {
      for (int a = 1; a <= n; ++a) {
        between("S", a, 1, g);
        for (int b = 1; b <= n; ++b)
          if (b != a) between("Psi", a, b, g);
        matrix("Gamma", a, 1, g, "SQUARE", 1, T - 1);
        if (a == n) continue;
        matrix("pi", a, 1, g, "SQUARE", 1, T);
        matrix("Omega", a, 1, g, "SQUARE", 1, T);
      }
      for (int a = 1; a <= n; ++a)
        for (int s = 1; s <= T; ++s) {
          const int length = lengths_[static_cast<std::size_t>(s) - 1];
          within("p", a, s, g, length);
          matrix("Delta", a, s, g, "SQUARE", 1, length);
          if (datatype(type).pim_bounds == Pim_bounds::doubled && options_.guesses)
            matrix("Delta", n + a, s, g, "SQUARE", 1, length);
          matrix("alpha", a, s, g, "SQUARE", 1, 1);
          if (length == 1) continue;
          matrix("pent", a, s, g, "SQUARE", 1, options_.all_pent ? length : length - 1);
          within("Phi", a, s, g, length - 1);
          within("c", a, s, g, length - 1);
        }
    }
  }

  int type() const { return type_; }
  int strata() const { return static_cast<int>(codes_.size()); }
  int sessions() const { return static_cast<int>(lengths_.size()); }
  int length(int s) const { return lengths_[static_cast<std::size_t>(s) - 1]; }
  /// Occasions ahead of session s.
  int before(int s) const { return std::accumulate(lengths_.begin(), lengths_.begin() + s - 1, 0); }
  const std::string& codes() const { return codes_; }
  const Session_options& options() const { return options_; }
  bool has(const std::string& name) { return findpar(model.job().data, name) > 0; }
  bool has_matrix(const std::string& name, int a, int b, int g = 1) const {
    return sizes_.count({name, a, b, g}) > 0;
  }

  /// One character an occasion.
  void record(const std::string& cells, const std::vector<float>& observed,
              const std::vector<float>& lost = {}) {
    model.record(cells, observed, lost);
    histories.push_back(cells);
  }
  void record(const std::string& cells, float observed = 1.0F, float lost = 0.0F) {
    record(cells, std::vector<float>{observed}, std::vector<float>{lost});
  }

  void draw(unsigned seed) {
    Draws draws(seed);
    reals.assign(static_cast<std::size_t>(model.job().model.nlogit), 0.0);
    for (const auto& [key, number] : numbers_) {
      const std::string& name = std::get<0>(key);
      double most = 0.95;
      if (name == "Psi" || name == "pi" || name == "Omega") most = 0.9 / strata();
      if (name == "pent") most = 0.9 / length(std::get<2>(key));
      reals[static_cast<std::size_t>(number) - 1] = draws.between(most == 0.95 ? 0.05 : 0.02, most);
    }
  }

  /// The real parameter that row r, column c of a matrix reads: a square one with fewer rows its last row.
  double& rate(const std::string& name, int a, int b, int r, int c, int g = 1) {
    const auto& [square, rows] = sizes_.at({name, a, b, g});
    return reals[static_cast<std::size_t>(numbers_.at({name, a, b, square ? std::min(r, rows) : r, c, g})) -
                 1];
  }
  /// Number of that parameter.
  int number(const std::string& name, int a, int b, int r, int c, int g = 1) const {
    const auto& [square, rows] = sizes_.at({name, a, b, g});
    return numbers_.at({name, a, b, square ? std::min(r, rows) : r, c, g});
  }
  /// All cells of a matrix take one value.
  void fill(const std::string& name, int a, int b, double value) {
    for (const auto& [key, number] : numbers_)
      if (std::get<0>(key) == name && std::get<1>(key) == a && std::get<2>(key) == b)
        reals[static_cast<std::size_t>(number) - 1] = value;
  }
  /// All matrices of a parameter take one value.
  void fill(const std::string& name, double value) {
    for (const auto& [key, number] : numbers_)
      if (std::get<0>(key) == name) reals[static_cast<std::size_t>(number) - 1] = value;
  }
  /// Cells that have the same place in both studies take the other one's values, group 1 those of group g.
  void copy(const Session_study& from, int g = 1) {
    for (const auto& [own, number] : numbers_) {
      Cell_place key = own;
      if (std::get<5>(key) == 1) std::get<5>(key) = g;
      if (const auto other = from.numbers_.find(key); other != from.numbers_.end())
        reals[static_cast<std::size_t>(number) - 1] = from.reals[static_cast<std::size_t>(other->second) - 1];
    }
  }
  double interval(int s) { return static_cast<double>(model.job().data.timint(before(s) + length(s))); }

  std::vector<double> probabilities(bool lost = false, int g = 1) {
    return model.probabilities(reals, lost, g);
  }

  Model_builder model;
  std::vector<std::string> histories;
  std::vector<double> reals;

 private:
  using Place = std::tuple<std::string, int, int, int>;
  using Cell_place = std::tuple<std::string, int, int, int, int, int>;

  void between(const std::string& name, int a, int b, int g) {
    const int n = sessions() - 1;
    matrix(name, a, b, g, options_.by_cohort ? "TRIANG" : "SQUARE", options_.by_cohort ? n : 1, n);
  }
  void within(const std::string& name, int a, int s, int g, int columns) {
    const bool one_row = options_.one_row_of_captures && name != "Phi";
    if (type_ == 184 && options_.triangles && !one_row)
      matrix(name, a, s, g, "TRIANG", columns, columns);
    else
      matrix(name, a, s, g, "SQUARE", type_ == 184 && !one_row ? options_.rows : 1, columns);
  }
  void matrix(const std::string& name, int a, int b, int g, const char* shape, int rows, int columns) {
    const int q = findpar(model.job().data, name);
    if (q == 0 || columns == 0) return;
    sizes_[{name, a, b, g}] = {std::string(shape) == "SQUARE", rows};
    model.pim(
        q, g, shape, rows, columns,
        [&](int r, int c) {
          const int number = static_cast<int>(numbers_.size()) + 1;
          numbers_.emplace(Cell_place{name, a, b, r, c, g}, number);
          return number;
        },
        b, a);
  }

  std::vector<int> lengths_;
  std::string codes_;
  Session_options options_;
  int type_;
  std::map<Place, std::pair<bool, int>> sizes_;
  std::map<Cell_place, int> numbers_;
};

/// What serial runs alone charge -2 log likelihood with at the reals of a study that is set up; negative
/// where the same history by history is another number.
inline double charged_in_serial_runs(Session_study& study) {
  study.model.func(study.reals);
  const double in_serial_runs = study.model.value.sumpen;
  study.model.force_threads(2);
  study.model.func(study.reals);
  const double charged = in_serial_runs - study.model.value.sumpen;
  study.model.set_threads(1);
  study.model.force_histories();
  study.model.func(study.reals);
  return std::abs(study.model.value.sumpen - in_serial_runs) <= 1e-12 ? charged : -1.0;
}

}  // namespace tarn
