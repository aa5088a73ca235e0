// Laws of live captures, resightings and recoveries by state (data types 176, 179, 180): sums, agreement with
// an enumeration of what may have happened, reductions, worked numbers.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/state_laws.h"

namespace tarn {
namespace {

/// All that an animal first caught on occasion f may go through, one way after the other.
class Resighted : public Released_animals {
 public:
  Resighted(State_study& study, int f, int from, const Dots& dots, int g)
      : Released_animals(study, f, dots, g), moves_first_(study.layout.type == 180) {
    release(from, [&](int a, double share, char sign, const std::string& cells) {
      captured(f, a, share, sign, cells);
    });
  }

 private:
  void captured(int o, int a, double share, char sign, std::string cells) {
    cells[study_.at(o)] = sign;
    behind(o, a, share, cells);
  }
  /// Alive in state a right behind occasion o.
  void behind(int o, int a, double share, const std::string& cells) {
    if (!moves_first_) return interval(o, a, share, cells);
    for (int b = 1; b <= study_.strata(); ++b) interval(o, b, share * study_.moves(a, b, f_, o, g_), cells);
  }
  /// In state a during interval c.
  void interval(int c, int a, double share, const std::string& cells) {
    const double s = study_.survival(a, f_, c, g_), r = study_.rate("r", a, f_, c, g_),
                 seen = study_.within("R", a, f_, c, g_), seen_before = study_.within("R'", a, f_, c, g_);
    const auto with = [&](char sign) {
      std::string more = cells;
      more[study_.at(c) + 1] = sign;
      return more;
    };
    for (const auto& [sign, chance] : study_.recovery(a, f_, c, g_))
      made_.add(with(sign), share * (1.0 - s) * r * chance);
    for (const auto& [sign, chance] : study_.resighting(a, f_, c, false, g_))
      made_.add(with(sign), share * (1.0 - s) * (1.0 - r) * seen_before * chance);
    made_.add(cells, share * (1.0 - s) * (1.0 - r) * (1.0 - seen_before));
    for (const auto& [sign, chance] : study_.resighting(a, f_, c, true, g_))
      ahead(c, a, share * s * seen * chance, with(sign));
    ahead(c, a, share * s * (1.0 - seen), cells);
  }
  /// Alive at the end of interval c, in which it was in state a.
  void ahead(int c, int a, double share, const std::string& cells) {
    if (c == study_.noccas()) return made_.add(cells, share);
    for (int b = 1; b <= study_.strata(); ++b) {
      if (moves_first_ && b != a) continue;
      const double there = moves_first_ ? share : share * study_.moves(a, b, f_, c, g_);
      if (dots_.at(c + 1)) {
        behind(c + 1, b, there, cells);
        continue;
      }
      const double p = study_.caught(b, f_, c + 1, g_);
      behind(c + 1, b, there * (1.0 - p), cells);
      for (const auto& [sign, chance] : study_.captured(b, f_, c + 1, g_))
        captured(c + 1, b, there * p * chance, sign, cells);
    }
  }

  bool moves_first_;
};

bool found_dead(const State_study& study, const std::string& cells) {
  const std::string& states = study.layout.states;
  for (std::size_t k = 1; k < cells.size(); k += 2) {
    const char sign = cells[k];
    if (sign == '0' || states.find(sign) != std::string::npos) continue;
    if (study.layout.type == 176 ? sign != 'U' : study.layout.resightings.find(sign) == std::string::npos)
      return true;
  }
  return false;
}

struct Case {
  std::string name;
  State_layout layout;
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name << " " << c.layout.type; }

class Strata_barker_laws : public testing::TestWithParam<std::tuple<int, Case>> {};

TEST_P(Strata_barker_laws, histories_are_those_of_animals_followed_one_by_one) {
  State_layout layout = std::get<1>(GetParam()).layout;
  layout.type = std::get<0>(GetParam());
  for (const auto& [dots, lengths] : {std::pair(std::string(), std::vector<float>()),
                                      std::pair(std::string("_."), std::vector<float>{0.5F, 2.5F}),
                                      std::pair(std::string("._"), std::vector<float>{2.0F, 0.5F})}) {
    layout.lengths = lengths;
    State_study study(layout);
    expect_histories_of(study, sets_of_releases<Resighted>(study, dots),
                        [&](const std::string& cells) { return !found_dead(study, cells); });
  }
}

INSTANTIATE_TEST_SUITE_P(
    recognised_or_not, Strata_barker_laws,
    testing::Combine(
        testing::Values(176),
        testing::Values(Case{"one state", {.noccas = 3, .states = "A"}},
                        Case{"two states, two groups", {.noccas = 2, .groups = 2}},
                        Case{"two states, three occasions", {.noccas = 3}},
                        Case{"three states", {.noccas = 2, .states = "XYZ"}},
                        Case{"Delta without a column for the first occasion",
                             {.noccas = 3, .by_cohort = false, .delta_less = 1, .pi_columns = 1}},
                        Case{"the same by cohort", {.noccas = 3, .delta_less = 0, .pi_columns = 2}},
                        Case{"states at release without a matrix", {.noccas = 3, .pi = false}})));

INSTANTIATE_TEST_SUITE_P(
    events, Strata_barker_laws,
    testing::Combine(
        testing::Values(179, 180),
        testing::Values(
            Case{"one state",
                 {.noccas = 3, .states = "A", .captures = "x", .resightings = "v", .recoveries = "k"}},
            Case{"two states, two groups",
                 {.noccas = 2, .captures = "xy", .resightings = "v", .recoveries = "k", .groups = 2}},
            Case{"one event a list, the own codes alone",
                 {.noccas = 3, .captures = "x", .resightings = "v", .recoveries = "k", .own_alone = true}},
            Case{"matrices turned, no event of recoveries",
                 {.noccas = 3, .captures = "xy", .resightings = "vw", .by_cohort = false, .turned = true}},
            Case{"no event at all", {.noccas = 3}},
            Case{"events alone",
                 {.noccas = 2, .captures = "xyz", .resightings = "vw", .recoveries = "jk", .certain = false}},
            Case{"signs that serve in several lists",
                 {.noccas = 2, .captures = "xyz", .resightings = "yx", .recoveries = "zk"}},
            Case{"three states",
                 {.noccas = 2, .states = "XYZ", .captures = "q", .resightings = "v", .recoveries = "k"}},
            Case{"Psi with a column for the last interval, Delta without the first",
                 {.noccas = 3,
                  .captures = "x",
                  .resightings = "v",
                  .recoveries = "k",
                  .by_cohort = false,
                  .delta_less = 1,
                  .pi_columns = 1,
                  .psi_more = 1}},
            Case{"states at release without a matrix",
                 {.noccas = 3, .captures = "xy", .resightings = "v", .recoveries = "k", .pi = false}})));

void set_worked_rates(State_study& study) {
  for (const auto& [a, s, p, r1, r2, r] :
       {std::tuple(1, 0.8, 0.5, 0.3, 0.15, 0.35), std::tuple(2, 0.7, 0.4, 0.25, 0.1, 0.2)}) {
    study.set("S", a, 1, s);
    study.set("p", a, 1, p);
    study.set("R", a, 1, r1);
    study.set("R'", a, 1, r2);
    study.set("r", a, 1, r);
  }
  study.set("Psi", 1, 2, 0.3);
  study.set("Psi", 2, 1, 0.2);
  if (study.layout.pi) study.set("pi", 1, 1, 0.6);
}

/// States recognised or not.
State_study worked(bool pi) {
  State_study study({.type = 176, .noccas = 2, .by_cohort = false, .pi = pi});
  set_worked_rates(study);
  for (const auto& [a, delta, rho, rho_prime, b] :
       {std::tuple(1, 0.9, 0.8, 0.6, 0.85), std::tuple(2, 0.75, 0.7, 0.5, 0.65)}) {
    study.set("Delta", a, 1, delta);
    study.set("rho", a, 1, rho);
    study.set("rho'", a, 1, rho_prime);
    study.set("b", a, 1, b);
  }
  return study;
}

void expect_worked(State_study& study, const std::map<std::string, double>& expected) {
  for (const auto& [cells, prob] : expected) study.record(cells, {1.0F});
  study.model.finish();
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], expected.at(study.histories[i]), 1e-10) << study.histories[i];
}

TEST(Strata_barker_worked, states_recognised_or_not) {
  State_study study = worked(true);
  expect_worked(
      study, {{"A000", 0.1709698320}, {"U000", 0.0627899730}, {"Aa00", 0.0321300000}, {"Ua00", 0.0035700000},
              {"Au00", 0.0056700000}, {"Uu00", 0.0027300000}, {"AU00", 0.0137519856}, {"UU00", 0.0049473309},
              {"AA00", 0.0444779424}, {"UA00", 0.0049419936}, {"AAB0", 0.0069144192}, {"UAB0", 0.0007682688},
              {"UBU0", 0.0008083162}, {"ABU0", 0.0},          {"A0A0", 0.0638691480}, {"U0A0", 0.0102646845},
              {"A0UU", 0.0011757312}, {"U0UU", 0.0004308318}, {"AUBb", 0.0000909792}, {"UUBb", 0.0000592488},
              {"A00u", 0.0022543920}, {"U00u", 0.0008348130}});
}

TEST(Strata_barker_worked, releases_without_pi) {
  State_study study = worked(false);
  expect_worked(study, {{"A000", 0.3166108000},
                        {"Aa00", 0.0595000000},
                        {"Au00", 0.0105000000},
                        {"AU00", 0.0254666400},
                        {"AA00", 0.0823665600},
                        {"AAB0", 0.0128044800},
                        {"A0A0", 0.1182762000},
                        {"A0UU", 0.0021772800},
                        {"AUBb", 0.0001684800},
                        {"A00u", 0.0041748000}});
}

/// The worked numbers of events are those of a release of which nothing is shown, with shares .6 and .4. A
/// release x shows it, so that the shares of the states are as .6 .3 to .4 .25; with pi such that they are as
/// .6 to .4 the numbers come out times the chance of x.
TEST(Strata_barker_worked, events_of_captures_resightings_and_recoveries) {
  const std::map<std::string, std::pair<double, double>> pieces{
      {"x000", {0.3651397800, 0.3745677500}}, {"xa00", {0.0294000000, 0.0245000000}},
      {"xk00", {0.0246000000, 0.0255000000}}, {"xv00", {0.0503859630, 0.0501976125}},
      {"xAx0", {0.0080034480, 0.0074698200}}, {"xvBb", {0.0002039040, 0.0001512000}},
      {"x0yv", {0.0067255524, 0.0066575775}}, {"x0Ak", {0.0014553000, 0.0016590000}},
      {"xBA0", {0.0012907125, 0.0}}};
  for (const int type : {179, 180}) {
    State_study study({.type = type,
                       .noccas = 2,
                       .captures = "xy",
                       .resightings = "v",
                       .recoveries = "k",
                       .by_cohort = false});
    set_worked_rates(study);
    // Positions: A B a b x y v k.
    for (const auto& [a, own, x, rho, rho_prime, b] :
         {std::tuple(1, 0.5, 0.3, 0.6, 0.3, 0.7), std::tuple(2, 0.4, 0.25, 0.55, 0.2, 0.5)}) {
      study.set("Delta", a, a, own);
      study.set("Delta", a, 5, x);
      study.set("rho", a, a, rho);
      study.set("rho'", a, a, rho_prime);
      study.set("b", a, a, b);
    }
    const double of_a = 0.6 / 0.3, of_b = 0.4 / 0.25, shown = 1.0 / (of_a + of_b);
    study.set("pi", 1, 1, of_a * shown);
    for (const auto& [cells, piece] : pieces) study.record(cells, {1.0F});
    study.model.finish();
    const std::vector<double> got = study.probabilities();
    for (std::size_t i = 0; i < got.size(); ++i) {
      const auto& piece = pieces.at(study.histories[i]);
      EXPECT_NEAR(got[i], shown * (type == 179 ? piece.first : piece.second), 1e-10) << study.histories[i];
    }
  }
}

/// In force with pi .6: a release weighs the states before it is used.
TEST(Strata_barker_worked, a_release_of_an_event_weighs_states) {
  for (const auto& [cells, a, b] : {std::tuple("x000", 0.18, 0.1), std::tuple("y000", 0.12, 0.14),
                                    std::tuple("A000", 0.3, 0.0), std::tuple("B000", 0.0, 0.16)}) {
    State_study study({.type = 179,
                       .noccas = 2,
                       .captures = "xy",
                       .resightings = "v",
                       .recoveries = "k",
                       .by_cohort = false});
    set_worked_rates(study);
    for (const auto& [state, own, x] : {std::tuple(1, 0.5, 0.3), std::tuple(2, 0.4, 0.25)}) {
      study.set("Delta", state, state, own);
      study.set("Delta", state, 5, x);
      // Nothing can happen any more.
      study.set("S", state, 1, 1.0);
      study.set("p", state, 1, 0.0);
      study.set("R", state, 1, 0.0);
    }
    study.record(cells, {1.0F});
    study.model.finish();
    EXPECT_NEAR(study.probabilities()[0], a + b, 1e-14) << cells;
  }
}

/// Every rate of a parameter, whatever its row, from a study with the same rows and columns.
void copy_rates(State_study& from, const std::string& name, State_study& to, const std::string& its_name,
                int a, int columns) {
  for (int f = 1; f <= columns; ++f)
    for (int c = f; c <= columns; ++c) to.real(its_name, a, 1, f, c) = from.real(name, a, 1, f, c);
}

TEST(Strata_barker_reductions, one_state_is_barkers_model_without_emigration) {
  for (const int type : {176, 179, 180}) {
    State_study study({.type = type, .noccas = 3, .states = "A", .lengths = {0.5F, 2.0F}});
    State_study barker({.type = 8, .noccas = 3, .states = "1", .lengths = {0.5F, 2.0F}});
    study.draw(11);
    for (const char* name : {"S", "r", "R", "R'"}) copy_rates(study, name, barker, name, 1, 3);
    copy_rates(study, "p", barker, "p", 1, 2);
    barker.set("F", 1, 1, 1.0);
    barker.set("F'", 1, 1, 0.3);
    if (type == 176)
      for (const char* name : {"Delta", "rho", "rho'", "b"}) study.set(name, 1, 1, 1.0);
    for (const char* cells :
         {"A00000", "A00a00", "AAAA0a", "00A00A", "0A0000", "A0A0A0", "AA0A0A", "00A0Aa", "A0000a"}) {
      if (cells[0] == '0' && cells[1] == 'A') continue;
      std::string met = cells;
      for (std::size_t k = 0; k < met.size(); ++k)
        if (met[k] == 'A')
          met[k] = k % 2 == 0 ? '1' : '2';
        else if (met[k] == 'a')
          met[k] = '1';
      study.record(cells, {1.0F}, {1.0F});
      barker.record(met, {1.0F}, {1.0F});
    }
    study.model.finish();
    barker.model.finish();
    for (const bool lost : {false, true}) {
      const std::vector<double> got = study.probabilities(lost), expected = barker.probabilities(lost);
      for (std::size_t i = 0; i < got.size(); ++i)
        if (!lost || !found_dead(study, study.histories[i])) {
          EXPECT_NEAR(got[i], expected[i], 1e-15) << type << " " << study.histories[i];
        }
    }
  }
}

TEST(Strata_barker_reductions, without_resightings_states_are_strata_with_recoveries) {
  for (const int type : {176, 179}) {
    State_study study({.type = type, .noccas = 3, .pi = false}), strata({.type = 21, .noccas = 3});
    study.draw(12);
    for (int a = 1; a <= 2; ++a) {
      for (const char* name : {"R", "R'"}) study.set(name, a, 1, 0.0);
      if (type == 176)
        for (const char* name : {"Delta", "rho", "rho'", "b"}) study.set(name, a, 1, 1.0);
      for (const char* name : {"S", "r"}) copy_rates(study, name, strata, name, a, 3);
      copy_rates(study, "p", strata, "p", a, 2);
      for (int f = 1; f < 3; ++f)
        for (int c = f; c < 3; ++c) strata.real("Psi", a, 3 - a, f, c) = study.real("Psi", a, 3 - a, f, c);
    }
    std::vector<double> both;
    for (const char* live : {"A00", "A0B", "AB0", "BBA", "00B", "0A0"})
      for (const char* code : {"", "a", "b"}) {
        std::string cells, met;
        for (int o = 0; o < 3; ++o) {
          const bool here = o == 2 && code[0] != '\0';
          cells += {live[o], here ? code[0] : '0'};
          met += {live[o], here ? '1' : '0'};
        }
        study.record(cells, {1.0F});
        strata.record(met, {1.0F});
      }
    study.model.finish();
    strata.model.finish();
    const std::vector<double> got = study.probabilities(), expected = strata.probabilities();
    for (std::size_t i = 0; i < got.size(); i += 3) {
      EXPECT_NEAR(got[i], expected[i], 1e-15) << study.histories[i];
      // The recovery tells the state, of which the other type knows nothing.
      EXPECT_NEAR(got[i + 1] + got[i + 2], expected[i + 1], 1e-15) << study.histories[i];
    }
  }
}

TEST(Strata_barker_reductions, an_event_a_list_is_a_state_not_recognised) {
  const std::vector<std::string> records{"U00000", "A0UUU0", "AAU0Bu", "UU00Ub", "B000A0", "UAA00a"};
  State_study one({.type = 176, .noccas = 3}),
      events({.type = 179, .noccas = 3, .captures = "x", .resightings = "v", .recoveries = "k"});
  one.draw(13);
  for (int a = 1; a <= 2; ++a) {
    for (const char* name : {"S", "r", "R", "R'"}) copy_rates(one, name, events, name, a, 3);
    copy_rates(one, "p", events, "p", a, 2);
    for (int f = 1; f < 3; ++f)
      for (int c = f; c < 3; ++c) events.real("Psi", a, 3 - a, f, c) = one.real("Psi", a, 3 - a, f, c);
    for (const char* name : {"Delta", "rho", "rho'", "b"})
      for (int f = 1; f <= 3; ++f)
        for (int c = f; c <= 3; ++c) events.real(name, a, a, f, c) = one.real(name, a, 1, f, c);
  }
  for (int o = 1; o <= 3; ++o) events.real("pi", 1, 1, 1, o) = one.real("pi", 1, 1, 1, o);
  for (const std::string& cells : records) {
    std::string other = cells;
    for (std::size_t k = 0; k < other.size(); ++k)
      if (other[k] == 'U')
        other[k] = k % 2 == 0 ? 'x' : 'v';
      else if (other[k] == 'u')
        other[k] = 'k';
    one.record(cells, {1.0F});
    events.record(other, {1.0F});
  }
  one.model.finish();
  events.model.finish();
  const std::vector<double> got = one.probabilities(), expected = events.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], expected[i], 1e-15) << one.histories[i];
}

TEST(Strata_barker_reductions, who_never_moves_does_not_care_when) {
  const State_layout layout{.type = 179, .noccas = 3, .captures = "x", .resightings = "v", .recoveries = "k"};
  State_layout first = layout;
  first.type = 180;
  State_study behind(layout), ahead(first);
  for (State_study* each : {&behind, &ahead}) {
    each->draw(14);
    each->set("Psi", 1, 2, 0.0);
    each->set("Psi", 2, 1, 0.0);
    for (const char* cells : {"x00000", "A0xvxk", "BvB000", "00x0Bb", "xAx00a"})
      each->record(cells, {1.0F}, {1.0F});
    each->model.finish();
  }
  for (const bool lost : {false, true}) {
    const std::vector<double> got = behind.probabilities(lost), expected = ahead.probabilities(lost);
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], expected[i], 1e-15) << behind.histories[i];
  }
}

TEST(Strata_barker_faults, a_release_that_no_share_explains) {
  State_study study({.type = 176, .noccas = 2, .pi = false});
  study.record("A000", {1.0F});
  study.record("U000", {1.0F});
  study.draw(15);
  study.model.finish();
  EXPECT_FALSE(stop_text([&] { study.model.func(study.reals); }).empty());
  EXPECT_NE(study.model.test.listing().find("The encounter history \"U000\" begins with an event"),
            std::string::npos);
}

}  // namespace
}  // namespace tarn
