#include "derived/state_occupancy.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "derived/group_rates.h"
#include "likelihood/blocks/site_states.h"
#include "likelihood/blocks/transitions.h"

namespace tarn {
namespace {

constexpr int states = states_of_a_site;
using States = std::array<double, states>;

/// Chances of the states behind interval t by those ahead, row by row.
std::array<double, states * states> changes(const Group_rates& rate, int t) {
  std::array<double, states * states> m{};
  for (int z = 0; z < states; ++z)
    occupied_in_two_states<double>(
        rate("Psi", t, z + 1), rate("R", t, z + 1),
        std::span(m).subspan(static_cast<std::size_t>(states * z), std::size_t{states}));
  return m;
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
      for (const double chance : changes(rate, t)) values(at++) = chance;
  });
}

void phi_t_psi(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const int sessions = frame.sessions.size();
  for_each_group(frame, x, sessions * states, [&](const Group_rates& rate, int at) {
    const double first = rate("Phi0", 1, 2), second = rate("Phi0", 1, 3);
    States shares{1.0 - first - second, first, second};
    for (int s = 1; s <= sessions; ++s) {
      if (s > 1) {
        const States from = shares;
        carry<double>(states, from.data(), State_set::all(states), changes(rate, s - 1).data(),
                      State_set::all(states), shares.data());
      }
      for (const double share : shares) values(at++) = share;
    }
  });
}

void multiocc_psi(Derived_frame& frame, std::span<const double> x, int, View<double> values) {
  const auto& fdesign = frame.job.data.fdesign;
  const int sets = fdesign.extent(2);
  for_each_group(frame, x, sets, [&](const Group_rates& rate, int first) {
    std::vector<double> chance(static_cast<std::size_t>(fdesign.extent(1)));
    shares_of_sets<double>(
        fdesign, rate.columns("f"), [&](int column) { return rate("f", column); }, chance);
    for (int set = 1; set <= sets; ++set) {
      double all_there = 0.0;
      for (std::size_t z = 0; z < chance.size(); ++z)
        if (fdesign(static_cast<int>(z) + 1, set) != 0) all_there += chance[z];
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
