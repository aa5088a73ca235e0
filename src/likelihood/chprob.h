#pragma once
// The frame that the cases of the catch-all routine share, and the instantiation of a routine.

#include <string_view>

#include "likelihood/blocks/cell.h"

namespace tarn {

/// Text of the fatal end when a result cannot be given; a case that meets such a record passes it to `fail`.
inline constexpr std::string_view no_result_text =
    "result_var has an error for this data type.  LOGLIKE not computed.";

/// The two products of a case whose probability is a product of session terms: the probability itself, and
/// its logarithm as a sum in which every term is floored by itself.
template <class Real>
struct Session_product {
  Ch_result<Real> result;

  void multiply(const Real& term) {
    result.prob = result.prob * term;
    result.lnprob = result.lnprob + floored_log(term);
  }
};

}  // namespace tarn

/// The three instantiations of a cell routine; stands at the end of its file.
#define TARN_CELL_ROUTINE(name)                                                                     \
  template void name(const Job&, Ch_result<double>&, History, int, int, int, Reals<double>,         \
                     Cell_work<double>&);                                                           \
  template void name(const Job&, Ch_result<Derivative>&, History, int, int, int, Reals<Derivative>, \
                     Cell_work<Derivative>&);                                                       \
  template void name(const Job&, Ch_result<Reach>&, History, int, int, int, Reals<Reach>, Cell_work<Reach>&);
