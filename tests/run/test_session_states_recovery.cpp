// Fits of robust designs of strata with open sessions, and of such with states that a capture may leave open:
// expected counts of a large population give back the rates that made them, and the sizes and times that
// follow from these.
//
// Counts are kept to 1 in 1.7e7, and estimates come as near to the truth as the search goes, which is well
// within 1e-5.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/section_rows.h"
#include "support/session_lives.h"

namespace tarn {
namespace {

constexpr double tolerance = 1e-5, animals = 1e7;
const std::string codes = "AB";
const std::vector<int> lengths{3, 2, 2};

/// The rates of a type: by name, of state A and of B, the same in all sessions; from A to B and back.
using Truth = std::map<std::string, std::vector<double>>;
const Truth& truth() {
  static const Truth all{{"S", {0.8, 0.7}},     {"Psi", {0.3, 0.2}},    {"pent", {0.25, 0.35}},
                         {"Phi", {0.7, 0.55}},  {"p", {0.55, 0.65}},    {"Omega", {0.4}},
                         {"pi", {0.6}},         {"Gamma", {0.75, 0.6}}, {"Delta", {0.7, 0.6}},
                         {"alpha", {0.9, 0.8}}, {"c", {0.75, 0.45}},    {"guess", {0.85, 0.75}},
                         {"later", {0.9, 0.8}}};
  return all;
}

/// The deck's matrices with their links, and the study that has the same rates.
struct Model_of_type {
  explicit Model_of_type(int type_number)
      : type(type_number), study(type, lengths, codes, {.between = {2.0F, 0.5F}, .rows = 2}) {
    study.draw(1);
    for (const std::string& name : parmlist(type))
      for (int a = 1; a <= 2; ++a) {
        if (a > static_cast<int>(truth().at(name).size())) continue;
        const double value = truth().at(name)[static_cast<std::size_t>(a) - 1];
        const std::string code(1, codes[static_cast<std::size_t>(a) - 1]);
        const bool moves = name == "Psi";
        const int own = new_real(value);
        const bool by_arrival = type == 184 && name == "Phi";
        const int behind = by_arrival ? new_real(truth().at("later")[static_cast<std::size_t>(a) - 1]) : 0;
        if (!has_matrix_by_session(type, name)) {
          const int columns = name == "pi" || name == "Omega" ? 3 : 2;
          matrix(name + ' ' + code + (moves ? a == 1 ? " to B" : " to A" : " :"), 1, columns, own);
          study.fill(name, a, moves ? 3 - a : 1, value);
          continue;
        }
        for (int s = 1; s <= 3; ++s) {
          const int n = study.length(s);
          const bool less = name == "pent" || name == "Phi" || name == "c";
          const int columns = name == "alpha" ? 1 : less ? n - 1 : n;
          const std::string of = name + ' ' + code + " : Session " + std::to_string(s);
          study.fill(name, a, s, value);
          if (by_arrival) {
            matrix(of, 2, columns, own, behind);
            for (int c = 1; c <= columns; ++c) study.rate("Phi", a, s, 2, c) = reals[behind - 1];
          } else {
            matrix(of, 1, columns, own);
          }
        }
        if (type != 122 || name != "Delta") continue;
        const double right = truth().at("guess")[static_cast<std::size_t>(a) - 1];
        const int guess = new_real(right);
        for (int s = 1; s <= 3; ++s) {
          const char lower = static_cast<char>(code[0] - 'A' + 'a');
          matrix(std::string("Delta ") + lower + " : Session " + std::to_string(s), 1, study.length(s),
                 guess);
          study.fill("Delta", a + 2, s, right);
        }
      }
  }

  int new_real(double value) {
    reals.push_back(value);
    return static_cast<int>(reals.size());
  }
  void matrix(const std::string& name, int rows, int columns, int number, int second = 0) {
    matrices += "group=1 " + name + " rows=" + std::to_string(rows) + " cols=" + std::to_string(columns);
    if (rows == 1) {
      matrices += " square constant=" + std::to_string(number) + ";\n";
      return;
    }
    matrices += " square;\n";
    for (const int of_row : {number, second}) {
      for (int c = 0; c < columns; ++c) matrices += std::to_string(of_row) + ' ';
      matrices += ";\n";
    }
  }

  int type;
  Session_study study;
  std::string matrices;
  std::vector<double> reals;
};

/// Expected counts by record; each cohort has so many animals.
std::map<std::string, double> expected_counts(Session_study& study) {
  std::map<std::string, double> counts;
  const bool uncertain = is_uncertain(study.type());
  const Open_lives open(study);
  const Uncertain_lives states(study);
  for (const std::string& cells : all_records(lengths, kinds_of_signs(study.type(), codes), {}))
    if (!never_caught(cells))
      counts[cells] = animals * (uncertain ? states.chance(cells) : open.chance(cells));
  return counts;
}

class Session_states_recovery : public testing::TestWithParam<int> {};

TEST_P(Session_states_recovery, rates_sizes_and_times) {
  Model_of_type of(GetParam());
  const std::map<std::string, double> counts = expected_counts(of.study);
  std::string records;
  for (const auto& [cells, count] : counts) {
    char text[40];
    std::snprintf(text, sizeof text, " %.9g;\n", count);
    records += cells + text;
  }
  const std::string size = std::to_string(of.reals.size());
  const Deck_result result = run_deck(
      "proc chmatrix occasions=7 groups=1 hist=99999 strata=2 nohist etype=" +
      std::string(datatype(of.type).keyword[0]) + ";\nstrata=A B;\ntime intervals 0 0 2 0 0.5 0 1;\n" +
      records + "proc estimate link=LOGIT;\nmodel={all};\n" + of.matrices +
      "design matrix constraints=" + size + " covariates=" + size + " identity;\nproc stop;\n");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing.substr(result.listing.size() - 2000);
  for (std::size_t i = 0; i < of.reals.size(); ++i)
    EXPECT_NEAR(result.real(static_cast<int>(i) + 1).estimate, of.reals[i], tolerance) << "real " << i + 1;

  if (datatype(of.type).derived_sections == Derived_sections::none) {
    EXPECT_FALSE(result.has("Population Estimates of "));
    return;
  }
  const bool seasons = of.study.has("alpha");
  const std::string sizes = section_of(result, "Population Estimates of {all}"),
                    times = section_of(result,
                                       seasons ? "Method 1 Residency Time of Individuals Estimates of {all}"
                                               : "Method 1 Residency Time Estimates of {all}");
  const Session_lives lives(of.study);
  for (int a = 1; a <= 2; ++a)
    for (int s = 1; s <= 3; ++s) {
      const std::string label = "\n   1    " + std::to_string(a) + "    " + std::to_string(s) + " ";
      double caught = 0.0;
      for (const auto& [cells, count] : counts)
        if (lives.cells_of(cells, s).find(codes[static_cast<std::size_t>(a) - 1]) != std::string::npos)
          caught += count;
      const double star = 1.0 - lives.misses("0000000", s, a).second;
      const std::vector<double> row = row_of(sizes, label), time = row_of(times, label);
      ASSERT_EQ(row.size(), 4U) << result.listing;
      ASSERT_EQ(time.size(), 4U) << result.listing;
      // Seven digits are shown.
      EXPECT_NEAR(row[0], caught / star, 1e-5 * caught / star);
      EXPECT_GT(row[1] * row[1], 0.999 * caught * (1.0 - star) / (star * star));
      EXPECT_NEAR(row[2], row[0] - 1.96 * row[1], 1e-5 * row[0]);
      EXPECT_NEAR(row[3], row[0] + 1.96 * row[1], 1e-5 * row[0]);
      // Of every arrival the occasions up to each departure.
      const Session_rates rates = session_rates(of.study, a, s);
      double expected = 0.0;
      for (int i = 1; i <= rates.length(); ++i) {
        double stay = rates.alpha * rates.b[static_cast<std::size_t>(i) - 1];
        for (int d = i; d <= rates.length(); ++d) {
          expected += stay;
          stay *= rates.phi[static_cast<std::size_t>(i) - 1][static_cast<std::size_t>(d) - 1];
        }
      }
      EXPECT_NEAR(time[0], expected, 1e-5);
      EXPECT_NEAR(time[2], time[0] - 1.96 * time[1], 1e-6);
    }
}

INSTANTIATE_TEST_SUITE_P(types, Session_states_recovery,
                         testing::Values(32, 119, 103, 121, 122, 126, 142, 184),
                         [](const auto& info) { return "type_" + std::to_string(info.param); });

}  // namespace
}  // namespace tarn
