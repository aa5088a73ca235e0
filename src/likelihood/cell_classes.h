#pragma once
// Which real parameters the cell of a record reads.

#include <vector>

#include "job/job.h"
#include "model/structure/links.h"

namespace tarn {

/// The cells of a data set, sorted into classes that read the same real parameters.
class Cell_classes {
 public:
  /// Runs every cell that has a count, with look-ups noted, on reals of several sizes: what a routine leaves
  /// out at one of them it reads at another.
  explicit Cell_classes(Job& job);

  int count() const { return count_; }
  /// Class (from 0) of record i, group j; `lost` 0 for the released animals, 1 for those lost on capture.
  int of(int i, int j, int lost) const {
    return class_[2 * (static_cast<std::size_t>(i - 1) * groups_ + static_cast<std::size_t>(j - 1)) +
                  static_cast<std::size_t>(lost)];
  }
  /// Whether the cells of class c read real parameter `row`.
  bool reads(int c, int row) const {
    return reads_[static_cast<std::size_t>(c) * reals_ + static_cast<std::size_t>(row - 1)] != 0;
  }

 private:
  int count_ = 0;
  std::size_t groups_ = 0, reals_ = 0;
  std::vector<int> class_;   ///< -1 where the count is 0
  std::vector<char> reads_;  ///< class, real parameter
};

/// A cell with a count.
struct Class_cell {
  int record = 0, group = 0, lost = 0;
  int of_class = 0;
};

/// The cells with a count, class after class.
class Cells_by_class {
 public:
  explicit Cells_by_class(Job& job);
  /// The cells of these classes, each in the order of the records, into `list`.
  void gather(const std::vector<int>& classes, std::vector<Class_cell>& list) const;

 private:
  std::vector<std::vector<Class_cell>> cells_;
};

/// Which classes of cells change when a beta does.
class Moved_classes {
 public:
  explicit Moved_classes(Job& job);
  int count() const { return classes_; }
  /// Length of the optimizer's vector.
  int betas() const { return static_cast<int>(rows_.size()); }
  /// Whether class c reads a real parameter that the beta at `position` (from 1) moves.
  bool moves(int c, int position) const {
    return moves_[static_cast<std::size_t>(c) * rows_.size() + static_cast<std::size_t>(position - 1)] != 0;
  }
  const Beta_rows& rows(int position) const { return rows_[static_cast<std::size_t>(position - 1)]; }
  /// Number among all betas of the one at `position`.
  int beta(int position) const { return beta_at_[static_cast<std::size_t>(position - 1)]; }

 private:
  int classes_ = 0;
  std::vector<int> beta_at_;
  std::vector<Beta_rows> rows_;
  std::vector<char> moves_;
};

/// False when a design function holds a beta: what such a beta moves does not stand in the design.
bool rows_of_betas_known(const Job& job);

/// The tables of the model in hand, made at the first call.
const Cell_classes& cell_classes(Job& job);
const Moved_classes& moved_classes(Job& job);

}  // namespace tarn
