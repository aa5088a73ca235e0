#pragma once
// Second derivatives of a job's objective, by themselves and by extrapolated differences.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "inference/varmat.h"
#include "support/model_builder.h"

namespace tarn {

/// Central differences at steps h, h/2, h/4, extrapolated to step 0 (Richardson 1911).
inline double extrapolated_difference(double h, const std::function<double(double)>& difference) {
  const double d0 = difference(h), d1 = difference(h / 2.0), d2 = difference(h / 4.0);
  const double e0 = (4.0 * d1 - d0) / 3.0, e1 = (4.0 * d2 - d1) / 3.0;
  return (16.0 * e1 - e0) / 15.0;
}

/// Compares what `2ndPart` gives at x, which is half the second derivatives of the objective, with
/// differences.
inline void expect_second_derivatives(Model_builder& m, const std::vector<double>& x) {
  const int n = static_cast<int>(x.size());
  std::vector<double> h(x.size() * (x.size() + 1) / 2);
  m.job().model.vartyp = Variance::second_partials;
  varmat(m.job(), x, h);
  const Array2<double> full = expand(h, n);
  const auto element = [&](std::size_t i, std::size_t j) {
    return full(static_cast<int>(i) + 1, static_cast<int>(j) + 1);
  };
  const auto at = [&](std::size_t i, double di, std::size_t j, double dj) {
    std::vector<double> y = x;
    y[i] += di;
    y[j] += dj;
    return m.func(y);
  };
  const double f = m.func(x);
  for (std::size_t i = 0; i < x.size(); ++i)
    for (std::size_t j = 0; j <= i; ++j) {
      const double mixed = extrapolated_difference(2e-2, [&](double d) {
        if (i == j) return (at(i, d, i, 0.0) - 2.0 * f + at(i, -d, i, 0.0)) / (d * d);
        return (at(i, d, j, d) - at(i, d, j, -d) - at(i, -d, j, d) + at(i, -d, j, -d)) / (4.0 * d * d);
      });
      const double scale = std::sqrt(std::abs(element(i, i) * element(j, j)));
      // The rounding of f over the square of a step of 5e-3.
      EXPECT_NEAR(element(i, j), mixed / 2.0, 1e-7 * scale + 1e-10 * std::abs(f))
          << "betas " << i + 1 << ", " << j + 1;
    }
}

}  // namespace tarn
