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

Cell_routines cell_routines(Cell tag) {
  switch (tag) {
    case Cell::chprob001:
      return {chprob001<double>, chprob001<Derivative>, chprob001<Reach>};
    default:
      return {};
  }
}

}  // namespace tarn
