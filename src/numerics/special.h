#pragma once

#include <cmath>

namespace tarn {

/// The smallest number that enters a logarithm: the smallest normal 64-bit value.
inline constexpr double minlog = 2.2250738585072014e-308;
/// Range of an exponent whose exponential is a normal, finite 64-bit value.
inline constexpr double minexp = -708.3964185322641;
inline constexpr double maxexp = 709.782712893384;

// Code that is written once for every scalar calls these unqualified; overloads for a scalar that carries
// derivatives stand in smooth.h.
using std::abs;
using std::atan;
using std::cos;
using std::erf;
using std::exp;
using std::log;
using std::log1p;
using std::pow;
using std::sin;
using std::sqrt;

/// The number that a scalar stands for; branches test it, whatever else the scalar carries.
constexpr double value_of(double x) { return x; }

/// A scalar without its derivatives, to all the digits that it has.
constexpr double plain(double x) { return x; }

/// 1 + x <= 1: x is zero or below, to within rounding. False for a NaN.
constexpr bool vanishes(double x) { return 1.0 + x <= 1.0; }

/// From |x| to the next larger number.
inline double spacing(double x) { return std::nextafter(std::fabs(x), HUGE_VAL) - std::fabs(x); }

/// a / b, which is infinite or no number where b is 0, without raising a floating-point condition for it: a
/// ratio that has no meaning is for its caller to tell, and no fault of the computation.
double quotient(double a, double b);

/// x inside [`minexp`, `maxexp`]; a NaN takes the lower end.
constexpr double clamped_exponent(double x) {
  const double floored = x > minexp ? x : minexp;
  return floored < maxexp ? floored : maxexp;
}

/// exp(x) with x clamped to [`minexp`, `maxexp`]: never 0 and never infinite. A NaN takes the floor.
inline double exprep(double x) { return exp(clamped_exponent(x)); }

/// exp(-x) with -x clamped to [`minexp`, `maxexp`]; a NaN takes the upper end.
inline double odds_against(double x) {
  const double floored = x > -maxexp ? x : -maxexp;
  return exp(-(floored < -minexp ? floored : -minexp));
}

/// 1 / (1 + exp(-x)) with -x clamped to [`minexp`, `maxexp`]: never 0. A NaN takes the floor of the result.
inline double expit(double x) { return 1.0 / (1.0 + odds_against(x)); }

/// 1 - q of a chance q, where its `plain` value `rest` is known without the cancellation.
inline double complement(double, double rest) { return rest; }

/// The rate whose odds are `factor` times those of `rate`.
inline double with_odds_times(double rate, double factor) {
  const double odds = rate * factor;
  return odds / ((1.0 - rate) + odds);
}

/// ln(p / (1 - p)), p clamped to [0, 1]; `minexp` where p, and `maxexp` where 1 - p, is below `minlog`.
/// A NaN counts as 0.
double logit(double p);

/// log(max(x, `minlog`)); a NaN takes the floor.
inline double floored_log(double x) { return log(x > minlog ? x : minlog); }

/// Logarithm of |gamma(x)|; the sign of gamma is kept out of the C library's global, so threads may call it.
/// Infinity at 0, -1, -2, ...
double lgamma(double x);

/// First and second derivative of `lgamma`; NaN at 0, -1, -2, ...
/// Reflection, upward recurrence and the asymptotic series (Abramowitz and Stegun 1964, 6.3 and 6.4).
double digamma(double x);
double trigamma(double x);

/// `lgamma`, `digamma` and `trigamma` of x + m less that of x, m of 0 or more, to all digits where x is large
/// and the two differ by little.
double lgamma_rise(double x, double m);
double digamma_rise(double x, double m);
double trigamma_rise(double x, double m);

/// log(max(1 - chance, `minlog`)) to all digits of a small chance; a NaN takes the floor.
template <class Real>
Real log_of_rest(const Real& chance) {
  return value_of(chance) < 0.5 ? Real(log1p(-chance)) : Real(floored_log(1.0 - chance));
}

/// Binomial coefficient "n over k" for real arguments: exact forms for k or n - k of 0, 1 and 2, the gamma
/// function otherwise, with the exponent clamped to [`minexp`, `maxexp`].
double bincoef(double n, double k);

}  // namespace tarn
