// Joint live and dead encounters (Barker 1997, 1999), conditional on the first capture.
//
//   states      alive in the study area, alive outside, dead; starts in the area
//   interval c  survives with S(c), to the power of the interval's length t; given survival, one inside stays
//               with F(c)^t, one outside returns with 1 - (1 - F'(c))^t
//               a survivor is seen with 1 - (1 - R(c))^t; a death is reported with r(c), and one that is not
//               was seen alive before with 1 - (1 - R'(c))^t; all this wherever the animal is
//   occasion o  in the area: caught with p(o); else never caught
//   cell c      first character "1": caught on occasion c
//               second character, interval c: "0" nothing, "1" reported dead, "2" seen alive
//   an animal lost on capture is followed to its last capture only
//
// Rates stand in the row of the first capture: S, r, R and R' in column c up to the interval behind the last
// occasion, F and F' in column c, p of occasion o in column o - 1.

#include <string>
#include <type_traits>

#include "likelihood/blocks/joint.h"
#include "likelihood/blocks/open_study.h"
#include "likelihood/chprob.h"

namespace tarn {

template <class Real>
void chprob008(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
               const Reals<Real>& parm, Cell_work<Real>& work) {
  using Pim = std::decay_t<decltype(work.matrix(Parameter::S, j))>;
  struct Rates {
    Interval_rates<Real> rate;
    const Reals<Real>& parm;
    int first;
    Pim s, p, r, seen, seen_before_death, f, f_outside;

    static char event(History h, int c) { return h.dead(c); }
    Real survives(int c) const { return rate.survival(s(first, c), c); }
    Real shows_alive(char event, int c) const { return shows(event, rate.within(seen(first, c), c)); }
    Real shows_dead(char event, int c) const {
      const Real& reports = parm[r(first, c)];
      if (event == '1') return reports;
      return (1.0 - reports) * shows(event, rate.within(seen_before_death(first, c), c));
    }
    Real stays(int c) const { return rate.survival(f(first, c), c); }
    Real returns(int c) const { return rate.within(f_outside(first, c), c); }
    Real caught(int c) const { return parm[p(first, c)]; }

   private:
    static Real shows(char event, const Real& chance) { return event == '2' ? chance : Real(1.0 - chance); }
  };
  const History_facts& facts = facts_of<Open_study>(work, i, histry);
  for (int c = facts.first; c <= histry.noccas(); ++c) {
    const char event = histry.dead(c);
    if (event == '0' || event == '1' || event == '2') continue;
    work.fail(i, std::string("Error in Barker capture history: ") + event);
    result = Ch_result<Real>::floor();
    return;
  }
  const auto matrix = [&](Parameter parameter) { return work.matrix(parameter, j); };
  const Rates rates{rates_of<Open_study>(job, parm, work),
                    parm,
                    facts.first,
                    matrix(Parameter::S),
                    matrix(Parameter::p),
                    matrix(Parameter::r),
                    matrix(Parameter::R),
                    matrix(Parameter::R_prime),
                    matrix(Parameter::F),
                    matrix(Parameter::F_prime)};
  result = Ch_result<Real>::from(joint_encounters<Real>(histry, facts, lost != 0, rates));
}

TARN_CELL_ROUTINE(chprob008, Open_study)

}  // namespace tarn
