#pragma once

#include <cstdint>

namespace tarn {

/// Uniform numbers on [0, 1), the same on every machine: SplitMix64 (Steele, Lea and Flood 2014), the upper
/// 53 bits of each value.
class Uniform_source {
 public:
  /// A stream of its own for every pair of seed and number.
  Uniform_source(std::uint64_t seed, std::uint64_t stream) : state_(seed) { state_ = next() ^ mixed(stream); }

  double operator()() { return static_cast<double>(next() >> 11U) * 0x1p-53; }
  double between(double low, double high) { return low + (high - low) * (*this)(); }

 private:
  static std::uint64_t mixed(std::uint64_t z) {
    z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27U)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31U);
  }
  std::uint64_t next() {
    state_ += 0x9e3779b97f4a7c15U;
    return mixed(state_);
  }

  std::uint64_t state_;
};

}  // namespace tarn
