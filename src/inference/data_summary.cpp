#include "inference/data_summary.h"

#include <cmath>

#include "data/catalogue/datatype.h"
#include "data/sessions.h"
#include "inference/saturd.h"
#include "job/services/fault.h"

namespace tarn {
namespace {

/// Sum over the layers of a tabulation at occasion t of group g.
double over_strata(const Array3<float>& counts, int t, int g) {
  double sum = 0.0;
  for (int k = 1; k <= counts.extent(3); ++k) sum += static_cast<double>(counts(t, g, k));
  return sum;
}

/// Occasion by which each occasion's animals are tabulated: the primary session where a closed layer counts
/// animals by session.
List<int> periods_of(const Job& job, const Datatype& row) {
  if (row.closed != Closed::none && row.sessions) return sessions_of(job);
  List<int> periods;
  for (int o = 1; o <= job.status.noccas; ++o) periods.push_back(o);
  return periods;
}

/// Animals of one group that were not released again, by the period of their last capture.
List<double> not_released(const Job& job, const List<int>& periods, int g) {
  const Encounter_store& encounters = job.data.encounters;
  List<double> counts(periods.empty() ? 0 : periods.back(), 0.0);
  for (int i = 1; i <= encounters.size(); ++i)
    if (const int last = lastlc(encounters.history(i)); last > 0)
      counts(periods(last)) += static_cast<double>(View<const float>(encounters.lost_on_capture(i))(g));
  return counts;
}

Group_summary group_summary(const Job& job, const Datatype& row, bool closed, int g) {
  const Encounter_store& encounters = job.data.encounters;
  Group_summary group;
  group.label = View<const Charray>(job.data.glabel)(g);
  for (int i = 1; i <= encounters.size(); ++i)
    group.animals += static_cast<double>(View<const float>(encounters.observed(i))(g)) +
                     static_cast<double>(View<const float>(encounters.lost_on_capture(i))(g));
  if (closed) {
    group.caught = over_strata(job.data.u, 1, g) + over_strata(job.data.ul, 1, g);
    return group;
  }
  bool losses = false;
  const List<int> periods = periods_of(job, row);
  for (int t = 1; !periods.empty() && t <= periods.back(); ++t) {
    group.released.push_back(over_strata(job.data.u, t, g));
    group.lost.push_back(over_strata(job.data.ul, t, g));
    losses = losses || group.lost.back() > 0.0;
  }
  if (losses) group.not_released = not_released(job, periods, g);
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
  data.records_are_captures = row.live || row.check == Cell_check::joint || row.check == Cell_check::barker ||
                              row.check == Cell_check::robust_barker;
  for (int g = 1; g <= status.ngrps; ++g) data.groups.push_back(group_summary(job, row, data.closed, g));
  return data;
}

double rounded_sample_size(const Job& job) { return std::trunc(effective_sample_size(job) + 0.5); }

}  // namespace tarn
