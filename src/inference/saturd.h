#pragma once
// Cohorts of records, the saturated model, and the effective sample size.

#include <vector>

#include "data/catalogue/datatype.h"
#include "job/job.h"

namespace tarn {

/// The cohorts of a data set, within which the probabilities of all histories sum to 1: by first capture, by
/// the count of young at the start, or the whole group, as the data type has it. Animals released and animals
/// lost on capture stand in cohorts of their own.
class Cohorts {
 public:
  explicit Cohorts(const Job& job);
  /// Number of the cohort (from 0) of record i.
  int cohort_of(int i) const { return cohort_[static_cast<std::size_t>(i - 1)]; }
  int count() const { return static_cast<int>(possible_.size()); }
  /// Animals of a cohort in group g.
  double observed(int cohort, int g) const { return observed_[place(cohort, g)]; }
  double lost(int cohort, int g) const { return lost_[place(cohort, g)]; }
  /// Number of histories that a cohort's animals can show.
  double possible_histories(int cohort) const { return possible_[static_cast<std::size_t>(cohort)]; }

 private:
  std::size_t place(int cohort, int g) const {
    return static_cast<std::size_t>(cohort) * static_cast<std::size_t>(ngrps_) +
           static_cast<std::size_t>(g - 1);
  }
  int ngrps_ = 0;
  std::vector<int> cohort_;
  std::vector<double> possible_, observed_, lost_;
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

/// True when the cells of the data type stand in cohorts whose expected counts make Pearson figures.
bool has_pearson_figures(const Job& job);

/// Effective sample size: releases that could be followed by another capture; animals released with a mark
/// whose recovery can be reported; animal-intervals at risk (Rotella et al. 2004 for nests); occasions
/// sampled per animal caught in a closed population; young at the start. With `essanimals` the number of
/// animals. Lebreton et al. (1992).
double effective_sample_size(const Job& job);

}  // namespace tarn
