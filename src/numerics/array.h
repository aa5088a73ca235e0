#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace tarn {

/// An owned array of `Rank` dimensions: indices start at 1, the first one varies fastest in memory (so a
/// two-dimensional array can be handed to LAPACK with `extent(1)` as leading dimension), and the array is
/// absent until it is allocated. Movable; a copy is made by `clone` only, where it can be seen.
///
/// Nothing here throws: `allocate`, `resize` and `clone` tell of a failure (no memory, a negative extent, a
/// size that no machine could hold) by returning false and leave the array absent (`resize`: as it was).
template <class T, int Rank>
class Array {
  static_assert(Rank >= 1 && Rank <= 3);

 public:
  Array() noexcept = default;
  Array(Array&& other) noexcept { swap(other); }
  Array& operator=(Array&& other) noexcept {
    if (this != &other) {
      free();
      swap(other);
    }
    return *this;
  }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  ~Array() = default;

  /// Makes the array present with the given extents, every element value-initialised; what it held is lost.
  /// An extent of 0 gives an array that is present and empty.
  template <class... Extents>
  requires(sizeof...(Extents) == Rank) [[nodiscard]] bool allocate(Extents... extents) noexcept {
    free();
    return make({static_cast<std::ptrdiff_t>(extents)...});
  }

  /// New extents; elements inside both the old and the new extents keep their values, all others are
  /// value-initialised. An absent array is allocated.
  template <class... Extents>
  requires(sizeof...(Extents) == Rank) [[nodiscard]] bool resize(Extents... extents) noexcept {
    Array larger;
    if (!larger.make({static_cast<std::ptrdiff_t>(extents)...})) return false;
    if (present()) larger.move_overlap_from(*this);
    swap(larger);
    return true;
  }

  /// A copy with the same extents into `copy`; a clone of an absent array is absent.
  [[nodiscard]] bool clone(Array& copy) const noexcept {
    copy.free();
    if (!present()) return true;
    if (!copy.make(extents_)) return false;
    std::copy(data(), data() + size(), copy.data());
    return true;
  }

  /// Makes the array absent; harmless when it is so already.
  void free() noexcept {
    elements_.reset();
    extents_.fill(0);
    size_ = 0;
  }

  bool present() const noexcept { return elements_ != nullptr; }
  /// Number of elements; 0 for an absent array.
  std::size_t size() const noexcept { return size_; }
  /// Length of dimension `d`, counted from 1.
  int extent(int d = 1) const noexcept {
    assert(d >= 1 && d <= Rank);
    return static_cast<int>(extents_[static_cast<std::size_t>(d - 1)]);
  }

  void fill(const T& value) { std::fill(data(), data() + size(), value); }

  T* data() noexcept { return elements_.get(); }
  const T* data() const noexcept { return elements_.get(); }
  std::span<T> span() noexcept { return {data(), size()}; }
  std::span<const T> span() const noexcept { return {data(), size()}; }
  T* begin() noexcept { return data(); }
  T* end() noexcept { return data() + size(); }
  const T* begin() const noexcept { return data(); }
  const T* end() const noexcept { return data() + size(); }

  template <class... Indices>
  requires(sizeof...(Indices) == Rank) T& operator()(Indices... indices) noexcept {
    return elements_[offset({static_cast<std::ptrdiff_t>(indices)...})];
  }
  template <class... Indices>
  requires(sizeof...(Indices) == Rank) const T& operator()(Indices... indices) const noexcept {
    return elements_[offset({static_cast<std::ptrdiff_t>(indices)...})];
  }

  /// Column j of a two-dimensional array, a contiguous run of `extent(1)` elements.
  std::span<T> column(int j) noexcept requires(Rank == 2) {
    return {data() + column_offset(j), static_cast<std::size_t>(extents_[0])};
  }
  std::span<const T> column(int j) const noexcept requires(Rank == 2) {
    return {data() + column_offset(j), static_cast<std::size_t>(extents_[0])};
  }

  void swap(Array& other) noexcept {
    elements_.swap(other.elements_);
    std::swap(extents_, other.extents_);
    std::swap(size_, other.size_);
  }

 private:
  using Extent_list = std::array<std::ptrdiff_t, Rank>;

  bool make(const Extent_list& extents) noexcept {
    // Extents are handed out as int, so a longer dimension is refused with the sizes that cannot be held.
    constexpr std::size_t limit =
        static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(T);
    std::size_t count = 1;
    for (const std::ptrdiff_t extent : extents) {
      if (extent < 0 || extent > std::numeric_limits<int>::max()) return false;
      const auto length = static_cast<std::size_t>(extent);
      if (length != 0 && count > limit / length) return false;
      count *= length;
    }
    // One element more than needed keeps an empty array present; it stays inside the limit that was tested.
    elements_.reset(new (std::nothrow) T[count == 0 ? 1 : count]());
    if (!elements_) return false;
    extents_ = extents;
    size_ = count;
    return true;
  }

  std::size_t offset(const Extent_list& indices) const noexcept {
    std::ptrdiff_t position = 0;
    for (int d = Rank - 1; d >= 0; --d) {
      const auto k = static_cast<std::size_t>(d);
      assert(indices[k] >= 1 && indices[k] <= extents_[k]);
      position = position * extents_[k] + (indices[k] - 1);
    }
    return static_cast<std::size_t>(position);
  }

  std::ptrdiff_t column_offset(int j) const noexcept {
    assert(j >= 1 && j <= extents_[1]);
    return (j - 1) * extents_[0];
  }

  void move_overlap_from(Array& old) noexcept {
    Extent_list shared;
    for (std::size_t d = 0; d < Rank; ++d) shared[d] = std::min(extents_[d], old.extents_[d]);
    if (*std::min_element(shared.begin(), shared.end()) == 0) return;
    Extent_list index;
    index.fill(1);
    for (;;) {  // runs along the first dimension, then advances the others like an odometer
      T* from = old.data() + old.offset(index);
      std::move(from, from + shared[0], data() + offset(index));
      std::size_t d = 1;
      while (d < Rank && index[d] == shared[d]) index[d++] = 1;
      if (d >= Rank) return;
      ++index[d];
    }
  }

  std::unique_ptr<T[]> elements_;
  Extent_list extents_{};
  std::size_t size_ = 0;
};

/// Makes a work area that lives for one call, in routines that cannot tell a user of want of memory: throws
/// std::bad_alloc, as a list of the standard library does.
template <class T, int Rank, class... Extents>
void make_work_area(Array<T, Rank>& array, Extents... extents) {
  if (!array.allocate(extents...)) throw std::bad_alloc();
}

template <class T>
using Array1 = Array<T, 1>;
template <class T>
using Array2 = Array<T, 2>;
template <class T>
using Array3 = Array<T, 3>;

}  // namespace tarn
