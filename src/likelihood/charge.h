#pragma once
// What DEBUG lists of the penalties of a closed-form term.

#include <optional>
#include <string_view>
#include <vector>

namespace tarn {

/// One penalty: group and occasion are 0, and the amount absent, where its line does not tell them.
struct Charge {
  std::string_view text{};
  int group = 0, occasion = 0;
  std::optional<double> amount{};
};
using Charges = std::vector<Charge>;

}  // namespace tarn
