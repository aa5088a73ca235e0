#pragma once
// Live recaptures behind the first capture (Cormack 1964; Lebreton et al. 1992): alive up to the last
// capture, then never seen again, step by step, or from a table that the histories of a cohort share. Read
// backwards from the last capture: there up to the first capture, not seen before it (Pradel 1996).

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "likelihood/blocks/cohort_classes.h"
#include "likelihood/blocks/counted_parts.h"
#include "likelihood/blocks/emission.h"
#include "likelihood/blocks/rates.h"
#include "likelihood/cell/cell.h"
#include "likelihood/cell/history_facts.h"
#include "model/structure/design.h"

namespace tarn {

/// In the codes of a stored history code 3 stands for the occasions that end no step, and as many are added
/// as make up a whole number of this many steps.
inline constexpr int padded_steps = 4;

struct Live_facts : History_facts {
  int last_caught = 0;  ///< last "1" in a first character
  /// Codes (blocks/emission.h) of the occasions that the steps from `first` on come to, for a record of the
  /// data set that is made of "1", "0" and "." with nothing but "0" behind the last "1"; else nullptr.
  const unsigned char* codes = nullptr;

  static Live_facts of(History h) {
    Live_facts facts{History_facts::of(h)};
    for (int o = h.noccas(); o >= 1 && facts.last_caught == 0; --o)
      if (h.live(o) == '1') facts.last_caught = o;
    return facts;
  }
};

/// Where the rates of a cohort stand: those of interval c in column c of `stays`, the capture at the other
/// end of the interval in column c + `shift` of `p`, in the row of the first capture or in row 1.
struct Live_matrices {
  bool by_cohort = true;
  int shift = 0;
  Parameter stays = Parameter::Phi;
  /// Time runs backwards: a step goes from the end of an interval to its beginning.
  bool backwards = false;

  int row(int first) const { return by_cohort ? first : 1; }
  /// First interval that the histories of a cohort read.
  int from(int first) const { return backwards ? 1 : first; }
  /// The occasion that the step over interval c comes to.
  int reached(int c) const { return backwards ? c : c + 1; }
  /// Where what is known of a history ends.
  int end(int first, int last) const { return backwards ? first : last; }
};

/// One row of rates for all, because first captures are part of the data; p of the first occasion enters,
/// too.
inline constexpr Live_matrices first_captures_matter{.by_cohort = false, .shift = 1};

/// What the animals of one class of cohorts did.
struct Live_class : Cohort_class {
  std::vector<double>
      passed;  ///< interval c, character code k: animals that lived through it, element 4 (c - 1) + k
  /// Whose history ends with a capture on occasion o, seen or not before or behind: element o - 1.
  std::vector<double> ends;
};

/// Facts of all records. Where records share their real parameters also the codes of their histories, the
/// classes of their cohorts, and counts that stand for all histories with codes.
class Live_records : public Record_facts<Live_facts> {
 public:
  Live_records(const Job& job, const Live_matrices& matrices)
      : Record_facts(job), matrices_(matrices), noccas_(job.status.noccas) {
    if (reals_depend_on_record(job.model)) return;
    const Encounter_store& encounters = job.data.encounters;
    const std::size_t length = static_cast<std::size_t>(noccas_ + padded_steps);
    codes_.assign(facts_.size() * length, 3);
    for (int i = 1; i <= encounters.size(); ++i) {
      const std::size_t record = static_cast<std::size_t>(i) - 1;
      set_codes(encounters.history(i), codes_.data() + record * length, facts_[record]);
    }
    const Pim_table pims(job);
    cohorts_ = Cohort_classes(
        job, [this](int i) { return first_with_codes(i); },
        [&](int j, int first, int from, std::vector<int>& found) {
          return find_numbers(job, pims, j, first, from, found);
        });
    count_animals(job);
  }

  /// See `Cohort_classes`; records without codes take no part.
  int class_of(int j, int first) const { return cohorts_.class_of(j, first); }
  const std::vector<Live_class>& classes() const { return classes_; }
  /// By record: 1 where the counts stand for it. Empty where its histories are fewer than the counts.
  const std::vector<char>& counted() const { return counted_; }

 private:
  void set_codes(History h, unsigned char* codes, Live_facts& facts) const {
    if (facts.last_caught == 0) return;
    for (int o = 1; o <= h.noccas(); ++o) {
      const std::size_t code = live_code(h.live(o));
      const bool behind = o > facts.last_caught;
      if (behind ? h.live(o) != '0' : code == 3) return;
      if (o < matrices_.reached(facts.last_caught)) codes[o - 1] = static_cast<unsigned char>(code);
    }
    facts.codes = codes + (matrices_.reached(facts.first) - 1);
  }

  /// First capture of a record with codes, else 0.
  int first_with_codes(int i) const {
    const Live_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
    return facts.codes != nullptr ? facts.first : 0;
  }

  bool find_numbers(const Job& job, const Pim_table& pims, int j, int first, int from,
                    std::vector<int>& found) const {
    Pim_report report;
    found.clear();
    for (const auto& [parameter, shift] :
         {std::pair(matrices_.stays, 0), std::pair(Parameter::p, matrices_.shift)}) {
      const Checked_pim rates = pims.checked(job, parameter, 1, 1, j, report);
      for (int c = matrices_.from(from); c < noccas_; ++c)
        found.push_back(rates(matrices_.row(first), c + shift));
    }
    return !report.fault.found;
  }

  void count_animals(const Job& job) {
    const std::size_t occasions = static_cast<std::size_t>(noccas_);
    for (const Cohort_class& of : cohorts_.classes())
      classes_.push_back({of, std::vector<double>(4 * occasions, 0.0), std::vector<double>(occasions, 0.0)});
    const auto add = [&](int i, int k, const Cohort_animals& animals) {
      const Live_facts& facts = facts_[static_cast<std::size_t>(i) - 1];
      Live_class& to = classes_[static_cast<std::size_t>(k)];
      for (int c = facts.first; c < facts.last_caught; ++c)
        to.passed[4 * static_cast<std::size_t>(c - 1) + facts.codes[c - facts.first]] += animals.all();
      // Backwards nothing is told by a removal.
      to.ends[static_cast<std::size_t>(matrices_.end(facts.first, facts.last_caught)) - 1] +=
          matrices_.backwards ? animals.all() : animals.observed;
    };
    const std::size_t histories = cohorts_.count(
        job, [this](int i) { return first_with_codes(i); }, counted_, add);
    std::size_t terms = 0;
    const auto above_0 = [](double count) { return count > 0.0; };
    for (const Live_class& of : classes_)
      for (const std::vector<double>* counts : {&of.passed, &of.ends})
        terms += static_cast<std::size_t>(std::count_if(counts->begin(), counts->end(), above_0));
    if (terms >= histories) counted_.clear();
  }

  Live_matrices matrices_;
  int noccas_;
  std::vector<unsigned char> codes_;
  Cohort_classes cohorts_;
  std::vector<Live_class> classes_;
  std::vector<char> counted_;
};

/// A class of cohorts under one set of reals: what each character of each occasion multiplies a living
/// animal's weight with, and the chance of never being seen again (backwards: not before). Histories share
/// them, so a step costs one product.
/// On a cache line of its own, which also makes its place cheap to find.
template <class Real>
struct alignas(64) Live_table {
  std::vector<Real> factors;   ///< interval c, character code k: element 4 (c - 1) + k; code 3 has factor 1
  std::vector<Real> unseen;    ///< beyond a capture on occasion o: element o - 1
  std::vector<char> in_range;  ///< of interval c: both rates are inside 0 to 1; element c - 1
  std::uint64_t made_for = 0;  ///< stamp of the reals

  /// Fills the tables for intervals `first` to `noccas` - 1, backwards all. `stays(c)` gives the rate of
  /// interval c, and `caught(c)` the capture probability on the occasion that its step comes to.
  template <class Rates>
  void make(const Live_matrices& matrices, int first, int noccas, std::uint64_t stamp, const Rates& rates) {
    const std::size_t size = static_cast<std::size_t>(noccas);
    if (factors.empty()) factors.assign(4 * (size + padded_steps), Real(1.0));
    unseen.resize(size);
    in_range.assign(size, 1);
    const auto step = [&](int c, int from, int to) {
      const Real s = rates.stays(c), p = rates.caught(c);
      Real* row = factors.data() + 4 * (c - 1);
      for (const char character : live_characters) row[live_code(character)] = s * emission(character, p);
      in_range[static_cast<std::size_t>(c) - 1] = s >= 0.0 && s <= 1.0 && p >= 0.0 && p <= 1.0;
      unseen[static_cast<std::size_t>(from) - 1] =
          (1.0 - s) + row[live_code('0')] * unseen[static_cast<std::size_t>(to) - 1];
    };
    if (matrices.backwards) {
      unseen[0] = 1.0;
      for (int c = 1; c < noccas; ++c) step(c, c + 1, c);
    } else {
      unseen[size - 1] = 1.0;
      for (int c = noccas - 1; c >= first; --c) step(c, c, c + 1);
    }
    made_for = stamp;
  }

  /// Probability of a history of this cohort between its captures, given by the codes of the occasions that
  /// its steps come to (see `Live_facts`), and of not being seen beyond occasion `end`.
  Real prob(const unsigned char* codes, int first, int last, int end) const {
    Real weight = 1.0;
    const Real* row = factors.data() + 4 * (first - 1);
    // Four steps at once: the length of a history is hard to guess for the processor, a fourth of it less so.
    for (int o = first; o < last; o += padded_steps, codes += padded_steps, row += 4 * padded_steps)
      weight = weight * ((row[codes[0]] * row[4 + codes[1]]) * (row[8 + codes[2]] * row[12 + codes[3]]));
    return weight * unseen[static_cast<std::size_t>(end) - 1];
  }
};

/// What families of live recaptures keep.
template <class Real>
struct Live_kept {
  Power_memo powers;
  Live_facts made_up;
  std::vector<Live_table<Real>> tables;  ///< by class, each made when a history first asks for it
};

/// The rates of one cohort: `stays(c)`, the chance to live through interval c (backwards: to have been there
/// at its beginning), and `caught(c)`, the capture probability on the occasion that its step comes to.
template <class Stays, class Caught>
struct Live_rates {
  Stays stays;
  Caught caught;
};
template <class Stays, class Caught>
Live_rates(Stays, Caught) -> Live_rates<Stays, Caught>;

/// The rates of the cohort of group j with this first capture. The family's `Kept` has `powers`, and its
/// `matrices` tells where they stand.
template <class Family, class Real>
auto live_rates(const Job& job, int j, int first, const Reals<Real>& parm, Cell_work<Real>& work) {
  const auto rate = rates_of<Family>(job, parm, work);
  const auto phi = work.matrix(Family::matrices.stays, j), p = work.matrix(Parameter::p, j);
  const int row = Family::matrices.row(first), shift = Family::matrices.shift;
  return Live_rates{[=](int c) -> Real { return rate.survival(phi(row, c), c); },
                    [=, before = parm.before()](int c) -> const Real& { return before[p(row, c + shift)]; }};
}

namespace detail {

/// Makes the table of class k. Out of the way of the histories that only read it.
template <class Family, class Real>
[[gnu::noinline]] void make_table(const Job& job, std::size_t k, const Reals<Real>& parm,
                                  Cell_work<Real>& work, Live_table<Real>& table) {
  const Live_class& of = prepared<Family>(work).classes()[k];
  const auto rates = live_rates<Family>(job, of.group, of.first, parm, work);
  const auto keep = work.trace.keep();
  table.make(Family::matrices, of.first, job.status.noccas, parm.stamp(), rates);
}

/// The table of class k at these reals. May throw std::bad_alloc when a class is met for the first time.
template <class Family, class Real>
const Live_table<Real>& live_table(const Job& job, std::size_t k, const Reals<Real>& parm,
                                   Cell_work<Real>& work) {
  std::vector<Live_table<Real>>& tables = kept<Family>(work).tables;
  if (k >= tables.size()) tables.resize(k + 1);
  Live_table<Real>& table = tables[k];
  if (table.made_for != parm.stamp()) make_table<Family>(job, k, parm, work, table);
  return table;
}

/// The same without a table; forwards, from the first capture to occasion `last`.
template <class Family, class Real>
[[gnu::noinline]] Real step_by_step(const Job& job, History histry, const Live_facts& facts, int last, int j,
                                    const Reals<Real>& parm, Cell_work<Real>& work) {
  const auto of = live_rates<Family>(job, j, facts.first, parm, work);
  Real seen = 1.0, unseen = 1.0;
  // Between its captures the animal is known to live.
  for (int c = facts.first; c < facts.last_caught; ++c)
    seen = seen * (of.stays(c) * emission<Real>(histry.live(Family::matrices.reached(c)), of.caught(c)));
  const auto beyond = [&](int c) {
    const Real s = of.stays(c);
    unseen = (1.0 - s) + s * emission<Real>(histry.live(Family::matrices.reached(c)), of.caught(c)) * unseen;
  };
  if (Family::matrices.backwards)
    for (int c = 1; c < facts.first; ++c) beyond(c);
  else
    for (int c = last - 1; c >= std::max(facts.first, facts.last_caught); --c) beyond(c);
  return seen * unseen;
}

}  // namespace detail

/// Probability of what follows the first capture of `histry` in group j: to its last capture when the animal
/// was lost there, else to the last occasion sampled; backwards of what comes before the last capture. The
/// family's `Prepared` is a `Live_records`, its `Kept` a `Live_kept`. May throw std::bad_alloc when a cohort
/// is met for the first time.
template <class Family, class Real>
Real live_recaptures(const Job& job, History histry, const Live_facts& facts, bool lost, int j,
                     const Reals<Real>& parm, Cell_work<Real>& work) {
  constexpr Live_matrices matrices = Family::matrices;
  if (facts.codes != nullptr && !(lost && !matrices.backwards) && parm.stamp() != 0) {
    const int k = prepared<Family>(work).class_of(j, facts.first);
    if (k >= 0)
      return detail::live_table<Family>(job, static_cast<std::size_t>(k), parm, work)
          .prob(facts.codes, facts.first, facts.last_caught, matrices.end(facts.first, facts.last_caught));
  }
  const int last = lost ? facts.lastlc : facts.lastsm;
  return detail::step_by_step<Family>(job, histry, facts, last, j, parm, work);
}

/// Families whose histories can be counted derive from this: see `Cell_routines::counted`.
template <class Family>
struct Counts_live {
  static std::vector<char> counted_records(const Live_records& records) { return records.counted(); }

  /// The logarithms whose sum, count by count, is that of the histories counted. False where some history may
  /// meet the floor of the logarithm, the range penalty or the penalty's kink, which see whole histories
  /// only.
  template <class Real>
  static bool counted(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::vector<Counted_log<Real>>& logs) {
    logs.clear();
    return add_live(job, parm, work, logs, 0.0);
  }

 protected:
  /// The same, added to `logs`. @param least  of a logarithm that each history has besides
  template <class Real>
  static bool add_live(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                       std::vector<Counted_log<Real>>& logs, double least_of_others) {
    const std::size_t intervals = static_cast<std::size_t>(job.status.noccas) - 1;
    const std::size_t open_end = Family::matrices.backwards ? 1 : intervals + 1;
    const std::vector<Live_class>& classes = prepared<Family>(work).classes();
    for (std::size_t k = 0; k < classes.size(); ++k) {
      const Live_class& of = classes[k];
      const Live_table<Real>& table = detail::live_table<Family>(job, k, parm, work);
      double least_sum = least_of_others, least_tail = 0.0;
      // A history is certain only where its captures are, and what comes beyond the end of them.
      const auto add = [&](double count, const Real& chance, bool may_be_certain, double& least) {
        return count == 0.0 || add_part(logs, count, chance, may_be_certain, least);
      };
      for (std::size_t c = static_cast<std::size_t>(Family::matrices.from(of.first)); c <= intervals; ++c) {
        if (!table.in_range[c - 1]) return false;
        double least = 0.0;
        for (std::size_t code = 0; code < live_characters.size(); ++code) {
          const std::size_t cell = 4 * (c - 1) + code;
          if (!add(of.passed[cell], table.factors[cell], code != live_code('1'), least)) return false;
        }
        least_sum += least;
      }
      for (std::size_t o = static_cast<std::size_t>(of.first); o <= intervals + 1; ++o)
        if (!add(of.ends[o - 1], table.unseen[o - 1], o == open_end, least_tail)) return false;
      if (!clear_of_the_floor(least_sum + least_tail)) return false;
    }
    return true;
  }
};

/// The family of live recaptures alone.
struct Live_recaptures : Counts_live<Live_recaptures> {
  static constexpr Live_matrices matrices{};
  struct Prepared : Live_records {
    explicit Prepared(const Job& job) : Live_records(job, matrices) {}
  };
  template <class Real>
  using Kept = Live_kept<Real>;
};

}  // namespace tarn
