#pragma once
// The sections of derived parameters: what each shows and how, and which of them a data type has.

#include <span>
#include <string_view>

#include "data/catalogue/datatype.h"
#include "derived/derivedest.h"
#include "inference/intervals.h"
#include "numerics/list.h"

namespace tarn {

/// Scale of the limits; see intervals.h.
enum class Interval { probability, population, log, plain };

/// What a section is about; the listing has a layout for each.
enum class Derived_quantity {
  survival_over_study,
  population_by_group,
  population_by_session,
  population_by_stratum,
  residency_time,
  density_by_group,
  growth,
  log_growth,
  gross_births,
  net_births,
  gross_population,
  population_by_occasion,
  total_abundance,
  abundance,
  occupancy,
  expected_detection,
  occupancy_by_session,
  colonisation,
  extinction,
  occupancy_growth,
  odds_growth,
  occupancy_residency,
  presence,
  mean_arrival,
  mean_departure,
  species_interaction,
  occupancy_of_b,
  occupancy_of_both,
  two_species,
  state_2_occupancy,
  state_transitions,
  state_shares,
  species_sets
};

/// Numbers in front of each value's row, in the order of `label_names`, groups outermost: one list per value.
using Row_labels = List<List<int>> (*)(const Job& job);

/// One block of the listing and of the variance-covariance file.
struct Section {
  std::string_view title;  ///< the model name goes behind
  Derived_quantity quantity = Derived_quantity::survival_over_study;
  char letter = ' ';  ///< marks the block in the file; its code is the width of the block's ruler
  std::span<const std::string_view> label_names = {};
  Row_labels rows = nullptr;
  Interval interval = Interval::plain;
  bool logarithm = false;  ///< values are logarithms, so a change of theirs is a relative one
  bool inflated = false;   ///< variances are multiplied by c-hat
  bool ratio = false;      ///< values may exceed 1, though the limits are on the scale of probabilities
  Derived_routine routine = nullptr;
};

/// What a section shows: its title without the words that lead to the model's name.
std::string_view subject(const Section& section);

/// The sections of a data type in listing order; empty when nothing is derived, or not yet.
std::span<const Section* const> derived_sections(const Datatype& type);

}  // namespace tarn
