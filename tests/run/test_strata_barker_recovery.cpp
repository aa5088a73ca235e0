// Fits of live captures, resightings and recoveries by state: expected counts of a large population give back
// the rates that made them.
//
// Counts are kept to 1 in 1.7e7, and estimates come as near to the truth as the search goes, which is well
// within 1e-5.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/recovery_deck.h"

namespace tarn {
namespace {

constexpr double tolerance = 1e-5, released = 1e7, share_of_a = 0.55;
constexpr int occasions = 3;
constexpr double length[] = {1.0, 0.5, 2.0};
const std::vector<double> survival{0.8, 0.65}, capture{0.5, 0.4}, moves{0.3, 0.2}, resighted{0.3, 0.25},
    resighted_before{0.2, 0.15}, reported{0.35, 0.2};
/// The state is told at a capture, at a resighting of a survivor and of one that dies, at a recovery.
const std::vector<double> delta{0.7, 0.6}, rho{0.8, 0.7}, rho_prime{0.6, 0.5}, b{0.85, 0.65};

using Shares = std::vector<std::pair<char, double>>;

/// Counts by record of animals first caught on every occasion, followed one way after the other.
class Counts {
 public:
  explicit Counts(int type) : type_(type) {
    for (int f = 1; f <= occasions; ++f)
      for (std::size_t a = 0; a < 2; ++a)
        caught(f, a, released * (a == 0 ? share_of_a : 1.0 - share_of_a), std::string(2 * occasions, '0'));
  }
  std::string records() const { return record_lines(counts_); }

 private:
  Shares signs(std::size_t a, double told, char other, bool lower = false) const {
    return {{static_cast<char>((lower ? 'a' : 'A') + static_cast<char>(a)), told}, {other, 1.0 - told}};
  }
  void caught(int o, std::size_t a, double animals, const std::string& cells) {
    for (const auto& [sign, chance] : signs(a, delta[a], type_ == 176 ? 'U' : 'x')) {
      std::string met = cells;
      met[2 * static_cast<std::size_t>(o) - 2] = sign;
      behind(o, a, animals * chance, met);
    }
  }
  void behind(int o, std::size_t a, double animals, const std::string& cells) {
    if (type_ != 180) return interval(o, a, animals, cells);
    interval(o, a, animals * (1.0 - moves[a]), cells);
    interval(o, 1 - a, animals * moves[a], cells);
  }
  void interval(int c, std::size_t a, double animals, const std::string& cells) {
    const double t = length[c - 1], s = std::pow(survival[a], t),
                 seen = 1.0 - std::pow(1.0 - resighted[a], t),
                 before = 1.0 - std::pow(1.0 - resighted_before[a], t), dies = animals * (1.0 - s);
    const auto with = [&](char sign) {
      std::string more = cells;
      more[2 * static_cast<std::size_t>(c) - 1] = sign;
      return more;
    };
    for (const auto& [sign, chance] : signs(a, b[a], type_ == 176 ? 'u' : 'k', true))
      counts_[with(sign)] += dies * reported[a] * chance;
    const char alive = type_ == 176 ? 'U' : 'v';
    for (const auto& [sign, chance] : signs(a, rho_prime[a], alive))
      counts_[with(sign)] += dies * (1.0 - reported[a]) * before * chance;
    counts_[cells] += dies * (1.0 - reported[a]) * (1.0 - before);
    for (const auto& [sign, chance] : signs(a, rho[a], alive))
      ahead(c, a, animals * s * seen * chance, with(sign));
    ahead(c, a, animals * s * (1.0 - seen), cells);
  }
  void ahead(int c, std::size_t a, double animals, const std::string& cells) {
    if (c == occasions) {
      counts_[cells] += animals;
      return;
    }
    const auto at = [&](std::size_t state, double there) {
      behind(c + 1, state, there * (1.0 - capture[state]), cells);
      caught(c + 1, state, there * capture[state], cells);
    };
    if (type_ == 180) return at(a, animals);
    at(a, animals * (1.0 - moves[a]));
    at(1 - a, animals * moves[a]);
  }

  int type_;
  std::map<std::string, double> counts_;
};

class Strata_barker_recovery : public testing::TestWithParam<int> {};

TEST_P(Strata_barker_recovery, rates_by_state) {
  const int type = GetParam();
  Recovered_model model;
  const auto matrix = [&](const std::string& name, int columns, double value) {
    model.matrix(name, columns, value, "LOGIT");
  };
  for (std::size_t a = 0; a < 2; ++a) {
    const std::string code = a == 0 ? "A" : "B", of = " " + code + " :",
                      told = type == 176 ? of : " " + code + "|" + code;
    matrix("S" + of, occasions, survival[a]);
    matrix("r" + of, occasions, reported[a]);
    matrix("R" + of, occasions, resighted[a]);
    matrix("R'" + of, occasions, resighted_before[a]);
    matrix("p" + of, occasions - 1, capture[a]);
    matrix(a == 0 ? "Psi A to B" : "Psi B to A", occasions - 1, moves[a]);
    matrix("Delta" + told, occasions, delta[a]);
    matrix("rho" + told, occasions, rho[a]);
    matrix("rho'" + told, occasions, rho_prime[a]);
    matrix("b" + told, occasions, b[a]);
  }
  matrix("pi A :", 1, share_of_a);
  const std::string head = type == 176 ? "etype=MSBARKER;\nstrata=A B;\n"
                                       : std::string("events=3 eventsp=1 eventslr=1 eventsbr=1 etype=") +
                                             (type == 179 ? "MSUNCBARKER" : "MSUNC2BARKER") +
                                             ";\nstrata=A B x v k;\n";
  const Deck_result result = model.fit(
      "proc chmatrix occasions=3 groups=1 hist=9999 strata=2 nohist " + head + "time intervals 1 0.5 2;\n",
      Counts(type).records());
  model.expect_recovered(result, tolerance);
}

INSTANTIATE_TEST_SUITE_P(types, Strata_barker_recovery, testing::Values(176, 179, 180));

}  // namespace
}  // namespace tarn
