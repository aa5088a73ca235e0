// Sites of several species, each of which is there or not.
//
// Two species, A and B; cells "11" both detected, "10" A only, "01" B only, "00" none:
//   states      both, A only, B only, neither
//   season 1    PsiAB, PsiA - PsiAB or 0, PsiB - PsiAB, the rest (MacKenzie et al. 2004); or A with PsiA,
//   then
//               B with PsiBA, without A with PsiBa (Richmond et al. 2010)
//   s to s + 1  given the state A and B change independently (MacKenzie et al. 2006; Miller et al. 2012): A
//               comes with GammaA without B, GammaAB with B, and goes with EpsilonA, EpsilonAB; B likewise
//   survey j    one species there: detected with pA(j), pB(j). Both there: "11", "10", "01" with rAB, rAb,
//               raB; or A with rA, then B with rBA, without a detection of A with rBa
//
// n species (Rota et al. 2016); cells are numbers whose bit k - 1 tells a detection of species k:
//   states      sets of species, numbered in the same way
//   one season  set z with exp(eta(z)) / sum, eta(z) the sum of f(A) over the sets A that z holds
//   survey c    each species there is detected with p_k(c), independently

#include <array>
#include <cstdint>
#include <vector>

#include "likelihood/blocks/penalty.h"
#include "likelihood/blocks/site_states.h"
#include "likelihood/blocks/sites.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

struct Two_species : Sites<Two_species> {
  struct Prepared : Site_records {
    explicit Prepared(const Job& job)
        : Site_records(job, 4, "PsiAB PsiA PsiB PsiBA PsiBa"),
          conditional(names_hold(datatype(job.status.dattyp).own, "PsiBA")) {}
    bool conditional;  ///< rates of B are told by those of A
  };
  template <class Real>
  using Kept = Site_kept<Real>;

  template <class Real>
  static void begins(const Job&, int group, const Reals<Real>& parm, Cell_work<Real>& work,
                     std::span<Real> init) {
    const auto psi = [&](Parameter parameter) -> const Real& {
      return parm[work.matrix(parameter, group)(1, 1)];
    };
    if (prepared<Two_species>(work).conditional) {
      shares_of_two_species<Real>(psi, init);
      return;
    }
    const Real &both = psi(Parameter::PsiAB), &a = psi(Parameter::PsiA), &b = psi(Parameter::PsiB);
    const Real only_a = a - both;
    init[0] = both;
    // KEPT (joint_occupancy_above_that_of_a): A only has a floor, and the sum may exceed 1; looks wrong, is
    // required. What is missing is charged for.
    init[1] = value_of(only_a) > 0.0 ? only_a : Real(0.0);
    init[2] = b - both;
    init[3] = both + 1.0 - a - b;
  }

  /// What PsiA and PsiB fall short of PsiAB, and the sites without either of 0, as a penalty.
  template <class Real>
  static Real shortfall(const Job& job, int group, const Reals<Real>& parm, Cell_work<Real>& work) {
    if (prepared<Two_species>(work).conditional) return 0.0;
    const auto psi = [&](Parameter parameter) -> const Real& {
      return parm[work.matrix(parameter, group)(1, 1)];
    };
    const Real &both = psi(Parameter::PsiAB), &a = psi(Parameter::PsiA), &b = psi(Parameter::PsiB);
    Real charge = 0.0;
    for (const Real& share : {Real(a - both), Real(b - both), Real(both + 1.0 - a - b)})
      charge = charge + shortfall_penalty(share, job.status.penalty_slope);
    return charge;
  }

  template <class Real>
  static Real changes(const Job&, int group, int s, const Reals<Real>& parm, Cell_work<Real>& work,
                      std::span<Real> m) {
    changes_of_two_species<Real>(
        [&](Parameter parameter) -> const Real& { return parm[work.matrix(parameter, group)(1, s)]; }, m);
    return 0.0;
  }

  template <class Real>
  static void shows(const Job&, const Season& season, const Reals<Real>& parm, Cell_work<Real>& work,
                    std::span<Real> e) {
    const bool conditional = prepared<Two_species>(work).conditional;
    std::fill(e.begin(), e.end(), Real(1.0));
    for (int j = 1; j <= season.length; ++j) {
      if (!season.surveyed(j)) continue;
      const auto rate = [&](Parameter parameter) -> const Real& {
        return parm[work.matrix(parameter, 1, season.number, season.group)(1, j)];
      };
      const bool a = season.sign(j) == '1', b = season.second_sign(j) == '1';
      e[0] =
          e[0] * (conditional ? conditional_detection<Real>(a, b, rate) : joint_detection<Real>(a, b, rate));
      e[1] = b ? Real(0.0) : Real(e[1] * (a ? rate(Parameter::pA) : Real(1.0 - rate(Parameter::pA))));
      e[2] = a ? Real(0.0) : Real(e[2] * (b ? rate(Parameter::pB) : Real(1.0 - rate(Parameter::pB))));
      if (a || b) e[3] = 0.0;
    }
  }

 private:
  template <class Real, class Rate>
  static Real joint_detection(bool a, bool b, const Rate& rate) {
    if (a && b) return rate(Parameter::rAB);
    if (a) return rate(Parameter::rAb);
    if (b) return rate(Parameter::raB);
    return 1.0 - rate(Parameter::rAB) - rate(Parameter::rAb) - rate(Parameter::raB);
  }
  template <class Real, class Rate>
  static Real conditional_detection(bool a, bool b, const Rate& rate) {
    const Real& of_a = rate(Parameter::rA);
    const Real& of_b = rate(a ? Parameter::rBA : Parameter::rBa);
    return (a ? of_a : Real(1.0 - of_a)) * (b ? of_b : Real(1.0 - of_b));
  }
};

struct Several_species : Sites<Several_species> {
  struct Prepared : Site_records {
    explicit Prepared(const Job& job)
        : Site_records(job, 1 << job.status.nspeciesocc, "f"), species(job.status.nspeciesocc) {}
    int species;
  };
  /// Shares of the sets of species, and the reals that they were made for.
  template <class Real>
  struct Shares {
    std::vector<Real> shares;
    std::uint64_t made_for = 0;
  };
  template <class Real>
  struct Kept : Site_kept<Real> {
    std::vector<Shares<Real>> shares;  ///< by group
  };

  template <class Real>
  static void begins(const Job& job, int group, const Reals<Real>& parm, Cell_work<Real>& work,
                     std::span<Real> init) {
    auto& own = kept<Several_species>(work).shares;
    if (own.empty()) own.resize(static_cast<std::size_t>(job.status.ngrps));
    Shares<Real>& of_group = own[static_cast<std::size_t>(group) - 1];
    if (of_group.made_for == 0 || of_group.made_for != parm.stamp()) {
      const auto keep = work.trace.keep();
      of_group.shares.resize(init.size());
      const auto f = work.matrix(Parameter::f, group);
      shares_of_sets<Real>(
          job.data.fdesign, f.ncols, [&](int column) -> const Real& { return parm[f(1, column)]; },
          of_group.shares);
      of_group.made_for = parm.stamp();
    }
    std::copy(of_group.shares.begin(), of_group.shares.end(), init.begin());
  }

  template <class Real>
  static Real changes(const Job&, int, int, const Reals<Real>&, Cell_work<Real>&, std::span<Real>) {
    return 0.0;  // there is one season
  }

  template <class Real>
  static void shows(const Job& job, const Season& season, const Reals<Real>& parm, Cell_work<Real>& work,
                    std::span<Real> e) {
    const int n = prepared<Several_species>(work).species;
    std::array<Real, 6> product;
    product.fill(Real(1.0));
    unsigned met = 0;
    bool impossible = false;
    for (int c = 1; c <= season.length; ++c) {
      if (!season.surveyed(c)) continue;
      const unsigned cell = static_cast<unsigned>(10 * (season.sign(c) - '0') + season.second_sign(c) - '0');
      impossible = impossible || cell >> n != 0;
      met |= cell;
      for (int k = 0; k < n; ++k) {
        const Real& p = rate_of(job, n, k + 1, c, season.group, parm, work);
        Real& of_species = product[static_cast<std::size_t>(k)];
        of_species = of_species * ((cell >> k & 1U) != 0 ? p : Real(1.0 - p));
      }
    }
    // A set is the one without its last species, and that.
    e[0] = 1.0;
    for (int k = 0; k < n; ++k)
      for (std::size_t z = 0; z < std::size_t{1} << k; ++z)
        e[z + (std::size_t{1} << k)] = e[z] * product[static_cast<std::size_t>(k)];
    for (std::size_t z = 0; z < e.size(); ++z)
      if (impossible || (met & ~z) != 0) e[z] = 0.0;
  }

 private:
  /// A description with digits has the species' place among "0123456789.", one with species as strata their
  /// number; else a species is a row.
  template <class Real>
  static const Real& rate_of(const Job&, int n, int k, int c, int group, const Reals<Real>& parm,
                             Cell_work<Real>& work) {
    if (work.matrix(Parameter::p, n + 1, 1, group).nrows > 0)
      return parm[work.matrix(Parameter::p, k + 1, 1, group)(1, c)];
    if (n > 1 && work.matrix(Parameter::p, n, 1, group).nrows > 0)
      return parm[work.matrix(Parameter::p, k, 1, group)(1, c)];
    return parm[work.matrix(Parameter::p, group)(k, c)];
  }
};

}  // namespace

template <class Real>
void two_species(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int,
                 const Reals<Real>& parm, Cell_work<Real>& work) {
  result = site_cell<Two_species>(job, histry, i, j, parm, work);
  if (hidden_facts<Two_species>(work, i, histry).last_sampled > 0)
    work.penlty[0] += Two_species::shortfall(job, j, parm, work);
}

template <class Real>
void several_species(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int,
                     const Reals<Real>& parm, Cell_work<Real>& work) {
  result = site_cell<Several_species>(job, histry, i, j, parm, work);
}

TARN_CELL_ROUTINE(two_species, Two_species)
TARN_CELL_ROUTINE(several_species, Several_species)

}  // namespace tarn
