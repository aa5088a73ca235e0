#pragma once
// Options of PROC CHMATRIX.

#include <vector>

#include "data/records.h"
#include "job/services/options.h"

namespace tarn {

/// Sizes of the arrays from the statement in hand, and the threads. A size that is not given, or negative, is
/// fatal.
void read_sizes(Job& job);

/// All options of the statement in hand but THREADS. An unknown word warns.
void read_data_options(Job& job, Data_procedure& procedure);

/// The options in words.
std::vector<Option_text> chmatrix_option_texts();

}  // namespace tarn
