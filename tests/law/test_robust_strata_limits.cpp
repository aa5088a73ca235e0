// Robust designs of animals that move between strata where they are other models: of full and conditional
// kinds, of one stratum, of a stratum that is never sampled, of sessions of one occasion. And worked numbers.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/strata_study.h"
#include "support/study_builder.h"

namespace tarn {
namespace {

const std::vector<int> sessions_of_any_length{2, 1, 3};
const std::vector<float> unequal{0.5F, 2.0F};

/// Histories of two strata in sessions of 2, 1 and 3 occasions, dots among them.
const std::vector<std::string> of_two_strata{"AA0B00", "A0B000", "0AA0AA", "BB0000", "0BA0B0",
                                             "B0BAA0", "B.0A00", "00B0B0", "00AA0A", "000BB0",
                                             "0000.A", "A000BB", ".A.B.0", "BBBBBB"};

Robust_strata_study recorded(int type, const std::vector<std::string>& histories, Strata_options options,
                             std::vector<int> lengths = sessions_of_any_length) {
  Robust_strata_study study(type, std::move(lengths), std::move(options));
  for (const std::string& history : histories) study.record(history, {2.0F}, {1.0F});
  study.model.finish();
  return study;
}

/// Gives every real of `to` the value that it has in `from`, where there is one.
void copy_reals(Robust_strata_study& to, Robust_strata_study& from) {
  for (int q = 1; q <= to.model.job().data.numparmnames; ++q) {
    const std::string name = to.model.job().data.parameterlist(q);
    if (!from.has(name)) continue;
    for_each_matrix_of(to.model.job(), q, [&](const Pim_place& place, const Pim& pim) {
      const Pim& other = from.matrix(name, place.a, place.b);
      for_each_cell(pim, [&](int r, int c, int number) {
        if (r <= other.nrows && c <= other.ncols)
          to.reals[static_cast<std::size_t>(number) - 1] = from.real(name, place.a, place.b, r, c);
      });
    });
  }
}
void fill_reals(Robust_strata_study& study, const std::string& name, double value) {
  for_each_matrix_of(
      study.model.job(), findpar(study.model.job().data, name), [&](const Pim_place&, const Pim& pim) {
        for_each_cell(
            pim, [&](int, int, int number) { study.reals[static_cast<std::size_t>(number) - 1] = value; });
      });
}

/// @param share  of `expected` that is compared
void expect_alike(const std::vector<double>& got, const std::vector<double>& expected, double share,
                  const std::string& told) {
  ASSERT_EQ(got.size(), expected.size());
  // Products of some ten rates in another order.
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], expected[i] * share, 1e-14) << told << ", record " << i + 1;
}

std::string pair_text(const std::pair<int, int>& types) {
  return std::to_string(types.first) + " and " + std::to_string(types.second);
}

TEST(Robust_strata_limits, full_kinds_are_conditional_ones_times_the_chances_of_capture) {
  for (const std::pair<int, int>& types :
       {std::pair(33, 34), {35, 37}, {36, 38}, {61, 62}, {63, 65}, {64, 66}}) {
    Robust_strata_study full = recorded(types.first, of_two_strata, {.between = unequal, .mixtures = 2}),
                        given = recorded(types.second, of_two_strata, {.between = unequal, .mixtures = 2});
    full.draw(11);
    copy_reals(given, full);
    for (const bool lost : {false, true}) {
      const std::vector<double> got = full.probabilities(lost), of_given = given.probabilities(lost);
      for (std::size_t i = 0; i < got.size(); ++i) {
        std::string dots = of_two_strata[i];
        const Strata_animals animals(full, 1, dots);
        EXPECT_NEAR(got[i], of_given[i] * animals.pstar_of(dots), 1e-14) << pair_text(types) << ' ' << dots;
      }
    }
  }
}

/// The full kinds' terms as well, since -2 log likelihood is compared.
TEST(Robust_strata_limits, one_stratum_is_a_robust_design_without_emigration) {
  const std::vector<std::string> dotted{"110100", "101000", "011011", "110000", "001010",
                                        "000110", "1.0100", "0000.1", ".1.1.0", "111111"};
  for (const std::pair<int, int>& types : {std::pair(33, 7),
                                           {34, 13},
                                           {35, 39},
                                           {36, 40},
                                           {37, 41},
                                           {38, 42},
                                           {61, 55},
                                           {62, 56},
                                           {63, 57},
                                           {64, 58},
                                           {65, 59},
                                           {66, 60},
                                           {147, 146}}) {
    std::vector<std::string> histories;
    for (const std::string& history : dotted)
      if (history.find('.') == std::string::npos || Closed_kind::of(types.first).conditional)
        histories.push_back(history);
    Robust_strata_study strata =
        recorded(types.first, histories, {.codes = "1", .between = unequal, .mixtures = 2});
    Study_builder plain(types.second, sessions_of_any_length,
                        {.between = unequal, .mixtures = 2, .by_cohort = true});
    for (const std::string& history : histories) plain.record(history, {2.0F}, {1.0F});
    plain.model.finish();
    strata.draw(12);
    plain.draw(1);
    for (int r = 1; r <= 2; ++r)
      for (int c = r; c <= 2; ++c) {
        plain.real("S", r, c) = strata.real("S", 1, 1, r, c);
        plain.real("Gamma''", r, c) = plain.real("Gamma'", r, c) = 0.0;
      }
    for (const char* name : {"pi", "p", "c", "alpha", "sigmap", "f0"})
      for (int s = 1; plain.has(name) && s <= 3; ++s)
        for_each_cell(plain.matrix(name, s), [&](int r, int c, int number) {
          plain.reals[static_cast<std::size_t>(number) - 1] = strata.real(name, 1, s, r, c);
        });
    for (const bool lost : {false, true})
      expect_alike(strata.probabilities(lost), plain.probabilities(lost), 1.0, pair_text(types));
    const double f = plain.model.func(plain.reals);
    EXPECT_NEAR(strata.model.func(strata.reals), f, 1e-12 * std::abs(f)) << pair_text(types);
  }
}

// A second stratum in which nothing is caught is the outside of a study: Psi into it is Gamma'', staying
// there Gamma'.
TEST(Robust_strata_limits, a_stratum_without_captures_is_temporary_emigration) {
  const std::vector<std::string> histories{"110100", "101000", "011011", "110000",
                                           "001010", "000110", "1.0100", ".1.1.0"};
  Robust_strata_study strata = recorded(34, histories, {.codes = "1U"});
  Study_builder plain(13, sessions_of_any_length, {.by_cohort = true});
  for (const std::string& history : histories) plain.record(history, {2.0F}, {1.0F});
  plain.model.finish();
  strata.draw(13);
  plain.draw(14);
  for (int r = 1; r <= 2; ++r)
    for (int c = r; c <= 2; ++c) {
      strata.real("S", 1, 1, r, c) = strata.real("S", 2, 1, r, c) = plain.real("S", r, c);
      strata.real("Psi", 1, 2, r, c) = plain.real("Gamma''", r, c);
      strata.real("Psi", 2, 1, r, c) = 1.0 - plain.real("Gamma'", r, c);
    }
  for (const char* name : {"p", "c"})
    for (int s = 1; s <= 3; ++s)
      for_each_cell(plain.matrix(name, s), [&](int r, int c, int number) {
        strata.real(name, 1, s, r, c) = plain.reals[static_cast<std::size_t>(number) - 1];
        strata.real(name, 2, s, r, c) = 0.0;
      });
  for (const bool lost : {false, true})
    expect_alike(strata.probabilities(lost), plain.probabilities(lost), 1.0, "lost " + std::to_string(lost));
}

TEST(Robust_strata_limits, nothing_misread_no_effect_and_one_mixture_are_none) {
  const auto compare = [](const std::pair<int, int>& types, int mixtures, const char* name, double value) {
    Robust_strata_study one =
                            recorded(types.first, of_two_strata, {.between = unequal, .mixtures = mixtures}),
                        other =
                            recorded(types.second, of_two_strata, {.between = unequal, .mixtures = mixtures});
    one.draw(15);
    other.draw(16);
    copy_reals(other, one);
    if (*name != '\0') fill_reals(one, name, value);
    if (!one.has("c"))  // caught again as at first
      for (int a = 1; a <= 2; ++a)
        for (int s = 1; s <= 3; ++s)
          for (int o = 2; o <= one.length(s); ++o)
            if (other.has("c")) other.real("c", a, s, 1, o - 1) = one.real("p", a, s, 1, o);
    for (const bool lost : {false, true})
      expect_alike(one.probabilities(lost), other.probabilities(lost), 1.0, pair_text(types));
    const double f = other.model.func(other.reals);
    EXPECT_NEAR(one.model.func(one.reals), f, 1e-12 * std::abs(f)) << pair_text(types);
  };
  for (int kind = 0; kind < 6; ++kind) compare({61 + kind, 33 + kind}, 2, "alpha", 1.0);
  compare({147, 34}, 1, "sigmap", 0.0);
  for (const std::pair<int, int>& types :
       {std::pair(37, 34), {38, 34}, {35, 33}, {36, 33}, {105, 104}, {106, 104}})
    compare(types, 1, "", 0.0);
}

TEST(Robust_strata_limits, sessions_of_one_occasion_are_occasions) {
  const int occasions = 4;
  std::vector<std::string> histories;
  const std::string signs = "0AB.";
  for (int n = 0; n < 256; ++n) {
    std::string history;
    for (int o = 0, left = n; o < occasions; ++o, left /= 4)
      history += signs[static_cast<std::size_t>(left % 4)];
    if (history.find_first_of("AB") != std::string::npos) histories.push_back(history);
  }
  Robust_strata_study sessions =
      recorded(34, histories, {.between = {0.5F, 2.0F, 1.0F}}, std::vector<int>(occasions, 1));
  Model_builder plain(9, occasions);
  plain.intervals({0.5F, 2.0F, 1.0F});
  plain.strata("AB");
  plain.job().model.nlink = Link::identity;
  for (const std::string& history : histories) plain.record(history, {2.0F}, {1.0F});
  sessions.draw(17);
  std::vector<double> reals;
  const auto matrix = [&](const char* name, int a, int b, const auto& rate) {
    plain.pim(
        findpar(plain.job().data, name), 1, "TRIANG", occasions - 1, occasions - 1,
        [&](int r, int c) {
          reals.push_back(rate(r, c));
          return static_cast<int>(reals.size());
        },
        b, a);
  };
  for (int a = 1; a <= 2; ++a) {
    matrix("S", a, 1, [&](int r, int c) { return sessions.real("S", a, 1, r, c); });
    matrix("p", a, 1, [&](int, int c) { return sessions.real("p", a, c + 1, 1, 1); });
    matrix("Psi", a, 3 - a, [&](int r, int c) { return sessions.real("Psi", a, 3 - a, r, c); });
  }
  plain.finish();
  Array2<double> observed, lost;
  cell_probabilities(plain.job(), reals, observed, lost);
  std::vector<double> of_observed, of_lost;
  for (int i = 1; i <= observed.extent(1); ++i)
    of_observed.push_back(observed(i, 1)), of_lost.push_back(lost(i, 1));
  expect_alike(sessions.probabilities(), of_observed, 1.0, "observed");
  expect_alike(sessions.probabilities(true), of_lost, 1.0, "lost");
}

// First captures tell nothing of the strata where those that are caught less are so many more.
TEST(Robust_strata_limits, strata_met_alike_have_equal_chances_of_a_first_capture) {
  for (const std::pair<int, int>& types : {std::pair(104, 34), {105, 37}, {106, 38}})
    for (const std::string& codes : {std::string("AB"), std::string("ABC"), std::string("A")}) {
      const std::vector<std::string> histories =
          codes == "A" ? std::vector<std::string>{"AA0A00", "00A0A0"} : of_two_strata;
      const Strata_options options{.codes = codes, .between = unequal, .mixtures = 2};
      std::vector<std::string> sampled;
      for (const std::string& history : histories)
        if (history.find('.') == std::string::npos) sampled.push_back(history);
      Robust_strata_study omega = recorded(types.first, sampled, options),
                          given = recorded(types.second, sampled, options);
      omega.draw(18);
      copy_reals(given, omega);
      const Strata_animals animals(omega, 1, {});
      const int n = omega.strata();
      for (int s = 1; s <= 3; ++s) {
        double all = 0.0;
        for (int a = 1; a <= n; ++a) all += 1.0 / animals.pstar(a, s);
        for (int a = 1; a < n; ++a) omega.real("Omega", a, 1, 1, s) = 1.0 / animals.pstar(a, s) / all;
      }
      for (const bool lost : {false, true})
        expect_alike(omega.probabilities(lost), given.probabilities(lost), 1.0 / n, pair_text(types) + codes);
    }
}

/// Two sessions of two occasions.
Robust_strata_study worked(int type, const std::vector<std::string>& histories) {
  Robust_strata_study study(type, {2, 2}, {.codes = "AB"});
  for (const std::string& history : histories) study.record(history, {1.0F});
  study.model.finish();
  study.real("S", 1, 1, 1, 1) = 0.8;
  study.real("S", 2, 1, 1, 1) = 0.7;
  study.real("Psi", 1, 2, 1, 1) = 0.3;
  study.real("Psi", 2, 1, 1, 1) = 0.2;
  study.set("p", 1, 1, {0.5, 0.6});
  study.set("c", 1, 1, {0.7});
  study.set("p", 2, 1, {0.4, 0.3});
  study.set("c", 2, 1, {0.5});
  study.set("p", 1, 2, {0.45, 0.55});
  study.set("c", 1, 2, {0.65});
  study.set("p", 2, 2, {0.35, 0.25});
  study.set("c", 2, 2, {0.6});
  return study;
}

/// First captured in session 1 in A: by what session 1 shows, then session 2.
const std::map<std::string, double>& worked_numbers() {
  static const std::map<std::string, double> numbers{
      {"AAAA", 0.0716625000}, {"AAA0", 0.0385875000}, {"AA0A", 0.0741125000}, {"AABB", 0.0220500000},
      {"AAB0", 0.0147000000}, {"AA0B", 0.0170625000}, {"AA00", 0.1993250000}, {"A0AA", 0.0307125000},
      {"A0A0", 0.0165375000}, {"A00A", 0.0317625000}, {"A0BB", 0.0094500000}, {"A0B0", 0.0063000000},
      {"A00B", 0.0073125000}, {"A000", 0.0854250000}, {"0AAA", 0.0614250000}, {"0AA0", 0.0330750000},
      {"0A0A", 0.0635250000}, {"0ABB", 0.0189000000}, {"0AB0", 0.0126000000}, {"0A0B", 0.0146250000},
      {"0A00", 0.1708500000}};
  return numbers;
}

/// Numbers have ten decimals.
constexpr double printed = 6e-11;

TEST(Robust_strata_worked, conditional) {
  std::vector<std::string> histories;
  for (const auto& [history, prob] : worked_numbers()) histories.push_back(history);
  Robust_strata_study study = worked(34, histories);
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], worked_numbers().at(histories[i]), printed) << histories[i];
}

TEST(Robust_strata_worked, full) {
  const std::vector<std::pair<std::string, double>> numbers{
      {"AAAA", 0.0431408250}, {"AA00", 0.1594600000}, {"A0BB", 0.0038745000}};
  Robust_strata_study study = worked(33, {"AAAA", "AA00", "A0BB"});
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], numbers[i].second, printed) << numbers[i].first;
}

TEST(Robust_strata_worked, state_probabilities) {
  std::vector<std::string> histories;
  for (const auto& [history, prob] : worked_numbers()) histories.push_back(history);
  Robust_strata_study study = worked(104, histories);
  study.set("Omega", 1, 1, {0.55, 0.2});
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], 0.6276747504 * worked_numbers().at(histories[i]), printed) << histories[i];
  Robust_strata_study of_b = worked(104, {"BB00", "B000", "0B00"});
  of_b.set("Omega", 1, 1, {0.55, 0.2});
  Robust_strata_study given = worked(34, {"BB00", "B000", "0B00"});
  const std::vector<double> of_stratum = given.probabilities(), with_share = of_b.probabilities();
  for (std::size_t i = 0; i < of_stratum.size(); ++i)
    EXPECT_NEAR(with_share[i] / of_stratum[i], 0.3723252496, printed);
}

}  // namespace
}  // namespace tarn
