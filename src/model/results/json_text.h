#pragma once
// JSON values as text, put together from their parts.

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace tarn {

/// One JSON value, kept as the text that it is written as. Values are made from the inside out; no tree of
/// them is held, so that want of memory throws std::bad_alloc and nothing else can happen.
class Json {
 public:
  /// What a member is made of: nothing that is destroyed, because g++ 12 destroys elements of a list of
  /// members twice when one behind them finds no memory.
  class Part {
   public:
    Part(bool value) : part_(value) {}
    Part(int number) : part_(number) {}
    Part(double number) : part_(number) {}
    Part(std::string_view text) : part_(text) {}
    Part(const std::string& text) : part_(std::string_view(text)) {}
    Part(const char* text) : part_(std::string_view(text)) {}
    Part(const Json& made) : part_(&made) {}
    Json made() const;

   private:
    std::variant<bool, int, double, std::string_view, const Json*> part_;
  };
  using Member = std::pair<std::string_view, Part>;

  Json() : text_("null") {}
  Json(bool value) : text_(value ? "true" : "false") {}
  Json(int number);
  /// The shortest text that gives the number back when it is read; null for a number that is none or
  /// infinite.
  Json(double number);
  /// A text. Bytes that are not UTF-8 become U+FFFD.
  Json(std::string_view text);
  Json(const std::string& text) : Json(std::string_view(text)) {}
  Json(const char* text) : Json(std::string_view(text)) {}
  /// An object. Keys are words of ours and are written as they are.
  Json(std::initializer_list<Member> members);

  static Json array();

  /// Adds an element behind the last one of an array.
  void push_back(const Json& element);
  /// Adds a member behind the last one of an object.
  void add(std::string_view key, const Json& value);

  const std::string& text() const { return text_; }

 private:
  void append(std::string_view part, char closing);
  std::string text_;
};

}  // namespace tarn
