// Laws of populations whose animals enter in one of several states (data types 183 and 185): sums, agreement
// with an enumeration of what may have happened, reductions, worked numbers.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/state_laws.h"

namespace tarn {
namespace {

/// All that an animal of the population may go through, one way after the other, those never caught among
/// them.
class Entered {
 public:
  Entered(State_study& study, Dots dots, int g = 1) : study_(study), g_(g), dots_(std::move(dots)) {
    for (int o = 1; o <= study.noccas(); ++o)
      for (int a = 1; a <= study.strata(); ++a)
        there(o, a, study.enters_at(o, g) * study.starts_in(a, o, g), dots_.empty(study));
  }
  Followed followed() const {
    const std::string unseen = dots_.empty(study_);
    return {made_, 1.0 - made_.at(unseen), unseen};
  }

 private:
  /// In state a on occasion o, ahead of what may be shown there.
  void there(int o, int a, double share, const std::string& cells) {
    if (dots_.at(o)) return behind(o, a, share, cells);
    const double p = study_.caught(a, 1, o, g_);
    behind(o, a, share * (1.0 - p), cells);
    for (const auto& [sign, chance] : study_.captured(a, 1, o, g_)) {
      std::string met = cells;
      met[study_.at(o)] = sign;
      behind(o, a, share * p * chance, met);
    }
  }
  void behind(int o, int a, double share, const std::string& cells) {
    if (o == study_.noccas()) return made_.add(cells, share);
    const double s = study_.survival(a, 1, o, g_);
    made_.add(cells, share * (1.0 - s));
    for (int b = 1; b <= study_.strata(); ++b)
      there(o + 1, b, share * s * study_.moves(a, b, 1, o, g_), cells);
  }

  State_study& study_;
  int g_;
  Dots dots_;
  State_records made_;
};

struct Case {
  std::string name;
  State_layout layout;
  bool last_left = false;  ///< the last share of entrants has no parameter
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name << " " << c.layout.type; }

class Strata_jolly_laws : public testing::TestWithParam<Case> {};

TEST_P(Strata_jolly_laws, histories_are_those_of_animals_followed_one_by_one) {
  State_layout layout = GetParam().layout;
  for (const bool unequal : {false, true}) {
    if (unequal) layout.lengths = {0.5F, 2.5F, 3.0F};
    State_study study(layout);
    study.model.job().model.pentfirst = GetParam().last_left ? 0 : 1;
    // Every pattern of dots has histories of its own, all of them in one data set.
    std::vector<Follow> sets;
    for (const std::string dots : {"", "__._", "_..", ".", "__.."})
      sets.push_back([&study, dots](int g) { return Entered(study, dots, g).followed(); });
    expect_histories_of(study, sets, [](const std::string&) { return true; });
  }
}

INSTANTIATE_TEST_SUITE_P(
    layouts, Strata_jolly_laws,
    testing::Values(
        Case{"one state", {.type = 183, .noccas = 4, .states = "A"}},
        Case{"two states", {.type = 183, .noccas = 4}},
        Case{"two states, two groups", {.type = 183, .noccas = 3, .groups = 2}},
        Case{"three states", {.type = 183, .noccas = 3, .states = "XYZ"}},
        Case{"the last entrants left over", {.type = 183, .noccas = 4}, true},
        Case{"p without the first occasion", {.type = 183, .noccas = 3, .p_less = 1}},
        Case{"one state", {.type = 185, .noccas = 3, .states = "A", .captures = "xy"}},
        Case{"two states, one event", {.type = 185, .noccas = 4, .captures = "u"}},
        Case{"two states, two events, two groups", {.type = 185, .noccas = 3, .captures = "xy", .groups = 2}},
        Case{"events alone, the matrices turned",
             {.type = 185, .noccas = 3, .captures = "xyz", .turned = true, .certain = false}},
        Case{"p and Delta without the first occasion",
             {.type = 185, .noccas = 3, .captures = "xy", .delta_less = 1, .p_less = 1}},
        Case{"the last entrants left over", {.type = 185, .noccas = 3, .captures = "xy"}, true},
        Case{"three states, two events", {.type = 185, .noccas = 3, .states = "XYZ", .captures = "ab"}}));

State_study worked(int type) {
  State_study study(type == 183 ? State_layout{.type = 183, .noccas = 3}
                                : State_layout{.type = 185, .noccas = 3, .captures = "xy", .certain = false});
  study.set("S", 1, 1, 0.8);
  study.set("S", 2, 1, 0.7);
  study.set("Psi", 1, 2, 0.3);
  study.set("Psi", 2, 1, 0.2);
  study.set_columns("p", 1, 1, {0.5, 0.6, 0.45});
  study.set_columns("p", 2, 1, {0.4, 0.3, 0.35});
  study.set_columns("pent", 1, 1, {0.3, 0.2});
  study.set_columns("pi", 1, 1, {0.6, 0.5, 0.3});
  if (type == 185) {
    study.set("Delta", 1, 3, 0.8);
    study.set("Delta", 2, 3, 0.3);
  }
  return study;
}

void expect_worked(int type, const std::map<std::string, double>& expected) {
  State_study study = worked(type);
  for (const auto& [cells, prob] : expected) study.record(cells, {1.0F});
  study.model.finish();
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], expected.at(study.histories[i]), 1e-10) << study.histories[i];
}

TEST(Strata_jolly_worked, states_known) {
  expect_worked(183,
                {{"00A", 0.1036622534}, {"00B", 0.1505849464}, {"0A0", 0.1632518299}, {"0AA", 0.0619570198},
                 {"0AB", 0.0206523399}, {"0B0", 0.0919632604}, {"0BA", 0.0078187387}, {"0BB", 0.0243249650},
                 {"A00", 0.1159762915}, {"A0A", 0.0164279977}, {"A0B", 0.0126812614}, {"AA0", 0.0546776464},
                 {"AAA", 0.0207511549}, {"AAB", 0.0069170516}, {"AB0", 0.0130753451}, {"ABA", 0.0011116690},
                 {"ABB", 0.0034585258}, {"B00", 0.0820394741}, {"B0A", 0.0050725045}, {"B0B", 0.0106573833},
                 {"BA0", 0.0072903529}, {"BAA", 0.0027668207}, {"BAB", 0.0009222736}, {"BB0", 0.0162715405},
                 {"BBA", 0.0013834103}, {"BBB", 0.0043039432}, {"A.B", 0.0309577148}});
}

TEST(Strata_jolly_worked, events) {
  expect_worked(185, {{"x00", 0.1173928754},
                      {"0x0", 0.1581904420},
                      {"00y", 0.1261419131},
                      {"xy0", 0.0199250614},
                      {"x0x", 0.0157339868},
                      {"0xy", 0.0270558005},
                      {"yyx", 0.0025404025},
                      {"yxy", 0.0029595429}});
}

TEST(Strata_jolly_reductions, codes_that_are_always_given_are_states_known) {
  State_study known({.type = 183, .noccas = 3}), hidden({.type = 185, .noccas = 3, .captures = "x"});
  known.draw(21);
  hidden.draw(22);
  for (int a = 1; a <= 2; ++a) {
    hidden.set("Delta", a, a, 1.0);
    for (int c = 1; c <= 3; ++c) {
      hidden.real("p", a, 1, 1, c) = known.real("p", a, 1, 1, c);
      if (a == 1) hidden.real("pi", 1, 1, 1, c) = known.real("pi", 1, 1, 1, c);
      if (c == 3) continue;
      hidden.real("S", a, 1, 1, c) = known.real("S", a, 1, 1, c);
      hidden.real("Psi", a, 3 - a, 1, c) = known.real("Psi", a, 3 - a, 1, c);
      if (a == 1) hidden.real("pent", 1, 1, 1, c) = known.real("pent", 1, 1, 1, c);
    }
  }
  for (const char* cells : {"A00", "0B0", "00A", "ABA", "A.B", "0BB", "..A"})
    for (State_study* each : {&known, &hidden}) each->record(cells, {1.0F}, {1.0F});
  known.model.finish();
  hidden.model.finish();
  for (const bool lost : {false, true}) {
    const std::vector<double> got = hidden.probabilities(lost), expected = known.probabilities(lost);
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], expected[i], 1e-14) << known.histories[i];
  }
}

// Who was there from the start is followed from a capture on as strata are.
TEST(Strata_jolly_reductions, behind_a_first_capture_nothing_tells_of_entries) {
  State_study population({.type = 183, .noccas = 3}), strata({.type = 9, .noccas = 3, .by_cohort = false});
  population.draw(23);
  for (int c = 1; c <= 2; ++c) {
    population.real("pent", 1, 1, 1, c) = 0.0;
    for (int a = 1; a <= 2; ++a) {
      strata.real("S", a, 1, 1, c) = population.real("S", a, 1, 1, c);
      strata.real("p", a, 1, 1, c) = population.real("p", a, 1, 1, c + 1);
      strata.real("Psi", a, 3 - a, 1, c) = population.real("Psi", a, 3 - a, 1, c);
    }
  }
  for (const char* cells : {"A00", "AA0", "A0B", "ABA", "0A0", "0AB"})
    for (State_study* each : {&population, &strata}) each->record(cells, {1.0F});
  population.model.finish();
  strata.model.finish();
  const std::vector<double> got = population.probabilities(), expected = strata.probabilities();
  for (const auto& [i, k] : {std::pair(1U, 0U), std::pair(2U, 0U), std::pair(3U, 0U), std::pair(5U, 4U)})
    EXPECT_NEAR(got[i] / got[k], expected[i] / expected[k], 1e-13) << population.histories[i];
}

// All are caught who are there: first captures on occasion 1 come in the shares of the entries.
TEST(Strata_jolly_reductions, certain_captures_show_the_entries) {
  State_study study({.type = 183, .noccas = 3});
  study.draw(24);
  study.set("p", 1, 1, 1.0);
  study.set("p", 2, 1, 1.0);
  for (const char* cells : {"A00", "AA0", "AB0", "AAA", "AAB", "ABA", "ABB"}) study.record(cells, {1.0F});
  study.model.finish();
  double sum = 0.0;
  for (const double prob : study.probabilities()) sum += prob;
  EXPECT_NEAR(sum, study.enters_at(1) * study.starts_in(1, 1), 1e-14);
}

// Nothing can be caught: the floor stands for the chance.
TEST(Strata_jolly_reductions, who_cannot_be_caught_has_the_floor) {
  for (const int type : {183, 185}) {
    State_study study({.type = type, .noccas = 3, .captures = type == 185 ? "x" : ""});
    study.draw(25);
    study.set("p", 1, 1, 0.0);
    study.set("p", 2, 1, 0.0);
    study.record("A00", {1.0F});
    study.record("0B.", {1.0F});
    study.model.finish();
    for (const double prob : study.probabilities()) EXPECT_EQ(prob, minlog) << type;
    EXPECT_NEAR(study.model.func(study.reals), -4.0 * std::log(minlog), 1e-9) << type;
  }
}

// A row of transitions that leaves nothing is charged in serial runs, those ahead of the first capture
// too.
TEST(Strata_jolly_charges, over_full_rows_ahead_of_a_first_capture_are_charged_in_serial_runs) {
  for (const int type : {183, 185}) {
    State_study study({.type = type, .noccas = 3, .states = "ABC", .captures = type == 185 ? "x" : ""});
    study.draw(26);
    study.real("Psi", 1, 2, 1, 1) = 0.7;
    study.real("Psi", 1, 3, 1, 1) = 0.5;
    study.record("00A", {1.0F});
    study.model.finish();
    study.model.func(study.reals);
    EXPECT_NEAR(study.model.value.sumpen, 0.8, 1e-12) << type;
    // And those behind it as well.
    study.real("Psi", 1, 2, 1, 2) = 0.7;
    study.real("Psi", 1, 3, 1, 2) = 0.6;
    study.record("0A0", {1.0F});
    study.model.job().data.encounters.observed(1, 1) = 0.0F;
    study.model.set_threads(1);
    study.model.func(study.reals);
    EXPECT_NEAR(study.model.value.sumpen, 0.8 + 1.2, 1e-9) << type;
    study.model.force_threads(2);
    study.model.func(study.reals);
    EXPECT_EQ(study.model.value.sumpen, 0.0) << type;
  }
}

}  // namespace
}  // namespace tarn
