// Which starts a fit has, and which end is kept.

#include "model/searches.h"

#include <gtest/gtest.h>

#include <array>
#include <cfenv>
#include <cmath>
#include <vector>

#include "likelihood/func.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// Survival by interval and capture on four occasions. `scale` multiplies the first column.
Model_builder open_model(const std::vector<std::pair<std::string_view, float>>& records, double scale = 1.0) {
  Model_builder m(1, 4);
  m.time_pims();
  m.design(2);
  for (int r = 1; r <= 6; ++r) m.cell(r, r <= 3 ? 1 : 2, r <= 3 ? scale : 1.0);
  for (const auto& [live, count] : records) m.record(live, {count});
  m.finish();
  return m;
}

const std::vector<std::pair<std::string_view, float>> ordinary{{"1110", 6},  {"1101", 3},  {"1100", 9},
                                                               {"1011", 2},  {"1000", 20}, {"0111", 7},
                                                               {"0100", 15}, {"0011", 8},  {"0010", 14}};
/// Every animal is caught to the end: both rates are 1.
const std::vector<std::pair<std::string_view, float>> all_seen{{"1111", 9}, {"0111", 5}, {"0011", 6}};

struct Outcome {
  Searches_end end;
  std::vector<double> x, g, h;
};

Outcome search_from(Model_builder& m, std::vector<double> x, int maxfn = 2000) {
  Outcome outcome{{}, std::move(x), {}, {}};
  const std::size_t n = outcome.x.size();
  outcome.g.resize(n);
  outcome.h.resize(n * (n + 1) / 2);
  const Search_objective objective = [&](std::span<const double> at, std::span<double> g) {
    return funcg(m.job(), at, g).f;
  };
  outcome.end = search(m.job(), objective, {.maxfn = maxfn}, {outcome.x, outcome.g, outcome.h}, {});
  return outcome;
}

TEST(Searches, an_end_inside_the_range_has_one_search) {
  Model_builder m = open_model(ordinary);
  const Outcome outcome = search_from(m, {-0.1, -0.1});
  EXPECT_EQ(outcome.end.starts.why, Second_start::none);
  EXPECT_EQ(outcome.end.starts.starts, 1);
  EXPECT_EQ(outcome.end.starts.kept, 1);
  EXPECT_FALSE(outcome.end.starts.ended_at_start);
}

/// What becomes of animals released on occasion 1 that survive with .985 and are caught with .5.
std::vector<std::pair<std::string_view, float>> expected_counts(double animals) {
  constexpr double phi = 0.985, p = 0.5;
  static constexpr std::array<std::string_view, 8> histories{"1000", "1001", "1010", "1011",
                                                             "1100", "1101", "1110", "1111"};
  std::vector<std::pair<std::string_view, float>> records;
  for (const std::string_view history : histories) {
    double alive = 1.0, dead = 0.0;
    for (std::size_t o = 1; o < 4; ++o) {
      const bool seen = history[o] == '1';
      dead = seen ? 0.0 : dead + alive * (1.0 - phi);
      alive *= phi * (seen ? p : 1.0 - p);
    }
    records.push_back({history, static_cast<float>(animals * (alive + dead))});
  }
  return records;
}

// Near 1, and the data tell it from 1 when they are many. Moving there costs next to nothing with 3 animals.
TEST(Searches, a_rate_near_1_that_is_known_is_at_no_boundary) {
  Model_builder many = open_model(expected_counts(1e5));
  EXPECT_EQ(search_from(many, {-0.1, -0.1}).end.starts.why, Second_start::none);
  Model_builder few = open_model(expected_counts(3.0));
  EXPECT_EQ(search_from(few, {-0.1, -0.1}).end.starts.why, Second_start::boundary);
}

// The same search by itself, bit for bit: others found nothing better.
TEST(Searches, a_true_maximum_at_a_boundary_keeps_its_digits) {
  Model_builder m = open_model(all_seen);
  const Outcome outcome = search_from(m, {-0.1, -0.1});
  EXPECT_EQ(outcome.end.starts.why, Second_start::boundary);
  EXPECT_GT(outcome.end.starts.starts, 1);
  EXPECT_EQ(outcome.end.starts.kept, 1);
  m.job().model.starts = 1;
  const Outcome plain = search_from(m, {-0.1, -0.1});
  EXPECT_EQ(plain.end.starts.starts, 1);
  EXPECT_EQ(outcome.x, plain.x);
  EXPECT_EQ(outcome.g, plain.g);
  EXPECT_EQ(outcome.h, plain.h);
  EXPECT_EQ(outcome.end.minimiser.itn, plain.end.minimiser.itn);
}

TEST(Searches, values_given_and_maxfn_reached_have_no_other_start) {
  Model_builder m = open_model(all_seen);
  m.job().model.initial_given = true;
  EXPECT_EQ(search_from(m, {-0.1, -0.1}).end.starts.starts, 1);
  m.job().model.initial_given = false;
  const Outcome stopped = search_from(m, {-0.1, -0.1}, 3);
  EXPECT_EQ(stopped.end.minimiser.iexit, maxfn_reached);
  EXPECT_EQ(stopped.end.starts.starts, 1);
}

// A start on the plain where every probability is at its floor leads nowhere: another start does, and the
// vectors are those of the end that is kept, on the scale of the betas as they are.
TEST(Searches, a_search_that_does_not_leave_its_start_has_another) {
  Model_builder m = open_model(ordinary, 55000.0);
  const Outcome outcome = search_from(m, {-0.1, -0.1});
  EXPECT_EQ(outcome.end.starts.why, Second_start::no_move);
  EXPECT_GT(outcome.end.starts.kept, 1);
  EXPECT_FALSE(outcome.end.starts.ended_at_start);

  Model_builder plain = open_model(ordinary);
  const Outcome expected = search_from(plain, {-0.1, -0.1});
  EXPECT_NEAR(outcome.end.minimiser.f, expected.end.minimiser.f, 1e-7);
  // Searches end when no step is above 1e-7.
  EXPECT_NEAR(outcome.x[0] * 55000.0, expected.x[0], 1e-6);
  EXPECT_NEAR(outcome.x[1], expected.x[1], 1e-6);
  std::vector<double> g(2);
  const double f = funcg(m.job(), outcome.x, g).f;
  EXPECT_NEAR(f, outcome.end.minimiser.f, 1e-9);
  for (std::size_t i = 0; i < 2; ++i) EXPECT_NEAR(outcome.g[i], g[i], 1e-6 * (1.0 + std::abs(g[i])));
  // The factors are an approximation of the second derivatives: in the scaled beta times the square of its
  // size.
  EXPECT_NEAR(outcome.h[0] / (55000.0 * 55000.0 * expected.h[0]), 1.0, 0.2);
  EXPECT_NEAR(outcome.h[1] * 55000.0 / expected.h[1], 1.0, 0.2);
  EXPECT_NEAR(outcome.h[2] / expected.h[2], 1.0, 0.2);
}

TEST(Searches, one_start_stays_where_it_began) {
  Model_builder m = open_model(ordinary, 55000.0);
  m.job().model.starts = 1;
  const Outcome outcome = search_from(m, {-0.1, -0.1});
  EXPECT_TRUE(outcome.end.starts.ended_at_start);
  EXPECT_EQ(outcome.end.starts.starts, 1);
}

TEST(Searches, random_starts_are_counted_by_their_ends) {
  Model_builder m = open_model(ordinary);
  m.job().model.starts = 12;
  const Outcome outcome = search_from(m, {-0.1, -0.1});
  EXPECT_EQ(outcome.end.starts.starts, 12);
  EXPECT_EQ(outcome.end.starts.maxima, 1);
  EXPECT_EQ(outcome.end.starts.at_best + outcome.end.starts.unfinished, 12);
  EXPECT_EQ(outcome.end.starts.kept, 1);
  m.job().model.initial_given = true;
  EXPECT_EQ(search_from(m, {-0.1, -0.1}).end.starts.starts, 12);
}

// A start that stays on a plain is no maximum; one at the solution is.
TEST(Searches, ends_where_a_search_began_count_when_they_are_the_best) {
  Model_builder m = open_model(ordinary, 55000.0);
  m.job().model.starts = 6;
  const Outcome outcome = search_from(m, {-0.1, -0.1});
  EXPECT_GT(outcome.end.starts.kept, 1);
  EXPECT_EQ(outcome.end.starts.maxima, 1);
  EXPECT_EQ(outcome.end.starts.at_best, 5);
  EXPECT_EQ(outcome.end.starts.unfinished, 1);
  const Outcome again = search_from(m, outcome.x);
  EXPECT_EQ(again.end.starts.kept, 1);
  EXPECT_EQ(again.end.starts.at_best, 6);
}

TEST(Searches, the_same_for_every_number_of_threads) {
  std::vector<double> first;
  for (const int threads : {1, 2, 3}) {
    Model_builder m = open_model(all_seen);
    m.force_threads(threads);
    m.job().model.starts = 8;
    const Outcome outcome = search_from(m, {-0.1, -0.1});
    if (threads == 1) first = outcome.x;
    EXPECT_EQ(outcome.x, first);
  }
}

// What other searches raise is nobody's when the first end stands.
TEST(Searches, conditions_are_those_of_the_search_that_is_kept) {
  Model_builder m = open_model(all_seen);
  std::feclearexcept(FE_ALL_EXCEPT);
  m.job().model.starts = 1;
  search_from(m, {-0.1, -0.1});
  const int alone = std::fetestexcept(FE_OVERFLOW | FE_DIVBYZERO | FE_INVALID | FE_UNDERFLOW);
  std::feclearexcept(FE_ALL_EXCEPT);
  // As the first search would: it stands after the others, whatever these raise.
  std::feraiseexcept(FE_DIVBYZERO);
  m.job().model.starts = 30;
  const Outcome outcome = search_from(m, {-0.1, -0.1});
  EXPECT_EQ(outcome.end.starts.kept, 1);
  EXPECT_EQ(std::fetestexcept(FE_OVERFLOW | FE_DIVBYZERO | FE_INVALID | FE_UNDERFLOW), alone | FE_DIVBYZERO);
  std::feclearexcept(FE_ALL_EXCEPT);
}

TEST(Searches, ends_are_the_same_within_a_thousandth) {
  EXPECT_DOUBLE_EQ(same_end(0.0), 0.001);
  EXPECT_DOUBLE_EQ(same_end(-2e6), 0.003);
}

}  // namespace
}  // namespace tarn
