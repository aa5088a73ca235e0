#pragma once
// Marked and unmarked animals of an open population (Burnham 1991): what the cells and the closed-form term
// share.

#include <cstddef>
#include <vector>

#include "likelihood/blocks/live_recaptures.h"

namespace tarn {

/// One row of rates for all; p of the first occasion enters, too.
inline constexpr Live_matrices jolly_matrices{.by_cohort = false, .shift = 1};

/// Records of live recaptures, and what the term of the unmarked reads of them. No parameter changes it.
class Jolly_records : public Live_records {
 public:
  /// May throw std::bad_alloc.
  explicit Jolly_records(const Job& job)
      : Live_records(job, jolly_matrices),
        noccas_(job.status.noccas),
        groups_(static_cast<std::size_t>(job.status.ngrps)),
        caught_(groups_ * static_cast<std::size_t>(noccas_)),
        not_released_(caught_.size()) {
    const Encounter_store& encounters = job.data.encounters;
    for (int i = 1; i <= encounters.size(); ++i) {
      const History history = encounters.history(i);
      for (int o = 1; o <= noccas_; ++o) {
        if (history.live(o) != '1') continue;
        for (int g = 1; g <= job.status.ngrps; ++g) {
          const double lost = encounters.lost_on_capture(i, g);
          caught_[place(g, o)] += encounters.observed(i, g) + lost;
          if (o == lastlc(history)) not_released_[place(g, o)] += lost;
        }
      }
    }
  }

  /// Animals of group g caught on occasion o, marked or not.
  double ln(int g, int o) const { return caught_[place(g, o)]; }
  /// Those of them that were not released again.
  double notrel(int g, int o) const { return not_released_[place(g, o)]; }

 private:
  std::size_t place(int g, int o) const {
    return static_cast<std::size_t>(o - 1) * groups_ + static_cast<std::size_t>(g - 1);
  }

  int noccas_;
  std::size_t groups_;
  std::vector<double> caught_, not_released_;
};

struct Jolly_seber : Counts_live<Jolly_seber> {
  static constexpr Live_matrices matrices = jolly_matrices;
  using Prepared = Jolly_records;
  template <class Real>
  using Kept = Live_kept<Real>;
};

}  // namespace tarn
