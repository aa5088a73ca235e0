#include "many_digits/objective_in.h"

namespace tarn {
namespace {

/// Far below every curvature of an objective; its square leaves 18 of 50 digits.
constexpr double step = 0x1p-53;

}  // namespace

std::vector<double> Many_digit_differences::gradient(const std::vector<double>& x) {
  std::vector<double> g;
  Vector y(x.begin(), x.end());
  for (Many_digits& moved : y) {
    const Many_digits kept = moved;
    moved = kept + step;
    const Many_digits above = f_(y);
    moved = kept - step;
    g.push_back(value_of((above - f_(y)) / (2.0 * step)));
    moved = kept;
  }
  return g;
}

// Of a smooth function f(x + a + b) - f(x + a) - f(x + b) + f(x) over the area of the step is as good as
// exact here: the third derivatives enter with the step.
std::vector<double> Many_digit_differences::second_derivatives(const std::vector<double>& x) {
  const std::size_t n = x.size();
  Vector y(x.begin(), x.end()), moved_one;
  const Many_digits f = f_(y);
  for (Many_digits& moved : y) {
    const Many_digits kept = moved;
    moved = kept + step;
    moved_one.push_back(f_(y));
    moved = kept;
  }
  std::vector<double> h(n * n);
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j <= i; ++j) {
      const Many_digits kept_i = y[i];
      y[i] += step;
      const Many_digits kept_j = y[j];
      y[j] += step;
      h[i * n + j] = h[j * n + i] = value_of((f_(y) - moved_one[i] - moved_one[j] + f) / (step * step));
      y[j] = kept_j;
      y[i] = kept_i;
    }
  return h;
}

}  // namespace tarn
