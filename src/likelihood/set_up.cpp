// What is done once for a model, before its likelihood is evaluated.

#include "likelihood/set_up.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <new>

#include "data/catalogue/available.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "likelihood/blocks/closed_session.h"
#include "likelihood/cells.h"
#include "likelihood/chprob.h"
#include "likelihood/closed_terms.h"
#include "likelihood/func.h"
#include "likelihood/likelihood_work.h"
#include "numerics/floating_environment.h"

namespace tarn {
namespace {

/// Matrices of p and c with another number of rows than there are mixtures: with fewer the last row serves
/// those that have none, with more the rows behind the last mixture are idle.
void warn_of_mixture_rows(Job& job) {
  const Status_module& status = job.status;
  const Datatype& type = datatype(status.dattyp);
  const bool mixtures = is_closed_kind(status.closedmodel) ? Closed_traits(status.closedmodel).mixtures
                                                           : !type.released && names_hold(type.own, "pi");
  if (!mixtures) return;
  for (const char* name : {"p", "c"}) {
    const int q = findpar(job.data, name);
    bool shared = false, idle = false;
    if (q == 0) continue;
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      shared = shared || (pim.given() && pim.nrows < status.nmixtures);
      idle = idle || (pim.given() && pim.nrows > status.nmixtures);
    });
    if (shared)
      warn(job, "A parameter index matrix of '" + std::string(name) +
                    "' has fewer rows than there are mixtures; its last row serves the others.");
    if (idle)
      warn(job, "A parameter index matrix of '" + std::string(name) +
                    "' has more rows than MIXTURES= tells; those behind are not used.");
  }
}

/// Warnings on what the matrices and the design say, once for a model however often it is set up.
void warn_of_closed_layer(Job& job, bool closed_term_by_record) {
  if (job.model.closed_layer_told) return;
  job.model.closed_layer_told = true;
  warn_of_mixture_rows(job);
  if (closed_term_by_record)
    warn(job,
         "Individual covariates enter the capture probabilities of a full likelihood; the number of animals "
         "never caught is then that of animals like the first record, and the population size has no "
         "meaning.");
}

/// Runs every cell once on made-up parameters with checked look-ups. A look-up without a real parameter is
/// fatal when the cell has a count; else the cell is marked as not readable. True when the closed-form term
/// reads a real parameter that depends on the record.
bool dry_run(Job& job, Likelihood_work& work, Cell_routine<Reach> routine) {
  const Record_table table(job);
  const int records = job.data.encounters.size(), groups = job.status.ngrps;
  const std::vector<Reach> reals(static_cast<std::size_t>(std::max(job.model.nlogit, 1)), Reach(0.25));
  const Reals<Reach> parm(reals.data());
  Cell_work<Reach> cell(job, work.setting);
  Ch_result<Reach> result;
  const auto reads_well = [&](int i, int j, int lost) {
    cell.begin();
    cell.pim_report = {};
    routine(job, result, table.history(i), i, j, lost, parm, cell);
    return !cell.pim_report.fault.found;
  };
  work.readable.assign(static_cast<std::size_t>(records) * table.groups, 1);
  for (int i = 1; i <= records; ++i) {
    for (int j = 1; j <= groups; ++j) {
      const bool lost = table.lost_of(i)[j - 1] > 0.0F, observed = table.observed_of(i)[j - 1] > 0.0F;
      if (lost && !reads_well(i, j, 1)) error(job, words_of(job, cell.pim_report.fault));
      if (reads_well(i, j, 0)) continue;
      if (observed) error(job, words_of(job, cell.pim_report.fault));
      work.readable[static_cast<std::size_t>(i - 1) * table.groups + static_cast<std::size_t>(j - 1)] = 0;
    }
  }
  if (work.closed_form != Closed_form::none) {
    const std::vector<char> varying = rows_by_record(job.model);
    cell.begin();
    Number_set reached(job.model.nlogit);
    cell.pim_report = {.fault = {}, .reached = &reached};
    closed_terms(job, work.closed_form, parm, cell);
    if (cell.pim_report.fault.found) error(job, words_of(job, cell.pim_report.fault));
    return std::any_of(reached.members().begin(), reached.members().end(),
                       [&varying](int row) { return varying[static_cast<std::size_t>(row) - 1] != 0; });
  }
  return false;
}

}  // namespace

template <class Real>
void make_areas(Job& job, const Likelihood_work& work, int count, Thread_areas<Real>& areas) {
  while (static_cast<int>(areas.size()) < count) {
    try {
      auto area = std::make_unique<Thread_area<Real>>(job, work.setting);
      area->prepare_reals(job, areas.empty() || work.by_record);
      areas.push_back(std::move(area));
    } catch (const std::bad_alloc&) {
      if (areas.empty()) throw;
      warn_of_allocation(job, "from memory allocation of DESIGNTMP, BETATMP and PARMTMP.",
                         Allocation::no_memory);
      return;
    }
  }
}

#define TARN_INSTANCE(type, name) \
  template void make_areas<type>(Job&, const Likelihood_work&, int, Thread_areas<type>&);
TARN_INSTANCE(double, plain)
TARN_TRACED_SCALARS(TARN_INSTANCE)
#undef TARN_INSTANCE

namespace {

/// What depends on links and design.
void prepare_threads(Job& job, Likelihood_work& work) {
  make_areas(job, work, std::max(job.status.num_threads, 1), work.plain);
  work.record_passes.clear();
  work.pass_of_set.clear();
  if (!work.by_record) return;
  constexpr int most_sets = 1000;
  const Reach_sets& sets = reach_sets(job);
  if (sets.count() > most_sets) return;
  std::map<std::vector<int>, int> numbers;  // of passes, by their rows
  for (int k = 1; k <= sets.count(); ++k) {
    Link_pass pass = part_of_animal_pass(job, work.plain[0]->reals, sets.rows(k));
    const auto [place, is_new] =
        numbers.emplace(std::vector<int>(pass.rows.begin(), pass.rows.end()), work.record_passes.size() + 1);
    if (is_new) work.record_passes.push_back(std::move(pass));
    work.pass_of_set.push_back(place->second);
  }
}

}  // namespace

void set_up_likelihood(Job& job) {
  Model_arrays& model = job.model;
  model.likelihood.reset();
  const Datatype& type = datatype(job.status.dattyp);
  if (!is_datatype(job.status.dattyp)) error(job, "Incorrect value of DATTYP.");
  const Cell_routines routines = cell_routines(type.cell);
  if (!routines.given() || !is_available(type.closed_form) || !is_available(type.saturated) ||
      !is_available(type.derived_sections))
    error(job, no_result_text);
  model.chprobpointer = routines.plain.routine;

  auto work = std::make_shared<Likelihood_work>(job, routines);
  work->by_record = reals_depend_on_record(model);
  work->closed_form = type.closed_form;
  work->folded = Folded_records::of(job, work->by_record, work->setting.counted);
  work->serial_penalty = job.status.num_threads == 1;

  job.data.ehist.assign(2 * static_cast<std::size_t>(job.status.noccas), '0');
  if (type.nodes != Nodes::none) {
    require(job, job.data.ghqv, "GHQV");
    require(job, job.data.ghqw, "GHQW");
  }
  bool closed_term_by_record = false;
  {
    const Kept_floating_environment kept;
    closed_term_by_record = dry_run(job, *work, routines.reach.routine);
  }
  warn_of_closed_layer(job, closed_term_by_record);

  model.likelihood = std::move(work);
  prepare_threads(job, *model.likelihood);
}

void renew_likelihood(Job& job) {
  assert(job.model.likelihood != nullptr);
  Likelihood_work& work = *job.model.likelihood;
  if (reals_depend_on_record(job.model) != work.by_record) return set_up_likelihood(job);
  work.point.reset();
  work.moved.reset();
  work.traced = {};
  work.traced_dual = {};
  work.plain.clear();
  prepare_threads(job, work);
}

}  // namespace tarn
