#pragma once
// Primary sessions in which a population is closed, and between which it is open (Pollock 1982; Kendall et
// al. 1995).
//
//   within a session     the closed layer's probability of what an animal shows in it (closed_session.h)
//   between sessions     a session is one occasion, on which an animal is caught with p*, the chance of at
//                        least one capture; whether it was is all that counts
//
//   prob = product of the first over the sessions with a capture, times the second
//
// The conditional kinds give what happens within a session given a capture. The full kinds do not: p* stands
// in both parts of a session with a capture, because the closed-form term of the numbers never caught takes
// it out again (Kendall et al. 1995), and prob over the product of those p* is the probability of the
// history.
//
// Records show few patterns within a session, and few sequences of sessions with captures. Each is told apart
// once for a model and computed once for all its records, where they share their real parameters.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "data/sessions.h"
#include "likelihood/blocks/capture_counts.h"
#include "likelihood/blocks/closed_session.h"
#include "likelihood/blocks/counted_parts.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/cell/cell.h"
#include "model/structure/design.h"

namespace tarn {

/// First and last capture in a session, counted from its first occasion; 0 when there is none. The stratum is
/// that of the capture, 1 when there is none.
struct Session_captures {
  int first = 0, last = 0, stratum = 1;
};

/// What an animal shows, by primary session. Session s at element s - 1.
struct Session_facts {
  int first = 0, last_caught = 0;  ///< first and last session with a capture, 0: none
  int last_met = 0;                ///< last session with an encounter of any kind
  const Session_captures* captures = nullptr;
  const char* records = nullptr;  ///< last second character that is not "0", else "0"
  /// Numbers of the patterns within sessions, from 0, and that of the last one with a capture for an animal
  /// that was removed there. nullptr where nothing is shared.
  const int* patterns = nullptr;
  int lost_pattern = -1;
  int sequence = -1;  ///< number of what counts between sessions, from 0; -1: no other record has it
  int sampling = -1;  ///< number of the set of occasions sampled, from 0
};

/// An animal of which the periods are sessions; see `Joint_animal`.
struct Session_animal {
  /// @param intervals  those in which animals are followed: one may stand behind the last session
  Session_animal(const Session_facts& facts, bool lost, int sessions, int intervals)
      : first(facts.first),
        last_met(facts.last_met),
        last(lost ? facts.last_caught - 1 : intervals),
        periods(sessions),
        lost(lost),
        facts(&facts) {}
  bool caught(int s) const { return facts->captures[s - 1].first > 0; }
  char record(int s) const { return facts->records[s - 1]; }

  int first, last_met, last, periods;
  bool lost;
  const Session_facts* facts;
};

/// What the facts of a made-up history refer to.
struct Session_room {
  std::vector<Session_captures> captures;
  std::string records;
};

/// Facts of all records, and what they share. No parameter changes it.
class Session_records {
 public:
  /// @param whole_study  what counts between sessions begins with the study, not with the first capture
  /// @param by_stratum  what counts between sessions is told elsewhere: patterns are numbered, nothing is
  /// counted
  Session_records(const Job& job, bool whole_study, bool by_stratum = false);

  /// The facts of record i when `histry` is that record's own cells, else nullptr.
  const Session_facts* find(int i, History histry) const {
    const auto record = static_cast<std::size_t>(i) - 1;
    const bool own = record < facts_.size() && histry.cells() == cells_ + record * stride_;
    return own ? facts_.data() + record : nullptr;
  }
  /// The facts of any history; `room` holds what they refer to.
  Session_facts made_up(History histry, Session_room& room) const {
    room.captures.resize(sessions_.size());
    room.records.resize(sessions_.size());
    return facts_of(histry, room.captures.data(), room.records.data());
  }

  int sessions() const { return static_cast<int>(sessions_.size()); }
  const Primary_session& session(int s) const { return sessions_[static_cast<std::size_t>(s) - 1]; }
  /// The animal of these facts. Where live and dead encounters are joined there is an interval behind the
  /// last session.
  Session_animal animal(const Session_facts& facts, bool lost) const {
    return {facts, lost, sessions(), two_characters_ ? sessions() : sessions() - 1};
  }
  /// The sessions, first and last, that its probability reads.
  int from(const Session_animal& animal) const { return whole_study_ ? 1 : animal.first; }
  int to(const Session_animal& animal) const {
    return animal.lost && !whole_study_ ? animal.facts->last_caught : sessions();
  }
  /// Session s of a history, as the closed layer takes it.
  Closed_stretch stretch(History histry, const Session_animal& animal, int s, int group) const {
    const Primary_session& own = session(s);
    const Session_captures& captures = animal.facts->captures[s - 1];
    return {histry,
            own.before,
            own.length,
            s,
            group,
            captures.stratum,
            captures.first,
            captures.last,
            animal.lost && s == animal.facts->last_caught};
  }

  /// A pattern within a session; its group is 1.
  const Closed_stretch& pattern(int number) const { return patterns_[static_cast<std::size_t>(number)]; }
  int pattern_of(const Session_animal& animal, int s) const {
    const Session_facts& facts = *animal.facts;
    return animal.lost && s == facts.last_caught ? facts.lost_pattern : facts.patterns[s - 1];
  }
  /// So many patterns, the first ones, are shown by several records.
  std::size_t shared_patterns() const { return shared_patterns_; }
  std::size_t sequences() const { return sequences_; }
  std::size_t samplings() const { return samplings_; }

  /// Share of the animals of group g caught in session s that were released again.
  double released(int g, int s) const { return captures_.released(g, s); }

  /// Animals that show a pattern, or a sequence of sessions; of the latter one record is told.
  struct Pattern_count {
    int pattern, group;
    double animals;
  };
  struct Sequence_count {
    int record, group;
    bool lost;
    double animals;
  };
  const std::vector<Pattern_count>& pattern_counts() const { return pattern_counts_; }
  /// Counts the patterns within sessions of the records marked.
  void count_patterns(const Job& job, const std::vector<char>& marked);
  const std::vector<Sequence_count>& sequence_counts() const { return sequence_counts_; }
  /// Facts and history of a record.
  const Session_facts& facts(int i) const { return facts_[static_cast<std::size_t>(i) - 1]; }
  History history(int i) const {
    return {cells_ + static_cast<std::size_t>(i - 1) * stride_, static_cast<int>(stride_ / 2)};
  }
  /// By record: 1 where the counts stand for it. Empty where its histories are fewer than the counts.
  const std::vector<char>& counted() const { return counted_; }

 private:
  Session_facts facts_of(History histry, Session_captures* captures, char* records) const;
  void find_patterns(const Job& job);
  void find_sequences(const Job& job);
  void count_animals(const Job& job);

  bool whole_study_, two_characters_;
  std::string signs_;  ///< of strata
  std::vector<Primary_session> sessions_;
  Capture_counts captures_;
  const char* cells_ = nullptr;
  std::size_t stride_ = 0;
  std::vector<Session_facts> facts_;
  // Records times sessions.
  std::vector<Session_captures> captures_of_sessions_;
  std::vector<char> records_;
  std::vector<int> pattern_numbers_, sequence_numbers_;
  std::vector<Closed_stretch> patterns_;
  std::size_t shared_patterns_ = 0, sequences_ = 0, samplings_ = 0;
  std::vector<Pattern_count> pattern_counts_;
  std::vector<Sequence_count> sequence_counts_;
  std::vector<char> counted_;
};

/// A value, and the stamp of the reals that it was made for.
template <class Value>
struct Stamped {
  Value value;
  std::uint64_t made_for = 0;
};

/// What families of primary sessions keep. Tables grow when they are first asked for.
template <class Real>
struct Session_kept {
  Closed_kept<Real> closed;
  Power_memo powers;
  std::vector<Stamped<Closed_result<Real>>> patterns;  ///< by group, place of the pattern
  std::vector<Stamped<Real>> between;                  ///< by group, sequence, released or lost
  std::vector<Stamped<std::vector<Real>>> entries;     ///< by group, sampling
  std::vector<double> least;                           ///< by session
  Session_facts made_up;
  Session_room made_up_room;
};

namespace detail {

/// The element of a table of `size` elements for each of `groups` groups. May throw std::bad_alloc.
template <class Value>
Stamped<Value>& entry_of(std::vector<Stamped<Value>>& table, std::size_t size, int groups, int group,
                         int number) {
  if (table.empty()) table.resize(size * static_cast<std::size_t>(groups));
  return table[size * (static_cast<std::size_t>(group) - 1) + static_cast<std::size_t>(number)];
}

/// What a session's layer gives of a stretch: the closed one, or what the family has in its place.
template <class Family, class Real>
Closed_result<Real> layer_result(const Job& job, int i, const Closed_stretch& stretch,
                                 const Reals<Real>& parm, Cell_work<Real>& work) {
  if constexpr (requires { &Family::template layer<Real>; })
    return Family::template layer<Real>(job, i, stretch, parm, work);
  else
    return closmods(job, work, kept<Family>(work).closed, i, stretch, job.status.closedmodel, parm);
}

/// The same of a pattern, from the table where several records show it.
template <class Family, class Real>
Closed_result<Real> pattern_result(const Job& job, int i, int number, int j, const Reals<Real>& parm,
                                   Cell_work<Real>& work) {
  const Session_records& records = prepared<Family>(work);
  Session_kept<Real>& own = kept<Family>(work);
  const auto compute = [&] {
    Closed_stretch stretch = records.pattern(number);
    stretch.group = j;
    return layer_result<Family>(job, i, stretch, parm, work);
  };
  if (static_cast<std::size_t>(number) >= records.shared_patterns()) return compute();
  auto& entry = entry_of(own.patterns, records.shared_patterns(), job.status.ngrps, j, number);
  if (entry.made_for != parm.stamp()) [[unlikely]] {
    const auto keep = work.trace.keep();
    entry.value = compute();
    entry.made_for = parm.stamp();
  }
  return entry.value;
}

/// p* of session s at s - 1, of an animal of record i whose patterns are numbered. Until the next cell.
template <class Family, class Real>
std::span<Real> stars_of(const Job& job, int i, const Session_animal& animal, int j, const Reals<Real>& parm,
                         Cell_work<Real>& work) {
  const Session_records& records = prepared<Family>(work);
  const std::span<Real> stars = work.take(static_cast<std::size_t>(records.sessions()));
  for (int s = records.from(animal); s <= records.to(animal); ++s)
    stars[static_cast<std::size_t>(s) - 1] =
        pattern_result<Family>(job, i, records.pattern_of(animal, s), j, parm, work).pstar;
  return stars;
}

/// What counts between the sessions of an animal of record i whose patterns are numbered; from the table
/// where several records have it.
template <class Family, class Real>
Real between_sessions(const Job& job, int i, const Session_animal& animal, int j, const Reals<Real>& parm,
                      Cell_work<Real>& work) {
  const Session_records& records = prepared<Family>(work);
  const auto compute = [&] {
    return Family::template between<Real>(job, animal, stars_of<Family>(job, i, animal, j, parm, work), j,
                                          parm, work);
  };
  const int sequence = animal.facts->sequence;
  if (sequence < 0) return compute();
  auto& entry = entry_of(kept<Family>(work).between, 2 * records.sequences(), job.status.ngrps, j,
                         2 * sequence + (animal.lost ? 1 : 0));
  if (entry.made_for != parm.stamp()) {
    const auto keep = work.trace.keep();
    entry.value = compute();
    entry.made_for = parm.stamp();
  }
  return entry.value;
}

}  // namespace detail

/// Facts of `histry`: the prepared ones when it is record i's own cells, else computed into the work area.
template <class Family, class Real>
const Session_facts& session_facts(Cell_work<Real>& work, int i, History histry) {
  const Session_records& records = prepared<Family>(work);
  if (const Session_facts* own = records.find(i, histry)) return *own;
  Session_kept<Real>& room = kept<Family>(work);
  room.made_up = records.made_up(histry, room.made_up_room);
  return room.made_up;
}

/// What a history shows within its sessions. The family's `Prepared` is a `Session_records`, its `Kept` a
/// `Session_kept`.
template <class Family, class Real>
Real within_sessions(const Job& job, const Session_facts& facts, History histry, int i, int j, bool lost,
                     const Reals<Real>& parm, Cell_work<Real>& work) {
  const Session_records& records = prepared<Family>(work);
  const Session_animal animal = records.animal(facts, lost);
  const bool shared = facts.patterns != nullptr && parm.stamp() != 0;
  Real within = 1.0;
  for (int s = facts.first; s <= facts.last_caught; ++s) {
    if (!animal.caught(s)) continue;
    within =
        within *
        (shared ? detail::pattern_result<Family>(job, i, records.pattern_of(animal, s), j, parm, work)
                : detail::layer_result<Family>(job, i, records.stretch(histry, animal, s, j), parm, work))
            .prob;
  }
  return within;
}

/// Probability of a history, as told above. The family has
/// `between(job, animal, stars, j, parm, work)`: of what counts between sessions, p* of session s at s - 1;
/// its `Prepared` is a `Session_records`, its `Kept` a `Session_kept`. A closed kind that is none is a fault
/// of history i, and the floor is given. The history must have a capture.
template <class Family, class Real>
Ch_result<Real> session_history(const Job& job, const Session_facts& facts, History histry, int i, int j,
                                bool lost, const Reals<Real>& parm, Cell_work<Real>& work) {
  const int kind = job.status.closedmodel;
  if (!is_closed_kind(kind)) {
    work.fail(i, invalid_closedmodel_text);
    return Ch_result<Real>::floor();
  }
  const Session_records& records = prepared<Family>(work);
  const Session_animal animal = records.animal(facts, lost);
  if (facts.patterns != nullptr && parm.stamp() != 0)
    return Ch_result<Real>::from(within_sessions<Family>(job, facts, histry, i, j, lost, parm, work) *
                                 detail::between_sessions<Family>(job, i, animal, j, parm, work));
  Real within = 1.0;
  const std::span<Real> stars = work.take(static_cast<std::size_t>(records.sessions()));
  for (int s = records.from(animal); s <= records.to(animal); ++s) {
    const Closed_result<Real> closed =
        detail::layer_result<Family>(job, i, records.stretch(histry, animal, s, j), parm, work);
    if (animal.caught(s)) within = within * closed.prob;
    stars[static_cast<std::size_t>(s) - 1] = closed.pstar;
  }
  return Ch_result<Real>::from(within * Family::template between<Real>(job, animal, stars, j, parm, work));
}

/// The logarithms of the patterns counted, added to `logs`. False where some history may meet the floor of
/// the logarithm, the range penalty or the penalty's kink, which see whole histories only.
/// @param lowest  the least that the logarithms of one history can come to is added
template <class Family, class Real>
bool count_patterns(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                    std::vector<Counted_log<Real>>& logs, double& lowest) {
  const Session_records& records = prepared<Family>(work);
  std::vector<double>& least = kept<Family>(work).least;
  least.assign(static_cast<std::size_t>(records.sessions()) + 1, 0.0);
  for (const Session_records::Pattern_count& shown : records.pattern_counts()) {
    const Closed_stretch& stretch = records.pattern(shown.pattern);
    const Closed_result<Real> closed =
        detail::pattern_result<Family>(job, 1, shown.pattern, shown.group, parm, work);
    if (!add_part(logs, shown.animals, closed.prob, stretch.sampled_once(),
                  least[static_cast<std::size_t>(stretch.session)]))
      return false;
  }
  for (const double log_of_part : least) lowest += log_of_part;
  return true;
}

/// Families of primary sessions whose histories can be counted derive from this: see
/// `Cell_routines::counted`.
template <class Family>
struct Counts_sessions {
  static std::vector<char> counted_records(const Session_records& records) { return records.counted(); }

  /// The logarithms whose sum, count by count, is that of the histories counted. False as of
  /// `count_patterns`.
  template <class Real>
  static bool counted(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::vector<Counted_log<Real>>& logs) {
    logs.clear();
    const Session_records& records = prepared<Family>(work);
    double lowest = 0.0, least = 0.0;
    if (!count_patterns<Family>(job, parm, work, logs, lowest)) return false;
    for (const Session_records::Sequence_count& shown : records.sequence_counts()) {
      const Session_animal animal = records.animal(records.facts(shown.record), shown.lost);
      const Real between =
          detail::between_sessions<Family>(job, shown.record, animal, shown.group, parm, work);
      if (!add_part(logs, shown.animals, between,
                    animal.last < animal.first && records.from(animal) == animal.first, least))
        return false;
    }
    return clear_of_the_floor(lowest + least);
  }
};

}  // namespace tarn
