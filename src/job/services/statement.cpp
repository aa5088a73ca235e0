#include "job/services/statement.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "job/streams/streams.h"

namespace tarn {

namespace {

constexpr int line_piece = 4096;          ///< characters taken from a line at a time
constexpr int refill_below = MAXCHR / 2;  ///< unread characters under which the buffer is filled again
constexpr int echo_width = 60;            ///< characters of a statement on one line of the echo

constexpr std::array<bool, 256> table_of(std::string_view set) {
  std::array<bool, 256> table{};
  for (const char c : set) table[static_cast<unsigned char>(c)] = true;
  return table;
}
constexpr std::array<bool, 256> is_delimiter = table_of(":;,=() /<>");
constexpr std::array<bool, 256> is_separator = table_of(" ,");

bool in(const std::array<bool, 256>& table, char c) { return table[static_cast<unsigned char>(c)]; }

/// The character at position p of the buffer.
template <class A_status>
auto& character(A_status& status, int p) {
  return status.string[static_cast<std::size_t>(p - 1)];
}

/// The characters at positions first to last of the buffer; empty when they are none.
std::string_view buffer(const Job& job, int first, int last) {
  if (first < 1 || last < first) return {};
  return std::string_view(job.status.string)
      .substr(static_cast<std::size_t>(first - 1), static_cast<std::size_t>(last - first + 1));
}

/// Position of `text` in the buffer between first and last, 0 if it is not there.
int find(const Job& job, std::string_view text, int first, int last) {
  const std::size_t place = buffer(job, first, last).find(text);
  return place == std::string_view::npos ? 0 : first + static_cast<int>(place);
}

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
  return s;
}

std::string_view left_adjusted(std::string_view s) {
  while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
  return s;
}

/// A word of `list`, which may be longer than the statement: only `lstwrd` entries are its words.
const std::string& bounded(Job& job, const List<Charray>& list, int i, const char* name) {
  const int upper = job.status.lstwrd;
  if (i < 1)
    error(job, "Index '" + adjustfmt(i) + "' of dimension 1 of array '" + name + "' below lower bound of 1");
  if (i > upper)
    error(job, "Index '" + adjustfmt(i) + "' of dimension 1 of array '" + name + "' above upper bound of " +
                   adjustfmt(upper));
  return list(i);
}

/// Adds a word to both lists. Strings that earlier statements left are filled again, so that a deck of
/// many records does not allocate for every word.
void add_word(Status_module& status, std::string_view text) {
  const int place = ++status.lstwrd;
  if (place > status.words.size()) {
    status.words.emplace_back();
    status.wordss.emplace_back();
  }
  status.wordss(place).assign(text);
  status.words(place).assign(text);
  cvtcas(status.words(place));
}

/// Closes up the double blanks that stand between position `from` and the end of the statement, and moves
/// the text behind the statement after it.
void close_double_blanks(Status_module& status, int from) {
  const auto at = [&](int p) -> char& { return character(status, p); };
  int kept = from;
  for (int p = from + 1; p <= status.lcmded; ++p)
    if (at(p) != ' ' || at(kept) != ' ') at(++kept) = at(p);
  const int removed = status.lcmded - kept;
  if (removed == 0) return;
  const auto end = status.string.begin() + std::max(status.lstchr, status.lcmded);
  std::fill(std::move(status.string.begin() + status.lcmded, end, status.string.begin() + kept), end, ' ');
  status.lcmded -= removed;
  status.lstchr -= removed;
  status.nxtchr -= removed;
}

/// Last position of the piece of the echo that starts at s.
int end_of_piece(const Job& job, int s) {
  const int last = job.status.lcmded;
  const int full = std::min(s + echo_width - 1, last);
  const int comment = find(job, "*/", s, full);
  if (comment != 0 && comment + 1 != last) return comment + 1;  // a comment ends its line
  if (last - s + 1 <= echo_width) return last;
  for (int p = full; p > s; --p)
    if (character(job.status, p) == ' ') return p;
  return full;
}

/// The fatal end of a text that is no statement. The statement before it is echoed once more, as long as the
/// buffer holds it; else the first lines of the text itself stand above the message.
[[noreturn]] void error_in_unread(Job& job, std::string_view message) {
  Status_module& status = job.status;
  if (status.lcmded < status.lcmdst) {
    status.lcmdst = status.nxtchr;
    status.lcmded = std::min(status.lstchr, status.nxtchr + 10 * echo_width - 1);
  }
  error(job, message);
}

/// First terminator at or behind `from`; none is fatal.
// KEPT: a deck whose last statement is no STOP ends here, for the blank behind its last terminator is unread
// text.
int terminator(Job& job, int from) {
  const int place = find(job, ";", from, job.status.lstchr);
  if (place == 0) error_in_unread(job, "Length of command exceeded MAXCHR/2 characters.");
  return place;
}

/// End of the statement that starts at `nxtchr`.
// KEPT: only the first comment of a statement may hold a terminator.
int end_of_statement(Job& job) {
  const int start = job.status.nxtchr;
  const int end = terminator(job, start);
  const int comment = find(job, "/*", start, end);
  if (comment == 0) return end;
  const int close = find(job, "*/", comment, job.status.lstchr);
  if (close == 0) error_in_unread(job, "Unclosed comment string.");
  return close > end ? terminator(job, close) : end;
}

}  // namespace

void fillsg(Job& job) {
  Status_module& status = job.status;
  char* const text = status.string.data();
  // One character left, or none, stays where it is, unless no line would fit behind it.
  if (status.lstchr > status.nxtchr || status.lstchr > refill_bound) {
    const int unread = status.lstchr - status.nxtchr + 1;
    std::memmove(text, text + status.nxtchr - 1, static_cast<std::size_t>(unread));
    std::memset(text + unread, ' ', static_cast<std::size_t>(status.lstchr - unread));
    status.nxtchr = 1;
    status.lstchr = unread;
    status.lcmdst = 1;  // the statement in hand has left the buffer
    status.lcmded = 0;
  }
  // At the end of the file the line buffer still holds the line before it, and its first character is
  // appended once more. A deck that ends with a STOP statement never sees this tail.
  std::string& line = status.line_buffer;
  while (status.eof == 0 && status.lstchr <= refill_bound) {
    const Piece piece = job.streams.read_piece(status.sysin, line_piece);
    if (piece.end == Piece_end::end_of_file || piece.end == Piece_end::fault) {
      line.resize(1);
      if (piece.end == Piece_end::end_of_file) status.eof = 1;
    } else {
      // A line of exactly one full piece ends with that piece: no empty line follows it.
      const bool rest_is_empty = status.line_goes_on && piece.text.empty();
      status.line_goes_on = piece.end == Piece_end::more;
      if (rest_is_empty) continue;
      line.assign(piece.text.empty() ? std::string_view(" ") : piece.text);
    }
    if (piece.end == Piece_end::fault) {  // what follows it is the end of the file
      status.errmsg = piece.fault_text;
      status.ieropt = piece.fault_number;
      put(job, listing | screen, "(2x,a,i0)",
          "ERROR from FILLSG " + status.errmsg + ", IOSTAT=", status.ieropt);
    }
    if (line.back() == '\r')
      line.back() = ' ';
    else if (line.back() != ' ' && line.size() < line_piece)
      line.push_back(' ');
    std::replace(line.begin(), line.end(), '\t', ' ');
    std::memcpy(text + status.lstchr, line.data(), line.size());
    status.lstchr += static_cast<int>(line.size());
  }
}

void getcmd(Job& job) {
  Status_module& status = job.status;
  prtcmd(job);
  status.lstwrd = 0;
  if (status.nxtchr > status.lstchr) {
    if (status.eof != 0) {
      status.lcmdst = status.lcmded = 0;
      add_word(status, "proc");
      add_word(status, "stop");
      return;
    }
    fillsg(job);
  } else if (status.lstchr - status.nxtchr + 1 < refill_below && status.eof == 0) {
    fillsg(job);
  }

  const int end = end_of_statement(job);
  status.lcmdst = status.nxtchr;
  status.lcmded = end;
  const auto at = [&](int p) { return character(status, p); };
  for (int p = status.nxtchr;;) {
    while (p < end && in(is_separator, at(p))) ++p;
    if (p >= end) break;
    if (at(p) == '/' && at(p + 1) == '*') {
      const int close = find(job, "*/", p, end);
      if (close == 0) error(job, "No closing comment string (*/).");
      p = close + 2;
      if (p >= end) break;
      continue;
    }
    int q = p;
    while (q <= end && !in(is_delimiter, at(q))) ++q;
    if (q > end) error(job, "Word of zero length in GETCMD");  // the terminator is a delimiter: never met
    add_word(status, buffer(job, p, std::max(q - 1, p)));
    p = q == p ? q + 1 : q;
    if (p == end) break;
  }
  status.nxtchr = end + 1;
  word(job, status.lstwrd);  // KEPT: a statement without words ends the job
  status.max_word_used = std::max(status.max_word_used, status.lstwrd);
}

void prtcmd(Job& job) {
  Status_module& status = job.status;
  if (status.noecho != 0 || status.lcmded <= status.lcmdst || status.lcmdst < 1) return;
  if (status.indent >= 0) {
    while (status.lcmdst < status.lcmded && character(status, status.lcmdst) == ' ') ++status.lcmdst;
    if (status.lcmdst == status.lcmded) return;
  }
  if (const int place = find(job, "initial", status.lcmdst, status.lcmded); place != 0)
    close_double_blanks(status, place);

  const int level = std::abs(status.indent);
  if (status.lines >= status.maxlin - 4) {  // a fresh page
    if (level >= 1 && level <= 2) linchk(job, 3 - level);
    if (level == 1) put(job, listing, "(2x)");
    if (status.indent + 2 < 5) put(job, listing, "(2x)");
  }
  const std::string_view full_prefix = "INPUT ---               ";
  const std::string_view prefix =
      full_prefix.substr(0, static_cast<std::size_t>(std::min(3 * std::min(level, 5) - 3, 12) + 10));
  for (int s = status.lcmdst; s <= status.lcmded;) {
    const int end = end_of_piece(job, s);
    linchk(job, 1);
    const std::string_view piece = buffer(job, s, end);
    put(job, listing | screen, "(3a)", " ", coloured(prefix, Colour::cyan), piece);
    s = end + 1;
  }
}

const std::string& word(Job& job, int i) { return bounded(job, job.status.words, i, "words"); }

const std::string& word_as_typed(Job& job, int i) { return bounded(job, job.status.wordss, i, "wordss"); }

std::string_view statement_text(const Job& job) { return buffer(job, job.status.lcmdst, job.status.lcmded); }

int ivalue(Job& job, std::string_view word) {
  std::string_view text = left_adjusted(trimmed(word));
  if (text.empty()) return 0;
  const auto refuse = [&](const char* what) {
    error(job, std::string(what) + " integer read of '" + std::string(word) + "'");
  };
  if (text.find_first_not_of("-0123456789") != std::string_view::npos) refuse("Error with");
  text = text.substr(0, 10);  // KEPT: the rest is dropped without a word
  const auto signs = std::count(text.begin(), text.end(), '-');
  if (signs > 1) refuse("Error from multiple minus signs with");
  const bool negative = text.front() == '-';
  if (signs == 1 && !negative) refuse("Error from minus sign not first with");
  // KEPT: a count of ten digits can pass 32 bits; it then wraps, unreported.
  std::uint32_t sum = 0;
  for (const char c : text.substr(negative ? 1 : 0)) sum = sum * 10u + static_cast<std::uint32_t>(c - '0');
  return static_cast<int>(negative ? 0u - sum : sum);
}

double given_value(Job& job, std::string_view word) {
  if (trimmed(left_adjusted(word)) == ".")
    error(job, "\".\" stands for no number here: only individual covariates of a record may be missing.");
  return value(job, word);
}

bool ends_procedure(Job& job) {
  const std::string& first = word(job, 1);
  return first == "PROC" || (first == "STOP" && job.status.lstwrd == 1);
}

double value(Job& job, std::string_view word) {
  std::string_view text = left_adjusted(trimmed(word));
  if (text == "0") return 0.0;
  if (text == "1") return 1.0;
  if (text == ".") return job.status.missrwp;
  if (text.empty()) error(job, "Trying to read value from blank variable.");
  const auto refuse = [&](const char* why) { error(job, "Reading \"" + std::string(word) + "\" :" + why); };
  // Free form: sign, digits with a point among them, exponent with E, D or Q or with its sign alone. It is
  // rewritten with one spelling of the exponent for the library's reader.
  std::string plain;
  std::size_t p = 0;
  if (text[p] == '+' || text[p] == '-') {
    if (text[p] == '-') plain += '-';
    ++p;
  }
  int digits = 0, scale = 0;  // scale: decimal exponent of the first digit that is not 0, from the point
  bool point = false, nonzero = false;
  for (; p < text.size() && (text[p] == '.' || (text[p] >= '0' && text[p] <= '9')); ++p) {
    if (text[p] == '.') {
      if (point) refuse(" more than one decimal point.");
      point = true;
    } else {
      ++digits;
      nonzero = nonzero || text[p] != '0';
      if (nonzero && !point) ++scale;
      if (!nonzero && point) --scale;
    }
    plain += text[p];
  }
  if (digits == 0) refuse(" not a number.");
  if (p < text.size()) {
    const bool letter = std::string_view("eEdDqQ").find(text[p]) != std::string_view::npos;
    if (letter) ++p;
    bool negative = false;
    if (p < text.size() && (text[p] == '+' || text[p] == '-'))
      negative = text[p++] == '-';
    else if (!letter)
      refuse(" not a number.");
    const std::string_view exponent = text.substr(p);
    if (exponent.empty() || exponent.find_first_not_of("0123456789") != std::string_view::npos)
      refuse(" not a number.");
    plain += negative ? "e-" : "e";
    plain += exponent;
    int size = 0;
    for (const char c : exponent) size = std::min(size * 10 + (c - '0'), 1000000);
    scale += negative ? -size : size;
  }
  double x = 0.0;
  const auto [end, code] = std::from_chars(plain.data(), plain.data() + plain.size(), x);
  if (code == std::errc::result_out_of_range) {
    if (scale > 0) refuse(" too large for a number of 64 bits.");
    return plain.front() == '-' ? -0.0 : 0.0;
  }
  if (code != std::errc() || end != plain.data() + plain.size()) refuse(" not a number.");
  return x;
}

void cvtcas(std::string& s) {
  for (char& c : s)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
}

void cvtlcas(std::string& s) {
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
}

std::string translate(std::string_view s, std::string_view from, std::string_view to) {
  std::string copy(s);
  for (char& c : copy)
    if (const std::size_t place = from.find(c); place < to.size()) c = to[place];
  return copy;
}

int findloc_ch(std::span<const Charray> array, std::string_view s) {
  for (std::size_t i = 0; i < array.size(); ++i)
    if (trimmed(array[i]) == trimmed(s)) return static_cast<int>(i) + 1;
  return 0;
}

}  // namespace tarn
