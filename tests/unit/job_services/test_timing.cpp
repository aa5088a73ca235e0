// Clocks and the texts made of them.

#include <gtest/gtest.h>

#include <regex>

#include "job/services/threads.h"
#include "job/services/timing.h"
#include "support/test_job.h"

namespace tarn {
namespace {

TEST(Elaspedminutes, within_a_day_and_across_days) {
  const Date_time noon{2025, 11, 21, 0, 12, 0, 0, 0};
  EXPECT_EQ(elaspedminutes(noon, noon), 0.0);
  EXPECT_DOUBLE_EQ(elaspedminutes(noon, {2025, 11, 21, 0, 13, 1, 30, 500}), 61.0 + 30.5 / 60.0);
  EXPECT_DOUBLE_EQ(elaspedminutes(noon, {2025, 11, 22, 0, 11, 0, 0, 0}), 23.0 * 60.0);
  EXPECT_DOUBLE_EQ(elaspedminutes({2025, 11, 22, 0, 11, 0, 0, 0}, noon), -23.0 * 60.0);
}

TEST(Elaspedminutes, months_and_leap_years) {
  const auto days = [](int y1, int m1, int d1, int y2, int m2, int d2) {
    return elaspedminutes({y1, m1, d1, 0, 0, 0, 0, 0}, {y2, m2, d2, 0, 0, 0, 0, 0}) / 1440.0;
  };
  EXPECT_EQ(days(2024, 2, 28, 2024, 3, 1), 2.0);
  EXPECT_EQ(days(2023, 2, 28, 2023, 3, 1), 1.0);
  EXPECT_EQ(days(1900, 2, 28, 1900, 3, 1), 1.0);
  EXPECT_EQ(days(2000, 2, 28, 2000, 3, 1), 2.0);
  EXPECT_EQ(days(2025, 12, 31, 2026, 1, 1), 1.0);
  EXPECT_EQ(days(2025, 1, 1, 2026, 1, 1), 365.0);
}

TEST(Date_and_time, is_a_date_and_a_time) {
  const Date_time t = date_and_time();
  EXPECT_GE(t[0], 2024);
  EXPECT_TRUE(t[1] >= 1 && t[1] <= 12 && t[2] >= 1 && t[2] <= 31);
  EXPECT_TRUE(t[4] >= 0 && t[4] <= 23 && t[5] >= 0 && t[5] <= 59 && t[6] >= 0 && t[6] <= 60);
  EXPECT_TRUE(t[7] >= 0 && t[7] <= 999);
}

TEST(Date_and_time, texts) {
  const Date_time t{2025, 11, 3, 60, 7, 5, 9, 4};
  EXPECT_EQ(date_text(t), " 3-Nov-2025");
  EXPECT_EQ(clock_text(t), "07:05:09");
  const Clock_words words = clock_words(t);
  EXPECT_EQ(words.hour, "07");
  EXPECT_EQ(words.minute, "05");
  EXPECT_EQ(words.second, "09.004");
}

TEST(Duration, seconds_up_to_300_then_minutes) {
  std::string unit;
  EXPECT_EQ(duration_text(0.0, unit), "0.001");
  EXPECT_EQ(unit, "secs");
  EXPECT_EQ(duration_text(-1.0, unit), "0.001");
  EXPECT_EQ(duration_text(12.3456, unit), "12.346");
  EXPECT_EQ(duration_text(300.0, unit), "300.000");
  EXPECT_EQ(unit, "secs");
  EXPECT_EQ(duration_text(300.6, unit), "5.010");
  EXPECT_EQ(unit, "mins");
  EXPECT_EQ(duration_text(0.0001), "0.001");
}

TEST(End_timing, replaces_its_four_texts) {
  Test_job t;
  start_timing(t);
  std::string cpu = "old", cpuunit, sys = "old", sysunit;
  end_timing(t, cpu, cpuunit, sys, sysunit);
  EXPECT_TRUE(std::regex_match(cpu, std::regex("[0-9]+\\.[0-9]{3}")));
  EXPECT_TRUE(std::regex_match(sys, std::regex("[0-9]+\\.[0-9]{3}")));
  EXPECT_EQ(cpuunit, "secs");
  EXPECT_EQ(sysunit, "secs");
}

TEST(Procedure_time, listing_and_screen) {
  Test_job t;
  put_procedure_time(t, "Title", {0.0, 601.0});
  EXPECT_EQ(t.listing(), "\n For procedure Title CPU Time was 0.001 secs and System Time was 10.017 mins.\n");
  EXPECT_EQ(t.screen(), t.listing());
  EXPECT_EQ(t.job.status.lines, 499998);
}

TEST(Thread_rule, of_eight) {
  EXPECT_EQ(thread_rule(-1, 8), 7);
  EXPECT_EQ(thread_rule(-8, 8), 1);
  EXPECT_EQ(thread_rule(-2147483647 - 1, 8), 1);
  EXPECT_EQ(thread_rule(0, 8), 8);
  EXPECT_EQ(thread_rule(99, 8), 8);
  EXPECT_EQ(thread_rule(8, 8), 8);
  EXPECT_EQ(thread_rule(3, 8), 3);
}

TEST(Set_threads, tells_the_threading_layer) {
  Test_job t;
  default_threads(t);
  const int all = t.job.status.num_max_threads;
  EXPECT_GE(all, 1);
  set_threads(t, 1);
  EXPECT_EQ(t.job.status.num_threads, 1);
  Job other;
  default_threads(other);
  EXPECT_EQ(other.status.num_max_threads, 1);
  set_threads(t, 0);
  default_threads(other);
  EXPECT_EQ(other.status.num_max_threads, all);
}

}  // namespace
}  // namespace tarn
