#pragma once
// Sites with an unknown number N of animals (Royle and Nichols 2003; Royle 2004), summed over.
//
//   f(N)      Poisson with mean l; or negative binomial with mean l and variance l + V, of size k = l^2 / V
//   survey c  of each animal a detection with r(c), independently:
//             counts      n with C(N, n) r^n (1 - r)^(N - n)
//             detections  "1" with q(N) = 1 - (1 - r)^N, "0" with (1 - r)^N
//
//   prob = sum over N of f(N) Q^N w(N), times factors that N does not change
//
// Q is the product of 1 - r over the surveys of which N animals were missed each time, or some of N; w(N) the
// product of C(N, n), or of q(N). The terms are known by their ratios: f(N + 1) Q^(N + 1) over f(N) Q^N is
// y / (N + 1), or y (N + k) / (N + 1), which goes down or stays below its limit y; and w grows ever more
// slowly. So what is left behind a term is less than a geometric series, and the sum stops where that bound
// is nothing beside it. Where N must be large the sum begins below the terms that count.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

#include "likelihood/blocks/closed_session.h"
#include "likelihood/cell/cell.h"
#include "numerics/special.h"

namespace tarn {

/// Terms after which a sum is given up.
inline constexpr int most_abundance_terms = 20000;

/// What is left behind the last term, of the sum.
inline constexpr double abundance_weight_left = 1e-18;

/// Numbers of a sum are kept below this, by taking factors of it out of all of them.
inline constexpr double large_abundance_term = 1e100;

/// A factor of the ratio of two terms: `rest` times `large_abundance_term` to the power of `times`.
struct Abundance_growth {
  double rest = 1.0;
  int times = 0;
};

/// A sum of terms that are known by their ratios, the first one being w(first): its logarithm and the
/// derivatives of that.
template <class T>
struct Abundance_sum {
  T log_sum = 0.0;
  T scaled_sum = 0.0;  ///< the sum as `scale` has left it
  T by_log_y = 0.0;    ///< by the logarithm of y
  T by_size = 0.0;     ///< by k, y held
  int terms = 0;
  bool complete = true;

  /// Whether anything was added; without, logarithm and derivatives have no meaning.
  bool possible() const { return value_of(scaled_sum) > 0.0; }
};

/// Adds up the terms from N = `first` on.
/// @param y  what the ratios have in common
/// @param size  k; nullptr of a Poisson distribution
/// @param weights  `ratio(N)`: a factor of the ratio of the terms N + 1 and N that goes down with N, 1 at
/// least; `weight()`: another factor of the term in hand, 1 at most; `add(t)`: t is that term times 1 /
/// `weight()`, for derivatives; `next()`: goes on; `scale(s)`: multiplies what was added by s
template <class T, class Weights>
Abundance_sum<T> add_up_abundance(int first, const T& y, const T* size, Weights& weights) {
  Abundance_sum<T> result;
  T t = 1.0, sum = 0.0, sum_of_n = 0.0, sum_of_rises = 0.0, rise = 0.0;
  double scaled = 0.0;
  for (int n = first;; ++n) {
    const T term = t * weights.weight();
    sum += term;
    sum_of_n += (n - first) * term;
    if (size != nullptr) sum_of_rises += rise * term;
    weights.add(t);
    const double next = n + 1.0;
    const auto [growth, times] = weights.ratio(n);
    const double of_size = size == nullptr ? 1.0 : n + value_of(*size);
    const double bound =
        value_of(y) * growth * (size == nullptr ? 1.0 / next : std::max(of_size / next, 1.0));
    if (times == 0 && bound < 1.0 &&
        value_of(t) * bound <= abundance_weight_left * value_of(sum) * (1.0 - bound)) {
      result.terms = n - first + 1;
      break;
    }
    if (n - first + 1 == most_abundance_terms) {
      result.terms = most_abundance_terms;
      result.complete = false;
      break;
    }
    if (size == nullptr) {
      t = t * y * (growth / next);
    } else {
      const T k_and_n = *size + static_cast<double>(n);
      t = t * y * k_and_n * (growth / next);
      rise += 1.0 / k_and_n;
    }
    weights.next();
    // `t` lacks the factors of its ratio, the others have it all.
    constexpr double small = 1.0 / large_abundance_term;
    int excess = times;
    for (; excess > 0 && value_of(t) < 1.0; --excess) t = t * large_abundance_term;
    for (; value_of(t) > large_abundance_term; ++excess) t = t * small;
    for (; excess > 0; --excess) {
      sum = sum * small, sum_of_n = sum_of_n * small, sum_of_rises = sum_of_rises * small;
      weights.scale(small);
      scaled += std::log(large_abundance_term);
    }
  }
  result.scaled_sum = sum;
  if (!result.possible()) return result;
  result.log_sum = log(sum) + scaled;
  result.by_log_y = sum_of_n / sum;
  result.by_size = sum_of_rises / sum;
  return result;
}

/// From this y on a Poisson sum takes steps: its terms then change so smoothly from one N to the next that
/// every so many of them give it to all digits (the trapezium rule of a function like a normal density).
inline constexpr double least_y_of_steps = 1e5;

/// log of (m + d)! / (m! m^d) less d^2 / (2 m) and so on, which is what a Poisson term loses d beyond its
/// mean m.
inline double log_of_rise(double m, double d) {
  constexpr double few_digits = 0.01;
  const double u = d / m;
  double main = 0.0;
  if (std::fabs(u) > few_digits) {
    main = (m + d) * std::log1p(u) - d;
  } else {  // (1 + u) log(1 + u) - u, times m
    double power = u;
    for (int k = 2; k <= 10; ++k) {
      power *= -u;
      main -= power / (k * (k - 1.0));
    }
    main *= m;
  }
  const auto stirling = [](double n) { return (1.0 / 12.0 - 1.0 / (360.0 * n * n)) / n; };
  return main + 0.5 * std::log1p(u) + stirling(m + d) - stirling(m);
}

/// The same as `add_up_abundance` of a Poisson distribution, in steps around `middle`, which is near y.
/// @param weights  besides `weight()` and `add(t)`: `go_to(n)`; `relative_to(n)`: the factors that `ratio`
/// gives, from n to the N in hand; `reach()`: how far they draw the terms upwards at most
template <class T, class Weights>
Abundance_sum<T> add_up_in_steps(double middle, const T& y, Weights& weights) {
  constexpr double deviations = 10.0, steps_of_a_deviation = 16.0;
  const double deviation = std::sqrt(middle), step = std::floor(deviation / steps_of_a_deviation);
  const int down = static_cast<int>(std::ceil(deviations * deviation / step)),
            up = static_cast<int>(std::ceil((deviations * deviation + weights.reach()) / step));
  const T log_ratio = log1p((y - middle) / middle);
  Abundance_sum<T> result;
  T sum = 0.0, sum_of_n = 0.0;
  for (int k = -down; k <= up; ++k) {
    const double beyond = k * step;
    weights.go_to(middle + beyond);
    const T t = exp(log_ratio * beyond - log_of_rise(middle, beyond)) * weights.relative_to(middle);
    const T term = t * weights.weight();
    sum += term;
    sum_of_n += beyond * term;
    weights.add(t);
  }
  result.terms = down + up + 1;
  result.scaled_sum = sum;
  if (!result.possible()) return result;
  result.log_sum = log(sum) + std::log(step);
  result.by_log_y = sum_of_n / sum;
  return result;
}

/// The distribution of abundance at a site.
template <class Real>
struct Abundance {
  Real mean, size = 0.0;
  bool poisson = true;

  /// @param added  V; nullptr of a Poisson distribution. One that is nothing beside the mean makes no
  /// difference.
  static Abundance of(const Real& mean, const Real* added) {
    if (added == nullptr) return {mean};
    const double l = value_of(mean);
    if (value_of(*added) < 1e-10 * std::max(l, 1.0)) return {mean};
    // With a size that is next to nothing no site has an animal; one beyond all numbers is that of no spread.
    constexpr double least_size = 1e-290;
    const double k = l * (l / value_of(*added));
    if (std::isinf(k)) return {mean};
    if (!(k > least_size)) return {Real(0.0)};
    return {mean, mean * (mean / *added), false};
  }

  /// log of the sum over N of f(N) Q^N, `caught` being 1 - Q.
  Real log_missed(const Real& caught) const {
    if (poisson) return -(mean * caught);
    return -(size * log1p(mean * caught / size));
  }
};

/// Where a sum begins, and what the terms have in common.
template <class Real>
struct Abundance_start {
  double first = 0.0;  ///< or the middle
  bool in_steps = false;
  Real y;           ///< as `add_up_abundance` takes it
  Real log_weight;  ///< log of f(first) Q^first
};

/// @param least  the least N that is possible
/// @param q, caught  Q, which is above 0, and 1 - Q
template <class Real>
Abundance_start<Real> start_of_abundance(const Abundance<Real>& animals, int least, const Real& q,
                                         const Real& caught) {
  // So many standard deviations below the mean of f(N) Q^N nothing is left.
  constexpr double deviations = 9.0, margin = 20.0;
  Abundance_start<Real> start;
  start.y = animals.poisson ? Real(animals.mean * q) : Real(animals.mean * q / (animals.size + animals.mean));
  const double y = value_of(start.y);
  const double rest = animals.poisson ? 1.0 : 1.0 - y;
  double low = least;
  if (rest > 0.0) {
    const double mean = animals.poisson ? y : value_of(animals.size) * (y / rest);
    low = std::floor(mean - deviations * std::sqrt(mean / rest) - margin);
  }
  start.in_steps = animals.poisson && y > least_y_of_steps;
  start.first = start.in_steps ? std::floor(y) : low > least && low < 1e9 ? low : least;
  const double n = start.first;
  if (!animals.poisson) {
    start.log_weight = lgamma_rise(animals.size, n) + n * log(start.y) -
                       (animals.size * log1p(animals.mean / animals.size) + lgamma(n + 1.0));
  } else if (n <= 100.0) {
    start.log_weight = n * log(start.y) - animals.mean - lgamma(n + 1.0);
  } else {
    // Of large numbers the difference of the mean and n keeps its digits (Loader 2000).
    const Real beyond = start.y - n;
    const double stirling = (1.0 / 12.0 - (1.0 / 360.0 - 1.0 / (1260.0 * n * n)) / (n * n)) / n;
    start.log_weight =
        n * log1p(beyond / n) - beyond - animals.mean * caught - (0.5 * std::log(2.0 * M_PI * n) + stirling);
  }
  return start;
}

/// The surveys of a site that took place: first those with a detection, with their counts. No parameter
/// changes it.
struct Site_visits {
  std::vector<std::uint16_t> occasions;
  std::vector<std::uint8_t> counts;  ///< above 0, of the first occasions; 1 where animals are not counted
  int largest = 0;
  double log_ways = 0.0;  ///< logarithm of the product of C(largest, n)

  std::span<const std::uint16_t> met() const { return std::span(occasions).first(counts.size()); }
  std::span<const std::uint16_t> missed() const { return std::span(occasions).subspan(counts.size()); }

  /// @param count  count(o): what the survey of occasion o has shown
  template <class Count>
  static Site_visits of(History h, const Count& count) {
    Site_visits visits;
    for (const bool met : {true, false})
      for (int o = 1; o <= h.noccas(); ++o) {
        if (!surveyed(h, o) || detected(h, o) != met) continue;
        visits.occasions.push_back(static_cast<std::uint16_t>(o));
        if (!met) continue;
        visits.counts.push_back(static_cast<std::uint8_t>(count(o)));
        visits.largest = std::max(visits.largest, count(o));
      }
    for (const int n : visits.counts)
      for (int j = 0; j < n; ++j) visits.log_ways += std::log((visits.largest - j) / (j + 1.0));
    return visits;
  }
};

/// What a thread keeps for abundance.
template <class Real>
struct Abundance_kept {
  std::vector<Base_of<Real>> rates, chances, by_rates;
  std::vector<Real> reals;
};

namespace detail {

/// x as a number without a trace.
template <class Real>
const Base_of<Real>& untraced(const Real& x) {
  if constexpr (Scalar_traits<Real>::traced)
    return x.v;
  else
    return x;
}

/// The logarithm of a sum as a function of y and k.
template <class Real>
Real log_of_sum(const Abundance_sum<Base_of<Real>>& sum, const Real& y, const Abundance<Real>& animals) {
  if constexpr (Scalar_traits<Real>::traced) {
    const auto by_y = sum.by_log_y / y.v;
    return animals.poisson ? chain(y, sum.log_sum, by_y)
                           : chain(y, animals.size, sum.log_sum, by_y, sum.by_size);
  } else {
    return sum.log_sum;
  }
}

/// Weights of counts: the product of C(N, n) over its value at the first N.
struct Count_weights {
  std::span<const std::uint8_t> counts;  ///< those above 0
  double n = 0.0;                        ///< where steps stand
  Abundance_growth ratio(int n) const {
    double up = 1.0, down = 1.0;
    int times = 0;
    for (const double count : counts) {
      up *= n + 1.0;
      down *= n + 1.0 - count;
      if (up <= large_abundance_term) continue;
      up /= down, down = 1.0;
      if (up > large_abundance_term) up /= large_abundance_term, ++times;
    }
    return {up / down, times};
  }
  static constexpr double weight() { return 1.0; }
  void go_to(double to) { n = to; }
  double relative_to(double from) const {
    double product = 1.0;
    for (const int count : counts)
      for (int j = 0; j < count; ++j) product *= (n - j) / (from - j);
    return product;
  }
  double reach() const {
    double sum = 0.0;
    for (const double count : counts) sum += 2.0 * count;
    return sum;
  }
  template <class T>
  void add(const T&) const {}
  void next() const {}
  void scale(double) const {}
};

/// Weights of detections: the product of q(N) over the surveys with one.
template <class T>
struct Detection_weights {
  std::vector<T>&rates, &chances, &by_rates;
  bool derivatives;
  double n = 0.0;

  Detection_weights(std::vector<T>& rates, std::vector<T>& chances, std::vector<T>& by_rates,
                    bool derivatives, double first)
      : rates(rates), chances(chances), by_rates(by_rates), derivatives(derivatives) {
    go_to(first);
    by_rates.assign(rates.size(), T(0.0));
  }
  void go_to(double to) {
    n = to;
    chances.clear();
    for (const T& r : rates) chances.push_back(n == 1.0 ? r : complement(T(pow(1.0 - r, n)), met(plain(r))));
  }
  static constexpr double relative_to(double) { return 1.0; }
  static constexpr double reach() { return 0.0; }
  /// 1 - (1 - r)^N. Of small rates it has its digits from the logarithm.
  double met(double r) const { return r < 1.0 ? -std::expm1(n * std::log1p(-r)) : 1.0; }
  template <class Plain>
  Plain met(const Plain& r) const {
    return 1.0 - pow(1.0 - r, n);
  }
  static constexpr Abundance_growth ratio(int) { return {}; }
  T weight() const {
    T product = 1.0;
    for (const T& q : chances) product = product * q;
    return product;
  }
  void add(const T& t) {
    if (!derivatives) return;
    const T term = t * weight();
    for (std::size_t c = 0; c < rates.size(); ++c) {
      const T missed = 1.0 - rates[c];
      // N (1 - r)^(N - 1)
      const T slope = value_of(missed) != 0.0 ? T(n * (1.0 - chances[c]) / missed) : T(n == 1.0 ? 1.0 : 0.0);
      by_rates[c] += term / chances[c] * slope;
    }
  }
  void next() {
    ++n;
    for (std::size_t c = 0; c < rates.size(); ++c) chances[c] = chances[c] + rates[c] * (1.0 - chances[c]);
  }
  void scale(double s) {
    for (T& each : by_rates) each = each * s;
  }
};

/// What the ratios of terms have in common, as a number; below this the first term is the whole sum.
inline constexpr double least_common_ratio = 1e-300;
template <class Real>
double common_ratio(const Abundance<Real>& animals, const Real& q) {
  const double l = value_of(animals.mean);
  return (animals.poisson ? l : l / (value_of(animals.size) + l)) * value_of(q);
}

/// Whether a sum can be taken from here: numbers of animals of no study are none.
template <class Real>
bool within_reach(const Abundance<Real>& animals, const Real& q) {
  return value_of(animals.mean) < large_abundance_term && common_ratio(animals, q) > least_common_ratio;
}

/// The sum from its start on.
template <class Real, class Weights>
Abundance_sum<Base_of<Real>> add_up(const Abundance<Real>& animals, const Abundance_start<Real>& start,
                                    Weights& weights) {
  using T = Base_of<Real>;
  if (start.in_steps) return add_up_in_steps<T>(start.first, untraced(start.y), weights);
  return add_up_abundance<T>(static_cast<int>(start.first), untraced(start.y),
                             animals.poisson ? nullptr : &untraced(animals.size), weights);
}

/// Notes what the sum took.
template <class Real>
void note_sum(Cell_work<Real>& work, bool poisson, int terms, bool complete) {
  work.notes.terms = std::max(work.notes.terms, terms);
  if (!complete && !poisson) work.notes.not_cumulated = true;
}

}  // namespace detail

/// Log probability of counts above 0 somewhere. `log_odds` is the sum of n log(r / (1 - r)) over the surveys.
template <class Real>
Real log_of_counts(const Abundance<Real>& animals, const Site_visits& visits, const Real& q,
                   const Real& caught, const Real& log_odds, Cell_work<Real>& work) {
  // A dry run has read what there is; its made-up reals can make a sum of many terms.
  if constexpr (std::is_same_v<Real, Reach>) return log_odds;
  if (!detail::within_reach(animals, q)) return Real(std::log(minlog));
  const Abundance_start<Real> start = start_of_abundance(animals, visits.largest, q, caught);
  double ways = visits.log_ways;
  if (start.first > visits.largest) {
    ways = 0.0;
    for (const int count : visits.counts)
      for (int j = 0; j < count; ++j) ways += std::log((start.first - j) / (j + 1.0));
  }
  detail::Count_weights weights{visits.counts};
  const auto sum = detail::add_up<Real>(animals, start, weights);
  detail::note_sum(work, animals.poisson, sum.terms, sum.complete);
  return start.log_weight + detail::log_of_sum(sum, start.y, animals) + log_odds + ways;
}

/// Log probability of detections, of which there is one at least; `kept.reals` are the rates of their
/// surveys, above 0, and q that of the others.
template <class Real>
Real log_of_detections(const Abundance<Real>& animals, const Real& q, const Real& caught,
                       Abundance_kept<Real>& kept, Cell_work<Real>& work) {
  constexpr bool traced = Scalar_traits<Real>::traced;
  if constexpr (std::is_same_v<Real, Reach>) return q;  // as above
  if (!detail::within_reach(animals, q)) return Real(std::log(minlog));
  const Abundance_start<Real> start = start_of_abundance(animals, 1, q, caught);
  kept.rates.clear();
  for (const Real& r : kept.reals) kept.rates.push_back(detail::untraced(r));
  detail::Detection_weights<Base_of<Real>> weights(kept.rates, kept.chances, kept.by_rates, traced,
                                                   start.first);
  const auto sum = detail::add_up<Real>(animals, start, weights);
  detail::note_sum(work, animals.poisson, sum.terms, sum.complete);
  if (!sum.possible()) return Real(std::log(minlog));
  Real log_of_sum = detail::log_of_sum(sum, start.y, animals);
  if constexpr (traced) {
    for (std::size_t c = 0; c < kept.reals.size(); ++c)
      log_of_sum = chain(log_of_sum, kept.reals[c], log_of_sum.v, 1.0, kept.by_rates[c] / sum.scaled_sum);
  }
  return start.log_weight + log_of_sum;
}

}  // namespace tarn
