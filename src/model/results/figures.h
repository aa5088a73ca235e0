#pragma once
// What the listing shows of the data before a fit and of the model after it.

#include "inference/resid.h"
#include "inference/saturd.h"
#include "job/job.h"

namespace tarn {

/// Model name, link and variance procedure; runs `setlink`.
void model_heading(Job& job);

/// Released and lost animals by group, total captured. A history without a capture is fatal.
void data_summary(Job& job);

/// "-2logL(saturated)" and the effective sample size, which is returned rounded.
double saturated_report(Job& job, const Saturated_model& saturated);

/// Deviance, its degrees of freedom, c-hat (kept in `chat`), AIC, AICc, BIC, and with QUASI their quasi
/// forms.
/// @param k  estimated parameters
/// @param n  effective sample size
void model_figures(Job& job, const Saturated_model& saturated, int k, double n);

/// Pearson chi-square, possible histories, Fletcher's c-hat. Fletcher (2012).
void pearson_figures(Job& job, const Saturated_model& saturated, const Pearson_sums& sums, int k);

/// One line on the listing with "(1x,a)" and on the screen with "(3x,a)", a line reserved.
void report_line(Job& job, const std::string& text);

/// "{label}{model name} = {value}".
void report_value(Job& job, const std::string& label, double value);

}  // namespace tarn
