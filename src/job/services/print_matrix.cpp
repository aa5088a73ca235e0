#include "job/services/print_matrix.h"

#include <algorithm>
#include <string>
#include <vector>

#include "job/services/template.h"
#include "job/streams/streams.h"

namespace tarn {

namespace {

std::string joined(std::initializer_list<std::string_view> pieces) {
  std::string text;
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

/// The item that heads a column: the matrix's own for integers, an integer of the same width for reals.
template <class T>
std::string heading_format(std::string_view format) {
  if (std::integral<T>) return std::string(format);
  const std::size_t letter = format.find_first_of("fegFEG");
  if (letter == std::string_view::npos) return std::string(format);  // bad; is told of when it is used
  const std::string_view behind = format.substr(letter + 1);
  return joined({"i", behind.substr(0, behind.find('.'))});
}

/// One page of a matrix; `element(i, j)` gives its cells.
template <class T, class Element>
void print_page(Job& job, int rows, int columns, std::string_view format, const Element& element) {
  std::vector<int> numbers;
  for (int j = 1; j <= columns; ++j) numbers.push_back(j);
  put_runtime(job, listing, joined({"(6x,*(", heading_format<T>(format), "))"}), numbers);
  const std::string row_template = joined({"(1x,i3,2x,*(", format, "))"});
  List<T> row(columns);
  for (int i = 1; i <= rows; ++i) {
    for (int j = 1; j <= columns; ++j) row(j) = element(i, j);
    put_runtime(job, listing, row_template, i, row.span());
  }
}

}  // namespace

template <class T>
void print_matrix(Job& job, const T& a, std::string_view format) {
  put_runtime(job, listing, joined({"(", format, ")"}), a);
}

template <class T>
void print_matrix(Job& job, const Array1<T>& a, std::string_view format) {
  const std::string line = joined({"(1x,i3,2x,", format, ")"});
  for (int i = 1; i <= a.extent(); ++i) put_runtime(job, listing, line, i, a(i));
}

template <class T>
void print_matrix(Job& job, const Array2<T>& a, std::string_view format) {
  print_page<T>(job, a.extent(1), a.extent(2), format, [&](int i, int j) { return a(i, j); });
}

template <class T>
void print_matrix(Job& job, const Array3<T>& a, std::string_view format) {
  for (int k = 1; k <= a.extent(3); ++k) {
    put(job, listing, "(4x,a,i0)", "dimension 3 index = ", k);
    print_page<T>(job, a.extent(1), a.extent(2), format, [&](int i, int j) { return a(i, j, k); });
  }
}

#define TARN_PRINT_MATRIX(T)                                            \
  template void print_matrix(Job&, const T&, std::string_view);         \
  template void print_matrix(Job&, const Array1<T>&, std::string_view); \
  template void print_matrix(Job&, const Array2<T>&, std::string_view); \
  template void print_matrix(Job&, const Array3<T>&, std::string_view)

TARN_PRINT_MATRIX(int);
TARN_PRINT_MATRIX(float);
TARN_PRINT_MATRIX(double);
TARN_PRINT_MATRIX(long double);
#ifdef __SIZEOF_FLOAT128__
__extension__ typedef __float128 Real128;
TARN_PRINT_MATRIX(Real128);
#endif
#undef TARN_PRINT_MATRIX

void matprt(Job& job, const Array2<double>& a) {
  Record record;
  for (int i = 1; i <= a.extent(1); ++i) {
    const std::string number = std::to_string(i);
    record.clear();
    record.text("ROW ")
        .text(std::string(number.size() < 4 ? 4 - number.size() : 0, ' '))
        .text(number, std::min<std::size_t>(number.size(), 4));
    for (int j = 1; j <= a.extent(2); ++j) record.value(a(i, j));
    job.streams.write_record(job.status.sysvcm, record);
  }
}

}  // namespace tarn
