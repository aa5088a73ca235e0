// Fits of sites: expected counts of a large number of sites give back the rates that made them.
//
// Counts are kept to 1 in 1.7e7, and estimates come as near to the truth as the search goes, which is well
// within 1e-5.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/fitted_models.h"
#include "support/recovery_deck.h"
#include "support/site_laws.h"

namespace tarn {
namespace {

constexpr double tolerance = 1e-5, sites = 1e7;

/// The rates of a parameter, or of one of its matrices.
struct Rates {
  /// As a deck names it, without the session: all sessions have the same ones.
  std::string name;
  std::vector<double> values;  ///< one for all columns, or one for each
  std::string link = "LOGIT";
};

struct Case {
  int type;
  std::vector<int> lengths;
  std::vector<Rates> rates;
  std::string options{};  ///< of the data procedure
  Site_layout layout{};
  std::vector<double> start{};  ///< betas
  int most = 0;                 ///< the largest count of the types that have counts
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.type; }

class Site_recovery : public testing::TestWithParam<Case> {
 protected:
  /// The rates of the matrix with this name.
  static const Rates& rates_of(const std::string& name, const std::string& words) {
    const std::string whole = name + words.substr(0, words.find(" Session"));
    for (const std::string& wanted : {whole, name})
      for (const Rates& rates : GetParam().rates)
        if (rates.name == wanted) return rates;
    throw std::out_of_range(whole);
  }

  /// The matrices of the deck. Classes have a rate each, in their rows.
  static Recovered_model model() {
    const Case& c = GetParam();
    Recovered_model made;
    std::map<std::string, std::vector<int>> numbers;
    for (const std::string& name : parmlist(c.type))
      for (const Matrix_size& size : site_matrices(c.type, name, c.lengths, c.layout)) {
        const std::string words = site_matrix_words(c.type, name, size);
        const Rates& rates = rates_of(name, words);
        std::vector<int>& own = numbers[rates.name];
        if (own.empty())
          for (const double value : rates.values) own.push_back(made.real(value, rates.link));
        std::vector<std::vector<int>> rows;
        for (int r = 0; r < size.rows; ++r) {
          rows.emplace_back();
          for (int k = 0; k < size.columns; ++k)
            rows.back().push_back(own[own.size() == 1 ? 0 : static_cast<std::size_t>(size.rows > 1 ? r : k)]);
        }
        made.matrix_of_numbers(name + words, rows);
      }
    if (!c.start.empty()) made.start(c.start);
    return made;
  }

  static double rate(const std::string& name, int column, int second, int third, int row) {
    const Case& c = GetParam();
    for (const Matrix_size& size : site_matrices(c.type, name, c.lengths, c.layout)) {
      if (size.second != second || size.third != third || row > size.rows || column > size.columns) continue;
      const Rates& rates = rates_of(name, site_matrix_words(c.type, name, size));
      const int at = size.rows > 1 ? row : column;
      return rates.values[rates.values.size() == 1 ? 0 : static_cast<std::size_t>(at) - 1];
    }
    return std::nan("");
  }

  /// Sites by what surveys of them show.
  static std::map<std::string, double> expected() {
    const Case& c = GetParam();
    const Site_paths paths(c.type, c.lengths, c.layout, 1, rate);
    std::vector<std::string> signs = site_signs(c.type, c.layout);
    signs.pop_back();
    if (c.most > 0) {
      signs.clear();
      for (int n = 0; n <= c.most; ++n)
        signs.push_back({static_cast<char>('0' + n / 10), static_cast<char>('0' + n % 10)});
    }
    std::map<std::string, double> counts;
    int surveys = 0;
    for (const int length : c.lengths) surveys += length;
    double sum = 0.0;
    for (const std::string& cells : all_sites(surveys, signs)) {
      const double chance = paths.chance(cells);
      sum += chance;
      counts[cells] = sites * chance;
    }
    EXPECT_NEAR(sum, 1.0, 1e-11);
    return counts;
  }

  static std::string data() {
    const Case& c = GetParam();
    int surveys = 0;
    std::string intervals;
    for (const int length : c.lengths) {
      for (int j = 1; j < length; ++j) intervals += " 0";
      intervals += " 1";
      surveys += length;
    }
    std::string text = "proc chmatrix occasions=" + std::to_string(surveys) + " groups=1 hist=9999 " +
                       c.options + " nohist etype=" + std::string(datatype(c.type).keyword[0]) + ";\n";
    if (datatype(c.type).strata_tail == Strata_tail::zero_first) text += "strata=1 2;\n";
    if (datatype(c.type).sessions) text += "time intervals" + intervals + ";\n";
    return text;
  }
};

TEST_P(Site_recovery, expected_counts_give_back_what_made_them) {
  const Recovered_model made = model();
  made.expect_recovered(made.fit(data(), record_lines(expected())), tolerance);
}

const Rates occupied{"Psi", {0.6}}, dies{"Epsilon", {0.25, 0.35}}, comes{"Gamma", {0.15, 0.3}};
/// The same with the shares of three seasons.
const Rates shares{"Psi", {0.6, 0.51, 0.4785}};
/// The first class is the one that a search starts with the higher rate.
const std::vector<Rates> classes{{"pi", {0.4}}, {"p", {0.7, 0.25}}};
const std::vector<Rates> spread{{"sigmap", {0.8}, "LOG"}, {"p", {0.4}}};

std::vector<Rates> together(std::vector<Rates> first, const std::vector<Rates>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

INSTANTIATE_TEST_SUITE_P(
    one_species, Site_recovery,
    testing::Values(
        Case{27, {4}, {{"p", {0.3, 0.5, 0.2, 0.45}}, occupied}},
        Case{28, {2, 3, 2}, {shares, dies, {"p", {0.4}}}}, Case{29, {2, 3, 2}, {shares, comes, {"p", {0.4}}}},
        Case{30, {2, 3, 2}, {occupied, dies, comes, {"p", {0.4}}}},
        Case{107, {5}, together({occupied}, classes), "mixtures=2"},
        Case{108, {4, 4}, together({{"Psi", {0.6, 0.51}}, {"Epsilon", {0.25}}}, classes), "mixtures=2"},
        Case{109, {4, 4}, together({{"Psi", {0.6, 0.51}}, {"Gamma", {0.15}}}, classes), "mixtures=2"},
        Case{
            110, {4, 4}, together({occupied, {"Epsilon", {0.25}}, {"Gamma", {0.15}}}, classes), "mixtures=2"},
        Case{151, {5}, together({occupied}, spread), "nodes=41"},
        Case{152, {3, 3, 3}, together({shares, dies}, spread), "nodes=41"},
        Case{153, {3, 3, 3}, together({shares, comes}, spread), "nodes=41"},
        Case{154, {3, 3, 3}, together({occupied, dies, comes}, spread), "nodes=41"},
        Case{156, {3}, {occupied, {"p10", {0.1}}, {"p11", {0.6}}, {"b", {0.3}}}},
        Case{157, {2, 2, 2}, {occupied, dies, comes, {"p10", {0.1}}, {"p11", {0.6}}, {"b", {0.3}}}},
        Case{143, {6}, {{"Psi", {0.7}}, {"Theta", {0.4}}, {"Theta'", {0.8}}, {"p", {0.6}}}},
        Case{
            144,
            {6},
            {{"Psi", {0.7}}, {"pent", {0.15, 0.1, 0.2, 0.05, 0.1}, "MLOGIT(1)"}, {"d", {0.2}}, {"p", {0.6}}}},
        Case{170,
             {4, 5},
             {occupied,
              {"Epsilon", {0.25}},
              {"Gamma", {0.15}},
              {"pent", {0.15}},
              {"d", {0.2}},
              {"p", {0.6}}}}),
    [](const auto& info) { return "type_" + std::to_string(info.param.type); });

INSTANTIATE_TEST_SUITE_P(
    numbers_of_animals, Site_recovery,
    testing::Values(Case{111, {4}, {{"r", {0.2, 0.3, 0.25, 0.15}}, {"Lambda", {1.5}, "LOG"}}},
                    Case{112, {6}, {{"r", {0.3}}, {"Lambda", {1.5}, "LOG"}, {"VarAdd", {1.8}, "LOG"}}},
                    Case{117, {2}, {{"r", {0.3, 0.5}}, {"Lambda", {2.0}, "LOG"}}, "", {}, {}, 20},
                    Case{118,
                         {2},
                         {{"r", {0.3, 0.5}}, {"Lambda", {2.0}, "LOG"}, {"VarAdd", {1.0}, "LOG"}},
                         "",
                         {},
                         {},
                         30}),
    [](const auto& info) { return "type_" + std::to_string(info.param.type); });

const std::vector<Rates> dominant{{"PsiA", {0.5}}, {"PsiBA", {0.6}}, {"PsiBa", {0.2}}, {"pA", {0.4}},
                                  {"pB", {0.5}},   {"rA", {0.3}},    {"rBA", {0.7}},   {"rBa", {0.25}}};

INSTANTIATE_TEST_SUITE_P(
    states_species_and_scales, Site_recovery,
    testing::Values(
        // From a start at which the shares leave something for every state.
        Case{113,
             {4},
             {{"PsiAB", {0.3}},
              {"PsiA", {0.5}},
              {"PsiB", {0.6}},
              {"pA", {0.4}},
              {"pB", {0.5}},
              {"rAB", {0.2}, "MLOGIT(1)"},
              {"rAb", {0.3}, "MLOGIT(1)"},
              {"raB", {0.1}, "MLOGIT(1)"}},
             "",
             {},
             {-1.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0}},
        Case{137, {4}, dominant},
        Case{141,
             {2, 3},
             together(dominant, {{"GammaA", {0.2}},
                                 {"GammaB", {0.3}},
                                 {"GammaAB", {0.15}},
                                 {"GammaBA", {0.25}},
                                 {"EpsilonA", {0.1}},
                                 {"EpsilonB", {0.2}},
                                 {"EpsilonAB", {0.35}},
                                 {"EpsilonBA", {0.4}}})},
        Case{116, {4}, {{"Psi1", {0.7}}, {"Psi2", {0.4}}, {"p1", {0.3}}, {"p2", {0.6}}, {"Delta", {0.5}}}},
        Case{124,
             {3, 3},
             {{"Phi0 1 :", {0.35}, "MLOGIT(1)"},
              {"Phi0 2 :", {0.25}, "MLOGIT(1)"},
              {"Psi 0 :", {0.2}},
              {"Psi 1 :", {0.6}},
              {"Psi 2 :", {0.8}},
              {"R 0 :", {0.3}},
              {"R 1 :", {0.4}},
              {"R 2 :", {0.7}},
              {"p 1 :", {0.3}},
              {"p 2 :", {0.6}},
              {"Delta", {0.5}}},
             "strata=2"},
        Case{125,
             {3, 3},
             {{"Phi0 1 :", {0.35}, "MLOGIT(1)"},
              {"Phi0 2 :", {0.25}, "MLOGIT(1)"},
              {"Psi 0 to 1", {0.15}, "MLOGIT(2)"},
              {"Psi 0 to 2", {0.1}, "MLOGIT(2)"},
              {"Psi 1 to 0", {0.3}, "MLOGIT(3)"},
              {"Psi 1 to 2", {0.25}, "MLOGIT(3)"},
              {"Psi 2 to 0", {0.2}, "MLOGIT(4)"},
              {"Psi 2 to 1", {0.15}, "MLOGIT(4)"},
              {"p 1|1", {0.4}},
              {"p 1|2", {0.3}, "MLOGIT(5)"},
              {"p 2|2", {0.35}, "MLOGIT(5)"}},
             "strata=2"},
        Case{123, {6}, {{"Psi", {0.6}}, {"Theta", {0.5, 0.7, 0.6}}, {"p", {0.4, 0.3}}}, "mixtures=2"},
        Case{175,
             {4, 4},
             {occupied, {"Epsilon", {0.25}}, {"Gamma", {0.15}}, {"Theta", {0.5, 0.7}}, {"p", {0.4, 0.3}}},
             "mixtures=2"},
        Case{177,
             {3},
             {{"f", {0.5, -0.4, 0.2, 0.8, -0.3, 0.4, 0.25}, "IDENTITY"},
              {"p 1 :", {0.5}},
              {"p 2 :", {0.6}},
              {"p 3 :", {0.45}}},
             "mixtures=3",
             {.species = 3}}),
    [](const auto& info) { return "type_" + std::to_string(info.param.type); });

}  // namespace
}  // namespace tarn
