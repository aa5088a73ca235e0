#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "optimizers/mc11ad.h"

namespace tarn {
namespace {

using Vector = std::vector<double>;

std::size_t at(int n, int i, int j) {  // element (i, j) of the packed lower triangle, i >= j, from 0
  return static_cast<std::size_t>(j * n - j * (j - 1) / 2 + i - j);
}

/// A symmetric matrix and the vector of an update, with the factors that stand for them.
struct Case {
  int n;
  Vector factors, z;
  int ir;

  Case(int order, unsigned seed, double scale = 1.0) : n(order), factors(at(n, n - 1, n - 1) + 1), ir(order) {
    std::mt19937_64 source(seed);
    std::uniform_real_distribution<double> number(-1.0, 1.0);
    for (int j = 0; j < n; ++j)
      for (int i = j; i < n; ++i)
        factors[at(n, i, j)] = i == j ? 0.2 + std::abs(number(source)) : number(source);
    for (int i = 0; i < n; ++i) z.push_back(scale * number(source));
  }

  Vector matrix() const {
    Vector a(static_cast<std::size_t>(n * n));
    const auto l = [&](int i, int k) { return i == k ? 1.0 : i > k ? factors[at(n, i, k)] : 0.0; };
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        for (int k = 0; k <= std::min(i, j); ++k)
          a[static_cast<std::size_t>(i * n + j)] += l(i, k) * factors[at(n, k, k)] * l(j, k);
    return a;
  }

  Vector updated_matrix(double sig) const {
    Vector a = matrix();
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        a[static_cast<std::size_t>(i * n + j)] +=
            sig * z[static_cast<std::size_t>(i)] * z[static_cast<std::size_t>(j)];
    return a;
  }

  /// z' A^-1 z
  double measure() const {
    Vector s = z;
    solve_packed(factors, n, s);
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += s[static_cast<std::size_t>(i)] * z[static_cast<std::size_t>(i)];
    return sum;
  }

  void update(double sig, int mk = 0, double eps = 0.0) {
    Vector w(static_cast<std::size_t>(n)), spent = z;
    if (mk == 1) {
      w = z;
      solve_packed_forward(factors, n, w);
    }
    mc11ad(factors, n, spent, sig, w, ir, mk, eps);
  }
};

double largest_difference(const Vector& a, const Vector& b) {
  double largest = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
  return largest;
}

TEST(Mc11ad, positive_update_gives_the_sum) {
  for (int n : {2, 3, 7, 20})
    for (unsigned seed = 1; seed <= 20; ++seed)
      for (double sig : {0.01, 1.0, 30.0}) {
        Case c(n, seed);
        const Vector expected = c.updated_matrix(sig);
        c.update(sig);
        EXPECT_LT(largest_difference(c.matrix(), expected), 1e-12 * (1 + sig) * n);
        EXPECT_EQ(c.ir, n);
      }
}

TEST(Mc11ad, large_ratio_of_pivots_takes_the_stable_recurrence) {
  for (double size : {1e1, 1e3, 1e6}) {
    Case c(6, 4, size);
    const double first = c.factors[0];
    const Vector expected = c.updated_matrix(1.0);
    c.update(1.0);
    EXPECT_GT(c.factors[0] / first, 4.0);
    EXPECT_LT(largest_difference(c.matrix(), expected), 1e-14 * size * size);
    for (int i = 0; i < 6; ++i) EXPECT_GT(c.factors[at(6, i, i)], 0.0);
  }
}

TEST(Mc11ad, large_ratio_of_pivots_loses_no_digits) {
  // A = [1 1e8; 1e8 1e16 + 1] plus z z' has L(2,1) = 2e8 / (1e16 + 1); the other recurrence takes 1e8 from
  // 1e8 there.
  Vector a{1.0, 1e8, 1.0}, z{1e8, 1.0}, w(2);
  int ir = 2;
  mc11ad(a, 2, z, 1.0, w, ir, 0, 0.0);
  EXPECT_NEAR(a[1] / 2e-8, 1.0, 1e-14);
}

TEST(Mc11ad, negative_update_gives_the_difference_with_and_without_the_forward_solution) {
  for (int n : {2, 3, 7, 20})
    for (unsigned seed = 1; seed <= 20; ++seed)
      for (double share : {0.1, 0.9, 0.999999}) {
        Case c(n, seed);
        const double sig = -share / c.measure();
        const Vector expected = c.updated_matrix(sig);
        for (int mk : {0, 1}) {
          Case copy = c;
          copy.update(sig, mk);
          EXPECT_LT(largest_difference(copy.matrix(), expected), 1e-12 * n * n) << mk;
          EXPECT_EQ(copy.ir, n);
          for (int i = 0; i < n; ++i) EXPECT_GT(copy.factors[at(n, i, i)], 0.0);
        }
      }
}

TEST(Mc11ad, negative_update_told_to_be_singular_lowers_the_rank_by_one) {
  for (int mk : {0, 1}) {
    Case c(5, 9);
    const double sig = -1.0 / c.measure();
    const Vector expected = c.updated_matrix(sig);
    c.ir = -c.ir;
    c.update(sig, mk);
    EXPECT_EQ(c.ir, 4);
    EXPECT_LT(largest_difference(c.matrix(), expected), 1e-12);
    int zeros = 0;
    for (int i = 0; i < 5; ++i) zeros += c.factors[at(5, i, i)] == 0.0;
    EXPECT_EQ(zeros, 1);
  }
}

TEST(Mc11ad, rank_lost_on_purpose_comes_back_with_a_new_direction) {
  Case c(5, 9);
  const double sig = -1.0 / c.measure();
  c.ir = -c.ir;
  c.update(sig, 1);
  c.ir = -c.ir;
  c.z = {0.3, -1.0, 2.0, 0.7, 0.1};
  const Vector expected = c.updated_matrix(0.8);
  c.update(0.8);
  EXPECT_EQ(c.ir, 5);
  EXPECT_LT(largest_difference(c.matrix(), expected), 1e-12);
  for (int i = 0; i < 5; ++i) EXPECT_GT(c.factors[at(5, i, i)], 0.0);
}

TEST(Mc11ad, negative_update_past_singular_is_stopped_there) {
  Case lowered(4, 21), guarded(4, 21);
  const double sig = -1.5 / lowered.measure();
  lowered.update(sig, 0, 0.0);
  EXPECT_EQ(lowered.ir, 3);
  guarded.update(sig, 1, 0x1p-52);
  EXPECT_EQ(guarded.ir, 4);
  for (int i = 0; i < 4; ++i) {
    EXPECT_GE(lowered.factors[at(4, i, i)], 0.0);
    EXPECT_GT(guarded.factors[at(4, i, i)], 0.0);
  }
}

TEST(Mc11ad, update_inside_the_range_of_a_singular_matrix_keeps_its_rank) {
  for (int zero : {0, 2, 4})
    for (double sig : {0.7, -0.05}) {
      Case c(5, 13);
      c.factors[at(5, zero, zero)] = 0.0;
      c.ir = 4;
      const Vector a = c.matrix(), seed = c.z;
      for (int i = 0; i < 5; ++i) {  // z = A seed lies in the range
        double sum = 0.0;
        for (int j = 0; j < 5; ++j)
          sum += a[static_cast<std::size_t>(i * 5 + j)] * seed[static_cast<std::size_t>(j)];
        c.z[static_cast<std::size_t>(i)] = sum;
      }
      const Vector expected = c.updated_matrix(sig);
      c.update(sig);
      EXPECT_EQ(c.ir, 4);
      EXPECT_EQ(c.factors[at(5, zero, zero)], 0.0);
      EXPECT_LT(largest_difference(c.matrix(), expected), 1e-13);
    }
}

TEST(Mc11ad, order_one) {
  for (auto [d, z, sig, expected, rank] :
       {std::array<double, 5>{2, 3, 0.5, 6.5, 1}, {2, 1, -1, 1, 1}, {2, 1, -2, 0, 0}, {2, 2, -3, 0, 0}}) {
    Vector a{d}, vector{z}, w(1);
    int ir = 1;
    mc11ad(a, 1, vector, sig, w, ir, 0, 0.0);
    EXPECT_EQ(a[0], expected);
    EXPECT_EQ(ir, static_cast<int>(rank));
  }
}

TEST(Mc11ad, nothing_is_done_without_a_weight_or_without_a_rank) {
  Case c(3, 5);
  const Vector before = c.factors;
  c.update(0.0);
  EXPECT_EQ(c.factors, before);
  c.ir = 0;
  c.update(-1.0);
  EXPECT_EQ(c.factors, before);
}

TEST(Mc11ad, positive_update_of_the_zero_matrix_gives_rank_one) {
  Case c(4, 6);
  std::fill(c.factors.begin(), c.factors.end(), 0.0);
  c.ir = 0;
  const Vector expected = c.updated_matrix(2.0);
  c.update(2.0);
  EXPECT_EQ(c.ir, 1);
  EXPECT_LT(largest_difference(c.matrix(), expected), 1e-15);
}

TEST(Packed_factors, of_a_matrix_and_its_solution) {
  for (int n : {1, 2, 5, 15}) {
    Case c(n, 31);
    const Vector a = c.matrix();
    Vector packed(c.factors.size());
    for (int j = 0; j < n; ++j)
      for (int i = j; i < n; ++i) packed[at(n, i, j)] = a[static_cast<std::size_t>(i * n + j)];
    ASSERT_TRUE(factorise_packed(packed, n));
    EXPECT_LT(largest_difference(packed, c.factors), 1e-9);
    Vector s = c.z;
    solve_packed(c.factors, n, s);
    for (int i = 0; i < n; ++i) {
      double sum = 0.0;
      for (int j = 0; j < n; ++j)
        sum += a[static_cast<std::size_t>(i * n + j)] * s[static_cast<std::size_t>(j)];
      EXPECT_NEAR(sum, c.z[static_cast<std::size_t>(i)], 1e-8);
    }
  }
}

TEST(Packed_factors, stop_at_a_pivot_that_is_not_positive) {
  for (double bad : {0.0, -1.0, std::nan("")}) {
    Vector a{1, 0, 0, bad, 0, 1};
    EXPECT_FALSE(factorise_packed(a, 3));
  }
  Vector a{1, 2, 3};  // [1 2; 2 3] is indefinite
  EXPECT_FALSE(factorise_packed(a, 2));
}

}  // namespace
}  // namespace tarn
