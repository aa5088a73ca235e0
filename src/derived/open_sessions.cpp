#include "derived/open_sessions.h"

#include <algorithm>

#include "likelihood/blocks/open_session.h"

namespace tarn {
namespace {

/// Real parameters of a place by name, row and column; fatal where there is none.
class Rates_of_place {
 public:
  Rates_of_place(Derived_frame& frame, const Open_place& place) : frame_(frame), place_(place) {}
  int number(std::string_view name, int row, int column) const {
    return frame_.number(findpar(frame_.job.data, name), place_.stratum, place_.session, place_.group, row,
                         column);
  }

 private:
  Derived_frame& frame_;
  Open_place place_;
};

/// Ends the job unless every real parameter that the stars of a place read is there.
void require_rates(Derived_frame& frame, const Open_traits& traits, const Closed_stretch& stretch,
                   const Open_place& place) {
  const Rates_of_place rates(frame, place);
  if (traits.participation) rates.number("alpha", 1, 1);
  for (int j = 1; j <= place.length; ++j)
    for (int i = 1; i <= (traits.by_arrival ? j : 1); ++i) {
      if (j < place.length) rates.number("Phi", i, j);
      if (!stretch.sampled(j)) continue;
      rates.number("p", i, j);
      if (traits.recognition) rates.number("Delta", 1, j);
      if (traits.recapture && i < j) rates.number("c", i, j - 1);
    }
}

/// Chance that an animal of a class of captures is recorded with certainty in its stratum and session.
double recorded_once(Derived_frame& frame, Reals<double> parm, const Capture_class& alike, bool check) {
  const Job& job = frame.job;
  const Open_traits traits = open_traits(datatype(job.status.dattyp));
  const Closed_stretch stretch =
      frame.stretch_of(job.data.encounters.history(alike.record), alike.session, alike.group);
  const Open_place place{alike.stratum, alike.session, alike.group, stretch.length};
  if (check) require_rates(frame, traits, stretch, place);
  frame.cell.begin();
  return open_session(job, traits, place, parm, frame.cell)
      .stars([&](int j) { return stretch.sampled(j); })
      .recognised;
}

/// Occasions on which one that takes part is present.
double residency_time(Derived_frame& frame, const Reals<double>& parm, const Open_place& place) {
  const Job& job = frame.job;
  const Open_traits traits = open_traits(datatype(job.status.dattyp));
  const Rates_of_place rates(frame, place);
  const int n = place.length;
  if (n > 1) {
    const bool all =
        job.model.pim2(findpar(job.data, "pent"), place.stratum, place.session, place.group).ncols >= n;
    const int first = all && job.model.pentfirst != 0 ? 2 : 1;
    for (int c = first; c < first + n - 1; ++c) rates.number("pent", 1, c);
  }
  frame.cell.begin();
  const std::span<double> arrive = frame.cell.take(static_cast<std::size_t>(n)),
                          absent = frame.cell.take(static_cast<std::size_t>(n));
  arrivals_of(job, traits, place, parm, frame.cell, arrive, absent);
  double time = 0.0;
  for (int i = 1; i <= n; ++i) {
    double present = arrive[static_cast<std::size_t>(i) - 1];
    for (int j = i; j <= n; ++j) {
      time += present;
      if (j < n) present *= parm[rates.number("Phi", traits.by_arrival ? i : 1, j)];
    }
  }
  return time;
}

void residency_times(Derived_frame& frame, std::span<const double> x, bool of_all, View<double> values) {
  const Reals<double> parm = frame.reals(x);
  for (int g = 1; g <= frame.job.status.ngrps; ++g)
    for (int a = 1; a <= frame.strata; ++a)
      for (int s = 1; s <= frame.sessions.size(); ++s) {
        const Open_place place{a, s, g, frame.sessions(s).length};
        double time = residency_time(frame, parm, place);
        if (of_all) time *= parm[Rates_of_place(frame, place).number("alpha", 1, 1)];
        values(frame.place(g, a, s)) = time;
      }
}

}  // namespace

void openrd_n(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  std::fill(values.begin(), values.end(), 0.0);
  int record = 0;
  Reals<double> parm;
  for (const Capture_class& alike : frame.capture_classes(false)) {
    if (alike.record != record) parm = frame.reals_of_record(alike.record, x, record == 0);
    record = alike.record;
    const double star = std::max(recorded_once(frame, parm, alike, flag == 1), minlog);
    const int at = frame.place(alike.group, alike.stratum, alike.session);
    values(at) += alike.animals / star;
    if (flag == 1) frame.added_variance(at) += alike.animals * (1.0 - star) / (star * star);
  }
}

void openrd_rt1(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  residency_times(frame, x, false, values);
}

void openrdseas_rt1a(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  residency_times(frame, x, true, values);
}

}  // namespace tarn
