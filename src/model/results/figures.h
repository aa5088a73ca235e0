#pragma once
// The figures of a fitted model on the listing, a line each.

#include <string>

#include "inference/figures.h"
#include "job/job.h"

namespace tarn {

/// One line on the listing with "(1x,a)" and on the screen with "(3x,a)", a line reserved.
void report_line(Job& job, const std::string& text);

/// "{label}{model name} = {value}".
void report_value(Job& job, const std::string& label, double value);

/// Deviance, its degrees of freedom, c-hat, AIC, AICc, BIC, and with QUASI their quasi forms. Warns of
/// criteria that say nothing: AICc of a sample too small for the model, quasi forms with a c-hat of no
/// meaning or with another one than those of the model before.
void write_figures(Job& job, const Model_figures& figures);

/// Pearson chi-square, possible histories, Fletcher's c-hat.
void write_figures(Job& job, const Pearson_figures& figures);

}  // namespace tarn
