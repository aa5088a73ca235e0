#pragma once
// Numbers, vectors and matrices on the listing, for debug output, and the rows of a matrix as binary records.

#include <concepts>
#include <string_view>

#include "job/job.h"
#include "numerics/array.h"

namespace tarn {

/// An integer or real element type; all reals are printed as 64-bit ones.
template <class T>
inline constexpr std::string_view default_format = std::integral<T> ? "i10" : "f10.6";

/// One number. `format` is one data item of the template notation, as "f10.6"; a bad one is fatal, for all
/// ranks.
template <class T>
void print_matrix(Job& job, const T& a, std::string_view format = default_format<T>);
/// One line an element: index, value.
template <class T>
void print_matrix(Job& job, const Array1<T>& a, std::string_view format = default_format<T>);
/// A line of column numbers, then one line a row.
template <class T>
void print_matrix(Job& job, const Array2<T>& a, std::string_view format = default_format<T>);
/// For each index of the third dimension a line with it, then the matrix.
template <class T>
void print_matrix(Job& job, const Array3<T>& a, std::string_view format = default_format<T>);

/// Each row of `a` as one unformatted record on `sysvcm`: "ROW ", the row's number right-adjusted in 4 places
/// (its first 4 digits when it has more), the elements as 64-bit numbers.
void matprt(Job& job, const Array2<double>& a);

}  // namespace tarn
