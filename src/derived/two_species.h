#pragma once
// Occupancy of sites by two species, of which one may depend on the other (MacKenzie et al. 2004; Richmond et
// al. 2010).

#include "derived/derivedest.h"

namespace tarn {

/// By group: the chance that both species are there over the product of their occupancies; occupancy of
/// species B; chance that both are there.
void sif(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);
void psib(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);
void psiab(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// What is told of the two species in a session.
enum class Of_two_species { unoccupied, b_only, a_only, interaction, both, b, b_given_not_a, a, b_given_a };

/// By group and session. Between sessions each species comes and goes by itself, given what was there.
template <Of_two_species what>
void rd2species(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

}  // namespace tarn
