#include "inference/data_summary.h"

#include <cmath>

#include "data/catalogue/datatype.h"
#include "data/sessions.h"
#include "inference/saturd.h"
#include "job/services/fault.h"
#include "likelihood/blocks/capture_counts.h"

namespace tarn {
namespace {

/// Sum over the layers of a tabulation at occasion t of group g.
double over_strata(const Array3<float>& counts, int t, int g) {
  double sum = 0.0;
  for (int k = 1; k <= counts.extent(3); ++k) sum += static_cast<double>(counts(t, g, k));
  return sum;
}

Group_summary group_summary(const Job& job, const Datatype& row, bool closed, int g) {
  const Encounter_store& encounters = job.data.encounters;
  Group_summary group;
  group.label = View<const Charray>(job.data.glabel)(g);
  for (int i = 1; i <= encounters.size(); ++i)
    group.animals += static_cast<double>(View<const float>(encounters.observed(i))(g)) +
                     static_cast<double>(View<const float>(encounters.lost_on_capture(i))(g));
  if (of_sites(row)) {
    // All are there from the start, and none is lost.
    group.released = {group.animals};
    group.lost = {0.0};
    return group;
  }
  if (closed) {
    group.caught = over_strata(job.data.u, 1, g) + over_strata(job.data.ul, 1, g);
    return group;
  }
  // Where a closed layer counts animals by session so does the summary.
  const List<int> periods = periods_of(job, row.closed != Closed::none && row.sessions);
  bool losses = false;
  for (int t = 1; !periods.empty() && t <= periods.back(); ++t) {
    group.released.push_back(over_strata(job.data.u, t, g));
    group.lost.push_back(over_strata(job.data.ul, t, g));
    losses = losses || group.lost.back() > 0.0;
  }
  if (!losses) return group;
  const Capture_counts captures(job, periods);
  for (int t = 1; t <= periods.back(); ++t) group.not_released.push_back(captures.not_released(g, t));
  return group;
}

}  // namespace

Data_summary data_summary(Job& job) {
  const Status_module& status = job.status;
  const Datatype& row = datatype(status.dattyp);
  const Encounter_store& encounters = job.data.encounters;
  if (row.released)
    for (int i = 1; i <= encounters.size(); ++i)
      if (first1(encounters.history(i)) == 0) error(job, "Bad capture history -- never captured.");
  Data_summary data;
  data.records = encounters.size();
  data.occasions = status.noccas;
  data.covariates = status.nicovs;
  if (status.nstrta > 1) data.strata = job.data.strata.substr(0, static_cast<std::size_t>(status.nstrta));
  data.closed = row.closed != Closed::none && !row.sessions;
  data.records_are_captures = (row.live && !of_sites(row)) || row.check == Cell_check::joint ||
                              row.check == Cell_check::barker || row.check == Cell_check::robust_barker;
  for (int g = 1; g <= status.ngrps; ++g) data.groups.push_back(group_summary(job, row, data.closed, g));
  return data;
}

double rounded_sample_size(const Job& job) { return std::trunc(effective_sample_size(job) + 0.5); }

}  // namespace tarn
