#pragma once
// Captures within a session in which the population is closed (Otis et al. 1978; Huggins 1989; Alho 1990).
//
//   states      never caught so far in the session, caught before in it
//   occasion o  never caught:  "1" with p(o), "0" with 1 - p(o), "." (not sampled) with 1
//               caught before: "1" with c(o), "0" with 1 - c(o), "." with 1
//   q           product of 1 - p(o) over the occasions sampled; p* = 1 - q. Where captures are rare the
//               difference has no digits, and the value of p* is the sum of the chances of a first capture
//               on each occasion; the derivatives of -q cancel nowhere.
//
// Around this walk stand
//   mixtures           of the products, weight by weight (Norris and Pollock 1996; Pledger 2000)
//   mis-identification a capture is read rightly with alpha: a first capture that is read wrongly leaves a
//                      history of that one capture, and the animal is never met again under it (Lukacs and
//                      Burnham 2005)
//   a normal effect    on the logits of p and c (Gimenez and Choquet 2010)
//   the condition      that the animal is caught at all: the sum is divided by p*
//
// Within session s, group g: p(o) stands in column o, c(o) in column o - 1, alpha(o) and sigmap(o) in column
// o or the last one; p and c in the row of the mixture, alpha and sigmap in row 1.

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "likelihood/blocks/mixture.h"
#include "likelihood/blocks/quadrature.h"
#include "likelihood/cell/cell.h"
#include "likelihood/cell/history_facts.h"

namespace tarn {

/// Text of the fatal end when a kind outside 1 to 13 is asked for.
inline constexpr std::string_view incorrect_closed_model_text = "Incorrect closed model number specified.";
/// The same as the callers tell it, which test the kind first.
inline constexpr std::string_view invalid_closedmodel_text = "Invalid value for CLOSEDMODEL.";

/// What a closed kind is made of.
struct Closed_traits {
  bool mixtures, recapture, identification, effect, conditional;

  /// @param kind  1 to 13
  constexpr explicit Closed_traits(int kind) {
    identification = kind >= 7 && kind <= 12;
    effect = kind == 13;
    const int base = identification ? kind - 6 : kind;
    mixtures = base >= 3 && base <= 6;
    recapture = base != 3 && base != 5;
    conditional = effect || base == 2 || base == 5 || base == 6;
  }
};

constexpr bool is_closed_kind(int kind) { return kind >= 1 && kind <= 13; }

/// One session's part of a history. Occasions count from the session's first one.
struct Closed_stretch {
  History histry;
  int before = 0;  ///< occasions ahead of the session
  int length = 0;
  int session = 1, group = 1, stratum = 1;
  int first = 0, last = 0;  ///< first and last capture, 0 when there is none
  bool lost = false;        ///< the animal was removed at its last capture, and that in this session

  /// Finds the captures: any character but "0" and ".".
  static Closed_stretch of(History histry, int before, int length, int session, int group, int stratum,
                           bool lost) {
    Closed_stretch stretch{histry, before, length, session, group, stratum, 0, 0, lost};
    for (int o = 1; o <= length; ++o)
      if (stretch.sampled(o) && stretch.caught(o)) {
        if (stretch.first == 0) stretch.first = o;
        stretch.last = o;
      }
    return stretch;
  }

  bool sampled(int o) const { return histry.live(before + o) != '.'; }
  bool sampled_throughout() const {
    for (int o = 1; o <= length; ++o)
      if (!sampled(o)) return false;
    return true;
  }
  /// Whether a capture, if there is one, could be on one occasion only.
  bool sampled_once() const {
    int occasions = 0;
    for (int o = 1; o <= length; ++o) occasions += sampled(o) ? 1 : 0;
    return occasions == 1;
  }
  /// Of an occasion sampled.
  bool caught(int o) const { return histry.live(before + o) != '0'; }
  /// Last occasion that says anything of the animal itself: a removed one could be caught no more.
  int last_open() const { return lost && last > 0 ? last : length; }
};

/// What a thread keeps for `closmods`.
template <class Real>
struct Closed_kept {
  Node_tables<Real> nodes;
};

/// What a family of one closed session prepares and keeps.
struct One_closed_session {
  using Prepared = Record_facts<History_facts>;
  template <class Real>
  struct Kept : Closed_kept<Real> {
    History_facts made_up;
  };
};

/// What `closmods` gives.
template <class Real>
struct Closed_result {
  Real prob;   ///< of the stretch; in the conditional kinds given at least one capture, 0 without a capture
  Real pstar;  ///< chance of at least one capture on the occasions sampled
};

/// A p* below this is no difference 1 - q, which has lost digits that count.
inline constexpr double rarely_caught = 0.5;

/// log(max(q, `minlog`)) of the chance q of no capture, which a full kind gives of a stretch without one. Of
/// animals never caught there are the more the closer that chance is to 1. Where few are missed it is a
/// product with all its digits, and 1 - p* is not.
template <class Real>
Real log_never_met(const Closed_result<Real>& closed) {
  return value_of(closed.pstar) < rarely_caught ? log_of_rest(closed.pstar) : floored_log(closed.prob);
}

namespace detail {

template <class Real>
struct Closed_products {
  Real h;  ///< of the stretch as it is
  Real q;  ///< of no capture
};

/// p* of a chance q of no capture. `first_captures()` gives its value as a sum of products.
template <class Real, class Sum>
Real caught_at_all(const Real& q, const Sum& first_captures) {
  const Real difference = 1.0 - q;
  return value_of(difference) < rarely_caught ? complement(q, first_captures()) : difference;
}

/// Sum over the occasions sampled of the chance that the first capture comes there.
template <class First>
auto first_captures(const Closed_stretch& stretch, const First& p) {
  std::decay_t<decltype(plain(p(1)))> sum = 0.0, missed = 1.0;
  for (int o = 1; o <= stretch.length; ++o) {
    if (!stretch.sampled(o)) continue;
    const auto& rate = plain(p(o));
    sum += missed * rate;
    missed *= 1.0 - rate;
  }
  return sum;
}

/// The walk. `p(o)` and `c(o)` give the rates; `read(later)` turns the product of the occasions after the
/// first capture into that with the chances of being read rightly.
template <class Real, class First, class Again, class Read>
Closed_products<Real> closed_walk(const Closed_stretch& stretch, const First& p, const Again& c,
                                  const Read& read) {
  // c(o) times `slope` plus `base`: tables and not branches, because captures come in no order that could be
  // guessed.
  static constexpr std::array<double, 2> base{1.0, 0.0}, slope{-1.0, 1.0};
  Real q = 1.0;
  const int ahead = stretch.first > 0 ? stretch.first - 1 : stretch.length;
  for (int o = 1; o <= ahead; ++o)
    if (stretch.sampled(o)) q = q * (1.0 - p(o));
  if (stretch.first == 0) return {q, q};
  const Real met = q * p(stretch.first);
  q = q * (1.0 - p(stretch.first));
  Real later = 1.0;
  int o = stretch.first + 1;
  for (const int open = stretch.last_open(); o <= open; ++o) {
    if (!stretch.sampled(o)) continue;
    const std::size_t code = stretch.caught(o) ? 1 : 0;
    q = q * (1.0 - p(o));
    later = later * (slope[code] * c(o) + base[code]);
  }
  for (; o <= stretch.length; ++o)
    if (stretch.sampled(o)) q = q * (1.0 - p(o));
  return {met * read(later), q};
}

/// One mixture: rows m of p and c, and alpha where the kind has it. Not yet divided by p*.
template <class Real>
Closed_result<Real> closed_component(Cell_work<Real>& work, const Closed_stretch& stretch,
                                     Closed_traits traits, int m, const Reals<Real>& parm) {
  const auto matrix = [&](Parameter parameter) {
    return work.matrix(parameter, stretch.stratum, stretch.session, stretch.group);
  };
  const auto first = matrix(Parameter::p), again = matrix(traits.recapture ? Parameter::c : Parameter::p);
  const auto caught = first.row(m), recaught = again.row(m);
  const int shift = traits.recapture ? 1 : 0;
  const auto p = [&](int o) -> const Real& { return parm[caught[o]]; };
  const auto c = [&](int o) -> const Real& { return parm[recaught[o - shift]]; };
  const auto whole = [&](const Closed_products<Real>& walked) -> Closed_result<Real> {
    return {walked.h, caught_at_all(walked.q, [&] { return first_captures(stretch, p); })};
  };
  if (!traits.identification || stretch.first == 0)
    return whole(closed_walk<Real>(stretch, p, c, [](const Real& later) -> const Real& { return later; }));
  const auto alphas = matrix(Parameter::alpha);
  const Real& alpha = parm[alphas(1, std::min(stretch.first, alphas.ncols))];
  const bool once = stretch.first == stretch.last;
  return whole(closed_walk<Real>(stretch, p, c, [&](const Real& later) {
    const Real rightly = alpha * later;
    return once ? Real(1.0 - alpha + rightly) : rightly;
  }));
}

/// Kind 13, integrated over the nodes. Not yet divided by p*.
template <class Real>
Closed_result<Real> closed_over_nodes(const Job& job, Cell_work<Real>& work, Closed_kept<Real>& kept,
                                      const Closed_stretch& stretch, const Reals<Real>& parm) {
  const Node_rule rule(job);
  Node_table<Real>& table = kept.nodes.at(job, stretch.stratum, stretch.session, stretch.group);
  const int n = stretch.length;
  table.begin(rule, 2 * n, parm.stamp());

  const auto matrix = [&](Parameter parameter) {
    return work.matrix(parameter, stretch.stratum, stretch.session, stretch.group);
  };
  const auto p_matrix = matrix(Parameter::p), c_matrix = matrix(Parameter::c),
             sigmas = matrix(Parameter::sigmap);
  const auto require = [&](int column, const auto& rates, int rate_column, int o) {
    table.require(work, rule, column, rates(1, rate_column), sigmas(1, std::min(o, sigmas.ncols)), parm);
  };
  const int open = stretch.last_open();
  for (int o = 1; o <= n; ++o) {
    if (!stretch.sampled(o)) continue;
    require(o - 1, p_matrix, o, o);
    if (stretch.first > 0 && o > stretch.first && o <= open) require(n + o - 1, c_matrix, o - 1, o);
  }

  Closed_products<Real> sum{0.0, 0.0};
  const Real* rates = nullptr;
  const std::ptrdiff_t order = rule.order;
  const auto enter = [&](int, int k) { rates = table.column(0) + k; };
  // Of the node in hand, which the walk holds by value: a reference would be read anew at every occasion.
  const auto p_of = [order](const Real* node) {
    return [node, order](int o) -> const Real& { return node[(o - 1) * order]; };
  };
  for_each_node<1>(rule, enter, [&](double weight) {
    const Closed_products<Real> node =
        closed_walk<Real>(stretch, p_of(rates), p_of(rates + n * order),
                          [](const Real& later) -> const Real& { return later; });
    // A node at which no animal can be caught adds to the product of no capture alone: its h is 0.
    sum.q += weight * node.q;
    sum.h += weight * node.h;
  });
  sum.h /= node_divisor[1];
  sum.q /= node_divisor[1];
  return {sum.h, caught_at_all(sum.q, [&] {
            decltype(first_captures(stretch, p_of(rates))) star = 0.0;
            for_each_node<1>(rule, enter,
                             [&](double weight) { star += weight * first_captures(stretch, p_of(rates)); });
            return star / node_divisor[1];
          })};
}

}  // namespace detail

/// Probability of one session's stretch of a history, and of a capture in that session, under closed kind
/// `closedmodel`. The full kinds give the probability of the stretch itself, without a capture that of no
/// capture; the conditional kinds divide by p*, and give `minlog` where p* vanishes. After a removal the
/// remaining occasions count in p* only: the animal could have been caught on any of them before.
/// A kind outside 1 to 13 is a fault of history i. Of the matrices only the cells of occasions sampled are
/// read.
template <class Real>
Closed_result<Real> closmods(const Job& job, Cell_work<Real>& work, Closed_kept<Real>& kept, int i,
                             const Closed_stretch& stretch, int closedmodel, const Reals<Real>& parm) {
  if (!is_closed_kind(closedmodel)) {
    work.fail(i, incorrect_closed_model_text);
    return {minlog, 0.0};
  }
  const Closed_traits traits(closedmodel);
  Closed_result<Real> sum{0.0, 0.0};
  if (traits.effect) {
    sum = detail::closed_over_nodes(job, work, kept, stretch, parm);
  } else if (traits.mixtures) {
    const auto pi = work.matrix(Parameter::pi, stretch.stratum, stretch.session, stretch.group);
    for_each_mixture<Real>(
        job.status.nmixtures, [&](int m) -> const Real& { return parm[weight_number(pi, m)]; },
        [&](int m, const Real& weight) {
          const Closed_result<Real> component = detail::closed_component(work, stretch, traits, m, parm);
          sum.prob += weight * component.prob;
          sum.pstar += weight * component.pstar;
        });
  } else {
    sum = detail::closed_component(work, stretch, traits, 1, parm);
  }
  if (!traits.conditional) return sum;
  if (stretch.first == 0)
    sum.prob = 0.0;
  else if (vanishes(sum.pstar))
    sum.prob = minlog;
  else if (stretch.first == stretch.last && stretch.sampled_once())
    sum.prob = 1.0;  // the quotient of two equal chances, which rounding would charge for
  else
    sum.prob = sum.prob / sum.pstar;
  return sum;
}

}  // namespace tarn
