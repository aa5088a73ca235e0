#pragma once
// Animals caught, and those of them that were not released again, by period: an occasion, or a primary
// session.

#include <cstddef>
#include <vector>

#include "data/sessions.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// Counts of the data set, by group and period. No parameter changes them.
class Capture_counts {
 public:
  /// @param period_of  period of each occasion, ascending; an animal counts once a period
  Capture_counts(const Job& job, const List<int>& period_of)
      : groups_(static_cast<std::size_t>(job.status.ngrps)),
        caught_(groups_ * static_cast<std::size_t>(period_of.empty() ? 0 : period_of.back())),
        not_released_(caught_.size()) {
    const Encounter_store& encounters = job.data.encounters;
    for (int i = 1; i <= encounters.size(); ++i) {
      const History history = encounters.history(i);
      const int last = lastlc(history);
      int counted = 0;
      for (int o = first1(history); o >= 1 && o <= last; ++o) {
        if (!captured(history.live(o)) || period_of(o) == counted) continue;
        counted = period_of(o);
        for (int g = 1; g <= job.status.ngrps; ++g) {
          const double lost = encounters.lost_on_capture(i, g);
          caught_[place(g, counted)] += encounters.observed(i, g) + lost;
          if (counted == period_of(last)) not_released_[place(g, counted)] += lost;
        }
      }
    }
  }
  /// With an occasion a period.
  explicit Capture_counts(const Job& job) : Capture_counts(job, periods_of(job, false)) {}

  /// Animals of group g caught in period k.
  double caught(int g, int k) const { return caught_[place(g, k)]; }
  /// Those of them that were not released again.
  double not_released(int g, int k) const { return not_released_[place(g, k)]; }
  /// Share of the caught that were released again; 1 when nobody was caught.
  double released(int g, int k) const {
    const double all = caught(g, k);
    return all > 0.0 ? 1.0 - not_released(g, k) / all : 1.0;
  }

 private:
  std::size_t place(int g, int k) const {
    return static_cast<std::size_t>(k - 1) * groups_ + static_cast<std::size_t>(g - 1);
  }

  std::size_t groups_;
  std::vector<double> caught_, not_released_;
};

}  // namespace tarn
