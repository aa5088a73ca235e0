// The four variance procedures and the Jacobian's count.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "inference/varmat.h"
#include "support/fitted_models.h"

namespace tarn {
namespace {

std::size_t triangle(std::size_t n) { return n * (n + 1) / 2; }

/// Phi and p constant over 3 occasions, reals are betas.
Model_builder constant_model(Link link = Link::identity) {
  Model_builder m(1, 3);
  for (int q = 1; q <= 2; ++q) m.pim(q, 1, "TRIANG", 2, 2, [q](int, int) { return q; });
  m.job().model.nlink = link;
  return m;
}

TEST(Varmat, packed_places_run_down_the_columns_of_the_lower_triangle) {
  std::size_t place = 0;
  for (int j = 1; j <= 4; ++j)
    for (int i = j; i <= 4; ++i) EXPECT_EQ(packed_place(i, j, 4), place++);
  const Array2<double> full = expand(std::vector<double>{1, 2, 3, 4, 5, 6}, 3);
  EXPECT_EQ(std::vector<double>(full.begin(), full.end()), (std::vector<double>{1, 2, 3, 2, 4, 5, 3, 5, 6}));
}

TEST(Varmat, second_partials_are_the_stencil_in_many_digits) {
  std::ifstream file(std::string(TARN_TEST_DATA) + "/second_partials.txt");
  ASSERT_TRUE(file);
  struct Case {
    std::string name;
    int occasions = 0, phi_link = 0, p_link = 0;
    std::vector<std::tuple<std::string, float, float>> records;
    std::vector<double> beta;
    std::vector<std::tuple<int, int, double>> h;
  };
  std::vector<Case> cases;
  for (std::string line, kind; std::getline(file, line);) {
    std::istringstream words(line);
    words >> kind;
    if (kind == "case") {
      Case c;
      words >> c.name >> c.occasions >> c.phi_link >> c.p_link;
      cases.push_back(c);
    } else if (kind == "record") {
      std::string live;
      float count = 0, lost = 0;
      words >> live >> count >> lost;
      cases.back().records.emplace_back(live, count, lost);
    } else if (kind == "beta") {
      words >> cases.back().beta.emplace_back();
    } else {
      int i = 0, j = 0;
      double value = 0;
      words >> i >> j >> value;
      cases.back().h.emplace_back(i, j, value);
    }
  }
  ASSERT_EQ(cases.size(), 2U);
  for (const Case& c : cases) {
    Model_builder m(1, c.occasions);
    for (const auto& [live, count, lost] : c.records) m.record(live, {count}, {lost});
    m.time_pims();
    const int n = c.occasions - 1;
    for (int i = 1; i <= n; ++i) {
      m.link(i, static_cast<Link>(c.phi_link));
      m.link(n + i, static_cast<Link>(c.p_link));
    }
    m.finish();
    std::vector<double> h(triangle(c.beta.size()));
    m.job().model.vartyp = Variance::second_partials;
    varmat(m.job(), c.beta, h);
    const int size = static_cast<int>(c.beta.size());
    ASSERT_EQ(c.h.size(), h.size());
    const auto ours = [&](int i, int j) { return h[packed_place(i, j, size)]; };
    for (const auto& [i, j, value] : c.h)
      EXPECT_NEAR(ours(i, j), value, 1e-8 * std::sqrt(std::abs(ours(i, i) * ours(j, j))))
          << c.name << ", betas " << i << ", " << j;
  }
}

TEST(Varmat, one_beta) {
  Model_builder m(1, 2);
  m.pim(1, 1, "SQUARE", 1, 1, [](int, int) { return 1; });
  m.pim(2, 1, "SQUARE", 1, 1, [](int, int) { return 2; });
  m.record("11", {30.0F});
  m.record("10", {70.0F});
  m.job().model.nlink = Link::identity;
  m.fix(2, 1.0);
  m.design(1);
  m.cell(1, 1, 1.0);
  m.finish();
  std::vector<double> h(1);
  std::vector<int> told;
  varmat(m.job(), std::vector{0.3}, h, [&](int percent) { told.push_back(percent); });
  EXPECT_NEAR(h[0], 100.0 / (0.3 * 0.7), 1e-9);
  EXPECT_NEAR(m.job().model.cellpr(2, 1), 0.7, 1e-15);
  EXPECT_EQ(m.job().model.cellprlost(1, 1), 0.0);
  EXPECT_EQ(told, std::vector<int>{100});
}

TEST(Kept, second_partials_of_a_beta_of_minus_one) {
  Model_builder m(1, 4);
  m.record("1011", {3.0F});
  m.record("1100", {5.0F});
  m.record("0110", {2.0F});
  m.time_pims();
  m.finish();
  std::vector<double> x{0.5, 0.25, -1.0, 0.125, 0.0, -0.5}, h(triangle(6));
  varmat(m.job(), x, h);
  const Array2<double> full = expand(h, 6);
  for (int i = 1; i <= 6; ++i)
    for (int j = 1; j <= 6; ++j) EXPECT_EQ(std::isnan(full(i, j)), i == 3 || j == 3) << i << " " << j;
}

TEST(Varmat, rounding_above_one_has_no_derivative) {
  // 1 - Phi + Phi (1 - p) is 1 in exact arithmetic when p = 0; a violation of rounding size must not weigh
  // 1e6.
  Model_builder m = constant_model(Link::logit);
  m.record("100", {50.0F});
  m.record("110", {50.0F});
  m.finish();
  std::vector<double> h(3);
  varmat(m.job(), std::vector{0.3, -40.0}, h);
  for (const double element : h) EXPECT_LT(std::abs(element), 1e3);
}

TEST(Varmat, hessian_is_half_of_the_multiplied_factors) {
  Model_builder m = constant_model();
  m.record("111", {1.0F});
  m.finish();
  m.job().model.vartyp = Variance::hessian;
  // L = (1 0; 0.5 1), D = (4, 3): A = (4 2; 2 4).
  std::vector<double> h{4.0, 0.5, 3.0};
  varmat(m.job(), std::vector{0.5, 0.5}, h);
  EXPECT_EQ(h, (std::vector<double>{2.0, 1.0, 2.0}));
  std::vector<double> nothing(3);  // what an optimizer without derivatives leaves
  varmat(m.job(), std::vector{0.5, 0.5}, nothing);
  EXPECT_EQ(nothing, std::vector<double>(3));
}

TEST(Varmat, observed_information_by_hand) {
  Model_builder m = constant_model();
  m.record("110", {6.0F});
  m.record("011", {0.0F}, {4.0F});
  m.finish();
  m.job().model.vartyp = Variance::observed;
  const double s = 0.75, p = 0.5;
  std::vector<double> h(3);
  varmat(m.job(), std::vector{s, p}, h);
  // "110": s p (1 - s p); "011" lost: s p.
  const double prob = s * p * (1 - s * p), ds = p - 2 * s * p * p, dp = s - 2 * s * s * p;
  EXPECT_NEAR(h[0], 6 * ds * ds / (prob * prob) + 4 / (s * s), 1e-5);
  EXPECT_NEAR(h[1], 6 * ds * dp / (prob * prob) + 4 / (s * p), 1e-5);
  EXPECT_NEAR(h[2], 6 * dp * dp / (prob * prob) + 4 / (p * p), 1e-5);
}

TEST(Varmat, observed_information_passes_over_a_cell_of_probability_zero) {
  Model_builder m = constant_model();
  m.record("111", {6.0F});
  m.record("101", {1.0F});
  m.finish();
  m.job().model.vartyp = Variance::observed;
  std::vector<double> h(3);
  varmat(m.job(), std::vector{0.75, 0.0}, h);
  EXPECT_EQ(h, std::vector<double>(3));
}

TEST(Varmat, expected_information_by_hand) {
  // Cohort 1: "111" and "110" seen, all else unobserved; cohort 2: all histories seen.
  Model_builder m = constant_model();
  m.record("111", {3.0F});
  m.record("110", {4.0F});
  m.record("011", {5.0F});
  m.record("010", {6.0F});
  m.record("011", {2.0F});  // the same cell on a second record
  m.finish();
  m.job().model.vartyp = Variance::expected;
  const double s = 0.75, p = 0.5, q = s * p;
  std::vector<double> h(3);
  varmat(m.job(), std::vector{s, p}, h);
  const auto cell = [](double n, double prob, double d, double e) { return n * d * e / prob; };
  // Derivatives by q = s p of q^2, q (1 - q) and of their complement; dq/ds = p, dq/dp = s.
  const double by_q = cell(7, q * q, 2 * q, 2 * q) + cell(7, q * (1 - q), 1 - 2 * q, 1 - 2 * q) +
                      cell(7, 1 - q, -1, -1) + cell(13, q, 1, 1) + cell(13, 1 - q, -1, -1);
  EXPECT_NEAR(h[0], by_q * p * p, 1e-5);
  EXPECT_NEAR(h[1], by_q * p * s, 1e-5);
  EXPECT_NEAR(h[2], by_q * s * s, 1e-5);
}

TEST(Varmat, expected_information_of_losses) {
  Model_builder m = constant_model();
  m.record("110", {0.0F}, {4.0F});
  m.finish();
  m.job().model.vartyp = Variance::expected;
  const double s = 0.75, p = 0.5, q = s * p;
  std::vector<double> h(3);
  varmat(m.job(), std::vector{s, p}, h);
  EXPECT_NEAR(h[0], 4.0 * (1 / q + 1 / (1 - q)) * p * p, 1e-5);
}

TEST(Varmat, expected_information_of_a_closed_population) {
  // Conditional likelihood, p = c, 3 occasions: the number of captures k has chance C(3, k) p^k (1 - p)^(3 -
  // k) / p*, so the information of an animal is that of a binomial cut off at 0. All are one cohort.
  Model_builder m(12, 3);
  m.pim(1, 1, "SQUARE", 1, 3, [](int, int) { return 1; });
  m.pim(2, 1, "SQUARE", 1, 2, [](int, int) { return 1; });
  m.job().model.nlink = Link::identity;
  for (const char* live : {"111", "110", "101", "100", "011", "010", "001"}) m.record(live, {10.0F});
  m.finish();
  m.job().model.vartyp = Variance::expected;
  const double p = 0.375, q = 1 - p, pstar = 1 - q * q * q;
  double information = 0.0;
  const double ways[] = {0, 3, 3, 1};
  const double mean = 3 * p / pstar;
  for (int k = 1; k <= 3; ++k)
    information += ways[k] * std::pow(p, k) * std::pow(q, 3 - k) / pstar * (k - mean) * (k - mean);
  information /= p * q * p * q;
  std::vector<double> h(1);
  varmat(m.job(), std::vector{p}, h);
  EXPECT_NEAR(h[0], 70.0 * information, 1e-4);
}

// Pradel's recruitment is conditional on the last capture, so those caught on occasion 2 are one cohort,
// wherever they were caught first: q = Gamma p of them were caught on occasion 1, too.
TEST(Varmat, expected_information_of_a_cohort_by_last_capture) {
  Model_builder m(14, 2);
  m.pim(1, 1, "SQUARE", 1, 1, [](int, int) { return 1; });
  m.pim(2, 1, "SQUARE", 1, 2, [](int, int) { return 2; });
  m.job().model.nlink = Link::identity;
  m.record("10", {20.0F});
  m.record("11", {30.0F});
  m.record("01", {50.0F});
  m.finish();
  m.job().model.vartyp = Variance::expected;
  const double gamma = 0.75, p = 0.5, q = gamma * p;
  std::vector<double> h(3);
  varmat(m.job(), std::vector{gamma, p}, h);
  const double by_q = 80.0 / (q * (1.0 - q));
  EXPECT_NEAR(h[0], by_q * p * p, 1e-4);  // slopes are differences of step 1.5e-8
  EXPECT_NEAR(h[2], by_q * gamma * gamma, 1e-4);
}

/// Every history that a release on one of 3 occasions may have, by cohort.
std::vector<std::string> every_history(int type) {
  const bool recoveries = type == 2 || type == 3 || type == 10,
             captures = type != 2 && type != 10 && type != 4;
  std::vector<std::string> all;
  for (const std::string live : {"100", "110", "101", "111", "010", "011", "001"}) {
    const std::size_t first = live.find('1'), last = live.rfind('1');
    if (!captures && first != last) continue;
    std::string cells;
    for (const char c : live) cells += {c, '0'};
    all.push_back(cells);
    if (!recoveries && type != 4) continue;
    // Known fates are of one occasion: lived, died.
    for (std::size_t o = last; o < (type == 4 ? last + 1 : 3); ++o) {
      std::string dead = cells;
      dead[2 * o + 1] = '1';
      all.push_back(dead);
    }
  }
  return all;
}

// Nothing is left of a cohort all of whose histories were seen, and what the sum of their chances lacks of 1
// is rounding: it must not be taken for a history.
TEST(Varmat, expected_information_where_every_history_was_seen) {
  constexpr double step = 1.4901161193847656e-8;
  for (const int type : {1, 2, 3, 10, 12, 25, 50, 4, 145}) {
    int rounded = 0;
    for (unsigned seed = 1; seed <= 20; ++seed) {
      const Fitted_options options{.noccas = 3, .groups = 1, .covariates = 0};
      std::vector<Animal> animals;
      for (const std::string& cells : every_history(type)) animals.push_back({cells, {40.0F}, {0.0F}, {}});
      Model_builder m = unfinished_model(type, animals, options);
      m.finish();
      Job& job = m.job();
      job.model.vartyp = Variance::expected;
      Draws draws(seed);
      std::vector<double> x(static_cast<std::size_t>(m.betas()));
      for (double& beta : x) beta = draws.between(-1.0, 1.0);
      const std::size_t n = x.size();
      std::vector<double> h(triangle(n));
      varmat(job, x, h);

      // The histories alone, each in its cohort, whose number is that of its release.
      const bool one_cohort = datatype(type).closed != Closed::none;
      Array2<double> at, lost, up, down;
      cell_probabilities(job, x, at, lost);
      std::vector<std::vector<double>> slopes(n);
      for (std::size_t k = 0; k < n; ++k) {
        std::vector<double> moved = x;
        moved[k] = x[k] + step;
        cell_probabilities(job, moved, up, lost);
        moved[k] = x[k] - step;
        cell_probabilities(job, moved, down, lost);
        for (int i = 1; i <= at.extent(1); ++i) slopes[k].push_back((up(i, 1) - down(i, 1)) / (2.0 * step));
      }
      std::vector<double> expected(triangle(n)), sums(4);
      for (int i = 1; i <= at.extent(1); ++i) {
        const int cohort = one_cohort ? 1 : first1(job.data.encounters.history(i));
        sums[static_cast<std::size_t>(cohort)] += at(i, 1);
        for (std::size_t j = 0; j < n; ++j)
          for (std::size_t k = j; k < n; ++k)
            expected[static_cast<std::size_t>(
                packed_place(static_cast<int>(k) + 1, static_cast<int>(j) + 1, static_cast<int>(n)))] +=
                job.data.u(cohort, 1, 1) / at(i, 1) * slopes[j][static_cast<std::size_t>(i) - 1] *
                slopes[k][static_cast<std::size_t>(i) - 1];
      }
      for (const double sum : sums) {
        if (sum == 0.0) continue;
        ASSERT_NEAR(sum, 1.0, 1e-12) << type;
        if (sum < 1.0) ++rounded;
      }
      for (std::size_t k = 0; k < h.size(); ++k)
        EXPECT_NEAR(h[k], expected[k], 1e-10 * (1.0 + std::abs(expected[k]))) << type << ' ' << seed;
    }
    // Else the sums would have told nothing. Those of the last two err to the other side.
    if (type != 4 && type != 145) {
      EXPECT_GT(rounded, 0) << type;
    }
  }
}

TEST(Varmat, singular_information_of_a_parameter_that_is_not_identified) {
  // The last Phi and p of a time-dependent model enter as a product.
  Model_builder m(1, 3);
  for (const char* live : {"111", "110", "101", "100", "011", "010"}) m.record(live, {7.0F});
  m.time_pims();
  m.job().model.nlink = Link::identity;
  m.finish();
  m.job().model.vartyp =
      Variance::observed;  // a sum of squares has no curvature of its own along the product
  std::vector<double> h(triangle(4));
  const std::vector<double> x{0.75, 0.625, 0.5, 0.375};
  varmat(m.job(), x, h);
  const Array2<double> full = expand(h, 4);
  // Along the direction (0, Phi, 0, -p) nothing changes.
  double along = 0.0;
  const double direction[] = {0.0, x[1], 0.0, -x[3]};
  for (int i = 1; i <= 4; ++i)
    for (int j = 1; j <= 4; ++j) along += direction[i - 1] * full(i, j) * direction[j - 1];
  EXPECT_NEAR(along, 0.0, 1e-4);
}

TEST(Varmat, reals_are_those_of_the_solution) {
  Model_builder m = constant_model();
  m.record("110", {6.0F});
  m.finish();
  std::vector<double> h(3);
  const std::vector<double> x{0.75, 0.5};
  for (const int type : {1, 2, 3, 4}) {
    m.job().model.vartyp = static_cast<Variance>(type);
    m.func({0.1, 0.2});
    varmat(m.job(), x, h);
    EXPECT_EQ(m.job().model.parm(1), 0.75);
    EXPECT_EQ(m.job().model.parm(2), 0.5);
  }
}

TEST(Varmat, without_records_or_betas) {
  Model_builder m = constant_model();
  m.finish();
  for (const int type : {1, 2, 3, 4}) {
    std::vector<double> h(3);
    m.job().model.vartyp = static_cast<Variance>(type);
    varmat(m.job(), std::vector{0.75, 0.5}, h);
    EXPECT_EQ(h, std::vector<double>(3));
  }
  EXPECT_EQ(expand({}, 0).size(), 0u);
}

TEST(Jacobian, counts_the_parameters) {
  Model_builder m(1, 4);
  for (const char* live :
       {"1111", "1110", "1011", "1001", "1100", "1000", "0111", "0110", "0100", "0011", "0010"})
    m.record(live, {7.0F});
  m.time_pims();
  m.finish();
  const std::optional<Jacobian_count> count =
      jacobian(m.job(), std::vector{0.5, 0.75, 0.25, 0.0, -0.25, 0.5});
  ASSERT_TRUE(count);
  EXPECT_EQ(count->info, 0);
  EXPECT_EQ(count->s.size(), 6);
  // Of the six only five can be told apart: the last Phi and p enter as a product.
  EXPECT_EQ(count->gap.max_at, 5);
  EXPECT_EQ(count->gap.count, 5);
  EXPECT_FALSE(jacobian(m.job(), {}));
}

}  // namespace
}  // namespace tarn
