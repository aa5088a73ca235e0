#include "derived/population.h"

#include <algorithm>

#include "data/catalogue/datatype.h"
#include "job/services/fault.h"
#include "likelihood/blocks/closed_session.h"

namespace tarn {
namespace {

/// Chance that an animal of group g is caught at least once on the occasions on which record i was sampled.
double caught_once(Derived_frame& frame, Reals<double> parm, int i, int g) {
  const Job& job = frame.job;
  // What was caught when does not matter, so the stretch has no capture.
  Closed_stretch stretch;
  stretch.histry = job.data.encounters.history(i);
  stretch.length = job.status.noccas;
  stretch.group = g;
  frame.cell.begin();
  return closmods(job, frame.cell, kept<One_closed_session>(frame.cell), i, stretch, job.status.closedmodel,
                  parm)
      .pstar;
}

/// Position of `alpha`, 0 without mis-identification.
int alpha_of(const Job& job) { return findpar(job.data, "alpha"); }

/// Chance of being read rightly at the first capture of a class of records.
double read_rightly(Derived_frame& frame, Reals<double> parm, int alpha, int first, int g) {
  if (alpha == 0 || first == 0) return 1.0;
  const int columns = frame.job.model.pim2(alpha, 1, 1, g).ncols;
  return parm[frame.number(alpha, 1, 1, g, 1, std::min(first, columns))];
}

/// Animals of group g caught on two occasions or more. A mark that was read wrongly is met once, so these are
/// animals for certain.
double caught_twice(const Job& job, int g) {
  const Encounter_store& encounters = job.data.encounters;
  double animals = 0.0;
  for (int i = 1; i <= encounters.size(); ++i) {
    const History history = encounters.history(i);
    if (first1(history) != lastlc(history))
      animals += static_cast<double>(encounters.observed(i, g)) + encounters.lost_on_capture(i, g);
  }
  return animals;
}

/// Calls `use(class, group, animals, parm, pstar)` for every class of records and group with animals, p* at
/// the class's own covariates and never below `minlog`.
template <class Use>
void for_each_caught(Derived_frame& frame, std::span<const double> x, bool by_first, const Use& use) {
  bool newbeta = true;
  for (const Record_class& alike : frame.record_classes(by_first)) {
    const Reals<double> parm = frame.reals_of_record(alike.record, x, newbeta);
    newbeta = false;
    for (int g = 1; g <= frame.job.status.ngrps; ++g) {
      const double animals = alike.animals(g);
      if (!(animals > 0.0)) continue;
      const double pstar = caught_once(frame, parm, alike.record, g);
      use(alike, g, animals, parm, pstar > minlog ? pstar : minlog);
    }
  }
}

}  // namespace

void population_full(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  const Job& job = frame.job;
  const Reals<double> parm = frame.reals(x);
  const int f0 = findpar(job.data, "f0"), alpha = alpha_of(job);
  for (int g = 1; g <= job.status.ngrps; ++g) {
    const double caught =
        static_cast<double>(job.data.u(1, g, 1)) + static_cast<double>(job.data.ul(1, g, 1));
    double known = caught;
    if (alpha > 0) {
      known = 0.0;
      for (const Record_class& alike : frame.record_classes(true))
        if (alike.first > 0) known += alike.animals(g) * read_rightly(frame, parm, alpha, alike.first, g);
    }
    const double share = caught > 0.0 ? known / caught : 1.0;
    values(g) = known + share * parm[frame.number(f0, 1, 1, g, 1, 1)];
    if (flag == 1) frame.minimum(g) = alpha > 0 ? caught_twice(job, g) : caught;
  }
}

void huggins_pstar(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  const int alpha = alpha_of(frame.job);
  std::fill(values.begin(), values.end(), 0.0);
  for (int g = 1; flag == 1 && alpha > 0 && g <= frame.job.status.ngrps; ++g)
    frame.minimum(g) = caught_twice(frame.job, g);
  for_each_caught(frame, x, alpha > 0,
                  [&](const Record_class& alike, int g, double animals, Reals<double> parm, double pstar) {
                    const double rightly = animals * read_rightly(frame, parm, alpha, alike.first, g);
                    values(g) += rightly / pstar;
                    if (flag != 1) return;
                    if (alpha == 0) frame.minimum(g) += animals;
                    frame.added_variance(g) += rightly * (1.0 - pstar) / (pstar * pstar);
                  });
}

void density(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  Job& job = frame.job;
  if (!datatype(job.status.dattyp).density) error(job, "Wrong data type passed to subroutine density.");
  const int located = findpar(job.data, "ptilde");
  std::fill(values.begin(), values.end(), 0.0);
  for_each_caught(frame, x, false,
                  [&](const Record_class&, int g, double animals, Reals<double> parm, double pstar) {
                    const double ptilde = parm[frame.number(located, 1, 1, g, 1, 1)];
                    const double area = job.data.areas(g);
                    values(g) += animals * ptilde / pstar / area;
                    if (flag == 1) frame.added_variance(g) += density_var_add(animals, ptilde, pstar, area);
                  });
}

double density_var_add(double animals, double ptilde, double pstar, double area) {
  return animals * ptilde * ptilde * (1.0 - pstar) / (pstar * pstar) / (area * area);
}

}  // namespace tarn
