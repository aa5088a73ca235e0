#include "inference/saturd.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "data/sessions.h"
#include "inference/cohorts.h"
#include "numerics/special.h"

namespace tarn {
namespace {

/// n log(n / total), 0 for a count of 0.
double cell_term(double n, double total) { return n > 0.0 ? n * std::log(n / total) : 0.0; }

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
/// @param session  of each occasion; without primary sessions every occasion is one
double opportunities(const Datatype& row, const List<int>& session, History history, bool lost) {
  const int K = history.noccas();
  if (of_sites(row)) {
    for (int o = 1; o <= K; ++o)
      if (surveyed(history, o)) return 1.0;
    return 0.0;
  }
  int captures = 0, sampled = 0, before_last = 0, counted = 0;
  for (int o = 1; o <= K; ++o) {
    if (history.live(o) != '.') ++sampled;
    if (!captured(history.live(o))) continue;
    ++captures;
    if (session(o) == counted) continue;
    counted = session(o);
    if (counted < session.back()) ++before_last;
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
  // Of live and dead encounters in strata a recovery is an observation as a capture is.
  const bool recovered = row.check == Cell_check::live_dead_strata && !lost && lastdr(history) > 0;
  // The last capture of an animal lost there is no release.
  const bool not_released = lost && counted > 0 && counted < session.back();
  return before_last + (recovered ? 1.0 : 0.0) - (not_released ? 1.0 : 0.0);
}

/// Sum of n log(n / N) over cells.
struct Cell_sum {
  double sum = 0.0;
  int parameters = 0;  ///< cells with an animal less their totals

  void add_cell(double n, double total) {
    sum += cell_term(n, total);
    parameters += n > 0.0 ? 1 : 0;
  }
  void add_total(double total) { parameters -= total > 0.0 ? 1 : 0; }
};

/// Counts of one kind of animals by cell, in sets with a total each.
class Cell_counts_by_set {
 public:
  void add(int set, std::string cell, double n) {
    if (!(n > 0.0)) return;
    cells_[{set, std::move(cell)}] += n;
    totals_[set] += n;
  }
  double total(int set) const {
    const auto place = totals_.find(set);
    return place == totals_.end() ? 0.0 : place->second;
  }
  void add_to(Cell_sum& sum) const {
    for (const auto& [cell, n] : cells_) sum.add_cell(n, total(cell.first));
    for (const auto& [set, n] : totals_) sum.add_total(n);
  }

 private:
  std::map<std::pair<int, std::string>, double> cells_;
  std::map<int, double> totals_;
};

/// What a history shows of the sessions: in each the code of a capture, none, or no sampling, and the code of
/// the dead columns, which is the last one.
std::string primary_pattern(History history, const List<Primary_session>& sessions) {
  std::string pattern;
  for (const Primary_session& session : sessions) {
    char live = '.', dead = '0';
    for (int o = session.before + 1; o <= session.last(); ++o) {
      const char cell = history.live(o);
      if (captured(cell))
        live = cell;
      else if (cell == '0' && live == '.')
        live = '0';
      if (history.dead(o) != '0') dead = history.dead(o);
    }
    pattern += live;
    pattern += dead;
  }
  return pattern;
}

/// Captures of one session as they were; empty without one.
std::string captures_within(History history, const Primary_session& session) {
  std::string cells;
  bool any = false;
  for (int o = session.before + 1; o <= session.last(); ++o) {
    cells += history.live(o);
    any = any || captured(history.live(o));
  }
  return any ? cells : std::string();
}

/// Full likelihoods of several closed sessions: the chain between sessions and the captures within each of
/// them are told apart, and each session has the supremum of its term over the number never caught there,
/// which for M animals caught is lgamma(M + 1); of strata every one by itself.
Cell_sum cells_of_full_sessions(const Job& job, const Cohorts& cohorts) {
  const Encounter_store& encounters = job.data.encounters;
  const List<Primary_session> sessions = primary_sessions(job);
  const int strata = strata_of_captures(job);
  Cell_sum sum;
  for (int g = 1; g <= job.status.ngrps; ++g) {
    Cell_counts_by_set released, lost;  // sets below 0: within a session, by stratum
    const auto within = [strata](int s, int stratum) { return -((s - 1) * strata + stratum); };
    for (int i = 1; i <= encounters.size(); ++i) {
      const History history = encounters.history(i);
      const Animals animals = animals_of(encounters, i, g);
      const auto add = [&](int set, const std::string& cell) {
        released.add(set, cell, animals.observed);
        lost.add(set, cell, animals.lost);
      };
      add(cohorts.cohort_of(i), primary_pattern(history, sessions));
      for (int s = 1; s <= sessions.size(); ++s)
        if (const std::string cells = captures_within(history, sessions(s)); !cells.empty())
          add(within(s, stratum_in(job, history, sessions(s))), cells);
    }
    released.add_to(sum);
    lost.add_to(sum);
    for (int s = 1; s <= sessions.size(); ++s)
      for (int k = 1; k <= strata; ++k)
        sum.sum += lgamma(released.total(within(s, k)) + lost.total(within(s, k)) + 1.0);
  }
  return sum;
}

/// Each history is a cell of its cohort.
Cell_sum cells_of_histories(const Job& job, const Cohorts& cohorts) {
  const Encounter_store& encounters = job.data.encounters;
  Cell_sum sum;
  for (int g = 1; g <= job.status.ngrps; ++g) {
    for (int i = 1; i <= encounters.size(); ++i) {
      const int cohort = cohorts.cohort_of(i);
      const Animals animals = animals_of(encounters, i, g);
      sum.add_cell(animals.observed, cohorts.observed(cohort, g));
      sum.add_cell(animals.lost, cohorts.lost(cohort, g));
    }
    for (int k = 1; k <= cohorts.count(); ++k) {
      sum.add_total(cohorts.observed(k, g));
      sum.add_total(cohorts.lost(k, g));
    }
  }
  return sum;
}

/// First captures of a superpopulation, at their supremum over its size and over the entries: nobody is left
/// out, and the T animals come in the shares that were met.
void add_first_captures(const Job& job, const Cohorts& cohorts, Cell_sum& sum) {
  for (int g = 1; g <= job.status.ngrps; ++g) {
    double total = 0.0;
    for (int k = 1; k <= cohorts.count(); ++k) total += cohorts.observed(k, g) + cohorts.lost(k, g);
    sum.sum += lgamma(total + 1.0);
    sum.add_total(total);
    for (int k = 1; k <= cohorts.count(); ++k) {
      const double first = cohorts.observed(k, g) + cohorts.lost(k, g);
      sum.add_cell(first, total);
      sum.sum -= lgamma(first + 1.0);
    }
  }
}

}  // namespace

bool has_saturated_model(const Job& job) {
  return job.status.nicovs == 0 && datatype(job.status.dattyp).saturated != Saturated::none;
}

Saturated_model saturd(const Job& job) {
  const Datatype& row = datatype(job.status.dattyp);
  if (!has_saturated_model(job)) {
    Saturated_model model;
    model.nsat = records_with_a_count(job);
    return model;
  }
  if (row.saturated == Saturated::interval) return saturated_fates(job);

  const Cohorts cohorts(job);
  const bool full_sessions = row.saturated == Saturated::session_full ||
                             row.saturated == Saturated::session_stratum_full ||
                             row.saturated == Saturated::group_full;
  Cell_sum sum = full_sessions ? cells_of_full_sessions(job, cohorts) : cells_of_histories(job, cohorts);
  if (row.saturated == Saturated::popan) add_first_captures(job, cohorts, sum);
  Saturated_model model;
  for (int k = 1; k <= cohorts.count(); ++k)
    for (int g = 1; g <= job.status.ngrps; ++g) {
      for (const double total : {cohorts.observed(k, g), cohorts.lost(k, g)})
        if (total > 0.0) {
          ++model.cohorts;
          model.histories += cohorts.possible_histories(k);
        }
      if (row.saturated == Saturated::closed_full)
        sum.sum += lgamma(cohorts.observed(k, g) + cohorts.lost(k, g) + 1.0);
    }
  model.xlogs = -2.0 * sum.sum;
  model.nsat = sum.parameters;
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
  const List<int> session = periods_of(job, row.sessions);
  double size = 0.0;
  for (int i = 1; i <= encounters.size(); ++i) {
    const History history = encounters.history(i);
    const bool animals = job.model.essanimals;
    const double of_released = animals ? 1.0 : opportunities(row, session, history, false);
    const bool any_lost =
        std::ranges::any_of(encounters.lost_on_capture(i), [](float n) { return n > 0.0f; });
    const double of_lost = animals || !any_lost ? 1.0 : opportunities(row, session, history, true);
    for (int g = 1; g <= job.status.ngrps; ++g) {
      const Animals counts = animals_of(encounters, i, g);
      size += of_released * counts.observed + of_lost * counts.lost;
    }
  }
  return size;
}

}  // namespace tarn
