#include "likelihood/blocks/sessions.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "likelihood/blocks/cohort_classes.h"

namespace tarn {
namespace {

/// Numbers of texts, from 0, in the order in which they are met.
class Text_numbers {
 public:
  int number_of(const std::string& text) {
    const int next = static_cast<int>(uses_.size());
    const auto [place, is_new] = numbers_.emplace(text, next);
    if (is_new) uses_.push_back(0);
    ++uses_[static_cast<std::size_t>(place->second)];
    return place->second;
  }
  /// How often each was asked for.
  const std::vector<int>& uses() const { return uses_; }

 private:
  std::unordered_map<std::string, int> numbers_;
  std::vector<int> uses_;
};

/// Places, from 0, of what is used more than once; -1 for the rest.
std::vector<int> places_of_shared(const std::vector<int>& uses, std::size_t& count) {
  std::vector<int> places;
  count = 0;
  for (const int of : uses) places.push_back(of > 1 ? static_cast<int>(count++) : -1);
  return places;
}

}  // namespace

Session_records::Session_records(const Job& job, bool whole_study, bool by_stratum)
    : whole_study_(whole_study),
      two_characters_(!datatype(job.status.dattyp).live),
      signs_(by_stratum ? job.data.strata.substr(0, static_cast<std::size_t>(job.status.nstrta)) : ""),
      captures_(job, sessions_of(job)) {
  for_each_session(job, [&](int, const Primary_session& session) { sessions_.push_back(session); });
  const Encounter_store& encounters = job.data.encounters;
  const std::size_t records = static_cast<std::size_t>(encounters.size()), n = sessions_.size();
  if (records == 0) return;
  cells_ = encounters.history(1).cells();
  stride_ = 2 * static_cast<std::size_t>(job.status.noccas);
  captures_of_sessions_.resize(records * n);
  records_.resize(records * n);
  facts_.reserve(records);
  for (std::size_t r = 0; r < records; ++r)
    facts_.push_back(facts_of(history(static_cast<int>(r) + 1), captures_of_sessions_.data() + r * n,
                              records_.data() + r * n));
  if (reals_depend_on_record(job.model)) return;
  find_patterns(job);
  if (by_stratum) return;
  find_sequences(job);
  count_animals(job);
}

Session_facts Session_records::facts_of(History histry, Session_captures* captures, char* records) const {
  Session_facts facts;
  facts.captures = captures;
  facts.records = records;
  for (int s = 1; s <= sessions(); ++s) {
    const Primary_session& own = session(s);
    const Closed_stretch stretch = Closed_stretch::of(histry, own.before, own.length, s, 1, 1, false);
    const std::size_t stratum =
        stretch.first > 0 ? signs_.find(histry.live(own.before + stretch.first)) : std::string::npos;
    captures[s - 1] = {stretch.first, stretch.last,
                       stratum == std::string::npos ? 1 : static_cast<int>(stratum) + 1};
    records[s - 1] = '0';
    for (int o = own.before + 1; two_characters_ && o <= own.last(); ++o)
      if (histry.dead(o) != '0') records[s - 1] = histry.dead(o);
    const bool caught = stretch.first > 0;
    if (caught) {
      if (facts.first == 0) facts.first = s;
      facts.last_caught = s;
    }
    if (caught || records[s - 1] != '0') facts.last_met = s;
  }
  return facts;
}

void Session_records::find_patterns(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const std::size_t n = sessions_.size();
  Text_numbers numbers;
  pattern_numbers_.assign(facts_.size() * n, 0);
  std::string text;
  const auto number_of = [&](const Closed_stretch& stretch) {
    text.assign(reinterpret_cast<const char*>(&stretch.session), sizeof stretch.session);
    // A removal shows where occasions are left.
    text += stretch.last_open() < stretch.length ? 'L' : ' ';
    for (int o = 1; o <= stretch.length; ++o) text += stretch.histry.live(stretch.before + o);
    const int number = numbers.number_of(text);
    if (static_cast<std::size_t>(number) == patterns_.size()) patterns_.push_back(stretch);
    return number;
  };
  for (int i = 1; i <= encounters.size(); ++i) {
    Session_facts& own = facts_[static_cast<std::size_t>(i) - 1];
    if (own.first == 0) continue;
    int* of_record = pattern_numbers_.data() + static_cast<std::size_t>(i - 1) * n;
    for (int s = 1; s <= sessions(); ++s)
      of_record[s - 1] = number_of(stretch(history(i), animal(own, false), s, 1));
    own.patterns = of_record;
    const View<const float> lost = encounters.lost_on_capture(i);
    if (std::any_of(lost.begin(), lost.end(), [](float count) { return count > 0.0F; }))
      own.lost_pattern = number_of(stretch(history(i), animal(own, true), own.last_caught, 1));
    else
      own.lost_pattern = of_record[own.last_caught - 1];
  }
  // Those that are shared come first.
  std::vector<int> places = places_of_shared(numbers.uses(), shared_patterns_);
  std::size_t next = shared_patterns_;
  for (int& place : places)
    if (place < 0) place = static_cast<int>(next++);
  std::vector<Closed_stretch> in_order(patterns_.size());
  for (std::size_t k = 0; k < patterns_.size(); ++k)
    in_order[static_cast<std::size_t>(places[k])] = patterns_[k];
  patterns_ = std::move(in_order);
  for (int& number : pattern_numbers_)
    if (!places.empty()) number = places[static_cast<std::size_t>(number)];
  for (Session_facts& own : facts_)
    if (own.lost_pattern >= 0) own.lost_pattern = places[static_cast<std::size_t>(own.lost_pattern)];
}

void Session_records::find_sequences(const Job& job) {
  const int records = job.data.encounters.size();
  Text_numbers numbers, samplings;
  std::string text, sampled;
  sequence_numbers_.assign(facts_.size(), -1);
  for (int i = 1; i <= records; ++i) {
    Session_facts& own = facts_[static_cast<std::size_t>(i) - 1];
    if (own.first == 0) continue;
    const History histry = history(i);
    text.clear();
    sampled.clear();
    for (int s = 1; s <= sessions(); ++s) {
      if (!whole_study_ && s < own.first) {
        text += '-';
        continue;
      }
      text += own.captures[s - 1].first > 0 ? '1' : '0';
      text += own.records[s - 1];
      for (int o = session(s).before + 1; o <= session(s).last(); ++o)
        if (histry.live(o) == '.') {
          sampled += std::to_string(o);
          sampled += ' ';
        }
    }
    own.sampling = samplings.number_of(sampled);
    sequence_numbers_[static_cast<std::size_t>(i) - 1] = numbers.number_of(text + sampled);
  }
  samplings_ = samplings.uses().size();
  const std::vector<int> places = places_of_shared(numbers.uses(), sequences_);
  for (std::size_t r = 0; r < facts_.size(); ++r)
    if (facts_[r].first > 0) facts_[r].sequence = places[static_cast<std::size_t>(sequence_numbers_[r])];
}

void Session_records::count_animals(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  counted_.assign(facts_.size(), 0);
  std::size_t histories = 0;
  for (int i = 1; i <= encounters.size(); ++i) {
    const Session_facts& own = facts(i);
    if (own.first == 0) continue;
    counted_[static_cast<std::size_t>(i) - 1] = 1;
    for (int g = 1; g <= job.status.ngrps; ++g)
      for (const bool lost : {false, true}) {
        const float count = lost ? encounters.lost_on_capture(i, g) : encounters.observed(i, g);
        if (!(count > 0.0F)) continue;  // no animal
        ++histories;
        sequence_counts_.push_back({i, g, lost, count});
      }
  }
  count_patterns(job, counted_);
  const auto sequence_key = [&](const Sequence_count& of) {
    return std::tuple(sequence_numbers_[static_cast<std::size_t>(of.record) - 1], of.group, of.lost);
  };
  std::stable_sort(sequence_counts_.begin(), sequence_counts_.end(),
                   [&](const auto& a, const auto& b) { return sequence_key(a) < sequence_key(b); });
  add_up_alike(sequence_counts_,
               [&](const auto& a, const auto& b) { return sequence_key(a) == sequence_key(b); });
  // All parts stand on the trace at once, histories one after the other: few must serve many.
  if (2 * (pattern_counts_.size() + sequence_counts_.size()) >= histories) counted_.clear();
}

void Session_records::count_patterns(const Job& job, const std::vector<char>& marked) {
  const Encounter_store& encounters = job.data.encounters;
  pattern_counts_.clear();
  for (int i = 1; i <= encounters.size(); ++i) {
    if (marked.empty() || marked[static_cast<std::size_t>(i) - 1] == 0) continue;
    const Session_facts& own = facts(i);
    for (int g = 1; g <= job.status.ngrps; ++g)
      for (const bool lost : {false, true}) {
        const float count = lost ? encounters.lost_on_capture(i, g) : encounters.observed(i, g);
        if (!(count > 0.0F)) continue;  // no animal
        const Session_animal one = animal(own, lost);
        for (int s = own.first; s <= own.last_caught; ++s)
          if (one.caught(s)) pattern_counts_.push_back({pattern_of(one, s), g, count});
      }
  }
  const auto key = [](const Pattern_count& of) { return std::pair(of.pattern, of.group); };
  std::sort(pattern_counts_.begin(), pattern_counts_.end(),
            [&](const auto& a, const auto& b) { return key(a) < key(b); });
  add_up_alike(pattern_counts_, [&](const auto& a, const auto& b) { return key(a) == key(b); });
}

}  // namespace tarn
