#pragma once
// All that one thread writes during an evaluation: its cells, and the real parameters that they get from
// record to record; with traced scalars also the way back from them to the betas.

#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "likelihood/cell/cell.h"
#include "likelihood/history_sum.h"
#include "model/structure/links.h"

namespace tarn {

/// On cache lines of its own.
template <class Real>
struct alignas(128) Thread_area {
  using Base = Base_of<Real>;
  static constexpr bool traced = Scalar_traits<Real>::traced;

  Thread_area(const Job& job, const Cell_setting& setting) : cell(job, setting) {}
  /// Sizes `reals`; with `own` false for no more than to read another thread's.
  void prepare_reals(Job& job, bool own) {
    if (own)
      prepare(job, reals, traced);
    else
      reals.begin_stamps(++job.model.real_works);
  }

  Cell_work<Real> cell;
  Real_work<Base> reals;
  History_sum<Real> sum;
  std::vector<Counted_log<Real>> counted;  ///< of the evaluation in hand
  bool neighbours = false;                 ///< most records are asked for one after the other
  int flags = 0;                           ///< floating-point conditions met in the region
  bool out_of_memory = false;

  /// Before a thread's first record of an evaluation, which fills the whole work area.
  void begin_evaluation() {
    sum = {};
    newbeta_ = 1;
    strip_.clear();
  }
  /// Before the records of a block: the reals that all records have. Where reals depend on the record,
  /// `of_record` puts those of this area in their place, shared ones among them. Tables are made anew with a
  /// trace, so that the order of its steps depends on the block only.
  void begin(const Reals<Base>& values, int nlogit) {
    if constexpr (traced) {
      reals.changed();
      cell.trace.begin(static_cast<std::size_t>(nlogit));
      leaves_.resize(nlogit);
      for (int row = 1; row <= nlogit; ++row)
        leaves_(row) = Real(values[row], 1.0, cell.trace.leaf(static_cast<std::size_t>(row) - 1));
      current_ = Reals<Real>(leaves_.data(), reals);
    } else {
      current_ = values;
    }
    pass_ = nullptr;
  }
  const Reals<Real>& current() const { return current_; }

  /// Goes to the reals of record i, of those that depend on it the part `own`. A fault becomes one of the
  /// record's cell.
  const Reals<Real>& of_record(const Job& job, int i, std::span<const Base> xbeta, const Link_pass& own) {
    if constexpr (std::is_same_v<Real, double>)
      if (neighbours && newbeta_ == 0 && serves(job, own)) {
        strip_.go_to(job, i, own, reals);
        return current_ = reals.reals();
      }
    const int newbeta = std::exchange(newbeta_, 0);
    compute_reals(job, i, xbeta, newbeta, own);
    if constexpr (traced) {
      for (const int row : newbeta == 1 ? reals.all.rows : own.rows) leaves_(row).v = reals.parm(row);
      current_ = Reals<Real>(leaves_.data(), reals);
      pass_ = &own;
    } else {
      current_ = reals.reals();
    }
    return current_;
  }

  /// The link routine's work for it.
  void compute_reals(const Job& job, int i, std::span<const Base> xbeta, int newbeta, const Link_pass& own) {
    tranlg<Base>(job, i, xbeta, reals, newbeta, 0, nullptr, &own);
    if (reals.fault.empty()) return;
    cell.fail(i, reals.fault);
    reals.fault.clear();
  }

  /// Takes what the record's cells have left of derivatives back to the betas.
  void end_record(const Job& job, Real_adjoints<Base>& to) {
    if (pass_ == nullptr) return;
    cell.trace.walk_kept_back();
    cell.trace.drop_kept();
    for (const int row : pass_->rows) take(row, to);
    links_back(job, *pass_, reals, to);
    pass_ = nullptr;
  }
  /// The same of all cells since the last end.
  void end_block(const Job& job, Real_adjoints<Base>& to) {
    end_record(job, to);
    cell.trace.walk_kept_back();
    for (int row = 1; row <= leaves_.size(); ++row) take(row, to);
    functions_back(reals, to);
  }
  /// The same of closed-form terms, which use the reals of record 1.
  void end_of_terms(const Job& job, Real_adjoints<Base>& to) {
    cell.trace.walk_back();
    pass_ = &reals.animal;
    end_block(job, to);
  }

 private:
  void take(int row, Real_adjoints<Base>& to) {
    to.parm(row) += cell.trace.take_adjoint(static_cast<std::size_t>(row) - 1);
  }

  List<Real> leaves_;
  Reals<Real> current_;
  const Link_pass* pass_ = nullptr;  ///< of the record in hand
  int newbeta_ = 1;
  /// Whether strips serve a pass; most models have one.
  bool serves(const Job& job, const Link_pass& own) {
    if (judged_ != &own) {
      judged_ = &own;
      serves_ = Record_strip::serves(job, own);
    }
    return serves_;
  }
  Record_strip strip_;
  const Link_pass* judged_ = nullptr;
  bool serves_ = false;
};

template <class Real>
using Thread_areas = std::vector<std::unique_ptr<Thread_area<Real>>>;

}  // namespace tarn
