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
  find_classes(job);
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

void Stratum_records::find_classes(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const int groups = job.status.ngrps;
  const auto place = [&](int j, int first) {
    return static_cast<std::size_t>((j - 1) * noccas_ + first - 1);
  };
  std::vector<char> present(static_cast<std::size_t>(groups * noccas_), 0);
  for (int i = 1; i <= encounters.size(); ++i) {
    const int first = facts_[static_cast<std::size_t>(i) - 1].first;
    for (int j = 1; first > 0 && j <= groups; ++j)
      if (encounters.observed(i, j) > 0.0F || encounters.lost_on_capture(i, j) > 0.0F)
        present[place(j, first)] = 1;
  }
  const Pim_table pims(job);
  Pim_report report;
  const auto at = [&](Parameter parameter, int a, int b, int j) {
    return pims.checked(job, parameter, a, b, j, report);
  };
  const auto last_of = [&](bool extra) { return extra ? noccas_ : noccas_ - 1; };
  const auto complete = [&](int j, int first) {
    report.fault = {};
    for_each_stratum_matrix(strata_, recoveries_, [&](Parameter parameter, int a, int b, bool extra) {
      const Checked_pim rates = at(parameter, a, b, j);
      if (parameter == Parameter::Psi && rates.nrows == 0) return;
      for (int c = first; c <= last_of(extra); ++c) rates(first, c);
    });
    return !report.fault.found;
  };
  const auto same = [&](int k, int j, int first) {
    const Stratum_class& of = classes_[static_cast<std::size_t>(k)];
    bool alike = true;
    for_each_stratum_matrix(strata_, recoveries_, [&](Parameter parameter, int a, int b, bool extra) {
      const Checked_pim one = at(parameter, a, b, of.group), other = at(parameter, a, b, j);
      if ((one.nrows > 0) != (other.nrows > 0)) alike = false;
      for (int c = first; alike && one.nrows > 0 && c <= last_of(extra); ++c)
        alike = one(of.first, c) == other(first, c);
    });
    return alike;
  };
  class_at_.assign(present.size(), -1);
  for (int j = 1; j <= groups; ++j)
    for (int first = 1; first <= noccas_; ++first) {
      if (!present[place(j, first)] || !complete(j, first)) continue;
      int& found = class_at_[place(j, first)];
      // A cohort is like one before it, or like the one of another group; else it is new.
      for (int k = static_cast<int>(classes_.size()) - 1; found < 0 && k >= 0; --k)
        if (classes_[static_cast<std::size_t>(k)].first <= first && same(k, j, first)) found = k;
      if (found >= 0) continue;
      found = static_cast<int>(classes_.size());
      classes_.push_back({j, first});
    }
}

void Stratum_records::count_animals(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  std::size_t histories = 0;
  counted_.assign(facts_.size(), 0);
  for (int i = 1; i <= encounters.size(); ++i) {
    const Stratum_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
    if (facts.first == 0 || !facts.sampled) continue;
    // A count that is not above 0 is no animal.
    const auto observed_in = [&](int j) { return std::max(encounters.observed(i, j), 0.0F); };
    const auto lost_in = [&](int j) { return std::max(encounters.lost_on_capture(i, j), 0.0F); };
    bool in_classes = true;
    for (int j = 1; j <= job.status.ngrps; ++j)
      in_classes = in_classes && (observed_in(j) + lost_in(j) == 0.0F || class_of(j, facts.first) >= 0);
    if (!in_classes) continue;
    counted_[static_cast<std::size_t>(i) - 1] = 1;
    for (int j = 1; j <= job.status.ngrps; ++j) {
      const double observed = observed_in(j), lost = lost_in(j);
      if (observed + lost == 0.0) continue;
      histories += (observed > 0.0 ? 1U : 0U) + (lost > 0.0 ? 1U : 0U);
      const int k = class_of(j, facts.first);
      int left = facts.first;
      const auto from = [&] { return static_cast<int>(facts.codes[left - 1]); };
      for (int o = facts.first + 1; o <= facts.lastlc; ++o) {
        if (facts.codes[o - 1] == 0) continue;
        counts_.push_back({k, left, from(), o, facts.codes[o - 1], observed + lost});
        left = o;
      }
      for (const bool removed : {false, true}) {
        const double animals = removed ? lost : observed;
        const int recovered = facts.recovered_of(removed);
        if (animals > 0.0 && !(removed && recovered == 0))
          counts_.push_back({k, left, from(), recovered, 0, animals});
      }
    }
  }
  const auto key = [](const Stratum_count& of) {
    return std::tuple(of.of_class, of.left, of.from, of.next, of.to);
  };
  std::sort(counts_.begin(), counts_.end(),
            [&](const Stratum_count& a, const Stratum_count& b) { return key(a) < key(b); });
  auto to = counts_.begin();
  for (auto each = counts_.begin(); each != counts_.end(); ++each) {
    if (to != counts_.begin() && key(*(to - 1)) == key(*each))
      (to - 1)->animals += each->animals;
    else
      *to++ = *each;
  }
  counts_.erase(to, counts_.end());
  if (counts_.size() >= histories) counted_.clear();
}

}  // namespace tarn
