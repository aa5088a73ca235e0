#include "numerics/number_sets.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

namespace tarn {
namespace {

List<int> members_of(const Number_set& set) {
  return std::vector<int>(set.members().begin(), set.members().end());
}

Number_set set_of(int largest, std::initializer_list<int> numbers) {
  Number_set set(largest);
  for (const int number : numbers) set.insert(number);
  return set;
}

TEST(Number_set, holds_each_number_once_in_the_order_of_arrival) {
  const Number_set set = set_of(9, {7, 2, 7, 9, 2});
  EXPECT_EQ(members_of(set), (List<int>{7, 2, 9}));
  EXPECT_TRUE(set.holds(7));
  EXPECT_TRUE(set.holds(9));
  EXPECT_FALSE(set.holds(1));
}

TEST(Number_set, can_be_filled_again) {
  Number_set set = set_of(4, {1, 4});
  set.clear();
  EXPECT_TRUE(set.members().empty());
  EXPECT_FALSE(set.holds(1));
  EXPECT_FALSE(set.holds(4));
  set.insert(4);
  EXPECT_EQ(members_of(set), (List<int>{4}));
}

TEST(Number_sets, are_numbered_as_they_are_met_whatever_the_order_of_their_members) {
  Number_sets sets;
  EXPECT_EQ(sets.count(), 0);
  EXPECT_EQ(sets.number_of(set_of(9, {3, 1})), 1);
  EXPECT_EQ(sets.number_of(set_of(9, {3, 1, 2})), 2);
  EXPECT_EQ(sets.number_of(set_of(9, {1, 3})), 1);
  EXPECT_EQ(sets.number_of(set_of(9, {})), 3);
  EXPECT_EQ(sets.number_of(set_of(9, {2, 3, 1})), 2);
  EXPECT_EQ(sets.number_of(set_of(9, {})), 3);
  EXPECT_EQ(sets.count(), 3);
  EXPECT_EQ(sets.members(1), (List<int>{1, 3}));
  EXPECT_EQ(sets.members(2), (List<int>{1, 2, 3}));
  EXPECT_EQ(sets.members(3), List<int>());
}

TEST(Number_sets, tell_many_sets_apart) {
  std::mt19937 source(5);
  Number_set set(40);
  Number_sets sets;
  std::map<std::set<int>, int> expected;
  for (int draw = 0; draw < 5000; ++draw) {
    set.clear();
    std::set<int> members;
    for (std::mt19937::result_type k = source() % 4; k > 0; --k) {
      const int number = 1 + static_cast<int>(source() % 40);
      set.insert(number);
      members.insert(number);
    }
    const int next = static_cast<int>(expected.size()) + 1;
    const int number = expected.emplace(members, next).first->second;
    ASSERT_EQ(sets.number_of(set), number);
    ASSERT_EQ(sets.members(number), List<int>(std::vector<int>(members.begin(), members.end())));
  }
  EXPECT_EQ(sets.count(), static_cast<int>(expected.size()));
}

}  // namespace
}  // namespace tarn
