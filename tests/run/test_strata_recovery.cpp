// Fits of animals that move between strata: expected counts of a large population give back the rates that
// made them.
//
// Counts are kept to 1 in 1.7e7, and estimates come as near to the truth as the search goes, which is well
// within 1e-5.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/recovery_deck.h"

namespace tarn {
namespace {

constexpr double tolerance = 1e-5, released = 1e7;
constexpr int occasions = 4;
const std::string codes = "ABC";
constexpr double length[] = {1.0, 0.5, 2.0, 1.0};

/// Of stratum a (from 0); the transition from a to b.
const std::vector<double> survival{0.8, 0.7, 0.6}, capture{0.5, 0.4, 0.6}, reported{0.3, 0.2, 0.4};
double moves(std::size_t a, std::size_t b) {
  static const double off[3][3] = {{0.0, 0.2, 0.1}, {0.15, 0.0, 0.25}, {0.05, 0.3, 0.0}};
  if (a != b) return off[a][b];
  return 1.0 - off[a][0] - off[a][1] - off[a][2];
}

/// Counts by record of animals released in every stratum on every occasion, followed one way after the other.
class Counts {
 public:
  explicit Counts(bool dead_too) : dead_too_(dead_too) {
    for (int f = 1; f <= (dead_too ? occasions : occasions - 1); ++f)
      for (std::size_t a = 0; a < codes.size(); ++a) {
        std::string cells(width() * occasions, '0');
        cells[at(f)] = codes[a];
        live(f, a, released, cells);
      }
  }
  std::string records() const { return record_lines(counts_); }

 private:
  std::size_t width() const { return dead_too_ ? 2 : 1; }
  std::size_t at(int o) const { return static_cast<std::size_t>(o - 1) * width(); }

  void live(int o, std::size_t a, double animals, const std::string& cells) {
    if (!dead_too_ && o == occasions) {
      counts_[cells] += animals;
      return;
    }
    const double s = std::pow(survival[a], length[o - 1]);
    std::string found = cells;
    if (dead_too_) {
      found[at(o) + 1] = '1';
      counts_[found] += animals * (1.0 - s) * reported[a];
    }
    counts_[cells] += animals * (1.0 - s) * (dead_too_ ? 1.0 - reported[a] : 1.0);
    if (o == occasions) {
      counts_[cells] += animals * s;
      return;
    }
    for (std::size_t b = 0; b < codes.size(); ++b) {
      const double there = animals * s * moves(a, b);
      live(o + 1, b, there * (1.0 - capture[b]), cells);
      std::string met = cells;
      met[at(o + 1)] = codes[b];
      live(o + 1, b, there * capture[b], met);
    }
  }

  bool dead_too_;
  std::map<std::string, double> counts_;
};

class Strata_recovery : public testing::TestWithParam<bool> {};

TEST_P(Strata_recovery, rates_by_stratum) {
  const bool dead_too = GetParam();
  Recovered_model model;
  const int to_the_end = dead_too ? occasions : occasions - 1;
  for (std::size_t a = 0; a < codes.size(); ++a) {
    const std::string of = std::string(" ") + codes[a] + " :";
    model.matrix("S" + of, to_the_end, survival[a], "LOGIT");
    model.matrix("p" + of, occasions - 1, capture[a], "LOGIT");
    if (dead_too) model.matrix("r" + of, to_the_end, reported[a], "LOGIT");
    for (std::size_t b = 0; b < codes.size(); ++b)
      if (b != a)
        model.matrix(std::string("Psi ") + codes[a] + " to " + codes[b], occasions - 1, moves(a, b),
                     "MLOGIT(" + std::to_string(a + 1) + ")");
  }
  const Deck_result result = model.fit("proc chmatrix occasions=4 groups=1 hist=9999 strata=3 nohist etype=" +
                                           std::string(dead_too ? "MSLIVEDEAD" : "MULTISTRATA") +
                                           ";\nstrata=A B C;\ntime intervals 1 0.5 2;\n",
                                       Counts(dead_too).records());
  model.expect_recovered(result, tolerance);
}

INSTANTIATE_TEST_SUITE_P(with_recoveries, Strata_recovery, testing::Bool());

}  // namespace
}  // namespace tarn
