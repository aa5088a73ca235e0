#pragma once
// The sections of derived parameters: what each shows and how, and which of them a data type has.

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/catalogue/datatype.h"
#include "derived/derivedest.h"
#include "derived/intervals.h"
#include "job/services/template.h"

namespace tarn {

/// Scale of the limits; see intervals.h.
enum class Interval { probability, population, log, plain };

/// Numbers in front of each value's row, groups outermost: one list per value.
using Row_labels = std::vector<std::vector<int>> (*)(const Job& job);

/// One block of the listing and of the variance-covariance file.
struct Section {
  std::string_view title;  ///< the model name goes behind
  int width = 0;           ///< of the ruler; the character of this code marks the block in the file
  std::span<const Template<>> heading;
  int heading_lines = 0;
  Template<std::span<const int>, std::array<std::string, 4>> row;
  Row_labels rows = nullptr;
  Interval interval = Interval::plain;
  bool inflated = false;  ///< variances are multiplied by c-hat
  Derived_routine routine = nullptr;

  char letter() const { return static_cast<char>(width); }
};

/// The sections of a data type in listing order; empty when nothing is derived, or not yet.
std::span<const Section* const> derived_sections(const Datatype& type);

}  // namespace tarn
