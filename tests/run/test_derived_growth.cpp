// Growth, births and sizes of populations of whole decks.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "inference/intervals.h"
#include "support/section_rows.h"

namespace tarn {
namespace {

/// A model of captures on three occasions, `betas` real parameters of its own links.
std::string open_deck(const std::string& keyword, const std::string& links, const std::string& matrices,
                      int betas, const std::string& options = "", const std::string& statements = "") {
  const std::string n = std::to_string(betas);
  return "proc chmatrix occasions=3 groups=1 hist=10 etype=" + keyword +
         ";\n 111 12; 110 31; 101 14; 100 66; 011 29; 010 58; 001 83; 011 -4; 100 -6;\n"
         "proc estimate link=PARM-SPECIFIC" +
         options + ";\n model={M};\n" + statements + matrices + "design matrix constraints=" + n +
         " covariates=" + n + " identity;\nlinks;\n" + links + "proc stop;";
}

const std::string phi_and_p =
    "group=1 Phi rows=1 cols=2 square constant=1;\n group=1 p rows=1 cols=3 square constant=2;\n";

void expect_limits(const std::vector<double>& row, const Limits& limits) {
  // Tables show seven digits; limits are made of two such numbers.
  EXPECT_NEAR(row[2], limits.lower, 1e-5 * std::fabs(row[0]) + 1e-6);
  EXPECT_NEAR(row[3], limits.upper, 1e-5 * std::fabs(row[0]) + 1e-6);
}

TEST(Decks, growth_follows_from_the_reals_of_each_form) {
  for (const auto& [keyword, name, link] : {std::tuple{"PRADSEN", "Gamma", "LOGIT"},
                                            {"PRADLAMBDA", "Lambda", "LOG"},
                                            {"PRADREC", "f", "LOG"},
                                            {"LINKBARKER", "f", "LOG"}}) {
    const Deck_result result =
        run_deck(open_deck(keyword, std::string("LOGIT; LOGIT; ") + link + "; " + link + ";\n",
                           phi_and_p + "group=1 " + name + " rows=1 cols=2 square;\n 3 4;\n", 4));
    ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
    const std::string growth = section_of(result, "Lambda Estimates of {M}"),
                      log_growth = section_of(result, "log(Lambda) Estimates of {M}");
    for (int c = 1; c <= 2; ++c) {
      const double survival = result.real(1).estimate, other = result.real(2 + c).estimate;
      const double lambda = name == std::string("Gamma")    ? survival / other
                            : name == std::string("Lambda") ? other
                                                            : survival + other;
      const std::vector<double> row = row_of(growth, 1, c), log_row = row_of(log_growth, 1, c);
      ASSERT_EQ(row.size(), 4u) << result.listing;
      ASSERT_EQ(log_row.size(), 4u) << result.listing;
      // Tables show seven digits.
      EXPECT_NEAR(row[0], lambda, 3e-6) << keyword;
      EXPECT_NEAR(log_row[0], std::log(lambda), 3e-6) << keyword;
      EXPECT_GT(row[1], 0.01);
      EXPECT_NEAR(log_row[1], row[1] / row[0], 1e-4 * log_row[1]) << keyword;
      expect_limits(row, log_limits(row[0], row[1]));
      expect_limits(log_row, plain_limits(log_row[0], log_row[1]));
      if (name == std::string("Lambda")) {
        EXPECT_NEAR(row[1], result.real(2 + c).se, 1e-4 * row[1]);
      }
    }
  }
}

/// Sessions of two and three occasions, behind which two units of time pass.
std::string session_deck(const std::string& keyword, const std::string& rates, const std::string& links,
                         int betas, const std::string& options = "") {
  const std::string n = std::to_string(betas), p1 = std::to_string(betas - 1);
  return "proc chmatrix occasions=5 groups=1 hist=40 etype=" + keyword +
         ";\n time intervals 0 2 0 0;\n"
         "10000 40; 01000 31; 11000 22; 00100 35; 00010 29; 00001 24; 00110 13; 00011 11; 00111 6;\n"
         "10100 9; 01010 8; 11110 4; 10011 5; 01001 6; 10.10 7; 11000 -3;\n"
         "proc estimate link=PARM-SPECIFIC" +
         options + ";\n model={M};\n" + rates + "group=1 p Session 1 rows=1 cols=2 square constant=" + p1 +
         ";\n group=1 c Session 1 rows=1 cols=1 square constant=" + p1 +
         ";\n group=1 p Session 2 rows=1 cols=3 square constant=" + n +
         ";\n group=1 c Session 2 rows=1 cols=2 square constant=" + n + ";\n" +
         "design matrix constraints=" + n + " covariates=" + n + " identity;\nlinks;\n" + links +
         "LOGIT; LOGIT;\nproc stop;";
}

/// Animals caught in the sessions of `session_deck`; of those in session 2 seven were not looked for on its
/// first occasion.
constexpr double caught_1 = 40 + 31 + 22 + 9 + 8 + 4 + 5 + 6 + 7 + 3,
                 caught_2 = 35 + 29 + 24 + 13 + 11 + 6 + 9 + 8 + 4 + 5 + 6;

void expect_sizes(const Deck_result& result, int first_p) {
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const std::string section = section_of(result, "Population Estimates of {M}");
  const double p1 = result.real(first_p).estimate, p2 = result.real(first_p + 1).estimate;
  const double n1 = caught_1 / (1 - std::pow(1 - p1, 2)),
               n2 = caught_2 / (1 - std::pow(1 - p2, 3)) + 7 / (1 - std::pow(1 - p2, 2));
  const std::vector<double> one = row_of(section, 1, 1), two = row_of(section, 1, 2);
  ASSERT_EQ(one.size(), 4u) << result.listing;
  ASSERT_EQ(two.size(), 4u) << result.listing;
  EXPECT_NEAR(one[0], n1, 1e-5 * n1);
  EXPECT_NEAR(two[0], n2, 1e-5 * n2);
  expect_limits(one, population_limits(one[0], one[1], caught_1));
  expect_limits(two, population_limits(two[0], two[1], caught_2 + 7));
}

TEST(Decks, sizes_by_session_stand_ahead_of_growth) {
  const Deck_result result = run_deck(session_deck("RDPDLHUGGINS",
                                                   "group=1 Phi rows=1 cols=1 square constant=1;\n"
                                                   "group=1 Lambda rows=1 cols=1 square constant=2;\n",
                                                   "LOGIT; LOG; ", 4));
  expect_sizes(result, 3);
  const std::vector<double> growth = row_of(section_of(result, "Lambda Estimates of {M}"), 1, 1);
  EXPECT_NEAR(growth[0], result.real(2).estimate, 2e-6);
  EXPECT_NEAR(growth[1], result.real(2).se, 1e-4 * growth[1]);
  EXPECT_LT(result.listing.find("Population Estimates of"), result.listing.find("  Lambda Estimates of"));
  EXPECT_LT(result.listing.find("  Lambda Estimates of"), result.listing.find("log(Lambda) Estimates of"));
}

TEST(Decks, growth_is_the_ratio_of_the_sizes_shown) {
  const Deck_result result =
      run_deck(session_deck("RDPDNHUGGINS", "group=1 Phi rows=1 cols=1 square constant=1;\n", "LOGIT; ", 3));
  expect_sizes(result, 2);
  const std::string sizes = section_of(result, "Population Estimates of {M}");
  const std::vector<double> growth = row_of(section_of(result, "Lambda Estimates of {M}"), 1, 1),
                            log_growth = row_of(section_of(result, "log(Lambda) Estimates of {M}"), 1, 1);
  const double ratio = row_of(sizes, 1, 2)[0] / row_of(sizes, 1, 1)[0];
  EXPECT_NEAR(growth[0], ratio, 3e-6);
  EXPECT_NEAR(log_growth[0], std::log(ratio), 3e-6);
  EXPECT_GT(growth[1], 0.0);
}

TEST(Decks, quasi_inflates_sizes_and_not_growth) {
  const auto fit = [](const std::string& options) {
    return run_deck(session_deck("RDPDLHUGGINS",
                                 "group=1 Phi rows=1 cols=1 square constant=1;\n"
                                 "group=1 Lambda rows=1 cols=1 square constant=2;\n",
                                 "LOGIT; LOG; ", 4, options));
  };
  const Deck_result plain = fit(""), quasi = fit(" quasi"), given = fit(" chat=4");
  const double chat = plain.number("c-hat {M} =");
  ASSERT_GT(chat, 1.0);
  const auto se = [](const Deck_result& result, const char* title) {
    return row_of(section_of(result, title), 1, 1)[1];
  };
  const double size = se(plain, "Population Estimates of {M}"),
               growth = se(plain, " Lambda Estimates of {M}");
  EXPECT_NEAR(se(quasi, "Population Estimates of {M}"), size * std::sqrt(chat), 1e-5 * size * chat);
  EXPECT_NEAR(se(quasi, " Lambda Estimates of {M}"), growth, 1e-5);
  EXPECT_NEAR(se(given, "Population Estimates of {M}"), 2.0 * size, 1e-5 * size);
  EXPECT_NEAR(se(given, " Lambda Estimates of {M}"), 2.0 * growth, 1e-5);
}

const std::string entries =
    phi_and_p + "group=1 pent rows=1 cols=2 square time=3;\n group=1 N rows=1 cols=1 square constant=5;\n";
const std::string entry_links = "LOGIT; LOGIT; MLOGIT(1); MLOGIT(1); LOG;\n";
// The ten that were lost are among them.
constexpr double caught = 12 + 31 + 14 + 66 + 29 + 58 + 83 + 4 + 6;

/// The four sections of POPAN agree with each other and with the reals.
void expect_entrants(const Deck_result& result, double everybody, const std::vector<double>& pent) {
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const std::string gross = section_of(result, "Gross Birth+Immigration Estimates of {M}"),
                    net = section_of(result, "Net Birth+Immigration Estimates of {M}"),
                    total = section_of(result, "Population Estimates of {M}"),
                    sizes = section_of(Deck_result{"", total.substr(10), ""}, "Population Estimates of {M}");
  const double phi = result.real(1).estimate, lost[] = {6.0, 0.0};
  double n = 0.0, all = 0.0;
  for (int o = 1; o <= 3; ++o) {
    const auto k = static_cast<std::size_t>(o) - 1;
    const double births = everybody * pent[k],
                 with_dead = o == 1 ? births : births * std::log(phi) / (phi - 1.0);
    n = o == 1 ? births : (n - lost[k - 1]) * phi + births;
    all += with_dead;
    // Reals of seven digits.
    EXPECT_NEAR(row_of(net, 1, o)[0], births, 1e-5 * births) << o;
    EXPECT_NEAR(row_of(gross, 1, o)[0], with_dead, 1e-5 * with_dead) << o;
    EXPECT_NEAR(row_of(sizes, 1, o)[0], n, 1e-5 * n) << o;
    for (const std::string* section : {&net, &gross, &sizes}) {
      const std::vector<double> row = row_of(*section, 1, o);
      EXPECT_GT(row[1], 0.0);
      expect_limits(row, log_limits(row[0], row[1]));
    }
  }
  EXPECT_NEAR(row_of(total, "\n         1 ")[0], all, 1e-5 * all);
}

TEST(Decks, entrants_with_the_first_or_the_last_share_left_over) {
  const Deck_result first = run_deck(open_deck("POPAN", entry_links, entries, 5)),
                    last = run_deck(open_deck("POPAN", entry_links, entries, 5, " pentlast"));
  const double a = first.real(3).estimate, b = first.real(4).estimate;
  expect_entrants(first, caught + first.real(5).estimate, {1.0 - a - b, a, b});
  const double c = last.real(3).estimate, d = last.real(4).estimate;
  expect_entrants(last, caught + last.real(5).estimate, {c, d, 1.0 - c - d});
  EXPECT_NEAR(first.number("-2logL {M} ="), last.number("-2logL {M} ="), 1e-5);
}

TEST(Decks, entrants_of_a_number_that_is_fixed) {
  const Deck_result result =
      run_deck(open_deck("POPAN", entry_links, entries, 5, "", "fixed=1;\n parm(5)=500;\n"));
  const double a = result.real(3).estimate, b = result.real(4).estimate;
  expect_entrants(result, 500.0, {1.0 - a - b, a, b});
}

/// Emigration of none; f0 where `full`.
Deck_result plain_robust(bool full) {
  const std::string f0 =
      "group=1 f0 Session 1 rows=1 cols=1 square constant=2;\n group=1 f0 Session 2 rows=1 cols=1 square "
      "constant=3;\n";
  std::string deck = session_deck(
      full ? "ROBUST" : "RDHUGGINS",
      "group=1 S rows=1 cols=1 square constant=1;\n"
      "group=1 Gamma'' rows=1 cols=1 square constant=" +
          std::string(full ? "4" : "2") +
          ";\n group=1 Gamma' rows=1 cols=1 square constant=" + (full ? "4" : "2") + ";\n" + (full ? f0 : ""),
      full ? "LOGIT; LOG; LOG; LOGIT; " : "LOGIT; LOGIT; ", full ? 6 : 4);
  const std::string fixed =
      full ? "model={M};\nfixed=1;\n parm(4)=0;\n" : "model={M};\nfixed=1;\n parm(2)=0;\n";
  deck.replace(deck.find("model={M};\n"), 11, fixed);
  if (full) deck.erase(deck.find(" 10.10 7;"), 9);
  return run_deck(deck);
}

TEST(Decks, sizes_of_the_plain_robust_design) {
  expect_sizes(plain_robust(false), 3);
  const Deck_result full = plain_robust(true);
  ASSERT_EQ(full.stop, "NORMAL EXIT") << full.listing;
  const std::string section = section_of(full, "Population Estimates of {M}");
  const double known[] = {caught_1 - 7, caught_2};
  for (int s = 1; s <= 2; ++s) {
    const std::vector<double> row = row_of(section, 1, s);
    const Deck_result::Row f0 = full.real(1 + s);
    ASSERT_EQ(row.size(), 4u) << full.listing;
    EXPECT_NEAR(row[0], known[s - 1] + f0.estimate, 1e-5 * row[0]);
    EXPECT_NEAR(row[1], f0.se, 1e-4 * f0.se);
    expect_limits(row, population_limits(row[0], row[1], known[s - 1]));
  }
}

}  // namespace
}  // namespace tarn
