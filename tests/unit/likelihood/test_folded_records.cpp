// Records that are alike: one stands for all, and nothing of an evaluation shows it.

#include <gtest/gtest.h>

#include <vector>

#include "likelihood/likelihood_work.h"
#include "likelihood/set_up.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// Occupancy of sites with a covariate of two values in Psi and p, of which chances may be above 1.
class Sites {
 public:
  explicit Sites(bool folded) : model_(27, 3, 2, 1) {
    const std::vector<std::string> histories{"110", "000", "1.0", "...", "111"};
    for (int round = 0; round < 4; ++round)
      for (const std::string& history : histories)
        for (const double x : {0.0, 1.0})
          model_.record(history, {1.0F, static_cast<float>(round)}, {0.0F, round >= 2 ? 1.0F : 0.0F}, {x});
    model_.record("110", {0.5F, 0.0F}, {}, {1.0});  // adds to no whole count
    for (int g = 1; g <= 2; ++g) {
      model_.pim(1, g, "SQUARE", 1, 3, [](int, int c) { return c; });
      model_.pim(2, g, "SQUARE", 1, 1, [g](int, int) { return 3 + g; });
    }
    model_.job().model.nlink = Link::identity;
    model_.design(7);
    for (int i = 1; i <= 5; ++i) model_.cell(i, i, 1.0);
    model_.covariate(2, 6, 1);
    model_.covariate(4, 7, 1);
    model_.finish();
    if (folded) return;
    // As if no two were alike; classes of cells are found anew.
    Likelihood_work& work = *model_.job().model.likelihood;
    work.folded = {};
    work.classes.reset();
    work.reach_sets.reset();
    renew_likelihood(model_.job());
  }
  Model_builder& model() { return model_; }
  const Folded_records& counts() { return model_.job().model.likelihood->folded; }

 private:
  Model_builder model_;
};

const std::vector<double> inside{0.4, 0.5, 0.6, 0.5, 0.7, 0.1, 0.2};
const std::vector<double> above{0.95, 0.9, 0.97, 1.2, 0.7, 0.05, 0.1};

TEST(Folded_records, the_first_has_the_counts_of_all) {
  Sites sites(true);
  const Folded_records& counts = sites.counts();
  ASSERT_TRUE(counts.any());
  // "110" and x = 0 is record 1, 11, 21 and 31; the first two have one count, or two, the others three.
  const auto all_of = [](const std::vector<float>& of, std::size_t record) {
    return std::vector<float>{of[2 * (record - 1)], of[2 * (record - 1) + 1]};
  };
  const auto pair = [](float first, float second) { return std::vector<float>{first, second}; };
  EXPECT_EQ(all_of(counts.observed, 1), pair(1.0F, 0.0F));
  EXPECT_EQ(all_of(counts.observed, 11), pair(1.0F, 1.0F));
  EXPECT_EQ(all_of(counts.observed, 21), pair(2.0F, 5.0F));
  EXPECT_EQ(all_of(counts.lost, 21), pair(0.0F, 2.0F));
  EXPECT_EQ(all_of(counts.observed_cells, 21), pair(2.0F, 2.0F));
  EXPECT_EQ(all_of(counts.lost_cells, 21), pair(0.0F, 2.0F));
  EXPECT_EQ(all_of(counts.observed, 31), pair(0.0F, 0.0F));
  EXPECT_EQ(all_of(counts.observed, 41), pair(0.5F, 0.0F));
}

TEST(Folded_records, evaluations_are_those_of_all_records) {
  Sites folded(true), all(false);
  for (const std::vector<double>& x : {inside, above}) {
    EXPECT_EQ(folded.model().func(x), all.model().func(x));
    std::vector<double> g(x.size()), h(x.size());
    funcg(folded.model().job(), x, g);
    funcg(all.model().job(), x, h);
    // The sums of derivatives are plain ones.
    for (std::size_t k = 0; k < x.size(); ++k) EXPECT_NEAR(g[k], h[k], 1e-12 * (1.0 + std::fabs(h[k])));
    std::vector<Moved_beta> moves;
    for (int k = 1; k <= 7; ++k) moves.push_back({k, x[static_cast<std::size_t>(k) - 1] + 0.01});
    EXPECT_EQ(folded.model().objectives(x, moves), all.model().objectives(x, moves));
  }
}

TEST(Folded_records, each_is_charged_for_what_it_violates) {
  Sites folded(true), all(false);
  folded.model().func(above);
  all.model().func(above);
  EXPECT_GT(folded.model().value.sumpen, 0.0);
  EXPECT_EQ(folded.model().value.sumpen, all.model().value.sumpen);
}

TEST(Folded_records, without_covariates_or_with_different_ones_nothing_is_folded) {
  Model_builder model(27, 2, 1, 1);
  model.record("10", {1.0F}, {}, {0.1});
  model.record("10", {1.0F}, {}, {0.2});
  EXPECT_FALSE(Folded_records::of(model.job(), true).any());
  // Where no real parameter depends on the record its covariates do not count.
  EXPECT_TRUE(Folded_records::of(model.job(), false).any());
}

}  // namespace
}  // namespace tarn
