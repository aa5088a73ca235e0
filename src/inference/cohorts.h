#pragma once
// Cohorts of records: sets of histories whose probabilities sum to 1.

#include <utility>

#include "data/catalogue/datatype.h"
#include "data/catalogue/encounter.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// Animals of a record in a group.
struct Animals {
  double observed, lost;
  double all() const { return observed + lost; }
};

Animals animals_of(const Encounter_store& encounters, int i, int g);

/// First occasion on which the adult was met, and the young with it; {0, 0} if never.
std::pair<int, int> first_brood(History history);

/// The cohorts of a data set, within which the probabilities of all histories sum to 1: by first or last
/// capture, by primary session of the first capture, by its stratum, by both, by the count of young at the
/// start, or the whole group, as the data type has it. Animals released and animals lost on capture stand in
/// cohorts of their own.
class Cohorts {
 public:
  explicit Cohorts(const Job& job);
  /// Number of the cohort (from 1) of record i.
  int cohort_of(int i) const { return cohort_(i); }
  int count() const { return possible_.size(); }
  /// Animals of a cohort in group g.
  double observed(int cohort, int g) const { return observed_(g, cohort); }
  double lost(int cohort, int g) const { return lost_(g, cohort); }
  /// Number of histories that a cohort's animals can show, every occasion sampled.
  double possible_histories(int cohort) const { return possible_(cohort); }

 private:
  List<int> cohort_;
  List<double> possible_;
  Array2<double> observed_, lost_;  ///< group, cohort
};

}  // namespace tarn
