#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <fstream>
#include <limits>
#include <numbers>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include "numerics/gauss_hermite.h"

namespace tarn {
namespace {

struct Rule {
  std::vector<double> nodes, weights;
  bool made;

  explicit Rule(int order) : nodes(static_cast<std::size_t>(order)), weights(nodes.size()) {
    made = gauss_hermite(order, nodes, weights);
  }
  double sum() const { return std::accumulate(weights.begin(), weights.end(), 0.0); }
};

const double root_pi = std::sqrt(std::numbers::pi);

TEST(Gauss_hermite, agrees_with_sixty_digit_arithmetic) {
  std::ifstream table(std::string(TARN_TEST_DATA) + "/gauss_hermite.txt");
  int order = 0, index = 0, count = 0;
  std::string node_text, weight_text;
  double worst_node = 0.0, worst_weight = 0.0;
  Rule rule(1);
  while (table >> order >> index >> node_text >> weight_text) {
    if (index == 1) rule = Rule(order);
    ASSERT_TRUE(rule.made) << order;
    const auto i = static_cast<std::size_t>(index - 1);
    const double node = std::strtod(node_text.c_str(), nullptr),
                 weight = std::strtod(weight_text.c_str(), nullptr);
    worst_node =
        std::max(worst_node, node == 0.0 ? std::abs(rule.nodes[i]) : std::abs(rule.nodes[i] / node - 1.0));
    if (weight > 1e-280) {
      worst_weight = std::max(worst_weight, std::abs(rule.weights[i] / weight - 1.0));
    } else {  // a denormal weight is the nearest one that there is
      EXPECT_NEAR(rule.weights[i], weight, 1e-13 * weight + std::numeric_limits<double>::denorm_min());
    }
    ++count;
  }
  EXPECT_EQ(count, 2 + 3 + 10 + 101 + 512);
  EXPECT_LT(worst_node, 1e-15);
  EXPECT_LT(worst_weight, 1e-15);
}

TEST(Gauss_hermite, nodes_ascend_symmetrically_and_weights_sum_to_root_pi) {
  for (int order = 1; order <= 512; order += order < 40 ? 1 : 37) {
    const Rule rule(order);
    ASSERT_TRUE(rule.made) << order;
    EXPECT_NEAR(rule.sum(), root_pi, 4e-15) << order;
    for (std::size_t i = 0; i < rule.nodes.size(); ++i) {
      EXPECT_EQ(rule.nodes[i], -rule.nodes[rule.nodes.size() - 1 - i]);
      EXPECT_EQ(rule.weights[i], rule.weights[rule.nodes.size() - 1 - i]);
      if (i > 0) {
        EXPECT_LT(rule.nodes[i - 1], rule.nodes[i]);
      }
    }
  }
}

TEST(Gauss_hermite, order_101_has_its_central_node_at_zero) {
  const Rule rule(101);
  EXPECT_EQ(rule.nodes[50], 0.0);
}

TEST(Gauss_hermite, order_512_has_denormal_and_zero_weights_in_the_tails) {
  const Rule rule(512);
  ASSERT_TRUE(rule.made);
  int denormal = 0, zero = 0;
  for (std::size_t i = 0; i < 256; ++i) {
    zero += rule.weights[i] == 0.0;
    denormal += rule.weights[i] != 0.0 && rule.weights[i] < std::numeric_limits<double>::min();
  }
  EXPECT_GT(denormal, 0);
  EXPECT_GT(zero, 0);
}

TEST(Gauss_hermite, common_orders_raise_no_flag) {
  for (int order : {10, 51, 101, 150}) {
    std::feclearexcept(FE_ALL_EXCEPT);
    const Rule rule(order);
    EXPECT_FALSE(std::fetestexcept(FE_OVERFLOW | FE_UNDERFLOW | FE_DIVBYZERO | FE_INVALID)) << order;
  }
}

TEST(Gauss_hermite, integrates_even_moments_exactly) {
  const Rule rule(10);
  double moment = root_pi;  // integral of x^(2k) exp(-x^2), k = 0, 1, ...
  for (int k = 0; k < 10; ++k) {
    double sum = 0.0;
    for (std::size_t i = 0; i < 10; ++i) sum += rule.weights[i] * std::pow(rule.nodes[i], 2 * k);
    EXPECT_NEAR(sum / moment, 1.0, 1e-13) << k;
    moment *= k + 0.5;
  }
}

TEST(Gauss_hermite, refuses_what_it_cannot_fill) {
  std::vector<double> nodes(3), weights(3);
  EXPECT_FALSE(gauss_hermite(0, nodes, weights));
  EXPECT_FALSE(gauss_hermite(-4, nodes, weights));
  EXPECT_FALSE(gauss_hermite(4, nodes, weights));
}

TEST(Gausq2, gives_eigenvalues_and_first_components_of_a_small_matrix) {
  // [[2,1,0],[1,2,1],[0,1,2]] has eigenvalues 2 - sqrt(2), 2, 2 + sqrt(2), first components 1/2, 1/sqrt(2),
  // 1/2.
  std::vector<double> d{2, 2, 2}, e{1, 1, 0}, z{1, 0, 0};
  int ierr = -1;
  gausq2(3, d, e, z, ierr);
  EXPECT_EQ(ierr, 0);
  EXPECT_NEAR(d[0], 2 - std::sqrt(2.0), 1e-14);
  EXPECT_NEAR(d[1], 2, 1e-14);
  EXPECT_NEAR(d[2], 2 + std::sqrt(2.0), 1e-14);
  EXPECT_NEAR(std::abs(z[0]), 0.5, 1e-14);
  EXPECT_NEAR(std::abs(z[1]), std::sqrt(0.5), 1e-14);
  EXPECT_NEAR(std::abs(z[2]), 0.5, 1e-14);
}

TEST(Gausq2, gives_up_after_thirty_sweeps) {
  std::vector<double> d{1, std::numeric_limits<double>::quiet_NaN()}, e{1, 0}, z{1, 0};
  int ierr = 0;
  gausq2(2, d, e, z, ierr);
  EXPECT_EQ(ierr, 1);
}

TEST(Gaussq, plain_rule_of_low_order) {
  std::vector<double> b(3), t(3), w(3);
  EXPECT_EQ(gaussq(3, b, t, w), 0);
  EXPECT_NEAR(t[2], std::sqrt(1.5), 1e-15);
  EXPECT_NEAR(w[1], 2.0 * root_pi / 3.0, 1e-15);
  EXPECT_NEAR(w[0], root_pi / 6.0, 1e-15);
}

}  // namespace
}  // namespace tarn
