#include "numerics/list.h"

#include <gtest/gtest.h>

#include <numeric>

namespace tarn {
namespace {

TEST(List, counts_from_one) {
  List<int> list{7, 8, 9};
  EXPECT_EQ(list.size(), 3);
  EXPECT_EQ(list(1), 7);
  EXPECT_EQ(list(3), 9);
  list(2) = 5;
  EXPECT_EQ(list, (List<int>{7, 5, 9}));
}

TEST(List, grows_at_its_end) {
  List<int> list(2, 4);
  list.push_back(6);
  EXPECT_EQ(list(3), 6);
  EXPECT_EQ(list.back(), 6);
  list.pop_back();
  list.resize(4);
  EXPECT_EQ(list(2), 4);
  EXPECT_EQ(list(4), 0);
  list.assign(1, 3);
  EXPECT_EQ(list, (List<int>{3}));
  list.clear();
  EXPECT_TRUE(list.empty());
}

TEST(List, an_empty_one_has_no_elements) {
  const List<double> list;
  EXPECT_EQ(list.size(), 0);
  EXPECT_EQ(list.begin(), list.end());
}

TEST(View, sees_and_changes_what_another_owns) {
  std::vector<double> owner{1.0, 2.0, 4.0};
  const View<double> view(owner);
  view(3) = 8.0;
  EXPECT_EQ(owner[2], 8.0);
  EXPECT_EQ(std::accumulate(view.begin(), view.end(), 0.0), 11.0);
  const View<const double> reader(std::as_const(owner));
  EXPECT_EQ(reader(1), 1.0);
  EXPECT_EQ(reader.size(), 3);
}

TEST(View, is_made_of_a_list_and_of_a_span) {
  List<int> list{1, 2};
  EXPECT_EQ(View<int>(list)(2), 2);
  EXPECT_EQ(View<const int>(list.span())(1), 1);
  EXPECT_TRUE(View<int>().empty());
}

}  // namespace
}  // namespace tarn
