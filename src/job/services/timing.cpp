#include "job/services/timing.h"

#include <array>
#include <chrono>
#include <ctime>

#include "job/services/report.h"
#include "job/services/template.h"

namespace tarn {

namespace {

constexpr std::int64_t counts_per_second = 1'000'000'000;

std::int64_t system_count() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

double processor_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

/// Day number of a date in the Gregorian calendar, counted from a March so that leap days end a year.
int day_number(const Date_time& t) {
  const int m = (t[1] + 9) % 12;
  const int y = t[0] - m / 10;
  return 365 * y + y / 4 - y / 100 + y / 400 + (306 * m + 5) / 10 + t[2] - 1;
}

double minute_of_day(const Date_time& t) { return t[4] * 60 + t[5] + (t[6] + t[7] / 1000.0) / 60.0; }

}  // namespace

double elaspedminutes(const Date_time& v1, const Date_time& v2) {
  return 1440.0 * (day_number(v2) - day_number(v1)) + (minute_of_day(v2) - minute_of_day(v1));
}

Clock_reading read_clocks() { return {processor_seconds(), system_count()}; }

Seconds operator-(Clock_reading later, Clock_reading earlier) {
  return {later.cpu - earlier.cpu,
          static_cast<double>(later.count - earlier.count) / static_cast<double>(counts_per_second)};
}

Date_time date_and_time() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto part = std::chrono::duration_cast<std::chrono::milliseconds>(
      now - std::chrono::floor<std::chrono::seconds>(now));
  std::tm local{};
  localtime_r(&seconds, &local);
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, static_cast<int>(local.tm_gmtoff / 60),
          local.tm_hour,        local.tm_min,     local.tm_sec,  static_cast<int>(part.count())};
}

std::string date_text(const Date_time& t) {
  static constexpr std::array<const char*, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  return formatted("(i2,'-',a3,'-',i4)", t[2], months[static_cast<std::size_t>(t[1] - 1)], t[0]);
}

std::string clock_text(const Date_time& t) { return formatted("(i2.2,':',i2.2,':',i2.2)", t[4], t[5], t[6]); }

Clock_words clock_words(const Date_time& t) {
  return {formatted("(i2.2)", t[4]), formatted("(i2.2)", t[5]), formatted("(i2.2,'.',i3.3)", t[6], t[7])};
}

std::string duration_text(double amount) {
  const std::string text = formatted("(f14.3)", amount < 0.001 ? 0.001 : amount);
  return text.substr(text.find_first_not_of(' '));
}

std::string duration_text(double seconds, std::string& unit) {
  const bool minutes = seconds > 300.0;
  unit = minutes ? "mins" : "secs";
  return duration_text(minutes ? seconds / 60.0 : seconds);
}

void start_timing(Job& job) {
  job.timing.syscountstrt = system_count();
  job.timing.count_rate = counts_per_second;
  job.timing.timestrt = static_cast<float>(processor_seconds());
}

void end_timing(Job& job, std::string& cpu, std::string& cpuunit, std::string& sys, std::string& sysunit) {
  Timing_module& timing = job.timing;
  timing.syscountstop = system_count();
  timing.timestop = static_cast<float>(processor_seconds());
  timing.systime = timing.syscountstop - timing.syscountstrt;
  cpu = duration_text(static_cast<double>(timing.timestop) - static_cast<double>(timing.timestrt), cpuunit);
  sys = duration_text(static_cast<double>(timing.systime) / static_cast<double>(timing.count_rate), sysunit);
}

void put_procedure_time(Job& job, const std::string& name, Seconds spent) {
  std::string cpu_unit, system_unit;
  const std::string cpu = duration_text(spent.cpu, cpu_unit);
  const std::string system = duration_text(spent.system, system_unit);
  linchk(job, 2);
  put(job, listing | screen, "(/1x,9a)", "For procedure ", name, " CPU Time was ", cpu, " " + cpu_unit,
      " and System Time was ", system, " " + system_unit, ".");
}

void put_step_time(Job& job, std::string_view label, bool apart) {
  std::string cpu, cpuunit, sys, sysunit;
  end_timing(job, cpu, cpuunit, sys, sysunit);
  linchk(job, apart ? 2 : 1);
  if (apart)
    put(job, listing, "(/1x,9a)", label, cpu, " ", cpuunit, " and System Time was ", sys, " ", sysunit, ".");
  else
    put(job, listing, "(1x,9a)", label, cpu, " ", cpuunit, " and System Time was ", sys, " ", sysunit, ".");
}

}  // namespace tarn
