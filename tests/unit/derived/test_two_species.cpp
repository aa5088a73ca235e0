// What is derived of the occupancy of sites by two species, against numbers worked by hand.

#include "derived/two_species.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <string>
#include <vector>

#include "inference/intervals.h"
#include "site_model.h"

namespace tarn {
namespace {

// Worked numbers have ten digits behind the point.
constexpr double worked = 6e-11;
// A few operations on numbers of the size of 1.
constexpr double rounding = 1e-15;

void expect_values(const std::vector<double>& made, const std::vector<double>& expected, double tolerance,
                   int section) {
  ASSERT_EQ(made.size(), expected.size()) << section;
  for (std::size_t i = 0; i < made.size(); ++i)
    EXPECT_NEAR(made[i], expected[i], tolerance) << section << " " << i;
}

TEST(Two_species, joint_occupancies_leave_the_factor_to_be_derived) {
  Site_model site(113, {2});
  site.set("PsiAB", {0.3}).set("PsiA", {0.5}).set("PsiB", {0.6});
  ASSERT_EQ(site.sections().size(), 1U);
  EXPECT_EQ(site.section(1).title, "Species Interaction Factors of ");
  EXPECT_EQ(site.section(1).interval, Interval::plain);
  expect_values(site.values(1), {1.0}, rounding, 1);
}

TEST(Two_species, conditional_occupancies_leave_three) {
  Site_model site(137, {2}, 2);
  site.set_all("PsiA", {0.5}).set("PsiBA", {0.6}).set("PsiBA", {0.2}, 1, 1, 2).set_all("PsiBa", {0.2});
  ASSERT_EQ(site.sections().size(), 3U);
  EXPECT_EQ(site.section(1).title, "Species Interaction Factors of ");
  EXPECT_EQ(site.section(2).title, "Species B Occupancy of ");
  EXPECT_EQ(site.section(3).title, "Both Species Occupancy of ");
  EXPECT_EQ(site.section(1).interval, Interval::plain);
  EXPECT_EQ(site.section(2).interval, Interval::probability);
  EXPECT_EQ(site.section(3).interval, Interval::probability);
  expect_values(site.values(1), {1.5, 1.0}, rounding, 1);
  expect_values(site.values(2), {0.4, 0.2}, rounding, 2);
  expect_values(site.values(3), {0.3, 0.1}, rounding, 3);
}

/// The worked example of two sessions.
Site_model sessions(int groups = 1) {
  Site_model site(141, {1, 2}, groups);
  site.set_all("PsiA", {0.5}).set_all("PsiBA", {0.6}).set_all("PsiBa", {0.2});
  site.set_all("GammaA", {0.2})
      .set_all("GammaB", {0.3})
      .set_all("GammaAB", {0.15})
      .set_all("GammaBA", {0.25});
  site.set_all("EpsilonA", {0.1}).set_all("EpsilonB", {0.2});
  site.set_all("EpsilonAB", {0.35}).set_all("EpsilonBA", {0.4});
  return site;
}

TEST(Two_species, by_session) {
  Site_model site = sessions();
  const std::vector<std::string> titles{"Unoccupied of ",
                                        "Species B only of ",
                                        "Species A only of ",
                                        "Species Interaction Factors of ",
                                        "Both Species Occupancy of ",
                                        "Species B Occupancy of ",
                                        "Speciecs B given not A Occupancy of ",
                                        "Species A Occupancy of ",
                                        "Speciecs B given A Occupancy of "};
  const std::vector<std::vector<double>> expected{{0.4, 0.298},        {0.1, 0.232}, {0.2, 0.272},
                                                  {1.5, 0.9797130134}, {0.3, 0.198}, {0.4, 0.43},
                                                  {0.2, 0.4377358491}, {0.5, 0.47},  {0.6, 0.4212765957}};
  ASSERT_EQ(site.sections().size(), titles.size());
  for (int number = 1; number <= 9; ++number) {
    const std::size_t at = static_cast<std::size_t>(number) - 1;
    EXPECT_EQ(site.section(number).title, titles[at]);
    EXPECT_EQ(site.section(number).interval, Interval::probability);
    expect_values(site.values(number), expected[at], worked, number);
  }
}

// Each rate moves one species out of one state: with all others at 0 the shares tell which.
TEST(Two_species, every_rate_moves_its_own_species) {
  struct Move {
    std::string name;
    double psi_a, psi_b;      ///< where the sites are
    double a_after, b_after;  ///< at rate .25
  };
  const std::vector<Move> moves{{"GammaA", 0, 0, 0.25, 0},   {"GammaAB", 0, 1, 0.25, 1},
                                {"GammaB", 0, 0, 0, 0.25},   {"GammaBA", 1, 0, 1, 0.25},
                                {"EpsilonA", 1, 0, 0.75, 0}, {"EpsilonAB", 1, 1, 0.75, 1},
                                {"EpsilonB", 0, 1, 0, 0.75}, {"EpsilonBA", 1, 1, 1, 0.75}};
  for (const Move& move : moves) {
    Site_model site(141, {1, 1});
    site.set("PsiA", {move.psi_a}).set("PsiBA", {move.psi_b}).set("PsiBa", {move.psi_b});
    for (const Move& each : moves) site.set(each.name, {each.name == move.name ? 0.25 : 0.0});
    EXPECT_EQ(site.values(8)[1], move.a_after) << move.name;
    EXPECT_EQ(site.values(6)[1], move.b_after) << move.name;
  }
}

TEST(Two_species, groups_outermost) {
  Site_model site = sessions(2);
  site.reals[1] = 0.9;  // PsiA of group 2
  expect_values(site.values(8), {0.5, 0.47, 0.9, site.values(8)[3]}, worked, 8);
  EXPECT_NE(site.values(8)[3], 0.47);
}

TEST(Two_species, ratios_of_a_species_that_is_nowhere_raise_no_condition) {
  Site_model site(137, {2});
  site.set("PsiA", {0.0}).set("PsiBA", {0.6}).set("PsiBa", {0.2});
  std::feclearexcept(FE_ALL_EXCEPT);
  const Derived_values made = site.derived(1, 0.01);
  EXPECT_TRUE(std::isnan(made.parmest(1)));
  EXPECT_TRUE(std::isnan(made.parmse(1)));
  EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW), 0);
}

// KEPT: see derived/sections.cpp.
TEST(Kept, interaction_factors_by_session_have_limits_of_probabilities) {
  Site_model site = sessions();
  const Derived_values made = site.derived(4, 0.0004);
  for (int s = 1; s <= 2; ++s) {
    const Limits limits = probability_limits(made.parmest(s), made.parmse(s));
    EXPECT_EQ(made.parmlci(s), limits.lower) << s;
    EXPECT_EQ(made.parmuci(s), limits.upper) << s;
  }
  // Limits stay on the estimate's side of 1.
  EXPECT_GT(made.parmlci(1), 1.0);
  EXPECT_LT(made.parmuci(2), 1.0);
}

}  // namespace
}  // namespace tarn
