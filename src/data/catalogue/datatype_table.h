#pragma once
// THE TABLE of data types; looked up through datatype.h.

#include <array>

#include "data/catalogue/datatype.h"

namespace tarn {

/// The rows of numbers 1 to 185, in order.
const std::array<Datatype, max_dattyp>& datatype_rows();

}  // namespace tarn
