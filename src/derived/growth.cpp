#include "derived/growth.h"

#include <cmath>

#include "data/catalogue/datatype.h"
#include "derived/population.h"
#include "job/services/fault.h"
#include "likelihood/blocks/entry.h"

namespace tarn {
namespace {

/// Growth follows from population sizes, not from parameters.
bool of_sizes(const Datatype& type) { return type.cell == Cell::robust_pradel_n; }

}  // namespace

int growth_intervals(const Job& job) {
  return (datatype(job.status.dattyp).sessions ? primary_sessions(job).size() : job.status.noccas) - 1;
}

void lambda_pradel(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  Job& job = frame.job;
  const Datatype& type = datatype(job.status.dattyp);
  const bool grows = type.derived_sections == Derived_sections::growth ||
                     type.derived_sections == Derived_sections::population_and_growth;
  if (!grows || of_sizes(type)) error(job, "Bad call to LAMBDA_PRADEL.");
  const int phi = findpar(job.data, "Phi"), gamma = findpar(job.data, "Gamma"),
            lambda = findpar(job.data, "Lambda"), f = findpar(job.data, "f");
  const Growth growth = growth_of(job);
  const Reals<double> parm = frame.reals(x);
  const int intervals = growth_intervals(job);
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int c = 1; c <= intervals; ++c) {
      const auto rate = [&](int q) { return parm[frame.number(q, 1, 1, g, 1, c)]; };
      double& value = values((g - 1) * intervals + c);
      switch (growth) {
        case Growth::seniority:
          value = quotient(rate(phi), rate(gamma));
          break;
        case Growth::lambda:
          value = rate(lambda);
          break;
        case Growth::recruitment:
          value = rate(phi) + rate(f);
          break;
      }
    }
}

void lambda_n_derived(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const Job& job = frame.job;
  const int sessions = frame.sessions.size();
  List<double> size(job.status.ngrps * sessions);
  const Derived_routine population = findpar(job.data, "f0") > 0 ? population_full : huggins_pstar;
  population(frame, x, 0, size);
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int s = 1; s < sessions; ++s)
      values((g - 1) * (sessions - 1) + s) =
          quotient(size(frame.place(g, 1, s + 1)), size(frame.place(g, 1, s)));
}

void lambda_derived(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  const bool by_sizes = of_sizes(datatype(frame.job.status.dattyp));
  (by_sizes ? lambda_n_derived : lambda_pradel)(frame, x, flag, values);
}

void log_lambda_derived(Derived_frame& frame, std::span<const double> x, int flag, View<double> values) {
  lambda_derived(frame, x, flag, values);
  for (double& value : values)
    if (!std::isnan(value)) value = floored_log(value);
}

}  // namespace tarn
