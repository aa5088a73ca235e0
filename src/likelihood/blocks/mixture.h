#pragma once
// Finite mixtures: components with weights that sum to 1.

namespace tarn {

/// Calls `component(m, weight)` for m = 1 to `mixtures`. `weight(m)` gives the weight of component m, and is
/// asked for all but the last, whose weight is what the others leave of 1: negative where they exceed it,
/// which the range penalty then sees.
template <class Real, class Weight, class Component>
void for_each_mixture(int mixtures, Weight&& weight, Component&& component) {
  Real left = 1.0;
  for (int m = 1; m < mixtures; ++m) {
    const Real share = weight(m);
    left -= share;
    component(m, share);
  }
  component(mixtures, left);
}

/// The real parameter's number of the weight of component m: row m, column 1 of a matrix with that many rows,
/// else row 1, column m.
template <class Matrix>
int weight_number(const Matrix& pi, int m) {
  return m <= pi.nrows ? pi(m, 1) : pi(1, m);
}

}  // namespace tarn
