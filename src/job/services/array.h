#pragma once
// Allocation of owned arrays with the job's warnings, and the identity matrices.

#include <cassert>
#include <span>
#include <string_view>
#include <tuple>

#include "job/job.h"
#include "numerics/array.h"

namespace tarn {

/// Status of an allocation, as warnings print it.
enum class Allocation { done = 0, already_allocated = 5014, no_memory = 5020 };

/// An array and the extents that it is to get.
template <class T, int Rank, class... Extents>
struct Shaped {
  Array<T, Rank>& array;
  std::tuple<Extents...> extents;
  Allocation allocate() const {
    if (array.present()) return Allocation::already_allocated;
    const bool done = std::apply([this](auto... extent) { return array.allocate(extent...); }, extents);
    return done ? Allocation::done : Allocation::no_memory;
  }
};
template <class T, int Rank, class... Extents>
requires(sizeof...(Extents) == Rank) Shaped<T, Rank, Extents...> shaped(Array<T, Rank>& array,
                                                                        Extents... extents) {
  return {array, {extents...}};
}

/// Warns of an allocation that was not done: `words` ("from memory allocation of GLABEL and U.") under the
/// number of the status, then the text of the status.
void warn_of_allocation(Job& job, std::string_view words, Allocation status);

/// Allocates the arrays in turn. When one finds no memory or is allocated already, it is left as it is, the
/// warning is given and those behind it are not tried. Returns whether all were allocated.
template <class... Arrays>
requires requires(const Arrays&... arrays) { (arrays.allocate(), ...); }
bool allocate(Job& job, std::string_view words, const Arrays&... arrays) {
  assert(words.starts_with("from memory allocation of "));
  Allocation status = Allocation::done;
  static_cast<void>((((status = arrays.allocate()) == Allocation::done) && ...));
  if (status != Allocation::done) warn_of_allocation(job, words, status);
  return status == Allocation::done;
}

/// The same for one array.
template <class T, int Rank, class... Extents>
requires(sizeof...(Extents) == Rank) bool allocate(Job& job, std::string_view words, Array<T, Rank>& array,
                                                   Extents... extents) {
  return allocate(job, words, shaped(array, extents...));
}

/// Ends the job with "Array NAME is not allocated."
[[noreturn]] void error_of_absent_array(Job& job, std::string_view name);

/// The first use of an array that an allocation may have left absent: fatal when it is.
template <class T, int Rank>
void require(Job& job, const Array<T, Rank>& array, std::string_view name) {
  if (!array.present()) error_of_absent_array(job, name);
}

/// The n x n identity matrix for an array of n elements. Without memory for it: a warning and an absent
/// matrix.
Array2<int> integer_idmatrix(Job& job, std::span<const int> a);
Array2<double> real_idmatrix(Job& job, std::span<const double> a);

}  // namespace tarn
