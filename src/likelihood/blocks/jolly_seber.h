#pragma once
// Marked and unmarked animals of an open population (Burnham 1991): what the cells and the closed-form term
// share.

#include "likelihood/blocks/capture_counts.h"
#include "likelihood/blocks/live_recaptures.h"

namespace tarn {

/// Records of live recaptures, and what the term of the unmarked reads of them. No parameter changes it.
struct Jolly_records : Live_records {
  /// May throw std::bad_alloc.
  explicit Jolly_records(const Job& job) : Live_records(job, first_captures_matter), captures(job) {}

  Capture_counts captures;
};

struct Jolly_seber : Counts_live<Jolly_seber> {
  static constexpr Live_matrices matrices = first_captures_matter;
  using Prepared = Jolly_records;
  template <class Real>
  using Kept = Live_kept<Real>;
};

}  // namespace tarn
