#include "model/starting.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "data/catalogue/datatype.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "model/levels.h"
#include "model/start_betas.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"
#include "numerics/special.h"

namespace tarn {

namespace {

constexpr double common_start = -0.1, resight_start = 0.1, log_cap = -0.01;

/// Animals of group g that were caught alive on one of the occasions first to last.
double animals_caught(const Job& job, int g, int first, int last) {
  double animals = 0.0;
  for (int i = 1; i <= job.data.encounters.size(); ++i) {
    const History history = job.data.encounters.history(i);
    bool caught = false;
    for (int o = first; o <= last && !caught; ++o) caught = captured(history.live(o));
    if (caught) animals += job.data.encounters.observed(i, g);
  }
  return animals;
}

/// Links whose betas start where `initpar` puts them, as -0.1 is far from the ends of their range.
bool starts_without_fit(Link link) {
  return link == Link::logit || link == Link::loglog || link == Link::cloglog || link == Link::sin;
}

double log_of_count(double count) { return floored_log(std::max(count, 1.0)); }

/// Start of the first real parameter of a matrix; `known` is false when the data tell nothing.
double data_start(const Job& job, const std::string& name, int g, int session, bool resight, bool& known) {
  known = true;
  const List<int>& minlen = job.model.minlen;
  if (resight) {
    known = names_hold(datatype(job.status.dattyp).identity_link, name);
    return 0.0;
  }
  if (name == "f0" || name == "N") {
    int first = 1, last = job.status.noccas;
    if (!minlen.empty() && session <= minlen.size()) {
      for (int s = 1; s < session; ++s) first += minlen(s);
      last = first + minlen(session) - 1;
    }
    return log_of_count(0.5 * animals_caught(job, g, first, last));
  }
  // A rate of 1, and a half, which is a common size of recruitment and of standard deviations.
  if (name == "Lambda") return 0.0;
  if (name == "f" || name.starts_with("sigma")) return std::log(0.5);
  known = false;
  return 0.0;
}

/// With an identity design real parameter i is beta i.
void place_data_starts(Job& job) {
  Model_arrays& model = job.model;
  const Datatype& type = datatype(job.status.dattyp);
  const bool resight = type.resight != Resight::none;
  if (resight)
    for (int i = 1; i <= model.ncovs; ++i) model.betast(i) = resight_start;
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const std::string& name = job.data.parameterlist(q);
    if (!names_hold(type.log_link, name) && !names_hold(type.identity_link, name)) continue;
    for_each_matrix_of(job, q, [&](const Pim_place& place, const Pim& pim) {
      const int beta = pim.at(1, 1);
      if (beta < 1 || beta > model.ncovs || model.bindex(beta) == 0) return;
      bool known = false;
      const double start = data_start(job, name, place.g, place.b, resight, known);
      if (known) model.betast(beta) = start;
    });
  }
}

/// Mixtures whose rates start equal would stay so, on the saddle between their maxima: they are brought
/// apart.
void part_mixtures(Job& job) {
  Model_arrays& model = job.model;
  if (mixtures_of(job) < 2) return;
  std::vector<double> x;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) x.push_back(model.betast(i));
  if (x.empty()) return;
  const std::vector<double> parted = with_mixtures_apart(job, Start_design(job, x), x);
  std::size_t k = 0;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) model.betast(i) = parted[k++];
}

/// Betas under the model's own links that come nearest to the reals in `work`.
/// @param overridden  per real parameter: its link is the data type's, whatever the model's
void solve_for_start(Job& job, const Real_work<double>& work, const List<char>& overridden) {
  Model_arrays& model = job.model;
  List<int> rows, columns;
  for (int i = 1; i <= model.nlogit; ++i)
    if (!model.fixpar(i)) rows.push_back(i);
  for (int c = 1; c <= model.ncovs; ++c)
    if (model.bindex(c) > 0) columns.push_back(c);
  if (rows.empty() || columns.empty()) return;

  Array2<double> design, matrix;
  if (!design.allocate(model.nlogit, model.ncovs) || !matrix.allocate(rows.size(), columns.size())) {
    error_of_start_memory(job);
  }
  evaluated_design(job, work.design, design);
  List<double> y;
  for (int r = 1; r <= rows.size(); ++r) {
    const double parm = work.parm(rows(r));
    y.push_back(model.lindex(rows(r)) == Link::log ? floored_log(parm) : parm);
    for (int c = 1; c <= columns.size(); ++c)
      matrix(r, c) = design(rows(r), columns(c)) * model.scalefactor(columns(c));
  }
  const List<double> solution = Least_squares(std::move(matrix)).solution(std::move(y));
  for (int c = 1; c <= columns.size(); ++c) {
    double start = solution(c);
    const bool for_overridden_rows_only = std::all_of(rows.begin(), rows.end(), [&](int row) {
      return design(row, columns(c)) == 0.0 || overridden(row) != 0;
    });
    if (model.nlink == Link::log && !for_overridden_rows_only) start = start < log_cap ? start : log_cap;
    model.betast(columns(c)) = start;
  }
}

/// Fits the same model with the SIN link and translates its reals.
void preliminary_fit(Job& job, const Fit& fit) {
  Model_arrays& model = job.model;
  initpar(job);
  const Link wanted = model.nlink;
  model.nlink = Link::sin;
  setlink(job);
  part_mixtures(job);
  List<char> overridden;
  for (const Link link : model.lindex) overridden.push_back(link != Link::sin);

  std::vector<double> x;
  for (int i = 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) x.push_back(model.betast(i));
  fit(x);
  Real_work<double> work;
  prepare(job, work);
  std::vector<double> zeros;
  tranlg<double>(job, 1, x, work, 1, 0, mean_values(job, zeros));
  if (!work.fault.empty()) error(job, work.fault);

  // The design that is solved holds the extra betas as they were fitted.
  const View<double> solution(x);
  for (int i = model.ncovs + 1; i <= model.ncovs_nlbetas; ++i)
    if (model.bindex(i) > 0) model.betast(i) = solution(model.bindex(i));

  model.nlink = wanted;
  setlink(job);
  solve_for_start(job, work, overridden);
}

}  // namespace

void initpar(Job& job) {
  Model_arrays& model = job.model;
  for (int i = 1; i <= model.ncovs; ++i) model.betast(i) = common_start;
  if (model.identity && datatype(job.status.dattyp).data_starts) place_data_starts(job);
}

void choose_start(Job& job, const Fit& fit) {
  Model_arrays& model = job.model;
  if (model.initial_given) {
    // KEPT: the values belong to the scaled columns, not to the design as typed.
    for (int i = 1; i <= model.ncovs_nlbetas; ++i)
      if (model.bindex(i) > 0) model.betast(i) = model.intvals(i);
  } else if (starts_without_fit(model.nlink) || datatype(job.status.dattyp).starts_without_fit) {
    initpar(job);
    part_mixtures(job);
  } else if (model.nlink == Link::log || model.nlink == Link::identity) {
    preliminary_fit(job, fit);
  } else {
    model.betast.fill(0.0);
    part_mixtures(job);
  }
}

}  // namespace tarn
