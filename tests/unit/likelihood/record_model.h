#pragma once
// Models of live recaptures whose real parameters depend on the record in several ways.

#include <random>
#include <string>
#include <vector>

#include "support/model_builder.h"

namespace tarn {

/// How the real parameters come about; those of the last kind depend on no record.
enum class Kind { covariate, functions, multinomial, fixed, shared };

/// Records of two groups with losses, dots, unequal intervals and a covariate.
inline Model_builder random_model(Kind kind, int records, int seed) {
  const int occasions = 8, intervals = occasions - 1;
  Model_builder m(1, occasions, 2, 1);
  std::mt19937_64 random(static_cast<unsigned>(seed));
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  m.intervals({1.0F, 2.0F, 0.5F});
  for (int i = 0; i < records; ++i) {
    std::string live(static_cast<std::size_t>(occasions), '0');
    const int first = static_cast<int>(uniform(random) * occasions);
    for (int o = first; o < occasions; ++o) {
      const double u = uniform(random);
      live[static_cast<std::size_t>(o)] = o == first || u < 0.4 ? '1' : u < 0.5 ? '.' : '0';
    }
    // One animal in one group, now and then animals of both groups, released and lost.
    const float both = uniform(random) < 0.2 ? 1.0F : 0.0F, lost = uniform(random) < 0.2 ? 2.0F : 0.0F;
    const bool second = uniform(random) < 0.5;
    m.record(live, {second ? both : 3.0F, second ? 1.0F : both}, {0.0F, lost}, {uniform(random) - 0.5});
  }
  // Survival by interval and group, recapture by interval for both.
  for (int g = 1; g <= 2; ++g) {
    m.pim(1, g, "TRIANG", intervals, intervals, [&](int, int c) { return (g - 1) * intervals + c; });
    m.pim(2, g, "TRIANG", intervals, intervals, [&](int, int c) { return 2 * intervals + c; });
  }
  const int reals = 3 * intervals;
  m.design(reals + 1);
  for (int i = 1; i <= reals; ++i) m.cell(i, i, 1.0);
  if (kind == Kind::functions) {
    constexpr int number = 1, own_covariate = 3;
    for (int row = 1; row <= intervals; ++row)
      m.function(power_function, own_covariate, 1, number, 2.0, row, reals + 1);
  } else if (kind == Kind::shared) {
    for (int row = 1; row <= intervals; ++row) m.cell(row, reals + 1, 0.25 * row);
  } else {
    for (int row = 1; row <= intervals; ++row) m.covariate(row, reals + 1, 1);
  }
  if (kind == Kind::multinomial) {
    for (int row = intervals - 1; row <= intervals + 2; ++row) m.set_member(row, Link::mlogit, 1);
    for (int row = 2 * intervals + 1; row <= 2 * intervals + 2; ++row) m.set_member(row, Link::mlogit, 2);
  }
  if (kind == Kind::fixed) {
    m.fix(2, 0.7);
    m.fix(2 * intervals + 3, 1.0);
  }
  m.finish();
  return m;
}

}  // namespace tarn
