// Runs a fuzz target over files and folders of files; for builds without a fuzzing engine.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

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

}  // namespace

int main(int count, char** arguments) {
  int files = 0;
  for (int i = 1; i < count; ++i) files += replay(arguments[i]);
  std::cout << files << " inputs replayed\n";
  return files == 0;
}
