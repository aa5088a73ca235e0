#include "derived/sections.h"

#include <array>

#include "derived/growth.h"
#include "derived/open_sessions.h"
#include "derived/popan.h"
#include "derived/population.h"
#include "derived/rates.h"
#include "derived/state_abundance.h"

namespace tarn {
namespace {

constexpr std::array<std::string_view, 1> by_group{"group"};
constexpr std::array<std::string_view, 3> by_stratum_and_session{"group", "stratum", "session"};
constexpr std::array<std::string_view, 3> by_state_and_occasion{"group", "stratum", "occasion"};
constexpr std::array<std::string_view, 2> by_session{"group", "session"}, by_occasion{"group", "occasion"};

List<List<int>> groups(const Job& job) {
  List<List<int>> rows;
  for (int g = 1; g <= job.status.ngrps; ++g) rows.push_back({g});
  return rows;
}

/// Groups, and within each 1 to `count`.
List<List<int>> groups_and(const Job& job, int count) {
  List<List<int>> rows;
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int i = 1; i <= count; ++i) rows.push_back({g, i});
  return rows;
}

List<List<int>> sessions(const Job& job) { return groups_and(job, primary_sessions(job).size()); }
List<List<int>> strata_and_sessions(const Job& job) {
  List<List<int>> rows;
  const int count = primary_sessions(job).size();
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int a = 1; a <= strata_of_captures(job); ++a)
      for (int s = 1; s <= count; ++s) rows.push_back({g, a, s});
  return rows;
}
List<List<int>> occasions(const Job& job) { return groups_and(job, job.status.noccas); }
List<List<int>> states_and_occasions(const Job& job) {
  List<List<int>> rows;
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int a = 1; a <= job.status.nstrta; ++a)
      for (int o = 1; o <= job.status.noccas; ++o) rows.push_back({g, a, o});
  return rows;
}
List<List<int>> intervals(const Job& job) { return groups_and(job, growth_intervals(job)); }

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

constexpr Section session_population_of(Derived_routine routine) {
  Section section = population_of(routine);
  section.quantity = Derived_quantity::population_by_session;
  section.label_names = by_session;
  section.rows = sessions;
  return section;
}
constexpr Section full_session_population = session_population_of(population_full),
                  conditional_session_population = session_population_of(huggins_pstar);

constexpr Section strata_population_of(Derived_routine routine) {
  Section section = population_of(routine);
  section.quantity = Derived_quantity::population_by_stratum;
  section.letter = 'O';
  section.label_names = by_stratum_and_session;
  section.rows = strata_and_sessions;
  return section;
}
constexpr Section full_strata_population = strata_population_of(population_full),
                  conditional_strata_population = strata_population_of(huggins_pstar);

constexpr Section open_session_section(std::string_view title, Derived_quantity quantity,
                                       Derived_routine routine) {
  Section section = strata_population_of(routine);
  section.title = title;
  section.quantity = quantity;
  section.interval = Interval::plain;
  section.inflated = false;
  return section;
}
constexpr Section open_population = open_session_section("Population Estimates of ",
                                                         Derived_quantity::population_by_stratum, openrd_n),
                  residency = open_session_section("Method 1 Residency Time Estimates of ",
                                                   Derived_quantity::residency_time, openrd_rt1),
                  residency_of_individuals =
                      open_session_section("Method 1 Residency Time of Individuals Estimates of ",
                                           Derived_quantity::residency_time, openrdseas_rt1a);

constexpr Section growth_between(std::span<const std::string_view> label_names) {
  return {.title = "Lambda Estimates of ",
          .quantity = Derived_quantity::growth,
          .letter = 'J',
          .label_names = label_names,
          .rows = intervals,
          .interval = Interval::log,
          .routine = lambda_derived};
}
constexpr Section log_growth_between(std::span<const std::string_view> label_names) {
  return {.title = "log(Lambda) Estimates of ",
          .quantity = Derived_quantity::log_growth,
          .letter = 'J',
          .label_names = label_names,
          .rows = intervals,
          .interval = Interval::plain,
          .logarithm = true,
          .routine = log_lambda_derived};
}
constexpr Section growth_by_occasion = growth_between(by_occasion),
                  log_growth_by_occasion = log_growth_between(by_occasion),
                  growth_by_session = growth_between(by_session),
                  log_growth_by_session = log_growth_between(by_session);

constexpr Section entries_of(std::string_view title, Derived_quantity quantity, Derived_routine routine) {
  return {.title = title,
          .quantity = quantity,
          .letter = 'J',
          .label_names = by_occasion,
          .rows = occasions,
          .interval = Interval::log,
          .routine = routine};
}
constexpr Section gross_births = entries_of("Gross Birth+Immigration Estimates of ",
                                            Derived_quantity::gross_births, popan_gb),
                  net_births = entries_of("Net Birth+Immigration Estimates of ", Derived_quantity::net_births,
                                          popan_nb),
                  population_by_occasion = entries_of("Population Estimates of ",
                                                      Derived_quantity::population_by_occasion, popan_n);
constexpr Section gross_population{.title = "Population Estimates of ",
                                   .quantity = Derived_quantity::gross_population,
                                   .letter = 'J',
                                   .label_names = by_group,
                                   .rows = groups,
                                   .interval = Interval::log,
                                   .routine = popan_gn};

constexpr Section total_abundance{.title = "Total Abundance Estimates of ",
                                  .quantity = Derived_quantity::total_abundance,
                                  .letter = 'F',
                                  .label_names = by_group,
                                  .rows = groups,
                                  .interval = Interval::plain,
                                  .routine = msjspstar};
constexpr Section abundance_of(std::string_view title, Interval interval, Derived_routine routine) {
  return {.title = title,
          .quantity = Derived_quantity::abundance,
          .letter = 'O',
          .label_names = by_state_and_occasion,
          .rows = states_and_occasions,
          .interval = interval,
          .routine = routine};
}
constexpr Section abundance = abundance_of("Abundance Estimates of ", Interval::log, msjsnstar),
                  births_by_state =
                      abundance_of("Gross Birth+Immigration Estimates of ", Interval::plain, msjsgress);

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
constexpr std::array<const Section*, 1> of_full_sessions{&full_session_population};
constexpr std::array<const Section*, 1> of_conditional_sessions{&conditional_session_population};
constexpr std::array<const Section*, 1> of_full_strata{&full_strata_population};
constexpr std::array<const Section*, 1> of_conditional_strata{&conditional_strata_population};
constexpr std::array<const Section*, 2> of_open_sessions{&open_population, &residency};
constexpr std::array<const Section*, 2> of_open_seasons{&open_population, &residency_of_individuals};
constexpr std::array<const Section*, 3> of_full_sessions_and_growth{
    &full_session_population, &growth_by_session, &log_growth_by_session};
constexpr std::array<const Section*, 3> of_conditional_sessions_and_growth{
    &conditional_session_population, &growth_by_session, &log_growth_by_session};
constexpr std::array<const Section*, 2> of_growth{&growth_by_occasion, &log_growth_by_occasion};
constexpr std::array<const Section*, 4> of_popan{&gross_births, &net_births, &gross_population,
                                                 &population_by_occasion};

constexpr std::array<const Section*, 3> of_states{&total_abundance, &abundance, &births_by_state};

}  // namespace

std::string_view subject(const Section& section) {
  std::string_view title = section.title;
  if (title.ends_with(" of ")) title.remove_suffix(4);
  while (title.ends_with(' ')) title.remove_suffix(1);
  return title;
}

std::span<const Section* const> derived_sections(const Datatype& type) {
  const bool full = names_hold(closed_parameters(type.closed), "f0");
  switch (type.derived_sections) {
    case Derived_sections::survival:
    case Derived_sections::survival_between:
      return of_survival;
    case Derived_sections::population:
      if (full) return of_full_population;
      return of_conditional_population;
    case Derived_sections::session_population:
      if (full) return of_full_sessions;
      return of_conditional_sessions;
    case Derived_sections::strata_population:
      if (full) return of_full_strata;
      return of_conditional_strata;
    case Derived_sections::open_robust:
      return of_open_sessions;
    case Derived_sections::open_robust_seasons:
      return of_open_seasons;
    case Derived_sections::population_and_growth:
      if (full) return of_full_sessions_and_growth;
      return of_conditional_sessions_and_growth;
    case Derived_sections::growth:
      return of_growth;
    case Derived_sections::popan:
      return of_popan;
    case Derived_sections::density:
      return of_density;
    case Derived_sections::state_abundance:
      return of_states;
    case Derived_sections::none:
    case Derived_sections::occupancy:
    case Derived_sections::occupancy_detection:
    case Derived_sections::occupancy_gamma:
    case Derived_sections::occupancy_epsilon:
    case Derived_sections::occupancy_psi:
    case Derived_sections::two_species:
    case Derived_sections::two_species_sessions:
    case Derived_sections::logit_normal:
    case Derived_sections::poisson_lognormal:
    case Derived_sections::two_psi:
    case Derived_sections::transition_products:
    case Derived_sections::relaxed_closure:
    case Derived_sections::multi_occupancy:
      break;
  }
  return {};
}

}  // namespace tarn
