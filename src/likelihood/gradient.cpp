#include "likelihood/gradient.h"

#include <algorithm>
#include <utility>

#include "likelihood/cell_classes.h"
#include "likelihood/closed_terms.h"
#include "likelihood/history_loop.h"

namespace tarn {
namespace {

std::size_t at(int i) { return static_cast<std::size_t>(i); }

/// One vector of the pass.
struct Move {
  Moved_beta to;
  int beta = 0;  ///< its number among all betas
  std::vector<std::pair<int, double>>
      others;  ///< real parameters outside the animal's pass, with their values
  double closed = 0.0, closed_penalty = 0.0;
};

/// What one thread adds up: a sum per class of cells at x, and one per move over the cells that it changes.
struct Thread_sums {
  std::vector<History_sum<double>> of_class, of_move;
  Shift_undo undo;
  std::vector<double> kept;
};

class Moves_pass {
 public:
  Moves_pass(Job& job, std::span<const double> x, std::span<const Moved_beta> moves)
      : job_(job),
        work_(*job.model.likelihood),
        x_(x.begin(), x.end()),
        classes_(cell_classes(job)),
        moved_(moved_classes(job)) {
    for (const Moved_beta& to : moves) moves_.push_back({to, moved_.beta(to.position), {}, 0.0, 0.0});
    find_changes();
    for (Move& move : moves_) fill(move);
  }

  std::vector<double> objectives() {
    const std::size_t threads = work_.plain.size();
    std::vector<Thread_sums> sums(threads);
    for (Thread_sums& own : sums) {
      own.of_class.resize(at(classes_.count()));
      own.of_move.resize(moves_.size());
    }
    const Job& shared = job_;
    const int used = on_threads(shared, work_.gradient_team, work_.plain,
                                [&](int t, Thread_area<double>& area, History_block block) {
                                  run(shared, area, block, sums[at(t)]);
                                });
    end_of_histories(job_, work_.plain, used);
    for (int t = 1; t < used; ++t) {
      for (std::size_t c = 0; c < sums[0].of_class.size(); ++c)
        sums[0].of_class[c].add(sums[at(t)].of_class[c]);
      for (std::size_t m = 0; m < moves_.size(); ++m) sums[0].of_move[m].add(sums[at(t)].of_move[m]);
    }
    std::vector<double> f;
    for (std::size_t m = 0; m < moves_.size(); ++m) {
      History_sum<double> total = sums[0].of_move[m];
      for (int c = 0; c < classes_.count(); ++c)
        if (!changes(c, m)) total.add(sums[0].of_class[at(c)]);
      const double likelihood = total.likelihood() + moves_[m].closed;
      const double penalty = total.penalty() + moves_[m].closed_penalty;
      f.push_back(-(likelihood + likelihood) - (penalty + penalty));
    }
    return f;
  }

 private:
  bool changes(int c, std::size_t m) const { return moved_.moves(c, moves_[m].to.position); }

  void find_changes() {
    moves_of_.resize(at(classes_.count()));
    for (int c = 0; c < classes_.count(); ++c)
      for (std::size_t m = 0; m < moves_.size(); ++m)
        if (changes(c, m)) moves_of_[at(c)].push_back(static_cast<int>(m));
  }

  /// What a move gives that is the same for every record.
  void fill(Move& move) {
    Thread_area<double>& area = *work_.plain[0];
    double& element = x_[at(move.to.position - 1)];
    const double kept = element;
    element = move.to.value;
    tranlg<double>(job_, 1, x_, area.reals, 1, 1, nullptr);
    element = kept;
    for (int row : moved_.rows(move.to.position).others) move.others.emplace_back(row, area.reals.parm(row));
    if (job_.model.phase2 == 0 || work_.closed_form == Closed_form::none) return;
    area.cell.new_reals(false);
    area.cell.begin();
    move.closed = closed_terms(job_, work_.closed_form, area.reals.reals(), area.cell);
    move.closed_penalty = area.cell.penlty[0] + area.cell.penlty[1];
  }

  /// One cell of a record: group, kind, count, class.
  struct Record_cell {
    int group, lost;
    float count;
    int of_class;
  };

  void run(const Job& job, Thread_area<double>& area, History_block block, Thread_sums& sums) const {
    const Record_table records(job);
    const Cell_routine<double> routine = job.model.chprobpointer;
    std::vector<Record_cell> cells;
    std::vector<int> wanted;
    std::vector<char> is_wanted(moves_.size(), 0);
    int newbeta = 1;
    area.cell.new_reals(false);
    for (int i = block.from; i <= block.to; ++i) {
      find_cells(records, i, cells);
      if (cells.empty()) continue;
      reals_of_record<double>(job, i, x_, newbeta, area);
      newbeta = 0;
      const auto add = [&](const Record_cell& cell, History_sum<double>& sum) {
        add_cell(job, routine, records, i, cell.group, cell.lost, cell.count, area.reals.reals(),
                 work_.serial_penalty, area.cell, sum);
      };
      for (const Record_cell& cell : cells) add(cell, sums.of_class[at(cell.of_class)]);
      const std::vector<int>* moves = &moves_of_[at(cells[0].of_class)];
      if (cells.size() > 1) {
        wanted.clear();
        for (const Record_cell& cell : cells)
          for (const int m : moves_of_[at(cell.of_class)])
            if (!is_wanted[at(m)]) {
              is_wanted[at(m)] = 1;
              wanted.push_back(m);
            }
        for (const int m : wanted) is_wanted[at(m)] = 0;
        moves = &wanted;
      }
      for (const int m : *moves) {
        const Move& move = moves_[at(m)];
        const Beta_rows& rows = moved_.rows(move.to.position);
        shift_beta(job, area.reals, rows, move.beta, move.to.value, sums.undo);
        sums.kept.clear();
        for (const auto& [row, value] : move.others) {
          sums.kept.push_back(area.reals.parm(row));
          area.reals.parm(row) = value;
        }
        for (const Record_cell& cell : cells)
          if (changes(cell.of_class, at(m))) add(cell, sums.of_move[at(m)]);
        for (std::size_t k = 0; k < move.others.size(); ++k)
          area.reals.parm(move.others[k].first) = sums.kept[k];
        undo_shift(area.reals, rows, move.beta, sums.undo);
      }
    }
  }

  void find_cells(const Record_table& records, int i, std::vector<Record_cell>& cells) const {
    cells.clear();
    const float* observed = records.observed_of(i);
    const float* lost = records.lost_of(i);
    for (int j = 1; j <= static_cast<int>(records.groups); ++j) {
      if (observed[j - 1] > 0.0F) cells.push_back({j, 0, observed[j - 1], classes_.of(i, j, 0)});
      if (lost[j - 1] > 0.0F) cells.push_back({j, 1, lost[j - 1], classes_.of(i, j, 1)});
    }
  }

  Job& job_;
  Likelihood_work& work_;
  std::vector<double> x_;
  const Cell_classes& classes_;
  const Moved_classes& moved_;
  std::vector<Move> moves_;
  std::vector<std::vector<int>> moves_of_;  ///< per class
};

}  // namespace

bool can_move_betas(const Job& job) {
  const Model_arrays& model = job.model;
  return model.likelihood->by_record && model.phase1 != 0 && job.data.encounters.size() > 0 &&
         rows_of_betas_known(job);
}

std::vector<double> moved_objectives(Job& job, std::span<const double> x, std::span<const Moved_beta> moves) {
  return Moves_pass(job, x, moves).objectives();
}

}  // namespace tarn
