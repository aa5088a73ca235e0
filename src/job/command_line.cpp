#include "job/command_line.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>

#include "data/data_options.h"
#include "job/services/fault.h"
#include "job/services/statement.h"
#include "job/services/template.h"
#include "job/services/threads.h"
#include "model/estimate_options.h"

namespace tarn {

namespace {

using Spellings = std::array<std::string_view, 3>;

/// The three spellings of an option; no other mixture of cases is known.
constexpr Spellings help_option{"HELP", "help", "Help"}, noecho_option{"NOECHO", "noecho", "Noecho"},
    nocolor_option{"NOCOLOR", "nocolor", "Nocolor"}, batch_option{"BATCH", "batch", "Batch"},
    dynamic_option{"DYNAMIC", "dynamic", "Dynamic"}, show_dt_option{"SHOW_DT", "show_dt", "Show_dt"},
    threads_key{"THREADS=", "threads=", "Threads="}, digits_key{"DIGITS=", "digits=", "Digits="},
    lines_key{"LINES=", "lines=", "Lines="}, rdvc_key{"RDVC=", "rdvc=", "Rdvc="};
/// Additions of our own; each is a whole argument, as file names may hold its letters.
constexpr Spellings results_key{"JSON=", "json=", "Json="},
    describe_option{"DESCRIBE", "describe", "Describe"};
constexpr std::array<std::string_view, 4> listing_key{"L=", "O=", "l=", "o="};
constexpr std::array<std::string_view, 2> residual_key{"R=", "r="}, variance_key{"V=", "v="},
    input_key{"I=", "i="};

/// Place behind the first spelling that stands anywhere in the argument; npos when none does.
std::size_t behind(std::string_view argument, std::span<const std::string_view> spellings) {
  for (const std::string_view spelling : spellings)
    if (const std::size_t place = argument.find(spelling); place != std::string_view::npos)
      return place + spelling.size();
  return std::string_view::npos;
}

/// Whether the whole argument is one of the spellings.
bool is(std::string_view argument, std::span<const std::string_view> spellings) {
  return std::find(spellings.begin(), spellings.end(), argument) != spellings.end();
}

bool holds(std::string_view argument, std::span<const std::string_view> spellings) {
  return behind(argument, spellings) != std::string_view::npos;
}

/// The rest of the argument behind a file key, without trailing blanks; false when the key is not in it.
bool rest_behind(std::string_view argument, std::span<const std::string_view> key, std::string& rest) {
  const std::size_t place = behind(argument, key);
  if (place == std::string_view::npos) return false;
  rest = argument.substr(place);
  rest.erase(rest.find_last_not_of(' ') + 1);
  return true;
}

bool has_point(std::string_view name) { return name.find('.') != std::string_view::npos; }

/// A file name behind its key, with the point that a name without one is given.
bool name_behind(std::string_view argument, std::span<const std::string_view> key, std::string& name) {
  if (!rest_behind(argument, key, name)) return false;
  if (!has_point(name)) name += '.';
  return true;
}

/// The number behind a key: text up to its first blank, 2 characters at the least, `most` at the most.
bool number_behind(Job& job, std::string_view argument, std::span<const std::string_view> key,
                   std::size_t most, int& number) {
  const std::size_t place = behind(argument, key);
  if (place == std::string_view::npos) return false;
  std::string text(argument.substr(place, most));
  if (text.size() < 2) text.resize(2, ' ');
  number = ivalue(job, std::string_view(text).substr(0, std::max<std::size_t>(text.find(' '), 2)));
  return true;
}

[[noreturn]] void stop_with(Job& job, const char* stop_text, const std::string& first,
                            const std::string& second) {
  put(job, screen, "(a)", first);
  if (!second.empty()) put(job, screen, "(a)", second);
  job.status.last_message = first.substr(std::min(first.find_first_not_of(' '), first.size()));
  close_files(job);
  stop(stop_text);
}

/// A deck is never overwritten by one of the job's own files.
void refuse_deck_as_output(Job& job, const std::string& name, const std::string& deck) {
  std::error_code code;
  if (std::filesystem::is_regular_file(deck, code) && std::filesystem::equivalent(name, deck, code))
    stop_with(job, "Output file error",
              " The file " + name + " is the input file and will not be overwritten.", "");
}

/// True of an argument that names the results file. It begins with its key and is nothing but that: its text
/// is not searched for other keys, as that of all other arguments is.
bool names_results(std::string_view argument) {
  return std::ranges::any_of(results_key, [&](std::string_view key) { return argument.starts_with(key); });
}

/// The deck may be named by a later argument, and opening an output empties the file.
void refuse_any_deck_as_output(Job& job, const std::string& name, std::span<const std::string> arguments) {
  for (const std::string& argument : arguments) {
    std::string deck;
    if (!names_results(argument) && name_behind(argument, input_key, deck))
      refuse_deck_as_output(job, name, deck);
  }
}

/// Nor is the results file one of the other files of the job, which would be written over each other.
void refuse_other_file_as_results(Job& job, const std::string& name, std::span<const std::string> arguments) {
  std::error_code code;
  for (const std::string& argument : arguments) {
    if (names_results(argument)) continue;
    std::string other;
    const bool named = rest_behind(argument, rdvc_key, other) || name_behind(argument, listing_key, other) ||
                       name_behind(argument, residual_key, other) ||
                       name_behind(argument, variance_key, other);
    if (!named || other.empty()) continue;
    const bool same = other == name || (std::filesystem::is_regular_file(other, code) &&
                                        std::filesystem::equivalent(name, other, code));
    if (same)
      stop_with(job, "Output file error",
                " The file " + name + " is another file of this job and will not be overwritten.",
                "Respecify the JSON=results_file parameter.");
  }
}

/// Opens the results file, if an argument asks for it, before all others: it is to tell of every end.
void open_results(Job& job, std::span<const std::string> arguments) {
  Status_module& status = job.status;
  const auto last = std::find_if(arguments.rbegin(), arguments.rend(), names_results);
  if (last == arguments.rend()) return;
  status.filjson = last->substr(results_key.front().size());
  refuse_any_deck_as_output(job, status.filjson, arguments);
  refuse_other_file_as_results(job, status.filjson, arguments);
  if (!job.streams.open_output(status.sysjson, status.filjson, status.errmsg))
    stop_with(job, "Output file error",
              " The file " + status.filjson + " cannot be written: " + status.errmsg + ".",
              "Respecify the JSON=results_file parameter.");
}

void open_listing(Job& job, std::span<const std::string> arguments) {
  Status_module& status = job.status;
  refuse_any_deck_as_output(job, status.filout, arguments);
  if (!job.streams.open_output(status.sysout, status.filout, status.errmsg))
    stop_with(job, "Output file error",
              " The file " + status.filout + " cannot be written: " + status.errmsg + ".",
              "Respecify the O=output_file parameter.");
}

void open_deck(Job& job) {
  Status_module& status = job.status;
  std::error_code code;
  if (!std::filesystem::exists(status.filein, code))
    stop_with(job, "Input file error", " The file " + status.filein + " does not exist.",
              "Respecify the I=input_file parameter.");
  if (!job.streams.open_input(status.sysin, status.filein, status.errmsg))
    stop_with(job, "Input file error",
              " The file " + status.filein + " cannot be read: " + status.errmsg + ".",
              "Respecify the I=input_file parameter.");
  put(job, screen, "(1X,A,I0,'.')", "The file is " + status.filein + " on unit ", status.sysin);
}

}  // namespace

void set_environment(Job& job, std::string_view program_path) {
  Status_module& status = job.status;
  if (std::getenv("OS") != nullptr) {
    status.deletecmd = "del";
    status.nullfile = "NUL";
  } else {
    status.osunix = 1;
    status.deletecmd = "rm ";
    status.nullfile = "/dev/null";
  }
  if (const std::size_t last = program_path.rfind('\\'); last != std::string_view::npos) {
    status.exsubdir = program_path.substr(0, last + 1);
    if (status.exsubdir == "C:\\Program Files (x86)\\TARN\\") status.exsubdir = "C:\\progra~2\\TARN\\";
  }
  status.filres = status.filvcm = status.nullfile;
}

void read_command_line(Job& job, std::span<const std::string> arguments) {
  Status_module& status = job.status;
  bool help_asked = false;
  open_results(job, arguments);
  for (std::size_t k = 0; k < arguments.size(); ++k) {
    if (names_results(arguments[k])) continue;
    if (arguments[k].size() > MAXCHR)
      warnum(job, "command argument # " + std::to_string(k + 1) + " was longer than receiving string.", -1);
    const std::string_view argument = std::string_view(arguments[k]).substr(0, MAXCHR);
    int number = 0;
    if (is(argument, describe_option)) describe(job);
    if (holds(argument, help_option)) help_asked = true;
    if (holds(argument, noecho_option)) status.noecho = 1;
    if (holds(argument, nocolor_option)) status.color_output = 0;
    if (holds(argument, batch_option)) status.batchmode = 1;
    if (status.batchmode != 0) {
      job.streams.open_null(1);
      status.syscrn = 1;
    }
    if (holds(argument, dynamic_option)) status.dynamic_threads = 1;
    if (holds(argument, show_dt_option)) status.show_dt_model = 1;
    if (number_behind(job, argument, threads_key, MAXCHR, number))
      status.num_threads = thread_rule(number, status.num_max_threads);
    if (number_behind(job, argument, digits_key, MAXCHR, number))
      status.prt_digits = std::clamp(number, 1, 7);
    if (number_behind(job, argument, lines_key, 10, number)) status.maxlin = number;
    if (name_behind(argument, listing_key, status.filout)) open_listing(job, arguments);
    name_behind(argument, residual_key, status.filres);
    name_behind(argument, variance_key, status.filvcm);
    if (rest_behind(argument, rdvc_key, status.filvcmonlyrealderiv)) {
      status.onlyrealderiv = 1;
      // KEPT: when the RDVC name has no point, the point is appended to filvcm. Looks wrong, is required.
      if (!has_point(status.filvcmonlyrealderiv)) status.filvcm += '.';
    }
    if (name_behind(argument, input_key, status.filein)) open_deck(job);
  }
  if (help_asked) help(job);
  if (status.filein.find_first_not_of(' ') == std::string::npos) {
    const std::string_view reason = " No input file was specified, so TARN job is done.";
    put(job, screen, "(a)", reason);
    job.status.last_message = reason.substr(1);
    if (!help_asked) help(job);
    close_files(job);
    stop("No input file");
  }
  for (const std::string& name : {status.filres, status.filvcm})
    refuse_deck_as_output(job, name, status.filein);
}

void describe(Job& job) {
  const auto table = [&job](std::string_view procedure, std::span<const Option_text> options) {
    put(job, screen, "(/1x,a,a)", "Options of ", procedure);
    for (const Option_text& option : options) {
      put(job, screen, "(3x,a,t22,a)", option.option, option.help);
      std::string more = option.range.empty() ? "" : "range " + option.range + "; ";
      more += option.preset.empty() || option.preset == "off" ? "" : "default " + option.preset;
      if (!more.empty()) put(job, screen, "(t22,a)", more);
    }
  };
  table("PROC CHMATRIX", chmatrix_option_texts());
  table("PROC ESTIMATE", estimate_option_texts());
  close_files(job);
  stop("NORMAL EXIT");
}

void help(Job& job) {
  const bool colour = job.status.color_output != 0;
  const auto head = [&](std::string_view text) { put(job, screen, "(a)", coloured(text, Colour::cyan)); };
  const auto option = [&](std::string_view word, std::string_view rest) {
    put(job, screen, "(3a)", "  ", coloured(word, Colour::yellow), rest);
  };
  // KEPT: with colour these lines stand one column further right, and two options below read otherwise.
  const auto more = [&](std::string_view text) {
    put(job, screen, "(3a)", colour ? " " : "", "              ", text);
  };
  head("TARN Files:");
  option("i=input_file_name", "");
  option("o=output_file_name", "");
  option("r=residuals_file_name", "");
  option("v=variance-covariance_file_name", "");
  head("TARN Parameters:");
  option("nocolor", "   - do not use color on output screen");
  option("noecho", "    - do not echo commands on output screen");
  option("batch", "     - no output printed to output screen (i.e., batch mode)");
  option("dynamic", "   - dynamic thread allocation used, otherwise static allocation used");
  option("threads=x", " - specify the number of threads to be used");
  more(" 0 means use all available");
  more("-1 means use all available minus 1");
  more(" otherwise use the number specified as x");
  option("digits=x", "  - number of digits in output after the decimal");
  // "linex" stands so on purpose; the command line takes LINES= only.
  option("linex=x", colour ? "   - print x lines per page, default is 50"
                           : "   - lines to print per page, default is 50");
  more(" 0 means do not print page headers");
  option("show_dt", colour ? "   - add data type name and number to model variable"
                           : "   - add data type name and number to model name");
}

}  // namespace tarn
