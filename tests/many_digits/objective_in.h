#pragma once
// The objective for any scalar by a plain loop over the cells, and what differences of it give in many
// digits.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "likelihood/blocks/penalty.h"
#include "likelihood/closed_terms.h"
#include "likelihood/likelihood_work.h"
#include "many_digits/many_digits.h"
#include "model/structure/design.h"

namespace tarn {

/// -2 log likelihood plus -2 penalty of a job whose likelihood is set up. Every cell is computed anew, from
/// real parameters that are all computed anew for its record, and added to one sum in the order of the
/// records: nothing of the program's own loops takes part.
template <class Real>
class Objective_in {
 public:
  explicit Objective_in(Job& job)
      : job_(job), by_record_(reals_depend_on_record(job.model)), work_(job, job.model.likelihood->setting) {
    prepare(job, reals_);
  }

  Real operator()(std::span<const Real> x) {
    sum_ = 0.0;
    has_tiny_violation_ = false;
    to_record(1, x);
    if (job_.model.phase1 != 0) add_records(x);
    const Closed_form form = job_.model.likelihood->closed_form;
    if (job_.model.phase2 != 0 && form != Closed_form::none) {
      to_record(1, x);
      work_.begin();
      sum_ += closed_terms(std::as_const(job_), form, reals_.reals(), work_);
      sum_ += work_.penlty[0] + work_.penlty[1];
    }
    return -2.0 * sum_;
  }
  Real operator()(const std::vector<Real>& x) { return (*this)(std::span<const Real>(x)); }

  /// Whether a cell of the last evaluation is outside of 0 to 1 by so little that its penalty is taken for
  /// rounding (blocks/penalty.h): it then has no derivative, and no more digits than a double.
  bool has_tiny_violation() const { return has_tiny_violation_; }

 private:
  void to_record(int i, std::span<const Real> x) {
    tranlg<Real>(job_, i, x, reals_, 1, by_record_ ? 1 : 0, nullptr);
    EXPECT_EQ(reals_.fault, "");
  }

  void add_records(std::span<const Real> x) {
    const Encounter_store& encounters = job_.data.encounters;
    for (int i = 1; i <= encounters.size(); ++i) {
      if (by_record_) to_record(i, x);
      for (int j = 1; j <= job_.status.ngrps; ++j) {
        add_cell(i, j, 0, encounters.observed(i, j));
        add_cell(i, j, 1, encounters.lost_on_capture(i, j));
      }
    }
    EXPECT_EQ(work_.fault_text(), "");
  }

  void add_cell(int i, int j, int lost, float count) {
    if (!(count > 0.0F)) return;
    work_.begin();
    Ch_result<Real> result;
    job_.model.likelihood->setting.routines.template of<Real>().routine(
        job_, result, job_.data.encounters.history(i), i, j, lost, reals_.reals(), work_);
    sum_ += static_cast<double>(count) * result.lnprob;
    const double prob = value_of(result.prob), violation = std::max(-prob, prob - 1.0);
    has_tiny_violation_ |= violation > 0.0 && violation <= smallest_violation;
    sum_ += range_penalty(result.prob, job_.status.penalty_slope) + work_.penlty[0];
    if (job_.status.num_threads == 1) sum_ += work_.penlty[1];
  }

  Job& job_;
  bool by_record_;
  Cell_work<Real> work_;
  Real_work<Real> reals_;
  Real sum_ = 0.0;
  bool has_tiny_violation_ = false;
};

/// Derivatives of a job's objective by differences in many digits.
class Many_digit_differences {
 public:
  explicit Many_digit_differences(Job& job) : f_(job) {}

  double value(const std::vector<double>& x) { return value_of(f_(Vector(x.begin(), x.end()))); }
  /// Whether the objective had derivatives where `value` was asked for last.
  bool smooth() const { return !f_.has_tiny_violation(); }
  /// Central differences.
  std::vector<double> gradient(const std::vector<double>& x);
  /// Second differences, row after row.
  std::vector<double> second_derivatives(const std::vector<double>& x);

 private:
  using Vector = std::vector<Many_digits>;

  Objective_in<Many_digits> f_;
};

}  // namespace tarn
