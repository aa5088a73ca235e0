#pragma once
// One evaluation of the log likelihood at a vector of betas, for any scalar.

#include <span>
#include <string>
#include <type_traits>

#include "job/services/fault.h"
#include "likelihood/closed_terms.h"
#include "likelihood/history_loop.h"
#include "likelihood/likelihood_work.h"

namespace tarn {

/// The fatal end when `tranlg` has left a fault.
template <class Real>
void require_reals(Job& job, Real_work<Real>& reals) {
  if (reals.fault.empty()) return;
  const std::string text = reals.fault;
  reals.fault.clear();
  error(job, text);
}

/// Fills a work area with the reals of record 1; a fault is fatal. Where reals depend on the record and there
/// is none, nothing is done: no cell would read them.
template <class Real>
void reals_of_record_1(Job& job, std::span<const Real> xbeta, Real_work<Real>& reals) {
  const bool by_record = job.model.likelihood->by_record;
  if (by_record && job.data.encounters.size() == 0) return;
  tranlg<Real>(job, 1, xbeta, reals, 1, by_record ? 1 : 0, nullptr);
  require_reals(job, reals);
}

/// Both halves of the log likelihood and of the penalty.
template <class Real>
struct Evaluation {
  History_sum<Real> histories;
  Closed_value<Real> closed;
};

namespace detail {

template <class Real>
void sum_block(const Job& job, const Likelihood_work& work, Cell_routine<Real> routine,
               std::span<const Real> xbeta, const Reals<Real>& shared, History_block block,
               Thread_area<Real>& area) {
  area.sum = {};
  History_sum<Real> sum;
  // A cell whose derivatives are all 0 has no part in a pass of derivatives.
  const auto wanted = [&](int i, int j, int lost) {
    if constexpr (std::is_same_v<Real, Derivative>)
      return work.idle_classes.empty() || !work.idle_classes(work.classes->of(i, j, lost));
    else
      return true;
  };
  if (work.by_record) {
    int newbeta = 1;  // the first record of a thread fills its whole work area
    Reals<Real> own;
    const auto reals_of = [&](int i) -> const Reals<Real>& {
      reals_of_record(job, i, xbeta, newbeta, area);
      newbeta = 0;
      own = area.reals.reals();
      return own;
    };
    add_histories(job, routine, block.from, block.to, reals_of, wanted, work.serial_penalty, area.cell, sum);
  } else {
    const auto reals_of = [&shared](int) -> const Reals<Real>& { return shared; };
    add_histories(job, routine, block.from, block.to, reals_of, wanted, work.serial_penalty, area.cell, sum);
  }
  area.sum = sum;
}

/// The sum over all histories, the threads' parts joined in their order.
template <class Real>
History_sum<Real> sum_of_histories(Job& job, const Likelihood_work& work, Cell_routine<Real> routine,
                                   std::span<const Real> xbeta, Thread_areas<Real>& areas, Team& team) {
  const Reals<Real> reals = areas[0]->reals.reals();
  const Job& shared = job;
  const auto part = [&](int, Thread_area<Real>& area, History_block block) {
    sum_block(shared, work, routine, xbeta, reals, block, area);
  };
  const int used = on_threads(job.data.encounters.size(), team, areas, part);
  end_of_histories(job, areas, used);
  History_sum<Real> total;
  for (int t = 0; t < used; ++t) total.add(areas[static_cast<std::size_t>(t)]->sum);
  return total;
}

}  // namespace detail

/// The closed-form terms of the model at these reals; 0 where it has none.
template <class Real>
Closed_value<Real> closed_value(const Job& job, const Likelihood_work& work, const Reals<Real>& parm,
                                Cell_work<Real>& cell) {
  if (job.model.phase2 == 0 || work.closed_form == Closed_form::none) return {};
  cell.begin();
  const Real likelihood = closed_terms(job, work.closed_form, parm, cell);
  return {likelihood, cell.penlty[0] + cell.penlty[1]};
}

/// The evaluation itself. Leaves the reals of record 1 in the first area, but where a parallel pass with
/// reals by record had other use for it.
template <class Real>
Evaluation<Real> evaluate(Job& job, Cell_routine<Real> routine, std::span<const Real> xbeta,
                          Thread_areas<Real>& areas, Team& team) {
  const Likelihood_work& work = *job.model.likelihood;
  Thread_area<Real>& main_area = *areas[0];
  reals_of_record_1(job, xbeta, main_area.reals);
  Evaluation<Real> result;
  if (job.model.phase1 != 0)
    result.histories = detail::sum_of_histories(job, work, routine, xbeta, areas, team);
  if (job.model.phase2 != 0 && work.closed_form != Closed_form::none) {
    if (work.by_record && job.model.phase1 != 0) reals_of_record_1(job, xbeta, main_area.reals);
    result.closed = closed_value(job, work, main_area.reals.reals(), main_area.cell);
  }
  return result;
}

}  // namespace tarn
