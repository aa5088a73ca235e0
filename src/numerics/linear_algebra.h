#pragma once

namespace tarn {

// Dense routines with the published names, argument orders, job codes and returns (Dongarra, Bunch, Moler and
// Stewart 1979), on top of LAPACK. Matrices are column-major with a leading dimension; indices in `info` and
// `jpvt` start at 1. A matrix or vector with an entry that is not finite or a leading dimension that is too
// small gives `info` = n (at least 1) and leaves the outputs as documented; nothing is ever printed and
// nothing ends the process. Want of memory throws std::bad_alloc: it must not pass for a singular matrix.
// Orders of 0 are accepted and do nothing.

/// Cholesky factor R of A = R'R (both in the upper triangle of `a`; the lower one is not read) and an
/// estimate of the reciprocal condition in the 1-norm.
/// @param rcond  0 when the factorisation failed
/// @param z  n long, a work area of the published routine; not used
/// @param info  0, or the order k of the first leading minor that is not positive definite
void dpoco(double* a, int lda, int n, double& rcond, double* z, int& info);

/// The Cholesky factor only.
void dpofa(double* a, int lda, int n, int& info);

/// Determinant and inverse from the factor of `dpoco` or `dpofa`.
/// @param det  2 long: the determinant is det(1) * 10^det(2), 1 <= det(1) < 10 or det(1) = 0
/// @param job  11 both, 1 the inverse only, 10 the determinant only. The inverse fills the upper triangle.
/// A factor with an entry that is not finite, or a zero on its diagonal, gives an inverse of NaN.
void dpodi(double* a, int lda, int n, double* det, int job);

/// Householder QR of the n by p matrix x: R in the upper triangle, the reflections below it and in `qraux`.
/// @param qraux  p long
/// @param jpvt  p long, read and written with `job` 1 only. In: positive puts column k first and keeps it
/// there, 0
///   leaves it free to move, negative puts it last. Out: jpvt(k) is the column of x that became column k.
///   Free columns are taken in the order of their largest remaining norm.
/// @param work  p long, a work area of the published routine; not used
/// @return info as above; the published routine has none, callers may ignore it. On failure x is not
/// factored,
///   `qraux` is 0 and `jpvt` the identity.
int dqrdc(double* x, int ldx, int n, int p, double* qraux, int* jpvt, double* work, int job);

/// Applies the factorisation of `dqrdc` to the vector y of length n, k <= min(n, p) columns of it.
/// @param job  digits abcde: a asks for qy = Qy; b, c, d or e for qty = Q'y; c for the solution b (k long) of
/// the
///   least-squares problem; d for the residuals rsd; e for the fitted values xb (all others n long). Outputs
///   not asked for may be null; outputs may share storage with y.
/// @param info  0, or the index of a zero on the diagonal of R met while solving for b
void dqrsl(const double* x, int ldx, int n, int k, const double* qraux, const double* y, double* qy,
           double* qty, double* b, double* rsd, double* xb, int job, int& info);

/// Singular value decomposition of the n by p matrix x, x = U diag(s) V'. Destroys x.
/// @param s  min(n + 1, p) long, descending
/// @param e  p long; 0 on return
/// @param u  n by n (n by min(n, p) with a = 2), @param v  p by p; null when not asked for
/// @param work  n long, a work area of the published routine; not used
/// @param job  digits ab: a = 0 no left vectors, 1 all n of them, 2 the first min(n, p); b = 0 no right
/// vectors, else V
/// @param info  0, or the count of singular values that did not converge. With entries that are not finite:
/// n, and
///   s is NaN.
void dsvdc(double* x, int ldx, int n, int p, double* s, double* e, double* u, int ldu, double* v, int ldv,
           double* work, int job, int& info);

// BLAS level 1, the public form with increments (Lawson, Hanson, Kincaid and Krogh 1979).
void dscal(int n, double a, double* x, int incx);
void dswap(int n, double* x, int incx, double* y, int incy);
double dasum(int n, const double* x, int incx);
void daxpy(int n, double a, const double* x, int incx, double* y, int incy);
void dcopy(int n, const double* x, int incx, double* y, int incy);
double ddot(int n, const double* x, int incx, const double* y, int incy);
double dnrm2(int n, const double* x, int incx);
void drot(int n, double* x, int incx, double* y, int incy, double c, double s);
void drotg(double& a, double& b, double& c, double& s);

/// The argument number that the library last objected to on this thread, 0 when it never did. Only a fault in
/// this layer can make it other than 0.
int refused_argument();

}  // namespace tarn
