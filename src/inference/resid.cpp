#include "inference/resid.h"

#include <string>

#include "inference/cohorts.h"
#include "likelihood/func.h"

namespace tarn {
namespace {

/// Full likelihoods: a cell is not the probability among animals that are in the records.
bool counts_the_never_caught(Saturated form) {
  return form == Saturated::closed_full || form == Saturated::session_full ||
         form == Saturated::session_stratum_full || form == Saturated::group_full;
}

class Residuals {
 public:
  Residuals(Job& job, std::span<const double> beta, const Residual_line& line)
      : job_(job),
        line_(line),
        cohorts_(job),
        ngrps_(job.status.ngrps),
        by_cohort_(has_pearson_figures(job)),
        given_capture_(counts_the_never_caught(datatype(job.status.dattyp).saturated)),
        records_left_(cohorts_.count()) {
    if (given_capture_) probabilities_of_capture(job, beta, met_);
    for (int i = 1; i <= job.data.encounters.size(); ++i) ++records_left_(cohorts_.cohort_of(i));
    for (Kind* kind : {&released_, &lost_}) {
      kind->group_total.assign(ngrps_, 0.0);
      make_work_area(kind->seen, ngrps_, cohorts_.count());
    }
    for (int k = 1; k <= cohorts_.count(); ++k)
      for (int g = 1; g <= ngrps_; ++g) {
        released_.group_total(g) += cohorts_.observed(k, g);
        lost_.group_total(g) += cohorts_.lost(k, g);
      }
  }

  Pearson_sums walk() {
    for (int i = 1; i <= job_.data.encounters.size(); ++i) {
      record(released_, i);
      if (any_lost(i)) record(lost_, i);
      const int k = cohorts_.cohort_of(i);
      if (--records_left_(k) == 0 && by_cohort_) {
        unseen(released_, k);
        unseen(lost_, k);
      }
    }
    return sums_;
  }

 private:
  /// One kind of animals: those released, or those lost on capture.
  struct Kind {
    bool lost;
    const Array2<double>& cellpr;
    List<double> group_total;
    Array2<double> seen;  ///< group, cohort: probability of the histories met
  };

  double total(const Kind& kind, int k, int g) const {
    if (!by_cohort_) return kind.group_total(g);
    return kind.lost ? cohorts_.lost(k, g) : cohorts_.observed(k, g);
  }
  bool any_lost(int i) const {
    for (const float count : job_.data.encounters.lost_on_capture(i))
      if (count > 0.0f) return true;
    return false;
  }

  void record(Kind& kind, int i) {
    const int k = cohorts_.cohort_of(i);
    const Encounter_store& encounters = job_.data.encounters;
    const View<const float> counts = kind.lost ? encounters.lost_on_capture(i) : encounters.observed(i);
    row_.clear();
    for (int g = 1; g <= ngrps_; ++g) {
      const double prob = given_capture_ ? kind.cellpr(i, g) / met_(i, g) : kind.cellpr(i, g);
      kind.seen(g, k) += prob;
      add_cell(static_cast<double>(counts(g)), prob * total(kind, k, g));
    }
    if (line_) line_(encounters.history(i).as_typed(job_.status.liveeh != 0), row_);
  }

  /// The cell of the cohort's histories that no animal showed.
  void unseen(const Kind& kind, int k) {
    row_.clear();
    double animals = 0.0;
    for (int g = 1; g <= ngrps_; ++g) {
      const double expected = total(kind, k, g) * (1.0 - kind.seen(g, k));
      animals += total(kind, k, g);
      sums_.pearson += expected;
      row_.push_back({0.0, expected});
    }
    const int characters = (job_.status.liveeh != 0 ? 1 : 2) * job_.status.noccas;
    if (animals > 0.0 && line_) line_(std::string(static_cast<std::size_t>(characters), ' '), row_);
  }

  void add_cell(double observed, double expected) {
    row_.push_back({observed, expected});
    if (observed == 0.0 && expected == 0.0) return;
    const double difference = observed - expected;
    sums_.pearson += difference * difference / expected;
    sums_.sum_obs_exp += observed / expected;
  }

  Job& job_;
  const Residual_line& line_;
  Cohorts cohorts_;
  int ngrps_;
  bool by_cohort_;
  bool given_capture_;
  Array2<double> met_;  ///< record, group: chance of a capture in every session that has one
  List<int> records_left_;
  Kind released_{false, job_.model.cellpr, {}, {}}, lost_{true, job_.model.cellprlost, {}, {}};
  List<Cell_counts> row_;
  Pearson_sums sums_;
};

}  // namespace

Pearson_sums resid(Job& job, std::span<const double> beta, const Residual_line& line) {
  return Residuals(job, beta, line).walk();
}

}  // namespace tarn
