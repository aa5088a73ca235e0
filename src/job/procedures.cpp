#include "job/procedures.h"

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "data/xmatrx.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "job/services/template.h"
#include "job/services/threads.h"
#include "job/services/timing.h"
#include "model/estmat.h"

namespace tarn {

namespace {

constexpr int fewest_lines_for_a_start = 30;  ///< a procedure does not start in the last lines of a page

void page_for_a_start(Job& job) {
  if (job.status.lines < fewest_lines_for_a_start) headng(job);
}

std::string user_name(const Job& job) {
  const char* const asked = std::getenv(job.status.osunix != 0 ? "USER" : "USERNAME");
  const std::string length_of = asked == nullptr ? "" : asked;
  if (length_of.empty()) return "unknown user";
  // KEPT: the length is that of USER, the name is read from USERNAME also where only USER is set.
  const char* const filled = std::getenv("USERNAME");
  std::string name = filled == nullptr ? "" : filled;
  name.resize(std::min(name.size(), length_of.size() + 1));
  name.erase(name.find_last_not_of(' ') + 1);
  return name;
}

std::string host_name() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return {};
  return std::string(name.data()).substr(0, 30);
}

std::string working_directory() {
  std::error_code code;
  return std::filesystem::current_path(code).string().substr(0, 200);
}

[[noreturn]] void stop_for_listing(Job& job) {
  job.status.last_message = job.status.filout + ": " + job.streams.fault(job.status.sysout);
  stop("Output file error");
}

/// A listing that cannot be written any more ends the job at the next procedure.
void require_listing(Job& job) {
  job.streams.flush(job.status.sysout);
  if (job.streams.fault(job.status.sysout).empty()) return;
  close_files(job);
  stop_for_listing(job);
}

void data_or_model(Job& job) {
  const std::string& name = word(job, 2);
  if (name == "CHMATRIX" || name == "XMATRIX") {
    data_procedure(job);
  } else if (name == "ESTIM" || name == "ESTIMATE") {
    estmat(job);
  } else if (name == "TITLE") {
    page_for_a_start(job);
    title(job);
  } else {
    error(job, "Unrecognized procedure specified: " + name);
  }
}

[[noreturn]] void end_of_job(Job& job) {
  closeout(job);
  if (!job.streams.fault(job.status.sysout).empty()) stop_for_listing(job);
  stop("NORMAL EXIT");
}

}  // namespace

void welcome(Job& job) {
  const std::string first =
      "Welcome to TARN " + user_name(job) + " on machine " + host_name() + " in subdirectory";
  const std::string second = "  \"" + working_directory() + "\" running file \"" + job.status.filein + "\".";
  for (const std::string& text : {first, second}) put(job, screen | listing, "(1x,a)", text);
}

void put_build_line(Job& job, std::string_view compiler, std::string_view options) {
  constexpr std::size_t widest = 74;
  const std::size_t most = std::max<std::size_t>(15, options.size() / 50);
  std::vector<std::string_view> pieces;
  while (!options.empty()) {
    std::size_t length = options.size();
    if (length > widest) {
      length = options.find_last_of(" /", widest);
      if (length == std::string_view::npos || length == 0) length = widest;
    }
    if (pieces.size() == most)
      error(job, "Size of ibrks exceeded with numbrks = " + adjustfmt(static_cast<long long>(most) + 1));
    pieces.push_back(options.substr(0, length));
    options.remove_prefix(length);
    options.remove_prefix(std::min(options.find_first_not_of(' '), options.size()));
  }
  linchk(job, static_cast<int>(pieces.size()) + 2);
  put(job, listing, "(1x,3a,*(/2x,a))", "This version was compiled by ", compiler,
      " using the options: ", pieces);
}

void open_report(Job& job) {
  Status_module& status = job.status;
  if (status.maxlin > 0 && (status.maxlin < 30 || status.maxlin > 150)) {
    warn(job, "Lines per page set to 50.");
    status.maxlin = 50;
  }
  page_for_a_start(job);
  welcome(job);
  put_build_line(job, TARN_BUILD_COMPILER, TARN_BUILD_OPTIONS);
  tell_threads(job);
  put(job, listing, "(1x,a,i0,a,i0,a)", "This problem will use ", status.num_threads, " of ",
      status.num_max_threads, " possible threads.");
  put(job, listing, "(1x,a)",
      tell_dynamic_threads(status.dynamic_threads != 0) ? "Dynamic thread allocation is used."
                                                        : "Static thread allocation is used.");
}

void run_job(Job& job) {
  Status_module& status = job.status;
  std::fill(status.string.begin(), status.string.end(), ' ');
  job.timing.wall_clock_start = date_and_time();
  fillsg(job);
  getcmd(job);
  for (;;) {
    const Clock_reading start = read_clocks();
    require_listing(job);
    if (word(job, 1) == "STOP") {
      status.indent = 1;
      end_of_job(job);
    }
    if (word(job, 1) != "PROC") error(job, "Unrecognized input.");
    status.indent = 1;
    if (status.lstwrd > 2) {
      status.debug = word(job, 3) == "DEBUG" ? 1 : 0;
      status.debugsa = word(job, 3) == "DEBUGSA" ? 1 : 0;
    }
    page_for_a_start(job);
    const std::string name = word_as_typed(job, 2);
    if (word(job, 2) == "STOP") end_of_job(job);
    data_or_model(job);
    put_procedure_time(job, name, read_clocks() - start);
  }
}

void closeout(Job& job) {
  prtcmd(job);
  check_ieee_exceptions(job, "during final processing");
  const Seconds spent = read_clocks() - Clock_reading{job.timing.job_cpu_start, job.timing.job_count_start};
  put(job, listing | screen, "(/1x,5a)", "For this job, CPU Time in mins was ",
      duration_text(spent.cpu / 60.0), " and System Time in mins was ", duration_text(spent.system / 60.0),
      ".");
  const Date_time now = date_and_time();
  const Clock_words first = clock_words(job.timing.time_start), last = clock_words(now);
  linchk(job, 2);
  put(job, listing | screen, "(/2(a,a,':',a,':',a))", "     Time Start = ", first.hour, first.minute,
      first.second, "   Time End = ", last.hour, last.minute, last.second);
  put(job, listing | screen, "(/1x,5a)", "Wall Clock Time in mins for this job was ",
      duration_text(elaspedminutes(job.timing.wall_clock_start, now)), ".");
  put(job, listing | screen, "(/1x,3(a,i0))", "Maximum of ", job.status.max_word_used, " words used.");
  put(job, listing, "(//10x,a)", "E X E C U T I O N   S U C C E S S F U L");
  job.data = {};
  close_files(job);
  if (job.status.batchmode != 0) job.streams.close(job.status.syscrn, Close::remove);
}

}  // namespace tarn
