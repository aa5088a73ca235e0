#pragma once
// The statements that name things: labels, strata, covariates, areas.

#include <string>
#include <string_view>

#include "data/catalogue/datatype.h"
#include "job/job.h"

namespace tarn {

/// The signs of a cell when the STRATA statement gives `codes`: the codes and what the family puts before or
/// behind them.
std::string strata_of(const Datatype& row, std::string_view codes, int nstrta);

/// STRATA, GLABEL, ICOVARIATES and AREAS: each takes the statement in hand; none reads on.
void read_strata(Job& job);
void read_group_label(Job& job);
void read_covariate_names(Job& job);
void read_areas(Job& job);

/// `areas` for every group, each 0 at first; fatal without memory.
void allocate_areas(Job& job);

}  // namespace tarn
