// What is done once for a model, before its likelihood is evaluated.

#include <algorithm>
#include <cfenv>
#include <new>

#include "job/array.h"
#include "job/fault.h"
#include "likelihood/cells.h"
#include "likelihood/chprob.h"
#include "likelihood/closed_terms.h"
#include "likelihood/func.h"
#include "likelihood/likelihood_work.h"

namespace tarn {
namespace {

/// Puts the floating-point conditions back at the end of its life: those of the dry run, which computes with
/// made-up numbers, are nobody's.
class Floating_environment {
 public:
  Floating_environment() { std::feholdexcept(&environment_); }
  Floating_environment(const Floating_environment&) = delete;
  Floating_environment& operator=(const Floating_environment&) = delete;
  ~Floating_environment() { std::fesetenv(&environment_); }

 private:
  std::fenv_t environment_;
};

/// Runs every cell once on made-up parameters with checked look-ups. A look-up without a real parameter is
/// fatal when the cell has a count; else the cell is marked as not readable.
void dry_run(Job& job, Likelihood_work& work, Cell_routine<Reach> routine) {
  const Record_table table(job);
  const int records = job.data.encounters.size(), groups = job.status.ngrps;
  const std::vector<Reach> reals(static_cast<std::size_t>(std::max(job.model.nlogit, 1)), Reach(0.25));
  const Reals<Reach> parm(reals.data());
  Cell_work<Reach> cell(work.facts, work.pims);
  Ch_result<Reach> result;
  const auto reads_well = [&](int i, int j, int lost) {
    cell.begin();
    cell.pim_fault = {};
    routine(job, result, table.history(i), i, j, lost, parm, cell);
    return cell.pim_fault.parameter == 0;
  };
  work.readable.assign(static_cast<std::size_t>(records) * table.groups, 1);
  for (int i = 1; i <= records; ++i) {
    for (int j = 1; j <= groups; ++j) {
      const bool lost = table.lost_of(i)[j - 1] > 0.0F, observed = table.observed_of(i)[j - 1] > 0.0F;
      if (lost && !reads_well(i, j, 1)) error(job, words_of(job, cell.pim_fault));
      if (reads_well(i, j, 0)) continue;
      if (observed) error(job, words_of(job, cell.pim_fault));
      work.readable[static_cast<std::size_t>(i - 1) * table.groups + static_cast<std::size_t>(j - 1)] = 0;
    }
  }
  if (work.closed_form != Closed_form::none) {
    cell.begin();
    cell.pim_fault = {};
    closed_terms(job, work.closed_form, parm, cell);
    if (cell.pim_fault.parameter != 0) error(job, words_of(job, cell.pim_fault));
  }
}

/// A work area for each thread. One that no memory is left for is told of and done without: the sum does not
/// depend on the number of threads.
void make_areas(Job& job, Likelihood_work& work) {
  for (int t = 0; t < work.threads; ++t) {
    try {
      auto area = std::make_unique<Thread_area<double>>(work.facts, work.pims);
      if (t == 0 || work.by_record) prepare(job, area->reals);
      work.plain.push_back(std::move(area));
    } catch (const std::bad_alloc&) {
      if (t == 0) throw;
      warn_of_allocation(job, "from memory allocation of DESIGNTMP, BETATMP and PARMTMP.",
                         Allocation::no_memory);
      return;
    }
  }
}

}  // namespace

void set_up_likelihood(Job& job) {
  Model_arrays& model = job.model;
  model.likelihood.reset();
  const Datatype& type = datatype(job.status.dattyp);
  if (job.status.dattyp < 1 || job.status.dattyp > max_dattyp) error(job, "Incorrect value of DATTYP.");
  const Cell_routines routines = cell_routines(type.cell);
  if (routines.plain == nullptr) error(job, no_result_text);
  model.chprobpointer = routines.plain;
  model.chprobderivative = routines.derivative;

  auto work = std::make_shared<Likelihood_work>(job);
  work->by_record = model.licovs != 0 || model.functions.numdmfuncs > 0;
  work->closed_form = type.closed_form;
  work->serial_penalty = job.status.num_threads == 1;

  {
    const Floating_environment kept;
    dry_run(job, *work, routines.reach);
  }

  work->threads = std::max(job.status.num_threads, 1);
  make_areas(job, *work);
  if (!model.parm.present() || model.parm.extent() != model.nlogit) {
    if (!model.parm.allocate(model.nlogit)) throw std::bad_alloc();
  }
  model.likelihood = std::move(work);
}

}  // namespace tarn
