#pragma once
// What the data of a family of sites may hold.

#include <string_view>

#include "data/records.h"
#include "job/job.h"

namespace tarn {

/// Fatal when a cell of record n tells of a state that the family does not have.
void check_site_cells(Job& job, int n, const Datatype& row, History cells, std::string_view typed);

/// Fatal when the states of sites were not coded, or are not as many as the family has. Warns of occasions
/// that make up no whole block of surveys.
void check_site_design(Job& job, const Datatype& row);

/// Fatal when a cell holds more species than the data have, which `nspeciesocc` tells.
void check_species(Job& job, const Data_procedure& procedure);

}  // namespace tarn
