#pragma once
// Derived rates and probabilities.

#include "derived/derivedest.h"

namespace tarn {

/// Survival over the study by group: the product of `S` (young survival: `Phi`) over the intervals, each to
/// the power of its length, from row 1 of the matrix. Kaplan and Meier (1958).
/// The interval behind the last occasion counts where the data type watches it.
void kmprod(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

}  // namespace tarn
