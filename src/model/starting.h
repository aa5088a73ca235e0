#pragma once
// Starting betas of a fit.

#include <functional>
#include <vector>

#include "job/job.h"

namespace tarn {

/// Fits the job's model: starting values of the estimated vector in, solution out.
using Fit = std::function<void(std::vector<double>& x)>;

/// Fills `betast`, one value per beta in the order of the design columns: INITIAL values; `initpar` for the
/// links whose values are confined to 0 to 1; a preliminary fit for LOG and IDENTITY; 0 for all other links.
/// @param fit  runs the optimizer on the model as it stands; called for the preliminary fit only
void choose_start(Job& job, const Fit& fit);

/// -0.1 for every column; under an identity design also the starts that the data of a type give.
void initpar(Job& job);

}  // namespace tarn
