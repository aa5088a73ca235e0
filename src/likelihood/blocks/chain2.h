#pragma once
// The two-state chain: alive, and dead for good. Step by step, and from a cohort's table.

#include <cstddef>
#include <vector>

#include "data/catalogue/encounter.h"
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

/// One cohort of a group under one set of reals: what each character of each occasion multiplies a living
/// animal's weight with, and the chance of never being seen again. Histories share them, so a step costs one
/// product.
template <class Real>
struct Chain2_cohort {
  std::vector<Real> factors;  ///< interval c, character code k: element 4 (c - 1) + k; code 3 has factor 1
  std::vector<Real> never_again;  ///< after a capture on occasion o: element o - 1
  unsigned made_for = 0;          ///< stamp of the reals

  /// Fills the tables for intervals `first` to `noccas` - 1. `survival(c)` gives the rate of interval c, and
  /// `emitted(character, c)` the emission at its end.
  template <class Survival, class Emitted>
  void make(int first, int noccas, unsigned stamp, Survival survival, Emitted emitted) {
    const std::size_t size = static_cast<std::size_t>(noccas);
    if (factors.empty()) factors.assign(4 * (size + padded_steps), Real(1.0));
    never_again.resize(size);
    never_again[size - 1] = 1.0;
    for (int c = noccas - 1; c >= first; --c) {
      const Real s = survival(c);
      Real* row = factors.data() + 4 * (c - 1);
      for (const char character : live_characters)
        row[live_code(character)] = s * emitted(character, c).alive;
      const std::size_t o = static_cast<std::size_t>(c);
      never_again[o - 1] = (1.0 - s) + row[live_code('0')] * never_again[o];
    }
    made_for = stamp;
  }

  /// Probability of a history of this cohort from its first to its last capture, given by the codes of the
  /// occasions between (see `History_facts`), and of not being seen after it.
  Real prob(const unsigned char* codes, int first, int last) const {
    Real weight = 1.0;
    const Real* row = factors.data() + 4 * (first - 1);
    // Four steps at once: the length of a history is hard to guess for the processor, a fourth of it less so.
    for (int o = first; o < last; o += padded_steps, codes += padded_steps, row += 4 * padded_steps)
      weight = weight * ((row[codes[0]] * row[4 + codes[1]]) * (row[8 + codes[2]] * row[12 + codes[3]]));
    return weight * never_again[static_cast<std::size_t>(last) - 1];
  }
};

/// The cohorts of all groups, each made when a history first asks for it.
template <class Real>
class Chain2_cohorts {
 public:
  /// The cohort of group j with first capture `first`; to be `make`d when its stamp is not that of the reals.
  /// May throw std::bad_alloc when it is met for the first time.
  Chain2_cohort<Real>& at(int j, int first, int noccas) {
    const std::size_t place = static_cast<std::size_t>((j - 1) * noccas + first - 1);
    if (place >= cohorts_.size()) cohorts_.resize(place + 1);
    return cohorts_[place];
  }

 private:
  std::vector<Chain2_cohort<Real>> cohorts_;
};

}  // namespace tarn
