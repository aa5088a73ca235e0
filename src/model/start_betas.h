#pragma once
// From wanted real parameters back to betas, by least squares.

#include <optional>
#include <span>
#include <vector>

#include "job/job.h"
#include "numerics/array.h"
#include "numerics/list.h"

namespace tarn {

/// Covariate values at which starts are translated: the means, 0 for standardised covariates, nullptr where
/// no cell uses a covariate. `zeros` holds the values when they are made for the call.
const double* mean_values(const Job& job, std::vector<double>& zeros);

/// The fatal end when there is no memory for a design to translate a start by.
[[noreturn]] void error_of_start_memory(Job& job);

/// A least-squares problem, factored once. Columns that the others explain get 0.
class Least_squares {
 public:
  explicit Least_squares(Array2<double> matrix);
  /// @param y  as long as the matrix has rows
  List<double> solution(List<double> y) const;

 private:
  Array2<double> factors_;
  List<double> auxiliary_;
  List<int> pivots_;
  int rank_ = 0;
};

/// The linear predictor that a link takes to `real`, which is kept inside the link's range. Of a member of a
/// set the one that it has beside others of like size.
double predictor_of(Link link, double real);

/// The design as a start sees it: cells that depend on the animal at the covariates' means.
class Start_design {
 public:
  /// @param x  betas at which design functions that hold one are evaluated
  Start_design(Job& job, std::span<const double> x);

  /// Linear predictors of the real parameters at x; covariates at their means.
  List<double> predictors(std::span<const double> x) const;
  /// Real parameters there.
  const List<double>& reals_at_start() const { return reals_; }
  /// The estimated vector whose predictors come nearest to `predictors` in the rows that are not fixed.
  /// Columns that hold a covariate or a function get 0 unless a row has no other; betas of functions keep
  /// what they had.
  std::vector<double> betas(const List<double>& predictors) const;
  /// What takes predictors nearest to a change by `change`.
  std::vector<double> moved(std::span<const double> x, const List<double>& change) const;

  /// By position in the estimated vector, the size of its column as the optimizer sees it: its largest cell
  /// over all records, times the column's scale. 1 for a column of zeros and for betas of functions.
  const std::vector<double>& sizes() const { return sizes_; }
  /// Whether a column of the estimated vector holds a covariate or a function.
  bool varies(std::size_t position) const { return varies_[position] != 0; }

 private:
  /// Rows that one kind of columns serves, plain ones or covariates. No factors where a row has one column.
  struct Stage {
    List<int> rows, columns;
    std::optional<Least_squares> factors;
  };
  Stage stage(bool varying, List<char>& reached) const;
  double size(int position) const { return sizes_[static_cast<std::size_t>(position) - 1]; }
  std::vector<double> solved(const List<double>& predictors, std::vector<double> otherwise) const;

  Job& job_;
  int betas_ = 0;
  Array2<double> cells_;  ///< nlogit x estimated betas, as the optimizer sees them
  List<double> offset_;   ///< of the fixed betas
  List<double> reals_;
  std::vector<double> sizes_, at_;
  std::vector<char> varies_, in_design_;
  std::vector<Stage> stages_;  ///< plain columns first, covariates for the rows that have nothing else
};

}  // namespace tarn
