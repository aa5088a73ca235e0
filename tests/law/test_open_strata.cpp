// Robust designs of strata with open sessions: 32, 119 and 103.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "support/session_lives.h"

namespace tarn {
namespace {

struct Case {
  int type;
  std::string codes;
  std::vector<int> lengths;
};
void PrintTo(const Case& c, std::ostream* out) {
  *out << c.type << " " << c.codes << " " << c.lengths.size();
}

class Open_strata_laws : public testing::TestWithParam<Case> {};

TEST_P(Open_strata_laws, histories_are_those_of_animals_followed_one_by_one) {
  const auto& [type, codes, lengths] = GetParam();
  const std::vector<Session_options> all_options{{},
                                                 {.between = {0.5F, 2.5F, 3.0F}, .by_cohort = true},
                                                 {.between = {2.0F}, .pentfirst = 0},
                                                 {.by_cohort = true, .all_pent = true}};
  for (const Session_options& options : all_options)
    for (const std::string& dots : {std::string(), std::string("_.__."), std::string("__.__"),
                                    std::string("..___"), std::string("___..")}) {
      Session_study study(type, lengths, codes, options);
      for (const std::string& cells : all_records(lengths, kinds_of_signs(type, codes), dots))
        if (!never_caught(cells)) study.record(cells, 2.0F, 1.0F);
      study.draw(1);
      study.model.finish();
      for (const unsigned seed : {2U, 3U}) {
        study.draw(seed);
        const Open_lives lives(study);
        const std::vector<double> observed = study.probabilities(), lost = study.probabilities(true);
        std::map<std::pair<int, int>, double> sums;
        std::map<std::string, double> same_until;
        for (std::size_t i = 0; i < observed.size(); ++i) {
          const std::string& cells = study.histories[i];
          // Some hundred sums of products.
          EXPECT_NEAR(observed[i], lives.chance(cells), 1e-14) << cells;
          EXPECT_NEAR(lost[i], lives.chance(cells, true), 1e-14) << cells;
          const int fs = type == 103 ? 0 : lives.first_session(cells),
                    m = type == 119 ? 0 : lives.stratum(cells);
          sums[{fs, m}] += observed[i];
          for (std::size_t k = 0; k < cells.size(); ++k)
            if (cells[k] != '0' && cells[k] != '.') same_until[cells.substr(0, k + 1)] += observed[i];
        }
        for (const auto& [of, sum] : sums) EXPECT_NEAR(sum, 1.0, 1e-12) << of.first << " " << of.second;
        // A removed animal might have shown anything later.
        for (std::size_t i = 0; i < lost.size(); ++i) {
          const std::string& cells = study.histories[i];
          const std::string until = cells.substr(0, cells.find_last_not_of("0.") + 1);
          EXPECT_NEAR(lost[i], same_until.at(until), 1e-12) << cells;
        }
        // Counts of what happened, where they stand for histories.
        const double by_counts = study.model.func(study.reals);
        EXPECT_EQ(study.model.value.sumpen, 0.0);
        study.model.force_histories();
        EXPECT_NEAR(study.model.func(study.reals), by_counts, 1e-13 * std::abs(by_counts));
        study.model.set_threads(1);
      }
    }
}

INSTANTIATE_TEST_SUITE_P(types, Open_strata_laws,
                         testing::Values(Case{32, "A", {2, 3}}, Case{32, "AB", {2, 1, 2}},
                                         Case{32, "XYZ", {3, 2}}, Case{32, "AB", {5}},
                                         Case{119, "AB", {2, 1, 2}}, Case{119, "XYZ", {2, 3}},
                                         Case{103, "AB", {2, 1, 2}}, Case{103, "XYZ", {3, 2}},
                                         Case{103, "A", {1, 1, 3}}, Case{103, "AB", {5}}));

/// The rates of the worked example.
void worked(Session_study& study) {
  study.draw(1);
  const auto set = [&](const char* name, int a, int b, const std::vector<double>& values) {
    if (!study.has(name)) return;
    for (std::size_t k = 0; k < values.size(); ++k)
      study.rate(name, a, b, 1, static_cast<int>(k) + 1) = values[k];
  };
  set("S", 1, 1, {0.8}), set("S", 2, 1, {0.7});
  set("Psi", 1, 2, {0.3}), set("Psi", 2, 1, {0.2});
  set("p", 1, 1, {0.5, 0.6}), set("p", 2, 1, {0.4, 0.3});
  set("p", 1, 2, {0.45, 0.55}), set("p", 2, 2, {0.35, 0.25});
  set("pent", 1, 1, {0.4}), set("pent", 2, 1, {0.3}), set("pent", 1, 2, {0.5}), set("pent", 2, 2, {0.2});
  set("Phi", 1, 1, {0.7}), set("Phi", 2, 1, {0.6}), set("Phi", 1, 2, {0.8}), set("Phi", 2, 2, {0.5});
  set("Omega", 1, 1, {0.55});
  set("Gamma", 1, 1, {0.75}), set("Gamma", 2, 1, {0.6});
}

void expect_worked(int type, const std::map<std::string, double>& expected) {
  Session_study study(type, {2, 2}, "AB");
  for (const auto& [cells, prob] : expected) study.record(cells);
  worked(study);
  study.model.finish();
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], expected.at(study.histories[i]), 1e-10) << study.histories[i];
}

const std::map<std::string, double>& first_in_a() {
  static const std::map<std::string, double> all{
      {"AAAA", 0.0104886486}, {"AAA0", 0.0133491892}, {"AA0A", 0.0419545946}, {"AABB", 0.0015891892},
      {"AAB0", 0.0111243243}, {"AA0B", 0.0052216216}, {"AA00", 0.1054616216}, {"A0AA", 0.0144843243},
      {"A0A0", 0.0184345946}, {"A00A", 0.0579372973}, {"A0BB", 0.0021945946}, {"A0B0", 0.0153621622},
      {"A00B", 0.0072108108}, {"A000", 0.1456374775}, {"0AAA", 0.0304670270}, {"0AA0", 0.0387762162},
      {"0A0A", 0.1218681081}, {"0ABB", 0.0046162162}, {"0AB0", 0.0323135135}, {"0A0B", 0.0151675676},
      {"0A00", 0.3063409009}};
  return all;
}

TEST(Open_strata_worked, given_the_first_stratum) { expect_worked(32, first_in_a()); }

TEST(Open_strata_worked, state_probabilities) {
  std::map<std::string, double> expected;
  for (const auto& [cells, prob] : first_in_a()) expected[cells] = 0.6462369006 * prob;
  expected["BB00"] = 0.0;
  Session_study study(119, {2, 2}, "AB"), given(32, {2, 2}, "AB");
  for (Session_study* each : {&study, &given}) {
    for (const auto& [cells, prob] : expected) each->record(cells);
    worked(*each);
    each->model.finish();
  }
  const std::vector<double> got = study.probabilities(), without = given.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) {
    const bool a = study.histories[i] != "BB00";
    EXPECT_NEAR(got[i], (a ? 0.6462369006 : 0.3537630994) * without[i], 1e-10) << study.histories[i];
    EXPECT_TRUE(!a || std::abs(got[i] - expected.at(study.histories[i])) < 1e-10) << study.histories[i];
  }
}

TEST(Open_strata_worked, seniority) {
  expect_worked(103, {{"AAAA", 0.0067794819},
                      {"AA00", 0.0681665659},
                      {"00AA", 0.0563767985},
                      {"00A0", 0.0717522890},
                      {"000A", 0.2255071940},
                      {"BB00", 0.0452244866},
                      {"00BB", 0.0373992173},
                      {"00B0", 0.2617945211},
                      {"000B", 0.1228831426}});
}

/// The same records and shared rates in both studies, all records of the lengths and codes of the first.
void expect_same(Session_study& study, Session_study& other, const std::function<void()>& set) {
  std::vector<int> lengths;
  for (int s = 1; s <= study.sessions(); ++s) lengths.push_back(study.length(s));
  for (const std::string& cells : all_records(lengths, kinds_of_signs(study.type(), study.codes()), {}))
    if (!never_caught(cells)) study.record(cells, 1.0F, 1.0F), other.record(cells, 1.0F, 1.0F);
  study.draw(5), other.draw(6);
  other.copy(study);
  set();
  study.model.finish(), other.model.finish();
  for (const bool lost : {false, true}) {
    const std::vector<double> a = study.probabilities(lost), b = other.probabilities(lost);
    for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], 1e-14) << study.histories[i];
  }
}

/// Nobody comes late or leaves early: a closed session in which recaptures are like captures.
void close(Session_study& open, Session_study& closed) {
  open.fill("pent", 0.0), open.fill("Phi", 1.0);
  for (int s = 1; s <= closed.sessions(); ++s)
    for (int a = 1; a <= closed.strata(); ++a)
      for (int j = 2; j <= closed.length(s); ++j)
        closed.rate("c", a, s, 1, j - 1) = closed.rate("p", a, s, 1, j);
}

TEST(Open_strata_reductions, closed_sessions) {
  for (const auto& [open_type, closed_type] : {std::pair(32, 34), std::pair(119, 104)}) {
    Session_study open(open_type, {3, 1, 2}, "AB", {.between = {2.0F}, .by_cohort = true}),
        closed(closed_type, {3, 1, 2}, "AB", {.between = {2.0F}, .by_cohort = true});
    expect_same(open, closed, [&] { close(open, closed); });
  }
}

TEST(Open_strata_reductions, shares_that_weigh_captures_out) {
  Session_study study(119, {2, 2}, "XYZ"), given(32, {2, 2}, "XYZ");
  for (Session_study* each : {&study, &given}) {
    for (const char* cells : {"X000", "YYX0", "0Z00", "00ZZ", "000X"}) each->record(cells);
    each->draw(7);
  }
  given.copy(study);
  const Session_lives lives(study);
  for (const int s : {1, 2}) {
    double all = 0.0;
    for (int a = 1; a <= 3; ++a) all += 1.0 / (1.0 - lives.misses("0000", s, a).first);
    for (int a = 1; a <= 2; ++a)
      study.rate("Omega", a, 1, 1, s) = 1.0 / (1.0 - lives.misses("0000", s, a).first) / all;
  }
  study.model.finish(), given.model.finish();
  const std::vector<double> got = study.probabilities(), without = given.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], without[i] / 3.0, 1e-15);
}

/// One stratum and sessions of one occasion: Pradel's model of seniority.
TEST(Open_strata_reductions, one_stratum_grows_as_a_population_does) {
  Session_study study(103, {1, 1, 1, 1}, "1", {.between = {1.0F, 2.5F, 0.5F}});
  Model_builder pradel(15, 4);
  pradel.intervals({1.0F, 2.5F, 0.5F});
  for (unsigned bits = 1; bits < 16; ++bits) {
    study.record(binary_history(bits, 4), 1.0F, 1.0F);
    pradel.record(binary_history(bits, 4), {1.0F}, {0.0F});
  }
  int number = 0;
  std::map<std::string, std::vector<int>> numbers;
  for (const std::string& name : parmlist(15))
    pradel.pim(findpar(pradel.job().data, name), 1, "SQUARE", 1, name == "p" ? 4 : 3, [&](int, int) {
      numbers[name].push_back(++number);
      return number;
    });
  pradel.job().model.nlink = Link::identity;
  study.draw(8);
  std::vector<double> reals(static_cast<std::size_t>(number));
  const auto set = [&](const char* name, int c, double value) {
    reals[static_cast<std::size_t>(numbers.at(name)[static_cast<std::size_t>(c) - 1]) - 1] = value;
  };
  for (int c = 1; c <= 3; ++c) {
    set("Phi", c, study.rate("S", 1, 1, 1, c));
    set("Gamma", c, study.rate("Gamma", 1, 1, 1, c));
  }
  for (int s = 1; s <= 4; ++s) set("p", s, study.rate("p", 1, s, 1, 1));
  study.model.finish(), pradel.finish();
  Array2<double> observed, lost;
  cell_probabilities(pradel.job(), reals, observed, lost);
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], observed(static_cast<int>(i) + 1, 1), 1e-15) << study.histories[i];
}

/// Animals of which all were in the population before are first met late only if missed before.
TEST(Open_strata_reductions, without_entrants) {
  Session_study study(103, {2, 1, 2}, "AB");
  study.record("0000A"), study.record("00B00"), study.record("A0000");
  study.draw(9);
  study.fill("Gamma", 1.0), study.fill("Psi", 0.0);
  study.model.finish();
  const Open_lives lives(study);
  double all[3] = {}, total[3] = {};
  for (int a = 1; a <= 2; ++a) {
    double unmet = 1.0, size = 1.0;
    for (int s = 1; s <= 3; ++s) {
      const double star = lives.star("00000", s, a);
      all[s - 1] = size * unmet * star;
      total[a] += all[s - 1];
      unmet *= 1.0 - star;
      if (s < 3) size *= study.rate("S", a, 1, 1, s);
    }
    const auto at = [&](int s) { return all[s - 1] / total[a]; };
    if (a == 1) {
      EXPECT_NEAR(study.probabilities()[0], at(3) * lives.within("0000A", 3, 1) / lives.star("00000", 3, 1),
                  1e-15);
    } else {
      EXPECT_NEAR(study.probabilities()[1], at(2) * lives.after("00B00", 2, 2, 1, 3), 1e-15);
    }
  }
}

/// Records of one data set that were sampled on different occasions, few or many of them alike.
TEST(Open_strata_samplings, each_record_has_its_own) {
  for (const int type : {32, 119, 103}) {
    Session_study study(type, {2, 3, 1}, "AB");
    for (const std::string& dots : {std::string(), std::string("_.____"), std::string("__._._"),
                                    std::string("..____"), std::string("_____."), std::string("__....")})
      for (const std::string& cells : all_records({2, 3, 1}, kinds_of_signs(type, "AB"), dots))
        if (!never_caught(cells)) study.record(cells, 1.0F, 1.0F);
    study.record("A..0.B", 1.0F, 1.0F);
    study.draw(16);
    study.model.finish();
    const Open_lives lives(study);
    const std::vector<double> observed = study.probabilities(), lost = study.probabilities(true);
    for (std::size_t i = 0; i < observed.size(); ++i) {
      EXPECT_NEAR(observed[i], lives.chance(study.histories[i]), 1e-14) << study.histories[i];
      EXPECT_NEAR(lost[i], lives.chance(study.histories[i], true), 1e-14) << study.histories[i];
    }
    const double by_counts = study.model.func(study.reals);
    study.model.force_histories();
    EXPECT_NEAR(study.model.func(study.reals), by_counts, 1e-13 * std::abs(by_counts));
  }
}

/// Reals by group: every group has its own numbers.
TEST(Open_strata_groups, each_has_its_own_rates) {
  for (const int type : {32, 119, 103}) {
    Session_study study(type, {2, 2}, "AB", {.groups = 2});
    for (const char* cells : {"A000", "BBA0", "0A0B", "00BB", "000A"})
      study.record(cells, {1.0F, 2.0F}, {1.0F, 3.0F});
    study.draw(10);
    study.model.finish();
    for (const int g : {1, 2}) {
      Session_study alone(type, {2, 2}, "AB");
      for (const char* cells : {"A000", "BBA0", "0A0B", "00BB", "000A"}) alone.record(cells, 1.0F, 1.0F);
      alone.draw(11);
      alone.copy(study, g);
      alone.model.finish();
      EXPECT_EQ(study.probabilities(false, g), alone.probabilities()) << type;
      EXPECT_EQ(study.probabilities(true, g), alone.probabilities(true)) << type;
    }
  }
}

TEST(Open_strata_charges, transitions_above_1) {
  for (const int type : {32, 119, 103}) {
    Session_study study(type, {2, 3, 1}, "ABC", {.by_cohort = false});
    study.record("00A000");
    study.draw(12);
    study.fill("Psi", 1, 2, 0.0), study.fill("Psi", 1, 3, 0.0);
    study.rate("Psi", 3, 1, 1, 2) = 0.75, study.rate("Psi", 3, 2, 1, 2) = 0.5;  // twice -.25
    study.rate("Psi", 2, 1, 1, 1) = 1.0, study.rate("Psi", 2, 3, 1, 1) = 1.0;   // twice -1, ahead of it
    study.model.finish();
    // Of -2 log likelihood, so twice what is cut off.
    const double expected = 2.0 * (0.5 + (type == 103 ? 2.0 : 0.0));
    EXPECT_NEAR(charged_in_serial_runs(study), expected, 1e-12) << type;
  }
}

/// The same where only the chance of the first capture reads them.
TEST(Open_strata_charges, transitions_above_1_ahead_of_the_first_capture) {
  Session_study study(103, {2, 3, 1}, "AB");
  study.record("00A000");
  study.draw(12);
  study.rate("Psi", 2, 1, 1, 1) = 1.5;  // twice -.5
  study.model.finish();
  EXPECT_NEAR(charged_in_serial_runs(study), 2.0, 1e-12);
}

/// Arrivals that sum to more than 1 leave chances outside 0 to 1, which every run is charged for.
TEST(Open_strata_charges, arrivals_above_1) {
  for (const int threads : {1, 2}) {
    Session_study study(32, {3, 1}, "A");
    study.record("A000");
    study.draw(12);
    study.fill("pent", 0.75);
    study.model.finish();
    study.model.force_threads(threads);
    study.model.func(study.reals);
    EXPECT_GT(study.model.value.sumpen, 1e4);
  }
}

/// A session in which no animal of the stratum can be caught leaves nothing to be told of a capture there.
TEST(Open_strata_edges, captures_that_cannot_be) {
  Session_study study(32, {2, 2}, "AB");
  study.record("A000"), study.record("00A0");
  study.draw(13);
  study.fill("p", 1, 1, 0.0);
  study.model.finish();
  const double after = study.probabilities()[0] / minlog;
  EXPECT_GT(after, 0.0);
  EXPECT_LE(after, 1.0);
  for (const int type : {119, 103}) {
    Session_study shares(type, {2, 2}, "AB");
    shares.record("A000"), shares.record("00A0");
    shares.draw(14);
    shares.fill("p", 0.0);
    shares.model.finish();
    for (const double prob : shares.probabilities()) EXPECT_LE(prob, minlog);
  }
}

/// One sampled occasion leaves one pattern only.
TEST(Open_strata_edges, one_occasion_sampled_is_certain) {
  Session_study study(32, {3}, "AB");
  study.record(".A."), study.record("B..", 0.0F, 1.0F);
  study.draw(15);
  study.model.finish();
  EXPECT_EQ(study.probabilities()[0], 1.0);
  EXPECT_EQ(study.probabilities(true)[1], 1.0);
}

}  // namespace
}  // namespace tarn
