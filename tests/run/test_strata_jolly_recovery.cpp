// Fits of populations whose animals enter in one of several states: expected counts of a large population
// give back what made them, and its size.
//
// Counts are kept to 1 in 1.7e7, and estimates come as near to the truth as the search goes, which is well
// within 1e-5.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/recovery_deck.h"
#include "support/section_rows.h"

namespace tarn {
namespace {

constexpr double tolerance = 1e-5, population = 2e7;
constexpr int occasions = 5;
constexpr double length[] = {1.0, 0.5, 2.0, 1.0};
const std::vector<double> survival{0.8, 0.7}, capture{0.5, 0.4}, moves{0.3, 0.2};
const std::vector<double> entrants{0.4, 0.2, 0.15, 0.1, 0.15}, of_a{0.6, 0.5, 0.3, 0.4, 0.7};
/// How a capture is recorded where it may not tell the state.
const std::vector<std::map<char, double>> recorded{{{'A', 0.5}, {'x', 0.3}, {'y', 0.2}},
                                                   {{'B', 0.4}, {'x', 0.2}, {'y', 0.4}}};

/// Counts by record of a population followed one way after the other.
class Counts {
 public:
  explicit Counts(bool hidden) : hidden_(hidden) {
    for (int o = 1; o <= occasions; ++o)
      for (std::size_t a = 0; a < 2; ++a) {
        const auto k = static_cast<std::size_t>(o) - 1;
        const double share = a == 0 ? of_a[k] : 1.0 - of_a[k];
        there(o, a, population * entrants[k] * share, std::string(occasions, '0'));
      }
  }
  std::string records() const {
    std::map<std::string, double> met = counts_;
    met.erase(std::string(occasions, '0'));
    return record_lines(met);
  }

 private:
  void there(int o, std::size_t a, double animals, const std::string& cells) {
    behind(o, a, animals * (1.0 - capture[a]), cells);
    const std::map<char, double> certain{{a == 0 ? 'A' : 'B', 1.0}};
    for (const auto& [sign, chance] : hidden_ ? recorded[a] : certain) {
      std::string met = cells;
      met[static_cast<std::size_t>(o) - 1] = sign;
      behind(o, a, animals * capture[a] * chance, met);
    }
  }
  void behind(int o, std::size_t a, double animals, const std::string& cells) {
    if (o == occasions) {
      counts_[cells] += animals;
      return;
    }
    const double s = std::pow(survival[a], length[o - 1]);
    counts_[cells] += animals * (1.0 - s);
    there(o + 1, a, animals * s * (1.0 - moves[a]), cells);
    there(o + 1, 1 - a, animals * s * moves[a], cells);
  }

  bool hidden_;
  std::map<std::string, double> counts_;
};

class Strata_jolly_recovery : public testing::TestWithParam<bool> {};

TEST_P(Strata_jolly_recovery, rates_and_sizes_by_state) {
  const bool hidden = GetParam();
  Recovered_model model;
  for (std::size_t a = 0; a < 2; ++a) {
    const std::string of = a == 0 ? " A :" : " B :";
    model.matrix("S" + of, occasions - 1, survival[a], "LOGIT");
    model.matrix("p" + of, occasions, capture[a], "LOGIT");
    model.matrix(a == 0 ? "Psi A to B" : "Psi B to A", occasions - 1, moves[a], "LOGIT");
    if (hidden) {
      const char code = a == 0 ? 'A' : 'B';
      const std::string set = "MLOGIT(" + std::to_string(a + 2) + ")";
      model.matrix(std::string("Delta ") + code + "|" + code, occasions, recorded[a].at(code), set);
      model.matrix(std::string("Delta ") + (a == 0 ? "A|x" : "x|B"), occasions, recorded[a].at('x'), set);
    }
  }
  model.matrix("pent", occasions - 1, std::vector<double>(entrants.begin() + 1, entrants.end()), "MLOGIT(1)");
  model.matrix("pi A :", occasions, of_a, "LOGIT");
  const Deck_result result =
      model.fit(std::string("proc chmatrix occasions=5 groups=1 hist=9999 strata=2 nohist ") +
                    (hidden ? "events=2 etype=HMMMSJOLLYSEBER;\nstrata=A B x y;\n"
                            : "etype=MSJOLLYSEBER;\nstrata=A B;\n") +
                    "time intervals 1 0.5 2 1;\n",
                Counts(hidden).records());
  model.expect_recovered(result, tolerance);

  // The sizes follow from the same shares.
  const std::string total = section_of(result, "Total Abundance Estimates of ");
  EXPECT_NEAR(row_of(total, "\n   1 ")[0] / population, 1.0, tolerance) << total;
  const std::string states = total.substr(total.find("Abundance Estimates of ", 10));
  std::vector<double> present(2, 0.0);
  for (int o = 1; o <= occasions; ++o) {
    const auto k = static_cast<std::size_t>(o) - 1;
    std::vector<double> next(2);
    for (std::size_t a = 0; a < 2; ++a) {
      const double enters = population * entrants[k] * (a == 0 ? of_a[k] : 1.0 - of_a[k]);
      next[a] = enters;
      for (std::size_t b = 0; o > 1 && b < 2; ++b)
        next[a] += present[b] * std::pow(survival[b], length[k - 1]) * (a == b ? 1.0 - moves[b] : moves[b]);
    }
    present = next;
    for (std::size_t a = 0; a < 2; ++a) {
      const std::string label = "\n   1    " + std::to_string(a + 1) + "    " + std::to_string(o) + " ";
      EXPECT_NEAR(row_of(states, label)[0] / present[a], 1.0, 2.0 * tolerance) << label;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(known_and_hidden, Strata_jolly_recovery, testing::Bool());

}  // namespace
}  // namespace tarn
