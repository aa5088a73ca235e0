#include "derived/popan.h"

#include <cmath>

#include "data/catalogue/datatype.h"
#include "likelihood/blocks/rates.h"

namespace tarn {
namespace {

/// One group at the estimates.
struct Superpopulation {
  List<double> births;  ///< net, by occasion
  List<double> phi;     ///< survival over each interval
};

/// Animals of a group caught at least once.
double animals_caught(const Job& job, int g) {
  double animals = 0.0;
  for (int o = 1; o <= job.status.noccas; ++o)
    animals += static_cast<double>(job.data.u(o, g, 1)) + static_cast<double>(job.data.ul(o, g, 1));
  return animals;
}

Superpopulation superpopulation(Derived_frame& frame, const Reals<double>& parm, int g) {
  const Job& job = frame.job;
  const int noccas = job.status.noccas;
  Power_memo powers;
  const Interval_rates<double> rate(job, parm, powers);
  const int q_phi = findpar(job.data, "Phi"), q_pent = findpar(job.data, "pent"),
            q_n = findpar(job.data, "N");

  Superpopulation group{List<double>(noccas, 0.0), List<double>(noccas - 1, 1.0)};
  for (int c = 1; c < noccas; ++c) group.phi(c) = rate.survival(frame.number(q_phi, 1, 1, g, 1, c), c);

  const int number = frame.number(q_n, 1, 1, g, 1, 1);
  const bool whole = job.model.fixpar(number) != 0;
  const double total = whole ? parm[number] : parm[number] + animals_caught(job, g);
  const bool first_left = job.model.pentfirst != 0;
  double left = 1.0;
  for (int c = 1; c < noccas; ++c) {
    const double pent = parm[frame.number(q_pent, 1, 1, g, 1, c)];
    left -= pent;
    group.births(first_left ? c + 1 : c) = total * pent;
  }
  group.births(first_left ? 1 : noccas) = total * left;
  return group;
}

double gross(const Superpopulation& group, int occasion) {
  const double births = group.births(occasion);
  return occasion == 1 ? births : births * gross_per_net(group.phi(occasion - 1));
}

}  // namespace

double gross_per_net(double phi) {
  // Next to 1 the difference is exact and the logarithm has all its digits, so the ratio has them, too.
  return phi == 1.0 ? 1.0 : floored_log(phi) / (phi - 1.0);
}

void popan_gb(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const Status_module& status = frame.job.status;
  const Reals<double> parm = frame.reals(x);
  for (int g = 1; g <= status.ngrps; ++g) {
    const Superpopulation group = superpopulation(frame, parm, g);
    for (int o = 1; o <= status.noccas; ++o) values((g - 1) * status.noccas + o) = gross(group, o);
  }
}

void popan_nb(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const Status_module& status = frame.job.status;
  const Reals<double> parm = frame.reals(x);
  for (int g = 1; g <= status.ngrps; ++g) {
    const Superpopulation group = superpopulation(frame, parm, g);
    for (int o = 1; o <= status.noccas; ++o) values((g - 1) * status.noccas + o) = group.births(o);
  }
}

void popan_gn(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const Status_module& status = frame.job.status;
  const Reals<double> parm = frame.reals(x);
  for (int g = 1; g <= status.ngrps; ++g) {
    const Superpopulation group = superpopulation(frame, parm, g);
    values(g) = 0.0;
    for (int o = 1; o <= status.noccas; ++o) values(g) += gross(group, o);
  }
}

void popan_n(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const Status_module& status = frame.job.status;
  const Capture_counts& counts = frame.capture_counts();
  const Reals<double> parm = frame.reals(x);
  for (int g = 1; g <= status.ngrps; ++g) {
    const Superpopulation group = superpopulation(frame, parm, g);
    double n = group.births(1);
    for (int o = 1; o <= status.noccas; ++o) {
      if (o > 1) n = (n - counts.not_released(g, o - 1)) * group.phi(o - 1) + group.births(o);
      values((g - 1) * status.noccas + o) = n;
    }
  }
}

}  // namespace tarn
