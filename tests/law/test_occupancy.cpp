// Occupancy of sites by one species, which is there or not: 27 to 30, 107 to 110, 143, 144, 151 to 154, 156,
// 157 and 170.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "likelihood/likelihood_work.h"
#include "support/site_laws.h"

namespace tarn {
namespace {

/// Weights of classes in the columns of one row.
Site_cell weights_in_a_row(const std::string& name, Site_cell at) {
  if (name == "pi") std::swap(at.row, at.column);
  return at;
}
/// One deviation for all surveys of a session.
Site_cell one_deviation(const std::string& name, Site_cell at) {
  if (name == "sigmap") at.column = 1;
  return at;
}
/// Deviations of the first two surveys; those behind have the second one.
Site_cell two_deviations(const std::string& name, Site_cell at) {
  if (name == "sigmap") at.column = std::min(at.column, 2);
  return at;
}
/// A column for the first segment, too, in which nothing is ahead.
Site_cell whole_trail(const std::string& name, Site_cell at) {
  if (name == "Theta'") ++at.column;
  return at;
}

class Occupancy_laws : public testing::TestWithParam<Site_case> {};

TEST_P(Occupancy_laws, records_are_those_of_sites_followed_one_way_after_the_other) {
  const auto& [type, lengths, options] = GetParam();
  Site_study study(type, lengths, options);
  // The mean over effects is reached by quadrature here and by the trapezium rule there.
  expect_sites_followed(study, study.has("sigmap") ? 1e-13 : 1e-14);
}

INSTANTIATE_TEST_SUITE_P(
    types, Occupancy_laws,
    testing::Values(
        Site_case{27, {1}}, Site_case{27, {5}, {.groups = 2}}, Site_case{28, {2, 1, 2}, {.groups = 2}},
        Site_case{29, {2, 1, 2}, {.groups = 2}}, Site_case{30, {2, 1, 2}, {.groups = 2}},
        Site_case{30, {1, 1, 1, 1}}, Site_case{28, {3}}, Site_case{29, {3}}, Site_case{30, {3}},
        Site_case{107, {4}, {.groups = 2}}, Site_case{107, {4}, {.layout = {.mixtures = 3}}},
        Site_case{107, {4}, {.layout = {.mixtures = 3}, .place = weights_in_a_row}},
        Site_case{107, {4}, {.layout = {.mixtures = 1}}}, Site_case{108, {2, 1, 2}},
        Site_case{109, {1, 3, 1}, {.layout = {.mixtures = 3}}}, Site_case{110, {2, 1, 2}, {.groups = 2}},
        Site_case{110, {2, 3}, {.layout = {.mixtures = 3}, .place = weights_in_a_row}}, Site_case{151, {4}},
        Site_case{151, {4}, {.groups = 2, .place = one_deviation}},
        Site_case{151, {4}, {.place = two_deviations}}, Site_case{152, {2, 1, 2}},
        Site_case{153, {1, 3}, {.place = one_deviation}},
        Site_case{154, {3, 1, 1}, {.groups = 2, .place = two_deviations}}, Site_case{156, {4}, {.groups = 2}},
        Site_case{157, {2, 1, 2}}, Site_case{157, {1, 1, 1}, {.groups = 2}},
        Site_case{143, {5}, {.groups = 2}}, Site_case{143, {4}, {.place = whole_trail}}, Site_case{143, {1}},
        Site_case{144, {5}, {.groups = 2}}, Site_case{144, {4}, {.pentfirst = 0}}, Site_case{144, {1}},
        Site_case{170, {3, 1, 2}}, Site_case{170, {2, 3}, {.groups = 2, .pentfirst = 0}}));

// ---- worked numbers

TEST(Occupancy_worked, one_season) {
  Site_study study(27, {3});
  study.set("Psi", {0.6}), study.set("p", {0.3, 0.5, 0.2});
  expect_worked(study, {{"000", 0.5680000000},
                        {"001", 0.0420000000},
                        {"010", 0.1680000000},
                        {"011", 0.0420000000},
                        {"100", 0.0720000000},
                        {"101", 0.0180000000},
                        {"110", 0.0720000000},
                        {"111", 0.0180000000},
                        {"1.0", 0.1440000000}});
}

TEST(Occupancy_worked, two_seasons) {
  const Worked worked{
      {"0000", 0.4969000000}, {"0001", 0.0261000000}, {"0010", 0.0696000000}, {"0011", 0.0174000000},
      {"0100", 0.1281000000}, {"0101", 0.0189000000}, {"0110", 0.0504000000}, {"0111", 0.0126000000},
      {"1000", 0.0549000000}, {"1001", 0.0081000000}, {"1010", 0.0216000000}, {"1011", 0.0054000000},
      {"1100", 0.0549000000}, {"1101", 0.0081000000}, {"1110", 0.0216000000}, {"1111", 0.0054000000}};
  for (const int type : {28, 29, 30}) {
    Site_study study(type, {2, 2});
    study.set("Psi", {0.6});
    if (type != 30) study.set("Psi", {0.6, 0.51});
    if (type != 29) study.set("Epsilon", {0.25});
    if (type != 28) study.set("Gamma", {0.15});
    study.set("p", {0.3, 0.5}), study.set("p", {0.4, 0.2}, 1, 2);
    expect_worked(study, worked);
  }
}

TEST(Occupancy_worked, classes_effects_and_false_detections) {
  Site_study classes(107, {2});
  classes.set("Psi", {0.6}), classes.set("pi", {0.35});
  classes.set("p", {0.2, 0.2}), classes.set("p", {0.7, 0.7}, 1, 1, 2);
  expect_worked(classes,
                {{"11", 0.1995000000}, {"10", 0.1155000000}, {"01", 0.1155000000}, {"00", 0.5695000000}});
  Site_study effects(151, {2});
  effects.set("Psi", {0.6}), effects.set("p", {0.3, 0.5}), effects.set("sigmap", {0.8, 0.8});
  expect_worked(effects,
                {{"11", 0.1129214520}, {"10", 0.0801765206}, {"01", 0.1870785480}, {"00", 0.6198234794}});
  Site_study untrue(156, {2});
  untrue.set("Psi", {0.6}), untrue.fill("p10", 0.1), untrue.fill("p11", 0.6), untrue.fill("b", 0.3);
  expect_worked(untrue, {{"00", 0.4200000000},
                         {"01", 0.1368000000},
                         {"10", 0.1368000000},
                         {"02", 0.0432000000},
                         {"20", 0.0432000000},
                         {"11", 0.1098400000},
                         {"12", 0.0453600000},
                         {"21", 0.0453600000},
                         {"22", 0.0194400000}});
}

TEST(Occupancy_worked, trails_and_stays) {
  Site_study trail(143, {3});
  trail.set("Psi", {0.7}), trail.set("Theta", {0.4, 0.5, 0.3}), trail.set("Theta'", {0.6, 0.8});
  trail.set("p", {0.5, 0.6, 0.7});
  expect_worked(trail, {{"000", 0.5618840000},
                        {"001", 0.1217160000},
                        {"010", 0.0776160000},
                        {"011", 0.0987840000},
                        {"100", 0.0590240000},
                        {"101", 0.0305760000},
                        {"110", 0.0221760000},
                        {"111", 0.0282240000}});
  for (const int pentfirst : {0, 1}) {
    Site_study stay(144, {3}, {.pentfirst = pentfirst});
    stay.set("Psi", {0.7}), stay.set("d", {0.25, 0.4}), stay.set("p", {0.5, 0.6, 0.7});
    stay.set("pent", pentfirst == 1 ? std::vector<double>{0.3, 0.2} : std::vector<double>{0.5, 0.3});
    expect_worked(stay, {{"000", 0.4649200000},
                         {"001", 0.1553300000},
                         {"010", 0.1187550000},
                         {"011", 0.0859950000},
                         {"100", 0.0742000000},
                         {"101", 0.0220500000},
                         {"110", 0.0456750000},
                         {"111", 0.0330750000}});
  }
}

TEST(Occupancy_worked, a_site_with_a_detection_is_occupied) {
  Site_study study(27, {3});
  study.set("Psi", {0.3}), study.set("p", {0.1, 0.2, 0.9});
  const std::vector<double> got = chances(study, {"1..", "..1", "0.1", "..."});
  EXPECT_DOUBLE_EQ(got[0], 0.3 * 0.1);
  EXPECT_DOUBLE_EQ(got[1], 0.3 * 0.9);
  EXPECT_DOUBLE_EQ(got[2], 0.3 * 0.9 * 0.9);
  EXPECT_EQ(got[3], 1.0);
}

// ---- one model within another

/// Studies of type `type` and its plain kin with the rates that they share.
struct Pair {
  Site_study study, plain;
  Pair(int type, int plain_type, const std::vector<int>& lengths, const Site_options& options = {})
      : study(type, lengths, options), plain(plain_type, lengths, options) {
    study.draw(11), plain.draw(12);
    plain.copy(study);
  }
};

TEST(Occupancy_reductions, one_season_of_a_dynamic_model) {
  for (const auto& [dynamic, single] : {std::tuple(28, 27),
                                        {29, 27},
                                        {30, 27},
                                        {108, 107},
                                        {109, 107},
                                        {110, 107},
                                        {152, 151},
                                        {153, 151},
                                        {154, 151},
                                        {157, 156},
                                        {170, 144}}) {
    Pair pair(dynamic, single, {4});
    expect_same_sites(pair.study, pair.plain);
  }
}

/// The rates of extinction and colonization and the shares of occupied sites follow from each other.
TEST(Occupancy_reductions, three_ways_to_tell_the_dynamics) {
  for (const auto& [by_extinction, by_colonization, both] :
       {std::tuple(28, 29, 30), {108, 109, 110}, {152, 153, 154}}) {
    const std::vector<int> lengths{2, 1, 1, 1};
    Site_study study(both, lengths);
    study.draw(21);
    for (const int type : {by_extinction, by_colonization}) {
      Site_study whole(both, lengths), other(type, lengths);
      whole.copy(study), other.copy(study);
      double psi = study.rate("Psi");
      for (int s = 1; s <= 3; ++s) {
        psi = psi * (1.0 - study.rate("Epsilon", s)) + (1.0 - psi) * study.rate("Gamma", s);
        other.rate("Psi", s + 1) = psi;
      }
      expect_same_sites(other, whole);
    }
  }
}

TEST(Occupancy_reductions, one_class_of_sites) {
  for (const auto& [type, plain] : {std::tuple(107, 27), {108, 28}, {109, 29}, {110, 30}}) {
    const std::vector<int> lengths = plain == 27 ? std::vector<int>{5} : std::vector<int>{2, 1, 2};
    Pair one(type, plain, lengths, {.layout = {.mixtures = 1}});
    expect_same_sites(one.study, one.plain);
    Pair alike(type, plain, lengths, {.layout = {.mixtures = 3}});
    for (int s = 1; s <= static_cast<int>(plain == 27 ? 1 : 3); ++s)
      for (int j = 1; j <= lengths[static_cast<std::size_t>(s) - 1]; ++j)
        for (int m = 2; m <= 3; ++m) alike.study.rate("p", j, 1, s, m) = alike.study.rate("p", j, 1, s, 1);
    expect_same_sites(alike.study, alike.plain);
  }
}

TEST(Occupancy_reductions, no_effect_of_the_site) {
  for (const auto& [type, plain] : {std::tuple(151, 27), {152, 28}, {153, 29}, {154, 30}}) {
    const std::vector<int> lengths = plain == 27 ? std::vector<int>{4} : std::vector<int>{2, 1, 1};
    Pair pair(type, plain, lengths);
    pair.study.fill("sigmap", 0.0);
    expect_same_sites(pair.study, pair.plain);
    // Nothing is detected beyond the wall.
    Pair wide(type, plain, lengths);
    wide.study.fill("sigmap", 7.5), wide.plain.fill("p", 0.0);
    expect_same_sites(wide.study, wide.plain);
  }
}

TEST(Occupancy_reductions, an_effect_on_some_surveys_only) {
  Site_study study(151, {3});
  study.draw(31);
  study.rate("sigmap", 2) = 0.0;
  const std::vector<std::string> records = all_sites(study);
  const Site_paths paths = study.paths();
  const std::vector<double> got = chances(study, records);
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], paths.chance(records[i]), 1e-13) << records[i];
}

TEST(Occupancy_reductions, detections_that_are_all_true) {
  for (const auto& [type, plain] : {std::tuple(156, 27), {157, 30}}) {
    const std::vector<int> lengths = plain == 27 ? std::vector<int>{4} : std::vector<int>{2, 1, 1};
    for (const bool certain : {false, true}) {
      Pair pair(type, plain, lengths);
      pair.study.fill("p10", 0.0), pair.study.fill("b", certain ? 1.0 : 0.0);
      for (std::size_t s = 1; s <= lengths.size(); ++s)
        for (int j = 1; j <= lengths[s - 1]; ++j)
          pair.plain.rate("p", j, 1, static_cast<int>(s)) = pair.study.rate("p11", j, 1, static_cast<int>(s));
      std::vector<std::string> records = all_sites(pair.study), same;
      std::erase_if(records, [certain](const std::string& cells) {
        return cells.find(certain ? '1' : '2') != std::string::npos;
      });
      for (std::string cells : records) {
        std::replace(cells.begin(), cells.end(), '2', '1');
        same.push_back(cells);
      }
      const std::vector<double> a = chances(pair.study, records), b = chances(pair.plain, same);
      for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], 1e-15) << type << " " << records[i];
    }
  }
}

/// A second sign means a certain detection where detections may be false, and a detection elsewhere.
TEST(Occupancy_reductions, a_second_sign_is_a_detection_like_the_first) {
  for (const int type : {27, 28, 29, 30, 107, 108, 109, 110, 144, 151, 152, 153, 154, 170}) {
    const std::vector<int> lengths = datatype(type).sessions ? std::vector<int>{2, 1} : std::vector<int>{3};
    Site_study study(type, lengths);
    study.draw(41);
    const std::vector<double> got =
        chances(study, {"110", "210", "120", "220", "1.1", "2.1", "2.2", "012", "011", "002", "001"});
    for (const int k : {1, 2, 3}) EXPECT_EQ(got[0], got[static_cast<std::size_t>(k)]) << type;
    for (const auto& [a, b] : {std::pair(4U, 5U), {4U, 6U}, {7U, 8U}, {9U, 10U}})
      EXPECT_EQ(got[a], got[b]) << type;
    EXPECT_NE(got[0], got[4]);
  }
}

TEST(Occupancy_reductions, segments_used_whatever_is_used_ahead) {
  Pair pair(143, 27, {5});
  for (int c = 2; c <= 5; ++c) pair.study.rate("Theta'", c - 1) = pair.study.rate("Theta", c);
  for (int c = 1; c <= 5; ++c)
    pair.plain.rate("p", c) = pair.study.rate("Theta", c) * pair.study.rate("p", c);
  expect_same_sites(pair.study, pair.plain);
  Pair used(143, 27, {5});
  used.study.fill("Theta", 1.0), used.study.fill("Theta'", 1.0);
  expect_same_sites(used.study, used.plain);
}

TEST(Occupancy_reductions, there_from_the_first_to_the_last_survey) {
  for (const auto& [type, plain] : {std::tuple(144, 27), {170, 30}}) {
    const std::vector<int> lengths = plain == 27 ? std::vector<int>{5} : std::vector<int>{3, 1, 2};
    Pair pair(type, plain, lengths);
    pair.study.fill("pent", 0.0), pair.study.fill("d", 0.0);
    expect_same_sites(pair.study, pair.plain);
  }
}

/// Shares that leave less than nothing count as they stand.
TEST(Occupancy_reductions, shares_above_1) {
  Site_study arrivals(144, {3}), classes(107, {3});
  arrivals.draw(51), classes.draw(52);
  arrivals.set("pent", {0.7, 0.6}), classes.set("pi", {1.2});
  for (Site_study* study : {&arrivals, &classes}) {
    const std::vector<std::string> records = all_sites(*study);
    const Site_paths paths = study->paths();
    const std::vector<double> got = chances(*study, records);
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], paths.chance(records[i]), 1e-14) << study->type() << " " << records[i];
  }
}

// ---- surveys that were not made

/// The record of fewer surveys, with their rates.
TEST(Occupancy_missing, a_survey_that_was_not_made_is_left_out) {
  for (const int type : {27, 107, 143, 144, 151, 156}) {
    Site_study study(type, {4}), shorter(type, {3});
    study.draw(61), shorter.draw(62);
    shorter.copy(study);
    for (const char* name : {"p", "p10", "p11", "b", "sigmap"})
      for (const int row : {1, 2})
        if (study.has(name) && (row == 1 || (type == 107 && std::string(name) == "p")))
          for (int c = 2; c <= 3; ++c) shorter.rate(name, c, 1, 1, row) = study.rate(name, c + 1, 1, 1, row);
    std::vector<std::string> records;
    const std::vector<std::string> left = all_sites(shorter);
    for (const std::string& cells : left) records.push_back(cells.substr(0, 1) + "." + cells.substr(1));
    const std::vector<double> a = chances(study, records), b = chances(shorter, left);
    const bool places_count = type == 143 || type == 144;
    double farthest = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) farthest = std::max(farthest, std::abs(a[i] - b[i]));
    // Along a trail and in time there is a place for it still.
    EXPECT_EQ(farthest > 1e-3, places_count) << type;
    EXPECT_EQ(farthest > 1e-15, places_count) << type;
  }
}

/// A season without any survey is a step of the state alone; the first of them leave the share of a later
/// one.
TEST(Occupancy_missing, seasons_without_surveys) {
  for (const int type : {30, 110, 154, 157, 170}) {
    Site_study study(type, {2, 2, 2}), later(type, {2, 2}), skipped(type, {2, 2});
    study.draw(71), later.draw(72), skipped.draw(73);
    later.copy(study), skipped.copy(study);
    const double psi = study.rate("Psi"), e1 = study.rate("Epsilon", 1), c1 = study.rate("Gamma", 1),
                 e2 = study.rate("Epsilon", 2), c2 = study.rate("Gamma", 2);
    later.rate("Psi") = psi * (1.0 - e1) + (1.0 - psi) * c1;
    later.rate("Epsilon") = e2, later.rate("Gamma") = c2;
    skipped.rate("Epsilon") = (1.0 - e1) * e2 + e1 * (1.0 - c2);
    skipped.rate("Gamma") = c1 * (1.0 - e2) + (1.0 - c1) * c2;
    for (const char* name : {"p", "pi", "sigmap", "p10", "p11", "b", "pent", "d"}) {
      if (!study.has(name)) continue;
      for (const Matrix_size& size : site_matrices(type, name, {2, 2}, {}))
        for (int r = 1; r <= size.rows; ++r)
          for (int c = 1; c <= size.columns; ++c) {
            later.rate(name, c, 1, size.third, r) = study.rate(name, c, 1, size.third + 1, r);
            if (size.third == 2) skipped.rate(name, c, 1, 2, r) = study.rate(name, c, 1, 3, r);
          }
    }
    const std::vector<std::string> left = all_sites(later);
    std::vector<std::string> leading, between;
    for (const std::string& cells : left) {
      leading.push_back(".." + cells);
      between.push_back(cells.substr(0, 2) + ".." + cells.substr(2));
    }
    std::vector<std::string> both = leading;
    both.insert(both.end(), between.begin(), between.end());
    const std::vector<double> a = chances(study, both), b = chances(later, left), c = chances(skipped, left);
    for (std::size_t i = 0; i < left.size(); ++i) {
      EXPECT_NEAR(a[i], b[i], 1e-15) << type << " " << leading[i];
      EXPECT_NEAR(a[left.size() + i], c[i], 1e-15) << type << " " << between[i];
    }
  }
}

/// Nothing is added to the likelihood by sites that nobody has visited.
TEST(Occupancy_missing, a_site_never_surveyed_adds_nothing) {
  for (const int type : {27, 28, 29, 30, 107, 108, 109, 110, 143, 144, 151, 152, 153, 154, 156, 157, 170}) {
    const std::vector<int> lengths =
        datatype(type).sessions ? std::vector<int>{2, 1, 2} : std::vector<int>{5};
    Site_study study(type, lengths);
    study.record(".....", {1000.0F}, {17.0F});
    study.model.finish();
    for (unsigned seed = 1; seed <= 20; ++seed) {
      study.draw(seed);
      EXPECT_EQ(study.model.func(study.reals), 0.0) << type;
      EXPECT_EQ(study.model.value.sumpen, 0.0) << type;
      std::vector<double> gradient(study.reals.size());
      funcg(study.model.job(), study.reals, gradient);
      // What cancels may leave its rounding, a thousand times.
      for (const double slope : gradient) EXPECT_NEAR(slope, 0.0, 1e-11) << type;
    }
  }
}

// ---- rates that follow from the shares of two seasons

/// What a record by itself charges -2 log likelihood with, in serial runs and in those of several threads.
std::pair<double, double> charges(Site_study& study) {
  study.model.func(study.reals);
  const double serial = study.model.value.sumpen;
  study.model.force_threads(2);
  study.model.func(study.reals);
  const double threads = study.model.value.sumpen;
  study.model.set_threads(1);
  return {serial, threads};
}

struct Clamped {
  int type;
  std::vector<double> psi, rate;
  std::vector<double> kept;  ///< of the other rate
  double charge;             ///< element 2 of the penalty
};

// KEPT: a derived rate outside 0 to 1 is taken as 0 or 1 and charged twice its excess, in serial runs only.
TEST(Kept, derived_rates_are_charged_in_serial_runs) {
  const std::vector<Clamped> cases{
      // Colonization -.05 / .4 from the shares .6 and .4 at an extinction of .25.
      {28, {0.6, 0.4}, {0.25}, {0.0}, -0.25},
      // (.9 - .6) / .2: above 1 by .5.
      {28, {0.8, 0.9}, {0.25}, {1.0}, -1.0},
      // Both intervals: -.125 and (.9 - .3) / .6 - 1 = 0, just 1.
      {28, {0.6, 0.4, 0.9}, {0.25, 0.25}, {0.0, 1.0}, -0.25},
      {28, {0.6, 0.4, 0.1}, {0.25, 0.25}, {0.0, 0.0}, -0.25 - 2.0 * 0.2 / 0.6},
      // An exact 0, and no site to be colonized.
      {28, {0.5, 0.25}, {0.5}, {0.0}, 0.0},
      {28, {1.0, 0.75}, {0.25}, {0.0}, 0.0},
      {28, {1.0, 0.5}, {0.25}, {0.0}, 0.0},
      // Extinction 1 - (.7 - .4 * .15) / .6 = -.0666..., 1 - (.02 - .06) / .6 = 1.0666...
      {29, {0.6, 0.7}, {0.15}, {0.0}, -2.0 * 0.04 / 0.6},
      {29, {0.6, 0.02}, {0.15}, {1.0}, -2.0 * 0.04 / 0.6},
      {29, {0.0, 0.15}, {0.15}, {0.0}, 0.0},
      {29, {0.0, 0.4}, {0.15}, {0.0}, 0.0}};
  for (const Clamped& c : cases)
    for (const int more : {0, 80, 124}) {
      // The same with classes and with effects.
      const int type = c.type + more;
      const std::vector<int> lengths(c.psi.size(), 1);
      Site_study study(type, lengths), both(type + (c.type == 28 ? 2 : 1), lengths);
      study.draw(3), both.draw(4);
      study.set("Psi", c.psi), study.set(c.type == 28 ? "Epsilon" : "Gamma", c.rate);
      both.copy(study);
      both.set(c.type == 28 ? "Gamma" : "Epsilon", c.kept);
      const std::string record = lengths.size() == 2 ? "11" : "1.1";
      const std::vector<double> a = chances(study, {record}), b = chances(both, {record});
      EXPECT_NEAR(a[0], b[0], 1e-16) << type;
      const auto [serial, threads] = charges(study);
      EXPECT_NEAR(serial, -2.0 * c.charge, 1e-14) << type << " at " << c.psi[0] << " and " << c.psi[1];
      EXPECT_EQ(threads, 0.0) << type;
    }
}

}  // namespace
}  // namespace tarn
