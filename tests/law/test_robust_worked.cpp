// Robust designs: worked numbers, and what the models reduce to.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/cell_bench.h"
#include "support/study_animals.h"

namespace tarn {
namespace {

/// Sessions of 2, 1 and 2 occasions with the reals of the worked example.
Study_builder worked_study(int type, const std::vector<std::string>& histories, bool losses = false) {
  Study_builder study(type, {2, 1, 2}, {.short_return = true});
  for (const std::string& history : histories) study.record(history, {1.0F}, {losses ? 1.0F : 0.0F});
  const auto set = [&study](const char* name, const std::vector<double>& values) {
    if (study.has(name)) study.set(name, values);
  };
  if (study.row.cell == Cell::robust_barker)
    set("S", {0.8, 0.7, 0.6});
  else
    set("S", {0.8, 0.7});
  set("Phi", {0.8, 0.7});
  set("Lambda", {1.1, 0.95});
  set("Gamma''", {0.2, 0.3});
  set("Gamma'", {0.6});
  set("r", {0.3, 0.25, 0.2});
  set("R", {0.35, 0.3, 0.25});
  set("R'", {0.15, 0.2, 0.1});
  set("a''", {0.8, 0.7});
  set("a'", {0.4});
  set("F", {0.9, 0.85});
  study.set("p", {0.3, 0.4}, 1);
  study.set("p", {0.5}, 2);
  study.set("p", {0.35, 0.45}, 3);
  study.set("c", {0.2}, 1);
  study.set("c", {0.25}, 3);
  for (int s = 1; s <= 3 && study.kind.effect; ++s)
    study.set(
        "sigmap",
        std::vector<double>(static_cast<std::size_t>(study.lengths[static_cast<std::size_t>(s) - 1]), 0.8),
        s);
  study.model.finish();
  return study;
}

/// Of an animal lost on capture the cells behind it say nothing, in the session of its capture either.
struct Worked {
  const char* history;
  double huggins, full, lost;
};
constexpr Worked worked[] = {
    {"11111", 0.0014193103, 0.0002644530, 0.0014193103}, {"11110", 0.0042579310, 0.0007933590, 0.0056772414},
    {"11100", 0.0226816552, 0.0065776800, 0.0331034483}, {"11011", 0.0018248276, 0.0006800220, 0.0018248276},
    {"11000", 0.0569453793, 0.0330283200, 0.1034482759}, {"10100", 0.0907266207, 0.0263107200, 0.1324137931},
    {"10001", 0.0244005517, 0.0090928656, 0.0244005517}, {"10000", 0.2277815172, 0.1321132800, 0.5172413793},
    {"01111", 0.0066234483, 0.0012341140, 0.0066234483}, {"01100", 0.1058477241, 0.0306958400, 0.1544827586},
    {"01010", 0.0255475862, 0.0095203080, 0.0340634483}, {"01000", 0.2657451034, 0.1541321600, 0.4827586207},
    {"00111", 0.0428750000, 0.0137735937, 0.0428750000}, {"00100", 0.6851750000, 0.3425875000, 1.0000000000},
    {"00011", 0.1361867704, 0.0875000000, 0.1361867704}, {"00001", 0.4552529183, 0.2925000000, 0.4552529183}};

TEST(Robust_worked, temporary_emigration) {
  std::vector<std::string> histories;
  for (const Worked& row : worked) histories.emplace_back(row.history);
  Study_builder huggins = worked_study(13, histories, true), full = worked_study(7, histories);
  const std::vector<double> conditional = huggins.probabilities(), whole = full.probabilities(),
                            lost = huggins.probabilities(true);
  for (std::size_t i = 0; i < histories.size(); ++i) {
    EXPECT_NEAR(conditional[i], worked[i].huggins, 1e-10) << histories[i];
    EXPECT_NEAR(whole[i], worked[i].full, 1e-10) << histories[i];
    EXPECT_NEAR(lost[i], worked[i].lost, 1e-10) << histories[i] << " lost";
  }
}

/// Of the type the histories with their probabilities.
void expect_worked(int type, const std::vector<std::pair<std::string, double>>& expected) {
  std::vector<std::string> histories;
  for (const auto& [history, prob] : expected) histories.push_back(history);
  Study_builder study = worked_study(type, histories);
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], expected[i].second, 1e-10) << histories[i];
}

TEST(Robust_worked, occasions_not_sampled) {
  expect_worked(
      13,
      {{"10.01", 0.0433787586}, {"1000.", 0.2521820690}, {"1.001", 0.0589680000}, {"00.10", 0.4085603113}});
}

TEST(Robust_worked, random_effects) {
  expect_worked(
      146,
      {{"11000", 0.0900305692}, {"10100", 0.0881529419}, {"10000", 0.2201411841}, {"00111", 0.0613055277}});
}

TEST(Robust_worked, growth) {
  expect_worked(80, {{"11000", 0.0206995437},
                     {"10000", 0.0827981749},
                     {"10100", 0.0433798579},
                     {"00100", 0.1436957793},
                     {"00111", 0.0159952140},
                     {"10001", 0.0161418008},
                     {"00010", 0.1072670952},
                     {"01110", 0.0169006034}});
  expect_worked(79, {{"11000", 0.0120057354},
                     {"10000", 0.0480229415},
                     {"10100", 0.0125801588},
                     {"00100", 0.0718478896},
                     {"00111", 0.0051384625},
                     {"10001", 0.0060152421},
                     {"00010", 0.0689191087},
                     {"01110", 0.0031490049}});
}

/// Captures, and a code for each session; the code stands in the cell `place` of its session, from its end.
std::string with_codes(const std::string& live, const std::string& codes, int place = 0) {
  constexpr int last_cell[] = {2, 3, 5}, length[] = {2, 1, 2};
  std::string cells;
  for (const char captured : live) cells += {captured, '0'};
  for (std::size_t s = 0; s < codes.size(); ++s)
    cells[2 * static_cast<std::size_t>(last_cell[s] - std::min(place, length[s] - 1)) - 1] = codes[s];
  return cells;
}

// The code of a session is the last one in its cells, wherever it stands.
TEST(Robust_worked, live_and_dead_encounters) {
  const std::vector<std::tuple<const char*, const char*, double>> rows{
      {"10000", "000", 0.1100598900}, {"10000", "200", 0.0414380840}, {"10000", "020", 0.0216386721},
      {"10000", "100", 0.0248275862}, {"11110", "002", 0.0002697384}, {"10010", "000", 0.0056251263},
      {"10001", "220", 0.0014464610}, {"01100", "001", 0.0021883075}, {"00110", "000", 0.0564805237},
      {"00100", "010", 0.0750000000}, {"00011", "001", 0.0108949416}};
  for (const int place : {0, 1}) {
    std::vector<std::pair<std::string, double>> expected;
    for (const auto& [live, codes, prob] : rows) expected.emplace_back(with_codes(live, codes, place), prob);
    expect_worked(43, expected);
  }
}

/// The type of a family with a closed kind; of the Pradel forms with the parameter of growth.
int type_of(Cell cell, Closed closed, const std::string& growth = "") {
  for (int type = 1; type <= max_dattyp; ++type) {
    const Datatype& row = datatype(type);
    if (row.cell == cell && row.closed == closed && (growth.empty() || names_hold(row.own, growth)))
      return type;
  }
  ADD_FAILURE() << "no such type";
  return 0;
}

constexpr int kinds = 13;

/// All histories over {0,1} with a capture.
std::vector<std::string> caught_histories(int noccas) {
  std::vector<std::string> all;
  for (unsigned bits = 1; bits < 1U << noccas; ++bits) all.push_back(binary_history(bits, noccas));
  return all;
}

/// A data set of all histories, some of each lost when `losses`, finished, at random reals.
Study_builder random_study(int type, const std::vector<int>& lengths, const Study_options& options,
                           const std::vector<std::string>& histories, bool losses = true) {
  Study_builder study(type, lengths, options);
  int count = 0;
  for (const std::string& history : histories)
    study.record(history, {static_cast<float>(1 + ++count % 5)}, {losses ? 1.0F : 0.0F});
  study.model.finish();
  study.draw(3);
  return study;
}

/// Gives a study the reals of another one that stand under the same name, row and column.
void copy_reals(Study_builder& to, Study_builder& from) {
  const Job& job = to.model.job();
  for (int q = 1; q <= job.data.numparmnames; ++q) {
    const std::string& name = job.data.parameterlist(q);
    if (!from.has(name)) continue;
    for_each_matrix_of(job, q, [&](const Pim_place& place, const Pim& pim) {
      for_each_cell(
          pim, [&](int r, int c, int) { to.real(name, r, c, place.b) = from.real(name, r, c, place.b); });
    });
  }
}

/// Probabilities of released and of lost animals are the same.
void expect_same(Study_builder& study, Study_builder& other, double tolerance = 1e-15) {
  for (const bool lost : {false, true}) {
    const std::vector<double> got = study.probabilities(lost), expected = other.probabilities(lost);
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], expected[i], tolerance)
          << "types " << study.row.number << " and " << other.row.number << ", record " << i + 1;
  }
}

const std::vector<int> short_lengths{2, 1, 2};
const std::vector<float> unequal{0.5F, 2.0F, 1.5F};

// The full kinds have the chances of their captures unconditionally, and the same chain between sessions.
TEST(Robust_reductions, full_kinds_are_the_conditional_ones_times_the_chances_of_a_capture) {
  const std::pair<Closed, Closed> pairs[] = {{Closed::full, Closed::huggins},
                                             {Closed::het, Closed::huggins_het_p},
                                             {Closed::full_het, Closed::huggins_het},
                                             {Closed::id_full, Closed::id_huggins},
                                             {Closed::id_het, Closed::id_huggins_het_p},
                                             {Closed::id_full_het, Closed::id_huggins_het}};
  const std::vector<std::string> histories = caught_histories(5);
  for (const Cell cell : {Cell::robust, Cell::robust_pradel})
    for (const char* growth : {"Gamma", "Lambda", "f"})
      for (const auto& [whole, conditional] : pairs) {
        if (cell == Cell::robust && growth != std::string("f")) continue;
        const std::string by = cell == Cell::robust ? "" : growth;
        const Study_options options{.between = unequal, .mixtures = 2};
        Study_builder full = random_study(type_of(cell, whole, by), short_lengths, options, histories),
                      huggins =
                          random_study(type_of(cell, conditional, by), short_lengths, options, histories);
        copy_reals(huggins, full);
        const Study_animals animals(full);
        for (const bool lost : {false, true}) {
          const std::vector<double> got = full.probabilities(lost), given = huggins.probabilities(lost);
          for (std::size_t i = 0; i < got.size(); ++i)
            EXPECT_NEAR(got[i], given[i] * animals.pstar_of(histories[i]), 1e-15) << histories[i];
        }
      }
}

/// Chances of the sessions with a capture, summed over what happens within them.
std::map<std::vector<bool>, double> by_session(Study_builder& study,
                                               const std::vector<std::string>& histories) {
  const std::vector<double> probs = study.probabilities();
  std::map<std::vector<bool>, double> sums;
  for (std::size_t i = 0; i < probs.size(); ++i) sums[study.captured(histories[i])] += probs[i];
  return sums;
}

std::vector<bool> sessions_of_history(const std::string& history) {
  std::vector<bool> captured;
  for (const char live : history) captured.push_back(live == '1');
  return captured;
}

/// Live recaptures with an interval for each session, and p of session s at `p[s - 1]`.
std::map<std::vector<bool>, double> recaptures(Study_builder& study, const std::vector<double>& p) {
  const int n = study.sessions();
  Model_builder m(1, n);
  const std::vector<std::string> histories = caught_histories(n);
  for (const std::string& history : histories) m.record(history, {1.0F});
  m.time_pims();
  m.job().model.nlink = Link::identity;
  std::vector<double> reals;
  for (int s = 1; s < n; ++s) {
    m.intervals_from(s, {static_cast<float>(study.interval(s))});
    reals.push_back(study.rate("S", 1, s));
  }
  for (int s = 2; s <= n; ++s) reals.push_back(p[static_cast<std::size_t>(s) - 1]);
  m.finish();
  Array2<double> observed, lost;
  cell_probabilities(m.job(), reals, observed, lost);
  std::map<std::vector<bool>, double> probs;
  for (std::size_t i = 0; i < histories.size(); ++i)
    probs[sessions_of_history(histories[i])] = observed(static_cast<int>(i) + 1, 1);
  return probs;
}

// Without emigration the sessions are occasions, and p* is p. One of animals that are absent at random, each
// time anew, has the chance to be there as another factor.
TEST(Robust_reductions, sessions_without_memory_are_live_recaptures) {
  const std::vector<std::string> histories = caught_histories(5);
  for (const double away : {0.0, 0.35})
    for (const Closed kind : {Closed::huggins, Closed::huggins_het, Closed::id_huggins, Closed::huggins_re}) {
      Study_builder study =
          random_study(type_of(Cell::robust, kind), short_lengths,
                       {.between = away == 0.0 ? unequal : std::vector<float>{}, .mixtures = 2}, histories);
      study.set("Gamma''", {away, away});
      study.set("Gamma'", {away, away});
      if (away == 0.0) study.set("Gamma'", {0.4, 0.6});
      const Study_animals animals(study);
      std::vector<double> p;
      for (int s = 1; s <= 3; ++s) p.push_back((1.0 - away) * animals.pstar(s));
      std::map<std::vector<bool>, double> sums = by_session(study, histories);
      for (const auto& [captured, prob] : recaptures(study, p))
        EXPECT_NEAR(sums[captured], prob, kind == Closed::huggins_re ? 1e-10 : 1e-15);
    }
}

TEST(Robust_reductions, sessions_of_one_occasion_without_emigration_are_live_recaptures) {
  const std::vector<std::string> histories = caught_histories(4);
  Study_builder study = random_study(13, {1, 1, 1, 1}, {.between = unequal}, histories);
  study.set("Gamma''", {0.0, 0.0, 0.0});
  std::vector<double> p;
  for (int s = 1; s <= 4; ++s) p.push_back(study.real("p", 1, 1, s));
  std::map<std::vector<bool>, double> sums = by_session(study, histories);
  for (const auto& [captured, prob] : recaptures(study, p)) EXPECT_NEAR(sums[captured], prob, 1e-15);
}

// All go away at once and come back with 1 - Gamma'.
TEST(Robust_reductions, certain_emigration_after_the_last_capture) {
  Study_builder study = random_study(13, {1, 1, 1}, {}, {"010", "100"}, false);
  study.set("Gamma''", {1.0, 1.0});
  const double s1 = study.rate("S", 1, 1), s2 = study.rate("S", 1, 2), p3 = study.real("p", 1, 1, 3);
  const std::vector<double> got = study.probabilities();
  EXPECT_NEAR(got[0], 1.0, 1e-15);
  EXPECT_NEAR(got[1], 1.0 - s1 * s2 * (1.0 - study.rate("Gamma'", 1, 2)) * p3, 1e-15);
}

// Without resightings and recoveries, and faithful: a'' and a' tell of being there, Gamma'' and Gamma' of
// being away.
TEST(Robust_reductions, live_encounters_alone_are_temporary_emigration) {
  const std::vector<std::string> histories = caught_histories(5);
  for (const Closed kind : {Closed::full, Closed::huggins, Closed::het, Closed::full_het,
                            Closed::huggins_het_p, Closed::huggins_het, Closed::huggins_re}) {
    const Study_options options{.between = unequal, .mixtures = 3, .by_cohort = true, .short_return = true};
    Study_builder barker =
                      random_study(type_of(Cell::robust_barker, kind), short_lengths, options, histories),
                  plain = random_study(type_of(Cell::robust, kind), short_lengths, options, histories);
    copy_reals(plain, barker);
    for (int f = 1; f <= 3; ++f)
      for (int s = f; s <= 3; ++s) {
        for (const char* name : {"r", "R", "R'"}) barker.real(name, f, s) = 0.0;
        if (s == 3) continue;
        barker.real("F", f, s) = 1.0;
        plain.real("Gamma''", f, s) = 1.0 - barker.real("a''", f, s);
      }
    plain.real("Gamma'", 1, 1) = 1.0 - barker.real("a'", 1, 1);
    expect_same(barker, plain);
  }
}

TEST(Robust_reductions, sessions_of_one_occasion_of_the_faithful_are_joint_encounters) {
  constexpr int n = 3;
  Study_builder study(43, {1, 1, 1}, {.between = unequal, .by_cohort = true, .short_return = true});
  study.draw(5);
  for (int f = 1; f < n; ++f)
    for (int s = f; s < n; ++s) study.real("F", f, s) = 1.0;
  std::vector<Recorded> cohorts;
  Study_animals animals(study);
  for (int f = 1; f <= n; ++f) {
    cohorts.push_back(animals.resighted(f));
    for (const auto& [cells, share] : cohorts.back().shares()) study.record(cells, {1.0F});
  }
  study.model.finish();
  const std::vector<double> got = study.probabilities();

  const std::vector<std::string> names = parmlist(8);
  std::vector<int> columns;
  for (const std::string& name : names) columns.push_back(name == "p" || name[0] == 'F' ? n - 1 : n);
  Cell_bench bench(8, n, columns, {0.5F, 2.0F, 1.5F});
  std::size_t i = 0;
  for (int f = 1; f <= n; ++f) {
    for (std::size_t q = 0; q < names.size(); ++q)
      for (int c = f; c <= columns[q]; ++c) {
        const std::string& name = names[q];
        double& real = bench.real(static_cast<int>(q) + 1, f, c);
        if (name == "p")
          real = study.real("p", 1, 1, c + 1);
        else if (name == "F")
          real = study.rate("a''", f, c);
        else if (name == "F'")
          real = c > f ? study.rate("a'", f, c) : 0.5;
        else
          real = study.rate(name, f, c);
      }
    for (const auto& [cells, share] : cohorts[static_cast<std::size_t>(f) - 1].shares())
      EXPECT_NEAR(got[i++], bench.prob(cells), 1e-15) << cells;
  }
}

class Pradel_reductions : public testing::TestWithParam<int> {
 protected:
  Closed kind() const { return static_cast<Closed>(GetParam()); }
  Study_builder study(const char* growth, const std::vector<int>& lengths = short_lengths,
                      bool losses = true) {
    return random_study(type_of(Cell::robust_pradel, kind(), growth), lengths,
                        {.between = unequal, .mixtures = 2}, caught_histories(5), losses);
  }
};

TEST_P(Pradel_reductions, growth_recruitment_and_seniority_tell_the_same) {
  Study_builder growth = study("Lambda"), seniority = study("Gamma"), recruitment = study("f");
  copy_reals(seniority, growth);
  copy_reals(recruitment, growth);
  for (int s = 1; s <= 2; ++s) {
    const double phi = growth.rate("Phi", 1, s), lambda = growth.rate("Lambda", 1, s);
    seniority.real("Gamma", 1, s) = phi / lambda;
    recruitment.real("f", 1, s) = lambda - phi;
  }
  expect_same(seniority, growth, 1e-14);
  expect_same(recruitment, growth, 1e-14);
}

/// The closed kinds of types with growth from sizes.
class Size_reductions : public Pradel_reductions {};

TEST_P(Size_reductions, ratios_of_sizes_are_growth) {
  for (const bool losses : {false, true}) {
    const Closed closed = kind();
    const Study_options options{.mixtures = 2};
    const std::vector<std::string> histories = caught_histories(5);
    Study_builder growth = random_study(type_of(Cell::robust_pradel, closed, "Lambda"), short_lengths,
                                        options, histories, losses),
                  sizes = random_study(type_of(Cell::robust_pradel_n, closed), short_lengths, options,
                                       histories, losses);
    copy_reals(growth, sizes);
    Study_animals animals(sizes);
    const std::vector<double> mu = released_shares(sizes);
    const Entering of = entering(sizes, animals, Growth::sizes, mu);
    for (std::size_t s = 0; s < 2; ++s)
      growth.real("Lambda", 1, static_cast<int>(s) + 1) =
          of.present[s + 1] /
          (of.present[s] * (1.0 - animals.pstar(static_cast<int>(s) + 1) * (1.0 - mu[s])));
    const std::vector<double> got = sizes.probabilities(), expected = growth.probabilities();
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], expected[i], closed == Closed::huggins_re ? 1e-10 : 1e-14) << i;
  }
}

TEST_P(Pradel_reductions, no_entrants_are_animals_of_the_first_session) {
  Study_builder growth = study("Lambda");
  for (int s = 1; s <= 2; ++s) growth.real("Lambda", 1, s) = growth.rate("Phi", 1, s);
  Study_animals animals(growth);
  const Recorded all = animals.entered(1);
  const double caught = all.total() - all.at("00000");
  const std::vector<double> got = growth.probabilities();
  const std::vector<std::string> histories = caught_histories(5);
  for (std::size_t i = 0; i < got.size(); ++i) {
    const double factor = growth.kind.conditional ? 1.0 : animals.pstar_of(histories[i]);
    EXPECT_NEAR(got[i], all.at(histories[i]) / caught * factor, growth.kind.effect ? 1e-10 : 1e-14);
  }
}

INSTANTIATE_TEST_SUITE_P(kinds, Size_reductions, testing::Values(1, 2, 3, 4, 5, 6, 13));
INSTANTIATE_TEST_SUITE_P(kinds, Pradel_reductions, testing::Range(1, kinds + 1));

TEST(Pradel_reductions, sessions_of_one_occasion_are_occasions) {
  const std::pair<const char*, int> pairs[] = {{"Gamma", 15}, {"Lambda", 16}, {"f", 17}};
  const std::vector<int> lengths{1, 1, 1, 1};
  for (const auto& [growth, open] : pairs) {
    const Study_options options{.between = unequal};
    const std::vector<std::string> histories = caught_histories(4);
    Study_builder robust = random_study(type_of(Cell::robust_pradel, Closed::huggins, growth), lengths,
                                        options, histories),
                  occasions = random_study(open, lengths, options, histories);
    for (int s = 1; s <= 4; ++s) {
      robust.real("p", 1, 1, s) = occasions.real("p", 1, s);
      if (s == 4) continue;
      robust.real("Phi", 1, s) = occasions.real("Phi", 1, s);
      robust.real(growth, 1, s) = occasions.real(growth, 1, s);
    }
    expect_same(robust, occasions);
  }
}

/// Ends of an evaluation that a cell refuses.
std::string fault_of(Study_builder& study) {
  study.model.job().model.nlink = Link::identity;
  return error_of(study.model.test, [&study] {
    study.model.finish();
    study.model.func(study.reals);
  });
}

TEST(Robust_faults, history_without_a_capture) {
  for (const int type : {68, 79, 95, 150, 164, 169}) {
    Study_builder study(type, short_lengths);
    study.records({"10010", "00000"});
    EXPECT_EQ(fault_of(study), "Invalid history in Robust Design Pradel Model.") << type;
  }
}

TEST(Robust_faults, closed_kind_that_is_none) {
  for (const int type : {7, 13, 18, 43, 67, 90, 148, 163, 164})
    for (const int kind : {0, 14}) {
      Study_builder study(type, short_lengths);
      study.records({"10010"});
      study.model.job().status.closedmodel = kind;
      EXPECT_EQ(fault_of(study), "Invalid value for CLOSEDMODEL.") << type;
    }
}

}  // namespace
}  // namespace tarn
