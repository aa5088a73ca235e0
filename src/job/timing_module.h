#pragma once
// The timers' record and the clock readings of a job.

#include <array>
#include <cstdint>
#include <string>

namespace tarn {

/// Year, month, day, zone in minutes, hour, minute, second, millisecond.
using Date_time = std::array<int, 8>;

struct Timing_module {
  float timestrt = 0.0f, timestop = 0.0f;
  std::int64_t syscountstrt = 0, syscountstop = 0, count_rate = 1, systime = 0;
  double job_cpu_start = 0.0;
  std::int64_t job_count_start = 0;
  Date_time time_start{};        ///< the first reading of the job
  Date_time wall_clock_start{};  ///< taken when the deck is first read
};

/// Minutes from v1 to v2.
double elaspedminutes(const Date_time& v1, const Date_time& v2);

}  // namespace tarn
