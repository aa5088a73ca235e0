#include "derived/population.h"

#include <algorithm>

#include "data/catalogue/datatype.h"
#include "job/services/fault.h"
#include "likelihood/blocks/closed_session.h"

namespace tarn {
namespace {

/// Chance that an animal is caught at least once on the session's occasions on which it was sampled.
double caught_once(Derived_frame& frame, Reals<double> parm, const Capture_class& alike) {
  const Job& job = frame.job;
  Closed_stretch stretch =
      frame.stretch_of(job.data.encounters.history(alike.record), alike.session, alike.group);
  // What was caught when does not matter, so the stretch has no capture.
  stretch.first = stretch.last = 0;
  frame.cell.begin();
  return closmods(job, frame.cell, frame.closed, alike.record, stretch, job.status.closedmodel, parm).pstar;
}

/// Position of `alpha`, 0 without mis-identification.
int alpha_of(const Job& job) { return findpar(job.data, "alpha"); }

/// Chance of being read rightly at the first capture of a class.
double read_rightly(Derived_frame& frame, Reals<double> parm, int alpha, const Capture_class& alike) {
  if (alpha == 0) return 1.0;
  const int columns = frame.job.model.pim2(alpha, alike.stratum, alike.session, alike.group).ncols;
  return parm[frame.number(alpha, alike.stratum, alike.session, alike.group, 1,
                           std::min(alike.first, columns))];
}

/// Animals caught on two occasions or more of a session, into the minima of groups, strata and sessions. A
/// mark that was read wrongly is met once, so these are animals for certain.
void count_caught_twice(Derived_frame& frame) {
  const Encounter_store& encounters = frame.job.data.encounters;
  for (int i = 1; i <= encounters.size(); ++i)
    for (int s = 1; s <= frame.sessions.size(); ++s) {
      const Closed_stretch stretch = frame.stretch_of(encounters.history(i), s, 1);
      if (stretch.first == stretch.last) continue;
      for (int g = 1; g <= frame.job.status.ngrps; ++g)
        frame.minimum(frame.place(g, stretch.stratum, s)) +=
            static_cast<double>(encounters.observed(i, g)) + encounters.lost_on_capture(i, g);
    }
}

/// Calls `use(class, parm, pstar)` for every class of captures, real parameters and p* at the class's own
/// covariates, p* never below `minlog`.
template <class Use>
void for_each_caught(Derived_frame& frame, std::span<const double> x, bool by_first, const Use& use) {
  int record = 0;
  Reals<double> parm;
  for (const Capture_class& alike : frame.capture_classes(by_first)) {
    if (alike.record != record) parm = frame.reals_of_record(alike.record, x, record == 0);
    record = alike.record;
    const double pstar = caught_once(frame, parm, alike);
    use(alike, parm, pstar > minlog ? pstar : minlog);
  }
}

}  // namespace

void population_full(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  const Job& job = frame.job;
  const Reals<double> parm = frame.reals(x);
  const int f0 = findpar(job.data, "f0"), alpha = alpha_of(job);
  List<double> rightly(values.size(), 0.0);
  if (alpha > 0) {
    for (const Capture_class& alike : frame.capture_classes(true))
      rightly(frame.place(alike.group, alike.stratum, alike.session)) +=
          alike.animals * read_rightly(frame, parm, alpha, alike);
    if (flag == 1) count_caught_twice(frame);
  }
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int k = 1; k <= frame.strata; ++k)
      for (int s = 1; s <= frame.sessions.size(); ++s) {
        const int at = frame.place(g, k, s);
        const double caught =
            static_cast<double>(job.data.u(s, g, k)) + static_cast<double>(job.data.ul(s, g, k));
        const double known = alpha > 0 ? rightly(at) : caught;
        const double share = caught > 0.0 ? known / caught : 1.0;
        values(at) = known + share * parm[frame.number(f0, k, s, g, 1, 1)];
        if (flag == 1 && alpha == 0) frame.minimum(at) = caught;
      }
}

void huggins_pstar(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  const int alpha = alpha_of(frame.job);
  std::fill(values.begin(), values.end(), 0.0);
  if (flag == 1 && alpha > 0) count_caught_twice(frame);
  for_each_caught(frame, x, alpha > 0, [&](const Capture_class& alike, Reals<double> parm, double pstar) {
    const int at = frame.place(alike.group, alike.stratum, alike.session);
    const double rightly = alike.animals * read_rightly(frame, parm, alpha, alike);
    values(at) += rightly / pstar;
    if (flag != 1) return;
    if (alpha == 0) frame.minimum(at) += alike.animals;
    frame.added_variance(at) += rightly * (1.0 - pstar) / (pstar * pstar);
  });
}

void density(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  Job& job = frame.job;
  if (!datatype(job.status.dattyp).density) error(job, "Wrong data type passed to subroutine density.");
  const int located = findpar(job.data, "ptilde");
  std::fill(values.begin(), values.end(), 0.0);
  for_each_caught(frame, x, false, [&](const Capture_class& alike, Reals<double> parm, double pstar) {
    const int g = alike.group;
    const double ptilde = parm[frame.number(located, 1, 1, g, 1, 1)];
    const double area = job.data.areas(g);
    values(g) += alike.animals * ptilde / pstar / area;
    if (flag == 1) frame.added_variance(g) += density_var_add(alike.animals, ptilde, pstar, area);
  });
}

double density_var_add(double animals, double ptilde, double pstar, double area) {
  return animals * ptilde * ptilde * (1.0 - pstar) / (pstar * pstar) / (area * area);
}

}  // namespace tarn
