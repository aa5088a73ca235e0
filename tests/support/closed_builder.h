#pragma once
// Jobs of the closed data types with one record a history and a real parameter for every cell of every
// matrix.

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "data/gaussquad.h"
#include "support/model_builder.h"

namespace tarn {

/// What a closed kind is made of, as the tests know it.
struct Closed_kind {
  bool mixtures, recapture, identification, effect, conditional;

  static Closed_kind of(int type) {
    const std::vector<std::string> names = parmlist(type);
    const auto has = [&](const char* name) {
      return std::find(names.begin(), names.end(), name) != names.end();
    };
    return {has("pi"), has("c"), has("alpha"), has("sigmap"), !has("f0")};
  }
};

/// Values of the reals of one group.
struct Closed_reals {
  std::vector<double> pi;              ///< mixture 1 to nmixtures, the last one included
  std::vector<std::vector<double>> p;  ///< mixture, occasion 1 to n at 0 to n - 1
  std::vector<std::vector<double>> c;  ///< the same, nothing at 0; equal to p where the kind has no c
  std::vector<double> alpha, sigma;    ///< occasion
  double f0 = 0.0, ptilde = 0.0;
};

enum class Weights_in { column, row };

struct Closed_options {
  int mixtures = 1;
  Weights_in weights = Weights_in::column;
  int order = 101;
  int groups = 1;
  bool shared_alpha = false;  ///< one column of alpha, and of sigmap
};

class Closed_builder {
 public:
  Closed_builder(int type, int noccas, Closed_options options = {})
      : model(type, noccas, options.groups), kind(Closed_kind::of(type)), options_(options), n_(noccas) {
    Job& job = model.job();
    job.status.nmixtures = kind.mixtures ? options.mixtures : 1;
    job.data.order = options.order;
    if (kind.effect) gausquadpar(job);
    if (!job.data.u.allocate(noccas, options.groups, 1) || !job.data.ul.allocate(noccas, options.groups, 1))
      throw std::bad_alloc();
    const int rows = mixtures();
    const int columns = options.shared_alpha ? 1 : n_;
    for (int g = 1; g <= options.groups; ++g) {
      if (kind.mixtures && rows > 1)
        options.weights == Weights_in::column ? matrix("pi", g, rows - 1, 1) : matrix("pi", g, 1, rows - 1);
      matrix("p", g, rows, n_);
      matrix("c", g, rows, n_ - 1);
      matrix("alpha", g, 1, columns);
      matrix("sigmap", g, 1, columns);
      matrix("f0", g, 1, 1);
      matrix("ptilde", g, 1, 1);
    }
    model.job().model.nlink = Link::identity;
  }

  int mixtures() const { return kind.mixtures ? options_.mixtures : 1; }

  /// A record; counts in `u` and `ul` grow with it.
  void record(const std::string& history, const std::vector<float>& observed,
              const std::vector<float>& lost) {
    model.record(history, observed, lost);
    for (std::size_t g = 0; g < observed.size(); ++g) {
      model.job().data.u(1, static_cast<int>(g) + 1, 1) += observed[g];
      model.job().data.ul(1, static_cast<int>(g) + 1, 1) += lost[g];
    }
  }
  /// One animal a history in every group, released and lost.
  void records(const std::vector<std::string>& histories) {
    const std::vector<float> one(static_cast<std::size_t>(options_.groups), 1.0F);
    for (const std::string& history : histories) record(history, one, one);
  }

  Closed_reals random_reals(unsigned seed) const {
    std::mt19937_64 bits(seed);
    const auto between = [&](double low, double high) {
      return low + (high - low) * static_cast<double>(bits() >> 11) * 0x1p-53;
    };
    Closed_reals x;
    double total = 0.0;
    for (int m = 0; m < mixtures(); ++m) x.pi.push_back(between(0.2, 1.0)), total += x.pi.back();
    for (double& weight : x.pi) weight /= total;
    for (int m = 0; m < mixtures(); ++m) {
      std::vector<double> p, c;
      for (int o = 0; o < n_; ++o) p.push_back(between(0.05, 0.9)), c.push_back(between(0.05, 0.9));
      x.p.push_back(p);
      x.c.push_back(kind.recapture ? c : p);
    }
    for (int o = 0; o < n_; ++o) {
      x.alpha.push_back(kind.identification ? between(0.5, 0.95) : 1.0);
      x.sigma.push_back(kind.effect ? between(0.1, 1.2) : 0.0);
      if (options_.shared_alpha) x.alpha.back() = x.alpha.front(), x.sigma.back() = x.sigma.front();
    }
    x.f0 = between(1.0, 30.0);
    x.ptilde = between(0.2, 0.8);
    return x;
  }

  /// The vector of reals, one element of `x` a group.
  std::vector<double> vector_of(const std::vector<Closed_reals>& x) {
    std::vector<double> reals(static_cast<std::size_t>(model.job().model.nlogit));
    for (const Cell& cell : cells_) {
      const Closed_reals& of = x[static_cast<std::size_t>(cell.group) - 1];
      const std::size_t r = static_cast<std::size_t>(cell.row) - 1,
                        k = static_cast<std::size_t>(cell.column) - 1;
      double& value = reals[static_cast<std::size_t>(cell.number) - 1];
      if (cell.name == "pi") value = of.pi[r + k];
      if (cell.name == "p") value = of.p[r][k];
      if (cell.name == "c") value = of.c[r][k + 1];
      if (cell.name == "alpha") value = of.alpha[k];
      if (cell.name == "sigmap") value = of.sigma[k];
      if (cell.name == "f0") value = of.f0;
      if (cell.name == "ptilde") value = of.ptilde;
    }
    return reals;
  }
  std::vector<double> vector_of(const Closed_reals& x) { return vector_of(std::vector<Closed_reals>{x}); }

  /// Names of the parameters in the order of their numbers.
  std::vector<std::string> names() const {
    std::vector<std::string> all(cells_.size());
    for (const Cell& cell : cells_) all[static_cast<std::size_t>(cell.number) - 1] = cell.name;
    return all;
  }

  /// Probabilities of all records in group 1 at `x`; `lost` those of the animals lost on capture.
  std::vector<double> probabilities(const Closed_reals& x, bool lost = false) {
    return model.probabilities(vector_of(x), lost);
  }

  Model_builder model;
  Closed_kind kind;

 private:
  struct Cell {
    std::string name;
    int group, row, column, number;
  };

  void matrix(const std::string& name, int g, int rows, int columns) {
    const int q = findpar(model.job().data, name);
    if (q == 0) return;
    model.pim(q, g, "SQUARE", rows, columns, [&](int r, int c) {
      cells_.push_back({name, g, r, c, static_cast<int>(cells_.size()) + 1});
      return cells_.back().number;
    });
  }

  Closed_options options_;
  int n_;
  std::vector<Cell> cells_;
};

/// All histories over {0,1}; those with "0" at the dots of `dots` have a "." there, the others are left out.
inline std::vector<std::string> all_histories(int noccas, const std::string& dots = {}) {
  std::vector<std::string> all;
  for (unsigned bits = 0; bits < 1U << noccas; ++bits) {
    std::string history = binary_history(bits, noccas);
    bool wanted = true;
    for (std::size_t o = 0; o < dots.size(); ++o) {
      if (dots[o] != '.') continue;
      wanted = wanted && history[o] == '0';
      history[o] = '.';
    }
    if (wanted) all.push_back(history);
  }
  return all;
}

}  // namespace tarn
