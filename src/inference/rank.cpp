#include "inference/rank.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "job/services/timing.h"
#include "numerics/linear_algebra.h"

namespace tarn {
namespace {

constexpr double gradient_good = 1.0, gradient_bad = 50.0;
/// Below this largest gradient (2^-23) the singular values alone decide.
constexpr double gradient_exact = 1.1920928955078125e-07;

/// "Number of Estimated Parameters {name} = 4" and its likes, closed by ten blanks.
void write_count(Job& job, const std::string& label, int count) {
  linchk(job, 1);
  put(job, listing, "(1x,a,a,a,i0,a)", label, job.model.modnam, " = ", count, "          ");
  put(job, screen, "(3x,a,a,a,i0,a)", label, job.model.modnam, " = ", count, "          ");
}

void write_gap(Job& job, std::span<const double> s, const Gap& gap) {
  const Status_module& status = job.status;
  if (gap.max_at > 0) {
    linchk(job, 1);
    put(job, listing, "(1x,a,1pg0.4,2(a,1x,\"(\",i0,\"/\",i0,\")\",\" = \",1pg0.4))",
        "Ratio Threshold = ", status.ratiothresh, " Max Gap", gap.max_at, gap.max_at + 1, gap.max,
        " Next Max Gap", gap.next_at, gap.next_at + 1, gap.next);
  }
  if (status.debug != 0) {
    put(job, listing, "(1x,a,a,a)", "Ratios of S Vector ", job.model.modnam, ":");
    std::vector<Item> items;
    for (std::size_t i = 0; i + 1 < s.size(); ++i) {
      items.push_back(item(i + 1));
      items.push_back(item(i + 2));
      items.push_back(item(s[i] / s[i + 1]));
    }
    put_runtime(job, listing, "(5(3x,i0,'/',i0,2x,g14.7))", std::span<const Item>(items));
  }
  write_count(job, "Gap Method for Num. of Estimated Parameters ", gap.count);
}

/// Betas in the order of the pivots, given by their numbers.
std::vector<int> beta_numbers(const Model_arrays& model, std::span<const int> positions) {
  std::vector<int> beta_at(static_cast<std::size_t>(model.ncovs_nlbetas) + 1, 0);
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) beta_at[static_cast<std::size_t>(model.bindex(i))] = i;
  std::vector<int> numbers;
  for (const int position : positions) numbers.push_back(beta_at[static_cast<std::size_t>(position)]);
  return numbers;
}

/// Order of the columns from most to least estimable, by QR with pivoting.
std::vector<int> order_by_estimability(std::span<const double> information, int n) {
  const std::size_t size = static_cast<std::size_t>(n);
  std::vector<double> x(information.begin(), information.end()), qraux(size), work(size);
  std::vector<int> jpvt(size, 0);
  dqrdc(x.data(), n, n, n, qraux.data(), jpvt.data(), work.data(), 1);
  return jpvt;
}

void write_order(Job& job, const Rank& rank, int n) {
  const std::vector<int> betas = beta_numbers(job.model, rank.jpvt);
  const int widest = *std::max_element(betas.begin(), betas.end());
  // KEPT: fields as wide as the largest number, so that numbers of that length stand side by side without a
  // blank. Looks wrong, is required.
  const std::string width = adjustfmt(static_cast<long long>(adjustfmt(widest).size()));
  linchk(job, 2 + (n + 24) / 25);
  put_runtime(job, listing, "(/1x,a,100(/1x,25i" + width + "))",
              "Attempted ordering of parameters by estimatibility:", betas);
  for (int k = rank.npargmaxest; k < n; ++k) {
    linchk(job, 1);
    put(job, listing, "(1x,a,i0,a)", "Beta number ", betas[static_cast<std::size_t>(k)],
        " is a singular value.");
    put(job, screen, "(3x,a,i0,a)", "Beta number ", betas[static_cast<std::size_t>(k)],
        " is a singular value.");
  }
}

}  // namespace

Gap gap_method(std::span<const double> s, double ratiothresh) {
  Gap gap;
  const int n = static_cast<int>(s.size());
  gap.count = n;
  if (n <= 2) return gap;
  for (int i = 1; i < n; ++i) {
    // Two neighbours that are both 0 are no gap.
    const double above = s[static_cast<std::size_t>(i) - 1], below = s[static_cast<std::size_t>(i)];
    const double ratio = above == 0.0 ? 1.0 : above / below;
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

double check_gradient(Job& job, std::span<const double> g, std::span<const double> x) {
  const Model_arrays& model = job.model;
  const int rows = static_cast<int>((g.size() + 4) / 5);
  linchk(job, 2 + rows);
  const Target gradient_target = job.status.debug != 0 ? listing | screen : listing;
  put(job, gradient_target, "(1x,a,a,a)", "Gradient ", model.modnam, ":");
  put(job, gradient_target, "(5(1x,1pg12.5))", g);
  double largest = 0.0;
  bool finite = true;
  for (const double element : g) {
    finite = finite && std::isfinite(element);
    largest = std::max(largest, std::fabs(element));
  }
  if (!finite) largest = std::numeric_limits<double>::infinity();
  put(job, listing | screen, "(1x,a,a,a,1pg12.5)", "Maximum ABS(G) ", model.modnam, " = ", largest);
  if (largest > gradient_bad) {
    linchk(job, 3 + static_cast<int>(x.size()) + model.nlogit);
    put(job, listing, "(1x,a,1pg12.5)",
        "ERROR -- Numerical convergence never reached, with maximum G = ", largest);
    put(job, listing, "(1x,a)", "Last Beta Parameter Values:");
    for (int i = 1; i <= model.ncovs_nlbetas; ++i) {
      const int position = model.bindex(i);
      const double beta = position > 0 ? x[static_cast<std::size_t>(position) - 1] : model.beta(i);
      put(job, listing, "(1x,a,g15.7)", model.blabel(i), beta);
    }
    put(job, listing, "(1x,a)", "Last Real Parameter Values:");
    for (int i = 1; i <= model.nlogit; ++i) put(job, listing, "(1x,a,g15.7)", model.rlabel(i), model.parm(i));
    error(job, "Numerical convergence never reached.");
  }
  if (largest > gradient_good) warn(job, "Numerical convergence suspect.");
  return largest;
}

Rank estimated_parameters(Job& job, std::span<const double> information, int n, double largest_gradient) {
  Rank rank;
  const std::size_t size = static_cast<std::size_t>(n);
  const Model_arrays& model = job.model;
  rank.npargmaxest = rank.gap_count = n;
  if (n == 0) return rank;

  start_timing(job);
  std::vector<double> x(information.begin(), information.end()), e(size), work(size);
  rank.s.assign(size, 0.0);
  int info = 0;
  dsvdc(x.data(), n, n, n, rank.s.data(), e.data(), nullptr, 1, nullptr, 1, work.data(), 0, info);
  if (info != 0) warnum(job, "returned from DSVDC.", info);
  if (job.status.detail != 0) {
    linchk(job, 1 + (n + 4) / 5);
    put(job, listing, "(1x,a,a,a)", "S Vector ", model.modnam, ":");
    put(job, listing, "(1x,5g14.7)", rank.s);
  }
  put_step_time(job, "To invert VC matrix, CPU Time was ");

  if (model.numpar > 0) {
    rank.npargmaxest = rank.gap_count = model.numpar;
    return rank;
  }
  if (info == 0) {
    const Gap gap = gap_method(rank.s, job.status.ratiothresh);
    rank.gap_count = gap.count;
    write_gap(job, rank.s, gap);
  }
  rank.npargmaxest = rank.gap_count;
  if (info == 0 && largest_gradient >= gradient_exact) {
    const double threshold = 2.0 * largest_gradient;
    linchk(job, 1);
    put(job, listing, "(1x,a,a,a,1pg14.7)", "Threshold ", model.modnam, " = ", threshold);
    rank.npargmaxest = static_cast<int>(
        std::count_if(rank.s.begin(), rank.s.end(), [&](double value) { return value > threshold; }));
    write_count(job, "Numerical Threshold Method for Num. of Estimated Parameters ", rank.npargmaxest);
  }
  write_count(job, "Number of Estimated Parameters ", rank.npargmaxest);
  if (rank.npargmaxest != rank.gap_count)
    warn(job, "Number of parameters estimated from gap method (=" + adjustfmt(rank.gap_count) +
                  ") and threshold method (=" + adjustfmt(rank.npargmaxest) +
                  ") differ.  Inspect full output.");
  if (rank.npargmaxest < n) {
    rank.jpvt = order_by_estimability(information, n);
    write_order(job, rank, n);
  }
  return rank;
}

int confounded_beta(const Model_arrays& model, std::span<const double> information, int n, int pivot) {
  const std::size_t size = static_cast<std::size_t>(n);
  std::vector<double> x(information.begin(), information.end()), s(size), e(size), work(size), v(size * size);
  int info = 0;
  dsvdc(x.data(), n, n, n, s.data(), e.data(), nullptr, 1, v.data(), n, work.data(), 1, info);
  if (info != 0) return 0;
  const double* flat = v.data() + (size - 1) * size;
  int position = 0;
  for (int j = 1; j <= n; ++j)
    if (j != pivot && (position == 0 || std::fabs(flat[j - 1]) > std::fabs(flat[position - 1]))) position = j;
  if (position == 0) return 0;
  return beta_numbers(model, std::vector<int>{position}).front();
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
