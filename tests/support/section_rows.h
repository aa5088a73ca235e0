#pragma once
// The sections of derived parameters on the listing of a deck.

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "support/deck_run.h"

namespace tarn {

/// The lines from the title of a section to the end of its procedure.
inline std::string section_of(const Deck_result& result, std::string_view title) {
  const std::size_t place = result.listing.find(title);
  if (place == std::string::npos) return {};
  return result.listing.substr(place, result.listing.find("\n For procedure", place) - place);
}

/// The four numbers of the row that begins with `label`.
inline std::vector<double> row_of(const std::string& section, std::string_view label) {
  const std::size_t place = section.find(label);
  std::vector<double> numbers;
  if (place == std::string::npos) return numbers;
  const char* text = section.c_str() + place + label.size();
  for (int k = 0; k < 4; ++k) {
    char* end = nullptr;
    numbers.push_back(std::strtod(text, &end));
    text = end;
  }
  return numbers;
}

/// The row of (group, session) or (group, occasion), numbers below 10.
inline std::vector<double> row_of(const std::string& section, int group, int number) {
  return row_of(section, "\n   " + std::to_string(group) + "     " + std::to_string(number) + " ");
}

}  // namespace tarn
