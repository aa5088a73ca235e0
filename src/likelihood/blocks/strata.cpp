#include "likelihood/blocks/strata.h"

#include <tuple>

#include "data/catalogue/datatype.h"
#include "likelihood/blocks/samplings.h"

namespace tarn {

Stratum_records::Stratum_records(const Job& job, const Stratum_study& study)
    : study_(study),
      strata_(job.status.nstrta),
      signs_(job.data.strata.substr(0, static_cast<std::size_t>(strata_))) {
  if (study_.sessions)
    for_each_session(job, [&](int, const Primary_session& session) { ends_.push_back(session.last()); });
  else
    for (int o = 1; o <= job.status.noccas; ++o) ends_.push_back(o);
  const Encounter_store& encounters = job.data.encounters;
  const std::size_t records = static_cast<std::size_t>(encounters.size());
  if (records == 0) return;
  cells_ = encounters.history(1).cells();
  stride_ = 2 * static_cast<std::size_t>(job.status.noccas);
  codes_.resize(records * ends_.size());
  facts_.reserve(records);
  for (int i = 1; i <= encounters.size(); ++i)
    facts_.push_back(
        facts_of(encounters.history(i), codes_.data() + (static_cast<std::size_t>(i) - 1) * ends_.size()));
  if (reals_depend_on_record(job.model)) return;
  find_samplings();
  const Pim_table pims(job);
  cohorts_ = Cohort_classes(
      job, [&](int i) { return facts_[static_cast<std::size_t>(i) - 1].first; },
      [&](int j, int first, int from, std::vector<int>& found) {
        return find_numbers(job, pims, j, first, from, found);
      });
  count_animals(job);
}

Stratum_facts Stratum_records::facts_of(History histry, unsigned char* codes) const {
  Stratum_facts facts;
  facts.codes = codes;
  facts.sampling = -1;
  int o = 1;
  for (int period = 1; period <= periods(); ++period) {
    bool sampled = false;
    int code = 0;
    for (; o <= ends_[static_cast<std::size_t>(period) - 1]; ++o) {
      const char live = histry.live(o);
      sampled = sampled || live != '.';
      if (const std::size_t place = signs_.find(live); place != std::string::npos && code == 0)
        code = static_cast<int>(place) + 1;
      if (study_.recoveries && facts.recovered == 0 && (facts.first > 0 || code > 0) && histry.dead(o) != '0')
        facts.recovered = period;
    }
    codes[period - 1] = static_cast<unsigned char>(sampled ? code : strata_ + 1);
    if (sampled) facts.last_sampled = period;
    if (code == 0) continue;
    if (facts.first == 0) facts.first = period;
    facts.last_caught = period;
  }
  return facts;
}

void Stratum_records::find_samplings() {
  Samplings samplings;
  for (int i = 1; i <= static_cast<int>(facts_.size()); ++i) {
    const int first = facts(i).first;
    if (first == 0) continue;
    const int from = study_.whole_study || first == 1 ? 1 : time_interval(first - 1) + 1;
    samplings.add(i, text_of_sampling(history(i), from), first);
  }
  samplings.number_them();
  for (int i = 1; i <= static_cast<int>(facts_.size()); ++i)
    facts_[static_cast<std::size_t>(i) - 1].sampling = samplings.of(i);
  examples_ = samplings.examples();
}

bool Stratum_records::find_numbers(const Job& job, const Pim_table& pims, int j, int first, int from,
                                   std::vector<int>& found) const {
  Pim_report report;
  found.clear();
  // What the first capture hangs on is not looked at; two groups may differ there.
  if (study_.starts) found.push_back(j);
  const auto add = [&](Parameter parameter, int a, int b, int last) {
    const Checked_pim rates = pims.checked(job, parameter, a, b, j, report);
    if (parameter == Parameter::Psi && rates.nrows == 0) {
      found.push_back(0);  // does not happen
      return;
    }
    if (study_.whole_study && parameter == Parameter::p) {
      // There may be no column for the first occasion.
      for (int c = 1; c <= std::max(rates.ncols, 1); ++c) found.push_back(rates(1, c));
      return;
    }
    for (int c = from; c <= last; ++c) found.push_back(rates(row(first), c));
  };
  for (int a = 1; a <= strata_; ++a) {
    add(Parameter::S, a, 1, intervals());
    if (!study_.sessions) add(Parameter::p, a, 1, periods() - 1);
    if (study_.recoveries) add(Parameter::r, a, 1, intervals());
  }
  for_each_transition(strata_, [&](int a, int b) { add(Parameter::Psi, a, b, periods() - 1); });
  if (study_.sessions) find_numbers_within(job, pims, j, from, found, report);
  return !report.fault.found;
}

void Stratum_records::find_numbers_within(const Job& job, const Pim_table& pims, int j, int from,
                                          std::vector<int>& found, Pim_report& report) const {
  // Of a session every cell that a matrix has: which of them are read, the family alone knows.
  for (std::size_t k = 0; k < parameter_names.size(); ++k) {
    const Parameter parameter = static_cast<Parameter>(k);
    const int q = pims.position(parameter);
    if (q == 0 || parameter == Parameter::S || parameter == Parameter::Psi || parameter == Parameter::f0)
      continue;
    for (int a = 1; a <= strata_; ++a)
      for (int s = from; s <= periods(); ++s) {
        const Checked_pim rates = pims.checked(job, parameter, a, s, j, report);
        found.insert(found.end(), {rates.nrows, rates.ncols});
        for_each_cell(job.model.pim2(q, a, s, j), [&](int r, int c, int) { found.push_back(rates(r, c)); });
      }
  }
}

void Stratum_records::count_animals(const Job& job) {
  const auto add = [&](int i, int k, const Cohort_animals& animals) {
    const Stratum_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
    int left = facts.first;
    const auto from = [&] { return static_cast<int>(facts.codes[left - 1]); };
    if (study_.starts) first_counts_.push_back({k, facts.sampling, left, from(), 0, 0, animals.all()});
    for (int o = facts.first + 1; o <= facts.last_caught; ++o) {
      if (facts.codes[o - 1] == 0 || facts.codes[o - 1] > strata_) continue;
      counts_.push_back({k, facts.sampling, left, from(), o, facts.codes[o - 1], animals.all()});
      left = o;
    }
    for (const bool lost : {false, true}) {
      const double of_kind = lost ? animals.lost : animals.observed;
      const int recovered = facts.recovered_of(lost);
      if (of_kind > 0.0 && !(lost && recovered == 0))
        counts_.push_back({k, facts.sampling, left, from(), recovered, 0, of_kind});
    }
  };
  const auto first_if_shared = [&](int i) {
    const Stratum_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
    return facts.sampling >= 0 ? facts.first : 0;
  };
  counted_histories_ = cohorts_.count(job, first_if_shared, counted_, add);
  const auto key = [](const Stratum_count& of) {
    return std::tuple(of.of_class, of.sampling, of.left, of.from, of.next, of.to);
  };
  for (std::vector<Stratum_count>* counts : {&counts_, &first_counts_}) {
    std::sort(counts->begin(), counts->end(),
              [&](const Stratum_count& a, const Stratum_count& b) { return key(a) < key(b); });
    add_up_alike(*counts, [&](const Stratum_count& a, const Stratum_count& b) { return key(a) == key(b); });
  }
  if (counts_.size() >= counted_histories_) counted_.clear();
}

}  // namespace tarn
