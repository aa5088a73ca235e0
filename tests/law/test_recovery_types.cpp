// Laws of the recovery types: Seber (2), Brownie (10), BTO (6), virtual population analysis (20).

#include <gtest/gtest.h>

#include "support/cell_bench.h"

namespace tarn {
namespace {

constexpr int occasions = 5;

Cell_bench seber(std::initializer_list<float> lengths = {}, int noccas = occasions) {
  return {2, noccas, {noccas, noccas}, lengths};
}
Cell_bench brownie(std::initializer_list<float> lengths = {}, int noccas = occasions) {
  return {10, noccas, {noccas - 1, noccas}, lengths};
}
Cell_bench bto(std::initializer_list<float> lengths = {}, int noccas = occasions) {
  return {6, noccas, {noccas}, lengths};
}
Cell_bench vpa(std::initializer_list<float> lengths = {}, int noccas = occasions) {
  return {20, noccas, {noccas, noccas}, lengths};
}

/// Released at `first`, reported in interval `last`; 0: never.
std::string recovery(int first, int last, int noccas = occasions) {
  std::string cells(2 * static_cast<std::size_t>(noccas), '0');
  cells[2 * static_cast<std::size_t>(first) - 2] = '1';
  if (last != 0) cells[2 * static_cast<std::size_t>(last) - 1] = '1';
  return cells;
}

const std::initializer_list<float> unequal{1.0F, 0.5F, 2.0F, 3.25F, 1.5F};

class Recovery_laws : public testing::TestWithParam<std::tuple<unsigned, bool>> {
 protected:
  unsigned seed() const { return std::get<0>(GetParam()); }
  std::initializer_list<float> lengths() const {
    return std::get<1>(GetParam()) ? unequal : std::initializer_list<float>{};
  }
};

TEST_P(Recovery_laws, seber_is_the_sum_over_intervals_of_death_and_reports) {
  Cell_bench bench = seber(lengths());
  bench.draw(seed());
  for (int first = 1; first <= occasions; ++first) {
    History_table table;
    for (int death = first; death <= occasions + 1; ++death) {
      double path = 1.0;
      for (int c = first; c < std::min(death, occasions + 1); ++c)
        path *= std::pow(bench.real(1, first, c), bench.length(c));
      if (death > occasions) {
        table[recovery(first, 0)] += path;
        continue;
      }
      path *= 1.0 - std::pow(bench.real(1, first, death), bench.length(death));
      const double r = bench.real(2, first, death);
      table[recovery(first, death)] += path * r;
      table[recovery(first, 0)] += path * (1.0 - r);
    }
    expect_table(bench, table, "release " + std::to_string(first));
  }
}

// A kill is a chance f out of those alive at the start; each loses 1 - S, which the report does not bind.
TEST_P(Recovery_laws, brownie_is_the_sum_over_intervals) {
  Cell_bench bench = brownie(lengths());
  bench.draw(seed(), 0.02, 0.19);
  for (int first = 1; first <= occasions; ++first) {
    History_table table;
    double never = 1.0;
    for (int c = first; c <= occasions; ++c) {
      double path = bench.real(2, first, c);
      for (int h = first; h < c; ++h) path *= std::pow(bench.real(1, first, h), bench.length(h));
      table[recovery(first, c)] = path;
      never -= path;
    }
    table[recovery(first, 0)] = never;
    expect_table(bench, table, "release " + std::to_string(first));
  }
}

TEST_P(Recovery_laws, bto_is_the_share_of_an_interval_in_all_deaths) {
  Cell_bench bench = bto(lengths());
  bench.draw(seed());
  for (int first = 1; first <= occasions; ++first) {
    std::vector<double> deaths;
    double alive = 1.0, dead = 0.0;
    for (int c = first; c <= occasions; ++c) {
      const double s = std::pow(bench.real(1, first, c), bench.length(c));
      deaths.push_back(alive * (1.0 - s));
      dead += deaths.back();
      alive *= s;
    }
    History_table table;
    for (int c = first; c <= occasions; ++c)
      table[recovery(first, c)] = deaths[static_cast<std::size_t>(c - first)] / dead;
    expect_table(bench, table, "release " + std::to_string(first));
  }
}

// The catch by integrating dN/dt = -(M + F) N, dC/dt = F N in small steps, with no exponential.
TEST_P(Recovery_laws, virtual_population_analysis_is_the_integrated_catch) {
  Cell_bench bench = vpa(lengths());
  bench.draw(seed(), 0.05, 1.2);
  for (int first = 1; first <= occasions; ++first) {
    double alive = 1.0, all = 0.0;
    std::vector<double> caught;
    for (int c = first; c <= occasions; ++c) {
      const double m = bench.real(1, first, c), f = bench.real(2, first, c);
      constexpr int steps = 2000;
      const double h = bench.length(c) / steps;
      double harvest = 0.0;
      for (int k = 0; k < steps; ++k) {  // the classical fourth-order step; C follows N
        const double k1 = -(m + f) * alive, k2 = -(m + f) * (alive + h / 2.0 * k1),
                     k3 = -(m + f) * (alive + h / 2.0 * k2), k4 = -(m + f) * (alive + h * k3);
        const double lost = -h / 6.0 * (k1 + 2.0 * k2 + 2.0 * k3 + k4);
        harvest += lost * f / (m + f);
        alive -= lost;
      }
      caught.push_back(harvest);
      all += harvest;
    }
    double total = 0.0;
    for (int c = first; c <= occasions; ++c) {
      const double prob = bench.prob(recovery(first, c));
      EXPECT_NEAR(prob, caught[static_cast<std::size_t>(c - first)] / all, 1e-11) << first << ' ' << c;
      EXPECT_EQ(bench.unreadable(recovery(first, c)), "");
      total += prob;
    }
    EXPECT_NEAR(total, 1.0, 1e-12);
  }
}

TEST_P(Recovery_laws, brownie_with_f_of_seber_is_seber) {
  Cell_bench two = seber(lengths()), ten = brownie(lengths());
  two.draw(seed());
  for (int r = 1; r <= occasions; ++r)
    for (int c = 1; c <= occasions; ++c) {
      const double s = two.real(1, r, c);
      if (r < occasions && c < occasions) ten.real(1, r, c) = s;
      ten.real(2, r, c) = (1.0 - std::pow(s, two.length(c))) * two.real(2, r, c);
    }
  for (int first = 1; first <= occasions; ++first)
    for (int last = 0; last <= occasions; ++last) {
      if (last != 0 && last < first) continue;
      EXPECT_NEAR(ten.prob(recovery(first, last)), two.prob(recovery(first, last)), 1e-15);
    }
}

TEST_P(Recovery_laws, bto_is_seber_with_one_reporting_rate_given_a_report) {
  Cell_bench two = seber(lengths()), six = bto(lengths());
  two.draw(seed());
  two.set(2, 0.3);
  std::copy(two.reals().begin(), two.reals().begin() + occasions * occasions, six.reals().begin());
  for (int first = 1; first <= occasions; ++first)
    for (int last = first; last <= occasions; ++last)
      EXPECT_NEAR(six.prob(recovery(first, last)),
                  two.prob(recovery(first, last)) / (1.0 - two.prob(recovery(first, 0))), 1e-13);
}

TEST_P(Recovery_laws, harvest_in_one_interval_only) {
  Cell_bench bench = vpa(lengths());
  bench.draw(seed(), 0.05, 1.2);
  for (int j = 1; j <= occasions; ++j) {
    std::vector<double> harvest(occasions, 0.0);
    harvest[static_cast<std::size_t>(j) - 1] = 0.4;
    bench.set(2, harvest);
    for (int first = 1; first <= j; ++first)
      for (int last = first; last <= occasions; ++last)
        EXPECT_EQ(bench.prob(recovery(first, last)), last == j ? 1.0 : 0.0);
  }
}

TEST_P(Recovery_laws, derivatives_agree_with_extrapolated_differences) {
  const std::initializer_list<float> equal{}, longer{1.0F, 0.5F, 2.0F};
  const auto t = std::get<1>(GetParam()) ? longer : equal;
  Cell_bench benches[] = {seber(t, 3), brownie(t, 3), bto(t, 3), vpa(t, 3)};
  for (Cell_bench& bench : benches) {
    bench.draw(seed(), 0.15, 0.3);
    for (const int last : {0, 1, 3})
      for (std::size_t i = 0; i < bench.reals().size(); ++i)
        for (std::size_t j = 0; j <= i; ++j) expect_derivatives(bench, recovery(1, last, 3), i, j);
  }
}

INSTANTIATE_TEST_SUITE_P(random_parameters, Recovery_laws,
                         testing::Combine(testing::Range(1U, 6U), testing::Bool()));

struct Worked {
  int first, last;
  double prob;
};
void expect_worked(Cell_bench& bench, std::initializer_list<Worked> table) {
  for (const Worked& w : table)
    EXPECT_NEAR(bench.prob(recovery(w.first, w.last, 3)), w.prob, 1e-10) << w.first << ' ' << w.last;
}

TEST(Recovery_types, seber_worked_example) {
  Cell_bench equal = seber({}, 3), longer = seber({1.0F, 2.0F, 1.0F}, 3);
  for (Cell_bench* bench : {&equal, &longer}) {
    bench->set(1, {0.5, 0.6, 0.7});
    bench->set(2, {0.3, 0.4, 0.5});
  }
  expect_worked(equal, {{1, 1, 0.15},
                        {1, 2, 0.08},
                        {1, 3, 0.045},
                        {1, 0, 0.725},
                        {2, 2, 0.16},
                        {2, 3, 0.09},
                        {2, 0, 0.75},
                        {3, 3, 0.15},
                        {3, 0, 0.85}});
  expect_worked(longer, {{1, 1, 0.15},
                         {1, 2, 0.128},
                         {1, 3, 0.027},
                         {1, 0, 0.695},
                         {2, 2, 0.256},
                         {2, 3, 0.054},
                         {2, 0, 0.690}});
}

TEST(Recovery_types, brownie_worked_example) {
  Cell_bench bench = brownie({}, 3);
  bench.set(1, {0.5, 0.6});
  bench.set(2, {0.15, 0.2, 0.25});
  expect_worked(bench, {{1, 1, 0.15},
                        {1, 2, 0.10},
                        {1, 3, 0.075},
                        {1, 0, 0.675},
                        {2, 2, 0.20},
                        {2, 3, 0.15},
                        {2, 0, 0.65},
                        {3, 3, 0.25},
                        {3, 0, 0.75}});
}

TEST(Recovery_types, bto_worked_example) {
  Cell_bench bench = bto({}, 3);
  bench.set(1, {0.5, 0.6, 0.7});
  expect_worked(bench, {{1, 1, 0.6329113924},
                        {1, 2, 0.2531645570},
                        {1, 3, 0.1139240506},
                        {2, 2, 0.6896551724},
                        {2, 3, 0.3103448276},
                        {3, 3, 1.0}});
}

TEST(Recovery_types, virtual_population_analysis_worked_example) {
  Cell_bench bench = vpa({}, 3);
  bench.set(1, {0.2, 0.3, 0.25});
  bench.set(2, {0.4, 0.1, 0.5});
  expect_worked(bench, {{1, 1, 0.6326754786},
                        {1, 2, 0.0951415519},
                        {1, 3, 0.2721829695},
                        {2, 2, 0.2590122531},
                        {2, 3, 0.7409877469},
                        {3, 3, 1.0}});
}

TEST(Recovery_types, release_on_the_last_occasion) {
  Cell_bench two = seber({}, 3);
  two.set(1, 0.7);
  two.set(2, 0.0);
  EXPECT_EQ(two.prob("000010"), 1.0);
  two.set(2, 0.5);
  EXPECT_NEAR(two.prob("000010"), 0.85, 1e-15);
  two.set(1, 1.0);
  EXPECT_EQ(two.prob("000010"), 1.0);
}

TEST(Recovery_types, recovery_in_the_interval_of_release) {
  Cell_bench ten = brownie({}, 3);
  ten.draw(7);
  for (int first = 1; first <= 3; ++first)
    EXPECT_EQ(ten.prob(recovery(first, first, 3)), ten.real(2, first, first));
}

TEST(Recovery_types, a_digit_of_a_recovery_is_no_number) {
  Cell_bench ten = brownie({}, 3);
  ten.draw(8);
  EXPECT_EQ(ten.prob("100700"), ten.prob("100100"));
}

TEST(Recovery_types, negative_counts_and_missing_recoveries) {
  Cell_bench benches[] = {seber({}, 3), brownie({}, 3), bto({}, 3), vpa({}, 3)};
  for (Cell_bench& bench : benches) {
    EXPECT_EQ(bench.prob("100000", true), 1.0);
    EXPECT_EQ(bench.result("100000", true).lnprob, 0.0);
  }
  EXPECT_EQ(benches[2].prob("100000"), 1.0);
  EXPECT_EQ(benches[3].prob("100000"), 1.0);
}

TEST(Recovery_types, rates_of_zero) {
  Cell_bench bench = vpa({}, 3);
  bench.set(1, 0.0);
  bench.set(2, {0.0, 0.3, 0.0});
  EXPECT_EQ(bench.prob("110000"), 0.0);
  EXPECT_EQ(bench.prob("100100"), 1.0);
}

TEST(Kept, bto_probability_is_raised_to_the_floor) {
  Cell_bench bench = bto({}, 3);
  bench.set(1, {1.0, 0.5, 0.5});
  EXPECT_EQ(bench.prob("110000"), minlog);  // nobody dies in interval 1
  bench.set(1, {1.2, 0.5, 0.5});
  EXPECT_EQ(bench.prob("110000"), minlog);  // below 0
  EXPECT_EQ(bench.result("110000").lnprob, std::log(minlog));
  bench.set(1, 1.0);
  EXPECT_EQ(bench.prob("110000"), minlog);  // nobody dies at all: no number
}

}  // namespace
}  // namespace tarn
