#pragma once

#include <cassert>
#include <cstddef>
#include <span>
#include <utility>

namespace tarn {

/// Every `stride`-th of a run of 64-bit floats, numbered from 1; the stride may be negative.
struct Strided_view {
  double* first = nullptr;
  int size = 0;
  std::ptrdiff_t stride = 1;

  Strided_view() = default;
  Strided_view(double* first_element, int count, std::ptrdiff_t step = 1)
      : first(first_element), size(count), stride(step) {}
  Strided_view(std::span<double> values) : first(values.data()), size(static_cast<int>(values.size())) {}

  double& operator()(int i) const {
    assert(i >= 1 && i <= size);
    return first[(i - 1) * stride];
  }
  /// Elements `from` to `to`; empty when `to` < `from`.
  Strided_view part(int from, int to) const {
    return to < from ? Strided_view(first, 0, stride)
                     : Strided_view(first + (from - 1) * stride, to - from + 1, stride);
  }
};

/// Ascending sort by exchanges; for short runs.
inline void interchange_sort(Strided_view a) {
  for (int i = 1; i < a.size; ++i)
    for (int j = i + 1; j <= a.size; ++j)
      if (a(i) > a(j)) std::swap(a(i), a(j));
}

/// Ascending sort by partition exchange round the middle element (Hoare 1962). Never fails; elements that are
/// NaN end somewhere, and the order of the others is then not promised.
inline void quick_sort(Strided_view a) {
  while (a.size > 6) {
    const double pivot = a(a.size / 2);
    int left = 1, right = a.size;
    // Both scans stop at an element equal to the pivot, so they stay inside the run and equal keys split
    // evenly.
    while (left <= right) {
      while (a(left) < pivot) ++left;
      while (a(right) > pivot) --right;
      if (left <= right) std::swap(a(left++), a(right--));
    }
    // The shorter part by recursion, the longer by iteration: the depth stays logarithmic for every input.
    Strided_view lower = a.part(1, right), upper = a.part(left, a.size);
    if (lower.size > upper.size) std::swap(lower, upper);
    quick_sort(lower);
    a = upper;
  }
  interchange_sort(a);
}

}  // namespace tarn
