#include "derived/derivedest.h"

#include <cassert>
#include <cmath>
#include <limits>
#include <string>
#include <unordered_map>

#include "data/catalogue/datatype.h"
#include "derived/growth.h"
#include "derived/sections.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "likelihood/likelihood_work.h"
#include "numerics/floating_environment.h"

namespace tarn {
namespace {

/// c-hat of a section. One that was given holds for all; the model's own for sections that are inflated only,
/// under QUASI, and when it is finite and positive.
double chat_of(const Section& section, const Model_arrays& model) {
  if (model.chat_given > 0.0) return model.chat_given;
  const bool own = section.inflated && model.quasi && std::isfinite(model.chat) && model.chat > 0.0;
  return own ? model.chat : 1.0;
}

/// vcdmat = partials V partials'.
void sandwich(const Array2<double>& vcmat, Derived_values& values) {
  const int count = values.partials.extent(1), n = values.partials.extent(2);
  List<double> product(n);
  const auto counts = [&vcmat](double slope, int j) { return !std::isnan(vcmat(j, j)) || hangs_on(slope); };
  for (int i = 1; i <= count; ++i) {
    for (int k = 1; k <= n; ++k) {
      double sum = 0.0;
      for (int j = 1; j <= n; ++j)
        if (counts(values.partials(i, j), j)) sum += values.partials(i, j) * vcmat(j, k);
      product(k) = sum;
    }
    for (int j = 1; j <= count; ++j) {
      double sum = 0.0;
      for (int k = 1; k <= n; ++k)
        if (counts(values.partials(j, k), k)) sum += product(k) * values.partials(j, k);
      values.vcdmat(i, j) = sum;
    }
  }
}

Limits limits_of(Interval interval, double est, double se, double minimum) {
  switch (interval) {
    case Interval::probability:
      return probability_limits(est, se);
    case Interval::population:
      return population_limits(est, se, minimum);
    case Interval::log:
      return log_limits(est, se);
    case Interval::plain:
      break;
  }
  return plain_limits(est, se);
}

/// What tells captures of a session apart that are not alike.
std::string key_of(const Closed_stretch& stretch, int first) {
  std::string key;
  for (const int number : {stretch.session, stretch.group, stretch.stratum, first})
    key += std::to_string(number) + ' ';
  for (int o = 1; o <= stretch.length; ++o) key += stretch.sampled(o) ? '0' : '.';
  return key;
}

}  // namespace

Derived_frame::Derived_frame(Job& job_in, bool dry)
    : job(job_in),
      sessions(closed_sessions(job_in)),
      strata(strata_of_captures(job_in)),
      by_record(job_in.model.likelihood->by_record),
      cell(job_in, job_in.model.likelihood->setting),
      dry_(dry) {
  if (dry)
    dry_reals_.assign(static_cast<std::size_t>(std::max(job.model.nlogit, 1)), 0.25);
  else
    prepare(job, work_);
}

void Derived_frame::require_reals() {
  if (!work_.fault.empty()) error(job, work_.fault);
}

Reals<double> Derived_frame::reals(std::span<const double> x) {
  cell.begin();
  if (dry_) return Reals<double>(dry_reals_.data());
  tranlg<double>(job, 1, x, work_, 1, 0, report_values(job, zeros_));
  require_reals();
  return moved(work_.reals());
}

Reals<double> Derived_frame::reals_of_record(int i, std::span<const double> x, bool newbeta) {
  cell.begin();
  if (dry_) return Reals<double>(dry_reals_.data());
  if (newbeta || by_record) {
    tranlg<double>(job, i, x, work_, newbeta ? 1 : 0, 0, nullptr);
    require_reals();
  }
  return moved(work_.reals());
}

Reals<double> Derived_frame::moved(Reals<double> reals) {
  if (moved_real_ == 0) return reals;
  moved_.resize(static_cast<std::size_t>(job.model.nlogit));
  for (int r = 1; r <= job.model.nlogit; ++r) moved_[static_cast<std::size_t>(r) - 1] = reals[r];
  moved_[static_cast<std::size_t>(moved_real_) - 1] += by_;
  return Reals<double>(moved_.data());
}

int Derived_frame::number(int q, int a, int b, int g, int row, int column) {
  Pim_report report;
  const int found = Checked_pim(job, {q, a, b, g}, report)(row, column);
  if (report.fault.found) error(job, words_of(job, report.fault));
  return found;
}

const List<Capture_class>& Derived_frame::capture_classes(bool by_first) {
  if (classes_made_ && classes_by_first_ == by_first) return classes_;
  classes_.clear();
  classes_made_ = true;
  classes_by_first_ = by_first;
  const Encounter_store& encounters = job.data.encounters;
  std::unordered_map<std::string, int> place_of;
  for (int i = 1; i <= encounters.size(); ++i) {
    const View<const float> observed = encounters.observed(i), lost = encounters.lost_on_capture(i);
    for (int s = 1; s <= sessions.size(); ++s) {
      Closed_stretch stretch = stretch_of(encounters.history(i), s, 1);
      if (stretch.first == 0) continue;
      // Who was caught in an unknown stratum counts in none.
      if (uncertain_signs(job) > 0 && known_stratum_in(job, encounters.history(i), sessions(s)) == 0)
        continue;
      const int first = by_first ? stretch.first : 0;
      for (int g = 1; g <= job.status.ngrps; ++g) {
        const double animals = static_cast<double>(observed(g)) + static_cast<double>(lost(g));
        if (!(animals > 0.0)) continue;
        stretch.group = g;
        int place = classes_.size() + 1;
        if (!by_record) place = place_of.try_emplace(key_of(stretch, first), place).first->second;
        if (place > classes_.size()) classes_.push_back({i, s, g, stretch.stratum, first, 0.0});
        classes_(place).animals += animals;
      }
    }
  }
  return classes_;
}

Closed_stretch Derived_frame::stretch_of(History histry, int session, int group) const {
  const Primary_session& of = sessions(session);
  return Closed_stretch::of(histry, of.before, of.length, session, group, stratum_in(job, histry, of), false);
}

const Capture_counts& Derived_frame::capture_counts() {
  if (!counts_) counts_.emplace(job);
  return *counts_;
}

void get_partials(Derived_frame& frame, Derived_routine funct, std::span<double> betast,
                  Derived_values& values, View<double> g, View<double> w) {
  const View<double> betas(betast);
  // The routines carry rounding of their own, so the step is far larger than that of a gradient. It follows
  // the default whatever DELTAX says: a DELTAX that suits -2 log likelihood, widened, would leave the
  // neighbourhood of the estimate.
  constexpr double widening = 100000.0;
  funct(frame, betast, 1, values.parmest);
  for (int k = 1; k <= betas.size(); ++k) {
    double& beta = betas(k);
    const double kept = beta;
    const double step = default_deltax * 0.5 * (std::fabs(kept) + 1.0) * widening;
    beta = kept + step;
    funct(frame, betast, 0, g);
    beta = kept - step;
    funct(frame, betast, 0, w);
    beta = kept;
    for (int i = 1; i <= g.size(); ++i) {
      // What is infinite, or no number, has no derivative, and its difference would raise a condition.
      const bool finite = std::isfinite(values.parmest(i)) && std::isfinite(g(i)) && std::isfinite(w(i));
      values.partials(i, k) =
          finite ? (g(i) - w(i)) / (2.0 * step) : std::numeric_limits<double>::quiet_NaN();
    }
  }
}

/// What each value rests on: real parameters at a boundary, a direction that the data do not identify.
List<Rests_on> foundations(Derived_frame& frame, const Section& section, std::span<const double> x,
                           const Estimability& open, const Derived_values& values) {
  // A relative move below this is rounding of the differences.
  constexpr double least_move = 1e-4, least_change = 1e-9;
  const int count = values.rows.size(), n = values.partials.extent(2);
  const auto size = [&](int i) { return section.logarithm ? 1.0 : std::fabs(values.parmest(i)); };
  List<Rests_on> found(count);
  for (int d = 1; d <= open.moves.extent(2); ++d)
    for (int i = 1; i <= count; ++i) {
      double move = 0.0;
      for (int j = 1; j <= n; ++j) move += values.partials(i, j) * open.moves(j, d);
      if (std::isgreater(std::fabs(move), least_move * size(i))) found(i).direction = true;
    }
  List<double> moved(count);
  for (const Real_at_boundary& boundary : open.at_boundary) {
    frame.move_real(boundary.real, step_inside(boundary));
    section.routine(frame, x, 0, moved);
    for (int i = 1; i <= count; ++i) {
      const bool finite = std::isfinite(values.parmest(i));
      if (std::isfinite(moved(i)) != finite ||
          (finite && std::fabs(moved(i) - values.parmest(i)) > least_change * size(i)))
        found(i).boundary = true;
    }
  }
  frame.move_real(0, 0.0);
  return found;
}

bool derive_section(Derived_frame& frame, const Section& section, std::span<const double> x,
                    const Array2<double>& vcmat, const Estimability& open, Derived_values& values) {
  Job& job = frame.job;
  values = {};
  values.section = &section;
  values.rows = section.rows(job);
  const int count = values.rows.size(), n = static_cast<int>(x.size());
  assert(n == 0 || (vcmat.extent(1) == n && vcmat.extent(2) == n));
  job.status.nests = count;
  Array1<double> g, w;
  if (!allocate(job, "from memory allocation of PARMEST, PARMSE, PARMLCI, PARMUCI, PARTIALS, G and W.",
                shaped(values.parmest, count), shaped(values.parmse, count), shaped(values.parmlci, count),
                shaped(values.parmuci, count), shaped(values.partials, count, n), shaped(g, count),
                shaped(w, count)) ||
      !allocate(job, "from memory allocation of VCDMAT.", values.vcdmat, count, count))
    return false;
  frame.minimum.assign(count, 0.0);
  frame.added_variance.assign(count, 0.0);
  std::vector<double> betast(x.begin(), x.end());
  get_partials(frame, section.routine, betast, values, g, w);
  sandwich(vcmat, values);
  values.rests_on = foundations(frame, section, x, open, values);

  values.chat = chat_of(section, job.model);
  const bool in_matrix = job.model.chat_given > 0.0;
  const double of_sampling = in_matrix ? values.chat : 1.0, of_all = in_matrix ? 1.0 : values.chat;
  for (int i = 1; i <= count; ++i) values.vcdmat(i, i) += of_sampling * frame.added_variance(i);
  for (double& element : values.vcdmat) element *= of_all;
  for (int i = 1; i <= count; ++i) {
    const double variance = values.vcdmat(i, i);
    // A NaN stays one.
    values.parmse(i) = std::sqrt(std::isless(variance, 0.0) ? 0.0 : variance);
    const double minimum = frame.minimum(i);
    // A size below what has been counted is none.
    if (section.interval == Interval::population && values.parmest(i) < minimum) values.parmest(i) = minimum;
    const Limits limits = limits_of(section.interval, values.parmest(i), values.parmse(i), minimum);
    values.parmlci(i) = limits.lower;
    values.parmuci(i) = limits.upper;
  }
  return true;
}

void derivedest(Job& job, std::span<const double> x, const Array2<double>& vcmat, const Estimability& open,
                const Section_done& done) {
  const int dattyp = job.status.dattyp;
  if (!is_datatype(dattyp)) {
    warn(job, "No derived parameters are available for data type number " + std::to_string(dattyp) + ".");
    return;
  }
  const Datatype& type = datatype(dattyp);
  const std::span<const Section* const> sections = derived_sections(type);
  if (sections.empty()) return;
  if (!x.empty()) require(job, vcmat, "VCMAT");
  Derived_frame frame(job);
  for (const Section* section : sections) {
    if (section->rows(job).empty()) continue;
    Derived_values values;
    if (derive_section(frame, *section, x, vcmat, open, values)) done(values);
  }
  for (const Section* section : sections)
    if (section->ratio && !section->rows(job).empty())
      warn(job, "The limits of the " + std::string(subject(*section)) +
                    " are on the scale of probabilities and never hold 1: judge it by the standard error.");
  if (type.cell == Cell::robust_pradel_n && growth_intervals(job) > 0)
    warn(job,
         "Standard errors of lambda from the ratio of N's take the numbers caught as known: they are too "
         "small, and far too small where sessions share their capture probabilities.");
}

void check_derived(Job& job) {
  const std::span<const Section* const> sections = derived_sections(datatype(job.status.dattyp));
  if (sections.empty()) return;
  const Kept_floating_environment kept;
  Derived_frame frame(job, true);
  for (const Section* section : sections) {
    List<double> values(section->rows(job).size());
    frame.minimum.assign(values.size(), 0.0);
    frame.added_variance.assign(values.size(), 0.0);
    section->routine(frame, {}, 1, values);
  }
}

}  // namespace tarn
