// Runs a fuzz target over files and folders of files; for builds without a fuzzing engine.
//   replay_NAME [--fits N] [--every-type] PLACE ...
// Fails when fewer than N inputs come to the end of a fit, or, of a data type with a cell routine, none.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>

#include "fuzz_fits.h"
#include "support/fitted_types.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

int replay(const std::filesystem::path& place) {
  if (std::filesystem::is_directory(place)) {
    int count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(place))
      if (entry.is_regular_file()) count += replay(entry.path());
    return count;
  }
  std::ifstream file(place, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::cout << place.filename().string() << std::endl;
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  return 1;
}

/// The number of inputs with a fit, told with those of each data type.
int tell_fits() {
  int total = 0;
  std::cout << "inputs with a fit, by data type:";
  for (const auto& [type, fits] : tarn::fits_by_type()) {
    total += fits;
    std::cout << ' ' << type << " (" << fits << ')';
  }
  std::cout << "\ninputs with a fit: " << total << '\n';
  return total;
}

bool every_type_is_fitted() {
  bool every = true;
  for (const int type : tarn::types_with_a_routine())
    if (!tarn::fits_by_type().contains(type)) {
      every = false;
      std::cout << "no input of data type " << type << " comes to the end of a fit\n";
    }
  return every;
}

}  // namespace

int main(int count, char** arguments) {
  int files = 0, fits_wanted = 0;
  bool every_type = false;
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--fits" && i + 1 < count)
      fits_wanted = std::stoi(arguments[++i]);
    else if (argument == "--every-type")
      every_type = true;
    else
      files += replay(argument);
  }
  std::cout << files << " inputs replayed\n";
  const bool enough_fits = tell_fits() >= fits_wanted;
  if (!enough_fits) std::cout << "fewer than the " << fits_wanted << " that the corpus is for\n";
  return files == 0 || !enough_fits || (every_type && !every_type_is_fitted());
}
