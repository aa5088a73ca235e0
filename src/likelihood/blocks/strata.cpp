#include "likelihood/blocks/strata.h"

#include <tuple>

namespace tarn {

Stratum_records::Stratum_records(const Job& job, bool recoveries)
    : strata_(job.status.nstrta),
      noccas_(job.status.noccas),
      recoveries_(recoveries),
      signs_(job.data.strata.substr(0, static_cast<std::size_t>(strata_))) {
  const Encounter_store& encounters = job.data.encounters;
  const std::size_t records = static_cast<std::size_t>(encounters.size());
  if (records == 0) return;
  cells_ = encounters.history(1).cells();
  stride_ = 2 * static_cast<std::size_t>(noccas_);
  codes_.resize(records * static_cast<std::size_t>(noccas_));
  facts_.reserve(records);
  for (int i = 1; i <= encounters.size(); ++i)
    facts_.push_back(facts_of(encounters.history(i), codes_.data() + (static_cast<std::size_t>(i) - 1) *
                                                                         static_cast<std::size_t>(noccas_)));
  if (reals_depend_on_record(job.model)) return;
  const Pim_table pims(job);
  cohorts_ = Cohort_classes(
      job, [&](int i) { return facts_[static_cast<std::size_t>(i) - 1].first; },
      [&](int j, int first, int from, std::vector<int>& found) {
        return find_numbers(job, pims, j, first, from, found);
      });
  count_animals(job);
}

Stratum_facts Stratum_records::facts_of(History histry, unsigned char* codes) const {
  Stratum_facts facts{History_facts::of(histry)};
  facts.codes = codes;
  for (int o = 1; o <= histry.noccas(); ++o) {
    const char live = histry.live(o);
    const std::size_t place = signs_.find(live);
    codes[o - 1] = static_cast<unsigned char>(place != std::string::npos ? static_cast<int>(place) + 1
                                              : live == '.'              ? strata_ + 1
                                                                         : 0);
    if (facts.first == 0 || o < facts.first) continue;
    facts.sampled = facts.sampled && live != '.';
    if (recoveries_ && facts.recovered == 0 && histry.dead(o) != '0') facts.recovered = o;
  }
  return facts;
}

bool Stratum_records::find_numbers(const Job& job, const Pim_table& pims, int j, int first, int from,
                                   std::vector<int>& found) const {
  Pim_report report;
  found.clear();
  for_each_stratum_matrix(strata_, recoveries_, [&](Parameter parameter, int a, int b, bool extra) {
    const Checked_pim rates = pims.checked(job, parameter, a, b, j, report);
    if (parameter == Parameter::Psi && rates.nrows == 0) {
      found.push_back(0);  // does not happen
      return;
    }
    for (int c = from; c <= (extra ? noccas_ : noccas_ - 1); ++c) found.push_back(rates(first, c));
  });
  return !report.fault.found;
}

void Stratum_records::count_animals(const Job& job) {
  const auto add = [&](int i, int k, const Cohort_animals& animals) {
    const Stratum_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
    int left = facts.first;
    const auto from = [&] { return static_cast<int>(facts.codes[left - 1]); };
    for (int o = facts.first + 1; o <= facts.lastlc; ++o) {
      if (facts.codes[o - 1] == 0) continue;
      counts_.push_back({k, left, from(), o, facts.codes[o - 1], animals.all()});
      left = o;
    }
    for (const bool lost : {false, true}) {
      const double of_kind = lost ? animals.lost : animals.observed;
      const int recovered = facts.recovered_of(lost);
      if (of_kind > 0.0 && !(lost && recovered == 0))
        counts_.push_back({k, left, from(), recovered, 0, of_kind});
    }
  };
  const auto sampled_first = [&](int i) {
    const Stratum_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
    return facts.sampled ? facts.first : 0;
  };
  const std::size_t histories = cohorts_.count(job, sampled_first, counted_, add);
  const auto key = [](const Stratum_count& of) {
    return std::tuple(of.of_class, of.left, of.from, of.next, of.to);
  };
  std::sort(counts_.begin(), counts_.end(),
            [&](const Stratum_count& a, const Stratum_count& b) { return key(a) < key(b); });
  add_up_alike(counts_, [&](const Stratum_count& a, const Stratum_count& b) { return key(a) == key(b); });
  if (counts_.size() >= histories) counted_.clear();
}

}  // namespace tarn
