#include "data/gaussquad.h"

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <limits>
#include <string>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "numerics/gauss_hermite.h"

namespace tarn {

namespace {

std::string padded(const char* label) {
  std::string text(label);
  text.resize(15, ' ');
  return text;
}

void report_conditions(Job& job) {
  std::array<bool, 5>& flags = job.status.flags5;
  static constexpr std::array<int, 5> conditions{FE_OVERFLOW, FE_DIVBYZERO, FE_INVALID, FE_UNDERFLOW,
                                                 FE_INEXACT};
  for (std::size_t i = 0; i < flags.size(); ++i) flags[i] = std::fetestexcept(conditions[i]) != 0;
  if (!flags[0] && !flags[1] && !flags[3]) return;
  const std::string tail = " occurred during calculation of Gauss-Hermite coefficients.";
  if (flags[0]) warn(job, "Numerical overflow" + tail);
  if (flags[1]) warn(job, "Divide by zero" + tail);
  if (flags[3]) warn(job, "Numerical underflow" + tail);
  linchk(job, 8);
  put(job, listing, "(/5x,a)", "IEEE flag status at end of calculation of Gauss-Hermite coefficients:");
  for (std::size_t i = 0; i < flags.size(); ++i)
    put(job, listing, "(5x,a,l)", padded(job.status.labels5[i]), flags[i]);
  put(job, listing, "(5x)");
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
