#pragma once
// Normal random effects on the logit scale, integrated by Gauss-Hermite quadrature (Gimenez and Choquet
// 2010).

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

#include "data/catalogue/datatype.h"
#include "job/job.h"
#include "numerics/special.h"

namespace tarn {

inline constexpr double root_two = 1.4142135623730951;
/// What a sum over the nodes of so many effects is divided by: the root of pi to that power.
inline constexpr std::array<double, 5> node_divisor{1.0, 1.7724538509055159, 3.141592653589793,
                                                    5.568327996831707, 9.869604401089358};

/// Nodes and weights of the data set, counted from 0.
struct Node_rule {
  explicit Node_rule(const Job& job)
      : x(job.data.ghqv.data()), w(job.data.ghqw.data()), order(static_cast<int>(job.data.ghqv.extent())) {}
  const double* x;
  const double* w;
  int order;
};

/// Loops over the nodes of `effects` random effects, nested. `enter(effect, k)` tells that an effect (from 0,
/// outermost first) has gone to node k (from 0): there the tables of that effect are made, outside the loops
/// within. `visit(weight)` gets the product of the weights of the nodes that are in force.
template <int effects, class Enter, class Visit>
void for_each_node(const Node_rule& rule, Enter&& enter, Visit&& visit, double weight = 1.0, int effect = 0) {
  static_assert(effects >= 1 && effects <= 4);
  for (int k = 0; k < rule.order; ++k) {
    enter(effect, k);
    const double product = weight * rule.w[k];
    if constexpr (effects == 1) {
      visit(product);
    } else {
      for_each_node<effects - 1>(rule, enter, visit, product, effect + 1);
    }
  }
}

/// What the odds of a rate are multiplied with at node x under standard deviation `sigma`, which must be
/// below `largest_deviation`: exp(root_two sigma x), never 0 and never infinite.
template <class Real>
Real odds_factor(const Real& sigma, double x) {
  return exprep(sigma * (root_two * x));
}

/// expit(logit(rate) + log(factor)), written with odds so that a node costs one division and neither a
/// logarithm nor an exponential. A rate outside 0 to 1 counts as the end of the range, a NaN as 0.
template <class Real>
Real shifted_rate(const Real& rate, const Real& factor) {
  const double r = value_of(rate);
  if (!(r > 0.0)) return 0.0;
  if (!(r < 1.0)) return 1.0;
  return with_odds_times(rate, factor);
}

/// The rates of one session at every node of an effect that they share. A column is a rate of one occasion;
/// columns are made when a history first asks for them, so that no cell of a matrix is read that no history
/// reaches.
template <class Real>
class Node_table {
 public:
  /// Keeps what was made for the same stamp and shape; stamp 0 keeps nothing. May throw std::bad_alloc when
  /// the table grows.
  void begin(const Node_rule& rule, int columns, std::uint64_t stamp) {
    if (stamp != 0 && stamp == stamp_ && columns == columns_) return;
    stamp_ = stamp;
    columns_ = columns;
    deviation_ = 0;
    made_.assign(static_cast<std::size_t>(columns), 0);
    factors_.resize(static_cast<std::size_t>(rule.order));
    rates_.resize(factors_.size() * made_.size());
  }

  bool made(int column) const { return made_[static_cast<std::size_t>(column)] != 0; }

  /// Makes a column (from 0) unless it is there: real parameter `rate` under the standard deviation `sigma`,
  /// both by number.
  template <class Work>
  void require(Work& work, const Node_rule& rule, int column, int rate, int sigma, const Reals<Real>& parm) {
    if (made(column)) return;
    const auto keep = work.trace.keep();
    make(rule, column, parm[rate], sigma, parm[sigma]);
  }

  /// Makes a column (from 0): `rate` under the standard deviation `sigma`, whose parameter number tells
  /// whether its factors are at hand.
  void make(const Node_rule& rule, int column, const Real& rate, int sigma_number, const Real& sigma) {
    made_[static_cast<std::size_t>(column)] = 1;
    // KEPT: from a standard deviation of 7.5 on the rate is 0 at every node; looks wrong, is required.
    const bool vanished = !(value_of(sigma) < largest_deviation);
    if (!vanished && deviation_ != sigma_number) make_factors(rule, sigma_number, sigma);
    const std::size_t order = factors_.size();
    Real* cell = rates_.data() + static_cast<std::size_t>(column) * order;
    const double r = value_of(rate);
    if (vanished || !(r > 0.0 && r < 1.0)) {
      std::fill(cell, cell + order, vanished ? Real(0.0) : shifted_rate(rate, Real(1.0)));
      return;
    }
    // Node after node in memory: with covariates the divisions of a record cost more than its walks.
    const Real* factor = factors_.data();
#pragma omp simd
    for (std::size_t k = 0; k < order; ++k) cell[k] = with_odds_times(rate, factor[k]);
  }

  /// The rates of a column at all nodes, from 0.
  const Real* column(int c) const { return rates_.data() + static_cast<std::size_t>(c) * factors_.size(); }

 private:
  void make_factors(const Node_rule& rule, int sigma_number, const Real& sigma) {
    deviation_ = sigma_number;
    for (int k = 0; k < rule.order; ++k)
      factors_[static_cast<std::size_t>(k)] = odds_factor(sigma, rule.x[k]);
  }

  std::uint64_t stamp_ = 0;
  int columns_ = 0;
  int deviation_ = 0;  ///< number of the parameter that `factors_` were made with, 0 for none
  std::vector<char> made_;
  std::vector<Real> factors_, rates_;
};

/// The tables of all sessions, strata and groups, each made when a history first asks for it.
template <class Real>
class Node_tables {
 public:
  /// May throw std::bad_alloc when the place is met for the first time.
  Node_table<Real>& at(const Job& job, int stratum, int session, int group) {
    const Model_arrays& model = job.model;
    const std::size_t sessions = static_cast<std::size_t>(model.pim2index3upbd - model.pim2index3lobd + 1),
                      strata = static_cast<std::size_t>(model.pim2index2upbd - model.pim2index2lobd + 1);
    const std::size_t place = (static_cast<std::size_t>(group - 1) * sessions +
                               static_cast<std::size_t>(session - model.pim2index3lobd)) *
                                  strata +
                              static_cast<std::size_t>(stratum - model.pim2index2lobd);
    if (place >= tables_.size()) tables_.resize(place + 1);
    return tables_[place];
  }

 private:
  std::vector<Node_table<Real>> tables_;
};

}  // namespace tarn
