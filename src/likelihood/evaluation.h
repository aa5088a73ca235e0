#pragma once
// One evaluation of the log likelihood at a vector of betas, for any scalar.

#include <span>
#include <string>

#include "job/services/fault.h"
#include "likelihood/closed_terms.h"
#include "likelihood/history_loop.h"
#include "likelihood/likelihood_work.h"

namespace tarn {

/// The fatal end when `tranlg` has left a fault.
template <class Base>
void require_reals(Job& job, Real_work<Base>& reals) {
  if (reals.fault.empty()) return;
  const std::string text = reals.fault;
  reals.fault.clear();
  error(job, text);
}

/// Fills a work area with the reals of record 1; a fault is fatal. Where reals depend on the record and there
/// is none, nothing is done: no cell would read them.
template <class Base>
void reals_of_record_1(Job& job, std::span<const Base> xbeta, Real_work<Base>& reals) {
  const bool by_record = job.model.likelihood->by_record;
  if (by_record && job.data.encounters.size() == 0) return;
  tranlg<Base>(job, 1, xbeta, reals, 1, by_record ? 1 : 0, nullptr);
  require_reals(job, reals);
}

/// Adds what the family has counted instead of histories, at the reals of the area. False, and nothing is
/// added, where it counts none or at these reals its counts do not stand for them.
template <class Real>
bool add_counted(const Job& job, const Likelihood_work& work, const Reals<Real>& parm,
                 Thread_area<Real>& area, History_sum<Real>& sum) {
  if (!work.setting.counts_some()) return false;
  area.cell.begin();
  const bool stands = work.setting.routines.template of<Real>().counted(job, parm, area.cell, area.counted);
  if (stands)
    for (const Counted_log<Real>& counted : area.counted) sum.add_counted(counted);
  area.cell.trace.walk_back();
  return stands;
}

namespace detail {

/// Adds the cells of a block of histories to the thread's sum; with traced scalars their derivatives to `to`.
template <class Real, class Wanted>
void sum_block(const Job& job, const Likelihood_work& work, Cell_routine<Real> routine,
               std::span<const Base_of<Real>> xbeta, History_block block, const Wanted& wanted,
               Thread_area<Real>& area, [[maybe_unused]] Real_adjoints<Base_of<Real>>& to) {
  area.neighbours = work.neighbours();
  const auto reals_of = [&](int i) -> const Reals<Real>& {
    if (!work.by_record) return area.current();
    if constexpr (Thread_area<Real>::traced) area.end_record(job, to);
    return area.of_record(job, i, xbeta, work.pass_of_record(i));
  };
  add_histories(job, routine, Record_table(job, work.folded), block.from, block.to, reals_of, wanted,
                work.serial_penalty, area.cell, area.sum);
  if constexpr (Thread_area<Real>::traced) area.end_block(job, to);
}

/// The sum over all histories, the threads' parts joined in their order.
template <class Real>
History_sum<Real> sum_of_histories(Job& job, Likelihood_work& work, Cell_routine<Real> routine,
                                   std::span<const Base_of<Real>> xbeta) {
  using T = Base_of<Real>;
  Thread_areas<Real>& areas = work.areas<Real>();
  const Reals<T> values = areas[0]->reals.reals();
  const Job& shared = job;
  const int records = job.data.encounters.size();
  History_sum<Real> total;
  areas[0]->begin(values, job.model.nlogit);
  const bool counted = add_counted(shared, work, areas[0]->current(), *areas[0], total);
  if constexpr (Thread_area<Real>::traced) areas[0]->end_block(shared, work.passes<T>().blocks.back());
  if (counted && work.counts_all) {
    if (areas[0]->cell.fault_history() != 0) end_with_fault(job, areas, areas[0]->cell);
    return total;
  }
  int used;
  if constexpr (Thread_area<Real>::traced) {
    // Derivatives are added up in blocks that do not depend on the number of threads.
    Traced_passes<T>& passes = work.passes<T>();
    const int blocks = passes.blocks.size() - 1;
    const auto wanted = [&](int i, int j, int lost) {
      return !(counted && work.setting.counts(i)) &&
             (passes.idle_classes.empty() || !passes.idle_classes(work.classes->of(i, j, lost)));
    };
    const auto part = [&](int, Thread_area<Real>& area, History_block own) {
      area.begin_evaluation();
      for (int b = own.from; b <= own.to; ++b) {
        // The main thread may be at work on the reals of its own area by now.
        area.begin(work.by_record ? area.reals.reals() : values, shared.model.nlogit);
        sum_block(shared, work, routine, xbeta, block_of(records, b - 1, blocks), wanted, area,
                  passes.blocks(b));
      }
    };
    used = on_threads(blocks, passes.team, areas, part);
  } else {
    Real_adjoints<T> none;
    const auto wanted = [&](int i, int, int) { return !(counted && work.setting.counts(i)); };
    const auto part = [&](int, Thread_area<Real>& area, History_block own) {
      area.begin_evaluation();
      area.begin(values, shared.model.nlogit);
      sum_block(shared, work, routine, xbeta, own, wanted, area, none);
    };
    used = on_threads(records, work.plain_team, areas, part);
  }
  end_of_histories(job, areas, used);
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
Objective_value evaluate(Job& job, Cell_routine<Real> routine, std::span<const Base_of<Real>> xbeta) {
  Likelihood_work& work = *job.model.likelihood;
  Thread_area<Real>& area = *work.areas<Real>()[0];
  reals_of_record_1(job, xbeta, area.reals);
  History_sum<Real> histories;
  if (job.model.phase1 != 0) histories = detail::sum_of_histories(job, work, routine, xbeta);
  if (job.model.phase2 == 0 || work.closed_form == Closed_form::none)
    return objective_value(histories.likelihood(), histories.penalty());
  if (work.by_record && job.model.phase1 != 0) reals_of_record_1(job, xbeta, area.reals);
  area.begin(area.reals.reals(), job.model.nlogit);
  const Closed_value<Real> closed = closed_value(job, work, area.current(), area.cell);
  if constexpr (Thread_area<Real>::traced) {
    add_to_result(closed.likelihood, 1.0);
    add_to_result(closed.penalty, 1.0);
    area.end_of_terms(job, work.passes<Base_of<Real>>().blocks.back());
  }
  return objective_value(histories.likelihood() + value_of(closed.likelihood),
                         histories.penalty() + value_of(closed.penalty));
}

/// The objective at x and its gradient: with T `double` the numbers themselves, with `Dual` also their
/// derivatives in the directions of x.
template <class T>
Objective_value evaluate_with_gradient(Job& job, std::span<const T> x, std::span<T> gradient) {
  Likelihood_work& work = *job.model.likelihood;
  Traced_passes<T>& passes = work.passes<T>();
  make_areas(job, work, static_cast<int>(work.plain.size()), passes.areas);
  // An evaluation that was broken off may have left derivatives there.
  for (const auto& area : passes.areas)
    if (Traced_functions<T>* functions = area->reals.functions.get())
      functions->trace.begin(functions->xbeta.size());
  passes.blocks.resize(blocks_of_histories(job.data.encounters.size(), work.by_record) + 1);
  for (Real_adjoints<T>& block : passes.blocks) block.begin(job, work.by_record);
  const Objective_value value = evaluate<Traced<T>>(job, work.setting.routines.of<Traced<T>>().routine, x);
  passes.total.begin(job, true);
  for (const Real_adjoints<T>& block : passes.blocks) passes.total.add(block);
  Real_work<T>& reals = passes.areas[0]->reals;
  links_back(job, reals.shared, reals, passes.total);
  betas_back(job, reals, passes.total, gradient);
  for (T& element : gradient) element = 0.0 - 2.0 * element;  // never -0
  return value;
}

}  // namespace tarn
