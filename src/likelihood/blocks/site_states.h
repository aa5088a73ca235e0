#pragma once
// States of sites and how they change, shared by histories and what is derived. `rate(Parameter)` gives a
// real parameter of the group, and of the interval, in hand.

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "data/catalogue/parameter.h"
#include "numerics/array.h"
#include "numerics/special.h"

namespace tarn {

/// Empty, occupied in state 1, occupied in state 2: occupied with `psi`, then in state 2 with `second`
/// (Nichols et al. 2007; MacKenzie et al. 2009).
template <class Real>
void occupied_in_two_states(const Real& psi, const Real& second, std::span<Real> row) {
  row[0] = 1.0 - psi;
  row[1] = psi * (1.0 - second);
  row[2] = psi * second;
}

/// Two species, of which B may depend on A: both, A only, B only, neither (Richmond et al. 2010).
template <class Real, class Rate>
void shares_of_two_species(const Rate& rate, std::span<Real> shares) {
  const Real a = rate(Parameter::PsiA), with_a = rate(Parameter::PsiBA), without_a = rate(Parameter::PsiBa);
  shares[0] = a * with_a;
  shares[1] = a * (1.0 - with_a);
  shares[2] = (1.0 - a) * without_a;
  shares[3] = (1.0 - a) * (1.0 - without_a);
}

/// What an interval does to them: given the state the two come and go independently. Element (z, y) at 4 z +
/// y.
template <class Real, class Rate>
void changes_of_two_species(const Rate& rate, std::span<Real> m) {
  // Chances that A and B are there next, by state.
  const std::array<Real, 4> a{1.0 - rate(Parameter::EpsilonAB), 1.0 - rate(Parameter::EpsilonA),
                              rate(Parameter::GammaAB), rate(Parameter::GammaA)},
      b{1.0 - rate(Parameter::EpsilonBA), rate(Parameter::GammaBA), 1.0 - rate(Parameter::EpsilonB),
        rate(Parameter::GammaB)};
  for (std::size_t z = 0; z < 4; ++z) {
    m[4 * z] = a[z] * b[z];
    m[4 * z + 1] = a[z] * (1.0 - b[z]);
    m[4 * z + 2] = (1.0 - a[z]) * b[z];
    m[4 * z + 3] = (1.0 - a[z]) * (1.0 - b[z]);
  }
}

/// Shares of the sets of species: of each proportional to the exponential of the sum of f over the sets that
/// it holds (Rota et al. 2016). f(column) for the first `columns` columns of `design`; of others it is 0.
template <class Real, class Term>
void shares_of_sets(const Array2<int>& design, int columns, const Term& f, std::span<Real> shares) {
  double largest = 0.0;  // the empty set has 0
  for (std::size_t z = 0; z < shares.size(); ++z) {
    Real eta = 0.0;
    for (int column = 1; column <= std::min(design.extent(2), columns); ++column)
      if (design(static_cast<int>(z) + 1, column) != 0) eta = eta + f(column);
    shares[z] = eta;
    largest = std::max(largest, value_of(eta));
  }
  Real sum = 0.0;
  for (Real& share : shares) {
    share = exprep(share - largest);
    sum = sum + share;
  }
  for (Real& share : shares) share = share / sum;
}

}  // namespace tarn
