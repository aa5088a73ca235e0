// The term of the animals never caught in a session: against a plain loop, worked numbers, its penalty.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/fitted_models.h"
#include "support/study_builder.h"

namespace tarn {
namespace {

std::vector<int> types_with_session_terms() {
  std::vector<int> types;
  for (const int type : types_with_a_routine()) {
    const Closed_form form = datatype(type).closed_form;
    if (!strata_codes(type).empty()) continue;  // there are terms by stratum
    if (form == Closed_form::B || form == Closed_form::C) types.push_back(type);
  }
  return types;
}

/// Animals caught in every session, released and lost, in two groups; of which only the term counts.
Study_builder sessions_study(int type, int mixtures) {
  Study_builder study(type, {2, 1, 3}, {.between = {0.5F, 2.0F}, .mixtures = mixtures, .groups = 2});
  study.record("110100", {7.0F, 1.0F}, {2.0F, 0.0F});
  study.record("010001", {3.0F, 5.0F}, {0.0F, 1.0F});
  study.record("001010", {0.0F, 4.0F}, {1.0F, 2.0F});
  study.model.job().model.phase1 = 0;
  study.model.finish();
  return study;
}
/// Animals caught in these, by session and group.
constexpr int caught[3][2] = {{12, 7}, {1, 6}, {13, 13}};

/// Chance of no capture in a session.
double never_caught(Study_builder& study, int s, int g) {
  const Closed_reals x = study.closed_reals(s, g);
  double q = 0.0;
  for (std::size_t m = 0; m < x.pi.size(); ++m) {
    double product = x.pi[m];
    for (const double p : x.p[m]) product *= 1.0 - p;
    q += product;
  }
  return q;
}

class Session_term : public testing::TestWithParam<int> {
 protected:
  static std::vector<int> mixtures() {
    return Closed_kind::of(GetParam()).mixtures ? std::vector{1, 2, 3} : std::vector{1};
  }
};

TEST_P(Session_term, is_that_of_a_plain_loop) {
  for (const int mixtures : mixtures()) {
    Study_builder study = sessions_study(GetParam(), mixtures);
    for (const unsigned seed : {1U, 2U, 3U}) {
      study.draw(seed);
      double expected = 0.0;
      for (int s = 1; s <= 3; ++s)
        for (int g = 1; g <= 2; ++g) {
          const double missed = study.real("f0", 1, 1, s, g);
          expected += missed * std::log(never_caught(study, s, g)) +
                      std::lgamma(caught[s - 1][g - 1] + missed + 1.0) - std::lgamma(missed + 1.0);
        }
      study.model.func(study.reals);
      // Products and logarithms, sums up to some hundred.
      EXPECT_NEAR(-0.5 * study.model.value.loglik, expected, 1e-12 * std::abs(expected)) << mixtures;
      EXPECT_EQ(study.model.value.sumpen, 0.0);
    }
  }
}

// In every group and session the slope times what the chance of no capture is outside 0 to 1, whose logarithm
// takes the floor below 0.
TEST_P(Session_term, is_charged_for_chances_that_are_none) {
  for (const int mixtures : mixtures())
    for (const double p : {1.4, -6.0}) {
      Study_builder study = sessions_study(GetParam(), mixtures);
      study.draw(4);
      for (int m = 1; m <= mixtures; ++m) study.real("p", m, 1, 1, 2) = study.real("p", m, 1, 2, 1) = p;
      double outside = 0.0, expected = 0.0;
      for (int s = 1; s <= 3; ++s)
        for (int g = 1; g <= 2; ++g) {
          const double q = never_caught(study, s, g), missed = study.real("f0", 1, 1, s, g);
          outside += std::max({-q, q - 1.0, 0.0});
          expected += missed * std::log(std::max(q, minlog)) +
                      std::lgamma(caught[s - 1][g - 1] + missed + 1.0) - std::lgamma(missed + 1.0);
        }
      study.model.func(study.reals);
      EXPECT_GT(outside, 0.01);
      // Some products and sums in another order.
      EXPECT_NEAR(study.model.value.sumpen, 2e6 * outside, 1e-8 * outside) << mixtures << ' ' << p;
      EXPECT_NEAR(-0.5 * study.model.value.loglik, expected, 1e-12 * std::abs(expected))
          << mixtures << ' ' << p;
    }
}

INSTANTIATE_TEST_SUITE_P(types, Session_term, testing::ValuesIn(types_with_session_terms()), name_of_type);

TEST(Session_terms, stand_beside_every_full_kind_and_no_other) {
  for (const int type : types_with_a_routine()) {
    const Datatype& row = datatype(type);
    if (!row.sessions) continue;
    const Closed_form form = row.closed_form;
    EXPECT_EQ(form == Closed_form::B || form == Closed_form::C, !Closed_kind::of(type).conditional) << type;
    EXPECT_EQ(form == Closed_form::C, Closed_kind::of(type).mixtures && !Closed_kind::of(type).conditional)
        << type;
  }
}

TEST(Session_terms, worked_numbers) {
  const double caught_in[] = {50.0, 40.0, 45.0}, missed[] = {30.0, 25.5, 20.0};
  const double terms[] = {172.9898709057, 134.1324210021, 146.4345719548};
  for (const int only : {0, 1, 2, 3}) {  // one of the sessions, or 0: all
    Study_builder study(7, {2, 1, 2});
    study.record("10000", {1.0F});
    double expected = 0.0;
    for (int s = 1; s <= 3; ++s) {
      const bool counts = only == 0 || only == s;
      study.model.job().data.u(s, 1, 1) = counts ? static_cast<float>(caught_in[s - 1]) : 0.0F;
      study.real("f0", 1, 1, s) = counts ? missed[s - 1] : 0.0;
      if (counts) expected += terms[s - 1];
    }
    study.set("p", {0.3, 0.4}, 1);
    study.set("p", {0.5}, 2);
    study.set("p", {0.35, 0.45}, 3);
    study.model.job().model.phase1 = 0;
    study.model.finish();
    study.model.func(study.reals);
    EXPECT_NEAR(-0.5 * study.model.value.loglik, expected, 3e-10) << only;
  }
}

TEST(Session_terms, worked_number_of_mixtures) {
  Study_builder study(39, {3, 1}, {.mixtures = 2});
  study.record("1000", {1.0F});
  study.model.job().data.u(1, 1, 1) = 50.0F;
  study.set("pi", {0.35}, 1);
  study.set("p", {0.2, 0.3, 0.4}, 1, 1);
  study.set("p", {0.5, 0.6, 0.7}, 1, 2);
  study.real("f0", 1, 1, 1) = 30.0;
  study.real("f0", 1, 1, 2) = 0.0;
  study.model.job().model.phase1 = 0;
  study.model.finish();
  study.model.func(study.reals);
  EXPECT_NEAR(-0.5 * study.model.value.loglik, 143.3930730741, 1e-10);
}

}  // namespace
}  // namespace tarn
