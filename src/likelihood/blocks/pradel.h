#pragma once
// Open populations whose first captures are part of the data (Pradel 1996; Link and Barker 2005): the chance
// of the first capture, then live recaptures.

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "likelihood/blocks/capture_counts.h"
#include "likelihood/blocks/entry.h"
#include "likelihood/blocks/live_recaptures.h"

namespace tarn {

/// Records of live recaptures, and what is known of first captures.
struct Pradel_records : Live_records {
  /// @param removals_count  animals not released again are missing from the population that grows
  Pradel_records(const Job& job, bool removals_count)
      : Live_records(job, first_captures_matter),
        captures(job),
        growth(growth_of(job)),
        with_removals(removals_count) {
    make_work_area(first_caught, job.status.ngrps, job.status.noccas);
    const Encounter_store& encounters = job.data.encounters;
    for (int i = 1; i <= encounters.size(); ++i) {
      const int first = facts_[static_cast<std::size_t>(i) - 1].first;
      if (counted().empty() || counted()[static_cast<std::size_t>(i) - 1] == 0) continue;
      for (int g = 1; g <= job.status.ngrps; ++g)
        first_caught(g, first) +=
            std::max(encounters.observed(i, g), 0.0F) + std::max(encounters.lost_on_capture(i, g), 0.0F);
    }
  }

  double released(int g, int o) const { return with_removals ? captures.released(g, o) : 1.0; }

  Capture_counts captures;
  Growth growth;
  bool with_removals;
  Array2<double> first_caught;  ///< group, occasion: of the records counted
};

/// Chances of a first capture, by period, that all animals of a group share.
template <class Real>
struct Entry_table {
  std::vector<Real> chances;
  std::uint64_t made_for = 0;  ///< stamp of the reals
};

template <class Real>
struct Pradel_kept : Live_kept<Real> {
  std::vector<Entry_table<Real>> entries;  ///< by group
};

namespace detail {

/// The rates of one group as `first_captures` asks for them.
template <class Real, class Matrix>
struct Pradel_population {
  const Pradel_records& records;
  const Interval_rates<Real>& rate;
  const Reals<Real>& parm;
  int group;
  const Matrix &phi, &p, &grows;

  Real start() const { return 1.0; }
  const Real& caught(int o) const { return parm[p(1, o)]; }
  double released(int o) const { return records.released(group, o); }
  Growth_step<Real> interval(int c, const Real& left) const {
    return growth_step(rate, records.growth, phi, grows, c, c, left);
  }
  bool scaled() const { return records.growth == Growth::seniority; }
  Real scale(int c) const { return rate.survival(grows(1, c), c); }
};

}  // namespace detail

/// @tparam removals_count  see `Pradel_records`
template <bool removals_count>
struct Pradel : Counts_live<Pradel<removals_count>> {
  static constexpr Live_matrices matrices = first_captures_matter;
  struct Prepared : Pradel_records {
    explicit Prepared(const Job& job) : Pradel_records(job, removals_count) {}
  };
  template <class Real>
  using Kept = Pradel_kept<Real>;

  /// Chance that an animal of group j which is caught at all is caught first on occasion `first`.
  template <class Real>
  static const Real& caught_first(const Job& job, int first, int j, const Reals<Real>& parm,
                                  Cell_work<Real>& work) {
    std::vector<Entry_table<Real>>& entries = kept<Pradel>(work).entries;
    const std::size_t group = static_cast<std::size_t>(j) - 1;
    if (group >= entries.size()) entries.resize(group + 1);
    Entry_table<Real>& entry = entries[group];
    if (parm.stamp() == 0 || entry.made_for != parm.stamp()) make(job, j, parm, work, entry);
    return entry.chances[static_cast<std::size_t>(first) - 1];
  }

  template <class Real>
  static bool counted(const Job& job, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::vector<Counted_log<Real>>& logs) {
    logs.clear();
    const Array2<double>& first_caught = prepared<Pradel>(work).first_caught;
    double least = 0.0;
    for (int g = 1; g <= first_caught.extent(1); ++g)
      for (int o = 1; o <= first_caught.extent(2); ++o) {
        if (first_caught(g, o) == 0.0) continue;
        if (!add_part(logs, first_caught(g, o), caught_first(job, o, g, parm, work), false, least))
          return false;
      }
    return Pradel::add_live(job, parm, work, logs, least);
  }

 private:
  template <class Real>
  static void make(const Job& job, int j, const Reals<Real>& parm, Cell_work<Real>& work,
                   Entry_table<Real>& entry) {
    const Pradel_records& records = prepared<Pradel>(work);
    const auto rate = rates_of<Pradel>(job, parm, work);
    const auto phi = work.matrix(Parameter::Phi, j), p = work.matrix(Parameter::p, j),
               grows = work.matrix(parameter_of(records.growth), j);
    const detail::Pradel_population<Real, std::decay_t<decltype(phi)>> population{records, rate, parm, j,
                                                                                  phi,     p,    grows};
    const auto keep = work.trace.keep();
    entry.chances.resize(static_cast<std::size_t>(job.status.noccas));
    first_captures<Real>(population, entry.chances);
    entry.made_for = parm.stamp();
  }
};

}  // namespace tarn
