#include "numerics/gauss_hermite.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "numerics/array.h"

namespace tarn {

namespace {

constexpr int sweep_limit = 30;

/// Recurrence p(k+1) = x up(k) p(k) - down(k) p(k-1) of the orthonormal Hermite polynomials, p(0) = 1.
struct Recurrence {
  Array1<long double> up, down;

  void prepare(int order) {
    make_work_area(up, order);
    make_work_area(down, order);
    for (int k = 1; k <= order; ++k) {
      up(k) = std::sqrt(2.0L / k);
      down(k) = std::sqrt((k - 1.0L) / k);
    }
  }
  /// The polynomials of degree `order` and `order` - 1 at x.
  void evaluate(int order, long double x, long double& last, long double& before) const {
    before = 0.0L;
    last = 1.0L;
    for (int k = 1; k <= order; ++k) {
      const long double next = x * up(k) * last - down(k) * before;
      before = last;
      last = next;
    }
  }
};

// First components of eigenvectors lose the small weights to rounding, and the weights depend steeply on the
// place of the node far out. So the nodes are polished by Newton steps in extended precision, and the weights
// come from the polynomials: w = 1 / (n p(n-1)^2) at the nodes (Golub and Welsch 1969, equation for the
// Christoffel numbers).
bool polish(int order, std::span<double> nodes, std::span<double> weights) {
  Recurrence hermite;
  hermite.prepare(order);
  const long double total = 1.0L / std::numbers::inv_sqrtpi_v<long double>;
  const long double slope = std::sqrt(2.0L * order);
  for (int low = 0, high = order - 1; low <= high; ++low, --high) {
    long double x = low == high ? 0.0L : nodes[high], last, before;
    for (int step = 0; step < 4 && low != high; ++step) {
      hermite.evaluate(order, x, last, before);
      x -= last / (slope * before);
    }
    hermite.evaluate(order, x, last, before);
    const long double root = std::sqrt(total / order) / before;
    nodes[high] = static_cast<double>(x);
    nodes[low] = -nodes[high];
    weights[low] = weights[high] = static_cast<double>(root * root);
  }
  return true;
}

/// Ascending order of the eigenvalues, the components of z carried along.
void order_eigenvalues(int n, std::span<double> d, std::span<double> z) {
  for (int i = 0; i < n; ++i) {
    const auto least = std::min_element(d.begin() + i, d.begin() + n) - d.begin();
    std::swap(d[i], d[least]);
    std::swap(z[i], z[least]);
  }
}

/// The first m >= l at which the matrix splits, n - 1 when it does not.
int split_below(int l, int n, std::span<const double> d, std::span<const double> e) {
  int m = l;
  while (m < n - 1 &&
         !(std::abs(e[m]) <= std::numeric_limits<double>::epsilon() * (std::abs(d[m]) + std::abs(d[m + 1]))))
    ++m;
  return m;
}

/// One implicit QL sweep over the rows l to m.
void sweep(int l, int m, std::span<double> d, std::span<double> e, std::span<double> z) {
  double g = (d[l + 1] - d[l]) / (2.0 * e[l]);
  double r = std::hypot(g, 1.0);
  g = d[m] - d[l] + e[l] / (g + std::copysign(r, g));
  double s = 1.0, c = 1.0, p = 0.0;
  for (int i = m - 1; i >= l; --i) {
    const double f = s * e[i], b = c * e[i];
    r = std::hypot(f, g);
    e[i + 1] = r;
    if (r == 0.0) {  // the matrix has split on the way: take up the rows below in the next sweep
      d[i + 1] -= p;
      e[m] = 0.0;
      return;
    }
    s = f / r;
    c = g / r;
    g = d[i + 1] - p;
    r = (d[i] - g) * s + 2.0 * c * b;
    p = s * r;
    d[i + 1] = g + p;
    g = c * r - b;
    const double component = z[i + 1];
    z[i + 1] = s * z[i] + c * component;
    z[i] = c * z[i] - s * component;
  }
  d[l] -= p;
  e[l] = g;
  e[m] = 0.0;
}

}  // namespace

void class_(int n, std::span<double> b, std::span<double> a, double& muzero) {
  muzero = 1.0 / std::numbers::inv_sqrtpi;
  for (int i = 1; i <= n; ++i) {
    a[i - 1] = 0.0;
    if (i < n) b[i - 1] = std::sqrt(i / 2.0);
  }
}

void gausq2(int n, std::span<double> d, std::span<double> e, std::span<double> z, int& ierr) {
  ierr = 0;
  if (n < 1) return;
  e[n - 1] = 0.0;
  for (int l = 0; l < n; ++l) {
    int sweeps = 0;
    for (int m = split_below(l, n, d, e); m != l; m = split_below(l, n, d, e)) {
      if (sweeps++ == sweep_limit) {
        ierr = l + 1;
        return;
      }
      sweep(l, m, d, e, z);
    }
  }
  order_eigenvalues(n, d, z);
}

int gaussq(int n, std::span<double> b, std::span<double> t, std::span<double> w) {
  double muzero = 0.0;
  class_(n, b, t, muzero);
  for (int i = 0; i < n; ++i) w[i] = i == 0 ? 1.0 : 0.0;
  int ierr = 0;
  gausq2(n, t, b, w, ierr);
  for (int i = 0; i < n; ++i) w[i] = muzero * w[i] * w[i];
  return ierr;
}

bool gauss_hermite(int order, std::span<double> nodes, std::span<double> weights) {
  if (order < 1 || nodes.size() < static_cast<std::size_t>(order) ||
      weights.size() < static_cast<std::size_t>(order))
    return false;
  Array1<double> b;
  make_work_area(b, order);
  return gaussq(order, b.span(), nodes, weights) == 0 && polish(order, nodes, weights);
}

}  // namespace tarn
