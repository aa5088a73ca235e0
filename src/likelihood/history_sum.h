#pragma once
// The sum over histories and groups: partial sums of a thread, a block of histories.

#include <cstddef>
#include <type_traits>

#include "likelihood/blocks/penalty.h"
#include "likelihood/cell/cell.h"
#include "likelihood/folded_records.h"
#include "numerics/sum.h"

namespace tarn {

/// Log likelihood and penalty of a part of the histories, wide enough that neither the order of the terms nor
/// their distribution over threads shows in the rounded sum. Terms of traced scalars become parts of the
/// result that their traces are walked back from.
template <class Real>
class History_sum {
 public:
  void add_cell(float count, const Real& lnprob) {
    likelihood_.add_product(count, value_of(lnprob));
    add_to_result(lnprob, static_cast<double>(count));
  }
  void add_counted(const Counted_log<Real>& counted) {
    likelihood_.add(counted.count * value_of(counted.log));
    add_to_result(counted.log, counted.count);
  }
  void add_penalty(const Real& penalty, double times) {
    if (value_of(penalty) != 0.0) penalty_.add(times * value_of(penalty));
    add_to_result(penalty, times);
  }
  void add(const History_sum& other) {
    likelihood_.add(other.likelihood_);
    penalty_.add(other.penalty_);
  }
  double likelihood() const { return likelihood_.value(); }
  double penalty() const { return penalty_.value(); }

 private:
  Wide_sum likelihood_, penalty_;
};

/// Counts and cells of all records where the store keeps them, record after record; or the counts folded.
struct Record_table {
  Record_table(const Job& job, const Folded_records& folded) : Record_table(job) {
    if (!folded.any()) return;
    observed = folded.observed.data();
    lost = folded.lost.data();
    observed_cells = folded.observed_cells.data();
    lost_cells = folded.lost_cells.data();
  }
  explicit Record_table(const Job& job)
      : groups(static_cast<std::size_t>(job.status.ngrps)), noccas(job.status.noccas) {
    const Encounter_store& encounters = job.data.encounters;
    if (encounters.size() == 0) return;
    observed = encounters.observed(1).data();
    lost = encounters.lost_on_capture(1).data();
    cells = encounters.history(1).cells();
  }
  History history(int i) const {
    return {cells + static_cast<std::size_t>(i - 1) * 2 * static_cast<std::size_t>(noccas), noccas};
  }
  const float* observed_of(int i) const { return observed + static_cast<std::size_t>(i - 1) * groups; }
  const float* lost_of(int i) const { return lost + static_cast<std::size_t>(i - 1) * groups; }
  /// Cells that the one of record i, group j, stands for; each is charged for what it violates.
  double cells_in(int i, int j, int kind) const {
    const float* cells_folded = kind == 0 ? observed_cells : lost_cells;
    if (cells_folded == nullptr) return 1.0;
    return static_cast<double>(
        cells_folded[static_cast<std::size_t>(i - 1) * groups + static_cast<std::size_t>(j - 1)]);
  }

  const float* observed = nullptr;
  const float* lost = nullptr;
  const float* observed_cells = nullptr;
  const float* lost_cells = nullptr;
  const char* cells = nullptr;
  std::size_t groups;
  int noccas;
};

/// Adds the cell of history i, group j, to the sum: `count` times its logarithm, and its penalties.
template <class Real>
inline void add_cell(const Job& job, Cell_routine<Real> routine, const Record_table& records, int i, int j,
                     int lost, float count, const Reals<Real>& parm, bool serial_penalty,
                     Cell_work<Real>& work, History_sum<Real>& sum) {
  work.begin();
  Ch_result<Real> result;
  routine(job, result, records.history(i), i, j, lost, parm, work);
  sum.add_cell(count, result.lnprob);
  const double prob = value_of(result.prob);
  if (prob <= 0.0 || prob >= 1.0) work.penlty[0] += range_penalty(result.prob, job.status.penalty_slope);
  const auto charge = [&](const Real& penalty) {
    if constexpr (std::is_same_v<Real, double>)
      if (penalty == 0.0) return;
    sum.add_penalty(penalty, records.cells_in(i, j, lost));
  };
  charge(work.penlty[0]);
  // KEPT: a penalty in the second element counts only when the job runs on one thread.
  if (serial_penalty) charge(work.penlty[1]);
  work.trace.walk_back();
}

/// Histories `from` to `to`, groups inside. `reals_of(i)` refers to the real parameters of record i; it is
/// asked once for a record that has a cell. `wanted(i, j, lost)` tells which cells with a count take part.
template <class Real, class Reals_of, class Wanted>
void add_histories(const Job& job, Cell_routine<Real> routine, const Record_table& records, int from, int to,
                   Reals_of&& reals_of, Wanted&& wanted, bool serial_penalty, Cell_work<Real>& work,
                   History_sum<Real>& sum) {
  const int groups = job.status.ngrps;
  for (int i = from; i <= to; ++i) {
    const float* observed = records.observed_of(i);
    const float* lost = records.lost_of(i);
    const Reals<Real>* parm = nullptr;
    const auto add = [&](int j, int kind, float count) {
      if (!(count > 0.0F) || !wanted(i, j, kind)) return;
      if (parm == nullptr) parm = &reals_of(i);
      add_cell(job, routine, records, i, j, kind, count, *parm, serial_penalty, work, sum);
    };
    for (int j = 1; j <= groups; ++j) {
      add(j, 0, observed[j - 1]);
      add(j, 1, lost[j - 1]);
    }
  }
}

}  // namespace tarn
