#pragma once
// The command line: options and file keys, the opening of deck and listing, the summary of options.

#include <span>
#include <string>
#include <string_view>

#include "job/job.h"

namespace tarn {

/// Where the job runs: null file and delete command by the environment variable OS, `exsubdir` from the
/// program's path, start values of the file names.
void set_environment(Job& job, std::string_view program_path);

/// Reads the arguments (without the program's path), opens deck and listing, shows the options when they were
/// asked for. Stops with "Input file error", "Output file error" or "No input file" when the job cannot go
/// on.
void read_command_line(Job& job, std::span<const std::string> arguments);

/// An addition of our own: the options of PROC CHMATRIX and PROC ESTIMATE with ranges and defaults on the
/// screen; ends the job as a deck that was run to its end.
[[noreturn]] void describe(Job& job);

/// The summary of options on the screen; with `color_output` some of its words differ.
void help(Job& job);

}  // namespace tarn
