#include "inference/estimability.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "data/catalogue/datatype.h"
#include "model/structure/design.h"
#include "model/structure/pim.h"

namespace tarn {
namespace {

/// A share of a direction below this is not told.
constexpr double least_share = 5e-4;
/// A direction of length 1 that moves no real parameter by more than this moves none.
constexpr double least_move = 1e-6;
/// A real parameter next to an end of its range, and on the end itself.
constexpr double next_to_end = 1e-4, on_end = 1e-10;
/// Standard error of the logarithm of the distance to the end from which on the distance means nothing: the
/// information of a hundredth of an animal.
constexpr double no_distance = 10.0;
/// Singular values above this share of the largest are no rounding: -2 log likelihood bends.
constexpr double bends = 1e-6;

using Range = Parameter_range;

/// The range of every real parameter; the narrowest of the uses that it has.
List<Range> ranges(const Job& job) {
  const Model_arrays& model = job.model;
  const Datatype& type = datatype(job.status.dattyp);
  List<Range> found(model.nlogit, Range::any);
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const Range range = parameter_range(type, job.data.parameterlist(q));
    if (range == Range::any) continue;
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      for_each_cell(pim, [&](int, int, int cell) {
        if (cell >= 1 && cell <= model.nlogit && found(cell) != Range::probability) found(cell) = range;
      });
    });
  }
  return found;
}

/// Whether a beta stands in row r of the design: in front of its column, or inside a function.
bool stands_in_row(const Model_arrays& model, int r, int beta) {
  if (beta <= model.ncovs) return model.design(r, beta) != 0.0;
  const Design_matrix_funcs_module& functions = model.functions;
  for (int k = 1; k <= functions.numdmfuncs; ++k)
    if (functions.dmfuncstypes(function_number, k) == nlbeta_function &&
        functions.dmfuncsargs(1, k) == beta - model.ncovs && row_of_function(functions, k) == r)
      return true;
  return false;
}

/// Whether a real parameter hangs on an estimated beta.
bool depends(const Model_arrays& model, int r) {
  if (model.fixpar(r)) return false;
  for (int beta = 1; beta <= model.ncovs_nlbetas; ++beta)
    if (model.bindex(beta) > 0 && stands_in_row(model, r, beta)) return true;
  return false;
}

/// Variance of real parameter r as the whole information matrix has it, directions that data do not identify
/// included.
double whole_variance(const Singular_system& system, const Array2<double>& slopes, int r) {
  const int n = system.v.extent(1);
  constexpr double least = 1e-300;
  double variance = 0.0;
  for (int m = 1; m <= n; ++m) {
    double along = 0.0;
    for (int j = 1; j <= n; ++j)
      if (const double slope = slopes(r, j); slope != 0.0) along += slope * system.v(j, m);
    if (along != 0.0) variance += along * along / std::max(system.s(m), least);
  }
  return variance;
}

/// The ends at which real parameters stand.
List<Real_at_boundary> boundaries(const Job& job, const Singular_system& system,
                                  const Model_estimates& estimates, const List<Range>& range) {
  List<Real_at_boundary> found;
  for (int r = 1; r <= job.model.nlogit; ++r) {
    const double x = estimates.real.estimate(r);
    if (range(r) == Range::any || std::isnan(x) || !depends(job.model, r)) continue;
    if (range(r) == Range::deviation && x >= near_largest_deviation) {
      found.push_back({r, Range_end::wall});
      continue;
    }
    const bool ends_at_1 = range(r) == Range::probability || is_confined(job.model.lindex(r));
    const bool upper = ends_at_1 && x > 0.5;
    const double distance = upper ? 1.0 - x : x;
    if (distance >= next_to_end) continue;
    if (distance > on_end &&
        !(std::sqrt(whole_variance(system, estimates.slopes, r)) > no_distance * distance))
      continue;
    found.push_back({r, upper ? Range_end::upper : Range_end::lower});
  }
  return found;
}

/// Directions as moves of betas and of the real parameters that follow.
struct Moves {
  Array2<double> betas;  ///< estimated betas x directions
  Array2<double> reals;  ///< nlogit x directions
};

/// The singular vectors behind the first k, and the moves of the real parameters; those at a boundary, which
/// may be moved at will, stand still.
Moves moves_behind(const Job& job, const Singular_system& system, int k, const Model_estimates& estimates,
                   const List<Range>& range, const List<Real_at_boundary>& at_boundary) {
  const int n = system.v.extent(1), nlogit = job.model.nlogit, count = n - k;
  Moves moves;
  make_work_area(moves.betas, n, count);
  make_work_area(moves.reals, nlogit, count);
  for (int d = 1; d <= count; ++d)
    for (int j = 1; j <= n; ++j) {
      const double move = moves.betas(j, d) = system.v(j, k + d);
      if (move == 0.0) continue;
      for (int r = 1; r <= nlogit; ++r) moves.reals(r, d) += estimates.slopes(r, j) * move;
    }
  for (int r = 1; r <= nlogit; ++r) {
    const double x = estimates.real.estimate(r);
    const bool relative = range(r) != Range::probability && range(r) != Range::any;
    if (relative && x > 0.0)
      for (int d = 1; d <= count; ++d) moves.reals(r, d) /= x;
  }
  for (const Real_at_boundary& boundary : at_boundary)
    for (int d = 1; d <= count; ++d) moves.reals(boundary.real, d) = 0.0;
  return moves;
}

/// column(to) -= factor column(from).
void subtract(Array2<double>& matrix, int to, int from, double factor) {
  for (int i = 1; i <= matrix.extent(1); ++i) matrix(i, to) -= factor * matrix(i, from);
}

/// Combines directions so that each has a real parameter that no other one moves. Gives for each direction
/// whether it moves any.
List<char> separate(Moves& moves) {
  const int count = moves.betas.extent(2);
  List<char> moving(count, 0);
  for (int step = 1; step <= count; ++step) {
    int real = 0, direction = 0;
    for (int d = 1; d <= count; ++d) {
      if (moving(d)) continue;
      for (int r = 1; r <= moves.reals.extent(1); ++r)
        if (real == 0 || std::fabs(moves.reals(r, d)) > std::fabs(moves.reals(real, direction)))
          real = r, direction = d;
    }
    if (real == 0 || !(std::fabs(moves.reals(real, direction)) > least_move)) break;
    moving(direction) = 1;
    for (int d = 1; d <= count; ++d) {
      if (d == direction) continue;
      const double factor = moves.reals(real, d) / moves.reals(real, direction);
      if (factor == 0.0) continue;
      subtract(moves.betas, d, direction, factor);
      subtract(moves.reals, d, direction, factor);
    }
  }
  for (int d = 1; d <= count; ++d) {
    double length = 0.0;
    for (const double move : moves.betas.column(d)) length = std::hypot(length, move);
    if (!(length > 0.0)) continue;
    for (double& move : moves.betas.column(d)) move /= length;
    for (double& move : moves.reals.column(d)) move /= length;
  }
  return moving;
}

/// The members of a direction, from the moves of all; `number_of(i)` is the number of the i-th.
template <class Number_of>
Unidentified_direction direction_of(std::span<const double> moves, Number_of number_of) {
  const View<const double> move(moves);
  double sum = 0.0;
  for (const double one : moves) sum += one * one;
  Unidentified_direction direction;
  for (int i = 1; i <= move.size(); ++i)
    if (const double share = move(i) * move(i) / sum; share >= least_share)
      direction.members.push_back({number_of(i), share, 0});
  for (Confounded& member : direction.members) {
    double largest = 0.0;
    for (const Confounded& other : direction.members)
      if (other.number != member.number && other.share > largest)
        largest = other.share, member.partner = other.number;
  }
  return direction;
}

/// Whether a boundary is why the data say nothing of a beta.
bool moves_boundary(const Model_arrays& model, const List<Real_at_boundary>& at_boundary, int beta) {
  return std::any_of(at_boundary.begin(), at_boundary.end(), [&](const Real_at_boundary& boundary) {
    return stands_in_row(model, boundary.real, beta);
  });
}

}  // namespace

double step_inside(const Real_at_boundary& boundary) {
  constexpr double step = 0.01;
  return boundary.end == Range_end::lower ? step : -step;
}

Estimability judge_estimability(const Job& job, const Singular_system& system, int k,
                                const Model_estimates& estimates) {
  Estimability found;
  const int n = system.v.extent(1);
  if (n == 0 || system.info != 0 || !estimates.slopes.present()) return found;
  const Model_arrays& model = job.model;
  const List<int> beta_at = betas_by_position(model);
  for (const int position : system.without_information)
    found.without_information.push_back(beta_at(position));
  const List<Range> range = ranges(job);
  found.at_boundary = boundaries(job, system, estimates, range);
  if (k >= n) return found;

  Moves moves = moves_behind(job, system, k, estimates, range, found.at_boundary);
  const List<char> moving = separate(moves);
  List<int> told;
  for (int d = 1; d <= moving.size(); ++d) {
    Unidentified_direction direction;
    if (moving(d)) {
      direction = direction_of(moves.reals.column(d), [](int r) { return r; });
    } else {
      direction = direction_of(moves.betas.column(d), [&](int position) { return beta_at(position); });
      direction.of_betas = true;
      // What is told of a boundary or of a beta without information is not told again.
      const auto known = [&](const Confounded& beta) {
        const List<int>& none = found.without_information;
        return std::find(none.begin(), none.end(), beta.number) != none.end() ||
               moves_boundary(model, found.at_boundary, beta.number);
      };
      if (std::all_of(direction.members.begin(), direction.members.end(), known)) continue;
    }
    found.directions.push_back(std::move(direction));
    told.push_back(d);
  }
  if (!told.empty() && system.s(k + 1) > bends * std::max(1.0, system.s(1)))
    found.bend_left_out = system.s(k + 1);
  make_work_area(found.moves, n, told.size());
  for (int d = 1; d <= told.size(); ++d)
    std::copy_n(moves.betas.column(told(d)).begin(), n, found.moves.column(d).begin());
  return found;
}

}  // namespace tarn
