// Starts of other kinds: levels, random ones, mixtures apart.

#include "model/levels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "numerics/special.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

Model_builder open_model(std::initializer_list<float> lengths = {}) {
  Model_builder m(1, 4);
  m.time_pims();
  m.record("1011", {2.0F});
  m.record("1100", {3.0F});
  m.intervals(lengths);
  return m;
}

/// Two mixtures of capture, pi 1, p 2 and 3, of 5 animals caught.
Model_builder mixture_model(bool free = true) {
  Model_builder m(25, 3);
  m.job().status.nmixtures = 2;
  m.pim(1, 1, "SQUARE", 1, 1, [](int, int) { return 1; });
  m.pim(2, 1, "SQUARE", 2, 3, [](int r, int) { return r + 1; });
  m.record("110", {2.0F});
  m.record("001", {3.0F});
  if (!free) {
    m.design(2);
    m.cell(1, 1, 1.0);
    m.cell(2, 2, 1.0);
    m.cell(3, 2, 1.0);
  }
  return m;
}

TEST(Levels, a_class_is_a_parameter_and_its_reals) {
  Model_builder m = open_model();
  m.fix(2, 1.0);
  m.finish();
  m.job().model.fixpar(2) = 1;
  const List<Level_class> classes = level_classes(m.job());
  ASSERT_EQ(classes.size(), 2);
  EXPECT_EQ(classes(1).parameter, "Phi");
  EXPECT_EQ(classes(1).reals.size(), 2);
  EXPECT_EQ(classes(1).reals(1), 1);
  EXPECT_EQ(classes(1).reals(2), 3);
  EXPECT_EQ(classes(2).parameter, "p");
  EXPECT_EQ(classes(2).reals.size(), 3);
}

TEST(Levels, mixtures_are_classes_of_their_own) {
  Model_builder m = mixture_model();
  m.finish();
  const List<Level_class> classes = level_classes(m.job());
  ASSERT_EQ(classes.size(), 3);
  EXPECT_EQ(classes(2).mixture, 1);
  EXPECT_EQ(classes(3).mixture, 2);
  EXPECT_EQ(classes(3).reals(1), 3);
}

TEST(Levels, counts_are_in_animals_caught_and_deviations_have_a_wall) {
  Model_builder m(5, 3);
  m.pim(1, 1, "SQUARE", 1, 3, [](int, int) { return 1; });
  m.pim(2, 1, "SQUARE", 1, 2, [](int, int) { return 1; });
  m.pim(3, 1, "SQUARE", 1, 1, [](int, int) { return 2; });
  ASSERT_TRUE(m.job().data.u.allocate(3, 1, 1) && m.job().data.ul.allocate(3, 1, 1));
  m.record("110", {2.0F});
  m.record("001", {3.0F});
  m.finish();
  const List<Level_class> classes = level_classes(m.job());
  ASSERT_EQ(classes.size(), 2);  // c has the number of p
  EXPECT_EQ(classes(2).range, Parameter_range::count);
  EXPECT_EQ(value_at(classes(2), 0.3), 1.5);
  EXPECT_FALSE(near_an_end(classes(2), Link::log, 4.0));
  EXPECT_TRUE(near_an_end(classes(2), Link::log, 0.01));
  EXPECT_TRUE(near_an_end(classes(2), Link::log, 6e4));

  Level_class deviation;
  deviation.range = Parameter_range::deviation;
  EXPECT_FALSE(near_an_end(deviation, Link::log, 1.0));
  EXPECT_TRUE(near_an_end(deviation, Link::logit, 1.0));
  EXPECT_FALSE(near_an_end(deviation, Link::log, 7.3));
  EXPECT_TRUE(near_an_end(deviation, Link::log, 7.5));
  EXPECT_TRUE(near_an_end(deviation, Link::log, 0.001));
}

TEST(Levels, rates_near_0_and_1_are_near_an_end) {
  const Level_class rate;
  EXPECT_TRUE(near_an_end(rate, Link::logit, 0.995));
  EXPECT_TRUE(near_an_end(rate, Link::log, 0.005));
  EXPECT_FALSE(near_an_end(rate, Link::logit, 0.95));
  EXPECT_FALSE(near_an_end(rate, Link::logit, 0.03));
}

// Over an interval of 1,000 a survival of .8 is .8^(1/1000) a unit; capture knows no length.
TEST(Levels, survival_is_that_of_the_mean_interval) {
  Model_builder m = open_model({1000.0F, 1000.0F, 1000.0F});
  m.job().data.timint(4) = 1000.0F;
  m.finish();
  const List<Level_class> classes = level_classes(m.job());
  EXPECT_NEAR(value_at(classes(1), 0.8), std::pow(0.8, 0.001), 1e-15);
  EXPECT_EQ(value_at(classes(2), 0.8), 0.8);
}

// What the families do with a length t: a chance to the power t, or 1 less the rest to the power t.
TEST(Levels, chances_of_a_unit_of_time_are_those_of_the_mean_interval) {
  struct Case {
    int type;
    const char* name;
    double of_a_tenth;  ///< what a chance of .1 over an interval of 1,000 is a unit
  };
  const double holds = std::pow(0.1, 0.001), comes = -std::expm1(0.001 * std::log(0.9)), none = 0.1;
  for (const Case& c :
       {Case{14, "Gamma", holds}, Case{15, "Gamma", holds}, Case{68, "Gamma", holds}, Case{13, "S", holds},
        Case{13, "Gamma''", comes}, Case{13, "Gamma'", holds}, Case{43, "a''", holds}, Case{43, "a'", comes},
        Case{43, "R", comes}, Case{43, "R'", comes}, Case{43, "F", holds}, Case{43, "r", none},
        Case{13, "p", none}, Case{19, "pent", none}, Case{80, "Lambda", none}, Case{92, "f", none}}) {
    Model_builder m(c.type, 4);
    m.intervals({1000.0F, 1000.0F, 1000.0F, 1000.0F});
    const int q = findpar(m.job().data, c.name);
    ASSERT_GT(q, 0) << c.type << c.name;
    m.pim(q, 1, "SQUARE", 1, 1, [](int, int) { return 1; });
    ASSERT_TRUE(m.job().model.fixpar.allocate(1));
    const List<Level_class> classes = level_classes(m.job());
    ASSERT_EQ(classes.size(), 1) << c.type << c.name;
    // 1 less a power near 1 loses three digits.
    EXPECT_NEAR(value_at(classes(1), 0.1), c.of_a_tenth, 1e-13) << c.type << c.name;
  }
}

/// Distance from reals that are sought, level by level.
TEST(Levels, trying_finds_the_level_of_each_parameter) {
  Model_builder m = open_model();
  m.finish();
  const Start_design design(m.job(), std::vector<double>(6, -0.1));
  int evaluations = 0;
  const Value_at value = [&](std::span<const double> x) {
    ++evaluations;
    double f = 0.0;
    for (std::size_t i = 0; i < 6; ++i) f += std::pow(x[i] - logit(i < 3 ? 0.3 : 0.72), 2.0);
    return f;
  };
  const std::vector<double> x = start_by_levels(m.job(), design, value);
  for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(expit(x[i]), i < 3 ? 0.25 : 0.75, 1e-12);
  // The start, and two rounds of two classes at seven levels: the second changes nothing.
  EXPECT_EQ(evaluations, 1 + 2 * 2 * 7);
}

TEST(Levels, what_stands_at_an_end_is_brought_inside_and_the_rest_stays) {
  Model_builder m = open_model();
  m.finish();
  const std::vector<double> end{0.3, 30.0, -30.0, 0.4, 30.0, 0.5};
  const Start_design design(m.job(), end);
  const std::vector<double> x = start_from_inside(m.job(), design, end, {2, 3}, 0.1, 0.9);
  EXPECT_NEAR(expit(x[1]), 0.9, 1e-12);
  EXPECT_NEAR(expit(x[2]), 0.1, 1e-12);
  for (const std::size_t i : {0U, 3U, 4U, 5U}) EXPECT_NEAR(x[i], end[i], 1e-12);
}

TEST(Levels, a_random_start_depends_on_seed_and_number_only) {
  Model_builder m = open_model();
  m.finish();
  const Start_design design(m.job(), std::vector<double>(6, -0.1));
  const std::vector<double> one = random_start(m.job(), design, 7, 1);
  EXPECT_EQ(random_start(m.job(), design, 7, 1), one);
  EXPECT_NE(random_start(m.job(), design, 7, 2), one);
  EXPECT_NE(random_start(m.job(), design, 8, 1), one);
  // One level for a parameter, from which reals depart by up to .5 on the logit scale.
  for (int k = 1; k <= 50; ++k) {
    const std::vector<double> x = random_start(m.job(), design, 7, k);
    for (std::size_t i = 0; i < 6; i += 3) {
      const auto [least, most] = std::minmax({x[i], x[i + 1], x[i + 2]});
      EXPECT_LE(most - least, 1.0 + 1e-9);
      EXPECT_GT(most - least, 0.0);
      EXPECT_LE(std::abs(x[i]), 4.0);
    }
  }
}

TEST(Levels, equal_mixtures_are_moved_apart) {
  Model_builder m = mixture_model();
  m.finish();
  const std::vector<double> equal(3, -0.1);
  const std::vector<double> x = with_mixtures_apart(m.job(), Start_design(m.job(), equal), equal);
  EXPECT_NEAR(x[0], -0.1, 1e-14);
  EXPECT_NEAR(x[1], 0.85, 1e-12);
  EXPECT_NEAR(x[2], -1.05, 1e-12);
}

TEST(Levels, mixtures_coincide_when_all_their_rates_do) {
  Model_builder m = mixture_model();
  m.finish();
  const auto coincide = [&](double second) {
    return mixtures_coincide(m.job(), List<double>{0.4, 0.3, second});
  };
  EXPECT_TRUE(coincide(0.3));
  EXPECT_TRUE(coincide(0.30005));
  EXPECT_FALSE(coincide(0.301));
}

// Rows of c with the numbers of p are no recaptures of their own.
TEST(Levels, mixtures_with_recaptures_of_their_own_are_known) {
  for (const bool own : {true, false}) {
    Model_builder m(26, 3);
    m.job().status.nmixtures = 2;
    m.pim(1, 1, "SQUARE", 1, 1, [](int, int) { return 1; });
    m.pim(2, 1, "SQUARE", 2, 3, [](int r, int) { return r + 1; });
    m.pim(3, 1, "SQUARE", 2, 2, [own](int r, int) { return r + (own ? 3 : 1); });
    m.record("110", {2.0F});
    m.record("001", {3.0F});
    m.finish();
    EXPECT_EQ(mixes_recaptures(m.job()), own);
  }
}

TEST(Levels, mixtures_that_differ_and_designs_that_tie_them_stay) {
  Model_builder m = mixture_model();
  m.finish();
  const std::vector<double> differ{-0.1, 0.3, -0.1};
  EXPECT_EQ(with_mixtures_apart(m.job(), Start_design(m.job(), differ), differ), differ);

  Model_builder tied = mixture_model(false);
  tied.finish();
  const std::vector<double> equal(2, -0.1);
  const std::vector<double> x = with_mixtures_apart(tied.job(), Start_design(tied.job(), equal), equal);
  for (std::size_t i = 0; i < 2; ++i) EXPECT_NEAR(x[i], -0.1, 1e-14);
}

}  // namespace
}  // namespace tarn
