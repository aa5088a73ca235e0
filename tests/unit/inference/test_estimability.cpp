#include "inference/estimability.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/model_builder.h"

namespace tarn {
namespace {

/// Live recaptures, 4 occasions: Phi has the real parameters 1 to 3, p has 4 to 6; betas are their logits.
/// Estimates and information are made up.
class Estimability_of : public testing::Test {
 protected:
  Estimability_of() : m(1, 4) {
    m.record("1010", {4});
    m.time_pims();
    m.finish();
    make_work_area(information, 6, 6);
    for (int i = 1; i <= 6; ++i) information(i, i) = 100.0;
    EXPECT_TRUE(estimates.real.estimate.allocate(6));
    for (int i = 1; i <= 6; ++i) estimates.real.estimate(i) = 0.1 + 0.1 * i;
  }

  /// Takes the information along a move of two betas away.
  void forget(int i, double move_of_i, int j, double move_of_j) {
    const double length = std::hypot(move_of_i, move_of_j);
    const double a = move_of_i / length, b = move_of_j / length;
    information(i, i) -= 100.0 * a * a;
    information(j, j) -= 100.0 * b * b;
    information(i, j) -= 100.0 * a * b;
    information(j, i) -= 100.0 * a * b;
  }

  Estimability found(int k) {
    make_work_area(estimates.slopes, 6, 6);
    for (int i = 1; i <= 6; ++i) {
      const double x = estimates.real.estimate(i);
      estimates.slopes(i, i) = x * (1.0 - x);
    }
    return judge_estimability(m.job(), singular_system(m.job(), information, loglik), k, estimates);
  }

  double slope(int i) const {
    const double x = estimates.real.estimate(i);
    return x * (1.0 - x);
  }

  Model_builder m;
  Array2<double> information;
  Model_estimates estimates;
  double loglik = 1000.0;
};

TEST_F(Estimability_of, a_full_rank_inside_has_nothing_to_tell) { EXPECT_TRUE(found(6).silent()); }

TEST_F(Estimability_of, a_pair_has_its_shares_of_the_move) {
  forget(3, 1.0, 6, -2.0);
  const Estimability open = found(5);
  ASSERT_EQ(open.directions.size(), 1);
  const Unidentified_direction& direction = open.directions(1);
  EXPECT_FALSE(direction.of_betas);
  ASSERT_EQ(direction.members.size(), 2);
  EXPECT_EQ(direction.members(1).number, 3);
  EXPECT_EQ(direction.members(1).partner, 6);
  EXPECT_EQ(direction.members(2).number, 6);
  EXPECT_EQ(direction.members(2).partner, 3);
  const double a = std::pow(slope(3), 2), b = std::pow(2.0 * slope(6), 2);
  EXPECT_NEAR(direction.members(1).share, a / (a + b), 1e-12);
  EXPECT_NEAR(direction.members(2).share, b / (a + b), 1e-12);
  EXPECT_NEAR(std::fabs(open.moves(3, 1)), 1.0 / std::sqrt(5.0), 1e-12);
  EXPECT_NEAR(std::fabs(open.moves(6, 1)), 2.0 / std::sqrt(5.0), 1e-12);
  EXPECT_TRUE(open.at_boundary.empty());
}

// What a large gradient or NUMPAR has left out is no direction that the data are silent about.
TEST_F(Estimability_of, a_value_that_is_no_rounding_is_told_with_its_direction) {
  EXPECT_EQ(found(5).bend_left_out, 100.0);
  information(6, 6) = 1.1e-4;
  EXPECT_EQ(found(5).bend_left_out, 1.1e-4);
  information(6, 6) = 0.9e-4;
  EXPECT_EQ(found(5).directions.size(), 1);
  EXPECT_EQ(found(5).bend_left_out, 0.0);
  EXPECT_EQ(found(6).bend_left_out, 0.0);
  // Of a boundary no direction is told.
  information(6, 6) = 1.1e-4;
  estimates.real.estimate(6) = 1.0 - 1e-9;
  EXPECT_EQ(found(5).bend_left_out, 0.0);
}

TEST_F(Estimability_of, where_nothing_bends_the_largest_value_is_rounding) {
  for (int i = 1; i <= 6; ++i) information(i, i) = 1e-9;
  EXPECT_EQ(found(0).directions.size(), 6);
  EXPECT_EQ(found(0).bend_left_out, 0.0);
}

TEST_F(Estimability_of, pairs_are_told_apart) {
  found(6);
  // Singular values of 0 have any mixture of the two directions as vectors.
  const double first[] = {0.6, 0.0, 0.0, 0.0, 0.8, 0.0}, second[] = {0.0, 0.0, 0.28, 0.0, 0.0, -0.96};
  Singular_system system;
  system.s = {100.0, 100.0, 100.0, 100.0, 0.0, 0.0};
  make_work_area(system.v, 6, 6);
  for (int j = 1; j <= 6; ++j) {
    system.v(j, 5) = 0.8 * first[j - 1] + 0.6 * second[j - 1];
    system.v(j, 6) = -0.6 * first[j - 1] + 0.8 * second[j - 1];
  }
  const Estimability open = judge_estimability(m.job(), system, 4, estimates);
  ASSERT_EQ(open.directions.size(), 2);
  for (int d = 1; d <= 2; ++d) {
    const List<Confounded>& members = open.directions(d).members;
    ASSERT_EQ(members.size(), 2);
    const bool is_first = members(1).number == 1;
    EXPECT_EQ(members(1).number, is_first ? 1 : 3);
    EXPECT_EQ(members(2).number, is_first ? 5 : 6);
    double along = 0.0, length = 0.0;
    for (int j = 1; j <= 6; ++j) {
      along += open.moves(j, d) * (is_first ? first : second)[j - 1];
      length += open.moves(j, d) * open.moves(j, d);
    }
    EXPECT_NEAR(std::fabs(along), 1.0, 1e-12);
    EXPECT_NEAR(length, 1.0, 1e-12);
  }
  EXPECT_NE(open.directions(1).members(1).number, open.directions(2).members(1).number);
}

TEST_F(Estimability_of, partner_is_the_largest_other_one) {
  // A direction of three: shares of their moves as 1, 4, 9.
  const double move[] = {1.0 / slope(1), 2.0 / slope(2), 3.0 / slope(3)};
  const double length = std::hypot(move[0], move[1], move[2]);
  for (int i = 1; i <= 3; ++i)
    for (int j = 1; j <= 3; ++j) information(i, j) -= 100.0 * move[i - 1] * move[j - 1] / length / length;
  const Estimability open = found(5);
  ASSERT_EQ(open.directions.size(), 1);
  const List<Confounded>& members = open.directions(1).members;
  ASSERT_EQ(members.size(), 3);
  EXPECT_NEAR(members(1).share, 1.0 / 14.0, 1e-10);
  EXPECT_NEAR(members(3).share, 9.0 / 14.0, 1e-10);
  EXPECT_EQ(members(1).partner, 3);
  EXPECT_EQ(members(2).partner, 3);
  EXPECT_EQ(members(3).partner, 2);
}

TEST_F(Estimability_of, a_probability_next_to_its_end_needs_information_to_be_inside) {
  // 1e-6 from 1: with information 1e-6 n of its logit, n animals, there are n 1e-6 that say it is not 1.
  estimates.real.estimate(2) = 1.0 - 1e-6;
  estimates.real.estimate(4) = 1e-6;
  information(2, 2) = information(4, 4) = 5e-3;
  const Estimability open = found(6);
  ASSERT_EQ(open.at_boundary.size(), 2);
  EXPECT_EQ(open.at_boundary(1).real, 2);
  EXPECT_EQ(open.at_boundary(1).end, Range_end::upper);
  EXPECT_EQ(open.at_boundary(2).real, 4);
  EXPECT_EQ(open.at_boundary(2).end, Range_end::lower);
  EXPECT_LT(step_inside(open.at_boundary(1)), 0.0);
  EXPECT_GT(step_inside(open.at_boundary(2)), 0.0);
  information(2, 2) = information(4, 4) = 2e-2;
  EXPECT_TRUE(found(6).silent());
  // Not next to it.
  estimates.real.estimate(2) = 1.0 - 2e-4;
  estimates.real.estimate(4) = 2e-4;
  information(2, 2) = information(4, 4) = 1e-6;
  EXPECT_TRUE(found(6).silent());
}

TEST_F(Estimability_of, a_boundary_explains_its_direction) {
  estimates.real.estimate(2) = 1.0 - 1e-7;
  information(2, 2) = 1e-9;
  const Estimability open = found(5);
  EXPECT_EQ(open.at_boundary.size(), 1);
  EXPECT_TRUE(open.directions.empty());
  EXPECT_EQ(open.moves.extent(2), 0);
}

TEST_F(Estimability_of, fixed_real_parameters_stand_at_no_boundary) {
  estimates.real.estimate(2) = 1.0;
  EXPECT_EQ(found(6).at_boundary.size(), 1);
  m.job().model.fixpar(2) = 1;
  EXPECT_TRUE(found(6).silent());
  m.job().model.fixpar(2) = 0;
  m.job().model.bindex(2) = 0;
  EXPECT_TRUE(found(6).silent());
}

// The columns of rows 2 and 3 are fixed; a beta inside a function of row 2 is not, that of row 3 is.
TEST_F(Estimability_of, a_beta_inside_a_function_moves_its_row_to_the_boundary) {
  Model_arrays& model = m.job().model;
  estimates.real.estimate(2) = estimates.real.estimate(3) = 1.0;
  m.function(nlbeta_function, number_argument, 1.0, number_argument, 0.0, 2, 2);
  m.function(nlbeta_function, number_argument, 2.0, number_argument, 0.0, 3, 3);
  model.nlbetas = 2;
  model.ncovs_nlbetas = 8;
  ASSERT_TRUE(model.bindex.allocate(8));
  for (const int beta : {1, 4, 5, 6}) model.bindex(beta) = beta;
  EXPECT_TRUE(found(6).at_boundary.empty());
  model.bindex(7) = 2;
  const List<Real_at_boundary> ends = found(6).at_boundary;
  ASSERT_EQ(ends.size(), 1);
  EXPECT_EQ(ends(1).real, 2);
}

TEST_F(Estimability_of, a_beta_without_information_is_named) {
  information(5, 5) = 0.0;
  const Estimability open = found(5);
  EXPECT_EQ(open.without_information, (List<int>{5}));
  ASSERT_EQ(open.directions.size(), 1);
  EXPECT_EQ(open.directions(1).members(1).number, 5);
  EXPECT_EQ(open.directions(1).members(1).partner, 0);
}

TEST_F(Estimability_of, a_direction_of_betas_alone_is_told_as_such) {
  // Real parameters at the values of the report do not hang on beta 5.
  forget(5, 1.0, 6, 1.0);
  make_work_area(estimates.slopes, 6, 6);
  for (int i = 1; i <= 4; ++i) estimates.slopes(i, i) = slope(i);
  const Estimability open =
      judge_estimability(m.job(), singular_system(m.job(), information, loglik), 5, estimates);
  ASSERT_EQ(open.directions.size(), 1);
  EXPECT_TRUE(open.directions(1).of_betas);
  ASSERT_EQ(open.directions(1).members.size(), 2);
  EXPECT_NEAR(open.directions(1).members(1).share, 0.5, 1e-12);
}

TEST_F(Estimability_of, a_beta_that_moves_nothing_is_named_once) {
  information(5, 5) = 0.0;
  make_work_area(estimates.slopes, 6, 6);
  for (int i = 1; i <= 4; ++i) estimates.slopes(i, i) = slope(i);
  const Estimability open =
      judge_estimability(m.job(), singular_system(m.job(), information, loglik), 5, estimates);
  EXPECT_EQ(open.without_information, (List<int>{5}));
  EXPECT_TRUE(open.directions.empty());
}

TEST_F(Estimability_of, nothing_is_told_without_singular_values) {
  information(1, 1) = std::nan("");
  EXPECT_TRUE(found(6).silent());
}

/// A closed population of 2 occasions: p has the real parameters 1 and 2, its deviation or f0 has number 3.
class Size_or_deviation : public testing::Test {
 protected:
  Estimability found(const char* keyword, const char* third, double estimate, double information_of_third,
                     int k, Link link = Link::log) {
    Model_builder m(dattyp_of(keyword), 2);
    m.record("10", {4});
    const List<std::string>& names = m.job().data.parameterlist;
    for (int q = 1; q <= names.size(); ++q) {
      if (names(q) == "p") m.pim(q, 1, "SQUARE", 1, 2, [](int, int column) { return column; });
      if (names(q) == "c") m.pim(q, 1, "SQUARE", 1, 1, [](int, int) { return 2; });
      if (names(q) == third) m.pim(q, 1, "SQUARE", 1, 1, [](int, int) { return 3; });
    }
    m.job().model.nlogit = 3;
    m.design(3);
    Model_arrays& model = m.job().model;
    model.ncovs_nlbetas = 3;
    EXPECT_TRUE(model.bindex.allocate(3) && model.fixpar.allocate(3));
    for (int i = 1; i <= 3; ++i) m.cell(i, i, 1.0), model.bindex(i) = i;
    EXPECT_TRUE(model.lindex.allocate(3));
    model.lindex.fill(Link::logit);
    model.lindex(3) = link;
    Array2<double> information;
    make_work_area(information, 3, 3);
    information(1, 1) = 100.0, information(2, 2) = 50.0, information(3, 3) = information_of_third;
    if (k < 3) {
      // The data say nothing of a move of the first and the third by as much.
      information(1, 1) = information(3, 3) = 50.0;
      information(1, 3) = information(3, 1) = -50.0;
    }
    Model_estimates estimates;
    EXPECT_TRUE(estimates.real.estimate.allocate(3));
    estimates.real.estimate(1) = estimates.real.estimate(2) = 0.5;
    estimates.real.estimate(3) = estimate;
    make_work_area(estimates.slopes, 3, 3);
    estimates.slopes(1, 1) = estimates.slopes(2, 2) = 0.25;
    estimates.slopes(3, 3) = estimate;  // LOG
    return judge_estimability(m.job(), singular_system(m.job(), information, 1000.0), k, estimates);
  }
};

TEST_F(Size_or_deviation, moves_are_relative) {
  // The second has f0 under the model's own link.
  for (const char* keyword : {"CLOSED", "RDPDNCLOSED"}) {
    const Estimability open = found(keyword, "f0", 4000.0, 50.0, 2);
    ASSERT_EQ(open.directions.size(), 1);
    ASSERT_EQ(open.directions(1).members.size(), 2);
    EXPECT_NEAR(open.directions(1).members(1).share, 0.0625 / 1.0625, 1e-12);
    EXPECT_EQ(open.directions(1).members(2).number, 3);
  }
}

TEST_F(Size_or_deviation, nobody_missed_is_a_boundary) {
  const Estimability open = found("CLOSED", "f0", 1e-6, 1e-3, 3);
  ASSERT_EQ(open.at_boundary.size(), 1);
  EXPECT_EQ(open.at_boundary(1).real, 3);
  EXPECT_EQ(open.at_boundary(1).end, Range_end::lower);
  // A size has no upper end, and 1 is nothing special.
  EXPECT_TRUE(found("CLOSED", "f0", 1.0, 1e-3, 3).silent());
  EXPECT_TRUE(found("CLOSED", "f0", 7.45, 1e-3, 3).silent());
}

TEST_F(Size_or_deviation, a_parameter_of_any_sign_has_no_end) {
  EXPECT_TRUE(found("IELOGITNORMALMR", "alpha", 1e-6, 1e-3, 3).silent());
}

TEST_F(Size_or_deviation, a_deviation_has_a_wall) {
  const auto end = [&](double estimate) {
    const Estimability open = found("HUGGINSRE", "sigmap", estimate, 1e-3, 3);
    return open.at_boundary.empty() ? 0 : 1 + static_cast<int>(open.at_boundary(1).end);
  };
  EXPECT_EQ(end(7.4999), 1 + static_cast<int>(Range_end::wall));
  EXPECT_EQ(end(7.3), 0);
  EXPECT_EQ(end(1.0), 0);
  EXPECT_EQ(end(1e-5), 1 + static_cast<int>(Range_end::lower));
}

// A deviation under LOGIT cannot leave 1 behind, wherever the data would have it.
TEST_F(Size_or_deviation, a_link_may_end_before_the_range) {
  for (const Link link : {Link::logit, Link::loglog, Link::cloglog, Link::sin, Link::cauchy}) {
    const Estimability open = found("HUGGINSRE", "sigmap", 1.0 - 1e-7, 1e-3, 3, link);
    ASSERT_EQ(open.at_boundary.size(), 1);
    EXPECT_EQ(open.at_boundary(1).end, Range_end::upper);
    EXPECT_TRUE(found("HUGGINSRE", "sigmap", 0.99, 1e-3, 3, link).silent());
  }
  EXPECT_TRUE(found("HUGGINSRE", "sigmap", 1.0 - 1e-7, 1e-3, 3, Link::identity).silent());
}

}  // namespace
}  // namespace tarn
