// Laws of the hidden Markov model (data type 178): sums, agreement with an enumeration of what may have
// happened, reductions, worked numbers.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/state_laws.h"

namespace tarn {
namespace {

/// All that an animal first caught on occasion f may go through, one way after the other.
class Watched : public Released_animals {
 public:
  Watched(State_study& study, int f, int from, const Dots& dots, int g)
      : Released_animals(study, f, dots, g) {
    release(from, [&](int a, double share, char sign, const std::string& cells) {
      shows(f, a, share, sign, cells);
    });
  }

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
};

struct Case {
  std::string name;
  State_layout layout;
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class Hidden_laws : public testing::TestWithParam<Case> {};

TEST_P(Hidden_laws, histories_are_those_of_animals_followed_one_by_one) {
  for (const bool unequal : {false, true})
    for (const std::string& dots :
         {std::string(), std::string("__._"), std::string("_.._"), std::string("._..")}) {
      State_layout layout = GetParam().layout;
      if (unequal) layout.lengths = {0.5F, 2.5F, 3.0F};
      State_study study(layout);
      expect_histories_of(study, sets_of_releases<Watched>(study, dots),
                          [](const std::string&) { return true; });
    }
}

/// Of occasions that were not sampled for one animal alone nothing is shared but what the others show.
TEST(Hidden_samplings, of_single_animals) {
  State_study study({.noccas = 5, .captures = "u"});
  study.draw(1);
  const std::vector<std::string> samplings{"", "_.", "__.", "___.", "_..", "__..", "_._.", "____.", "_...."};
  std::vector<std::string> dots_of;
  for (const std::string& dots : samplings)
    for (const bool lost : {false, true}) {
      // One that was met late, and one that was not met again.
      const State_records all = Watched(study, 1, 0, dots, 1).followed().records;
      study.record(lost ? all.shares().rbegin()->first : all.shares().begin()->first, {lost ? 0.0F : 3.0F},
                   {lost ? 2.0F : 0.0F});
      dots_of.push_back(dots);
    }
  study.model.finish();
  study.draw(2);
  double from_cells = 0.0;
  for (std::size_t i = 0; i < dots_of.size(); ++i) {
    const State_records all = Watched(study, 1, 0, dots_of[i], 1).followed().records;
    const std::string& cells = study.histories[i];
    from_cells -= i % 2 == 0 ? 6.0 * std::log(all.at(cells)) : 4.0 * std::log(all.removed(cells, 1));
  }
  std::vector<double> gradient(study.reals.size()), by_histories(study.reals.size());
  EXPECT_NEAR(study.model.func(study.reals), from_cells, 1e-12 * from_cells);
  funcg(study.model.job(), study.reals, gradient);
  study.model.force_histories();
  EXPECT_NEAR(study.model.func(study.reals), from_cells, 1e-12 * from_cells);
  funcg(study.model.job(), study.reals, by_histories);
  // Some hundred sums of products.
  for (std::size_t k = 0; k < gradient.size(); ++k)
    EXPECT_NEAR(gradient[k], by_histories[k], 1e-11 * (1.0 + std::abs(gradient[k]))) << k;
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
State_study worked(int noccas, bool pi) {
  State_study study({.noccas = noccas, .captures = "xy", .by_cohort = false, .pi = pi, .certain = false});
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
    State_study study = worked(noccas, true);
    for (const auto& [cells, prob] : expected) study.record(cells, {1.0F});
    study.model.finish();
    const std::vector<double> got = study.probabilities();
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], expected.at(study.histories[i]), 1e-10) << study.histories[i];
  }
}

TEST(Hidden_worked, without_pi_a_code_tells_the_state) {
  State_study study = worked(3, false);
  study.record("Axy", {1.0F});
  study.record("A0x", {1.0F});
  study.model.finish();
  EXPECT_NEAR(study.probabilities()[0], 0.0325158400, 1e-10);
  EXPECT_NEAR(study.probabilities()[1], 0.0885248000, 1e-10);
}

/// Everything that can be shown from each first occasion on, under the signs `signs`.
std::vector<std::string> all_histories(int noccas, const std::string& signs) {
  std::vector<std::string> made{""};
  for (int o = 1; o <= noccas; ++o) {
    std::vector<std::string> longer;
    for (const std::string& history : made)
      for (const char sign : "0" + signs) longer.push_back(history + sign);
    made = longer;
  }
  made.erase(made.begin());  // nothing shown
  return made;
}

/// Rates of one study into the matrices of the same name, indices and cells of another.
void copy_rates(State_study& from, State_study& to, const std::vector<std::string>& names) {
  for (const std::string& name : names)
    for (int a = 1; a <= from.strata(); ++a)
      for (int b = 1; b <= from.strata(); ++b)
        for (int f = 1; f < from.noccas(); ++f)
          for (int c = f; (name != "Psi" ? b == 1 : b != a) && c < from.noccas(); ++c)
            to.real(name, a, b, f, c) = from.real(name, a, b, f, c);
}

TEST(Hidden_reductions, codes_that_are_always_given_are_strata) {
  State_study study({.noccas = 4, .captures = "x", .pi = false}), strata({.type = 9, .noccas = 4});
  study.draw(3);
  for (const std::string& cells : all_histories(4, "AB")) {
    study.record(cells, {1.0F}, {1.0F});
    strata.record(cells, {1.0F}, {1.0F});
  }
  copy_rates(study, strata, {"S", "p", "Psi"});
  for (int a = 1; a <= 2; ++a) study.set("Delta", a, a, 1.0);
  study.model.finish();
  strata.model.finish();
  for (const bool lost : {false, true}) {
    const std::vector<double> got = study.probabilities(lost), expected = strata.probabilities(lost);
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], expected[i], 1e-15) << study.histories[i];
  }
}

// What the event keeps of a row is a rounding unit, which nobody is charged for.
TEST(Hidden_reductions, a_full_row_of_signs_is_not_charged) {
  State_study study({.noccas = 2, .captures = "x", .by_cohort = false});
  study.draw(3);
  for (int a = 1; a <= 2; ++a) study.set("Delta", a, a, 1.0);
  study.record("A0", {1.0F});
  study.record("x0", {0.0F}, {1.0F});
  study.model.finish();
  study.model.func(study.reals);
  EXPECT_EQ(study.model.value.sumpen, 0.0);
  EXPECT_NEAR(study.probabilities(true)[1], 2.220446049250313e-16, 1e-30);
}

// The rule of over-full rows holds for rows of signs and for shares at a release, too.
TEST(Hidden_charges, over_full_rows_of_signs_and_of_shares_are_charged_in_serial_runs) {
  for (const bool shares : {false, true}) {
    State_study study(
        {.noccas = 2, .states = "ABC", .captures = "xyz", .by_cohort = false, .certain = false});
    study.draw(3);
    const int x = 4, y = 5;
    if (shares) {
      study.set("pi", 1, 1, 0.7);
      study.set("pi", 2, 1, 0.5);
    } else {
      study.set("Delta", 2, x, 0.7);
      study.set("Delta", 2, y, 0.5);
    }
    study.record("0z", {0.0F}, {1.0F});
    study.model.finish();
    double expected = 0.0;
    for (int a = 1; a <= 3; ++a) {
      const double share = shares && a == 3 ? 2.220446049250313e-16 : study.starts_in(a, 2),
                   sign = !shares && a == 2 ? 2.220446049250313e-16 : study.captured(a, 2, 2).at('z');
      expected += share * sign;
    }
    EXPECT_NEAR(study.probabilities(true)[0], expected, 1e-15);
    study.model.func(study.reals);
    EXPECT_NEAR(study.model.value.sumpen, 0.8 + 2e6 * std::max(expected - 1.0, 0.0), 1e-9);
    study.model.force_threads(2);
    study.model.func(study.reals);
    EXPECT_NEAR(study.model.value.sumpen, 2e6 * std::max(expected - 1.0, 0.0), 1e-9);
  }
}

TEST(Hidden_reductions, one_event_and_equal_rates_are_live_recaptures) {
  State_study study({.noccas = 4, .captures = "u", .certain = false}),
      live({.type = 1, .noccas = 4, .states = "1"});
  study.draw(4);
  for (int f = 1; f < 4; ++f)
    for (int c = f; c < 4; ++c) {
      for (const char* name : {"S", "p"}) study.real(name, 2, 1, f, c) = study.real(name, 1, 1, f, c);
      live.real("Phi", 1, 1, f, c) = study.real("S", 1, 1, f, c);
      live.real("p", 1, 1, f, c) = study.real("p", 1, 1, f, c);
    }
  for (const std::string& cells : all_histories(4, "u")) {
    study.record(cells, {1.0F});
    std::string met = cells;
    std::replace(met.begin(), met.end(), 'u', '1');
    live.record(met, {1.0F});
  }
  study.model.finish();
  live.model.finish();
  const std::vector<double> got = study.probabilities(), expected = live.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], expected[i], 1e-15) << study.histories[i];
}

TEST(Hidden_reductions, one_state_shares_captures_out_to_the_signs) {
  State_study study({.noccas = 3, .states = "A", .captures = "xy"}),
      live({.type = 1, .noccas = 3, .states = "1"});
  study.draw(5);
  for (int f = 1; f < 3; ++f)
    for (int c = f; c < 3; ++c) {
      live.real("Phi", 1, 1, f, c) = study.real("S", 1, 1, f, c);
      live.real("p", 1, 1, f, c) = study.real("p", 1, 1, f, c);
    }
  for (const std::string& cells : all_histories(3, "1")) live.record(cells, {1.0F});
  for (const std::string& cells : all_histories(3, "Axy")) study.record(cells, {1.0F});
  study.model.finish();
  live.model.finish();
  std::map<std::string, double> sums;
  const std::vector<double> got = study.probabilities(), expected = live.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) {
    std::string pattern = study.histories[i];
    for (char& sign : pattern) sign = sign == '0' ? '0' : '1';
    sums[pattern] += got[i];
  }
  for (std::size_t i = 0; i < expected.size(); ++i)
    EXPECT_NEAR(sums.at(live.histories[i]), expected[i], 1e-14);
}

TEST(Hidden_reductions, events_change_places_with_their_matrices) {
  const State_layout layout{.noccas = 3, .captures = "xyz", .by_cohort = false};
  State_study study(layout), other(layout);
  study.draw(6);
  other.draw(6);
  for (int a = 1; a <= 2; ++a)
    for (int o = 1; o <= 3; ++o) std::swap(other.real("Delta", a, 3, 1, o), other.real("Delta", a, 4, 1, o));
  for (const std::string& cells : all_histories(3, "ABxyz")) {
    study.record(cells, {1.0F});
    std::string swapped = cells;
    for (char& sign : swapped) sign = sign == 'x' ? 'y' : sign == 'y' ? 'x' : sign;
    other.record(swapped, {1.0F});
  }
  study.model.finish();
  other.model.finish();
  const std::vector<double> got = study.probabilities(), expected = other.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], expected[i], 1e-15) << study.histories[i];
}

/// A sign of which there is no matrix is not given.
TEST(Hidden_reductions, a_missing_sign_is_none) {
  State_study study({.noccas = 2, .captures = "xy"}), without({.noccas = 2, .captures = "xy"});
  without.model.job().model.pim2(findpar(without.model.job().data, "Delta"), 2, 3, 1) = {};
  for (State_study* each : {&study, &without})
    for (const char* cells : {"A0", "xy", "By", "yx", "x0"}) each->record(cells, {1.0F}, {1.0F});
  study.draw(7);
  without.draw(7);
  study.set("Delta", 2, 3, 0.0);
  study.model.finish();
  without.model.finish();
  EXPECT_EQ(study.probabilities(), without.probabilities());
}

TEST(Hidden_faults, an_event_that_no_share_explains) {
  State_study study({.noccas = 2, .captures = "x", .pi = false});
  study.record("A0", {1.0F});
  study.record("x0", {1.0F});
  study.draw(8);
  study.model.finish();
  const std::string end = stop_text([&] { study.model.func(study.reals); });
  EXPECT_FALSE(end.empty());
  EXPECT_NE(study.model.test.listing().find("The encounter history \"x0\" begins with an event"),
            std::string::npos);
}

}  // namespace
}  // namespace tarn
