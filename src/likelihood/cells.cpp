#include "likelihood/cells.h"

#include "likelihood/blocks/cell.h"

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
TARN_DECLARE(chprob002)
TARN_DECLARE(chprob008)
TARN_DECLARE(burnham)
TARN_DECLARE(known_fate)
TARN_DECLARE(bto)
TARN_DECLARE(brownie)
TARN_DECLARE(vpa)
TARN_DECLARE(nest)
TARN_DECLARE(lysma)
TARN_DECLARE(closed_population)
TARN_DECLARE(closed_density)

Cell_routines cell_routines(Cell tag) {
  switch (tag) {
    case Cell::chprob001:
      return {chprob001<double>, chprob001<Derivative>, chprob001<Reach>};
    case Cell::chprob002:
      return {chprob002<double>, chprob002<Derivative>, chprob002<Reach>};
    case Cell::chprob008:
      return {chprob008<double>, chprob008<Derivative>, chprob008<Reach>};
    case Cell::burnham:
      return {burnham<double>, burnham<Derivative>, burnham<Reach>};
    case Cell::known_fate:
      return {known_fate<double>, known_fate<Derivative>, known_fate<Reach>};
    case Cell::bto:
      return {bto<double>, bto<Derivative>, bto<Reach>};
    case Cell::brownie:
      return {brownie<double>, brownie<Derivative>, brownie<Reach>};
    case Cell::vpa:
      return {vpa<double>, vpa<Derivative>, vpa<Reach>};
    case Cell::nest:
      return {nest<double>, nest<Derivative>, nest<Reach>};
    case Cell::lysma:
      return {lysma<double>, lysma<Derivative>, lysma<Reach>};
    case Cell::closed:
      return {closed_population<double>, closed_population<Derivative>, closed_population<Reach>};
    case Cell::density:
      return {closed_density<double>, closed_density<Derivative>, closed_density<Reach>};
    default:
      return {};
  }
}

}  // namespace tarn
