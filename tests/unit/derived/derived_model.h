#pragma once
// Models for the tests of derived parameters.

#include <vector>

#include "derived/derivedest.h"
#include "derived/sections.h"
#include "support/model_builder.h"

namespace tarn {

/// n x n numbers by columns.
inline Array2<double> matrix(int n, const std::vector<double>& cells) {
  Array2<double> made;
  if (!made.allocate(n, n)) throw std::bad_alloc();
  std::copy(cells.begin(), cells.end(), made.begin());
  return made;
}

/// The section of a data type, one section only.
inline const Section& only_section(int dattyp) { return *derived_sections(datatype(dattyp)).front(); }

/// g' V g.
inline double sandwich_of(const std::vector<double>& gradient, const Array2<double>& v) {
  double sum = 0.0;
  const int n = static_cast<int>(gradient.size());
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j)
      sum += gradient[static_cast<std::size_t>(i) - 1] * v(i, j) * gradient[static_cast<std::size_t>(j) - 1];
  return sum;
}

}  // namespace tarn
