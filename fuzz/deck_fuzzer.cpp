// A whole deck.

#include "fuzz_run.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  tarn::run_bounded({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
