#pragma once
// Cohorts of records, the saturated model, and the effective sample size.

#include "data/catalogue/datatype.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// The cohorts of a data set, within which the probabilities of all histories sum to 1: by first capture, by
/// the count of young at the start, or the whole group, as the data type has it. Animals released and animals
/// lost on capture stand in cohorts of their own.
class Cohorts {
 public:
  explicit Cohorts(const Job& job);
  /// Number of the cohort (from 1) of record i.
  int cohort_of(int i) const { return cohort_(i); }
  int count() const { return possible_.size(); }
  /// Animals of a cohort in group g.
  double observed(int cohort, int g) const { return observed_(g, cohort); }
  double lost(int cohort, int g) const { return lost_(g, cohort); }
  /// Number of histories that a cohort's animals can show.
  double possible_histories(int cohort) const { return possible_(cohort); }

 private:
  List<int> cohort_;
  List<double> possible_;
  Array2<double> observed_, lost_;  ///< group, cohort
};

struct Saturated_model {
  double xlogs = 0.0;      ///< -2 log likelihood of the saturated model
  int nsat = 0;            ///< its parameters
  double histories = 0.0;  ///< possible encounter histories
  int cohorts = 0;         ///< cohorts with an animal
};

/// The saturated model: every history of a cohort has its own cell; observed and lost animals are separate
/// cells with separate totals. Of known fates every interval of a group is a binomial; a closed population
/// adds the term of the number caught. With individual covariates, and for nests and densities, there is no
/// such model: `xlogs` is 0 and `nsat` the number of records with a count.
Saturated_model saturd(const Job& job);

/// False where `saturd` has nothing to compare with: with individual covariates every animal is a history of
/// its own, and some data types have no such model.
bool has_saturated_model(const Job& job);

/// True when the cells of the data type stand in cohorts whose expected counts make Pearson figures.
bool has_pearson_figures(const Job& job);

/// Effective sample size: releases that could be followed by another capture; animals released with a mark
/// whose recovery can be reported; animal-intervals at risk (Rotella et al. 2004 for nests); occasions
/// sampled per animal caught in a closed population; young at the start. With `essanimals` the number of
/// animals. Lebreton et al. (1992).
double effective_sample_size(const Job& job);

}  // namespace tarn
