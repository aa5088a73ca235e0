#pragma once
// The two-state chain: alive, and dead for good.

#include "likelihood/blocks/emission.h"

namespace tarn {

/// Weights of the two states over what has been seen so far; starts alive.
template <class Real>
struct Chain2 {
  Real alive = 1.0, dead = 0.0;

  /// One interval, survived with `survival`, and the occasion at its end.
  void step(const Real& survival, const Emission<Real>& seen) {
    dead = (dead + alive * (1.0 - survival)) * seen.dead;
    alive = alive * (survival * seen.alive);
  }
  Real prob() const { return alive + dead; }
};

}  // namespace tarn
