#pragma once
// Simulated data for measurements. The same seed gives the same data on every machine.

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::bench {

/// Live recaptures: animals are released for the first time on occasions 1 to `occasions` - 1 in turn,
/// survive interval c with logit^-1(a(c) + slope x) and are caught with p(c); x is standard normal, in every
/// animal.
struct Live_design {
  int occasions = 20;
  int animals = 1000;
  int groups = 1;
  double slope = 0.0;  ///< of survival in the covariate; with a slope records are not folded
  std::uint64_t seed = 1;

  double survival_logit(int c) const;  ///< a(c)
  double capture(int c) const;         ///< p of occasion c + 1
};

struct Live_record {
  std::string live;         ///< one character an occasion
  std::vector<int> counts;  ///< by group
  double covariate = 0.0;
};

/// One record an animal with a slope, else one a distinct history.
std::vector<Live_record> live_recaptures(const Live_design& design);

}  // namespace tarn::bench
