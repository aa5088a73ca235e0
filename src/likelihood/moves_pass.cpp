#include "likelihood/moves_pass.h"

#include "likelihood/evaluation.h"

namespace tarn {

Moves_pass::Moves_pass(Job& job)
    : job_(job), work_(*job.model.likelihood), classes_(cell_classes(job)), moved_(moved_classes(job)) {}

void Moves_pass::run(std::span<const double> x, std::span<const Moved_beta> moves, std::span<double> f) {
  x_.assign(x.begin(), x.end());
  moves_.resize(static_cast<int>(moves.size()));
  int filled = 0;
  for (const Moved_beta& to : moves) {
    Move& move = moves_(++filled);
    move.to = to;
    move.beta = moved_.beta(to.position);
    fill(move);
  }
  find_changes();

  by_thread_.resize(work_.plain.size());
  const Job& shared = job_;
  const auto part = [&](int t, Thread_area<double>& area, History_block block) {
    run_block(shared, area, block, by_thread_[static_cast<std::size_t>(t)]);
  };
  const int used = on_threads(job_.data.encounters.size(), work_.moves_team, work_.plain, part);
  end_of_histories(job_, work_.plain, used);
  Thread_sums& all = by_thread_.front();
  for (int t = 1; t < used; ++t) {
    const Thread_sums& other = by_thread_[static_cast<std::size_t>(t)];
    for (int c = 1; c <= all.of_class.size(); ++c) all.of_class(c).add(other.of_class(c));
    for (int m = 1; m <= all.of_move.size(); ++m) all.of_move(m).add(other.of_move(m));
  }
  const View<double> values(f);
  for (int m = 1; m <= moves_.size(); ++m) {
    History_sum<double> total = all.of_move(m);
    for (int c = 1; c <= classes_.count(); ++c)
      if (!changes(c, m)) total.add(all.of_class(c));
    const Closed_value<double>& closed = moves_(m).closed;
    values(m) = objective_value(total.likelihood() + closed.likelihood, total.penalty() + closed.penalty).f;
  }
}

void Moves_pass::find_changes() {
  moves_of_.resize(classes_.count());
  for (int c = 1; c <= classes_.count(); ++c) {
    moves_of_(c).clear();
    for (int m = 1; m <= moves_.size(); ++m)
      if (changes(c, m)) moves_of_(c).push_back(m);
  }
}

/// What a move gives that is the same for every record.
void Moves_pass::fill(Move& move) {
  Thread_area<double>& area = *work_.plain[0];
  double& element = View<double>(x_)(move.to.position);
  const double kept = element;
  element = move.to.value;
  tranlg<double>(job_, 1, x_, area.reals, 1, 1, nullptr);
  element = kept;
  move.others.clear();
  for (const int row : moved_.rows(move.to.position).others)
    move.others.push_back({row, area.reals.parm(row)});
  move.closed = closed_value(job_, work_, area.reals.reals(), area.cell);
}

/// The moves that change one of a record's cells.
const List<int>& Moves_pass::moves_of_cells(Thread_sums& own) const {
  if (own.cells.size() == 1) return moves_of_(own.cells(1).of_class);
  own.wanted.clear();
  for (const Record_cell& cell : own.cells)
    for (const int m : moves_of_(cell.of_class))
      if (!own.is_wanted(m)) {
        own.is_wanted(m) = 1;
        own.wanted.push_back(m);
      }
  for (const int m : own.wanted) own.is_wanted(m) = 0;
  return own.wanted;
}

void Moves_pass::run_block(const Job& job, Thread_area<double>& area, History_block block,
                           Thread_sums& own) const {
  own.of_class.assign(classes_.count(), {});
  own.of_move.assign(moves_.size(), {});
  own.is_wanted.assign(moves_.size(), 0);
  own.others.resize(moves_.size());
  for (int m = 1; m <= moves_.size(); ++m) own.others(m) = moves_(m).others;
  const Record_table records(job, work_.folded);
  const Cell_routine<double> routine = job.model.chprobpointer;
  int newbeta = 1;
  for (int i = block.from; i <= block.to; ++i) {
    find_cells(records, i, own.cells);
    if (own.cells.empty()) continue;
    area.compute_reals(job, i, x_, newbeta, work_.pass_of_record(i));
    newbeta = 0;
    const auto add = [&](const Record_cell& cell, History_sum<double>& sum) {
      add_cell(job, routine, records, i, cell.group, cell.lost, cell.count, area.reals.reals(),
               work_.serial_penalty, area.cell, sum);
    };
    for (const Record_cell& cell : own.cells) add(cell, own.of_class(cell.of_class));
    for (const int m : moves_of_cells(own)) {
      const Move& move = moves_(m);
      const Beta_rows& rows = moved_.rows(move.to.position);
      shift_beta(job, area.reals, rows, move.beta, move.to.value, own.undo);
      exchange_reals(area.reals, own.others(m));
      for (const Record_cell& cell : own.cells)
        if (changes(cell.of_class, m)) add(cell, own.of_move(m));
      exchange_reals(area.reals, own.others(m));
      undo_shift(area.reals, rows, move.beta, own.undo);
    }
  }
}

void Moves_pass::find_cells(const Record_table& records, int i, List<Record_cell>& cells) const {
  cells.clear();
  const float* observed = records.observed_of(i);
  const float* lost = records.lost_of(i);
  for (int j = 1; j <= static_cast<int>(records.groups); ++j) {
    if (observed[j - 1] > 0.0F) cells.push_back({j, 0, observed[j - 1], classes_.of(i, j, 0)});
    if (lost[j - 1] > 0.0F) cells.push_back({j, 1, lost[j - 1], classes_.of(i, j, 1)});
  }
}

}  // namespace tarn
