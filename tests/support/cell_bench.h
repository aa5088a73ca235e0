#pragma once
// One cell routine by itself, with a real parameter for every cohort and column of every matrix.

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "data/catalogue/datatype.h"
#include "likelihood/cell/cell.h"
#include "likelihood/cells.h"
#include "support/model_builder.h"

namespace tarn {

/// Probabilities by history, two characters an occasion.
using History_table = std::map<std::string, double>;

/// Routine of a data type of live and dead encounters. All matrices are triangles with exactly the columns
/// that the data type has, so a look-up outside its columns, or in a row that no release can have, is found
/// out.
class Cell_bench {
 public:
  /// `columns`: number of columns by parameter, in the order of the data type's list; `lengths`: of the first
  /// intervals, the others are 1.
  Cell_bench(int dattyp, int noccas, std::vector<int> columns, std::initializer_list<float> lengths = {})
      : model_(dattyp, noccas),
        columns_(std::move(columns)),
        routines_(cell_routines(datatype(dattyp).cell)) {
    model_.intervals(lengths);
    int count = 0;
    for (std::size_t q = 0; q < columns_.size(); ++q) {
      const int n = columns_[q];
      offsets_.push_back(count);
      model_.pim(static_cast<int>(q) + 1, 1, "TRIANG", n, n,
                 [&](int r, int c) { return count + (r - 1) * n + c; });
      count += n * n;
    }
    reals_.assign(static_cast<std::size_t>(count), 0.5);
  }

  int noccas() { return model_.job().status.noccas; }
  double length(int c) { return model_.job().data.timint(c); }
  std::vector<double>& reals() { return reals_; }
  Job& job() { return model_.job(); }

  /// Parameter q (from 1) of cohort r in column c.
  double& real(int q, int r, int c) { return reals_[static_cast<std::size_t>(place(q, r, c))]; }
  /// The same values for every cohort, by column.
  void set(int q, const std::vector<double>& by_column) {
    for (int r = 1; r <= columns_[static_cast<std::size_t>(q) - 1]; ++r)
      for (int c = 1; c <= columns_[static_cast<std::size_t>(q) - 1]; ++c)
        real(q, r, c) = by_column[static_cast<std::size_t>(c) - 1];
  }
  void set(int q, double value) { set(q, std::vector<double>(static_cast<std::size_t>(noccas()), value)); }
  /// Uniform between two bounds.
  void draw(unsigned seed, double low = 0.02, double high = 0.98) {
    std::mt19937_64 source(seed);
    std::uniform_real_distribution<double> uniform(low, high);
    for (double& x : reals_) x = uniform(source);
  }

  Ch_result<double> result(const std::string& cells, bool lost = false) {
    return call<double>(cells, lost, reals_, [](const Cell_work<double>&) {});
  }
  double prob(const std::string& cells, bool lost = false) { return result(cells, lost).prob; }

  /// What the dry run finds wrong with the look-ups of a history; empty when all are there.
  std::string unreadable(const std::string& cells, bool lost = false) {
    const std::vector<Reach> reals(reals_.size(), Reach(0.25));
    Pim_fault fault;
    call<Reach>(cells, lost, reals, [&](const Cell_work<Reach>& work) { fault = work.pim_report.fault; });
    return fault.found ? words_of(model_.job(), fault) : std::string();
  }

  /// lnprob with its derivatives by reals i and j, places in `reals()`.
  struct Derivatives {
    double value, first, mixed;
  };
  Derivatives lnprob(const std::string& cells, std::size_t i, std::size_t j) {
    const Cell_setting setting(model_.job(), routines_);
    Cell_work<Traced<Dual>> work(model_.job(), setting);
    work.trace.begin(reals_.size());
    std::vector<Traced<Dual>> reals;
    for (std::size_t k = 0; k < reals_.size(); ++k) {
      Dual value = reals_[k];
      value.b[0] = k == j ? 1.0 : 0.0;
      reals.emplace_back(value, 1.0, work.trace.leaf(k));
    }
    const Traced<Dual> lnprob = call<Traced<Dual>>(cells, false, reals, work).lnprob;
    add_to_result(lnprob, 1.0);
    work.trace.walk_back();
    work.trace.walk_kept_back();
    const Dual adjoint = work.trace.take_adjoint(i);
    return {value_of(lnprob), adjoint.v, adjoint.b[0]};
  }

  /// Text of the fault that the cell records; empty when there is none.
  std::string fault(const std::string& cells) {
    std::string text;
    call<double>(cells, false, reals_, [&](const Cell_work<double>& work) { text = work.fault_text(); });
    return text;
  }

 private:
  int place(int q, int r, int c) const {
    const auto k = static_cast<std::size_t>(q) - 1;
    return offsets_[k] + (r - 1) * columns_[k] + c - 1;
  }
  template <class Real>
  Ch_result<Real> call(const std::string& cells, bool lost, const std::vector<Real>& reals,
                       Cell_work<Real>& work) {
    Ch_result<Real> made;
    work.begin();
    routines_.of<Real>().routine(model_.job(), made, History(cells.data(), noccas()), 1, 1, lost ? 1 : 0,
                                 Reals<Real>(reals.data()), work);
    return made;
  }
  template <class Real, class See>
  Ch_result<Real> call(const std::string& cells, bool lost, const std::vector<Real>& reals, const See& see) {
    const Cell_setting setting(model_.job(), routines_);
    Cell_work<Real> work(model_.job(), setting);
    const Ch_result<Real> made = call(cells, lost, reals, work);
    see(work);
    return made;
  }

  Model_builder model_;
  std::vector<int> columns_, offsets_;
  Cell_routines routines_;
  std::vector<double> reals_;
};

/// Every history of the table has its probability, they are all that there are, and no look-up is astray.
inline void expect_table(Cell_bench& bench, const History_table& table, const std::string& told) {
  double total = 0.0;
  for (const auto& [cells, expected] : table) {
    const double prob = bench.prob(cells);
    EXPECT_NEAR(prob, expected, 1e-14) << cells << ' ' << told;
    EXPECT_EQ(bench.unreadable(cells), "") << cells << ' ' << told;
    total += prob;
  }
  EXPECT_NEAR(total, 1.0, 1e-12) << told;
}

/// First and mixed second derivatives of lnprob against central differences that are extrapolated to step 0.
inline void expect_derivatives(Cell_bench& bench, const std::string& cells, std::size_t i, std::size_t j) {
  const std::vector<double> kept = bench.reals();
  const auto at = [&](double di, double dj) {
    bench.reals()[i] += di;
    bench.reals()[j] += dj;
    const double f = bench.result(cells).lnprob;
    bench.reals() = kept;
    return f;
  };
  const auto extrapolated = [](double h, const std::function<double(double)>& difference) {
    const double d0 = difference(h), d1 = difference(h / 2.0), d2 = difference(h / 4.0);
    const double e0 = (4.0 * d1 - d0) / 3.0, e1 = (4.0 * d2 - d1) / 3.0;
    return (16.0 * e1 - e0) / 15.0;
  };
  const double first = extrapolated(4e-3, [&](double h) { return (at(h, 0.0) - at(-h, 0.0)) / (2.0 * h); });
  const double mixed = extrapolated(8e-3, [&](double h) {
    if (i == j) return (at(h, 0.0) - 2.0 * at(0.0, 0.0) + at(-h, 0.0)) / (h * h);
    return (at(h, h) - at(h, -h) - at(-h, h) + at(-h, -h)) / (4.0 * h * h);
  });
  const Cell_bench::Derivatives exact = bench.lnprob(cells, i, j);
  EXPECT_EQ(exact.value, bench.result(cells).lnprob) << cells;
  // What the differences leave: the sixth power of the step by the function's curvature, and its rounding.
  EXPECT_NEAR(exact.first, first, 1e-9 * (1.0 + std::abs(first))) << cells << " real " << i + 1;
  EXPECT_NEAR(exact.mixed, mixed, 1e-7 * (1.0 + std::abs(mixed)))
      << cells << " reals " << i + 1 << ", " << j + 1;
}

/// A record of two characters an occasion.
inline void add_record(Model_builder& model, const std::string& cells, const std::vector<float>& observed,
                       const std::vector<float>& lost = {}) {
  Encounter_store& store = model.job().data.encounters;
  const int i = store.append(History(cells.data(), model.job().status.noccas), -9999.0);
  std::copy(observed.begin(), observed.end(), store.observed(i).begin());
  std::copy(lost.begin(), lost.end(), store.lost_on_capture(i).begin());
  model.job().status.nhist = store.size();
}

}  // namespace tarn
