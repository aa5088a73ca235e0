#include "job/services/array.h"

#include <string>

#include "job/services/fault.h"

namespace tarn {

namespace {

template <class T>
Array2<T> identity(Job& job, std::size_t n, std::string_view words) {
  Array2<T> matrix;
  const auto order = static_cast<std::ptrdiff_t>(n);
  if (!allocate(job, words, matrix, order, order)) return matrix;
  for (int i = 1; i <= matrix.extent(); ++i) matrix(i, i) = T{1};
  return matrix;
}

}  // namespace

void warn_of_allocation(Job& job, std::string_view words, Allocation status) {
  warnum(job, words, static_cast<int>(status));
  warn(job, status == Allocation::already_allocated ? "Attempt to allocate an allocated object"
                                                    : "Insufficient virtual memory");
}

void error_of_absent_array(Job& job, std::string_view name) {
  error(job, std::string("Array ").append(name).append(" is not allocated."));
}

Array2<int> integer_idmatrix(Job& job, std::span<const int> a) {
  return identity<int>(job, a.size(), "from memory allocation of INTEGER_IDMATRIX.");
}

Array2<double> real_idmatrix(Job& job, std::span<const double> a) {
  return identity<double>(job, a.size(), "from memory allocation of REAL_IDMATRIX.");
}

}  // namespace tarn
