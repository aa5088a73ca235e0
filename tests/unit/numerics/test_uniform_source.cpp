#include "numerics/uniform_source.h"

#include <gtest/gtest.h>

#include <array>

namespace tarn {
namespace {

// SplitMix64 in a few lines of another language: state = seed; state = next() ^ mixed(stream); then next() >>
// 11 times 2^-53.
TEST(Uniform_source, is_the_same_on_every_machine) {
  Uniform_source source(1, 1);
  for (const double expected : std::array{0.00582402946874927, 0.8511431308428687, 0.16304116589508477})
    EXPECT_EQ(source(), expected);
  Uniform_source other(20, 3);
  for (const double expected : std::array{0.4844538537182499, 0.027185972310627138, 0.8285164039545124})
    EXPECT_EQ(other(), expected);
}

TEST(Uniform_source, streams_and_seeds_differ) {
  EXPECT_NE(Uniform_source(1, 1)(), Uniform_source(1, 2)());
  EXPECT_NE(Uniform_source(1, 1)(), Uniform_source(2, 1)());
}

// 100,000 numbers: the mean is within five of its standard errors, 0.00091 each, and so are the shares of
// tenths.
TEST(Uniform_source, fills_the_interval_evenly) {
  Uniform_source source(5, 9);
  constexpr int n = 100000;
  std::array<int, 10> tenths{};
  double sum = 0.0;
  for (int k = 0; k < n; ++k) {
    const double u = source.between(2.0, 4.0);
    ASSERT_GE(u, 2.0);
    ASSERT_LT(u, 4.0);
    sum += (u - 2.0) / 2.0;
    ++tenths[static_cast<std::size_t>(5.0 * (u - 2.0))];
  }
  EXPECT_NEAR(sum / n, 0.5, 5 * 0.00091);
  for (const int count : tenths) EXPECT_NEAR(count, n / 10, 5 * 95);
}

}  // namespace
}  // namespace tarn
