#pragma once
// The description of a model: what its statements, options and data say, collected for writers of results.

#include "model/results/fitted_model.h"

namespace tarn {

/// The description of the model in the job. Its arrays that find no memory throw std::bad_alloc.
Model_description describe_model(const Job& job);

/// Individual covariates with the values at which reals are reported; empty when the design uses none.
List<Covariate_value> covariate_values(const Job& job);

}  // namespace tarn
