#pragma once
// Which real parameters the cell of a record reads.

#include <algorithm>

#include "job/job.h"
#include "model/structure/links.h"
#include "numerics/array.h"
#include "numerics/list.h"
#include "numerics/number_sets.h"

namespace tarn {

/// The cells of a data set, sorted into classes that read the same real parameters.
class Cell_classes {
 public:
  /// Runs every cell that has a count, with look-ups noted, on reals of several sizes: what a routine leaves
  /// out at one of them it reads at another.
  explicit Cell_classes(Job& job);

  int count() const { return reads_.count(); }
  /// Class (from 1) of record i, group j; `lost` 0 for the released animals, 1 for those lost on capture. 0
  /// where the count is 0.
  int of(int i, int j, int lost) const { return class_(lost + 1, j, i); }
  /// The real parameters that the cells of class c read, ascending.
  const List<int>& rows(int c) const { return reads_.members(c); }
  /// Whether they read real parameter `row`.
  bool reads(int c, int row) const { return std::binary_search(rows(c).begin(), rows(c).end(), row); }

 private:
  Array3<int> class_;  ///< released or lost, group, record
  Number_sets reads_;  ///< by class
};

/// Records whose cells with a count, all together, read the same real parameters.
class Reach_sets {
 public:
  explicit Reach_sets(Job& job);

  int count() const { return reads_.count(); }
  /// Set (from 1) of record i; that of a record without a count is empty.
  int of(int i) const { return set_(i); }
  /// The real parameters of set k, ascending.
  const List<int>& rows(int k) const { return reads_.members(k); }

 private:
  List<int> set_;  ///< by record
  Number_sets reads_;
};

/// A cell with a count.
struct Class_cell {
  int record = 0, group = 0, lost = 0;
  int of_class = 0;
};

/// The cells with a count that are no part of what a family has counted, class after class.
class Cells_by_class {
 public:
  explicit Cells_by_class(Job& job);
  /// The cells of these classes, each in the order of the records, into `list`.
  void gather(const List<int>& classes, List<Class_cell>& list) const;

 private:
  List<List<Class_cell>> cells_;
};

/// Which classes of cells change when a beta does.
class Moved_classes {
 public:
  explicit Moved_classes(Job& job);
  int count() const { return moves_.size(); }
  /// Length of the optimizer's vector.
  int betas() const { return rows_.size(); }
  /// Whether class c reads a real parameter that the beta at `position` (from 1) moves.
  bool moves(int c, int position) const { return moves_(c)(position) != 0; }
  const Beta_rows& rows(int position) const { return rows_(position); }
  /// Number among all betas of the one at `position`.
  int beta(int position) const { return beta_at_(position); }

 private:
  List<int> beta_at_;
  List<Beta_rows> rows_;
  List<List<char>> moves_;  ///< by class, then position
};

/// False when a design function holds a beta: what such a beta moves does not stand in the design.
bool rows_of_betas_known(const Job& job);

/// The tables of the model in hand, made at the first call.
const Cell_classes& cell_classes(Job& job);
const Moved_classes& moved_classes(Job& job);
const Reach_sets& reach_sets(Job& job);

}  // namespace tarn
