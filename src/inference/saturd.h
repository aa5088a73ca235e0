#pragma once
// Release cohorts, the saturated model, and the effective sample size.

#include <vector>

#include "job/job.h"

namespace tarn {

/// The release cohorts of a data set: group by first capture. Observed animals and animals lost on capture
/// stand in cohorts of their own.
class Cohorts {
 public:
  explicit Cohorts(const Job& job);
  /// Number of the cohort (from 0) of record i: its first capture less one.
  int cohort_of(int i) const { return first_[static_cast<std::size_t>(i - 1)] - 1; }
  int count() const { return count_; }
  /// Animals of a cohort in group g.
  double observed(int cohort, int g) const { return observed_[place(cohort, g)]; }
  double lost(int cohort, int g) const { return lost_[place(cohort, g)]; }
  /// Number of histories that can follow the release of a cohort.
  double possible_histories(int cohort) const;

 private:
  std::size_t place(int cohort, int g) const {
    return static_cast<std::size_t>(cohort) * static_cast<std::size_t>(ngrps_) +
           static_cast<std::size_t>(g - 1);
  }
  int ngrps_ = 0, count_ = 0;
  std::vector<int> first_;
  std::vector<double> observed_, lost_;
};

struct Saturated_model {
  double xlogs = 0.0;      ///< -2 log likelihood of the saturated model
  int nsat = 0;            ///< its parameters
  double histories = 0.0;  ///< possible encounter histories
  int cohorts = 0;         ///< cohorts with an animal
};

/// The saturated model: every history of a cohort has its own cell. Observed and lost animals are separate
/// cells with separate totals. With individual covariates there is no such model: `xlogs` is 0 and `nsat` the
/// number of records with a count.
Saturated_model saturd(const Job& job);

/// Releases that could have been followed by another capture, over all animals: the effective sample size.
/// With `essanimals` the number of animals. Lebreton et al. (1992).
double effective_sample_size(const Job& job);

}  // namespace tarn
