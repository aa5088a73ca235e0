#pragma once
// Records that are alike, which an evaluation computes once.

#include <vector>

#include "job/job.h"

namespace tarn {

/// Counts of records, where one stands for all that have its cells and, if real parameters depend on the
/// record, its covariates, and counts in the same groups: the first of them has their counts, the others 0.
/// Empty where no two are alike.
struct Folded_records {
  std::vector<float> observed, lost;              ///< record after record, by group
  std::vector<float> observed_cells, lost_cells;  ///< cells with a count that stand in it

  bool any() const { return !observed.empty(); }
  /// @param counted  by record: 1 where a family counts it in its own way, so that it stands for itself; may
  /// be empty. May throw std::bad_alloc.
  static Folded_records of(const Job& job, bool by_record, const std::vector<char>& counted = {});
};

}  // namespace tarn
