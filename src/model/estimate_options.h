#pragma once
// What PROC ESTIMATE is told: its options, its statements, and the arrays of the model that follow from both.

#include <vector>

#include "job/job.h"
#include "job/services/options.h"

namespace tarn {

/// Reads the options of the PROC ESTIMATE statement in hand. An unknown word warns.
void estimate_options(Job& job);

/// The options in words.
std::vector<Option_text> estimate_option_texts();

/// Reads the statements of the procedure; returns with the next PROC statement in hand.
void estimate_statements(Job& job);

/// Checks of the whole model, then `parm`, `beta`, `betast`, `fixpar`, `profileflag` and `bindex`. A beta
/// that is fixed or whose column is zero is not estimated; the others are numbered in order.
void model_arrays(Job& job);

}  // namespace tarn
