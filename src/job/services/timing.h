#pragma once
// The clocks of a job: processor time, system clock, date and time, and the texts made of them.

#include <cstdint>
#include <string>
#include <string_view>

#include "job/job.h"

namespace tarn {

/// Both clocks at one moment; only differences have a meaning.
struct Clock_reading {
  double cpu = 0.0;        ///< processor seconds
  std::int64_t count = 0;  ///< system clock
};

/// Time between two readings, in seconds of both clocks.
struct Seconds {
  double cpu = 0.0;
  double system = 0.0;
};

Clock_reading read_clocks();
Seconds operator-(Clock_reading later, Clock_reading earlier);

/// Local date and time; the zone is in minutes east of Greenwich.
Date_time date_and_time();
/// "21-Nov-2025" with the day in two columns.
std::string date_text(const Date_time& t);
/// "07:05:09".
std::string clock_text(const Date_time& t);

/// Hours, minutes and seconds of a time of day as they stand in the job's last lines: "07", "05", "09.004".
struct Clock_words {
  std::string hour, minute, second;
};
Clock_words clock_words(const Date_time& t);

/// A duration through "(f14.3)", left-adjusted; nothing below 0.001 is shown.
std::string duration_text(double amount);
/// The same in seconds, or above 300 seconds in minutes; `unit` becomes "secs" or "mins".
std::string duration_text(double seconds, std::string& unit);

/// Starts the timer of a step of a procedure.
void start_timing(Job& job);
/// Reads it: processor time and system time since `start_timing`, each with its unit.
void end_timing(Job& job, std::string& cpu, std::string& cpuunit, std::string& sys, std::string& sysunit);

/// Reads the timer and writes "{label}0.010 secs and System Time was 0.010 secs." on the listing, behind an
/// empty line when `apart` is set.
void put_step_time(Job& job, std::string_view label, bool apart = false);

/// Writes a procedure's timing line on listing and screen. `name` is the procedure's name as typed.
void put_procedure_time(Job& job, const std::string& name, Seconds spent);

}  // namespace tarn
