#include "derived/sections.h"

#include "derived/population.h"
#include "derived/rates.h"

namespace tarn {
namespace {

std::vector<std::vector<int>> groups(const Job& job) {
  std::vector<std::vector<int>> rows;
  for (int g = 1; g <= job.status.ngrps; ++g) rows.push_back({g});
  return rows;
}

constexpr Template<> group_ruler{"(1x,9('-'),4(2x,'--------------'))"};
constexpr Template<> group_confidence{"(48x,'95% Confidence Interval')"};

constexpr std::array<Template<>, 4> survival_heading{
    "(/6x,' Pr. Surviving')", "(6x,'  Duration of ',16x,'  95% Confidence Interval')",
    "(1x,'Group',1x,'    Study     ',1x,'Standard Error',1x,'    Lower     ',1x,'    Upper     ')",
    "(1x,'-----',4(1x,'--------------'))"};
constexpr Section survival_over_study{.title = "Survival Estimates of ",
                                      .width = 66,
                                      .heading = survival_heading,
                                      .heading_lines = 5,
                                      .row = "(1x,i3,2x,4(1x,a))",
                                      .rows = groups,
                                      .interval = Interval::probability,
                                      .routine = kmprod};

constexpr std::array<Template<>, 3> population_heading{
    group_confidence, "(1x,'    Group     N-hat        Standard Error',6x,'Lower',11x,'Upper')", group_ruler};
constexpr Section full_population{.title = "Population Estimates of ",
                                  .width = 74,
                                  .heading = population_heading,
                                  .heading_lines = 3,
                                  .row = "(7x,i3,4(2x,a14))",
                                  .rows = groups,
                                  .interval = Interval::population,
                                  .inflated = true,
                                  .routine = population_full};

constexpr Section conditional_population{.title = "Population Estimates of ",
                                         .width = 74,
                                         .heading = population_heading,
                                         .heading_lines = 3,
                                         .row = "(7x,i3,4(2x,a14))",
                                         .rows = groups,
                                         .interval = Interval::population,
                                         .inflated = true,
                                         .routine = huggins_pstar};

constexpr std::array<Template<>, 3> density_heading{
    group_confidence, "(1x,'    Group     D-hat        Standard Error',6x,'Lower',11x,'Upper')", group_ruler};
constexpr Section density_by_group{.title = "Density Estimates of ",
                                   .width = 74,
                                   .heading = density_heading,
                                   .heading_lines = 3,
                                   .row = "(7x,i3,4(2x,a14))",
                                   .rows = groups,
                                   .interval = Interval::log,
                                   .inflated = true,
                                   .routine = density};

constexpr std::array<const Section*, 1> of_survival{&survival_over_study};
constexpr std::array<const Section*, 1> of_full_population{&full_population};
constexpr std::array<const Section*, 1> of_conditional_population{&conditional_population};
constexpr std::array<const Section*, 1> of_density{&density_by_group};

}  // namespace

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
    default:
      return {};
  }
}

}  // namespace tarn
