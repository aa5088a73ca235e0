// The term of the first captures of a population that animals enter: sums, agreement with an enumeration of
// animals and with a plain loop, worked numbers, guards.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/fitted_models.h"
#include "support/study_animals.h"

namespace tarn {
namespace {

const std::vector<float> unequal{0.5F, 2.0F, 1.5F};

/// How the number of animals is told.
enum class Number { free, fixed };

/// A study of which only the first captures count.
struct Entries {
  int noccas;
  Number number;
  bool first_is_the_rest = true;  ///< of the entries
  std::vector<float> between{};
  int groups = 1;
};

/// Counts of first captures by group and occasion, the last of them lost on capture.
Study_builder entries_study(const Entries& of, const std::vector<std::vector<int>>& counts,
                            double fixed = 0.0) {
  Study_builder study(19, std::vector<int>(static_cast<std::size_t>(of.noccas), 1),
                      {.between = of.between, .groups = of.groups});
  study.draw(3);
  for (int o = 1; o <= of.noccas; ++o) {
    std::string history(static_cast<std::size_t>(of.noccas), '0');
    history[static_cast<std::size_t>(o) - 1] = '1';
    std::vector<float> observed, lost;
    for (const std::vector<int>& group : counts) {
      const int n = group[static_cast<std::size_t>(o) - 1];
      lost.push_back(n > 1 ? 1.0F : 0.0F);
      observed.push_back(static_cast<float>(n) - lost.back());
    }
    study.record(history, observed, lost);
  }
  Job& job = study.model.job();
  job.model.phase1 = 0;
  job.model.pentfirst = of.first_is_the_rest ? 1 : 0;
  for (int g = 1; g <= of.groups && of.number == Number::fixed; ++g)
    study.model.fix(study.matrix("N", 1, g).at(1, 1), fixed);
  study.model.finish();
  return study;
}

/// The term by itself.
double term(Study_builder& study) {
  study.model.func(study.reals);
  return -0.5 * study.model.value.loglik;
}

void set_worked(Study_builder& study) {
  study.set("Phi", {0.8, 0.7});
  study.set("p", {0.5, 0.4, 0.3});
  study.set("pent", {0.3, 0.2});
}

TEST(Entry_term, worked_numbers) {
  Study_builder fixed = entries_study({3, Number::fixed}, {{12, 7, 4}}, 60.0),
                free = entries_study({3, Number::free}, {{12, 7, 4}});
  set_worked(fixed);
  set_worked(free);
  free.real("N", 1, 1) = 37.0;
  EXPECT_NEAR(term(fixed), -10.1626869660, 1e-10);
  EXPECT_NEAR(term(free), -10.1626869660, 1e-10);
  EXPECT_EQ(fixed.model.value.sumpen, 0.0);
}

TEST(Entry_term, all_counts_sum_to_one) {
  constexpr int animals = 3;
  for (const bool first_is_the_rest : {true, false})
    for (const unsigned seed : {1U, 2U, 3U}) {
      double total = 0.0;
      for (int a = 0; a <= animals; ++a)
        for (int b = 0; a + b <= animals; ++b)
          for (int c = 0; a + b + c <= animals; ++c) {
            Study_builder study =
                entries_study({3, Number::fixed, first_is_the_rest, unequal}, {{a, b, c}}, animals);
            study.draw(seed);
            total += std::exp(term(study));
          }
      EXPECT_NEAR(total, 1.0, 1e-12);
    }
}

/// What is ever recorded of a new animal of group g, whose chances to enter are the study's.
Recorded of_one_animal(Study_builder& study, bool first_is_the_rest, int g = 1) {
  const int n = study.noccas();
  std::vector<double> pent(static_cast<std::size_t>(n));
  double rest = 1.0;
  for (int c = 1; c < n; ++c)
    rest -= pent[static_cast<std::size_t>(first_is_the_rest ? c : c - 1)] = study.real("pent", 1, c, 1, g);
  (first_is_the_rest ? pent.front() : pent.back()) = rest;
  Study_animals animals(study, g);
  Recorded all;
  for (int e = 1; e <= n; ++e) all.add(animals.entered(e), pent[static_cast<std::size_t>(e) - 1]);
  return all;
}

/// Chance that an animal is first caught on occasion `first`; 0: never.
double first_caught(const Recorded& animal, int first) {
  double total = 0.0;
  for (const auto& [history, share] : animal.shares()) {
    const std::size_t place = history.find('1');
    if (first == 0 ? place == std::string::npos : place == static_cast<std::size_t>(first) - 1)
      total += share;
  }
  return total;
}

TEST(Entry_term, of_one_animal_is_the_chance_of_its_first_capture) {
  for (const bool first_is_the_rest : {true, false})
    for (int first = 0; first <= 4; ++first) {
      std::vector<int> counts(4, 0);
      if (first > 0) counts[static_cast<std::size_t>(first) - 1] = 1;
      Study_builder study = entries_study({4, Number::fixed, first_is_the_rest, unequal}, {counts}, 1.0);
      for (const unsigned seed : {4U, 5U, 6U}) {
        study.draw(seed);
        EXPECT_NEAR(std::exp(term(study)), first_caught(of_one_animal(study, first_is_the_rest), first),
                    1e-14)
            << first;
      }
    }
}

/// The term as a plain loop over groups and occasions.
double plain_term(Study_builder& study, const Entries& of, const std::vector<std::vector<int>>& counts,
                  double fixed) {
  double sum = 0.0;
  for (int g = 1; g <= of.groups; ++g) {
    const Recorded animal = of_one_animal(study, of.first_is_the_rest, g);
    int caught = 0;
    for (int o = 1; o <= of.noccas; ++o) {
      const int n = counts[static_cast<std::size_t>(g) - 1][static_cast<std::size_t>(o) - 1];
      sum += n * std::log(first_caught(animal, o)) - std::lgamma(n + 1.0);
      caught += n;
    }
    const double missed = of.number == Number::fixed ? fixed - caught : study.real("N", 1, 1, 1, g);
    sum += missed * std::log(first_caught(animal, 0)) + std::lgamma(missed + caught + 1.0) -
           std::lgamma(missed + 1.0);
  }
  return sum;
}

TEST(Entry_term, is_that_of_a_plain_loop) {
  const std::vector<std::vector<int>> counts{{12, 7, 0, 4}, {0, 9, 1, 20}};
  for (const Number number : {Number::free, Number::fixed})
    for (const bool first_is_the_rest : {true, false}) {
      const Entries of{4, number, first_is_the_rest, unequal, 2};
      Study_builder study = entries_study(of, counts, 44.0);
      for (const unsigned seed : {7U, 8U, 9U}) {
        study.draw(seed);
        const double expected = plain_term(study, of, counts, 44.0);
        // Some hundred products and logarithms, sums up to about 100.
        EXPECT_NEAR(term(study), expected, 1e-12 * std::abs(expected));
        EXPECT_EQ(study.model.value.sumpen, 0.0);
      }
    }
}

TEST(Entry_term, fixed_and_free_numbers_agree) {
  Study_builder fixed = entries_study({3, Number::fixed}, {{12, 7, 4}}, 60.5),
                free = entries_study({3, Number::free}, {{12, 7, 4}});
  free.reals = fixed.reals;
  free.real("N", 1, 1) = 60.5 - 23.0;
  EXPECT_NEAR(term(fixed), term(free), 1e-13 * std::abs(term(free)));
}

// The entry that is the rest may be the first or the last one.
TEST(Entry_term, the_same_entries_are_the_same_term) {
  Study_builder first = entries_study({4, Number::free, true, unequal}, {{12, 7, 0, 4}}),
                last = entries_study({4, Number::free, false, unequal}, {{12, 7, 0, 4}});
  last.reals = first.reals;
  first.set("pent", {0.3, 0.25, 0.2});
  last.set("pent", {0.25, 0.3, 0.25});
  EXPECT_NEAR(term(first), term(last), 1e-14 * std::abs(term(last)));
  EXPECT_NE(first.reals, last.reals);
}

TEST(Entry_term, all_there_at_the_start) {
  Study_builder study = entries_study({4, Number::fixed, true, unequal}, {{0, 0, 0, 0}}, 1.0);
  study.set("pent", {0.0, 0.0, 0.0});
  Study_animals animals(study);
  EXPECT_NEAR(std::exp(term(study)), animals.entered(1).at("0000"), 1e-15);
}

// Nobody can be caught on the last occasion, and nobody was.
TEST(Entry_term, an_occasion_without_a_chance_adds_nothing_where_nobody_was_caught) {
  Study_builder study = entries_study({3, Number::free}, {{12, 7, 0}}),
                shorter = entries_study({2, Number::free}, {{12, 7}});
  set_worked(study);
  study.real("p", 1, 3) = 0.0;
  study.real("N", 1, 1) = 30.0;
  shorter.set("Phi", {0.8});
  shorter.set("p", {0.5, 0.4});
  shorter.set("pent", {0.3});
  shorter.real("N", 1, 1) = 30.0;
  // Of the first two occasions 0.5 and 0.3 enter, of two alone 0.7 and 0.3.
  study.set("pent", {0.3, 0.0});
  EXPECT_NEAR(term(study), term(shorter), 1e-14 * std::abs(term(shorter)));
}

// Fewer animals than were caught: charged, and as many as were caught count.
TEST(Entry_term, fixed_number_below_the_number_caught_is_charged) {
  constexpr double fixed = 20.5, caught = 23.0;
  Study_builder study = entries_study({3, Number::fixed}, {{12, 7, 4}}, fixed);
  set_worked(study);
  const Recorded animal = of_one_animal(study, true);
  double expected = std::lgamma(caught + 1.0);
  const int counts[] = {12, 7, 4};
  for (int o = 1; o <= 3; ++o)
    expected += counts[o - 1] * std::log(first_caught(animal, o)) - std::lgamma(counts[o - 1] + 1.0);
  EXPECT_NEAR(term(study), expected, 1e-13 * std::abs(expected));
  EXPECT_EQ(study.model.value.sumpen, 2e6 * (caught - fixed));
}

// First captures of a population whose entrants relate to its size are those of Link and Barker.
TEST(Entry_term, entries_in_proportion_to_the_size_are_link_and_barkers) {
  Study_builder barker(31, {1, 1, 1, 1}, {.between = unequal});
  const std::vector<std::string> histories = all_histories(4);
  for (const std::string& history : histories)
    if (history.find('1') != std::string::npos) barker.record(history, {1.0F}, {1.0F});
  barker.model.finish();
  barker.draw(12);
  Study_animals animals(barker);
  const Entering of = entering(barker, animals, Growth::recruitment, std::vector<double>(4, 1.0));
  double size = 0.0;
  for (const double entrants : of.entrants) size += entrants;
  std::vector<double> chances;
  for (int first = 1; first <= 4; ++first) {
    std::vector<int> counts(4, 0);
    counts[static_cast<std::size_t>(first) - 1] = 1;
    Study_builder study = entries_study({4, Number::fixed, true, unequal}, {counts}, 1.0);
    for (int o = 1; o <= 4; ++o) {
      study.real("p", 1, o) = barker.real("p", 1, o);
      if (o == 4) continue;
      study.real("Phi", 1, o) = barker.real("Phi", 1, o);
      study.real("pent", 1, o) = of.entrants[static_cast<std::size_t>(o)] / size;
    }
    chances.push_back(std::exp(term(study)));
  }
  double ever = 0.0;
  for (const double chance : chances) ever += chance;
  const std::vector<double> probs = barker.probabilities();
  std::vector<double> shares(4, 0.0);
  for (std::size_t i = 0; i < probs.size(); ++i) shares[histories[i + 1].find('1')] += probs[i];
  for (std::size_t o = 0; o < 4; ++o) EXPECT_NEAR(chances[o] / ever, shares[o], 1e-14);
}

}  // namespace
}  // namespace tarn
