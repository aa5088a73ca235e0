#pragma once
// The objective at a vector of betas, and near it: the one road of fits, gradients, profiles and samplers to
// the likelihood.

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "job/job.h"

namespace tarn {

/// -2 log likelihood, -2 times the penalty (which is 0 or positive), and what is minimised: their sum.
struct Objective_value {
  double f = 0.0, loglik = 0.0, sumpen = 0.0;
};

/// The vector in hand with one of its elements at another value.
struct Moved_beta {
  int position = 0;  ///< in the optimizer's vector, from 1
  double value = 0.0;
};

class Moves_pass;

/// The value whose log likelihood and (negative) penalty these are.
Objective_value objective_value(double likelihood, double penalty);

/// A vector of betas with its objective. Needs a model that `set_up_likelihood` has prepared, and is good
/// until the next call of that. A fault in a cell is fatal, the one of the lowest history number. All values
/// are the same bits for every number of threads, but for the penalties that count in serial runs only, and
/// on whatever road they were reached. Warm calls take no memory.
class Likelihood_point {
 public:
  explicit Likelihood_point(Job& job);
  Likelihood_point(const Likelihood_point&) = delete;
  Likelihood_point& operator=(const Likelihood_point&) = delete;
  ~Likelihood_point();

  /// Goes to x and evaluates there.
  const Objective_value& move_to(std::span<const double> x);
  /// The same with the gradient at x.
  const Objective_value& move_to(std::span<const double> x, std::span<double> g);
  std::span<const double> x() const { return x_; }
  const Job& job() const { return job_; }
  const Objective_value& value() const { return value_; }
  /// Real parameters at x; where they depend on the record those of record 1. Good until the next call.
  Reals<double> reals();

  /// The objective with one beta at another value, at the price of the cells that the beta moves. The point
  /// stays where it is until `accept`; `take_back`, a new proposal, `move_to`, `objectives` and `gradient`
  /// drop it.
  const Objective_value& propose(const Moved_beta& move);
  void accept();
  void take_back() { proposed_ = false; }

  /// f with each of `moves` in turn, into `f`. Where reals depend on the record this is one pass over the
  /// histories, in which a record's reals and cells are computed again only where a move reaches them; else a
  /// proposal for each move.
  void objectives(std::span<const Moved_beta> moves, std::span<double> f);

  /// Gradient at x, exact, at the price of a few evaluations (Griewank and Walther 2008); at a kink of the
  /// range penalty that of the side in violation. With `centfd`, or a `deltax` other than the default, that
  /// of differences: forward ones with step `deltax` (|x| + 1), or central ones with half that step either
  /// way.
  void gradient(std::span<double> g);

  /// Whether a penalty that counts in serial runs only is due at x: chances that share 1 sum to more. The
  /// point stays where it is.
  bool is_above_one(std::span<const double> x);
  /// From here on such penalties count, or not; gives what they did before.
  bool count_serial_penalty(bool counts);

 private:
  class Class_sums;

  Objective_value evaluate_at(std::span<const double> x);
  void go_to(std::span<const double> x);
  /// The proposal in hand by the sums of classes; false where it takes a whole evaluation.
  bool propose_by_classes();
  bool stated_differences() const;

  Job& job_;
  std::vector<double> x_, moved_x_;
  Objective_value value_;
  /// Stamp of the reals at x where the main thread's area had them last; 0 when it has not. Whoever else
  /// writes there gives them another.
  std::uint64_t stamp_at_x_ = 0;

  bool proposed_ = false;
  Moved_beta proposal_;
  Objective_value proposed_value_;
  std::unique_ptr<Class_sums> classes_;  ///< made by the first proposal

  std::vector<Moved_beta> steps_;  ///< of the gradient in hand
  std::vector<double> ends_;
  std::unique_ptr<Moves_pass> pass_;  ///< made by the first gradient that wants it
};

/// The point that `func`, `funcg` and the fits of the job's model share.
Likelihood_point& likelihood_point(Job& job);

}  // namespace tarn
