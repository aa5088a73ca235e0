#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <numeric>
#include <string>

#include "numerics/array.h"

namespace tarn {
namespace {

TEST(Array, is_absent_until_allocated_and_after_free) {
  Array1<double> a;
  EXPECT_FALSE(a.present());
  EXPECT_EQ(a.size(), 0u);
  EXPECT_TRUE(a.span().empty());
  ASSERT_TRUE(a.allocate(3));
  EXPECT_TRUE(a.present());
  a.free();
  EXPECT_FALSE(a.present());
  a.free();
  EXPECT_FALSE(a.present());
  EXPECT_EQ(a.extent(), 0);
}

TEST(Array, elements_start_at_zero_value) {
  Array2<double> a;
  ASSERT_TRUE(a.allocate(20, 30));
  for (double x : a) EXPECT_EQ(x, 0.0);
  Array1<std::string> names;
  ASSERT_TRUE(names.allocate(4));
  for (const auto& name : names) EXPECT_TRUE(name.empty());
}

TEST(Array, allocate_again_clears) {
  Array1<int> a;
  ASSERT_TRUE(a.allocate(5));
  a.fill(7);
  ASSERT_TRUE(a.allocate(5));
  for (int x : a) EXPECT_EQ(x, 0);
}

TEST(Array, first_index_varies_fastest) {
  Array3<int> a;
  ASSERT_TRUE(a.allocate(2, 3, 4));
  std::iota(a.begin(), a.end(), 0);
  EXPECT_EQ(a(1, 1, 1), 0);
  EXPECT_EQ(a(2, 1, 1), 1);
  EXPECT_EQ(a(1, 2, 1), 2);
  EXPECT_EQ(a(1, 1, 2), 6);
  EXPECT_EQ(a(2, 3, 4), 23);
  EXPECT_EQ(a.extent(1), 2);
  EXPECT_EQ(a.extent(2), 3);
  EXPECT_EQ(a.extent(3), 4);
  EXPECT_EQ(a.size(), 24u);
  Array2<int> b;
  ASSERT_TRUE(b.allocate(3, 2));
  std::iota(b.begin(), b.end(), 0);
  EXPECT_EQ(b.column(2)[0], 3);
  EXPECT_EQ(b.column(2).size(), 3u);
  const Array2<int>& seen = b;
  EXPECT_EQ(seen(3, 2), 5);
  EXPECT_EQ(seen.column(1)[2], 2);
}

TEST(Array, refuses_negative_and_huge_extents) {
  Array1<double> a;
  EXPECT_FALSE(a.allocate(-1));
  EXPECT_FALSE(a.present());
  EXPECT_FALSE(a.allocate(std::numeric_limits<std::ptrdiff_t>::max()));
  Array2<double> b;
  const int longest = std::numeric_limits<int>::max();
  EXPECT_FALSE(b.allocate(longest, longest));
  EXPECT_FALSE(b.allocate(3, -2));
  Array3<double> c;
  EXPECT_FALSE(c.allocate(longest, longest, longest));
  EXPECT_FALSE(c.present());
  EXPECT_TRUE(c.allocate(longest, 0, longest));
  EXPECT_TRUE(c.present());
  EXPECT_EQ(c.size(), 0u);
}

TEST(Array, failed_allocation_leaves_it_absent) {
  Array1<double> a;
  ASSERT_TRUE(a.allocate(2));
  EXPECT_FALSE(a.allocate(-5));
  EXPECT_FALSE(a.present());
}

TEST(Array, resize_keeps_the_overlap_and_clears_the_rest) {
  Array2<int> a;
  ASSERT_TRUE(a.allocate(3, 2));
  for (int j = 1; j <= 2; ++j)
    for (int i = 1; i <= 3; ++i) a(i, j) = 10 * i + j;
  ASSERT_TRUE(a.resize(2, 4));
  EXPECT_EQ(a.extent(1), 2);
  EXPECT_EQ(a.extent(2), 4);
  for (int j = 1; j <= 4; ++j)
    for (int i = 1; i <= 2; ++i) EXPECT_EQ(a(i, j), j <= 2 ? 10 * i + j : 0);

  Array1<std::string> names;
  ASSERT_TRUE(names.resize(2));
  names(1) = "first";
  names(2) = "second";
  ASSERT_TRUE(names.resize(3));
  EXPECT_EQ(names(2), "second");
  EXPECT_EQ(names(3), "");
  ASSERT_TRUE(names.resize(0));
  EXPECT_TRUE(names.present());
  EXPECT_FALSE(names.resize(-1));
  EXPECT_TRUE(names.present());

  Array3<int> c;
  ASSERT_TRUE(c.allocate(2, 2, 2));
  std::iota(c.begin(), c.end(), 1);
  ASSERT_TRUE(c.resize(3, 1, 3));
  EXPECT_EQ(c(2, 1, 2), 6);
  EXPECT_EQ(c(3, 1, 1), 0);
  EXPECT_EQ(c(1, 1, 3), 0);
}

TEST(Array, moves_and_clones) {
  Array1<int> a, b;
  ASSERT_TRUE(a.allocate(2));
  a(2) = 5;
  b = std::move(a);
  EXPECT_FALSE(a.present());  // NOLINT: a moved-from array is absent, and that is a promise
  EXPECT_EQ(b(2), 5);
  Array1<int> copy;
  ASSERT_TRUE(b.clone(copy));
  copy(2) = 6;
  EXPECT_EQ(b(2), 5);
  b.free();
  ASSERT_TRUE(b.clone(copy));
  EXPECT_FALSE(copy.present());
}

#ifndef NDEBUG
TEST(Array_death, index_outside_the_bounds_is_an_assertion) {
  Array2<int> a;
  ASSERT_TRUE(a.allocate(2, 3));
  EXPECT_DEATH(a(0, 1), "");
  EXPECT_DEATH(a(3, 1), "");
  EXPECT_DEATH(a(1, 4), "");
}
#endif

}  // namespace
}  // namespace tarn
