#pragma once
// Sets of the numbers 1 to n, and the different ones among many.

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_map>

#include "numerics/list.h"

namespace tarn {

/// A set of numbers that is filled and emptied many times, at the price of its members. Numbers are 1 to
/// `largest`. Memory is taken when it is made.
class Number_set {
 public:
  explicit Number_set(int largest) : is_member_(largest, 0), members_(largest) {}

  bool holds(int number) const { return is_member_(number) != 0; }
  void insert(int number) {
    char& mark = is_member_(number);
    if (mark != 0) return;
    mark = 1;
    members_(++count_) = number;
  }
  void clear() {
    for (const int number : members()) is_member_(number) = 0;
    count_ = 0;
  }
  /// In the order in which they came.
  std::span<const int> members() const { return members_.span().first(static_cast<std::size_t>(count_)); }

 private:
  List<char> is_member_;
  List<int> members_;  ///< the first `count_`
  int count_ = 0;
};

/// Sets of numbers, each kept once and numbered from 1 in the order in which they were met.
class Number_sets {
 public:
  int count() const { return members_.size(); }
  /// Its number; a new one when it was not met before. May throw std::bad_alloc.
  int number_of(const Number_set& set);
  /// The members of set k, ascending.
  const List<int>& members(int k) const { return members_(k); }

 private:
  bool same(const Number_set& set, int k) const;

  List<List<int>> members_;
  std::unordered_multimap<std::uint64_t, int> numbers_;  ///< by a key of the members
};

}  // namespace tarn
