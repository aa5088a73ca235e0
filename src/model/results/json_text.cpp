#include "model/results/json_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

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
  for (const Member& member : members) add(member.first, member.second);
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
