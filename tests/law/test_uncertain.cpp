// Robust designs whose captures may leave the state open: 121, 122, 126, 142 and 184.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

#include "support/session_lives.h"

namespace tarn {
namespace {

struct Case {
  int type;
  std::string codes;
  std::vector<int> lengths;
  Session_options options{};
};
void PrintTo(const Case& c, std::ostream* out) {
  *out << c.type << " " << c.codes << " " << c.lengths.size();
}

class Uncertain_laws : public testing::TestWithParam<Case> {};

TEST_P(Uncertain_laws, histories_are_those_of_animals_followed_one_by_one) {
  const auto& [type, codes, lengths, options] = GetParam();
  for (const std::string& dots :
       {std::string(), std::string("_._._"), std::string("__..."), std::string(".___.")}) {
    Session_study study(type, lengths, codes, options);
    for (const std::string& cells : all_records(lengths, kinds_of_signs(type, codes), dots))
      if (!never_caught(cells)) study.record(cells, 2.0F, 1.0F);
    study.draw(1);
    study.model.finish();
    for (const unsigned seed : {2U, 3U}) {
      study.draw(seed);
      const Uncertain_lives lives(study);
      const std::vector<double> observed = study.probabilities(), lost = study.probabilities(true);
      std::map<int, double> sums;
      std::map<std::pair<int, int>, double> classes;
      std::map<std::string, double> same_until;
      for (std::size_t i = 0; i < observed.size(); ++i) {
        const std::string& cells = study.histories[i];
        const int fs = lives.first_session(cells);
        // Some hundred sums of products.
        EXPECT_NEAR(observed[i], lives.chance(cells), 1e-14) << cells;
        sums[fs] += observed[i];
        classes[{fs, lives.known(cells, fs)}] += observed[i];
        for (std::size_t k = 0; k < cells.size(); ++k)
          if (cells[k] != '0' && cells[k] != '.') same_until[cells.substr(0, k + 1)] += observed[i];
      }
      const std::string& any = study.histories[0];
      for (const auto& [fs, sum] : sums) EXPECT_NEAR(sum, 1.0, 1e-12) << fs;
      for (const auto& [of, sum] : classes) {
        const auto& [fs, m] = of;
        const double expected = m == 0 ? lives.open_class(any, fs)
                                       : lives.share("pi", m, fs) * (1.0 - lives.misses(any, fs, m).second) /
                                             lives.caught(any, fs, m);
        EXPECT_NEAR(sum, expected, 1e-12) << fs << " " << m;
      }
      // A removed animal might have shown anything later.
      for (std::size_t i = 0; i < lost.size(); ++i) {
        const std::string& cells = study.histories[i];
        const std::string until = cells.substr(0, cells.find_last_not_of("0.") + 1);
        EXPECT_NEAR(lost[i], same_until.at(until), 1e-12) << cells;
      }
      // Sorted histories, and each by itself.
      const double sorted = study.model.func(study.reals);
      EXPECT_EQ(study.model.value.sumpen, 0.0);
      study.model.force_histories();
      EXPECT_NEAR(study.model.func(study.reals), sorted, 1e-13 * std::abs(sorted));
      study.model.set_threads(1);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    types, Uncertain_laws,
    testing::Values(Case{121, "AB", {2, 1, 2}}, Case{121, "ABC", {2, 1}, {.between = {2.5F}}},
                    Case{121, "A", {3, 2}}, Case{121, "AB", {1, 1, 1}, {.by_cohort = true}},
                    Case{122, "AB", {2, 1}, {.by_cohort = true}}, Case{122, "ABC", {1, 2}},
                    Case{122, "AB", {2, 1}, {.guesses = false}}, Case{122, "A", {2, 1}},
                    Case{126, "AB", {2, 3}, {.between = {0.5F}}}, Case{126, "ABC", {2, 1}},
                    Case{126, "AB", {2, 1, 2}, {.by_cohort = true, .pentfirst = 0}},
                    Case{142, "AB", {2, 1, 2}, {.between = {3.0F, 0.5F}}},
                    Case{142, "ABC", {1, 2}, {.all_pent = true}}, Case{142, "AB", {4}},
                    Case{184, "AB", {3, 2}, {.triangles = true}},
                    Case{184, "AB", {3, 2}, {.between = {2.0F}, .rows = 2}},
                    Case{184, "ABC", {2, 1}, {.triangles = true, .pentfirst = 0}},
                    Case{184, "AB", {1, 4}, {.by_cohort = true, .rows = 3, .all_pent = true}}));

using Expected = std::map<std::string, double>;

/// The rates of the worked examples; those of 184 in three occasions of session 1.
void worked(Session_study& study) {
  study.draw(1);
  const auto set = [&](const char* name, int a, int b, int r, const std::vector<double>& values) {
    if (!study.has(name)) return;
    for (std::size_t k = 0; k < values.size(); ++k)
      study.rate(name, a, b, r, r + static_cast<int>(k)) = values[k];
  };
  const bool ages = study.type() == 184;
  set("S", 1, 1, 1, {0.8}), set("S", 2, 1, 1, {0.7});
  set("Psi", 1, 2, 1, {0.3}), set("Psi", 2, 1, 1, {0.2});
  set("pi", 1, 1, 1, {0.6}), set("Omega", 1, 1, 1, {0.55});
  if (study.type() == 122) {
    set("p", 1, 1, 1, {0.5}), set("p", 2, 1, 1, {0.4}), set("p", 1, 2, 1, {0.45}), set("p", 2, 2, 1, {0.35});
    set("Delta", 1, 1, 1, {0.3}), set("Delta", 2, 1, 1, {0.4});
    set("Delta", 1, 2, 1, {0.35}), set("Delta", 2, 2, 1, {0.45});
    set("Delta", 3, 1, 1, {0.9}), set("Delta", 4, 1, 1, {0.8});
    set("Delta", 3, 2, 1, {0.85}), set("Delta", 4, 2, 1, {0.75});
    return;
  }
  set("p", 1, 2, 1, {0.45}), set("p", 2, 2, 1, {0.35});
  set("Delta", 1, 2, 1, {0.75}), set("Delta", 2, 2, 1, {0.55});
  set("alpha", 1, 1, 1, {0.9}), set("alpha", 2, 1, 1, {0.8});
  set("alpha", 1, 2, 1, {0.85}), set("alpha", 2, 2, 1, {0.7});
  if (!ages) {
    set("p", 1, 1, 1, {0.5, 0.6}), set("p", 2, 1, 1, {0.4, 0.3});
    set("Delta", 1, 1, 1, {0.8, 0.7}), set("Delta", 2, 1, 1, {0.6, 0.5});
    set("pent", 1, 1, 1, {0.4}), set("pent", 2, 1, 1, {0.3});
    set("Phi", 1, 1, 1, {0.7}), set("Phi", 2, 1, 1, {0.6});
    set("c", 1, 1, 1, {0.75}), set("c", 2, 1, 1, {0.55});
    return;
  }
  const std::vector<double> p[] = {{0.5, 0.6, 0.4}, {0.4, 0.3, 0.5}}, c[] = {{0.75, 0.65}, {0.55, 0.45}};
  for (const int a : {1, 2})
    for (const int r : {1, 2, 3}) {
      set("p", a, 1, r, {p[a - 1].begin() + r - 1, p[a - 1].end()});
      if (r < 3) set("c", a, 1, r, {c[a - 1].begin() + r - 1, c[a - 1].end()});
    }
  set("Delta", 1, 1, 1, {0.8, 0.7, 0.9}), set("Delta", 2, 1, 1, {0.6, 0.5, 0.65});
  set("pent", 1, 1, 1, {0.3, 0.2}), set("pent", 2, 1, 1, {0.3, 0.1});
  set("Phi", 1, 1, 1, {0.7, 0.5}), set("Phi", 1, 1, 2, {0.8});
  set("Phi", 2, 1, 1, {0.6, 0.4}), set("Phi", 2, 1, 2, {0.9});
}

void expect_worked(int type, const std::vector<int>& lengths, const Expected& expected) {
  Session_study study(type, lengths, "AB", {.triangles = true});
  for (const auto& [cells, prob] : expected) study.record(cells);
  worked(study);
  study.model.finish();
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], expected.at(study.histories[i]), 1e-10) << type << " " << study.histories[i];
}

TEST(Uncertain_worked, closed_sessions) {
  expect_worked(121, {2, 1},
                {{"AAA", 0.0238140000}, {"AAB", 0.0058212000}, {"AAu", 0.0127008000}, {"AA0", 0.0836640000},
                 {"AuA", 0.0102060000}, {"AuB", 0.0024948000}, {"Auu", 0.0054432000}, {"Au0", 0.0358560000},
                 {"A0A", 0.0226800000}, {"A0B", 0.0055440000}, {"A0u", 0.0120960000}, {"A00", 0.0796800000},
                 {"BBA", 0.0011731034}, {"BBB", 0.0026764138}, {"BBu", 0.0025808276}, {"BB0", 0.0183972414},
                 {"BuA", 0.0011731034}, {"BuB", 0.0026764138}, {"Buu", 0.0025808276}, {"Bu0", 0.0183972414},
                 {"B0A", 0.0054744828}, {"B0B", 0.0124899310}, {"B0u", 0.0120438621}, {"B00", 0.0858537931},
                 {"uAA", 0.0059535000}, {"uAB", 0.0014553000}, {"uAu", 0.0031752000}, {"uA0", 0.0209160000},
                 {"uBA", 0.0007820690}, {"uBB", 0.0017842759}, {"uBu", 0.0017205517}, {"uB0", 0.0122648276},
                 {"uuA", 0.0034708101}, {"uuB", 0.0023634564}, {"uuu", 0.0030906738}, {"uu0", 0.0212446109},
                 {"u0A", 0.0095309547}, {"u0B", 0.0093999577}, {"u0u", 0.0108678594}, {"u00", 0.0757217841},
                 {"0AA", 0.0297675000}, {"0AB", 0.0072765000}, {"0Au", 0.0158760000}, {"0A0", 0.1045800000},
                 {"0BA", 0.0029327586}, {"0BB", 0.0066910345}, {"0Bu", 0.0064520690}, {"0B0", 0.0459931034},
                 {"0uA", 0.0164243693}, {"0uB", 0.0096962314}, {"0uu", 0.0134080700}, {"0u0", 0.0916432911}});
}

TEST(Uncertain_worked, guesses) {
  expect_worked(122, {1, 1},
                {{"AA", 0.0158760000}, {"AB", 0.0068040000}, {"Aa", 0.0271404000}, {"Ab", 0.0106596000},
                 {"A0", 0.1195200000}, {"BA", 0.0035280000}, {"BB", 0.0141120000}, {"Ba", 0.0098812000},
                 {"Bb", 0.0139188000}, {"B0", 0.1185600000}, {"aA", 0.0346075667}, {"aB", 0.0185677877},
                 {"aa", 0.0603040067}, {"ab", 0.0266611513}, {"a0", 0.2878162263}, {"bA", 0.0079133451},
                 {"bB", 0.0183353271}, {"ba", 0.0180942415}, {"bb", 0.0190118150}, {"b0", 0.1686885324}});
}

TEST(Uncertain_worked, open_sessions) {
  expect_worked(126, {2, 1},
                {{"AAA", 0.0120142703},
                 {"Au0", 0.0180895135},
                 {"A0B", 0.0057937297},
                 {"BBu", 0.0014108833},
                 {"uBB", 0.0009754255},
                 {"uuA", 0.0018161457},
                 {"uu0", 0.0111165141},
                 {"u00", 0.0786842649},
                 {"0AA", 0.0436232432},
                 {"0uu", 0.0180862994}});
  expect_worked(142, {2, 1},
                {{"AAA", 0.0127651622},
                 {"Au0", 0.0247572973},
                 {"A0B", 0.0033214054},
                 {"BBu", 0.0018694204},
                 {"uBB", 0.0012517961},
                 {"uuA", 0.0021727739},
                 {"uu0", 0.0187368533},
                 {"u00", 0.0685049516},
                 {"0AA", 0.0370797568},
                 {"0uu", 0.0140518871}});
  expect_worked(184, {3, 1},
                {{"A0AA", 0.0014785625},
                 {"A0A0", 0.0066910361},
                 {"uu0A", 0.0011592017},
                 {"uu0u", 0.0010667560},
                 {"0BuB", 0.0004462334},
                 {"00uA", 0.0036781444},
                 {"00u0", 0.0428777941}});
}

/// All records of the lengths and codes of both studies, which share rates by place; `set` may change them.
void expect_same(Session_study& study, Session_study& other, const std::function<void()>& set,
                 const std::vector<std::string>& signs, double factor = 1.0) {
  std::vector<int> lengths;
  for (int s = 1; s <= study.sessions(); ++s) lengths.push_back(study.length(s));
  for (const std::string& cells : all_records(lengths, signs, {}))
    if (!never_caught(cells)) study.record(cells, 1.0F, 1.0F), other.record(cells, 1.0F, 1.0F);
  study.draw(5), other.draw(6);
  other.copy(study);
  set();
  study.model.finish(), other.model.finish();
  for (const bool lost : {false, true}) {
    const std::vector<double> a = study.probabilities(lost), b = other.probabilities(lost);
    for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], factor * b[i], 1e-14) << study.histories[i];
  }
}

const Session_options unequal{.between = {2.0F, 0.5F}, .by_cohort = true};

/// If pi is what Omega gives among the animals caught, the start is the same for every class.
TEST(Uncertain_reductions, coherent_shares) {
  for (const int type : {121, 126, 142, 184}) {
    Session_study study(type, {2, 1}, "ABC");
    for (const char* cells : {"uu0", "u0A", "0u0", "A00", "uB0", "0CC", "00u", "00B"}) study.record(cells);
    study.draw(7);
    const Uncertain_lives lives(study);
    for (const int s : {1, 2}) {
      double all = 0.0;
      for (int a = 1; a <= 3; ++a) all += lives.share("Omega", a, s) * lives.caught("000", s, a);
      for (int a = 1; a <= 2; ++a)
        study.rate("pi", a, 1, 1, s) = lives.share("Omega", a, s) * lives.caught("000", s, a) / all;
    }
    study.model.finish();
    const std::vector<double> got = study.probabilities();
    for (std::size_t i = 0; i < got.size(); ++i) {
      const std::string& cells = study.histories[i];
      const int fs = lives.first_session(cells);
      double all = 0.0, expected = 0.0;
      for (int a = 1; a <= 3; ++a) {
        all += lives.share("Omega", a, fs) * lives.caught("000", fs, a);
        expected +=
            lives.share("Omega", a, fs) * lives.within(cells, fs, a) * lives.after(cells, fs, a, fs, 2);
      }
      EXPECT_NEAR(got[i], expected / all, 1e-15) << cells;
    }
  }
}

/// Every capture shows the state: strata, and with pi what Omega gives of them.
TEST(Uncertain_reductions, all_recognised) {
  for (const auto& [type, strata_type] : {std::pair(121, 104), std::pair(126, 119)}) {
    Session_study study(type, {3, 1, 2}, "AB", unequal), strata(strata_type, {3, 1, 2}, "AB", unequal);
    expect_same(study, strata,
                [&] {
                  study.fill("Delta", 1.0);
                  for (int s = 1; s <= 3; ++s) {
                    for (const int a : {1, 2})
                      for (int j = 2; type == 121 && j <= study.length(s); ++j)
                        strata.rate("c", a, s, 1, j - 1) = strata.rate("p", a, s, 1, j);
                    const Uncertain_lives lives(study);
                    const double a = lives.share("Omega", 1, s) * lives.caught("000000", s, 1),
                                 b = lives.share("Omega", 2, s) * lives.caught("000000", s, 2);
                    study.rate("pi", 1, 1, 1, s) = a / (a + b);
                  }
                },
                {"A", "B"});
  }
}

TEST(Uncertain_reductions, all_take_part_and_recaptures_are_like_captures) {
  Session_study study(142, {3, 1, 2}, "AB", unequal), simple(126, {3, 1, 2}, "AB", unequal);
  expect_same(study, simple,
              [&] {
                study.fill("alpha", 1.0);
                for (int s = 1; s <= 3; ++s)
                  for (const int a : {1, 2})
                    for (int j = 2; j <= study.length(s); ++j)
                      study.rate("c", a, s, 1, j - 1) = study.rate("p", a, s, 1, j);
              },
              {"Au", "Bu"});
}

TEST(Uncertain_reductions, rates_that_do_not_hang_on_the_arrival) {
  Session_study study(184, {3, 1, 2}, "AB", {.between = {2.0F, 0.5F}, .by_cohort = true, .triangles = true}),
      simple(142, {3, 1, 2}, "AB", unequal);
  expect_same(study, simple,
              [&] {
                for (int s = 1; s <= 3; ++s)
                  for (const int a : {1, 2}) {
                    const int n = study.length(s);
                    for (int i = 1; i <= n; ++i)
                      for (int j = i; j <= n; ++j) {
                        study.rate("p", a, s, i, j) = simple.rate("p", a, s, 1, j);
                        if (j == n) continue;
                        study.rate("Phi", a, s, i, j) = simple.rate("Phi", a, s, 1, j);
                        study.rate("c", a, s, i, j) = simple.rate("c", a, s, 1, j);
                      }
                  }
              },
              {"Au", "Bu"});
}

TEST(Uncertain_reductions, nobody_comes_or_leaves) {
  Session_study study(126, {3, 1, 2}, "AB", unequal), closed(121, {3, 1, 2}, "AB", unequal);
  expect_same(study, closed, [&] { study.fill("pent", 0.0), study.fill("Phi", 1.0); }, {"Au", "Bu"});
}

/// A guess that is always right tells the state as a certain code does; pooled guesses are no guess.
TEST(Uncertain_reductions, guesses) {
  Session_study study(122, {2, 1}, "AB");
  for (const std::string& cells : all_records({2, 1}, kinds_of_signs(122, "AB"), {}))
    if (!never_caught(cells)) study.record(cells);
  study.draw(8);
  study.model.finish();
  const std::vector<double> got = study.probabilities();
  Expected pooled;
  for (std::size_t i = 0; i < got.size(); ++i) {
    std::string cells = study.histories[i];
    for (char& c : cells) c = c == 'a' || c == 'b' ? 'u' : c;
    pooled[cells] += got[i];
  }
  Session_study simple(121, {2, 1}, "AB");
  for (const auto& [cells, share] : pooled) simple.record(cells);
  simple.draw(9);
  simple.copy(study);
  simple.model.finish();
  const std::vector<double> without = simple.probabilities();
  for (std::size_t i = 0; i < without.size(); ++i)
    EXPECT_NEAR(without[i], pooled.at(simple.histories[i]), 1e-14) << simple.histories[i];
  for (const int s : {1, 2})
    for (const int k : {3, 4}) study.fill("Delta", k, s, 1.0);
  const std::vector<double> right = study.probabilities();
  const Uncertain_lives lives(study);
  for (std::size_t i = 0; i < right.size(); ++i) {
    const std::string& cells = study.histories[i];
    std::string upper;
    for (const char c : cells) upper += static_cast<char>(std::toupper(c));
    for (int s = 1; s <= 2; ++s) {
      const std::string own = upper.substr(s == 1 ? 0 : 2, s == 1 ? 2 : 1);
      if (own.find('A') != std::string::npos && own.find('B') != std::string::npos) {
        EXPECT_EQ(right[i], 0.0) << cells;
      }
    }
  }
}

/// One state: a robust design without emigration, whose captures are of two kinds.
TEST(Uncertain_reductions, one_state) {
  Session_study study(121, {2, 2}, "A"), strata(34, {2, 2}, "A");
  expect_same(study, strata,
              [&] {
                study.fill("Delta", 1.0);
                for (const int s : {1, 2}) strata.rate("c", 1, s, 1, 1) = strata.rate("p", 1, s, 1, 2);
              },
              {"A"});
  // The kind of a capture says nothing more.
  Session_study kinds_of(121, {2, 2}, "A");
  for (const std::string& cells : all_records({2, 2}, {"Au"}, {}))
    if (!never_caught(cells)) kinds_of.record(cells);
  kinds_of.draw(10);
  kinds_of.copy(study);
  kinds_of.fill("Delta", 0.3);
  kinds_of.model.finish();
  const std::vector<double> got = kinds_of.probabilities(), plain_captures = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) {
    std::string cells = kinds_of.histories[i];
    double factor = 1.0;
    for (char& c : cells) {
      if (c == '0') continue;
      factor *= c == 'A' ? 0.3 : 0.7;
      c = 'A';
    }
    const auto place = std::find(study.histories.begin(), study.histories.end(), cells);
    EXPECT_NEAR(got[i], factor * plain_captures[static_cast<std::size_t>(place - study.histories.begin())],
                1e-15);
  }
}

/// Records of one data set that were sampled on different occasions.
TEST(Uncertain_samplings, each_record_has_its_own) {
  for (const int type : {121, 126, 142, 184}) {
    Session_study study(type, {3, 1}, "AB", {.triangles = true});
    for (const std::string& dots :
         {std::string(), std::string("_.__"), std::string("__.."), std::string("..__"), std::string("___.")})
      for (const std::string& cells : all_records({3, 1}, kinds_of_signs(type, "AB"), dots))
        if (!never_caught(cells)) study.record(cells, 1.0F, 1.0F);
    study.draw(16);
    study.model.finish();
    const Uncertain_lives lives(study);
    std::map<std::string, double> same_until;  // and with the same occasions sampled
    const auto until = [](const std::string& cells, std::size_t end) {
      std::string text = cells.substr(0, end);
      for (std::size_t k = end; k < cells.size(); ++k) text += cells[k] == '.' ? '.' : '_';
      return text;
    };
    const std::vector<double> observed = study.probabilities(), lost = study.probabilities(true);
    for (std::size_t i = 0; i < observed.size(); ++i) {
      const std::string& cells = study.histories[i];
      EXPECT_NEAR(observed[i], lives.chance(cells), 1e-14) << cells;
      for (std::size_t k = 0; k < cells.size(); ++k)
        if (cells[k] != '0' && cells[k] != '.') same_until[until(cells, k + 1)] += observed[i];
    }
    for (std::size_t i = 0; i < lost.size(); ++i) {
      const std::string& cells = study.histories[i];
      EXPECT_NEAR(lost[i], same_until.at(until(cells, cells.find_last_not_of("0.") + 1)), 1e-12) << cells;
    }
    const double sorted = study.model.func(study.reals);
    study.model.force_histories();
    EXPECT_NEAR(study.model.func(study.reals), sorted, 1e-13 * std::abs(sorted));
  }
}

TEST(Uncertain_groups, each_has_its_own_rates) {
  for (const int type : {121, 122, 126, 142, 184}) {
    const std::vector<std::string> records = type == 122
                                                 ? std::vector<std::string>{"Aa0", "b0B", "0ab", "00B"}
                                                 : std::vector<std::string>{"Au0", "u0B", "0uu", "00B"};
    Session_study study(type, {2, 1}, "AB", {.groups = 2});
    for (const std::string& cells : records) study.record(cells, {1.0F, 2.0F}, {1.0F, 3.0F});
    study.draw(10);
    study.model.finish();
    for (const int g : {1, 2}) {
      Session_study alone(type, {2, 1}, "AB");
      for (const std::string& cells : records) alone.record(cells, 1.0F, 1.0F);
      alone.draw(11);
      alone.copy(study, g);
      alone.model.finish();
      EXPECT_EQ(study.probabilities(false, g), alone.probabilities()) << type;
      EXPECT_EQ(study.probabilities(true, g), alone.probabilities(true)) << type;
    }
  }
}

TEST(Kept, clamped_arrivals_are_charged_in_serial_runs) {
  for (const int type : {121, 126, 142, 184}) {
    Session_study study(type, {2, 3, 1}, "ABC");
    study.record("00Au00");
    study.draw(12);
    study.fill("pent", 1, 1, 1.25);  // ahead of the first capture
    study.fill("pent", 2, 2, 0.75);  // b: -.5, .75, .75
    study.fill("Psi", 1, 2, 0.0), study.fill("Psi", 1, 3, 0.0);
    study.rate("Psi", 3, 1, 1, 2) = 0.75, study.rate("Psi", 3, 2, 1, 2) = 0.5;  // twice -.25
    study.model.finish();
    // Of -2 log likelihood, so twice what is cut off.
    const double expected = 2.0 * (0.5 + (type == 121 ? 0.0 : 0.5));
    EXPECT_NEAR(charged_in_serial_runs(study), expected, 1e-12) << type;
  }
}

/// Where nothing can be caught, or all is recognised, a start that needs it has no weight.
TEST(Uncertain_edges, captures_that_cannot_be) {
  Session_study study(126, {2, 1}, "AB");
  study.record("A00"), study.record("uu0"), study.record("0B0");
  study.draw(13);
  study.fill("p", 1, 1, 0.0);
  study.model.finish();
  std::vector<double> got = study.probabilities();
  EXPECT_EQ(got[0], 0.0);
  EXPECT_GT(got[1], 0.0);
  study.fill("Delta", 1.0);
  got = study.probabilities();
  EXPECT_EQ(got[1], 0.0);
  EXPECT_GT(got[2], 0.0);
}

}  // namespace
}  // namespace tarn
