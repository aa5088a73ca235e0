#include "model/results/figures.h"

#include <cmath>

#include "inference/saturd.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"

namespace tarn {
namespace {

/// A whole number without its point.
std::string count_text(double value) {
  std::string digits = formatted("(f0.0)", value);
  if (!digits.empty() && digits.back() == '.') digits.pop_back();
  return digits;
}

/// "Possible Encounter Histories " and its likes: a whole number that may be larger than any integer type.
void report_count(Job& job, const std::string& label, double value) {
  const std::string digits = count_text(value);
  linchk(job, 1);
  put(job, listing, "(1x,a,a,a,a,a)", label, job.model.modnam, " = ", digits, "          ");
  put(job, screen, "(3x,a,a,a,a,a)", label, job.model.modnam, " = ", digits, "          ");
}

/// Quasi-likelihoods say something with a c-hat that measures fit, and beside others with the same one.
void judge_quasi(Job& job, double chat) {
  if (!(job.model.chat_given > 0.0) && !has_saturated_model(job))
    warn(job,
         "There is no saturated model (the data have individual covariates, or their type has none): c-hat "
         "is no measure of fit, and QAIC, QAICc and QBIC say nothing. CHAT= takes a c-hat from elsewhere.");
  // Fits of one model agree to about this.
  constexpr double same = 1e-6;
  const double before = job.data.quasi_chat;
  if (before > 0.0 && !(std::fabs(chat - before) <= same * before))
    warn(job, "QAIC, QAICc and QBIC cannot be compared with those of the model before: c-hat is " +
                  digits_of(job, chat) + " here and was " + digits_of(job, before) +
                  " there. CHAT= gives all models one.");
}

}  // namespace

void report_line(Job& job, const std::string& text) {
  linchk(job, 1);
  put(job, listing, "(1x,a)", text);
  put(job, screen, "(3x,a)", text);
}

void report_value(Job& job, const std::string& label, double value) {
  report_line(job, label + job.model.modnam + " = " + f14(job, value));
}

void write_figures(Job& job, const Model_figures& figures) {
  report_value(job, "DEVIANCE ", figures.deviance);
  report_value(job, "DEVIANCE Degrees of Freedom ", figures.df);
  report_value(job, "c-hat ", figures.chat);
  report_value(job, "AIC ", figures.aic);
  report_value(job, "AICc ", figures.aicc);
  report_value(job, "BIC ", figures.bic);
  if (figures.quasi) {
    if (job.model.chat_given > 0.0) report_value(job, "c-hat given ", figures.quasi->chat);
    report_value(job, "QAIC ", figures.quasi->qaic);
    report_value(job, "QAICc ", figures.quasi->qaicc);
    report_value(job, "QBIC ", figures.quasi->qbic);
    judge_quasi(job, figures.quasi->chat);
  }
  if (!figures.aicc_has_meaning())
    warn(job,
         "AICc and QAICc have no meaning: the effective sample size (=" + count_text(figures.sample_size) +
             ") is not above the number of estimated parameters plus 1 (=" +
             adjustfmt(figures.parameters + 1) + ").");
}

void write_figures(Job& job, const Pearson_figures& figures) {
  report_value(job, "Pearson Chisquare ", figures.chisquare);
  report_count(job, "Possible Encounter Histories ", figures.histories);
  report_count(job, "Pearson Chisquare df ", figures.df);
  report_value(job, "Pearson chat ", figures.chat);
  report_value(job, "Sum(Observed/Expected) ", figures.sum_obs_exp);
  report_value(job, "s-bar ", figures.sbar);
  report_value(job, "Fletcher chat ", figures.fletcher_chat);
  if (!(figures.df > 0.0))
    warn(job, "Pearson chat and Fletcher chat have no meaning: the chi-square has no degrees of freedom (=" +
                  count_text(figures.df) + ").");
}

}  // namespace tarn
