#include "model/results/debug_report.h"

#include <algorithm>
#include <string>
#include <vector>

#include "inference/estimates.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "likelihood/blocks/transitions.h"
#include "likelihood/func.h"
#include "likelihood/likelihood_work.h"
#include "model/structure/links.h"
#include "model/structure/pim.h"
#include "numerics/list.h"
#include "numerics/special.h"

namespace tarn {
namespace {

void write_values(Job& job, std::string_view heading, std::span<const double> values) {
  put_block(job, formatted("(1x,a)", heading) + '\n' + formatted("(1x,5g14.6)", values));
}

std::vector<char> shown_cells(const Job& job, History history) {
  std::vector<char> cells;
  for (int o = 1; o <= history.noccas(); ++o) {
    cells.push_back(history.live(o));
    if (job.status.liveeh == 0) cells.push_back(history.dead(o));
  }
  return cells;
}

struct Cell_line {
  double count, prob, lnprob, cumulative;
};

void write_cell(Job& job, const std::string& width, History history, const Cell_line& cell, bool initial) {
  const std::vector<char> cells = shown_cells(job, history);
  const long long count = whole(cell.count);
  linchk(job, 1);
  if (initial)
    put_runtime(job, listing, "(1x," + width + "(a),a,i0,3(1x,a,g14.8),4(1x,a,i0))", cells,
                " Count = ", count, " Cell Prob=", cell.prob, " log(L) = ", cell.lnprob,
                " Cum -2log(L) = ", cell.cumulative, " First capture = ", first1(history),
                " Last Live Cap = ", lastlc(history), " Last Seen = ", last1(history),
                " Last Sampled = ", lastsm(history));
  else
    put_runtime(job, listing, "(1x," + width + "(a),1x,a,i0,3(1x,a,g14.8))", cells, " Count = ", count,
                " Cell Prob = ", cell.prob, " log(L) = ", cell.lnprob, " Cum -2log(L) = ", cell.cumulative);
}

/// The probability of every observed and lost cell, with the running -2 log likelihood.
void write_cells(Job& job, std::span<const double> x, bool initial) {
  Array2<double> observed, lost;
  cell_probabilities(job, x, observed, lost);
  linchk(job, 1);
  put(job, listing, "(1x,a)", initial ? "Initial cell probabilities:" : "Final cell probabilities:");
  const int terms = terms_of_cells(job);
  const Encounter_store& encounters = job.data.encounters;
  const std::string width = adjustfmt((job.status.liveeh != 0 ? 1 : 2) * job.status.noccas);
  double cumulative = 0.0;
  for (int i = 1; i <= encounters.size(); ++i)
    for (int g = 1; g <= job.status.ngrps; ++g) {
      const auto cell = [&](double count, double prob) {
        if (!(count > 0.0)) return;
        const double lnprob = floored_log(prob);
        cumulative -= 2.0 * count * lnprob;
        write_cell(job, width, encounters.history(i), {count, prob, lnprob, cumulative}, initial);
      };
      cell(static_cast<double>(View<const float>(encounters.observed(i))(g)), observed(i, g));
      cell(static_cast<double>(View<const float>(encounters.lost_on_capture(i))(g)), lost(i, g));
    }
  if (terms == 0) return;
  linchk(job, 1);
  put(job, listing, "(1x,a,i0)", "Most terms of a sum over abundance = ", terms);
}

/// Row r of the matrices of Psi of a group is read as row r - 1 is.
bool reads_as_before(const Job& job, int g, int r) {
  const int psi = findpar(job.data, "Psi");
  for (int a = 1; a <= job.status.nstrta; ++a)
    for (int b = 1; b <= job.status.nstrta; ++b) {
      const Pim_view matrix = pim(job, psi, a, b, g);
      if (matrix.given() && matrix.row_read(r) != matrix.row_read(r - 1)) return false;
    }
  return true;
}

/// Whether every transition that has a matrix is given in this row and column.
bool transitions_given(const Job& job, int g, int r, int c) {
  const int psi = findpar(job.data, "Psi");
  for (int a = 1; a <= job.status.nstrta; ++a)
    for (int b = 1; b <= job.status.nstrta; ++b) {
      const Pim_view matrix = pim(job, psi, a, b, g);
      if (b == a || !matrix.given()) continue;
      if (matrix.row_read(r) > matrix.nrows || c > matrix.ncols) return false;
      if (const int number = matrix(r, c); number < 1 || number > job.model.nlogit) return false;
    }
  return true;
}

/// The transitions of every interval by group and row of the matrices: live states, then the dead.
void write_transitions(Job& job, std::span<const double> x) {
  Real_work<double> reals;
  prepare(job, reals);
  tranlg<double>(job, 1, x, reals, 1, 0, nullptr);
  Cell_work<double> cell(job, job.model.likelihood->setting);
  const int n = job.status.nstrta;
  std::vector<double> psi(static_cast<std::size_t>(n) + 1);
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int r = 1; r < job.status.noccas && (r == 1 || !reads_as_before(job, g, r)); ++r)
      for (int c = r; c < job.status.noccas; ++c) {
        // Of what no history reads the deck need not tell.
        if (!transitions_given(job, g, r, c)) continue;
        linchk(job, n + 2);
        put(job, listing, "(1x,a)", "PSIMATRIX");
        for (int a = 1; a <= n + 1; ++a) {
          psi.assign(psi.size(), 0.0);
          if (a <= n)
            fill_transitions(a, n, r, c, g, reals.reals(), cell, psi.data());
          else
            psi.back() = 1.0;
          put(job, listing, "(8x,*(f8.6,2x))", psi);
        }
      }
}

}  // namespace

void debug_before_fit(Job& job, std::span<const double> start) {
  const Model_arrays& model = job.model;
  write_values(job, "Starting beta values:", start);
  Array2<double> values;
  if (!values.allocate(model.nlogit, model.ncovs)) error_of_absent_array(job, "DESIGN");
  report_design(job, start, values);
  linchk(job, 1);
  put(job, listing, "(1x,a)", "Design Matrix Values:");
  List<double> row(model.ncovs);
  for (int r = 1; r <= model.nlogit; ++r) {
    for (int c = 1; c <= model.ncovs; ++c) row(c) = values(r, c);
    put_block(job, formatted("(1x,a,i3,':',200(20f4.0/))", "Row", r, row));
  }
  if (datatype(job.status.dattyp).cell == Cell::chprob178) write_transitions(job, start);
  write_cells(job, start, true);
}

void debug_after_fit(Job& job, std::span<const double> solution) {
  write_values(job, "Parameter Values:", job.model.parm.span());
  write_values(job, "BETAST Values:", solution);
  write_values(job, "BETA Values:", job.model.beta.span());
  write_cells(job, solution, false);
}

void debug_beta_index(Job& job) {
  const Model_arrays& model = job.model;
  const auto estimated = std::count_if(model.bindex.begin(), model.bindex.end(), [](int b) { return b > 0; });
  put_block(job, formatted("(1x,5(/2x,a,\"=\",i0))", "Number of Beta Parameters Estimated", estimated,
                           "Number of Beta Parameters in the model", model.ncovs_nlbetas) +
                     '\n' + formatted("(1x,a)", "Beta Index Array:") + '\n' +
                     formatted("(1x,20i5)", model.bindex));
}

}  // namespace tarn
