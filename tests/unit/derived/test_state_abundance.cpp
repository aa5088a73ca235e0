// Sizes by state of a population whose animals enter in one of several.

#include "derived/state_abundance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "derived_model.h"
#include "support/state_study.h"

namespace tarn {
namespace {

/// The worked design of two states and three occasions.
State_study worked(int type, bool last_left = false) {
  State_study study(type == 183 ? State_layout{.type = 183, .noccas = 3}
                                : State_layout{.type = 185, .noccas = 3, .captures = "xy", .certain = false});
  study.model.job().model.pentfirst = last_left ? 0 : 1;
  study.set("S", 1, 1, 0.8);
  study.set("S", 2, 1, 0.7);
  study.set("Psi", 1, 2, 0.3);
  study.set("Psi", 2, 1, 0.2);
  study.set_columns("p", 1, 1, {0.5, 0.6, 0.45});
  study.set_columns("p", 2, 1, {0.4, 0.3, 0.35});
  study.set_columns("pent", 1, 1, last_left ? std::vector<double>{0.5, 0.3} : std::vector<double>{0.3, 0.2});
  study.set_columns("pi", 1, 1, {0.6, 0.5, 0.3});
  if (type == 185) {
    study.set("Delta", 1, 3, 0.8);
    study.set("Delta", 2, 3, 0.3);
  }
  return study;
}

struct Section_values {
  List<double> values, added;
};
Section_values values_of(State_study& study, Derived_routine routine, int count) {
  Derived_frame frame(study.model.job());
  frame.added_variance.assign(count, 0.0);
  Section_values made{List<double>(count, 0.0), {}};
  routine(frame, study.reals, 1, made.values);
  made.added = frame.added_variance;
  return made;
}

constexpr double pstar = 0.61205268;
/// Shares of the population by state and occasion, and its gross births.
const std::vector<double> present{0.3, 0.346, 0.30052, 0.2, 0.334, 0.41008};
const std::vector<double> born{0.3, 0.15 * 1.1157177566, 0.06 * 1.1157177566,
                               0.2, 0.15 * 1.1889164798, 0.14 * 1.1889164798};

TEST(State_abundance, follows_from_the_animals_caught) {
  for (const int type : {183, 185})
    for (const bool last_left : {false, true}) {
      State_study study = worked(type, last_left);
      study.record(type == 183 ? "A00" : "x00", {100.0F});
      study.record(type == 183 ? "0BB" : "0xy", {40.0F}, {10.0F});
      study.model.finish();
      const double caught = 150.0, all = caught / pstar, added = caught * (1.0 - pstar) / (pstar * pstar);
      // The note's numbers have ten digits behind the point.
      const Section_values total = values_of(study, msjspstar, 1);
      EXPECT_NEAR(total.values(1) / all, 1.0, 1e-9);
      EXPECT_NEAR(total.added(1) / added, 1.0, 1e-9);
      const Section_values by_state = values_of(study, msjsnstar, 6), births = values_of(study, msjsgress, 6);
      for (int k = 1; k <= 6; ++k) {
        const auto at = static_cast<std::size_t>(k) - 1;
        EXPECT_NEAR(by_state.values(k) / all, present[at], 1e-9) << k;
        EXPECT_NEAR(by_state.added(k) / added, present[at] * present[at], 1e-9) << k;
        EXPECT_NEAR(births.values(k) / all, born[at], 1e-9) << k;
        EXPECT_NEAR(births.added(k) / added, born[at] * born[at], 1e-9) << k;
      }
    }
}

// Each animal stands for 1 / p* of those sampled as it was.
TEST(State_abundance, animals_count_by_their_own_sampling) {
  State_study study = worked(183);
  study.record("A00", {30.0F});
  study.record("A.0", {20.0F});
  study.model.finish();
  // Caught on occasions 1 or 3: not in the first, then over both paths to the third, and the entrants.
  const double a = 0.3 * 0.5, b = 0.2 * 0.6;
  const double a2 = a * 0.8 * 0.7 + b * 0.7 * 0.2 + 0.15, b2 = a * 0.8 * 0.3 + b * 0.7 * 0.8 + 0.15;
  const double a3 = a2 * 0.8 * 0.7 + b2 * 0.7 * 0.2 + 0.06, b3 = a2 * 0.8 * 0.3 + b2 * 0.7 * 0.8 + 0.14;
  const double of_two = 0.3 * 0.5 + 0.2 * 0.4 + a3 * 0.45 + b3 * 0.35;
  EXPECT_NEAR(values_of(study, msjspstar, 1).values(1) / (30.0 / pstar + 20.0 / of_two), 1.0, 1e-9);
}

TEST(State_abundance, survival_of_1_bears_what_enters) {
  State_study study = worked(183);
  study.set("S", 1, 1, 1.0);
  study.record("A00", {30.0F});
  study.model.finish();
  const double all = values_of(study, msjspstar, 1).values(1);
  const Section_values births = values_of(study, msjsgress, 6);
  EXPECT_NEAR(births.values(2) / all, 0.15, 1e-14);
  EXPECT_NEAR(births.values(3) / all, 0.06, 1e-14);
}

TEST(State_abundance, groups_stand_apart) {
  State_study study(State_layout{.type = 183, .noccas = 3, .groups = 2});
  study.draw(5);
  study.record("A00", {30.0F, 7.0F});
  study.record("0B0", {0.0F, 5.0F}, {2.0F, 0.0F});
  study.model.finish();
  const Section_values total = values_of(study, msjspstar, 2), by_state = values_of(study, msjsnstar, 12);
  for (int g = 1; g <= 2; ++g) {
    const double there = study.enters_at(1, g) * study.starts_in(1, 1, g);
    EXPECT_NEAR(by_state.values(6 * (g - 1) + 1), total.values(g) * there, 1e-12 * total.values(g)) << g;
  }
  EXPECT_NE(total.values(1), total.values(2));
}

}  // namespace
}  // namespace tarn
