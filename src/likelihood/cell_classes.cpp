#include "likelihood/cell_classes.h"

#include <algorithm>
#include <vector>

#include "likelihood/history_sum.h"
#include "likelihood/likelihood_work.h"
#include "model/structure/design.h"
#include "numerics/floating_environment.h"

namespace tarn {
namespace {

/// Sizes of the made-up reals: inside 0 to 1, at either end, and beyond every bound at which a routine turns.
constexpr double sizes_of_reals[] = {0.25, 0.0, 1.0, 9.0};

}  // namespace

Cell_classes::Cell_classes(Job& job) {
  const Kept_floating_environment kept;
  const Likelihood_work& work = *job.model.likelihood;
  const Cell_routine<Reach> routine = work.setting.routines.of<Reach>().routine;
  const Record_table table(job, work.folded);
  const int records = job.data.encounters.size(), groups = job.status.ngrps, nlogit = job.model.nlogit;
  std::vector<List<Reach>> reals;
  for (const double size : sizes_of_reals) reals.emplace_back(std::max(nlogit, 1), Reach(size));

  Cell_work<Reach> cell(job, work.setting);
  Number_set reached(nlogit);
  cell.pim_report.reached = &reached;
  const auto class_of = [&](int i, int j, int lost) {
    reached.clear();
    Ch_result<Reach> result;
    for (const List<Reach>& values : reals) {
      cell.begin();
      routine(job, result, table.history(i), i, j, lost, Reals<Reach>(values.data()), cell);
    }
    return reads_.number_of(reached);
  };
  make_work_area(class_, 2, groups, records);
  for (int i = 1; i <= records; ++i)
    for (int j = 1; j <= groups; ++j) {
      if (table.observed_of(i)[j - 1] > 0.0F) class_(1, j, i) = class_of(i, j, 0);
      if (table.lost_of(i)[j - 1] > 0.0F) class_(2, j, i) = class_of(i, j, 1);
    }
}

Reach_sets::Reach_sets(Job& job) {
  const Cell_classes& classes = cell_classes(job);
  const int records = job.data.encounters.size();
  Number_set reached(job.model.nlogit);
  List<int> own, set_of_class(classes.count(), 0);
  const auto set_of = [&](const List<int>& of_record) {
    reached.clear();
    for (const int c : of_record)
      for (const int row : classes.rows(c)) reached.insert(row);
    return reads_.number_of(reached);
  };
  set_.reserve(records);
  for (int i = 1; i <= records; ++i) {
    own.clear();
    for (int j = 1; j <= job.status.ngrps; ++j)
      for (const int lost : {0, 1})
        if (const int c = classes.of(i, j, lost); c > 0) own.push_back(c);
    if (own.size() != 1) {
      set_.push_back(set_of(own));
      continue;
    }
    int& set = set_of_class(own(1));
    if (set == 0) set = set_of(own);
    set_.push_back(set);
  }
}

Cells_by_class::Cells_by_class(Job& job) {
  const Cell_classes& classes = cell_classes(job);
  const Cell_setting& setting = job.model.likelihood->setting;
  cells_.resize(classes.count());
  for (int i = 1; i <= job.data.encounters.size(); ++i)
    for (int j = 1; j <= job.status.ngrps && !setting.counts(i); ++j)
      for (const int lost : {0, 1})
        if (const int c = classes.of(i, j, lost); c > 0) cells_(c).push_back({i, j, lost, c});
}

void Cells_by_class::gather(const List<int>& classes, List<Class_cell>& list) const {
  list.clear();
  for (const int c : classes)
    for (const Class_cell& cell : cells_(c)) list.push_back(cell);
}

Moved_classes::Moved_classes(Job& job) {
  const Model_arrays& model = job.model;
  const Cell_classes& classes = cell_classes(job);
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) {
    const int position = model.bindex(i);
    if (position == 0) continue;
    if (beta_at_.size() < position) beta_at_.resize(position);
    beta_at_(position) = i;
  }
  const Real_work<double>& reals = model.likelihood->plain[0]->reals;
  for (const int beta : beta_at_) rows_.push_back(rows_of_beta(job, reals, beta));
  for (int c = 1; c <= classes.count(); ++c) {
    const auto read = [&classes, c](int row) { return classes.reads(c, row); };
    List<char>& moved = moves_.emplace_back();
    for (const Beta_rows& rows : rows_)
      moved.push_back(std::any_of(rows.animal.rows.begin(), rows.animal.rows.end(), read) ||
                      std::any_of(rows.others.begin(), rows.others.end(), read));
  }
}

bool rows_of_betas_known(const Job& job) { return !holds_betas(job.model.functions); }

const Moved_classes& moved_classes(Job& job) {
  Likelihood_work& work = *job.model.likelihood;
  if (work.moved == nullptr) work.moved = std::make_unique<Moved_classes>(job);
  return *work.moved;
}

const Reach_sets& reach_sets(Job& job) {
  Likelihood_work& work = *job.model.likelihood;
  if (work.reach_sets == nullptr) work.reach_sets = std::make_unique<Reach_sets>(job);
  return *work.reach_sets;
}

const Cell_classes& cell_classes(Job& job) {
  Likelihood_work& work = *job.model.likelihood;
  if (work.classes == nullptr) work.classes = std::make_unique<Cell_classes>(job);
  return *work.classes;
}

}  // namespace tarn
