#include "inference/cohorts.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <map>

#include "data/cell_checks.h"
#include "data/sessions.h"
#include "model/structure/pim.h"

namespace tarn {
namespace {

/// Count of young in a cell, -1 when the adult was not met.
int young(History history, int o) {
  const char tens = history.live(o), ones = history.dead(o);
  if (tens < '0' || tens > '9' || ones < '0' || ones > '9') return -1;
  return 10 * (tens - '0') + (ones - '0');
}

/// Histories of so many occasions, each with or without a capture.
double live_histories(int occasions) { return std::ldexp(1.0, occasions); }

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

/// Histories that can follow a capture on occasion `first` of K in a known stratum, of n. Of live and dead
/// encounters a recovery ends the history, in whatever interval.
double histories_in_strata(const Datatype& row, int n, int first, int K) {
  if (row.check != Cell_check::live_dead_strata) return std::pow(n + 1.0, K - first);
  double histories = 2.0;
  for (int o = K - 1; o >= first; --o) histories = 1.0 + (n + 1.0) * histories;
  return histories;
}

/// Histories that a site can show. Counts have no bound: what was shown counts.
double histories_of_sites(const Job& job, const Datatype& row) {
  const int K = job.status.noccas;
  switch (row.cell) {
    case Cell::occuprpoisson:
    case Cell::occuprnegbin:
      return job.data.encounters.size();
    case Cell::two_species:
    case Cell::two_species_conditional:
    case Cell::chprob141:
      return std::ldexp(1.0, 2 * K);
    case Cell::chprob177:
      return std::ldexp(1.0, job.status.nspeciesocc * K);
    case Cell::occupancyfp:
    case Cell::rdoccupfpeg:
    case Cell::msoccupancy:
      return std::pow(3.0, K);
    case Cell::rdmsoccrepro:
    case Cell::rdmsoccupancy:
      return std::pow(job.status.nstrta + 1.0, K);
    default:
      return live_histories(K);
  }
}

/// What a job says of all cohorts.
struct Cohort_rules {
  const Datatype& row;
  List<Primary_session> sessions;
  int strata, strata_of_captures;
  int uncertain;        ///< signs of captures that leave the stratum open
  double captures;      ///< signs that a capture may leave
  Second_signs second;  ///< and those of an interval
  bool states_told;     ///< the states of animals at a release have shares
  double of_sites;      ///< histories that a site can show; 0 of animals

  explicit Cohort_rules(const Job& job)
      : row(datatype(job.status.dattyp)),
        sessions(row.sessions ? primary_sessions(job) : List<Primary_session>()),
        strata(job.status.nstrta),
        strata_of_captures(tarn::strata_of_captures(job)),
        uncertain(uncertain_signs(job)),
        captures(stratum_limit(job, row) -
                 (row.stratum_limit == Stratum_limit::doubled_and_events ? strata : 0)),
        second(row.check == Cell_check::barker_strata ? second_signs(job, row) : Second_signs()),
        states_told(strata == 1 || has_matrix(job, "pi")),
        of_sites(tarn::of_sites(row) ? histories_of_sites(job, row) : 0.0) {}
};

/// Histories that can follow a capture on occasion `first` of K, whatever its sign. With resightings and
/// recoveries a recovery ends the history, in whatever interval.
double histories_of_signs(const Cohort_rules& rules, int first, int K) {
  if (rules.row.live) return std::pow(rules.captures + 1.0, K - first);
  const double alive = rules.second.resightings + 1.0, dead = rules.second.recoveries;
  double histories = alive + dead;
  for (int o = K - 1; o >= first; --o) histories = dead + alive * (rules.captures + 1.0) * histories;
  return histories;
}

/// Histories that start with a capture in session f, in a given stratum or in any; captures of one session
/// are all in one stratum, or leave it open, each by one of so many signs. Of live and dead encounters a
/// session has one code: a recovery ends the history, nothing or a resighting leaves every pattern of the
/// next session open.
double histories_from_session(const Datatype& row, const List<Primary_session>& sessions, int f, int strata,
                              int uncertain, bool stratum_given) {
  const bool codes = row.check == Cell_check::robust_barker;
  double later = 1.0;  // what can follow from the next session on
  for (int s = sessions.size(); s >= f; --s) {
    const int length = sessions(s).length;
    const double open = std::pow(1.0 + uncertain, length), known = std::pow(2.0 + uncertain, length) - open;
    double patterns = known * strata + open;
    if (s == f) patterns = stratum_given ? known : patterns - 1.0;
    later = patterns * (codes ? 1.0 + 2.0 * later : later);
  }
  return later;
}

/// The cohort of a record: a key of its own, and the number of histories that its animals can show.
struct Cohort_key {
  std::pair<int, int> key;
  double possible;
};

Cohort_key cohort_key(const Cohort_rules& rules, History history) {
  const Datatype& row = rules.row;
  const List<Primary_session>& sessions = rules.sessions;
  const int K = history.noccas();
  switch (row.saturated) {
    case Saturated::whole_group:
      if (rules.of_sites > 0.0) return {{0, 0}, rules.of_sites};
      if (row.nstarstate) return {{0, 0}, std::pow(rules.captures + 1.0, K) - 1.0};
      return {{0, 0}, live_histories(K) - 1.0};
    case Saturated::closed_full:
    case Saturated::group_full:
      return {{0, 0}, live_histories(K) - 1.0};
    case Saturated::brood: {
      const std::pair<int, int> brood = first_brood(history);
      return {brood, std::pow(brood.second + 1.0, K - std::max(brood.first, 1))};
    }
    case Saturated::interval:
      return {{first1(history), 0}, 2.0};
    case Saturated::last_capture: {
      const int last = last1(history);
      return {{last, 0}, live_histories(last - 1)};
    }
    case Saturated::session:
    case Saturated::session_full:
    case Saturated::session_stratum:
    case Saturated::session_stratum_full: {
      const bool by_stratum =
          row.saturated == Saturated::session_stratum || row.saturated == Saturated::session_stratum_full;
      const int first = first1(history);
      int f = 1;
      while (f < sessions.size() && sessions(f).last() < first) ++f;
      return {
          {f, by_stratum && first > 0 ? history.live(first) : 0},
          histories_from_session(row, sessions, f, rules.strata_of_captures, rules.uncertain, by_stratum)};
    }
    case Saturated::none:
    case Saturated::release:
    case Saturated::popan: {
      const int first = first1(history);
      return {{first, 0}, histories_after_release(row, first, K)};
    }
    case Saturated::release_stratum: {
      const int first = first1(history);
      return {{first, first > 0 ? history.live(first) : '0'},
              histories_in_strata(row, rules.strata, first, K)};
    }
    case Saturated::release_state: {
      const int first = first1(history);
      const double later = histories_of_signs(rules, first, K);
      // With shares of the states at a release its sign is part of what is told.
      if (rules.states_told) return {{first, 0}, rules.captures * later};
      return {{first, first > 0 ? history.live(first) : '0'}, later};
    }
    case Saturated::group_stratum: {
      const int first = first1(history);
      double histories = 0.0;
      for (int f = 1; f <= sessions.size(); ++f)
        histories += histories_from_session(row, sessions, f, rules.strata_of_captures, 0, true);
      return {{0, first > 0 ? history.live(first) : 0}, histories};
    }
  }
  assert(false);
  return {{0, 0}, std::numeric_limits<double>::quiet_NaN()};
}

}  // namespace

Animals animals_of(const Encounter_store& encounters, int i, int g) {
  const View<const float> observed = encounters.observed(i), lost = encounters.lost_on_capture(i);
  return {static_cast<double>(observed(g)), static_cast<double>(lost(g))};
}

std::pair<int, int> first_brood(History history) {
  for (int o = 1; o <= history.noccas(); ++o)
    if (const int count = young(history, o); count >= 0) return {o, count};
  return {0, 0};
}

Cohorts::Cohorts(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const Cohort_rules rules(job);
  std::map<std::pair<int, int>, int> numbers;
  cohort_.reserve(encounters.size());
  for (int i = 1; i <= encounters.size(); ++i) {
    const Cohort_key own = cohort_key(rules, encounters.history(i));
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

}  // namespace tarn
