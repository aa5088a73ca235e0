#pragma once
// From the tag of a data type's cell to its routine.

#include "data/catalogue/datatype.h"
#include "likelihood/cell/cell.h"

namespace tarn {

/// The routine behind a tag; not `given()` where none stands behind it.
Cell_routines cell_routines(Cell tag);

}  // namespace tarn
