// Fits of Jolly-Seber with lambda: expected counts of a large population give back the parameters that made
// them.
//
// The term of the first captures is a binomial whose number of trials depends on the parameters, so expected
// counts do not solve its score exactly: it differs from 0 by terms of order 1, where the information grows
// as the population. Estimates come as near to the truth as 1 over the population, and a test holds that.

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "support/open_population.h"
#include "support/recovery_deck.h"

namespace tarn {
namespace {

/// The records of some populations, one a group.
std::string records_of(const std::vector<Expected>& groups) {
  std::string records;
  for (const auto& [history, unused] : groups[0].counts)
    for (const std::size_t kind : {0U, 1U}) {
      std::string counts;
      bool any = false;
      for (const Expected& group : groups) {
        const double n = group.counts.at(history)[kind];
        any = any || n > 0.0;
        counts += text_of(kind == 0 ? n : -n);
      }
      if (any) records += history + counts + ";\n";
    }
  return records;
}

std::string data_of(int occasions, const std::vector<Expected>& groups, const std::string& intervals = {}) {
  return "proc chmatrix occasions=" + std::to_string(occasions) + " groups=" + std::to_string(groups.size()) +
         " hist=200 etype=JOLLY nohist;\n" + intervals + records_of(groups);
}

TEST(Jolly_recovery, constant_rates_from_the_starts_of_the_data) {
  const Population truth{2e7, {0.8, 0.8, 0.8, 0.8}, {0.4, 0.4, 0.4, 0.4, 0.4}, {1.05, 1.05, 1.05, 1.05}};
  const Expected expected = expected_counts(truth, {1.0, 1.0, 1.0, 1.0});
  const Deck_result result =
      run_deck(data_of(5, {expected}) +
               "proc estimate link=LOGIT;\n model={recovered};\n"
               "group=1 Phi rows=1 cols=4 square constant=1;\ngroup=1 p rows=1 cols=5 square constant=2;\n"
               "group=1 Lambda rows=1 cols=4 square constant=3;\ngroup=1 N rows=1 cols=1 square constant=4;\n"
               "design matrix constraints=4 covariates=4 identity;\nproc stop;\n");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  EXPECT_NEAR(result.real(1).estimate, 0.8, 1e-5);
  EXPECT_NEAR(result.real(2).estimate, 0.4, 1e-5);
  EXPECT_NEAR(result.real(3).estimate, 1.05, 1e-5);
  EXPECT_NEAR(result.real(4).estimate / (2e7 - expected.first_caught), 1.0, 1e-5);
  EXPECT_EQ(result.number("Number of Estimated Parameters {recovered} ="), 4.0);
}

// Rates by interval, capture the same on all occasions of a group, unequal intervals, losses.
TEST(Jolly_recovery, two_groups_with_losses_and_unequal_intervals) {
  const std::vector<Population> truth{
      {2e7, {0.8, 0.7, 0.9, 0.75}, std::vector<double>(5, 0.4), {1.1, 0.95, 1.2, 0.9}, 0.1},
      {3e7, {0.6, 0.85, 0.7, 0.8}, std::vector<double>(5, 0.5), {0.9, 1.05, 1.0, 1.1}, 0.05}};
  std::vector<Expected> expected;
  std::string matrices, start = "initial";
  int number = 0;
  for (const Population& population : truth) {
    expected.push_back(expected_counts(population, {1.0, 2.0, 0.5, 1.5}));
    const std::string group = "group=" + std::to_string(expected.size());
    const auto next = [&number](int size) {
      number += size;
      return std::to_string(number - size + 1);
    };
    matrices += group + " Phi rows=1 cols=4 square time=" + next(4) + ";\n";
    matrices += group + " p rows=1 cols=5 square constant=" + next(1) + ";\n";
    matrices += group + " Lambda rows=1 cols=4 square time=" + next(4) + ";\n";
    matrices += group + " N rows=1 cols=1 square constant=" + next(1) + ";\n";
    start += " 0.9 0.9 0.9 0.9 0 0.1 0.1 0.1 0.1" + text_of(std::log(population.present) - 1.0);
  }
  const Deck_result result =
      run_deck(data_of(5, expected, "time intervals 1 2 0.5 1.5;\n") +
               "proc estimate link=LOGIT;\n model={recovered};\n" + matrices +
               "design matrix constraints=20 covariates=20 identity;\n" + start + ";\nproc stop;\n");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  for (std::size_t g = 0; g < truth.size(); ++g) {
    const int before = 10 * static_cast<int>(g);
    for (int c = 1; c <= 4; ++c) {
      const std::size_t k = static_cast<std::size_t>(c) - 1;
      EXPECT_NEAR(result.real(before + c).estimate, truth[g].phi[k], 1e-5) << g << c;
      EXPECT_NEAR(result.real(before + 5 + c).estimate, truth[g].lambda[k], 1e-5) << g << c;
    }
    EXPECT_NEAR(result.real(before + 5).estimate, truth[g].p[0], 1e-5) << g;
    const double n = truth[g].present - expected[g].first_caught;
    EXPECT_NEAR(result.real(before + 10).estimate / n, 1.0, 1e-5) << g;
  }
}

TEST(Jolly_recovery, estimates_come_near_as_one_over_the_population) {
  std::array<std::vector<double>, 2> off;
  for (const int small : {0, 1}) {
    const double size = small != 0 ? 2e3 : 2e4;
    const Population truth{size, {0.8, 0.8, 0.8, 0.8}, {0.4, 0.4, 0.4, 0.4, 0.4}, {1.05, 1.05, 1.05, 1.05}};
    const Expected expected = expected_counts(truth, {1.0, 1.0, 1.0, 1.0});
    const Deck_result result = run_deck(
        data_of(5, {expected}) +
        "proc estimate link=LOGIT;\n model={near};\n"
        "group=1 Phi rows=1 cols=4 square constant=1;\ngroup=1 p rows=1 cols=5 square constant=2;\n"
        "group=1 Lambda rows=1 cols=4 square constant=3;\ngroup=1 N rows=1 cols=1 square constant=4;\n"
        "design matrix constraints=4 covariates=4 identity;\nproc stop;\n");
    off[static_cast<std::size_t>(small)] = {result.real(1).estimate - 0.8, result.real(2).estimate - 0.4,
                                            result.real(3).estimate - 1.05,
                                            result.real(4).estimate / (size - expected.first_caught) - 1.0};
  }
  // What is left is of order 1 over the square of the population, and the last digit of the listing.
  for (std::size_t k = 0; k < 4; ++k) EXPECT_NEAR(off[1][k] / off[0][k], 10.0, 0.1) << k + 1;
}

}  // namespace
}  // namespace tarn
