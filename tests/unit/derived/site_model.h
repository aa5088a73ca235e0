#pragma once
// Models of sites: what is told of them is a function of the real parameters alone.

#include <memory>
#include <string>
#include <vector>

#include "data/species.h"
#include "derived_model.h"
#include "likelihood/likelihood_work.h"
#include "model/structure/pim.h"

namespace tarn {

/// `Site_model site(30, {2, 2}); site.set("Psi", {.6}); ...; site.values(1)` gives the values of the first
/// section. Betas are the reals.
class Site_model {
 public:
  /// @param lengths  of the sessions; of types without sessions the occasions, each of them 1
  explicit Site_model(int type, const std::vector<int>& lengths, int groups = 1)
      : model(type, total(lengths), groups) {
    if (datatype(type).sessions) model.sessions(lengths);
    if (datatype(type).strata_tail == Strata_tail::zero_first) model.strata("ab");
    if (datatype(type).species) {
      model.job().status.nmixtures = 2;
      build_species_design(model.job());
    }
    set_index_bounds(model.job());
    model.job().model.nlink = Link::identity;
  }

  /// Row 1 of a matrix, one real parameter a column.
  Site_model& set(const std::string& name, const std::vector<double>& by_column, int a = 1, int b = 1,
                  int group = 1) {
    const int before = static_cast<int>(reals.size());
    model.pim(
        findpar(model.job().data, name), group, "SQUARE", 1, static_cast<int>(by_column.size()),
        [before](int, int c) { return before + c; }, b, a);
    reals.insert(reals.end(), by_column.begin(), by_column.end());
    return *this;
  }
  /// The same in every group.
  Site_model& set_all(const std::string& name, const std::vector<double>& by_column) {
    for (int g = 1; g <= model.job().status.ngrps; ++g) set(name, by_column, 1, 1, g);
    return *this;
  }

  std::span<const Section* const> sections() { return derived_sections(datatype(model.job().status.dattyp)); }
  const Section& section(int number) { return *sections()[static_cast<std::size_t>(number) - 1]; }

  /// The values of a section, in the order of its rows.
  std::vector<double> values(int number) {
    finish();
    Derived_frame frame(model.job());
    std::vector<double> made(static_cast<std::size_t>(section(number).rows(model.job()).size()));
    section(number).routine(frame, reals, 1, made);
    return made;
  }
  /// Estimates, errors and limits of a section where each real has this variance and none goes with another.
  Derived_values derived(int number, double variance, const Estimability& open = {}) {
    finish();
    const int n = static_cast<int>(reals.size());
    Array2<double> v = matrix(n, std::vector<double>(static_cast<std::size_t>(n * n), 0.0));
    for (int i = 1; i <= n; ++i) v(i, i) = variance;
    Derived_frame frame(model.job());
    Derived_values made;
    if (!derive_section(frame, section(number), reals, v, open, made)) throw std::bad_alloc();
    return made;
  }

  Model_builder model;
  std::vector<double> reals;

 private:
  static int total(const std::vector<int>& lengths) {
    int sum = 0;
    for (const int length : lengths) sum += length;
    return sum;
  }
  void finish() {
    if (finished_) return;
    finished_ = true;
    model.prepare();
    // Nothing here needs a cell routine.
    model.job().model.likelihood = std::make_shared<Likelihood_work>(model.job(), Cell_routines());
  }
  bool finished_ = false;
};

}  // namespace tarn
