// Laws of the hidden Markov model (data type 178): sums, agreement with an enumeration of what may have
// happened, reductions, worked numbers.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/hidden_study.h"

namespace tarn {
namespace {

/// All that an animal first caught on occasion f may go through, one way after the other. Where states at
/// release have no matrix it shows the code of state `from`, and is in that state.
class Watched {
 public:
  Watched(Hidden_study& study, int f, int from, Dots dots, int g = 1)
      : study_(study), f_(f), g_(g), dots_(std::move(dots)) {
    const std::string nothing = dots_.empty(study);
    for (int a = 1; a <= study.strata(); ++a) {
      if (from != 0) {
        if (a == from) shows(f, a, 1.0, study.code(a), nothing);
        continue;
      }
      for (const auto& [sign, chance] : study.captured(a, f, f, g))
        shows(f, a, study.starts_in(a, f, g) * chance, sign, nothing);
    }
  }
  const Hidden_records_made& records() const { return made_; }

 private:
  void shows(int o, int a, double share, char sign, std::string cells) {
    cells[study_.at(o)] = sign;
    live(o, a, share, cells);
  }
  /// Alive in state a on occasion o.
  void live(int o, int a, double share, const std::string& cells) {
    if (o == study_.noccas()) return made_.add(cells, share);
    const double s = study_.survival(a, f_, o, g_);
    made_.add(cells, share * (1.0 - s));
    for (int b = 1; b <= study_.strata(); ++b) {
      const double there = share * s * study_.moves(a, b, f_, o, g_);
      if (dots_.at(o + 1)) {
        live(o + 1, b, there, cells);
        continue;
      }
      const double p = study_.caught(b, f_, o + 1, g_);
      live(o + 1, b, there * (1.0 - p), cells);
      for (const auto& [sign, chance] : study_.captured(b, f_, o + 1, g_))
        shows(o + 1, b, there * p * chance, sign, cells);
    }
  }

  Hidden_study& study_;
  int f_, g_;
  Dots dots_;
  Hidden_records_made made_;
};

struct Case {
  std::string name;
  Hidden_layout layout;
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class Hidden_laws : public testing::TestWithParam<Case> {};

TEST_P(Hidden_laws, histories_are_those_of_animals_followed_one_by_one) {
  for (const bool unequal : {false, true})
    for (const std::string& dots :
         {std::string(), std::string("__._"), std::string("_.._"), std::string("._..")}) {
      Hidden_layout layout = GetParam().layout;
      if (unequal) layout.lengths = {0.5F, 2.5F, 3.0F};
      Hidden_study study(layout);
      study.draw(1);
      const bool pi = layout.pi || study.strata() == 1;
      // Triangles have no row for animals first caught on the last occasion where a matrix lacks a column.
      std::vector<std::pair<int, int>> cohorts;
      for (int f = 1; f <= study.noccas(); ++f)
        for (int a = pi ? 0 : 1; a <= (pi ? 0 : study.strata()); ++a)
          if (!Dots(dots).at(f)) cohorts.push_back({f, a});
      std::vector<std::size_t> cohort_of;
      for (std::size_t k = 0; k < cohorts.size(); ++k) {
        const Watched all(study, cohorts[k].first, cohorts[k].second, dots);
        for (const auto& [cells, share] : all.records().shares()) {
          study.record(cells, std::vector<float>(static_cast<std::size_t>(layout.groups), 2.0F),
                       std::vector<float>(static_cast<std::size_t>(layout.groups), 1.0F));
          cohort_of.push_back(k);
        }
      }
      study.model.finish();
      for (const unsigned seed : {2U, 3U}) {
        study.draw(seed);
        for (int g = 1; g <= layout.groups; ++g) {
          const std::vector<double> observed = study.probabilities(false, g),
                                    lost = study.probabilities(true, g);
          for (std::size_t k = 0; k < cohorts.size(); ++k) {
            const Watched all(study, cohorts[k].first, cohorts[k].second, dots, g);
            double sum = 0.0;
            for (std::size_t i = 0; i < observed.size(); ++i) {
              if (cohort_of[i] != k) continue;
              sum += observed[i];
              // Some hundred sums of products.
              EXPECT_NEAR(observed[i], all.records().at(study.histories[i]), 1e-14) << study.histories[i];
              EXPECT_NEAR(lost[i], all.records().removed(study.histories[i], 1), 1e-14) << study.histories[i];
            }
            EXPECT_NEAR(sum, 1.0, 1e-12) << cohorts[k].first << " " << cohorts[k].second;
          }
        }
        const double by_tables = study.model.func(study.reals);
        study.model.force_histories();
        EXPECT_NEAR(study.model.func(study.reals), by_tables, 1e-13 * std::abs(by_tables));
        study.model.set_threads(1);
      }
    }
}

INSTANTIATE_TEST_SUITE_P(
    layouts, Hidden_laws,
    testing::Values(
        Case{"one state, one event", {.noccas = 4, .states = "A", .captures = "u"}},
        Case{"one state, events alone", {.noccas = 3, .states = "A", .captures = "xyz", .certain = false}},
        Case{"two states, recognised or not", {.noccas = 4, .captures = "u"}},
        Case{"two states, two events, two groups", {.noccas = 3, .captures = "xy", .groups = 2}},
        Case{"events alone, the matrices turned",
             {.noccas = 3, .captures = "xyz", .turned = true, .certain = false}},
        Case{"matrices without an index by cohort",
             {.noccas = 4, .captures = "xy", .by_cohort = false, .certain = false, .pi_columns = 2}},
        Case{"Delta without a column for the first occasion",
             {.noccas = 3, .captures = "xy", .by_cohort = false, .delta_less = 1}},
        Case{"three states, two events", {.noccas = 3, .states = "XYZ", .captures = "ab"}},
        Case{"two states, four events", {.noccas = 3, .captures = "wxyz", .turned = true, .pi_columns = 1}},
        Case{"states at release without a matrix", {.noccas = 4, .captures = "x", .pi = false}},
        Case{"three states without a matrix",
             {.noccas = 3, .states = "XYZ", .captures = "ab", .by_cohort = false, .pi = false}}));

/// The worked design: two states, events x and y, no matrix for the states' own codes.
Hidden_study worked(int noccas, bool pi) {
  Hidden_study study({.noccas = noccas, .captures = "xy", .by_cohort = false, .pi = pi, .certain = false});
  for (const auto& [a, s, p, x] : {std::tuple(1, 0.8, 0.5, 0.8), std::tuple(2, 0.7, 0.4, 0.3)}) {
    study.set("S", a, 1, s);
    study.set("p", a, 1, p);
    study.set("Delta", a, 3, x);
  }
  study.set("Psi", 1, 2, 0.3);
  study.set("Psi", 2, 1, 0.2);
  if (pi) study.set("pi", 1, 1, 0.6);
  return study;
}

TEST(Hidden_worked, a_release_weighs_states_by_what_it_shows) {
  for (const auto& [noccas, expected] :
       {std::pair(2, std::map<std::string, double>{{"x0", 0.3842400000},
                                                   {"xx", 0.1361280000},
                                                   {"xy", 0.0796320000},
                                                   {"y0", 0.2725600000},
                                                   {"yx", 0.0648320000},
                                                   {"yy", 0.0626080000}}),
        std::pair(3, std::map<std::string, double>{{"x0x", 0.0495828480},
                                                   {"xx0", 0.0867386880},
                                                   {"x.y", 0.0663398400},
                                                   {"xyx", 0.0135120384}})}) {
    Hidden_study study = worked(noccas, true);
    for (const auto& [cells, prob] : expected) study.record(cells, {1.0F});
    study.model.finish();
    const std::vector<double> got = study.probabilities();
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], expected.at(study.histories[i]), 1e-10) << study.histories[i];
  }
}

TEST(Hidden_worked, without_pi_a_code_tells_the_state) {
  Hidden_study study = worked(3, false);
  study.record("Axy", {1.0F});
  study.record("A0x", {1.0F});
  study.model.finish();
  EXPECT_NEAR(study.probabilities()[0], 0.0325158400, 1e-10);
  EXPECT_NEAR(study.probabilities()[1], 0.0885248000, 1e-10);
}

}  // namespace
}  // namespace tarn
