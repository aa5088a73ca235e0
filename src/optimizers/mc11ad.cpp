#include "optimizers/mc11ad.h"

#include <algorithm>
#include <cstddef>

namespace tarn {

namespace {

/// Above this ratio of pivots the other of the two algebraically equal recurrences is the stable one.
constexpr double ratio_of_stable_recurrence = 4.0;

/// Where column i (from 0) of the packed factor starts, at its diagonal element.
std::size_t column_start(int n, int i) {
  return static_cast<std::size_t>(i) * (2 * static_cast<std::size_t>(n) - static_cast<std::size_t>(i) + 1) /
         2;
}

/// A single element has no factor to update.
void update_order_one(double& pivot, double z, double sig, int& ir) {
  pivot += sig * z * z;
  ir = 1;
  if (pivot > 0.0) return;
  pivot = 0.0;
  ir = 0;
}

/// 1/sig + z' A^-1 z over the pivots that are there; `w` becomes the solution of L w = z, 0 at a zero pivot.
double solve_and_measure(std::span<const double> a, int n, std::span<const double> z, double sig,
                         std::span<double> w) {
  double ti = 1.0 / sig;
  std::copy_n(z.begin(), n, w.begin());
  for (int i = 0; i < n; ++i) {
    const double* column = &a[column_start(n, i)];
    if (!(column[0] > 0.0)) {
      w[i] = 0.0;
      continue;
    }
    ti += w[i] * w[i] / column[0];
    for (int j = i + 1; j < n; ++j) w[j] -= w[i] * column[j - i];
  }
  return ti;
}

double measure(std::span<const double> a, int n, double sig, std::span<const double> w) {
  double ti = 1.0 / sig;
  for (int i = 0; i < n; ++i) {
    const double pivot = a[column_start(n, i)];
    if (pivot != 0.0) ti += w[i] * w[i] / pivot;
  }
  return ti;
}

/// The sequence t of a negative update, built from its end, into `w`. Gives back the t before the first
/// pivot.
double build_sequence(std::span<const double> a, int n, double ti, std::span<double> w) {
  for (int i = n - 1; i >= 0; --i) {
    const double pivot = a[column_start(n, i)];
    const double before = pivot != 0.0 ? ti - w[i] * w[i] / pivot : ti;
    w[i] = ti;
    ti = before;
  }
  return ti;
}

/// Updates the column behind a live pivot and takes its part out of z.
void update_column(double* column, int below, double* z, double v, double b, double r, double gm) {
  if (r <= ratio_of_stable_recurrence) {
    for (int j = 1; j <= below; ++j) {
      z[j] -= v * column[j];
      column[j] += b * z[j];
    }
    return;
  }
  for (int j = 1; j <= below; ++j) {
    const double y = column[j];
    column[j] = b * z[j] + y * gm;
    z[j] -= v * y;
  }
}

}  // namespace

void mc11ad(std::span<double> a, int n, std::span<double> z, double sig, std::span<double> w, int& ir, int mk,
            double eps) {
  if (n < 1) return;
  if (n == 1) return update_order_one(a[0], z[0], sig, ir);
  if (sig == 0.0 || (sig < 0.0 && ir == 0)) return;

  double tim = 1.0 / sig;
  bool sequence = false;
  if (sig < 0.0) {
    double ti = mk == 0 ? solve_and_measure(a, n, z, sig, w) : measure(a, n, sig, w);
    sequence = true;
    if (ir <= 0) {
      ti = 0.0;
      ir = -ir - 1;
    } else if (ti > 0.0) {
      ti = eps / sig;
      if (eps == 0.0) --ir;
    } else if (mk <= 1) {
      sequence = false;  // the matrix stays positive definite by a margin that rounding does not reach
    }
    if (sequence) tim = build_sequence(a, n, ti, w);
  }

  for (int i = 0; i < n; ++i) {
    double* column = &a[column_start(n, i)];
    const double v = z[i];
    if (!(column[0] > 0.0)) {
      if (ir <= 0 && sig > 0.0 && v != 0.0) {  // z leaves the range of A: the rank grows by one
        ir = 1 - ir;
        column[0] = v * v / tim;
        for (int j = i + 1; j < n; ++j) column[j - i] = z[j] / v;
        return;
      }
      continue;  // tim carries over
    }
    const double al = v / column[0];
    const double ti = sequence ? w[i] : tim + v * al;
    const double r = ti / tim;
    column[0] *= r;
    if (r == 0.0) break;
    update_column(column, n - 1 - i, &z[i], v, al / ti, r, tim / ti);
    tim = ti;
  }
  if (ir < 0) ir = -ir;
}

bool factorise_packed(std::span<double> a, int n) {
  for (int i = 0; i < n; ++i) {
    double* column = &a[column_start(n, i)];
    if (!(column[0] > 0.0)) return false;
    for (int j = i + 1; j < n; ++j) {
      const double factor = column[j - i] / column[0];
      double* later = &a[column_start(n, j)];
      for (int k = j; k < n; ++k) later[k - j] -= column[k - i] * factor;
    }
    for (int j = i + 1; j < n; ++j) column[j - i] /= column[0];
  }
  return true;
}

void solve_packed_forward(std::span<const double> a, int n, std::span<double> r) {
  for (int i = 0; i < n; ++i) {
    const double* column = &a[column_start(n, i)];
    for (int j = i + 1; j < n; ++j) r[j] -= column[j - i] * r[i];
  }
}

void solve_packed(std::span<const double> a, int n, std::span<double> r) {
  solve_packed_forward(a, n, r);
  for (int i = n - 1; i >= 0; --i) {
    const double* column = &a[column_start(n, i)];
    r[i] /= column[0];
    for (int j = i + 1; j < n; ++j) r[i] -= column[j - i] * r[j];
  }
}

}  // namespace tarn
