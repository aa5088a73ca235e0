// Model-selection figures, and their edges: no degrees of freedom, samples as small as the models.

#include "inference/figures.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <limits>

namespace tarn {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

Saturated_model saturated_model(double xlogs, int nsat, double histories = 0.0, int cohorts = 0) {
  Saturated_model model;
  model.xlogs = xlogs, model.nsat = nsat, model.histories = histories, model.cohorts = cohorts;
  return model;
}

/// Runs without raising a condition that the listing would tell of.
class Figures : public testing::Test {
 protected:
  void SetUp() override { std::feclearexcept(FE_ALL_EXCEPT); }
  void TearDown() override {
    EXPECT_EQ(std::fetestexcept(FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW | FE_UNDERFLOW), 0);
    std::feclearexcept(FE_ALL_EXCEPT);
  }
};

TEST_F(Figures, by_hand) {
  const Model_figures figures = model_figures(100.0, saturated_model(70.0, 14), 2, 50.0, true);
  EXPECT_EQ(figures.deviance, 30.0);
  EXPECT_EQ(figures.df, 12);
  EXPECT_EQ(figures.chat, 2.5);
  EXPECT_EQ(figures.aic, 104.0);
  EXPECT_DOUBLE_EQ(figures.aicc, 104.0 + 12.0 / 47.0);
  EXPECT_DOUBLE_EQ(figures.bic, 100.0 + 2.0 * std::log(50.0));
  ASSERT_TRUE(figures.quasi);
  EXPECT_EQ(figures.quasi->chat, 2.5);
  EXPECT_EQ(figures.quasi->qaic, 44.0);
  EXPECT_DOUBLE_EQ(figures.quasi->qaicc, 44.0 + 12.0 / 47.0);
  EXPECT_DOUBLE_EQ(figures.quasi->qbic, 40.0 + 2.0 * std::log(50.0));
  EXPECT_TRUE(figures.aicc_has_meaning());
}

TEST_F(Figures, aicc_of_a_sample_as_small_as_the_model) {
  const auto with = [](int k, double n) {
    return model_figures(100.0, saturated_model(70.0, 14), k, n, false);
  };
  EXPECT_TRUE(with(6, 8.0).aicc_has_meaning());
  EXPECT_EQ(with(7, 8.0).aicc, infinity);
  EXPECT_FALSE(with(7, 8.0).aicc_has_meaning());
  EXPECT_EQ(with(8, 8.0).aicc, 100.0 + 16.0 - 144.0);
  EXPECT_FALSE(with(8, 8.0).aicc_has_meaning());
}

TEST_F(Figures, without_parameters_or_sample) {
  for (const double n : {0.0, 1.0, 2.0}) {
    const Model_figures figures = model_figures(100.0, saturated_model(70.0, 14), 0, n, true);
    EXPECT_EQ(figures.aicc, 100.0);
    EXPECT_EQ(figures.bic, 100.0);
    EXPECT_TRUE(figures.aicc_has_meaning());
  }
  EXPECT_EQ(model_figures(100.0, saturated_model(70.0, 14), 1, 0.0, false).bic, -infinity);
}

TEST_F(Figures, chat_without_degrees_of_freedom_is_1) {
  for (const int nsat : {0, 1, 2}) {
    const Model_figures figures = model_figures(100.0, saturated_model(70.0, nsat), 2, 50.0, true);
    EXPECT_EQ(figures.chat, 1.0);
    EXPECT_EQ(figures.quasi->chat, 1.0);
  }
}

TEST_F(Figures, negative_chat_is_no_quasi_chat) {
  const Model_figures figures = model_figures(100.0, saturated_model(130.0, 14), 2, 50.0, true);
  EXPECT_EQ(figures.chat, -2.5);
  EXPECT_EQ(figures.quasi->chat, 1.0);
}

TEST_F(Figures, chat_that_was_given_takes_the_place_of_the_own_one_in_quasi_forms_only) {
  const Model_figures figures = model_figures(100.0, saturated_model(70.0, 14), 2, 50.0, true, 1.25);
  EXPECT_EQ(figures.chat, 2.5);
  EXPECT_EQ(figures.aic, 104.0);
  EXPECT_EQ(figures.quasi->chat, 1.25);
  EXPECT_EQ(figures.quasi->qaic, 84.0);
  EXPECT_DOUBLE_EQ(figures.quasi->qbic, 80.0 + 2.0 * std::log(50.0));
}

TEST_F(Figures, of_pearson_by_hand) {
  const Pearson_figures figures = pearson_figures(saturated_model(0.0, 0, 20.0, 4), {26.0, 16.0}, 3);
  EXPECT_EQ(figures.df, 13.0);
  EXPECT_EQ(figures.chat, 2.0);
  EXPECT_EQ(figures.sbar, -0.25);
  EXPECT_DOUBLE_EQ(figures.fletcher_chat, 2.0 / 0.75);
}

TEST_F(Figures, of_pearson_without_degrees_of_freedom) {
  const Pearson_figures none = pearson_figures(saturated_model(0.0, 0, 20.0, 4), {26.0, 16.0}, 16);
  EXPECT_EQ(none.df, 0.0);
  EXPECT_EQ(none.chat, infinity);
  EXPECT_EQ(none.fletcher_chat, infinity);
  EXPECT_TRUE(std::isnan(pearson_figures(saturated_model(0.0, 0, 20.0, 4), {0.0, 16.0}, 16).chat));
  EXPECT_EQ(pearson_figures(saturated_model(0.0, 0, 20.0, 4), {26.0, 16.0}, 18).chat, -13.0);
}

TEST_F(Figures, of_pearson_with_one_history_a_cohort) {
  const Pearson_figures figures = pearson_figures(saturated_model(0.0, 0, 4.0, 4), {0.0, 4.0}, 0);
  EXPECT_TRUE(std::isnan(figures.chat));
  EXPECT_TRUE(std::isnan(figures.sbar));
  EXPECT_TRUE(std::isnan(figures.fletcher_chat));
}

}  // namespace
}  // namespace tarn
