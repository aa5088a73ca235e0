// Sites of which the number of animals tells how often they are detected: 111 and 112, and counts of them:
// 117 and 118.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "support/site_laws.h"

namespace tarn {
namespace {

/// A count as a survey shows it.
std::string digits(int count) {
  return {static_cast<char>('0' + count / 10), static_cast<char>('0' + count % 10)};
}

/// What the number of animals at a site is spread like.
struct Spread {
  double l, v;  ///< mean, and what the variance has beyond it

  /// Chance of n animals.
  double chance_of(int n) const {
    if (v == 0.0) return std::exp(n * std::log(l) - l - std::lgamma(n + 1.0));
    const double k = l * l / v;
    return std::exp(std::lgamma(n + k) - std::lgamma(k) - std::lgamma(n + 1.0) + k * std::log(k / (k + l)) +
                    n * std::log(l / (k + l)));
  }
  /// Logarithm of the mean of C(N, m) q^N: that of C(N, m) q^(N - m) is the m-th derivative of the generating
  /// function over m!.
  double log_mean_of(int m, double q) const {
    if (v == 0.0) return m * std::log(l * q) - std::lgamma(m + 1.0) - l * (1.0 - q);
    const double k = l * l / v, share = l / (k + l), base = 1.0 - share * q;
    // C(N, m) q^N summed over the negative binomial: rising k over m!, times (share q / base)^m, times G(q).
    return std::lgamma(k + m) - std::lgamma(k) - std::lgamma(m + 1.0) + m * std::log(share * q / base) +
           k * std::log((1.0 - share) / base);
  }
};

/// Counts of the surveys n_c: C(N, n_1) C(N, n_2) ... is a sum of whole multiples of C(N, m).
double closed_counts(const Spread& spread, const std::vector<double>& r, const std::vector<int>& counts) {
  std::vector<double> multiples{1.0};
  double log_factor = 0.0, missed = 1.0;
  for (std::size_t c = 0; c < r.size(); ++c) {
    if (counts[c] < 0) continue;
    const int n = counts[c];
    log_factor += n * std::log(r[c] / (1.0 - r[c])), missed *= 1.0 - r[c];
    std::vector<double> next(multiples.size() + static_cast<std::size_t>(n), 0.0);
    // C(N, m) C(N, n) = sum over k of k! / ((k - m)! (k - n)! (m + n - k)!) C(N, k).
    for (int m = 0; m < static_cast<int>(multiples.size()); ++m)
      for (int k = std::max(m, n); k <= m + n; ++k)
        next[static_cast<std::size_t>(k)] +=
            multiples[static_cast<std::size_t>(m)] *
            std::round(std::exp(std::lgamma(k + 1.0) - std::lgamma(k - m + 1.0) - std::lgamma(k - n + 1.0) -
                                std::lgamma(m + n - k + 1.0)));
    multiples = next;
  }
  double sum = 0.0;
  for (std::size_t m = 0; m < multiples.size(); ++m)
    if (multiples[m] > 0.0)
      sum += std::exp(log_factor + std::log(multiples[m]) + spread.log_mean_of(static_cast<int>(m), missed));
  return sum;
}

/// Detections: the missed ones give products of 1 - r, the others are what is not missed.
double closed_detections(const Spread& spread, const std::vector<double>& r, const std::string& cells) {
  double sum = 0.0;
  for (unsigned set = 0; set < 1u << r.size(); ++set) {
    double q = 1.0, sign = 1.0;
    bool fits = true;
    for (std::size_t c = 0; c < r.size(); ++c) {
      const bool in_set = (set >> c) & 1u;
      if (in_set && cells[c] != '1') fits = false;
      if (in_set) sign = -sign;
      if (in_set || cells[c] == '0') q *= 1.0 - r[c];
    }
    if (fits) sum += sign * std::exp(spread.log_mean_of(0, q));
  }
  return sum;
}

std::vector<double> detection(Site_study& study) {
  std::vector<double> r;
  for (int c = 1; c <= study.noccas(); ++c) r.push_back(study.rate("r", c));
  return r;
}
Spread spread_of(Site_study& study) {
  return {study.rate("Lambda"), study.has("VarAdd") ? study.rate("VarAdd") : 0.0};
}

class Site_count_laws : public testing::TestWithParam<int> {};

TEST_P(Site_count_laws, detections_are_those_of_every_number_of_animals) {
  Site_study study(GetParam(), {4}, {.groups = 2});
  expect_sites_followed(study);
}

INSTANTIATE_TEST_SUITE_P(types, Site_count_laws, testing::Values(111, 112), name_of_type);

TEST(Site_counts, detections_in_closed_form) {
  for (const int type : {111, 112}) {
    Site_study study(type, {5});
    const std::vector<std::string> records = all_sites(study);
    for (const std::string& cells : records) study.record(cells);
    study.model.finish();
    for (unsigned seed = 1; seed <= 10; ++seed) {
      study.draw(seed);
      const std::vector<double> got = study.probabilities(), r = detection(study);
      // 32 terms of either sign.
      for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_NEAR(got[i], closed_detections(spread_of(study), r, records[i]), 1e-14)
            << type << " " << records[i];
    }
  }
}

/// All counts that a cell can hold, with a survey that was not made, and without: the tail beyond 99 is below
/// 1e-13.
TEST(Site_counts, counts_sum_to_1) {
  for (const int type : {117, 118}) {
    Site_study study(type, {2}, {.groups = 2});
    std::vector<int> set_of;
    for (int first = -1; first <= 99; ++first)
      for (int second = -1; second <= 99; ++second) {
        study.record((first < 0 ? ".." : digits(first)) + (second < 0 ? ".." : digits(second)));
        set_of.push_back((first < 0 ? 1 : 0) + (second < 0 ? 2 : 0));
      }
    study.model.finish();
    for (unsigned seed = 1; seed <= 3; ++seed) {
      study.draw(seed);
      for (int g = 1; g <= 2; ++g) {
        study.rate("Lambda", 1, 1, 1, 1, g) += 2.0;
        if (type == 118) study.rate("VarAdd", 1, 1, 1, 1, g) /= 2.0;
      }
      for (int g = 1; g <= 2; ++g) {
        // A mean of 2 or more and a variance of at most 1 beyond it: at last one animal more has a third of
        // the chance.
        double sums[4] = {};
        const std::vector<double> got = study.probabilities(g);
        for (std::size_t i = 0; i < got.size(); ++i) sums[set_of[i]] += got[i];
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(sums[k], 1.0, 1e-12) << type << ", dots " << k;
        EXPECT_EQ(sums[3], 1.0);
      }
    }
  }
}

/// In closed form, by every number of animals, and as the routine gives it.
TEST(Site_counts, counts_in_closed_form) {
  for (const int type : {117, 118}) {
    Site_study study(type, {3});
    std::vector<std::vector<int>> counts;
    for (const int a : {-1, 0, 1, 2, 5, 12, 40})
      for (const int b : {-1, 0, 1, 3, 17, 99})
        for (const int c : {-1, 0, 4, 11}) {
          counts.push_back({a, b, c});
          std::string cells;
          for (const int n : counts.back()) cells += n < 0 ? ".." : digits(n);
          study.record(cells, {1.0F}, {1.0F});
        }
    study.model.finish();
    for (unsigned seed = 1; seed <= 5; ++seed) {
      study.draw(seed);
      // Many animals, too.
      if (seed > 3) study.rate("Lambda") = seed == 4 ? 30.0 : 200.0;
      if (seed == 5 && type == 118) study.rate("VarAdd") = 400.0;
      const std::vector<double> got = study.probabilities(), lost = study.probabilities(1, true),
                                r = detection(study);
      const Site_paths paths = study.paths();
      for (std::size_t i = 0; i < got.size(); ++i) {
        const double expected = closed_counts(spread_of(study), r, counts[i]);
        // Logarithms of factorials of some hundred: 13 digits.
        EXPECT_NEAR(got[i], expected, 1e-11 * expected + 1e-300) << type << " " << study.histories[i];
        EXPECT_NEAR(paths.chance(study.histories[i]), expected, 1e-11 * expected + 1e-300)
            << type << " " << study.histories[i];
        EXPECT_EQ(lost[i], got[i]);
      }
    }
  }
}

// ---- worked numbers

TEST(Site_counts_worked, detections) {
  for (const int type : {111, 112}) {
    Site_study study(type, {2});
    study.set("Lambda", {1.2}), study.set("r", {0.3, 0.4});
    if (type == 112) study.set("VarAdd", {0.9});
    expect_worked(
        study,
        type == 111
            ? Worked{{"11", 0.1821159051}, {"10", 0.1202077688}, {"01", 0.1991007031}, {"00", 0.4985756230}}
            : Worked{{"11", 0.1811659149}, {"10", 0.0960938076}, {"01", 0.1616445544}, {"00", 0.5610957230}});
  }
}

TEST(Site_counts_worked, counts) {
  for (const int type : {117, 118}) {
    Site_study study(type, {2});
    study.set("Lambda", {1.2}), study.set("r", {0.3, 0.4});
    if (type == 118) study.set("VarAdd", {0.9});
    expect_worked(study, type == 117 ? Worked{{"0000", 0.4985756230},
                                              {"0100", 0.1076923346},
                                              {"0001", 0.1675214093},
                                              {"0201", 0.0194156356},
                                              {"0300", 0.0008374156}}
                                     : Worked{{"0000", 0.5610957230},
                                              {"0100", 0.0844576141},
                                              {"0001", 0.1313785108},
                                              {"0201", 0.0192138739},
                                              {"0300", 0.0011660768}});
  }
}

// ---- one model within another

TEST(Site_counts_reductions, one_survey) {
  Site_study study(111, {1});
  study.set("Lambda", {2.3}), study.set("r", {0.35});
  const std::vector<double> got = chances(study, {"1", "0", "2"});
  EXPECT_NEAR(got[0], 1.0 - std::exp(-2.3 * 0.35), 1e-15);
  EXPECT_NEAR(got[1], std::exp(-2.3 * 0.35), 1e-15);
  EXPECT_EQ(got[2], got[0]) << "a detection like any other";
}

/// Counts of one survey are Poisson, or negative binomial, with the mean r l and r^2 v beyond it.
TEST(Site_counts_reductions, counts_of_one_survey) {
  for (const int type : {117, 118}) {
    Site_study study(type, {1});
    std::vector<std::string> records;
    for (int n = 0; n <= 99; ++n) records.push_back(digits(n));
    study.set("Lambda", {7.0}), study.set("r", {0.6});
    if (type == 118) study.set("VarAdd", {11.0});
    const std::vector<double> got = chances(study, records);
    const Spread seen{7.0 * 0.6, type == 118 ? 11.0 * 0.36 : 0.0};
    for (int n = 0; n <= 99; ++n) {
      const double expected = seen.chance_of(n);
      EXPECT_NEAR(got[static_cast<std::size_t>(n)], expected, 1e-12 * expected) << type << " " << n;
    }
  }
}

TEST(Site_counts_reductions, nobody_is_counted_where_nobody_is_detected) {
  for (const auto& [counts, detections] : {std::tuple(117, 111), {118, 112}}) {
    Site_study study(counts, {4}), other(detections, {4});
    study.draw(1), other.draw(2);
    other.copy(study);
    EXPECT_NEAR(chances(study, {"00000000"})[0], chances(other, {"0000"})[0], 1e-15);
  }
}

/// Without variance beyond the mean the negative binomial is Poisson, and near it nearly.
TEST(Site_counts_reductions, no_variance_beyond_the_mean) {
  for (const auto& [type, plain] : {std::tuple(112, 111), {118, 117}})
    for (const double v : {0.0, 1e-300, 9e-11, 3e-10, 1e-7}) {
      Site_study study(type, {2}), other(plain, {2});
      study.draw(3), other.draw(4);
      study.rate("Lambda") = 0.9;  // the threshold is 1e-10 then
      other.copy(study);
      study.rate("VarAdd") = v;
      const std::vector<std::string> records =
          type == 112 ? std::vector<std::string>{"11", "10", "01", "00", ".1", "0."}
                      : std::vector<std::string>{"0000", "0102", "0300", "..01", "1000"};
      const std::vector<double> a = chances(study, records), b = chances(other, records);
      for (std::size_t i = 0; i < a.size(); ++i) {
        const double far = v < 1e-10 ? 0.0 : 100.0 * v * b[i] + 1e-14;
        EXPECT_NEAR(a[i], b[i], far) << type << " " << v;
      }
    }
}

/// The rate of detection by occasion, one for all sites: a survey that was not made is left out.
TEST(Site_counts_missing, a_survey_that_was_not_made_is_left_out) {
  for (const int type : {111, 112, 117, 118}) {
    Site_study study(type, {3}), shorter(type, {2});
    study.draw(5), shorter.draw(6);
    shorter.copy(study);
    shorter.rate("r", 2) = study.rate("r", 3);
    const bool counts = type >= 117;
    const std::vector<std::string> left = counts ? std::vector<std::string>{"0000", "0103", "1200", "0508"}
                                                 : std::vector<std::string>{"00", "01", "10", "11"};
    for (const char* gap : {"..", ".1", "1."}) {
      if (!counts && std::string(gap) != "..") continue;
      std::vector<std::string> records;
      const std::size_t width = counts ? 2 : 1;
      for (const std::string& cells : left)
        records.push_back(cells.substr(0, width) + std::string(gap).substr(0, width) + cells.substr(width));
      Site_study with_gap(type, {3}), without(type, {2});
      with_gap.copy(study), without.copy(shorter);
      const std::vector<double> a = chances(with_gap, records), b = chances(without, left);
      for (std::size_t i = 0; i < a.size(); ++i)
        EXPECT_NEAR(a[i], b[i], 1e-16 + 1e-14 * b[i]) << type << records[i];
    }
  }
}

TEST(Site_counts_missing, a_site_never_surveyed_adds_nothing) {
  for (const int type : {111, 112, 117, 118}) {
    Site_study study(type, {3});
    study.record(std::string(type >= 117 ? 6 : 3, '.'), {1000.0F}, {17.0F});
    study.model.finish();
    for (unsigned seed = 1; seed <= 20; ++seed) {
      study.draw(seed);
      EXPECT_EQ(study.model.func(study.reals), 0.0) << type;
      EXPECT_EQ(study.model.value.sumpen, 0.0) << type;
    }
  }
}

/// Means at which the chance of no animal is below every number, and how often is summed up from the middle.
TEST(Site_counts, so_many_animals_that_none_is_impossible) {
  for (const int type : {111, 112, 117, 118})
    for (const double l : {700.0, 720.0, 5000.0}) {
      Site_study study(type, {2});
      study.set("Lambda", {l}), study.set("r", {0.002, 0.0005});
      if (type == 112 || type == 118) study.set("VarAdd", {l / 3.0});
      const Spread spread = spread_of(study);
      const std::vector<double> r = detection(study);
      if (type < 117) {
        const std::vector<std::string> records{"00", "01", "10", "11", ".1", "0."};
        const std::vector<double> got = chances(study, records);
        // Logarithms of factorials of thousands: 12 digits.
        for (std::size_t i = 0; i < got.size(); ++i)
          EXPECT_NEAR(got[i], closed_detections(spread, r, records[i]), 1e-11)
              << type << " " << l << " " << records[i];
        continue;
      }
      const std::vector<std::vector<int>> counts{{0, 0}, {1, 0}, {3, 2}, {11, 1}, {-1, 4}};
      std::vector<std::string> records;
      for (const std::vector<int>& n : counts)
        records.push_back((n[0] < 0 ? ".." : digits(n[0])) + digits(n[1]));
      const std::vector<double> got = chances(study, records);
      for (std::size_t i = 0; i < got.size(); ++i) {
        const double expected = closed_counts(spread, r, counts[i]);
        EXPECT_NEAR(got[i], expected, 1e-10 * expected + 1e-300) << type << " " << l << " " << records[i];
      }
    }
}

/// Nobody is there, and everybody is counted.
TEST(Site_counts, rates_at_their_ends) {
  Site_study counts(117, {2});
  counts.set("Lambda", {2.0}), counts.set("r", {1.0, 1.0});
  const std::vector<double> got = chances(counts, {"0303", "0302", "0000", "03.."});
  EXPECT_NEAR(got[0], std::exp(-2.0) * 8.0 / 6.0, 1e-15);
  EXPECT_LT(got[1], 1e-300);
  EXPECT_NEAR(got[2], std::exp(-2.0), 1e-15);
  EXPECT_NEAR(got[3], got[0], 1e-16);
  Site_study unseen(111, {2});
  unseen.set("Lambda", {2.0}), unseen.set("r", {0.0, 0.5});
  const std::vector<double> rest = chances(unseen, {"00", "10", "01"});
  EXPECT_NEAR(rest[0], std::exp(-1.0), 1e-15);
  EXPECT_LT(rest[1], 1e-300);
  EXPECT_NEAR(rest[2], 1.0 - std::exp(-1.0), 1e-15);
}

}  // namespace
}  // namespace tarn
