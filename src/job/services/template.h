#pragma once
// Lines of text after a template, the layout of one output operation: "(/1x,a,i0,3(1x,f8.2))". Templates in
// the source are checked while compiling: brackets, items, and letters against the types of the arguments.
//
//   letter   argument
//   i        integers
//   f e g    float, double and wider (printed as double)
//   a        strings and char; coloured text
//   l        bool
//   a range (vector, span, array) of these gives each of its elements to the template in turn
//
// Output ends at the first data item that finds no item; what stands before it, line ends in a group *( )
// included, is written. Items that remain at the end start the template again from its beginning on a new
// line. Columns passed by nx and tn become blanks only when something stands behind them.

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "job/job.h"
#include "job/services/template_scan.h"

namespace tarn {

enum class Colour : unsigned char { none, cyan, yellow, red };

/// Text that the screen shows in colour when `color_output` is set; all other streams get it plain.
struct Coloured_text {
  std::string_view text;
  Colour colour;
};

inline Coloured_text coloured(std::string_view text, Colour colour) { return {text, colour}; }

/// The streams of an output operation, joined by "|".
struct Target {
  unsigned streams;
};
constexpr Target operator|(Target a, Target b) { return {a.streams | b.streams}; }
inline constexpr Target listing{1};       ///< sysout
inline constexpr Target screen{2};        ///< syscrn
inline constexpr Target residual{4};      ///< sysres
inline constexpr Target samples_text{8};  ///< sysmcmccsv
inline constexpr Target annealing{16};    ///< syssimneal

/// One argument of an output operation, or one element of a range. It refers to the argument and does not
/// copy it.
struct Item {
  Item_kind kind = Item_kind::integer;
  bool many = false;      ///< a range of `count` items that `element` gives
  bool negative = false;  ///< integer: its sign
  bool logical = false;
  Colour colour = Colour::none;
  std::uint64_t magnitude = 0;
  double number = 0.0;
  std::string_view text;
  const void* range = nullptr;
  std::size_t count = 0;
  Item (*element)(const void* range, std::size_t k) = nullptr;
};

namespace detail {

template <class T>
concept Logical_item = std::same_as<T, bool> || std::same_as<T, std::vector<bool>::reference> ||
    std::same_as<T, std::vector<bool>::const_reference>;
template <class T>
concept Integer_item = std::integral<T> && !Logical_item<T> && !std::same_as<T, char>;
#ifdef __SIZEOF_FLOAT128__
template <class T>
concept Floating_item = std::floating_point<T> || std::same_as<T, __float128>;
#else
template <class T>
concept Floating_item = std::floating_point<T>;
#endif
template <class T>
concept Text_item = std::same_as<T, char> || std::same_as<T, Coloured_text> ||
    std::convertible_to<const T&, std::string_view>;
template <class T>
concept Plain_item = Logical_item<T> || Integer_item<T> || Floating_item<T> || Text_item<T>;
template <class T>
concept Item_range =
    !Plain_item<T> && std::ranges::random_access_range<const T> && std::ranges::sized_range<const T> &&
    Plain_item<std::remove_cvref_t<std::ranges::range_reference_t<const T>>>;

template <class T>
consteval Argument_kind argument_kind() {
  if constexpr (Item_range<T>) {
    return {argument_kind<std::remove_cvref_t<std::ranges::range_reference_t<const T>>>().kind, true};
  } else if constexpr (Logical_item<T>) {
    return {Item_kind::logical, false};
  } else if constexpr (Integer_item<T>) {
    return {Item_kind::integer, false};
  } else if constexpr (Floating_item<T>) {
    return {Item_kind::floating, false};
  } else {
    static_assert(Text_item<T>, "no letter prints an argument of this type");
    return {Item_kind::text, false};
  }
}

template <class T>
Item make_item(const T& value) {
  Item item;
  item.kind = argument_kind<T>().kind;
  if constexpr (Item_range<T>) {
    using Reference = std::ranges::range_reference_t<const T>;
    static_assert(std::is_lvalue_reference_v<Reference> || !Text_item<std::remove_cvref_t<Reference>>,
                  "a text element must outlive the call");
    item.many = true;
    item.range = &value;
    item.count = std::ranges::size(value);
    item.element = [](const void* range, std::size_t k) {
      return make_item(std::ranges::begin(
          *static_cast<const T*>(range))[static_cast<std::ranges::range_difference_t<const T>>(k)]);
    };
  } else if constexpr (Logical_item<T>) {
    item.logical = value;
  } else if constexpr (Integer_item<T>) {
    item.negative = value < T{0};
    item.magnitude = static_cast<std::uint64_t>(value);
    if (item.negative) item.magnitude = 0 - item.magnitude;
  } else if constexpr (Floating_item<T>) {
    item.number = static_cast<double>(value);
  } else if constexpr (std::same_as<T, char>) {
    item.text = {&value, 1};
  } else if constexpr (std::same_as<T, Coloured_text>) {
    item.text = value.text;
    item.colour = value.colour;
  } else {
    item.text = value;
  }
  return item;
}

/// Never defined and not constexpr: being called while compiling is the compile error of a bad template.
void template_does_not_fit_its_items();

void put_items(Job& job, Target target, std::string_view text, std::span<const Item> items);
std::string format_items(std::string_view text, std::span<const Item> items);

}  // namespace detail

/// A template that has been checked, while compiling, against the arguments that it prints.
template <class... Args>
class Template {
 public:
  template <class Text>
  requires std::convertible_to<const Text&, std::string_view>
  consteval Template(const Text& text) : text_(text) {  // not explicit: a literal becomes one in a call
    const std::array<Argument_kind, sizeof...(Args) + 1> kinds{
        detail::argument_kind<std::remove_cvref_t<Args>>()..., Argument_kind{}};
    if (scan(text_, kinds.data(), sizeof...(Args)).bad()) detail::template_does_not_fit_its_items();
  }
  constexpr std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

/// Writes the items after the template, with a line end behind the last line. Reserves no lines of the page.
template <class... Args>
void put(Job& job, Target target, Template<std::type_identity_t<Args>...> layout, const Args&... args) {
  const std::array<Item, sizeof...(Args)> items{detail::make_item(args)...};
  detail::put_items(job, target, layout.text(), items);
}

/// The item that prints `value`, for lists of items; what it refers to must outlive the call that prints it.
template <class T>
Item item(const T& value) {
  return detail::make_item(value);
}

/// The same with a template and a list of items made at run time; a bad template, or an item of another kind
/// than its letter, ends the job through `error`.
void put_runtime(Job& job, Target target, std::string_view layout, std::span<const Item> items);
template <class... Args>
void put_runtime(Job& job, Target target, std::string_view layout, const Args&... args) {
  const std::array<Item, sizeof...(Args)> items{detail::make_item(args)...};
  put_runtime(job, target, layout, std::span<const Item>(items));
}

/// The text that `put_runtime` would write, without the last line end.
std::string formatted_runtime(Job& job, std::string_view layout, std::span<const Item> items);
template <class... Args>
std::string formatted_runtime(Job& job, std::string_view layout, const Args&... args) {
  const std::array<Item, sizeof...(Args)> items{detail::make_item(args)...};
  return formatted_runtime(job, layout, std::span<const Item>(items));
}

/// The text that `put` would write, without the last line end; several lines are parted by "\n".
template <class... Args>
std::string formatted(Template<std::type_identity_t<Args>...> layout, const Args&... args) {
  const std::array<Item, sizeof...(Args)> items{detail::make_item(args)...};
  return detail::format_items(layout.text(), items);
}

}  // namespace tarn
