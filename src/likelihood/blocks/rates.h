#pragma once
// Rates of an interval: r to the power of the interval's length.

#include <array>
#include <cstddef>
#include <type_traits>

#include "job/job.h"
#include "numerics/derivative.h"
#include "numerics/special.h"

namespace tarn {

template <class Real>
class Cell_work;

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

/// Rate `parm[number]` over interval c: r^timint(c); r itself, without a power, when `timevy` is 0 or the
/// length 1.
template <class Real>
Real survival(const Job& job, Cell_work<Real>& work, Reals<Real> parm, int number, int c) {
  const Real& rate = parm[number];
  if (job.data.timevy == 0) return rate;
  const double length = job.data.timint(c);
  if (length == 1.0) return rate;
  if constexpr (std::is_same_v<Real, double>) {
    return work.powers(rate, length, static_cast<std::size_t>(number) * 37 + static_cast<std::size_t>(c));
  } else {
    return pow(rate, length);
  }
}

/// Chance of the event whose rate is r within `length` units of time: 1 - (1 - r)^length.
template <class Real>
Real chance_within(const Real& rate, double length) {
  if (length == 1.0) return rate;
  return 1.0 - pow(1.0 - rate, length);
}

/// The same for the event of rate `parm[number]` within interval c; the rate itself, without a power, when
/// `timevy` is 0.
template <class Real>
Real chance_within(const Job& job, Cell_work<Real>& work, Reals<Real> parm, int number, int c) {
  const Real& rate = parm[number];
  if (job.data.timevy == 0) return rate;
  const double length = job.data.timint(c);
  if constexpr (std::is_same_v<Real, double>) {
    if (length == 1.0) return rate;
    return 1.0 - work.powers(1.0 - rate, length,
                             static_cast<std::size_t>(number) * 37 + static_cast<std::size_t>(c));
  } else {
    return chance_within(rate, length);
  }
}

}  // namespace tarn
