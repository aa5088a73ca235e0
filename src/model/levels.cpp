#include "model/levels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "data/catalogue/datatype.h"
#include "model/structure/pim.h"
#include "numerics/special.h"
#include "numerics/uniform_source.h"

namespace tarn {
namespace {

constexpr std::array rate_levels{0.02, 0.1, 0.25, 0.5, 0.75, 0.9, 0.98};
constexpr std::array count_levels{0.02, 0.1, 0.3, 1.0, 3.0, 10.0};
constexpr std::array deviation_levels{0.1, 0.4, 0.8, 1.5, 3.0};
constexpr std::array positive_levels{0.05, 0.2, 0.5, 0.8, 1.0, 1.25, 2.0};

constexpr int most_rounds = 3;
/// Rates this close to 0 or 1, and other numbers this close to 0, are at an end.
constexpr double end_of_range = 0.02;
/// A count of so many times the animals caught has run away.
constexpr double runaway = 1e4;
/// Rates that differ by no more are the same.
constexpr double same_rate = 1e-4;
/// Half the distance of the outermost mixtures on the logit scale. From 0 and from -0.1 it comes to no beta
/// of -1, of which the variance procedure makes no number.
constexpr double apart = 0.95;

bool lives_through_intervals(const std::string& name) { return name == "S" || name == "Phi" || name == "F"; }
/// Chances of one unit of time that hold through an interval of t of them with their power t.
bool holds_through_intervals(const Datatype& type, const std::string& name) {
  if (lives_through_intervals(name) || name == "Gamma'" || name == "a''") return true;
  const bool seniority =
      type.cell == Cell::pradel || type.cell == Cell::pradsen || type.cell == Cell::robust_pradel;
  return seniority && name == "Gamma";
}
/// Chances of one unit of time of which the rest holds through an interval.
bool comes_in_intervals(const Datatype& type, const std::string& name) {
  const bool resightings = type.cell == Cell::chprob008 || type.cell == Cell::robust_barker;
  if (resightings && (name == "R" || name == "R'")) return true;
  return name == "Gamma''" || name == "a'" || (type.cell == Cell::chprob008 && name == "F'");
}
bool by_mixture(const Job& job, const std::string& name) {
  return mixtures_of(job) > 1 && (name == "p" || name == "c" || name == "pi");
}

double mean_interval(const Job& job) {
  double sum = 0.0;
  int count = 0;
  for (int c = 1; c <= static_cast<int>(job.data.timint.extent()); ++c)
    if (job.data.timint(c) > 0.0F) {
      sum += static_cast<double>(job.data.timint(c));
      ++count;
    }
  return count > 0 ? sum / count : 1.0;
}

double animals(const Job& job) {
  double sum = 0.0;
  for (int i = 1; i <= job.data.encounters.size(); ++i)
    for (int g = 1; g <= job.status.ngrps; ++g) sum += job.data.encounters.observed(i, g);
  return std::max(sum / std::max(job.status.ngrps, 1), 1.0);
}

Level_class new_class(const Job& job, const std::string& name, int mixture) {
  Level_class made;
  made.parameter = name;
  made.mixture = mixture;
  const Datatype& type = datatype(job.status.dattyp);
  made.range = parameter_range(type, name);
  if (made.range == Parameter_range::count) made.base = animals(job);
  const bool holds = holds_through_intervals(type, name);
  if (made.range == Parameter_range::probability && (holds || comes_in_intervals(type, name))) {
    made.exponent = 1.0 / mean_interval(job);
    made.complement = !holds;
  }
  return made;
}

/// Levels at which the trying begins.
double first_level(const Level_class& of) {
  switch (of.range) {
    case Parameter_range::count:
      return 0.3;
    case Parameter_range::deviation:
      return 0.4;
    case Parameter_range::positive:
    case Parameter_range::any:
      return of.parameter == "Lambda" ? 1.0 : 0.2;
    default:
      break;
  }
  if (of.mixture > 0) return of.parameter == "pi" ? 0.5 : of.mixture == 1 ? 0.6 : 0.2;
  return lives_through_intervals(of.parameter) ? 0.9 : 0.2;
}

/// Linear predictors with every class at its level; real parameters of no class keep what they have at the
/// start.
List<double> predictors_at(const Job& job, const Start_design& design, const List<Level_class>& classes,
                           const std::vector<double>& levels) {
  const Model_arrays& model = job.model;
  List<double> wanted(model.nlogit, 0.0);
  for (int r = 1; r <= model.nlogit; ++r)
    wanted(r) = predictor_of(model.lindex(r), design.reals_at_start()(r));
  for (int k = 1; k <= classes.size(); ++k)
    for (const int r : classes(k).reals)
      wanted(r) =
          predictor_of(model.lindex(r), value_at(classes(k), levels[static_cast<std::size_t>(k) - 1]));
  return wanted;
}

double logit_shifted(double rate, double by) {
  return with_odds_times(std::clamp(rate, 1e-4, 1.0 - 1e-4), std::exp(by));
}

/// Calls visit(matrix, mixtures) for every matrix of rates by mixture in which the mixtures have numbers of
/// their own with the same values.
template <class Visit>
void for_each_equal_mixture(const Job& job, const List<double>& real, const Visit& visit) {
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const std::string& name = job.data.parameterlist(q);
    if (name == "pi" || !by_mixture(job, name)) continue;
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      const int mixtures = std::min(pim.nrows, job.status.nmixtures);
      if (mixtures < 2) return;
      for (int row = 2; row <= mixtures; ++row)
        for (int col = 1; col <= pim.ncols; ++col) {
          const int r = pim.at(row, col), first = pim.at(1, col);
          if (r < 1 || first < 1 || r > real.size() || first > real.size()) return;
          if (r == first || std::abs(real(r) - real(first)) > same_rate) return;
        }
      visit(pim, mixtures);
    });
  }
}

}  // namespace

std::span<const double> levels_of(Parameter_range range) {
  switch (range) {
    case Parameter_range::count:
      return count_levels;
    case Parameter_range::deviation:
      return deviation_levels;
    case Parameter_range::positive:
    case Parameter_range::any:
      return positive_levels;
    default:
      return rate_levels;
  }
}

double value_at(const Level_class& of, double level) {
  if (of.range == Parameter_range::count) return of.base * level;
  if (of.exponent == 1.0) return level;
  return of.complement ? 1.0 - std::pow(1.0 - level, of.exponent) : std::pow(level, of.exponent);
}

List<Level_class> level_classes(const Job& job) {
  const Model_arrays& model = job.model;
  List<Level_class> classes;
  List<char> taken(model.nlogit, 0);
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const std::string& name = job.data.parameterlist(q);
    const int first = classes.size() + 1;
    for_each_matrix_of(job, q, [&](const Pim_place&, const Pim& pim) {
      for (int row = 1; row <= pim.nrows; ++row)
        for (int col = 1; col <= pim.ncols; ++col) {
          const int r = pim.at(row, col);
          if (r < 1 || r > model.nlogit || taken(r) != 0 || model.fixpar(r)) continue;
          taken(r) = 1;
          const int mixture = by_mixture(job, name) ? (name == "pi" ? std::max(row, col) : row) : 0;
          int k = first;
          while (k <= classes.size() && classes(k).mixture != mixture) ++k;
          if (k > classes.size()) classes.push_back(new_class(job, name, mixture));
          classes(k).reals.push_back(r);
        }
    });
  }
  return classes;
}

std::vector<double> start_by_levels(const Job& job, const Start_design& design, const Value_at& value) {
  const List<Level_class> classes = level_classes(job);
  std::vector<double> levels;
  for (const Level_class& of : classes) levels.push_back(first_level(of));
  const auto start = [&] { return design.betas(predictors_at(job, design, classes, levels)); };
  double least = value(start());
  if (!std::isfinite(least)) least = std::numeric_limits<double>::infinity();
  for (int round = 1; round <= most_rounds; ++round) {
    bool changed = false;
    for (int k = 1; k <= classes.size(); ++k) {
      double& level = levels[static_cast<std::size_t>(k) - 1];
      double best = level;
      for (const double tried : levels_of(classes(k).range)) {
        level = tried;
        const double f = value(start());
        if (!(f < least)) continue;
        least = f;
        best = tried;
        changed = true;
      }
      level = best;
    }
    if (!changed) break;
  }
  return start();
}

std::vector<double> start_from_inside(const Job& job, const Start_design& design, std::span<const double> x,
                                      const List<int>& at_end, double low, double high) {
  const Model_arrays& model = job.model;
  const List<double>& real = design.reals_at_start();
  const List<double> now = design.predictors(x);
  List<double> change(model.nlogit, 0.0);
  for (const Level_class& of : level_classes(job))
    for (const int r : of.reals) {
      if (std::find(at_end.begin(), at_end.end(), r) == at_end.end()) continue;
      double brought = real(r) < 0.5 ? low : high;
      if (of.range != Parameter_range::probability) brought = value_at(of, levels_of(of.range)[2]);
      change(r) = predictor_of(model.lindex(r), brought) - now(r);
    }
  return design.moved(x, change);
}

std::vector<double> random_start(const Job& job, const Start_design& design, std::uint64_t seed, int k) {
  const Model_arrays& model = job.model;
  Uniform_source uniform(seed, static_cast<std::uint64_t>(k));
  const List<Level_class> classes = level_classes(job);
  List<double> wanted(model.nlogit, 0.0);
  for (int r = 1; r <= model.nlogit; ++r)
    wanted(r) = predictor_of(model.lindex(r), design.reals_at_start()(r));
  for (const Level_class& of : classes) {
    const double level = of.range == Parameter_range::probability ? expit(uniform.between(-3.5, 3.5))
                         : of.range == Parameter_range::count     ? std::exp(uniform.between(-3.0, 2.0))
                         : of.range == Parameter_range::deviation ? std::exp(uniform.between(-2.0, 1.0))
                         : of.parameter == "Lambda"               ? std::exp(uniform.between(-0.7, 0.7))
                                                                  : std::exp(uniform.between(-3.0, 0.7));
    for (const int r : of.reals) {
      const double departure = uniform.between(-0.5, 0.5);
      const double real = of.range == Parameter_range::probability
                              ? value_at(of, logit_shifted(level, departure))
                              : value_at(of, level) * std::exp(departure);
      wanted(r) = predictor_of(model.lindex(r), real);
    }
  }
  std::vector<double> x = design.betas(wanted);
  for (std::size_t i = 0; i < x.size(); ++i)
    if (design.varies(i)) x[i] += uniform.between(-1.0, 1.0) / design.sizes()[i];
  return x;
}

int mixtures_of(const Job& job) { return findpar(job.data, "pi") > 0 ? job.status.nmixtures : 1; }

bool mixtures_coincide(const Job& job, const List<double>& real) {
  bool found = false;
  for_each_equal_mixture(job, real, [&](const Pim&, int) { found = true; });
  return found;
}

bool mixes_recaptures(const Job& job) {
  bool found = false;
  for (const Level_class& of : level_classes(job)) found = found || (of.parameter == "c" && of.mixture > 1);
  return found;
}

std::vector<double> with_mixtures_apart(const Job& job, const Start_design& design,
                                        std::span<const double> x) {
  const Model_arrays& model = job.model;
  const List<double>& real = design.reals_at_start();
  const List<double> now = design.predictors(x);
  List<double> change(model.nlogit, 0.0);
  bool any = false;
  for_each_equal_mixture(job, real, [&](const Pim& pim, int mixtures) {
    for (int row = 1; row <= mixtures; ++row)
      for (int col = 1; col <= pim.ncols; ++col) {
        const int r = pim.at(row, col);
        if (model.fixpar(r)) continue;
        const double shift = apart * (1.0 - 2.0 * (row - 1) / (mixtures - 1));
        change(r) = predictor_of(model.lindex(r), logit_shifted(real(r), shift)) - now(r);
        any = true;
      }
  });
  return any ? design.moved(x, change) : std::vector<double>(x.begin(), x.end());
}

bool near_an_end(const Level_class& of, Link link, double real) {
  if (of.range == Parameter_range::any) return false;
  if (of.range == Parameter_range::probability || is_confined(link))
    return real < end_of_range || real > 1.0 - end_of_range;
  switch (of.range) {
    case Parameter_range::deviation:
      return real < end_of_range || real > near_largest_deviation;
    case Parameter_range::count:
      return real < end_of_range * of.base || real > runaway * of.base;
    default:
      return real < end_of_range || real > runaway;
  }
}

}  // namespace tarn
