#include "derived/sections.h"

#include <array>

#include "derived/growth.h"
#include "derived/occupancy.h"
#include "derived/open_sessions.h"
#include "derived/popan.h"
#include "derived/population.h"
#include "derived/rates.h"
#include "derived/state_abundance.h"
#include "derived/state_occupancy.h"
#include "derived/two_species.h"

namespace tarn {
namespace {

constexpr std::array<std::string_view, 1> by_group{"group"};
constexpr std::array<std::string_view, 3> by_stratum_and_session{"group", "stratum", "session"};
constexpr std::array<std::string_view, 3> by_state_and_occasion{"group", "stratum", "occasion"};
constexpr std::array<std::string_view, 2> by_session{"group", "session"}, by_occasion{"group", "occasion"};
constexpr std::array<std::string_view, 3> by_share{"group", "session", "row"},
    by_set{"group", "parameter", "species"};
constexpr std::array<std::string_view, 4> by_transition{"group", "session", "row", "column"};

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
List<List<int>> session_intervals(const Job& job) {
  return groups_and(job, primary_sessions(job).size() - 1);
}

/// Each of `rows` with 1 to `count` behind it.
List<List<int>> each_with(const List<List<int>>& rows, int count) {
  List<List<int>> longer;
  for (const List<int>& row : rows)
    for (int i = 1; i <= count; ++i) {
      longer.push_back(row);
      longer.back().push_back(i);
    }
  return longer;
}
List<List<int>> shares(const Job& job) { return each_with(sessions(job), states_of_a_site); }
List<List<int>> transitions(const Job& job) {
  return each_with(each_with(session_intervals(job), states_of_a_site), states_of_a_site);
}
List<List<int>> sets_of_species(const Job& job) {
  const List<int> species = species_of_sets(job);
  List<List<int>> rows = groups_and(job, species.size());
  for (List<int>& row : rows) row.push_back(species(row(2)));
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

constexpr Section of_groups(std::string_view title, Derived_quantity quantity, Interval interval,
                            Derived_routine routine) {
  return {.title = title,
          .quantity = quantity,
          .letter = 'F',
          .label_names = by_group,
          .rows = groups,
          .interval = interval,
          .routine = routine};
}
constexpr Section occupancy_by_group = of_groups("Occupancy Estimates of ", Derived_quantity::occupancy,
                                                 Interval::probability, psi_compute),
                  expected_detection =
                      of_groups("E(p-hat) Estimates of ", Derived_quantity::expected_detection,
                                Interval::probability, expectedphat_compute),
                  state_2_occupancy =
                      of_groups("Estimates of Psi1*Psi2 ", Derived_quantity::state_2_occupancy,
                                Interval::probability, psi1psi2),
                  occupancy_residency =
                      of_groups("Method 1 Residency Time of Occupancy ",
                                Derived_quantity::occupancy_residency, Interval::plain, occrelclos_rt1),
                  mean_arrival = of_groups("Mean Arrival Date Estimates of ", Derived_quantity::mean_arrival,
                                           Interval::plain, rdocc_arrival),
                  mean_departure = of_groups("Mean Departure Date Estimates of ",
                                             Derived_quantity::mean_departure, Interval::plain, rdocc_depart);

constexpr Section of_changes(std::string_view title, Derived_quantity quantity, Derived_routine routine) {
  return {.title = title,
          .quantity = quantity,
          .letter = 'J',
          .label_names = by_session,
          .rows = session_intervals,
          .interval = Interval::plain,
          .routine = routine};
}
constexpr Section colonisation = of_changes("Gamma Estimates of ", Derived_quantity::colonisation, rdocc_gam),
                  extinction = of_changes("Epsilon Estimates of ", Derived_quantity::extinction, rdocc_eps),
                  occupancy_growth =
                      of_changes("Lambda Estimates of ", Derived_quantity::occupancy_growth, rdocc_lam),
                  odds_growth =
                      of_changes("Lambda' Estimates of ", Derived_quantity::odds_growth, rdocc_lamp);
// KEPT: limits of a ratio of odds on the scale of probabilities, where occupancy itself is no parameter of
// every session. They hold between 0 and 1 only; above 1 the upper one may be negative.
constexpr Section odds_growth_of_psi = [] {
  Section section = odds_growth;
  section.interval = Interval::probability;
  section.ratio = true;
  return section;
}();
constexpr Section occupancy_by_session = [] {
  Section section = of_changes("Psi Estimates of ", Derived_quantity::occupancy_by_session, rdocc_psi);
  section.rows = sessions;
  return section;
}();

constexpr Section presence{.title = "Alpha Estimates of ",
                           .quantity = Derived_quantity::presence,
                           .letter = 'J',
                           .label_names = by_occasion,
                           .rows = occasions,
                           .interval = Interval::plain,
                           .routine = rdocc_alpha};

constexpr Section of_pair(std::string_view title, Derived_quantity quantity, Interval interval,
                          Derived_routine routine) {
  Section section = of_groups(title, quantity, interval, routine);
  section.letter = 'J';
  return section;
}
constexpr Section species_interaction = of_pair("Species Interaction Factors of ",
                                                Derived_quantity::species_interaction, Interval::plain, sif),
                  occupancy_of_b = of_pair("Species B Occupancy of ", Derived_quantity::occupancy_of_b,
                                           Interval::probability, psib),
                  occupancy_of_both =
                      of_pair("Both Species Occupancy of ", Derived_quantity::occupancy_of_both,
                              Interval::probability, psiab);

constexpr Section of_pair_by_session(std::string_view title, Derived_routine routine) {
  return {.title = title,
          .quantity = Derived_quantity::two_species,
          .letter = 'T',
          .label_names = by_session,
          .rows = sessions,
          .interval = Interval::probability,
          .routine = routine};
}
// The titles are spelt as listings have them.
constexpr Section unoccupied = of_pair_by_session("Unoccupied of ", rd2species<Of_two_species::unoccupied>),
                  b_only = of_pair_by_session("Species B only of ", rd2species<Of_two_species::b_only>),
                  a_only = of_pair_by_session("Species A only of ", rd2species<Of_two_species::a_only>),
                  both = of_pair_by_session("Both Species Occupancy of ", rd2species<Of_two_species::both>),
                  b = of_pair_by_session("Species B Occupancy of ", rd2species<Of_two_species::b>),
                  b_given_not_a = of_pair_by_session("Speciecs B given not A Occupancy of ",
                                                     rd2species<Of_two_species::b_given_not_a>),
                  a = of_pair_by_session("Species A Occupancy of ", rd2species<Of_two_species::a>),
                  b_given_a = of_pair_by_session("Speciecs B given A Occupancy of ",
                                                 rd2species<Of_two_species::b_given_a>);

// KEPT: limits of the interaction factor, too, on the scale of probabilities; above 1 the upper one may be
// negative.
constexpr Section interaction = [] {
  Section section =
      of_pair_by_session("Species Interaction Factors of ", rd2species<Of_two_species::interaction>);
  section.ratio = true;
  return section;
}();

constexpr Section state_transitions{.title = "Estimates of Phi_t Matrices ",
                                    .quantity = Derived_quantity::state_transitions,
                                    .letter = 'S',
                                    .label_names = by_transition,
                                    .rows = transitions,
                                    .interval = Interval::probability,
                                    .routine = phi_t};
constexpr Section state_shares{.title = "Estimates of Phi_t*Psi Vectors ",
                               .quantity = Derived_quantity::state_shares,
                               .letter = 'N',
                               .label_names = by_share,
                               .rows = shares,
                               .interval = Interval::probability,
                               .routine = phi_t_psi};

constexpr Section occupancy_of_sets{.title = "Occupancy Estimates (psi) of ",
                                    .quantity = Derived_quantity::species_sets,
                                    .letter = 'T',
                                    .label_names = by_set,
                                    .rows = sets_of_species,
                                    .interval = Interval::probability,
                                    .routine = multiocc_psi};

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

constexpr std::array<const Section*, 1> of_occupancy{&occupancy_by_group};
constexpr std::array<const Section*, 2> of_occupancy_and_detection{&occupancy_by_group, &expected_detection};
constexpr std::array<const Section*, 3> of_occupancy_and_extinction{&colonisation, &occupancy_growth,
                                                                    &odds_growth};
constexpr std::array<const Section*, 3> of_occupancy_and_colonisation{&extinction, &occupancy_growth,
                                                                      &odds_growth};
constexpr std::array<const Section*, 3> of_first_occupancy{&occupancy_by_session, &occupancy_growth,
                                                           &odds_growth_of_psi};
constexpr std::array<const Section*, 4> of_relaxed_closure{&occupancy_residency, &presence, &mean_arrival,
                                                           &mean_departure};
constexpr std::array<const Section*, 3> of_two_species{&species_interaction, &occupancy_of_b,
                                                       &occupancy_of_both};
constexpr std::array<const Section*, 9> of_two_species_sessions{
    &unoccupied, &b_only, &a_only, &interaction, &both, &b, &b_given_not_a, &a, &b_given_a};
constexpr std::array<const Section*, 1> of_two_psi{&state_2_occupancy};
constexpr std::array<const Section*, 2> of_transitions{&state_transitions, &state_shares};
constexpr std::array<const Section*, 1> of_multi_occupancy{&occupancy_of_sets};

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
    case Derived_sections::occupancy:
      return of_occupancy;
    case Derived_sections::occupancy_detection:
      return of_occupancy_and_detection;
    case Derived_sections::occupancy_gamma:
      return of_occupancy_and_extinction;
    case Derived_sections::occupancy_epsilon:
      return of_occupancy_and_colonisation;
    case Derived_sections::occupancy_psi:
      return of_first_occupancy;
    case Derived_sections::relaxed_closure:
      return of_relaxed_closure;
    case Derived_sections::two_species:
      // Where all three occupancies are parameters only the factor is left to derive.
      if (names_hold(type.own, "PsiAB")) return std::span(of_two_species).first(1);
      return of_two_species;
    case Derived_sections::two_species_sessions:
      return of_two_species_sessions;
    case Derived_sections::two_psi:
      return of_two_psi;
    case Derived_sections::transition_products:
      return of_transitions;
    case Derived_sections::multi_occupancy:
      return of_multi_occupancy;
    case Derived_sections::none:
    case Derived_sections::logit_normal:
    case Derived_sections::poisson_lognormal:
      break;
  }
  return {};
}

}  // namespace tarn
