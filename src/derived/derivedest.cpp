#include "derived/derivedest.h"

#include <array>
#include <cassert>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "data/catalogue/datatype.h"
#include "derived/sections.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "likelihood/likelihood_work.h"

namespace tarn {
namespace {

std::size_t at(int i) { return static_cast<std::size_t>(i - 1); }

/// c-hat of a section whose variances are inflated by it: only under QUASI, and only a finite positive one.
double inflation(const Model_arrays& model) {
  return model.quasi && std::isfinite(model.chat) && model.chat > 0.0 ? model.chat : 1.0;
}

/// vcdmat = partials V partials'.
void sandwich(const Array2<double>& vcmat, Derived_values& values) {
  const int count = values.partials.extent(1), n = values.partials.extent(2);
  std::vector<double> product(static_cast<std::size_t>(n));
  for (int i = 1; i <= count; ++i) {
    for (int k = 1; k <= n; ++k) {
      double sum = 0.0;
      for (int j = 1; j <= n; ++j) sum += values.partials(i, j) * vcmat(j, k);
      product[at(k)] = sum;
    }
    for (int j = 1; j <= count; ++j) {
      double sum = 0.0;
      for (int k = 1; k <= n; ++k) sum += product[at(k)] * values.partials(j, k);
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

std::string key_of(History history, int first) {
  std::string key(static_cast<std::size_t>(history.noccas()), '0');
  for (int o = 1; o <= history.noccas(); ++o)
    if (history.live(o) == '.') key[at(o)] = '.';
  return key + static_cast<char>(first & 255) + static_cast<char>(first >> 8);
}

}  // namespace

Derived_frame::Derived_frame(Job& job_in, bool dry)
    : job(job_in),
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
  return work_.reals();
}

Reals<double> Derived_frame::reals_of_record(int i, std::span<const double> x, bool newbeta) {
  cell.begin();
  if (dry_) return Reals<double>(dry_reals_.data());
  if (newbeta || by_record) {
    tranlg<double>(job, i, x, work_, newbeta ? 1 : 0, 0, nullptr);
    require_reals();
  }
  return work_.reals();
}

int Derived_frame::number(int q, int a, int b, int g, int row, int column) {
  Pim_fault fault;
  const int found =
      Checked_pim(job, {.parameter = q, .index2 = a, .index3 = b, .group = g}, fault)(row, column);
  if (fault.found) error(job, words_of(job, fault));
  return found;
}

const std::vector<Record_class>& Derived_frame::record_classes(bool by_first) {
  if (classes_made_ && classes_by_first_ == by_first) return classes_;
  classes_.clear();
  classes_made_ = true;
  classes_by_first_ = by_first;
  const Encounter_store& encounters = job.data.encounters;
  std::unordered_map<std::string, std::size_t> place_of;
  for (int i = 1; i <= encounters.size(); ++i) {
    const History history = encounters.history(i);
    const int first = by_first ? first1(history) : 0;
    std::size_t place = classes_.size();
    if (!by_record) place = place_of.try_emplace(key_of(history, first), place).first->second;
    if (place == classes_.size())
      classes_.push_back({i, first, std::vector<double>(static_cast<std::size_t>(job.status.ngrps), 0.0)});
    for (int g = 1; g <= job.status.ngrps; ++g)
      classes_[place].animals[at(g)] += static_cast<double>(encounters.observed(i)[at(g)]) +
                                        static_cast<double>(encounters.lost_on_capture(i)[at(g)]);
  }
  return classes_;
}

void get_partials(Derived_frame& frame, Derived_routine funct, std::span<double> betast,
                  Derived_values& values, std::span<double> g, std::span<double> w) {
  // The routines carry rounding of their own, so the step is far larger than that of a gradient.
  constexpr double widening = 100000.0;
  const int count = static_cast<int>(g.size());
  funct(frame, betast, 1, values.parmest.span());
  for (int k = 1; k <= static_cast<int>(betast.size()); ++k) {
    double& beta = betast[at(k)];
    const double kept = beta;
    const double step = frame.job.status.deltax * 0.5 * (std::fabs(kept) + 1.0) * widening;
    beta = kept + step;
    funct(frame, betast, 0, g);
    beta = kept - step;
    funct(frame, betast, 0, w);
    beta = kept;
    for (int i = 1; i <= count; ++i) values.partials(i, k) = (g[at(i)] - w[at(i)]) / (2.0 * step);
  }
}

bool derive_section(Derived_frame& frame, const Section& section, std::span<const double> x,
                    const Array2<double>& vcmat, Derived_values& values) {
  Job& job = frame.job;
  const int count = static_cast<int>(section.rows(job).size()), n = static_cast<int>(x.size());
  assert(n == 0 || (vcmat.extent(1) == n && vcmat.extent(2) == n));
  job.status.nests = count;
  values = {};
  Array1<double> g, w;
  if (!allocate(job, "from memory allocation of PARMEST, PARMSE, PARMLCI, PARMUCI, PARTIALS, G and W.",
                shaped(values.parmest, count), shaped(values.parmse, count), shaped(values.parmlci, count),
                shaped(values.parmuci, count), shaped(values.partials, count, n), shaped(g, count),
                shaped(w, count)) ||
      !allocate(job, "from memory allocation of VCDMAT.", values.vcdmat, count, count))
    return false;
  frame.minimum.assign(static_cast<std::size_t>(count), 0.0);
  frame.added_variance.assign(static_cast<std::size_t>(count), 0.0);
  std::vector<double> betast(x.begin(), x.end());
  get_partials(frame, section.routine, betast, values, g.span(), w.span());
  sandwich(vcmat, values);

  const double chat = section.inflated ? inflation(job.model) : 1.0;
  for (int i = 1; i <= count; ++i) {
    const double variance = (values.vcdmat(i, i) + frame.added_variance[at(i)]) * chat;
    // A NaN stays one.
    values.parmse(i) = std::sqrt(variance < 0.0 ? 0.0 : variance);
    const double minimum = frame.minimum[at(i)];
    // A size below what has been counted is none.
    if (section.interval == Interval::population && values.parmest(i) < minimum) values.parmest(i) = minimum;
    const Limits limits = limits_of(section.interval, values.parmest(i), values.parmse(i), minimum);
    values.parmlci(i) = limits.lower;
    values.parmuci(i) = limits.upper;
  }
  return true;
}

void report_section(Job& job, const Section& section, const Derived_values& values) {
  constexpr int lines_above_title = 2;
  linchk(job, lines_above_title + 1 + section.heading_lines);
  sectionhead(job, std::string(section.title) + job.model.modnam, section.width, lines_above_title);
  for (const Template<>& line : section.heading) put(job, listing, line);
  const std::vector<std::vector<int>> rows = section.rows(job);
  for (int i = 1; i <= values.parmest.extent(); ++i) {
    linchk(job, 1);
    const std::span<const int> labels(rows[at(i)]);
    const std::array<std::string, 4> numbers{f14(job, values.parmest(i)), f14(job, values.parmse(i)),
                                             f14(job, values.parmlci(i)), f14(job, values.parmuci(i))};
    put(job, listing, section.row, labels, numbers);
  }
}

void print_derived(Job& job, char letter, int count, const Derived_values& values, int first) {
  constexpr std::size_t tag_width = 8;
  const int unit = job.status.sysvcm;
  job.streams.write_record(
      unit,
      Record().text("DERIVED").text(std::string_view(&letter, 1)).value(static_cast<std::int32_t>(count)));
  const auto column = [&](std::string_view tag, const Array1<double>& numbers) {
    job.streams.write_record(unit,
                             Record()
                                 .text(tag, tag_width)
                                 .values(numbers.span().subspan(at(first), static_cast<std::size_t>(count))));
  };
  column("DERV PAR", values.parmest);
  column("DERV SE", values.parmse);
  column("DERV LCI", values.parmlci);
  column("DERV UCI", values.parmuci);
}

void derivedest(Job& job, std::span<const double> x, const Array2<double>& vcmat) {
  constexpr int least_lines = 10;
  const int dattyp = job.status.dattyp;
  if (job.status.lines <= least_lines) headng(job);
  if (!is_datatype(dattyp)) {
    warn(job, "No derived parameters are available for data type number " + adjustfmt(dattyp) + ".");
    return;
  }
  const Datatype& type = datatype(dattyp);
  if (type.derived_sections == Derived_sections::none) return;
  const std::span<const Section* const> sections = derived_sections(type);
  if (sections.empty()) {
    warn(job,
         "Derived parameters of this data type are not available in this version of TARN and are passed "
         "over.");
    return;
  }
  if (!x.empty()) require(job, vcmat, "VCMAT");
  Derived_frame frame(job);
  Derived_values values;
  for (const Section* section : sections) {
    if (!derive_section(frame, *section, x, vcmat, values)) continue;
    report_section(job, *section, values);
    print_derived(job, section->letter(), values.parmest.extent(), values);
  }
}

void check_derived(Job& job) {
  const std::span<const Section* const> sections = derived_sections(datatype(job.status.dattyp));
  if (sections.empty()) return;
  // The floating-point conditions of made-up numbers are nobody's.
  std::fenv_t kept;
  std::feholdexcept(&kept);
  Derived_frame frame(job, true);
  for (const Section* section : sections) {
    std::vector<double> values(section->rows(job).size());
    frame.minimum.assign(values.size(), 0.0);
    frame.added_variance.assign(values.size(), 0.0);
    section->routine(frame, {}, 1, values);
  }
  std::fesetenv(&kept);
}

}  // namespace tarn
