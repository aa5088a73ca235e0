// Fits of hidden Markov models: expected counts of a large population give back the rates that made them.
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
constexpr int occasions = 5;
constexpr double length[] = {1.0, 0.5, 2.0, 1.0};
const std::vector<double> survival{0.8, 0.6}, capture{0.5, 0.4}, moves{0.3, 0.2};
constexpr double share_of_a = 0.55;
/// The own code, then the events x and y.
const std::vector<std::vector<double>> recorded{{0.5, 0.35, 0.15}, {0.4, 0.1, 0.5}};

/// Counts by record of animals first caught on every occasion, followed one way after the other.
class Counts {
 public:
  /// @param pi  states at the first capture have shares; else animals are released under their own codes
  explicit Counts(bool pi) {
    for (int f = 1; f < occasions; ++f)
      for (std::size_t a = 0; a < 2; ++a) {
        const std::string cells(occasions, '0');
        if (pi)
          shows(f, a, released * (a == 0 ? share_of_a : 1.0 - share_of_a), cells);
        else
          show(f, a, released, a == 0 ? 'A' : 'B', cells);
      }
  }
  std::string records() const { return record_lines(counts_); }

 private:
  void shows(int o, std::size_t a, double animals, const std::string& cells) {
    const char signs[] = {a == 0 ? 'A' : 'B', 'x', 'y'};
    for (std::size_t k = 0; k < 3; ++k) show(o, a, animals * recorded[a][k], signs[k], cells);
  }
  void show(int o, std::size_t a, double animals, char sign, std::string cells) {
    cells[static_cast<std::size_t>(o) - 1] = sign;
    live(o, a, animals, cells);
  }
  void live(int o, std::size_t a, double animals, const std::string& cells) {
    if (o == occasions) {
      counts_[cells] += animals;
      return;
    }
    const double s = std::pow(survival[a], length[o - 1]);
    counts_[cells] += animals * (1.0 - s);
    for (std::size_t b = 0; b < 2; ++b) {
      const double there = animals * s * (a == b ? 1.0 - moves[a] : moves[a]);
      live(o + 1, b, there * (1.0 - capture[b]), cells);
      shows(o + 1, b, there * capture[b], cells);
    }
  }

  std::map<std::string, double> counts_;
};

class Hidden_recovery : public testing::TestWithParam<bool> {};

TEST_P(Hidden_recovery, rates_by_state) {
  const bool pi = GetParam();
  Recovered_model model;
  for (std::size_t a = 0; a < 2; ++a) {
    const std::string code = a == 0 ? "A" : "B", set = "MLOGIT(" + std::to_string(a + 1) + ")";
    model.matrix("S " + code + " :", occasions - 1, survival[a], "LOGIT");
    model.matrix("p " + code + " :", occasions - 1, capture[a], "LOGIT");
    model.matrix(a == 0 ? "Psi A to B" : "Psi B to A", occasions - 1, moves[a], "LOGIT");
    model.matrix("Delta " + code + "|" + code, occasions, recorded[a][0], set);
    model.matrix(a == 0 ? "Delta A|x" : "Delta x|B", occasions, recorded[a][1], set);
  }
  if (pi) model.matrix("pi A :", 1, share_of_a, "LOGIT");
  const Deck_result result = model.fit(
      "proc chmatrix occasions=5 groups=1 hist=9999 strata=2 events=2 nohist etype=HIDMARKOV;\n"
      "strata=A B x y;\ntime intervals 1 0.5 2 1;\n",
      Counts(pi).records());
  model.expect_recovered(result, tolerance);
}

INSTANTIATE_TEST_SUITE_P(with_shares_and_without, Hidden_recovery, testing::Bool());

}  // namespace
}  // namespace tarn
