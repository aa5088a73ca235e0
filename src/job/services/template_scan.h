#pragma once
// The template notation: its tokens and the check of a whole template, both usable while compiling.

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace tarn {

/// What an item of an output operation is, and the letter that prints it.
enum class Item_kind : unsigned char { integer, floating, text, logical };

/// Kinds of the arguments of an output operation, as far as they are known while compiling.
struct Argument_kind {
  Item_kind kind = Item_kind::integer;
  bool many = false;  ///< a range: any number of items
};

enum class Template_fault : unsigned char {
  none,
  no_opening_bracket,
  text_behind_the_end,
  bracket_not_closed,
  groups_too_deep,
  unknown_item,
  literal_not_closed,
  number_missing,
  number_too_large,
  comma_missing,
  comma_without_item,
  empty_group,
  star_group_not_last,
  star_group_without_item,
  count_not_allowed,
  scale_factor_not_0_or_1,
  no_place_for_items,
  item_of_another_kind,
  too_many_parts
};

/// The fault in words, for messages.
constexpr std::string_view words_of(Template_fault fault) {
  switch (fault) {
    case Template_fault::none:
      return "no fault";
    case Template_fault::no_opening_bracket:
      return "it does not begin with a bracket";
    case Template_fault::text_behind_the_end:
      return "text behind its end";
    case Template_fault::bracket_not_closed:
      return "a bracket is not closed";
    case Template_fault::groups_too_deep:
      return "groups are nested too deeply";
    case Template_fault::unknown_item:
      return "unknown item";
    case Template_fault::literal_not_closed:
      return "a text is not closed";
    case Template_fault::number_missing:
      return "a number is missing";
    case Template_fault::number_too_large:
      return "a number is too large";
    case Template_fault::comma_missing:
      return "a comma is missing";
    case Template_fault::comma_without_item:
      return "a comma stands alone";
    case Template_fault::empty_group:
      return "a group is empty";
    case Template_fault::star_group_not_last:
      return "*( ) is not the last item";
    case Template_fault::star_group_without_item:
      return "*( ) holds no data item";
    case Template_fault::count_not_allowed:
      return "a repeat count where none can stand";
    case Template_fault::scale_factor_not_0_or_1:
      return "a scale factor other than 0p and 1p";
    case Template_fault::no_place_for_items:
      return "it has no data item";
    case Template_fault::item_of_another_kind:
      return "an item is of another kind than its letter";
    case Template_fault::too_many_parts:
      return "too many parts";
  }
  return "";
}

enum class Token_kind : unsigned char {
  open,
  close,
  comma,
  slash,
  literal,
  blanks,
  tab,
  scale,
  data,
  end,
  fault
};

struct Template_token {
  Token_kind kind = Token_kind::end;
  Template_fault fault = Template_fault::none;
  char letter = 0;         ///< data: i f e g a l, lower case
  bool star = false;       ///< open: *( )
  int count = 1;           ///< repeat count of open, slash and data; n of nx, tn and np
  int width = -1;          ///< data: -1 when it is not given
  int digits = -1;         ///< data: d of fn.d, m of in.m; -1 when it is not given
  int exponent = -1;       ///< data: k of Ek; -1 when it is not given
  std::size_t begin = 0;   ///< literal: its first character
  std::size_t length = 0;  ///< literal: up to the closing quote, doubled quotes still doubled
};

inline constexpr int template_depth = 8;           ///< deepest nesting of groups
inline constexpr int template_largest = 10000000;  ///< largest number in a template

constexpr Item_kind kind_of_letter(char letter) {
  switch (letter) {
    case 'i':
      return Item_kind::integer;
    case 'a':
      return Item_kind::text;
    case 'l':
      return Item_kind::logical;
    default:
      return Item_kind::floating;
  }
}

/// Reads the token at `position` and moves behind it. At the end of the text: Token_kind::end.
class Template_lexer {
 public:
  constexpr explicit Template_lexer(std::string_view text, std::size_t position = 0)
      : text_(text), position_(position) {}
  constexpr std::size_t position() const { return position_; }

  constexpr Template_token next() {
    Template_token token;
    skip_blanks();
    if (position_ >= text_.size()) return token;
    if (text_[position_] == '*') {
      ++position_;
      skip_blanks();
      if (position_ >= text_.size() || text_[position_] != '(') return fault(Template_fault::unknown_item);
      ++position_;
      token.kind = Token_kind::open;
      token.star = true;
      return token;
    }
    bool counted = false;
    if (!number(token.count, counted)) return fault(Template_fault::number_too_large);
    if (!counted) token.count = 1;
    skip_blanks();
    if (position_ >= text_.size()) return fault(Template_fault::unknown_item);
    const char c = lower(text_[position_++]);
    switch (c) {
      case '(':
        token.kind = Token_kind::open;
        break;
      case '/':
        token.kind = Token_kind::slash;
        break;
      case ')':
      case ',':
        if (counted) return fault(Template_fault::count_not_allowed);
        token.kind = c == ')' ? Token_kind::close : Token_kind::comma;
        return token;
      case '\'':
      case '"':
        if (counted) return fault(Template_fault::count_not_allowed);
        return literal(c);
      case 'x':
        token.kind = Token_kind::blanks;
        break;
      case 'p':
        if (!counted) return fault(Template_fault::number_missing);
        if (token.count > 1) return fault(Template_fault::scale_factor_not_0_or_1);
        token.kind = Token_kind::scale;
        return token;
      case 't': {
        if (counted) return fault(Template_fault::count_not_allowed);
        token.kind = Token_kind::tab;
        bool given = false;
        if (!number(token.count, given)) return fault(Template_fault::number_too_large);
        if (!given || token.count == 0) return fault(Template_fault::number_missing);
        return token;
      }
      case 'i':
      case 'f':
      case 'e':
      case 'g':
      case 'a':
      case 'l':
        return data(token, c);
      default:
        return fault(Template_fault::unknown_item);
    }
    if (counted && token.count == 0) return fault(Template_fault::number_missing);
    return token;
  }

 private:
  static constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
  static constexpr Template_token fault(Template_fault why) {
    Template_token token;
    token.kind = Token_kind::fault;
    token.fault = why;
    return token;
  }
  constexpr void skip_blanks() {
    while (position_ < text_.size() && text_[position_] == ' ') ++position_;
  }
  constexpr bool number(int& value, bool& given) {
    given = false;
    int sum = 0;
    while (position_ < text_.size() && text_[position_] >= '0' && text_[position_] <= '9') {
      sum = sum * 10 + (text_[position_++] - '0');
      given = true;
      if (sum > template_largest) return false;
    }
    if (given) value = sum;
    return true;
  }
  constexpr Template_token literal(char quote) {
    Template_token token;
    token.kind = Token_kind::literal;
    token.begin = position_;
    while (position_ < text_.size()) {
      if (text_[position_] != quote) {
        ++position_;
      } else if (position_ + 1 < text_.size() && text_[position_ + 1] == quote) {
        position_ += 2;
      } else {
        token.length = position_ - token.begin;
        ++position_;
        return token;
      }
    }
    return fault(Template_fault::literal_not_closed);
  }
  constexpr Template_token data(Template_token token, char letter) {
    token.kind = Token_kind::data;
    token.letter = letter;
    if (token.count == 0) return fault(Template_fault::number_missing);
    bool given = false;
    if (!number(token.width, given)) return fault(Template_fault::number_too_large);
    if (letter == 'a' || letter == 'l') {
      if (given && token.width == 0) return fault(Template_fault::number_missing);
      return token;
    }
    if (!given) return fault(Template_fault::number_missing);
    if (token.width == 0 && letter == 'e') return fault(Template_fault::number_missing);
    const bool pointed = position_ < text_.size() && text_[position_] == '.';
    if (!pointed) return letter == 'i' ? token : fault(Template_fault::number_missing);
    ++position_;
    if (!number(token.digits, given)) return fault(Template_fault::number_too_large);
    if (!given) return fault(Template_fault::number_missing);
    if (token.digits > 999) return fault(Template_fault::number_too_large);
    if (token.digits == 0 && (letter == 'e' || letter == 'g')) return fault(Template_fault::number_missing);
    if ((letter == 'e' || letter == 'g') && position_ < text_.size() && lower(text_[position_]) == 'e') {
      ++position_;
      if (!number(token.exponent, given)) return fault(Template_fault::number_too_large);
      if (!given || token.exponent == 0) return fault(Template_fault::number_missing);
      if (token.exponent > 9) return fault(Template_fault::number_too_large);
    }
    return token;
  }

  std::string_view text_;
  std::size_t position_;
};

/// Result of a scan.
struct Template_scan {
  Template_fault fault = Template_fault::none;
  std::size_t position = 0;  ///< where the fault was seen
  constexpr bool bad() const { return fault != Template_fault::none; }
};

namespace detail {

/// The data items of a template as runs of one kind, groups written out.
class Template_runs {
 public:
  static constexpr int capacity = 256;
  static constexpr long long longest = 1'000'000'000'000;  // as good as endless, far from the range's end
  constexpr int size() const { return size_; }
  constexpr Item_kind kind(int r) const { return kinds_[static_cast<std::size_t>(r)]; }
  constexpr long long length(int r) const { return lengths_[static_cast<std::size_t>(r)]; }
  constexpr bool add(Item_kind kind, long long length) {
    if (size_ > barrier_ && kinds_[static_cast<std::size_t>(size_ - 1)] == kind) {
      lengths_[static_cast<std::size_t>(size_ - 1)] += length;
      return true;
    }
    return append(kind, length);
  }
  /// Repeats the runs from `first` on until they stand `count` times.
  constexpr bool repeat(int first, int count) {
    const int last = size_;
    if (last == first) return true;
    if (last == first + 1) {
      long long& length = lengths_[static_cast<std::size_t>(first)];
      length = std::min(length, longest / count) * count;
      return true;
    }
    for (int k = 1; k < count; ++k) {
      for (int r = first; r < last; ++r) {
        if (!append(kind(r), length(r))) return false;
      }
    }
    return true;
  }
  /// What follows is not joined to the runs so far, so that a group can be repeated by itself.
  constexpr void hold() { barrier_ = size_; }
  /// The run with which the items start again when they have all been used.
  constexpr void set_cycle(int first) { cycle_ = first; }
  constexpr int next(int r) const { return r + 1 < size_ ? r + 1 : cycle_; }

 private:
  constexpr bool append(Item_kind kind, long long length) {
    if (size_ == capacity) return false;
    kinds_[static_cast<std::size_t>(size_)] = kind;
    lengths_[static_cast<std::size_t>(size_++)] = length;
    return true;
  }

  std::array<Item_kind, capacity> kinds_{};
  std::array<long long, capacity> lengths_{};
  int size_ = 0, barrier_ = 0, cycle_ = 0;
};

/// Whether the arguments, in turn, can be printed by the runs. Behind a range the place is known by its run
/// only.
constexpr Template_fault match(const Template_runs& runs, const Argument_kind* arguments, std::size_t count) {
  int run = 0;
  long long used = 0;
  std::size_t k = 0;
  for (; k < count && !arguments[k].many; ++k) {
    if (used == runs.length(run)) run = runs.next(run), used = 0;
    if (runs.kind(run) != arguments[k].kind) return Template_fault::item_of_another_kind;
    ++used;
  }
  if (k == count) return Template_fault::none;
  std::array<bool, Template_runs::capacity> here{}, there{};
  here[static_cast<std::size_t>(run)] = true;
  if (used == runs.length(run))
    here[static_cast<std::size_t>(run)] = false, here[static_cast<std::size_t>(runs.next(run))] = true;
  for (; k < count; ++k) {
    bool any = false;
    for (auto& place : there) place = false;
    for (int r = 0; r < runs.size(); ++r) {
      if (!here[static_cast<std::size_t>(r)]) continue;
      if (runs.kind(r) == arguments[k].kind) there[static_cast<std::size_t>(r)] = any = true;
      const int n = runs.next(r);
      if (runs.kind(n) == arguments[k].kind) there[static_cast<std::size_t>(n)] = any = true;
    }
    if (!any) return Template_fault::item_of_another_kind;
    here = there;
  }
  return Template_fault::none;
}

}  // namespace detail

/// Checks a template by itself and, when `arguments` are given, against the kinds of the items that it is to
/// print; without `arguments` a `count` above 0 asks only that there is a data item to print something.
constexpr Template_scan scan(std::string_view text, const Argument_kind* arguments = nullptr,
                             std::size_t count = 0) {
  Template_lexer lexer(text);
  Template_token token = lexer.next();
  if (token.kind != Token_kind::open || token.star || token.count != 1 || text.empty() ||
      (text[text.find_first_not_of(' ')] != '(')) {
    return {Template_fault::no_opening_bracket, 0};
  }
  struct Group {
    int first_run = 0, count = 1, data = 0;
    bool star = false, filled = false;
  };
  std::array<Group, template_depth + 1> groups{};
  detail::Template_runs runs;
  bool runs_full = false;  // too many to hold: only a check against arguments needs them
  int depth = 0;
  bool after_item = false;   // an item stands before: the next one needs a comma
  bool after_comma = false;  // a comma stands before: an item must follow
  bool star_seen = false;
  for (;;) {
    const std::size_t position = lexer.position();
    token = lexer.next();
    const auto bad = [&](Template_fault fault) { return Template_scan{fault, position}; };
    if (token.kind == Token_kind::fault) return bad(token.fault);
    if (token.kind == Token_kind::end) return bad(Template_fault::bracket_not_closed);
    if (star_seen && token.kind != Token_kind::close) return bad(Template_fault::star_group_not_last);
    Group& group = groups[static_cast<std::size_t>(depth)];
    switch (token.kind) {
      case Token_kind::comma:
        if (!group.filled || after_comma) return bad(Template_fault::comma_without_item);
        after_comma = true;
        after_item = false;
        continue;
      case Token_kind::close: {
        if (after_comma) return bad(Template_fault::comma_without_item);
        if (depth == 0) {
          if (lexer.next().kind != Token_kind::end)
            return {Template_fault::text_behind_the_end, lexer.position()};
          if (count == 0) return {};
          if (group.data == 0) return bad(Template_fault::no_place_for_items);
          if (arguments == nullptr) return {};
          if (runs_full) return bad(Template_fault::too_many_parts);
          return Template_scan{detail::match(runs, arguments, count), position};
        }
        if (!group.filled) return bad(Template_fault::empty_group);
        if (group.star) {
          if (group.data == 0) return bad(Template_fault::star_group_without_item);
          runs.set_cycle(group.first_run);
          star_seen = true;
        } else if (!runs_full && !runs.repeat(group.first_run, group.count)) {
          runs_full = true;
        }
        runs.hold();
        groups[static_cast<std::size_t>(depth - 1)].data += group.data;
        --depth;
        after_item = true;
        continue;
      }
      case Token_kind::slash:
        group.filled = true;
        after_item = after_comma = false;
        continue;
      case Token_kind::scale:
        if (after_item) return bad(Template_fault::comma_missing);
        group.filled = true;
        after_comma = false;
        continue;
      case Token_kind::open:
        if (after_item) return bad(Template_fault::comma_missing);
        if (depth == template_depth) return bad(Template_fault::groups_too_deep);
        if (token.star && depth != 0) return bad(Template_fault::star_group_not_last);
        group.filled = true;
        after_comma = false;
        runs.hold();
        groups[static_cast<std::size_t>(++depth)] = Group{runs.size(), token.count, 0, token.star, false};
        continue;
      case Token_kind::data:
        if (after_item) return bad(Template_fault::comma_missing);
        if (!runs_full && !runs.add(kind_of_letter(token.letter), token.count)) runs_full = true;
        ++group.data;
        break;
      default:
        if (after_item) return bad(Template_fault::comma_missing);
        break;
    }
    group.filled = true;
    after_item = true;
    after_comma = false;
  }
}

}  // namespace tarn
