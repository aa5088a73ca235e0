#pragma once

#include <span>

namespace tarn {

// The triangular factors of a symmetric matrix, A = L D L' with a unit diagonal of L that is not stored,
// stand in a vector of n(n+1)/2 by columns: d1, L(2..n,1), d2, L(3..n,2), ..., dn.

/// A := A + sig z z' on the factors of A.
/// @param a  the factors, in and out
/// @param z  n long; destroyed
/// @param w  n long; work, or with `mk` 1 the solution of L w = z on entry
/// @param ir  rank of A, in and out. A negative `ir` on entry tells that the update is known to change the
/// rank: with
///   sig < 0 it lowers it by one exactly, with sig > 0 it raises it by one if z has a part outside the range
///   of A.
/// @param mk  0 when w is free, 1 when it holds the solution of L w = z (saves the forward pass of sig < 0)
/// @param eps  0 or more: with sig < 0, what is left of a pivot that rounding would make negative, relative
/// to sig;
///   with 0 the rank is lowered instead
/// Fletcher and Powell (1974).
void mc11ad(std::span<double> a, int n, std::span<double> z, double sig, std::span<double> w, int& ir, int mk,
            double eps);

/// Replaces a positive definite matrix, its lower triangle packed by columns in `a`, by its factors.
/// @return false, with `a` partly overwritten, when a pivot is not positive
bool factorise_packed(std::span<double> a, int n);

/// Solves L u = r on the factors; r on entry, u on return.
void solve_packed_forward(std::span<const double> a, int n, std::span<double> r);

/// Solves L D L' s = r on the factors; r on entry, s on return.
void solve_packed(std::span<const double> a, int n, std::span<double> r);

}  // namespace tarn
