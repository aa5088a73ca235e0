#pragma once
// A search for the least value of a function with kinks.

#include "optimizers/objective.h"
#include "optimizers/optmiz.h"

namespace tarn {

/// Goes on from `vectors.x` towards a minimum that may lie on a kink: full-memory BFGS with a line search
/// that asks for decrease and a slope that has risen, and no more (Lewis and Overton 2013). Of the points
/// that are as good as the best to `alike` it ends at the one whose largest element of the gradient is least:
/// beside a kink the side on which the function is flatter. `vectors.g` is the gradient there; `vectors.h` is
/// left alone.
/// @param most  most evaluations
/// @return the value at the end and the evaluations made; the code is left at 0
Minimiser_end kink_search(const Gradient_objective& objective, const Search_vectors& vectors, double alike,
                          int most);

}  // namespace tarn
