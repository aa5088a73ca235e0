#pragma once
// The laws of sites: those of sites that a test follows one way after the other.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "support/site_study.h"

namespace tarn {

/// A type in a study of these seasons.
struct Site_case {
  int type;
  std::vector<int> lengths;
  Site_options options{};
};
inline void PrintTo(const Site_case& c, std::ostream* out) {
  *out << c.type << ", " << c.lengths.size() << " sessions";
}

/// What one survey may show, the last of them that there was none.
inline std::vector<std::string> site_signs(int type, const Site_layout& layout) {
  if (type == 113 || type == 137 || type == 141) return {"00", "01", "10", "11", ".."};
  if (type == 116 || type == 124 || type == 156 || type == 157) return {"0", "1", "2", "."};
  std::vector<std::string> signs;
  if (type == 177) {
    for (int z = 0; z < 1 << layout.species; ++z) signs.push_back("0" + std::to_string(z));
    signs.push_back("..");
    return signs;
  }
  for (int m = 0; m <= (type == 125 ? layout.states : 1); ++m) signs.push_back(std::to_string(m));
  signs.push_back(".");
  return signs;
}

/// Every record of so many surveys.
inline std::vector<std::string> all_sites(int surveys, const std::vector<std::string>& signs) {
  std::vector<std::string> all{""};
  for (int o = 1; o <= surveys; ++o) {
    std::vector<std::string> longer;
    for (const std::string& cells : all)
      for (const std::string& sign : signs) longer.push_back(cells + sign);
    all = std::move(longer);
  }
  return all;
}

/// The same of a study, with dots in every place and without.
inline std::vector<std::string> all_sites(Site_study& study) {
  return all_sites(study.noccas(), site_signs(study.type(), study.options().layout));
}

/// Where a record has dots.
inline std::string dots_of(std::string cells) {
  for (char& c : cells) c = c == '.' ? '.' : '*';
  return cells;
}

/// All records of the study are those of sites followed one way after the other; those that were surveyed on
/// the same occasions sum to 1; a site that was never surveyed tells nothing; a negative count is a count
/// like others.
/// @param tolerance  of a probability: some hundred sums of products
inline void expect_sites_followed(Site_study& study, double tolerance = 1e-14) {
  const std::vector<float> some(static_cast<std::size_t>(study.groups()), 2.0F),
      one(static_cast<std::size_t>(study.groups()), 1.0F);
  for (const std::string& cells : all_sites(study)) study.record(cells, some, one);
  study.model.finish();
  for (const unsigned seed : {1U, 2U, 3U}) {
    study.draw(seed);
    double from_cells = 0.0;
    for (int g = 1; g <= study.groups(); ++g) {
      const Site_paths paths = study.paths(g);
      const std::vector<double> observed = study.probabilities(g), lost = study.probabilities(g, true);
      std::map<std::string, double> sums;
      for (std::size_t i = 0; i < observed.size(); ++i) {
        const std::string& cells = study.histories[i];
        EXPECT_NEAR(observed[i], paths.chance(cells), tolerance) << cells << ", group " << g;
        EXPECT_EQ(lost[i], observed[i]) << cells;
        sums[dots_of(cells)] += observed[i];
        from_cells -= 6.0 * std::log(observed[i]);
        if (cells.find_first_not_of('.') == std::string::npos) {
          EXPECT_EQ(observed[i], 1.0);
        }
      }
      for (const auto& [dots, sum] : sums) EXPECT_NEAR(sum, 1.0, 1e-12) << dots;
    }
    // Some thousand logarithms.
    for (const int threads : {1, 2}) {
      study.model.force_threads(threads);
      EXPECT_NEAR(study.model.func(study.reals), from_cells, 1e-12 * std::abs(from_cells));
      EXPECT_EQ(study.model.value.sumpen, 0.0);
      study.model.force_histories();
      EXPECT_NEAR(study.model.func(study.reals), from_cells, 1e-12 * std::abs(from_cells));
    }
    study.model.set_threads(1);
  }
}

using Worked = std::map<std::string, double>;

/// Numbers of ten digits at the reals that stand.
inline void expect_worked(Site_study& study, const Worked& worked) {
  const std::vector<double> reals = study.reals;
  for (const auto& [cells, chance] : worked) study.record(cells);
  study.model.finish();
  study.reals = reals;
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) {
    const std::string& cells = study.histories[i];
    EXPECT_NEAR(got[i], worked.at(cells), 1e-10) << study.type() << " " << cells;
    EXPECT_NEAR(study.paths().chance(cells), worked.at(cells), 1e-10) << study.type() << " " << cells;
  }
}

/// The probabilities of these records at the reals that stand; once for a study.
inline std::vector<double> chances(Site_study& study, const std::vector<std::string>& records) {
  for (const std::string& cells : records) study.record(cells);
  study.model.finish();
  return study.probabilities();
}

/// Every record of one study has the probability of a record of the other, by a rule. Dots are among them.
inline void expect_same_sites(Site_study& study, Site_study& other,
                              const std::function<std::string(const std::string&)>& same = {},
                              double tolerance = 1e-14) {
  const std::vector<std::string> records = all_sites(study);
  std::vector<std::string> others;
  for (const std::string& cells : records) others.push_back(same ? same(cells) : cells);
  const std::vector<double> a = chances(study, records), b = chances(other, others);
  for (std::size_t i = 0; i < a.size(); ++i)
    EXPECT_NEAR(a[i], b[i], tolerance)
        << study.type() << " " << records[i] << ", " << other.type() << " " << others[i];
}

}  // namespace tarn
