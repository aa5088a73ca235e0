// The procedure loop, welcome, build line, closeout.

#include <gtest/gtest.h>

#include <cfenv>
#include <cstdlib>
#include <regex>

#include "job/procedures.h"
#include "job/services/report.h"
#include "job/services/timing.h"
#include "support/test_job.h"

namespace tarn {
namespace {

using Words = std::vector<std::string>;

std::string run(Test_job& t, std::string_view deck) {
  std::feclearexcept(FE_ALL_EXCEPT);
  t.job.timing.time_start = date_and_time();
  t.open(deck);
  return stop_text([&] { run_job(t); });
}

int count_of(const std::string& text, std::string_view part) {
  int count = 0;
  for (std::size_t p = text.find(part); p != std::string::npos; p = text.find(part, p + 1)) ++count;
  return count;
}

TEST(Run_job, proc_stop_ends_the_job) {
  Test_job t;
  EXPECT_EQ(run(t, "proc stop;"), "NORMAL EXIT");
  const Words lines = t.listing_lines();
  ASSERT_EQ(lines.size(), 12u) << t.listing();
  EXPECT_EQ(lines[0], " INPUT --- proc stop;");
  EXPECT_EQ(lines[1], "");
  EXPECT_TRUE(std::regex_match(lines[2],
                               std::regex(" For this job, CPU Time in mins was [0-9]+\\.[0-9]{3} and System "
                                          "Time in mins was [0-9]+\\.[0-9]{3}\\.")))
      << lines[2];
  EXPECT_EQ(lines[3], "");
  EXPECT_TRUE(
      std::regex_match(lines[4], std::regex("     Time Start = [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}   "
                                            "Time End = [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}")))
      << lines[4];
  EXPECT_EQ(lines[5], "");
  EXPECT_EQ(lines[6], " Wall Clock Time in mins for this job was 0.001.");
  EXPECT_EQ(lines[7], "");
  EXPECT_EQ(lines[8], " Maximum of 2 words used.");
  EXPECT_EQ(lines[9] + lines[10], "");
  EXPECT_EQ(lines[11], "          E X E C U T I O N   S U C C E S S F U L");
  EXPECT_FALSE(t.screen_has("S U C C E S S"));
  EXPECT_TRUE(t.screen_has(" Maximum of 2 words used.\n"));
  EXPECT_FALSE(t.job.streams.is_open(t.job.status.sysin));
  EXPECT_FALSE(t.job.streams.is_open(t.job.status.sysout));
}

TEST(Closeout, two_lines_at_the_foot_of_a_page_hold_the_times) {
  const auto header_in_front_of_times = [](int lines) {
    Test_job t;
    t.job.status.maxlin = 50;
    t.job.status.lines = lines;
    t.job.timing.time_start = date_and_time();
    std::feclearexcept(FE_ALL_EXCEPT);
    closeout(t);
    const std::string listing = t.listing();
    const std::size_t header = listing.find("Program  TARN");
    EXPECT_GT(header, listing.find("For this job"));
    return header < listing.find("Time Start");
  };
  EXPECT_FALSE(header_in_front_of_times(2));
  EXPECT_TRUE(header_in_front_of_times(1));
}

TEST(Run_job, a_bare_stop_ends_the_job) {
  Test_job t;
  EXPECT_EQ(run(t, "stop;"), "NORMAL EXIT");
}

TEST(Run_job, a_title_and_its_timing_line) {
  Test_job t;
  EXPECT_EQ(run(t, "proc Title My study;\nproc stop;\n"), "NORMAL EXIT");
  const std::regex line(
      "\n For procedure Title CPU Time was [0-9.]+ secs and System Time was [0-9.]+ secs\\.\n");
  EXPECT_TRUE(std::regex_search(t.listing(), line)) << t.listing();
  EXPECT_TRUE(std::regex_search(t.screen(), line));
  EXPECT_EQ(t.job.status.titstr, "Title My study");
  EXPECT_EQ(count_of(t.listing(), "For procedure"), 1);
}

TEST(Run_job, unrecognized_input) {
  Test_job t;
  EXPECT_EQ(run(t, "title x; proc stop;"), "ERROR EXIT from TARN");
  EXPECT_TRUE(t.listing_has(" INPUT --- title x;\n\n ERROR -- Unrecognized input.\n"));
}

TEST(Run_job, unrecognized_procedure) {
  Test_job t;
  EXPECT_EQ(run(t, "proc fly away; proc stop;"), "ERROR EXIT from TARN");
  EXPECT_TRUE(t.listing_has(" ERROR -- Unrecognized procedure specified: FLY\n"));
}

TEST(Run_job, a_procedure_without_a_name) {
  Test_job t;
  EXPECT_EQ(run(t, "proc;"), "ERROR EXIT from TARN");
  EXPECT_TRUE(t.listing_has("Index '2' of dimension 1 of array 'wordss' above upper bound of 1"));
}

TEST(Run_job, debug_switches_follow_the_third_word) {
  Test_job t;
  run(t, "proc title debug; proc title DEBUGSA; proc stop;");
  EXPECT_EQ(t.job.status.debug, 0);
  EXPECT_EQ(t.job.status.debugsa, 1);
  Test_job u;
  run(u, "proc title debug; proc title; proc stop;");
  EXPECT_EQ(u.job.status.debug, 1);  // two words leave it as it was
}

TEST(Run_job, a_procedure_never_starts_in_the_last_lines_of_a_page) {
  Test_job t;
  t.job.status.maxlin = 50;
  t.job.status.lines = 29;
  run(t, "proc stop;");
  EXPECT_EQ(count_of(t.listing(), "Program  TARN"), 1);
  Test_job u;
  u.job.status.maxlin = 50;
  u.job.status.lines = 30;
  run(u, "proc stop;");
  EXPECT_EQ(count_of(u.listing(), "Program  TARN"), 0);
}

TEST(Run_job, an_empty_deck) {
  Test_job t;
  EXPECT_EQ(run(t, ""), "ERROR EXIT from TARN");
  EXPECT_TRUE(t.listing_has(" ERROR -- Length of command exceeded MAXCHR/2 characters.\n"));
}

TEST(Run_job, floating_point_conditions_are_told_at_the_end) {
  Test_job t;
  t.open("proc stop;");
  std::feraiseexcept(FE_OVERFLOW);
  EXPECT_EQ(stop_text([&] { run_job(t); }), "NORMAL EXIT");
  EXPECT_TRUE(t.listing_has("Numerical overflow occurred during final processing."));
}

TEST(Run_job, a_full_disk_under_the_listing) {
  Test_job t;
  std::string errmsg;
  ASSERT_TRUE(t.job.streams.open_output(t.job.status.sysout, "/dev/full", errmsg));
  EXPECT_EQ(run(t, "proc title a; proc title b; proc stop;"), "Output file error");
  EXPECT_TRUE(t.screen_has(" Writing on unit 6 failed: No space left on device")) << t.screen();
}

TEST(Run_job, batch_mode_closes_its_screen) {
  Test_job t;
  t.job.status.batchmode = 1;
  t.job.streams.open_null(1);
  t.job.status.syscrn = 1;
  EXPECT_EQ(run(t, "proc stop;"), "NORMAL EXIT");
  EXPECT_FALSE(t.job.streams.is_open(1));
}

/// A job before its report, with the stated defaults.
struct Report : Test_job {
  explicit Report(int maxlin = 50) {
    job.status.maxlin = maxlin;
    job.status.lines = job.status.npage = 0;
    job.status.filein = "x.inp";
    job.status.num_threads = job.status.num_max_threads = 2;
  }
};

TEST(Open_report, lines_per_page) {
  const auto page_length = [](int maxlin) {
    Report t(maxlin);
    open_report(t);
    const bool warned = t.listing_has("* *  WARNING  * *   Lines per page set to 50. ");
    EXPECT_EQ(warned, t.job.status.maxlin != maxlin);
    return t.job.status.maxlin;
  };
  EXPECT_EQ(page_length(25), 50);
  EXPECT_EQ(page_length(29), 50);
  EXPECT_EQ(page_length(30), 30);
  EXPECT_EQ(page_length(150), 150);
  EXPECT_EQ(page_length(151), 50);
  EXPECT_EQ(page_length(0), 0);
  EXPECT_EQ(page_length(-5), -5);
}

TEST(Open_report, without_paging_one_header) {
  Report t(0);
  open_report(t);
  t.open("proc title a; proc title b; proc stop;");
  stop_text([&] { run_job(t); });
  EXPECT_EQ(count_of(t.listing(), "Program  TARN"), 1);
}

TEST(Open_report, its_lines_in_order) {
  Report t;
  open_report(t);
  const std::string text = t.listing();
  std::size_t place = 0;
  for (const char* part :
       {"Program  TARN", "\n Welcome to TARN ", " in subdirectory\n   \"", "\" running file \"x.inp\".\n",
        "\n This version was compiled by ", " using the options: \n  ",
        "\n This problem will use 2 of 2 possible threads.\n", " Static thread allocation is used.\n"}) {
    const std::size_t next = text.find(part, place);
    ASSERT_NE(next, std::string::npos) << part << " in\n" << text;
    place = next;
  }
  EXPECT_TRUE(t.screen_has(" Welcome to TARN "));
  EXPECT_FALSE(t.screen_has("This version"));
}

TEST(Open_report, dynamic_threads) {
  Report t;
  t.job.status.dynamic_threads = 1;
  open_report(t);
  EXPECT_TRUE(t.listing_has(" Dynamic thread allocation is used.\n"));
  Report u;
  open_report(u);
  EXPECT_TRUE(u.listing_has(" Static thread allocation is used.\n"));
}

TEST(Welcome, unknown_user) {
  ::unsetenv("USER");
  ::setenv("USERNAME", "ann", 1);
  Report t;
  welcome(t);
  EXPECT_EQ(t.listing().rfind(" Welcome to TARN unknown user on machine ", 0), 0u);
  EXPECT_EQ(t.listing(), t.screen());
  ::unsetenv("USERNAME");
}

TEST(Kept, welcome_takes_the_name_from_username_when_user_was_asked) {
  ::setenv("USER", "bob", 1);
  ::unsetenv("USERNAME");
  Report t;
  welcome(t);
  EXPECT_EQ(t.listing().rfind(" Welcome to TARN  on machine ", 0), 0u) << t.listing();
  ::setenv("USERNAME", "annabel", 1);
  t.clear();
  welcome(t);
  EXPECT_EQ(t.listing().rfind(" Welcome to TARN anna on machine ", 0), 0u)
      << t.listing();  // length of USER, and 1
  ::unsetenv("USERNAME");
  ::unsetenv("USER");
}

TEST(Build_line, options_break_at_blanks) {
  Test_job t;
  std::string options;
  for (int i = 0; i < 12; ++i) options += "-option" + std::to_string(100 + i) + " ";
  put_build_line(t, "a compiler", options);
  const Words lines = t.listing_lines();
  ASSERT_EQ(lines.size(), 4u);  // two pieces, and the empty line that the repeated group begins
  EXPECT_EQ(lines[0], " This version was compiled by a compiler using the options: ");
  EXPECT_EQ(lines[1], "  -option100 -option101 -option102 -option103 -option104 -option105");
  EXPECT_EQ(t.job.status.lines, 500000 - 4);
}

TEST(Build_line, options_break_before_a_slash_or_where_they_must) {
  Test_job t;
  put_build_line(t, "c", "/" + std::string(49, 'a') + "/" + std::string(99, 'b'));
  EXPECT_EQ(t.listing_lines(),
            (Words{" This version was compiled by c using the options: ", "  /" + std::string(49, 'a'),
                   "  /" + std::string(73, 'b'), "  " + std::string(26, 'b'), ""}));
  t.clear();
  put_build_line(t, "c", "");
  EXPECT_EQ(t.listing_lines().size(), 2u);
}

TEST(Build_line, more_pieces_than_the_table_holds) {
  Test_job t;
  std::string options;
  for (int i = 0; i < 40; ++i) options += std::string(38, 'x') + " ";
  EXPECT_EQ(error_of(t, [&] { put_build_line(t, "c", options); }),
            "Size of ibrks exceeded with numbrks = 32");
}

}  // namespace
}  // namespace tarn
