#include "inference/intervals.h"

#include <algorithm>
#include <cmath>

#include "job/status_module.h"
#include "numerics/special.h"

namespace tarn {
namespace {

/// The factor of the log scale for an estimate that is not 0.
double log_factor(double est, double se) {
  const double ratio = se / est;
  const double variance = floored_log(1.0 + ratio * ratio);
  return exprep(limit_multiplier * std::sqrt(std::max(variance, 0.0)));
}

}  // namespace

Limits probability_limits(double p, double se) {
  if (std::isnan(se)) return {se, se};
  const double spread = p * (1.0 - p);
  if (spread == 0.0) return {p, p};
  const double c = exprep(limit_multiplier * se / spread);
  return {p / (p + (1.0 - p) * c), p / (p + (1.0 - p) / c)};
}

Limits log_limits(double est, double se) {
  if (std::isnan(se)) return {se, se};
  if (est == 0.0) return {0.0, 0.0};
  const double c = log_factor(est, se);
  return {est / c, est * c};
}

Limits population_limits(double n, double se, double minimum) {
  if (std::isnan(se)) return {se, se};
  const double f0 = n - minimum;
  if (f0 <= 0.0) return {minimum, minimum};
  const double c = log_factor(f0, se);
  return {minimum + f0 / c, minimum + f0 * c};
}

Limits plain_limits(double est, double se) {
  return {est - limit_multiplier * se, est + limit_multiplier * se};
}

}  // namespace tarn
