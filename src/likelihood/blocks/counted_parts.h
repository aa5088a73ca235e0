#pragma once
// Histories that are counted and not walked: the logarithms of what they are products of.

#include <algorithm>
#include <vector>

#include "likelihood/cell/cell.h"

namespace tarn {

/// Adds the logarithm of a part that `animals` have in common. False where a history with it may meet the
/// floor, the range penalty or the penalty's kink, which see whole histories only: a part that is not above
/// 0, or above 1, or 1 without a reason.
/// @param may_be_certain  nothing that the part depends on makes it 1
/// @param least  least of the logarithms so far, 0 or below
template <class Real>
bool add_part(std::vector<Counted_log<Real>>& logs, double animals, const Real& chance, bool may_be_certain,
              double& least) {
  const double v = value_of(chance);
  if (!(v > 0.0 && (v < 1.0 || (v == 1.0 && may_be_certain)))) return false;
  logs.push_back({animals, log(chance)});
  least = std::min(least, value_of(logs.back().log));
  return true;
}

/// Whether a history of which the logarithms of the parts are at least this keeps away from the floor.
inline bool clear_of_the_floor(double least) { return least > floored_log(0.0) + 1.0; }

}  // namespace tarn
