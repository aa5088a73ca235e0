#pragma once
// What the listing shows of model and data before a fit.

#include "inference/data_summary.h"
#include "inference/saturd.h"
#include "job/job.h"

namespace tarn {

/// Names of model, link and variance procedure.
void write_model_heading(Job& job);

/// Strata, and released and lost animals by group.
void write_data_summary(Job& job, const Data_summary& data);

/// "-2logL(saturated)", the effective sample size, and the animals captured.
void write_saturated(Job& job, const Saturated_model& saturated, const Data_summary& data);

}  // namespace tarn
