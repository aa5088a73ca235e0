#pragma once

#include <span>

namespace tarn {

/// Nodes and weights of the Gauss-Hermite rule with weight exp(-x*x) on the whole line.
/// @param order  number of nodes, 1 or more
/// @param nodes, weights  arrays of `order` at least; nodes ascending and exactly symmetric; the weights sum
/// to
///   sqrt(pi). For large orders the weights of the far tails are denormal or zero.
/// @return false when the order or an array is too short or when an eigenvalue did not converge in 30 sweeps;
///   in the last case the arrays hold what was reached
/// Throws std::bad_alloc without memory for its work areas.
/// Golub and Welsch (1969).
bool gauss_hermite(int order, std::span<double> nodes, std::span<double> weights);

/// Recurrence of the orthonormal Hermite polynomials, sqrt(i/2) off the diagonal and 0 on it.
/// @param b  off-diagonal, b(1..n-1) filled
/// @param a  diagonal, n zeros
/// @param muzero  integral of the weight function, sqrt(pi)
void class_(int n, std::span<double> b, std::span<double> a, double& muzero);

/// Eigenvalues of a symmetric tridiagonal matrix by the implicit QL method, with the first row of the
/// eigenvectors.
/// @param d  diagonal, n long; on return the eigenvalues, ascending
/// @param e  off-diagonal in e(1..n-1), n long; destroyed
/// @param z  first row of the start matrix (1, 0, ..., 0 for the eigenvectors themselves); on return its
/// product
/// @param ierr  0, or k when eigenvalue k had not converged after 30 sweeps; the first k - 1 then stand
/// unordered Martin and Wilkinson (1968), Dubrulle (1970), Golub and Welsch (1969).
void gausq2(int n, std::span<double> d, std::span<double> e, std::span<double> z, int& ierr);

/// Nodes t and weights w of the n-point Hermite rule from the Jacobi matrix; b is work of length n.
/// @return as `ierr` of `gausq2`
int gaussq(int n, std::span<double> b, std::span<double> t, std::span<double> w);

}  // namespace tarn
