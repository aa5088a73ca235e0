#include "inference/saturd.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

#include "data/catalogue/available.h"
#include "numerics/special.h"

namespace tarn {
namespace {

bool captured(char live) { return live != '0' && live != '.'; }

/// Count of young in a cell, -1 when the adult was not met.
int young(History history, int o) {
  const char tens = history.live(o), ones = history.dead(o);
  if (tens < '0' || tens > '9' || ones < '0' || ones > '9') return -1;
  return 10 * (tens - '0') + (ones - '0');
}

/// First occasion on which the adult was met, and the young with it; {0, 0} if never.
std::pair<int, int> first_brood(History history) {
  for (int o = 1; o <= history.noccas(); ++o)
    if (const int count = young(history, o); count >= 0) return {o, count};
  return {0, 0};
}

/// Histories of `later` occasions after the release, each with or without a capture.
double live_histories(int later) { return std::ldexp(1.0, later); }

/// Histories that can follow a release on occasion `first` of K.
double histories_after_release(const Datatype& row, int first, int K) {
  const int later = K - first;
  switch (row.check) {
    case Cell_check::dead_recoveries:
      return later + 2.0;
    case Cell_check::recovery_needed:
      return later + 1.0;
    case Cell_check::joint: {
      double histories = 0.0;  // by the last live capture: what was seen before it, then a recovery or none
      for (int last = first; last <= K; ++last)
        histories += std::max(1.0, std::ldexp(1.0, last - first - 1)) * (K - last + 2.0);
      return histories;
    }
    case Cell_check::barker:
      return std::ldexp(1.0, 2 * later + 1) + (std::ldexp(1.0, 2 * (later + 1)) - 1.0) / 3.0;
    default:
      return live_histories(later);
  }
}

/// n log(n / total), 0 for a count of 0.
double cell_term(double n, double total) { return n > 0.0 ? n * std::log(n / total) : 0.0; }

/// Animals of a record in a group.
struct Animals {
  double observed, lost;
  double all() const { return observed + lost; }
};

Animals animals_of(const Encounter_store& encounters, int i, int g) {
  const View<const float> observed = encounters.observed(i), lost = encounters.lost_on_capture(i);
  return {static_cast<double>(observed(g)), static_cast<double>(lost(g))};
}

/// Animals at risk and deaths of a group in every interval.
struct Fates {
  List<double> at_risk, deaths;
};

Fates fates_of(const Job& job, int g) {
  const Encounter_store& encounters = job.data.encounters;
  const int intervals = job.status.noccas;
  Fates fates{List<double>(intervals), List<double>(intervals)};
  for (int i = 1; i <= encounters.size(); ++i) {
    const History history = encounters.history(i);
    const double n = animals_of(encounters, i, g).all();
    for (int o = 1; o <= intervals; ++o) {
      if (!captured(history.live(o))) continue;
      fates.at_risk(o) += n;
      if (history.dead(o) != '0') fates.deaths(o) += n;
    }
  }
  return fates;
}

/// A binomial for every interval of a group in which animals were at risk.
Saturated_model saturated_fates(const Job& job) {
  Saturated_model model;
  double sum = 0.0;
  for (int g = 1; g <= job.status.ngrps; ++g) {
    const Fates fates = fates_of(job, g);
    for (int c = 1; c <= fates.at_risk.size(); ++c) {
      const double n = fates.at_risk(c), d = fates.deaths(c);
      if (!(n > 0.0)) continue;
      sum += cell_term(d, n) + cell_term(n - d, n);
      ++model.cohorts;
      model.histories += 2.0;
    }
  }
  model.nsat = model.cohorts;
  model.xlogs = -2.0 * sum;
  return model;
}

int records_with_a_count(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const auto positive = [](float n) { return n > 0.0f; };
  int records = 0;
  for (int i = 1; i <= encounters.size(); ++i)
    if (std::ranges::any_of(encounters.observed(i), positive) ||
        std::ranges::any_of(encounters.lost_on_capture(i), positive))
      ++records;
  return records;
}

/// True when some record of known fates covers more than one interval.
bool fates_of_several_intervals(const Job& job) {
  for (int i = 1; i <= job.data.encounters.size(); ++i) {
    const History history = job.data.encounters.history(i);
    if (first1(history) != lastlc(history)) return true;
  }
  return false;
}

/// What one animal of a record adds to the effective sample size.
double opportunities(const Datatype& row, History history, bool lost) {
  const int K = history.noccas();
  int captures = 0, sampled = 0, before_last = 0;
  for (int o = 1; o <= K; ++o) {
    if (history.live(o) != '.') ++sampled;
    if (!captured(history.live(o))) continue;
    ++captures;
    if (o < K) ++before_last;
  }
  if (row.saturated == Saturated::interval) return captures;
  if (row.cell == Cell::nest) {
    const bool failed = lastdr(history) != 0;
    return lastlc(history) - first1(history) + (failed ? 1.0 : 0.0);
  }
  if (row.saturated == Saturated::brood) return first_brood(history).second;
  if (row.check == Cell_check::dead_recoveries) return lost ? 0.0 : 1.0;
  if (row.check == Cell_check::recovery_needed) return 1.0;
  if (row.closed != Closed::none && !row.sessions) return sampled;
  // The last capture of an animal lost there is no release.
  const int last = lastlc(history);
  return before_last - (lost && last > 0 && last < K ? 1.0 : 0.0);
}

/// The cohort of a record: a key of its own, and the number of histories that its animals can show.
struct Cohort_key {
  std::pair<int, int> key;
  double possible;
};

Cohort_key cohort_key(const Datatype& row, History history) {
  const int K = history.noccas();
  switch (row.saturated) {
    case Saturated::whole_group:
    case Saturated::closed_full:
      return {{0, 0}, live_histories(K) - 1.0};
    case Saturated::brood: {
      const std::pair<int, int> brood = first_brood(history);
      return {brood, std::pow(brood.second + 1.0, K - std::max(brood.first, 1))};
    }
    case Saturated::interval:
      return {{first1(history), 0}, 2.0};
    case Saturated::none:
    case Saturated::release: {
      const int first = first1(history);
      return {{first, 0}, histories_after_release(row, first, K)};
    }
    case Saturated::release_stratum:
    case Saturated::last_capture:
    case Saturated::group_stratum:
    case Saturated::popan:
    case Saturated::session:
    case Saturated::session_stratum:
    case Saturated::session_full:
    case Saturated::session_stratum_full:
    case Saturated::group_full:
      break;
  }
  // No model of these is set up; what would be computed is no number.
  assert(!is_available(row.saturated));
  return {{0, 0}, std::numeric_limits<double>::quiet_NaN()};
}

}  // namespace

Cohorts::Cohorts(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const Datatype& row = datatype(job.status.dattyp);
  std::map<std::pair<int, int>, int> numbers;
  cohort_.reserve(encounters.size());
  for (int i = 1; i <= encounters.size(); ++i) {
    const Cohort_key own = cohort_key(row, encounters.history(i));
    const auto [place, is_new] = numbers.emplace(own.key, possible_.size() + 1);
    if (is_new) possible_.push_back(own.possible);
    cohort_.push_back(place->second);
  }
  make_work_area(observed_, job.status.ngrps, count());
  make_work_area(lost_, job.status.ngrps, count());
  for (int i = 1; i <= encounters.size(); ++i)
    for (int g = 1; g <= job.status.ngrps; ++g) {
      const Animals animals = animals_of(encounters, i, g);
      observed_(g, cohort_of(i)) += animals.observed;
      lost_(g, cohort_of(i)) += animals.lost;
    }
}

bool has_saturated_model(const Job& job) {
  return job.status.nicovs == 0 && datatype(job.status.dattyp).saturated != Saturated::none;
}

Saturated_model saturd(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const Datatype& row = datatype(job.status.dattyp);
  if (!has_saturated_model(job)) {
    Saturated_model model;
    model.nsat = records_with_a_count(job);
    return model;
  }
  if (row.saturated == Saturated::interval) return saturated_fates(job);

  const Cohorts cohorts(job);
  Saturated_model model;
  double sum = 0.0;
  int cells = 0;
  for (int i = 1; i <= encounters.size(); ++i)
    for (int g = 1; g <= job.status.ngrps; ++g) {
      const int cohort = cohorts.cohort_of(i);
      const Animals animals = animals_of(encounters, i, g);
      const auto cell = [&](double count, double total) {
        sum += cell_term(count, total);
        cells += count > 0.0 ? 1 : 0;
      };
      cell(animals.observed, cohorts.observed(cohort, g));
      cell(animals.lost, cohorts.lost(cohort, g));
    }
  for (int k = 1; k <= cohorts.count(); ++k)
    for (int g = 1; g <= job.status.ngrps; ++g) {
      for (const double total : {cohorts.observed(k, g), cohorts.lost(k, g)})
        if (total > 0.0) {
          ++model.cohorts;
          model.histories += cohorts.possible_histories(k);
        }
      if (row.saturated == Saturated::closed_full)
        sum += lgamma(cohorts.observed(k, g) + cohorts.lost(k, g) + 1.0);
    }
  model.xlogs = -2.0 * sum;
  model.nsat = cells - model.cohorts;
  return model;
}

bool has_pearson_figures(const Job& job) {
  const Datatype& row = datatype(job.status.dattyp);
  if (!has_saturated_model(job)) return false;
  return row.saturated != Saturated::interval || !fates_of_several_intervals(job);
}

double effective_sample_size(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const Datatype& row = datatype(job.status.dattyp);
  double size = 0.0;
  for (int i = 1; i <= encounters.size(); ++i) {
    const History history = encounters.history(i);
    const bool animals = job.model.essanimals;
    const double of_released = animals ? 1.0 : opportunities(row, history, false);
    const bool any_lost =
        std::ranges::any_of(encounters.lost_on_capture(i), [](float n) { return n > 0.0f; });
    const double of_lost = animals || !any_lost ? 1.0 : opportunities(row, history, true);
    for (int g = 1; g <= job.status.ngrps; ++g) {
      const Animals counts = animals_of(encounters, i, g);
      size += of_released * counts.observed + of_lost * counts.lost;
    }
  }
  return size;
}

}  // namespace tarn
