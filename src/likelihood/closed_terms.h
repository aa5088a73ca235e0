#pragma once
// Terms of the log likelihood that depend on summary counts and on real parameters only.

#include "data/datatype.h"
#include "likelihood/cell.h"

namespace tarn {

/// The closed-form term of a data type, summed over groups, as an addend of the log likelihood; its penalties
/// go to `work.penlty`, which the caller has cleared. A type without one gives 0, and every type that has a
/// cell routine today is such a type: a term is added here together with the routines that need it.
template <class Real>
Real closed_terms(const Job&, Closed_form, Reals<Real>, Cell_work<Real>&) {
  return 0.0;
}

}  // namespace tarn
