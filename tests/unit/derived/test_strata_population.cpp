// Population sizes by stratum and primary session against plain loops over the records.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "derived/population.h"
#include "inference/intervals.h"
#include "support/strata_study.h"
#include "unit/derived/derived_model.h"

namespace tarn {
namespace {

/// Sessions of 3, 1 and 2 occasions; two groups, animals lost, occasions not sampled.
struct Strata_model : Robust_strata_study {
  explicit Strata_model(int type, const std::string& codes = "AB")
      : Robust_strata_study(type, {3, 1, 2},
                            {.codes = codes, .mixtures = 2, .order = 31, .groups = 2, .rows = 1}) {
    const char last = codes.back();
    const auto add = [&](std::string history, std::vector<float> observed, std::vector<float> lost) {
      std::replace(history.begin(), history.end(), 'L', last);
      record(history, observed, lost);
      counts.push_back({observed, lost});
    };
    add("AA00L0", {7, 2}, {1, 0});
    add("L00A0L", {4, 3}, {0, 2});
    add("0LL000", {5, 0}, {0, 4});
    add("00ALAA", {0, 6}, {3, 0});
    add("000L00", {2, 9}, {0, 0});
    add("0000LL", {8, 1}, {0, 1});
    add("A.0.A.", {3, 1}, {0, 1});
    add(".L0L.L", {6, 2}, {2, 0});
    add("....A0", {1, 1}, {0, 0});
    model.prepare();
    model.job().model.likelihood = std::make_shared<Likelihood_work>(model.job(), Cell_routines{});
    draw(31);
  }

  Derived_values derive(const std::vector<double>& variances) {
    const int n = static_cast<int>(reals.size());
    Array2<double> v;
    if (!v.allocate(n, n)) throw std::bad_alloc();
    for (int i = 1; i <= n; ++i) v(i, i) = variances[static_cast<std::size_t>(i) - 1];
    std::vector<Derived_values> all;
    derivedest(model.job(), reals, v, {}, [&](Derived_values& values) { all.push_back(std::move(values)); });
    EXPECT_EQ(all.size(), 1u);
    return std::move(all.at(0));
  }

  /// Chance of a capture in session s on the occasions that a history has sampled.
  double pstar(const std::string& history, int a, int s, int g) {
    const Closed_reals x = closed_reals(a, s, g);
    const auto missed = [&](const std::vector<double>& p, double z) {
      double q = 1.0;
      for (int o = 1; o <= length(s); ++o) {
        const auto at = static_cast<std::size_t>(o) - 1;
        if (history[static_cast<std::size_t>(before(s)) + at] == '.') continue;
        q *= 1.0 - 1.0 / (1.0 + (1.0 - p[at]) / p[at] * std::exp(-std::sqrt(2.0) * x.sigma[at] * z));
      }
      return q;
    };
    double q = 0.0;
    if (kind.effect) {
      const Data_module& data = model.job().data;
      for (int k = 1; k <= data.order; ++k)
        q += data.ghqw(k) / std::sqrt(M_PI) * missed(x.p[0], data.ghqv(k));
    } else {
      for (std::size_t m = 0; m < x.pi.size(); ++m) q += x.pi[m] * missed(x.p[m], 0.0);
    }
    return 1.0 - q;
  }

  struct Sums {
    double caught = 0.0, twice = 0.0;
    double rightly = 0.0;   ///< sum of alpha at the first capture
    double size = 0.0;      ///< the same over p*
    double sampling = 0.0;  ///< and times (1 - p*) / p*^2
  };
  Sums sums_of(int g, int a, int s) {
    Sums sums;
    for (std::size_t i = 0; i < histories.size(); ++i) {
      int first = 0, captures = 0;
      for (int o = length(s); o >= 1; --o)
        if (histories[i][static_cast<std::size_t>(before(s) + o) - 1] == code(a)) first = o, ++captures;
      if (captures == 0) continue;
      const auto k = static_cast<std::size_t>(g) - 1;
      const double n = counts[i].observed[k] + counts[i].lost[k], p = pstar(histories[i], a, s, g);
      const double rightly = n * (has("alpha") ? real("alpha", a, s, 1, first, g) : 1.0);
      sums.caught += n;
      if (captures > 1) sums.twice += n;
      sums.rightly += rightly;
      sums.size += rightly / p;
      sums.sampling += rightly * (1.0 - p) / (p * p);
    }
    return sums;
  }

  struct Animals {
    std::vector<float> observed, lost;
  };
  std::vector<Animals> counts;
};

/// Calls look(g, a, s, place) in the order of the rows.
template <class Look>
void for_each_row(const Strata_model& m, const Look& look) {
  int at = 0;
  for (int g = 1; g <= 2; ++g)
    for (int a = 1; a <= m.strata(); ++a)
      for (int s = 1; s <= 3; ++s) look(g, a, s, ++at);
}

TEST(Strata_population, full_kinds_add_those_never_caught_to_the_animals_of_stratum_and_session) {
  for (const int type : {33, 35, 36})
    for (const char* codes : {"AB", "AXB"}) {
      Strata_model m(type, codes);
      std::vector<double> variances(m.reals.size(), 0.01);
      variances[static_cast<std::size_t>(m.number("f0", 2, 3, 1, 1, 2)) - 1] = 4.0;
      const Derived_values values = m.derive(variances);
      ASSERT_EQ(values.parmest.extent(), 6 * m.strata());
      for_each_row(m, [&](int g, int a, int s, int at) {
        EXPECT_EQ(values.rows(at), (List<int>{g, a, s}));
        const double caught = m.sums_of(g, a, s).caught, never = m.real("f0", a, s, 1, 1, g);
        EXPECT_NEAR(values.parmest(at), caught + never, 1e-12) << type;
        const double se = g == 2 && a == 2 && s == 3 ? 2.0 : 0.1;  // only f0 counts
        EXPECT_NEAR(values.parmse(at), se, 1e-9) << type;
        const Limits limits = population_limits(caught + never, se, caught);
        EXPECT_NEAR(values.parmlci(at), limits.lower, 1e-7);
        EXPECT_NEAR(values.parmuci(at), limits.upper, 1e-7);
      });
    }
}

TEST(Strata_population, conditional_kinds_sum_over_the_animals_of_stratum_and_session) {
  for (const int type : {34, 37, 38, 147})
    for (const char* codes : {"AB", "AXB"}) {
      Strata_model m(type, codes);
      const Derived_values values = m.derive(std::vector<double>(m.reals.size(), 0.0));
      ASSERT_EQ(values.parmest.extent(), 6 * m.strata());
      for_each_row(m, [&](int g, int a, int s, int at) {
        EXPECT_EQ(values.rows(at), (List<int>{g, a, s}));
        const Strata_model::Sums sums = m.sums_of(g, a, s);
        // Sums in another order; a quadrature of 31 nodes in another form.
        EXPECT_NEAR(values.parmest(at), sums.size, 1e-11 * sums.size) << type;
        EXPECT_NEAR(values.parmse(at), std::sqrt(sums.sampling), 1e-10 * sums.size) << type;
        const Limits limits = population_limits(sums.size, std::sqrt(sums.sampling), sums.caught);
        EXPECT_NEAR(values.parmlci(at), limits.lower, 1e-9 * sums.size);
        EXPECT_NEAR(values.parmuci(at), limits.upper, 1e-9 * sums.size);
      });
    }
}

TEST(Strata_population, misidentification_counts_what_was_read_rightly) {
  for (const int type : {61, 62, 63, 64, 65, 66}) {
    Strata_model m(type);
    Derived_frame frame(m.model.job());
    std::vector<double> values(12);
    frame.minimum.assign(12, 0.0);
    frame.added_variance.assign(12, 0.0);
    const bool full = m.has("f0");
    (full ? population_full : huggins_pstar)(frame, m.reals, 1, values);
    for_each_row(m, [&](int g, int a, int s, int at) {
      const Strata_model::Sums sums = m.sums_of(g, a, s);
      const double size = !full ? sums.size
                          : sums.caught > 0.0
                              ? sums.rightly / sums.caught * (sums.caught + m.real("f0", a, s, 1, 1, g))
                              : m.real("f0", a, s, 1, 1, g);
      EXPECT_NEAR(values[static_cast<std::size_t>(at) - 1], size, 1e-11 * std::max(size, 1.0)) << type;
      EXPECT_EQ(frame.minimum(at), sums.twice) << type;
      EXPECT_NEAR(frame.added_variance(at), full ? 0.0 : sums.sampling, 1e-10 * std::max(size, 1.0)) << type;
    });
  }
}

TEST(Strata_population, captures_are_grouped_by_stratum) {
  Strata_model m(34);
  Derived_frame frame(m.model.job());
  double animals = 0.0;
  for (const Capture_class& alike : frame.capture_classes(false))
    if (alike.session == 1 && alike.group == 1 && alike.stratum == 2) animals += alike.animals;
  EXPECT_EQ(animals, m.sums_of(1, 2, 1).caught);
}

TEST(Strata_population, kinds_with_shares_of_strata_have_none) {
  for (const int type : {104, 105, 106}) EXPECT_TRUE(derived_sections(datatype(type)).empty()) << type;
}

TEST(Check_derived, a_stratum_without_f0_is_fatal_when_the_model_is_set_up) {
  Strata_model m(33);
  check_derived(m.model.job());
  m.model.job().model.pim2(findpar(m.model.job().data, "f0"), 2, 3, 1).cells(1) = 0;
  EXPECT_EQ(error_of(m.model.test, [&] { check_derived(m.model.job()); }),
            "Parameter index matrix 'f0', second index 2, third index 3, group 1: row 1, column 1 holds 0, "
            "which is "
            "no row of the design matrix.");
}

}  // namespace
}  // namespace tarn
