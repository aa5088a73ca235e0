#pragma once
// How large the matrices of the fitted types are.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "data/catalogue/datatype.h"

namespace tarn {

/// Rows and columns; a triangle when `by_cohort`.
struct Matrix_size {
  bool by_cohort = false;
  int rows = 1, columns = 1;
};

/// Size of a parameter's matrix when every cohort, occasion and mixture has a cell of its own, for the types
/// with a cell routine.
inline Matrix_size matrix_size(int type, const std::string& name, int noccas, int mixtures) {
  if (datatype(type).closed != Closed::none) {
    if (name == "pi") return {false, mixtures - 1, 1};
    if (name == "p") return {false, mixtures, noccas};
    if (name == "c") return {false, mixtures, noccas - 1};
    if (name == "alpha" || name == "sigmap") return {false, 1, noccas};
    return {};
  }
  if (type == 11) return {false, 1, name == "N" ? 1 : name == "p" ? noccas : noccas - 1};
  // Parameters of the intervals between occasions; all others have one for the interval behind the last.
  static const std::vector<std::pair<int, std::string>> between{{1, "Phi"}, {1, "p"},    {3, "p"},  {3, "F"},
                                                                {8, "p"},   {8, "F"},    {8, "F'"}, {10, "S"},
                                                                {24, "S"},  {48, "Phi"}, {48, "p"}};
  const bool one_less = std::find(between.begin(), between.end(), std::pair{type, name}) != between.end();
  const int n = one_less ? noccas - 1 : noccas;
  return {true, n, n};
}

}  // namespace tarn
