#pragma once
// Warnings, the fatal end, and the floating-point report.

#include <string>
#include <string_view>

#include "job/job.h"

namespace tarn {

/// The one exception of the program: the process is to end with this text on its error stream, status 0.
/// Only main, tests and fuzzers catch it.
struct Stop {
  std::string text;
};

/// Ends the job with a stop text. Nothing is reported and nothing is closed.
[[noreturn]] void stop(std::string_view text);

/// Closes a stream. A file on which some write failed is told on the screen.
void close_file(Job& job, int number);

/// Closes residuals, variance-covariance file, listing and deck and flushes all other streams. A file on
/// which some write failed is told on the screen.
void close_files(Job& job);

/// Reserves 2 lines and writes "  * *  WARNING  * *   " and the text on listing and screen; keeps the text in
/// `warnings`.
void warn(Job& job, std::string_view text);

/// The same with "Error number ", the number and the text.
void warnum(Job& job, std::string_view text, int number);

/// The fatal end: echoes the statement in hand, writes "ERROR -- " and the text on listing and screen, closes
/// the files and stops with "ERROR EXIT from TARN".
[[noreturn]] void error(Job& job, std::string_view text);

/// Reads the floating-point flags into `flags5` and warns of overflow, division by zero and underflow. `text`
/// ends the sentence "Numerical overflow occurred ".
void read_flags(Job& job, std::string_view text);

/// Writes the five lines of `flags5` and an empty one; reserves none.
void put_flags(Job& job);

/// Reports the floating-point conditions met since the last call and clears them, with `text` as above. With
/// `verbose` a line is written also when none is set.
void check_ieee_exceptions(Job& job, std::string_view text, bool verbose = false);

}  // namespace tarn
