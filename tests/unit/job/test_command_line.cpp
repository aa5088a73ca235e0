// The command line.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "job/command_line.h"
#include "job/services/report.h"
#include "support/test_job.h"

namespace tarn {
namespace {

using Words = std::vector<std::string>;
namespace fs = std::filesystem;

/// A job on a machine with 8 threads, in a directory of its own, with a deck named "x.inp".
class Workplace {
 public:
  Workplace() : home_(fs::current_path()) {
    std::string pattern = (fs::temp_directory_path() / "command_line_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no directory for the test");
    place_ = pattern;
    fs::current_path(place_);
    write_file("x.inp", "proc stop;\n");
    ::unsetenv("OS");
    set_environment(t, "tarn");
    t.job.status.num_threads = t.job.status.num_max_threads = 8;
  }
  ~Workplace() {
    fs::current_path(home_);
    fs::remove_all(place_);
  }
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;

  static void write_file(const std::string& name, const std::string& text) { std::ofstream(name) << text; }
  static std::string read_file(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(name).rdbuf();
    return text.str();
  }
  /// Reads the arguments; gives the stop text, empty when the job goes on.
  std::string read(Words arguments) {
    return stop_text([&] { read_command_line(t, arguments); });
  }
  Status_module& status() { return t.job.status; }

  Test_job t;

 private:
  fs::path home_, place_;
};

class Command_line : public testing::Test, protected Workplace {};

TEST_F(Command_line, describe_shows_the_options_of_both_procedures) {
  for (const char* word : {"describe", "DESCRIBE", "Describe"}) {
    t.clear();
    EXPECT_EQ(read({"I=x.inp", word}), "NORMAL EXIT");
    EXPECT_TRUE(t.screen_has("\n Options of PROC CHMATRIX\n"));
    EXPECT_TRUE(
        t.screen_has("\n   mixtures=n        components of a mixture\n"
                     "                     range 1 to 256; default 1\n"));
    EXPECT_TRUE(t.screen_has("\n Options of PROC ESTIMATE\n"));
    EXPECT_TRUE(
        t.screen_has("\n   maxfn=n           most evaluations of the likelihood\n"
                     "                     default 2000\n"));
    EXPECT_TRUE(t.screen_has("\n   printvc           accepted, without effect\n   mcmc "));
  }
}

TEST_F(Command_line, describe_is_a_whole_argument) {
  for (const char* word : {"describe.inp", "xdescribe", "descriBe"}) {
    t.clear();
    EXPECT_EQ(read({"I=x.inp", word}), "") << word;
    EXPECT_FALSE(t.screen_has("Options of")) << word;
  }
}

TEST_F(Command_line, switches_in_their_three_spellings) {
  for (const char* spelling : {"NOECHO", "noecho", "Noecho"}) {
    status().noecho = 0;
    EXPECT_EQ(read({"i=x.inp", spelling}), "");
    EXPECT_EQ(status().noecho, 1) << spelling;
  }
  status().noecho = 0;
  EXPECT_EQ(read({"i=x.inp", "nOECHO"}), "");
  EXPECT_EQ(status().noecho, 0);
  status().color_output = 1;
  EXPECT_EQ(read({"i=x.inp", "Nocolor", "DYNAMIC", "show_dt"}), "");
  EXPECT_EQ(status().color_output, 0);
  EXPECT_EQ(status().dynamic_threads, 1);
  EXPECT_EQ(status().show_dt_model, 1);
}

TEST_F(Command_line, one_argument_can_set_several_things) {
  EXPECT_EQ(read({"noecho,nocolor,digits=3 lines=60 i=x.inp"}), "");
  EXPECT_EQ(status().noecho, 1);
  EXPECT_EQ(status().prt_digits, 3);
  EXPECT_EQ(status().maxlin, 60);
}

TEST_F(Command_line, digits_are_taken_into_1_to_7) {
  const auto digits = [&](const char* argument) {
    EXPECT_EQ(read({"i=x.inp", argument}), "");
    return status().prt_digits;
  };
  EXPECT_EQ(digits("digits=0"), 1);
  EXPECT_EQ(digits("digits=9"), 7);
  EXPECT_EQ(digits("DIGITS=5"), 5);
  EXPECT_EQ(digits("Digits=-2"), 1);
  EXPECT_EQ(digits("digits="), 1);
  EXPECT_EQ(digits("digits= 4"), 4);
}

TEST_F(Command_line, a_word_that_is_no_number_is_fatal) {
  EXPECT_EQ(read({"i=x.inp", "digits=two"}), "ERROR EXIT from TARN");
  EXPECT_TRUE(t.screen_has(" ERROR -- Error with integer read of 'two'"));
}

TEST_F(Command_line, lines_are_taken_as_they_are) {
  const auto lines = [&](const char* argument) {
    EXPECT_EQ(read({"i=x.inp", argument}), "");
    return status().maxlin;
  };
  EXPECT_EQ(lines("lines=0"), 0);
  EXPECT_EQ(lines("LINES=25"), 25);
  EXPECT_EQ(lines("Lines=151"), 151);
  EXPECT_EQ(lines("lines=-1"), -1);
}

TEST_F(Command_line, linex_is_not_an_option) {
  EXPECT_EQ(read({"i=x.inp", "linex=60"}), "");
  EXPECT_EQ(status().maxlin, 1000000);
}

TEST_F(Command_line, thread_counts) {
  const auto threads = [&](const char* argument) {
    EXPECT_EQ(read({"i=x.inp", argument}), "");
    return status().num_threads;
  };
  EXPECT_EQ(threads("threads=-1"), 7);
  EXPECT_EQ(threads("THREADS=-8"), 1);
  EXPECT_EQ(threads("Threads=3"), 3);
  EXPECT_EQ(threads("threads=0"), 8);
  EXPECT_EQ(threads("threads=99"), 8);
}

TEST_F(Command_line, a_name_without_a_point_is_given_one) {
  write_file("data.", "proc stop;");
  EXPECT_EQ(read({"i=data", "r=res", "v=var", "o=out"}), "");
  EXPECT_EQ(status().filein, "data.");
  EXPECT_EQ(status().filres, "res.");
  EXPECT_EQ(status().filvcm, "var.");
  EXPECT_EQ(status().filout, "out.");
  EXPECT_TRUE(fs::exists("out."));
  EXPECT_FALSE(fs::exists("res."));
}

TEST_F(Command_line, file_keys_in_both_cases) {
  for (const char* key : {"L=", "O=", "l=", "o="}) {
    EXPECT_EQ(read({"I=x.inp", std::string(key) + "a.out"}), "");
    EXPECT_EQ(status().filout, "a.out");
  }
  EXPECT_EQ(read({"I=x.inp", "R=b.res", "V=c.vcv"}), "");
  EXPECT_EQ(status().filres, "b.res");
  EXPECT_EQ(status().filvcm, "c.vcv");
}

TEST_F(Command_line, the_listing_takes_effect_wherever_it_stands) {
  EXPECT_EQ(read({"i=x.inp", "o=x.out"}), "");
  warn(t, "First.");
  t.job.streams.close(status().sysout);
  EXPECT_EQ(read_file("x.out"), "\n   * *  WARNING  * *   First. \n");
}

TEST_F(Command_line, the_input_file_is_told) {
  EXPECT_EQ(read({"i=x.inp"}), "");
  EXPECT_EQ(t.screen(), " The file is x.inp on unit 4.\n");
  EXPECT_TRUE(t.job.streams.is_open(status().sysin));
}

TEST_F(Command_line, a_missing_input_file) {
  EXPECT_EQ(read({"i=none.inp", "help"}), "Input file error");
  EXPECT_EQ(t.screen_lines(),
            (Words{" The file none.inp does not exist.", "Respecify the I=input_file parameter."}));
}

TEST_F(Command_line, a_directory_is_no_input_file) {
  fs::create_directory("place.d");
  EXPECT_EQ(read({"i=place.d"}), "Input file error");
  EXPECT_EQ(t.screen_lines()[0], " The file place.d cannot be read: Is a directory.");
  EXPECT_EQ(read({"i="}), "Input file error");
}

TEST_F(Command_line, a_listing_that_cannot_be_opened) {
  fs::create_directory("place.d");
  EXPECT_EQ(read({"o=place.d", "i=x.inp"}), "Output file error");
  EXPECT_EQ(t.screen_lines(), (Words{" The file place.d cannot be written: Is a directory.",
                                     "Respecify the O=output_file parameter."}));
  EXPECT_EQ(read({"o=none/x.out", "i=x.inp"}), "Output file error");
}

TEST_F(Command_line, results_file_is_a_whole_argument) {
  for (const char* key : {"json=", "JSON=", "Json="}) {
    EXPECT_EQ(read({"i=x.inp", std::string(key) + "a.jsonl"}), "");
    EXPECT_EQ(status().filjson, "a.jsonl");
    EXPECT_TRUE(t.job.streams.is_open(status().sysjson));
    t.job.streams.close(status().sysjson);
    fs::remove("a.jsonl");
  }
  // The last one counts, and no other is made.
  EXPECT_EQ(read({"json=a", "i=x.inp", "json=b"}), "");
  EXPECT_EQ(status().filjson, "b");
  EXPECT_FALSE(fs::exists("a"));
}

TEST_F(Command_line, no_other_key_is_sought_in_the_name_of_the_results_file) {
  fs::create_directory("o=batch");
  EXPECT_EQ(read({"json=o=batch/help.threads=3", "i=x.inp"}), "");
  EXPECT_EQ(status().filjson, "o=batch/help.threads=3");
  EXPECT_EQ(status().filout, " ");
  EXPECT_EQ(status().batchmode, 0);
  EXPECT_EQ(status().num_threads, 8);
  EXPECT_FALSE(t.screen_has("TARN Files:"));
}

TEST_F(Command_line, key_of_the_results_file_counts_at_the_start_of_an_argument_only) {
  write_file("json=x.deck", "proc stop;");
  for (const char* argument : {"i=json=x.deck", "noechoi=json=x.deck"}) {
    EXPECT_EQ(read({argument}), "");
    EXPECT_EQ(status().filein, "json=x.deck");
    EXPECT_FALSE(t.job.streams.is_open(status().sysjson));
  }
  EXPECT_EQ(read({"i=x.inp", " json=b.jsonl", "jSON=b.jsonl", "json"}), "");
  EXPECT_FALSE(t.job.streams.is_open(status().sysjson));
}

TEST_F(Command_line, a_results_file_that_cannot_be_opened) {
  fs::create_directory("place.d");
  EXPECT_EQ(read({"json=place.d", "i=x.inp"}), "Output file error");
  EXPECT_EQ(t.screen_lines(), (Words{" The file place.d cannot be written: Is a directory.",
                                     "Respecify the JSON=results_file parameter."}));
  EXPECT_EQ(read({"json=none/a.jsonl", "i=x.inp"}), "Output file error");
  EXPECT_EQ(read({"i=x.inp", "json="}), "Output file error");
}

TEST_F(Command_line, the_deck_is_never_overwritten) {
  for (const Words& arguments :
       {Words{"i=x.inp", "o=x.inp"}, Words{"o=./x.inp", "i=x.inp"}, Words{"i=x.inp", "r=x.inp"},
        Words{"v=x.inp", "i=x.inp"}, Words{"json=x.inp", "i=x.inp"}, Words{"i=x.inp", "json=./x.inp"}}) {
    EXPECT_EQ(read(arguments), "Output file error");
    EXPECT_EQ(read_file("x.inp"), "proc stop;\n");
  }
  EXPECT_TRUE(t.screen_has("x.inp is the input file and will not be overwritten."));
}

TEST_F(Command_line, the_results_file_is_no_other_file_of_the_job) {
  for (const Words& arguments :
       {Words{"i=x.inp", "json=a.out", "o=a.out"}, Words{"json=a.", "i=x.inp", "o=a"},
        Words{"i=x.inp", "r=b.res", "json=b.res"}, Words{"i=x.inp", "json=b.v", "v=b.v"}}) {
    t.clear();
    EXPECT_EQ(read(arguments), "Output file error");
    EXPECT_TRUE(t.screen_has(" is another file of this job and will not be overwritten."));
  }
  std::ofstream("kept.vcv") << "numbers";
  EXPECT_EQ(read({"i=x.inp", "rdvc=kept.vcv", "json=./kept.vcv"}), "Output file error");
  EXPECT_EQ(read_file("kept.vcv"), "numbers");
}

TEST_F(Command_line, no_input_file_shows_the_options_once) {
  const auto helps = [&](Words arguments) {
    t.clear();
    EXPECT_EQ(read(std::move(arguments)), "No input file");
    int count = 0;
    for (const std::string& line : t.screen_lines()) count += line == "TARN Files:" ? 1 : 0;
    return count;
  };
  EXPECT_EQ(helps({}), 1);
  EXPECT_EQ(t.screen_lines()[0], " No input file was specified, so TARN job is done.");
  EXPECT_EQ(helps({"help"}), 1);
  EXPECT_EQ(t.screen_lines().back(), " No input file was specified, so TARN job is done.");
}

TEST_F(Command_line, an_argument_that_merely_holds_help_shows_the_options) {
  write_file("myhelp.inp", "proc stop;");
  EXPECT_EQ(read({"i=myhelp.inp"}), "");
  EXPECT_TRUE(t.screen_has("TARN Parameters:"));
}

TEST_F(Command_line, batch_mode_keeps_the_screen_empty) {
  EXPECT_EQ(read({"batch", "i=x.inp", "help"}), "");
  EXPECT_EQ(status().batchmode, 1);
  EXPECT_EQ(status().syscrn, 1);
  EXPECT_EQ(t.job.streams.contents(0), "");
  warn(t, "Unseen.");
  EXPECT_EQ(t.job.streams.contents(0), "");
}

TEST_F(Command_line, batch_mode_counts_from_its_argument_on) {
  EXPECT_EQ(read({"i=x.inp", "batch"}), "");
  EXPECT_EQ(t.job.streams.contents(0), " The file is x.inp on unit 4.\n");
}

TEST_F(Command_line, an_argument_that_does_not_fit_warns_and_is_cut) {
  EXPECT_EQ(read({"i=x.inp", "noecho" + std::string(80000, 'x') + "nocolor"}), "");
  EXPECT_TRUE(t.listing_has("Error number -1 command argument # 2 was longer than receiving string."));
  EXPECT_EQ(status().noecho, 1);
}

TEST_F(Command_line, odd_arguments_do_no_harm) { EXPECT_EQ(read({"", "=", "\xff\x01", "i=x.inp", " "}), ""); }

TEST_F(Command_line, help_without_colour) {
  help(t);
  EXPECT_EQ(
      t.screen_lines(),
      (Words{"TARN Files:", "  i=input_file_name", "  o=output_file_name", "  r=residuals_file_name",
             "  v=variance-covariance_file_name",
             "TARN Parameters:", "  nocolor   - do not use color on output screen",
             "  noecho    - do not echo commands on output screen",
             "  batch     - no output printed to output screen (i.e., batch mode)",
             "  dynamic   - dynamic thread allocation used, otherwise static allocation used",
             "  threads=x - specify the number of threads to be used",
             "               0 means use all available", "              -1 means use all available minus 1",
             "               otherwise use the number specified as x",
             "  digits=x  - number of digits in output after the decimal",
             "  linex=x   - lines to print per page, default is 50",
             "               0 means do not print page headers",
             "  show_dt   - add data type name and number to model name"}));
  EXPECT_EQ(t.listing(), "");
}

TEST(Kept, command_line_help_in_colour_differs) {
  Workplace w;
  w.status().color_output = 1;
  help(w.t);
  const Words lines = w.t.screen_lines();
  ASSERT_EQ(lines.size(), 18u);
  EXPECT_EQ(lines[0], "\033[36mTARN Files:\033[0m");
  EXPECT_EQ(lines[1], "  \033[33mi=input_file_name\033[0m");
  EXPECT_EQ(lines[6], "  \033[33mnocolor\033[0m   - do not use color on output screen");
  EXPECT_EQ(lines[11], "                0 means use all available");
  EXPECT_EQ(lines[12], "               -1 means use all available minus 1");
  EXPECT_EQ(lines[15], "  \033[33mlinex=x\033[0m   - print x lines per page, default is 50");
  EXPECT_EQ(lines[16], "                0 means do not print page headers");
  EXPECT_EQ(lines[17], "  \033[33mshow_dt\033[0m   - add data type name and number to model variable");
}

TEST(Kept, command_line_rdvc_point_goes_to_filvcm) {
  Workplace w;
  EXPECT_EQ(w.read({"i=x.inp", "v=a.vcv", "rdvc=b"}), "");
  EXPECT_EQ(w.status().filvcmonlyrealderiv, "b");
  EXPECT_EQ(w.status().filvcm, "a.vcv.");
  EXPECT_EQ(w.status().onlyrealderiv, 1);
  EXPECT_EQ(w.read({"i=x.inp", "v=a.vcv", "RDVC=b.vcv"}), "");
  EXPECT_EQ(w.status().filvcmonlyrealderiv, "b.vcv");
  EXPECT_EQ(w.status().filvcm, "a.vcv");
}

TEST(Kept, command_line_keys_are_found_anywhere_in_an_argument) {
  Workplace w;
  fs::create_directory("two=x");
  fs::create_directory("x");
  Workplace::write_file("two=x/noecho.inp", "proc stop;");
  EXPECT_EQ(w.read({"i=two=x/noecho.inp"}), "");
  EXPECT_EQ(w.status().filein, "two=x/noecho.inp");
  EXPECT_EQ(w.status().filout, "x/noecho.inp");
  EXPECT_EQ(w.status().noecho, 1);
}

TEST(Environment, files_by_operating_system) {
  ::unsetenv("OS");
  Job unix_job;
  set_environment(unix_job, "/usr/bin/tarn");
  EXPECT_EQ(unix_job.status.osunix, 1);
  EXPECT_EQ(unix_job.status.deletecmd, "rm ");
  EXPECT_EQ(unix_job.status.nullfile, "/dev/null");
  EXPECT_EQ(unix_job.status.filres, "/dev/null");
  EXPECT_EQ(unix_job.status.filvcm, "/dev/null");
  EXPECT_EQ(unix_job.status.exsubdir, " ");
  ::setenv("OS", "Windows_NT", 1);
  Job windows_job;
  set_environment(windows_job, "C:\\Program Files (x86)\\TARN\\tarn.exe");
  EXPECT_EQ(windows_job.status.osunix, 0);
  EXPECT_EQ(windows_job.status.deletecmd, "del");
  EXPECT_EQ(windows_job.status.nullfile, "NUL");
  EXPECT_EQ(windows_job.status.exsubdir, "C:\\progra~2\\TARN\\");
  ::unsetenv("OS");
  Job other;
  set_environment(other, "D:\\bin\\tarn.exe");
  EXPECT_EQ(other.status.exsubdir, "D:\\bin\\");
}

}  // namespace
}  // namespace tarn
