// Look-ups of the dry run: what they give, note and report.

#include <gtest/gtest.h>

#include <algorithm>

#include "likelihood/cell/pim_table.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// Live recaptures of two groups with second index 1 to 2 and third 1 to 3. Every matrix has numbers of its
/// own; some have none, one is not given, and real parameters end before the last numbers.
class Checked_pim_test : public testing::Test {
 protected:
  Checked_pim_test() {
    m_.record("1111", {1.0F, 1.0F});
    Model_arrays& model = job().model;
    model.pim2index2upbd = 2;
    model.pim2index3upbd = 3;
    model.pim2.allocate(2, 1, 2, 1, 3, 2);
    int number = 0;
    for_each_matrix(job(), [&](const Pim_place& at, Pim& pim) {
      if (at.q == 2 && at.a == 2 && at.b == 3 && at.g == 1) return;
      constexpr Pim_shape shapes[] = {Pim_shape::square, Pim_shape::triang, Pim_shape::striang};
      pim.shape = shapes[number % 3];
      pim.nrows = pim.shape == Pim_shape::striang ? 4 : 2;
      pim.ncols = pim.shape == Pim_shape::striang ? 2 : 3;
      pim.cells.assign(pim.nrows * pim.ncols, 0);
      for_each_cell(pim, [&number](int, int, int& cell) { cell = ++number % 7 == 0 ? 0 : number; });
    });
    model.nlogit = number - 3;
  }

  Job& job() { return m_.job(); }
  /// What the matrix at a place holds, by its definition; 0 where it holds no real parameter.
  int held(const Pim_place& at, int row, int column) {
    if (at.a < 1 || at.a > 2 || at.b < 1 || at.b > 3 || at.g < 1 || at.g > 2) return 0;
    const Pim& pim = job().model.pim2(at.q, at.a, at.b, at.g);
    if (pim.shape == Pim_shape::square) row = std::min(row, pim.nrows);
    const int number = pim.at(row, column);
    return number <= job().model.nlogit ? number : 0;
  }

  Model_builder m_{1, 4, 2};
};

TEST_F(Checked_pim_test, every_look_up_gives_what_the_matrix_holds_or_is_reported) {
  const Pim_table table(job());
  int found = 0, missing = 0;
  for (const Parameter parameter : {Parameter::Phi, Parameter::p})
    for (int a = 0; a <= 3; ++a)
      for (int b = 0; b <= 4; ++b)
        for (int g = 0; g <= 3; ++g)
          for (int row = -1; row <= 6; ++row)
            for (int column = -1; column <= 5; ++column) {
              const Pim_place at{table.position(parameter), a, b, g};
              Number_set reached(job().model.nlogit);
              Pim_report report{.fault = {}, .reached = &reached}, other;
              const int number = table.checked(job(), parameter, a, b, g, report)(row, column);
              EXPECT_EQ(Checked_pim(job(), at, other)(row, column), number);
              const int expected = held(at, row, column);
              EXPECT_EQ(number, std::max(expected, 1));
              EXPECT_EQ(report.fault.found, expected == 0);
              EXPECT_EQ(other.fault.found, expected == 0);
              EXPECT_EQ(reached.members().size(), expected == 0 ? 0U : 1U);
              if (expected > 0) {
                ++found;
                EXPECT_TRUE(reached.holds(expected));
                continue;
              }
              ++missing;
              EXPECT_EQ(report.fault.place.q, at.q);
              EXPECT_EQ(report.fault.place.a, a);
              EXPECT_EQ(report.fault.place.b, b);
              EXPECT_EQ(report.fault.place.g, g);
              EXPECT_EQ(report.fault.row, row);
              EXPECT_EQ(report.fault.column, column);
            }
  EXPECT_GT(found, 100);
  EXPECT_GT(missing, 1000);
}

TEST_F(Checked_pim_test, the_first_fault_stands) {
  const Pim_table table(job());
  Pim_report report;
  const Checked_pim matrix = table.checked(job(), Parameter::Phi, 1, 1, 1, report);
  EXPECT_EQ(matrix.row(1)[1], 1);
  EXPECT_EQ(matrix.row(1)[4], 1);
  EXPECT_EQ(matrix.row(0)[2], 1);
  EXPECT_EQ(words_of(job(), report.fault),
            "Parameter index matrix 'Phi', second index 1, third index 1, group 1: row 1, column 4 is needed "
            "but lies outside the matrix.");
}

TEST_F(Checked_pim_test, a_fault_is_put_into_words) {
  const Pim_table table(job());
  const auto words = [&](Parameter parameter, int a, int b, int g, int row, int column) {
    Pim_report report;
    table.checked(job(), parameter, a, b, g, report)(row, column);
    return words_of(job(), report.fault);
  };
  EXPECT_EQ(
      words(Parameter::p, 2, 3, 1, 1, 1),
      "Parameter index matrix 'p', second index 2, third index 3, group 1 is needed but was not given.");
  EXPECT_EQ(words(Parameter::p, 2, 4, 1, 1, 1),
            "Parameter index matrix 'p', second index 2, third index 4, group 1 lies outside the matrices of "
            "this data type.");
  // A parameter that the data type does not have.
  EXPECT_EQ(words(Parameter::sigmap, 2, 2, 2, 1, 1),
            "Parameter index matrix 0, second index 2, third index 2, group 2 lies outside the matrices of "
            "this data type.");
}

}  // namespace
}  // namespace tarn
