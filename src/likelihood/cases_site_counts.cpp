// Abundance of animals at sites from repeated surveys: detections of the species (Royle and Nichols 2003) or
// counts of animals (Royle 2004). The model stands in blocks/abundance.h; a site's abundance is the same at
// all its surveys. The chance r(c) that an animal is detected stands in row 1, column c, Lambda and VarAdd in
// row 1, column 1. A cell of two digits is a count, of which every dot makes a survey that did not take
// place.

#include <type_traits>

#include "likelihood/blocks/abundance.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

/// What no parameter changes.
struct Site_counts {
  int surveys = 0, largest = 0;  ///< surveys that took place, largest count
  double log_ways = 0.0;         ///< logarithm of the product of C(largest, n)

  static int count(History h, int o) { return 10 * (h.live(o) - '0') + (h.dead(o) - '0'); }

  static Site_counts of(History h) {
    Site_counts facts;
    for (int o = 1; o <= h.noccas(); ++o)
      if (surveyed(h, o)) {
        ++facts.surveys;
        facts.largest = std::max(facts.largest, count(h, o));
      }
    for (int o = 1; o <= h.noccas(); ++o)
      if (surveyed(h, o))
        for (int j = 0; j < count(h, o); ++j) facts.log_ways += std::log((facts.largest - j) / (j + 1.0));
    return facts;
  }
};

/// Of detections: whether there was a survey, and one of them.
struct Site_detections {
  int surveys = 0;
  bool any = false;

  static Site_detections of(History h) {
    Site_detections facts;
    for (int o = 1; o <= h.noccas(); ++o)
      if (surveyed(h, o)) {
        ++facts.surveys;
        facts.any = facts.any || detected(h, o);
      }
    return facts;
  }
};

template <class Facts>
struct Abundance_family {
  using Prepared = Record_facts<Facts>;
  template <class Real>
  struct Kept : Abundance_kept<Real> {
    Facts made_up;
  };
};
using Counted = Abundance_family<Site_counts>;
using Detected = Abundance_family<Site_detections>;

template <class Real>
Ch_result<Real> result_of_log(const Real& log_of_prob) {
  return {exprep(log_of_prob), log_of_prob};
}

template <class Real>
Abundance<Real> abundance_at(const Job& job, int j, const Reals<Real>& parm, Cell_work<Real>& work) {
  const Real& mean = parm[work.matrix(Parameter::Lambda, j)(1, 1)];
  if (!names_hold(datatype(job.status.dattyp).own, "VarAdd")) return Abundance<Real>::of(mean, nullptr);
  return Abundance<Real>::of(mean, &parm[work.matrix(Parameter::VarAdd, j)(1, 1)]);
}

/// The chance that an animal is missed in all surveys that `chosen(o)` names, and 1 less that.
template <class Real>
struct Missed {
  Real all, caught;
};
template <class Real, class Matrix, class Chosen>
Missed<Real> missed_animals(History histry, const Matrix& r, const Reals<Real>& parm, const Chosen& chosen) {
  Real all = 1.0;
  for (int o = 1; o <= histry.noccas(); ++o)
    if (chosen(o)) all = all * (1.0 - parm[r(1, o)]);
  return {all, detail::caught_at_all(all, [&] {
            std::decay_t<decltype(plain(all))> sum = 0.0, missed = 1.0;
            for (int o = 1; o <= histry.noccas(); ++o)
              if (chosen(o)) {
                const auto& rate = plain(parm[r(1, o)]);
                sum += missed * rate;
                missed *= 1.0 - rate;
              }
            return sum;
          })};
}

/// Log probability where some survey misses no animal, so that its count is their number.
template <class Real, class Matrix>
Real log_of_complete_count(const Abundance<Real>& animals, const Site_counts& facts, History histry,
                           const Matrix& r, const Reals<Real>& parm) {
  const double n = facts.largest;
  Real log_prob = facts.log_ways;
  for (int o = 1; o <= histry.noccas(); ++o) {
    if (!surveyed(histry, o)) continue;
    const Real& rate = parm[r(1, o)];
    const double seen = Site_counts::count(histry, o);
    if (seen > 0.0) log_prob = log_prob + seen * floored_log(rate);
    if (seen < n) log_prob = log_prob + (n - seen) * floored_log(1.0 - rate);
  }
  log_prob = log_prob + n * floored_log(animals.mean) - lgamma(n + 1.0);
  if (animals.poisson) return log_prob - animals.mean;
  // (k)_n (k / (k + l))^k (l / (k + l))^n / n!
  return log_prob + lgamma_rise(animals.size, n) - n * log(animals.size + animals.mean) -
         animals.size * log1p(animals.mean / animals.size);
}

}  // namespace

template <class Real>
void counted_abundance(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int,
                       const Reals<Real>& parm, Cell_work<Real>& work) {
  const Site_counts& facts = facts_of<Counted>(work, i, histry);
  if (facts.surveys == 0) {
    result = {};
    return;
  }
  const auto r = work.matrix(Parameter::r, j);
  const Abundance<Real> animals = abundance_at(job, j, parm, work);
  const auto taken = [histry](int o) { return surveyed(histry, o); };
  const Missed<Real> missed = missed_animals(histry, r, parm, taken);
  if (facts.largest == 0) {
    result = result_of_log(animals.log_missed(missed.caught));
    return;
  }
  std::vector<double>& counts = kept<Counted>(work).counts;
  counts.clear();
  bool possible = value_of(animals.mean) > 0.0;
  for (int o = 1; o <= histry.noccas(); ++o) {
    if (!taken(o)) continue;
    const double count = Site_counts::count(histry, o);
    if (count == 0.0) continue;
    counts.push_back(count);
    const double rate = value_of(parm[r(1, o)]);
    possible = possible && rate > 0.0 && rate <= 1.0;
  }
  if (!possible || value_of(missed.all) < 0.0) {
    result = Ch_result<Real>::floor();
    return;
  }
  // Another animal that all surveys missed is then beyond belief.
  if (detail::common_ratio(animals, missed.all) <= detail::least_common_ratio) {
    result = result_of_log(log_of_complete_count(animals, facts, histry, r, parm));
    return;
  }
  Real log_odds = 0.0;
  for (int o = 1; o <= histry.noccas(); ++o) {
    if (!taken(o) || Site_counts::count(histry, o) == 0) continue;
    const Real& rate = parm[r(1, o)];
    log_odds = log_odds + Site_counts::count(histry, o) * floored_log(rate / (1.0 - rate));
  }
  result = result_of_log(log_of_counts(animals, facts.largest, counts, facts.log_ways, missed.all,
                                       missed.caught, log_odds, work));
}

template <class Real>
void detected_abundance(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int,
                        const Reals<Real>& parm, Cell_work<Real>& work) {
  const Site_detections& facts = facts_of<Detected>(work, i, histry);
  if (facts.surveys == 0) {
    result = {};
    return;
  }
  const auto r = work.matrix(Parameter::r, j);
  const Abundance<Real> animals = abundance_at(job, j, parm, work);
  const Missed<Real> missed = missed_animals(
      histry, r, parm, [histry](int o) { return surveyed(histry, o) && !detected(histry, o); });
  if (!facts.any) {
    result = result_of_log(animals.log_missed(missed.caught));
    return;
  }
  auto& own = kept<Detected>(work);
  own.reals.clear();
  bool possible = value_of(animals.mean) > 0.0 && value_of(missed.all) > 0.0;
  for (int o = 1; o <= histry.noccas(); ++o)
    if (surveyed(histry, o) && detected(histry, o)) {
      own.reals.push_back(parm[r(1, o)]);
      possible = possible && value_of(own.reals.back()) > 0.0 && value_of(own.reals.back()) <= 1.0;
    }
  result = possible ? result_of_log(log_of_detections(animals, missed.all, missed.caught, own, work))
                    : Ch_result<Real>::floor();
}

TARN_CELL_ROUTINE(counted_abundance, Counted)
TARN_CELL_ROUTINE(detected_abundance, Detected)

}  // namespace tarn
