#include "job/services/report.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "job/services/statement.h"
#include "job/services/template.h"
#include "job/services/timing.h"

namespace tarn {

namespace {

std::string padded(std::string s, std::size_t width) {
  s.resize(width, ' ');
  return s;
}

}  // namespace

void headng(Job& job) {
  Status_module& status = job.status;
  if (status.maxlin < 1 && status.npage != 0) return;
  status.lines = status.maxlin - 4;
  ++status.npage;
  const std::string control(1, status.npage == 1 ? ' ' : status.pagchr);
  const Date_time now = date_and_time();
  status.datstr = padded(date_text(now), 15);
  status.timstr = padded(clock_text(now), 10);
  put(job, listing, "(/a,a,a/1x,a,2x,a12,a10,1x,\" Page\",i5.3)", control,
      "Program  TARN  - Survival Rate Estimation with ", "Capture-Recapture Data", status.verson,
      status.datstr, status.timstr, status.npage);
  if (!status.titstr.empty()) {
    if (status.maxlin >= 1) --status.lines;
    put(job, listing, "(1x,a)", status.titstr);
  }
  static constexpr auto rule = [] {
    std::array<std::string_view, 38> pieces{};
    pieces.fill(" -");
    return pieces;
  }();
  put(job, listing, "(38a)", rule);
  put(job, listing, "(\" \")");
  status.newpag = 1;
}

void linchk(Job& job, int n) {
  Status_module& status = job.status;
  if (status.maxlin < 1) return;
  status.newpag = 0;
  if (n > status.lines) headng(job);
  status.lines -= n;
}

void put_lines(Job& job, std::string_view text) {
  for (bool more = true; more;) {
    const std::size_t end = text.find('\n');
    linchk(job, 1);
    put(job, listing, "(a)", text.substr(0, end));
    more = end != std::string_view::npos;
    if (more) text.remove_prefix(end + 1);
  }
}

void put_block(Job& job, std::string_view text, int further) {
  const Status_module& status = job.status;
  const auto lines = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1 + further;
  const int page = status.maxlin - 4 - (status.titstr.empty() ? 0 : 1);
  if (status.maxlin >= 1 && lines > page) {
    put_lines(job, text);
    linchk(job, further);
    return;
  }
  linchk(job, lines);
  put(job, listing, "(a)", text);
}

void title(Job& job) {
  const std::string_view text = statement_text(job);
  const std::size_t upper = text.find("TITLE"), lower = text.find("title");
  const std::size_t keyword = std::min(upper, lower);
  // One character behind the keyword is dropped unseen.
  // KEPT: a keyword in another spelling is not found, and the text is taken from the statement's sixth
  // character.
  const std::size_t first = keyword == std::string_view::npos ? 5 : keyword + 6;
  const std::size_t last = text.empty() ? 0 : text.size() - 1;  // the terminator
  std::string_view title_text = first < last ? text.substr(first, last - first) : std::string_view();
  while (!title_text.empty() && title_text.front() == ' ') title_text.remove_prefix(1);
  while (!title_text.empty() && title_text.back() == ' ') title_text.remove_suffix(1);
  job.status.titstr = title_text;
  getcmd(job);
}

void sectionhead(Job& job, std::string_view text, int width, int skip) {
  const int indent = std::max(1, (width - static_cast<int>(text.size())) / 2);
  std::string& formt = job.status.formt;
  formt = "(";
  if (job.status.newpag != 0)
    job.status.newpag = 0;
  else
    formt += " " + std::string(static_cast<std::size_t>(std::clamp(skip, 0, 9)), '/');
  formt += adjustfmt(indent) + "x,a)";
  put_runtime(job, listing, formt, text);
}

std::string f14(const Job& job, double x) {
  static constexpr std::array<Template<double>, 7> fixed{"(f10.1)", "(f10.2)", "(f10.3)", "(f10.4)",
                                                         "(f10.5)", "(f10.6)", "(f10.7)"};
  static constexpr std::array<Template<double>, 7> general{"(g14.1e2)", "(g14.2e2)", "(g14.3e2)", "(g14.4e2)",
                                                           "(g14.5e2)", "(g14.6e2)", "(g14.7e2)"};
  static constexpr std::array<Template<double>, 7> general_tiny{
      "(g14.1e3)", "(g14.2e3)", "(g14.3e3)", "(g14.4e3)", "(g14.5e3)", "(g14.6e3)", "(g14.7e3)"};
  const int digits = std::clamp(job.status.prt_digits, 1, 7);
  const auto d = static_cast<std::size_t>(digits);
  if (std::isnan(x)) return "Not a Number  ";
  if (std::isinf(x)) return formatted("(a14)", x < 0.0 ? "-Infinity" : "Infinity");
  if (x == 0.0) return std::string(8 - d, ' ') + "0." + std::string(d, '0') + "    ";
  const double m = std::fabs(x);
  // KEPT: `digits` counts decimals of a number below 10, so the fixed form shows one digit more than was
  // asked for.
  if (m >= 0.001) {
    int decimals = m >= 1.0 ? digits - static_cast<int>(std::log10(m)) : digits;
    // A negative number that rounds up to the next power of ten has one digit more than its logarithm tells.
    for (; decimals >= 1; --decimals) {
      const std::string text = formatted(fixed[static_cast<std::size_t>(decimals - 1)], x);
      if (text.find('*') == std::string::npos) return text + "    ";
    }
  }
  // KEPT: from 1e99 on the two exponent digits do not suffice and the field shows asterisks.
  return formatted(m < 1e-100 ? general_tiny[d - 1] : general[d - 1], x);
}

std::string digits_of(const Job& job, double x) {
  const std::string shown = f14(job, x);
  const std::size_t first = shown.find_first_not_of(' ');
  return shown.substr(first, shown.find_last_not_of(' ') - first + 1);
}

long long whole(double count) {
  constexpr double largest = 1e18;
  return std::isnan(count) ? 0 : static_cast<long long>(std::clamp(count, -largest, largest));
}

std::string adjustfmt(long long n) { return std::to_string(n); }

void outtext(Job& job, std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  const bool colour = job.status.color_output != 0;
  std::string line(text.size() + 2, '\b');
  if (colour) line += "\033[36m";
  line += text;
  line += ' ';
  if (colour) line += "\033[0m";
  job.streams.write(job.status.syscrn, line);
  job.streams.flush(job.status.syscrn);
}

}  // namespace tarn
