#pragma once
// A job with a deck of one data procedure, and what became of it.

#include <string>
#include <string_view>

#include "data/xmatrx.h"
#include "support/test_job.h"

namespace tarn {

/// Runs the data procedure of "proc chmatrix <options>; <statements> proc stop;".
struct Data_job : Test_job {
  Data_job(std::string_view options, std::string_view statements)
      : Test_job("proc chmatrix " + std::string(options) + "; " + std::string(statements) + " proc stop;") {
    fault = run();
  }

  /// Runs the data procedure in hand; gives the fatal error, or "stop: " and the stop text, or nothing.
  std::string run() {
    try {
      data_procedure(job);
    } catch (const Stop& stopped) {
      const std::string text = listing();
      const std::size_t place = text.rfind("ERROR -- ");
      if (stopped.text != "ERROR EXIT from TARN" || place == std::string::npos)
        return "stop: " + stopped.text;
      return text.substr(place + 9, text.find('\n', place) - place - 9);
    }
    return {};
  }

  bool warned(std::string_view text) const {
    return listing_has("  * *  WARNING  * *   " + std::string(text));
  }
  int warnings() const {
    int count = 0;
    for (const std::string& line : listing_lines()) count += line.find("WARNING") != std::string::npos;
    return count;
  }
  const Data_module& data() const { return job.data; }
  float u(int o, int g = 1, int layer = 1) const { return job.data.u(o, g, layer); }
  float ul(int o, int g = 1, int layer = 1) const { return job.data.ul(o, g, layer); }
  std::string history(int i) const { return std::string(job.data.encounters.history(i).text()); }
  float observed(int i, int g = 1) const { return job.data.encounters.observed(i, g); }
  float lost(int i, int g = 1) const { return job.data.encounters.lost_on_capture(i, g); }
  double covariate(int i, int c = 1) const { return job.data.encounters.ind_covariate(i, c); }
  int records() const { return job.data.encounters.size(); }

  std::string fault;
};

}  // namespace tarn
