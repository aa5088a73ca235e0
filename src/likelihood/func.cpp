#include "likelihood/func.h"

#include <array>
#include <cassert>
#include <string>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "likelihood/evaluation.h"
#include "likelihood/likelihood_work.h"

namespace tarn {
namespace {

Likelihood_work& work_of(Job& job) {
  assert(job.model.likelihood != nullptr);
  return *job.model.likelihood;
}

/// The areas of the derivative pass, as many as the plain pass has.
Thread_areas<Derivative>& derivative_areas(Job& job, Likelihood_work& work) {
  while (work.derivative.size() < work.plain.size()) {
    auto area = std::make_unique<Thread_area<Derivative>>(job, work.setting);
    if (work.derivative.empty() || work.by_record) prepare(job, area->reals);
    work.derivative.push_back(std::move(area));
  }
  return work.derivative;
}

/// Classes of cells that do not read a real parameter which beta i moves, or none which one of the betas j
/// and those behind it in the lanes moves: their mixed derivatives are 0. Empty when that cannot be told.
void find_idle_classes(Job& job, int i, int j, List<char>& idle) {
  idle.clear();
  if (!rows_of_betas_known(job)) return;
  const Moved_classes& moved = moved_classes(job);
  for (int c = 1; c <= moved.count(); ++c) {
    bool of_lanes = false;
    for (int k = j; k < j + Derivative::lanes && k <= moved.betas(); ++k)
      of_lanes = of_lanes || moved.moves(c, k);
    idle.push_back(moved.moves(c, i) && of_lanes ? 0 : 1);
  }
}

}  // namespace

Objective_value func(Job& job, std::span<const double> beta) { return likelihood_point(job).move_to(beta); }

Objective_value funcg(Job& job, std::span<const double> beta, std::span<double> g) {
  Likelihood_point& point = likelihood_point(job);
  const Objective_value value = point.move_to(beta);
  point.gradient(g);
  return value;
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

void func_derivatives(Job& job, std::span<const double> beta, int i, int j, std::span<double> mixed) {
  assert(mixed.size() == static_cast<std::size_t>(Derivative::lanes));
  Likelihood_work& work = work_of(job);
  work.xbeta.resize(beta.size());
  for (int k = 1; k <= static_cast<int>(beta.size()); ++k) {
    const int lane = k - j;
    const unsigned mask = lane >= 0 && lane < Derivative::lanes ? 1U << lane : 0U;
    const auto place = static_cast<std::size_t>(k) - 1;
    work.xbeta[place] = Derivative::variable(beta[place], k == i, mask);
  }
  find_idle_classes(job, i, j, work.idle_classes);
  const Evaluation<Derivative> result =
      evaluate<Derivative>(job, work.setting.routines.of<Derivative>().routine, work.xbeta,
                           derivative_areas(job, work), work.derivative_team);
  for (std::size_t k = 0; k < mixed.size(); ++k) {
    const double likelihood = result.histories.likelihood(k) + result.closed.likelihood.ab[k];
    const double penalty = result.histories.penalty(k) + result.closed.penalty.ab[k];
    mixed[k] = -(likelihood + likelihood) - (penalty + penalty);
  }
}

void cell_probabilities(Job& job, std::span<const double> beta, Array2<double>& observed,
                        Array2<double>& lost) {
  Likelihood_work& work = work_of(job);
  const int records = job.data.encounters.size(), groups = job.status.ngrps;
  observed.free();
  lost.free();
  if (!allocate(job, "from memory allocation of CELLPR.", shaped(observed, records, groups),
                shaped(lost, records, groups)))
    error_of_absent_array(job, "CELLPR");
  Thread_area<double>& area = *work.plain[0];
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
        observed(i, j) = result.prob;
      }
      if (table.lost_of(i)[j - 1] > 0.0F) {
        area.cell.begin();
        job.model.chprobpointer(job, result, table.history(i), i, j, 1, parm, area.cell);
        lost(i, j) = result.prob;
      }
    }
  }
  if (area.cell.fault_history() != 0) {
    const std::string text(area.cell.fault_text());
    area.cell.clear_fault();
    error(job, text);
  }
}

void cell_probabilities(Job& job) {
  cell_probabilities(job, job.model.betast.span(), job.model.cellpr, job.model.cellprlost);
}

double probability_never_met(Job& job, std::span<const double> beta, int j) {
  Likelihood_work& work = work_of(job);
  Thread_area<double>& area = *work.plain[0];
  reals_of_record_1<double>(job, beta, area.reals);
  area.cell.begin();
  const std::string cells(2 * static_cast<std::size_t>(job.status.noccas), '0');
  Ch_result<double> result;
  job.model.chprobpointer(job, result, History(cells.data(), job.status.noccas), 1, j, 0, area.reals.reals(),
                          area.cell);
  return result.prob;
}

}  // namespace tarn
