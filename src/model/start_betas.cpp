#include "model/start_betas.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

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

void error_of_start_memory(Job& job) {
  warn_of_allocation(job, "from memory allocation of VCMAT and PARMSV.", Allocation::no_memory);
  error(job, "No memory for the preliminary fit.");
}

Least_squares::Least_squares(Array2<double> matrix) : factors_(std::move(matrix)) {
  const int rows = factors_.extent(1), columns = factors_.extent(2);
  auxiliary_.assign(columns, 0.0);
  pivots_.assign(columns, 0);
  List<double> work(columns);
  if (dqrdc(factors_.data(), rows, rows, columns, auxiliary_.data(), pivots_.data(), work.data(), 1) != 0)
    return;
  while (rank_ < std::min(rows, columns) &&
         std::abs(factors_(rank_ + 1, rank_ + 1)) > rank_tolerance * std::abs(factors_(1, 1)))
    ++rank_;
}

List<double> Least_squares::solution(List<double> y) const {
  List<double> solution(pivots_.size(), 0.0);
  if (rank_ == 0) return solution;
  List<double> betas(rank_);
  int info = 0;
  const int rows = factors_.extent(1);
  dqrsl(factors_.data(), rows, rows, rank_, auxiliary_.data(), y.data(), nullptr, y.data(), betas.data(),
        nullptr, nullptr, 100, info);
  if (info != 0) return solution;
  for (int k = 1; k <= rank_; ++k) solution(pivots_(k)) = betas(k);
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
    error_of_start_memory(job);
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
  List<char> reached(model.nlogit, 0);
  for (const bool varying : {false, true}) stages_.push_back(stage(varying, reached));
}

List<double> Start_design::predictors(std::span<const double> x) const {
  const View<const double> beta(x);
  List<double> sums = offset_;
  for (int r = 1; r <= sums.size(); ++r)
    for (int c = 1; c <= betas_; ++c) sums(r) += cells_(r, c) * beta(c);
  return sums;
}

Start_design::Stage Start_design::stage(bool varying, List<char>& reached) const {
  const Model_arrays& model = job_.model;
  Stage made;
  for (int c = 1; c <= betas_; ++c) {
    const std::size_t k = static_cast<std::size_t>(c) - 1;
    if (in_design_[k] != 0 && (varies_[k] != 0) == varying) made.columns.push_back(c);
  }
  bool one_a_row = true;
  for (int r = 1; r <= model.nlogit; ++r) {
    if (model.fixpar(r) || reached(r)) continue;
    const auto used =
        std::count_if(made.columns.begin(), made.columns.end(), [&](int c) { return cells_(r, c) != 0.0; });
    if (used == 0) continue;
    made.rows.push_back(r);
    one_a_row = one_a_row && used == 1;
  }
  for (const int r : made.rows) reached(r) = 1;
  if (made.rows.empty() || one_a_row) return made;
  Array2<double> matrix;
  if (!matrix.allocate(made.rows.size(), made.columns.size())) error_of_start_memory(job_);
  for (int k = 1; k <= made.rows.size(); ++k)
    for (int c = 1; c <= made.columns.size(); ++c)
      matrix(k, c) = cells_(made.rows(k), made.columns(c)) / size(made.columns(c));
  made.factors.emplace(std::move(matrix));
  return made;
}

std::vector<double> Start_design::solved(const List<double>& wanted, std::vector<double> betas) const {
  for (const Stage& stage : stages_) {
    if (stage.rows.empty()) continue;
    if (!stage.factors) {
      // A column for itself in every row: sums in place of factors.
      List<double> product(betas_, 0.0), square(betas_, 0.0);
      for (const int r : stage.rows)
        for (const int c : stage.columns) {
          product(c) += cells_(r, c) * wanted(r);
          square(c) += cells_(r, c) * cells_(r, c);
        }
      for (const int c : stage.columns)
        if (square(c) > 0.0) betas[static_cast<std::size_t>(c) - 1] = product(c) / square(c);
      continue;
    }
    List<double> y;
    for (const int r : stage.rows) y.push_back(wanted(r));
    const List<double> solution = stage.factors->solution(std::move(y));
    for (int c = 1; c <= stage.columns.size(); ++c)
      betas[static_cast<std::size_t>(stage.columns(c)) - 1] = solution(c) / size(stage.columns(c));
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
