// Abundance of animals at sites from repeated surveys: detections of the species (Royle and Nichols 2003) or
// counts of animals (Royle 2004). The model stands in blocks/abundance.h; a site's abundance is the same at
// all its surveys. The chance r(c) that an animal is detected stands in row 1, column c, Lambda and VarAdd in
// row 1, column 1. A cell of two digits is a count, of which every dot makes a survey that did not take
// place.

#include <algorithm>
#include <type_traits>

#include "likelihood/blocks/abundance.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

struct Counts : Site_visits {
  static Counts of(History h) {
    return {Site_visits::of(h, [h](int o) { return 10 * (h.live(o) - '0') + (h.dead(o) - '0'); })};
  }
};
struct Detections : Site_visits {
  static Detections of(History h) {
    return {Site_visits::of(h, [](int) { return 1; })};
  }
};

template <class Visits>
struct Abundance_family {
  struct Prepared : Record_facts<Visits> {
    explicit Prepared(const Job& job)
        : Record_facts<Visits>(job), spread(names_hold(datatype(job.status.dattyp).own, "VarAdd")) {}
    bool spread;  ///< VarAdd is a parameter
  };
  template <class Real>
  struct Kept : Abundance_kept<Real> {
    Visits made_up;
  };

  template <class Real>
  static Abundance<Real> animals(int j, const Reals<Real>& parm, Cell_work<Real>& work) {
    const Real& mean = parm[work.matrix(Parameter::Lambda, j)(1, 1)];
    if (!prepared<Abundance_family>(work).spread) return Abundance<Real>::of(mean, nullptr);
    return Abundance<Real>::of(mean, &parm[work.matrix(Parameter::VarAdd, j)(1, 1)]);
  }
};
using Counted = Abundance_family<Counts>;
using Detected = Abundance_family<Detections>;

template <class Real>
Ch_result<Real> result_of_log(const Real& log_of_prob) {
  return {exprep(log_of_prob), log_of_prob};
}

/// The chance that an animal is missed in all of some surveys, and 1 less that.
template <class Real>
struct Missed {
  Real all, caught;
};
template <class Real, class Matrix>
Missed<Real> missed_animals(std::span<const std::uint16_t> occasions, const Matrix& r,
                            const Reals<Real>& parm) {
  Real all = 1.0;
  for (const int o : occasions) all = all * (1.0 - parm[r(1, o)]);
  return {all, detail::caught_at_all(all, [&] {
            std::decay_t<decltype(plain(all))> sum = 0.0, missed = 1.0;
            for (const int o : occasions) {
              const auto& rate = plain(parm[r(1, o)]);
              sum += missed * rate;
              missed *= 1.0 - rate;
            }
            return sum;
          })};
}

/// Whether animals may be detected where they were: rates outside 0 to 1 tell of none.
template <class Real, class Matrix>
bool may_be_met(const Abundance<Real>& animals, const Site_visits& visits, const Matrix& r,
                const Reals<Real>& parm) {
  return value_of(animals.mean) > 0.0 && std::ranges::all_of(visits.met(), [&](int o) {
           const double rate = value_of(parm[r(1, o)]);
           return rate > 0.0 && rate <= 1.0;
         });
}

/// Log probability where some survey misses no animal, so that its count is their number.
template <class Real, class Matrix>
Real log_of_complete_count(const Abundance<Real>& animals, const Site_visits& visits, const Matrix& r,
                           const Reals<Real>& parm) {
  const double n = visits.largest;
  Real log_prob = visits.log_ways;
  for (std::size_t k = 0; k < visits.occasions.size(); ++k) {
    const Real& rate = parm[r(1, visits.occasions[k])];
    const double seen = k < visits.counts.size() ? visits.counts[k] : 0.0;
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
void counted_abundance(const Job&, Ch_result<Real>& result, History histry, int i, int j, int,
                       const Reals<Real>& parm, Cell_work<Real>& work) {
  const Site_visits& visits = facts_of<Counted>(work, i, histry);
  result = {};
  if (visits.occasions.empty()) return;
  const auto r = work.matrix(Parameter::r, j);
  const Abundance<Real> animals = Counted::animals(j, parm, work);
  const Missed<Real> missed = missed_animals<Real>(visits.occasions, r, parm);
  if (visits.counts.empty()) {
    result = result_of_log(animals.log_missed(missed.caught));
    return;
  }
  if (!may_be_met(animals, visits, r, parm) || value_of(missed.all) < 0.0) {
    result = Ch_result<Real>::floor();
    return;
  }
  // Another animal that all surveys missed is then beyond belief.
  if (detail::common_ratio(animals, missed.all) <= detail::least_common_ratio) {
    result = result_of_log(log_of_complete_count(animals, visits, r, parm));
    return;
  }
  Real log_odds = 0.0;
  for (std::size_t k = 0; k < visits.counts.size(); ++k) {
    const Real& rate = parm[r(1, visits.occasions[k])];
    log_odds = log_odds + static_cast<double>(visits.counts[k]) * floored_log(rate / (1.0 - rate));
  }
  result = result_of_log(log_of_counts(animals, visits, missed.all, missed.caught, log_odds, work));
}

template <class Real>
void detected_abundance(const Job&, Ch_result<Real>& result, History histry, int i, int j, int,
                        const Reals<Real>& parm, Cell_work<Real>& work) {
  const Site_visits& visits = facts_of<Detected>(work, i, histry);
  result = {};
  if (visits.occasions.empty()) return;
  const auto r = work.matrix(Parameter::r, j);
  const Abundance<Real> animals = Detected::animals(j, parm, work);
  const Missed<Real> missed = missed_animals<Real>(visits.missed(), r, parm);
  if (visits.counts.empty()) {
    result = result_of_log(animals.log_missed(missed.caught));
    return;
  }
  auto& own = kept<Detected>(work);
  own.reals.clear();
  for (const int o : visits.met()) own.reals.push_back(parm[r(1, o)]);
  result = may_be_met(animals, visits, r, parm) && value_of(missed.all) > 0.0
               ? result_of_log(log_of_detections(animals, missed.all, missed.caught, own, work))
               : Ch_result<Real>::floor();
}

TARN_CELL_ROUTINE(counted_abundance, Counted)
TARN_CELL_ROUTINE(detected_abundance, Detected)

}  // namespace tarn
