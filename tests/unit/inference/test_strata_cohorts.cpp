// Cohorts and the saturated model of robust designs of strata.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "inference/cohorts.h"
#include "inference/saturd.h"
#include "numerics/special.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

constexpr int conditional_types[] = {34, 37, 38, 62, 65, 66, 147};
constexpr int full_types[] = {33, 35, 36, 61, 63, 64};
constexpr int types_with_shares[] = {104, 105, 106};

/// Sessions of 2, 1 and 2 occasions and two strata.
Model_builder study(int type, int groups = 1) {
  Model_builder m(type, 5, groups);
  m.sessions({2, 1, 2});
  m.strata("AB");
  return m;
}

/// Everything that two strata can show: in a session captures in one stratum or none.
std::vector<std::string> everything_possible() {
  std::vector<std::string> all{""};
  for (const int length : {2, 1, 2}) {
    std::vector<std::string> longer;
    for (const std::string& ahead : all)
      for (unsigned bits = 0; bits < 1U << length; ++bits)
        for (const char code : std::string(bits == 0 ? "0" : "AB")) {
          std::string cells = binary_history(bits, length);
          std::replace(cells.begin(), cells.end(), '1', code);
          longer.push_back(ahead + cells);
        }
    all = longer;
  }
  std::erase(all, "00000");
  return all;
}

TEST(Strata_cohorts, can_show_what_enumeration_finds) {
  const auto expect = [](int type, int cohorts) {
    Model_builder m = study(type);
    for (const std::string& cells : everything_possible()) m.record(cells, {1.0F});
    const Cohorts of(m.job());
    ASSERT_EQ(of.count(), cohorts) << type;
    for (int k = 1; k <= of.count(); ++k)
      EXPECT_EQ(of.possible_histories(k), of.observed(k, 1)) << type << " cohort " << k;
    const Saturated_model saturated = saturd(m.job());
    EXPECT_EQ(saturated.histories, static_cast<double>(everything_possible().size())) << type;
    EXPECT_EQ(saturated.cohorts, cohorts) << type;
  };
  for (const int type : conditional_types) expect(type, 6);
  for (const int type : full_types) expect(type, 6);
  for (const int type : types_with_shares) expect(type, 3);
}

double term(double n, double total) { return n * std::log(n / total); }

/// Relative error of sums of a few logarithms.
constexpr double rounding = 1e-13;

Model_builder recorded(int type) {
  Model_builder m = study(type);
  m.record("A0B00", {3.0F});
  m.record("A0A00", {4.0F});
  m.record("0A00B", {2.0F}, {5.0F});
  m.record("BB0A0", {6.0F});
  m.record("B00BB", {1.0F});
  m.record("00A0A", {7.0F});
  m.record("000BB", {8.0F});
  return m;
}

TEST(Strata_cohorts, conditional_kinds_have_cells_by_first_session_and_stratum) {
  const double by_stratum = term(3, 9) + term(4, 9) + term(2, 9) + term(6, 7) + term(1, 7);
  const double by_session = term(3, 16) + term(4, 16) + term(2, 16) + term(6, 16) + term(1, 16);
  for (const int type : conditional_types) {
    Model_builder m = recorded(type);
    const Saturated_model saturated = saturd(m.job());
    EXPECT_NEAR(saturated.xlogs / (-2.0 * by_stratum), 1.0, rounding) << type;
    EXPECT_EQ(saturated.nsat, 3) << type;
    EXPECT_EQ(saturated.cohorts, 5) << type;
  }
  for (const int type : types_with_shares) {
    Model_builder m = recorded(type);
    const Saturated_model saturated = saturd(m.job());
    EXPECT_NEAR(saturated.xlogs / (-2.0 * by_session), 1.0, rounding) << type;
    EXPECT_EQ(saturated.nsat, 4) << type;
    EXPECT_EQ(saturated.cohorts, 4) << type;
  }
}

TEST(Strata_cohorts, full_kinds_have_cells_between_and_within_sessions_by_stratum) {
  // Between: of A in session 1 AB0 3, AA0 4, A0B 2; of B B0A 6, B0B 1; one cell in the other cohorts.
  const double between = term(3, 9) + term(4, 9) + term(2, 9) + term(6, 7) + term(1, 7);
  // Within session 1: A0 7, 0A 2; BB 6, B0 1. Session 2: one pattern each. Session 3: of A A0 6, 0A 7; of B
  // 0B 2, BB 9.
  const double within = term(7, 9) + term(2, 9) + term(6, 7) + term(1, 7) + term(6, 13) + term(7, 13) +
                        term(2, 11) + term(9, 11);
  // Animals caught, those lost among them.
  const double sizes = lgamma(15.0) + lgamma(8.0) + lgamma(12.0) + lgamma(4.0) + lgamma(14.0) + lgamma(17.0);
  for (const int type : full_types) {
    Model_builder m = recorded(type);
    const Saturated_model saturated = saturd(m.job());
    EXPECT_NEAR(saturated.xlogs / (-2.0 * (between + within + sizes)), 1.0, rounding) << type;
    EXPECT_EQ(saturated.nsat, 3 + 4) << type;
    EXPECT_EQ(saturated.cohorts, 5) << type;
  }
}

TEST(Strata_cohorts, effective_sample_size_counts_sessions_with_a_capture_that_another_may_follow) {
  for (const int type : {33, 34, 38, 61, 66, 104, 106, 147}) {
    Model_builder m = study(type);
    m.record("AABAA", {1.0F});             // sessions 1 and 2
    m.record("BB000", {10.0F});            // session 1
    m.record("000AA", {100.0F});           // none: the last session
    m.record("0AB00", {0.0F}, {1000.0F});  // session 1: they were lost in session 2
    m.record("A000B", {0.0F}, {1e4F});     // session 1
    EXPECT_EQ(effective_sample_size(m.job()), 2.0 + 10.0 + 1000.0 + 1e4) << type;
  }
}

}  // namespace
}  // namespace tarn
