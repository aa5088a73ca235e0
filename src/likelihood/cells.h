#pragma once
// From the tag of a data type's cell to its routine.

#include "data/catalogue/datatype.h"
#include "likelihood/blocks/reach.h"
#include "model/data_module.h"
#include "numerics/derivative.h"

namespace tarn {

/// One routine in its three instantiations.
struct Cell_routines {
  Cell_routine<double> plain = nullptr;
  Cell_routine<Derivative> derivative = nullptr;
  Cell_routine<Reach> reach = nullptr;
};

/// All three are nullptr when no routine stands behind the tag.
Cell_routines cell_routines(Cell tag);

}  // namespace tarn
