#include "likelihood/blocks/open_matrix.h"

#include <cmath>

#include "job/services/template.h"

namespace tarn {

Array2<double> open_matrix(const Open_forms& forms, int o, std::span<const Open_step> states) {
  const int n = static_cast<int>(states.size()), order = forms.order(n);
  Array2<double> matrix;
  make_work_area(matrix, order, order);
  const auto at = [n](int form, int a) { return form * n + a; };
  const int gone = forms.present() + 1;
  for (int k = 1; k <= order; ++k) matrix(k, k) = 1.0;
  for (int a = 1; a <= n; ++a) {
    const Open_step& step = states[static_cast<std::size_t>(a) - 1];
    const double b = step.arrives, c = step.takes_part;
    const int waiting = at(0, a), entered = at(o == 1 || forms.arrivals == 1 ? 1 : o, a);
    matrix(waiting, waiting) = (1.0 - b) * c;
    matrix(waiting, entered) = b * c;
    matrix(waiting, at(gone, a)) = 1.0 - c;
    for (int k = 1; o > 1 && k <= forms.present(); ++k) {
      const double stays = step.stays[static_cast<std::size_t>((k - 1) % forms.arrivals)];
      matrix(at(k, a), at(k, a)) = stays;
      matrix(at(k, a), at(gone, a)) = 1.0 - stays;
    }
  }
  return matrix;
}

std::vector<double> row_sums(const Array2<double>& matrix) {
  std::vector<double> sums;
  for (int r = 1; r <= matrix.extent(1); ++r) {
    double sum = 0.0;
    for (int c = 1; c <= matrix.extent(2); ++c) sum += matrix(r, c);
    sums.push_back(sum);
  }
  return sums;
}

int row_that_is_off(std::span<const double> sums) {
  int row = -1;
  double worst = largest_row_error;
  for (std::size_t k = 0; k < sums.size(); ++k)
    if (const double error = std::fabs(sums[k] - 1.0); error > worst) {
      worst = error;
      row = static_cast<int>(k);
    }
  return row;
}

std::vector<std::string> open_matrix_lines(const Open_place& place, int o, int row, int states,
                                           const Array2<double>& matrix, std::span<const double> sums) {
  const int order = matrix.extent(1);
  double total = 0.0;
  for (const double sum : sums) total += sum;
  std::vector<std::string> lines;
  const auto add = [&lines](const std::string& text) {
    for (std::size_t from = 0; from <= text.size();) {
      const std::size_t end = std::min(text.find('\n', from), text.size());
      lines.push_back(text.substr(from, end - from));
      from = end + 1;
    }
  };
  add(formatted("(1x,5(a,i0,1x),/2x,a,g14.7,2x,a)", "J = ", place.group, " ISTRTA = ", row % states + 1,
                " IPRIMY = ", place.session, " NSEC = ", o, " NDIM = ", order,
                "Matrix Sum - Rank = ", total - order, "First Row Sums, then A matrix:"));
  add(formatted("(8x,*(f8.6,2x))", sums));
  for (int r = 1; r <= order; ++r) {
    std::vector<double> elements;
    for (int c = 1; c <= order; ++c) elements.push_back(matrix(r, c));
    add(formatted("(8x,*(f8.6,2x))", std::span<const double>(elements)));
  }
  return lines;
}

}  // namespace tarn
