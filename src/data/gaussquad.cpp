#include "data/gaussquad.h"

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <limits>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "numerics/gauss_hermite.h"

namespace tarn {

namespace {

void report_conditions(Job& job) {
  read_flags(job, "during calculation of Gauss-Hermite coefficients");
  const std::array<bool, 5>& flags = job.status.flags5;
  if (!flags[0] && !flags[1] && !flags[3]) return;
  linchk(job, 8);
  put(job, listing, "(/5x,a)", "IEEE flag status at end of calculation of Gauss-Hermite coefficients:");
  put_flags(job);
}

/// Weights of one tail that no normal number can hold; zeros are exact and do not count.
int weights_not_normal(const Array1<double>& weights, int order) {
  int count = 0;
  for (int i = 1; i <= order / 2; ++i) {
    const double size = std::abs(weights(i));
    const bool normal =
        size >= std::numeric_limits<double>::min() && size <= std::numeric_limits<double>::max();
    if (size != 0.0 && !normal) ++count;
  }
  return count;
}

}  // namespace

void gausquadpar(Job& job) {
  Data_module& data = job.data;
  job.status.flags5.fill(false);
  std::feclearexcept(FE_ALL_EXCEPT);
  data.ghqv.free();
  data.ghqw.free();
  if (!allocate(job, "from memory allocation of GHQV and GHQW.", shaped(data.ghqv, data.order),
                shaped(data.ghqw, data.order))) {
    data.ghqv.free();
    return;
  }
  gauss_hermite(data.order, data.ghqv.span(), data.ghqw.span());
  report_conditions(job);
  const int count = data.order < 2 ? 0 : weights_not_normal(data.ghqw, data.order);
  if (count > 0) {
    linchk(job, 2);
    put(job, listing, "(/5x,a,i0,a)", "There were ", count,
        " Gauss-Hermite coefficients in each tail that were denormal values.");
  }
  std::feclearexcept(FE_ALL_EXCEPT);
  if (job.status.debug) {
    const auto [least_node, greatest_node] = std::minmax_element(data.ghqv.begin(), data.ghqv.end());
    const auto [least_weight, greatest_weight] = std::minmax_element(data.ghqw.begin(), data.ghqw.end());
    linchk(job, 4);
    put(job, listing, "(1x,a,g14.7)", "MIN(GHQV)=", *least_node);
    put(job, listing, "(1x,a,g14.7)", "MAX(GHQV)=", *greatest_node);
    put(job, listing, "(1x,a,g14.7)", "MIN(GHQW)=", *least_weight);
    put(job, listing, "(1x,a,g14.7)", "MAX(GHQW)=", *greatest_weight);
  }
}

}  // namespace tarn
