#include "data/tabulation.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "data/sessions.h"
#include "data/site_checks.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"

namespace tarn {

namespace {

/// `u` and `ul` of the closed layer: distinct animals caught in each session, by stratum; the cohorts of
/// first captures are not what its terms take as the number caught. Added up in double precision: the terms
/// are sensitive to each animal, and sums of 32-bit floats lose some of many records.
void count_by_session(Job& job, const Datatype& row) {
  const Status_module& status = job.status;
  const Encounter_store& encounters = job.data.encounters;
  const List<int> session = row.sessions ? sessions_of(job) : List<int>(status.noccas, 1);
  for (const bool lost : {false, true}) {
    Array3<float>& counts = lost ? job.data.ul : job.data.u;
    counts.fill(0.0f);
    const int layers = std::max(counts.extent(3), 1);
    Array3<double> caught;
    make_work_area(caught, session.empty() ? 0 : session.back(), status.ngrps, layers);
    for (int i = 1; i <= encounters.size(); ++i) {
      const History cells = encounters.history(i);
      int counted = 0;
      for (int o = 1; o <= status.noccas; ++o) {
        const int s = session(o);
        if (s == counted || !captured(cells.live(o))) continue;
        counted = s;
        const int layer = std::clamp(stratum_position(job, row, cells.live(o)), 1, layers);
        for (int g = 1; g <= status.ngrps; ++g)
          caught(s, g, layer) +=
              static_cast<double>(lost ? encounters.lost_on_capture(i, g) : encounters.observed(i, g));
      }
    }
    for (int layer = 1; layer <= caught.extent(3); ++layer)
      for (int g = 1; g <= caught.extent(2); ++g)
        for (int s = 1; s <= caught.extent(1); ++s)
          if (caught(s, g, layer) != 0.0) add_animals(job, g, counts(s, g, layer), caught(s, g, layer));
  }
}

/// Identified sightings in a cell of two characters; 0 for the signs and for a dot.
int sightings(History cells, int o) {
  const char tens = cells.live(o), ones = cells.dead(o);
  if (tens < '0' || tens > '9' || ones < '0' || ones > '9') return 0;
  return 10 * (tens - '0') + (ones - '0');
}

/// True when the cell says that the animal was there.
bool known_present(const Datatype& row, History cells, int o) {
  const char live = cells.live(o);
  if (row.resight == Resight::poisson) return live != '.' && live != '-';
  return live != '.';
}

/// `u` of a resight family is the number of marked animals that could be seen; the first occasion of a record
/// is of no use to it. Fills the totals of sightings, too.
void count_sightings(Job& job, const Datatype& row) {
  const Status_module& status = job.status;
  Data_module& data = job.data;
  const Encounter_store& encounters = data.encounters;
  data.u.fill(0.0f);
  for (int i = 1; i <= encounters.size(); ++i) {
    const History cells = encounters.history(i);
    for (int o = 1; o <= status.noccas; ++o) {
      if (cells.live(o) == '.') continue;
      const int seen = sightings(cells, o);
      for (int g = 1; g <= status.ngrps; ++g) {
        const float n = encounters.observed(i, g);
        tabulate(job, false, o, g, 1, n);
        if (row.resight != Resight::poisson || seen == 0 || !data.nstar.present() || !data.cstar.present())
          continue;
        data.nstar(o, g) += static_cast<double>(n);
        data.cstar(o, g) += static_cast<double>(n) * seen;
      }
    }
  }
}

/// Least sizes of the population and of the number in the area, by session: the most marks of the
/// superpopulation, the mean number of marks known.
void least_sizes(Job& job) {
  Data_module& data = job.data;
  if (!data.nstarmin.present() || !data.nbarmin.present() || !data.tmarked.present() ||
      !data.markknwn.present())
    return;
  const List<int> session = sessions_of(job);
  for (int g = 1; g <= job.status.ngrps; ++g) {
    List<int> occasions(job.status.noccas, 0);
    for (int o = 1; o <= job.status.noccas; ++o) {
      const int s = session(o);
      ++occasions(s);
      data.nstarmin(s, g) = std::max(data.nstarmin(s, g), data.tmarked(o, g));
      data.nbarmin(s, g) += data.markknwn(o, g);
    }
    for (int s = 1; s <= session.back(); ++s) data.nbarmin(s, g) /= occasions(s);
  }
}

long long nearest(double count) { return whole(std::round(count)); }

/// Compares the marks that are stated as known with the animals that the histories say were there.
void compare_marks(Job& job, const Datatype& row) {
  const Status_module& status = job.status;
  if (!job.data.markknwn.present()) return;
  const Encounter_store& encounters = job.data.encounters;
  bool differ = false;
  for (int g = 1; g <= status.ngrps; ++g) {
    for (int o = 1; o <= status.noccas; ++o) {
      const double marks = job.data.markknwn(o, g);
      double tabulated = 0.0, added = 0.0;
      for (int i = 1; i <= encounters.size(); ++i) {
        const History cells = encounters.history(i);
        const double n = static_cast<double>(encounters.observed(i, g));
        if (known_present(row, cells, o)) tabulated += n;
        if (first01(cells) == o) added += n;
      }
      const bool known = marks >= 0.5;
      differ = differ || (known && std::abs(marks - tabulated) > 1e-6 * std::max(1.0, marks));
      if (!status.debug) continue;
      linchk(job, 4);
      if (known) {
        put(job, listing, "(5x,a,i0)", " Group=", g);
        put(job, listing, "(5x,a,i0)", " Occasion=", o);
        put(job, listing, "(5x,a,i0)", " Number of encounter histories tabulated =", nearest(tabulated));
        put(job, listing, "(5x,a,i0)", " Marks known = ", nearest(marks));
      } else {
        put(job, listing, "(5x,a,i0)", " Group = ", g);
        put(job, listing, "(5x,a,i0)", " Occasion = ", o);
        put(job, listing, "(5x,a,i0)", " Number of encounter histories tabulated = ", nearest(tabulated));
        put(job, listing, "(5x,a,i0)", " New Marks added = ", nearest(added));
      }
    }
  }
  if (differ) warn(job, "Number of marks known does not match number of animals in the encounter histories.");
}

/// Animals of a record, observed and lost.
double animals(const Encounter_store& encounters, int i) {
  double total = 0.0;
  for (const float n : encounters.observed(i)) total += static_cast<double>(n);
  for (const float n : encounters.lost_on_capture(i)) total += static_cast<double>(n);
  return total;
}

/// Mean and standard deviation of each covariate over the animals; a missing value takes the mean. With
/// STANDARDIZE the values become deviates.
void finish_covariates(Job& job) {
  const Status_module& status = job.status;
  Data_module& data = job.data;
  Encounter_store& encounters = data.encounters;
  if (status.nicovs < 1 || !data.icvrmn.present() || !data.icvrsd.present()) return;
  List<double> weight;
  for (int i = 1; i <= encounters.size(); ++i) weight.push_back(animals(encounters, i));
  long long missing = 0;
  for (int c = 1; c <= status.nicovs; ++c) {
    const auto over_values = [&](auto&& term) {
      double sum = 0.0;
      for (int i = 1; i <= encounters.size(); ++i) {
        const double x = encounters.ind_covariate(i, c);
        if (x != status.missrwp) sum += weight(i) * term(x);
      }
      return sum;
    };
    const double total = over_values([](double) { return 1.0; });
    const double mean = total > 0.0 ? over_values([](double x) { return x; }) / total : 0.0;
    const double squares = over_values([&](double x) { return (x - mean) * (x - mean); });
    const double deviation = total > 1.0 ? std::sqrt(squares / (total - 1.0)) : 0.0;
    // A covariate without spread is centred only; the divisor kept is the one that was used.
    const double divisor = status.stdic && !(deviation > 0.0) ? 1.0 : deviation;
    data.icvrmn(c) = mean;
    data.icvrsd(c) = divisor;
    for (int i = 1; i <= encounters.size(); ++i) {
      double& x = encounters.ind_covariate(i, c);
      if (x == status.missrwp) x = mean, ++missing;
      if (status.stdic) x = (x - mean) / divisor;
    }
  }
  if (missing > 0)
    warn(job, "Number of missing individual covariate values replaced by the mean of the covariate was " +
                  adjustfmt(missing) + ".");
}

}  // namespace

bool can_hold(double n) { return std::isfinite(static_cast<float>(n)); }

void add_animals(Job& job, int group, float& count, double n) {
  count += static_cast<float>(n);
  if (!std::isfinite(count))
    error(job, "The number of animals in group " + adjustfmt(group) + " is too large.");
}

void tabulate(Job& job, bool lost, int occasion, int group, int layer, float c) {
  Array3<float>& counts = lost ? job.data.ul : job.data.u;
  if (layer > counts.extent(3))
    error(job, "STRATA= and EVENTS= of the PROC CHMATRIX statement leave no room for stratum " +
                   adjustfmt(layer) + ".");
  add_animals(job, group, counts(occasion, group, layer), static_cast<double>(c));
}

void set_intervals(Job& job) {
  Status_module& status = job.status;
  const Datatype& row = datatype(status.dattyp);
  const Array1<float>& timint = job.data.timint;
  const int used = row.live ? status.noccas - 1 : status.noccas;
  job.data.timevy = 0;
  if (row.sessions) status.nprimy = 1;
  for (int o = 1; o <= used; ++o) {
    if (row.sessions && !(timint(o) > 0.0f)) continue;
    if (row.sessions && o < status.noccas) ++status.nprimy;
    if (timint(o) != 1.0f) job.data.timevy = 1;
  }
}

void finish_records(Job& job, Data_procedure& procedure) {
  const Datatype& row = datatype(job.status.dattyp);
  const Encounter_store& encounters = job.data.encounters;
  if (procedure.extra_values > 0)
    warn(job, "Number of encounter history records found with extra individual covariate values was " +
                  adjustfmt(procedure.extra_values) + ".");
  if (procedure.folded) warn(job, "At least a pair of the encounter histories are duplicates.");
  if (row.joint_words != Joint_words::none && encounters.size() > 0) {
    Kinds_found found;  // over the store, which holds the histories of matrices, too
    for (int i = 1; i <= encounters.size(); ++i) found.add(job, row, encounters.history(i));
    check_kinds(job, row, found);
  }
  for (int i = 1; has_session_checks(row) && i <= encounters.size(); ++i)
    check_sessions(job, procedure.named(i), row, encounters.history(i));
  if (row.resight != Resight::none) {
    count_sightings(job, row);
    least_sizes(job);
    compare_marks(job, row);
  }
  set_intervals(job);
  check_intervals(job, row);
  check_site_design(job, row);
  if (row.closed != Closed::none) count_by_session(job, row);
  check_sizes(job, row);
  finish_covariates(job);
}

}  // namespace tarn
