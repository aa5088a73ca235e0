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
    "(44x,'95% Confidence Interval')", "(1x,'Grp.      N*-hat        Standard Error',6x,'Lower',11x,'Upper')",
    "(1x,5('-'),4(2x,'--------------'))"};
constexpr std::array<Template<>, 3> abundance_heading{
    strata_confidence, "(1x,'Grp. Str. Occ.    Abundance      Standard Error',6x,'Lower',11x,'Upper')",
    strata_ruler};

constexpr Row_template group_row{"(7x,i3,4(2x,a14))"}, pair_row{"(1x,i3,3x,i3,3x,a14,3(2x,a14))"},
    strata_row{"(1x,i3,2x,i3,2x,i3,3x,a14,3(2x,a14))"};

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
      return {total_abundance_heading, 3, "(1x,i3,4x,a14,3(2x,a14))"};
    case Derived_quantity::abundance:
      return {abundance_heading, 3, strata_row};
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
