#include "model/searches.h"

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "data/catalogue/datatype.h"
#include "likelihood/func.h"
#include "model/levels.h"
#include "model/structure/design.h"
#include "model/structure/pim.h"
#include "numerics/floating_environment.h"
#include "optimizers/kink_search.h"

namespace tarn {
namespace {

/// Seed of random starts when SEED is 0.
constexpr std::uint64_t seed_of_none = 1;
/// A search has converged when no element of the gradient is above this: beyond it the fit warns that
/// convergence is suspect.
constexpr double converged_gradient = 1.0;
/// Beyond this one the fit ends the job.
constexpr double usable_gradient = 50.0;
/// Objective that may be given away for the flat side of a kink: less than what is printed.
constexpr double least_loss = 1e-6;
/// Evaluations of the search that does not mind kinks.
constexpr int most_at_kink = 3000;
/// A rate so far from 0 or 1, a number this large, is at the end of its range.
constexpr double end_itself = 1e-8;
/// -2 log likelihood by which data tell a real parameter from the end of its range.
constexpr double indifference = 0.5;
constexpr int random_starts_of_other_kinds = 3, most_continuations = 10;
/// More of them where likelihoods have many ends: mixtures, and the walls of a penalised term, which has an
/// end wherever walls meet.
constexpr int random_starts_of_mixtures = 12, random_starts_between_walls = 100;
/// Evaluations times records after which no further start of another kind is made: some tenths of a second.
constexpr double most_work = 1e6;
/// The same where walls make searches long; such a term costs little beside the histories.
constexpr double most_work_between_walls = 6e7;

std::uint64_t seed_of(const Model_arrays& model) {
  return model.iseed == 0 ? seed_of_none : static_cast<std::uint64_t>(model.iseed);
}

/// The conditions raised since it was made; put back by `restore`.
class Raised_conditions {
 public:
  static Raised_conditions now() {
    Raised_conditions raised;
    std::fegetexceptflag(&raised.flags_, FE_ALL_EXCEPT);
    return raised;
  }
  void restore() const { std::fesetexceptflag(&flags_, FE_ALL_EXCEPT); }

 private:
  std::fexcept_t flags_{};
};

/// A search with its vectors.
struct Ended {
  Minimiser_end end;
  std::vector<double> start, x, g, h;
  Raised_conditions raised;
  bool on_the_floor = false;  ///< see `rests_on_the_floor`, or no probabilities

  /// Takes over the end of the search that has just been made.
  void take(const Search_vectors& vectors) {
    x.assign(vectors.x.begin(), vectors.x.end());
    g.assign(vectors.g.begin(), vectors.g.end());
    h.assign(vectors.h.begin(), vectors.h.end());
    raised = Raised_conditions::now();
  }
  void give(const Search_vectors& vectors) const {
    std::copy(x.begin(), x.end(), vectors.x.begin());
    std::copy(g.begin(), g.end(), vectors.g.begin());
    std::copy(h.begin(), h.end(), vectors.h.begin());
  }

  double f() const { return std::isfinite(end.f) ? end.f : std::numeric_limits<double>::infinity(); }
  double largest_slope() const {
    double size = 0.0;
    for (const double slope : g)
      size = std::isfinite(slope) ? std::max(size, std::abs(slope)) : std::numeric_limits<double>::infinity();
    return size;
  }
  bool converged() const { return std::isfinite(end.f) && largest_slope() <= converged_gradient; }
  /// A fit that ends here goes on to its results.
  bool usable() const { return std::isfinite(end.f) && largest_slope() <= usable_gradient; }
};

/// No beta times the size of its column has moved by the accuracy that was sought.
bool stayed(std::span<const double> start, std::span<const double> x, std::span<const double> sizes,
            int nsig) {
  const double accuracy = std::pow(10.0, -nsig);
  for (std::size_t i = 0; i < x.size(); ++i)
    if (!(std::abs(x[i] - start[i]) * sizes[i] < accuracy)) return false;
  return !x.empty();
}

/// Factors of B to those of S B S, S diagonal: L becomes S L S^-1, D becomes S D S.
void scale_factors(std::vector<double>& h, std::span<const double> s) {
  std::size_t k = 0;
  for (std::size_t j = 0; j < s.size(); ++j) {
    h[k++] *= s[j] * s[j];
    for (std::size_t i = j + 1; i < s.size(); ++i) h[k++] *= s[i] / s[j];
  }
}

/// The objective as a function of betas that are multiplied by `sizes`. It refers to both.
Gradient_objective in_scaled_betas(const Search_objective& objective, std::span<const double> sizes) {
  return [&objective, sizes, x = std::vector<double>(sizes.size())](std::span<const double> y,
                                                                    std::span<double> g) mutable {
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = y[i] / sizes[i];
    const double f = objective(x, g);
    for (std::size_t i = 0; i < x.size(); ++i) g[i] /= sizes[i];
    return f;
  };
}

/// A search in betas that are multiplied by the size of their column, from `start`.
Ended scaled_search(const Search_objective& objective, const Minimiser_settings& settings,
                    std::vector<double> start, std::span<const double> sizes,
                    const Minimiser_course& course) {
  const std::size_t n = start.size();
  Ended ended;
  ended.start = ended.x = std::move(start);
  ended.g.resize(n);
  ended.h.resize(n * (n + 1) / 2);
  const Gradient_objective scaled = in_scaled_betas(objective, sizes);
  for (std::size_t i = 0; i < n; ++i) ended.x[i] *= sizes[i];
  // The gradient that is judged is that of the unscaled beta.
  const double largest = *std::max_element(sizes.begin(), sizes.end());
  std::vector<double> accuracy(n, std::pow(10.0, -settings.nsig) / std::max(1.0, largest));
  Minimiser_settings own = settings;
  own.detail = false;
  own.accuracy = accuracy;
  ended.end = minimise(scaled, own, {ended.x, ended.g, ended.h}, course);
  for (std::size_t i = 0; i < n; ++i) {
    ended.x[i] /= sizes[i];
    ended.g[i] *= sizes[i];
  }
  scale_factors(ended.h, sizes);
  ended.raised = Raised_conditions::now();
  return ended;
}

/// True when the data do not tell the real parameter r, which is `real` at x, from the end of its range:
/// moved there it costs less than `indifference`.
bool as_good_at_the_end(const Job& job, const Start_design& end, const Value_at& value, const Ended& first,
                        const Level_class& of, int r, double real) {
  const Link link = job.model.lindex(r);
  const bool confined = of.range == Parameter_range::probability || is_confined(link);
  if (real > (confined ? 1.0 : of.base)) return true;
  const bool up = confined && real > 0.5;
  const double beyond = up ? 1.0 - end_itself : end_itself;
  if (up ? real >= beyond : real <= beyond) return true;
  List<double> change(job.model.nlogit, 0.0);
  change(r) = predictor_of(link, beyond) - predictor_of(link, real);
  return !(value(end.moved(first.x, change)) - first.f() > indifference);
}

/// Whether what a survey of a site shows may come from several of its states, beyond a detection that was
/// missed: errors, evidence of a higher state, a species that hides the other. Such
/// likelihoods may have several maxima, in which the states have each other's rates.
bool leaves_states_open(const Job& job) {
  if (!of_sites(datatype(job.status.dattyp))) return false;
  return std::ranges::any_of(std::array{"p10", "Delta", "rBA"},
                             [&job](const char* name) { return findpar(job.data, name) > 0; });
}

/// Why the end of the first search asks for other starts, and the real parameters that stand at an end.
struct Complaint {
  Second_start why = Second_start::none;
  List<int> at_end;
};

Complaint complaint(Job& job, const Ended& first, const Value_at& value) {
  Complaint found;
  Likelihood_point& point = likelihood_point(job);
  point.move_to(first.x);
  const Reals<double> reals = point.reals();
  List<std::pair<int, int>> near;  // class, real
  const List<Level_class> classes = level_classes(job);
  List<double> real(job.model.nlogit, 0.0);
  for (int r = 1; r <= real.size(); ++r) real(r) = reals[r];
  for (int k = 1; k <= classes.size(); ++k)
    for (const int r : classes(k).reals)
      if (near_an_end(classes(k), job.model.lindex(r), real(r))) near.push_back({k, r});
  bool wall = false;
  if (!near.empty()) {
    const Start_design end(job, first.x);
    for (const auto& [k, r] : near) {
      if (!as_good_at_the_end(job, end, value, first, classes(k), r, real(r))) continue;
      found.at_end.push_back(r);
      wall = wall || (classes(k).range == Parameter_range::deviation && real(r) > 1.0);
    }
  }
  if (wall)
    found.why = Second_start::wall;
  else if (!found.at_end.empty())
    found.why = Second_start::boundary;
  else if (mixtures_coincide(job, real) || mixes_recaptures(job))
    found.why = Second_start::mixtures;
  else if (leaves_states_open(job))
    found.why = Second_start::states;
  else if (!first.converged())
    found.why = Second_start::stopped;
  return found;
}

/// Whether a search has come to its limit of evaluations on few lines: at a kink, where no step is short
/// enough, and not on its way.
bool spent_on_lines(const Minimiser_end& end) {
  constexpr int evaluations_of_a_line = 20;
  return end.ifn > evaluations_of_a_line * (end.itn + 1);
}

/// Whether a closed-form term of the model has a penalty of its own.
bool has_walls(const Job& job) { return datatype(job.status.dattyp).closed_form == Closed_form::D; }

/// Whether chances stand in rows of which the last is what the others leave of 1. Where it leaves nothing the
/// objective has a kink.
bool has_rows(const Job& job) {
  return findpar(job.data, "Psi") > 0 || findpar(job.data, "Delta") > 0 || findpar(job.data, "PsiAB") > 0;
}

/// The starts of other kinds that are made to measure, in the order in which they are tried; random ones
/// follow.
std::vector<std::vector<double>> other_starts(Job& job, const Ended& first, const Complaint& found,
                                              const Start_design& start, const Value_at& value) {
  std::vector<std::vector<double>> starts;
  if (!first.converged() && found.why != Second_start::no_move) starts.push_back(first.x);
  starts.push_back(start_by_levels(job, start, value));
  if (found.why == Second_start::mixtures)
    starts.push_back(with_mixtures_apart(job, Start_design(job, first.x), first.x));
  if (!found.at_end.empty()) {
    const Start_design end(job, first.x);
    for (const auto& [low, high] : {std::pair(0.1, 0.9), std::pair(0.9, 0.1), std::pair(0.5, 0.5)})
      starts.push_back(start_from_inside(job, end, first.x, found.at_end, low, high));
  }
  return starts;
}

/// How many random starts follow them.
int random_starts(const Job& job) {
  const int further = has_walls(job)         ? random_starts_between_walls
                      : mixtures_of(job) > 1 ? random_starts_of_mixtures
                                             : 0;
  return std::max(level_classes(job).size(), random_starts_of_other_kinds) + further;
}

/// An end on the floor is worse than any other. An end that has converged beats one that has not when it is
/// no worse, and so does one with a gradient that a fit may end with one that has none; else the lower one is
/// better.
bool is_better(const Ended& other, const Ended& best) {
  const double gain = best.f() - other.f();
  if (other.on_the_floor != best.on_the_floor) return best.on_the_floor && other.usable();
  if (best.usable() && !other.usable()) return false;
  if ((other.usable() && !best.usable()) || (other.converged() && !best.converged()))
    return gain > -same_end(best.f());
  return gain > same_end(best.f());
}

/// The search from `end` that does not mind kinks. The walls of a penalty are raised in steps: beside a steep
/// one the rest of the function is a plain.
Ended finished_at_kink(Job& job, const Search_objective& objective, const Ended& end,
                       std::span<const double> sizes) {
  Ended ended = end;
  const std::size_t n = sizes.size();
  ended.start = end.x;
  const Gradient_objective scaled = in_scaled_betas(objective, sizes);
  for (std::size_t i = 0; i < n; ++i) ended.x[i] *= sizes[i];
  const double stated = job.status.penalty_slope;
  Minimiser_end found;
  int evaluations = 0;
  for (const double slope : {1e2, 1e3, 1e4, stated}) {
    job.status.penalty_slope = std::min(slope, stated);
    found = kink_search(scaled, {ended.x, ended.g, {}}, least_loss, most_at_kink);
    evaluations += found.ifn;
  }
  // Conditions that were raised on the way are of no concern.
  std::feclearexcept(FE_ALL_EXCEPT);
  scaled(ended.x, ended.g);
  ended.end.ifn = evaluations;
  ended.end.f = found.f;
  for (std::size_t i = 0; i < n; ++i) {
    ended.x[i] /= sizes[i];
    ended.g[i] *= sizes[i];
  }
  ended.raised = Raised_conditions::now();
  return ended;
}

/// Counts the different ends among those of the searches that converged. `idle` are the ends of those that
/// stayed where they began, be it on a plain without a slope: they count when they are as good as the best.
void count_ends(std::vector<double> f, const std::vector<double>& idle, double best, Starts_record& record) {
  for (const double end : idle)
    if (end - best <= same_end(best)) f.push_back(end);
  std::sort(f.begin(), f.end());
  record.unfinished = record.starts - static_cast<int>(f.size());
  for (std::size_t i = 0; i < f.size(); ++i) {
    if (i == 0 || f[i] - f[i - 1] > same_end(f[i])) ++record.maxima;
    if (record.maxima == 1) ++record.at_best;
  }
}

/// The size of each estimated beta's column as the optimizer sees it; 1 for a column of zeros.
std::vector<double> sizes_of_columns(Job& job) {
  const Model_arrays& model = job.model;
  std::vector<double> sizes;
  const List<double> largest = column_sizes(job);
  for (int c = 1; c <= model.ncovs_nlbetas; ++c)
    if (model.bindex(c) > 0) sizes.push_back(largest(c) > 0.0 ? largest(c) * model.scalefactor(c) : 1.0);
  return sizes;
}

}  // namespace

double same_end(double f) { return 0.001 + 1e-9 * std::abs(f); }

Searches_end search(Job& job, const Search_objective& objective, const Minimiser_settings& settings,
                    const Search_vectors& vectors, const Minimiser_course& course) {
  const Model_arrays& model = job.model;
  const std::size_t n = vectors.x.size();
  Ended best;
  best.start.assign(vectors.x.begin(), vectors.x.end());
  best.end = minimise(objective, settings, vectors, course);
  Searches_end result{best.end, {}};
  Starts_record& starts = result.starts;
  starts.first_f = starts.f = best.end.f;
  if (!best.end.available || n == 0) return result;
  best.take(vectors);

  Likelihood_point& point = likelihood_point(job);
  int evaluations = 0;
  const Value_at value = [&](std::span<const double> x) {
    ++evaluations;
    return point.move_to(x).f;
  };
  const Search_objective silent = [&point](std::span<const double> x, std::span<double> g) {
    return point.move_to(x, g).f;
  };
  const std::vector<double> sizes = sizes_of_columns(job);
  starts.ended_at_start = stayed(best.start, best.x, sizes, settings.nsig);
  starts.random = model.starts >= 2;
  std::optional<Start_design> design;  // made where other starts follow
  std::vector<std::vector<double>> others;
  int random = 0;
  // A serial run is charged for it, and so are the further searches of others.
  const auto above_one = [&](const std::vector<double>& x) {
    return job.status.num_threads > 1 && has_rows(job) && point.is_above_one(x);
  };
  bool improper = false;
  if (starts.random) {
    const Kept_floating_environment made_up;
    design.emplace(job, best.start);
    random = model.starts - 1;
  } else if (model.starts == 0 && !model.initial_given &&
             (best.end.iexit != maxfn_reached || spent_on_lines(best.end))) {
    // MAXFN is the user's limit, which no other start gets round.
    const Kept_floating_environment made_up;
    Complaint found = complaint(job, best, value);
    if (starts.ended_at_start) found.why = Second_start::no_move;
    improper = above_one(best.x);
    if (improper) found.why = Second_start::improper;
    starts.why = found.why;
    if (found.why != Second_start::none) {
      design.emplace(job, best.start);
      others = other_starts(job, best, found, *design, value);
      random = random_starts(job);
    }
  }

  // Where histories are no probabilities -2 log likelihood has no meaning, as on the floor.
  const auto is_none = [&](const std::vector<double>& x) {
    return rests_on_the_floor(job, x) || above_one(x);
  };
  if (design) best.on_the_floor = is_none(best.x);
  std::vector<double> maxima, idle;
  const auto note_end = [&](const Ended& ended) {
    if (!ended.converged() || ended.on_the_floor) return;
    const bool moved = !stayed(ended.start, ended.x, sizes, settings.nsig);
    (moved ? maxima : idle).push_back(ended.f());
  };
  note_end(best);
  const auto compare = [&](Ended ended) {
    ++starts.starts;
    if (std::isfinite(ended.end.f)) ended.on_the_floor = is_none(ended.x);
    note_end(ended);
    if (!is_better(ended, best)) return;
    best = std::move(ended);
    starts.kept = starts.starts;
  };
  const auto spent = [&] {
    const double work = static_cast<double>(evaluations) * job.data.encounters.size();
    return !starts.random && starts.starts > 1 &&
           work > (has_walls(job) ? most_work_between_walls : most_work);
  };
  // At a kink of a penalty a search stops short.
  const auto finished = [&](Ended ended) {
    if (!(has_walls(job) || has_rows(job)) || ended.converged() || !std::isfinite(ended.end.f) || spent())
      return ended;
    Ended at_kink = finished_at_kink(job, silent, ended, sizes);
    evaluations += at_kink.end.ifn;
    return is_better(at_kink, ended) || at_kink.largest_slope() < ended.largest_slope() ? at_kink : ended;
  };
  const auto search_from = [&](std::vector<double> start) {
    std::feclearexcept(FE_ALL_EXCEPT);
    Ended ended = scaled_search(silent, settings, std::move(start), sizes, course);
    evaluations += ended.end.ifn;
    return ended;
  };
  if (improper) {
    // From here on as in a serial run, which is charged for what made the first search go astray.
    point.count_serial_penalty(true);
    compare(finished(search_from(best.start)));
  }
  for (std::vector<double>& start : others) {
    if (spent()) break;
    compare(finished(search_from(std::move(start))));
  }
  for (int k = 1; k <= random && !spent(); ++k)
    compare(finished(search_from(random_start(job, *design, seed_of(model), k))));
  if (design && !best.converged() && starts.kept == 1 && (has_walls(job) || has_rows(job))) {
    std::feclearexcept(FE_ALL_EXCEPT);
    compare(finished(best));
  }
  // What stopped short goes on afresh, while that helps.
  for (int again = 1; again <= most_continuations && starts.why != Second_start::none && !best.converged();
       ++again) {
    Ended ended = search_from(best.x);
    ended.on_the_floor = is_none(ended.x);
    ++starts.starts;
    if (!is_better(ended, best)) break;
    best = std::move(ended);
    starts.kept = starts.starts;
  }
  if (improper) {
    point.count_serial_penalty(false);
    best.end.f = point.move_to(best.x).f;
  }
  best.raised.restore();
  if (starts.random) count_ends(std::move(maxima), idle, best.f(), starts);
  if (starts.kept == 1) return result;

  best.give(vectors);
  result.minimiser = best.end;
  starts.f = best.end.f;
  starts.ended_at_start = stayed(best.start, best.x, sizes, settings.nsig);
  return result;
}

}  // namespace tarn
