#include "data/species.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"

namespace tarn {

namespace {

int largest_cell(const Encounter_store& encounters) {
  int largest = 0;
  for (int i = 1; i <= encounters.size(); ++i) {
    const History cells = encounters.history(i);
    for (int o = 1; o <= cells.noccas(); ++o)
      if (cells.live(o) != '.' && cells.dead(o) != '.')
        largest = std::max(largest, 10 * (cells.live(o) - '0') + (cells.dead(o) - '0'));
  }
  return largest;
}

/// Non-empty sets of n species as bit patterns, by size, then by their members in ascending order.
std::vector<unsigned> species_sets(int n) {
  std::vector<unsigned> sets;
  for (unsigned z = 1; z < 1u << n; ++z) sets.push_back(z);
  std::sort(sets.begin(), sets.end(), [](unsigned a, unsigned b) {
    if (std::popcount(a) != std::popcount(b)) return std::popcount(a) < std::popcount(b);
    const unsigned different = a ^ b;
    return (a & different & (~different + 1u)) != 0;  // the set with the lowest species that only one has
  });
  return sets;
}

}  // namespace

void build_species_design(Job& job) {
  Status_module& status = job.status;
  Data_module& data = job.data;
  int n = 1;
  if (status.nmixtures > 1)
    n = status.nmixtures;
  else if (status.nstrta > 1)
    n = status.nstrta;
  else
    while ((1 << n) - 1 < largest_cell(data.encounters)) ++n;
  if (n > most_species)
    error(job, "Number of species " + adjustfmt(n) + " is greater than " + adjustfmt(most_species) + ".");
  status.nspeciesocc = n;
  data.fdesign.free();
  data.pdesign.free();
  const List<unsigned> sets(species_sets(n));
  const int states = 1 << n;
  if (!allocate(job, "from memory allocation of FDESIGN.", shaped(data.fdesign, states, states - 1),
                shaped(data.pdesign, states, n)))
    error_of_absent_array(job, "FDESIGN");
  for (int z = 0; z < states; ++z) {
    for (int k = 1; k <= n; ++k) data.pdesign(z + 1, k) = (z >> (k - 1)) & 1;
    for (int column = 1; column < states; ++column) {
      const unsigned set = sets(column);
      data.fdesign(z + 1, column) = (static_cast<unsigned>(z) & set) == set ? 1 : 0;
    }
  }
}

}  // namespace tarn
