#include "inference/resid.h"

#include <string>
#include <vector>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "likelihood/func.h"

namespace tarn {
namespace {

/// One kind of animals of the residual file: those released, or those lost on capture.
struct Kind {
  bool lost;
  const Array2<double>& cellpr;
};

class Residuals {
 public:
  Residuals(Job& job, std::span<const double> beta)
      : job_(job), cohorts_(job), ngrps_(job.status.ngrps), by_cohort_(has_pearson_figures(job)) {
    line_template_ = "(1x,a," + adjustfmt(ngrps_) + "(a1,f10.1,a1,g15.8),a1)";
    group_total_.assign(static_cast<std::size_t>(2 * ngrps_), 0.0);
    met_.assign(static_cast<std::size_t>(ngrps_), 1.0);
    if (datatype(job.status.dattyp).saturated == Saturated::closed_full)
      for (int g = 1; g <= ngrps_; ++g)
        met_[static_cast<std::size_t>(g) - 1] = 1.0 - probability_never_met(job, beta, g);
    const std::size_t cells = static_cast<std::size_t>(2 * cohorts_.count() * ngrps_);
    seen_.assign(cells, 0.0);
    records_left_.assign(static_cast<std::size_t>(cohorts_.count()), 0);
    for (int i = 1; i <= job.data.encounters.size(); ++i) ++records_left_[cohort(i)];
    for (int k = 0; k < cohorts_.count(); ++k)
      for (int g = 1; g <= ngrps_; ++g) {
        group_total_[group_place(false, g)] += cohorts_.observed(k, g);
        group_total_[group_place(true, g)] += cohorts_.lost(k, g);
      }
  }

  Pearson_sums write() {
    const Model_arrays& model = job_.model;
    const Kind released{false, model.cellpr}, lost{true, model.cellprlost};
    for (int i = 1; i <= job_.data.encounters.size(); ++i) {
      write_record(released, i);
      if (any_lost(i)) write_record(lost, i);
      if (--records_left_[cohort(i)] == 0 && by_cohort_) {
        write_unseen(false, cohorts_.cohort_of(i));
        write_unseen(true, cohorts_.cohort_of(i));
      }
    }
    return sums_;
  }

 private:
  std::size_t cohort(int i) const { return static_cast<std::size_t>(cohorts_.cohort_of(i)); }
  std::size_t group_place(bool lost, int g) const {
    return static_cast<std::size_t>((lost ? ngrps_ : 0) + g - 1);
  }
  std::size_t seen_place(bool lost, int k, int g) const {
    return static_cast<std::size_t>(2 * k * ngrps_) + group_place(lost, g);
  }
  double total(bool lost, int k, int g) const {
    if (!by_cohort_) return group_total_[group_place(lost, g)];
    return lost ? cohorts_.lost(k, g) : cohorts_.observed(k, g);
  }
  bool any_lost(int i) const {
    for (const float count : job_.data.encounters.lost_on_capture(i))
      if (count > 0.0f) return true;
    return false;
  }

  std::string history_text(int i) const {
    const History history = job_.data.encounters.history(i);
    if (job_.status.liveeh == 0) return std::string(history.text());
    std::string text;
    for (int o = 1; o <= history.noccas(); ++o) text += history.live(o);
    return text;
  }

  void write_record(const Kind& kind, int i) {
    const int k = cohorts_.cohort_of(i);
    const Encounter_store& encounters = job_.data.encounters;
    row_.clear();
    for (int g = 1; g <= ngrps_; ++g) {
      const std::size_t group = static_cast<std::size_t>(g - 1);
      const double observed = static_cast<double>(kind.lost ? encounters.lost_on_capture(i)[group]
                                                            : encounters.observed(i)[group]);
      const double prob = kind.cellpr(i, g) / met_[group];
      const double expected = prob * total(kind.lost, k, g);
      seen_[seen_place(kind.lost, k, g)] += prob;
      add_cell(observed, expected);
    }
    write_line(history_text(i));
  }

  /// The cell of the cohort's histories that no animal showed.
  void write_unseen(bool lost, int k) {
    row_.clear();
    double animals = 0.0;
    for (int g = 1; g <= ngrps_; ++g) {
      const double expected = total(lost, k, g) * (1.0 - seen_[seen_place(lost, k, g)]);
      animals += total(lost, k, g);
      sums_.pearson += expected;
      row_.push_back({0.0, expected});
    }
    if (animals > 0.0)
      write_line(
          std::string(static_cast<std::size_t>((job_.status.liveeh != 0 ? 1 : 2) * job_.status.noccas), ' '));
  }

  void add_cell(double observed, double expected) {
    row_.push_back({observed, expected});
    if (observed == 0.0 && expected == 0.0) return;
    const double difference = observed - expected;
    sums_.pearson += difference * difference / expected;
    sums_.sum_obs_exp += observed / expected;
  }

  void write_line(const std::string& history) {
    static constexpr std::string_view tab = "\t";
    std::vector<Item> items{item(history)};
    for (const Cell_counts& cell : row_) {
      items.push_back(item(tab));
      items.push_back(item(cell.observed));
      items.push_back(item(tab));
      items.push_back(item(cell.expected));
    }
    items.push_back(item(tab));
    put_runtime(job_, residual, line_template_, std::span<const Item>(items));
  }

  struct Cell_counts {
    double observed, expected;
  };

  Job& job_;
  Cohorts cohorts_;
  int ngrps_;
  bool by_cohort_;
  std::vector<double> met_;  ///< per group: chance that an animal is in the records at all
  std::string line_template_;
  std::vector<double> group_total_;
  std::vector<double> seen_;
  std::vector<int> records_left_;
  std::vector<Cell_counts> row_;
  Pearson_sums sums_;
};

}  // namespace

Pearson_sums resid(Job& job, std::span<const double> beta) { return Residuals(job, beta).write(); }

}  // namespace tarn
