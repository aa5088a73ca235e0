#pragma once
// Data that come as matrices and summaries: time intervals, recoveries, known fates, nests, sightings. Every
// reader begins with its statement in hand and returns with the next statement in hand; every fault is fatal.

#include <string_view>

#include "data/records.h"
#include "job/job.h"

namespace tarn {

/// True when a first word is one of the statements of the data procedure, PROC included.
bool is_data_statement(std::string_view word);

/// TIME INTERVALS: `timint`, noccas - 1 values or noccas.
void tmread(Job& job);

/// RECOVERY MATRIX GROUP=g: the upper triangle of recoveries, then, for some families, the numbers released.
void rcread(Job& job, const Data_procedure& procedure);

/// KNOWN FATE GROUP=g: animals at risk and deaths, one statement per occasion.
void kfread(Job& job, const Data_procedure& procedure);

/// NEST SURVIVAL GROUP=g: nests, up to the next statement of another kind.
void nsread(Job& job, const Data_procedure& procedure);

/// UNMARKED, MARKED and KNOWN MARKS with their second word; an unknown second word warns.
void read_counts(Job& job);

}  // namespace tarn
