#include "inference/figures.h"

#include <cmath>

#include "numerics/special.h"

namespace tarn {

Model_figures model_figures(double loglik, const Saturated_model& saturated, int k, double n, bool quasi) {
  Model_figures figures;
  figures.deviance = loglik - saturated.xlogs;
  figures.df = saturated.nsat - k;
  figures.chat = figures.df > 0 ? figures.deviance / figures.df : 1.0;
  const double correction = 2.0 * k * (k + 1.0) / (n - k - 1.0);
  figures.aic = loglik + 2.0 * k;
  figures.aicc = loglik + 2.0 * k + correction;
  figures.bic = loglik + k * std::log(n);
  if (!quasi) return figures;
  const double chat = figures.chat > 0.0 ? figures.chat : 1.0;
  figures.quasi = {chat, loglik / chat + 2.0 * k, loglik / chat + 2.0 * k + correction,
                   loglik / chat + k * std::log(n)};
  return figures;
}

Pearson_figures pearson_figures(const Saturated_model& saturated, const Pearson_sums& sums, int k) {
  const double c = saturated.histories, m = saturated.cohorts;
  Pearson_figures figures;
  figures.chisquare = sums.pearson;
  figures.histories = c;
  figures.df = c - k - m;
  figures.chat = sums.pearson / figures.df;
  figures.sum_obs_exp = sums.sum_obs_exp;
  figures.sbar = vanishes(sums.sum_obs_exp) ? 1.0 : (sums.sum_obs_exp - c) / (c - m);
  figures.fletcher_chat = figures.chat / ((sums.sum_obs_exp - m) / (c - m));
  return figures;
}

}  // namespace tarn
