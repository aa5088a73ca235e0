#pragma once
// Which forms of a row's parts this version computes. A data type is fitted when its cell routine
// (likelihood/cells.def) and all three of these are there; the parts themselves answer for every form named
// here, and a new form does not compile before it stands in its list.

#include "data/catalogue/datatype.h"

namespace tarn {

constexpr bool is_available(Closed_form form) {
  switch (form) {
    case Closed_form::none:
    case Closed_form::A:
    case Closed_form::B:
    case Closed_form::C:
    case Closed_form::D:
    case Closed_form::E:
      return true;
    case Closed_form::resight:
      return false;
  }
  return false;
}

constexpr bool is_available(Saturated form) {
  switch (form) {
    case Saturated::release:
    case Saturated::release_stratum:
    case Saturated::release_state:
    case Saturated::whole_group:
    case Saturated::none:
    case Saturated::interval:
    case Saturated::brood:
    case Saturated::closed_full:
    case Saturated::last_capture:
    case Saturated::popan:
    case Saturated::session:
    case Saturated::session_full:
    case Saturated::group_full:
    case Saturated::session_stratum:
    case Saturated::session_stratum_full:
    case Saturated::group_stratum:
      return true;
  }
  return false;
}

constexpr bool is_available(Derived_sections sections) {
  switch (sections) {
    case Derived_sections::none:
    case Derived_sections::survival:
    case Derived_sections::survival_between:
    case Derived_sections::population:
    case Derived_sections::density:
    case Derived_sections::session_population:
    case Derived_sections::population_and_growth:
    case Derived_sections::growth:
    case Derived_sections::popan:
    case Derived_sections::state_abundance:
    case Derived_sections::strata_population:
    case Derived_sections::open_robust:
    case Derived_sections::open_robust_seasons:
    case Derived_sections::occupancy:
    case Derived_sections::occupancy_detection:
    case Derived_sections::occupancy_gamma:
    case Derived_sections::occupancy_epsilon:
    case Derived_sections::occupancy_psi:
    case Derived_sections::two_species:
    case Derived_sections::two_species_sessions:
    case Derived_sections::two_psi:
    case Derived_sections::transition_products:
    case Derived_sections::relaxed_closure:
    case Derived_sections::multi_occupancy:
      return true;
    case Derived_sections::logit_normal:
    case Derived_sections::poisson_lognormal:
      return false;
  }
  return false;
}

}  // namespace tarn
