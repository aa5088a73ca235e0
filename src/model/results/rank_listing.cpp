#include "model/results/rank_listing.h"

#include <algorithm>
#include <string>
#include <vector>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "job/services/timing.h"
#include "numerics/special.h"

namespace tarn {
namespace {

/// "Number of Estimated Parameters {name} = 4" and its likes, closed by ten blanks.
void write_count(Job& job, const std::string& label, int count) {
  linchk(job, 1);
  put(job, listing, "(1x,a,a,a,i0,a)", label, job.model.modnam, " = ", count, "          ");
  put(job, screen, "(3x,a,a,a,i0,a)", label, job.model.modnam, " = ", count, "          ");
}

void write_gap(Job& job, const List<double>& s, const Gap& gap) {
  const Status_module& status = job.status;
  if (gap.max_at > 0) {
    linchk(job, 1);
    put(job, listing, "(1x,a,1pg0.4,2(a,1x,\"(\",i0,\"/\",i0,\")\",\" = \",1pg0.4))",
        "Ratio Threshold = ", status.ratiothresh, " Max Gap", gap.max_at, gap.max_at + 1, gap.max,
        " Next Max Gap", gap.next_at, gap.next_at + 1, gap.next);
  }
  if (status.debug != 0) {
    put_lines(job, formatted("(1x,a,a,a)", "Ratios of S Vector ", job.model.modnam, ":"));
    std::vector<Item> items;
    for (int i = 1; i < s.size(); ++i) {
      items.push_back(item(i));
      items.push_back(item(i + 1));
      items.push_back(item(quotient(s(i), s(i + 1))));
    }
    put_lines(job, formatted_runtime(job, "(5(3x,i0,'/',i0,2x,g14.7))", std::span<const Item>(items)));
  }
  write_count(job, "Gap Method for Num. of Estimated Parameters ", gap.count);
}

void write_last_values(Job& job, double largest, View<const double> x) {
  const Model_arrays& model = job.model;
  std::string text =
      formatted("(1x,a,1pg12.5)", "ERROR -- Numerical convergence never reached, with maximum G = ", largest);
  text += '\n' + formatted("(1x,a)", "Last Beta Parameter Values:");
  for (int i = 1; i <= model.ncovs_nlbetas; ++i) {
    const int position = model.bindex(i);
    const double beta = position > 0 ? x(position) : model.beta(i);
    text += '\n' + formatted("(1x,a,g15.7)", model.blabel(i), beta);
  }
  text += '\n' + formatted("(1x,a)", "Last Real Parameter Values:");
  for (int i = 1; i <= model.nlogit; ++i)
    text += '\n' + formatted("(1x,a,g15.7)", model.rlabel(i), model.parm(i));
  put_block(job, text);
}

}  // namespace

void write_gradient(Job& job, const Gradient& gradient) {
  const std::string elements = formatted("(1x,a,a,a)", "Gradient ", job.model.modnam, ":") + '\n' +
                               formatted("(5(1x,1pg12.5))", gradient.g);
  const std::string largest =
      formatted("(1x,a,a,a,1pg12.5)", "Maximum ABS(G) ", job.model.modnam, " = ", gradient.largest);
  put_block(job, elements + '\n' + largest);
  if (job.status.debug != 0) put(job, screen, "(a)", elements);
  put(job, screen, "(a)", largest);
}

void judge_gradient(Job& job, const Gradient& gradient, std::span<const double> x) {
  switch (convergence(gradient)) {
    case Convergence::none:
      write_last_values(job, gradient.largest, x);
      error(job, "Numerical convergence never reached.");
    case Convergence::suspect:
      warn(job, "Numerical convergence suspect.");
      break;
    case Convergence::good:
      break;
  }
}

void write_jacobian(Job& job, const Jacobian_count& count) {
  const std::string& modnam = job.model.modnam;
  if (count.info != 0) warnum(job, "returned from DSVDC in JACOBIAN.", count.info);
  put_block(job, formatted("(1x,a,a,a)", "Jacobian S Vector ", modnam, ":") + '\n' +
                     formatted("(1x,5g14.7)", count.s));
  std::string cpu_unit, system_unit;
  const std::string cpu = duration_text(count.seconds.cpu, cpu_unit),
                    system = duration_text(count.seconds.system, system_unit);
  linchk(job, 1);
  put(job, listing, "(1x,9a)", "Jacobian Time to compute number of parameters was ", cpu, " ", cpu_unit,
      " and System Time was ", system, " ", system_unit, ".");
  const Gap& gap = count.gap;
  if (gap.max_at > 0) {
    linchk(job, 1);
    put(job, listing, "(1x,a,g14.7,2(a,1x,'(',i0,'/',i0,') = ',g14.7))",
        "Ratio Threshold = ", job.status.ratiothresh, "  Max Gap", gap.max_at, gap.max_at + 1, gap.max,
        "  Next Max Gap", gap.next_at, gap.next_at + 1, gap.next);
  }
  linchk(job, 1);
  put(job, listing, "(1x,a,a,a,i0)", "Jacobian number of estimated Parameters ", modnam, " = ", gap.count);
}

void write_singular_values(Job& job, const Rank& rank) {
  if (rank.info != 0) warnum(job, "returned from DSVDC.", rank.info);
  if (job.status.detail == 0) return;
  put_block(job, formatted("(1x,a,a,a)", "S Vector ", job.model.modnam, ":") + '\n' +
                     formatted("(1x,5g14.7)", rank.s));
}

void write_counts_of_parameters(Job& job, const Rank& rank) {
  if (job.model.numpar > 0) return;
  if (rank.gap) write_gap(job, rank.s, *rank.gap);
  if (rank.threshold) {
    linchk(job, 1);
    put(job, listing, "(1x,a,a,a,1pg14.7)", "Threshold ", job.model.modnam, " = ", rank.threshold->value);
    write_count(job, "Numerical Threshold Method for Num. of Estimated Parameters ", rank.threshold->count);
  }
  write_count(job, "Number of Estimated Parameters ", rank.npargmaxest);
  if (rank.doubtful_gap)
    warn(job,
         "The count rests on the ratios of singular values alone and leaves out one above 1e-8 of the "
         "largest; where the data identify more, state NUMPAR=n.");
  if (rank.npargmaxest != rank.gap_count)
    warn(job, "Number of parameters estimated from gap method (=" + adjustfmt(rank.gap_count) +
                  ") and threshold method (=" + adjustfmt(rank.npargmaxest) +
                  ") differ.  Inspect full output.");
}

void write_order_of_betas(Job& job, const Rank& rank) {
  const List<int>& betas = rank.order;
  if (betas.empty()) return;
  const int widest = *std::max_element(betas.begin(), betas.end());
  // KEPT: fields as wide as the largest number, so that numbers of that length stand side by side without a
  // blank. Looks wrong, is required.
  const std::string width = adjustfmt(static_cast<long long>(adjustfmt(widest).size()));
  // 25 betas a line. The template has room for 100 lines, and for more when there are more betas.
  constexpr int a_line = 25, least_lines = 100;
  const std::string lines = adjustfmt(std::max(least_lines, (betas.size() + a_line - 1) / a_line));
  put_block(job, formatted_runtime(job, "(/1x,a," + lines + "(/1x,25i" + width + "))",
                                   "Attempted ordering of parameters by estimatibility:", betas));
  for (int k = rank.npargmaxest + 1; k <= betas.size(); ++k) {
    linchk(job, 1);
    put(job, listing, "(1x,a,i0,a)", "Beta number ", betas(k), " is a singular value.");
    put(job, screen, "(3x,a,i0,a)", "Beta number ", betas(k), " is a singular value.");
  }
}

}  // namespace tarn
