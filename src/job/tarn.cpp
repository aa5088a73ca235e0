// The program: one process runs one deck. The stop text on the error stream tells how it ended; the exit
// status is 0 at every end.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cfenv>
#include <new>
#include <string>
#include <vector>

#include "job/command_line.h"
#include "job/procedures.h"
#include "job/services/fault.h"
#include "job/services/threads.h"
#include "job/services/timing.h"
#include "model/results/results_file.h"

namespace {

constexpr const char* error_exit = "ERROR EXIT from TARN";

void start(tarn::Job& job, int argc, char** argv) {
  const tarn::Clock_reading clocks = tarn::read_clocks();
  job.timing.job_cpu_start = clocks.cpu;
  job.timing.job_count_start = clocks.count;
  job.timing.time_start = tarn::date_and_time();
  tarn::set_environment(job, argc > 0 ? argv[0] : "");
  tarn::default_threads(job);
  const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  tarn::read_command_line(job, arguments);
  tarn::open_report(job);
}

/// Runs the job to its end and gives the stop text.
std::string run_to_end(tarn::Job& job, int argc, char** argv) {
  try {
    start(job, argc, argv);
    tarn::run_job(job);
  } catch (const tarn::Stop& stop) {
    return stop.text;
  } catch (const std::bad_alloc&) {
    job.model = {};
    return error_exit;
  }
}

/// The same, the end told in the results file and all files closed.
std::string run(int argc, char** argv) {
  tarn::Job job;
  const std::string stop_text = run_to_end(job, argc, argv);
  try {
    tarn::end_results(job, stop_text);
  } catch (const std::bad_alloc&) {  // the file ends without its last line, as it does when the machine stops
  }
  job.streams.close_all();
  return stop_text;
}

/// A standard stream that the caller has closed would give its number to the first file opened.
void occupy_standard_streams() {
  for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (::fcntl(number, F_GETFD) == -1 && errno == EBADF) ::open("/dev/null", O_RDWR);
}

void write_stop_text(std::string text) {
  text += '\n';
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count = ::write(STDERR_FILENO, text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) return;
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

}  // namespace

int main(int argc, char** argv) {
  occupy_standard_streams();
  // A reader that goes away or a file that may not grow is a fault of that stream, not the end of the
  // process.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  std::feclearexcept(FE_ALL_EXCEPT);
  try {
    write_stop_text(run(argc, argv));
  } catch (const std::bad_alloc&) {
    write_stop_text(error_exit);
  }
  return 0;
}
