// The data procedure: any statements and records behind a sound head. The first byte chooses the data type.

#include <string>

#include "data/catalogue/datatype.h"
#include "fuzz_run.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  static const char* const heads[] = {
      "occasions=4 groups=1 hist=12 etype=LIVE",
      "occasions=4 groups=2 hist=12 icovar=1 etype=LIVE",
      "occasions=3 groups=1 hist=12 etype=DEAD",
      "occasions=3 groups=1 hist=12 etype=BOTH",
      "occasions=3 groups=1 hist=12 etype=BARKER",
      "occasions=3 groups=1 hist=12 etype=BROWNIE",
      "occasions=3 groups=1 hist=12 etype=KNOWN",
      "occasions=9 groups=1 hist=12 etype=NEST",
      "occasions=4 groups=1 hist=12 strata=2 etype=MULTISTRATA",
      "occasions=6 groups=1 hist=12 etype=ROBUST",
      "occasions=4 groups=1 hist=12 etype=LOGITNORMALMR",
      "occasions=4 groups=1 hist=12 etype=POISSONMR",
      "occasions=4 groups=1 hist=12 etype=DENSITYPC",
      "occasions=4 groups=1 hist=12 etype=CLOSED",
  };
  const std::size_t choice = bytes[0] % (sizeof heads / sizeof *heads);
  std::string deck = std::string("proc chmatrix ") + heads[choice] + ";\n";
  deck.append(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  tarn::run_bounded(deck + "\nproc stop;\n");
  return 0;
}
