#pragma once
// Studies of sites: a real parameter for every cell of every matrix, found by name and place.

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "data/gaussquad.h"
#include "data/species.h"
#include "data/strata.h"
#include "inference/resid.h"
#include "support/fitted_models.h"
#include "support/model_builder.h"
#include "support/site_paths.h"

namespace tarn {

/// A cell of a matrix.
struct Site_cell {
  int second = 1, third = 1, row = 1, column = 1;
};

struct Site_options {
  Site_layout layout{};
  int groups = 1;
  int order = 101;
  int pentfirst = 1;
  /// Where a cell of the usual matrices stands instead; nowhere when `second` is 0.
  std::function<Site_cell(const std::string& name, Site_cell usual)> place{};
};

class Site_study {
 public:
  /// @param lengths  of the sessions; in the types without sessions one of all surveys
  Site_study(int type, std::vector<int> lengths, Site_options options = {})
      : model(type, std::accumulate(lengths.begin(), lengths.end(), 0), options.groups),
        type_(type),
        lengths_(std::move(lengths)),
        options_(std::move(options)) {
    Job& job = model.job();
    const Datatype& row = datatype(type);
    if (row.sessions) model.sessions(lengths_);
    const Site_layout& layout = options_.layout;
    if (row.strata_tail == Strata_tail::zero_first)
      model.strata(std::string("12345").substr(0, static_cast<std::size_t>(type == 124 ? 2 : layout.states)));
    const bool units = row.pim_bounds == Pim_bounds::blocks || row.pim_bounds == Pim_bounds::session_blocks;
    job.status.nmixtures = row.species                   ? layout.species
                           : units                       ? layout.devices
                           : findpar(job.data, "pi") > 0 ? layout.mixtures
                                                         : 1;
    job.status.liveeh = row.live ? 1 : 0;
    if (row.strata_tail != Strata_tail::zero_first) job.data.strata = row.alphabet;
    if (row.species) {
      build_species_design(job);
      // Where it has not been told by MIXTURES.
      if (job.status.nspeciesocc != layout.species) throw std::invalid_argument("number of species");
    }
    model.index_bounds();
    job.model.pentfirst = options_.pentfirst;
    job.data.order = options_.order;
    if (row.nodes != Nodes::none) gausquadpar(job);
    if (!job.data.u.allocate(noccas(), groups(), std::max(job.status.nstrta, 1)) ||
        !job.data.ul.allocate(noccas(), groups(), std::max(job.status.nstrta, 1)))
      throw std::bad_alloc();
    job.model.nlink = Link::identity;
    for (int g = 1; g <= groups(); ++g)
      for (int q = 1; q <= job.data.numparmnames; ++q) matrices(q, g);
    reals.assign(static_cast<std::size_t>(job.model.nlogit), 0.5);
  }

  int type() const { return type_; }
  int groups() const { return options_.groups; }
  int noccas() { return model.job().status.noccas; }
  const std::vector<int>& lengths() const { return lengths_; }
  const Site_options& options() const { return options_; }
  bool has(const std::string& name) { return findpar(model.job().data, name) > 0; }

  /// The real parameter of a cell, which is named by its usual place.
  double& rate(const std::string& name, int column = 1, int second = 1, int third = 1, int row = 1,
               int g = 1) {
    return reals[static_cast<std::size_t>(numbers_.at({name, second, third, row, column, g})) - 1];
  }
  /// The first cells of row 1 of a matrix.
  void set(const std::string& name, const std::vector<double>& by_column, int second = 1, int third = 1,
           int row = 1) {
    for (std::size_t c = 0; c < by_column.size(); ++c)
      rate(name, static_cast<int>(c) + 1, second, third, row) = by_column[c];
  }
  /// All cells of a parameter take one value.
  void fill(const std::string& name, double value) {
    for (const auto& [place, number] : numbers_)
      if (std::get<0>(place) == name) reals[static_cast<std::size_t>(number) - 1] = value;
  }
  /// Cells that have the same place in both studies take the other one's values.
  void copy(const Site_study& from) {
    for (const auto& [place, number] : numbers_)
      if (const auto other = from.numbers_.find(place); other != from.numbers_.end())
        reals[static_cast<std::size_t>(number) - 1] = from.reals[static_cast<std::size_t>(other->second) - 1];
  }
  /// Sites of group g as they are followed one way after the other.
  Site_paths paths(int g = 1) {
    return Site_paths(type_, lengths_, options_.layout, options_.pentfirst,
                      [this, g](const std::string& name, int column, int second, int third, int row) {
                        const auto found = numbers_.find({name, second, third, row, column, g});
                        return found == numbers_.end() ? std::nan("")
                                                       : reals[static_cast<std::size_t>(found->second) - 1];
                      });
  }

  /// One character a survey, or two in the types that have them; a site in every group.
  void record(const std::string& cells, const std::vector<float>& observed = {},
              std::vector<float> lost = {}) {
    const std::vector<float> one(static_cast<std::size_t>(groups()), 1.0F);
    if (datatype(type_).live) {
      model.record(cells, observed.empty() ? one : observed, lost);
    } else {
      model.record_of_two(cells, observed.empty() ? one : observed, lost);
    }
    histories.push_back(cells);
  }

  /// Reals at random, with which everything has a chance above 0.
  void draw(unsigned seed) {
    Draws draws(seed);
    std::set<int> drawn;
    for (const auto& [place, number] : numbers_) {
      const auto [low, high] = bounds(std::get<0>(place));
      reals[static_cast<std::size_t>(number) - 1] = draws.between(low, high);
    }
    for (int g = 1; g <= groups(); ++g) {
      if (has("PsiAB")) {
        const double both = draws.between(0.05, 0.4), a = draws.between(0.05, 0.25),
                     b = draws.between(0.05, 0.25);
        rate("PsiAB", 1, 1, 1, 1, g) = both;
        rate("PsiA", 1, 1, 1, 1, g) = both + a;
        rate("PsiB", 1, 1, 1, 1, g) = both + b;
      }
      // Shares that both rates between seasons lead to.
      if (has("Psi") && has("Epsilon") != has("Gamma"))
        for (int s = 1; s < static_cast<int>(lengths_.size()); ++s) {
          const double psi = rate("Psi", s, 1, 1, 1, g), other = draws.between(0.05, 0.9);
          const bool dies = has("Epsilon");
          const double rate_drawn = rate(dies ? "Epsilon" : "Gamma", s, 1, 1, 1, g);
          const double e = dies ? rate_drawn : other, gamma = dies ? other : rate_drawn;
          rate("Psi", s + 1, 1, 1, 1, g) = psi * (1.0 - e) + (1.0 - psi) * gamma;
        }
    }
  }

  /// Probabilities of all records in group g at `reals`; `lost` those of records with a negative count. The
  /// model must be finished.
  std::vector<double> probabilities(int g = 1, bool lost = false) {
    return model.probabilities(reals, lost, g);
  }

  Model_builder model;
  std::vector<std::string> histories;
  std::vector<double> reals;

 private:
  using Place = std::tuple<std::string, int, int, int, int, int>;

  std::pair<double, double> bounds(const std::string& name) const {
    const double longest = *std::max_element(lengths_.begin(), lengths_.end());
    if (name == "pi") return {0.1, 0.9 / std::max(options_.layout.mixtures - 1, 1)};
    if (name == "pent") return {0.02, 0.9 / longest};
    if (name == "sigmap") return {0.1, 1.2};
    if (name == "Lambda") return {0.3, 3.0};
    if (name == "VarAdd") return {0.1, 2.0};
    if (name == "f") return {-1.0, 1.0};
    if (name == "rAB" || name == "rAb" || name == "raB") return {0.05, 0.3};
    const bool shares = type_ == 125 || (type_ == 124 && name == "Phi0");
    if (shares) return {0.02, 0.9 / (type_ == 124 ? 2 : options_.layout.states)};
    return {0.05, 0.95};
  }

  void matrices(int q, int g) {
    Job& job = model.job();
    const std::string& name = job.data.parameterlist(q);
    std::map<std::pair<int, int>, std::map<std::pair<int, int>, int>> placed;
    for (const Matrix_size& size : site_matrices(type_, name, lengths_, options_.layout))
      for (int r = 1; r <= size.rows; ++r)
        for (int c = 1; c <= size.columns; ++c) {
          const Site_cell usual{size.second, size.third, r, c};
          const Site_cell at = options_.place ? options_.place(name, usual) : usual;
          if (at.second == 0) continue;
          int& number = placed[{at.second, at.third}][{at.row, at.column}];
          if (number == 0) number = ++count_;
          numbers_[{name, usual.second, usual.third, r, c, g}] = number;
        }
    for (auto& [indices, cells] : placed) {
      int rows = 0, columns = 0;
      for (const auto& [at, number] : cells)
        rows = std::max(rows, at.first), columns = std::max(columns, at.second);
      model.pim(
          q, g, "SQUARE", rows, columns,
          [&, of = &cells](int r, int c) {
            int& number = (*of)[{r, c}];
            return number == 0 ? number = ++count_ : number;
          },
          indices.second, indices.first);
    }
  }

  int type_;
  std::vector<int> lengths_;
  Site_options options_;
  std::map<Place, int> numbers_;
  int count_ = 0;
};

}  // namespace tarn
