// The estimation procedure: its options and any statements, behind sound data with covariates.

#include <string>

#include "fuzz_run.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string data =
      "proc chmatrix occasions=4 groups=1 hist=9 icovar=2 etype=LIVE;\nicovariates=weight sex;\n"
      "1110 1 10.5 0;\n1101 1 9 1;\n1100 2 . 1;\n1000 3 7.5 0;\n0111 1 12 1;\n0110 2 8 0;\n0011 1 9.5 1;\n";
  tarn::run_bounded(data + "proc estimate " + std::string(reinterpret_cast<const char*>(bytes), size) +
                    "\nproc stop;\n");
  return 0;
}
