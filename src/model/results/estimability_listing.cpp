#include "model/results/estimability_listing.h"

#include <algorithm>
#include <string>

#include "derived/sections.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"

namespace tarn {
namespace {

constexpr int rows_kept_together = 4;

void open_table(Job& job, std::string_view title, std::string_view heading, std::string_view ruler) {
  put_block(
      job,
      formatted("(/1x,a)", title) + '\n' + formatted("(1x,a)", heading) + '\n' + formatted("(1x,a)", ruler),
      rows_kept_together);
}

/// "    5:Survival 5", as the tables name it.
std::string named(int number, const std::string& label) { return formatted("(i5,':',a)", number, label); }

void write_directions(Job& job, const Estimability& found) {
  const Model_arrays& model = job.model;
  open_table(job, "Directions that the data do not identify:",
             "Direction    Parameter                    Share    Most confounded with",
             "---------  --------------------------  -------  --------------------------");
  for (int d = 1; d <= found.directions.size(); ++d) {
    const Unidentified_direction& direction = found.directions(d);
    const auto name = [&](int number) {
      if (number == 0) return std::string();
      return named(number, direction.of_betas ? model.blabel(number) : model.rlabel(number));
    };
    for (const Confounded& member : direction.members) {
      linchk(job, 1);
      put(job, listing, "(1x,i5,6x,a,t40,f6.1,'%',2x,a,a)", d, name(member.number), 100.0 * member.share,
          name(member.partner), direction.of_betas ? " (betas)" : "");
    }
  }
}

std::string_view words_of(Range_end end) {
  switch (end) {
    case Range_end::lower:
      return "lower end of its range";
    case Range_end::upper:
      return "upper end of its range";
    case Range_end::wall:
      break;
  }
  return "wall of standard deviations";
}

void write_boundaries(Job& job, const Estimability& found, const Estimates& real) {
  open_table(job,
             "Real parameters at a boundary:", "    Parameter                 Estimate      Stands at the",
             "--------------------------  --------------  ---------------------------");
  for (const Real_at_boundary& boundary : found.at_boundary) {
    linchk(job, 1);
    put(job, listing, "(1x,a,t28,2x,a14,2x,a)", named(boundary.real, job.model.rlabel(boundary.real)),
        f14(job, real.estimate(boundary.real)), words_of(boundary.end));
  }
}

std::string_view words_of(const Rests_on& ground) {
  if (ground.direction && ground.boundary) return "on both";
  return ground.direction ? "on what the data do not tell apart" : "on a boundary";
}

}  // namespace

void write_estimability(Job& job, const Estimability& found, const Estimates& real) {
  if (!found.directions.empty()) write_directions(job, found);
  if (found.bend_left_out > 0.0)
    warn(job, "The data may identify some of these directions: a singular value of " +
                  formatted("(1pg0.4)", found.bend_left_out) +
                  " was left out, which is no rounding. Mind the gradient, or NUMPAR.");
  if (!found.at_boundary.empty()) write_boundaries(job, found, real);
  for (const int beta : found.without_information)
    warn(job, "The data hold no information on beta " + adjustfmt(beta) + ":" + job.model.blabel(beta) +
                  "; it has no standard error.");
}

void write_derived_that_rests(Job& job, const List<Derived_values>& derived) {
  struct Line {
    std::string section, row;
    std::string_view rests;
  };
  List<Line> lines;
  std::size_t section_width = 30, row_width = 17;
  for (const Derived_values& values : derived)
    for (int i = 1; i <= values.rests_on.size(); ++i) {
      const Rests_on& ground = values.rests_on(i);
      if (!ground.direction && !ground.boundary) continue;
      std::string row;
      for (int k = 1; k <= values.rows(i).size(); ++k)
        row += std::string(row.empty() ? "" : ", ") +
               std::string(View<const std::string_view>(values.section->label_names)(k)) + ' ' +
               adjustfmt(values.rows(i)(k));
      lines.push_back({std::string(subject(*values.section)), row, words_of(ground)});
      section_width = std::max(section_width, lines.back().section.size());
      row_width = std::max(row_width, row.size());
    }
  if (lines.empty()) return;
  const auto in_columns = [&](std::string section, std::string row, std::string_view rests) {
    section.resize(section_width + 2, ' ');
    row.resize(row_width + 2, ' ');
    return section + row + std::string(rests);
  };
  open_table(job, "Derived values that rest on such real parameters:", in_columns("Section", "Row", "Rests"),
             in_columns(std::string(section_width, '-'), std::string(row_width, '-'), std::string(34, '-')));
  for (const Line& line : lines) {
    linchk(job, 1);
    put(job, listing, "(1x,a)", in_columns(line.section, line.row, line.rests));
  }
}

}  // namespace tarn
