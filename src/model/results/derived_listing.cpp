#include "model/results/derived_listing.h"

#include <array>
#include <cstdint>
#include <string>

#include "job/services/report.h"
#include "job/services/template.h"
#include "model/results/estimability_listing.h"

namespace tarn {
namespace {

using Row_template = Template<std::span<const int>, std::array<std::string, 4>>;

/// How the listing shows a section.
struct Section_layout {
  std::span<const Template<>> heading;
  int heading_lines = 0;
  Row_template row;
};

constexpr Template<> short_ruler{"(1x,5('-'),4(2x,'--------------'))"},
    short_confidence{"(44x,'95% Confidence Interval')"};
constexpr Template<> group_ruler{"(1x,9('-'),4(2x,'--------------'))"};
constexpr Template<> group_confidence{"(48x,'95% Confidence Interval')"};

constexpr std::array<Template<>, 4> survival_heading{
    "(/6x,' Pr. Surviving')", "(6x,'  Duration of ',16x,'  95% Confidence Interval')",
    "(1x,'Group',1x,'    Study     ',1x,'Standard Error',1x,'    Lower     ',1x,'    Upper     ')",
    "(1x,'-----',4(1x,'--------------'))"};
constexpr std::array<Template<>, 3> population_heading{
    group_confidence, "(1x,'    Group     N-hat        Standard Error',6x,'Lower',11x,'Upper')", group_ruler};
constexpr std::array<Template<>, 3> gross_population_heading{
    group_confidence, "(1x,'    Group     N*-hat       Standard Error',6x,'Lower',11x,'Upper')", group_ruler};
constexpr std::array<Template<>, 3> density_heading{
    group_confidence, "(1x,'    Group     D-hat        Standard Error',6x,'Lower',11x,'Upper')", group_ruler};
constexpr std::array<Template<>, 3> session_population_heading{
    group_confidence, "(1x,'Grp. Sess.     N-hat        Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> occupancy_heading{
    short_confidence, "(1x,'Group   Psi-hat         Standard Error',6x,'Lower',11x,'Upper')", short_ruler};
constexpr std::array<Template<>, 3> expected_detection_heading{
    short_confidence, "(1x,'Group   E(p-hat)        Standard Error',6x,'Lower',11x,'Upper')", short_ruler};
constexpr std::array<Template<>, 3> state_2_occupancy_heading{
    short_confidence, "(1x,'Group   Psi1*Psi2-hat   Standard Error',6x,'Lower',11x,'Upper')", short_ruler};
constexpr std::array<Template<>, 3> occupancy_residency_heading{
    short_confidence, "(1x,'Group   Res. Time(1)    Standard Error',6x,'Lower',11x,'Upper')", short_ruler};
constexpr std::array<Template<>, 3> mean_arrival_heading{
    short_confidence, "(1x,'Group   Mean Arrival    Standard Error',6x,'Lower',11x,'Upper')", short_ruler};
constexpr std::array<Template<>, 3> mean_departure_heading{
    short_confidence, "(1x,'Group   Mean Departure  Standard Error',6x,'Lower',11x,'Upper')", short_ruler};
constexpr std::array<Template<>, 3> presence_heading{
    group_confidence, "(1x,'Grp. Occ.   Alpha-hat       Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> occupancy_by_session_heading{
    group_confidence, "(1x,'Grp. Occ.   Psi-hat         Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> colonisation_heading{
    group_confidence, "(1x,'Grp. Occ.   Gamma-hat       Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> extinction_heading{
    group_confidence, "(1x,'Grp. Occ.   Epsilon-hat     Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> odds_growth_heading{
    group_confidence, "(1x,\"Grp. Occ.   Lambda'-hat     Standard Error\",6x,\"Lower\",11x,\"Upper\")",
    group_ruler};
constexpr std::array<Template<>, 3> species_interaction_heading{
    group_confidence, "(1x,'    Group   SIF-hat        Standard Error',6x,'Lower',11x,'Upper')", group_ruler};
constexpr std::array<Template<>, 3> occupancy_of_b_heading{
    group_confidence, "(1x,'    Group   PsiB-hat       Standard Error',6x,'Lower',11x,'Upper')", group_ruler};
constexpr std::array<Template<>, 3> occupancy_of_both_heading{
    group_confidence, "(1x,'    Group   PsiAB-hat      Standard Error',6x,'Lower',11x,'Upper')", group_ruler};

constexpr Template<> wide_confidence{"(58x,'95% Confidence Interval')"},
    wide_ruler{"(1x,19('-'),4(2x,'--------------'))"};
constexpr std::array<Template<>, 3> two_species_heading{
    wide_confidence, "(1x,'   Group  Session     Estimate        Standard Error',6x,'Lower',11x,'Upper')",
    wide_ruler};
constexpr std::array<Template<>, 3> species_sets_heading{
    wide_confidence, "(1x,'Grp. Parm.            Estimate        Standard Error',6x,'Lower',11x,'Upper')",
    wide_ruler};
constexpr std::array<Template<>, 3> state_transitions_heading{
    "(57x,'95% Confidence Interval')",
    "(1x,'Grp  Occ  Row  Col  Phi_t           Standard Error',6x,'Lower',11x,'Upper')",
    "(1x,18('-'),4(2x,'--------------'))"};
constexpr std::array<Template<>, 3> state_shares_heading{
    "(52x,'95% Confidence Interval')",
    "(1x,'Grp  Occ  Row  Phi_t*Psi       Standard Error',6x,'Lower',11x,'Upper')",
    "(1x,13('-'),4(2x,'--------------'))"};

constexpr Template<> strata_confidence{"(53x,'95% Confidence Interval')"},
    strata_ruler{"(1x,14('-'),4(2x,'--------------'))"};
constexpr std::array<Template<>, 3> strata_population_heading{
    strata_confidence, "(1x,'Grp. Str. Ses.    N-hat          Standard Error',5x,'Lower',11x,'Upper')",
    strata_ruler};
constexpr std::array<Template<>, 3> residency_heading{
    strata_confidence, "(1x,'Grp. Str. Ses.    Res. Time(1)   Standard Error',5x,'Lower',11x,'Upper')",
    strata_ruler};
constexpr std::array<Template<>, 3> growth_heading{
    group_confidence, "(1x,'Grp. Occ.   Lambda-hat      Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> log_growth_heading{
    group_confidence, "(1x,'Grp. Occ.   log(Lambda-hat) Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> gross_births_heading{
    group_confidence, "(1x,'Grp. Occ.     B*-hat        Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> net_births_heading{
    group_confidence, "(1x,'Grp. Occ.     B-hat         Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};
constexpr std::array<Template<>, 3> occasion_population_heading{
    group_confidence, "(1x,'Grp. Occ.     N-hat         Standard Error',6x,'Lower',11x,'Upper')",
    group_ruler};

constexpr std::array<Template<>, 3> total_abundance_heading{
    short_confidence, "(1x,'Grp.      N*-hat        Standard Error',6x,'Lower',11x,'Upper')", short_ruler};
constexpr std::array<Template<>, 3> abundance_heading{
    strata_confidence, "(1x,'Grp. Str. Occ.    Abundance      Standard Error',6x,'Lower',11x,'Upper')",
    strata_ruler};

constexpr Row_template short_row{"(1x,i3,4x,a14,3(2x,a14))"}, group_row{"(7x,i3,4(2x,a14))"},
    pair_row{"(1x,i3,3x,i3,3x,a14,3(2x,a14))"}, strata_row{"(1x,i3,2x,i3,2x,i3,3x,a14,3(2x,a14))"};

Section_layout layout_of(Derived_quantity quantity) {
  switch (quantity) {
    case Derived_quantity::survival_over_study:
      return {survival_heading, 5, "(1x,i3,2x,4(1x,a))"};
    case Derived_quantity::population_by_group:
      return {population_heading, 3, group_row};
    case Derived_quantity::gross_population:
      return {gross_population_heading, 3, group_row};
    case Derived_quantity::population_by_session:
      return {session_population_heading, 3, pair_row};
    case Derived_quantity::population_by_stratum:
      return {strata_population_heading, 3, strata_row};
    case Derived_quantity::residency_time:
      return {residency_heading, 3, strata_row};
    case Derived_quantity::growth:
    case Derived_quantity::occupancy_growth:
      return {growth_heading, 3, pair_row};
    case Derived_quantity::log_growth:
      return {log_growth_heading, 3, pair_row};
    case Derived_quantity::gross_births:
      return {gross_births_heading, 3, pair_row};
    case Derived_quantity::net_births:
      return {net_births_heading, 3, pair_row};
    case Derived_quantity::population_by_occasion:
      return {occasion_population_heading, 3, pair_row};
    case Derived_quantity::total_abundance:
      return {total_abundance_heading, 3, short_row};
    case Derived_quantity::abundance:
      return {abundance_heading, 3, strata_row};
    case Derived_quantity::occupancy:
      return {occupancy_heading, 3, short_row};
    case Derived_quantity::expected_detection:
      return {expected_detection_heading, 3, short_row};
    case Derived_quantity::state_2_occupancy:
      return {state_2_occupancy_heading, 3, short_row};
    case Derived_quantity::occupancy_residency:
      return {occupancy_residency_heading, 3, short_row};
    case Derived_quantity::mean_arrival:
      return {mean_arrival_heading, 3, short_row};
    case Derived_quantity::mean_departure:
      return {mean_departure_heading, 3, short_row};
    case Derived_quantity::presence:
      return {presence_heading, 3, pair_row};
    case Derived_quantity::occupancy_by_session:
      return {occupancy_by_session_heading, 3, pair_row};
    case Derived_quantity::colonisation:
      return {colonisation_heading, 3, pair_row};
    case Derived_quantity::extinction:
      return {extinction_heading, 3, pair_row};
    case Derived_quantity::odds_growth:
      return {odds_growth_heading, 3, pair_row};
    case Derived_quantity::species_interaction:
      return {species_interaction_heading, 3, group_row};
    case Derived_quantity::occupancy_of_b:
      return {occupancy_of_b_heading, 3, group_row};
    case Derived_quantity::occupancy_of_both:
      return {occupancy_of_both_heading, 3, group_row};
    case Derived_quantity::two_species:
      return {two_species_heading, 3, "(6x,i3,6x,i3,4x,a14,3(2x,a14))"};
    case Derived_quantity::state_transitions:
      return {state_transitions_heading, 3, "(1x,i3,3(2x,i3),2x,a14,3(2x,a14))"};
    case Derived_quantity::state_shares:
      return {state_shares_heading, 3, "(1x,i3,2(2x,i3),2x,a14,3(2x,a14))"};
    case Derived_quantity::species_sets:
      return {species_sets_heading, 3, "(1x,i3,2x,i3,2x,i9,2x,a14,3(2x,a14))"};
    case Derived_quantity::density_by_group:
      break;
  }
  return {density_heading, 3, group_row};
}

}  // namespace

void report_section(Job& job, const Derived_values& values) {
  constexpr int lines_above_title = 2;
  const Section& section = *values.section;
  const Section_layout layout = layout_of(section.quantity);
  linchk(job, lines_above_title + 1 + layout.heading_lines);
  sectionhead(job, std::string(section.title) + job.model.modnam, section.letter, lines_above_title);
  for (const Template<>& line : layout.heading) put(job, listing, line);
  for (int i = 1; i <= values.rows.size(); ++i) {
    linchk(job, 1);
    const std::span<const int> labels(values.rows(i));
    const std::array<std::string, 4> numbers{f14(job, values.parmest(i)), f14(job, values.parmse(i)),
                                             f14(job, values.parmlci(i)), f14(job, values.parmuci(i))};
    put(job, listing, layout.row, labels, numbers);
  }
}

void print_derived(Job& job, int count, const Derived_values& values, int first) {
  constexpr std::size_t tag_width = 8;
  const int unit = job.status.sysvcm;
  job.streams.write_record(unit, Record()
                                     .text("DERIVED")
                                     .text(std::string_view(&values.section->letter, 1))
                                     .value(static_cast<std::int32_t>(count)));
  const auto column = [&](std::string_view tag, const Array1<double>& numbers) {
    job.streams.write_record(unit, Record()
                                       .text(tag, tag_width)
                                       .values(numbers.span().subspan(static_cast<std::size_t>(first) - 1,
                                                                      static_cast<std::size_t>(count))));
  };
  column("DERV PAR", values.parmest);
  column("DERV SE", values.parmse);
  column("DERV LCI", values.parmlci);
  column("DERV UCI", values.parmuci);
}

List<Derived_values> report_derived(Job& job, std::span<const double> x, const Array2<double>& vcmat,
                                    const Estimability& open) {
  constexpr int least_lines = 10;
  if (job.status.lines <= least_lines) headng(job);
  List<Derived_values> derived;
  derivedest(job, x, vcmat, open, [&](Derived_values& values) {
    report_section(job, values);
    print_derived(job, values.rows.size(), values);
    derived.push_back(std::move(values));
  });
  write_derived_that_rests(job, derived);
  return derived;
}

}  // namespace tarn
