#include "derived/sections.h"

#include <array>

#include "derived/population.h"
#include "derived/rates.h"

namespace tarn {
namespace {

constexpr std::array<std::string_view, 1> by_group{"group"};

List<List<int>> groups(const Job& job) {
  List<List<int>> rows;
  for (int g = 1; g <= job.status.ngrps; ++g) rows.push_back({g});
  return rows;
}

constexpr Section survival_over_study{.title = "Survival Estimates of ",
                                      .quantity = Derived_quantity::survival_over_study,
                                      .letter = 'B',
                                      .label_names = by_group,
                                      .rows = groups,
                                      .interval = Interval::probability,
                                      .routine = kmprod};

constexpr Section population_of(Derived_routine routine) {
  return {.title = "Population Estimates of ",
          .quantity = Derived_quantity::population_by_group,
          .letter = 'J',
          .label_names = by_group,
          .rows = groups,
          .interval = Interval::population,
          .inflated = true,
          .routine = routine};
}
constexpr Section full_population = population_of(population_full),
                  conditional_population = population_of(huggins_pstar);

constexpr Section density_by_group{.title = "Density Estimates of ",
                                   .quantity = Derived_quantity::density_by_group,
                                   .letter = 'J',
                                   .label_names = by_group,
                                   .rows = groups,
                                   .interval = Interval::log,
                                   .inflated = true,
                                   .routine = density};

constexpr std::array<const Section*, 1> of_survival{&survival_over_study};
constexpr std::array<const Section*, 1> of_full_population{&full_population};
constexpr std::array<const Section*, 1> of_conditional_population{&conditional_population};
constexpr std::array<const Section*, 1> of_density{&density_by_group};

}  // namespace

std::string_view subject(const Section& section) {
  std::string_view title = section.title;
  if (title.ends_with(" of ")) title.remove_suffix(4);
  while (title.ends_with(' ')) title.remove_suffix(1);
  return title;
}

std::span<const Section* const> derived_sections(const Datatype& type) {
  switch (type.derived_sections) {
    case Derived_sections::survival:
    case Derived_sections::survival_between:
      return of_survival;
    case Derived_sections::population:
      if (names_hold(closed_parameters(type.closed), "f0")) return of_full_population;
      return of_conditional_population;
    case Derived_sections::density:
      return of_density;
    case Derived_sections::none:
    case Derived_sections::session_population:
    case Derived_sections::strata_population:
    case Derived_sections::population_and_growth:
    case Derived_sections::growth:
    case Derived_sections::popan:
    case Derived_sections::occupancy:
    case Derived_sections::occupancy_detection:
    case Derived_sections::occupancy_gamma:
    case Derived_sections::occupancy_epsilon:
    case Derived_sections::occupancy_psi:
    case Derived_sections::open_robust:
    case Derived_sections::open_robust_seasons:
    case Derived_sections::two_species:
    case Derived_sections::two_species_sessions:
    case Derived_sections::logit_normal:
    case Derived_sections::poisson_lognormal:
    case Derived_sections::two_psi:
    case Derived_sections::transition_products:
    case Derived_sections::relaxed_closure:
    case Derived_sections::multi_occupancy:
    case Derived_sections::state_abundance:
      break;
  }
  return {};
}

}  // namespace tarn
