#pragma once

#include <functional>
#include <span>

namespace tarn {

/// What a minimiser sees of its problem: the value at x.
using Objective = std::function<double(std::span<const double> x)>;

/// The same with the gradient, written to g (as long as x).
using Gradient_objective = std::function<double(std::span<const double> x, std::span<double> g)>;

/// Where a minimiser stands. The spans are its own arrays: read them during the call, do not keep them.
struct Minimiser_state {
  int itn = 0;     ///< iterations completed
  int ifn = 0;     ///< evaluations of the objective made
  int maxfn = 0;   ///< evaluations allowed
  int iexit = 0;   ///< code so far, or of the end
  double f = 0.0;  ///< value at x
  std::span<const double> x;
  std::span<const double> g;
};

/// A minimiser tells its course through these and writes nothing itself; the caller words and prints it. An
/// empty member is skipped.
struct Minimiser_course {
  /// Before the first evaluation, when detail is asked for.
  std::function<void()> entering;
  /// At the head of the iterations that the minimiser's print interval selects.
  std::function<void(const Minimiser_state&)> detail;
  /// At the head of every iteration, behind `detail`.
  std::function<void(const Minimiser_state&)> progress;
  /// At the end, when detail is asked for.
  std::function<void(const Minimiser_state&)> leaving;
};

}  // namespace tarn
