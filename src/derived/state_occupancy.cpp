#include "derived/state_occupancy.h"

#include <algorithm>
#include <array>

#include "derived/group_rates.h"

namespace tarn {
namespace {

constexpr int states = states_of_a_site;
using States = std::array<double, states>;

/// Chances of the states behind interval t for a site in state m.
States next_states(const Group_rates& rate, int m, int t) {
  const double occupied = rate("Psi", t, m + 1), second = rate("R", t, m + 1);
  return {1.0 - occupied, occupied * (1.0 - second), occupied * second};
}

/// Chances of the sets of species, of which each is a bit of the set's number.
List<double> species_states(const Group_rates& rate) {
  const Data_module& data = rate.frame().job.data;
  const int sets = data.fdesign.extent(1), terms = data.fdesign.extent(2), columns = rate.columns("f");
  List<double> chance(sets, 0.0);
  for (int z = 1; z <= sets; ++z)
    for (int term = 1; term <= std::min(terms, columns); ++term)
      if (data.fdesign(z, term) != 0) chance(z) += rate("f", term);
  const double largest = *std::max_element(chance.begin(), chance.end());
  double sum = 0.0;
  for (double& each : chance) {
    each = exprep(each - largest);
    sum += each;
  }
  for (double& each : chance) each /= sum;
  return chance;
}

}  // namespace

void psi1psi2(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  for_each_group(frame, x, 1,
                 [&](const Group_rates& rate, int at) { values(at) = rate("Psi1", 1) * rate("Psi2", 1); });
}

void phi_t(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const int intervals = frame.sessions.size() - 1;
  for_each_group(frame, x, intervals * states * states, [&](const Group_rates& rate, int at) {
    for (int t = 1; t <= intervals; ++t)
      for (int m = 0; m < states; ++m)
        for (const double chance : next_states(rate, m, t)) values(at++) = chance;
  });
}

void phi_t_psi(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const int sessions = frame.sessions.size();
  for_each_group(frame, x, sessions * states, [&](const Group_rates& rate, int at) {
    const double first = rate("Phi0", 1, 2), second = rate("Phi0", 1, 3);
    States shares{1.0 - first - second, first, second};
    for (int s = 1; s <= sessions; ++s) {
      if (s > 1) {
        States moved{};
        for (int m = 0; m < states; ++m) {
          const States to = next_states(rate, m, s - 1);
          for (std::size_t k = 0; k < to.size(); ++k) moved[k] += shares[static_cast<std::size_t>(m)] * to[k];
        }
        shares = moved;
      }
      for (const double share : shares) values(at++) = share;
    }
  });
}

void multiocc_psi(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const auto& fdesign = frame.job.data.fdesign;
  const int sets = fdesign.extent(2);
  for_each_group(frame, x, sets, [&](const Group_rates& rate, int first) {
    const List<double> chance = species_states(rate);
    for (int set = 1; set <= sets; ++set) {
      double all_there = 0.0;
      for (int z = 1; z <= chance.size(); ++z)
        if (fdesign(z, set) != 0) all_there += chance(z);
      values(first + set - 1) = all_there;
    }
  });
}

List<int> species_of_sets(const Job& job) {
  const Data_module& data = job.data;
  List<int> sets;
  for (int set = 1; set <= data.fdesign.extent(2); ++set) {
    // The first state that holds the set is the set itself.
    int z = 1;
    while (data.fdesign(z, set) == 0) ++z;
    int digits = 0;
    for (int species = 1; species <= job.status.nspeciesocc; ++species)
      if (data.pdesign(z, species) != 0) digits = 10 * digits + species;
    sets.push_back(digits);
  }
  return sets;
}

}  // namespace tarn
