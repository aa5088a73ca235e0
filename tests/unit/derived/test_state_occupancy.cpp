// What is derived of the occupancy of sites in several states and by several species, against numbers worked
// by hand.

#include "derived/state_occupancy.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "site_model.h"

namespace tarn {
namespace {

// Worked numbers have ten digits behind the point.
constexpr double worked = 6e-11;
// A few operations on numbers of the size of 1.
constexpr double rounding = 4e-16;

void expect_values(const std::vector<double>& made, const std::vector<double>& expected,
                   double tolerance = rounding) {
  ASSERT_EQ(made.size(), expected.size());
  for (std::size_t i = 0; i < made.size(); ++i) EXPECT_NEAR(made[i], expected[i], tolerance) << i;
}

TEST(State_occupancy, of_state_2_is_a_product) {
  Site_model site(116, {2}, 2);
  site.set_all("Psi1", {0.7}).set_all("Psi2", {0.4});
  site.reals[1] = 0.5;
  ASSERT_EQ(site.sections().size(), 1U);
  EXPECT_EQ(site.section(1).title, "Estimates of Psi1*Psi2 ");
  EXPECT_EQ(site.section(1).interval, Interval::probability);
  expect_values(site.values(1), {0.28, 0.2});
}

/// The worked example; the second interval has rates of its own.
Site_model of_three_sessions(int groups = 1) {
  Site_model site(124, {1, 2, 1}, groups);
  for (int g = 1; g <= groups; ++g) {
    site.set("Phi0", {0.35}, 2, 1, g).set("Phi0", {0.25}, 3, 1, g);
    site.set("Psi", {0.2, 0.0}, 1, 1, g).set("Psi", {0.6, 1.0}, 2, 1, g).set("Psi", {0.8, 1.0}, 3, 1, g);
    site.set("R", {0.3, 0.5}, 1, 1, g).set("R", {0.4, 1.0}, 2, 1, g).set("R", {0.7, 0.0}, 3, 1, g);
  }
  return site;
}

TEST(State_transitions, row_by_row_and_interval_by_interval) {
  Site_model site = of_three_sessions();
  ASSERT_EQ(site.sections().size(), 2U);
  EXPECT_EQ(site.section(1).title, "Estimates of Phi_t Matrices ");
  EXPECT_EQ(site.section(1).interval, Interval::probability);
  expect_values(site.values(1), {0.8, 0.14, 0.06, 0.4, 0.36, 0.24, 0.2, 0.24, 0.56,  //
                                 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 1.0, 0.0});
  const List<List<int>> rows = site.section(1).rows(site.model.job());
  EXPECT_EQ(rows(6), (List<int>{1, 1, 2, 3}));
  EXPECT_EQ(rows(12), (List<int>{1, 2, 1, 3}));
}

TEST(State_shares, by_session) {
  Site_model site = of_three_sessions(2);
  EXPECT_EQ(site.section(2).interval, Interval::probability);
  const std::vector<double> one{0.4, 0.35, 0.25, 0.51, 0.242, 0.248, 0.51, 0.248, 0.242};
  std::vector<double> two = one;
  two.insert(two.end(), one.begin(), one.end());
  expect_values(site.values(2), two);
  const List<List<int>> rows = site.section(2).rows(site.model.job());
  EXPECT_EQ(rows(5), (List<int>{1, 2, 2}));
  EXPECT_EQ(rows(10), (List<int>{2, 1, 1}));
}

Site_model of_two_species(const std::vector<double>& f) {
  Site_model site(177, {2});
  site.set("f", f);
  return site;
}

TEST(Several_species, all_of_a_set_are_there) {
  Site_model site = of_two_species({0.5, -0.4, 0.8});
  ASSERT_EQ(site.sections().size(), 1U);
  EXPECT_EQ(site.section(1).title, "Occupancy Estimates (psi) of ");
  EXPECT_EQ(site.section(1).interval, Interval::probability);
  expect_values(site.values(1), {0.7109495026, 0.5416362256, 0.4256366942}, worked);
}

// Without a column for it species do not interact.
TEST(Several_species, a_set_without_a_column_has_0) {
  Site_model site = of_two_species({0.5, -0.4});
  const auto expit_of = [](double x) { return 1.0 / (1.0 + std::exp(-x)); };
  expect_values(site.values(1), {expit_of(0.5), expit_of(-0.4), expit_of(0.5) * expit_of(-0.4)});
}

TEST(Several_species, large_values_do_not_overflow) {
  Site_model site = of_two_species({800.0, -800.0, 900.0});
  expect_values(site.values(1), {1.0, 1.0, 1.0});
}

TEST(Several_species, rows_tell_the_species_of_each_set) {
  Site_model site(177, {2});
  site.model.job().status.nmixtures = 3;
  build_species_design(site.model.job());
  const List<List<int>> rows = site.section(1).rows(site.model.job());
  ASSERT_EQ(rows.size(), 7);
  const int species[] = {1, 2, 3, 12, 13, 23, 123};
  for (int k = 1; k <= 7; ++k) EXPECT_EQ(rows(k), (List<int>{1, k, species[k - 1]})) << k;
}

}  // namespace
}  // namespace tarn
