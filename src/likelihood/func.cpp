#include "likelihood/func.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <chrono>
#include <cmath>
#include <string>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "likelihood/closed_terms.h"
#include "likelihood/gradient.h"
#include "likelihood/history_loop.h"
#include "likelihood/likelihood_work.h"

namespace tarn {
namespace {

template <class Real>
void sum_block(const Job& job, const Likelihood_work& work, Cell_routine<Real> routine,
               std::span<const Real> xbeta, Reals<Real> shared, History_block block,
               Thread_area<Real>& area) {
  area.sum = {};
  History_sum<Real> sum;
  area.cell.new_reals(!work.by_record);
  // A cell whose derivatives are all 0 has no part in a pass of derivatives.
  const auto wanted = [&](int i, int j, int lost) {
    if constexpr (std::is_same_v<Real, Derivative>)
      return work.idle_classes.empty() ||
             !work.idle_classes[static_cast<std::size_t>(work.classes->of(i, j, lost))];
    else
      return true;
  };
  if (work.by_record) {
    int newbeta = 1;  // the first record of a thread fills its whole work area
    const auto reals_of = [&](int i) {
      reals_of_record(job, i, xbeta, newbeta, area);
      newbeta = 0;
      return area.reals.reals();
    };
    add_histories(job, routine, block.from, block.to, reals_of, wanted, work.serial_penalty, area.cell, sum);
  } else {
    const auto reals_of = [shared](int) { return shared; };
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
  const int used = on_threads(shared, team, areas, [&](int, Thread_area<Real>& area, History_block block) {
    sum_block(shared, work, routine, xbeta, reals, block, area);
  });
  end_of_histories(job, areas, used);
  History_sum<Real> total;
  for (int t = 0; t < used; ++t) total.add(areas[static_cast<std::size_t>(t)]->sum);
  return total;
}

/// The fatal end when `tranlg` has left a fault.
template <class Real>
void require_reals(Job& job, Real_work<Real>& reals) {
  if (reals.fault.empty()) return;
  const std::string text = reals.fault;
  reals.fault.clear();
  error(job, text);
}

/// Fills the first area's reals with those of record 1.
template <class Real>
void reals_of_record_1(Job& job, const Likelihood_work& work, std::span<const Real> xbeta,
                       Real_work<Real>& reals) {
  if (work.by_record && job.data.encounters.size() == 0)
    return;  // no record, and no cell that would read them
  tranlg<Real>(job, 1, xbeta, reals, 1, work.by_record ? 1 : 0, nullptr);
  require_reals(job, reals);
}

template <class Real>
struct Evaluation {
  History_sum<Real> histories;
  Real closed = 0.0;          ///< closed-form terms
  Real closed_penalty = 0.0;  ///< and their penalty
};

/// Both halves of the log likelihood and of the penalty.
template <class Real>
Evaluation<Real> evaluate(Job& job, Cell_routine<Real> routine, std::span<const Real> xbeta,
                          Thread_areas<Real>& areas, Team& team) {
  Likelihood_work& work = *job.model.likelihood;
  Thread_area<Real>& main_area = *areas[0];
  reals_of_record_1(job, work, xbeta, main_area.reals);
  if constexpr (std::is_same_v<Real, double>)
    std::copy(main_area.reals.parm.begin(), main_area.reals.parm.end(), job.model.parm.begin());

  Evaluation<Real> result;
  if (job.model.phase1 != 0) {
    result.histories = sum_of_histories(job, work, routine, xbeta, areas, team);
  }
  if (job.model.phase2 != 0 && work.closed_form != Closed_form::none) {
    main_area.cell.new_reals(false);
    if (work.by_record && job.model.phase1 != 0) reals_of_record_1(job, work, xbeta, main_area.reals);
    main_area.cell.begin();
    result.closed = closed_terms(job, work.closed_form, main_area.reals.reals(), main_area.cell);
    result.closed_penalty = main_area.cell.penlty[0] + main_area.cell.penlty[1];
  }
  return result;
}

void report_first_iteration(Job& job) {
  Model_arrays& model = job.model;
  linchk(job, 3);
  put(job, listing, "(1x,a)", "Results from first iteration:");
  put(job, listing, "(2x,a)", "-2logL Initial " + model.modnam + " = " + f14(job, model.loglik));
  put(job, listing, "(2x,a)", "Penalty Initial " + model.modnam + " = " + f14(job, model.sumpen));
  job.streams.flush(job.status.sysout);
  model.report_first = false;
}

Likelihood_work& work_of(Job& job) {
  assert(job.model.likelihood != nullptr);
  return *job.model.likelihood;
}

/// The areas of the derivative pass, as many as the plain pass has.
Thread_areas<Derivative>& derivative_areas(const Job& job, Likelihood_work& work) {
  while (work.derivative.size() < work.plain.size()) {
    auto area = std::make_unique<Thread_area<Derivative>>(work.facts, work.pims);
    if (work.derivative.empty() || work.by_record) prepare(job, area->reals);
    work.derivative.push_back(std::move(area));
  }
  return work.derivative;
}

/// Classes of cells that do not read a real parameter which beta i moves, or none which one of the betas j
/// and those behind it in the lanes moves: their mixed derivatives are 0. Empty when that cannot be told.
void find_idle_classes(Job& job, int i, int j, std::vector<char>& idle) {
  idle.clear();
  if (!rows_of_betas_known(job)) return;
  const Moved_classes& moved = moved_classes(job);
  for (int c = 0; c < moved.count(); ++c) {
    bool of_lanes = false;
    for (int k = j; k < j + Derivative::lanes && k <= moved.betas(); ++k)
      of_lanes = of_lanes || moved.moves(c, k);
    idle.push_back(moved.moves(c, i) && of_lanes ? 0 : 1);
  }
}

}  // namespace

double func(Job& job, std::span<const double> beta) {
  Likelihood_work& work = work_of(job);
  Model_arrays& model = job.model;
  const Evaluation<double> result = evaluate(job, model.chprobpointer, beta, work.plain, work.plain_team);
  const double likelihood = result.histories.likelihood() + result.closed;
  const double penalty = result.histories.penalty() + result.closed_penalty;
  model.loglik = -(likelihood + likelihood);
  model.sumpen = -(penalty + penalty);
  const double f = model.loglik - (penalty + penalty);
  if (model.report_first) report_first_iteration(job);
  return f;
}

namespace {

/// The two ends of a difference quotient in one element of x, and the distance that they stand for.
struct Difference {
  double below, above, width;
};

Difference difference_at(const Job& job, double x) {
  const double h = job.status.deltax * (std::abs(x) + 1.0);
  if (job.model.centfd == 0) return {x, x + h, h};
  const double half = 0.5 * h;
  return {x - half, x + half, 2.0 * half};
}

/// `func` at x with each move in turn.
std::vector<double> objectives_at(Job& job, std::span<double> x, std::span<const Moved_beta> moves) {
  if (can_move_betas(job)) return moved_objectives(job, x, moves);
  std::vector<double> f;
  for (const Moved_beta& move : moves) {
    double& element = x[static_cast<std::size_t>(move.position) - 1];
    const double kept = element;
    element = move.value;
    f.push_back(func(job, x));
    element = kept;
  }
  return f;
}

}  // namespace

double funcg(Job& job, std::span<const double> beta, std::span<double> g) {
  std::vector<double>& x = work_of(job).shifted;
  x.assign(beta.begin(), beta.end());
  const double f = func(job, x);
  const bool central = job.model.centfd != 0;
  std::vector<Moved_beta> moves;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const Difference ends = difference_at(job, x[i]);
    moves.push_back({static_cast<int>(i) + 1, ends.above});
    if (central) moves.push_back({static_cast<int>(i) + 1, ends.below});
  }
  const std::vector<double> values = objectives_at(job, x, moves);
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double above = central ? values[2 * i] : values[i], below = central ? values[2 * i + 1] : f;
    g[i] = (above - below) / difference_at(job, x[i]).width;
  }
  return f;
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
  const Evaluation<Derivative> result = evaluate<Derivative>(
      job, job.model.chprobderivative, work.xbeta, derivative_areas(job, work), work.derivative_team);
  for (std::size_t k = 0; k < mixed.size(); ++k) {
    const double likelihood = result.histories.likelihood(k) + result.closed.ab[k];
    const double penalty = result.histories.penalty(k) + result.closed_penalty.ab[k];
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
  reals_of_record_1<double>(job, work, beta, area.reals);
  area.cell.new_reals(!work.by_record);
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
  reals_of_record_1<double>(job, work, beta, area.reals);
  area.cell.new_reals(false);
  area.cell.begin();
  const std::string cells(2 * static_cast<std::size_t>(job.status.noccas), '0');
  Ch_result<double> result;
  job.model.chprobpointer(job, result, History(cells.data(), job.status.noccas), 1, j, 0, area.reals.reals(),
                          area.cell);
  return result.prob;
}

}  // namespace tarn
