#pragma once
// An open population that animals enter (Schwarz and Arnason 1996): what the cells and the closed-form term
// share.

#include "likelihood/blocks/live_recaptures.h"

namespace tarn {

struct Popan : Counts_live<Popan> {
  static constexpr Live_matrices matrices = first_captures_matter;
  struct Prepared : Live_records {
    explicit Prepared(const Job& job) : Live_records(job, matrices) {}
  };
  template <class Real>
  using Kept = Live_kept<Real>;
};

}  // namespace tarn
