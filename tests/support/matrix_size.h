#pragma once

namespace tarn {

/// Rows and columns of a parameter's matrix; a triangle when `by_cohort`. Second and third index of the
/// matrix.
struct Matrix_size {
  bool by_cohort = false;
  int rows = 1, columns = 1;
  int second = 1, third = 1;
};

}  // namespace tarn
