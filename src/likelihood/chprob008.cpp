// Joint live and dead encounters (Barker 1997, 1999), conditional on the first capture.
//
//   states      alive in the study area, alive outside, dead; starts in the area
//   interval c  survives with S(c) and is reported as blocks/barker.h tells; given survival, one inside stays
//               with F(c)^t, one outside returns with 1 - (1 - F'(c))^t
//   occasion o  in the area: caught with p(o); else never caught
//   cell c      first character "1": caught on occasion c
//               second character, interval c: "0" nothing, "1" reported dead, "2" seen alive
//   an animal lost on capture is followed to its last capture only
//
// Rates stand in the row of the first capture: S, r, R and R' in column c up to the interval behind the last
// occasion, F and F' in column c, p of occasion o in column o - 1.

#include <type_traits>

#include "likelihood/blocks/barker.h"
#include "likelihood/blocks/joint.h"
#include "likelihood/blocks/open_study.h"
#include "likelihood/chprob.h"

namespace tarn {

namespace {

template <class Real, class Matrix>
struct Rates : Barker_rates<Real, Matrix> {
  using Base = Barker_rates<Real, Matrix>;
  Matrix p, stays_inside, comes_back;

  Real survives(int c) const { return Base::survives(c, c); }
  Real shows_alive(char event, int c) const { return Base::shows_alive(event, c, c); }
  Real shows_dead(char event, int c) const { return Base::shows_dead(event, c, c); }
  Real stays(int c) const { return this->rate.survival(stays_inside(this->row, c), c); }
  Real returns(int c) const { return this->rate.within(comes_back(this->row, c), c); }
  Real caught(int c) const { return this->parm[p(this->row, c)]; }
};

}  // namespace

template <class Real>
void chprob008(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  const Joint_animal animal(histry, facts_of<Open_study>(work, i, histry), lost != 0);
  if (const char unknown = unknown_to_barker(animal); unknown != '0') {
    work.fail(i, barker_fault_of(unknown));
    result = Ch_result<Real>::floor();
    return;
  }
  const auto matrix = [&](Parameter parameter) { return work.matrix(parameter, j); };
  using Matrix = std::decay_t<decltype(matrix(Parameter::S))>;
  const Rates<Real, Matrix> rates{
      barker_rates(rates_of<Open_study>(job, parm, work), parm, animal.first, matrix), matrix(Parameter::p),
      matrix(Parameter::F), matrix(Parameter::F_prime)};
  result = Ch_result<Real>::from(joint_encounters<Real>(animal, rates));
}

TARN_CELL_ROUTINE(chprob008, Open_study)

}  // namespace tarn
