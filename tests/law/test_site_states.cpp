// Sites of two and of several species, with several states of occupancy, and surveyed on several scales: 113,
// 116, 123 to 125, 137, 141, 175 and 177.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "support/site_laws.h"

namespace tarn {
namespace {

/// Delta under the second index of the first state, or of none.
Site_cell delta_of_the_first(const std::string& name, Site_cell at) {
  if (name == "Delta") at.second = 2;
  return at;
}
Site_cell delta_of_none(const std::string& name, Site_cell at) {
  if (name == "Delta") at.second = 1;
  return at;
}
/// Detections by true state, then by what was recorded.
Site_cell true_state_first(const std::string& name, Site_cell at) {
  if (name == "p") std::swap(at.second, at.third);
  return at;
}
/// Units under the third index.
Site_cell units_as_sessions(const std::string& name, Site_cell at) {
  if (name == "p") std::swap(at.second, at.third);
  return at;
}
/// Species k at second index k, and in row k of one matrix.
Site_cell species_from_1(const std::string& name, Site_cell at) {
  if (name == "p") --at.second;
  return at;
}
Site_cell species_in_rows(const std::string& name, Site_cell at) {
  if (name == "p") at.row = at.second - 1, at.second = 1;
  return at;
}
/// No interactions of three species.
Site_cell pairs_at_most(const std::string& name, Site_cell at) {
  if (name == "f" && at.column == 7) at.second = 0;
  return at;
}
/// Transitions to the unoccupied state have no matrix, those that stay have one in its place.
Site_cell stays_are_stated(const std::string& name, Site_cell at) {
  if (name == "Psi" && at.third == 1) at.third = at.second;
  return at;
}

class Site_state_laws : public testing::TestWithParam<Site_case> {};

TEST_P(Site_state_laws, records_are_those_of_sites_followed_one_way_after_the_other) {
  const auto& [type, lengths, options] = GetParam();
  Site_study study(type, lengths, options);
  expect_sites_followed(study);
}

INSTANTIATE_TEST_SUITE_P(
    types, Site_state_laws,
    testing::Values(
        Site_case{113, {3}, {.groups = 2}}, Site_case{137, {3}, {.groups = 2}}, Site_case{141, {1, 2, 1}},
        Site_case{141, {2, 1}, {.groups = 2}}, Site_case{141, {1, 1, 1, 1}},
        Site_case{116, {4}, {.groups = 2}}, Site_case{124, {2, 1, 2}},
        Site_case{124, {1, 3}, {.groups = 2, .place = delta_of_the_first}},
        Site_case{124, {1, 1, 1}, {.place = delta_of_none}}, Site_case{125, {2, 1, 2}},
        Site_case{125, {2, 3}, {.layout = {.states = 1}, .groups = 2}},
        Site_case{125, {2, 1, 1}, {.layout = {.states = 3}, .place = true_state_first}},
        Site_case{123, {6}, {.groups = 2}}, Site_case{123, {6}, {.layout = {.devices = 3}}},
        Site_case{123, {4}, {.layout = {.devices = 1}}}, Site_case{123, {4}, {.layout = {.devices = 4}}},
        Site_case{123, {6}, {.place = units_as_sessions}}, Site_case{175, {2, 4}},
        Site_case{175, {4, 2}, {.groups = 2}}, Site_case{175, {1, 2, 1}, {.layout = {.devices = 1}}},
        Site_case{175, {3, 3}, {.layout = {.devices = 3}}}, Site_case{177, {3}, {.groups = 2}},
        Site_case{177, {4}, {.layout = {.species = 1}}}, Site_case{177, {2}, {.layout = {.species = 3}}},
        Site_case{177, {3}, {.place = species_from_1}}, Site_case{177, {3}, {.place = species_in_rows}},
        Site_case{177, {2}, {.layout = {.species = 3}, .place = pairs_at_most}}));

/// Half a survey of two characters is none.
TEST(Site_states, half_a_survey_tells_nothing) {
  for (const int type : {113, 137, 141, 177}) {
    Site_study study(type, type == 141 ? std::vector<int>{1, 1} : std::vector<int>{2});
    study.draw(2);
    const std::vector<double> got =
        chances(study, {"01..", "011.", "01.1", "010.", "01.0", "..01", ".101", "1.01"});
    for (const std::size_t k : {1U, 2U, 3U, 4U}) EXPECT_EQ(got[k], got[0]) << type;
    for (const std::size_t k : {6U, 7U}) EXPECT_EQ(got[k], got[5]) << type;
  }
}

/// Signs above those of any state, and numbers above those of any set of species, cannot be.
TEST(Site_states, signs_of_no_state_have_no_chance) {
  Site_study states(116, {2}), species(177, {2});
  states.draw(3), species.draw(4);
  for (const double chance : chances(states, {"30", "29", ".4"})) EXPECT_EQ(chance, 0.0);
  for (const double chance : chances(species, {"0400", "0399", "..63"})) EXPECT_EQ(chance, 0.0);
}

/// Surveys behind the last whole unit do not count.
TEST(Site_states, surveys_behind_the_last_unit) {
  for (const int type : {123, 175}) {
    Site_study study(type, type == 123 ? std::vector<int>{5} : std::vector<int>{3, 2});
    study.draw(5);
    const std::vector<std::string> records = type == 123
                                                 ? std::vector<std::string>{"01000", "01001", "0100."}
                                                 : std::vector<std::string>{"01000", "01100", "01.00"};
    const std::vector<double> got = chances(study, records);
    EXPECT_EQ(got[1], got[0]) << type;
    EXPECT_EQ(got[2], got[0]) << type;
    EXPECT_NEAR(got[0], study.paths().chance(records[0]), 1e-15);
  }
}

// ---- worked numbers

/// A table of two surveys: rows the first, columns the second.
Worked table(const std::vector<std::string>& signs, const std::vector<std::vector<double>>& rows) {
  Worked worked;
  for (std::size_t i = 0; i < rows.size(); ++i)
    for (std::size_t j = 0; j < rows[i].size(); ++j) worked[signs[i] + signs[j]] = rows[i][j];
  return worked;
}

const std::vector<std::string> of_two_species{"11", "10", "01", "00"};

void together(Site_study& study) {
  study.set("PsiAB", {0.3}), study.set("PsiA", {0.5}), study.set("PsiB", {0.6});
  study.fill("pA", 0.4), study.fill("pB", 0.5), study.fill("rAB", 0.2), study.fill("rAb", 0.3);
  study.fill("raB", 0.1);
}
void conditional(Site_study& study) {
  study.set("PsiA", {0.5}), study.set("PsiBA", {0.6}), study.set("PsiBa", {0.2});
  study.fill("pA", 0.4), study.fill("pB", 0.5), study.fill("rA", 0.3), study.fill("rBA", 0.7);
  study.fill("rBa", 0.25);
}

TEST(Site_states_worked, two_species) {
  Site_study study(113, {2});
  together(study);
  expect_worked(study, table(of_two_species, {{0.0120000000, 0.0180000000, 0.0060000000, 0.0240000000},
                                              {0.0180000000, 0.0590000000, 0.0090000000, 0.0840000000},
                                              {0.0060000000, 0.0090000000, 0.0780000000, 0.0870000000},
                                              {0.0240000000, 0.0840000000, 0.0870000000, 0.3950000000}}));
}

TEST(Site_states_worked, two_species_of_which_one_is_dominant) {
  Site_study study(137, {1});
  conditional(study);
  expect_worked(study,
                {{"11", 0.0630000000}, {"10", 0.1070000000}, {"01", 0.1025000000}, {"00", 0.7275000000}});
  Site_study seasons(141, {1, 1});
  conditional(seasons);
  for (const auto& [name, rate] : {std::tuple("GammaA", 0.2),
                                   {"GammaB", 0.3},
                                   {"GammaAB", 0.15},
                                   {"GammaBA", 0.25},
                                   {"EpsilonA", 0.1},
                                   {"EpsilonB", 0.2},
                                   {"EpsilonAB", 0.35},
                                   {"EpsilonBA", 0.4}})
    seasons.fill(name, rate);
  // The second season by itself: both, A alone, B alone, neither.
  const Site_paths paths = seasons.paths();
  for (const auto& [z, share] : {std::tuple(3, 0.198), {2, 0.272}, {1, 0.232}, {0, 0.298}}) {
    double sum = 0.0;
    for (int y = 0; y < 4; ++y) sum += paths.start(y) * paths.move(1, y, z);
    EXPECT_NEAR(sum, share, 1e-15);
  }
  expect_worked(seasons, table(of_two_species, {{0.0051597000, 0.0087633000, 0.0109147500, 0.0381622500},
                                                {0.0059913000, 0.0269757000, 0.0088277500, 0.0652052500},
                                                {0.0055597500, 0.0084427500, 0.0271456250, 0.0613518750},
                                                {0.0248692500, 0.0824382500, 0.1037618750, 0.5164306250}}));
}

TEST(Site_states_worked, states) {
  const std::vector<std::string> signs{"0", "1", "2"};
  Site_study study(116, {2});
  study.set("Psi1", {0.7}), study.set("Psi2", {0.4});
  study.fill("p1", 0.3), study.fill("p2", 0.6), study.fill("Delta", 0.5);
  expect_worked(study, table(signs, {{0.5506000000, 0.1218000000, 0.0336000000},
                                     {0.1218000000, 0.0630000000, 0.0252000000},
                                     {0.0336000000, 0.0252000000, 0.0252000000}}));
  for (const auto& place :
       {std::function<Site_cell(const std::string&, Site_cell)>(), {delta_of_the_first}}) {
    Site_study seasons(124, {1, 1}, {.place = place});
    seasons.fill("Delta", 0.5);
    for (const int s : {1, 2}) seasons.set("p", {0.3}, 2, s), seasons.set("p", {0.6}, 3, s);
    seasons.set("Phi0", {0.35}, 2), seasons.set("Phi0", {0.25}, 3);
    seasons.set("Psi", {0.2}, 1), seasons.set("Psi", {0.6}, 2), seasons.set("Psi", {0.8}, 3);
    seasons.set("R", {0.3}, 1), seasons.set("R", {0.4}, 2), seasons.set("R", {0.7}, 3);
    expect_worked(seasons, table(signs, {{0.6112600000, 0.0921000000, 0.0416400000},
                                         {0.1229400000, 0.0369000000, 0.0201600000},
                                         {0.0444000000, 0.0180000000, 0.0126000000}}));
  }
}

TEST(Site_states_worked, scales) {
  Site_study study(123, {4});
  study.set("Psi", {0.6}), study.set("Theta", {0.5, 0.7});
  study.set("p", {0.4, 0.3}, 1), study.set("p", {0.2, 0.5}, 2);
  expect_worked(study,
                table({"00", "01", "10", "11"}, {{0.6470800000, 0.1192800000, 0.0298200000, 0.0298200000},
                                                 {0.0313200000, 0.0151200000, 0.0037800000, 0.0037800000},
                                                 {0.0487200000, 0.0235200000, 0.0058800000, 0.0058800000},
                                                 {0.0208800000, 0.0100800000, 0.0025200000, 0.0025200000}}));
}

TEST(Site_states_worked, several_species) {
  const auto made = [](int surveys) {
    Site_study study(177, {surveys});
    study.set("f", {0.5, -0.4, 0.8});
    for (int c = 1; c <= surveys; ++c) study.rate("p", c, 2) = 0.3, study.rate("p", c, 3) = 0.6;
    return study;
  };
  Site_study one = made(1), two = made(2);
  const Site_paths paths = one.paths();
  const double psi[] = {0.1730509659, 0.2853128084, 0.1159995314, 0.4256366942};
  for (int z = 0; z < 4; ++z) EXPECT_NEAR(paths.start(z), psi[z], 1e-10);
  expect_worked(one,
                {{"00", 0.5383480188}, {"01", 0.1366702458}, {"02", 0.2483671304}, {"03", 0.0766146050}});
  expect_worked(two,
                table({"00", "01", "02", "03"}, {{0.3647840839, 0.0742170827, 0.0778947628, 0.0214520894},
                                                 {0.0742170827, 0.0318073212, 0.0214520894, 0.0091937526},
                                                 {0.0778947628, 0.0214520894, 0.1168421442, 0.0321781341},
                                                 {0.0214520894, 0.0091937526, 0.0321781341, 0.0137906289}}));
}

// ---- one model within another

/// The two characters of every survey, taken apart.
std::pair<std::string, std::string> apart(const std::string& cells) {
  std::pair<std::string, std::string> made;
  for (std::size_t k = 0; k + 1 < cells.size(); k += 2) made.first += cells[k], made.second += cells[k + 1];
  return made;
}

/// Chances of two species that know nothing of each other.
void expect_product(Site_study& study, Site_study& a, Site_study& b) {
  const std::vector<std::string> records = all_sites(study);
  std::vector<std::string> of_a, of_b;
  for (const std::string& cells : records) {
    const auto [first, second] = apart(cells);
    of_a.push_back(first), of_b.push_back(second);
  }
  const std::vector<double> both = chances(study, records), first = chances(a, of_a),
                            second = chances(b, of_b);
  for (std::size_t i = 0; i < both.size(); ++i)
    EXPECT_NEAR(both[i], first[i] * second[i], 1e-15) << study.type() << " " << records[i];
}

TEST(Site_states_reductions, species_by_themselves) {
  const std::vector<int> lengths{2, 1};
  for (const int type : {113, 137, 141}) {
    const bool seasons = type == 141;
    const std::vector<int> surveys = seasons ? lengths : std::vector<int>{3};
    Site_study study(type, surveys), a(seasons ? 30 : 27, surveys), b(seasons ? 30 : 27, surveys);
    study.draw(1), a.draw(2), b.draw(3);
    const double psi_a = a.rate("Psi"), psi_b = b.rate("Psi");
    study.rate("PsiA") = psi_a;
    if (type == 113)
      study.rate("PsiB") = psi_b, study.rate("PsiAB") = psi_a * psi_b;
    else
      study.rate("PsiBA") = study.rate("PsiBa") = psi_b;
    for (int s = 1; s <= static_cast<int>(surveys.size()); ++s)
      for (int j = 1; j <= surveys[static_cast<std::size_t>(s) - 1]; ++j) {
        const double pa = a.rate("p", j, 1, s), pb = b.rate("p", j, 1, s);
        study.rate("pA", j, 1, s) = pa, study.rate("pB", j, 1, s) = pb;
        if (type == 113) {
          study.rate("rAB", j) = pa * pb, study.rate("rAb", j) = pa * (1.0 - pb);
          study.rate("raB", j) = (1.0 - pa) * pb;
        } else {
          study.rate("rA", j, 1, s) = pa;
          study.rate("rBA", j, 1, s) = study.rate("rBa", j, 1, s) = pb;
        }
      }
    if (seasons) {
      study.fill("GammaA", a.rate("Gamma")), study.fill("GammaAB", a.rate("Gamma"));
      study.fill("GammaB", b.rate("Gamma")), study.fill("GammaBA", b.rate("Gamma"));
      study.fill("EpsilonA", a.rate("Epsilon")), study.fill("EpsilonAB", a.rate("Epsilon"));
      study.fill("EpsilonB", b.rate("Epsilon")), study.fill("EpsilonBA", b.rate("Epsilon"));
    }
    expect_product(study, a, b);
  }
}

TEST(Site_states_reductions, two_species_in_two_ways) {
  Site_study together(113, {3}), conditional(137, {3});
  together.draw(4), conditional.draw(5);
  const double a = conditional.rate("PsiA"), ba = conditional.rate("PsiBA"), b = conditional.rate("PsiBa");
  together.rate("PsiA") = a, together.rate("PsiAB") = a * ba, together.rate("PsiB") = a * ba + (1.0 - a) * b;
  for (int j = 1; j <= 3; ++j) {
    const double ra = conditional.rate("rA", j);
    together.rate("pA", j) = conditional.rate("pA", j), together.rate("pB", j) = conditional.rate("pB", j);
    together.rate("rAB", j) = ra * conditional.rate("rBA", j);
    together.rate("rAb", j) = ra * (1.0 - conditional.rate("rBA", j));
    together.rate("raB", j) = (1.0 - ra) * conditional.rate("rBa", j);
  }
  expect_same_sites(together, conditional);
}

TEST(Site_states_reductions, one_season_of_two_species) {
  Site_study seasons(141, {3}), single(137, {3});
  seasons.draw(6), single.draw(7);
  single.copy(seasons);
  expect_same_sites(seasons, single);
}

TEST(Site_states_reductions, several_species_by_themselves) {
  for (const int n : {2, 3}) {
    Site_study study(177, {2}, {.layout = {.species = n}});
    study.draw(8);
    for (int column = n + 1; column < 1 << n; ++column) study.rate("f", column) = 0.0;
    const std::vector<std::string> records = all_sites(study);
    std::vector<double> product(records.size(), 1.0);
    for (int k = 1; k <= n; ++k) {
      Site_study one(27, {2});
      one.set("Psi", {1.0 / (1.0 + std::exp(-study.rate("f", k)))});
      one.set("p", {study.rate("p", 1, k + 1), study.rate("p", 2, k + 1)});
      std::vector<std::string> own;
      for (const std::string& cells : records) {
        own.emplace_back();
        for (const std::size_t o : {1U, 3U})
          own.back() += cells[o] == '.' ? '.' : static_cast<char>('0' + (((cells[o] - '0') >> (k - 1)) & 1));
      }
      const std::vector<double> alone = chances(one, own);
      for (std::size_t i = 0; i < product.size(); ++i) product[i] *= alone[i];
    }
    const std::vector<double> got = chances(study, records);
    for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], product[i], 1e-15) << records[i];
  }
}

TEST(Site_states_reductions, one_of_several_species) {
  Site_study study(177, {4}, {.layout = {.species = 1}}), plain(27, {4});
  study.draw(9), plain.draw(10);
  plain.rate("Psi") = 1.0 / (1.0 + std::exp(-study.rate("f")));
  for (int c = 1; c <= 4; ++c) plain.rate("p", c) = study.rate("p", c, 2);
  expect_same_sites(study, plain, [](const std::string& cells) { return apart(cells).second; });
}

TEST(Site_states_reductions, two_of_several_species) {
  Site_study study(177, {3}), pair(113, {3});
  study.draw(11), pair.draw(12);
  const Site_paths paths = study.paths();
  pair.rate("PsiAB") = paths.start(3);
  pair.rate("PsiA") = paths.start(1) + paths.start(3), pair.rate("PsiB") = paths.start(2) + paths.start(3);
  for (int c = 1; c <= 3; ++c) {
    const double a = study.rate("p", c, 2), b = study.rate("p", c, 3);
    pair.rate("pA", c) = a, pair.rate("pB", c) = b;
    pair.rate("rAB", c) = a * b, pair.rate("rAb", c) = a * (1.0 - b), pair.rate("raB", c) = (1.0 - a) * b;
  }
  expect_same_sites(study, pair, [](const std::string& cells) {
    std::string both;
    for (std::size_t k = 1; k < cells.size(); k += 2)
      both += cells[k] == '.'   ? ".."
              : cells[k] == '0' ? "00"
              : cells[k] == '1' ? "10"
              : cells[k] == '2' ? "01"
                                : "11";
    return both;
  });
}

/// A large f must not make states that are all but impossible impossible to add up.
TEST(Site_states, effects_of_species_far_from_0) {
  Site_study study(177, {1});
  study.set("f", {800.0, -900.0, 100.0});
  study.fill("p", 0.5);
  const std::vector<double> got = chances(study, {"00", "01", "02", "03"});
  EXPECT_DOUBLE_EQ(got[0], 0.5);
  EXPECT_DOUBLE_EQ(got[1], 0.5);
  EXPECT_LT(got[2], 1e-300);
  EXPECT_LT(got[3], 1e-300);
}

TEST(Site_states_reductions, no_second_state) {
  Site_study states(116, {4}), plain(27, {4});
  states.draw(13), plain.draw(14);
  states.rate("Psi2") = 0.0, plain.rate("Psi") = states.rate("Psi1");
  for (int c = 1; c <= 4; ++c) plain.rate("p", c) = states.rate("p1", c);
  std::vector<std::string> records;
  for (const std::string& cells : all_sites(plain)) records.push_back(cells);
  const std::vector<double> a = chances(states, records), b = chances(plain, records);
  for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], 1e-15) << records[i];
}

TEST(Site_states_reductions, one_season_of_states) {
  Site_study seasons(124, {4}), single(116, {4});
  seasons.draw(15), single.draw(16);
  const double psi1 = single.rate("Psi1"), psi2 = single.rate("Psi2");
  seasons.set("Phi0", {psi1 * (1.0 - psi2)}, 2), seasons.set("Phi0", {psi1 * psi2}, 3);
  for (int c = 1; c <= 4; ++c) {
    seasons.rate("p", c, 2) = single.rate("p1", c), seasons.rate("p", c, 3) = single.rate("p2", c);
    seasons.rate("Delta", c, 3) = single.rate("Delta", c);
  }
  expect_same_sites(seasons, single);
}

/// Delta that stands in several matrices: that of state 2, then that of state 1.
TEST(Site_states, evidence_in_several_matrices) {
  for (const auto& place :
       {Site_options().place, std::function<Site_cell(const std::string&, Site_cell)>(delta_of_the_first)}) {
    Site_study study(124, {1, 1}, {.place = place}), same(124, {1, 1});
    study.draw(17), same.draw(18);
    same.copy(study);
    Job& job = study.model.job();
    for (const int s : {1, 2})
      for (int a = place ? 1 : 2; a >= 1; --a)
        study.model.pim(
            findpar(job.data, "Delta"), 1, "SQUARE", 1, 1, [&](int, int) { return job.model.nlogit + 1; }, s,
            a);
    study.reals.resize(static_cast<std::size_t>(job.model.nlogit), 0.123);
    expect_same_sites(study, same);
  }
}

TEST(Site_states_reductions, general_and_conditional_states) {
  const std::vector<int> lengths{2, 1, 1};
  Site_study general(125, lengths), binomial(124, lengths);
  general.draw(19), binomial.draw(20);
  for (const int m : {2, 3}) general.rate("Phi0", 1, m) = binomial.rate("Phi0", 1, m);
  for (int s = 1; s <= 2; ++s)
    for (int z = 1; z <= 3; ++z) {
      const double psi = binomial.rate("Psi", s, z), r = binomial.rate("R", s, z);
      const double to[] = {1.0 - psi, psi * (1.0 - r), psi * r};
      for (int q = 1; q <= 3; ++q)
        if (q != z) general.rate("Psi", s, z, q) = to[q - 1];
    }
  int o = 0;
  for (int s = 1; s <= 3; ++s)
    for (int j = 1; j <= lengths[static_cast<std::size_t>(s) - 1]; ++j) {
      ++o;
      const double p1 = binomial.rate("p", j, 2, s), p2 = binomial.rate("p", j, 3, s),
                   d = binomial.rate("Delta", j, 3, s);
      general.rate("p", o, 2, 2) = p1, general.rate("p", o, 2, 3) = p2 * (1.0 - d),
                              general.rate("p", o, 3, 3) = p2 * d;
    }
  expect_same_sites(general, binomial);
}

TEST(Site_states_reductions, one_occupied_state) {
  const std::vector<int> lengths{2, 1, 1};
  Site_study general(125, lengths, {.layout = {.states = 1}}), plain(30, lengths);
  general.draw(21), plain.draw(22);
  general.rate("Phi0", 1, 2) = plain.rate("Psi");
  for (int s = 1; s <= 2; ++s) {
    general.rate("Psi", s, 1, 2) = plain.rate("Gamma", s);
    general.rate("Psi", s, 2, 1) = plain.rate("Epsilon", s);
  }
  int o = 0;
  for (int s = 1; s <= 3; ++s)
    for (int j = 1; j <= lengths[static_cast<std::size_t>(s) - 1]; ++j)
      general.rate("p", ++o, 2, 2) = plain.rate("p", j, 1, s);
  expect_same_sites(general, plain);
}

/// Whichever transition of a row has no matrix, it has what the others leave; of several, the one to the
/// unoccupied state.
TEST(Site_states, rows_of_transitions_that_lack_others) {
  const std::vector<int> lengths{1, 2, 1};
  Site_study stays_left(125, lengths), empty_left(125, lengths, {.place = stays_are_stated});
  stays_left.draw(23), empty_left.draw(24);
  empty_left.copy(stays_left);
  // The cells to state 0 tell what stays, of a row that is not that of state 0.
  for (int s = 1; s <= 2; ++s)
    for (const int z : {2, 3}) {
      double left = 1.0;
      for (int q = 1; q <= 3; ++q)
        if (q != z) left -= stays_left.rate("Psi", s, z, q);
      empty_left.rate("Psi", s, z, 1) = left;
    }
  expect_same_sites(empty_left, stays_left);

  Site_study few(125, lengths, {.place = [](const std::string& name, Site_cell at) {
                   if (name == "Psi" && at.second == 2) at.second = 0;
                   return at;
                 }});
  Site_study all(125, lengths);
  all.draw(25), few.draw(26);
  few.copy(all);
  for (int s = 1; s <= 2; ++s) all.rate("Psi", s, 2, 1) = 1.0, all.rate("Psi", s, 2, 3) = 0.0;
  expect_same_sites(few, all);
}

/// A row that is more than full counts as it stands.
TEST(Site_states, shares_above_1) {
  Site_study study(125, {1, 1});
  study.draw(27);
  study.rate("Psi", 1, 2, 1) = 0.7, study.rate("Psi", 1, 2, 3) = 0.5;
  const std::vector<std::string> records = all_sites(study);
  const Site_paths paths = study.paths();
  const std::vector<double> got = chances(study, records);
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], paths.chance(records[i]), 1e-15) << records[i];
}

TEST(Site_states_reductions, units_that_are_all_used) {
  for (const auto& [type, plain] : {std::tuple(123, 27), {175, 30}}) {
    const std::vector<int> lengths = type == 123 ? std::vector<int>{6} : std::vector<int>{2, 4};
    Site_study study(type, lengths), other(plain, lengths);
    study.draw(28), other.draw(29);
    other.copy(study);
    study.fill("Theta", 1.0);
    for (int s = 1; s <= static_cast<int>(lengths.size()); ++s)
      for (int j = 1; j <= lengths[static_cast<std::size_t>(s) - 1]; ++j)
        other.rate("p", j, 1, s) = study.rate("p", (j - 1) % 2 + 1, (j - 1) / 2 + 1, s);
    expect_same_sites(study, other);
  }
}

TEST(Site_states_reductions, units_of_one_survey) {
  for (const auto& [type, plain] : {std::tuple(123, 27), {175, 30}}) {
    const std::vector<int> lengths = type == 123 ? std::vector<int>{4} : std::vector<int>{2, 1, 1};
    Site_study study(type, lengths, {.layout = {.devices = 1}}), other(plain, lengths);
    study.draw(30), other.draw(31);
    other.copy(study);
    for (int s = 1; s <= static_cast<int>(lengths.size()); ++s)
      for (int j = 1; j <= lengths[static_cast<std::size_t>(s) - 1]; ++j)
        other.rate("p", j, 1, s) = study.rate("Theta", j, 1, s) * study.rate("p", 1, j, s);
    expect_same_sites(study, other);
  }
}

TEST(Site_states_reductions, one_season_of_scales) {
  Site_study seasons(175, {6}), single(123, {6});
  seasons.draw(32), single.draw(33);
  single.copy(seasons);
  expect_same_sites(seasons, single);
}

/// Nothing is added to the likelihood by sites that nobody has visited.
TEST(Site_states, a_site_never_surveyed_adds_nothing) {
  for (const int type : {113, 116, 123, 124, 125, 137, 141, 175, 177}) {
    const std::vector<int> lengths = datatype(type).sessions ? std::vector<int>{2, 2} : std::vector<int>{4};
    Site_study study(type, lengths);
    study.record(std::string(datatype(type).live ? 4 : 8, '.'), {1000.0F}, {17.0F});
    study.model.finish();
    for (unsigned seed = 1; seed <= 20; ++seed) {
      study.draw(seed);
      EXPECT_EQ(study.model.func(study.reals), 0.0) << type;
      EXPECT_EQ(study.model.value.sumpen, 0.0) << type;
    }
  }
}

// ---- shares of two species that cannot be

// KEPT: where PsiA is below PsiAB, no site has A alone, and the shares sum to more than 1. What is short of 0
// is charged as a probability would be.
TEST(Kept, joint_occupancy_above_that_of_a) {
  const auto charged = [](double both, double a, double b, const std::string& cells) {
    Site_study study(113, {1});
    study.fill("pA", 0.4), study.fill("pB", 0.5), study.fill("rAB", 0.2), study.fill("rAb", 0.3),
        study.fill("raB", 0.1);
    study.set("PsiAB", {both}), study.set("PsiA", {a}), study.set("PsiB", {b});
    const std::vector<double> reals = study.reals;
    const std::vector<double> got = chances(study, {cells});
    study.model.func(reals);
    const double serial = study.model.value.sumpen;
    study.model.force_threads(2);
    study.model.func(reals);
    EXPECT_EQ(study.model.value.sumpen, serial) << "in every run";
    return std::pair(got[0], serial);
  };
  double sum = 0.0;
  for (const char* cells : {"00", "01", "10", "11"}) {
    const auto [chance, charge] = charged(0.3, 0.25, 0.6, cells);
    sum += chance;
    // The slope of the range penalty, on the scale of -2 log likelihood.
    EXPECT_NEAR(charge, 2e6 * 0.05, 1e-8) << cells;
  }
  EXPECT_NEAR(sum, 1.05, 1e-15);
  // B is short, and neither is.
  EXPECT_NEAR(charged(0.3, 0.5, 0.2, "10").second, 2e6 * 0.1, 1e-8);
  EXPECT_NEAR(charged(0.3, 0.8, 0.7, "10").second, 2e6 * 0.2, 1e-8);
  EXPECT_NEAR(charged(0.3, 0.25, 0.2, "10").second, 2e6 * 0.15, 1e-8);
  // All within 0 to 1, also just at the ends.
  EXPECT_EQ(charged(0.3, 0.3, 0.6, "10").second, 0.0);
  EXPECT_EQ(charged(0.25, 0.5, 0.75, "10").second, 0.0);
}

}  // namespace
}  // namespace tarn
