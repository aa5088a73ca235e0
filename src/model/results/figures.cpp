#include "model/results/figures.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "data/catalogue/datatype.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "model/structure/links.h"
#include "numerics/special.h"

namespace tarn {
namespace {

void heading_line(Job& job, std::string_view label, const std::string& text) {
  linchk(job, 2);
  put(job, screen, "(3x,a)", std::string(label) + text);
  put(job, listing, "(1x/1x,a,a)", label, text);
}

/// A count for an integer field; what no integer holds is cut, and no number gives 0.
long long whole(double count) {
  return std::isnan(count) ? 0 : static_cast<long long>(std::clamp(count, -1e18, 1e18));
}

/// Counts by occasion of one group, under their heading.
void write_counts(Job& job, std::string_view heading, const std::vector<long long>& counts) {
  linchk(job, 2 + static_cast<int>((counts.size() + 14) / 15));
  put(job, listing, "(/1x,a)", heading);
  put(job, listing, "(3x,15i5)", counts);
  put(job, screen, "(/3x,a)", heading);
  put(job, screen, "(3x,11i7)", counts);
}

/// "Possible Encounter Histories " and its likes: a whole number that may be larger than any integer type.
void report_count(Job& job, const std::string& label, double value) {
  std::string digits = formatted("(f0.0)", value);
  if (!digits.empty() && digits.back() == '.') digits.pop_back();
  linchk(job, 1);
  put(job, listing, "(1x,a,a,a,a,a)", label, job.model.modnam, " = ", digits, "          ");
  put(job, screen, "(3x,a,a,a,a,a)", label, job.model.modnam, " = ", digits, "          ");
}

/// Sum over the layers of a tabulation at occasion t of group g.
double over_strata(const Array3<float>& counts, int t, int g) {
  double sum = 0.0;
  for (int k = 1; k <= counts.extent(3); ++k) sum += static_cast<double>(counts(t, g, k));
  return sum;
}

/// Animals of one group that were not released again, by the occasion of their last capture.
std::vector<long long> not_released(const Job& job, int g) {
  const Encounter_store& encounters = job.data.encounters;
  std::vector<double> counts(static_cast<std::size_t>(job.status.noccas), 0.0);
  for (int i = 1; i <= encounters.size(); ++i) {
    const int last = lastlc(encounters.history(i));
    if (last > 0)
      counts[static_cast<std::size_t>(last) - 1] +=
          static_cast<double>(encounters.lost_on_capture(i)[static_cast<std::size_t>(g) - 1]);
  }
  std::vector<long long> shown;
  for (const double count : counts) shown.push_back(whole(count));
  return shown;
}

/// Releases and losses of one group by occasion.
void write_releases(Job& job, int g) {
  linchk(job, 2);
  put(job, listing, "(/1x,a,i0,a,a)", "Group ", g, " = ", job.data.glabel(g));
  std::vector<long long> both, released, lost;
  bool losses = false;
  for (int t = 1; t <= job.status.noccas; ++t) {
    const double u = over_strata(job.data.u, t, g), ul = over_strata(job.data.ul, t, g);
    released.push_back(whole(u));
    lost.push_back(whole(ul));
    both.push_back(whole(u + ul));
    losses = losses || ul > 0.0;
  }
  if (losses) write_counts(job, "U(t)+UL(t):", both);
  write_counts(job, "U(t):", released);
  if (!losses) return;
  write_counts(job, "UL(t):", lost);
  write_counts(job, "Not Released(t):", not_released(job, g));
}

/// Animals caught in each group of a closed population.
void write_closed_counts(Job& job) {
  std::vector<long long> caught;
  for (int g = 1; g <= job.status.ngrps; ++g)
    caught.push_back(whole(over_strata(job.data.u, 1, g) + over_strata(job.data.ul, 1, g)));
  linchk(job, 2 + static_cast<int>((caught.size() + 10) / 11));
  put(job, listing, "(/1x,a)", "M(t+1):");
  put(job, listing, "(1x,11i7)", caught);
  put(job, screen, "(/3x,a)", "M(t+1):");
  put(job, screen, "(3x,11i7)", caught);
}

/// Animals of each group, for the types whose records are of captured animals.
void write_captured(Job& job) {
  const Status_module& status = job.status;
  const Datatype& row = datatype(status.dattyp);
  const Encounter_store& encounters = job.data.encounters;
  if (!row.live && row.check != Cell_check::joint && row.check != Cell_check::barker) return;
  linchk(job, 2 + status.ngrps);
  put(job, listing, "(/1x,a)", "Total number of individuals captured for each grooup:");
  for (int g = 1; g <= status.ngrps; ++g) {
    double total = 0.0;
    for (int i = 1; i <= encounters.size(); ++i)
      total += static_cast<double>(encounters.observed(i)[static_cast<std::size_t>(g) - 1]) +
               static_cast<double>(encounters.lost_on_capture(i)[static_cast<std::size_t>(g) - 1]);
    put(job, listing, "(1x,a,i0)", job.data.glabel(g) + ": ", whole(total));
  }
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

void model_heading(Job& job) {
  heading_line(job, "Model is ", job.model.modnam);
  heading_line(job, "Link Function Used is ", std::string(link_name(job.model.nlink)));
  setlink(job);
  heading_line(job, "Variance Estimation Procedure Used is ",
               varcalc[static_cast<std::size_t>(job.model.vartyp) - 1]);
}

void data_summary(Job& job) {
  const Status_module& status = job.status;
  const Datatype& row = datatype(status.dattyp);
  const Encounter_store& encounters = job.data.encounters;
  if (row.released)
    for (int i = 1; i <= encounters.size(); ++i)
      if (first1(encounters.history(i)) == 0) error(job, "Bad capture history -- never captured.");
  if (status.nstrta > 1) {
    linchk(job, 1);
    put(job, listing, "(1x,a,a)",
        "Strata=", job.data.strata.substr(0, static_cast<std::size_t>(status.nstrta)));
  }
  if (row.closed != Closed::none && !row.sessions)
    write_closed_counts(job);
  else
    for (int g = 1; g <= status.ngrps; ++g) write_releases(job, g);
}

double saturated_report(Job& job, const Saturated_model& saturated) {
  linchk(job, 2);
  put(job, listing, "(1x,a,a14)", "-2logL(saturated) = ", f14(job, saturated.xlogs));
  put(job, screen, "(3x,a,a14)", "-2logL(saturated) = ", f14(job, saturated.xlogs));
  const double n = std::trunc(effective_sample_size(job) + 0.5);
  put(job, listing, "(1x,a,i0)", "Effective Sample Size = ", whole(n));
  put(job, screen, "(3x,a,i0)", "Effective Sample Size = ", whole(n));
  write_captured(job);
  return n;
}

void model_figures(Job& job, const Saturated_model& saturated, int k, double n) {
  Model_arrays& model = job.model;
  const double deviance = model.loglik - saturated.xlogs;
  const int df = saturated.nsat - k;
  model.chat = df > 0 ? deviance / df : 1.0;
  report_value(job, "DEVIANCE ", deviance);
  report_value(job, "DEVIANCE Degrees of Freedom ", df);
  report_value(job, "c-hat ", model.chat);
  const double correction = 2.0 * k * (k + 1.0) / (n - k - 1.0);
  report_value(job, "AIC ", model.loglik + 2.0 * k);
  report_value(job, "AICc ", model.loglik + 2.0 * k + correction);
  report_value(job, "BIC ", model.loglik + k * std::log(n));
  if (!model.quasi) return;
  if (!(model.chat > 0.0)) model.chat = 1.0;
  report_value(job, "QAIC ", model.loglik / model.chat + 2.0 * k);
  report_value(job, "QAICc ", model.loglik / model.chat + 2.0 * k + correction);
  report_value(job, "QBIC ", model.loglik / model.chat + k * std::log(n));
}

void pearson_figures(Job& job, const Saturated_model& saturated, const Pearson_sums& sums, int k) {
  const double c = saturated.histories, m = saturated.cohorts;
  const double pearson_df = c - k - m;
  const double pearson_chat = sums.pearson / pearson_df;
  report_value(job, "Pearson Chisquare ", sums.pearson);
  report_count(job, "Possible Encounter Histories ", c);
  report_count(job, "Pearson Chisquare df ", pearson_df);
  report_value(job, "Pearson chat ", pearson_chat);
  report_value(job, "Sum(Observed/Expected) ", sums.sum_obs_exp);
  report_value(job, "s-bar ", vanishes(sums.sum_obs_exp) ? 1.0 : (sums.sum_obs_exp - c) / (c - m));
  report_value(job, "Fletcher chat ", pearson_chat / ((sums.sum_obs_exp - m) / (c - m)));
}

}  // namespace tarn
