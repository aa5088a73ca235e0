#pragma once
// The figures by which models are compared.

#include <optional>

#include "inference/resid.h"
#include "inference/saturd.h"

namespace tarn {

/// Deviance and information criteria of a model.
struct Model_figures {
  double deviance = 0.0;
  int df = 0;         ///< degrees of freedom of the deviance
  double chat = 1.0;  ///< deviance / df; 1 when df is 0 or below
  double aic = 0.0, aicc = 0.0, bic = 0.0;
  /// The same criteria of the quasi-likelihood.
  struct Quasi {
    double chat = 1.0;  ///< the c-hat above if it is positive, else 1
    double qaic = 0.0, qaicc = 0.0, qbic = 0.0;
  };
  std::optional<Quasi> quasi;  ///< under QUASI
};

/// @param loglik  -2 log likelihood
/// @param k  estimated parameters
/// @param n  effective sample size
/// Akaike (1973); Hurvich and Tsai (1989); Schwarz (1978).
Model_figures model_figures(double loglik, const Saturated_model& saturated, int k, double n, bool quasi);

/// What the observed and expected counts of the histories tell of the fit.
struct Pearson_figures {
  double chisquare = 0.0;
  double histories = 0.0;  ///< possible encounter histories
  double df = 0.0, chat = 0.0;
  double sum_obs_exp = 0.0;  ///< sum of observed / expected
  double sbar = 0.0, fletcher_chat = 0.0;
};

/// Fletcher (2012).
Pearson_figures pearson_figures(const Saturated_model& saturated, const Pearson_sums& sums, int k);

}  // namespace tarn
