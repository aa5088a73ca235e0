#include "model/results/residual_file.h"

#include <string>
#include <vector>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"

namespace tarn {
namespace {

void open_residuals(Job& job) {
  Status_module& status = job.status;
  if (!job.streams.open_output(status.sysres, status.filres, status.errmsg))
    error(job, "The residual file " + status.filres + " could not be opened: " + status.errmsg);
}

void close_residuals(Job& job) {
  if (!job.streams.close(job.status.sysres))
    warn(job, "The residual file " + job.status.filres +
                  " is incomplete: " + job.streams.fault(job.status.sysres));
}

}  // namespace

Pearson_sums write_residual_file(Job& job, std::span<const double> beta) {
  if (job.status.filres == job.status.nullfile) return resid(job, beta, {});
  static constexpr std::string_view tab = "\t";
  open_residuals(job);
  const std::string layout = "(1x,a," + adjustfmt(job.status.ngrps) + "(a1,f10.1,a1,g15.8),a1)";
  std::vector<Item> items;
  const Pearson_sums sums = resid(job, beta, [&](std::string_view history, const List<Cell_counts>& groups) {
    items.clear();
    items.push_back(item(history));
    for (const Cell_counts& cell : groups) {
      items.push_back(item(tab));
      items.push_back(item(cell.observed));
      items.push_back(item(tab));
      items.push_back(item(cell.expected));
    }
    items.push_back(item(tab));
    put_runtime(job, residual, layout, std::span<const Item>(items));
  });
  close_residuals(job);
  return sums;
}

}  // namespace tarn
