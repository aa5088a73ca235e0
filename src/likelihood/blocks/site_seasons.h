#pragma once
// What the surveys of one season show of a site that is occupied throughout it, or not at all (MacKenzie et
// al. 2002).
//
//   occupied   survey j: "1" with p(j), "0" with 1 - p(j), "." (not surveyed) with 1; "2" is a detection, too
//   empty      "0" and "." with 1
//
// An occupied site may also be
//   of a mixture of kinds, each with its p (Royle 2006)
//   one with a normal effect of its own on the logit of p, in every season anew (Royle 2006)
//   surveyed with errors (Miller et al. 2011, 2013): then p11 stands for p, a detection is certain ("2") with
//     b; at an empty site there is an uncertain one ("1") with p10
//   a trail of segments, each used or not (Hines et al. 2010): the first with Theta(1), any other with
//     Theta' behind one that is used, else with Theta; p where it is used
//   a set of local units of L surveys each, a unit used with Theta (Nichols et al. 2008; Pavlacky et al.
//     2012)
//   present for a while only (Kendall et al. 2013): it arrives ahead of survey j with b(j), which sum to 1,
//     and is gone behind survey j with d(j); p while it is present
//
// A season must have a survey. Rates of survey j stand in row 1, or that of the mixture, column j of the
// season's matrix.

#include <algorithm>
#include <array>
#include <cstddef>

#include "data/catalogue/encounter.h"
#include "likelihood/blocks/mixture.h"
#include "likelihood/blocks/open_session.h"
#include "likelihood/blocks/quadrature.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// The surveys of one season at one site, counted from 1.
struct Season {
  History histry;
  int before = 0;  ///< occasions ahead of it
  int length = 0;
  int number = 1, group = 1;

  bool surveyed(int j) const { return tarn::surveyed(histry, before + j); }
  bool detected(int j) const { return detection(j) != 0; }
  /// 1 of a detection, else 0; without a branch.
  std::size_t detection(int j) const {
    const int cell = (sign(j) ^ '0') | (second_sign(j) ^ '0');
    return static_cast<std::size_t>(cell != 0);
  }
  bool any_survey() const {
    for (int j = 1; j <= length; ++j)
      if (surveyed(j)) return true;
    return false;
  }
  char sign(int j) const { return histry.live(before + j); }
  char second_sign(int j) const { return histry.dead(before + j); }
};

/// Chances of what a season shows, by the state of the site.
template <class Real>
struct Season_shown {
  Real occupied = 1.0, empty = 1.0;
};

/// Surveys `from` to `to` of a season, `rate(j)` the chance of a detection at an occupied site. Only rates of
/// surveys that took place are asked for.
template <class Real, class Rate>
Season_shown<Real> surveys_of(const Season& season, int from, int to, const Rate& rate) {
  // The rate times `slope` plus `base`: tables and not branches, because detections come in no order that
  // could be guessed.
  static constexpr std::array<double, 2> base{1.0, 0.0}, slope{-1.0, 1.0};
  Real product = 1.0;
  std::size_t seen = 0;
  for (int j = from; j <= to; ++j) {
    if (!season.surveyed(j)) continue;
    const std::size_t code = season.detection(j);
    seen |= code;
    product = product * (slope[code] * rate(j) + base[code]);
  }
  return {product, seen != 0 ? 0.0 : 1.0};
}

/// Column of item c, of n, in a matrix that may lack the first ones.
template <class Matrix>
int column_from_right(const Matrix& matrix, int c, int n) {
  return c - (n - matrix.ncols);
}

namespace detail {

template <class Real>
decltype(auto) season_matrix(Cell_work<Real>& work, Parameter parameter, const Season& season) {
  return work.matrix(parameter, 1, season.number, season.group);
}

/// Surveys of the whole season with the rates of row r of a matrix of p.
template <class Real, class Matrix>
Season_shown<Real> surveys_in_row(const Season& season, const Matrix& matrix, int r,
                                  const Reals<Real>& parm) {
  const auto rates = matrix.row(r);
  return surveys_of<Real>(season, 1, season.length, [&](int j) -> const Real& { return parm[rates[j]]; });
}

}  // namespace detail

/// One detection rate a survey.
template <class Real>
Season_shown<Real> plain_surveys(const Season& season, const Reals<Real>& parm, Cell_work<Real>& work) {
  return detail::surveys_in_row<Real>(season, detail::season_matrix(work, Parameter::p, season), 1, parm);
}

template <class Real>
Season_shown<Real> surveys_of_mixture(const Job& job, const Season& season, const Reals<Real>& parm,
                                      Cell_work<Real>& work) {
  const auto pi = detail::season_matrix(work, Parameter::pi, season),
             p = detail::season_matrix(work, Parameter::p, season);
  Season_shown<Real> sum{0.0, 1.0};
  for_each_mixture<Real>(
      job.status.nmixtures, [&](int m) -> const Real& { return parm[weight_number(pi, m)]; },
      [&](int m, const Real& weight) {
        const Season_shown<Real> one = detail::surveys_in_row<Real>(season, p, m, parm);
        sum.occupied += weight * one.occupied;
        sum.empty = one.empty;
      });
  return sum;
}

/// A normal effect, integrated over the nodes.
template <class Real>
Season_shown<Real> surveys_with_effect(const Job& job, const Season& season, const Reals<Real>& parm,
                                       Cell_work<Real>& work, Node_tables<Real>& nodes) {
  const auto p = detail::season_matrix(work, Parameter::p, season),
             sigmas = detail::season_matrix(work, Parameter::sigmap, season);
  const Node_rule rule(job);
  Node_table<Real>& table = nodes.at(job, 1, season.number, season.group);
  table.begin(rule, season.length, parm.stamp());
  bool effect = false;
  for (int j = 1; j <= season.length; ++j) {
    if (!season.surveyed(j)) continue;
    const int sigma = sigmas(1, std::min(j, sigmas.ncols));
    effect = effect || !vanishes(parm[sigma]);
    table.require(work, rule, j - 1, p(1, j), sigma, parm);
  }
  if (!effect) return detail::surveys_in_row<Real>(season, p, 1, parm);
  Season_shown<Real> sum{0.0, 1.0};
  const Real* rates = nullptr;
  for_each_node<1>(
      rule, [&](int, int k) { rates = table.column(0) + k; },
      [&](double weight) {
        const Season_shown<Real> node =
            surveys_of<Real>(season, 1, season.length, [rates, order = rule.order](int j) -> const Real& {
              return rates[static_cast<std::ptrdiff_t>(j - 1) * order];
            });
        sum.occupied += weight * node.occupied;
        sum.empty = node.empty;
      });
  sum.occupied /= node_divisor[1];
  return sum;
}

/// Detections that may be false, and such as are certain.
template <class Real>
Season_shown<Real> surveys_with_errors(const Season& season, const Reals<Real>& parm, Cell_work<Real>& work) {
  const auto p10 = detail::season_matrix(work, Parameter::p10, season),
             p11 = detail::season_matrix(work, Parameter::p11, season),
             b = detail::season_matrix(work, Parameter::b, season);
  Season_shown<Real> product;
  for (int j = 1; j <= season.length; ++j) {
    if (!season.surveyed(j)) continue;
    const Real &right = parm[p11(1, j)], &wrong = parm[p10(1, j)];
    if (!season.detected(j)) {
      product.occupied = product.occupied * (1.0 - right);
      product.empty = product.empty * (1.0 - wrong);
      continue;
    }
    const bool certain = season.sign(j) == '2';
    const Real& sure = parm[b(1, j)];
    product.occupied = product.occupied * (right * (certain ? sure : Real(1.0 - sure)));
    product.empty = certain ? Real(0.0) : Real(product.empty * wrong);
  }
  return product;
}

/// Segments of a trail, each surveyed once.
template <class Real>
Season_shown<Real> surveys_of_trail(const Season& season, const Reals<Real>& parm, Cell_work<Real>& work) {
  const auto theta = detail::season_matrix(work, Parameter::Theta, season),
             behind_use = detail::season_matrix(work, Parameter::Theta_prime, season),
             p = detail::season_matrix(work, Parameter::p, season);
  const int n = season.length;
  Real used = 0.0, unused = 1.0;
  bool seen = false;
  for (int c = 1; c <= n; ++c) {
    const Real& begins = parm[theta(1, column_from_right(theta, c, n))];
    if (c == 1) {
      used = begins;
      unused = 1.0 - begins;
    } else {
      const Real& goes_on = parm[behind_use(1, column_from_right(behind_use, c, n))];
      const Real next = used * goes_on + unused * begins;
      unused = used * (1.0 - goes_on) + unused * (1.0 - begins);
      used = next;
    }
    if (!season.surveyed(c)) continue;
    const Real& rate = parm[p(1, c)];
    if (season.detected(c)) {
      seen = true;
      used = used * rate;
      unused = 0.0;
    } else {
      used = used * (1.0 - rate);
    }
  }
  return {used + unused, seen ? 0.0 : 1.0};
}

/// Local units, of `nmixtures` surveys each; surveys behind the last whole unit do not count.
template <class Real>
Season_shown<Real> surveys_of_units(const Job& job, const Season& season, const Reals<Real>& parm,
                                    Cell_work<Real>& work) {
  const int each = std::max(job.status.nmixtures, 1);
  const auto theta = detail::season_matrix(work, Parameter::Theta, season);
  Season_shown<Real> product;
  for (int k = 1; k <= season.length / each; ++k) {
    const int ahead = (k - 1) * each;
    bool any = false;
    for (int d = 1; d <= each; ++d) any = any || season.surveyed(ahead + d);
    if (!any) continue;
    // Of one season a description that tells sessions and no units has them in the third index.
    const auto own = work.matrix(Parameter::p, k, season.number, season.group);
    const bool by_session = own.nrows == 0 && !datatype(job.status.dattyp).sessions;
    const auto p = by_session ? work.matrix(Parameter::p, 1, k, season.group) : own;
    const auto rates = p.row(1);
    const Season_shown<Real> unit = surveys_of<Real>(
        season, ahead + 1, ahead + each, [&](int j) -> const Real& { return parm[rates[j - ahead]]; });
    const Real& used = parm[theta(1, k)];
    product.occupied = product.occupied * (used * unit.occupied + (1.0 - used) * unit.empty);
    product.empty = product.empty * unit.empty;
  }
  return product;
}

/// Arrival and departure within the season.
template <class Real>
Season_shown<Real> surveys_in_passing(const Job& job, const Season& season, const Reals<Real>& parm,
                                      Cell_work<Real>& work) {
  const int n = season.length;
  int last = 0;
  bool seen = false;
  for (int j = 1; j <= n; ++j)
    if (season.surveyed(j)) {
      last = j;
      seen = seen || season.detected(j);
    }
  const std::size_t size = static_cast<std::size_t>(n);
  const std::span<Real> arrive = work.take(size), absent = work.take(size);
  arrivals_of<Real>(job, Open_traits(), {1, season.number, season.group, n}, parm, work, arrive, absent);
  const auto p = detail::season_matrix(work, Parameter::p, season),
             d = n > 1 ? detail::season_matrix(work, Parameter::d, season) : p;
  // `before` is the share of those not arrived yet that is still possible: none once there was a detection.
  Real present = 0.0, gone = 0.0;
  bool waiting = true;
  for (int j = 1; j <= last; ++j) {
    if (j > 1) {
      const Real& leaves = parm[d(1, j - 1)];
      gone = gone + present * leaves;
      present = present * (1.0 - leaves);
    }
    if (waiting) present = present + arrive[static_cast<std::size_t>(j) - 1];
    if (!season.surveyed(j)) continue;
    const Real& rate = parm[p(1, j)];
    if (season.detected(j)) {
      present = present * rate;
      gone = 0.0;
      waiting = false;
    } else {
      present = present * (1.0 - rate);
    }
  }
  const Real rest = present + gone;
  return {waiting ? Real(rest + absent[static_cast<std::size_t>(last) - 1]) : rest, seen ? 0.0 : 1.0};
}

}  // namespace tarn
