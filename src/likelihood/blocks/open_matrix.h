#pragma once
// The matrix that takes animals of all states one occasion on within an open session, and the check that its
// rows sum to 1. Cells are computed without it (open_session.h); where rates are so large that rounding
// eats a row, they have no meaning.
//
//   forms of a state  not arrived; present, by occasion of arrival where that counts, and then the same of
//                     those caught before where that counts; gone or taking no part. Behind all: dead
//   onto occasion 1   from not arrived: takes part and arrives, takes part and does not, takes no part
//   onto occasion o   not arrived: arrives or not; present: stays or goes

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "likelihood/blocks/open_session.h"
#include "numerics/array.h"

namespace tarn {

inline constexpr std::string_view open_matrix_text =
    "'A' matrix is not correctly configured.  Rows do not sum to 1.";

/// A row may miss 1 by so much.
inline constexpr double largest_row_error = 9.999999747378752e-06;

/// The chances of one state on the way onto an occasion.
struct Open_step {
  double takes_part = 1.0;    ///< onto occasion 1
  double arrives = 0.0;       ///< of those not there yet
  std::vector<double> stays;  ///< of those present, by class of arrival; empty onto occasion 1
};

/// What the forms of a state are told apart by.
struct Open_forms {
  int arrivals = 1;         ///< occasions of arrival that are told apart
  bool met_before = false;  ///< whether it was caught before
  int present() const { return met_before ? 2 * arrivals : arrivals; }
  int order(int states) const { return (2 + present()) * states + 1; }
};

/// The matrix onto occasion o, form by form, within each state by state.
Array2<double> open_matrix(const Open_forms& forms, int o, std::span<const Open_step> states);

/// Sums of the rows of a matrix.
std::vector<double> row_sums(const Array2<double>& matrix);

/// Element (from 0) of the sum that is farthest from 1, -1 when none is too far.
int row_that_is_off(std::span<const double> sums);

/// What the listing shows of a matrix of which row `row` (from 0) is off.
std::vector<std::string> open_matrix_lines(const Open_place& place, int o, int row, int states,
                                           const Array2<double>& matrix, std::span<const double> sums);

/// Checks the matrices of a session of `place` in all states: one that is off is a fault of history i.
template <class Real>
void check_open_matrices(const Job& job, const Open_traits& traits, Open_place place, int states, int i,
                         const Reals<Real>& parm, Cell_work<Real>& work) {
  const auto matrix_of = [&](Parameter parameter, int a) -> decltype(auto) {
    return work.matrix(parameter, a, place.session, place.group);
  };
  // Of a cell that no history reads there may be no real parameter.
  const auto value = [&](const auto& matrix, int r, int c) {
    if (matrix.row_read(r) > matrix.nrows || c > matrix.ncols) return 1.0;
    const int number = matrix(r, c);
    return number < 1 || number > job.model.nlogit ? 1.0 : value_of(parm[number]);
  };
  const Open_forms forms{traits.by_arrival ? place.length : 1, traits.recapture};
  for (int o = 1; o <= place.length; ++o) {
    bool outside = false;
    const auto see = [&outside](double chance) {
      outside = outside || chance < 0.0 || chance > 1.0;
      return chance;
    };
    for (int a = 1; a <= states; ++a)
      if (o == 1) {
        if (traits.participation) see(value(matrix_of(Parameter::alpha, a), 1, 1));
      } else {
        const auto phi = matrix_of(Parameter::Phi, a);
        for (int k = 1; k <= std::min(forms.arrivals, o - 1); ++k) see(value(phi, k, o - 1));
      }
    if (!outside) continue;  // of chances every row sums to 1
    std::vector<Open_step> steps(static_cast<std::size_t>(states));
    for (int a = 1; a <= states; ++a) {
      Open_step& step = steps[static_cast<std::size_t>(a) - 1];
      place.stratum = a;
      const std::size_t n = static_cast<std::size_t>(place.length);
      const std::span<Real> arrive = work.take(n), absent = work.take(n);
      arrivals_of(job, traits, place, parm, work, arrive, absent);
      const double waiting = o == 1 ? 1.0 : value_of(absent[static_cast<std::size_t>(o) - 2]);
      step.arrives = waiting == 0.0 ? 0.0 : value_of(arrive[static_cast<std::size_t>(o) - 1]) / waiting;
      if (o == 1 && traits.participation) step.takes_part = value(matrix_of(Parameter::alpha, a), 1, 1);
      const auto phi = matrix_of(Parameter::Phi, a);
      for (int k = 1; o > 1 && k <= forms.arrivals; ++k)
        step.stays.push_back(k < o ? value(phi, k, o - 1) : 1.0);
    }
    const Array2<double> matrix = open_matrix(forms, o, steps);
    const std::vector<double> sums = row_sums(matrix);
    if (const int row = row_that_is_off(sums); row >= 0)
      return work.fail(i, open_matrix_text, open_matrix_lines(place, o, row, states, matrix, sums));
  }
}

}  // namespace tarn
