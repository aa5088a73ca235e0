#include "inference/varmat.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <compare>
#include <limits>
#include <map>
#include <vector>

#include "data/catalogue/datatype.h"
#include "inference/cohorts.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "likelihood/func.h"
#include "model/structure/links.h"
#include "numerics/linear_algebra.h"

namespace tarn {
namespace {

/// One cell of the data: a record in a group, released or lost, with a count.
struct Counted_cell {
  int record = 0, group = 0;
  bool lost = false;
  double count = 0.0;
};

List<Counted_cell> counted_cells(const Job& job) {
  List<Counted_cell> cells;
  const Encounter_store& encounters = job.data.encounters;
  for (int i = 1; i <= encounters.size(); ++i) {
    const View<const float> observed = encounters.observed(i), lost = encounters.lost_on_capture(i);
    for (int j = 1; j <= job.status.ngrps; ++j) {
      if (observed(j) > 0.0F) cells.push_back({i, j, false, observed(j)});
      if (lost(j) > 0.0F) cells.push_back({i, j, true, lost(j)});
    }
  }
  return cells;
}

/// Probability of a cell at the solution.
double probability(const Job& job, const Counted_cell& cell) {
  return (cell.lost ? job.model.cellprlost : job.model.cellpr)(cell.record, cell.group);
}

/// Derivatives of the cells' probabilities by each beta, (cell, beta), by central differences with step
/// `step(x)`.
template <class Step>
Array2<double> cell_derivatives(Job& job, View<const double> beta, const List<Counted_cell>& cells, Step step,
                                const char* failure) {
  Array2<double> part, up, up_lost, down, down_lost;
  const int n = beta.size();
  if (!allocate(job, failure, part, cells.size(), n)) error_of_absent_array(job, "PART");
  List<double> x(n);
  std::copy(beta.begin(), beta.end(), x.begin());
  for (int k = 1; k <= n; ++k) {
    const double d = step(beta(k));
    x(k) = beta(k) + d;
    cell_probabilities(job, x, up, up_lost);
    x(k) = beta(k) - d;
    cell_probabilities(job, x, down, down_lost);
    x(k) = beta(k);
    for (int c = 1; c <= cells.size(); ++c) {
      const Counted_cell& cell = cells(c);
      const double above = cell.lost ? up_lost(cell.record, cell.group) : up(cell.record, cell.group);
      const double below = cell.lost ? down_lost(cell.record, cell.group) : down(cell.record, cell.group);
      part(c, k) = (above - below) / (2.0 * d);
    }
  }
  return part;
}

/// h(j,k) += weight dp(j) dp(k).
template <class Derivatives>
void add_product(std::span<double> h, int n, double weight, Derivatives dp) {
  for (int j = 1; j <= n; ++j)
    for (int k = j; k <= n; ++k) h[packed_place(k, j, n)] += weight * dp(j) * dp(k);
}

/// The factors L D L', packed by columns, multiplied out and halved.
void halve_factors(std::span<double> h, int n) {
  const std::vector<double> factors(h.begin(), h.end());
  const auto lower = [&](int i, int k) { return i == k ? 1.0 : factors[packed_place(i, k, n)]; };
  for (int j = 1; j <= n; ++j)
    for (int i = j; i <= n; ++i) {
      double sum = 0.0;
      for (int k = 1; k <= j; ++k) sum += lower(i, k) * factors[packed_place(k, k, n)] * lower(j, k);
      h[packed_place(i, j, n)] = 0.5 * sum;
    }
}

void observed_procedure(Job& job, View<const double> beta, std::span<double> h) {
  const double deltax = job.status.deltax;
  const List<Counted_cell> cells = counted_cells(job);
  // Beyond 1 the step has the sign of x; the quotient is the same.
  const Array2<double> part = cell_derivatives(
      job, beta, cells, [deltax](double x) { return std::abs(x) < 1.0 ? deltax : deltax * x; },
      "from memory allocation of PART.");
  std::fill(h.begin(), h.end(), 0.0);
  for (int c = 1; c <= cells.size(); ++c) {
    const double prob = probability(job, cells(c));
    // The logarithm of a cell of probability 0 stands at its floor, where nothing moves it.
    if (prob == 0.0) continue;
    add_product(h, beta.size(), cells(c).count / (prob * prob), [&](int k) { return part(c, k); });
  }
}

/// A cohort's animals of one group, released or lost: within it the cells' probabilities sum to 1.
struct Cohort {
  int number, group;
  bool lost;
  auto operator<=>(const Cohort&) const = default;
};

/// What is left of a cohort below this is rounding of the sum.
constexpr double smallest_unobserved = 1e-10;

void expected_procedure(Job& job, View<const double> beta, std::span<double> h) {
  const double deltax = job.status.deltax;
  const int n = beta.size();
  const List<Counted_cell> cells = counted_cells(job);
  const Array2<double> part = cell_derivatives(
      job, beta, cells, [deltax](double) { return deltax; }, "from memory allocation of PART.");
  std::fill(h.begin(), h.end(), 0.0);

  const Cohorts numbers(job);
  std::map<Cohort, std::vector<int>> cohorts;
  for (int c = 1; c <= cells.size(); ++c)
    cohorts[{numbers.cohort_of(cells(c).record), cells(c).group, cells(c).lost}].push_back(c);
  // A history on several records is one cell of its cohort, unless the records' own covariates tell them
  // apart.
  const bool by_record = reals_depend_on_record(job.model);
  for (auto& [cohort, members] : cohorts) {
    const double count = cohort.lost ? numbers.lost(cohort.number, cohort.group)
                                     : numbers.observed(cohort.number, cohort.group);
    const auto text = [&](int c) { return job.data.encounters.history(cells(c).record).text(); };
    if (!by_record) {
      std::sort(members.begin(), members.end(), [&](int a, int b) { return text(a) < text(b); });
      members.erase(
          std::unique(members.begin(), members.end(), [&](int a, int b) { return text(a) == text(b); }),
          members.end());
    }
    double sumprob = 0.0;
    List<double> sumpart(n, 0.0);
    for (const int c : members) {
      const double prob = probability(job, cells(c));
      sumprob += prob;
      for (int k = 1; k <= n; ++k) sumpart(k) += part(c, k);
      if (prob != 0.0) add_product(h, n, count / prob, [&](int k) { return part(c, k); });
    }
    const double unobserved = 1.0 - sumprob;
    if (unobserved < smallest_unobserved) continue;  // no history of the cohort is left unobserved
    add_product(h, n, count / unobserved, [&](int k) { return -sumpart(k); });
  }
}

void second_partials_procedure(Job& job, View<const double> beta, std::span<double> h,
                               const Percent_done& told) {
  const int n = beta.size();
  std::vector<Lanes> rows(static_cast<std::size_t>(n));
  for (int i = 1; i <= n; i += Lanes::count) {
    func_derivatives(job, beta.span(), i, rows);
    for (int k = 0; k < Lanes::count && i + k <= n; ++k) {
      for (int j = i + k; j <= n; ++j)
        h[packed_place(j, i + k, n)] = rows[static_cast<std::size_t>(j) - 1][k] / 2.0;
      if (told) told(static_cast<int>(100.0 * (i + k) / n + 0.5));
    }
  }
  // KEPT: the procedure's step is proportional to x + 1 and not guarded, so a beta of exactly -1 has none and
  // gives no number in its whole row and column.
  for (int i = 1; i <= n; ++i) {
    if (beta(i) != -1.0) continue;
    for (int j = 1; j <= n; ++j)
      h[packed_place(std::max(i, j), std::min(i, j), n)] = std::numeric_limits<double>::quiet_NaN();
  }
}

}  // namespace

void varmat(Job& job, std::span<const double> beta, std::span<double> h, const Percent_done& told) {
  const int n = static_cast<int>(beta.size());
  assert(h.size() == beta.size() * (beta.size() + 1) / 2);
  cell_probabilities(job, beta, job.model.cellpr, job.model.cellprlost);
  const Variance procedure = job.model.vartyp;
  if ((procedure == Variance::observed || procedure == Variance::expected) &&
      datatype(job.status.dattyp).closed_form != Closed_form::none)
    warn(job,
         "This variance procedure sums over the records and knows nothing of the number of animals never "
         "caught; standard errors of a full likelihood have no meaning with it.");
  if (procedure == Variance::hessian)
    warn(job,
         "The Hessian procedure takes the matrix that the search has built up, which may be far from the "
         "information "
         "matrix; standard errors from it are rough.");
  switch (procedure) {
    case Variance::hessian:
      halve_factors(h, n);
      break;
    case Variance::observed:
      observed_procedure(job, beta, h);
      break;
    case Variance::expected:
      expected_procedure(job, beta, h);
      break;
    case Variance::second_partials:
      second_partials_procedure(job, beta, h, told);
      break;
  }
  const bool record_needed = reals_depend_on_record(job.model);
  if (!record_needed || job.data.encounters.size() > 0) recompute_reals(job, 1, beta);
}

std::optional<Jacobian_count> jacobian(Job& job, std::span<const double> beta) {
  const Clock_reading begun = read_clocks();
  const int n = static_cast<int>(beta.size());
  if (n == 0) return {};
  const double deltax = job.status.deltax;
  const List<Counted_cell> cells = counted_cells(job);
  const Array2<double> part1 = cell_derivatives(
      job, beta, cells, [deltax](double x) { return 0.5 * deltax * (std::abs(x) + 1.0); },
      "from memory allocation of JACOB and PART1.");
  Array2<double> jacob;
  if (!allocate(job, "from memory allocation of JACOBX.", jacob, n, n)) return {};
  for (int j = 1; j <= n; ++j)
    for (int k = 1; k <= n; ++k)
      jacob(j, k) =
          cells.empty() ? 0.0 : ddot(cells.size(), part1.column(j).data(), 1, part1.column(k).data(), 1);

  Jacobian_count count;
  count.s.assign(n, 0.0);
  List<double> e(n), work(n);
  dsvdc(jacob.data(), n, n, n, count.s.data(), e.data(), nullptr, 1, nullptr, 1, work.data(), 0, count.info);
  count.gap = gap_method(count.s, job.status.ratiothresh);
  count.seconds = read_clocks() - begun;
  return count;
}

Array2<double> expand(std::span<const double> h, int n) {
  Array2<double> full;
  make_work_area(full, n, n);
  for (int j = 1; j <= n; ++j)
    for (int i = j; i <= n; ++i) full(i, j) = full(j, i) = h[packed_place(i, j, n)];
  return full;
}

}  // namespace tarn
