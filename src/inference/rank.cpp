#include "inference/rank.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "job/services/fault.h"
#include "numerics/linear_algebra.h"
#include "numerics/special.h"

namespace tarn {
namespace {

constexpr double gradient_good = 1.0, gradient_bad = 50.0;
/// Below this largest gradient (2^-23) the singular values alone decide.
constexpr double gradient_exact = 1.1920928955078125e-07;
/// Singular values above this share of the largest are no rounding.
constexpr double smallest_identified = 1e-8;

List<double> copy_of(const Array2<double>& matrix) {
  List<double> copy(static_cast<int>(matrix.size()));
  std::copy(matrix.begin(), matrix.end(), copy.begin());
  return copy;
}

}  // namespace

Gradient gradient_at_solution(std::span<const double> g) {
  Gradient gradient;
  bool finite = true;
  for (const double element : g) {
    gradient.g.push_back(element);
    finite = finite && std::isfinite(element);
    gradient.largest = std::max(gradient.largest, std::fabs(element));
  }
  if (!finite) gradient.largest = std::numeric_limits<double>::infinity();
  return gradient;
}

Convergence convergence(const Gradient& gradient) {
  if (gradient.largest > gradient_bad) return Convergence::none;
  return gradient.largest > gradient_good ? Convergence::suspect : Convergence::good;
}

Gap gap_method(std::span<const double> values, double ratiothresh) {
  const View<const double> s(values);
  Gap gap;
  gap.count = s.size();
  if (s.size() <= 2) return gap;
  for (int i = 1; i < s.size(); ++i) {
    // Two neighbours that are both 0 are no gap.
    const double ratio = s(i) == 0.0 ? 1.0 : quotient(s(i), s(i + 1));
    if (gap.max_at == 0 || ratio > gap.max) {
      gap.next_at = gap.max_at, gap.next = gap.max;
      gap.max_at = i, gap.max = ratio;
    } else if (gap.next_at == 0 || ratio > gap.next) {
      gap.next_at = i, gap.next = ratio;
    }
  }
  if (!(ratiothresh > gap.max)) gap.count = gap.max_at;
  return gap;
}

Rank singular_values(const Array2<double>& information) {
  const int n = information.extent(1);
  Rank rank;
  rank.npargmaxest = rank.gap_count = n;
  if (n == 0) return rank;
  List<double> x = copy_of(information), e(n), work(n);
  rank.s.assign(n, 0.0);
  dsvdc(x.data(), n, n, n, rank.s.data(), e.data(), nullptr, 1, nullptr, 1, work.data(), 0, rank.info);
  return rank;
}

void count_parameters(Rank& rank, int numpar, double ratiothresh, double largest_gradient, double loglik) {
  if (numpar > 0) {
    rank.npargmaxest = rank.gap_count = numpar;
    return;
  }
  if (rank.info != 0) return;
  rank.gap = gap_method(rank.s, ratiothresh);
  rank.npargmaxest = rank.gap_count = rank.gap->count;
  const double gradient = std::max(largest_gradient, spacing(loglik) / default_deltax);
  if (!(gradient >= gradient_exact)) {
    const int count = rank.gap->count;
    rank.doubtful_gap = count < rank.s.size() && rank.s(count + 1) > smallest_identified * rank.s(1);
    return;
  }
  const double threshold = 2.0 * gradient;
  const auto above = std::count_if(rank.s.begin(), rank.s.end(), [&](double s) { return s > threshold; });
  rank.threshold = Threshold{threshold, static_cast<int>(above)};
  rank.npargmaxest = rank.threshold->count;
}

void order_betas(Rank& rank, const Model_arrays& model, const Array2<double>& information) {
  const int n = information.extent(1);
  if (model.numpar > 0 || rank.npargmaxest >= n) return;
  List<double> x = copy_of(information), qraux(n), work(n);
  rank.jpvt.assign(n, 0);
  dqrdc(x.data(), n, n, n, qraux.data(), rank.jpvt.data(), work.data(), 1);
  const List<int> beta_at = betas_by_position(model);
  for (const int position : rank.jpvt) rank.order.push_back(beta_at(position));
}

int confounded_beta(const Model_arrays& model, const Singular_system& system, int pivot) {
  if (system.info != 0) return 0;
  const int n = system.v.extent(1);
  int position = 0;
  for (int j = 1; j <= n; ++j)
    if (j != pivot && (position == 0 || std::fabs(system.v(j, n)) > std::fabs(system.v(position, n))))
      position = j;
  return position == 0 ? 0 : betas_by_position(model)(position);
}

int remove_singular_beta(Job& job, int pivot) {
  Model_arrays& model = job.model;
  int removed = 0;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) == pivot) removed = i;
  if (pivot < 1 || removed == 0) error(job, "Did not find singular parameter in BINDEX!");
  model.bindex(removed) = 0;
  model.beta(removed) = 0.0;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > pivot) --model.bindex(i);
  return removed;
}

}  // namespace tarn
