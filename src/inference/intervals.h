#pragma once
// 95 % limits of an estimate from its standard error, by scale. A standard error that is no number gives
// limits that are none, whatever the estimate: nothing is known of how sure it is.

namespace tarn {

/// Limits of one estimate.
struct Limits {
  double lower, upper;
};

/// Logit scale: p / (p + (1 - p) C) and p / (p + (1 - p) / C), C = exp(1.96 se / (p (1 - p))). Both limits
/// are p where p (1 - p) is 0.
Limits probability_limits(double p, double se);

/// est / C and est C, C = exp(1.96 sqrt(log(1 + (se / est)^2))). Both limits are 0 where est is 0.
Limits log_limits(double est, double se);

/// Limits of a population size of which `minimum` animals are known: the log scale for the others
/// (Burnham et al. 1987). Both limits are `minimum` where n does not exceed it.
Limits population_limits(double n, double se, double minimum);

/// est - 1.96 se and est + 1.96 se.
Limits plain_limits(double est, double se);

}  // namespace tarn
