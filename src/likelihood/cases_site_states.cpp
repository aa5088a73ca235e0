// Sites in one of several states, which a survey need not tell.
//
// Two states of occupied sites, the higher one proven by some surveys only (Nichols et al. 2007; MacKenzie et
// al. 2009):
//   states      empty; 1; 2 (say, with young)
//   season 1    of one season: occupied with Psi1, then in state 2 with Psi2; of several: in state 1 with
//               Phi0_1, in state 2 with Phi0_2
//   s to s + 1  behind state m: occupied with Psi_m(s), then in state 2 with R_m(s)
//   survey j    "0" nothing seen, "1" seen without evidence of state 2, "2" with it. State 1: "1" with p1(j);
//               state 2: seen with p2(j), then with evidence with Delta(j)
//   the rates of several seasons stand in the matrix of the state's place among "0" and the codes: those of
//   state m in m + 1; Delta in any
//
// Any number of states of occupied sites (MacKenzie et al. 2009):
//   states      empty, 1 to n
//   season 1    in state m with Phi0_m
//   s to s + 1  from state r to q with Psi(r, q)(s). In each row the first one without a matrix takes what is
//               left of 1, any other is 0
//   survey o    in state m: code l of m or less with p(l | m)(o), in the matrix (l, m) or (m, l); "0" with
//               what is left of 1

#include <string>

#include "likelihood/blocks/site_states.h"
#include "likelihood/blocks/sites.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

struct Breeding_sites : Sites<Breeding_sites> {
  struct Prepared : Site_records {
    explicit Prepared(const Job& job)
        : Site_records(job, 3, "Psi1 Psi2 Phi0"),
          several_seasons(datatype(job.status.dattyp).sessions),
          signs(job.data.strata) {}
    bool several_seasons;
    std::string signs;
  };
  template <class Real>
  using Kept = Site_kept<Real>;

  template <class Real>
  static void begins(const Job&, int group, const Reals<Real>& parm, Cell_work<Real>& work,
                     std::span<Real> init) {
    if (prepared<Breeding_sites>(work).several_seasons) {
      init[1] = parm[work.matrix(Parameter::Phi0, 2, 1, group)(1, 1)];
      init[2] = parm[work.matrix(Parameter::Phi0, 3, 1, group)(1, 1)];
      init[0] = 1.0 - init[1] - init[2];
    } else {
      occupied_in_two_states<Real>(parm[work.matrix(Parameter::Psi1, group)(1, 1)],
                                   parm[work.matrix(Parameter::Psi2, group)(1, 1)], init);
    }
  }

  template <class Real>
  static Real changes(const Job&, int group, int s, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::span<Real> m) {
    for (int z = 0; z < 3; ++z)
      occupied_in_two_states<Real>(parm[work.matrix(Parameter::Psi, z + 1, 1, group)(1, s)],
                                   parm[work.matrix(Parameter::R, z + 1, 1, group)(1, s)],
                                   m.subspan(3 * static_cast<std::size_t>(z), 3));
    return 0.0;
  }

  template <class Real>
  static void shows(const Job&, const Season& season, const Reals<Real>& parm, Cell_work<Real>& work,
                    std::span<Real> e) {
    const Prepared& records = prepared<Breeding_sites>(work);
    const bool several = records.several_seasons;
    const auto matrix = [&](Parameter one_season, Parameter of_states, int place) -> decltype(auto) {
      return several ? work.matrix(of_states, place, season.number, season.group)
                     : work.matrix(one_season, season.group);
    };
    std::fill(e.begin(), e.end(), Real(1.0));
    for (int j = 1; j <= season.length; ++j) {
      if (!season.surveyed(j)) continue;
      const std::size_t sign = records.signs.find(season.sign(j));
      const Real& p2 = parm[matrix(Parameter::p2, Parameter::p, 3)(1, j)];
      if (sign == 0) {
        e[1] = e[1] * (1.0 - parm[matrix(Parameter::p1, Parameter::p, 2)(1, j)]);
        e[2] = e[2] * (1.0 - p2);
        continue;
      }
      e[0] = 0.0;
      if (sign > 2) {
        e[1] = e[2] = 0.0;
        continue;
      }
      const Real& proven = parm[evidence(season, several, work)(1, j)];
      if (sign == 1) {
        e[1] = e[1] * parm[matrix(Parameter::p1, Parameter::p, 2)(1, j)];
        e[2] = e[2] * (p2 * (1.0 - proven));
      } else {
        e[1] = 0.0;
        e[2] = e[2] * (p2 * proven);
      }
    }
  }

 private:
  /// The matrix of Delta: that of state 2, else that of state 1, else that of none.
  template <class Real>
  static auto evidence(const Season& season, bool several, Cell_work<Real>& work) {
    if (!several) return work.matrix(Parameter::Delta, season.group);
    for (const int place : {3, 2, 1}) {
      const auto matrix = work.matrix(Parameter::Delta, place, season.number, season.group);
      if (matrix.nrows > 0) return matrix;
    }
    return work.matrix(Parameter::Delta, 3, season.number, season.group);
  }
};

struct Sites_of_states : Sites<Sites_of_states> {
  struct Prepared : Site_records {
    explicit Prepared(const Job& job)
        : Site_records(job, job.status.nstrta + 1, "Phi0"), signs(job.data.strata) {}
    std::string signs;
  };
  template <class Real>
  using Kept = Site_kept<Real>;

  template <class Real>
  static void begins(const Job&, int group, const Reals<Real>& parm, Cell_work<Real>& work,
                     std::span<Real> init) {
    init[0] = 1.0;
    for (std::size_t m = 1; m < init.size(); ++m) {
      init[m] = parm[work.matrix(Parameter::Phi0, static_cast<int>(m) + 1, 1, group)(1, 1)];
      init[0] = init[0] - init[m];
    }
  }

  template <class Real>
  static Real changes(const Job&, int group, int s, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::span<Real> m) {
    const int states = prepared<Sites_of_states>(work).states();
    for (int r = 0; r < states; ++r) {
      const std::span<Real> row =
          m.subspan(static_cast<std::size_t>(r * states), static_cast<std::size_t>(states));
      Real left = 1.0;
      int rest = -1;
      for (int q = 0; q < states; ++q) {
        const auto matrix = work.matrix(Parameter::Psi, r + 1, q + 1, group);
        Real& chance = row[static_cast<std::size_t>(q)];
        chance = 0.0;
        if (matrix.nrows == 0) {
          if (rest < 0) rest = q;
          continue;
        }
        chance = parm[matrix(1, s)];
        left = left - chance;
      }
      if (rest >= 0) row[static_cast<std::size_t>(rest)] = left;
    }
    return 0.0;
  }

  template <class Real>
  static void shows(const Job&, const Season& season, const Reals<Real>& parm, Cell_work<Real>& work,
                    std::span<Real> e) {
    const Prepared& records = prepared<Sites_of_states>(work);
    const int states = records.states();
    std::fill(e.begin(), e.end(), Real(1.0));
    for (int j = 1; j <= season.length; ++j) {
      if (!season.surveyed(j)) continue;
      const int sign = static_cast<int>(records.signs.find(season.sign(j)));
      for (int m = 0; m < states; ++m) {
        Real& chance = e[static_cast<std::size_t>(m)];
        if (sign > m) {
          chance = 0.0;
          continue;
        }
        Real nothing = 1.0;
        for (int l = 1; l <= m; ++l) {
          if (sign != 0 && sign != l) continue;
          const auto direct = work.matrix(Parameter::p, l + 1, m + 1, season.group);
          const auto matrix =
              direct.nrows > 0 ? direct : work.matrix(Parameter::p, m + 1, l + 1, season.group);
          // A code without a matrix is never recorded.
          const Real recorded = matrix.nrows > 0 ? parm[matrix(1, season.before + j)] : Real(0.0);
          if (sign == l)
            chance = chance * recorded;
          else
            nothing = nothing - recorded;
        }
        if (sign == 0) chance = chance * nothing;
      }
    }
  }
};

}  // namespace

template <class Real>
void breeding_sites(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int,
                    const Reals<Real>& parm, Cell_work<Real>& work) {
  result = site_cell<Breeding_sites>(job, histry, i, j, parm, work);
}

template <class Real>
void sites_of_states(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int,
                     const Reals<Real>& parm, Cell_work<Real>& work) {
  result = site_cell<Sites_of_states>(job, histry, i, j, parm, work);
}

TARN_CELL_ROUTINE(breeding_sites, Breeding_sites)
TARN_CELL_ROUTINE(sites_of_states, Sites_of_states)

}  // namespace tarn
