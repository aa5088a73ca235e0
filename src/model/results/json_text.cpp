#include "model/results/json_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <type_traits>

namespace tarn {
namespace {

template <class Number>
std::string digits_of(Number number) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return std::string(digits.data(), end.ptr);
}

}  // namespace

Json::Json(int number) : text_(digits_of(number)) {}

Json::Json(double number) : text_(std::isfinite(number) ? digits_of(number) : "null") {}

// The library's lists and objects take memory when they are destroyed, which would end the process where
// there is none; its texts do not.
Json::Json(std::string_view text)
    : text_(
          nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)) {}

Json::Json(std::initializer_list<Member> members) : text_("{}") {
  static_assert(std::is_trivially_destructible_v<Member>);
  for (const Member& member : members) add(member.first, member.second.made());
}

Json Json::Part::made() const {
  if (const auto* made = std::get_if<const Json*>(&part_)) return **made;
  if (const auto* text = std::get_if<std::string_view>(&part_)) return Json(*text);
  if (const auto* number = std::get_if<double>(&part_)) return Json(*number);
  if (const auto* whole = std::get_if<int>(&part_)) return Json(*whole);
  return Json(*std::get_if<bool>(&part_));
}

Json Json::array() {
  Json made;
  made.text_ = "[]";
  return made;
}

void Json::push_back(const Json& element) { append(element.text_, ']'); }

void Json::add(std::string_view key, const Json& value) {
  append('"' + std::string(key) + "\":" + value.text_, '}');
}

void Json::append(std::string_view part, char closing) {
  if (text_.size() > 2)
    text_.back() = ',';
  else
    text_.pop_back();
  text_ += part;
  text_ += closing;
}

}  // namespace tarn
