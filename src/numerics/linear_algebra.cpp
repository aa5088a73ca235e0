#include "numerics/linear_algebra.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "numerics/array.h"

extern "C" {
// Fortran takes everything by reference and the lengths of texts behind the other arguments.
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void dpotri_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void dpocon_(const char* uplo, const int* n, const double* a, const int* lda, const double* anorm,
             double* rcond, double* work, int* iwork, int* info, std::size_t);
double dlansy_(const char* norm, const char* uplo, const int* n, const double* a, const int* lda,
               double* work, std::size_t, std::size_t);
void dgeqrf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);
void dgeqp3_(const int* m, const int* n, double* a, const int* lda, int* jpvt, double* tau, double* work,
             const int* lwork, int* info);
void dormqr_(const char* side, const char* trans, const int* m, const int* n, const int* k, const double* a,
             const int* lda, const double* tau, double* c, const int* ldc, double* work, const int* lwork,
             int* info, std::size_t, std::size_t);
void dgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, double* a, const int* lda,
             double* s, double* u, const int* ldu, double* vt, const int* ldvt, double* work,
             const int* lwork, int* info, std::size_t, std::size_t);
void dscal_(const int* n, const double* a, double* x, const int* incx);
void dswap_(const int* n, double* x, const int* incx, double* y, const int* incy);
double dasum_(const int* n, const double* x, const int* incx);
void daxpy_(const int* n, const double* a, const double* x, const int* incx, double* y, const int* incy);
void dcopy_(const int* n, const double* x, const int* incx, double* y, const int* incy);
double ddot_(const int* n, const double* x, const int* incx, const double* y, const int* incy);
double dnrm2_(const int* n, const double* x, const int* incx);
void drot_(const int* n, double* x, const int* incx, double* y, const int* incy, const double* c,
           const double* s);
void drotg_(double* a, double* b, double* c, double* s);
void xerbla_(const char* routine, const int* argument, std::size_t length);
int ieeeck_(const int* question, const float* zero, const float* one);
}

namespace {

// Per thread, and written by the library's error handler alone: the handler has no other way to tell.
thread_local int objected_to = 0;

}  // namespace

// Stands in for the library's handler, which prints and ends the process. It must stay in this file: the
// linker takes the library's own unless this one is there already, and every call of the library comes from
// here.
void xerbla_(const char*, const int* argument, std::size_t) { objected_to = *argument; }

// Stands in for the library's question whether infinities and NaNs behave. Its own answer divides by zero to
// find out, and that would be reported as the model's doing.
int ieeeck_(const int*, const float*, const float*) { return std::numeric_limits<double>::is_iec559 ? 1 : 0; }

namespace tarn {

namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// The return for input that must not reach the library.
int refused(int n) { return std::max(n, 1); }

bool finite(const double* x, int n) {
  return std::all_of(x, x + std::max(n, 0), [](double value) { return std::isfinite(value); });
}

double* column(double* a, int lda, int j) { return a + static_cast<std::ptrdiff_t>(lda) * (j - 1); }
const double* column(const double* a, int lda, int j) {
  return a + static_cast<std::ptrdiff_t>(lda) * (j - 1);
}

bool finite_matrix(const double* a, int lda, int rows, int columns) {
  for (int j = 1; j <= columns; ++j)
    if (!finite(column(a, lda, j), rows)) return false;
  return true;
}

bool finite_upper(const double* a, int lda, int n) {
  for (int j = 1; j <= n; ++j)
    if (!finite(column(a, lda, j), j)) return false;
  return true;
}

/// Asks a routine how much work area it wants, makes it, and calls again. `call(work, lwork, info)`.
template <class Call>
bool with_work_area(Call call, int& info) {
  double wanted = 0.0;
  int lwork = -1;
  call(&wanted, &lwork, &info);
  if (info != 0) return false;
  lwork = static_cast<int>(std::clamp(wanted, 1.0, 2.0e9));
  Array1<double> work;
  make_work_area(work, lwork);
  call(work.data(), &lwork, &info);
  return true;
}

/// c := Q c or Q'c ("N" or "T"), c with `rows` rows, Q from k reflections in the columns of x.
bool apply_reflections(const char* transposed, int rows, int columns, int k, const double* x, int ldx,
                       const double* qraux, double* c, int ldc) {
  int info = 0;
  return with_work_area(
             [&](double* work, int* lwork, int* status) {
               dormqr_("L", transposed, &rows, &columns, &k, x, &ldx, qraux, c, &ldc, work, lwork, status, 1,
                       1);
             },
             info) &&
         info == 0;
}

/// Moves the columns marked positive to the front and those marked negative to the end, and turns the marks
/// into the original column numbers. Gives back the numbers of initial and of initial and free columns.
struct Column_ranges {
  int initial = 0;
  int movable = 0;
};
Column_ranges arrange_columns(double* x, int ldx, int n, int p, int* jpvt) {
  Column_ranges ranges{0, p};
  const auto exchange = [&](int j, int k) {
    if (j != k) std::swap_ranges(column(x, ldx, j), column(x, ldx, j) + n, column(x, ldx, k));
  };
  for (int j = 1; j <= p; ++j) {
    const int mark = jpvt[j - 1];
    jpvt[j - 1] = mark < 0 ? -j : j;
    if (mark > 0) {
      const int front = ++ranges.initial;
      exchange(j, front);
      jpvt[j - 1] = jpvt[front - 1];
      jpvt[front - 1] = j;
    }
  }
  for (int j = p; j >= 1; --j) {
    if (jpvt[j - 1] >= 0) continue;
    jpvt[j - 1] = -jpvt[j - 1];
    const int back = ranges.movable--;
    exchange(j, back);
    std::swap(jpvt[j - 1], jpvt[back - 1]);
  }
  return ranges;
}

/// QR with column exchanges among the first `movable` columns, of which the first `initial` stay where they
/// are.
bool factor_movable(double* x, int ldx, int n, Column_ranges ranges, double* qraux, int* jpvt) {
  Array1<int> order, names;
  make_work_area(order, ranges.movable);
  make_work_area(names, ranges.movable);
  for (int j = 1; j <= ranges.movable; ++j) {
    order(j) = j <= ranges.initial ? 1 : 0;
    names(j) = jpvt[j - 1];
  }
  int info = 0;
  const bool called = with_work_area(
      [&](double* work, int* lwork, int* status) {
        dgeqp3_(&n, &ranges.movable, x, &ldx, order.data(), qraux, work, lwork, status);
      },
      info);
  if (!called || info != 0) return false;
  for (int j = 1; j <= ranges.movable; ++j) jpvt[j - 1] = names(order(j));
  return true;
}

bool factor_in_order(double* x, int ldx, int rows, int columns, double* qraux) {
  int info = 0;
  return with_work_area([&](double* work, int* lwork,
                            int* status) { dgeqrf_(&rows, &columns, x, &ldx, qraux, work, lwork, status); },
                        info) &&
         info == 0;
}

bool factor_pivoting(double* x, int ldx, int n, int p, double* qraux, int* jpvt) {
  const Column_ranges ranges = arrange_columns(x, ldx, n, p, jpvt);
  if (ranges.movable > 0 && !factor_movable(x, ldx, n, ranges, qraux, jpvt)) return false;
  const int last = p - ranges.movable, done = std::min(n, ranges.movable);
  if (last == 0) return true;
  double* rest = column(x, ldx, ranges.movable + 1);
  if (done > 0 && !apply_reflections("T", n, last, done, x, ldx, qraux, rest, ldx)) return false;
  return done == n || factor_in_order(rest + done, ldx, n - done, last, qraux + done);
}

void scale_to_decade(double& mantissa, double& exponent) {
  while (mantissa < 1.0) {
    mantissa *= 10.0;
    exponent -= 1.0;
  }
  while (mantissa >= 10.0) {
    mantissa /= 10.0;
    exponent += 1.0;
  }
}

/// Square of the product of the diagonal, as mantissa and decimal exponent; both factors of a product are
/// brought into [1, 10) first, so that nothing overflows.
void squared_diagonal_product(const double* a, int lda, int n, double* det) {
  det[0] = 1.0;
  det[1] = 0.0;
  for (int i = 1; i <= n; ++i) {
    double pivot = std::abs(column(a, lda, i)[i - 1]), exponent = 0.0;
    if (pivot == 0.0) {
      det[0] = det[1] = 0.0;
      return;
    }
    scale_to_decade(pivot, exponent);
    det[0] *= pivot * pivot;
    det[1] += 2.0 * exponent;
    scale_to_decade(det[0], det[1]);
  }
}

bool zero_on_diagonal(const double* a, int lda, int n) {
  for (int i = 1; i <= n; ++i)
    if (column(a, lda, i)[i - 1] == 0.0) return true;
  return false;
}

}  // namespace

int refused_argument() { return objected_to; }

void dpofa(double* a, int lda, int n, int& info) {
  info = 0;
  if (n == 0) return;
  if (n < 0 || lda < n || !finite_upper(a, lda, n)) {
    info = refused(n);
    return;
  }
  dpotrf_("U", &n, a, &lda, &info, 1);
}

void dpoco(double* a, int lda, int n, double& rcond, double*, int& info) {
  rcond = n == 0 ? 1.0 : 0.0;
  info = 0;
  if (n == 0) return;
  if (n < 0 || lda < n || !finite_upper(a, lda, n)) {
    info = refused(n);
    return;
  }
  Array1<double> work;
  Array1<int> iwork;
  make_work_area(work, 3 * static_cast<std::ptrdiff_t>(n));
  make_work_area(iwork, n);
  const double norm = dlansy_("1", "U", &n, a, &lda, work.data(), 1, 1);
  dpotrf_("U", &n, a, &lda, &info, 1);
  if (info != 0) return;
  // A finite matrix can still have a norm beyond the largest number, which leaves nothing to be said of its
  // condition.
  if (!std::isfinite(norm) || !finite_upper(a, lda, n)) {
    info = refused(n);
    return;
  }
  dpocon_("U", &n, a, &lda, &norm, &rcond, work.data(), iwork.data(), &info, 1);
}

void dpodi(double* a, int lda, int n, double* det, int job) {
  const bool usable = n >= 0 && lda >= n && finite_upper(a, lda, n);
  if (job / 10 != 0) {
    if (usable)
      squared_diagonal_product(a, lda, n, det);
    else
      det[0] = det[1] = not_a_number;
  }
  if (job % 10 == 0 || n <= 0 || lda < n) return;
  if (usable && !zero_on_diagonal(a, lda, n)) {
    int info = 0;
    dpotri_("U", &n, a, &lda, &info, 1);
    return;
  }
  for (int j = 1; j <= n; ++j) std::fill_n(column(a, lda, j), j, not_a_number);
}

int dqrdc(double* x, int ldx, int n, int p, double* qraux, int* jpvt, double*, int job) {
  std::fill_n(qraux, std::max(p, 0), 0.0);
  if (n == 0 || p == 0) {
    if (job != 0)
      for (int j = 1; j <= p; ++j) jpvt[j - 1] = j;
    return 0;
  }
  const bool usable = n > 0 && p > 0 && ldx >= n && finite_matrix(x, ldx, n, p);
  if (usable &&
      (job == 0 ? factor_in_order(x, ldx, n, p, qraux) : factor_pivoting(x, ldx, n, p, qraux, jpvt)))
    return 0;
  std::fill_n(qraux, std::max(p, 0), 0.0);
  if (job != 0)
    for (int j = 1; j <= p; ++j) jpvt[j - 1] = j;
  return refused(n);
}

void dqrsl(const double* x, int ldx, int n, int k, const double* qraux, const double* y, double* qy,
           double* qty, double* b, double* rsd, double* xb, int job, int& info) {
  info = 0;
  const bool want_qy = job / 10000 != 0, want_b = job % 1000 / 100 != 0, want_rsd = job % 100 / 10 != 0,
             want_xb = job % 10 != 0, want_qty = job % 10000 != 0;
  if (n == 0) return;
  if (n < 0 || k < 0 || k > n || ldx < n || !finite_matrix(x, ldx, n, k) || !finite(qraux, k) ||
      !finite(y, n)) {
    info = refused(n);
    return;
  }
  Array1<double> rotated, work;
  make_work_area(rotated, n);
  make_work_area(work, n);
  const auto copied = [n](const double* from, Array1<double>& to) { std::copy(from, from + n, to.data()); };
  // Outputs may lie where y does, so nothing is written before y has been used for the last time.
  copied(y, rotated);
  if (want_qty && !apply_reflections("T", n, 1, k, x, ldx, qraux, rotated.data(), n)) {
    info = refused(n);
    return;
  }
  copied(y, work);
  if (want_qy) {
    if (!apply_reflections("N", n, 1, k, x, ldx, qraux, work.data(), n)) {
      info = refused(n);
      return;
    }
    std::copy(work.begin(), work.end(), qy);
  }
  // The part of Q'y in the columns gives the fitted values, what lies beyond them the residuals.
  const auto rotated_back = [&](int from, int to, double* out) {
    work.fill(0.0);
    std::copy(rotated.begin() + from, rotated.begin() + to, work.begin() + from);
    if (!apply_reflections("N", n, 1, k, x, ldx, qraux, work.data(), n)) info = refused(n);
    std::copy(work.begin(), work.end(), out);
  };
  if (want_qty && qty != nullptr) std::copy(rotated.begin(), rotated.end(), qty);
  if (want_rsd) rotated_back(k, n, rsd);
  if (want_xb) rotated_back(0, k, xb);
  if (!want_b) return;
  for (int j = k; j >= 1; --j) {
    const double* r = column(x, ldx, j);
    if (r[j - 1] == 0.0) {
      info = j;
      break;
    }
    rotated(j) /= r[j - 1];
    for (int i = 1; i < j; ++i) rotated(i) -= rotated(j) * r[i - 1];
  }
  std::copy(rotated.begin(), rotated.begin() + k, b);
}

void dsvdc(double* x, int ldx, int n, int p, double* s, double* e, double* u, int ldu, double* v, int ldv,
           double*, int job, int& info) {
  info = 0;
  if (n <= 0 || p <= 0) return;
  const int jobu = job % 100 / 10, count = std::min(n, p);
  const bool want_v = job % 10 != 0;
  const char* left = jobu == 0 ? "N" : jobu == 1 ? "A" : "S";
  const char* right = want_v ? "A" : "N";
  std::fill_n(e, p, 0.0);
  std::fill_n(s, std::min(n + 1, p), 0.0);
  const int order = want_v ? p : 1;
  if (ldx < n || (jobu != 0 && ldu < n) || (want_v && ldv < p) || !finite_matrix(x, ldx, n, p)) {
    std::fill_n(s, count, not_a_number);
    info = refused(n);
    return;
  }
  Array2<double> matrix, transposed;
  make_work_area(matrix, n, p);
  make_work_area(transposed, order, order);
  // The copy lets u or v lie where x does, as the published routine allows.
  for (int j = 1; j <= p; ++j) std::copy_n(column(x, ldx, j), n, matrix.column(j).data());
  const int ldleft = jobu == 0 ? 1 : ldu;
  const bool called = with_work_area(
      [&](double* work, int* lwork, int* status) {
        dgesvd_(left, right, &n, &p, matrix.data(), &n, s, u, &ldleft, transposed.data(), &order, work, lwork,
                status, 1, 1);
      },
      info);
  if (!called) {
    std::fill_n(s, count, not_a_number);
    info = refused(n);
    return;
  }
  if (!want_v) return;
  for (int j = 1; j <= p; ++j)
    for (int i = 1; i <= p; ++i) column(v, ldv, j)[i - 1] = transposed(j, i);
}

void dscal(int n, double a, double* x, int incx) { dscal_(&n, &a, x, &incx); }
void dswap(int n, double* x, int incx, double* y, int incy) { dswap_(&n, x, &incx, y, &incy); }
double dasum(int n, const double* x, int incx) { return dasum_(&n, x, &incx); }
void daxpy(int n, double a, const double* x, int incx, double* y, int incy) {
  daxpy_(&n, &a, x, &incx, y, &incy);
}
void dcopy(int n, const double* x, int incx, double* y, int incy) { dcopy_(&n, x, &incx, y, &incy); }
double ddot(int n, const double* x, int incx, const double* y, int incy) {
  return ddot_(&n, x, &incx, y, &incy);
}
double dnrm2(int n, const double* x, int incx) { return dnrm2_(&n, x, &incx); }
void drot(int n, double* x, int incx, double* y, int incy, double c, double s) {
  drot_(&n, x, &incx, y, &incy, &c, &s);
}
void drotg(double& a, double& b, double& c, double& s) { drotg_(&a, &b, &c, &s); }

}  // namespace tarn
