#pragma once
// The results file: one JSON object a line, for each model that was processed, and one for the end of the
// job. docs/results.md has their fields.

#include <string_view>

#include "job/job.h"
#include "model/results/fitted_model.h"

namespace tarn {

/// Version of the objects' fields; it grows when a field goes, changes its name or its meaning.
inline constexpr int results_schema = 1;

/// True when a results file was asked for.
bool results_wanted(const Job& job);

/// Writes a model as a line and flushes. The first write that fails warns, what follows it is dropped.
void write_results(Job& job, const Fitted_model& model);

/// Writes how the job ended as the last line and closes the file.
void end_results(Job& job, std::string_view stop_text);

}  // namespace tarn
