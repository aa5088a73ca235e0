// Recoveries, known fate, nests, joint encounters and young survival through whole decks: expected counts
// under known parameters give them back.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "support/deck_run.h"
#include "support/joint_paths.h"

namespace tarn {
namespace {

std::string number(double x, const char* form = "%.9g") {
  char text[40];
  std::snprintf(text, sizeof text, form, x);
  return text;
}

/// A statement for every history of the table.
std::string records(const History_table& table, double released) {
  std::string text;
  for (const auto& [cells, prob] : table)
    if (prob > 0.0) text += cells + ' ' + number(released * prob) + ";\n";
  return text;
}

std::string data(const std::string& type, int occasions, const std::string& statements) {
  return "proc chmatrix occasions=" + std::to_string(occasions) + " groups=1 hist=2000 etype=" + type +
         ";\n" + statements;
}

struct Matrix {
  const char* parameter;
  int columns;
  std::string contents;  ///< "constant=1", "time=2"
};

/// Matrices of triangles, an identity design, and the end of the deck. `more` stands before the design.
std::string model(const std::vector<Matrix>& matrices, int reals, const std::string& link = "LOGIT",
                  const std::string& more = "") {
  std::string text = "proc estimate link=" + link + ";\nmodel={m};\n" + more;
  for (const Matrix& m : matrices)
    text += "group=1 " + std::string(m.parameter) + " rows=" + std::to_string(m.columns) +
            " cols=" + std::to_string(m.columns) + " triang " + m.contents + ";\n";
  const std::string n = std::to_string(reals);
  return text + "design matrix constraints=" + n + " covariates=" + n + " identity;\nproc stop;\n";
}

void expect_reals(const Deck_result& result, const std::vector<double>& expected) {
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  for (std::size_t k = 0; k < expected.size(); ++k)
    EXPECT_NEAR(result.real(static_cast<int>(k) + 1).estimate, expected[k], 1e-5) << "real " << k + 1;
}

/// Chances of a recovery study: `alive(c)` to live through interval c, `reported(c)` given life at its start.
struct Study {
  std::vector<double> alive, reported;
  int occasions() const { return static_cast<int>(reported.size()); }
  double recovery(int first, int last) const {
    double prob = reported[static_cast<std::size_t>(last) - 1];
    for (int c = first; c < last; ++c) prob *= alive[static_cast<std::size_t>(c) - 1];
    return prob;
  }
  double never(int first) const {
    double prob = 1.0;
    for (int c = first; c <= occasions(); ++c) prob -= recovery(first, c);
    return prob;
  }
  std::string cells(int first, int last) const {
    std::string text(2 * reported.size(), '0');
    text[2 * static_cast<std::size_t>(first) - 2] = '1';
    if (last != 0) text[2 * static_cast<std::size_t>(last) - 1] = '1';
    return text;
  }
  /// As histories: what follows each release, those never recovered too if `releases`.
  std::string histories(bool releases) const {
    History_table table;
    for (int first = 1; first <= occasions(); ++first) {
      for (int last = first; last <= occasions(); ++last) table[cells(first, last)] = recovery(first, last);
      if (releases) table[cells(first, 0)] = never(first);
    }
    return records(table, 10000.0);
  }
  /// As a matrix, in whole counts out of 100 million.
  std::string matrix(bool releases) const {
    std::string text = "recovery matrix group=1;\n", released;
    for (int first = 1; first <= occasions(); ++first) {
      for (int last = first; last <= occasions(); ++last)
        text += number(1e8 * recovery(first, last), "%.0f") + ' ';
      text += ";\n";
      released += "100000000 ";
    }
    return releases ? text + released + ";\n" : text;
  }
};

Study seber(const std::vector<double>& s, const std::vector<double>& r, const std::vector<double>& t) {
  Study study;
  for (std::size_t c = 0; c < s.size(); ++c) {
    study.alive.push_back(std::pow(s[c], t[c]));
    study.reported.push_back((1.0 - study.alive[c]) * r[c]);
  }
  return study;
}

const std::vector<double> ones(6, 1.0);
std::vector<double> six(double x) { return std::vector<double>(6, x); }

TEST(Recovery_decks, seber_with_constant_rates) {
  const Study study = seber(six(0.6), six(0.3), ones);
  const std::string constant = model({{"S", 6, "constant=1"}, {"r", 6, "constant=2"}}, 2);
  expect_reals(run_deck(data("DEAD", 6, study.histories(true)) + constant), {0.6, 0.3});
  expect_reals(run_deck(data("DEAD", 6, study.matrix(true)) + constant), {0.6, 0.3});
}

TEST(Recovery_decks, seber_with_survival_by_time_and_long_intervals) {
  const std::vector<double> s{0.8, 0.7, 0.6, 0.75, 0.65, 0.7};
  const Study study = seber(s, six(0.3), {1.0, 2.0, 0.5, 1.0, 1.5, 2.0});
  const std::string intervals = "time intervals 1 2 .5 1 1.5 2;\n";
  const std::string by_time = model({{"S", 6, "time=1"}, {"r", 6, "constant=7"}}, 7);
  std::vector<double> expected = s;
  expected.push_back(0.3);
  expect_reals(run_deck(data("DEAD", 6, intervals + study.histories(true)) + by_time), expected);
  expect_reals(run_deck(data("DEAD", 6, intervals + study.matrix(true)) + by_time), expected);
}

TEST(Recovery_decks, brownie_by_time) {
  const Study study{{0.8, 0.7, 0.6, 0.75, 0.65}, {0.05, 0.08, 0.1, 0.06, 0.09, 0.07}};
  const std::string by_time = model({{"S", 5, "time=1"}, {"f", 6, "time=6"}}, 11);
  std::vector<double> expected = study.alive;
  expected.insert(expected.end(), study.reported.begin(), study.reported.end());
  expect_reals(run_deck(data("BROWNIE", 6, study.histories(true)) + by_time), expected);
  expect_reals(run_deck(data("BROWNIE", 6, study.matrix(true)) + by_time), expected);
}

// Seber's and Brownie's parameters of one data set are one model, and the fit is the same.
TEST(Recovery_decks, two_parameterisations_have_one_maximum) {
  const Study study = seber(six(0.6), six(0.3), ones);
  const Deck_result two = run_deck(data("DEAD", 6, study.matrix(true)) +
                                   model({{"S", 6, "constant=1"}, {"r", 6, "constant=2"}}, 2));
  const Deck_result ten = run_deck(data("BROWNIE", 6, study.matrix(true)) +
                                   model({{"S", 5, "constant=1"}, {"f", 6, "constant=2"}}, 2));
  expect_reals(ten, {0.6, 0.12});
  const double f = two.number("-2logL {m} = "), g = ten.number("-2logL {m} = ");
  EXPECT_GT(f, 0.0) << two.listing;
  EXPECT_NEAR(f, g, 1e-9 * f);
}

TEST(Recovery_decks, two_groups_by_matrix) {
  const Study males = seber(six(0.6), six(0.3), ones), females = seber(six(0.75), six(0.2), ones);
  std::string second = females.matrix(true);
  second.replace(second.find("group=1"), 7, "group=2");
  std::string fit = "proc estimate link=LOGIT;\nmodel={m};\n";
  for (const std::string g : {"1", "2"})
    for (const std::string q : {"S", "r"})
      fit += "group=" + g + ' ' + q +
             " rows=6 cols=6 triang constant=" + std::to_string((g == "1" ? 0 : 2) + (q == "S" ? 1 : 2)) +
             ";\n";
  expect_reals(run_deck("proc chmatrix occasions=6 groups=2 hist=100 etype=DEAD;\n" + males.matrix(true) +
                        second + fit + "design matrix constraints=4 covariates=4 identity;\nproc stop;\n"),
               {0.6, 0.3, 0.75, 0.2});
}

TEST(Recovery_decks, bto_with_one_survival) {
  const Study study = seber(six(0.6), six(1.0), ones);
  const std::string constant = model({{"S", 6, "constant=1"}}, 1);
  expect_reals(run_deck(data("BTO", 6, study.histories(false)) + constant), {0.6});
  expect_reals(run_deck(data("BTO", 6, study.matrix(false)) + constant), {0.6});
}

TEST(Recovery_decks, virtual_population_analysis_with_known_natural_death) {
  constexpr double m = 0.2;
  const std::vector<double> f{0.4, 0.1, 0.5, 0.3, 0.25, 0.25}, t{1.0, 2.0, 0.5, 1.0, 1.5, 1.0};
  Study study;
  for (std::size_t c = 0; c < 6; ++c) {
    study.alive.push_back(std::exp(-(m + f[c]) * t[c]));
    study.reported.push_back(f[c] / (m + f[c]) * (1.0 - study.alive[c]));
  }
  // Ratios of harvests tell one rate less than there are: the last two are one parameter.
  const std::string rates =
      "proc estimate link=LOG;\nmodel={m};\nfixed=1;\nparm(1)=.2;\n"
      "group=1 M rows=6 cols=6 triang constant=1;\n"
      "group=1 F rows=1 cols=6 square;\n2 3 4 5 6 6;\n"
      "design matrix constraints=6 covariates=6 identity;\nproc stop;\n";
  const std::string intervals = "time intervals 1 2 .5 1 1.5 1;\n";
  const std::vector<double> expected{0.2, 0.4, 0.1, 0.5, 0.3, 0.25};
  expect_reals(run_deck(data("VPA", 6, intervals + study.histories(false)) + rates), expected);
  expect_reals(run_deck(data("VPA", 6, intervals + study.matrix(false)) + rates), expected);
}

TEST(Fate_decks, known_fate_by_time) {
  const std::vector<double> s{0.9, 0.8, 0.7, 0.95}, t{1.0, 2.0, 0.5, 1.5};
  std::string table = "time intervals 1 2 .5 1.5;\nknown fate group=1;\n";
  History_table staggered;
  std::string by_interval;
  for (std::size_t c = 0; c < 4; ++c) {
    const double alive = std::pow(s[c], t[c]);
    table += "1000 " + number(1000.0 * (1.0 - alive)) + ";\n";
  }
  // The same rates through animals that enter one after another, and are censored after three intervals.
  for (std::size_t first = 0; first < 4; ++first) {
    std::string cells(8, '0');
    double alive = 1.0;
    for (std::size_t c = first; c < std::min<std::size_t>(first + 3, 4); ++c) {
      cells[2 * c] = '1';
      std::string died = cells;
      died[2 * c + 1] = '1';
      const double lives = std::pow(s[c], t[c]);
      staggered[died] = alive * (1.0 - lives);
      alive *= lives;
    }
    staggered[cells] = alive;
  }
  const std::string by_time = model({{"S", 4, "time=1"}}, 4);
  expect_reals(run_deck(data("KNOWN", 4, table) + by_time), s);
  expect_reals(
      run_deck(data("KNOWN", 4, "time intervals 1 2 .5 1.5;\n" + records(staggered, 1000.0)) + by_time), s);
}

TEST(Fate_decks, known_fate_has_the_binomial_standard_error) {
  const Deck_result result = run_deck(data("KNOWN", 2, "known fate group=1;\n1000 100;\n500 200;\n") +
                                      model({{"S", 2, "time=1"}}, 2));
  expect_reals(result, {0.9, 0.6});
  EXPECT_NEAR(result.real(1).se, std::sqrt(0.9 * 0.1 / 1000.0), 1e-7);
  EXPECT_NEAR(result.real(2).se, std::sqrt(0.6 * 0.4 / 500.0), 1e-7);
}

TEST(Fate_decks, known_fate_with_unwatched_intervals) {
  // 100 animals in interval 1, of which 90 live on unwatched for an interval and are found again; 45 of 90
  // live.
  const Deck_result result = run_deck(data("KNOWN", 3, "110000 10;\n10.010 45;\n10.011 30;\n100011 15;\n") +
                                      model({{"S", 3, "time=1"}}, 3));
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  EXPECT_NEAR(result.real(1).estimate, 0.9, 1e-5);
  EXPECT_NEAR(result.real(3).estimate, 0.5, 1e-5);
  EXPECT_EQ(result.number("Number of Estimated Parameters {m} = "), 2.0);
}

/// Nests found on days 1, 3 and 5 and visited every second day up to day 9, whose daily survival on day c is
/// s(c): records with a frequency, and `behind` after each.
template <class Survival>
std::string nests(Survival s, const std::string& behind) {
  std::string text;
  for (int found = 1; found <= 5; found += 2) {
    double active = 1.0;
    for (int visit = found; visit < 9; visit += 2) {
      const double lives = s(visit) * s(visit + 1);
      text += std::to_string(found) + ' ' + std::to_string(visit) + ' ' + std::to_string(visit + 2) + " 1 " +
              number(1000.0 * active * (1.0 - lives)) + behind + ";\n";
      active *= lives;
    }
    text += std::to_string(found) + " 9 9 0 " + number(1000.0 * active) + behind + ";\n";
  }
  return text;
}

TEST(Fate_decks, nests_with_one_survival) {
  const std::string nest = "nest survival group=1;\n" + nests([](int) { return 0.93; }, "");
  expect_reals(run_deck(data("NEST", 9, nest) + model({{"S", 8, "constant=1"}}, 1)), {0.93});
}

TEST(Fate_decks, nests_by_period_and_as_histories) {
  // Two days of a period cannot be told apart by a visit every second day, the periods can.
  const auto s = [](int day) { return day <= 4 ? 0.9 : 0.96; };
  const std::string period =
      "proc estimate link=LOGIT;\nmodel={m};\ngroup=1 S rows=1 cols=8 square;\n1 1 1 1 2 2 2 2;\n"
      "design matrix constraints=2 covariates=2 identity;\nproc stop;\n";
  expect_reals(run_deck(data("NEST", 9, "nest survival group=1;\n" + nests(s, "")) + period), {0.9, 0.96});
  History_table table;
  for (int found = 1; found <= 5; found += 2) {
    double active = 1.0;
    std::string cells(18, '0');
    cells[2 * static_cast<std::size_t>(found) - 2] = '1';
    for (int visit = found; visit < 9; visit += 2) {
      std::string seen = cells;
      seen[2 * static_cast<std::size_t>(visit) - 2] = '1';
      const double lives = s(visit) * s(visit + 1);
      std::string failed = seen;
      failed[2 * static_cast<std::size_t>(visit) + 3] = '1';
      table[failed] = active * (1.0 - lives);
      active *= lives;
    }
    cells[16] = '1';
    table[cells] = active;
  }
  expect_reals(run_deck(data("NEST", 9, records(table, 1000.0)) + period), {0.9, 0.96});
}

TEST(Fate_decks, nests_with_a_covariate) {
  std::string text = "icovariates=x;\nnest survival group=1;\n";
  for (const double x : {-1.0, 0.0, 1.0, 2.0})
    text += nests([x](int) { return 1.0 / (1.0 + std::exp(-(2.5 - 0.4 * x))); }, ' ' + number(x));
  const Deck_result result =
      run_deck("proc chmatrix occasions=9 groups=1 hist=2000 etype=NEST icovar=1;\n" + text +
               "proc estimate link=LOGIT;\nmodel={m};\ngroup=1 S rows=8 cols=8 triang constant=1;\n"
               "design matrix constraints=1 covariates=2;\n1 x;\nproc stop;\n");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  EXPECT_NEAR(result.beta(1).estimate, 2.5, 1e-5);
  EXPECT_NEAR(result.beta(2).estimate, -0.4, 1e-5);
}

/// Expected counts of 1000 releases on each occasion, under rates that are set in `bench`.
std::string joint_records(Cell_bench& bench, bool barker) {
  History_table all;
  for (int first = 1; first <= bench.noccas(); ++first)
    for (const auto& [cells, prob] : Joint_paths(bench, barker, first).table) all[cells] = prob;
  return records(all, 1000.0);
}

TEST(Joint_decks, burnham) {
  Cell_bench bench(3, 4, {4, 3, 4, 3}, {1.0F, 2.0F, 0.5F, 1.5F});
  const std::vector<double> s{0.8, 0.7, 0.75, 0.75}, p{0.5, 0.4, 0.6};
  bench.set(1, s);
  bench.set(2, p);
  bench.set(3, 0.3);
  bench.set(4, 0.9);
  const std::string fit =
      "proc estimate link=LOGIT;\nmodel={m};\n"
      "group=1 S rows=1 cols=4 square;\n1 2 3 3;\n"
      "group=1 p rows=3 cols=3 triang time=4;\ngroup=1 r rows=4 cols=4 triang constant=7;\n"
      "group=1 F rows=3 cols=3 triang constant=8;\n"
      "design matrix constraints=8 covariates=8 identity;\nproc stop;\n";
  expect_reals(run_deck(data("BOTH", 4, "time intervals 1 2 .5 1.5;\n" + joint_records(bench, false)) + fit),
               {0.8, 0.7, 0.75, 0.5, 0.4, 0.6, 0.3, 0.9});
}

TEST(Joint_decks, barker) {
  Cell_bench bench(8, 4, {4, 3, 4, 4, 4, 3, 3}, {1.0F, 2.0F, 0.5F, 1.5F});
  const std::vector<double> rates{0.7, 0.5, 0.3, 0.35, 0.15, 0.85, 0.4};
  std::vector<Matrix> matrices;
  const char* names[] = {"S", "p", "r", "R", "R'", "F", "F'"};
  for (int q = 1; q <= 7; ++q) {
    bench.set(q, rates[static_cast<std::size_t>(q) - 1]);
    const bool between = q == 2 || q >= 6;
    matrices.push_back({names[q - 1], between ? 3 : 4, "constant=" + std::to_string(q)});
  }
  expect_reals(run_deck(data("BARKER", 4, "time intervals 1 2 .5 1.5;\n" + joint_records(bench, true)) +
                        model(matrices, 7)),
               rates);
}

TEST(Fate_decks, young_of_marked_adults) {
  // Three young, each by itself: the counts of three live recaptures added up.
  constexpr double phi = 0.8, p = 0.6;
  const double t[] = {1.0, 2.0, 0.5};
  History_table one;
  for (int death = 1; death <= 4; ++death) {
    double lives = 1.0;
    for (int c = 1; c < death; ++c) lives *= std::pow(phi, t[c - 1]);
    if (death < 4) lives *= 1.0 - std::pow(phi, t[death - 1]);
    for (unsigned seen = 0; seen < 1U << (death - 1); ++seen) {
      std::string counts(3, '\0');
      double path = lives;
      for (int o = 0; o < death - 1; ++o) {
        const bool here = (seen >> o) & 1U;
        counts[static_cast<std::size_t>(o)] = here ? 1 : 0;
        path *= here ? p : 1.0 - p;
      }
      one[counts] += path;
    }
  }
  History_table brood{{std::string(3, '\0'), 1.0}};
  for (int young = 0; young < 3; ++young) {
    History_table more;
    for (const auto& [counts, prob] : brood)
      for (const auto& [added, chance] : one) {
        std::string sum = counts;
        for (std::size_t o = 0; o < 3; ++o) sum[o] = static_cast<char>(sum[o] + added[o]);
        more[sum] += prob * chance;
      }
    brood = more;
  }
  History_table table;
  for (const auto& [counts, prob] : brood) {
    std::string cells = "03";
    for (const char n : counts) cells += {'0', static_cast<char>('0' + n)};
    table[cells] = prob;
  }
  expect_reals(run_deck(data("LYSMA", 4, "time intervals 1 2 .5;\n" + records(table, 10000.0)) +
                        model({{"Phi", 3, "constant=1"}, {"p", 3, "constant=2"}}, 2)),
               {0.8, 0.6});
}

}  // namespace
}  // namespace tarn
