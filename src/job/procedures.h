#pragma once
// The procedures of a deck, from the first page header to the job's last lines.

#include <string_view>

#include "job/job.h"

namespace tarn {

/// Page header, welcome, build line and thread report: all that stands before the first statement.
void open_report(Job& job);

/// Reads the deck from its first statement and runs its procedures. Ends with Stop: "NORMAL EXIT" after
/// `closeout`, or as the fault that was met says.
[[noreturn]] void run_job(Job& job);

/// The welcome lines, on screen and listing.
void welcome(Job& job);

/// "This version was compiled by ..." on the listing. The options are cut at blanks or before "/" into pieces
/// of at most 74 characters; more pieces than max(15, length / 50) are fatal.
void put_build_line(Job& job, std::string_view compiler, std::string_view options);

/// The job's last report; frees the data and closes the streams.
void closeout(Job& job);

}  // namespace tarn
