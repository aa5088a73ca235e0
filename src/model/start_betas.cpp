#include "model/start_betas.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "model/structure/design.h"
#include "model/structure/links.h"
#include "numerics/linear_algebra.h"
#include "numerics/special.h"

namespace tarn {
namespace {

/// Diagonal elements of R below this share of the first do not carry a beta.
constexpr double rank_tolerance = 1e-10;
/// A rate that is turned into a predictor keeps so far from the ends of its range.
constexpr double margin = 1e-6;

}  // namespace

const double* mean_values(const Job& job, std::vector<double>& zeros) {
  if (job.model.licovs == 0) return nullptr;
  if (job.status.stdic == 0) return job.data.icvrmn.data();
  zeros.assign(static_cast<std::size_t>(job.status.nicovs), 0.0);
  return zeros.data();
}

List<double> least_squares(Array2<double>& matrix, List<double>& y) {
  const int rows = matrix.extent(1), columns = matrix.extent(2);
  List<double> auxiliary(columns), work(columns), solution(columns);
  List<int> pivots(columns);
  if (dqrdc(matrix.data(), rows, rows, columns, auxiliary.data(), pivots.data(), work.data(), 1) != 0)
    return solution;
  int rank = 0;
  while (rank < std::min(rows, columns) &&
         std::abs(matrix(rank + 1, rank + 1)) > rank_tolerance * std::abs(matrix(1, 1)))
    ++rank;
  if (rank == 0) return solution;
  List<double> betas(rank);
  int info = 0;
  dqrsl(matrix.data(), rows, rows, rank, auxiliary.data(), y.data(), nullptr, y.data(), betas.data(), nullptr,
        nullptr, 100, info);
  if (info != 0) return solution;
  for (int k = 1; k <= rank; ++k) solution(pivots(k)) = betas(k);
  return solution;
}

double predictor_of(Link link, double real) {
  const double rate = std::clamp(real, margin, 1.0 - margin);
  switch (link) {
    case Link::log:
    case Link::sumratio:
      return std::log(std::max(real, margin));
    case Link::identity:
      return real;
    case Link::absolute:
      return std::max(real, margin);
    case Link::loglog:
      return -std::log(-std::log(rate));
    case Link::cloglog:
      return std::log(-std::log1p(-rate));
    case Link::sin:
      return std::asin(2.0 * rate - 1.0);
    case Link::cauchy:
      return std::tan(std::numbers::pi * (rate - 0.5));
    default:
      return std::log(rate) - std::log1p(-rate);
  }
}

Start_design::Start_design(Job& job, std::span<const double> x)
    : job_(job), betas_(static_cast<int>(x.size())), at_(x.begin(), x.end()) {
  const Model_arrays& model = job.model;
  Real_work<double> work;
  prepare(job, work);
  std::vector<double> zeros;
  tranlg<double>(job, 1, x, work, 1, 0, mean_values(job, zeros));
  if (!work.fault.empty()) error(job, work.fault);
  reals_.assign(model.nlogit, 0.0);
  for (int r = 1; r <= model.nlogit; ++r) reals_(r) = work.parm(r);

  Array2<double> design;
  if (!design.allocate(model.nlogit, model.ncovs) || !cells_.allocate(model.nlogit, betas_)) {
    warn_of_allocation(job, "from memory allocation of VCMAT and PARMSV.", Allocation::no_memory);
    error(job, "No memory for the starting values.");
  }
  evaluated_design(job, work.design, design);
  const List<double> largest = column_sizes(job);
  offset_.assign(model.nlogit, 0.0);
  const std::size_t n = x.size();
  sizes_.assign(n, 1.0);
  varies_.assign(n, 0);
  in_design_.assign(n, 0);
  for (int c = 1; c <= model.ncovs; ++c) {
    const double scale = model.scalefactor(c);
    const int position = model.bindex(c);
    if (position > 0 && largest(c) > 0.0) sizes_[static_cast<std::size_t>(position) - 1] = largest(c) * scale;
    if (position > 0) in_design_[static_cast<std::size_t>(position) - 1] = 1;
    for (int r = 1; r <= model.nlogit; ++r) {
      if (position > 0)
        cells_(r, position) = design(r, c) * scale;
      else
        offset_(r) += design(r, c) * scale * model.beta(c);
    }
  }
  for (const Varying_cell& cell : model.varying_cells)
    if (const int position = model.bindex(cell.col); position > 0)
      varies_[static_cast<std::size_t>(position) - 1] = 1;
}

List<double> Start_design::predictors(std::span<const double> x) const {
  const View<const double> beta(x);
  List<double> sums = offset_;
  for (int r = 1; r <= sums.size(); ++r)
    for (int c = 1; c <= betas_; ++c) sums(r) += cells_(r, c) * beta(c);
  return sums;
}

std::vector<double> Start_design::solved(const List<double>& wanted, std::vector<double> betas) const {
  const Model_arrays& model = job_.model;
  const auto column_used = [&](int c, bool varying) {
    const std::size_t k = static_cast<std::size_t>(c) - 1;
    return in_design_[k] != 0 && (varies_[k] != 0) == varying;
  };
  // Plain columns first; covariates for the rows that have nothing else.
  List<char> reached(model.nlogit, 0);
  for (const bool varying : {false, true}) {
    List<int> rows, columns;
    for (int c = 1; c <= betas_; ++c)
      if (column_used(c, varying)) columns.push_back(c);
    List<char> reached_before = reached;
    for (int r = 1; r <= model.nlogit; ++r) {
      if (model.fixpar(r) || reached_before(r)) continue;
      if (!std::any_of(columns.begin(), columns.end(), [&](int c) { return cells_(r, c) != 0.0; })) continue;
      rows.push_back(r);
      reached(r) = 1;
    }
    if (rows.empty() || columns.empty()) continue;
    Array2<double> matrix;
    if (!matrix.allocate(rows.size(), columns.size())) return betas;
    List<double> y;
    for (int k = 1; k <= rows.size(); ++k) {
      y.push_back(wanted(rows(k)));
      for (int c = 1; c <= columns.size(); ++c)
        matrix(k, c) = cells_(rows(k), columns(c)) / sizes_[static_cast<std::size_t>(columns(c)) - 1];
    }
    const List<double> solution = least_squares(matrix, y);
    for (int c = 1; c <= columns.size(); ++c) {
      const std::size_t k = static_cast<std::size_t>(columns(c)) - 1;
      betas[k] = solution(c) / sizes_[k];
    }
  }
  return betas;
}

std::vector<double> Start_design::betas(const List<double>& predictors) const {
  List<double> wanted = predictors;
  for (int r = 1; r <= wanted.size(); ++r) wanted(r) -= offset_(r);
  std::vector<double> otherwise(at_.size(), 0.0);
  for (std::size_t k = 0; k < at_.size(); ++k)
    if (in_design_[k] == 0) otherwise[k] = at_[k];
  return solved(wanted, std::move(otherwise));
}

std::vector<double> Start_design::moved(std::span<const double> x, const List<double>& change) const {
  const std::vector<double> by = solved(change, std::vector<double>(at_.size(), 0.0));
  std::vector<double> betas(x.begin(), x.end());
  for (std::size_t k = 0; k < betas.size(); ++k) betas[k] += by[k];
  return betas;
}

}  // namespace tarn
