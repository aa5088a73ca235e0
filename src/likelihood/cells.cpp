#include "likelihood/cells.h"

#include "likelihood/cell.h"

namespace tarn {

#define TARN_DECLARE(name)                                                                                 \
  template <class Real>                                                                                    \
  void name(const Job&, Ch_result<Real>&, History, int, int, int, Reals<Real>, Cell_work<Real>&);          \
  extern template void name(const Job&, Ch_result<double>&, History, int, int, int, Reals<double>,         \
                            Cell_work<double>&);                                                           \
  extern template void name(const Job&, Ch_result<Derivative>&, History, int, int, int, Reals<Derivative>, \
                            Cell_work<Derivative>&);                                                       \
  extern template void name(const Job&, Ch_result<Reach>&, History, int, int, int, Reals<Reach>,           \
                            Cell_work<Reach>&);

TARN_DECLARE(chprob001)
TARN_DECLARE(closed_population)
TARN_DECLARE(closed_density)

Cell_routines cell_routines(Cell tag) {
  switch (tag) {
    case Cell::chprob001:
      return {chprob001<double>, chprob001<Derivative>, chprob001<Reach>};
    case Cell::closed:
      return {closed_population<double>, closed_population<Derivative>, closed_population<Reach>};
    case Cell::density:
      return {closed_density<double>, closed_density<Derivative>, closed_density<Reach>};
    default:
      return {};
  }
}

}  // namespace tarn
