#include "job/services/fault.h"

#include <cfenv>

#include "job/services/report.h"
#include "job/services/statement.h"
#include "job/services/template.h"

namespace tarn {

namespace {

// On the screen the coloured head of a warning has one blank less behind it.
constexpr std::string_view listing_head = "  * *  WARNING  * *   ";
constexpr std::string_view screen_head = "  * *  WARNING  * *  ";

std::string padded_label(const char* label) {
  std::string text(label);
  text.resize(15, ' ');
  return text;
}

}  // namespace

void stop(std::string_view text) { throw Stop{std::string(text)}; }

void close_file(Job& job, int number) {
  if (!job.streams.close(number))
    put(job, screen, "(1x,a,i0,a,a)", "Writing on unit ", number, " failed: ", job.streams.fault(number));
}

void close_files(Job& job) {
  const Status_module& status = job.status;
  for (const int number : {status.sysres, status.sysvcm, status.sysout, status.sysin})
    close_file(job, number);
  job.streams.flush_all();
}

void warn(Job& job, std::string_view text) {
  linchk(job, 2);
  put(job, listing, "(/1x,a,a,' ')", listing_head, text);
  job.streams.flush(job.status.sysout);
  put(job, screen, "(/1x,a,a,' ')", coloured(screen_head, Colour::yellow), text);
  job.status.warnings.emplace_back(text);
}

void warnum(Job& job, std::string_view text, int number) {
  linchk(job, 2);
  put(job, listing, "(/1x,a,a,i0,1x,a,' ')", listing_head, "Error number ", number, text);
  job.streams.flush(job.status.sysout);
  put(job, screen, "(/1x,a,a,i0,1x,a,' ')", coloured(screen_head, Colour::yellow), " Error number ", number,
      text);
  job.status.warnings.push_back("Error number " + std::to_string(number) + " " + std::string(text));
}

void error(Job& job, std::string_view text) {
  prtcmd(job);
  put(job, listing, "(/1x,a,a)", "ERROR -- ", text);
  put(job, screen, "( 1x,a,a)", coloured("ERROR -- ", Colour::red), text);
  job.status.last_message = text;
  close_files(job);
  stop("ERROR EXIT from TARN");
}

void read_flags(Job& job, std::string_view text) {
  std::array<bool, 5>& flags = job.status.flags5;
  static constexpr std::array<int, 5> conditions{FE_OVERFLOW, FE_DIVBYZERO, FE_INVALID, FE_UNDERFLOW,
                                                 FE_INEXACT};
  for (std::size_t i = 0; i < flags.size(); ++i) flags[i] = std::fetestexcept(conditions[i]) != 0;
  const std::string sentence_end = " occurred " + std::string(text) + ".";
  if (flags[0]) warn(job, "Numerical overflow" + sentence_end);
  if (flags[1]) warn(job, "Divide by zero" + sentence_end);
  if (flags[3]) warn(job, "Numerical underflow" + sentence_end);
}

void put_flags(Job& job) {
  const Status_module& status = job.status;
  for (std::size_t i = 0; i < status.flags5.size(); ++i)
    put(job, listing, "(5x,a,l)", padded_label(status.labels5[i]), status.flags5[i]);
  put(job, listing, "(5x)");
}

void check_ieee_exceptions(Job& job, std::string_view text, bool verbose) {
  std::array<bool, 5>& flags = job.status.flags5;
  read_flags(job, text);
  if (flags[0] || flags[1] || flags[2] || flags[3]) {
    linchk(job, 6);
    put(job, listing, "(5x,a)", "IEEE flag status " + std::string(text) + ":");
    put_flags(job);
    flags.fill(false);
    std::feclearexcept(FE_ALL_EXCEPT);
  } else if (verbose) {
    put(job, listing, "(1x,a)", "No flags signaling at " + std::string(text) + ".");
  }
}

}  // namespace tarn
