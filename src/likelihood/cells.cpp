#include "likelihood/cells.h"

namespace tarn {

#define TARN_CELL(tag, routine) Cell_routines routines_of_##routine();
#include "likelihood/cells.def"
#undef TARN_CELL

Cell_routines cell_routines(Cell tag) {
#define TARN_CELL(name, routine) \
  if (tag == Cell::name) return routines_of_##routine();
#include "likelihood/cells.def"
#undef TARN_CELL
  return {};
}

}  // namespace tarn
