#pragma once
// Simulated data for measurements. The same seed gives the same data on every machine.

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::bench {

/// Live recaptures: animals are released for the first time on occasions 1 to `last_release` in turn, survive
/// interval c with logit^-1(a(c) + slope x) and are caught with p(c); x is standard normal, in every animal.
struct Live_design {
  int occasions = 20;
  int animals = 1000;
  int groups = 1;
  double slope = 0.0;          ///< of survival in the covariate; with a slope records are not folded
  double mean_logit = 1.2;     ///< of a(c) over c
  double mean_capture = 0.34;  ///< of p(c) over c
  int last_release = 0;        ///< 0: the last occasion but one
  int distinct = 0;            ///< without a slope: not `animals`, but until so many histories differ
  std::uint64_t seed = 1;

  double survival_logit(int c) const;  ///< a(c)
  double capture(int c) const;         ///< p of occasion c + 1
};

struct Live_record {
  std::string live;         ///< one character an occasion
  std::vector<int> counts;  ///< by group
  double covariate = 0.0;
};

/// One record an animal with a slope, else one a distinct history.
std::vector<Live_record> live_recaptures(const Live_design& design);

/// Captures in a closed population: a first capture on occasion o with logit^-1(a(o) + slope x), a later one
/// with the logit raised by `recapture_offset`; x is standard normal, in every animal. Only animals that were
/// caught have records.
struct Closed_design {
  int occasions = 10;
  int animals = 1000;  ///< caught
  double slope = 0.0;  ///< with a slope records are not folded
  double recapture_offset = 0.6;
  std::uint64_t seed = 1;
  double intercept = -1.0;  ///< mean of a(o)

  double capture_logit(int o) const;  ///< a(o)
};

struct Closed_record {
  std::string live;
  int count = 1;
  double covariate = 0.0;
};

/// One record an animal with a slope, else one a distinct history.
std::vector<Closed_record> closed_captures(const Closed_design& design);

/// An open population that is caught in primary sessions: `sessions` of `occasions` each. It has `animals`
/// members in the first session; S(s) of them live to the next session, and entrants keep its size. One that
/// is present leaves with `leaves`, one that is away stays so with `stays_away`; one present is caught with
/// p(s) on each occasion. Only animals that were caught have records.
struct Session_design {
  int sessions = 10, occasions = 5;
  int animals = 1000;
  double leaves = 0.2, stays_away = 0.5;
  std::uint64_t seed = 1;

  double survival(int s) const;  ///< S(s)
  double capture(int s) const;   ///< p(s)
};

struct Session_record {
  std::string live;
  int count = 1;
};

/// One record a distinct history.
std::vector<Session_record> session_captures(const Session_design& design);

/// Animals that live in strata A, B, ...: released in turn on all occasions but the last, and in turn in all
/// strata; of stratum a they survive an interval with S(a), move to b with Psi(a, b), and are caught on
/// occasion o + 1 with p(a, o). With `hidden` a capture leaves "u" with a chance of the stratum, else its
/// letter.
struct Strata_design {
  int strata = 5, occasions = 20;
  int animals = 10000;
  bool hidden = false;
  std::uint64_t seed = 7;

  // Strata and occasions from 0.
  static double survival(int a) { return 0.75 + 0.02 * (a % 5); }
  static double capture(int a, int o) { return 0.3 + 0.03 * (a % 4) + 0.02 * (o % 3); }
  double moves(int a, int b) const { return 0.4 / strata * (1.0 + 0.2 * ((a + b) % 3)); }
  static double uncertain(int a) { return 0.2 + 0.05 * (a % 3); }
};

/// One history an animal, as they were released.
std::vector<std::string> strata_captures(const Strata_design& design);

/// Sites surveyed in seasons: occupied in the first one with logit 0.4 + slope x, x standard normal; then
/// empty ones are colonised with 0.2, occupied ones die out with 0.25; occupied, survey j detects with p(j).
/// With `counts` a site has a Poisson number of animals, of mean exp(0.7 + slope x), each counted with p(j).
struct Site_design {
  int sites = 1000, seasons = 1, surveys = 10;
  double slope = 0.0;
  bool counts = false;
  std::uint64_t seed = 1;

  static double detection(int j) { return 0.25 + 0.05 * (j % 4); }  ///< j from 0
};

struct Site_record {
  std::string history;  ///< two characters a survey with `counts`
  double covariate = 0.0;
};

/// One record a site.
std::vector<Site_record> site_surveys(const Site_design& design);

}  // namespace tarn::bench
