#pragma once
// What is reported of an animal between captures (Barker 1997, 1999).
//
//   interval c  survives with S(c), to the power of the interval's length t; a survivor is seen with
//               1 - (1 - R(c))^t; a death is reported with r(c), and one that is not was seen alive before
//               with 1 - (1 - R'(c))^t; all this wherever the animal is
//   report      "0" nothing, "1" reported dead, "2" seen alive

#include <string>

#include "likelihood/blocks/rates.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// Rates of interval c, which has the length of time interval t; they stand in column c of one row.
template <class Real, class Matrix>
struct Barker_rates {
  Interval_rates<Real> rate;
  const Reals<Real>& parm;
  int row;
  Matrix s, r, seen, seen_before_death;

  static char event(char record) { return record; }
  Real survives(int c, int t) const { return rate.survival(s(row, c), t); }
  Real shows_alive(char event, int c, int t) const { return shows(event, rate.within(seen(row, c), t)); }
  Real shows_dead(char event, int c, int t) const {
    const Real& reports = parm[r(row, c)];
    if (event == '1') return reports;
    return (1.0 - reports) * shows(event, rate.within(seen_before_death(row, c), t));
  }

 private:
  static Real shows(char event, const Real& chance) { return event == '2' ? chance : Real(1.0 - chance); }
};

/// The rates in row `row`; matrix(parameter) gives a matrix.
template <class Real, class Matrix_of>
auto barker_rates(const Interval_rates<Real>& rate, const Reals<Real>& parm, int row,
                  const Matrix_of& matrix) {
  using Matrix = std::decay_t<decltype(matrix(Parameter::S))>;
  return Barker_rates<Real, Matrix>{rate,
                                    parm,
                                    row,
                                    matrix(Parameter::S),
                                    matrix(Parameter::r),
                                    matrix(Parameter::R),
                                    matrix(Parameter::R_prime)};
}

/// The first report of an animal (see joint.h), from its first capture on, that is none of the above; '0'
/// when all are.
template <class Animal>
char unknown_to_barker(const Animal& animal) {
  for (int c = animal.first; c >= 1 && c <= animal.periods; ++c) {
    const char report = animal.record(c);
    if (report != '0' && report != '1' && report != '2') return report;
  }
  return '0';
}

/// The fault of a record with such a report.
inline std::string barker_fault_of(char report) {
  return std::string("Error in Barker capture history: ") + report;
}

}  // namespace tarn
