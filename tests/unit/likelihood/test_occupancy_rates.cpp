// Rates of occupancy dynamics that follow from two occupancies, against numbers made by hand.

#include <gtest/gtest.h>

#include <limits>

#include "likelihood/blocks/occupancy_rates.h"

namespace tarn {
namespace {

// A few operations on numbers of the size of 1.
constexpr double rounding = 1e-15;

TEST(Occupancy_rates, follow_from_two_occupancies_and_the_other_rate) {
  const Derived_rate<double> gamma = gamma_of(0.6, 0.51, 0.25), epsilon = epsilon_of(0.6, 0.51, 0.15);
  EXPECT_NEAR(gamma.value, 0.15, rounding);
  EXPECT_NEAR(epsilon.value, 0.25, rounding);
  EXPECT_EQ(gamma.charge, 0.0);
  EXPECT_EQ(epsilon.charge, 0.0);
}

TEST(Occupancy_rates, outside_their_range_are_clamped_and_charged_twice_the_excess) {
  const Derived_rate<double> below = gamma_of(0.6, 0.4, 0.25), above = gamma_of(0.5, 0.9, 0.5);
  EXPECT_EQ(below.value, 0.0);
  EXPECT_NEAR(below.charge, -0.25, rounding);  // (.4 - .45) / .4 = -.125
  EXPECT_EQ(above.value, 1.0);
  EXPECT_NEAR(above.charge, -0.6, rounding);  // (.9 - .25) / .5 = 1.3
  const Derived_rate<double> born = epsilon_of(0.5, 0.75, 0.25), gone = epsilon_of(0.25, 0.1, 0.4);
  EXPECT_EQ(born.value, 0.0);
  EXPECT_NEAR(born.charge, -0.5, rounding);  // 1 - (.75 - .125) / .5 = -.25
  EXPECT_EQ(gone.value, 1.0);
  EXPECT_NEAR(gone.charge, -1.6, rounding);  // 1 - (.1 - .3) / .25 = 1.8
}

TEST(Occupancy_rates, at_the_ends_of_their_range_cost_nothing) {
  // Every number here is exact in binary.
  for (const Derived_rate<double>& rate : {gamma_of(0.5, 0.25, 0.5), epsilon_of(0.5, 0.75, 0.5)}) {
    EXPECT_EQ(rate.value, 0.0);
    EXPECT_EQ(rate.charge, 0.0);
  }
  for (const Derived_rate<double>& rate : {gamma_of(0.5, 0.75, 0.5), epsilon_of(0.5, 0.25, 0.5)}) {
    EXPECT_EQ(rate.value, 1.0);
    EXPECT_EQ(rate.charge, 0.0);
  }
}

TEST(Occupancy_rates, of_sites_that_are_not_there_are_0_and_cost_nothing) {
  for (const Derived_rate<double>& rate : {gamma_of(1.0, 0.3, 0.2), gamma_of(1.0 - 1e-16, 0.3, 0.2),
                                           epsilon_of(0.0, 0.3, 0.2), epsilon_of(1e-17, 0.3, 0.2)}) {
    EXPECT_EQ(rate.value, 0.0);
    EXPECT_EQ(rate.charge, 0.0);
  }
}

TEST(Occupancy_rates, charge_a_search_at_the_kink_for_going_further) {
  using Real = Traced<double>;
  Trace<double> trace;
  trace.begin(1);
  const Real next(0.25, 1.0, trace.leaf(0));
  const Derived_rate<Real> rate = gamma_of(Real(0.5), next, Real(0.5));
  EXPECT_EQ(rate.value.v, 0.0);
  EXPECT_EQ(rate.value.step, nullptr);
  EXPECT_EQ(rate.charge.v, 0.0);
  EXPECT_EQ(rate.charge.step, trace.leaf(0));
  EXPECT_EQ(rate.charge.slope, 4.0);  // twice 1 / (1 - psi)
}

}  // namespace
}  // namespace tarn
