// Laws of Jolly-Seber with lambda (data type 11): its cells, and the term of the first captures.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <vector>

#include "support/differences.h"
#include "support/fitted_models.h"

namespace tarn {
namespace {

/// Rates of one group: by interval Phi and Lambda, by occasion p.
struct Rates {
  std::vector<double> phi, p, lambda;
  double n = 0.0;

  std::vector<double> vector() const {
    std::vector<double> x = phi;
    x.insert(x.end(), p.begin(), p.end());
    x.insert(x.end(), lambda.begin(), lambda.end());
    x.push_back(n);
    return x;
  }
};

Rates random_rates(int noccas, unsigned seed) {
  Draws draws(seed);
  Rates r;
  for (int c = 1; c < noccas; ++c) r.phi.push_back(draws.between(0.3, 0.95));
  for (int o = 1; o <= noccas; ++o) r.p.push_back(draws.between(0.1, 0.9));
  for (const double phi : r.phi) r.lambda.push_back(phi + draws.between(0.01, 0.5));
  r.n = draws.between(500.0, 900.0);
  return r;
}

/// A data set whose betas are the reals of its groups, each in the order Phi, p, Lambda, N.
class Jolly {
 public:
  explicit Jolly(int noccas, int groups = 1, std::initializer_list<float> lengths = {})
      : model(11, noccas, groups), noccas_(noccas) {
    model.intervals(lengths);
    if (!job().data.u.allocate(noccas, groups, 2) || !job().data.ul.allocate(noccas, groups, 2))
      throw std::bad_alloc();
    job().model.nlink = Link::identity;
    int count = 0;
    for (int g = 1; g <= groups; ++g)
      for (int q = 1; q <= 4; ++q) {
        const int columns = q == 4 ? 1 : q == 2 ? noccas : noccas - 1;
        model.pim(q, g, "SQUARE", 1, columns, [&](int, int) { return ++count; });
      }
  }
  Job& job() { return model.job(); }

  void record(const std::string& live, const std::vector<float>& observed, const std::vector<float>& lost) {
    model.record(live, observed, lost);
    const int first = static_cast<int>(live.find('1')) + 1;
    for (std::size_t g = 0; g < observed.size(); ++g) {
      job().data.u(first, static_cast<int>(g) + 1, 1) += observed[g];
      job().data.ul(first, static_cast<int>(g) + 1, 1) += lost[g];
    }
  }
  /// Every history with a capture, with these counts in every group.
  void every_history(float observed, float lost) {
    const auto groups = static_cast<std::size_t>(job().status.ngrps);
    for (unsigned bits = 1; bits < 1U << noccas_; ++bits)
      record(binary_history(bits, noccas_), std::vector(groups, observed), std::vector(groups, lost));
  }
  /// Counts drawn at random; most animals are caught once, so that the unmarked are many on every occasion.
  void random_histories(unsigned seed) {
    Draws draws(seed);
    for (unsigned bits = 1; bits < 1U << noccas_; ++bits) {
      std::vector<float> observed, lost;
      for (int g = 0; g < job().status.ngrps; ++g) {
        observed.push_back(static_cast<float>(draws.whole(0, 9) + (std::has_single_bit(bits) ? 30 : 0)));
        lost.push_back(draws.chance(0.4) ? static_cast<float>(draws.whole(1, 2)) : 0.0F);
      }
      record(binary_history(bits, noccas_), observed, lost);
    }
  }

  double prob(int record, bool lost, const Rates& r) {
    Array2<double> observed, losses;
    cell_probabilities(job(), r.vector(), observed, losses);
    return lost ? losses(record, 1) : observed(record, 1);
  }
  /// The closed-form term by itself.
  double term(const std::vector<double>& x) {
    job().model.phase1 = 0;
    model.func(x);
    job().model.phase1 = 1;
    return -0.5 * model.value.loglik;
  }
  double term(const Rates& r) { return term(r.vector()); }
  /// What it charged, of the last evaluation.
  double charged() { return -0.5 * model.value.sumpen; }
  double length(int c) { return job().data.timint(c); }

  Model_builder model;

 private:
  int noccas_;
};

/// Chance of a history behind its first capture by adding up every time of death.
double by_deaths(Jolly& jolly, const Rates& r, const std::string& live, bool lost) {
  const std::size_t first = live.find('1'), end = lost ? live.rfind('1') : live.size() - 1;
  double total = 0.0;
  for (std::size_t death = first; death <= end; ++death) {  // the last occasion alive
    double path = 1.0;
    for (std::size_t o = first + 1; o <= end; ++o) {
      if (o <= death)
        path *= std::pow(r.phi[o - 1], jolly.length(static_cast<int>(o))) *
                (live[o] == '1' ? r.p[o] : 1.0 - r.p[o]);
      else if (live[o] == '1')
        path = 0.0;
    }
    if (death < end) path *= 1.0 - std::pow(r.phi[death], jolly.length(static_cast<int>(death) + 1));
    total += path;
  }
  return total;
}

/// Term D by plain loops, with what is computed on the way; occasion i at element i - 1.
struct Plain {
  std::vector<double> chi, tau, us, bs, y;
  double value = 0.0, penalty = 0.0;
};

double log_floored(double x) { return std::log(std::max(x, 2.2250738585072014e-308)); }

Plain plain_term(Jolly& jolly, const Rates& r, int g, bool with_n1) {
  const Job& job = jolly.job();
  const Encounter_store& data = job.data.encounters;
  const int k = job.status.noccas;
  constexpr double slope = 1e6, least = 2.2250738585072014e-308;
  std::vector<double> ln(static_cast<std::size_t>(k)), notrel = ln;
  for (int i = 1; i <= data.size(); ++i) {
    const std::string cells(data.history(i).text());
    std::size_t last_capture = 0;
    for (std::size_t o = 0; o < ln.size(); ++o)
      if (cells.substr(2 * o, 2) == "10") last_capture = o;
    for (std::size_t o = 0; o < ln.size(); ++o) {
      if (cells.substr(2 * o, 2) != "10") continue;
      ln[o] += data.observed(i, g) + data.lost_on_capture(i, g);
      if (o == last_capture) notrel[o] += data.lost_on_capture(i, g);
    }
  }
  const auto u = [&](std::size_t o) {
    return double{job.data.u(static_cast<int>(o) + 1, g, 1)} +
           double{job.data.ul(static_cast<int>(o) + 1, g, 1)};
  };
  Plain made;
  made.chi = made.tau = made.us = made.bs = made.y = std::vector<double>(ln.size());
  double us = u(ln.size() - 1), bs = 0.0, chi = 1.0;
  for (std::size_t i = ln.size() - 1; i-- > 0;) {
    std::string once(ln.size(), '0');
    once[i] = '1';
    chi = by_deaths(jolly, r, once, false);
    const double t = jolly.length(static_cast<int>(i) + 1), p = r.p[i];
    double d = std::pow(r.lambda[i], t) - std::pow(r.phi[i], t);
    if (d < least) {
      if (d < 0.0) made.penalty += d * slope;
      d = least;
    }
    const double tau = p / ((1.0 - chi) * (1.0 - p) + p);
    if (1.0 + tau <= 1.0) made.penalty += tau * slope;
    if (1.0 + (1.0 - tau) <= 1.0) made.penalty += (1.0 - tau) * slope;
    us += u(i);
    bs += (ln[i] / p - notrel[i]) * d * (1.0 - chi) / std::pow(r.phi[i], t);
    const double w = us - bs - u(i);
    if (1.0 + w <= 1.0) made.penalty += w * slope;
    const double y = std::max(w, 0.0);
    made.value += std::lgamma(us - bs + 1.0) - std::lgamma(u(i) + 1.0) - std::lgamma(y + 1.0) +
                  u(i) * log_floored(tau) + y * log_floored(1.0 - tau);
    made.chi[i] = chi, made.tau[i] = tau, made.us[i] = us, made.bs[i] = bs, made.y[i] = y;
  }
  if (!with_n1) return made;
  const double p1 = r.p[0] + (1.0 - r.p[0]) * (1.0 - chi), n = u(0) + r.n;
  if (p1 <= 0.0) made.penalty += p1 * slope;
  if (p1 >= 1.0) made.penalty += (1.0 - p1) * slope;
  if (n - us + bs <= 0.0) made.penalty += (n - us + bs) * slope;
  made.value += std::lgamma(n + 1.0) - std::lgamma(us - bs + 1.0) - std::lgamma(n - us + bs + 1.0) +
                (us - bs) * log_floored(p1) + (n - us + bs) * log_floored(1.0 - p1);
  return made;
}

class Jolly_laws : public testing::TestWithParam<unsigned> {};

TEST_P(Jolly_laws, histories_after_each_first_capture_sum_to_one) {
  for (const bool unequal : {false, true}) {
    Jolly jolly = unequal ? Jolly(6, 1, {1.0F, 0.5F, 2.0F, 3.25F, 1.0F}) : Jolly(6);
    jolly.every_history(1.0F, 1.0F);
    jolly.model.finish();
    Array2<double> observed, lost;
    cell_probabilities(jolly.job(), random_rates(6, GetParam()).vector(), observed, lost);
    std::vector<double> total(6);
    for (int i = 1; i <= observed.extent(1); ++i) {
      const int first = first1(jolly.job().data.encounters.history(i));
      total[static_cast<std::size_t>(first) - 1] += observed(i, 1);
    }
    for (const double sum : total) EXPECT_NEAR(sum, 1.0, 1e-12) << "unequal intervals " << unequal;
  }
}

TEST_P(Jolly_laws, cells_are_sums_over_times_of_death) {
  Jolly jolly(6, 1, {1.0F, 0.5F, 2.0F, 3.25F, 1.0F});
  jolly.every_history(1.0F, 1.0F);
  jolly.model.finish();
  const Rates r = random_rates(6, GetParam() + 100);
  Array2<double> observed, lost;
  cell_probabilities(jolly.job(), r.vector(), observed, lost);
  for (int i = 1; i <= observed.extent(1); ++i) {
    const std::string live = binary_history(static_cast<unsigned>(i), 6);
    EXPECT_NEAR(observed(i, 1), by_deaths(jolly, r, live, false), 1e-14) << live;
    EXPECT_NEAR(lost(i, 1), by_deaths(jolly, r, live, true), 1e-14) << live;
  }
}

// What follows the last capture of an animal that is not lost: the product of the two sums to 1.
TEST_P(Jolly_laws, losses_and_what_follows_the_last_capture_sum_to_one) {
  Jolly jolly(6);
  jolly.every_history(1.0F, 1.0F);
  jolly.model.finish();
  const Rates r = random_rates(6, GetParam() + 200);
  Array2<double> observed, lost;
  cell_probabilities(jolly.job(), r.vector(), observed, lost);
  std::vector<double> total(6);
  for (unsigned i = 1; i < 1U << 6; ++i) {
    const std::string live = binary_history(i, 6);
    std::string once(6, '0');
    once[live.rfind('1')] = '1';
    total[live.find('1')] += lost(static_cast<int>(i), 1) * by_deaths(jolly, r, once, false);
  }
  for (const double sum : total) EXPECT_NEAR(sum, 1.0, 1e-12);
}

TEST_P(Jolly_laws, cells_are_those_of_live_recaptures) {
  Jolly jolly(5, 1, {2.0F, 1.0F, 0.75F});
  jolly.every_history(1.0F, 1.0F);
  jolly.model.finish();
  Model_builder live(1, 5);
  live.intervals({2.0F, 1.0F, 0.75F});
  for (unsigned bits = 1; bits < 1U << 5; ++bits) live.record(binary_history(bits, 5), {1.0F}, {1.0F});
  live.time_pims();
  live.job().model.nlink = Link::identity;
  live.finish();
  const Rates r = random_rates(5, GetParam() + 300);
  std::vector<double> x = r.phi;
  x.insert(x.end(), r.p.begin() + 1, r.p.end());
  Array2<double> observed, lost, expected, expected_lost;
  cell_probabilities(jolly.job(), r.vector(), observed, lost);
  cell_probabilities(live.job(), x, expected, expected_lost);
  for (int i = 1; i <= observed.extent(1); ++i) {
    EXPECT_EQ(observed(i, 1), expected(i, 1));
    EXPECT_EQ(lost(i, 1), expected_lost(i, 1));
  }
}

/// Expects the term of `jolly` and its penalty to be those of the plain loops, with the factor of N and
/// without. Gives what was charged with it.
double expect_plain_term(Jolly& jolly, const std::vector<Rates>& by_group) {
  std::vector<double> x;
  for (const Rates& r : by_group) {
    const std::vector<double> reals = r.vector();
    x.insert(x.end(), reals.begin(), reals.end());
  }
  for (const bool with_n1 : {false, true}) {
    double value = 0.0, penalty = 0.0;
    for (std::size_t g = 0; g < by_group.size(); ++g) {
      const Plain plain = plain_term(jolly, by_group[g], static_cast<int>(g) + 1, with_n1);
      value += plain.value, penalty += plain.penalty;
    }
    jolly.job().model.phase3 = with_n1 ? 1 : 0;
    const double term = jolly.term(x);
    // Sums of some dozen logarithms of gamma functions of arguments up to 1000, in another order.
    EXPECT_NEAR(term, value, 1e-11 * (1.0 + std::abs(value))) << "with N " << with_n1;
    EXPECT_NEAR(jolly.charged(), penalty, 1e-11 * std::abs(penalty)) << "with N " << with_n1;
  }
  return jolly.charged();
}

TEST_P(Jolly_laws, term_is_that_of_plain_loops) {
  Jolly jolly(5, 2, {1.0F, 0.5F, 2.0F});
  jolly.random_histories(GetParam());
  jolly.model.finish();
  std::vector<Rates> r{random_rates(5, GetParam() + 400), random_rates(5, GetParam() + 500)};
  // Little recruitment and high p: as many unmarked as the counts need.
  for (Rates& of_group : r)
    for (std::size_t c = 0; c < 4; ++c) {
      of_group.lambda[c] = of_group.phi[c] * (1.0 + 0.02 * static_cast<double>(c + 1));
      of_group.p[c] = 0.5 + 0.5 * of_group.p[c];
    }
  EXPECT_EQ(expect_plain_term(jolly, r), 0.0);
}

TEST_P(Jolly_laws, term_is_that_of_plain_loops_where_it_charges) {
  Jolly jolly(5, 2, {1.0F, 0.5F, 2.0F});
  jolly.random_histories(GetParam() + 7);
  jolly.model.finish();
  const Rates fair = random_rates(5, GetParam() + 600);
  const auto expect_charge = [&](const char* what, auto&& change) {
    SCOPED_TRACE(what);
    Rates r = fair;
    change(r);
    EXPECT_LT(expect_plain_term(jolly, {r, fair}), -1e-3);
    EXPECT_LT(expect_plain_term(jolly, {fair, r}), -1e-3);
  };
  expect_charge("growth below survival", [](Rates& r) { r.lambda[1] = 0.9 * r.phi[1]; });
  expect_charge("no unmarked left", [](Rates& r) { r.lambda = {3.0, 3.0, 3.0, 3.0}; });
  expect_charge("tau above 1", [](Rates& r) { r.p[2] = 1.4; });
  expect_charge("tau below 0", [](Rates& r) { r.p[2] = -0.1; });
  expect_charge("everybody caught at some time", [](Rates& r) { r.p[0] = 1.2; });
  expect_charge("caught with a negative chance", [](Rates& r) { r.p[0] = -20.0; });
  expect_charge("fewer animals than were caught", [](Rates& r) { r.n = -600.3; });
}

/// Calls `visit(u)` for all vectors of counts by occasion with this total.
template <class Visit>
void for_each_count(std::size_t occasions, int total, const Visit& visit) {
  std::vector<int> u(occasions, 0);
  const auto fill = [&](auto&& self, std::size_t o, int left) -> void {
    if (o + 1 == occasions) {
      u[o] = left;
      visit(u);
      return;
    }
    for (u[o] = 0; u[o] <= left; ++u[o]) self(self, o + 1, left - u[o]);
  };
  fill(fill, 0, total);
}

// Without entry bs is 0: first captures are binomial among those that are ever caught, and these among N.
TEST_P(Jolly_laws, term_without_entry_is_a_distribution_of_first_captures) {
  constexpr int occasions = 4, animals = 5;
  Jolly jolly(occasions, 1, {1.0F, 2.0F, 0.5F});
  jolly.model.finish();
  Rates r = random_rates(occasions, GetParam() + 700);
  r.lambda = r.phi;
  Job& job = jolly.job();
  double all = 0.0;
  for (int total = 0; total <= animals; ++total) {
    double within = 0.0;
    for_each_count(occasions, total, [&](const std::vector<int>& u) {
      for (int o = 1; o <= occasions; ++o) {
        const int n = u[static_cast<std::size_t>(o) - 1];
        job.data.ul(o, 1, 1) = static_cast<float>(n / 2);
        job.data.u(o, 1, 1) = static_cast<float>(n - n / 2);
      }
      r.n = animals - u[0];
      job.model.phase3 = 0;
      within += std::exp(jolly.term(r));
      job.model.phase3 = 1;
      all += std::exp(jolly.term(r));
    });
    // 56 terms, each with a relative rounding of some 1e-15.
    EXPECT_NEAR(within, 1.0, 1e-12) << total << " caught";
  }
  EXPECT_NEAR(all, 1.0, 1e-12);
}

class Jolly_derivatives : public testing::TestWithParam<unsigned> {
 protected:
  Jolly_derivatives() : rates_(random_rates(4, GetParam() + 900)) {
    for (double& phi : rates_.phi) phi = 0.4 + 0.2 * phi;
    for (double& p : rates_.p) p = 0.5 + 0.2 * p;
    for (std::size_t c = 0; c < 3; ++c) rates_.lambda[c] = rates_.phi[c] + 0.04;
    rates_.n = 20000.0;
  }

  /// Every history a few times, and these animals that were caught once, by occasion: so many that a step of
  /// a difference moves no count of unmarked far.
  static Jolly data(const std::vector<float>& once) {
    Jolly jolly(4, 1, {1.0F, 0.5F, 2.0F});
    jolly.every_history(6.0F, 1.0F);
    for (int o = 1; o <= 4; ++o)
      jolly.record(binary_history(1U << (4 - o), 4), {once[static_cast<std::size_t>(o) - 1]}, {0.0F});
    jolly.model.finish();
    return jolly;
  }
  /// Most of them late: there are unmarked on every occasion.
  static Jolly data() { return data({100.0F, 200.0F, 400.0F, 800.0F}); }

  /// The derivatives of the term alone, as cells that are no chances have walls of their own.
  static void expect_agreement(Jolly jolly, const Rates& r) {
    // At its own size the slope would leave the term no digits in a difference.
    jolly.job().status.penalty_slope = 100.0;
    jolly.term(r);
    ASSERT_LT(jolly.charged(), -0.1);
    jolly.job().model.phase1 = 0;
    expect_second_derivatives(jolly.model, r.vector());
  }

  Rates rates_;
};

TEST_P(Jolly_derivatives, agree_with_extrapolated_differences) {
  Jolly jolly = data();
  jolly.term(rates_);
  ASSERT_EQ(jolly.charged(), 0.0);
  expect_second_derivatives(jolly.model, rates_.vector());
}

TEST_P(Jolly_derivatives, agree_where_growth_is_below_survival) {
  rates_.lambda[1] = 0.3;
  expect_agreement(data(), rates_);
}

TEST_P(Jolly_derivatives, agree_where_tau_is_above_one) {
  rates_.p[1] = 1.06;
  expect_agreement(data(), rates_);
}

TEST_P(Jolly_derivatives, agree_where_everybody_is_caught_at_some_time) {
  rates_.p[0] = 1.2;
  expect_agreement(data(), rates_);
}

TEST_P(Jolly_derivatives, agree_where_no_unmarked_are_left) {
  rates_.lambda[0] = rates_.phi[0] + 0.15;
  expect_agreement(data({4000.0F, 25.0F, 50.0F, 100.0F}), rates_);
}

INSTANTIATE_TEST_SUITE_P(random_parameters, Jolly_laws, testing::Range(1U, 6U));
INSTANTIATE_TEST_SUITE_P(random_parameters, Jolly_derivatives, testing::Range(1U, 4U));

TEST(Jolly_seber, worked_cells) {
  Jolly jolly(3);
  jolly.every_history(1.0F, 1.0F);
  jolly.model.finish();
  const Rates r{{0.8, 0.7}, {0.5, 0.4, 0.3}, {0.85, 0.75}, 30.0};
  const double expected[] = {1.0, 0.79, 0.21, 0.5792, 0.1008, 0.2528, 0.0672};  // 001, 010, ... 111
  for (int i = 1; i <= 7; ++i) EXPECT_NEAR(jolly.prob(i, false, r), expected[i - 1], 1e-14) << i;
}

TEST(Jolly_seber, worked_term) {
  Jolly jolly(3);
  // 20 18 14 animals caught, 20 10 8 of them for the first time.
  for (const auto& [live, n] : std::vector<std::pair<std::string, float>>{{"100", 11.0F},
                                                                          {"110", 6.0F},
                                                                          {"111", 2.0F},
                                                                          {"101", 1.0F},
                                                                          {"010", 7.0F},
                                                                          {"011", 3.0F},
                                                                          {"001", 8.0F}})
    jolly.record(live, {n}, {0.0F});
  jolly.model.finish();
  const Rates r{{0.8, 0.7}, {0.5, 0.4, 0.3}, {0.85, 0.75}, 30.0};
  const Plain plain = plain_term(jolly, r, 1, true);
  // The published digits.
  constexpr double rounding = 6e-11;
  EXPECT_NEAR(plain.chi[1], 0.79, rounding);
  EXPECT_NEAR(plain.tau[1], 0.7604562738, rounding);
  EXPECT_EQ(plain.us[1], 18.0);
  EXPECT_NEAR(plain.bs[1], 0.675, rounding);
  EXPECT_NEAR(plain.y[1], 7.325, rounding);
  EXPECT_NEAR(plain.chi[0], 0.5792, rounding);
  EXPECT_NEAR(plain.tau[0], 0.7038288288, rounding);
  EXPECT_EQ(plain.us[0], 38.0);
  EXPECT_NEAR(plain.bs[0], 1.727, rounding);
  EXPECT_NEAR(plain.y[0], 16.273, rounding);
  EXPECT_NEAR(jolly.term(r), -9.0598609676, rounding);
  jolly.job().model.phase3 = 0;
  EXPECT_NEAR(jolly.term(r), -6.9571611061, rounding);
}

// An animal lost at its last capture is not among those from which entrants are counted; one lost later is.
TEST(Jolly_seber, animals_lost_leave_no_entrants) {
  Rates r{{0.8, 0.7}, {0.5, 0.4, 0.3}, {0.9, 0.9}, 30.0};
  const auto bs_behind = [&](float lost_at_2, std::size_t i) {
    Jolly jolly(3);
    jolly.record("110", {40.0F - lost_at_2}, {lost_at_2});
    jolly.record("011", {20.0F}, {0.0F});
    jolly.record("001", {60.0F}, {0.0F});
    jolly.model.finish();
    const Plain plain = plain_term(jolly, r, 1, true);
    EXPECT_NEAR(jolly.term(r), plain.value, 1e-12 * std::abs(plain.value));
    return plain.bs[i];
  };
  // (60 / 0.4 - lost) (0.9 - 0.7) 0.3: the chance to be caught on occasion 3 given alive there.
  EXPECT_NEAR(bs_behind(0.0F, 1), 150.0 * 0.2 * 0.3, 1e-13);
  EXPECT_NEAR(bs_behind(10.0F, 1), 140.0 * 0.2 * 0.3, 1e-13);
}

TEST(Jolly_seber, charges_are_told_where_the_term_counts) {
  Jolly jolly(3);
  jolly.every_history(4.0F, 0.0F);
  jolly.model.finish();
  jolly.model.func({0.8, 0.7, 0.5, 0.4, 0.3, 0.85, 0.45, 30.0});
  const Charges told = closed_form_charges(jolly.job());
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(told[0].text, "penlty lambda<phi");
  EXPECT_EQ(told[0].group, 1);
  EXPECT_EQ(told[0].occasion, 2);
  // One product and one difference.
  EXPECT_NEAR(told[0].amount.value_or(0.0), -0.25e6, 1e-9);
  EXPECT_EQ(-0.5 * jolly.model.value.sumpen, told[0].amount);
  jolly.job().model.phase2 = 0;
  jolly.model.func({0.8, 0.7, 0.5, 0.4, 0.3, 0.85, 0.45, 30.0});
  EXPECT_TRUE(closed_form_charges(jolly.job()).empty());
  jolly.model.func({0.8, 0.7, 0.5, 0.4, 0.3, 0.85, 0.75, 30.0});
  jolly.job().model.phase2 = 1;
  EXPECT_TRUE(closed_form_charges(jolly.job()).empty());
}

TEST(Jolly_seber, one_occasion_is_a_binomial_of_those_present) {
  Jolly jolly(1);
  jolly.record("1", {3.0F}, {1.0F});
  jolly.model.finish();
  // 4 caught of 4 + 6 with chance 0.4
  const double expected = std::log(210.0 * std::pow(0.4, 4) * std::pow(0.6, 6));
  EXPECT_NEAR(jolly.term({0.4, 6.0}), expected, 1e-14);
}

}  // namespace
}  // namespace tarn
