// Laws of fates that are known: known fate (4), nest success (24), young of marked adults (48).

#include <gtest/gtest.h>

#include "support/cell_bench.h"

namespace tarn {
namespace {

Cell_bench known_fate(int noccas, std::initializer_list<float> lengths = {}) {
  return {4, noccas, {noccas}, lengths};
}
Cell_bench nest(int noccas, std::initializer_list<float> lengths = {}) {
  return {24, noccas, {noccas - 1}, lengths};
}
Cell_bench young(int noccas, std::initializer_list<float> lengths = {}) {
  return {48, noccas, {noccas - 1, noccas - 1}, lengths};
}

class Fate_laws : public testing::TestWithParam<std::tuple<unsigned, bool>> {
 protected:
  unsigned seed() const { return std::get<0>(GetParam()); }
  template <class Maker>
  Cell_bench made(Maker maker, int noccas) const {
    const std::initializer_list<float> equal{}, unequal{1.0F, 0.5F, 2.0F};
    Cell_bench bench = maker(noccas, std::get<1>(GetParam()) ? unequal : equal);
    bench.draw(seed());
    return bench;
  }
};

// For every pattern of intervals in which the animal is followed while it lives.
TEST_P(Fate_laws, known_fate_is_the_sum_over_intervals_of_death) {
  Cell_bench bench = made(known_fate, 5);
  for (unsigned pattern = 1; pattern < 32; ++pattern) {
    const std::string monitored = binary_history(pattern, 5);
    const int first = static_cast<int>(monitored.find('1')) + 1;
    History_table table;
    std::string so_far(10, '0');
    double alive = 1.0;
    for (int c = first; c <= 5; ++c) {
      const auto cell = 2 * static_cast<std::size_t>(c) - 2;
      // Only deaths in an interval at risk are seen; the study is conditional on being followed in it.
      if (monitored[cell / 2] != '1') continue;
      so_far[cell] = '1';
      std::string died = so_far;
      died[cell + 1] = '1';
      const double s = std::pow(bench.real(1, first, c), bench.length(c));
      table[died] = alive * (1.0 - s);
      alive *= s;
    }
    table[so_far] = alive;
    expect_table(bench, table, monitored);
  }
}

// For every schedule of visits after the day found.
TEST_P(Fate_laws, nest_success_is_the_sum_over_days_of_failure) {
  Cell_bench bench = made(nest, 6);
  for (unsigned schedule = 1; schedule < 64; ++schedule) {
    const std::string visited = binary_history(schedule, 6);
    const auto found = visited.find('1');
    if (visited.rfind('1') == found) continue;
    History_table table;
    double active = 1.0;
    for (auto day = found; day < 6; ++day) {
      // The nest is active on `day`; it fails in the interval behind, or it is the last visit.
      std::string record(12, '0');
      record[2 * found] = '1';
      const auto last_active = visited.rfind('1', day), next = visited.find('1', day + 1);
      record[2 * last_active] = '1';
      if (next == std::string::npos) {
        table[record] += active;
        break;
      }
      record[2 * next + 1] = '1';
      const int c = static_cast<int>(day) + 1;
      const double s = std::pow(bench.real(1, static_cast<int>(found) + 1, c), bench.length(c));
      table[record] += active * (1.0 - s);
      active *= s;
    }
    expect_table(bench, table, visited);
  }
}

/// Counts in two digits a cell; -1: adult not met.
std::string brood(const std::vector<int>& counts) {
  std::string cells;
  for (const int n : counts) {
    if (n < 0)
      cells += "..";
    else
      cells += {static_cast<char>('0' + n / 10), static_cast<char>('0' + n % 10)};
  }
  return cells;
}

/// Assigns lives and sightings to each young by itself, and adds up the counts that they give together.
void assign(Cell_bench& bench, const std::string& met, int first, std::vector<int> counts, int left,
            double prob, History_table& table);

void live(Cell_bench& bench, const std::string& met, int first, int c, std::vector<int> counts, int left,
          double prob, History_table& table) {
  if (c == bench.noccas()) return assign(bench, met, first, counts, left - 1, prob, table);
  const double phi = std::pow(bench.real(1, first, c), bench.length(c)), p = bench.real(2, first, c);
  assign(bench, met, first, counts, left - 1, prob * (1.0 - phi), table);
  const auto o = static_cast<std::size_t>(c);
  if (met[o] == '.') return live(bench, met, first, c + 1, counts, left, prob * phi, table);
  live(bench, met, first, c + 1, counts, left, prob * phi * (1.0 - p), table);
  ++counts[o];
  live(bench, met, first, c + 1, counts, left, prob * phi * p, table);
}

void assign(Cell_bench& bench, const std::string& met, int first, std::vector<int> counts, int left,
            double prob, History_table& table) {
  if (left == 0)
    table[brood(counts)] += prob;
  else
    live(bench, met, first, first, counts, left, prob, table);
}

TEST_P(Fate_laws, brood_is_a_set_of_independent_animals) {
  Cell_bench bench = made(young, 4);
  for (const std::string met : {"1111", "1.11", "1..1", "111.", ".111", "..11", "...1"})
    for (int most = 0; most <= 3; ++most) {
      const auto first = met.find('1');
      std::vector<int> counts;
      for (const char c : met) counts.push_back(c == '.' ? -1 : 0);
      counts[first] = most;
      History_table table;
      assign(bench, met, static_cast<int>(first) + 1, counts, most, 1.0, table);
      expect_table(bench, table, met + " " + std::to_string(most));
    }
}

TEST_P(Fate_laws, large_broods_sum_to_one) {
  Cell_bench bench = made(young, 3);
  for (const int most : {12, 30}) {
    double total = 0.0;
    for (int x = 0; x <= most; ++x)
      for (int y = 0; y <= most; ++y) total += bench.prob(brood({most, x, y}));
    EXPECT_NEAR(total, 1.0, 1e-12);
  }
}

TEST_P(Fate_laws, brood_of_one_is_a_live_recapture) {
  Cell_bench bench = made(young, 5), one(1, 5, {4, 4});
  for (int c = 1; c <= 5; ++c) one.job().data.timint(c) = bench.job().data.timint(c);
  one.job().data.timevy = bench.job().data.timevy;
  one.reals() = bench.reals();
  for (unsigned n = 1; n < 32; ++n) {
    const std::string live = binary_history(n, 5);
    const auto first = live.find('1');
    for (const std::string dots : {"_____", "__.__", "___.."}) {
      if (dots[first] == '.') continue;
      std::vector<int> counts;
      std::string cells;
      for (std::size_t o = 0; o < 5; ++o) {
        const bool met = o >= first && dots[o] != '.';
        counts.push_back(met ? live[o] - '0' : -1);
        cells += {o < first ? '0' : met ? live[o] : '.', '0'};
      }
      EXPECT_NEAR(bench.prob(brood(counts)), one.prob(cells), 1e-15) << cells;
    }
  }
}

TEST_P(Fate_laws, derivatives_agree_with_extrapolated_differences) {
  Cell_bench four = made(known_fate, 4), twenty_four = made(nest, 4), forty_eight = made(young, 4);
  for (Cell_bench* bench : {&four, &twenty_four, &forty_eight}) bench->draw(seed(), 0.3, 0.7);
  for (std::size_t i = 0; i < four.reals().size(); ++i)
    for (std::size_t j = 0; j <= i; ++j) {
      expect_derivatives(four, "10100010", i, j);
      expect_derivatives(four, "10001011", i, j);
    }
  for (std::size_t i = 0; i < twenty_four.reals().size(); ++i)
    for (std::size_t j = 0; j <= i; ++j) {
      expect_derivatives(twenty_four, "10100001", i, j);
      expect_derivatives(twenty_four, "10000010", i, j);
    }
  for (std::size_t i = 0; i < forty_eight.reals().size(); ++i)
    for (std::size_t j = 0; j <= i; ++j) {
      expect_derivatives(forty_eight, "04..0201", i, j);
      expect_derivatives(forty_eight, "03000300", i, j);
    }
}

INSTANTIATE_TEST_SUITE_P(random_parameters, Fate_laws,
                         testing::Combine(testing::Range(1U, 6U), testing::Bool()));

void expect_worked(Cell_bench& bench, const History_table& table) {
  for (const auto& [cells, prob] : table) EXPECT_NEAR(bench.prob(cells), prob, 1e-10) << cells;
}

TEST(Fates, known_fate_worked_example) {
  Cell_bench bench = known_fate(3);
  bench.set(1, {0.9, 0.8, 0.7});
  expect_worked(bench, {{"101010", 0.504},
                        {"101011", 0.216},
                        {"101100", 0.18},
                        {"110000", 0.1},
                        {"100010", 0.63},
                        {"001011", 0.24},
                        {"000011", 0.3}});
}

TEST(Fates, nest_worked_example) {
  Cell_bench bench = nest(5);
  bench.set(1, {0.95, 0.9, 0.85, 0.8});
  expect_worked(bench, {{"1000010000", 0.1450000000},
                        {"1000100001", 0.2736000000},
                        {"1000000010", 0.5814000000},
                        {"0010010000", 0.1},
                        {"0010001000", 0.765}});
}

TEST(Fates, young_worked_example) {
  Cell_bench bench = young(3);
  bench.set(1, {0.8, 0.6});
  bench.set(2, {0.7, 0.5});
  expect_worked(bench, {{"020000", 0.1354240000},
                        {"020001", 0.0529920000},
                        {"020002", 0.0051840000},
                        {"020100", 0.2885120000},
                        {"020101", 0.1800960000},
                        {"020102", 0.0241920000},
                        {"020200", 0.1536640000},
                        {"020201", 0.1317120000},
                        {"020202", 0.0282240000},
                        {"02..01", 0.3648000000}});
}

TEST(Fates, censored_run_leaves_the_probability_untouched) {
  Cell_bench bench = known_fate(5);
  bench.draw(3);
  const double s1 = bench.real(1, 1, 1), s5 = bench.real(1, 1, 5);
  EXPECT_EQ(bench.prob("1000000010"), s1 * s5);
  EXPECT_EQ(bench.prob("10.0.0.010"), s1 * s5);
  EXPECT_EQ(bench.prob("1000000000"), s1);
  EXPECT_EQ(bench.prob("0000000000"), 1.0);
  EXPECT_EQ(bench.prob("1000000010", true), s1 * s5);
}

TEST(Fates, nest_never_seen_failed_has_no_failure_factor) {
  Cell_bench bench = nest(4);
  bench.draw(4);
  EXPECT_EQ(bench.prob("10001000"), bench.real(1, 1, 1) * bench.real(1, 1, 2));
  EXPECT_EQ(bench.prob("10000000"), 1.0);
  // Found on one day only and gone later: no interval survived.
  EXPECT_EQ(bench.prob("10000100"), 1.0 - bench.real(1, 1, 1) * bench.real(1, 1, 2));
}

TEST(Fates, broods_that_need_no_parameter) {
  Cell_bench bench = young(3);
  bench.draw(5);
  EXPECT_EQ(bench.prob("000000"), 1.0);
  EXPECT_EQ(bench.prob("......"), 1.0);
  EXPECT_EQ(bench.prob(".1.2.3"), 1.0);
  EXPECT_EQ(bench.prob("0005.."), 1.0);
  EXPECT_EQ(bench.prob("....07"), 1.0);
  EXPECT_EQ(bench.unreadable("....07"), "");
  EXPECT_EQ(bench.prob("010200"), 0.0);  // more than there were
}

TEST(Fates, negative_count_of_a_brood_or_a_nest_changes_nothing) {
  Cell_bench brood_of_two = young(3), one_nest = nest(4);
  brood_of_two.draw(6);
  one_nest.draw(6);
  EXPECT_EQ(brood_of_two.prob("020100", true), brood_of_two.prob("020100"));
  EXPECT_EQ(one_nest.prob("10100001", true), one_nest.prob("10100001"));
}

TEST(Fates, broods_with_rates_of_zero_and_one) {
  Cell_bench bench = young(3);
  bench.set(1, 1.0);
  bench.set(2, 1.0);
  EXPECT_EQ(bench.prob("990099"), 0.0);
  EXPECT_EQ(bench.prob("999999"), 1.0);
  bench.set(1, 0.0);
  EXPECT_EQ(bench.prob("990000"), 1.0);
  bench.set(1, 1.0);
  bench.set(2, 0.0);
  EXPECT_EQ(bench.prob("170000"), 1.0);
}

TEST(Fates, thread_counts_agree) {
  for (const int dattyp : {2, 4, 6, 10, 20, 24, 48}) {
    constexpr int noccas = 8;
    Model_builder model(dattyp, noccas);
    model.intervals({1.0F, 0.5F, 2.0F});
    std::mt19937_64 source(17);
    for (int i = 0; i < 3000; ++i) {
      std::string cells(2 * noccas, '0');
      std::size_t first = source() % (noccas - 1), last = first + 1 + source() % (noccas - 1 - first);
      cells[2 * first] = '1';
      if (dattyp == 48) {
        for (std::size_t o = 0; o < noccas; ++o)
          cells[2 * o] = o < first ? '.' : '0', cells[2 * o + 1] = static_cast<char>('0' + source() % 3);
        cells[2 * first + 1] = '4';
      } else if (dattyp == 4) {
        for (std::size_t o = first; o <= last; ++o) cells[2 * o] = source() % 4 == 0 ? '0' : '1';
        cells[2 * last] = '1';
        cells[2 * last + 1] = i % 2 == 0 ? '1' : '0';
      } else if (i % 5 != 0 || dattyp == 6 || dattyp == 20) {
        cells[2 * last + 1] = '1';
      }
      add_record(model, cells, {static_cast<float>(1 + source() % 3)});
    }
    for (int k = 1; k <= model.job().data.numparmnames; ++k)
      model.pim(k, 1, "SQUARE", 1, noccas, [&](int, int c) { return (k - 1) * noccas + c; });
    model.finish(1);
    std::vector<double> beta(static_cast<std::size_t>(model.betas()));
    for (std::size_t k = 0; k < beta.size(); ++k) beta[k] = std::sin(3.0 * static_cast<double>(k)) - 1.0;
    const double serial = model.func(beta);
    EXPECT_TRUE(std::isfinite(serial) && serial > 1000.0) << dattyp;
    EXPECT_EQ(model.func(beta), serial);
    for (const int threads : {2, 3, 5}) {
      model.set_threads(threads);
      for (int pass = 0; pass < 3; ++pass) EXPECT_EQ(model.func(beta), serial) << dattyp << ' ' << threads;
    }
  }
}

}  // namespace
}  // namespace tarn
