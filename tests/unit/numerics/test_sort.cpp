#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include "numerics/sort.h"

namespace tarn {
namespace {

std::vector<double> random_values(int count, int distinct, unsigned seed) {
  std::mt19937_64 source(seed);
  std::vector<double> values(static_cast<std::size_t>(count));
  for (double& x : values)
    x = static_cast<double>(source() % static_cast<unsigned>(distinct)) - distinct / 3.0;
  return values;
}

TEST(Sort, orders_runs_of_every_length_around_the_limit_of_the_short_sort) {
  for (int count = 0; count <= 40; ++count)
    for (int distinct : {1, 2, 5, 1000}) {
      std::vector<double> values = random_values(count, distinct, 7u + count), expected = values;
      std::sort(expected.begin(), expected.end());
      quick_sort(std::span(values));
      EXPECT_EQ(values, expected) << count << " of " << distinct;
    }
}

TEST(Sort, seven_equal_values_end) {
  std::vector<double> values(7, 3.5);
  quick_sort(std::span(values));
  EXPECT_EQ(values, std::vector<double>(7, 3.5));
}

TEST(Sort, orders_long_sorted_reversed_and_equal_runs) {
  for (int kind = 0; kind < 3; ++kind) {
    std::vector<double> values(100000);
    for (std::size_t i = 0; i < values.size(); ++i)
      values[i] = kind == 0 ? double(i) : kind == 1 ? -double(i) : 1.0;
    quick_sort(std::span(values));
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
  }
}

TEST(Sort, touches_only_the_elements_of_a_strided_view) {
  for (int stride : {2, 3, -2}) {
    std::vector<double> values = random_values(90, 1000, 5), before = values;
    const int count = 90 / std::abs(stride), start = stride > 0 ? 0 : 89;
    std::vector<double> picked;
    for (int i = 0; i < count; ++i) picked.push_back(values[static_cast<std::size_t>(start + i * stride)]);
    std::sort(picked.begin(), picked.end());
    quick_sort(Strided_view(values.data() + start, count, stride));
    for (int i = 0; i < count; ++i) {
      const auto place = static_cast<std::size_t>(start + i * stride);
      EXPECT_EQ(values[place], picked[static_cast<std::size_t>(i)]);
      before[place] = values[place];
    }
    EXPECT_EQ(values, before);
  }
}

TEST(Sort, interchange_sort_orders) {
  std::vector<double> values{3, -1, 2, 2, 9, 0};
  interchange_sort(std::span(values));
  EXPECT_EQ(values, (std::vector<double>{-1, 0, 2, 2, 3, 9}));
}

TEST(Sort, survives_values_that_are_no_numbers_and_keeps_them_all) {
  std::mt19937_64 source(3);
  for (int round = 0; round < 200; ++round) {
    std::vector<double> values = random_values(50, 20, static_cast<unsigned>(round));
    for (double& x : values)
      if (source() % 3 == 0) x = std::numeric_limits<double>::quiet_NaN();
    const auto missing = std::count_if(values.begin(), values.end(), [](double x) { return x != x; });
    quick_sort(std::span(values));
    EXPECT_EQ(std::count_if(values.begin(), values.end(), [](double x) { return x != x; }), missing);
  }
}

}  // namespace
}  // namespace tarn
