// Laws of the live-recapture probability (data type 1).

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "support/model_builder.h"

namespace tarn {
namespace {

/// Probabilities of single histories under reals that are given as they are.
class Live {
 public:
  Live(int noccas, std::initializer_list<float> lengths = {}) : model_(1, noccas) {
    model_.intervals(lengths);
    model_.cohort_pims();
    model_.job().model.nlink = Link::identity;
    model_.finish();
  }
  double prob(const std::string& live, bool lost, const std::vector<double>& reals) {
    Model_builder one(1, model_.job().status.noccas);
    one.record(live, {lost ? 0.0F : 1.0F}, {lost ? 1.0F : 0.0F});
    for (int c = 1; c <= model_.job().status.noccas; ++c)
      one.job().data.timint(c) = model_.job().data.timint(c);
    one.job().data.timevy = model_.job().data.timevy;
    one.cohort_pims();
    one.job().model.nlink = Link::identity;
    one.finish();
    Array2<double> observed, losses;
    cell_probabilities(one.job(), reals, observed, losses);
    return lost ? losses(1, 1) : observed(1, 1);
  }
  /// Number of reals: one for each cohort and interval of either parameter, unused ones included.
  std::size_t reals() { return static_cast<std::size_t>(model_.job().model.nlogit); }
  double length(int c) { return model_.job().data.timint(c); }
  int noccas() { return model_.job().status.noccas; }

  double phi(const std::vector<double>& x, int cohort, int c) {
    return std::pow(x[at(cohort, c, 0)], length(c));
  }
  double p(const std::vector<double>& x, int cohort, int o) { return x[at(cohort, o - 1, 1)]; }

  /// The probability by adding up every time of death, with nothing of the routine in it.
  double by_deaths(const std::string& live, bool lost, const std::vector<double>& x) {
    const int first = static_cast<int>(live.find('1')) + 1;
    const int last_capture = static_cast<int>(live.rfind('1')) + 1;
    const int last = lost ? last_capture : noccas();
    double total = 0.0;
    for (int death = first; death <= last; ++death) {  // the last occasion alive
      double path = 1.0;
      for (int o = first + 1; o <= last; ++o) {
        const char c = live[static_cast<std::size_t>(o) - 1];
        if (o <= death) {
          path *= phi(x, first, o - 1);
          if (c == '1') path *= p(x, first, o);
          if (c == '0') path *= 1.0 - p(x, first, o);
        } else if (c == '1') {
          path = 0.0;
        }
      }
      if (death < last) path *= 1.0 - phi(x, first, death);
      total += path;
    }
    return total;
  }

 private:
  std::size_t at(int cohort, int c, int q) {
    const int n = noccas() - 1;
    return static_cast<std::size_t>((q * n + cohort - 1) * n + c - 1);
  }
  Model_builder model_;
};

std::vector<double> random_reals(std::size_t count, unsigned seed) {
  std::mt19937_64 source(seed);
  std::uniform_real_distribution<double> uniform(0.02, 0.98);
  std::vector<double> x(count);
  for (double& value : x) value = uniform(source);
  return x;
}

/// All histories over {0,1} with first capture `first`, "." at the occasions in `dots`.
std::vector<std::string> histories_from(int first, int noccas, const std::string& dots) {
  std::vector<std::string> all;
  for (unsigned n = 0; n < 1U << noccas; ++n) {
    std::string live = binary_history(n, noccas);
    if (live.find('1') != static_cast<std::size_t>(first) - 1) continue;
    bool wanted = true;
    for (std::size_t o = 0; o < live.size(); ++o)
      if (dots[o] == '.') {
        wanted = wanted && live[o] == '0';  // one representative of those that the dot stands for
        live[o] = '.';
      }
    if (wanted) all.push_back(live);
  }
  return all;
}

class Live_laws : public testing::TestWithParam<unsigned> {};

TEST_P(Live_laws, histories_after_each_release_sum_to_one) {
  for (const bool unequal : {false, true}) {
    Live live = unequal ? Live(6, {1.0F, 0.5F, 2.0F, 3.25F, 1.0F}) : Live(6);
    const std::vector<double> x = random_reals(live.reals(), GetParam());
    for (int first = 1; first <= 6; ++first) {
      double total = 0.0;
      for (const std::string& h : histories_from(first, 6, "______")) total += live.prob(h, false, x);
      EXPECT_NEAR(total, 1.0, 1e-12) << "first capture " << first << ", unequal intervals " << unequal;
    }
  }
}

TEST_P(Live_laws, histories_with_occasions_not_sampled_sum_to_one) {
  Live live(6, {1.0F, 1.0F, 2.5F});
  const std::vector<double> x = random_reals(live.reals(), GetParam() + 100);
  for (const std::string dots : {"__.___", "_.__._", "_____.", "___..."}) {
    double total = 0.0;
    for (const std::string& h : histories_from(1, 6, dots)) total += live.prob(h, false, x);
    EXPECT_NEAR(total, 1.0, 1e-12) << dots;
  }
}

TEST_P(Live_laws, probability_is_the_sum_over_times_of_death) {
  Live live(6, {1.0F, 0.5F, 2.0F, 3.25F, 1.0F});
  const std::vector<double> x = random_reals(live.reals(), GetParam() + 200);
  for (const std::string dots : {"______", "__.___", "_.__.."})
    for (int first = 1; first <= 6; ++first) {
      if (dots[static_cast<std::size_t>(first) - 1] == '.') continue;
      for (const std::string& h : histories_from(first, 6, dots))
        for (const bool lost : {false, true})
          EXPECT_NEAR(live.prob(h, lost, x), live.by_deaths(h, lost, x), 1e-14) << h << " lost " << lost;
    }
}

TEST_P(Live_laws, losses_and_what_follows_the_last_capture_sum_to_one) {
  Live live(6);
  const std::vector<double> x = random_reals(live.reals(), GetParam() + 300);
  double total = 0.0;
  for (const std::string& h : histories_from(1, 6, "______")) {
    // Never seen again after the last capture, under the rates of the cohort of the first one.
    const int last = static_cast<int>(h.rfind('1')) + 1;
    double chi = 1.0;
    for (int c = 5; c >= last; --c)
      chi = 1.0 - live.phi(x, 1, c) + live.phi(x, 1, c) * (1.0 - live.p(x, 1, c + 1)) * chi;
    const double lost = live.prob(h, true, x);
    total += lost * chi;
    EXPECT_NEAR(lost * chi, live.prob(h, false, x), 1e-14) << h;
  }
  EXPECT_NEAR(total, 1.0, 1e-12);
}

TEST_P(Live_laws, interval_of_length_two_is_two_intervals_with_a_dot_between) {
  Live two(4, {1.0F, 2.0F, 1.0F}), split(5);
  const std::vector<double> x = random_reals(two.reals(), GetParam() + 400);
  std::vector<double> y(split.reals());
  // Cohort 1 only: intervals 1 2 3 of the first model are 1, 2 and 3, 4 of the second.
  for (int q = 0; q < 2; ++q) {
    const std::size_t from = static_cast<std::size_t>(q) * 9, to = static_cast<std::size_t>(q) * 16;
    y[to] = x[from];
    y[to + 1] = y[to + 2] = x[from + 1];
    y[to + 3] = x[from + 2];
  }
  for (const std::string h : {"1000", "1001", "1010", "1011", "1100", "1101", "1110", "1111"}) {
    const std::string dotted = h.substr(0, 2) + "." + h.substr(2);
    for (const bool lost : {false, true})
      EXPECT_NEAR(two.prob(h, lost, x), split.prob(dotted, lost, y), 1e-15) << h;
  }
}

INSTANTIATE_TEST_SUITE_P(random_parameters, Live_laws, testing::Range(1U, 6U));

struct Worked {
  const char* live;
  double observed, lost;
};

TEST(Live_recapture, worked_example) {
  Live live(4, {1.0F, 1.0F, 2.0F});
  std::vector<double> x(live.reals());
  for (std::size_t r = 0; r < 3; ++r)
    for (std::size_t c = 0; c < 3; ++c) {
      x[r * 3 + c] = std::vector{0.8, 0.7, 0.6}[c];
      x[9 + r * 3 + c] = std::vector{0.5, 0.4, 0.3}[c];
    }
  for (const Worked& w : std::initializer_list<Worked>{{"1111", 0.0120960000, 0.0120960000},
                                                       {"1110", 0.0999040000, 0.1120000000},
                                                       {"1101", 0.0181440000, 0.0181440000},
                                                       {"1100", 0.2698560000, 0.4000000000},
                                                       {"1011", 0.0120960000, 0.0120960000},
                                                       {"1010", 0.0999040000, 0.1120000000},
                                                       {"1001", 0.0181440000, 0.0181440000},
                                                       {"1000", 0.4698560000, 1.0000000000},
                                                       {"0111", 0.0302400000, 0.0302400000},
                                                       {"0110", 0.2497600000, 0.2800000000},
                                                       {"0101", 0.0453600000, 0.0453600000},
                                                       {"0100", 0.6746400000, 1.0000000000},
                                                       {"0011", 0.1080000000, 0.1080000000},
                                                       {"0010", 0.8920000000, 1.0000000000},
                                                       {"0001", 1.0, 1.0}}) {
    EXPECT_NEAR(live.prob(w.live, false, x), w.observed, 1e-10) << w.live;
    EXPECT_NEAR(live.prob(w.live, true, x), w.lost, 1e-10) << w.live;
  }
  EXPECT_NEAR(live.prob("1.10", false, x), 0.1998080000, 1e-10);
  EXPECT_NEAR(live.prob("10.0", false, x), 0.5697600000, 1e-10);
  EXPECT_NEAR(live.prob("1..1", false, x), 0.0604800000, 1e-10);
  EXPECT_NEAR(live.prob("100.", false, x), 0.4880000000, 1e-10);
}

TEST(Live_recapture, edge_cases) {
  Live live(4);
  const std::vector<double> halves(live.reals(), 0.5);
  EXPECT_EQ(live.prob("1000", false, halves), 0.671875);
  EXPECT_EQ(live.prob("1010", true, halves), 0.0625);
  EXPECT_EQ(live.prob("0001", false, halves), 1.0);
  EXPECT_EQ(live.prob("1000", true, halves), 1.0);
  const std::vector<double> ones(live.reals(), 1.0);
  EXPECT_EQ(live.prob("1111", false, ones), 1.0);
  std::vector<double> nobody_survives = halves;
  nobody_survives[1] = 0.0;  // cohort 1, interval 2
  EXPECT_EQ(live.prob("1110", false, nobody_survives), 0.0);
  EXPECT_EQ(live.prob("1100", false, nobody_survives), 0.25);
  EXPECT_EQ(live.prob("1101", false, nobody_survives), 0.0);
  // Occasion 2 not sampled: by that interval's survival only.
  EXPECT_EQ(live.prob("1.10", true, halves), 0.5 * 0.5 * 0.5);
  EXPECT_EQ(live.prob("100.", false, halves), 0.5 + 0.25 * (0.5 + 0.5 * 0.5));
}

}  // namespace
}  // namespace tarn
