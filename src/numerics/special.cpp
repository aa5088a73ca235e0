#include "numerics/special.h"

#include <math.h>  // lgamma_r, which the C++ header does not promise

#include <limits>
#include <numbers>

namespace tarn {

namespace {

/// From here on the asymptotic series give every digit of a double.
constexpr double asymptotic_from = 10.0;

/// What `digamma` holds below log(x) - 1 / (2 x), x being large.
double digamma_series(double x) {
  const double t = 1.0 / (x * x);
  return t * (1.0 / 12 -
              t * (1.0 / 120 -
                   t * (1.0 / 252 - t * (1.0 / 240 - t * (1.0 / 132 - t * (691.0 / 32760 - t / 12))))));
}

/// What x `trigamma` holds above 1 + 1 / (2 x), x being large.
double trigamma_series(double x) {
  const double t = 1.0 / (x * x);
  return t * (1.0 / 6 -
              t * (1.0 / 30 -
                   t * (1.0 / 42 - t * (1.0 / 30 - t * (5.0 / 66 - t * (691.0 / 2730 - t * 7.0 / 6))))));
}

/// What `lgamma` holds above (x - 1/2) log(x) - x + log(2 pi) / 2, x being large.
double lgamma_series(double x) {
  const double t = 1.0 / (x * x);
  return (1.0 / 12 -
          t * (1.0 / 360 - t * (1.0 / 1260 - t * (1.0 / 1680 - t * (1.0 / 1188 - t * (691.0 / 360360 -
                                                                                      t * (1.0 / 156))))))) /
         x;
}

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

bool is_pole(double x) { return x <= 0.0 && x == std::floor(x); }

}  // namespace

double logit(double p) {
  const double floored = p > 0.0 ? p : 0.0;
  const double clamped = floored < 1.0 ? floored : 1.0;
  if (clamped < minlog) return minexp;
  if (1.0 - clamped < minlog) return maxexp;
  return log(clamped / (1.0 - clamped));
}

double quotient(double a, double b) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  if (b == 0.0) {
    if (a == 0.0 || std::isnan(a)) return not_a_number;
    return std::signbit(a) == std::signbit(b) ? infinity : -infinity;
  }
  if (std::isinf(a) && std::isinf(b)) return not_a_number;
  return a / b;
}

double lgamma(double x) {
  int sign = 0;
  return ::lgamma_r(x, &sign);
}

double digamma(double x) {
  if (is_pole(x)) return not_a_number;
  if (x < 0.0) {
    const double phase = std::numbers::pi * (x - std::round(x));
    return digamma(1.0 - x) - std::numbers::pi / std::tan(phase);
  }
  double shift = 0.0;
  for (; x < asymptotic_from; x += 1.0) shift += 1.0 / x;
  return log(x) - 0.5 / x - digamma_series(x) - shift;
}

double trigamma(double x) {
  if (is_pole(x)) return not_a_number;
  if (x < 0.0) {
    const double sine = sin(std::numbers::pi * (x - std::round(x)));
    return std::numbers::pi * std::numbers::pi / (sine * sine) - trigamma(1.0 - x);
  }
  double shift = 0.0;
  for (; x < asymptotic_from; x += 1.0) shift += 1.0 / (x * x);
  return 1.0 / x + 0.5 / (x * x) + trigamma_series(x) / x + shift;
}

double lgamma_rise(double x, double m) {
  if (!(x >= asymptotic_from)) return lgamma(x + m) - lgamma(x);
  return (x - 0.5) * log1p(m / x) + m * (log(x + m) - 1.0) + (lgamma_series(x + m) - lgamma_series(x));
}

double digamma_rise(double x, double m) {
  if (!(x >= asymptotic_from)) return digamma(x + m) - digamma(x);
  return log1p(m / x) + 0.5 * (m / x) / (x + m) + (digamma_series(x) - digamma_series(x + m));
}

double trigamma_rise(double x, double m) {
  if (!(x >= asymptotic_from)) return trigamma(x + m) - trigamma(x);
  const double y = x + m, fall = -(m / x) / y;
  return fall + 0.5 * fall * (1.0 / x + 1.0 / y) + (trigamma_series(y) / y - trigamma_series(x) / x);
}

double bincoef(double n, double k) {
  if (k == 0.0 || k == n) return 1.0;
  if (k == 1.0 || k == n - 1.0) return n;
  if (k == 2.0 || k == n - 2.0) return n * (n - 1.0) / 2.0;
  return exprep(lgamma(n + 1.0) - lgamma(k + 1.0) - lgamma(n - k + 1.0));
}

}  // namespace tarn
