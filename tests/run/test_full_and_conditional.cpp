// The full and the conditional likelihood of a closed population, and of robust designs: they agree to the
// order of one over the number of animals, and not better.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "support/deck_run.h"

namespace tarn {
namespace {

constexpr int occasions = 5;
constexpr double capture = 0.3;

/// Expected counts of all histories of N animals with a constant chance of capture.
std::string records(double animals) {
  std::string text;
  for (unsigned mask = 1; mask < 1U << occasions; ++mask) {
    std::string history;
    double prob = 1.0;
    for (int o = 0; o < occasions; ++o) {
      const bool caught = (mask >> o) & 1U;
      history += caught ? '1' : '0';
      prob *= caught ? capture : 1.0 - capture;
    }
    char count[40];
    std::snprintf(count, sizeof count, " %.9g;\n", animals * prob);
    text += history + count;
  }
  return text;
}

struct Fitted {
  double p, n;
};

Fitted fit(double animals, bool full) {
  const std::string head = "proc chmatrix occasions=5 groups=1 hist=40 nohist etype=";
  const std::string matrices =
      "group=1 p rows=1 cols=5 square constant=1; group=1 c rows=1 cols=4 square constant=1;\n";
  const std::string f0 = full ? "group=1 f0 rows=1 cols=1 square constant=2;\n" : "";
  const std::string size = full ? "2" : "1";
  const Deck_result result =
      run_deck(head + (full ? "CLOSED" : "HUGGINS") + ";\n" + records(animals) +
               "proc estimate link=LOGIT;\n model={M0};\n" + matrices + f0 +
               "design matrix constraints=" + size + " covariates=" + size + " identity;\nproc stop;");
  EXPECT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const std::size_t section = result.listing.find("Population Estimates of {M0}");
  const std::size_t row = result.listing.find("\n         1 ", section);
  return {result.real(1).estimate, std::strtod(result.listing.c_str() + row + 11, nullptr)};
}

TEST(Full_and_conditional_likelihood, differ_where_animals_are_few) {
  EXPECT_NEAR(fit(200.0, true).p, 0.30133, 5e-6);
  EXPECT_NEAR(fit(200.0, false).p, 0.30000, 1e-6);
}

TEST(Full_and_conditional_likelihood, come_together_as_one_over_the_number_of_animals) {
  const auto distance = [](double animals) {
    const Fitted full = fit(animals, true), conditional = fit(animals, false);
    EXPECT_NEAR(conditional.n / animals, 1.0, 1e-5);
    return std::abs(full.p / conditional.p - 1.0);
  };
  const double at_200 = distance(200.0), at_2000 = distance(2000.0);
  EXPECT_NEAR(at_200 / at_2000, 10.0, 0.5);
  const Fitted full = fit(2e6, true), conditional = fit(2e6, false);
  EXPECT_NEAR(full.p / conditional.p, 1.0, 1e-5);
  EXPECT_NEAR(full.n / conditional.n, 1.0, 1e-5);
}

/// Survival, availability and capture of three sessions of three occasions; counts that no model made, so
/// many times over.
std::vector<double> fit_sessions(int times, bool full) {
  std::string data;
  for (unsigned mask = 1; mask < 1U << 9; ++mask) {
    std::string history;
    for (int o = 8; o >= 0; --o) history += (mask >> o) & 1U ? '1' : '0';
    const unsigned captures = static_cast<unsigned>(std::count(history.begin(), history.end(), '1'));
    const unsigned animals = 40U / (captures * captures) + mask * 7U % 5U;
    if (animals > 0) data += history + " " + std::to_string(static_cast<int>(animals) * times) + ";\n";
  }
  std::string matrices =
      "group=1 S rows=1 cols=2 square constant=1;\ngroup=1 Gamma'' rows=1 cols=2 square constant=2;\n"
      "group=1 Gamma' rows=1 cols=2 square constant=2;\n";
  for (int s = 1; s <= 3; ++s) {
    const std::string session = " Session " + std::to_string(s) + " rows=1 cols=";
    matrices +=
        "group=1 p" + session + "3 square constant=3;\ngroup=1 c" + session + "2 square constant=3;\n";
    if (full) matrices += "group=1 f0" + session + "1 square constant=" + std::to_string(3 + s) + ";\n";
  }
  const std::string size = full ? "6" : "3";
  const Deck_result result =
      run_deck(std::string("proc chmatrix occasions=9 groups=1 hist=600 nohist etype=") +
               (full ? "ROBUST" : "RDHUGGINS") + ";\ntime intervals 0 0 1 0 0 1 0 0;\n" + data +
               "proc estimate link=LOGIT;\n model={m};\n" + matrices + "design matrix constraints=" + size +
               " covariates=" + size + " identity;\nproc stop;");
  EXPECT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  return {result.real(1).estimate, result.real(2).estimate, result.real(3).estimate};
}

TEST(Full_and_conditional_likelihood, of_sessions_come_together_too) {
  const auto distances = [](int times) {
    const std::vector<double> full = fit_sessions(times, true), conditional = fit_sessions(times, false);
    std::vector<double> all;
    for (std::size_t i = 0; i < full.size(); ++i) all.push_back(std::abs(full[i] / conditional[i] - 1.0));
    return all;
  };
  const std::vector<double> few = distances(1), more = distances(10), many = distances(10000);
  EXPECT_NEAR(few[2] / more[2], 10.0, 0.5);
  for (const double distance : many) EXPECT_LT(distance, 1e-5);
}

}  // namespace
}  // namespace tarn
