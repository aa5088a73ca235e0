#pragma once
// The saturated model, and the effective sample size.

#include "job/job.h"

namespace tarn {

struct Saturated_model {
  double xlogs = 0.0;      ///< -2 log likelihood of the saturated model
  int nsat = 0;            ///< its parameters
  double histories = 0.0;  ///< possible encounter histories
  int cohorts = 0;         ///< cohorts with an animal
};

/// The saturated model: every history of a cohort (inference/cohorts.h) has its own cell; observed and lost
/// animals are separate cells with separate totals. Of known fates every interval of a group is a binomial; a
/// closed population adds the term of the number caught, a superpopulation the counts of first captures as
/// cells with a total of their own. In full likelihoods of several closed sessions the cells are, in each
/// cohort, what the sessions show (a capture or none, and the code of the dead columns) and, in each session,
/// its captures; each session adds the term of the number caught. With individual covariates, and for nests
/// and densities, there is no such model: `xlogs` is 0 and `nsat` the number of records with a count.
Saturated_model saturd(const Job& job);

/// False where `saturd` has nothing to compare with: with individual covariates every animal is a history of
/// its own, and some data types have no such model.
bool has_saturated_model(const Job& job);

/// True when the cells of the data type stand in cohorts whose expected counts make Pearson figures.
bool has_pearson_figures(const Job& job);

/// Effective sample size: releases that could be followed by another capture, of robust designs sessions with
/// a capture that could be followed by another one; animals released with a mark
/// whose recovery can be reported; animal-intervals at risk (Rotella et al. 2004 for nests); occasions
/// sampled per animal caught in a closed population; young at the start; sites that were surveyed at all.
/// With `essanimals` the number of animals, or sites. Lebreton et al. (1992).
double effective_sample_size(const Job& job);

}  // namespace tarn
