#pragma once
// Options of a PROC statement: one table a procedure, from which its words are read and its description is
// made.

#include <array>
#include <charconv>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"

namespace tarn {

enum class Option_kind {
  flag,       ///< the word alone
  integer,    ///< NAME=n
  number,     ///< NAME=v
  word,       ///< NAME=word
  file_name,  ///< NAME=file: the case stays, 255 characters at the most
};

/// What an option gives: a member of the target, or a routine that takes the value at word i; nothing for a
/// word that is accepted and has no effect.
template <class Target>
using Option_place = std::variant<std::monostate, int& (*)(Target&), bool& (*)(Target&), double& (*)(Target&),
                                  std::string& (*)(Target&), void (*)(Target&, int i)>;

/// One option of a procedure whose options go into a `Target`.
template <class Target>
struct Option {
  std::string_view name;  ///< upper case
  Option_kind kind = Option_kind::flag;
  Option_place<Target> place{};
  int setting = 1;             ///< what a flag gives
  int least = 0, most = 0;     ///< range of an integer; none when both are 0
  std::string_view told_as{};  ///< the integer's name in the fatal text of one out of range
  std::string_view preset{};   ///< the default in words, where the target does not tell it
  std::string_view help;
  /// True for a size that arrays are made by, which is read before all other options, without a test.
  bool size = false;

  bool ranged() const { return least != 0 || most != 0; }
};

/// An option as documentation tells it.
struct Option_text {
  std::string option;  ///< "nsig=n"
  std::string range;   ///< "1 to 256", or empty
  std::string preset;  ///< the default
  std::string help;
};

/// The fewest digits that give a number back.
inline std::string shortest(double x) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), x).ptr};
}

/// The integer `n` of an option, which word i gives: fatal when it is out of the range.
inline int in_range(Job& job, std::string_view told_as, int n, int least, int most, int i) {
  if (n < least || n > most) error(job, "Invalid value for " + std::string(told_as) + "=" + word(job, i));
  return n;
}

template <class Target>
const Option<Target>* find_option(std::span<const Option<Target>> table, std::string_view name) {
  for (const Option<Target>& option : table)
    if (option.name == name) return &option;
  return nullptr;
}

/// Words that an option takes: itself, and "=" with a value.
template <class Target>
int words_of(const Option<Target>& option) {
  return option.kind == Option_kind::flag ? 1 : 3;
}

/// Takes the option at word i. Its value is the word two places on; the "=" between is not looked at.
template <class Target>
void take_option(Job& job, Target& target, const Option<Target>& option, int i) {
  constexpr std::size_t file_name_width = 255;
  const int at = i + words_of(option) - 1;
  if (const auto* integer = std::get_if<int& (*)(Target&)>(&option.place)) {
    int n = option.setting;
    if (option.kind != Option_kind::flag) n = ivalue(job, word(job, at));
    if (option.ranged()) in_range(job, option.told_as, n, option.least, option.most, at);
    (*integer)(target) = n;
  } else if (const auto* flag = std::get_if<bool& (*)(Target&)>(&option.place)) {
    (*flag)(target) = option.setting != 0;
  } else if (const auto* number = std::get_if<double& (*)(Target&)>(&option.place)) {
    (*number)(target) = given_value(job, word(job, at));
  } else if (const auto* name = std::get_if<std::string& (*)(Target&)>(&option.place)) {
    (*name)(target) = word_as_typed(job, at).substr(0, file_name_width);
  } else if (const auto* reader = std::get_if<void (*)(Target&, int)>(&option.place)) {
    (*reader)(target, at);
  }
}

/// The default of an option, as `fresh`, a target that no option has gone into, holds it.
template <class Target>
std::string preset_of(const Option<Target>& option, Target& fresh) {
  if (!option.preset.empty()) return std::string(option.preset);
  const bool flag = option.kind == Option_kind::flag;
  if (const auto* integer = std::get_if<int& (*)(Target&)>(&option.place)) {
    const int n = (*integer)(fresh);
    return flag ? (n == option.setting ? "on" : "off") : adjustfmt(n);
  }
  if (const auto* known = std::get_if<bool& (*)(Target&)>(&option.place))
    return (*known)(fresh) == (option.setting != 0) ? "on" : "off";
  if (const auto* number = std::get_if<double& (*)(Target&)>(&option.place))
    return shortest((*number)(fresh));
  if (const auto* name = std::get_if<std::string& (*)(Target&)>(&option.place)) return (*name)(fresh);
  return {};
}

/// The rows of a table in words.
template <class Target>
std::vector<Option_text> describe_options(std::span<const Option<Target>> table, Target& fresh) {
  std::vector<Option_text> texts;
  for (const Option<Target>& option : table) {
    Option_text text;
    text.option = option.name;
    cvtlcas(text.option);
    constexpr std::string_view values[] = {"", "=n", "=v", "=word", "=file"};
    text.option += values[static_cast<int>(option.kind)];
    if (option.ranged()) text.range = adjustfmt(option.least) + " to " + adjustfmt(option.most);
    text.preset = preset_of(option, fresh);
    text.help = option.help;
    texts.push_back(std::move(text));
  }
  return texts;
}

}  // namespace tarn
