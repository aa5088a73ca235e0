#pragma once
// Terms of the log likelihood that depend on summary counts and on real parameters only.

#include "data/catalogue/datatype.h"
#include "likelihood/cell/cell.h"
#include "likelihood/charge.h"

namespace tarn {

/// Closed-form terms of the log likelihood, and their penalty.
template <class Real>
struct Closed_value {
  Real likelihood = 0.0, penalty = 0.0;
};

/// The closed-form term of a data type, summed over groups, as an addend of the log likelihood; its penalties
/// go to `work.penlty`. A type without one gives 0. Models whose term is not `is_available` are not set up.
///
/// Term A, of one closed session with M animals caught and f0 never caught, with probability q of that:
/// f0 log(max(q, `minlog`)) + lgamma(f0 + M + 1) - lgamma(f0 + 1).
///
/// Terms B and C, of closed sessions: term A of each of them, by group and stratum.
///
/// Term D, of an open population: see term_d.h. Term E: see term_e.h. `phase3` adds the factor of the number
/// present at the start.
/// @param charges  where given, each penalty that term D meets is appended
template <class Real>
Real closed_terms(const Job& job, Closed_form form, const Reals<Real>& parm, Cell_work<Real>& work,
                  Charges* charges = nullptr);

}  // namespace tarn
