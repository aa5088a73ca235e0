#pragma once
// Occupancy of sites by one species: shares of the sites that are occupied, and how they change.

#include "derived/derivedest.h"

namespace tarn {

/// Share of the sites of each group that are occupied: `Psi`, or, where the number of animals at a site has
/// the mean `Lambda`, the chance that it is not 0 (Royle and Nichols 2003).
void psi_compute(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Chance that an occupied site, with as many animals as such a site may have, shows one of them, by group;
/// the mean over the occasions.
void expectedphat_compute(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// By group and session: share of the sites that are occupied, from the first `Psi` on with extinction
/// `Epsilon` and colonisation `Gamma` (MacKenzie et al. 2003).
void rdocc_psi(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// By group and interval between sessions: the colonisation, or the extinction, that follows from the
/// occupancies at its ends and the other rate; clamped to 0 to 1.
void rdocc_gam(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);
void rdocc_eps(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// By group and interval: occupancy behind it over that ahead of it, and the ratio of their odds.
void rdocc_lam(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);
void rdocc_lamp(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

/// Of an occupied site to which the species comes once and which it leaves once (Kendall et al. 2013), by
/// group: occasions on which it is there; mean occasions of its arrival and of its last presence.
void occrelclos_rt1(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);
void rdocc_arrival(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);
void rdocc_depart(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);
/// The same, by group and occasion: chance that it is there.
void rdocc_alpha(Derived_frame& frame, std::span<const double> x, int flag, View<double> values);

}  // namespace tarn
