#include <gtest/gtest.h>
#include <quadmath.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "numerics/sum.h"

namespace tarn {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

struct Term {
  float count;
  double x;
};

std::vector<Term> history_like_terms(int size, unsigned seed) {
  std::mt19937_64 source(seed);
  std::uniform_real_distribution<double> logarithm(-40.0, 0.0);
  std::vector<Term> terms;
  for (int i = 0; i < size; ++i)
    terms.push_back({static_cast<float>(1 + source() % 1000000), logarithm(source)});
  return terms;
}

__float128 quad_sum(const std::vector<Term>& terms) {
  __float128 sum = 0;
  for (const Term& term : terms) sum += static_cast<__float128>(term.count) * static_cast<__float128>(term.x);
  return sum;
}

TEST(Wide_sum, millions_of_products_as_the_wide_type_gives_them) {
  const std::vector<Term> terms = history_like_terms(4000000, 11);
  Wide_sum sum;
  for (const Term& term : terms) sum.add_product(term.count, term.x);
  EXPECT_EQ(sum.value(), static_cast<double>(quad_sum(terms)));
}

TEST(Wide_sum, pieces_joined_in_order_give_the_sum_of_the_whole) {
  const std::vector<Term> terms = history_like_terms(1000003, 12);
  const double whole = static_cast<double>(quad_sum(terms));
  for (std::size_t pieces : {1u, 2u, 3u, 8u, 64u}) {
    Wide_sum joined;
    for (std::size_t piece = 0; piece < pieces; ++piece) {
      Wide_sum part;
      for (std::size_t i = terms.size() * piece / pieces; i < terms.size() * (piece + 1) / pieces; ++i)
        part.add_product(terms[i].count, terms[i].x);
      joined.add(part);
    }
    EXPECT_EQ(joined.value(), whole) << pieces;
  }
}

TEST(Wide_sum, products_are_exact) {
  std::mt19937_64 source(13);
  for (int i = 0; i < 100000; ++i) {
    const float count = static_cast<float>(source() % 16777217);
    const double x = std::ldexp(static_cast<double>(source() >> 11), static_cast<int>(source() % 200) - 100);
    Wide_sum sum;
    sum.add_product(count, x);
    const double rounded = count * x;
    EXPECT_EQ(sum.value(), rounded);
    sum.add(-rounded);  // what is left is the rounding error of the product
    EXPECT_EQ(sum.value(), std::fma(count, x, -rounded));
  }
}

TEST(Wide_sum, terms_that_cancel_to_1e_20_of_their_size_leave_every_digit) {
  std::mt19937_64 source(14);
  std::uniform_real_distribution<double> size(0.5, 1.0);
  for (int round = 0; round < 50; ++round) {
    std::vector<Term> terms = history_like_terms(2000, static_cast<unsigned>(100 + round));
    const std::size_t kept = terms.size();
    for (std::size_t i = 0; i < kept; ++i) terms.push_back({terms[i].count, -terms[i].x});
    std::shuffle(terms.begin(), terms.end(), source);
    // The parts are of size 1e7, their sum is this number alone, spread over two terms that nearly cancel
    // too.
    const double left = size(source) * 1e-13;
    Wide_sum sum;
    for (std::size_t i = 0; i < terms.size(); ++i) {
      if (i == 1000) sum.add(1.0 + left);
      if (i == 3000) sum.add(-1.0);
      sum.add_product(terms[i].count, terms[i].x);
    }
    EXPECT_EQ(sum.value(), (1.0 + left) - 1.0);
  }
}

TEST(Wide_sum, holds_parts_forty_orders_of_magnitude_apart) {
  Wide_sum sum;
  sum.add(1e20);
  sum.add(1.0);
  sum.add(1e-20);
  sum.add(-1e20);
  EXPECT_EQ(sum.value(), 1.0);
  sum.add(-1.0);
  EXPECT_EQ(sum.value(), 1e-20);
}

TEST(Wide_sum, is_at_least_as_precise_as_the_wide_type_when_sums_cancel) {
  std::mt19937_64 source(15);
  std::uniform_real_distribution<double> logarithm(-30.0, 0.0);
  for (int round = 0; round < 200; ++round) {
    std::vector<double> terms;
    __float128 exact = 0;
    for (int i = 0; i < 3000; ++i) {
      // Terms on a common grid of 2^-40 sum exactly in 113 bits.
      const double x = std::ldexp(std::round(std::ldexp(logarithm(source), 40)), -40);
      terms.push_back(x);
      exact += x;
    }
    const double head = static_cast<double>(exact);
    terms.push_back(-head);
    exact -= head;
    Wide_sum sum;
    for (double x : terms) sum.add(x);
    EXPECT_EQ(sum.value(), static_cast<double>(exact));
  }
}

TEST(Wide_sum, rounds_once) {
  const double ulp = std::ldexp(1.0, -52);
  // A tie in the first two parts that only the third part decides.
  for (double tiny : {1e-40, -1e-40}) {
    Wide_sum sum;
    sum.add(1.0);
    sum.add(ulp / 2);
    sum.add(tiny);
    EXPECT_EQ(sum.value(), tiny > 0 ? 1.0 + ulp : 1.0);
  }
  for (double tiny : {1e-40, -1e-40}) {
    Wide_sum sum;
    sum.add(1.0 + ulp);
    sum.add(ulp / 2);
    sum.add(tiny);
    EXPECT_EQ(sum.value(), tiny > 0 ? 1.0 + 2 * ulp : 1.0 + ulp);
  }
}

TEST(Wide_sum, what_is_not_finite_stays_so) {
  for (double bad : {infinity, -infinity, no_number}) {
    for (float count : {1.0f, 3.0f}) {
      Wide_sum sum, other;
      sum.add(4.0);
      sum.add_product(count, bad);
      sum.add(-7.0);
      EXPECT_FALSE(std::isfinite(sum.value()));
      other.add(1.0);
      other.add(sum);
      EXPECT_FALSE(std::isfinite(other.value()));
    }
    Wide_sum sum;
    sum.add(bad);
    sum.add(2.0);
    EXPECT_FALSE(std::isfinite(sum.value()));
  }
  Wide_sum sum;
  sum.add(no_number);
  EXPECT_TRUE(std::isnan(sum.value()));
  Wide_sum overflowing;
  for (int i = 0; i < 3; ++i) overflowing.add(1.7e308);
  overflowing.add(-1.7e308);
  EXPECT_FALSE(std::isfinite(overflowing.value()));
}

TEST(Wide_sum, starts_at_zero) { EXPECT_EQ(Wide_sum().value(), 0.0); }

}  // namespace
}  // namespace tarn
