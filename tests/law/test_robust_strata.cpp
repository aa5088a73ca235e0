// Laws of the robust designs of animals that move between strata, sessions closed: sums, and agreement with
// an enumeration of animals, for every closed kind.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "support/fitted_models.h"
#include "support/strata_study.h"

namespace tarn {
namespace {

std::vector<int> types_of(Cell cell) {
  std::vector<int> types;
  for (int type = 1; type <= max_dattyp; ++type)
    if (datatype(type).cell == cell) types.push_back(type);
  return types;
}
std::vector<int> all_types() {
  std::vector<int> types = types_of(Cell::robust_multistate);
  for (const int type : types_of(Cell::robust_omega)) types.push_back(type);
  return types;
}

/// Strata, sessions, how the matrices lie, and occasions without sampling.
struct Layout {
  std::vector<int> lengths;
  Strata_options options;
  std::vector<std::string> dots;
};

const std::vector<Layout>& layouts() {
  static const std::vector<Layout> all{
      {{2, 1, 2}, {.codes = "AB", .between = {0.5F, 2.0F}}, {"_____", "_.___", ".__._", "__.__", "___.."}},
      {{1, 2, 1, 2},
       {.codes = "AB", .between = {1.5F, 1.0F, 0.25F}, .groups = 2, .rows = 2},
       {"______", "_.____", "_..___", "___.__"}},
      {{1, 3}, {.codes = "XY", .rows = 1, .missing = {{2, 1}}}, {"____", "__._"}},
      {{2, 2}, {.codes = "XYZ", .between = {2.0F}, .missing = {{1, 3}, {3, 2}}}, {"____", "_._."}},
      {{1, 1, 1, 1}, {.codes = "CAB", .between = {0.5F, 2.0F}}, {"____", "_.__"}},
      {{3}, {.codes = "AB", .rows = 1}, {"___", "._."}},
      {{2, 1}, {.codes = "A"}, {"___", "_._"}}};
  return all;
}

struct Setting {
  const Layout& layout;
  int mixtures;
  std::string dots;
  std::string told() const {
    return layout.options.codes + ' ' + dots + ", mixtures " + std::to_string(mixtures);
  }
};

std::vector<Setting> settings_of(int type) {
  std::vector<Setting> all;
  for (const Layout& layout : layouts())
    for (const int mixtures : Closed_kind::of(type).mixtures ? std::vector{2, 3} : std::vector{1})
      for (const std::string& dots : layout.dots) all.push_back({layout, mixtures, dots});
  return all;
}

Robust_strata_study study_of(int type, const Setting& setting) {
  Strata_options options = setting.layout.options;
  options.mixtures = setting.mixtures;
  return {type, setting.layout.lengths, options};
}

/// Histories whose chances sum to 1: of each first session, and there of each stratum where the stratum of a
/// first capture is given.
std::vector<Strata_animals::Records> cohorts(Robust_strata_study& study, int g, const std::string& dots) {
  Strata_animals animals(study, g, dots);
  std::vector<Strata_animals::Records> all;
  for (int f = 1; f <= study.sessions(); ++f) {
    if (!(animals.pstar(1, f) > 0.0)) continue;
    if (study.has("Omega"))
      all.push_back(animals.of_session(f));
    else
      for (int a = 1; a <= study.strata(); ++a) all.push_back(animals.of_stratum(f, a));
  }
  return all;
}

class Robust_strata_laws : public testing::TestWithParam<int> {};

TEST_P(Robust_strata_laws, histories_are_those_of_animals_followed_one_by_one) {
  for (const Setting& setting : settings_of(GetParam())) {
    Robust_strata_study study = study_of(GetParam(), setting);
    study.draw(1);
    Draws draws(71);
    for (const auto& cohort : cohorts(study, 1, setting.dots))
      for (const auto& [history, share] : cohort) {
        std::vector<float> observed, lost;
        for (int g = 1; g <= study.groups(); ++g) {
          observed.push_back(static_cast<float>(draws.whole(1, 4)));
          lost.push_back(static_cast<float>(draws.whole(1, 2)));
        }
        study.record(history, observed, lost);
      }
    study.model.finish();
    // 101 nodes against an integral: what the rule itself leaves out with deviations up to 1.2. The others
    // are sums of some hundred products.
    const double tolerance = study.kind.effect ? 1e-10 : 1e-14;
    for (const unsigned seed : {2U, 3U}) {
      study.draw(seed);
      for (int g = 1; g <= study.groups(); ++g) {
        const std::string told = setting.told() + ", group " + std::to_string(g);
        const Strata_animals animals(study, g, setting.dots);
        const std::vector<double> observed = study.probabilities(false, g),
                                  lost = study.probabilities(true, g);
        std::size_t i = 0;
        for (const auto& cohort : cohorts(study, g, setting.dots)) {
          double total = 0.0;
          for (const auto& [history, share] : cohort) {
            const double factor = study.kind.conditional ? 1.0 : animals.pstar_of(history);
            ASSERT_EQ(study.histories[i], history);
            EXPECT_NEAR(observed[i], share * factor, tolerance) << history << ' ' << told;
            EXPECT_NEAR(lost[i], Strata_animals::removed(cohort, history) * factor, tolerance)
                << history << ' ' << told << ", lost";
            total += observed[i] / factor;
            ++i;
          }
          // The rule's own error cancels in the conditional kinds, which alone have it.
          EXPECT_NEAR(total, 1.0, 1e-12) << told;
        }
        EXPECT_EQ(i, observed.size());
      }
    }
  }
}

// Where counts of what happened stand for histories, the sum is theirs.
TEST_P(Robust_strata_laws, counts_stand_for_histories) {
  int counted = 0;
  for (const Layout& layout : layouts()) {
    const Setting setting{layout, Closed_kind::of(GetParam()).mixtures ? 2 : 1, layout.dots.front()};
    Robust_strata_study study = study_of(GetParam(), setting);
    study.draw(4);
    Draws draws(72);
    for (const std::string& dots : layout.dots)
      for (const auto& cohort : cohorts(study, 1, dots))
        for (const auto& [history, share] : cohort)
          study.record(history,
                       std::vector<float>(static_cast<std::size_t>(study.groups()),
                                          static_cast<float>(draws.whole(0, 4))),
                       std::vector<float>(static_cast<std::size_t>(study.groups()),
                                          static_cast<float>(draws.whole(0, 1))));
    study.model.finish();
    study.draw(5);
    counted += study.model.job().model.likelihood->setting.counted.empty() ? 0 : 1;
    const double by_counts = study.model.func(study.reals);
    study.model.force_histories();
    // Sums of some thousand logarithms.
    EXPECT_NEAR(study.model.func(study.reals), by_counts, 1e-13 * std::abs(by_counts)) << setting.told();
  }
  EXPECT_GE(counted, 2);
}

INSTANTIATE_TEST_SUITE_P(types, Robust_strata_laws, testing::ValuesIn(all_types()), name_of_type);

// KEPT: the row sums to more than 1, and only serial runs are charged for it; in the session design as
// between occasions.
TEST(Robust_strata_rows, an_over_full_row_of_transitions_is_charged_in_serial_runs) {
  for (const int type : {34, 104}) {
    Robust_strata_study study(type, {2, 1}, {.codes = "ABC", .rows = 1});
    study.record("A00", {1.0F});
    study.draw(8);
    study.real("Psi", 1, 2, 1, 1) = 0.7;
    study.real("Psi", 1, 3, 1, 1) = 0.5;
    study.model.finish();
    const Strata_animals animals(study, 1, {});
    const double s = study.rate("S", 1, 1, 1, 1);
    const auto missed = [&](int b) { return 1.0 - animals.pstar(b, 2); };
    double start = 1.0;
    if (type == 104) {
      double all = 0.0;
      for (int a = 1; a <= 3; ++a) all += study.omega(a, 1) * animals.pstar(a, 1);
      start = study.omega(1, 1) * animals.pstar(1, 1) / all;
    }
    const Closed_reals x = study.closed_reals(1, 1);
    const double within = x.p[0][0] * (1.0 - x.c[0][1]) / animals.pstar(1, 1);
    const double expected =
        start * within *
        (1.0 - s + s * (2.220446049250313e-16 * missed(1) + 0.7 * missed(2) + 0.5 * missed(3)));
    EXPECT_NEAR(study.probabilities()[0], expected, 1e-15) << type;
    study.model.func(study.reals);
    EXPECT_NEAR(study.model.value.sumpen, 0.8, 1e-9) << type;
    study.model.force_threads(2);
    study.model.func(study.reals);
    EXPECT_EQ(study.model.value.sumpen, 0.0) << type;
  }
}

/// Strata of two codes in three sessions; animals caught in each, released and lost, in two groups.
Robust_strata_study terms_study(int type, int mixtures) {
  Robust_strata_study study(type, {2, 1, 3},
                            {.codes = "AB", .between = {0.5F, 2.0F}, .mixtures = mixtures, .groups = 2});
  study.record("AA0B00", {7.0F, 1.0F}, {2.0F, 0.0F});
  study.record("0B000A", {3.0F, 5.0F}, {0.0F, 1.0F});
  study.record("00A0B0", {0.0F, 4.0F}, {1.0F, 2.0F});
  study.record(".B.AA.", {6.0F, 0.0F}, {0.0F, 3.0F});
  study.model.job().model.phase1 = 0;
  study.model.finish();
  return study;
}
/// Animals caught, by session, stratum and group.
constexpr int caught[3][2][2] = {{{9, 1}, {9, 9}}, {{1, 6}, {0, 0}}, {{9, 9}, {10, 7}}};

/// The term of one group, stratum and session; its charge is added to `charge`.
double term_by_hand(Robust_strata_study& study, int s, int a, int g, double& charge) {
  const Closed_reals x = study.closed_reals(a, s, g);
  double q = 0.0;
  for (std::size_t m = 0; m < x.pi.size(); ++m) {
    double product = x.pi[m];
    for (const double p : x.p[m]) product *= 1.0 - p;
    q += product;
  }
  charge += 2e6 * std::max({-q, q - 1.0, 0.0});
  const double never = study.real("f0", a, s, 1, 1, g);
  return never * std::log(std::max(q, minlog)) + std::lgamma(caught[s - 1][a - 1][g - 1] + never + 1.0) -
         std::lgamma(never + 1.0);
}

class Robust_strata_term : public testing::TestWithParam<int> {};

TEST_P(Robust_strata_term, is_that_of_every_stratum_and_session) {
  for (const int mixtures : Closed_kind::of(GetParam()).mixtures ? std::vector{1, 2, 3} : std::vector{1})
    for (const double p : {0.5, 1.4, -6.0}) {
      Robust_strata_study study = terms_study(GetParam(), mixtures);
      study.draw(6);
      // Of one stratum and session in each group: chances of no capture that are none.
      for (int m = 1; m <= mixtures && p != 0.5; ++m)
        study.real("p", 2, 1, m, 1, 2) = study.real("p", 1, 2, m, 1, 1) = p;
      double expected = 0.0, charge = 0.0;
      for (int s = 1; s <= 3; ++s)
        for (int a = 1; a <= 2; ++a)
          for (int g = 1; g <= 2; ++g) expected += term_by_hand(study, s, a, g, charge);
      study.model.func(study.reals);
      EXPECT_NEAR(-0.5 * study.model.value.loglik, expected, 1e-12 * std::abs(expected))
          << mixtures << ' ' << p;
      EXPECT_NEAR(study.model.value.sumpen, charge, 1e-8 * charge) << mixtures << ' ' << p;
      EXPECT_EQ(charge > 0.0, p != 0.5);
    }
}

INSTANTIATE_TEST_SUITE_P(types, Robust_strata_term, testing::Values(33, 35, 36, 61, 63, 64), name_of_type);

}  // namespace
}  // namespace tarn
