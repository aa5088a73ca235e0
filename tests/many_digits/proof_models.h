#pragma once
// Models in which every part that a derivative passes through takes part, for every data type with a routine.

#include <vector>

#include "support/fitted_models.h"

namespace tarn {

/// A beta is drawn as the linear predictor of a real parameter between `low` and `high`. Of the links of
/// sets, whose real parameters follow from all members, the bounds are those of the predictor.
struct Beta_range {
  Link link = Link::identity;
  double low = 0.0, high = 0.0;
};

/// A model with its likelihood set up, and points at which to look at it.
struct Proof_model {
  Model_builder m;
  std::vector<Beta_range> betas;

  std::vector<double> point(Draws& draws) const;
};

/// A beta for every real parameter, all links one after the other, sets of all three kinds, some real
/// parameters fixed. Unequal intervals.
Proof_model model_of_every_link(int type);

/// Few betas in a design with intercepts that real parameters share, slopes of covariates and design
/// functions with NLBETA; two groups; columns of another scale; a beta that is not estimated.
Proof_model model_by_record(int type);

/// Betas that are real parameters, and run out of the range of chances: penalties count.
Proof_model model_out_of_range(int type);

/// A beta for every parameter, by LOGIT or LOG: a model to be fitted.
Proof_model model_with_constants(int type);

}  // namespace tarn
