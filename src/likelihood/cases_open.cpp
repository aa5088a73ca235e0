// Open populations whose first captures are part of the data. The rates of interval c stand in row 1, column
// c, those of occasion o in column o.

#include "likelihood/blocks/jolly_seber.h"
#include "likelihood/blocks/popan.h"
#include "likelihood/blocks/pradel.h"
#include "likelihood/chprob.h"

namespace tarn {
namespace {

template <class Family, class Real>
Ch_result<Real> captures_but_one(const Job& job, History histry, int i, int j, int lost,
                                 const Reals<Real>& parm, Cell_work<Real>& work) {
  const Live_facts& facts = facts_of<Family>(work, i, histry);
  return Ch_result<Real>::from(live_recaptures<Family>(job, histry, facts, lost != 0, j, parm, work));
}

}  // namespace

// Jolly-Seber with lambda (Burnham 1991), conditional on the first capture: live recaptures. What the first
// captures say stands in the closed-form term (term_d.h).
//
//   states      alive, dead; starts alive at the first capture
//   interval c  survives with Phi(c), to the power of the interval's length
//   occasion o  alive:  "1" with p(o), "0" with 1 - p(o);  dead:  "0" with 1
//   an animal lost on capture is followed to its last capture only
//
// p(o) stands in column o: the term reads p of occasion 1, too.
template <class Real>
void jolly_seber(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                 const Reals<Real>& parm, Cell_work<Real>& work) {
  result = captures_but_one<Jolly_seber>(job, histry, i, j, lost, parm, work);
}

TARN_CELL_ROUTINE(jolly_seber, Jolly_seber)

// POPAN (Schwarz and Arnason 1996), conditional on the first capture: live recaptures as above, and "." an
// occasion on which the animal could not be caught. How many were caught first, and when, stands in the
// closed-form term (term_e.h).
template <class Real>
void popan(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
           const Reals<Real>& parm, Cell_work<Real>& work) {
  result = captures_but_one<Popan>(job, histry, i, j, lost, parm, work);
}

TARN_CELL_ROUTINE(popan, Popan)

// Recruitment (Pradel 1996), conditional on the last capture, in reversed time.
//
//   states      there, not there yet; starts there at the last capture
//   interval c  one that is there at its end was there at its beginning with Gamma(c), to the power of the
//               interval's length
//   occasion o  there:  "1" with p(o), "0" with 1 - p(o);  not there:  "0" with 1
//   what happens behind the last capture, a removal too, tells nothing
namespace {

struct Recruitment : Counts_live<Recruitment> {
  static constexpr Live_matrices matrices{.by_cohort = false, .stays = Parameter::Gamma, .backwards = true};
  struct Prepared : Live_records {
    explicit Prepared(const Job& job) : Live_records(job, matrices) {}
  };
  template <class Real>
  using Kept = Live_kept<Real>;
};

}  // namespace

template <class Real>
void pradel(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
            const Reals<Real>& parm, Cell_work<Real>& work) {
  result = captures_but_one<Recruitment>(job, histry, i, j, lost, parm, work);
}

TARN_CELL_ROUTINE(pradel, Recruitment)

// Survival and growth (Pradel 1996), of an animal that is caught at least once.
//
//   states      not entered yet, alive and not caught yet, alive and caught before, dead
//   interval c  survives with Phi(c); the population grows by the factor Phi(c) / Gamma(c), Lambda(c) or
//               Phi(c) + f(c); all to the power of the interval's length; entrants make up the difference
//   occasion o  alive:  "1" with p(o), "0" with 1 - p(o);  else:  "0" with 1
//   of the animals caught on an occasion a share is removed: the population that grows is what is left
//   an animal lost on capture is followed to its last capture only
//
//   prob = chance that the first capture is this one (blocks/entry.h) times live recaptures behind it
namespace {

template <class Family, class Real>
Ch_result<Real> first_and_later_captures(const Job& job, History histry, int i, int j, int lost,
                                         const Reals<Real>& parm, Cell_work<Real>& work) {
  const Live_facts& facts = facts_of<Family>(work, i, histry);
  if (facts.first == 0) return Ch_result<Real>::from(0.0);
  return Ch_result<Real>::from(Family::caught_first(job, facts.first, j, parm, work) *
                               live_recaptures<Family>(job, histry, facts, lost != 0, j, parm, work));
}

}  // namespace

template <class Real>
void open_growth(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                 const Reals<Real>& parm, Cell_work<Real>& work) {
  result = first_and_later_captures<Pradel<true>>(job, histry, i, j, lost, parm, work);
}

// Link and Barker (2005): the same, but that entrants come to the population as it would be without removals.
template <class Real>
void link_barker(const Job& job, Ch_result<Real>& result, History histry, int i, int j, int lost,
                 const Reals<Real>& parm, Cell_work<Real>& work) {
  result = first_and_later_captures<Pradel<false>>(job, histry, i, j, lost, parm, work);
}

TARN_CELL_ROUTINE(open_growth, Pradel<true>)
TARN_CELL_ROUTINE(link_barker, Pradel<false>)

}  // namespace tarn
