#include "likelihood/func.h"

#include <algorithm>
#include <cassert>
#include <string>

#include "data/sessions.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "likelihood/blocks/closed_session.h"
#include "likelihood/evaluation.h"
#include "likelihood/likelihood_work.h"

namespace tarn {
namespace {

Likelihood_work& work_of(Job& job) {
  assert(job.model.likelihood != nullptr);
  return *job.model.likelihood;
}

/// Classes of cells that read no real parameter which one of the betas i to i + 7 moves: the derivatives in
/// these directions are 0. Empty when that cannot be told; false when it is so for every class.
bool find_idle_classes(Job& job, int i, List<char>& idle) {
  idle.clear();
  if (!rows_of_betas_known(job) || work_of(job).counts_all) return true;
  const Moved_classes& moved = moved_classes(job);
  bool any = false;
  for (int c = 1; c <= moved.count(); ++c) {
    bool moves = false;
    for (int k = i; k < i + Dual::lanes && k <= moved.betas(); ++k) moves = moves || moved.moves(c, k);
    idle.push_back(moves ? 0 : 1);
    any = any || moves;
  }
  return any;
}

}  // namespace

Objective_value func(Job& job, std::span<const double> beta) { return likelihood_point(job).move_to(beta); }

Objective_value funcg(Job& job, std::span<const double> beta, std::span<double> g) {
  return likelihood_point(job).move_to(beta, g);
}

Charges closed_form_charges(Job& job) {
  Charges charges;
  if (job.model.phase2 == 0) return charges;
  const Reals<double> reals = likelihood_point(job).reals();
  const Likelihood_work& work = work_of(job);
  Cell_work<double>& cell = work.plain[0]->cell;
  cell.begin();
  closed_terms(job, work.closed_form, reals, cell, &charges);
  return charges;
}

void func_derivatives(Job& job, std::span<const double> beta, int i, std::span<Lanes> rows) {
  assert(rows.size() == beta.size());
  Likelihood_work& work = work_of(job);
  work.directions.assign(beta.begin(), beta.end());
  work.rows.resize(beta.size());
  for (int k = 0; k < Dual::lanes && i + k <= static_cast<int>(beta.size()); ++k)
    work.directions[static_cast<std::size_t>(i + k) - 1].b[k] = 1.0;
  const bool any = find_idle_classes(job, i, work.traced_dual.idle_classes);
  if (!any && work.closed_form == Closed_form::none) {
    std::fill(rows.begin(), rows.end(), Lanes());
    return;
  }
  evaluate_with_gradient<Dual>(job, work.directions, work.rows);
  for (std::size_t k = 0; k < rows.size(); ++k) rows[k] = work.rows[k].b;
}

namespace {

/// Calls visit(i, j, lost, result) for the observed cell of every record and group that can be read, and for
/// the lost-on-capture cell where an animal was lost.
template <class Visit>
void for_each_cell(Job& job, std::span<const double> beta, const Visit& visit) {
  Likelihood_work& work = work_of(job);
  const int records = job.data.encounters.size(), groups = job.status.ngrps;
  Thread_area<double>& area = *work.plain[0];
  area.cell.notes.terms = 0;
  reals_of_record_1<double>(job, beta, area.reals);
  const Record_table table(job);
  Ch_result<double> result;
  for (int i = 1; i <= records; ++i) {
    if (work.by_record) {
      tranlg<double>(job, i, beta, area.reals, 0, 0, nullptr);
      require_reals(job, area.reals);
    }
    const Reals<double> parm = area.reals.reals();
    for (int j = 1; j <= groups; ++j) {
      const auto place = static_cast<std::size_t>(i - 1) * table.groups + static_cast<std::size_t>(j - 1);
      if (work.readable[place]) {
        area.cell.begin();
        job.model.chprobpointer(job, result, table.history(i), i, j, 0, parm, area.cell);
        visit(i, j, false, result);
      }
      if (table.lost_of(i)[j - 1] > 0.0F) {
        area.cell.begin();
        job.model.chprobpointer(job, result, table.history(i), i, j, 1, parm, area.cell);
        visit(i, j, true, result);
      }
    }
  }
  if (area.cell.fault_history() != 0) end_with_fault(job, work.plain, area.cell);
}

}  // namespace

void cell_probabilities(Job& job, std::span<const double> beta, Array2<double>& observed,
                        Array2<double>& lost) {
  const int records = job.data.encounters.size(), groups = job.status.ngrps;
  observed.free();
  lost.free();
  if (!allocate(job, "from memory allocation of CELLPR.", shaped(observed, records, groups),
                shaped(lost, records, groups)))
    error_of_absent_array(job, "CELLPR");
  for_each_cell(job, beta, [&](int i, int j, bool of_lost, const Ch_result<double>& result) {
    (of_lost ? lost : observed)(i, j) = result.prob;
  });
}

bool rests_on_the_floor(Job& job, std::span<const double> beta) {
  const double floor = floored_log(0.0);
  bool found = false;
  for_each_cell(job, beta, [&](int i, int j, bool of_lost, const Ch_result<double>& result) {
    found = found || (result.lnprob == floor && (of_lost || job.data.encounters.observed(i, j) > 0.0F));
  });
  return found;
}

int terms_of_cells(Job& job) { return work_of(job).plain[0]->cell.notes.terms; }

void cell_probabilities(Job& job) {
  cell_probabilities(job, job.model.betast.span(), job.model.cellpr, job.model.cellprlost);
}

void probabilities_of_capture(Job& job, std::span<const double> beta, Array2<double>& met) {
  Likelihood_work& work = work_of(job);
  const int records = job.data.encounters.size(), groups = job.status.ngrps;
  met.free();
  if (!allocate(job, "from memory allocation of CELLPR.", shaped(met, records, groups)))
    error_of_absent_array(job, "CELLPR");
  Thread_area<double>& area = *work.plain[0];
  reals_of_record_1<double>(job, beta, area.reals);
  const Reals<double> parm = area.reals.reals();
  const List<Primary_session> sessions = closed_sessions(job);
  const Record_table table(job);
  Closed_kept<double> kept;
  for (int i = 1; i <= records; ++i)
    for (int j = 1; j <= groups; ++j) {
      met(i, j) = 1.0;
      const auto place = static_cast<std::size_t>(i - 1) * table.groups + static_cast<std::size_t>(j - 1);
      if (!work.readable[place]) continue;
      area.cell.begin();
      for (int s = 1; s <= sessions.size(); ++s) {
        const auto stretch = Closed_stretch::of(table.history(i), sessions(s).before, sessions(s).length, s,
                                                j, stratum_in(job, table.history(i), sessions(s)), false);
        if (stretch.first == 0) continue;
        met(i, j) *= closmods(job, area.cell, kept, i, stretch, job.status.closedmodel, parm).pstar;
      }
    }
}

}  // namespace tarn
