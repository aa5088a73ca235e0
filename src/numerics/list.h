#pragma once
// Lists and views that are counted from 1 by int, as the numbers of a deck and of a listing are.

#include <cassert>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarn {

/// A run of elements that somebody else owns, counted from 1.
template <class T>
class View {
 public:
  View() = default;
  View(std::span<T> elements) : elements_(elements) {}
  template <class Elements>
  requires std::is_constructible_v<std::span<T>, Elements&> View(Elements& elements) : elements_(elements) {}

  int size() const { return static_cast<int>(elements_.size()); }
  bool empty() const { return elements_.empty(); }
  T& operator()(int i) const {
    assert(i >= 1 && i <= size());
    return elements_[static_cast<std::size_t>(i) - 1];
  }
  auto begin() const { return elements_.begin(); }
  auto end() const { return elements_.end(); }
  std::span<T> span() const { return elements_; }

 private:
  std::span<T> elements_;
};

/// A list that may grow, counted from 1. What takes memory may throw std::bad_alloc.
template <class T>
class List {
  static_assert(!std::is_same_v<T, bool>, "a packed list has no elements to refer to; char serves");

 public:
  List() = default;
  explicit List(int count, const T& value = T()) { assign(count, value); }
  List(std::initializer_list<T> elements) : elements_(elements) {}
  List(std::vector<T> elements) : elements_(std::move(elements)) {}

  int size() const { return static_cast<int>(elements_.size()); }
  bool empty() const { return elements_.empty(); }
  T& operator()(int i) {
    assert(i >= 1 && i <= size());
    return elements_[static_cast<std::size_t>(i) - 1];
  }
  const T& operator()(int i) const {
    assert(i >= 1 && i <= size());
    return elements_[static_cast<std::size_t>(i) - 1];
  }
  T& back() { return elements_.back(); }
  const T& back() const { return elements_.back(); }

  void push_back(T element) { elements_.push_back(std::move(element)); }
  template <class... Arguments>
  T& emplace_back(Arguments&&... arguments) {
    return elements_.emplace_back(std::forward<Arguments>(arguments)...);
  }
  void pop_back() { elements_.pop_back(); }
  /// `count` elements of this value; what the list held is lost.
  void assign(int count, const T& value) { elements_.assign(static_cast<std::size_t>(count), value); }
  void resize(int count) { elements_.resize(static_cast<std::size_t>(count)); }
  void resize(int count, const T& value) { elements_.resize(static_cast<std::size_t>(count), value); }
  void reserve(int count) { elements_.reserve(static_cast<std::size_t>(count)); }
  void clear() { elements_.clear(); }

  T* data() { return elements_.data(); }
  const T* data() const { return elements_.data(); }
  auto begin() { return elements_.begin(); }
  auto end() { return elements_.end(); }
  auto begin() const { return elements_.begin(); }
  auto end() const { return elements_.end(); }
  std::span<T> span() { return elements_; }
  std::span<const T> span() const { return elements_; }
  operator std::span<T>() { return elements_; }
  operator std::span<const T>() const { return elements_; }
  bool operator==(const List&) const = default;

 private:
  std::vector<T> elements_;
};

}  // namespace tarn
