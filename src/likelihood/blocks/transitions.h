#pragma once
// What an interval does to animals that live in strata (Arnason 1973; Brownie et al. 1993; Lebreton et al.
// 2009): those of stratum a survive with S_a and are then shared out by the transitions Psi(a, .); what those
// to other strata leave of 1 stays.

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "likelihood/blocks/rates.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// What is left of a row of chances whose others leave nothing.
inline constexpr double least_rest = 2.220446049250313e-16;

/// The last chance of a row, given what the others leave of 1. Gives twice that, which is not positive, where
/// it is nothing, and else 0.
template <class Real>
Real rest_of_row(Real& rest) {
  // KEPT: a row that leaves nothing keeps a rounding unit, and sums to more than 1; it is charged in serial
  // runs only, wherever the animal is. Looks wrong, is required.
  if (!vanishes(rest)) return 0.0;
  const Real over = 2.0 * rest;
  rest = least_rest;
  return over;
}

/// The transitions from stratum a into psi[0 .. strata - 1]; number(matrix) is that of the real parameter in
/// a matrix of Psi of group j. Gives the charge of a row that is over-full.
template <class Real, class Number>
Real fill_transitions(int a, int strata, int j, const Number& number, const Reals<Real>& parm,
                      Cell_work<Real>& work, Real* psi) {
  Real stays = 1.0;
  for (int b = 1; b <= strata; ++b) {
    if (b == a) continue;
    const auto matrix = work.matrix(Parameter::Psi, a, b, j);
    // A transition without a matrix does not happen.
    const Real moves = matrix.nrows > 0 ? parm[number(matrix)] : Real(0.0);
    stays = stays - moves;
    psi[b - 1] = moves;
  }
  const Real over = rest_of_row(stays);
  psi[a - 1] = stays;
  return over;
}

/// The same, all in `row` and `column` of their matrices.
template <class Real>
Real fill_transitions(int a, int strata, int row, int column, int j, const Reals<Real>& parm,
                      Cell_work<Real>& work, Real* psi) {
  return fill_transitions(
      a, strata, j, [=](const auto& matrix) { return matrix(row, column); }, parm, work, psi);
}

/// Calls visit(a, b) for every matrix of Psi that is read.
template <class Visit>
void for_each_transition(int strata, const Visit& visit) {
  for (int a = 1; a <= strata; ++a)
    for (int b = 1; b <= strata; ++b)
      if (b != a) visit(a, b);
}

/// States that count, by number from 0.
struct State_set {
  const unsigned char* states = nullptr;  ///< nullptr: the first `count`
  std::size_t count = 0;

  static State_set all(std::size_t n) { return {nullptr, n}; }
  static State_set of(const std::vector<unsigned char>& states) { return {states.data(), states.size()}; }
  static State_set only(const unsigned char& state) { return {&state, 1}; }
  std::size_t operator[](std::size_t k) const { return states == nullptr ? k : states[k]; }
};

/// weights * matrix, into `next`; element (a, b) of the matrix at a n + b. Weights outside `from` are not
/// looked at; outside `to` the result is 0.
template <class S>
void carry(std::size_t n, const S* weights, const State_set& from, const S* matrix, const State_set& to,
           S* next) {
  const bool everywhere = to.count == n;
  if (!everywhere || from.count == 0) std::fill(next, next + n, S(0.0));
  for (std::size_t k = 0; k < from.count; ++k) {
    const std::size_t a = from[k];
    const S& weight = weights[a];
    const S* const row = matrix + a * n;
    if (!everywhere)
      for (std::size_t m = 0; m < to.count; ++m) next[to[m]] = next[to[m]] + weight * row[to[m]];
    else if (k == 0)
      for (std::size_t b = 0; b < n; ++b) next[b] = weight * row[b];
    else
      for (std::size_t b = 0; b < n; ++b) next[b] = next[b] + weight * row[b];
  }
}

}  // namespace tarn
