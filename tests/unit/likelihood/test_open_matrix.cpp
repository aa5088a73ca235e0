// The matrix of an open session, and the check of its rows.

#include "likelihood/blocks/open_matrix.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>

#include "likelihood/likelihood_work.h"
#include "support/session_study.h"

namespace tarn {
namespace {

TEST(Open_matrix, rows_are_off_from_1_in_10_to_the_5_on) {
  EXPECT_EQ(row_that_is_off(std::vector{1.0, 1.00002, 1.0}), 1);
  EXPECT_EQ(row_that_is_off(std::vector{1.0, 0.99998, 1.00003}), 2);
  EXPECT_EQ(row_that_is_off(std::vector{1.000009, 0.999991, 1.0}), -1);
  EXPECT_EQ(row_that_is_off(std::vector{1.0 + 1.0000001e-5}), 0);
  EXPECT_EQ(row_that_is_off(std::vector{1.0 + 0.9999999e-5}), -1);
  EXPECT_EQ(row_that_is_off(std::vector{std::numeric_limits<double>::quiet_NaN()}), -1);
}

/// The elements of a row that are not 0, by column.
std::map<int, double> row_of(const Array2<double>& matrix, int r) {
  std::map<int, double> elements;
  for (int c = 1; c <= matrix.extent(2); ++c)
    if (matrix(r, c) != 0.0) elements[c] = matrix(r, c);
  return elements;
}
using Row = std::map<int, double>;

// Of two states N 1 2, P 3 4, G 5 6, dead 7.
TEST(Open_matrix, with_captures_all_alike) {
  const Open_forms forms;
  const std::vector<Open_step> first{{1.0, 0.25, {}}, {1.0, 0.5, {}}},
      next{{1.0, 0.75, {0.875}}, {1.0, 1.0, {0.5}}};
  const Array2<double> onto_1 = open_matrix(forms, 1, first), onto_2 = open_matrix(forms, 2, next);
  ASSERT_EQ(onto_1.extent(1), 7);
  EXPECT_EQ(row_of(onto_1, 1), (Row{{1, 0.75}, {3, 0.25}}));
  EXPECT_EQ(row_of(onto_1, 2), (Row{{2, 0.5}, {4, 0.5}}));
  for (int r = 3; r <= 7; ++r) EXPECT_EQ(row_of(onto_1, r), (Row{{r, 1.0}}));
  EXPECT_EQ(row_of(onto_2, 1), (Row{{1, 0.25}, {3, 0.75}}));
  EXPECT_EQ(row_of(onto_2, 2), (Row{{4, 1.0}}));
  EXPECT_EQ(row_of(onto_2, 3), (Row{{3, 0.875}, {5, 0.125}}));
  EXPECT_EQ(row_of(onto_2, 4), (Row{{4, 0.5}, {6, 0.5}}));
  for (int r = 5; r <= 7; ++r) EXPECT_EQ(row_of(onto_2, r), (Row{{r, 1.0}}));
}

// N 1, U 2, X 3, G 4, dead 5.
TEST(Open_matrix, with_recaptures_and_participation) {
  const Open_forms forms{1, true};
  const std::vector<Open_step> first{{0.5, 0.25, {}}}, next{{1.0, 0.75, {0.875}}};
  const Array2<double> onto_1 = open_matrix(forms, 1, first), onto_2 = open_matrix(forms, 2, next);
  ASSERT_EQ(onto_1.extent(1), 5);
  EXPECT_EQ(row_of(onto_1, 1), (Row{{1, 0.375}, {2, 0.125}, {4, 0.5}}));
  EXPECT_EQ(row_of(onto_2, 2), (Row{{2, 0.875}, {4, 0.125}}));
  EXPECT_EQ(row_of(onto_2, 3), (Row{{3, 0.875}, {4, 0.125}}));
}

// N 1, U 2 3 4, X 5 6 7, G 8, dead 9.
TEST(Open_matrix, by_occasion_of_arrival) {
  const Open_forms forms{3, true};
  const std::vector<Open_step> next{{1.0, 0.75, {0.875, 0.5, 1.0}}};
  const Array2<double> onto_3 = open_matrix(forms, 3, next);
  ASSERT_EQ(onto_3.extent(1), 9);
  EXPECT_EQ(row_of(onto_3, 1), (Row{{1, 0.25}, {4, 0.75}}));
  EXPECT_EQ(row_of(onto_3, 2), (Row{{2, 0.875}, {8, 0.125}}));
  EXPECT_EQ(row_of(onto_3, 3), (Row{{3, 0.5}, {8, 0.5}}));
  EXPECT_EQ(row_of(onto_3, 4), (Row{{4, 1.0}}));
  EXPECT_EQ(row_of(onto_3, 6), (Row{{6, 0.5}, {8, 0.5}}));
  EXPECT_EQ(row_of(onto_3, 9), (Row{{9, 1.0}}));
}

TEST(Open_matrix, orders) {
  EXPECT_EQ((Open_forms{1, false}.order(3)), 10);
  EXPECT_EQ((Open_forms{1, true}.order(3)), 13);
  EXPECT_EQ((Open_forms{4, true}.order(3)), 31);
}

/// The fault of a session with these rates, and the lines ahead of it.
std::pair<std::string, std::vector<std::string>> fault_of(Session_study& study, int s) {
  const Cell_setting setting(study.model.job(), Cell_routines{});
  Cell_work<double> work(study.model.job(), setting);
  check_open_matrices(study.model.job(), open_traits(datatype(study.type())), {1, s, 1, study.length(s)},
                      study.strata(), 7, Reals<double>(study.reals.data()), work);
  EXPECT_EQ(work.fault_history(), work.fault_text().empty() ? 0 : 7);
  return {std::string(work.fault_text()), work.fault_lines()};
}

TEST(Open_matrix, rates_that_rounding_eats_are_a_fault) {
  for (const int type : {126, 142, 184}) {
    Session_study study(type, {1, 3}, "AB", {.triangles = true});
    study.draw(1);
    EXPECT_EQ(fault_of(study, 2).first, "");
    // Outside 0 to 1, and yet rows sum to 1.
    study.fill("Phi", 1.5), study.fill("pent", -0.25);
    EXPECT_EQ(fault_of(study, 2).first, "");
    study.rate("Phi", 2, 2, type == 184 ? 2 : 1, 2) = 1e17;
    const auto [text, lines] = fault_of(study, 2);
    EXPECT_EQ(text, "'A' matrix is not correctly configured.  Rows do not sum to 1.");
    const int order = type == 126 ? 7 : type == 142 ? 9 : 17;
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(order) + 3);
    EXPECT_EQ(lines[0], " J = 1  ISTRTA = 2  IPRIMY = 2  NSEC = 3  NDIM = " + std::to_string(order));
    EXPECT_EQ(lines[1], std::string("  Matrix Sum - Rank =  ") + (type == 126 ? "-1" : "-2") +
                            ".000000      First Row Sums, then A matrix:");
    // Those that arrived last by themselves.
    study.fill("Phi", 0.5), study.rate("Phi", 2, 2, type == 184 ? 2 : 1, 2) = 1e17;
    EXPECT_EQ(fault_of(study, 2).first, text);
    EXPECT_EQ(fault_of(study, 1).first, "");
    if (type == 126) continue;
    study.fill("Phi", 0.5), study.fill("alpha", 1, 1, 1e17);
    EXPECT_EQ(fault_of(study, 1).second[0], " J = 1  ISTRTA = 1  IPRIMY = 1  NSEC = 1  NDIM = 9");
  }
}

}  // namespace
}  // namespace tarn
