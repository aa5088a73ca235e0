// Robust designs: primary sessions in which the population is closed, between which it is open. What all of
// them share stands in blocks/sessions.h; a routine here tells what counts between sessions. A session is an
// occasion on which an animal is caught with p*(s). Rates of the interval behind session s stand in column s.

#include <algorithm>
#include <string>
#include <type_traits>

#include "likelihood/blocks/barker.h"
#include "likelihood/blocks/entry.h"
#include "likelihood/blocks/joint.h"
#include "likelihood/blocks/sessions.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

/// The matrix of an animal's return to the study. It need not have a column for interval 1, ahead of which no
/// animal has been away: the column of interval s is s - `shift`.
template <class Matrix>
int missing_columns(const Matrix& matrix, int sessions) {
  return std::max(sessions - 1 - matrix.ncols, 0);
}

/// Rates of animals of which nothing is reported between sessions.
template <class Real>
struct Nothing_reported {
  static char event(char) { return '0'; }
  static Real shows_alive(char, int) { return 1.0; }
  static Real shows_dead(char, int) { return 1.0; }
};

// Temporary emigration (Kendall et al. 1995, 1997), conditional on the first session with a capture.
//
//   states      present, temporarily away, dead; starts present
//   interval s  survives with S(s); given survival, one that is present leaves with 1 - (1 - Gamma''(s))^t,
//               one that is away stays away with Gamma'(s)^t
//   session s   present: caught with p*(s); else never caught
//
// Rates stand in the row of the first session.
struct Robust : Counts_sessions<Robust> {
  struct Prepared : Session_records {
    explicit Prepared(const Job& job) : Session_records(job, false) {}
  };
  template <class Real>
  using Kept = Session_kept<Real>;

  template <class Real, class Matrix>
  struct Rates : Nothing_reported<Real> {
    const Session_records& records;
    Interval_rates<Real> rate;
    std::span<const Real> stars;
    int row;
    Matrix s, leaves, stays_away;
    int shift;

    int interval(int c) const { return records.session(c).last(); }
    Real survives(int c) const { return rate.survival(s(row, c), interval(c)); }
    Real stays(int c) const { return 1.0 - rate.within(leaves(row, c), interval(c)); }
    Real returns(int c) const { return 1.0 - rate.survival(stays_away(row, c - shift), interval(c)); }
    const Real& caught(int c) const { return stars[static_cast<std::size_t>(c)]; }
  };

  template <class Real>
  static Real between(const Job& job, const Session_animal& animal, std::span<const Real> stars, int j,
                      const Reals<Real>& parm, Cell_work<Real>& work) {
    const auto s = work.matrix(Parameter::S, j), leaves = work.matrix(Parameter::Gamma_double_prime, j),
               stays_away = work.matrix(Parameter::Gamma_prime, j);
    const Session_records& records = prepared<Robust>(work);
    return joint_encounters<Real>(
        animal, Rates<Real, std::decay_t<decltype(s)>>{{},
                                                       records,
                                                       rates_of<Robust>(job, parm, work),
                                                       stars,
                                                       animal.first,
                                                       s,
                                                       leaves,
                                                       stays_away,
                                                       missing_columns(stays_away, records.sessions())});
  }
};

// Live captures joined with resightings and recoveries between sessions (Barker 1997; Lindberg et al. 2001;
// Kendall et al. 2013), conditional on the first session with a capture.
//
//   states      available to be caught, away, gone for good, dead; starts available
//   interval s  survives and is reported as blocks/barker.h tells; given survival, does not go for good with
//               F(s)^t; given that, one that is available stays so with a''(s)^t, one that is away becomes so
//               with 1 - (1 - a'(s))^t
//   session s   available: caught with p*(s); else never caught
//   second characters of a session: what was reported in the interval behind it
//
// Rates stand in the row of the first session.
struct Robust_barker : Counts_sessions<Robust_barker> {
  struct Prepared : Session_records {
    explicit Prepared(const Job& job) : Session_records(job, false) {
      for (int i = 1; i <= job.data.encounters.size(); ++i)
        all_known = all_known && unknown_to_barker(animal(facts(i), false)) == '0';
    }
    bool all_known = true;  ///< the reports of all records
  };
  template <class Real>
  using Kept = Session_kept<Real>;

  template <class Real, class Matrix>
  struct Rates : Barker_rates<Real, Matrix> {
    using Base = Barker_rates<Real, Matrix>;
    const Session_records& records;
    std::span<const Real> stars;
    Matrix available, available_again, stays_around;
    int shift;

    int interval(int c) const { return records.session(c).last(); }
    Real survives(int c) const { return Base::survives(c, interval(c)); }
    Real shows_alive(char event, int c) const { return Base::shows_alive(event, c, interval(c)); }
    Real shows_dead(char event, int c) const { return Base::shows_dead(event, c, interval(c)); }
    Real faithful(int c) const { return this->rate.survival(stays_around(this->row, c), interval(c)); }
    Real stays(int c) const { return this->rate.survival(available(this->row, c), interval(c)); }
    Real returns(int c) const {
      return this->rate.within(available_again(this->row, c - shift), interval(c));
    }
    const Real& caught(int c) const { return stars[static_cast<std::size_t>(c)]; }
  };

  template <class Real>
  static Real between(const Job& job, const Session_animal& animal, std::span<const Real> stars, int j,
                      const Reals<Real>& parm, Cell_work<Real>& work) {
    const auto matrix = [&](Parameter parameter) { return work.matrix(parameter, j); };
    using Matrix = std::decay_t<decltype(matrix(Parameter::S))>;
    const Session_records& records = prepared<Robust_barker>(work);
    const Matrix again = matrix(Parameter::a_prime);
    return joint_encounters<Real>(
        animal, Rates<Real, Matrix>{
                    barker_rates(rates_of<Robust_barker>(job, parm, work), parm, animal.first, matrix),
                    records, stars, matrix(Parameter::a_double_prime), again, matrix(Parameter::F),
                    missing_columns(again, records.sessions())});
  }
};

// Growth of a population (Pradel 1996), of an animal that is caught in at least one session.
//
//   states      not entered yet, alive and not caught yet, alive and caught before, dead
//   interval s  survives with Phi(s); the population grows by the factor Phi(s) / Gamma(s), Lambda(s) or
//               Phi(s) + f(s), all to the power of the interval's length, or by the ratio of the sizes of its
//               sessions; entrants make up the difference
//   session s   alive:  caught with p*(s)
//   of the animals caught in a session a share is removed: the population that grows is what is left
//
// Rates stand in row 1.
template <bool from_sizes>
struct Robust_growth : Counts_sessions<Robust_growth<from_sizes>> {
  struct Prepared : Session_records {
    explicit Prepared(const Job& job)
        : Session_records(job, true), growth(growth_of(job)), with_f0(findpar(job.data, "f0") > 0) {
      make_work_area(caught, job.status.ngrps, sessions());
      if (!from_sizes) return;
      for (int g = 1; g <= job.status.ngrps; ++g)
        for (int s = 1; s <= sessions(); ++s)
          caught(g, s) = static_cast<double>(job.data.u(s, g, 1)) + static_cast<double>(job.data.ul(s, g, 1));
    }
    Growth growth;
    bool with_f0;           ///< the numbers never caught are parameters
    Array2<double> caught;  ///< group, session: animals, where their number counts
  };
  template <class Real>
  using Kept = Session_kept<Real>;

  /// The rates of one group as `first_captures` asks for them.
  template <class Real, class Matrix>
  struct Population {
    const Prepared& records;
    Interval_rates<Real> rate;
    const Reals<Real>& parm;
    Cell_work<Real>& work;
    std::span<const Real> stars;
    int group;
    Matrix phi, grows;

    int interval_behind(int s) const { return records.session(s).last(); }
    Real start() const {
      if constexpr (from_sizes) return size(1);
      return 1.0;
    }
    const Real& caught(int s) const { return stars[static_cast<std::size_t>(s) - 1]; }
    double released(int s) const { return records.released(group, s); }
    Growth_step<Real> interval(int s, const Real& left) const {
      if constexpr (from_sizes) {
        const Real survives = rate.survival(phi(1, s), interval_behind(s));
        return {survives, size(s + 1) - survives * left};
      } else {
        return growth_step(rate, records.growth, phi, grows, s, interval_behind(s), left);
      }
    }
    bool scaled() const { return !from_sizes && records.growth == Growth::seniority; }
    Real scale(int s) const { return rate.survival(grows(1, s), interval_behind(s)); }

   private:
    /// Animals in session s.
    Real size(int s) const {
      const double known = records.caught(group, s);
      if (records.with_f0) return known + parm[work.matrix(Parameter::f0, 1, s, group)(1, 1)];
      return known / caught(s);
    }
  };

  template <class Real, class Matrix>
  struct Rates : Nothing_reported<Real> {
    const Session_records& records;
    Interval_rates<Real> rate;
    std::span<const Real> stars;
    Matrix phi;

    Real survives(int c) const { return rate.survival(phi(1, c), records.session(c).last()); }
    static Real stays(int) { return 1.0; }
    static Real returns(int) { return 0.0; }
    const Real& caught(int c) const { return stars[static_cast<std::size_t>(c)]; }
  };

  template <class Real>
  static Real between(const Job& job, const Session_animal& animal, std::span<const Real> stars, int j,
                      const Reals<Real>& parm, Cell_work<Real>& work) {
    const Prepared& records = prepared<Robust_growth>(work);
    const auto rate = rates_of<Robust_growth>(job, parm, work);
    const auto phi = work.matrix(Parameter::Phi, j);
    using Matrix = std::decay_t<decltype(phi)>;
    return caught_first(job, animal, stars, j, parm, work) *
           joint_encounters<Real>(animal, Rates<Real, Matrix>{{}, records, rate, stars, phi});
  }

 private:
  /// Chance that an animal which is caught at all is caught first in this one's first session.
  template <class Real>
  static Real caught_first(const Job& job, const Session_animal& animal, std::span<const Real> stars, int j,
                           const Reals<Real>& parm, Cell_work<Real>& work) {
    const Prepared& records = prepared<Robust_growth>(work);
    const std::size_t first = static_cast<std::size_t>(animal.first) - 1;
    const auto make = [&](std::span<const Real> pstar, std::span<Real> chances) {
      const auto phi = work.matrix(Parameter::Phi, j),
                 grows = work.matrix(from_sizes ? Parameter::Phi : parameter_of(records.growth), j);
      first_captures<Real>(
          Population<Real, std::decay_t<decltype(phi)>>{records, rates_of<Robust_growth>(job, parm, work),
                                                        parm, work, pstar, j, phi, grows},
          chances);
    };
    const std::size_t sessions = static_cast<std::size_t>(records.sessions());
    if (animal.facts->sampling < 0 || parm.stamp() == 0) {
      const std::span<Real> chances = work.take(sessions);
      make(stars, chances);
      return chances[first];
    }
    auto& entry = detail::entry_of(kept<Robust_growth>(work).entries, records.samplings(), job.status.ngrps,
                                   j, animal.facts->sampling);
    if (entry.made_for != parm.stamp()) {
      entry.value.resize(sessions);
      // What is kept must not stand on the trace of one cell, as these p* may.
      const auto keep = work.trace.keep();
      make(detail::stars_of<Robust_growth>(job, 1, animal, j, parm, work), entry.value);
      entry.made_for = parm.stamp();
    }
    return entry.value[first];
  }
};

/// The cell of a record; `invalid` is the fault of one without a capture.
template <class Family, class Real>
Ch_result<Real> session_cell(const Job& job, History histry, int i, int j, int lost, const Reals<Real>& parm,
                             Cell_work<Real>& work, std::string_view invalid) {
  const Session_facts& facts = session_facts<Family>(work, i, histry);
  if (facts.first == 0) {
    work.fail(i, invalid);
    return Ch_result<Real>::floor();
  }
  return session_history<Family>(job, facts, histry, i, j, lost != 0, parm, work);
}

constexpr std::string_view invalid_pradel_text = "Invalid history in Robust Design Pradel Model.";

}  // namespace

template <class Real>
void robust(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
            const Reals<Real>& parm, Cell_work<Real>& work) {
  result = session_cell<Robust>(job, histry, i, j, lost, parm, work, no_result_text);
}

template <class Real>
void robust_barker(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                   const Reals<Real>& parm, Cell_work<Real>& work) {
  const Robust_barker::Prepared& records = prepared<Robust_barker>(work);
  if (!records.all_known || records.find(i, histry) == nullptr) {
    const Session_facts& facts = session_facts<Robust_barker>(work, i, histry);
    if (const char unknown = unknown_to_barker(records.animal(facts, lost != 0)); unknown != '0') {
      work.fail(i, barker_fault_of(unknown));
      result = Ch_result<Real>::floor();
      return;
    }
  }
  result = session_cell<Robust_barker>(job, histry, i, j, lost, parm, work, no_result_text);
}

template <class Real>
void robust_pradel(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                   const Reals<Real>& parm, Cell_work<Real>& work) {
  result = session_cell<Robust_growth<false>>(job, histry, i, j, lost, parm, work, invalid_pradel_text);
}

template <class Real>
void robust_pradel_n(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                     const Reals<Real>& parm, Cell_work<Real>& work) {
  result = session_cell<Robust_growth<true>>(job, histry, i, j, lost, parm, work, invalid_pradel_text);
}

TARN_CELL_ROUTINE(robust, Robust)
TARN_CELL_ROUTINE(robust_barker, Robust_barker)
TARN_CELL_ROUTINE(robust_pradel, Robust_growth<false>)
TARN_CELL_ROUTINE(robust_pradel_n, Robust_growth<true>)

}  // namespace tarn
