#include "model/results/heading.h"

#include <string>
#include <vector>

#include "inference/varmat.h"
#include "job/services/report.h"
#include "job/services/template.h"

namespace tarn {
namespace {

void heading_line(Job& job, std::string_view label, const std::string& text) {
  linchk(job, 2);
  put(job, screen, "(3x,a)", std::string(label) + text);
  put(job, listing, "(1x/1x,a,a)", label, text);
}

std::vector<long long> whole_numbers(const List<double>& counts) {
  std::vector<long long> shown;
  for (const double count : counts) shown.push_back(whole(count));
  return shown;
}

/// Counts by occasion of one group, under their heading.
void write_counts(Job& job, std::string_view heading, const std::vector<long long>& counts) {
  put_block(job, formatted("(/1x,a)", heading) + '\n' + formatted("(3x,15i5)", counts));
  put(job, screen, "(/3x,a)", heading);
  put(job, screen, "(3x,11i7)", counts);
}

/// Releases and losses of group g by occasion.
void write_releases(Job& job, int g, const Group_summary& group) {
  linchk(job, 2);
  put(job, listing, "(/1x,a,i0,a,a)", "Group ", g, " = ", group.label);
  const bool losses = !group.not_released.empty();
  if (losses) {
    List<double> both = group.released;
    for (int t = 1; t <= both.size(); ++t) both(t) += group.lost(t);
    write_counts(job, "U(t)+UL(t):", whole_numbers(both));
  }
  write_counts(job, "U(t):", whole_numbers(group.released));
  if (!losses) return;
  write_counts(job, "UL(t):", whole_numbers(group.lost));
  write_counts(job, "Not Released(t):", whole_numbers(group.not_released));
}

/// Animals caught in each group of a closed population.
void write_closed_counts(Job& job, const Data_summary& data) {
  std::vector<long long> caught;
  for (const Group_summary& group : data.groups) caught.push_back(whole(group.caught));
  put_block(job, formatted("(/1x,a)", "M(t+1):") + '\n' + formatted("(1x,11i7)", caught));
  put(job, screen, "(/3x,a)", "M(t+1):");
  put(job, screen, "(3x,11i7)", caught);
}

/// Animals of each group, for the types whose records are of captured animals.
void write_captured(Job& job, const Data_summary& data) {
  if (!data.records_are_captures) return;
  std::string text = formatted("(/1x,a)", "Total number of individuals captured for each grooup:");
  for (const Group_summary& group : data.groups)
    text += '\n' + formatted("(1x,a,i0)", group.label + ": ", whole(group.animals));
  put_block(job, text);
}

}  // namespace

void write_model_heading(Job& job) {
  heading_line(job, "Model is ", job.model.modnam);
  heading_line(job, "Link Function Used is ", std::string(link_name(job.model.nlink)));
  heading_line(job, "Variance Estimation Procedure Used is ", std::string(name_of(job.model.vartyp)));
}

void write_data_summary(Job& job, const Data_summary& data) {
  if (!data.strata.empty()) {
    linchk(job, 1);
    put(job, listing, "(1x,a,a)", "Strata=", data.strata);
  }
  if (data.closed)
    write_closed_counts(job, data);
  else
    for (int g = 1; g <= data.groups.size(); ++g) write_releases(job, g, data.groups(g));
}

void write_saturated(Job& job, const Saturated_model& saturated, const Data_summary& data) {
  linchk(job, 2);
  put(job, listing, "(1x,a,a14)", "-2logL(saturated) = ", f14(job, saturated.xlogs));
  put(job, screen, "(3x,a,a14)", "-2logL(saturated) = ", f14(job, saturated.xlogs));
  put(job, listing, "(1x,a,i0)", "Effective Sample Size = ", whole(data.effective_size));
  put(job, screen, "(3x,a,i0)", "Effective Sample Size = ", whole(data.effective_size));
  write_captured(job, data);
}

}  // namespace tarn
