// Daily survival that changes with the age of the nest: the age on the first day is a covariate, design
// functions add the days.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "support/deck_run.h"

namespace tarn {
namespace {

constexpr double intercept = 1.8, slope = 0.15;
constexpr int occasions = 7;

double daily_survival(double age_on_day_1, int day) {
  return 1.0 / (1.0 + std::exp(-(intercept + slope * (age_on_day_1 + day - 1))));
}

/// Survival from one day to another.
double survival(double age, int from, int to) {
  double product = 1.0;
  for (int day = from; day < to; ++day) product *= daily_survival(age, day);
  return product;
}

std::string nest(int found, int active, int checked, int fate, double count, int age) {
  char text[80];
  std::snprintf(text, sizeof text, "%d %d %d %d %.0f %d;\n", found, active, checked, fate, count, age);
  return text;
}

TEST(Nest_age, through_design_functions_is_recovered) {
  std::string records;
  constexpr double nests = 2e8;
  for (const int age : {0, 3, 8})
    for (const int found : {1, 2}) {
      const int visit = 4;
      const double alive = survival(age, found, visit), to_the_end = survival(age, visit, occasions);
      records += nest(found, found, visit, 1, nests * (1.0 - alive), age);
      records += nest(found, visit, occasions, 1, nests * alive * (1.0 - to_the_end), age);
      records += nest(found, occasions, occasions, 0, nests * alive * to_the_end, age);
    }
  std::string design;
  for (int day = 1; day < occasions; ++day) design += "1 add(age," + std::to_string(day - 1) + ");\n";
  const Deck_result result = run_deck(
      "proc chmatrix occasions=7 groups=1 hist=40 icovar=1 etype=NEST;\n icovariates age;\n"
      "nest survival group=1;\n" +
      records +
      "proc estimate link=LOGIT nostanddm;\n model={S(age)};\n group=1 S rows=1 cols=6 square time=1;\n"
      "design matrix constraints=6 covariates=2;\n" +
      design + "proc stop;");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  EXPECT_NEAR(result.beta(1).estimate, intercept, 1e-5);
  EXPECT_NEAR(result.beta(2).estimate, slope, 1e-5);
  // The reals shown are those of the first record, which was 0 days old on day 1.
  for (int day = 1; day < occasions; ++day)
    EXPECT_NEAR(result.real(day).estimate, daily_survival(0.0, day), 1e-5);
}

}  // namespace
}  // namespace tarn
