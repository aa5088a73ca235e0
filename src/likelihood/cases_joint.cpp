// Joint live and dead encounters (Burnham 1993), conditional on the first capture.
//
//   states      alive in the study area, alive outside for good, dead; starts in the area
//   interval c  survives with S(c); stays in the area with F(c), given survival; both to the power of the
//               interval's length; a death is reported with r(c), wherever it happens
//   occasion o  in the area: caught with p(o); else never caught
//   cell c      first character "1": caught on occasion c
//               second character not "0": reported dead in interval c
//   an animal lost on capture is followed to its last capture only
//
// Rates stand in the row of the first capture: S and r in column c up to the interval behind the last
// occasion, F in column c, p of occasion o in column o - 1.

#include <type_traits>
#include "likelihood/blocks/open_study.h"

#include "likelihood/blocks/joint.h"
#include "likelihood/chprob.h"

namespace tarn {

template <class Real>
void burnham(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
             const Reals<Real>& parm, Cell_work<Real>& work) {
  using Pim = std::decay_t<decltype(work.matrix(Parameter::S, j))>;
  struct Rates {
    Interval_rates<Real> rate;
    const Reals<Real>& parm;
    int first;
    Pim s, p, r, f;

    static char event(char record) { return record == '0' ? '0' : '1'; }
    Real survives(int c) const { return rate.survival(s(first, c), c); }
    Real shows_alive(char, int) const { return 1.0; }
    Real shows_dead(char event, int c) const {
      const Real& reports = parm[r(first, c)];
      return event == '1' ? reports : Real(1.0 - reports);
    }
    Real stays(int c) const { return rate.survival(f(first, c), c); }
    Real returns(int) const { return 0.0; }
    Real caught(int c) const { return parm[p(first, c)]; }
  };
  const History_facts& facts = facts_of<Open_study>(work, i, histry);
  const Rates rates{rates_of<Open_study>(job, parm, work),
                    parm,
                    facts.first,
                    work.matrix(Parameter::S, j),
                    work.matrix(Parameter::p, j),
                    work.matrix(Parameter::r, j),
                    work.matrix(Parameter::F, j)};
  result = Ch_result<Real>::from(joint_encounters<Real>(Joint_animal(histry, facts, lost != 0), rates));
}

TARN_CELL_ROUTINE(burnham, Open_study)

}  // namespace tarn
