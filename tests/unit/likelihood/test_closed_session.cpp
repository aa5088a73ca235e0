// The blocks of a closed session, the closed and density cases, term A, and the warnings on them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "likelihood/blocks/closed_session.h"
#include "likelihood/cells.h"
#include "likelihood/likelihood_work.h"
#include "support/closed_builder.h"

namespace tarn {
namespace {

/// `closmods` on a whole history of a builder's job, session 1, in a work area of its own.
Closed_result<double> session_of(Closed_builder& b, const std::string& history, int kind,
                                 const Closed_reals& x, std::string* fault = nullptr) {
  Job& job = b.model.job();
  const Cell_setting setting(job, cell_routines(Cell::closed));
  Cell_work<double> work(job, setting);
  std::string cells;
  for (const char c : history) cells += {c, '0'};
  const int n = static_cast<int>(history.size());
  const std::vector<double> reals = b.vector_of(x);
  const Closed_stretch stretch = Closed_stretch::of(History(cells.data(), n), 0, n, 1, 1, 1, false);
  const Closed_result<double> result =
      closmods(job, work, kept<One_closed_session>(work), 1, stretch, kind, Reals<double>(reals.data()));
  if (fault != nullptr) *fault = work.fault_text();
  return result;
}

Closed_reals example(const Closed_kind& kind) {
  Closed_reals x;
  x.pi = kind.mixtures ? std::vector{0.35, 0.65} : std::vector{1.0};
  x.p = kind.mixtures ? std::vector<std::vector<double>>{{0.2, 0.3, 0.4}, {0.5, 0.6, 0.7}}
                      : std::vector<std::vector<double>>{{0.2, 0.3, 0.4}};
  x.c = {{0.0, 0.5, 0.6}, {0.0, 0.45, 0.55}};
  x.alpha = {0.9, 0.95, 0.85};
  x.sigma = {0.8, 0.8, 0.8};
  return x;
}

TEST(Closed_session, chance_of_a_capture) {
  constexpr int type_of_kind[] = {5, 12, 22, 23, 25, 26, 49, 50, 51, 52, 53, 54, 145};
  for (int kind = 1; kind <= 13; ++kind) {
    Closed_builder b(type_of_kind[kind - 1], 3, {.mixtures = 2});
    const double expected = kind == 13 ? 0.6459813349 : b.kind.mixtures ? 0.8434 : 0.664;
    for (const char* history : {"010", "111", "000"})
      EXPECT_NEAR(session_of(b, history, kind, example(b.kind)).pstar, expected, 1e-10) << kind << history;
  }
}

/// 1 - q without a cancellation.
double chance_of_a_capture(const std::vector<double>& p) {
  double log_q = 0.0;
  for (const double rate : p) log_q += std::log1p(-rate);
  return -std::expm1(log_q);
}

// The last digits of a few products and sums, whatever the size of the chance.
TEST(Closed_session, chance_of_a_capture_keeps_its_digits_where_it_is_small) {
  constexpr int type_of_kind[] = {5, 12, 22, 23, 25, 26, 49, 50, 51, 52, 53, 54};
  for (int kind = 1; kind <= 12; ++kind)
    for (const double scale : {1.0, 0.3, 1e-3, 1e-8, 1e-12, 1e-15, 1e-300}) {
      Closed_builder b(type_of_kind[kind - 1], 3, {.mixtures = 2});
      Closed_reals x = example(b.kind);
      for (auto& row : x.p)
        for (double& rate : row) rate *= scale;
      double expected = 0.0;
      for (std::size_t m = 0; m < x.p.size(); ++m) expected += x.pi[m] * chance_of_a_capture(x.p[m]);
      for (const char* history : {"010", "111", "000"})
        EXPECT_NEAR(session_of(b, history, kind, x).pstar / expected, 1.0, 1e-15) << kind << ' ' << scale;
      std::vector<double> sampled{x.p[0][0], x.p[0][2]};
      if (!b.kind.mixtures) {
        EXPECT_NEAR(session_of(b, "1.0", kind, x).pstar / chance_of_a_capture(sampled), 1.0, 1e-15) << kind;
      }
    }
}

// As many first captures on an occasion as its share of the sum of all chances, for the rest is of second
// order.
TEST(Closed_session, histories_of_one_capture_share_a_small_chance) {
  for (const int type : {12, 25, 26, 50, 53, 54, 127, 145}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    Closed_reals x = example(b.kind);
    for (auto& row : x.p)
      for (double& rate : row) rate *= 1e-13;
    for (auto& row : x.c) row.assign(3, 0.0);
    if (!b.kind.recapture) x.c = x.p;
    b.records({"100", "010", "001"});
    b.model.finish();
    std::vector<double> share(3);
    double total = 0.0;
    for (std::size_t m = 0; m < x.p.size(); ++m)
      for (std::size_t o = 0; o < 3; ++o) share[o] += x.pi[m] * x.p[m][o], total += x.pi[m] * x.p[m][o];
    const std::vector<double> got = b.probabilities(x);
    for (std::size_t o = 0; o < 3; ++o) EXPECT_NEAR(got[o], share[o] / total, 1e-12) << type;
  }
}

// With the same deviation on all occasions of equal rates the nodes are those of the rule itself.
TEST(Closed_session, integral_of_a_small_chance_is_that_of_the_nodes) {
  for (const double logit_of_p : {0.0, -3.0, -12.0, -28.0}) {
    Closed_builder b(145, 3);
    Closed_reals x = example(b.kind);
    x.p = {std::vector<double>(3, 1.0 / (1.0 + std::exp(-logit_of_p)))};
    const Job& job = b.model.job();
    double expected = 0.0;
    for (int k = 1; k <= job.data.ghqv.extent(); ++k) {
      const double shifted = logit_of_p + std::sqrt(2.0) * 0.8 * job.data.ghqv(k);
      expected +=
          job.data.ghqw(k) * chance_of_a_capture(std::vector<double>(3, 1.0 / (1.0 + std::exp(-shifted))));
    }
    expected /= std::sqrt(std::acos(-1.0));
    EXPECT_NEAR(session_of(b, "010", 13, x).pstar / expected, 1.0, 1e-13) << logit_of_p;
  }
}

TEST(Closed_session, occasions_not_sampled_enter_neither_product) {
  Closed_builder b(5, 3);
  const Closed_reals x = example(b.kind);
  const std::tuple<const char*, double, double> rows[] = {
      {"1.0", 0.08, 0.52}, {".10", 0.12, 0.58}, {"01.", 0.24, 0.44}};
  for (const auto& [history, h, pstar] : rows) {
    EXPECT_NEAR(session_of(b, history, 1, x).prob, h, 1e-15) << history;
    EXPECT_NEAR(session_of(b, history, 1, x).pstar, pstar, 1e-15) << history;
  }
}

TEST(Closed_session, a_dot_does_not_count_in_the_chance_of_a_capture) {
  Closed_builder b(12, 3);
  Closed_reals x = example(b.kind);
  const double before = session_of(b, "10.", 2, x).prob;
  x.p[0][2] = 0.99;
  EXPECT_EQ(session_of(b, "10.", 2, x).prob, before);
  EXPECT_NE(session_of(b, "100", 2, x).prob, session_of(b, "100", 2, example(b.kind)).prob);
}

TEST(Closed_session, no_chance_of_a_capture_gives_the_floor) {
  for (const int type : {12, 25, 26, 50, 53, 54}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    Closed_reals x = example(b.kind);
    for (auto& row : x.p) row.assign(3, 0.0);
    b.record("010", {1.0F}, {0.0F});
    b.model.finish();
    EXPECT_EQ(b.probabilities(x)[0], minlog) << type;
    EXPECT_EQ(b.model.func(b.vector_of(x)), -2.0 * std::log(minlog)) << type;
  }
}

TEST(Closed_session, a_history_without_a_capture) {
  Closed_builder full(5, 3), conditional(12, 3);
  EXPECT_EQ(session_of(full, "000", 1, example(full.kind)).prob, 0.8 * 0.7 * 0.6);
  EXPECT_EQ(session_of(conditional, "000", 2, example(conditional.kind)).prob, 0.0);
  conditional.record("000", {1.0F}, {0.0F});
  conditional.model.finish();
  EXPECT_EQ(conditional.model.func(conditional.vector_of(example(conditional.kind))),
            -2.0 * std::log(minlog));
}

TEST(Closed_session, rates_that_are_no_numbers_take_the_floor) {
  for (const int type : {12, 25, 26, 50, 53, 54, 127, 129, 145, 161}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    b.records({"010", "011"});
    b.model.finish();
    Closed_reals x = b.random_reals(6);
    for (auto& row : x.p) row.assign(3, std::nan(""));
    const double f = b.model.func(b.vector_of(x));
    EXPECT_EQ(f, -2.0 * 4.0 * std::log(minlog)) << type;
  }
}

TEST(Closed_session, a_kind_that_is_none) {
  Closed_builder b(5, 3);
  for (const int kind : {0, -1, 14, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    std::string fault;
    session_of(b, "010", kind, example(b.kind), &fault);
    EXPECT_EQ(fault, "Incorrect closed model number specified.") << kind;
  }
  b.record("010", {1.0F}, {0.0F});
  b.model.finish();
  b.model.job().status.closedmodel = 14;
  EXPECT_EQ(error_of(b.model.test, [&] { b.model.func(b.vector_of(example(b.kind))); }),
            "Invalid value for CLOSEDMODEL.");
}

/// A session in the middle of a history reads its own matrices and its own cells.
TEST(Closed_session, stretch_of_a_longer_history) {
  for (const int type : {12, 26, 54, 145}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    const Closed_reals x = example(b.kind);
    const int kind = static_cast<int>(datatype(type).closed);
    const double expected = session_of(b, "011", kind, x).prob;

    Job& job = b.model.job();
    Model_arrays& model = job.model;
    const int q = job.data.numparmnames;
    std::vector<Pim> own;
    for (int k = 1; k <= q; ++k) own.push_back(model.pim2(k, 1, 1, 1));
    model.pim2index2upbd = 2;
    model.pim2index3upbd = 3;
    model.pim2.allocate(q, 1, 2, 1, 3, 1);
    for (int k = 1; k <= q; ++k) model.pim2(k, 2, 3, 1) = own[static_cast<std::size_t>(k) - 1];
    const std::string cells =
        "10101000"
        "001010"
        "10";
    const History history(cells.data(), 8);
    const Closed_stretch stretch = Closed_stretch::of(history, 4, 3, 3, 1, 2, false);
    EXPECT_EQ(stretch.first, 2);
    EXPECT_EQ(stretch.last, 3);
    const Cell_setting setting(job, cell_routines(Cell::closed));
    Cell_work<double> work(job, setting);
    const std::vector<double> reals = b.vector_of(x);
    EXPECT_EQ(
        closmods(job, work, kept<One_closed_session>(work), 1, stretch, kind, Reals<double>(reals.data()))
            .prob,
        expected)
        << type;
  }
}

TEST(Closed_session, any_sign_of_a_live_animal_is_a_capture) {
  Closed_builder b(12, 3);
  EXPECT_EQ(session_of(b, "A0B", 2, example(b.kind)).prob, session_of(b, "101", 2, example(b.kind)).prob);
}

TEST(Mixture, the_last_weight_is_what_is_left) {
  std::vector<double> weights;
  const auto collect = [&](int m, double weight) {
    EXPECT_EQ(m, static_cast<int>(weights.size()) + 1);
    weights.push_back(weight);
  };
  const double given[] = {0.5, 0.25, 0.5};
  for_each_mixture<double>(
      1, [](int) -> double { throw "not asked for"; }, collect);
  EXPECT_EQ(weights, (std::vector{1.0}));
  weights.clear();
  for_each_mixture<double>(
      4, [&](int m) { return given[m - 1]; }, collect);
  EXPECT_EQ(weights, (std::vector{0.5, 0.25, 0.5, -0.25}));
}

TEST(Quadrature, nested_loops_integrate_every_effect_by_itself) {
  Closed_builder b(145, 3, {.order = 15});
  const Node_rule rule(b.model.job());
  double one = 0.0, two = 0.0, three = 0.0, four = 0.0;
  int at[4] = {0, 0, 0, 0}, entered[4] = {0, 0, 0, 0};
  const auto enter = [&](int effect, int k) { at[effect] = k, ++entered[effect]; };
  const auto square = [&](int effect) { return 2.0 * rule.x[at[effect]] * rule.x[at[effect]]; };
  for_each_node<1>(rule, enter, [&](double w) { one += w * square(0); });
  for_each_node<2>(rule, enter, [&](double w) { two += w * square(0) * std::pow(square(1), 2); });
  std::fill(entered, entered + 4, 0);
  for_each_node<3>(rule, enter, [&](double w) { three += w * square(0) * square(1) * (1.0 + square(2)); });
  EXPECT_EQ(entered[0], 15);
  EXPECT_EQ(entered[1], 15 * 15);
  EXPECT_EQ(entered[2], 15 * 15 * 15);
  for_each_node<4>(rule, enter, [&](double w) { four += w * square(3); });
  // Moments of independent standard normal effects.
  EXPECT_NEAR(one / node_divisor[1], 1.0, 1e-13);
  EXPECT_NEAR(two / node_divisor[2], 3.0, 1e-12);
  EXPECT_NEAR(three / node_divisor[3], 2.0, 1e-12);
  EXPECT_NEAR(four / node_divisor[4], 1.0, 1e-12);
}

TEST(Quadrature, shifted_rate_is_a_shift_of_the_logit) {
  for (const double rate : {1e-12, 0.01, 0.3, 0.5, 0.98, 1.0 - 1e-9})
    for (const double sigma : {-3.0, 0.0, 0.4, 2.0, 7.4})
      for (const double x : {-13.4, -1.0, 0.0, 0.7, 13.4}) {
        const double expected = expit(logit(rate) + root_two * sigma * x);
        EXPECT_NEAR(shifted_rate(rate, odds_factor(sigma, x)) / expected, 1.0, 1e-13) << rate << sigma << x;
      }
  const double nothing = std::nan("");
  for (const double x : {-13.4, 0.0, 13.4}) {
    const double factor = odds_factor(7.4, x);
    EXPECT_EQ(shifted_rate(0.0, factor), 0.0);
    EXPECT_EQ(shifted_rate(-0.1, factor), 0.0);
    EXPECT_EQ(shifted_rate(nothing, factor), 0.0);
    EXPECT_EQ(shifted_rate(1.0, factor), 1.0);
    EXPECT_EQ(shifted_rate(1.2, factor), 1.0);
  }
  EXPECT_TRUE(std::isfinite(shifted_rate(0.5, odds_factor(-1e300, 1.0))));
  EXPECT_TRUE(std::isfinite(shifted_rate(0.5, odds_factor(-1e300, -1.0))));
}

TEST(Kept, standard_deviation_of_7_5_gives_rate_0) {
  Closed_builder b(145, 3);
  b.records({"010", "110"});
  b.model.finish();
  Closed_reals x = example(b.kind);
  // On every occasion: no animal is caught at any node, so that every history has the floor or nothing.
  x.sigma.assign(3, 7.5);
  for (const double prob : b.probabilities(x)) EXPECT_EQ(std::max(prob, minlog), minlog);
  EXPECT_NEAR(session_of(b, "010", 13, x).pstar, 0.0, 1e-14);
  // On the first occasion: it is as if that one had a rate of 0.
  x.sigma = {7.5, 0.8, 0.8};
  Closed_reals without = x;
  without.sigma[0] = 0.8;
  without.p[0][0] = 0.0;
  EXPECT_EQ(b.probabilities(x), b.probabilities(without));
  EXPECT_EQ(b.probabilities(x)[1], 0.0);
  x.sigma[0] = std::nextafter(7.5, 0.0);
  EXPECT_GT(b.probabilities(x)[1], 0.0);
}

/// A number that no history reaches is not read, neither one by one nor from a table.
TEST(Closed_set_up, cells_of_occasions_not_sampled_are_not_needed) {
  for (const int type : {12, 145}) {
    Closed_builder b(type, 3);
    b.record("10.", {1.0F}, {0.0F});
    b.record("01.", {1.0F}, {0.0F});
    b.model.finish();
    const Closed_reals x = example(b.kind);
    const double expected = b.model.func(b.vector_of(x));
    Job& job = b.model.job();
    job.model.pim2(findpar(job.data, "p"), 1, 1, 1).cells(3) = 0;
    job.model.pim2(findpar(job.data, "c"), 1, 1, 1).cells(2) = 999;
    set_up_likelihood(job);
    EXPECT_EQ(b.model.func(b.vector_of(x)), expected) << type;
  }
}

TEST(Closed_set_up, matrices_that_are_not_given) {
  for (const char* name : {"p", "c", "alpha", "pi", "f0"}) {
    Closed_builder b(52, 3, {.mixtures = 2});
    b.record("011", {1.0F}, {0.0F});
    Job& job = b.model.job();
    job.model.pim2(findpar(job.data, name), 1, 1, 1) = Pim{};
    EXPECT_EQ(error_of(b.model.test, [&] { b.model.finish(); }),
              "Parameter index matrix '" + std::string(name) + "', group 1 is needed but was not given.");
  }
}

TEST(Closed_set_up, quadrature_needs_its_nodes) {
  Closed_builder b(145, 3);
  b.record("011", {1.0F}, {0.0F});
  b.model.job().data.ghqv.free();
  EXPECT_EQ(error_of(b.model.test, [&] { b.model.finish(); }), "Array GHQV is not allocated.");
}

/// A record's covariate in the row of p at occasion 2.
Closed_builder with_covariate(int type) {
  Closed_builder b(type, 3);
  Job& job = b.model.job();
  job.status.nicovs = 1;
  job.data.encounters.reset(3, 1, 1, 100);
  b.model.record("010", {1.0F}, {}, {0.5});
  b.model.record("110", {2.0F}, {}, {-0.5});
  const int numbers = job.model.nlogit;
  b.model.design(numbers);
  for (int i = 1; i <= numbers; ++i) b.model.cell(i, i, 1.0);
  b.model.covariate(job.model.pim2(findpar(job.data, "p"), 1, 1, 1).at(1, 2), numbers, 1);
  return b;
}

int times_on(const std::string& text, const std::string& listing) {
  int times = 0;
  for (std::size_t k = listing.find(text); k != std::string::npos; k = listing.find(text, k + 1)) ++times;
  return times;
}

TEST(Closed_set_up, a_covariate_in_a_full_likelihood_is_told_once) {
  const std::string told =
      "Individual covariates enter the capture probabilities of a full likelihood; the number of animals "
      "never "
      "caught is then that of animals like the first record, and the population size has no meaning.";
  Closed_builder full = with_covariate(5), conditional = with_covariate(12);
  full.model.finish();
  full.model.set_threads(1);
  EXPECT_EQ(times_on(told, full.model.test.listing()), 1);
  conditional.model.finish();
  EXPECT_EQ(times_on(told, conditional.model.test.listing()), 0);
}

TEST(Closed_set_up, the_reals_of_record_1_stand_in_the_term) {
  Closed_builder b = with_covariate(5), plain(5, 3);
  b.model.finish();
  Job& job = b.model.job();
  job.model.lindex.fill(Link::identity);
  std::vector<double> beta(static_cast<std::size_t>(job.model.nlogit), 0.3);
  beta.back() = 0.2;  // f0 itself, and the slope of p(2)
  const double both = b.model.func(beta);
  job.model.phase2 = 0;
  const double histories = b.model.func(beta);
  // f0 = 0.2, p(1) and p(3) .3, p(2) .3 + .2 .5
  const double q = 0.7 * 0.6 * 0.7;
  EXPECT_NEAR(both - histories, -2.0 * 0.2 * std::log(q), 1e-12);
}

TEST(Closed_set_up, fewer_rows_than_mixtures) {
  Closed_builder b(26, 3, {.mixtures = 3}), all(26, 3, {.mixtures = 3});
  const std::string p_told =
      "A parameter index matrix of 'p' has fewer rows than there are mixtures; its last row serves the "
      "others.";
  const std::string c_told =
      "A parameter index matrix of 'c' has fewer rows than there are mixtures; its last row serves the "
      "others.";
  all.records({"011", "100"});
  all.model.finish();
  EXPECT_FALSE(all.model.test.listing_has("fewer rows"));
  b.model.pim(3, 1, "SQUARE", 1, 2,
              [&](int, int c) { return all.model.job().model.pim2(3, 1, 1, 1).at(1, c); });
  b.records({"011", "100"});
  b.model.finish();
  b.model.set_threads(1);
  EXPECT_EQ(times_on(c_told, b.model.test.listing()), 1);
  EXPECT_EQ(times_on(p_told, b.model.test.listing()), 0);
  Closed_reals x = all.random_reals(3);
  const std::vector<double> shared = b.probabilities(x);
  x.c[1] = x.c[2] = x.c[0];
  EXPECT_EQ(shared, all.probabilities(x));
}

TEST(Closed_term, penalty_of_a_zero_history_outside_its_range) {
  Closed_builder b(5, 3);
  b.record("111", {3.0F}, {1.0F});
  b.model.finish();
  Closed_reals x = example(b.kind);
  x.f0 = 4.0;
  Job& job = b.model.job();
  job.model.phase1 = 0;
  b.model.func(b.vector_of(x));
  EXPECT_EQ(b.model.value.sumpen, 0.0);
  x.p[0] = {1.5, 0.3, 0.4};  // q = -.5 .7 .6
  const double f = b.model.func(b.vector_of(x));
  EXPECT_NEAR(b.model.value.sumpen, 2.0 * 0.21 * job.status.penalty_slope, 1e-6);
  const double expected = 4.0 * std::log(minlog) + std::lgamma(4.0 + 4.0 + 1.0) - std::lgamma(5.0);
  EXPECT_NEAR(b.model.value.loglik, -2.0 * expected, 1e-9);
  EXPECT_EQ(f, b.model.value.loglik + b.model.value.sumpen);
  x.p[0] = {-0.5, 0.3, -0.4};  // q = 1.5 .7 1.4
  b.model.func(b.vector_of(x));
  EXPECT_NEAR(b.model.value.sumpen, 2.0 * (1.5 * 0.7 * 1.4 - 1.0) * job.status.penalty_slope, 1e-6);
}

// Poisson limit: of f0 = lambda / p* animals that are never caught, M caught ones apart, the term tends to
// M log(lambda / p*) - lambda.
TEST(Closed_term, of_many_animals_that_are_rarely_caught) {
  for (const int type : {5, 22, 23, 49, 51, 52}) {
    Closed_builder b(type, 3, {.mixtures = 2});
    b.record("010", {30.0F}, {0.0F});
    b.model.finish();
    b.model.job().model.phase1 = 0;
    Closed_reals x = example(b.kind);
    for (auto& row : x.p)
      for (double& rate : row) rate *= 1e-12;
    const double pstar = session_of(b, "000", static_cast<int>(datatype(type).closed), x).pstar;
    x.f0 = 25.0 / pstar;
    const double expected = 30.0 * std::log(x.f0) - 25.0;
    // The limit is reached to M^2 / f0, far below the rounding.
    EXPECT_NEAR(-0.5 * b.model.func(b.vector_of(x)), expected, 1e-12 * expected) << type;
  }
}

// Nearly every animal is caught: the chance of none is a product with all its digits, 1 - p* has few or none.
TEST(Closed_term, of_animals_that_are_hardly_ever_missed) {
  for (const int type : {5, 22, 23, 49, 51, 52})
    for (const double missed : {1e-2, 1e-5, 1e-9}) {
      Closed_builder b(type, 3, {.mixtures = 2});
      b.record("111", {30.0F}, {0.0F});
      b.model.finish();
      b.model.job().model.phase1 = 0;
      Closed_reals x = example(b.kind), none = x;
      for (auto& row : x.p)
        for (double& rate : row) rate = 1.0 - missed;
      x.f0 = 4.0, none.f0 = 0.0;
      none.p = x.p;
      const double term = -0.5 * (b.model.func(b.vector_of(x)) - b.model.func(b.vector_of(none)));
      const double expected = 4.0 * 3.0 * std::log(1.0 - x.p[0][0]) + std::lgamma(35.0) - std::lgamma(5.0) -
                              (std::lgamma(31.0) - std::lgamma(1.0));
      // The last digits of the sums.
      EXPECT_NEAR(term, expected, 1e-13 * std::fabs(expected) + 1e-12) << type << ", " << missed;
    }
}

TEST(Closed_term, a_group_in_which_no_animal_was_caught) {
  Closed_builder b(5, 3, {.groups = 2});
  b.record("111", {3.0F, 0.0F}, {0.0F, 0.0F});
  b.model.finish();
  Closed_reals first = example(b.kind), second = first;
  first.f0 = 0.0;
  second.f0 = 2.5;
  b.model.job().model.phase1 = 0;
  const double likelihood = -0.5 * b.model.func(b.vector_of({first, second}));
  EXPECT_NEAR(likelihood, std::lgamma(4.0) + 2.5 * std::log(0.8 * 0.7 * 0.6), 1e-12);
}

/// A density record with its locations.
struct Located {
  const char* history;
  double inside, locations;
};

Closed_builder density(int type, std::initializer_list<Located> records) {
  Closed_builder b(type, 3);
  Job& job = b.model.job();
  const int count = static_cast<int>(records.size());
  EXPECT_TRUE(job.data.ninside.allocate(count) && job.data.nlocations.allocate(count));
  int i = 0;
  for (const Located& record : records) {
    b.record(record.history, {1.0F}, {0.0F});
    job.data.ninside(++i) = record.inside;
    job.data.nlocations(i) = record.locations;
  }
  b.model.finish();
  return b;
}

TEST(Closed_density, locations_multiply_the_probability) {
  for (const int type : {127, 128, 129, 161}) {
    Closed_builder b =
        density(type, {{"011", 0.0, 0.0}, {"011", 3.0, 5.0}, {"011", 0.0, 2.0}, {"011", 4.0, 4.0}});
    Closed_reals x = b.random_reals(5);
    x.ptilde = 0.6;
    const std::vector<double> prob = b.probabilities(x);
    const double factors[] = {1.0, 0.216 * 0.16, 0.16, 0.1296};
    double expected = 0.0;
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_NEAR(prob[i] / prob[0], factors[i], 1e-14) << type;
      expected -= 2.0 * std::log(prob[0] * factors[i]);
    }
    EXPECT_NEAR(b.model.func(b.vector_of(x)), expected, 1e-11) << type;
  }
}

TEST(Closed_density, many_locations_do_not_leave_the_range_of_numbers) {
  Closed_builder b = density(127, {{"011", 0.0, 0.0}, {"011", 3000.0, 5000.0}});
  Closed_reals x = b.random_reals(5);
  x.ptilde = 0.6;
  const double log_prob = std::log(b.probabilities(x)[0]);
  const double expected = 2.0 * log_prob + 3000.0 * std::log(0.6) + 2000.0 * std::log(0.4);
  EXPECT_NEAR(-0.5 * b.model.func(b.vector_of(x)), expected, 1e-9);
}

TEST(Closed_density, a_location_factor_at_the_end_of_its_range) {
  Closed_builder b =
      density(127, {{"011", 0.0, 0.0}, {"011", 2.0, 2.0}, {"011", 1.0, 2.0}, {"011", 0.0, 2.0}});
  Closed_reals x = b.random_reals(5);
  x.ptilde = 1.0;
  std::vector<double> prob = b.probabilities(x);
  EXPECT_EQ(prob[1], prob[0]);
  EXPECT_EQ(prob[2], prob[0]);  // the second factor is left out where 1 - ptilde vanishes
  EXPECT_NEAR(-0.5 * b.model.func(b.vector_of(x)), 4.0 * std::log(prob[0]) + 3.0 * std::log(minlog), 1e-9);
  x.ptilde = 0.0;
  prob = b.probabilities(x);
  EXPECT_EQ(prob[3], prob[0]);
  EXPECT_EQ(prob[1], 0.0);
}

TEST(Closed_density, a_record_without_animals_has_no_location_factor) {
  Closed_builder b = density(127, {{"011", 0.0, 0.0}, {"011", 1.0, 2.0}});
  b.model.job().data.encounters.observed(2)[0] = 0.0F;
  const Closed_reals x = b.random_reals(5);
  EXPECT_EQ(b.probabilities(x)[1], b.probabilities(x)[0]);
}

TEST(Closed_density, a_record_of_losses_alone_has_its_location_factor) {
  Closed_builder b = density(127, {{"011", 0.0, 0.0}, {"011", 1.0, 2.0}});
  b.model.job().data.encounters.observed(2)[0] = 0.0F;
  b.model.job().data.encounters.lost_on_capture(2)[0] = 1.0F;
  Closed_reals x = b.random_reals(5);
  x.ptilde = 0.6;
  // Lost at its last capture, the animal was at risk of capture on all occasions.
  const double log_prob = std::log(b.probabilities(x)[0]);
  EXPECT_NEAR(-0.5 * b.model.func(b.vector_of(x)), 2.0 * log_prob + std::log(0.6 * 0.4), 1e-13);
}

TEST(Closed_threads, every_number_of_threads_gives_the_same) {
  for (const int type : {5, 12, 22, 26, 49, 54, 127, 129, 145, 161}) {
    Closed_builder b(type, 8, {.mixtures = 3, .order = 15, .groups = 2});
    std::vector<std::string> histories = all_histories(8);
    histories.erase(histories.begin());
    b.records(histories);
    b.model.finish();
    const std::vector<double> x = b.vector_of({b.random_reals(8), b.random_reals(9)});
    const double expected = b.model.func(x);
    for (int threads = 2; threads <= 4; ++threads) {
      b.model.force_threads(threads);
      EXPECT_EQ(b.model.func(x), expected) << type << " on " << threads;
    }
  }
}

/// What is kept from cell to cell under one set of reals must not outlive it, and gives what is computed cell
/// by cell when reals depend on the record.
TEST(Closed_tables, follow_the_reals) {
  Closed_builder shared(145, 4, {.groups = 2}), single(145, 4, {.groups = 2});
  std::vector<std::string> histories = all_histories(4);
  histories.erase(histories.begin());
  for (Closed_builder* b : {&shared, &single}) {
    b->records(histories);
    b->records({"1.01", "..10"});
  }
  shared.model.finish();
  single.model.job().model.licovs = 1;
  single.model.finish();
  std::vector<double> first;
  for (unsigned round = 0; round < 2; ++round)
    for (unsigned seed = 1; seed <= 3; ++seed) {
      const std::vector<double> x =
          shared.vector_of({shared.random_reals(seed), shared.random_reals(seed + 10)});
      const double f = shared.model.func(x);
      EXPECT_EQ(f, single.model.func(x));
      if (round == 0)
        first.push_back(f);
      else
        EXPECT_EQ(f, first[seed - 1]);
    }
}

}  // namespace
}  // namespace tarn
