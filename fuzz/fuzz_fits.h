#pragma once
// Which inputs of a run came to the end of a fit.

#include <map>

namespace tarn {

/// By data type, the number of inputs with a fit.
inline std::map<int, int>& fits_by_type() {
  static std::map<int, int> fits;
  return fits;
}
inline void note_fit(int dattyp) { ++fits_by_type()[dattyp]; }

}  // namespace tarn
