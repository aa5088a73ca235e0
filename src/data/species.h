#pragma once
// The sets of species of the multi-species occupancy family.

#include "job/job.h"

namespace tarn {

/// Most species that a cell of two digits can code.
inline constexpr int most_species = 6;

/// `nspeciesocc`: MIXTURES above 1, else STRATA above 1, else the least number that codes the largest cell of
/// the data; more than `most_species` is fatal. Fills `fdesign` and `pdesign`. State z = 0 ... 2^n - 1 holds
/// species k when bit k - 1 of z is set; the columns of `fdesign` are the sets of species, by size, then in
/// the order of their members.
void build_species_design(Job& job);

}  // namespace tarn
