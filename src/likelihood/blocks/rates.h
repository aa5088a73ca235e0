#pragma once
// Rates of an interval: r to the power of the interval's length.

#include <array>
#include <cstddef>
#include <type_traits>

#include "likelihood/cell/cell.h"

namespace tarn {

/// Powers met before. A fit without covariates asks for the same few (rate, length) pairs in every history,
/// and a power costs ten times what a step of a chain does. An entry answers only for the very base and
/// exponent that it was made with, so it is never out of date.
class Power_memo {
 public:
  /// pow(base, exponent); `place` spreads the entries and may be any number.
  double operator()(double base, double exponent, std::size_t place) {
    Entry& entry = entries_[place % entries_.size()];
    if (entry.base != base || entry.exponent != exponent) entry = {base, exponent, pow(base, exponent)};
    return entry.power;
  }

 private:
  struct Entry {
    double base = 0.0, exponent = 1.0, power = 0.0;
  };
  std::array<Entry, 1024> entries_{};
};

/// The rates of one cell over the intervals of the study.
template <class Real>
class Interval_rates {
 public:
  /// Real parameters and powers must outlive the object.
  Interval_rates(const Job& job, const Reals<Real>& parm, Power_memo& powers)
      : parm_(parm.before()),
        lengths_(job.data.timevy == 0 ? nullptr : job.data.timint.data() - 1),
        powers_(&powers) {}

  /// Rate `parm[number]` over interval c: r^timint(c); r itself, without a power, when `timevy` is 0 or the
  /// length 1.
  Real survival(int number, int c) const {
    const Real& rate = parm_[number];
    if (lengths_ == nullptr || lengths_[c] == 1.0F) return rate;
    return power(rate, number, c);
  }

  /// The same of the sum of two rates.
  Real of_sum(int number, int other, int c) const {
    const Real sum = parm_[number] + parm_[other];
    if (lengths_ == nullptr || lengths_[c] == 1.0F) return sum;
    return power(sum, number + other, c);
  }

  /// Chance within interval c of the event of rate r = `parm[number]`: 1 - (1 - r)^timint(c); r itself,
  /// without a power, when `timevy` is 0 or the length 1.
  Real within(int number, int c) const {
    const Real& rate = parm_[number];
    if (lengths_ == nullptr || lengths_[c] == 1.0F) return rate;
    return 1.0 - power(1.0 - rate, number, c);
  }

 private:
  Real power(const Real& base, int number, int c) const {
    const double length = lengths_[c];
    if constexpr (std::is_same_v<Real, double>) {
      return (*powers_)(base, length, static_cast<std::size_t>(number) * 37 + static_cast<std::size_t>(c));
    } else {
      return pow(base, length);
    }
  }

  const Real* parm_;      ///< from 1
  const float* lengths_;  ///< from 1; nullptr when time is not counted
  Power_memo* powers_;
};

/// The rates of a cell of a family that keeps `powers`.
template <class Family, class Real>
Interval_rates<Real> rates_of(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work) {
  return {job, parm, kept<Family>(work).powers};
}

}  // namespace tarn
