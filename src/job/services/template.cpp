#include "job/services/template.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "job/services/fault.h"

namespace tarn {

namespace {

// Longest number: 309 digits before the point, 1000 behind it, sign, point, exponent.
constexpr std::size_t longest_number = 1400;

/// The items of an operation, ranges opened up.
class Item_queue {
 public:
  explicit Item_queue(std::span<const Item> items) : items_(items) { settle(); }
  bool empty() const { return next_ == items_.size(); }
  Item take() {
    const Item& item = items_[next_];
    if (!item.many) {
      ++next_;
      settle();
      return item;
    }
    const Item element = item.element(item.range, element_++);
    if (element_ == item.count) {
      ++next_;
      settle();
    }
    return element;
  }

 private:
  /// Stands at an item that is there: ranges without elements are passed over.
  void settle() {
    element_ = 0;
    while (next_ < items_.size() && items_[next_].many && items_[next_].count == 0) ++next_;
  }
  std::span<const Item> items_;
  std::size_t next_ = 0, element_ = 0;
};

/// Lines under construction. Columns that are only passed over become blanks when something is written behind
/// them.
class Line_builder {
 public:
  explicit Line_builder(std::string& out) : out_(out), line_(out.size()) {}
  void write(std::string_view text) {
    const std::size_t place = line_ + column_;
    if (place == out_.size()) {
      out_.append(text);
    } else {
      if (place + text.size() > out_.size()) out_.resize(std::max(out_.size(), place + text.size()), ' ');
      std::copy(text.begin(), text.end(), out_.begin() + static_cast<std::ptrdiff_t>(place));
    }
    column_ += text.size();
  }
  void fill(std::size_t n, char c) {
    const std::size_t place = line_ + column_;
    if (place + n > out_.size()) out_.resize(place + n, ' ');
    std::fill_n(out_.begin() + static_cast<std::ptrdiff_t>(place), n, c);
    column_ += n;
  }
  /// Text that takes no columns.
  void write_hidden(std::string_view text) {
    write(text);
    hidden_ += text.size();
  }
  void pass(std::size_t n) { column_ += n; }
  void move_to(std::size_t column) { column_ = column - 1 + hidden_; }
  void new_line() {
    out_ += '\n';
    line_ = out_.size();
    column_ = hidden_ = 0;
  }

 private:
  std::string& out_;
  std::size_t line_, column_ = 0, hidden_ = 0;
};

/// A field: `text` right-adjusted in `width` columns, asterisks and false when it is wider; width 0 is as
/// wide as the text.
bool write_field(Line_builder& line, std::string_view text, int width) {
  const auto columns = static_cast<std::size_t>(width);
  if (width > 0 && text.size() > columns) {
    line.fill(columns, '*');
    return false;
  }
  if (text.size() < columns) line.fill(columns - text.size(), ' ');
  line.write(text);
  return true;
}

std::string_view escape_of(Colour colour) {
  switch (colour) {
    case Colour::cyan:
      return "\033[36m";
    case Colour::yellow:
      return "\033[33m";
    case Colour::red:
      return "\033[31m";
    case Colour::none:
      break;
  }
  return {};
}

void write_text(Line_builder& line, const Item& item, int width, bool coloured) {
  const bool escapes = coloured && item.colour != Colour::none;
  std::string_view text = item.text;
  if (width >= 0) {
    const auto columns = static_cast<std::size_t>(width);
    if (text.size() < columns) line.fill(columns - text.size(), ' ');
    text = text.substr(0, columns);
  }
  if (escapes) line.write_hidden(escape_of(item.colour));
  line.write(text);
  if (escapes) line.write_hidden("\033[0m");
}

void write_integer(Line_builder& line, const Item& item, const Template_token& token) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, item.magnitude).ptr;
  const auto count = static_cast<std::size_t>(end - digits);
  if (item.magnitude == 0 && token.digits == 0)
    return line.fill(static_cast<std::size_t>(std::max(token.width, 1)), ' ');
  const auto least = static_cast<std::size_t>(std::max(token.digits, 0));
  const std::size_t zeros = least > count ? least - count : 0;
  const std::size_t size = zeros + count + (item.negative ? 1 : 0);
  const auto columns = static_cast<std::size_t>(token.width);
  if (token.width > 0 && size > columns) return line.fill(columns, '*');
  if (size < columns) line.fill(columns - size, ' ');
  if (item.negative) line.write("-");
  line.fill(zeros, '0');
  line.write({digits, count});
}

/// NaN and infinities, in any numeric field.
void write_not_finite(Line_builder& line, double x, int width) {
  if (std::isnan(x)) {
    write_field(line, "NaN", width);
    return;
  }
  const bool negative = std::signbit(x);
  std::string_view text = negative ? "-Infinity" : "Infinity";
  if (static_cast<std::size_t>(width) < text.size()) text = negative ? "-Inf" : "Inf";
  write_field(line, text, width);
}

/// A number in fixed point with `digits` decimals, moved `scale` places to the left of the point.
/// The zero before the point goes when the field has no room for it, or at width 0 unless `keep_zero`.
/// False when the field overflows.
bool write_fixed(Line_builder& line, double x, int width, int digits, int scale, bool keep_zero = false) {
  char text[longest_number];
  char* const first = text + 2;  // room for a sign
  char* end =
      std::to_chars(first, text + sizeof text, std::fabs(x), std::chars_format::fixed, digits + scale).ptr;
  char* begin = first;
  if (digits + scale == 0) {
    *end++ = '.';
  } else if (scale == 1) {
    char* const point = std::find(first, end, '.');
    std::swap(point[0], point[1]);
    if (*begin == '0') ++begin;  // what stood before the old point
  }
  const bool optional_zero = *begin == '0' && begin[1] == '.' && digits > 0;
  const bool negative = std::signbit(x);
  const std::ptrdiff_t full = (end - begin) + (negative ? 1 : 0);
  if (optional_zero && (width == 0 ? !keep_zero : full > width)) ++begin;
  if (negative) *--begin = '-';
  return write_field(line, {begin, static_cast<std::size_t>(end - begin)}, width);
}

/// Significant digits of |x| and the power of ten of the first one; zero has power -1, so that its exponent
/// prints as 0 in the form 0.ddd.
struct Decimal {
  char digits[longest_number];
  std::size_t count = 0;
  int power = 0;
};

void to_decimal(double x, int digits, Decimal& decimal) {
  char text[longest_number];
  const char* const end =
      std::to_chars(text, text + sizeof text, std::fabs(x), std::chars_format::scientific, digits - 1).ptr;
  const char* const letter = std::find(static_cast<const char*>(text), end, 'e');
  decimal.count = 0;
  for (const char* c = text; c < letter; ++c) {
    if (*c != '.') decimal.digits[decimal.count++] = *c;
  }
  const char* exponent = letter + 1;
  if (*exponent == '+') ++exponent;
  std::from_chars(exponent, end, decimal.power);
}

/// The exponent form: 0.ddd with scale 0, d.ddd with scale 1. `exponent_digits` -1: two digits, or three
/// without the letter; 0: as few as it needs.
void write_exponent_form(Line_builder& line, double x, int width, int digits, int exponent_digits,
                         int scale) {
  Decimal decimal;
  to_decimal(x, digits + scale, decimal);
  int power = x == 0.0 ? 0 : decimal.power + 1 - scale;
  char text[longest_number];
  char* end = text + 1;  // room for the sign
  char* begin = end;
  if (scale == 0) *end++ = '0';
  for (std::size_t k = 0; k < decimal.count; ++k) {
    if (static_cast<int>(k) == scale) *end++ = '.';
    *end++ = decimal.digits[k];
  }
  if (decimal.count == static_cast<std::size_t>(scale)) *end++ = '.';
  char exponent[8];
  const auto exponent_size =
      static_cast<int>(std::to_chars(exponent, exponent + sizeof exponent, std::abs(power)).ptr - exponent);
  int places = exponent_digits;
  bool letter = true;
  if (exponent_digits < 0) {
    letter = exponent_size <= 2;
    places = letter ? 2 : 3;
  } else if (exponent_digits == 0) {
    places = exponent_size;
  }
  if (exponent_size > places) return line.fill(static_cast<std::size_t>(width), '*');
  if (letter) *end++ = 'E';
  *end++ = power < 0 ? '-' : '+';
  end = std::fill_n(end, places - exponent_size, '0');
  end = std::copy_n(exponent, exponent_size, end);
  const bool negative = std::signbit(x);
  if (scale == 0 && width > 0 && (end - begin) + (negative ? 1 : 0) > width) ++begin;
  if (negative) *--begin = '-';
  write_field(line, {begin, static_cast<std::size_t>(end - begin)}, width);
}

/// Digits before the point that the general form with d digits gives a number m >= 0 in fixed point; -1 when
/// it takes the exponent form. The limits 10^k (1 - 0.5 / 10^d) are compared in 64-bit arithmetic, not with
/// the rounded digits: a number within one rounding of a limit counts as at it, which is what other run-times
/// of this notation do.
int digits_before_point(double m, int digits) {
  if (m == 0.0) return 1;
  const auto power_of_ten = [](int k) {
    double power = 1.0;
    for (int j = 0; j < k; ++j) power *= 10.0;
    return power;
  };
  const double end = power_of_ten(digits);
  const double part = 1.0 - 0.5 / end;
  if (m < 0.1 * part || end - m <= 0.5) return -1;
  int k = 0;
  while (k < digits && m >= power_of_ten(k) * part) ++k;
  return k;
}

/// The general form: fixed point with d significant digits and blanks in the place of the exponent for
/// numbers that, rounded to d digits, lie in 0.1 to 10^d; else the exponent form.
void write_general(Line_builder& line, double x, const Template_token& token, int scale) {
  const int width = token.width, digits = token.digits;
  const int before_point = digits_before_point(std::fabs(x), digits);
  if (before_point < 0) {
    const int exponent_digits = width == 0 && token.exponent < 0 ? 0 : token.exponent;
    return write_exponent_form(line, x, width, digits, exponent_digits, scale);
  }
  if (width == 0) {
    write_fixed(line, x, 0, digits - before_point, 0, true);
    return;
  }
  const int trailing = token.exponent < 0 ? 4 : token.exponent + 2;
  if (width <= trailing) return line.fill(static_cast<std::size_t>(width), '*');
  const bool fits = write_fixed(line, x, width - trailing, digits - before_point, 0);
  line.fill(static_cast<std::size_t>(trailing), fits ? ' ' : '*');
}

void write_number(Line_builder& line, double x, const Template_token& token, int scale) {
  if (!std::isfinite(x)) return write_not_finite(line, x, token.width);
  switch (token.letter) {
    case 'f':
      write_fixed(line, x, token.width, token.digits, scale);
      return;
    case 'e':
      return write_exponent_form(line, x, token.width, token.digits, token.exponent, scale);
    default:
      return write_general(line, x, token, scale);
  }
}

/// False when the item is not of its letter's kind; asterisks stand for it then.
bool write_item(Line_builder& line, const Item& item, const Template_token& token, int scale, bool coloured) {
  if (kind_of_letter(token.letter) != item.kind) {
    line.fill(static_cast<std::size_t>(std::max(token.width, 1)), '*');
    return false;
  }
  switch (item.kind) {
    case Item_kind::text:
      write_text(line, item, token.width, coloured);
      break;
    case Item_kind::integer:
      write_integer(line, item, token);
      break;
    case Item_kind::logical:
      write_field(line, item.logical ? "T" : "F", std::max(token.width, 1));
      break;
    case Item_kind::floating:
      write_number(line, item.number, token, scale);
      break;
  }
  return true;
}

void write_literal(Line_builder& line, std::string_view template_text, const Template_token& token) {
  std::string_view text = template_text.substr(token.begin, token.length);
  const char quote = template_text[token.begin - 1];
  for (;;) {
    const std::size_t doubled = text.find(quote);
    if (doubled == std::string_view::npos) return line.write(text);
    line.write(text.substr(0, doubled + 1));
    text.remove_prefix(doubled + 2);
  }
}

/// Carries out an operation whose template has passed `scan`; the last line is left without its end. False
/// when an item was not of its letter's kind: with a template checked while compiling only a range of a
/// length that does not fit comes to this.
bool interpret(std::string_view text, std::span<const Item> items, bool coloured, std::string& out) {
  struct Group {
    std::size_t begin;
    int left;
    bool star;
  };
  std::array<Group, template_depth> groups;
  std::size_t depth = 0;
  const std::size_t start = text.find('(') + 1;
  Item_queue queue(items);
  Line_builder line(out);
  Template_lexer lexer(text, start);
  int scale = 0;
  bool fits = true;
  for (;;) {
    const Template_token token = lexer.next();
    switch (token.kind) {
      case Token_kind::open:
        groups[depth++] = {lexer.position(), token.count, token.star};
        break;
      case Token_kind::close:
        if (depth == 0) {
          if (queue.empty()) return fits;
          line.new_line();
          lexer = Template_lexer(text, start);
        } else if (groups[depth - 1].star || --groups[depth - 1].left > 0) {
          lexer = Template_lexer(text, groups[depth - 1].begin);
        } else {
          --depth;
        }
        break;
      case Token_kind::slash:
        for (int k = 0; k < token.count; ++k) line.new_line();
        break;
      case Token_kind::literal:
        write_literal(line, text, token);
        break;
      case Token_kind::blanks:
        line.pass(static_cast<std::size_t>(token.count));
        break;
      case Token_kind::tab:
        line.move_to(static_cast<std::size_t>(token.count));
        break;
      case Token_kind::scale:
        scale = token.count;
        break;
      case Token_kind::data:
        for (int k = 0; k < token.count; ++k) {
          if (queue.empty()) return fits;
          fits = write_item(line, queue.take(), token, scale, coloured) && fits;
        }
        break;
      case Token_kind::comma:
        break;
      case Token_kind::end:
      case Token_kind::fault:
        return false;
    }
  }
}

bool any_colour(std::span<const Item> items) {
  for (const Item& item : items) {
    if (item.colour != Colour::none) return true;
    if (!item.many || item.kind != Item_kind::text) continue;
    for (std::size_t k = 0; k < item.count; ++k) {
      if (item.element(item.range, k).colour != Colour::none) return true;
    }
  }
  return false;
}

[[noreturn]] void error_of_template(Job& job, std::string_view text, Template_fault fault) {
  std::string message = "Template \"";
  message.append(text).append("\": ").append(words_of(fault)).append(".");
  error(job, message);
}

/// Ends the job when a template made at run time is bad by itself or has no place for the items.
void require_template(Job& job, std::string_view text, std::span<const Item> items) {
  std::size_t count = 0;
  for (const Item& item : items) count += item.many ? item.count : 1;
  if (const Template_scan result = scan(text, nullptr, count); result.bad())
    error_of_template(job, text, result.fault);
}

/// Writes the lines of an operation, which stand in the work text, to its streams.
void write_lines(Job& job, Target target, std::string_view text, std::span<const Item> items) {
  const Status_module& status = job.status;
  std::string& out = job.streams.work_text();
  const auto write_to = [&](Target one, int number) {
    if ((target.streams & one.streams) != 0) job.streams.write(number, out);
  };
  out += '\n';
  write_to(listing, status.sysout);
  write_to(residual, status.sysres);
  write_to(samples_text, status.sysmcmccsv);
  write_to(annealing, status.syssimneal);
  if ((target.streams & screen.streams) != 0 && status.color_output != 0 && any_colour(items)) {
    out.clear();
    interpret(text, items, true, out);
    out += '\n';
  }
  write_to(screen, status.syscrn);
}

}  // namespace

namespace detail {

void put_items(Job& job, Target target, std::string_view text, std::span<const Item> items) {
  std::string& out = job.streams.work_text();
  out.clear();
  interpret(text, items, false, out);
  write_lines(job, target, text, items);
}

std::string format_items(std::string_view text, std::span<const Item> items) {
  std::string out;
  interpret(text, items, false, out);
  return out;
}

}  // namespace detail

std::string formatted_runtime(Job& job, std::string_view layout, std::span<const Item> items) {
  require_template(job, layout, items);
  std::string out;
  if (!interpret(layout, items, false, out))
    error_of_template(job, layout, Template_fault::item_of_another_kind);
  return out;
}

void put_runtime(Job& job, Target target, std::string_view layout, std::span<const Item> items) {
  require_template(job, layout, items);
  std::string& out = job.streams.work_text();
  out.clear();
  if (!interpret(layout, items, false, out))
    error_of_template(job, layout, Template_fault::item_of_another_kind);
  write_lines(job, target, layout, items);
}

}  // namespace tarn
