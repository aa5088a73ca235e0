// Counts of what histories have in common stand for the histories: the same objective and derivatives.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "likelihood/blocks/jolly_seber.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// Whose real parameters cohorts share.
enum class Shared { all, groups, none };

/// Live recaptures of two groups with losses on capture, occasions that are not sampled for some animals
/// between and behind their captures, and histories that only one group has.
Model_builder model(int type, Shared shared, int records, Link link = Link::logit) {
  constexpr int noccas = 6;
  Model_builder m(type, noccas, 2);
  std::mt19937_64 source(static_cast<unsigned>(41 + type));
  const auto chance = [&source](double p) { return static_cast<double>(source() >> 11) * 0x1p-53 < p; };
  for (int i = 0; i < records; ++i) {
    std::string live(noccas, '0');
    const std::size_t first = source() % noccas;
    live[first] = '1';
    for (std::size_t o = first + 1; o < noccas; ++o) live[o] = chance(0.4) ? '1' : chance(0.05) ? '.' : '0';
    const float one = chance(0.5) ? 3.0F : 0.0F;
    m.record(live, {one, one > 0.0F ? 1.0F : 2.0F}, {chance(0.2) ? 2.0F : 0.0F, 0.0F});
  }
  const int n = noccas - 1, columns = type == 11 ? noccas : n;
  int next = 0;
  for (int q = 1; q <= m.job().data.numparmnames; ++q) {
    const int rows = type == 11 ? 1 : n, per_group = rows * columns;
    for (int g = 1; g <= 2; ++g) {
      const int base = next + (shared == Shared::all ? 0 : (g - 1) * per_group);
      m.pim(q, g, type == 11 ? "SQUARE" : "TRIANG", rows, columns, [=](int r, int c) {
        return base + (shared == Shared::none && rows > 1 ? (r - 1) * columns + c : c);
      });
    }
    next += 2 * per_group;
  }
  m.job().model.nlink = link;
  m.job().model.phase2 = 0;  // the closed-form term is the same either way
  for (Array3<float>* table : {&m.job().data.u, &m.job().data.ul}) {
    EXPECT_TRUE(table->allocate(noccas, 2, 1));
    table->fill(1.0F);
  }
  m.intervals({1.0F, 0.5F, 2.0F});
  m.finish();
  return m;
}

std::vector<double> betas(Model_builder& m, unsigned seed, double low, double high) {
  std::mt19937_64 source(seed);
  std::uniform_real_distribution<double> between(low, high);
  std::vector<double> x(static_cast<std::size_t>(m.betas()));
  for (double& beta : x) beta = between(source);
  return x;
}

class Counted_histories : public testing::TestWithParam<std::tuple<int, Shared>> {};

TEST_P(Counted_histories, give_objective_and_derivatives_of_the_histories) {
  const auto [type, shared] = GetParam();
  Model_builder counts = model(type, shared, 3000), histories = model(type, shared, 3000);
  ASSERT_TRUE(counts.job().model.likelihood->setting.counts_some());
  EXPECT_FALSE(counts.job().model.likelihood->counts_all) << "some have dots behind their last capture";
  histories.force_histories();
  for (unsigned seed = 1; seed <= 5; ++seed) {
    const std::vector<double> x = betas(counts, seed, -2.0, 2.0);
    std::vector<double> g(x.size()), other(x.size());
    const double f = funcg(counts.job(), x, g).f, whole = funcg(histories.job(), x, other).f;
    EXPECT_NEAR(f, whole, 1e-13 * std::abs(whole));
    EXPECT_EQ(f, counts.func(x));
    double size = 0.0;
    for (const double element : other) size = std::max(size, std::abs(element));
    // Sums over some ten thousand animals.
    for (std::size_t k = 0; k < g.size(); ++k) EXPECT_NEAR(g[k], other[k], 1e-12 * size) << "beta " << k + 1;
    const std::vector<double> rows = counts.second_derivatives(x, 3),
                              others = histories.second_derivatives(x, 3);
    size = 0.0;
    for (const double element : others) size = std::max(size, std::abs(element));
    for (std::size_t k = 0; k < rows.size(); ++k) EXPECT_NEAR(rows[k], others[k], 1e-12 * size) << k;
  }
}

TEST_P(Counted_histories, take_part_in_proposals) {
  const auto [type, shared] = GetParam();
  Model_builder m = model(type, shared, 3000);
  const std::vector<double> x = betas(m, 7, -1.0, 1.0);
  std::vector<Moved_beta> moves;
  std::vector<double> single;
  for (int k = 1; k <= m.betas(); k += 3)
    for (const double by : {0.3, 900.0}) {
      std::vector<double> moved = x;
      moved[static_cast<std::size_t>(k) - 1] += by;
      moves.push_back({k, moved[static_cast<std::size_t>(k) - 1]});
      single.push_back(m.func(moved));
    }
  EXPECT_EQ(m.objectives(x, moves), single);
}

// A probability outside 0 to 1 is charged for, and one below the floor takes the floor, history by history.
TEST_P(Counted_histories, leave_floor_and_penalty_to_the_histories) {
  const auto [type, shared] = GetParam();
  for (const double low : {0.0, -0.4}) {
    Model_builder counts = model(type, shared, 3000, Link::identity),
                  histories = model(type, shared, 3000, Link::identity);
    histories.force_histories();
    for (unsigned seed = 1; seed <= 5; ++seed) {
      std::vector<double> x = betas(counts, seed, low, 1.4);
      if (low == 0.0)
        for (double& real : x) real = real > 1.0 ? 1e-70 : 0.5 * real;
      const double whole = histories.func(x);
      EXPECT_NEAR(counts.func(x), whole, 1e-13 * std::abs(whole));
      EXPECT_EQ(counts.value.sumpen, histories.value.sumpen);
      EXPECT_TRUE(counts.value.sumpen > 0.0 || low == 0.0);
    }
  }
}

// A search that stands on the kink of the penalty is led back: p is 0, and not to be seen again is certain.
TEST_P(Counted_histories, leave_kinks_to_the_histories) {
  const auto [type, shared] = GetParam();
  Model_builder counts = model(type, shared, 3000, Link::identity),
                histories = model(type, shared, 3000, Link::identity);
  histories.force_histories();
  for (const double end : {0.0, 1.0}) {
    std::vector<double> x = betas(counts, 9, 0.2, 0.8);
    const std::size_t reals_of_one = type == 11 ? 12 : 50;  // of both groups; Phi, then p
    for (std::size_t k = end == 0.0 ? reals_of_one : 0; k < 2 * reals_of_one && k < x.size(); ++k) x[k] = end;
    std::vector<double> g(x.size()), other(x.size());
    EXPECT_EQ(funcg(counts.job(), x, g).f, funcg(histories.job(), x, other).f);
    EXPECT_EQ(g, other);
    double size = 0.0;
    for (const double element : g) size = std::max(size, std::abs(element));
    EXPECT_GT(size, 1e5) << "the slope of the penalty";
  }
}

// One table and one set of counts serve all cohorts with the same real parameters.
TEST_P(Counted_histories, share_tables_as_they_share_real_parameters) {
  const auto [type, shared] = GetParam();
  Model_builder m = model(type, shared, 3000);
  const Live_records records(m.job(), type == 11 ? Jolly_seber::matrices : Live_recaptures::matrices);
  // Of a release on the last occasion nothing is read, so that it is like any other.
  const std::size_t alone = type == 11 ? 1 : 5;
  EXPECT_EQ(records.classes().size(), shared == Shared::all ? 1 : shared == Shared::groups ? 2 : 2 * alone);
}

TEST_P(Counted_histories, are_histories_where_these_are_fewer) {
  const auto [type, shared] = GetParam();
  EXPECT_FALSE(model(type, shared, 1).job().model.likelihood->setting.counts_some());
}

INSTANTIATE_TEST_SUITE_P(types, Counted_histories,
                         testing::Combine(testing::Values(1, 11),
                                          testing::Values(Shared::all, Shared::groups, Shared::none)));

/// Live recaptures of one group with a real parameter for each interval, 40 records of each history.
Model_builder study(const std::vector<std::string>& lives, float count = 1.0F) {
  constexpr int noccas = 6;
  Model_builder m(1, noccas);
  for (const std::string& live : lives)
    for (int k = 0; k < 40; ++k) m.record(live, {count});
  m.time_pims();
  m.job().model.nlink = Link::identity;
  m.finish();
  return m;
}

/// Objective, penalty and gradient of a study, by counts as by histories.
struct Study_case {
  std::vector<std::string> lives;
  double phi, p;
  bool charged, at_kink;
};

class Edges_of_counts : public testing::TestWithParam<Study_case> {};

TEST_P(Edges_of_counts, are_seen_by_the_histories) {
  const Study_case& of = GetParam();
  Model_builder counts = study(of.lives), histories = study(of.lives);
  ASSERT_TRUE(counts.job().model.likelihood->counts_all);
  histories.force_histories();
  std::vector<double> x(10, of.phi), g(10), other(10);
  std::fill(x.begin() + 5, x.end(), of.p);
  counts.value = funcg(counts.job(), x, g);
  histories.value = funcg(histories.job(), x, other);
  EXPECT_EQ(counts.value.f, histories.value.f);
  EXPECT_EQ(counts.value.sumpen, histories.value.sumpen);
  EXPECT_EQ(counts.value.sumpen > 0.0, of.charged);
  EXPECT_EQ(g, other);
  double size = 0.0;
  for (const double element : g) size = std::max(size, std::abs(element));
  EXPECT_EQ(size > 1e5, of.charged || of.at_kink);
}

INSTANTIATE_TEST_SUITE_P(
    studies, Edges_of_counts,
    testing::Values(Study_case{{"111111"}, 0.95, 1.2, true, false},  // above 1, every factor positive
                    Study_case{{"111111", "111110"}, 1.3, 0.9, true, false},  // survival alone
                    Study_case{{"100001"}, 1e-70, 0.5, false, false},         // below the floor
                    Study_case{{"100001", "100000"}, 0.5, 0.0, false, true},  // a factor of 0
                    Study_case{{"100000"}, 0.5, 0.0, false, true},            // certain not to be seen
                    Study_case{{"111111"}, 1.0, 1.0, false, true}));          // certain to be seen

TEST(Counts_of_records, leave_out_what_is_no_animal) {
  const std::vector<std::string> lives{"110100", "101000"};
  const std::vector<double> x{0.8, 0.7, 0.6, 0.9, 0.75, 0.4, 0.5, 0.6, 0.3, 0.45};
  Model_builder with = study(lives), without = study(lives);
  Encounter_store& store = with.job().data.encounters;
  store.observed(1)[0] = store.observed(41)[0] = -5.0F;
  store.lost_on_capture(2)[0] = -3.0F;
  with.set_threads(1);
  without.job().data.encounters.observed(1)[0] = without.job().data.encounters.observed(41)[0] = 0.0F;
  without.set_threads(1);
  ASSERT_TRUE(with.job().model.likelihood->counts_all);
  EXPECT_EQ(with.func(x), without.func(x));
}

}  // namespace
}  // namespace tarn
