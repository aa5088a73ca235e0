#pragma once
// An open population of which the marked are caught again: what is expected to be recorded of it.

#include <array>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/model_builder.h"

namespace tarn {

/// An open population that grows by `lambda` and survives with `phi` in each interval; every animal caught is
/// lost with chance `loss`.
struct Population {
  double present;  ///< on occasion 1
  std::vector<double> phi, p, lambda;
  double loss = 0.0;
};

struct Expected {
  std::map<std::string, std::array<double, 2>> counts;  ///< by history: released, lost
  double first_caught = 0.0;                            ///< on occasion 1
};

/// By intervals of lengths `t`.
inline Expected expected_counts(const Population& of, const std::vector<double>& t) {
  const std::size_t last = of.p.size() - 1;
  std::vector<double> survives, grows, never_again(of.p.size(), 1.0);
  for (std::size_t c = 0; c < last; ++c) {
    survives.push_back(std::pow(of.phi[c], t[c]));
    grows.push_back(std::pow(of.lambda[c], t[c]));
  }
  for (std::size_t o = last; o-- > 0;)
    never_again[o] = 1.0 - survives[o] + survives[o] * (1.0 - of.p[o + 1]) * never_again[o + 1];
  Expected made;
  made.first_caught = of.present * of.p[0];
  double all = of.present, unmarked = of.present;
  for (std::size_t first = 0; first <= last; ++first) {
    for (unsigned bits = 0; bits < 1U << (last - first); ++bits) {
      const std::string later = first < last ? binary_history(bits, static_cast<int>(last - first)) : "";
      const std::string history = std::string(first, '0') + "1" + later;
      const std::size_t end = history.rfind('1');
      double animals = unmarked * of.p[first];
      for (std::size_t o = first + 1; o <= end; ++o)
        animals *= (1.0 - (history[o - 1] == '1' ? of.loss : 0.0)) * survives[o - 1] *
                   (history[o] == '1' ? of.p[o] : 1.0 - of.p[o]);
      made.counts[history] = {animals * (1.0 - of.loss) * never_again[end], animals * of.loss};
    }
    if (first == last) break;
    const double left = all * (1.0 - of.p[first] * of.loss);
    unmarked = unmarked * (1.0 - of.p[first]) * survives[first] + left * (grows[first] - survives[first]);
    all = left * grows[first];
  }
  return made;
}

}  // namespace tarn
