#pragma once
// The counts that a data set gives beside its records, and what follows its last record.

#include "data/records.h"

namespace tarn {

/// True when a count of the data can hold n animals.
bool can_hold(double n);

/// Adds n animals of a group to a count; a sum that no count can hold is fatal.
void add_animals(Job& job, int group, float& count, double n);

/// Adds c animals to `u`, or to `ul` when lost, of an occasion or session, group and layer; a layer that the
/// arrays do not have is fatal.
void tabulate(Job& job, bool lost, int occasion, int group, int layer, float c);

/// `nprimy` and `timevy` from the intervals: the family's intervals are those between occasions, with second
/// characters the one behind the last occasion too, with primary sessions those that close a session.
void set_intervals(Job& job);

/// What follows the last record: its warnings and checks, `u` and `ul` by primary session, sightings,
/// covariates.
void finish_records(Job& job, Data_procedure& procedure);

}  // namespace tarn
