// Laws of the open populations whose first captures are part of the data: sums, agreement with an enumeration
// of animals, reductions, worked numbers.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/fitted_models.h"
#include "support/study_animals.h"

namespace tarn {
namespace {

const std::vector<int> four{1, 1, 1, 1};
const std::vector<float> unequal{0.5F, 2.0F, 1.5F};

/// A data set of two groups with all histories.
Study_builder all_of(int type, bool losses, const std::string& dots = "____",
                     const std::vector<float>& between = unequal) {
  Study_builder study(type, four, {.between = between, .groups = 2});
  Draws draws(81);
  for (const std::string& history : all_histories(4, dots)) {
    if (history.find('1') == std::string::npos) continue;
    std::vector<float> observed, lost;
    for (int g = 1; g <= 2; ++g) {
      observed.push_back(static_cast<float>(draws.whole(1, 4)));
      lost.push_back(losses ? static_cast<float>(draws.whole(1, 2)) : 0.0F);
    }
    study.record(history, observed, lost);
  }
  study.model.finish();
  return study;
}

std::string live_cells(Study_builder& study, int i) {
  std::string live;
  for (int o = 1; o <= study.noccas(); ++o) live += study.model.job().data.encounters.history(i).live(o);
  return live;
}

/// Share of released animals as the type sees it: the entrants of Link and Barker relate to a population that
/// removals leave as it is.
std::vector<double> mu_of(Study_builder& study, int g) {
  return study.row.number == 31 ? std::vector<double>(4, 1.0) : released_shares(study, g);
}

/// Which animals a type compares: all that are ever caught, those first caught or those last caught on an
/// occasion.
int cohort_of(int type, const std::string& history) {
  if (type == 14) return static_cast<int>(history.rfind('1'));
  return type == 19 ? static_cast<int>(history.find('1')) : 0;
}

/// An animal last caught on occasion l, followed back: on the occasion ahead it was there, or it entered
/// since.
void follow_back(Study_builder& study, int g, int o, const std::string& from_o, double share,
                 Recorded& made) {
  const std::string ahead(static_cast<std::size_t>(o) - 1, '0');
  if (o == 1) return made.add(from_o, share);
  const double there = std::pow(study.rate("Gamma", 1, o - 1, g), study.interval(o - 1)),
               p = study.real("p", 1, o - 1, 1, g);
  made.add(ahead + from_o, share * (1.0 - there));
  follow_back(study, g, o - 1, "1" + from_o, share * there * p, made);
  follow_back(study, g, o - 1, "0" + from_o, share * there * (1.0 - p), made);
}

/// What group g shows, of the last or first occasion where the type has such cohorts.
Recorded expected(Study_builder& study, int g, const std::string& dots) {
  Recorded made;
  Study_animals animals(study, g, dots);
  switch (study.row.number) {
    case 14:
      for (int l = 1; l <= 4; ++l)
        follow_back(study, g, l, "1" + std::string(static_cast<std::size_t>(4 - l), '0'), 1.0, made);
      return made;
    case 19:
      for (int f = 1; f <= 4; ++f)
        if (dots[static_cast<std::size_t>(f) - 1] != '.') made.add(animals.released(f), 1.0);
      return made;
    default:
      return ever_caught(study, animals, entering(study, animals, growth_of(study), mu_of(study, g), g));
  }
}

class Open_laws : public testing::TestWithParam<int> {
 protected:
  static std::vector<std::string> dots() {
    if (GetParam() != 19) return {"____"};
    return {"____", ".___", "_._.", "__._"};
  }
};

TEST_P(Open_laws, histories_are_those_of_animals_followed_one_by_one) {
  for (const std::string& dots : dots())
    for (const bool losses : {false, true})
      for (const std::vector<float>& between : {unequal, std::vector<float>{}}) {
        Study_builder study = all_of(GetParam(), losses, dots, between);
        for (const unsigned seed : {1U, 2U, 3U}) {
          study.draw(seed);
          for (int g = 1; g <= 2; ++g) {
            const Recorded animals = expected(study, g, dots);
            const std::vector<double> observed = study.probabilities(false, g),
                                      lost = study.probabilities(true, g);
            std::map<int, double> totals;
            for (std::size_t i = 0; i < observed.size(); ++i) {
              const std::string history = live_cells(study, static_cast<int>(i) + 1);
              // Sums of some ten products.
              EXPECT_NEAR(observed[i], animals.at(history), 1e-14) << history << ", group " << g;
              totals[cohort_of(GetParam(), history)] += observed[i];
              if (!losses) continue;
              // Behind the last capture there is nothing that a removal could change.
              const double removed = GetParam() == 14 ? animals.at(history) : animals.removed(history, 1);
              EXPECT_NEAR(lost[i], removed, 1e-14) << history << ", group " << g << ", lost";
            }
            for (const auto& [cohort, total] : totals)
              EXPECT_NEAR(total, 1.0, 1e-12) << dots << ' ' << cohort;
          }
        }
      }
}

// Released with chance mu after every capture but the last, which is a loss with chance 1 - mu.
/// Those whose growth is a parameter and whose losses are told.
class Growing_laws : public Open_laws {};

TEST_P(Growing_laws, releases_and_losses_sum_to_one) {
  Study_builder study = all_of(GetParam(), true);
  for (const unsigned seed : {11U, 12U, 13U}) {
    study.draw(seed);
    for (int g = 1; g <= 2; ++g) {
      const std::vector<double> mu = released_shares(study, g), observed = study.probabilities(false, g),
                                lost = study.probabilities(true, g);
      double total = 0.0;
      for (std::size_t i = 0; i < observed.size(); ++i) {
        const std::string history = live_cells(study, static_cast<int>(i) + 1);
        double ahead = 1.0, last = 1.0;
        for (std::size_t o = 0; o < 4; ++o)
          if (history[o] == '1') ahead *= last, last = mu[o];
        total += ahead * (last * observed[i] + (1.0 - last) * lost[i]);
      }
      EXPECT_NEAR(total, 1.0, 1e-12) << "group " << g << ", seed " << seed;
    }
  }
}

// Where more animals survive than there are, the entrants are used as they stand, and what leaves the range
// of chances is charged for, once a cell.
TEST_P(Growing_laws, negative_entrants_meet_the_range_penalty) {
  for (const bool losses : {false, true}) {
    Study_builder study = all_of(GetParam(), losses);
    study.draw(21);
    for (int g = 1; g <= 2; ++g)
      for (int c = 1; c <= 3; ++c) {
        if (study.has("Lambda")) study.real("Lambda", 1, c, 1, g) = 0.3;
        if (study.has("Gamma")) study.real("Gamma", 1, c, 1, g) = 1.6;
        if (study.has("f")) study.real("f", 1, c, 1, g) = -0.45;
        study.real("Phi", 1, c, 1, g) = 0.9;
      }
    double outside = 0.0;
    for (int g = 1; g <= 2; ++g) {
      const Recorded animals = expected(study, g, "____");
      for (const bool lost : {false, true}) {
        if (lost && !losses) continue;
        const std::vector<double> probs = study.probabilities(lost, g);
        for (std::size_t i = 0; i < probs.size(); ++i) {
          const std::string history = live_cells(study, static_cast<int>(i) + 1);
          const double prob = lost ? animals.removed(history, 1) : animals.at(history);
          EXPECT_NEAR(probs[i], prob, 1e-13 * (1.0 + std::abs(prob))) << history;
          outside += std::max({-prob, prob - 1.0, 0.0});
        }
      }
    }
    study.model.func(study.reals);
    EXPECT_GT(outside, 0.0);
    EXPECT_NEAR(study.model.value.sumpen, 2e6 * outside, 1e-8 * outside);
  }
}

INSTANTIATE_TEST_SUITE_P(types, Growing_laws, testing::Values(15, 16, 17, 31), name_of_type);
INSTANTIATE_TEST_SUITE_P(types, Open_laws, testing::Values(14, 15, 16, 17, 19, 31), name_of_type);

void expect_same(Study_builder& study, Study_builder& other, double tolerance = 1e-15) {
  for (int g = 1; g <= 2; ++g)
    for (const bool lost : {false, true}) {
      const std::vector<double> got = study.probabilities(lost, g), expected = other.probabilities(lost, g);
      ASSERT_EQ(got.size(), expected.size());
      for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_NEAR(got[i], expected[i], tolerance) << live_cells(study, static_cast<int>(i) + 1);
    }
}

/// Phi and p of another study.
void copy_rates(Study_builder& to, Study_builder& from) {
  for (int g = 1; g <= 2; ++g)
    for (int o = 1; o <= 4; ++o) {
      to.real("p", 1, o, 1, g) = from.real("p", 1, o, 1, g);
      if (o < 4) to.real("Phi", 1, o, 1, g) = from.real("Phi", 1, o, 1, g);
    }
}

TEST(Open_reductions, growth_recruitment_and_seniority_tell_the_same) {
  Study_builder growth = all_of(16, true), seniority = all_of(15, true), recruitment = all_of(17, true);
  growth.draw(31);
  copy_rates(seniority, growth);
  copy_rates(recruitment, growth);
  for (int g = 1; g <= 2; ++g)
    for (int c = 1; c <= 3; ++c) {
      const double phi = growth.rate("Phi", 1, c, g), lambda = growth.rate("Lambda", 1, c, g);
      seniority.real("Gamma", 1, c, 1, g) = phi / lambda;
      recruitment.real("f", 1, c, 1, g) = lambda - phi;
    }
  expect_same(seniority, growth);
  expect_same(recruitment, growth);
}

TEST(Open_reductions, link_and_barker_is_recruitment_without_losses) {
  Study_builder undisturbed = all_of(31, false), recruitment = all_of(17, false),
                disturbed = all_of(17, true), with_losses = all_of(31, true);
  recruitment.draw(32);
  for (Study_builder* study : {&undisturbed, &disturbed, &with_losses}) study->reals = recruitment.reals;
  expect_same(undisturbed, recruitment);
  EXPECT_NE(disturbed.probabilities(), with_losses.probabilities());
}

TEST(Open_reductions, no_entrants_are_animals_of_the_first_occasion) {
  Study_builder growth = all_of(16, true);
  growth.draw(33);
  for (int g = 1; g <= 2; ++g)
    for (int c = 1; c <= 3; ++c) growth.real("Lambda", 1, c, 1, g) = growth.rate("Phi", 1, c, g);
  for (int g = 1; g <= 2; ++g) {
    Study_animals animals(growth, g);
    const Recorded all = animals.entered(1);
    const std::vector<double> got = growth.probabilities(false, g);
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], all.at(live_cells(growth, static_cast<int>(i) + 1)) / (1.0 - all.at("0000")),
                  1e-15);
  }
}

// p of the last occasion is not read.
TEST(Open_reductions, seniority_alone_is_live_recaptures_read_backwards) {
  Study_builder study = all_of(14, true);
  study.draw(34);
  for (int g = 1; g <= 2; ++g) study.real("p", 1, 4, 1, g) = 77.0;
  for (int g = 1; g <= 2; ++g) {
    Model_builder m(1, 4);
    for (int i = 1; i <= study.model.job().data.encounters.size(); ++i) {
      std::string history = live_cells(study, i);
      std::reverse(history.begin(), history.end());
      m.record(history, {1.0F});
    }
    m.time_pims();
    m.intervals({unequal[2], unequal[1], unequal[0]});
    m.job().model.nlink = Link::identity;
    m.finish();
    std::vector<double> reals;
    for (int c = 3; c >= 1; --c) reals.push_back(study.real("Gamma", 1, c, 1, g));
    for (int o = 3; o >= 1; --o) reals.push_back(study.real("p", 1, o, 1, g));
    Array2<double> observed, lost;
    cell_probabilities(m.job(), reals, observed, lost);
    const std::vector<double> got = study.probabilities(false, g), removed = study.probabilities(true, g);
    for (std::size_t i = 0; i < got.size(); ++i) {
      EXPECT_NEAR(got[i], observed(static_cast<int>(i) + 1, 1), 1e-15);
      EXPECT_EQ(removed[i], got[i]);
    }
  }
}

/// Phi .8 .7, p .5 .4 .3, and what tells of the growth.
Study_builder worked_study(int type) {
  Study_builder study(type, {1, 1, 1});
  study.set("p", {0.5, 0.4, 0.3});
  if (study.has("Phi")) study.set("Phi", {0.8, 0.7});
  if (study.has("Gamma")) study.set("Gamma", {0.75, 0.6});
  if (study.has("Lambda")) study.set("Lambda", {1.1, 0.95});
  if (study.has("f")) study.set("f", {0.3, 0.25});
  return study;
}

struct Worked {
  const char* history;
  double seniority, growth, lost, with_losses, last_capture, first_capture;
  float observed, removed;  ///< so that .9, .8 and .7 of those caught go back
};
constexpr Worked worked[] = {
    {"111", 0.0336000000, 0.0353423793, 0.0353423793, 0.0360354563, 0.0900000000, 0.0672000000, 5.0F, 0.0F},
    {"110", 0.1264000000, 0.1329546650, 0.1682970443, 0.1355619547, 0.3750000000, 0.2528000000, 5.0F, 0.0F},
    {"101", 0.0504000000, 0.0530135689, 0.0530135689, 0.0540531845, 0.1350000000, 0.1008000000, 5.0F, 0.0F},
    {"100", 0.2896000000, 0.3046176502, 0.5259282634, 0.3105913140, 1.0000000000, 0.5792000000, 21.0F, 4.0F},
    {"011", 0.0560000000, 0.0618491638, 0.0618491638, 0.0617107189, 0.1500000000, 0.2100000000, 5.0F, 0.0F},
    {"010", 0.2106666667, 0.2326706637, 0.2945198275, 0.2321498474, 0.6250000000, 0.7900000000, 9.0F, 6.0F},
    {"001", 0.2333333333, 0.1795519091, 0.1795519091, 0.1698975242, 0.6250000000, 1.0000000000, 6.0F, 9.0F}};

TEST(Open_worked, every_type) {
  const std::pair<int, double Worked::*> columns[] = {
      {15, &Worked::seniority},    {16, &Worked::growth},       {17, &Worked::growth},
      {31, &Worked::growth},       {14, &Worked::last_capture}, {19, &Worked::first_capture},
      {11, &Worked::first_capture}};
  for (const auto& [type, column] : columns) {
    Study_builder study = worked_study(type);
    for (const Worked& row : worked) study.record(row.history, {1.0F});
    study.model.finish();
    const std::vector<double> got = study.probabilities();
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], worked[i].*column, 1e-10) << type << ' ' << worked[i].history;
  }
}

TEST(Open_worked, losses_on_capture) {
  Study_builder recruitment = worked_study(17);
  for (const Worked& row : worked) recruitment.record(row.history, {row.observed}, {row.removed});
  recruitment.model.finish();
  const std::vector<double> got = recruitment.probabilities();
  Study_builder undisturbed = worked_study(31);
  for (const Worked& row : worked) undisturbed.record(row.history, {1.0F}, {1.0F});
  undisturbed.model.finish();
  const std::vector<double> lost = undisturbed.probabilities(true);
  for (std::size_t i = 0; i < got.size(); ++i) {
    EXPECT_NEAR(got[i], worked[i].with_losses, 1e-10) << worked[i].history;
    EXPECT_NEAR(lost[i], worked[i].lost, 1e-10) << worked[i].history << " lost";
  }
}

/// Nothing but row 1 is read, whatever rows there are and whenever an animal is caught first.
TEST(Open_rows, the_first_row_serves_all) {
  constexpr int noccas = 4;
  for (const int type : {11, 14, 15, 16, 17, 19, 31}) {
    std::vector<std::vector<double>> found;
    for (const int rows : {1, 3}) {
      Model_builder m(type, noccas);
      Job& job = m.job();
      ASSERT_TRUE(job.data.u.allocate(noccas, 1, 2) && job.data.ul.allocate(noccas, 1, 2));
      int number = 0;
      for (int q = 1; q <= job.data.numparmnames; ++q) {
        const std::string& name = job.data.parameterlist(q);
        const int columns = name == "N" ? 1 : name == "p" ? noccas : noccas - 1;
        const int before = number;
        m.pim(q, 1, "SQUARE", rows, columns, [&](int r, int c) { return r == 1 ? before + c : 20; });
        number += columns;
      }
      for (unsigned bits = 1; bits < 1U << noccas; ++bits)
        m.record(binary_history(bits, noccas), {1.0F}, {1.0F});
      job.model.nlogit = 20;
      job.model.nlink = Link::identity;
      m.finish();
      Draws draws(static_cast<unsigned>(type));
      std::vector<double> reals(20);
      for (double& real : reals) real = draws.between(0.2, 0.8);
      Array2<double> observed, lost;
      cell_probabilities(job, reals, observed, lost);
      found.emplace_back();
      for (int i = 1; i <= observed.extent(1); ++i) {
        found.back().push_back(observed(i, 1));
        found.back().push_back(lost(i, 1));
      }
    }
    EXPECT_EQ(found[0], found[1]) << type;
  }
}

}  // namespace
}  // namespace tarn
