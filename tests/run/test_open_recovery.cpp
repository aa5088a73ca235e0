// Fits of the open populations whose first captures are data: expected counts of a large population give back
// the parameters that made them.
//
// Counts are kept to 1 in 1.7e7, and estimates come as near to the truth as the search goes, which is well
// within 1e-5. The number never caught of a superpopulation of N animals is known to some 1 / N more.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "data/catalogue/datatype.h"
#include "support/open_population.h"
#include "support/recovery_deck.h"

namespace tarn {
namespace {

constexpr double tolerance = 1e-5;

/// History to counts by group: released, lost.
using Counts = std::map<std::string, std::vector<std::array<double, 2>>>;

std::string records_of(const Counts& counts) {
  std::string records;
  for (const auto& [history, groups] : counts)
    for (const std::size_t kind : {0U, 1U}) {
      std::string of_groups;
      bool any = false;
      for (const auto& group : groups) {
        any = any || group[kind] > 0.0;
        of_groups += text_of(kind == 0 ? group[kind] : -group[kind]);
      }
      if (any) records += history + of_groups + ";\n";
    }
  return records;
}

/// A deck and the reals that it should find, in the order of their numbers.
class Deck {
 public:
  Deck(int type, int occasions, int groups, const std::string& intervals, const Counts& counts)
      : data_("proc chmatrix occasions=" + std::to_string(occasions) + " groups=" + std::to_string(groups) +
              " hist=500 etype=" + std::string(datatype(type).keyword[0]) + " nohist;\n" + intervals +
              records_of(counts)) {}

  /// A matrix of one row with a number for each of its columns, or one for all.
  void matrix(int group, const std::string& name, const std::vector<double>& truth, const std::string& link) {
    matrices_ += "group=" + std::to_string(group) + " " + name +
                 " rows=1 cols=" + std::to_string(truth.size()) + " square time=" + next() + ";\n";
    for (const double real : truth) add(real, link);
  }
  void constant(int group, const std::string& name, int columns, double truth, const std::string& link) {
    matrices_ += "group=" + std::to_string(group) + " " + name + " rows=1 cols=" + std::to_string(columns) +
                 " square constant=" + next() + ";\n";
    add(truth, link);
  }
  /// Columns that share their numbers, which count from 1 within the matrix.
  void shared(int group, const std::string& name, const std::vector<int>& numbers,
              const std::vector<double>& truth, const std::string& link) {
    matrices_ += "group=" + std::to_string(group) + " " + name +
                 " rows=1 cols=" + std::to_string(numbers.size()) + " square;\n";
    const int before = static_cast<int>(truth_.size());
    for (const int number : numbers) matrices_ += " " + std::to_string(before + number);
    matrices_ += ";\n";
    for (const double real : truth) add(real, link);
  }
  void options(const std::string& words) { options_ = words; }
  /// The last real stays where it is.
  void fix_last() {
    ++fixed_count_;
    fixed_ += "parm(" + std::to_string(truth_.size()) + ")=" + text_of(truth_.back()) + ";\n";
  }
  const std::vector<double>& truth() const { return truth_; }

  std::string text() const {
    const std::string size = std::to_string(truth_.size());
    return data_ + "proc estimate " + options_ + ";\n model={recovered};\n" + matrices_ +
           "design matrix constraints=" + size + " covariates=" + size + " identity;\n" +
           (fixed_count_ > 0 ? "fixed=" + std::to_string(fixed_count_) + ";\n" + fixed_ : std::string()) +
           (options_.starts_with("link=parm-specific") ? "links;\n" + links_ : std::string()) +
           "proc stop;\n";
  }

 private:
  std::string next() const { return std::to_string(truth_.size() + 1); }
  void add(double truth, const std::string& link) {
    truth_.push_back(truth);
    links_ += link + ";\n";
  }
  std::string data_, options_ = "link=LOGIT", matrices_, links_, fixed_;
  int fixed_count_ = 0;
  std::vector<double> truth_;
};

/// @param rest  deviance that expected counts leave; not a number where the cells are no distribution
void expect_truth(const Deck& deck, const std::string& what, double rest) {
  const Deck_result result = run_deck(deck.text());
  ASSERT_EQ(result.stop, "NORMAL EXIT") << what << result.listing;
  for (std::size_t i = 0; i < deck.truth().size(); ++i) {
    const double truth = deck.truth()[i];
    EXPECT_NEAR(result.real(static_cast<int>(i) + 1).estimate, truth, tolerance * std::max(1.0, truth))
        << what << " real " << i + 1;
  }
  if (std::isnan(rest)) return;
  // Counts are off by 6e-8 of themselves, and 4e-15 of them enters sums of squares; sums of 1e9 have digits
  // to 1e-6.
  EXPECT_NEAR(result.number(" DEVIANCE {recovered} ="), rest, 1e-4) << what;
  EXPECT_NEAR(result.number("Pearson Chisquare {recovered} ="), 0.0, 1e-4) << what;
}

/// What is left of the number caught, of those that were there: no chance makes its value certain.
double rest_of_size(double caught, double present) {
  const double never = present - caught, share = caught / present;
  return -2.0 * (std::lgamma(present + 1.0) - std::lgamma(caught + 1.0) - std::lgamma(never + 1.0) +
                 caught * std::log(share) + never * std::log(1.0 - share));
}

const std::vector<double> lengths{1.0, 2.0, 0.5, 1.5};
constexpr const char* lengths_text = "time intervals 1 2 0.5 1.5;\n";

/// Two groups of five occasions, one p each.
std::vector<Population> two_populations(double loss) {
  return {{2e7, {0.8, 0.7, 0.9, 0.75}, std::vector<double>(5, 0.4), {1.1, 0.95, 1.2, 0.9}, loss},
          {3e7, {0.6, 0.85, 0.7, 0.8}, std::vector<double>(5, 0.5), {0.9, 1.05, 1.0, 1.1}, 0.5 * loss}};
}

Counts counts_of(const std::vector<Population>& groups, const std::vector<double>& t) {
  Counts counts;
  for (const Population& group : groups)
    for (const auto& [history, of_kinds] : expected_counts(group, t).counts)
      counts[history].push_back(of_kinds);
  return counts;
}

/// What type `n` calls the growth of a population.
void growth(Deck& deck, int n, int group, const Population& of) {
  std::vector<double> gamma, f;
  for (std::size_t c = 0; c < of.phi.size(); ++c) {
    gamma.push_back(of.phi[c] / of.lambda[c]);
    f.push_back(of.lambda[c] - of.phi[c]);
  }
  if (n == 14 || n == 15)
    deck.matrix(group, "Gamma", gamma, "LOGIT");
  else if (n == 16)
    deck.matrix(group, "Lambda", of.lambda, "LOG");
  else
    deck.matrix(group, "f", f, "LOG");
}

class Open_recovery : public testing::TestWithParam<int> {};

TEST_P(Open_recovery, rates_of_every_interval) {
  const int type = GetParam();
  // Of the animals lost, type 14 and 31 know nothing.
  for (const double loss : {0.0, 0.1}) {
    if (loss > 0.0 && (type == 14 || type == 31)) continue;
    const std::vector<Population> truth = two_populations(loss);
    Deck deck(type, 5, 2, lengths_text, counts_of(truth, lengths));
    for (int g = 1; g <= 2; ++g) {
      const Population& of = truth[static_cast<std::size_t>(g) - 1];
      if (type != 14) deck.matrix(g, "Phi", of.phi, "LOGIT");
      deck.constant(g, "p", 5, of.p[0], "LOGIT");
      growth(deck, type, g, of);
    }
    expect_truth(deck, "loss " + std::to_string(loss), loss > 0.0 ? std::nan("") : 0.0);
  }
}

// Constant survival and growth tell p of every occasion, but of 14, which never reads the last one.
TEST_P(Open_recovery, capture_on_every_occasion) {
  const int type = GetParam();
  const Population truth{
      2e7, std::vector<double>(4, 0.8), {0.3, 0.5, 0.35, 0.6, 0.45}, std::vector<double>(4, 0.95), 0.0};
  Deck deck(type, 5, 1, lengths_text, counts_of({truth}, lengths));
  if (type != 14) deck.constant(1, "Phi", 4, 0.8, "LOGIT");
  std::vector<double> p = truth.p;
  if (type == 14) p.pop_back();
  deck.matrix(1, "p", p, "LOGIT");
  if (type == 14 || type == 15)
    deck.constant(1, "Gamma", 4, 0.8 / 0.95, "LOGIT");
  else if (type == 16)
    deck.constant(1, "Lambda", 4, 0.95, "LOG");
  else
    deck.constant(1, "f", 4, 0.95 - 0.8, "LOG");
  expect_truth(deck, "constant rates", 0.0);
}

INSTANTIATE_TEST_SUITE_P(types, Open_recovery, testing::Values(14, 15, 16, 17, 31));

/// A superpopulation, part of which enters ahead of each occasion; every animal caught is lost with a chance.
struct Superpopulation {
  double size;
  std::vector<double> phi, p, pent;
  double loss = 0.0;
};

/// Released and lost by history, and all animals ever caught.
Expected expected_of(const Superpopulation& of, const std::vector<double>& t) {
  const std::size_t last = of.p.size() - 1;
  std::vector<double> never_again(of.p.size(), 1.0);
  for (std::size_t o = last; o-- > 0;) {
    const double survives = std::pow(of.phi[o], t[o]);
    never_again[o] = 1.0 - survives + survives * (1.0 - of.p[o + 1]) * never_again[o + 1];
  }
  Expected made;
  double unmarked = 0.0;
  for (std::size_t first = 0; first <= last; ++first) {
    unmarked += of.size * of.pent[first];
    made.first_caught += unmarked * of.p[first];
    for (unsigned bits = 0; bits < 1U << (last - first); ++bits) {
      const std::string later = first < last ? binary_history(bits, static_cast<int>(last - first)) : "";
      const std::string history = std::string(first, '0') + "1" + later;
      const std::size_t end = history.rfind('1');
      double animals = unmarked * of.p[first];
      for (std::size_t o = first + 1; o <= end; ++o)
        animals *= (history[o - 1] == '1' ? 1.0 - of.loss : 1.0) * std::pow(of.phi[o - 1], t[o - 1]) *
                   (history[o] == '1' ? of.p[o] : 1.0 - of.p[o]);
      made.counts[history] = {animals * (1.0 - of.loss) * never_again[end], animals * of.loss};
    }
    if (first < last) unmarked *= (1.0 - of.p[first]) * std::pow(of.phi[first], t[first]);
  }
  return made;
}

struct Popan_case {
  bool fixed, last;
};

class Popan_sizes : public testing::TestWithParam<double> {};

TEST_P(Popan_sizes, entries_survival_and_size) {
  const Superpopulation truth[] = {
      {4e7, {0.8, 0.7, 0.9, 0.75}, std::vector<double>(5, 0.4), {0.35, 0.2, 0.15, 0.1, 0.2}, GetParam()},
      {6e7, {0.6, 0.85, 0.7, 0.8}, std::vector<double>(5, 0.5), {0.2, 0.25, 0.1, 0.15, 0.3}, 0.0}};
  Counts counts;
  std::vector<double> caught;
  // Histories of animals lost are no distribution.
  double rest = GetParam() > 0.0 ? std::nan("") : 0.0;
  for (const Superpopulation& of : truth) {
    const Expected expected = expected_of(of, lengths);
    caught.push_back(expected.first_caught);
    rest += rest_of_size(expected.first_caught, of.size);
    for (const auto& [history, of_kinds] : expected.counts) counts[history].push_back(of_kinds);
  }
  for (const Popan_case& c :
       {Popan_case{false, false}, Popan_case{false, true}, Popan_case{true, false}, Popan_case{true, true}}) {
    Deck deck(19, 5, 2, lengths_text, counts);
    deck.options(std::string("link=parm-specific") + (c.last ? " pentlast" : " pentfirst"));
    for (int g = 1; g <= 2; ++g) {
      const Superpopulation& of = truth[g - 1];
      deck.matrix(g, "Phi", of.phi, "LOGIT");
      deck.constant(g, "p", 5, of.p[0], "LOGIT");
      // All but the entry that is the remainder.
      const auto first = of.pent.begin() + (c.last ? 0 : 1);
      deck.matrix(g, "pent", {first, first + 4}, "MLOGIT(" + std::to_string(g) + ")");
      const double size = c.fixed ? of.size : of.size - caught[static_cast<std::size_t>(g) - 1];
      deck.constant(g, "N", 1, size, "LOG");
      if (c.fixed) deck.fix_last();
    }
    expect_truth(deck,
                 std::string(c.fixed ? "fixed N" : "free N") + (c.last ? ", the last entry" : ", the first"),
                 rest);
  }
}

INSTANTIATE_TEST_SUITE_P(losses, Popan_sizes, testing::Values(0.0, 0.1));

// Chances of entry with a link of their own each, and capture on every occasion under constant survival.
TEST(Popan_recovery, capture_on_every_occasion) {
  const Superpopulation truth{
      4e7, std::vector<double>(4, 0.8), {0.4, 0.4, 0.55, 0.35, 0.3}, {0.45, 0.15, 0.1, 0.2, 0.1}, 0.0};
  const Expected expected = expected_of(truth, lengths);
  Counts counts;
  for (const auto& [history, of_kinds] : expected.counts) counts[history].push_back(of_kinds);
  Deck deck(19, 5, 1, lengths_text, counts);
  deck.options("link=LOGIT");
  deck.constant(1, "Phi", 4, 0.8, "LOGIT");
  // Those of the first two occasions are one: entries would make up for any difference.
  deck.shared(1, "p", {1, 1, 2, 3, 4}, {0.4, 0.55, 0.35, 0.3}, "LOGIT");
  deck.matrix(1, "pent", {truth.pent.begin() + 1, truth.pent.end()}, "LOGIT");
  deck.constant(1, "N", 1, truth.size - expected.first_caught, "LOG");
  expect_truth(deck, "LOGIT", rest_of_size(expected.first_caught, truth.size));
}

/// 188 animals of a superpopulation, drawn.
constexpr const char* drawn_animals =
    "00100 22;\n10000 21;\n11000 7;\n01000 26;\n01100 7;\n01110 4;\n00011 7;\n11110 1;\n01101 2;\n"
    "00110 7;\n11100 6;\n11111 1;\n10110 1;\n11010 2;\n00010 26;\n11011 1;\n10001 2;\n00101 7;\n"
    "11001 2;\n10111 1;\n00001 27;\n01001 3;\n10100 1;\n01011 1;\n01111 1;\n01010 1;\n00111 1;\n";

std::string popan_deck(const std::string& links, const std::string& more = {}) {
  return std::string("proc chmatrix occasions=5 groups=1 hist=50 etype=POPAN nohist;\n") + drawn_animals +
         "proc estimate " + links +
         ";\n model={recovered};\n"
         "group=1 Phi rows=1 cols=4 square constant=1;\ngroup=1 p rows=1 cols=5 square constant=2;\n"
         "group=1 pent rows=1 cols=4 square time=3;\ngroup=1 N rows=1 cols=1 square constant=7;\n"
         "design matrix constraints=7 covariates=7 identity;\n" +
         more + "proc stop;\n";
}

// Chances of entry of .45 each leave a remainder of -.8 for the first occasion, where the search begins. It
// finds what it finds when the links keep them to 1.
TEST(Popan_recovery, entries_beyond_all_animals_are_left) {
  const Deck_result free = run_deck(popan_deck("link=LOGIT"));
  ASSERT_EQ(free.stop, "NORMAL EXIT") << free.listing;
  const Deck_result kept =
      run_deck(popan_deck("link=parm-specific",
                          "links;\nLOGIT;\nLOGIT;\nMLOGIT(1);\nMLOGIT(1);\nMLOGIT(1);\nMLOGIT(1);\nLOG;\n"));
  ASSERT_EQ(kept.stop, "NORMAL EXIT") << kept.listing;
  // Two searches end within the tolerance of their gradients, which leaves four digits behind the point.
  EXPECT_NEAR(free.number(" -2logL {recovered} ="), kept.number(" -2logL {recovered} ="), 1e-3);
}

// Where nobody is left to be caught for the first time on occasion 1 the chance of never being caught is
// above 1, and no number of animals makes up for it.
TEST(Popan_recovery, no_number_of_animals_pays_for_entries_beyond_all) {
  const double valid = run_deck(popan_deck("link=LOGIT", "initial 1 0 -2 -2 -2 -2 3;\n"))
                           .number("-2logL Initial {recovered} =");
  for (const double log_n : {3.0, 30.0, 300.0, 700.0}) {
    const Deck_result result =
        run_deck(popan_deck("link=LOGIT", "initial 1 -3 3 3 3 3" + text_of(log_n) + ";\n"));
    const double f = result.number("-2logL Initial {recovered} ="),
                 penalty = result.number("Penalty Initial {recovered} =");
    EXPECT_GT(penalty, 1e5) << log_n;
    EXPECT_GT(f + penalty, valid) << log_n;
  }
}

/// One data set, no expected counts of any of the models.
std::string perturbed_animals() {
  const Superpopulation made_by{
      1e7, {0.8, 0.7, 0.9, 0.75}, std::vector<double>(5, 0.4), {0.35, 0.2, 0.15, 0.1, 0.2}};
  std::mt19937 bits(9);
  std::string records;
  for (const auto& [history, of_kinds] : expected_of(made_by, {1.0, 1.0, 1.0, 1.0}).counts) {
    const double factor = 0.8 + 0.4 * static_cast<double>(bits() % 1000U) / 1000.0;
    records += history + " " + std::to_string(std::lround(of_kinds[0] * factor)) + ";\n";
  }
  return records;
}

/// Sizes by occasion of the only group.
std::vector<double> sizes_by_occasion(const Deck_result& result, int occasions) {
  std::vector<double> sizes;
  std::size_t place = result.listing.find("Grp. Occ.     N-hat");
  for (int o = 1; o <= occasions && place != std::string::npos; ++o) {
    place = result.listing.find("\n   1     " + std::to_string(o) + " ", place);
    if (place != std::string::npos)
      sizes.push_back(std::strtod(result.listing.c_str() + place + 12, nullptr));
  }
  return sizes;
}

// Entrants are told in different words: survival, capture and growth are the same.
TEST(Open_agreement, of_entries_growth_recruitment_and_seniority) {
  const std::string data = perturbed_animals();
  const auto fit = [&](const char* keyword, const std::string& growth, const std::string& links) {
    const int reals = growth.find("pent") != std::string::npos ? 10 : 9;
    return run_deck("proc chmatrix occasions=5 groups=1 hist=40 etype=" + std::string(keyword) +
                    " nohist;\n" + data +
                    "proc estimate link=parm-specific;\ngroup=1 Phi rows=1 cols=4 square time=1;\n"
                    "group=1 p rows=1 cols=5 square constant=5;\n" +
                    growth + "design matrix constraints=" + std::to_string(reals) +
                    " covariates=" + std::to_string(reals) +
                    " identity;\nlinks;\nLOGIT;\nLOGIT;\nLOGIT;\nLOGIT;\nLOGIT;\n" + links + "proc stop;\n");
  };
  const auto four = [](const std::string& link) { return link + link + link + link; };
  const std::string matrix = " rows=1 cols=4 square time=6;\n";
  const Deck_result lambda = fit("PRADLAMBDA", "group=1 Lambda" + matrix, four("LOG;\n")),
                    recruits = fit("PRADREC", "group=1 f" + matrix, four("LOG;\n")),
                    link_barker = fit("LINKBARKER", "group=1 f" + matrix, four("LOG;\n")),
                    seniority = fit("PRADSEN", "group=1 Gamma" + matrix, four("LOGIT;\n")),
                    popan = fit("POPAN",
                                "group=1 pent" + matrix + "group=1 N rows=1 cols=1 square constant=10;\n",
                                four("MLOGIT(1);\n") + "LOG;\n");
  for (const Deck_result* result : {&lambda, &recruits, &link_barker, &seniority, &popan}) {
    ASSERT_EQ(result->stop, "NORMAL EXIT");
    for (int i = 1; i <= 5; ++i)
      EXPECT_NEAR(result->real(i).estimate, lambda.real(i).estimate, tolerance) << "real " << i;
  }
  const std::vector<double> sizes = sizes_by_occasion(popan, 5);
  ASSERT_EQ(sizes.size(), 5U);
  for (int c = 1; c <= 4; ++c) {
    const double phi = lambda.real(c).estimate, growth = lambda.real(5 + c).estimate;
    EXPECT_NEAR(phi + recruits.real(5 + c).estimate, growth, tolerance) << c;
    EXPECT_NEAR(phi + link_barker.real(5 + c).estimate, growth, tolerance) << c;
    EXPECT_NEAR(phi / seniority.real(5 + c).estimate, growth, tolerance) << c;
    const std::size_t k = static_cast<std::size_t>(c);
    EXPECT_NEAR(sizes[k] / sizes[k - 1], growth, tolerance) << c;
  }
}

}  // namespace
}  // namespace tarn
