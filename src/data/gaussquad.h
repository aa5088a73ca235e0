#pragma once
// The quadrature table of a data set.

#include "job/job.h"

namespace tarn {

/// Allocates and fills `ghqv` and `ghqw` with the `order` nodes and weights of the Gauss-Hermite rule and
/// reports the conditions met and the weights too small for normal numbers. Without memory both stay absent,
/// with a warning.
void gausquadpar(Job& job);

}  // namespace tarn
