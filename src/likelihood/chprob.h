#pragma once
// The frame that the cases of the catch-all routine share.

#include <string_view>

#include "likelihood/cell/cell.h"

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
