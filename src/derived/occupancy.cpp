#include "derived/occupancy.h"

#include <cmath>

#include "derived/group_rates.h"
#include "likelihood/blocks/abundance.h"
#include "likelihood/blocks/occupancy_rates.h"
#include "likelihood/blocks/open_session.h"

namespace tarn {
namespace {

/// Numbers of animals at the sites of a group.
Abundance<double> animals_of(const Group_rates& rate) {
  const double mean = rate("Lambda", 1);
  if (findpar(rate.frame().job.data, "VarAdd") == 0) return Abundance<double>::of(mean, nullptr);
  const double added = rate("VarAdd", 1);
  return Abundance<double>::of(mean, &added);
}

/// Chance that at least one of the animals shows, each with chance `shown`.
double any(const Abundance<double>& animals, double shown) { return -std::expm1(animals.log_missed(shown)); }

/// Occupancy of a group by session.
List<double> occupancies(const Group_rates& rate) {
  const Data_module& data = rate.frame().job.data;
  // Where one of the rates is derived occupancy is a parameter in every session.
  const bool each = findpar(data, "Epsilon") == 0 || findpar(data, "Gamma") == 0;
  List<double> psi(rate.frame().sessions.size(), 0.0);
  for (int s = 1; s <= psi.size(); ++s) {
    if (each || s == 1)
      psi(s) = rate("Psi", s);
    else
      psi(s) = psi(s - 1) * (1.0 - rate("Epsilon", s - 1)) + (1.0 - psi(s - 1)) * rate("Gamma", s - 1);
  }
  return psi;
}

/// Fills the value of each group and interval with change(rate, interval, psi ahead, psi behind).
template <class Change>
void for_each_change(Derived_frame& frame, std::span<const double> x, View<double> values,
                     const Change& change) {
  const int intervals = frame.sessions.size() - 1;
  for_each_group(frame, x, intervals, [&](const Group_rates& rate, int first) {
    const List<double> psi = occupancies(rate);
    for (int t = 1; t <= intervals; ++t) values(first + t - 1) = change(rate, t, psi(t), psi(t + 1));
  });
}

/// An occupied site, by occasion.
struct Stay {
  List<double> arrives;  ///< share that arrives ahead of it
  List<double> present;
  List<double> leaves;  ///< share that is there and gone by the next one; behind the last occasion all are
};

Stay stay_of(const Group_rates& rate, const Reals<double>& parm, int group) {
  Derived_frame& frame = rate.frame();
  const int K = frame.job.status.noccas;
  Stay stay{List<double>(K, 0.0), List<double>(K, 0.0), List<double>(K, 0.0)};
  List<double> absent(K, 0.0);
  for (int c = 1; c < K; ++c) rate("pent", c);  // must be there
  arrivals_of<double>(frame.job, Open_traits(), {1, 1, group, K}, parm, frame.cell, stay.arrives, absent);
  for (int o = 1; o <= K; ++o) {
    stay.present(o) = stay.arrives(o);
    if (o > 1) stay.present(o) += stay.present(o - 1) - stay.leaves(o - 1);
    stay.leaves(o) = o < K ? stay.present(o) * rate("d", o) : stay.present(o);
  }
  return stay;
}

/// Calls visit(stay, first value) for each group, which has `count` values.
template <class Visit>
void for_each_stay(Derived_frame& frame, std::span<const double> x, int count, const Visit& visit) {
  const Reals<double> parm = frame.reals(x);
  for (int g = 1; g <= frame.job.status.ngrps; ++g)
    visit(stay_of(Group_rates(frame, parm, g), parm, g), (g - 1) * count + 1);
}

/// Mean occasion of what has this share on each.
double mean_occasion(const List<double>& shares) {
  double mean = 0.0;
  for (int o = 1; o <= shares.size(); ++o) mean += o * shares(o);
  return mean;
}

}  // namespace

void psi_compute(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const bool from_abundance = findpar(frame.job.data, "Psi") == 0;
  for_each_group(frame, x, 1, [&](const Group_rates& rate, int at) {
    values(at) = from_abundance ? any(animals_of(rate), 1.0) : rate("Psi", 1);
  });
}

void expectedphat_compute(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const int K = frame.job.status.noccas;
  for_each_group(frame, x, 1, [&](const Group_rates& rate, int at) {
    const Abundance<double> animals = animals_of(rate);
    double shown = 0.0;
    for (int c = 1; c <= K; ++c) shown += any(animals, rate("r", c));
    values(at) = quotient(shown / K, any(animals, 1.0));
  });
}

void rdocc_psi(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_group(frame, x, frame.sessions.size(), [&](const Group_rates& rate, int first) {
    for (const double psi : occupancies(rate)) values(first++) = psi;
  });
}

void rdocc_gam(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_change(frame, x, values, [](const Group_rates& rate, int t, double psi, double next) {
    return gamma_of(psi, next, rate("Epsilon", t)).value;
  });
}

void rdocc_eps(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_change(frame, x, values, [](const Group_rates& rate, int t, double psi, double next) {
    return epsilon_of(psi, next, rate("Gamma", t)).value;
  });
}

void rdocc_lam(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_change(frame, x, values,
                  [](const Group_rates&, int, double psi, double next) { return quotient(next, psi); });
}

void rdocc_lamp(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_change(frame, x, values, [](const Group_rates&, int, double psi, double next) {
    return quotient(next * (1.0 - psi), psi * (1.0 - next));
  });
}

void occrelclos_rt1(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_stay(frame, x, 1, [&](const Stay& stay, int at) {
    values(at) = 0.0;
    for (const double present : stay.present) values(at) += present;
  });
}

void rdocc_alpha(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_stay(frame, x, frame.job.status.noccas, [&](const Stay& stay, int first) {
    for (const double present : stay.present) values(first++) = present;
  });
}

void rdocc_arrival(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_stay(frame, x, 1, [&](const Stay& stay, int at) { values(at) = mean_occasion(stay.arrives); });
}

void rdocc_depart(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_stay(frame, x, 1, [&](const Stay& stay, int at) { values(at) = mean_occasion(stay.leaves); });
}

}  // namespace tarn
