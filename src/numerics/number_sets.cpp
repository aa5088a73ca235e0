#include "numerics/number_sets.h"

#include <algorithm>
#include <vector>

namespace tarn {
namespace {

/// All bits of the number in all places: the finisher of splitmix64 (Steele, Lea and Flood 2014).
std::uint64_t mixed(int number) {
  std::uint64_t x = static_cast<std::uint64_t>(number) * 0x9E3779B97F4A7C15U;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9U;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBU;
  return x ^ (x >> 31);
}

/// The same for the same members in any order.
std::uint64_t key_of(const Number_set& set) {
  std::uint64_t key = 0;
  for (const int number : set.members()) key += mixed(number);
  return key;
}

}  // namespace

bool Number_sets::same(const Number_set& set, int k) const {
  const List<int>& members = members_(k);
  return members.span().size() == set.members().size() &&
         std::all_of(members.begin(), members.end(), [&set](int number) { return set.holds(number); });
}

int Number_sets::number_of(const Number_set& set) {
  const std::uint64_t key = key_of(set);
  const auto [first, last] = numbers_.equal_range(key);
  for (auto met = first; met != last; ++met)
    if (same(set, met->second)) return met->second;
  List<int>& members = members_.emplace_back(std::vector<int>(set.members().begin(), set.members().end()));
  std::sort(members.begin(), members.end());
  numbers_.emplace(key, count());
  return count();
}

}  // namespace tarn
