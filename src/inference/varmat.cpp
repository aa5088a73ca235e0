#include "inference/varmat.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <tuple>

#include "data/catalogue/datatype.h"
#include "inference/rank.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "job/services/timing.h"
#include "likelihood/func.h"
#include "model/structure/links.h"
#include "numerics/linear_algebra.h"

namespace tarn {
namespace {

enum Procedure { hessian = 1, observed_information, expected_information, second_partials };

std::size_t at(int i) { return static_cast<std::size_t>(i - 1); }

/// One cell of the data: a record in a group, released or lost, with a count.
struct Counted_cell {
  int record = 0, group = 0;
  bool lost = false;
  double count = 0.0, prob = 0.0;
};

std::vector<Counted_cell> counted_cells(const Job& job) {
  std::vector<Counted_cell> cells;
  const Encounter_store& encounters = job.data.encounters;
  for (int i = 1; i <= encounters.size(); ++i) {
    const std::span<const float> observed = encounters.observed(i), lost = encounters.lost_on_capture(i);
    for (int j = 1; j <= job.status.ngrps; ++j) {
      if (observed[at(j)] > 0.0F) cells.push_back({i, j, false, observed[at(j)], job.model.cellpr(i, j)});
      if (lost[at(j)] > 0.0F) cells.push_back({i, j, true, lost[at(j)], job.model.cellprlost(i, j)});
    }
  }
  return cells;
}

/// Derivatives of the cells' probabilities by each beta, (cell, beta), by central differences with step
/// `step(x)`.
template <class Step>
Array2<double> cell_derivatives(Job& job, std::span<const double> beta,
                                const std::vector<Counted_cell>& cells, Step step, const char* failure) {
  Array2<double> part, up, up_lost, down, down_lost;
  const int n = static_cast<int>(beta.size());
  if (!allocate(job, failure, part, static_cast<int>(cells.size()), n)) error_of_absent_array(job, "PART");
  std::vector<double> x(beta.begin(), beta.end());
  for (int k = 1; k <= n; ++k) {
    const double d = step(beta[at(k)]);
    x[at(k)] = beta[at(k)] + d;
    cell_probabilities(job, x, up, up_lost);
    x[at(k)] = beta[at(k)] - d;
    cell_probabilities(job, x, down, down_lost);
    x[at(k)] = beta[at(k)];
    for (int c = 1; c <= static_cast<int>(cells.size()); ++c) {
      const Counted_cell& cell = cells[at(c)];
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

void observed_procedure(Job& job, std::span<const double> beta, std::span<double> h) {
  const double deltax = job.status.deltax;
  const std::vector<Counted_cell> cells = counted_cells(job);
  // Beyond 1 the step has the sign of x; the quotient is the same.
  const Array2<double> part = cell_derivatives(
      job, beta, cells, [deltax](double x) { return std::abs(x) < 1.0 ? deltax : deltax * x; },
      "from memory allocation of PART.");
  std::fill(h.begin(), h.end(), 0.0);
  for (int c = 1; c <= static_cast<int>(cells.size()); ++c) {
    const Counted_cell& cell = cells[at(c)];
    // The logarithm of a cell of probability 0 stands at its floor, where nothing moves it.
    if (cell.prob == 0.0) continue;
    add_product(h, static_cast<int>(beta.size()), cell.count / (cell.prob * cell.prob),
                [&](int k) { return part(c, k); });
  }
}

/// Where the animals of a cell were released: occasion, group, stratum, and whether they are the lost ones.
using Cohort = std::tuple<int, int, int, bool>;

Cohort cohort_of(const Job& job, const Counted_cell& cell) {
  const History history = job.data.encounters.history(cell.record);
  const int first = first1(history);
  const Datatype& row = datatype(job.status.dattyp);
  // The animals of a closed population were all there from the start, and `u` counts them at occasion 1.
  const bool whole_group = row.closed != Closed::none && !row.sessions;
  if (first == 0 || !row.released || whole_group) return {1, cell.group, 1, cell.lost};
  const std::size_t place = job.data.strata.find(history.live(first));
  return {first, cell.group, place == std::string::npos ? 1 : static_cast<int>(place) + 1, cell.lost};
}

/// Animals released in a cohort, 0 when the table has no such cell.
double released(const Job& job, const Cohort& cohort) {
  const auto [occasion, group, stratum, lost] = cohort;
  const Array3<float>& table = lost ? job.data.ul : job.data.u;
  if (occasion > table.extent(1) || group > table.extent(2) || stratum > table.extent(3)) return 0.0;
  return table(occasion, group, stratum);
}

void expected_procedure(Job& job, std::span<const double> beta, std::span<double> h) {
  const double deltax = job.status.deltax;
  const int n = static_cast<int>(beta.size());
  const std::vector<Counted_cell> cells = counted_cells(job);
  const Array2<double> part = cell_derivatives(
      job, beta, cells, [deltax](double) { return deltax; }, "from memory allocation of PART.");
  std::fill(h.begin(), h.end(), 0.0);

  std::map<Cohort, std::vector<int>> cohorts;
  for (int c = 1; c <= static_cast<int>(cells.size()); ++c)
    cohorts[cohort_of(job, cells[at(c)])].push_back(c);
  // A history on several records is one cell of its cohort, unless the records' own covariates tell them
  // apart.
  const bool by_record = reals_depend_on_record(job.model);
  for (auto& [cohort, members] : cohorts) {
    const double count = released(job, cohort);
    const auto text = [&](int c) { return job.data.encounters.history(cells[at(c)].record).text(); };
    if (!by_record) {
      std::sort(members.begin(), members.end(), [&](int a, int b) { return text(a) < text(b); });
      members.erase(
          std::unique(members.begin(), members.end(), [&](int a, int b) { return text(a) == text(b); }),
          members.end());
    }
    double sumprob = 0.0;
    std::vector<double> sumpart(beta.size(), 0.0);
    for (const int c : members) {
      const double prob = cells[at(c)].prob;
      sumprob += prob;
      for (int k = 1; k <= n; ++k) sumpart[at(k)] += part(c, k);
      if (prob != 0.0) add_product(h, n, count / prob, [&](int k) { return part(c, k); });
    }
    const double unobserved = 1.0 - sumprob;
    if (vanishes(unobserved)) continue;  // no history of the cohort is left unobserved
    add_product(h, n, count / unobserved, [&](int k) { return -sumpart[at(k)]; });
  }
}

void second_partials_procedure(Job& job, std::span<const double> beta, std::span<double> h) {
  constexpr int lanes = Derivative::lanes;
  const int n = static_cast<int>(beta.size());
  std::array<double, lanes> mixed{};
  for (int i = 1; i <= n; ++i) {
    for (int j = i; j <= n; j += lanes) {
      func_derivatives(job, beta, i, j, mixed);
      for (int k = 0; k < lanes && j + k <= n; ++k)
        h[packed_place(j + k, i, n)] = mixed[static_cast<std::size_t>(k)] / 2.0;
    }
    outtext(job, " VC Matrix: " + job.model.modnam + " " + adjustfmt(static_cast<int>(100.0 * i / n + 0.5)) +
                     "% done.");
  }
  // KEPT: the procedure's step is proportional to x + 1 and not guarded, so a beta of exactly -1 has none and
  // gives no number in its whole row and column.
  for (int i = 1; i <= n; ++i) {
    if (beta[at(i)] != -1.0) continue;
    for (int j = 1; j <= n; ++j)
      h[packed_place(std::max(i, j), std::min(i, j), n)] = std::numeric_limits<double>::quiet_NaN();
  }
}

/// Counts the parameters from the singular values of J'J, J the derivatives of all cell probabilities.
void jacobian(Job& job, std::span<const double> beta) {
  const Clock_reading begun = read_clocks();
  const int n = static_cast<int>(beta.size());
  if (n == 0) return;
  const double deltax = job.status.deltax;
  const std::vector<Counted_cell> cells = counted_cells(job);
  const Array2<double> part1 = cell_derivatives(
      job, beta, cells, [deltax](double x) { return 0.5 * deltax * (std::abs(x) + 1.0); },
      "from memory allocation of JACOB and PART1.");
  const int rows = static_cast<int>(cells.size());
  Array2<double> jacob;
  if (!allocate(job, "from memory allocation of JACOBX.", jacob, n, n)) return;
  for (int j = 1; j <= n; ++j)
    for (int k = 1; k <= n; ++k)
      jacob(j, k) = rows == 0 ? 0.0 : ddot(rows, part1.column(j).data(), 1, part1.column(k).data(), 1);

  std::vector<double> s(beta.size()), e(beta.size()), work(beta.size());
  int info = 0;
  dsvdc(jacob.data(), n, n, n, s.data(), e.data(), nullptr, 1, nullptr, 1, work.data(), 0, info);
  if (info != 0) warnum(job, "returned from DSVDC in JACOBIAN.", info);
  linchk(job, 1 + (n + 4) / 5);
  put(job, listing, "(1x,a,a,a)", "Jacobian S Vector ", job.model.modnam, ":");
  put(job, listing, "(1x,5g14.7)", s);
  const Seconds spent = read_clocks() - begun;
  std::string cpu_unit, system_unit;
  const std::string cpu = duration_text(spent.cpu, cpu_unit),
                    system = duration_text(spent.system, system_unit);
  linchk(job, 1);
  put(job, listing, "(1x,9a)", "Jacobian Time to compute number of parameters was ", cpu, " ", cpu_unit,
      " and System Time was ", system, " ", system_unit, ".");
  const Gap gap = gap_method(s, job.status.ratiothresh);
  if (gap.max_at > 0) {
    linchk(job, 1);
    put(job, listing, "(1x,a,g14.7,2(a,1x,'(',i0,'/',i0,') = ',g14.7))",
        "Ratio Threshold = ", job.status.ratiothresh, "  Max Gap", gap.max_at, gap.max_at + 1, gap.max,
        "  Next Max Gap", gap.next_at, gap.next_at + 1, gap.next);
  }
  linchk(job, 1);
  put(job, listing, "(1x,a,a,a,i0)", "Jacobian number of estimated Parameters ", job.model.modnam, " = ",
      gap.count);
}

}  // namespace

void varmat(Job& job, std::span<const double> beta, std::span<double> h) {
  const int n = static_cast<int>(beta.size());
  assert(h.size() == beta.size() * (beta.size() + 1) / 2);
  cell_probabilities(job, beta, job.model.cellpr, job.model.cellprlost);
  if (job.status.debug != 0) jacobian(job, beta);
  const int vartyp = job.model.vartyp;
  if ((vartyp == observed_information || vartyp == expected_information) &&
      datatype(job.status.dattyp).closed_form != Closed_form::none)
    warn(job,
         "This variance procedure sums over the records and knows nothing of the number of animals never "
         "caught; standard errors of a full likelihood have no meaning with it.");
  switch (job.model.vartyp) {
    case hessian:
      halve_factors(h, n);
      break;
    case observed_information:
      observed_procedure(job, beta, h);
      break;
    case expected_information:
      expected_procedure(job, beta, h);
      break;
    default:
      second_partials_procedure(job, beta, h);
  }
  const bool record_needed = reals_depend_on_record(job.model);
  if (!record_needed || job.data.encounters.size() > 0) recompute_reals(job, 1, beta);
}

std::vector<double> expand(std::span<const double> h, int n) {
  std::vector<double> full(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
  for (int j = 1; j <= n; ++j)
    for (int i = j; i <= n; ++i) {
      const double element = h[packed_place(i, j, n)];
      full[at(j) * static_cast<std::size_t>(n) + at(i)] = element;
      full[at(i) * static_cast<std::size_t>(n) + at(j)] = element;
    }
  return full;
}

}  // namespace tarn
