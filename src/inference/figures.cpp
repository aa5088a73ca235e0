#include "inference/figures.h"

#include <cmath>
#include <limits>

#include "numerics/special.h"

namespace tarn {
namespace {

/// What AICc adds to AIC.
double small_sample_correction(int k, double n) {
  return k == 0 ? 0.0 : quotient(2.0 * k * (k + 1.0), n - k - 1.0);
}

/// K log(n).
double size_penalty(int k, double n) {
  if (k == 0) return 0.0;
  return n > 0.0 ? k * std::log(n) : -std::numeric_limits<double>::infinity();
}

}  // namespace

Model_figures model_figures(double loglik, const Saturated_model& saturated, int k, double n, bool quasi,
                            double chat_given) {
  Model_figures figures;
  figures.deviance = loglik - saturated.xlogs;
  figures.df = saturated.nsat - k;
  figures.chat = figures.df > 0 ? figures.deviance / figures.df : 1.0;
  figures.parameters = k;
  figures.sample_size = n;
  const double correction = small_sample_correction(k, n), of_size = size_penalty(k, n);
  figures.aic = loglik + 2.0 * k;
  figures.aicc = loglik + 2.0 * k + correction;
  figures.bic = loglik + of_size;
  if (!quasi) return figures;
  const double own = figures.chat > 0.0 ? figures.chat : 1.0, chat = chat_given > 0.0 ? chat_given : own;
  figures.quasi = {chat, loglik / chat + 2.0 * k, loglik / chat + 2.0 * k + correction,
                   loglik / chat + of_size};
  return figures;
}

Pearson_figures pearson_figures(const Saturated_model& saturated, const Pearson_sums& sums, int k) {
  const double c = saturated.histories, m = saturated.cohorts;
  Pearson_figures figures;
  figures.chisquare = sums.pearson;
  figures.histories = c;
  figures.df = c - k - m;
  figures.chat = quotient(sums.pearson, figures.df);
  figures.sum_obs_exp = sums.sum_obs_exp;
  figures.sbar = vanishes(sums.sum_obs_exp) ? 1.0 : quotient(sums.sum_obs_exp - c, c - m);
  figures.fletcher_chat = quotient(figures.chat, quotient(sums.sum_obs_exp - m, c - m));
  return figures;
}

}  // namespace tarn
