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
  int parameters = 0;        ///< estimated ones, K
  double sample_size = 0.0;  ///< effective, n
  /// False when n - K - 1 is 0 or below: the small-sample correction of AICc is then infinite or of the wrong
  /// sign, and the model would stand first or last whatever it fits. Without parameters there is nothing to
  /// correct.
  bool aicc_has_meaning() const { return parameters == 0 || sample_size - parameters - 1.0 > 0.0; }
  /// The same criteria of the quasi-likelihood.
  struct Quasi {
    double chat = 1.0;  ///< the one that was given; else the c-hat above if it is positive, else 1
    double qaic = 0.0, qaicc = 0.0, qbic = 0.0;
  };
  std::optional<Quasi> quasi;  ///< under QUASI and CHAT=
};

/// Divisions by 0 give what IEEE arithmetic has for them and raise no floating-point condition.
/// @param loglik  -2 log likelihood
/// @param k  estimated parameters
/// @param n  effective sample size
/// @param chat_given  c-hat of the quasi-likelihood; 0: the model's own
/// Akaike (1973); Hurvich and Tsai (1989); Schwarz (1978).
Model_figures model_figures(double loglik, const Saturated_model& saturated, int k, double n, bool quasi,
                            double chat_given = 0.0);

/// What the observed and expected counts of the histories tell of the fit.
struct Pearson_figures {
  double chisquare = 0.0;
  double histories = 0.0;  ///< possible encounter histories
  double df = 0.0, chat = 0.0;
  double sum_obs_exp = 0.0;  ///< sum of observed / expected
  double sbar = 0.0, fletcher_chat = 0.0;
};

/// Fletcher (2012). Without degrees of freedom the ratios are infinite, no number or negative; divisions by 0
/// raise no floating-point condition.
Pearson_figures pearson_figures(const Saturated_model& saturated, const Pearson_sums& sums, int k);

}  // namespace tarn
