// Derived parameters of whole decks: listing, variance-covariance file, and the models around them.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "inference/intervals.h"
#include "support/section_rows.h"

namespace tarn {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view group_1 = "\n         1 ";

/// Capture depends on a covariate of size 1000, so that the columns of the design are scaled, or on the same
/// in another unit.
std::string capture_deck(double unit = 1.0) {
  std::string records;
  for (int i = 0; i < 90; ++i) {
    const double mass = (800.0 + 5.0 * i) / unit;
    const char* histories[] = {"1000", "0110", "1011", "0010", "1111", "0101", "0011", "0100"};
    records += std::string(histories[(i * 5 + i / 40) % 8]) + " 1 " + std::to_string(mass) + ";\n";
  }
  return "proc chmatrix occasions=4 groups=1 hist=90 icovar=1 etype=HUGGINS;\n icovariates mass;\n" +
         records +
         "proc estimate link=LOGIT;\n model={p(mass)};\n"
         "group=1 p rows=1 cols=4 square constant=1;\n group=1 c rows=1 cols=3 square constant=1;\n"
         "design matrix constraints=1 covariates=2;\n 1 mass;\n proc stop;";
}

std::string known_fate_deck(const std::string& design = "", const std::string& options = "") {
  return "proc chmatrix occasions=3 groups=1 hist=6 etype=KNOWN;\n"
         "101010 21;\n 101011 9;\n 101100 6;\n 110000 4;\n 101000 2;\n 001010 3;\n"
         "proc estimate link=LOGIT" +
         options + ";\n model={S(t)};\n group=1 S rows=1 cols=3 square;\n 1 2 3;\n" +
         (design.empty() ? "design matrix constraints=3 covariates=3 identity;\n" : design) + "proc stop;";
}

TEST(Decks, known_fate_is_kaplan_meier_with_greenwoods_error) {
  const Deck_result result = run_deck(known_fate_deck());
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  // At risk 42, 41, 33; dead 4, 6, 9.
  const double n[] = {42, 41, 33}, d[] = {4, 6, 9};
  double s = 1.0, greenwood = 0.0;
  for (int i = 0; i < 3; ++i) {
    s *= 1.0 - d[i] / n[i];
    greenwood += d[i] / (n[i] * (n[i] - d[i]));
  }
  const std::vector<double> row = row_of(section_of(result, "Survival Estimates of {S(t)}"), "\n   1 ");
  ASSERT_EQ(row.size(), 4u) << result.listing;
  EXPECT_NEAR(row[0], s, 1e-6);
  EXPECT_NEAR(row[1], s * std::sqrt(greenwood), 1e-5);
  const Limits limits = probability_limits(s, s * std::sqrt(greenwood));
  EXPECT_NEAR(row[2], limits.lower, 1e-4);
  EXPECT_NEAR(row[3], limits.upper, 1e-4);
}

TEST(Decks, derived_parameters_stand_behind_the_table_of_reals) {
  const Deck_result result = run_deck(known_fate_deck());
  EXPECT_LT(result.listing.find("Real Function Parameters of {S(t)}"),
            result.listing.find("Survival Estimates of {S(t)}"));
  EXPECT_LT(result.listing.find("Survival Estimates of {S(t)}"),
            result.listing.find("For procedure estimate CPU Time"));
}

TEST(Decks, a_model_that_is_fitted_again_has_one_report) {
  const std::string three_for_two =
      "design matrix constraints=3 covariates=4;\n 1 1 0 0;\n 1 0 1 0;\n 1 0 0 1;\n";
  const Deck_result result = run_deck(known_fate_deck(three_for_two, " loop"));
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  ASSERT_NE(result.listing.find("Real Function Parameters of "),
            result.listing.rfind("Real Function Parameters of "));
  EXPECT_EQ(result.listing.find("Survival Estimates of "), result.listing.rfind("Survival Estimates of "));
  EXPECT_NEAR(row_of(section_of(result, "Survival Estimates of "), "\n   1 ")[0],
              row_of(section_of(run_deck(known_fate_deck()), "Survival Estimates of "), "\n   1 ")[0], 1e-6);
}

/// One rate for all intervals: the product is its power, and the error follows from the one beta.
void expect_power(const Deck_result& result, int intervals) {
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const Deck_result::Row rate = result.real(1);
  const std::vector<double> row = row_of(section_of(result, "Survival Estimates of {S}"), "\n   1 ");
  ASSERT_EQ(row.size(), 4u) << result.listing;
  const double product = std::pow(rate.estimate, intervals);
  const double se = intervals * product / rate.estimate * rate.se;
  // Tables show seven digits.
  EXPECT_NEAR(row[0], product, 1e-6);
  EXPECT_NEAR(row[1], se, 1e-4 * se);
}

TEST(Decks, nest_success_from_the_first_to_the_last_day) {
  expect_power(
      run_deck("proc chmatrix occasions=6 groups=1 hist=10 etype=NEST;\n"
               "nest survival group=1;\n 1 4 6 1 8;\n 1 6 6 0 20;\n 2 5 6 1 3;\n 3 6 6 0 11;\n"
               "proc estimate link=LOGIT;\n model={S};\n group=1 S rows=1 cols=5 square constant=1;\n"
               "design matrix constraints=1 covariates=1 identity;\n proc stop;"),
      5);
}

TEST(Decks, young_survival_from_the_first_to_the_last_occasion) {
  expect_power(
      run_deck("proc chmatrix occasions=4 groups=1 hist=10 etype=LYSMA;\n"
               "06040302 3;\n 05050401 2;\n 0403..02 4;\n 07050503 2;\n"
               "proc estimate link=LOGIT;\n model={S};\n group=1 Phi rows=1 cols=3 square constant=1;\n"
               " group=1 p rows=1 cols=3 square constant=2;\n"
               "design matrix constraints=2 covariates=2 identity;\n proc stop;"),
      3);
}

TEST(Decks, each_group_has_its_row) {
  const Deck_result result = run_deck(
      "proc chmatrix occasions=2 groups=2 hist=3 etype=KNOWN;\n 1010 20 10;\n 1011 5 20;\n 1100 5 10;\n"
      "proc estimate link=LOGIT;\n model={S};\n group=1 S rows=1 cols=2 square;\n 1 2;\n"
      " group=2 S rows=1 cols=2 square;\n 3 4;\n"
      "design matrix constraints=4 covariates=4 identity;\n proc stop;");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const std::string section = section_of(result, "Survival Estimates of {S}");
  EXPECT_NEAR(row_of(section, "\n   1 ")[0], 25.0 / 30.0 * 20.0 / 25.0, 1e-6);
  EXPECT_NEAR(row_of(section, "\n   2 ")[0], 30.0 / 40.0 * 10.0 / 30.0, 1e-6);
}

// No record lives to the last interval, but the product reads it.
TEST(Decks, a_matrix_that_is_too_narrow_is_told_before_the_fit) {
  const Deck_result result = run_deck(
      "proc chmatrix occasions=3 groups=1 hist=3 etype=KNOWN;\n 101000 20;\n 101100 5;\n 110000 5;\n"
      "proc estimate link=LOGIT;\n model={S};\n group=1 S rows=1 cols=2 square constant=1;\n"
      "design matrix constraints=1 covariates=1 identity;\n proc stop;");
  EXPECT_EQ(result.stop, "ERROR EXIT from TARN");
  EXPECT_TRUE(
      result.has("ERROR -- Parameter index matrix 'S', group 1: row 1, column 3 is needed but lies outside "
                 "the matrix."))
      << result.listing;
  EXPECT_FALSE(result.has("-2logL {S}"));
}

TEST(Decks, density_is_the_inverse_of_the_area) {
  const auto row = [](const std::string& areas) {
    const Deck_result result = run_deck(
        "proc chmatrix occasions=3 groups=1 hist=8 etype=DENSITYPC;\n" + areas +
        "100 3 4 30;\n 010 1 4 12;\n 001 2 3 9;\n 110 0 0 25;\n 101 1 1 8;\n 011 2 4 11;\n 111 3 5 40;\n"
        "proc estimate link=LOGIT;\n model={p};\n group=1 p rows=1 cols=3 square constant=1;\n"
        " group=1 c rows=1 cols=2 square constant=1;\n group=1 ptilde rows=1 cols=1 square constant=2;\n"
        "design matrix constraints=2 covariates=2 identity;\n proc stop;");
    EXPECT_EQ(result.stop, "NORMAL EXIT") << result.listing;
    return row_of(section_of(result, "Density Estimates of {p}"), group_1);
  };
  const std::vector<double> one = row(""), four = row("areas=4;\n");
  ASSERT_EQ(one.size(), 4u);
  ASSERT_EQ(four.size(), 4u);
  EXPECT_GT(one[0], 50.0);
  for (std::size_t k = 0; k < 4; ++k) EXPECT_NEAR(four[k], one[k] / 4.0, 1e-6 * one[k]);
}

TEST(Decks, scaled_columns_change_nothing) {
  const Deck_result scaled = run_deck(capture_deck()), plain = run_deck(capture_deck(2000.0));
  ASSERT_EQ(scaled.stop, "NORMAL EXIT") << scaled.listing;
  const std::vector<double> one = row_of(section_of(scaled, "Population Estimates of {p(mass)}"), group_1),
                            two = row_of(section_of(plain, "Population Estimates of {p(mass)}"), group_1);
  ASSERT_EQ(one.size(), 4u) << scaled.listing;
  EXPECT_GT(one[0], 90.0);
  EXPECT_GT(one[1], 0.0);
  EXPECT_GT(one[2], 90.0);
  // The steps of the differences differ with the scale of a beta, within what the differences promise.
  for (std::size_t k = 0; k < 4; ++k) EXPECT_NEAR(one[k], two[k], 1e-4 * one[k]);
}

TEST(Decks, quasi_inflates_by_the_printed_chat) {
  const auto rows = [](const std::string& options) {
    const Deck_result result = run_deck(
        "proc chmatrix occasions=3 groups=1 hist=7 etype=HUGGINS;\n"
        "100 30;\n 010 12;\n 001 9;\n 110 25;\n 101 8;\n 011 11;\n 111 40;\n"
        "proc estimate link=LOGIT" +
        options +
        ";\n model={p};\n group=1 p rows=1 cols=3 square constant=1;\n group=1 c rows=1 cols=2 square "
        "constant=1;\n"
        "design matrix constraints=1 covariates=1 identity;\n proc stop;");
    std::vector<double> row = row_of(section_of(result, "Population Estimates of {p}"), group_1);
    row.push_back(result.number("c-hat {p} ="));
    return row;
  };
  const std::vector<double> plain = rows(""), quasi = rows(" quasi");
  ASSERT_EQ(plain.size(), 5u);
  ASSERT_GT(plain[4], 1.0);
  EXPECT_EQ(plain[0], quasi[0]);
  EXPECT_NEAR(quasi[1], plain[1] * std::sqrt(plain[4]), 1e-5 * quasi[1]);
}

class Derived_file : public testing::Test {
 protected:
  void SetUp() override {
    file = (fs::temp_directory_path() / ("tarn_derived_" + std::to_string(::getpid()) + "_" +
                                         testing::UnitTest::GetInstance()->current_test_info()->name()))
               .string();
  }
  void TearDown() override { fs::remove(file); }
  std::string bytes() const {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  std::string file;
};

TEST_F(Derived_file, ends_with_the_section) {
  const Deck_result fit = run_deck(capture_deck(), [&](Job& job) { job.status.filvcm = file; });
  const std::vector<double> row = row_of(section_of(fit, "Population Estimates of "), group_1);
  const std::string contents = bytes();
  // Five records, each between two counts: 12 bytes, then four times 16.
  constexpr std::size_t length = 8 + 12 + 4 * (8 + 16);
  ASSERT_GT(contents.size(), length);
  const std::string tail = contents.substr(contents.size() - length);
  EXPECT_EQ(tail.substr(4, 8), "DERIVEDJ");
  std::int32_t count = 0;
  std::memcpy(&count, tail.data() + 12, 4);
  EXPECT_EQ(count, 1);
  const char* tags[] = {"DERV PAR", "DERV SE ", "DERV LCI", "DERV UCI"};
  for (std::size_t k = 0; k < 4; ++k) {
    EXPECT_EQ(tail.substr(20 + 24 * k + 4, 8), tags[k]);
    double number = 0.0;
    std::memcpy(&number, tail.data() + 20 + 24 * k + 12, 8);
    EXPECT_NEAR(number, row[k], 1e-6 * row[k]);
  }
}

TEST_F(Derived_file, read_again_gives_the_section_of_the_fit) {
  const Deck_result fit = run_deck(capture_deck(), [&](Job& job) { job.status.filvcm = file; });
  const Deck_result again = run_deck(capture_deck(), [&](Job& job) {
    job.status.onlyrealderiv = 1;
    job.status.filvcmonlyrealderiv = file;
  });
  ASSERT_EQ(again.stop, "NORMAL EXIT") << again.listing;
  EXPECT_FALSE(again.has("Number of function evaluations"));
  EXPECT_NE(section_of(fit, "Population Estimates of "), "");
  EXPECT_EQ(section_of(fit, "Population Estimates of "), section_of(again, "Population Estimates of "));
}

}  // namespace
}  // namespace tarn
