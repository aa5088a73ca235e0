#pragma once
// Cohorts that read the same real parameters: one table serves all their histories, one set of counts all
// their animals.

#include <algorithm>
#include <cstddef>
#include <vector>

#include "job/job.h"

namespace tarn {

/// Cohorts with the same real parameters from their first capture on, whichever group they stand in.
struct Cohort_class {
  int group = 0, first = 0;  ///< the cohort that begins first
};

/// Animals of a record in a group, released and lost; a count that is not above 0 is none.
struct Cohort_animals {
  double observed = 0.0, lost = 0.0;
  double all() const { return observed + lost; }

  static Cohort_animals of(const Job& job, int i, int j) {
    const Encounter_store& encounters = job.data.encounters;
    return {std::max(encounters.observed(i, j), 0.0F), std::max(encounters.lost_on_capture(i, j), 0.0F)};
  }
};

/// Whether the cohort of group j and first period f has animals, at (j - 1) `periods` + f - 1. `first_of(i)`
/// is the first period of record i, 0 when it takes no part.
template <class First_of>
std::vector<char> cohorts_with_animals(const Job& job, int periods, const First_of& first_of) {
  const int groups = job.status.ngrps;
  std::vector<char> present(static_cast<std::size_t>(groups * periods), 0);
  for (int i = 1; i <= job.data.encounters.size(); ++i)
    if (const int first = first_of(i); first > 0)
      for (int j = 1; j <= groups; ++j)
        if (Cohort_animals::of(job, i, j).all() > 0.0)
          present[static_cast<std::size_t>((j - 1) * periods + first - 1)] = 1;
  return present;
}

/// The classes of the cohorts that have animals.
class Cohort_classes {
 public:
  /// Without any.
  Cohort_classes() = default;
  /// @param first_of  first_of(i): occasion of the first capture of record i, 0 when it takes no part
  /// @param numbers  numbers(j, first, from, found): the numbers of the real parameters that the cohort of
  /// group j and occasion `first` reads from occasion `from` on, into the list `found`, in an order of their
  /// own; false when some are not given. What is missing may be so where all animals of a cohort were lost on
  /// capture: the dry run ends the job only for what a history reads. May throw std::bad_alloc.
  template <class First_of, class Numbers>
  Cohort_classes(const Job& job, const First_of& first_of, const Numbers& numbers)
      : noccas_(job.status.noccas) {
    const int groups = job.status.ngrps;
    class_at_.assign(static_cast<std::size_t>(groups * noccas_), -1);
    const std::vector<char> present = cohorts_with_animals(job, noccas_, first_of);
    std::vector<int> own, other;
    const auto same = [&](int k, int first) {
      const Cohort_class& of = classes_[static_cast<std::size_t>(k)];
      return numbers(of.group, of.first, first, other) && own == other;
    };
    for (int j = 1; j <= groups; ++j)
      for (int first = 1; first <= noccas_; ++first) {
        if (!present[place(j, first)] || !numbers(j, first, first, own)) continue;
        // A cohort is like the one before it, or like the one of another group; else it is new.
        int found = first > 1 ? class_at_[place(j, first - 1)] : -1;
        if (found >= 0 && !same(found, first)) found = -1;
        for (int g = 1; found < 0 && g < j; ++g)
          if (const int k = class_at_[place(g, first)]; k >= 0 && same(k, first)) found = k;
        if (found < 0) {
          found = static_cast<int>(classes_.size());
          classes_.push_back({j, first});
        }
        class_at_[place(j, first)] = found;
      }
  }

  /// Number (from 0) of the class of the cohort of group j with this first capture; -1 when no record of it
  /// takes part, or some of its real parameters are not given.
  int class_of(int j, int first) const { return class_at_.empty() ? -1 : class_at_[place(j, first)]; }
  const std::vector<Cohort_class>& classes() const { return classes_; }

  /// Calls add(i, class, animals) for every record and group with animals, of the records of which all
  /// animals stand in classes, and marks these in `counted`. Gives the number of their histories, those of
  /// released and of lost animals apart.
  template <class First_of, class Add>
  std::size_t count(const Job& job, const First_of& first_of, std::vector<char>& counted,
                    const Add& add) const {
    const int records = job.data.encounters.size(), groups = job.status.ngrps;
    std::size_t histories = 0;
    counted.assign(static_cast<std::size_t>(records), 0);
    for (int i = 1; i <= records; ++i) {
      const int first = first_of(i);
      bool in_classes = first > 0;
      for (int j = 1; in_classes && j <= groups; ++j)
        in_classes = class_of(j, first) >= 0 || Cohort_animals::of(job, i, j).all() == 0.0;
      if (!in_classes) continue;
      counted[static_cast<std::size_t>(i) - 1] = 1;
      for (int j = 1; j <= groups; ++j) {
        const Cohort_animals animals = Cohort_animals::of(job, i, j);
        if (animals.all() == 0.0) continue;
        histories += (animals.observed > 0.0 ? 1U : 0U) + (animals.lost > 0.0 ? 1U : 0U);
        add(i, class_of(j, first), animals);
      }
    }
    return histories;
  }

 private:
  std::size_t place(int j, int first) const {
    return static_cast<std::size_t>((j - 1) * noccas_ + first - 1);
  }

  int noccas_ = 0;
  std::vector<int> class_at_;
  std::vector<Cohort_class> classes_;
};

/// Adds up the animals of neighbours in a list of counts that are alike.
template <class Counts, class Alike>
void add_up_alike(Counts& counts, const Alike& alike) {
  auto to = counts.begin();
  for (auto from = counts.begin(); from != counts.end(); ++from) {
    if (to != counts.begin() && alike(*(to - 1), *from))
      (to - 1)->animals += from->animals;
    else
      *to++ = *from;
  }
  counts.erase(to, counts.end());
}

}  // namespace tarn
