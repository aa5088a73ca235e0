#pragma once
// The objective at many vectors that differ from one in a single beta each, as a gradient by differences
// wants it, in one pass over the histories. For models whose real parameters depend on the record and that
// have no design function with a beta in it.

#include <span>
#include <vector>

#include "likelihood/cell_classes.h"
#include "likelihood/closed_terms.h"
#include "likelihood/history_loop.h"
#include "likelihood/likelihood_point.h"
#include "likelihood/likelihood_work.h"

namespace tarn {

/// Keeps its storage from pass to pass.
class Moves_pass {
 public:
  /// Refers to the job's likelihood.
  explicit Moves_pass(Job& job);

  /// The objective at x with each of `moves` in turn, into `f`: the numbers of single evaluations. A history
  /// whose cell reads no real parameter that a beta moves is not computed again for it, and of a record's
  /// reals only those that move are.
  void run(std::span<const double> x, std::span<const Moved_beta> moves, std::span<double> f);

 private:
  /// One vector of the pass.
  struct Move {
    Moved_beta to;
    int beta = 0;              ///< its number among all betas
    List<Placed_real> others;  ///< real parameters outside the animal's pass
    Closed_value<double> closed;
  };
  /// One cell of a record: group, kind, count, class.
  struct Record_cell {
    int group, lost;
    float count;
    int of_class;
  };
  /// What one thread adds up: a sum per class of cells at x, and one per move over the cells that it changes;
  /// and its working storage.
  struct Thread_sums {
    List<History_sum<double>> of_class, of_move;
    Shift_undo undo;
    List<List<Placed_real>> others;  ///< of each move
    List<Record_cell> cells;
    List<int> wanted;
    List<char> is_wanted;
  };

  bool changes(int c, int m) const { return moved_.moves(c, moves_(m).to.position); }
  void find_changes();
  void fill(Move& move);
  void run_block(const Job& job, Thread_area<double>& area, History_block block, Thread_sums& own) const;
  void find_cells(const Record_table& records, int i, List<Record_cell>& cells) const;
  const List<int>& moves_of_cells(Thread_sums& own) const;

  Job& job_;
  Likelihood_work& work_;
  const Cell_classes& classes_;
  const Moved_classes& moved_;
  std::vector<double> x_;
  List<Move> moves_;
  List<List<int>> moves_of_;  ///< per class
  std::vector<Thread_sums> by_thread_;
};

}  // namespace tarn
