#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <limits>
#include <map>
#include <numeric>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "numerics/array.h"
#include "numerics/linear_algebra.h"

extern "C" void xerbla_(const char* routine, const int* argument, std::size_t length);

namespace tarn {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

/// What tests/reference/make_linear_algebra.py found, by name.
const std::vector<double>& reference(const std::string& name) {
  static const std::map<std::string, std::vector<double>> table = [] {
    std::map<std::string, std::vector<double>> rows;
    std::ifstream file(std::string(TARN_TEST_DATA) + "/linear_algebra.txt");
    for (std::string line; std::getline(file, line);) {
      std::istringstream words(line);
      std::string key;
      words >> key;
      for (double x; words >> x;) rows[key].push_back(x);
    }
    return rows;
  }();
  return table.at(name);
}

/// The stream of numbers that the reference script uses.
Array2<double> stream(int seed, int rows, int columns) {
  Array2<double> x;
  EXPECT_TRUE(x.allocate(rows, columns));
  std::uint64_t state = static_cast<std::uint64_t>(seed);
  for (double& element : x) {
    state = (1103515245 * state + 12345) % (1u << 31);
    element = static_cast<double>((state >> 16) % 2001) / 1000 - 1;
  }
  return x;
}

Array2<double> positive_definite(int n) {
  const Array2<double> x = stream(n, n, n);
  Array2<double> a;
  EXPECT_TRUE(a.allocate(n, n));
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j)
      a(i, j) = ddot(n, x.column(i).data(), 1, x.column(j).data(), 1) + (i == j ? 0.1 : 0.0);
  return a;
}

std::string shape(int n, int p) { return std::to_string(n) + "x" + std::to_string(p); }

TEST(Dpoco, factor_inverse_determinant_and_condition) {
  for (int n : {1, 2, 5, 12, 70}) {
    SCOPED_TRACE(n);
    Array2<double> a = positive_definite(n);
    std::vector<double> z(static_cast<std::size_t>(n));
    double rcond = -1.0, det[2];
    int info = -1;
    dpoco(a.data(), n, n, rcond, z.data(), info);
    ASSERT_EQ(info, 0);
    const double exact = reference("rcond_" + std::to_string(n))[0];
    EXPECT_LE(rcond, 1.0 + 1e-12);
    EXPECT_GE(rcond, exact * (1 - 1e-10));  // the estimate of the inverse's norm is a lower bound
    EXPECT_LE(rcond, exact * 3);
    dpodi(a.data(), n, n, det, 11);
    EXPECT_GE(det[0], 1.0);
    EXPECT_LT(det[0], 10.0);
    EXPECT_EQ(det[1], std::floor(det[1]));
    EXPECT_NEAR(std::log10(det[0]) + det[1], reference("log10det_" + std::to_string(n))[0], 1e-11);
    const auto& inverse = reference("inverse_" + std::to_string(n));
    const int shown = n <= 12 ? n : 3;
    for (int j = 1; j <= shown; ++j)
      for (int i = 1; i <= j; ++i) {
        const double expected = inverse[static_cast<std::size_t>((j - 1) * shown + i - 1)];
        EXPECT_NEAR(a(i, j), expected, 1e-9 * (1 + std::abs(expected)));
      }
  }
}

TEST(Dpoco, works_inside_a_larger_array_and_reads_the_upper_triangle_only) {
  Array2<double> a = positive_definite(5), wide;
  ASSERT_TRUE(wide.allocate(9, 5));
  wide.fill(no_number);
  for (int j = 1; j <= 5; ++j)
    for (int i = 1; i <= j; ++i) wide(i, j) = a(i, j);
  double rcond = 0.0, z[5];
  int info = -1;
  dpoco(wide.data(), 9, 5, rcond, z, info);
  EXPECT_EQ(info, 0);
  int plain = -1;
  dpofa(a.data(), 5, 5, plain);
  EXPECT_EQ(plain, 0);
  for (int j = 1; j <= 5; ++j)
    for (int i = 1; i <= j; ++i) EXPECT_EQ(wide(i, j), a(i, j));
}

TEST(Dpodi, identity_of_order_two) {
  double a[4] = {1, 0, 0, 1}, det[2] = {-1, -1};
  dpodi(a, 2, 2, det, 11);
  EXPECT_EQ(det[0], 1.0);
  EXPECT_EQ(det[1], 0.0);
  EXPECT_EQ(a[0], 1.0);
  EXPECT_EQ(a[2], 0.0);
  EXPECT_EQ(a[3], 1.0);
}

TEST(Dpodi, order_one) {
  double a[1] = {16.0}, rcond = 0, z[1], det[2];
  int info = -1;
  dpoco(a, 1, 1, rcond, z, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(a[0], 4.0);
  EXPECT_NEAR(rcond, 1.0, 1e-15);
  dpodi(a, 1, 1, det, 11);
  EXPECT_NEAR(det[0], 1.6, 1e-15);
  EXPECT_EQ(det[1], 1.0);
  EXPECT_EQ(a[0], 1.0 / 16.0);
}

TEST(Dpodi, job_codes_do_one_thing_each) {
  double a[4] = {2, 0, 1, 1}, det[2] = {-7, -7};
  dpodi(a, 2, 2, det, 10);
  EXPECT_EQ(det[0], 4.0);
  EXPECT_EQ(det[1], 0.0);
  EXPECT_EQ(a[0], 2.0);
  det[0] = -7;
  dpodi(a, 2, 2, det, 1);
  EXPECT_EQ(det[0], -7.0);
  EXPECT_NEAR(a[0], 0.5, 1e-15);  // (R'R)^-1 with R = [2 1; 0 1]
  EXPECT_NEAR(a[2], -0.5, 1e-15);
  EXPECT_NEAR(a[3], 1.0, 1e-15);
}

TEST(Dpodi, determinant_beyond_the_range_of_a_double) {
  Array2<double> a;
  ASSERT_TRUE(a.allocate(3, 3));
  for (int i = 1; i <= 3; ++i) a(i, i) = 2e250;
  double det[2];
  dpodi(a.data(), 3, 3, det, 10);
  EXPECT_NEAR(det[0], 6.4, 1e-11);
  EXPECT_EQ(det[1], 1501.0);
  for (int i = 1; i <= 3; ++i) a(i, i) = 1e-300;
  dpodi(a.data(), 3, 3, det, 10);
  EXPECT_NEAR(std::log10(det[0]) + det[1], -1800.0, 1e-9);
}

TEST(Dpodi, zero_on_the_diagonal) {
  double a[4] = {1, 0, 3, 0}, det[2];
  dpodi(a, 2, 2, det, 11);
  EXPECT_EQ(det[0], 0.0);
  EXPECT_EQ(det[1], 0.0);
  EXPECT_TRUE(std::isnan(a[0]));
}

TEST(Dpofa, names_the_leading_minor_that_is_not_positive) {
  for (int k = 1; k <= 6; ++k) {
    Array2<double> a;
    ASSERT_TRUE(a.allocate(6, 6));
    for (int i = 1; i <= 6; ++i) a(i, i) = i == k ? -1.0 : 2.0;
    double rcond = 5.0, z[6];
    int info = 0;
    dpoco(a.data(), 6, 6, rcond, z, info);
    EXPECT_EQ(info, k);
    EXPECT_EQ(rcond, 0.0);
    for (int i = 1; i <= 6; ++i) a(i, i) = i == k ? 0.0 : 2.0;
    dpofa(a.data(), 6, 6, info);
    EXPECT_EQ(info, k);
  }
}

TEST(Dpoco, nearly_singular_matrix_has_a_condition_below_the_test_of_callers) {
  double a[4] = {1, 0, 1 - 1e-15, 1}, rcond = 1, z[2];
  int info = -1;
  dpoco(a, 2, 2, rcond, z, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(rcond + 1000.0, 1000.0);
}

TEST(Not_finite, matrices_are_refused_with_info_n) {
  for (double bad : {infinity, -infinity, no_number}) {
    Array2<double> a = positive_definite(4);
    a(2, 3) = bad;
    double rcond = 1, z[4], det[2];
    int info = 0;
    dpofa(a.data(), 4, 4, info);
    EXPECT_EQ(info, 4);
    dpoco(a.data(), 4, 4, rcond, z, info);
    EXPECT_EQ(info, 4);
    EXPECT_EQ(rcond, 0.0);
    dpodi(a.data(), 4, 4, det, 11);
    EXPECT_TRUE(std::isnan(det[0]));
    EXPECT_TRUE(std::isnan(a(1, 1)));

    Array2<double> x = stream(3, 6, 4);
    x(5, 2) = bad;
    double qraux[4], work[6], s[4], e[4], y[6] = {}, qty[6];
    int jpvt[4] = {0, 1, 0, -1};
    EXPECT_EQ(dqrdc(x.data(), 6, 6, 4, qraux, jpvt, work, 1), 6);
    for (int k = 0; k < 4; ++k) EXPECT_EQ(jpvt[k], k + 1);
    dqrsl(x.data(), 6, 6, 4, qraux, y, nullptr, qty, nullptr, nullptr, nullptr, 1000, info);
    EXPECT_EQ(info, 6);
    dsvdc(x.data(), 6, 6, 4, s, e, nullptr, 1, nullptr, 1, work, 0, info);
    EXPECT_EQ(info, 6);
    EXPECT_TRUE(std::isnan(s[0]));
  }
  EXPECT_EQ(refused_argument(), 0);
}

TEST(Not_finite, a_norm_that_overflows_is_refused) {
  double a[4] = {1.7e308, 0, 1.7e308, 1.7e308}, rcond = 1, z[2];
  int info = 0;
  dpoco(a, 2, 2, rcond, z, info);
  EXPECT_NE(info, 0);
  EXPECT_EQ(rcond, 0.0);
}

TEST(Refused, the_handler_of_the_library_records_and_neither_prints_nor_ends_the_process) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  std::thread([] {  // the record is the thread's own
    const int argument = 4;
    xerbla_("DPOTRF", &argument, 6);
    EXPECT_EQ(refused_argument(), 4);
  })
      .join();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(refused_argument(), 0);
}

TEST(Refused, leading_dimension_too_small) {
  double a[4] = {1, 0, 0, 1}, qraux[2], s[2], e[2], work[2];
  int info = 0, jpvt[2] = {0, 0};
  dpofa(a, 1, 2, info);
  EXPECT_EQ(info, 2);
  EXPECT_EQ(dqrdc(a, 1, 2, 2, qraux, jpvt, work, 1), 2);
  dsvdc(a, 1, 2, 2, s, e, nullptr, 1, nullptr, 1, work, 0, info);
  EXPECT_EQ(info, 2);
}

TEST(Refused, order_zero_does_nothing) {
  double none = 0, rcond = 0;
  int info = -1, jpvt = 0;
  dpoco(&none, 1, 0, rcond, &none, info);
  EXPECT_EQ(info, 0);
  dsvdc(&none, 1, 0, 0, &none, &none, nullptr, 1, nullptr, 1, &none, 0, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(dqrdc(&none, 1, 0, 0, &none, &jpvt, &none, 1), 0);
}

struct Factored {
  Array2<double> original, x;
  std::vector<double> qraux, work;
  std::vector<int> jpvt;
  int n, p;

  Factored(Array2<double> matrix, std::vector<int> marks, int job = 1) : jpvt(std::move(marks)) {
    n = matrix.extent(1);
    p = matrix.extent(2);
    EXPECT_TRUE(matrix.clone(original));
    x = std::move(matrix);
    qraux.resize(static_cast<std::size_t>(p));
    work.resize(static_cast<std::size_t>(p));
    if (jpvt.empty()) jpvt.resize(static_cast<std::size_t>(p));
    EXPECT_EQ(dqrdc(x.data(), n, n, p, qraux.data(), jpvt.data(), work.data(), job), 0);
  }

  /// Q R, column by column, against the columns of the original in the order of jpvt.
  void expect_product() {
    for (int j = 1; j <= p; ++j) {
      std::vector<double> r(static_cast<std::size_t>(n)), product(r.size());
      for (int i = 1; i <= std::min(j, n); ++i) r[static_cast<std::size_t>(i - 1)] = x(i, j);
      int info = -1;
      dqrsl(x.data(), n, n, std::min(n, p), qraux.data(), r.data(), product.data(), nullptr, nullptr, nullptr,
            nullptr, 10000, info);
      EXPECT_EQ(info, 0);
      const int from = jpvt[static_cast<std::size_t>(j - 1)];
      for (int i = 1; i <= n; ++i)
        EXPECT_NEAR(product[static_cast<std::size_t>(i - 1)], original(i, from), 1e-13);
    }
  }
};

TEST(Dqrdc, pivots_and_diagonal_as_the_reference) {
  for (auto [n, p] : {std::pair{1, 1}, {6, 4}, {4, 6}, {5, 5}, {40, 33}}) {
    SCOPED_TRACE(shape(n, p));
    Factored f(stream(100 + n, n, p), {});
    const auto &pivots = reference("pivots_" + shape(n, p)),
               &diagonal = reference("rdiagonal_" + shape(n, p));
    // Beyond the rank of the rows every remaining column has norm 0, and their order means nothing.
    for (int k = 1; k <= std::min(n, p); ++k)
      EXPECT_EQ(f.jpvt[static_cast<std::size_t>(k - 1)], pivots[static_cast<std::size_t>(k - 1)]);
    for (int k = 1; k <= std::min(n, p); ++k)
      EXPECT_NEAR(std::abs(f.x(k, k)), diagonal[static_cast<std::size_t>(k - 1)], 1e-13);
    f.expect_product();
  }
}

TEST(Dqrdc, without_pivoting_columns_stay_and_jpvt_is_not_read) {
  std::vector<int> marks{5, -3, 7, 9};
  Factored f(stream(106, 6, 4), marks, 0);
  EXPECT_EQ(f.jpvt, marks);
  f.jpvt = {1, 2, 3, 4};
  f.expect_product();
}

TEST(Dqrdc, initial_columns_stay_first_and_final_columns_last) {
  for (const std::vector<int>& marks : {std::vector<int>{0, -1, 1, 0, 0, 1},
                                        {-1, 0, 0, 0, 0, -1},
                                        {1, 1, 1, 1, 1, 1},
                                        {-1, -1, -1, -1, -1, -1},
                                        {0, 0, 0, 1, -1, 0},
                                        {1, -1, 1, -1, 1, -1}})
    for (int n : {9, 6, 4, 1}) {
      Factored f(stream(300 + n, n, 6), marks);
      const auto count = [&](auto wanted) {
        return static_cast<int>(std::count_if(marks.begin(), marks.end(), wanted));
      };
      const int initial = count([](int m) { return m > 0; }), final_ones = count([](int m) { return m < 0; });
      std::vector<int> seen = f.jpvt;
      for (int k = 0; k < 6; ++k) {
        const int mark = marks[static_cast<std::size_t>(seen[static_cast<std::size_t>(k)] - 1)];
        EXPECT_EQ(mark > 0, k < initial);
        EXPECT_EQ(mark < 0, k >= 6 - final_ones);
      }
      std::sort(seen.begin(), seen.end());
      EXPECT_EQ(seen, (std::vector<int>{1, 2, 3, 4, 5, 6}));
      f.expect_product();
    }
}

TEST(Dqrdc, rank_deficiency_shows_on_the_diagonal) {
  Array2<double> x = stream(17, 8, 4);
  for (int i = 1; i <= 8; ++i) x(i, 3) = 2 * x(i, 1) - x(i, 2);
  Factored f(std::move(x), {});
  EXPECT_GT(std::abs(f.x(3, 3)), 0.1);
  EXPECT_LT(std::abs(f.x(4, 4)), 1e-14);
  f.expect_product();
}

TEST(Dqrsl, solution_residuals_and_fit) {
  for (auto [n, p] : {std::pair{1, 1}, {6, 4}, {5, 5}, {40, 33}}) {
    SCOPED_TRACE(shape(n, p));
    const auto &solution = reference("solution_" + shape(n, p)),
               &residual = reference("residual_" + shape(n, p));
    const Array2<double> y = stream(200 + n, n, 1);
    for (int job : {0, 1}) {
      Factored f(stream(100 + n, n, p), {}, job);
      if (job == 0) std::iota(f.jpvt.begin(), f.jpvt.end(), 1);
      std::vector<double> qy(static_cast<std::size_t>(n)), qty(qy), b(static_cast<std::size_t>(p)), rsd(qy),
          xb(qy);
      int info = -1;
      dqrsl(f.x.data(), n, n, p, f.qraux.data(), y.data(), qy.data(), qty.data(), b.data(), rsd.data(),
            xb.data(), 11111, info);
      EXPECT_EQ(info, 0);
      for (int k = 0; k < p; ++k) {
        const double expected = solution[static_cast<std::size_t>(f.jpvt[static_cast<std::size_t>(k)] - 1)];
        EXPECT_NEAR(b[static_cast<std::size_t>(k)], expected, 1e-9 * (1 + std::abs(expected)));
      }
      for (std::size_t i = 0; i < rsd.size(); ++i) {
        EXPECT_NEAR(rsd[i], residual[i], 1e-10);
        EXPECT_NEAR(xb[i] + rsd[i], y.data()[i], 1e-13);
      }
      EXPECT_NEAR(dnrm2(n, qty.data(), 1), dnrm2(n, y.data(), 1), 1e-13);
      EXPECT_NEAR(dnrm2(n, qy.data(), 1), dnrm2(n, y.data(), 1), 1e-13);
    }
  }
}

TEST(Dqrsl, outputs_may_lie_where_y_does) {
  Factored f(stream(106, 6, 4), {});
  const Array2<double> y = stream(206, 6, 1);
  std::vector<double> shared(y.begin(), y.end()), apart(shared), b(4), b_apart(4), qty(6);
  int info = -1;
  dqrsl(f.x.data(), 6, 6, 4, f.qraux.data(), apart.data(), nullptr, qty.data(), b_apart.data(), nullptr,
        nullptr, 100, info);
  EXPECT_EQ(info, 0);
  dqrsl(f.x.data(), 6, 6, 4, f.qraux.data(), shared.data(), nullptr, shared.data(), b.data(), nullptr,
        nullptr, 100, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(b, b_apart);
  EXPECT_EQ(shared, qty);
}

TEST(Dqrsl, zero_on_the_diagonal_gives_its_index) {
  double x[6] = {1, 0, 0, 2, 0, 0}, qraux[2], work[2], y[3] = {1, 1, 1}, qty[3], b[2];
  ASSERT_EQ(dqrdc(x, 3, 3, 2, qraux, nullptr, work, 0), 0);
  int info = -1;
  dqrsl(x, 3, 3, 2, qraux, y, nullptr, qty, b, nullptr, nullptr, 100, info);
  EXPECT_EQ(info, 2);
}

TEST(Dsvdc, singular_values_descend_and_agree_with_the_reference) {
  for (auto [n, p] : {std::pair{1, 1}, {6, 4}, {4, 6}, {5, 5}, {40, 33}}) {
    SCOPED_TRACE(shape(n, p));
    Array2<double> x = stream(100 + n, n, p);
    std::vector<double> s(static_cast<std::size_t>(std::min(n + 1, p))), e(static_cast<std::size_t>(p)),
        work(static_cast<std::size_t>(n));
    int info = -1;
    dsvdc(x.data(), n, n, p, s.data(), e.data(), nullptr, 1, nullptr, 1, work.data(), 0, info);
    EXPECT_EQ(info, 0);
    const auto& expected = reference("singular_" + shape(n, p));
    for (std::size_t k = 0; k < expected.size(); ++k) {
      EXPECT_NEAR(s[k], expected[k], 1e-13);
      if (k > 0) {
        EXPECT_LE(s[k], s[k - 1]);
      }
    }
    for (double rest : e) EXPECT_EQ(rest, 0.0);
  }
}

TEST(Dsvdc, vectors_give_the_matrix_back_for_every_job) {
  for (auto [n, p] : {std::pair{1, 1}, {6, 4}, {4, 6}, {5, 5}})
    for (int job : {11, 21}) {
      SCOPED_TRACE(shape(n, p) + " job " + std::to_string(job));
      const Array2<double> original = stream(100 + n, n, p);
      const int count = std::min(n, p), left = job == 11 ? n : count;
      Array2<double> x, u, v;
      ASSERT_TRUE(original.clone(x) && u.allocate(n, left) && v.allocate(p, p));
      std::vector<double> s(static_cast<std::size_t>(std::min(n + 1, p))), e(static_cast<std::size_t>(p)),
          work(static_cast<std::size_t>(n));
      int info = -1;
      dsvdc(x.data(), n, n, p, s.data(), e.data(), u.data(), n, v.data(), p, work.data(), job, info);
      ASSERT_EQ(info, 0);
      for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= p; ++j) {
          double sum = 0.0;
          for (int k = 1; k <= count; ++k) sum += u(i, k) * s[static_cast<std::size_t>(k - 1)] * v(j, k);
          EXPECT_NEAR(sum, original(i, j), 1e-13);
        }
      for (int j = 1; j <= left; ++j)
        for (int k = 1; k <= left; ++k)
          EXPECT_NEAR(ddot(n, u.column(j).data(), 1, u.column(k).data(), 1), j == k ? 1.0 : 0.0, 1e-13);
      for (int j = 1; j <= p; ++j)
        for (int k = 1; k <= p; ++k)
          EXPECT_NEAR(ddot(p, v.column(j).data(), 1, v.column(k).data(), 1), j == k ? 1.0 : 0.0, 1e-13);
    }
}

TEST(Dsvdc, right_vectors_may_lie_where_the_matrix_does) {
  const Array2<double> original = stream(105, 5, 5);
  Array2<double> apart, v, shared;
  ASSERT_TRUE(original.clone(apart) && original.clone(shared) && v.allocate(5, 5));
  double s[5], e[5], work[5];
  int info = -1;
  dsvdc(apart.data(), 5, 5, 5, s, e, nullptr, 1, v.data(), 5, work, 1, info);
  dsvdc(shared.data(), 5, 5, 5, s, e, nullptr, 1, shared.data(), 5, work, 1, info);
  for (int j = 1; j <= 5; ++j)
    for (int i = 1; i <= 5; ++i) EXPECT_EQ(shared(i, j), v(i, j));
}

TEST(Dsvdc, rank_deficient_and_zero_matrices) {
  Array2<double> x = stream(9, 6, 6);
  for (int i = 1; i <= 6; ++i) x(i, 6) = x(i, 1) + x(i, 2);
  double s[6], e[6], work[6];
  int info = -1;
  dsvdc(x.data(), 6, 6, 6, s, e, nullptr, 1, nullptr, 1, work, 0, info);
  EXPECT_EQ(info, 0);
  EXPECT_GT(s[4], 1e-3);
  EXPECT_LT(s[5], 1e-14);
  x.fill(0.0);
  dsvdc(x.data(), 6, 6, 6, s, e, nullptr, 1, nullptr, 1, work, 0, info);
  EXPECT_EQ(info, 0);
  for (double value : s) EXPECT_EQ(value, 0.0);
}

TEST(Level_one, vector_routines_with_increments) {
  double x[6] = {1, 2, 3, 4, 5, 6}, y[3] = {10, 20, 30};
  EXPECT_EQ(ddot(3, x, 2, y, 1), 10 + 60 + 150);
  EXPECT_EQ(ddot(3, x, -2, y, 1), 50 + 60 + 30);
  EXPECT_EQ(dasum(3, x, 2), 9.0);
  daxpy(3, 2.0, x, 2, y, 1);
  EXPECT_EQ(y[2], 40.0);
  dscal(3, -1.0, x, 2);
  EXPECT_EQ(x[4], -5.0);
  EXPECT_EQ(x[3], 4.0);
  dcopy(3, y, 1, x, 2);
  EXPECT_EQ(x[2], 26.0);
  dswap(3, x, 2, y, 1);
  EXPECT_EQ(x[0], 12.0);
  const double sides[2] = {3e200, 4e200};
  EXPECT_NEAR(dnrm2(2, sides, 1) / 5e200, 1.0, 1e-15);
  EXPECT_EQ(dasum(0, x, 1), 0.0);
}

TEST(Level_one, plane_rotation) {
  double a = 3, b = 4, c = 0, s = 0;
  drotg(a, b, c, s);
  EXPECT_NEAR(std::abs(a), 5.0, 1e-15);
  double x[1] = {3}, y[1] = {4};
  drot(1, x, 1, y, 1, c, s);
  EXPECT_NEAR(x[0], a, 1e-15);
  EXPECT_NEAR(y[0], 0.0, 1e-15);
}

}  // namespace
}  // namespace tarn
