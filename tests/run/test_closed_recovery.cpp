// Fits of the closed types: expected counts of a large population give back the parameters that made them.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "support/closed_animals.h"
#include "support/deck_run.h"

namespace tarn {
namespace {

constexpr double population = 2e7;

std::string count_of(double animals) {
  char text[40];
  std::snprintf(text, sizeof text, " %.9g", animals);
  return text;
}

/// Constant rates within a mixture.
struct Design {
  int type;
  int noccas;
  std::vector<double> pi, p, c;  ///< by mixture; c empty: the type has none
  double alpha = 1.0, sigma = 0.0, ptilde = 0.0;
  double tolerance = 1e-5;
};

Closed_reals reals_of(const Design& d) {
  const std::size_t n = static_cast<std::size_t>(d.noccas);
  Closed_reals x;
  x.pi = d.pi;
  for (std::size_t m = 0; m < d.p.size(); ++m) {
    x.p.emplace_back(n, d.p[m]);
    x.c.emplace_back(n, d.c.empty() ? d.p[m] : d.c[m]);
  }
  x.alpha.assign(n, d.alpha);
  x.sigma.assign(n, d.sigma);
  return x;
}

/// The parameters in the order of their numbers: pi, p by mixture, c by mixture, alpha, sigma, f0, ptilde.
struct Numbered {
  std::string matrices;
  std::vector<double> truth, start;
};

/// Starts stand off the truth, on the scale of the link: mixtures in their order, for equal ones are a
/// saddle.
Numbered numbered(const Design& d, const Closed_kind& kind, double f0) {
  Numbered all;
  const auto logit = [](double rate) { return std::log(rate / (1.0 - rate)); };
  const auto add = [&](double truth, double start) {
    all.truth.push_back(truth);
    all.start.push_back(start);
    return std::to_string(all.truth.size());
  };
  const auto matrix = [&](const std::string& name, int columns, const std::vector<std::string>& rows) {
    all.matrices += "group=1 " + name + " rows=" + std::to_string(rows.size()) +
                    " cols=" + std::to_string(columns) + " square;\n";
    for (const std::string& number : rows) {
      for (int k = 0; k < columns; ++k) all.matrices += number + " ";
      all.matrices += ";\n";
    }
  };
  if (kind.effect) matrix("sigmap", 1, {add(d.sigma, logit(d.sigma) + 0.3)});
  if (kind.mixtures && d.pi.size() > 1) {
    std::vector<std::string> rows;
    for (std::size_t m = 0; m + 1 < d.pi.size(); ++m) rows.push_back(add(d.pi[m], logit(d.pi[m]) + 0.1));
    matrix("pi", 1, rows);
  }
  std::vector<std::string> rows;
  for (const double p : d.p) rows.push_back(add(p, logit(p) + 0.1));
  matrix("p", d.noccas, rows);
  if (kind.recapture) {
    rows.clear();
    for (const double c : d.c) rows.push_back(add(c, logit(c) - 0.1));
    matrix("c", d.noccas - 1, rows);
  }
  if (kind.identification) matrix("alpha", 1, {add(d.alpha, logit(d.alpha) - 0.2)});
  if (!kind.conditional) matrix("f0", 1, {add(f0, std::log(f0) - 0.2)});
  if (d.ptilde > 0.0) matrix("ptilde", 1, {add(d.ptilde, logit(d.ptilde) + 0.3)});
  return all;
}

Deck_result fitted(const Design& d, const std::string& records, const Numbered& model) {
  std::string start;
  for (const double value : model.start) start += " " + count_of(value);
  const std::string size = std::to_string(model.truth.size());
  const std::string deck = "proc chmatrix occasions=" + std::to_string(d.noccas) +
                           " groups=1 hist=20000 etype=" + std::string(datatype(d.type).keyword[0]) +
                           " nohist mixtures=" + std::to_string(d.p.size()) + ";\n" + records +
                           "proc estimate link=LOGIT;\n model={recovered};\n" + model.matrices +
                           "design matrix constraints=" + size + " covariates=" + size +
                           " identity;\ninitial" + start + ";\nproc stop;\n";
  return run_deck(deck);
}

void expect_truth(const Design& d, const Numbered& model, const Deck_result& result) {
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  for (std::size_t i = 0; i < model.truth.size(); ++i) {
    const double estimate = result.real(static_cast<int>(i) + 1).estimate, truth = model.truth[i];
    EXPECT_NEAR(estimate, truth, d.tolerance * std::max(1.0, truth))
        << "type " << d.type << " real " << i + 1;
  }
}

/// The estimate of the derived section: the population, or the density when the area is 1. Of misread marks
/// only the share `alpha` is known to be animals.
void expect_derived_truth(const Design& d, double animals, const Deck_result& result) {
  const std::size_t section = result.listing.find(" Estimates of {recovered}");
  ASSERT_NE(section, std::string::npos);
  const std::size_t row = result.listing.find("\n         1 ", section);
  ASSERT_NE(row, std::string::npos);
  const double truth = animals * d.alpha * (d.ptilde > 0.0 ? d.ptilde : 1.0);
  EXPECT_NEAR(std::strtod(result.listing.c_str() + row + 12, nullptr), truth, 10.0 * d.tolerance * truth)
      << "type " << d.type;
}

void PrintTo(const Design& d, std::ostream* out) { *out << "type " << d.type << ", mixtures " << d.p.size(); }

class Closed_recovery : public testing::TestWithParam<Design> {};

TEST_P(Closed_recovery, expected_counts_give_back_the_parameters) {
  const Design& d = GetParam();
  const Closed_kind kind = Closed_kind::of(d.type);
  const Closed_reals x = reals_of(d);
  const Closed_animals animals(kind, x);
  std::string records;
  for (const std::string& history : all_histories(d.noccas)) {
    if (history.find('1') == std::string::npos) continue;
    const double expected = population * animals.prob(history);
    if (d.ptilde == 0.0) {
      records += history + count_of(expected) + ";\n";
      continue;
    }
    // Two locations an animal; those of every third history have none.
    const double inside[] = {(1.0 - d.ptilde) * (1.0 - d.ptilde), 2.0 * d.ptilde * (1.0 - d.ptilde),
                             d.ptilde * d.ptilde};
    for (int i = 0; i <= 2; ++i)
      records += history + " " + std::to_string(i) + " 2" + count_of(expected * inside[i]) + ";\n";
  }
  const Numbered model = numbered(d, kind, population * animals.never());
  const Deck_result result = fitted(d, records, model);
  expect_truth(d, model, result);
  // In the conditional kinds the probabilities are those of animals caught.
  expect_derived_truth(d, kind.conditional ? population / (1.0 - animals.never()) : population, result);
}

INSTANTIATE_TEST_SUITE_P(
    types, Closed_recovery,
    testing::Values(Design{5, 5, {1.0}, {0.3}, {0.45}}, Design{12, 5, {1.0}, {0.3}, {0.45}},
                    Design{22, 7, {0.4, 0.6}, {0.25, 0.6}, {}}, Design{25, 6, {0.4, 0.6}, {0.15, 0.5}, {}},
                    Design{23, 6, {0.4, 0.6}, {0.2, 0.5}, {0.35, 0.7}},
                    Design{26, 6, {0.4, 0.6}, {0.2, 0.5}, {0.35, 0.7}},
                    Design{49, 5, {1.0}, {0.3}, {0.45}, 0.9}, Design{50, 5, {1.0}, {0.3}, {0.45}, 0.9},
                    Design{51, 6, {0.4, 0.6}, {0.2, 0.6}, {}, 0.85},
                    Design{53, 6, {0.4, 0.6}, {0.2, 0.6}, {}, 0.85},
                    Design{52, 7, {0.4, 0.6}, {0.2, 0.6}, {0.3, 0.7}, 0.85},
                    Design{54, 7, {0.4, 0.6}, {0.2, 0.6}, {0.3, 0.7}, 0.85},
                    Design{145, 5, {1.0}, {0.3}, {0.45}, 1.0, 0.8},
                    Design{127, 4, {1.0}, {0.3}, {0.45}, 1.0, 0.0, 0.65},
                    Design{128, 6, {0.4, 0.6}, {0.15, 0.5}, {}, 1.0, 0.0, 0.65},
                    Design{129, 6, {0.4, 0.6}, {0.2, 0.5}, {0.35, 0.7}, 1.0, 0.0, 0.65},
                    Design{25, 10, {0.3, 0.4, 0.3}, {0.1, 0.35, 0.7}, {}},
                    Design{161, 5, {1.0}, {0.3}, {0.45}, 1.0, 0.8, 0.65}));

// With p constant in each of many mixtures a history says no more than its number of captures.
/// Animals by the number of occasions, of 7, on which they were caught: simulated with 40 % of the animals of
/// p .1 and 60 % of p .3, but best told by a class that is hardly ever caught.
constexpr int captures_of[] = {66, 38, 25, 7, 0, 1};
constexpr double animals_caught = 137.0;

/// What -2 log likelihood of two mixtures tends to as p of the first goes to 0: a share w of the animals
/// caught is of that class and was caught once, on any occasion. The best share is known for each p of the
/// other.
double limit_of_a_rare_class(double p) {
  const auto chance = [p](int k) {
    return std::pow(p, k) * std::pow(1.0 - p, 7 - k) / -std::expm1(7.0 * std::log1p(-p));
  };
  const double rest = animals_caught - captures_of[0], more = 1.0 / 7.0 - chance(1);
  const double w = (captures_of[0] * more - rest * chance(1)) / (animals_caught * more);
  double f = captures_of[0] * std::log(w / 7.0 + (1.0 - w) * chance(1));
  for (int k = 2; k <= 6; ++k) f += captures_of[k - 1] * std::log((1.0 - w) * chance(k));
  return -2.0 * f;
}

double least_limit() {
  double low = 0.2, high = 0.5;
  while (high - low > 1e-7) {
    const double left = low + (high - low) / 3.0, right = high - (high - low) / 3.0;
    (limit_of_a_rare_class(left) < limit_of_a_rare_class(right) ? high : low) =
        limit_of_a_rare_class(left) < limit_of_a_rare_class(right) ? right : left;
  }
  return limit_of_a_rare_class(low);
}

// No start ends beyond the limit, and N is that of p* to the digits of the listing.
TEST(Closed_rare_class, likelihood_and_population_are_right_on_the_way_to_no_capture) {
  std::string records;
  for (int k = 1; k <= 6; ++k)
    if (captures_of[k - 1] > 0)
      records += std::string(static_cast<std::size_t>(k), '1') +
                 std::string(static_cast<std::size_t>(7 - k), '0') + " " +
                 std::to_string(captures_of[k - 1]) + ";\n";
  const std::string head = "proc chmatrix occasions=7 groups=1 hist=20 etype=HUGHET mixtures=2;\n" + records +
                           "proc estimate link=LOGIT;\n model={rare};\n"
                           "group=1 pi rows=1 cols=1 square;\n1;\ngroup=1 p rows=2 cols=7 square;\n"
                           "2 2 2 2 2 2 2;\n3 3 3 3 3 3 3;\n"
                           "design matrix constraints=3 covariates=3 identity;\n";
  const double limit = least_limit();
  for (const char* start : {"0 -1.5 0.5", "-2.406297141 -0.3213924505 -0.1866883838",
                            "-2.406297141 -0.1866883838 -0.3213924505", "3 -12 -1"}) {
    const Deck_result result = run_deck(head + "initial " + start + ";\nproc stop;\n");
    ASSERT_EQ(result.stop, "NORMAL EXIT") << start << result.listing;
    // Four decimals are shown, and the search stops where nothing moves them.
    const double f = result.number("-2logL {rare} =");
    EXPECT_GT(f, limit - 1e-4) << start;
    EXPECT_LT(f, limit + 1e-3) << start;

    const auto chance = [](double logit) { return 1.0 / (1.0 + std::exp(-logit)); };
    const auto caught = [&](double logit) { return -std::expm1(7.0 * std::log1p(-chance(logit))); };
    const double pi = result.beta(1).estimate;
    const double pstar =
        chance(pi) * caught(result.beta(2).estimate) + chance(-pi) * caught(result.beta(3).estimate);
    const std::size_t row = result.listing.find("\n         1 ", result.listing.find("Population Estimates"));
    ASSERT_NE(row, std::string::npos);
    const double population = std::strtod(result.listing.c_str() + row + 12, nullptr);
    // Betas of some 30 are shown to 1e-6.
    EXPECT_NEAR(population * pstar / animals_caught, 1.0, 1e-5) << start;
  }
}

TEST(Closed_recovery_of_many, four_and_five_mixtures_reach_the_likelihood_of_the_truth) {
  const Design designs[] = {{25, 20, {0.2, 0.3, 0.3, 0.2}, {0.08, 0.3, 0.55, 0.85}, {}},
                            {25, 20, {0.15, 0.2, 0.3, 0.2, 0.15}, {0.06, 0.22, 0.45, 0.7, 0.92}, {}}};
  for (const Design& d : designs) {
    const auto captures = [&](int k) {  // probability of one history with k captures
      double total = 0.0;
      for (std::size_t m = 0; m < d.p.size(); ++m)
        total += d.pi[m] * std::pow(d.p[m], k) * std::pow(1.0 - d.p[m], d.noccas - k);
      return total;
    };
    const double pstar = 1.0 - captures(0);
    std::string records;
    double expected = 0.0, ways = 1.0;
    for (int k = 1; k <= d.noccas; ++k) {
      ways *= static_cast<double>(d.noccas - k + 1) / k;
      const double count = 1000.0 * ways * captures(k) / pstar;
      records += std::string(static_cast<std::size_t>(k), '1') +
                 std::string(static_cast<std::size_t>(d.noccas - k), '0') + count_of(count) + ";\n";
      expected -= 2.0 * count * std::log(captures(k) / pstar);
    }
    const Deck_result result = fitted(d, records, numbered(d, Closed_kind::of(d.type), 1.0));
    ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
    EXPECT_NEAR(result.number("-2logL {recovered} = ") / expected, 1.0, 1e-6) << d.p.size();
  }
}

TEST(Closed_recovery_of_many, rates_of_every_occasion_when_recaptures_are_like_captures) {
  const Closed_kind kind = Closed_kind::of(12);
  Closed_reals x;
  x.pi = {1.0};
  x.p = x.c = {{0.2, 0.5, 0.35, 0.1, 0.6}};
  x.alpha.assign(5, 1.0);
  const Closed_animals animals(kind, x);
  std::string records;
  for (const std::string& history : all_histories(5))
    if (history.find('1') != std::string::npos)
      records += history + count_of(population * animals.prob(history)) + ";\n";
  const Deck_result result =
      run_deck("proc chmatrix occasions=5 groups=1 hist=40 etype=HUGGINS nohist;\n" + records +
               "proc estimate link=LOGIT;\n model={recovered};\n"
               "group=1 p rows=1 cols=5 square time=1;\ngroup=1 c rows=1 cols=4 square time=2;\n"
               "design matrix constraints=5 covariates=5 identity;\nproc stop;\n");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  for (int o = 1; o <= 5; ++o)
    EXPECT_NEAR(result.real(o).estimate, x.p[0][static_cast<std::size_t>(o) - 1], 1e-5) << o;
}

// Two groups: rates of every occasion of their own, recaptures a common step away on the logit scale.
TEST(Closed_recovery_of_many, recaptures_a_constant_away_in_two_groups) {
  const Closed_kind kind = Closed_kind::of(5);
  const double rates[2][5] = {{0.2, 0.5, 0.35, 0.3, 0.6}, {0.45, 0.3, 0.25, 0.5, 0.4}}, sizes[2] = {2e7, 3e7};
  constexpr double step = 0.7;
  std::vector<Closed_reals> x(2);
  std::vector<double> never;
  std::vector<Closed_animals> animals;
  for (std::size_t g = 0; g < 2; ++g) {
    x[g].pi = {1.0};
    x[g].p = {std::vector<double>(rates[g], rates[g] + 5)};
    x[g].c = x[g].p;
    for (double& c : x[g].c[0]) c = 1.0 / (1.0 + (1.0 - c) / c * std::exp(-step));
    x[g].alpha.assign(5, 1.0);
    animals.emplace_back(kind, x[g]);
    never.push_back(sizes[g] * animals[g].never());
  }
  std::string records;
  for (const std::string& history : all_histories(5))
    if (history.find('1') != std::string::npos)
      records += history + count_of(sizes[0] * animals[0].prob(history)) +
                 count_of(sizes[1] * animals[1].prob(history)) + ";\n";
  std::string matrices, design;
  int number = 0;
  for (int g = 1; g <= 2; ++g) {
    const std::string group = "group=" + std::to_string(g);
    const auto next = [&number](int size) {
      const int first = number + 1;
      number += size;
      return std::to_string(first);
    };
    matrices += group + " p rows=1 cols=5 square time=" + next(5) + ";\n";
    matrices += group + " c rows=1 cols=4 square time=" + next(4) + ";\n";
    matrices += group + " f0 rows=1 cols=1 square constant=" + next(1) + ";\n";
    for (int row = 1; row <= 10; ++row) {
      const int own = row <= 5 ? row : row <= 9 ? row - 4 : 6;  // column among the group's six
      for (int column = 1; column <= 13; ++column) {
        const bool is_step = column == 13 && row > 5 && row < 10;
        design += column == 6 * (g - 1) + own || is_step ? "1 " : "0 ";
      }
      design += ";\n";
    }
  }
  // A search that starts with few animals never caught ends where there are none.
  std::string start = "initial";
  for (int g = 0; g < 2; ++g)
    start += " -1 -1 -1 -1 -1" + count_of(std::log(never[static_cast<std::size_t>(g)]) - 0.3);
  start += " 0.3";
  const Deck_result result =
      run_deck("proc chmatrix occasions=5 groups=2 hist=40 etype=CLOSED nohist;\n" + records +
               "proc estimate link=LOGIT;\n model={recovered};\n" + matrices +
               "design matrix constraints=20 covariates=13;\n" + design + start + ";\nproc stop;\n");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  for (int g = 0; g < 2; ++g) {
    const auto& of = x[static_cast<std::size_t>(g)];
    for (int o = 1; o <= 5; ++o)
      EXPECT_NEAR(result.real(10 * g + o).estimate, of.p[0][static_cast<std::size_t>(o) - 1], 1e-5) << g << o;
    for (int o = 2; o <= 5; ++o)
      EXPECT_NEAR(result.real(10 * g + 4 + o).estimate, of.c[0][static_cast<std::size_t>(o) - 1], 1e-5)
          << g << o;
    const double f0 = never[static_cast<std::size_t>(g)];
    EXPECT_NEAR(result.real(10 * g + 10).estimate / f0, 1.0, 1e-5) << g;
  }
}

TEST(Closed_recovery_of_many, slope_of_a_covariate) {
  const Closed_kind kind = Closed_kind::of(12);
  const double beta[] = {-0.8, 0.3, 0.5};  // p, c, and the covariate in both
  const auto expit = [](double y) { return 1.0 / (1.0 + std::exp(-y)); };
  std::string records;
  for (const double value : {-1.0, 0.0, 2.0}) {
    Closed_reals x;
    x.pi = {1.0};
    x.p = {std::vector<double>(5, expit(beta[0] + beta[2] * value))};
    x.c = {std::vector<double>(5, expit(beta[1] + beta[2] * value))};
    x.alpha.assign(5, 1.0);
    const Closed_animals animals(kind, x);
    for (const std::string& history : all_histories(5))
      if (history.find('1') != std::string::npos)
        records += history + count_of(1e6 * animals.prob(history)) + count_of(value) + ";\n";
  }
  const Deck_result result = run_deck(
      "proc chmatrix occasions=5 groups=1 hist=100 icovar=1 etype=HUGGINS nohist;\nicovariates=weight;\n" +
      records +
      "proc estimate link=LOGIT;\n model={recovered};\n"
      "group=1 p rows=1 cols=5 square constant=1;\ngroup=1 c rows=1 cols=4 square constant=2;\n"
      "design matrix constraints=2 covariates=3;\n1 0 weight;\n0 1 weight;\nproc stop;\n");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  for (int i = 1; i <= 3; ++i) EXPECT_NEAR(result.beta(i).estimate, beta[i - 1], 1e-5) << i;
}

}  // namespace
}  // namespace tarn
