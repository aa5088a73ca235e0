// The objective: sums, penalties, phases, threads, gradient, first-iteration report, checks at set-up.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfenv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <random>
#include <utility>

#include "likelihood/blocks/live_recaptures.h"
#include "likelihood/cells.h"
#include "likelihood/likelihood_work.h"
#include "likelihood/set_up.h"
#include "support/fitted_models.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// Live recaptures with the same Phi and p everywhere and links of 1 to 1: betas are reals.
Model_builder plain_model(int noccas) {
  Model_builder m(1, noccas);
  const int n = noccas - 1;
  for (int q = 1; q <= 2; ++q) m.pim(q, 1, "TRIANG", n, n, [q](int, int) { return q; });
  m.job().model.nlink = Link::identity;
  return m;
}

std::string random_history(std::mt19937_64& source, int noccas) {
  std::string live(static_cast<std::size_t>(noccas), '0');
  const std::size_t first = source() % static_cast<std::size_t>(noccas);
  live[first] = '1';
  for (std::size_t o = first + 1; o < live.size(); ++o) {
    const auto kind = source() % 10;
    live[o] = kind < 3 ? '1' : kind < 4 ? '.' : '0';
  }
  return live;
}

/// Many records, two groups, losses on capture; time-dependent rates.
Model_builder large_model(int records, unsigned seed) {
  Model_builder m(1, 9, 2);
  std::mt19937_64 source(seed);
  for (int i = 0; i < records; ++i) {
    const auto counts = [&] {
      return std::vector<float>{static_cast<float>(source() % 4), static_cast<float>(source() % 3)};
    };
    m.record(random_history(source, 9), counts(), source() % 5 == 0 ? counts() : std::vector<float>{});
  }
  m.time_pims();
  return m;
}

std::vector<double> random_betas(int n, unsigned seed) {
  std::mt19937_64 source(seed);
  std::uniform_real_distribution<double> uniform(-1.5, 1.5);
  std::vector<double> x(static_cast<std::size_t>(n));
  for (double& value : x) value = uniform(source);
  return x;
}

TEST(Func, sums_counts_times_logarithms) {
  Model_builder m = plain_model(4);
  m.record("1000", {10.0F});
  m.record("1010", {3.0F}, {2.0F});
  m.finish();
  const double f = m.func({0.5, 0.5});
  // "1010" released: alive (1/4, 1/2), (1/16, 0), (1/64, 1/32).
  const double l = 10.0 * std::log(0.671875) + 3.0 * std::log(0.046875) + 2.0 * std::log(0.0625);
  EXPECT_NEAR(f, -2.0 * l, 1e-12);
  EXPECT_EQ(f, m.value.loglik);
  EXPECT_EQ(m.value.sumpen, 0.0);
  EXPECT_EQ(m.reals()[0], 0.5);
}

TEST(Func, a_large_probability_costs_once_a_record) {
  Model_builder m = plain_model(2);
  m.record("11", {10.0F});
  m.finish();
  const double f = m.func({1.5, 1.0});  // probability 1.5
  EXPECT_NEAR(m.value.loglik, -20.0 * std::log(1.5), 1e-13);
  EXPECT_EQ(m.value.sumpen, 1000000.0);
  EXPECT_EQ(f, m.value.loglik + 1000000.0);
}

TEST(Func, a_negative_probability_costs_its_size) {
  Model_builder m = plain_model(2);
  m.record("11", {1.0F});
  m.finish();
  m.func({-0.001, 1.0});
  EXPECT_NEAR(m.value.sumpen, 2000.0, 1e-9);
  EXPECT_EQ(m.value.loglik, -2.0 * floored_log(0.0));
}

TEST(Func, a_probability_of_zero_or_below_the_floor_costs_the_floor_only) {
  Model_builder m = plain_model(2);
  m.record("11", {1.0F});
  m.finish();
  for (const double p : {0.0, 1e-310}) {
    m.func({1.0, p});
    EXPECT_EQ(m.value.sumpen, 0.0);
    EXPECT_EQ(m.value.loglik, -2.0 * std::log(minlog));
  }
}

TEST(Func, a_beta_that_is_no_number_takes_the_floor) {
  Model_builder m = plain_model(2);
  m.record("11", {1.0F});
  m.finish();
  m.func({std::nan(""), 0.5});
  EXPECT_EQ(m.value.loglik, -2.0 * std::log(minlog));
}

TEST(Func, penalty_slope_is_a_variable) {
  Model_builder m = plain_model(2);
  m.record("11", {1.0F});
  m.finish();
  m.job().status.penalty_slope = 10.0;
  m.func({1.5, 1.0});
  EXPECT_EQ(m.value.sumpen, 10.0);
}

TEST(Func, without_records_or_phases_all_is_zero) {
  Model_builder none = plain_model(3);
  none.finish(3);
  EXPECT_EQ(none.func({0.5, 0.5}), 0.0);
  Model_builder m = plain_model(3);
  m.record("111", {1.0F});
  m.finish();
  m.job().model.phase1 = 0;
  EXPECT_EQ(m.func({0.5, 0.5}), 0.0);
  m.job().model.phase2 = 0;
  EXPECT_EQ(m.func({0.5, 0.5}), 0.0);
  EXPECT_EQ(m.value.loglik, 0.0);
  EXPECT_EQ(m.value.sumpen, 0.0);
}

TEST(Func, a_record_without_counts_calls_nothing) {
  Model_builder m(1, 4, 2);
  m.record("1011", {0.0F, 2.0F});
  // Group 1 has no matrices at all, and no record needs them.
  for (int q = 1; q <= 2; ++q) m.pim(q, 2, "TRIANG", 3, 3, [q](int, int) { return q; });
  m.job().model.nlink = Link::identity;
  m.finish();
  EXPECT_GT(m.func({0.5, 0.5}), 0.0);
  cell_probabilities(m.job());
  EXPECT_EQ(m.job().model.cellpr(1, 1), 0.0);
}

TEST(Func, rows_of_a_square_matrix_are_clamped) {
  Model_builder square(1, 4), triangle(1, 4);
  for (Model_builder* m : {&square, &triangle}) {
    for (const char* live : {"1011", "0110", "0011"}) m->record(live, {2.0F});
    const bool one_row = m == &square;
    for (int q = 1; q <= 2; ++q)
      m->pim(q, 1, one_row ? "SQUARE" : "TRIANG", one_row ? 1 : 3, 3,
             [q](int, int c) { return 3 * (q - 1) + c; });
    m->finish();
  }
  const std::vector<double> x = random_betas(6, 3);
  EXPECT_EQ(square.func(x), triangle.func(x));
}

TEST(Func, the_same_bits_for_every_number_of_threads) {
  for (const int records : {5, 4000}) {
    Model_builder m = large_model(records, 11);
    m.finish(1);
    const std::vector<double> x = random_betas(m.job().model.ncovs_nlbetas, 12);
    const double f = m.func(x), penalty = m.value.sumpen;
    std::vector<double> g(x.size()), other(x.size());
    funcg(m.job(), x, g);
    const std::vector<double> mixed = m.second_derivatives(x, 2);
    for (const int threads : {2, 3, 7, 16}) {
      m.force_threads(threads);
      EXPECT_EQ(std::bit_cast<std::uint64_t>(m.func(x)), std::bit_cast<std::uint64_t>(f)) << threads;
      EXPECT_EQ(m.value.sumpen, penalty);
      EXPECT_EQ(funcg(m.job(), x, other).f, f);
      EXPECT_EQ(other, g);
      EXPECT_EQ(m.second_derivatives(x, 2), mixed);
    }
  }
}

TEST(Func, the_same_bits_for_every_number_of_threads_with_covariates) {
  for (const int records : {3, 500}) {
    Model_builder m(1, 6, 1, 1);
    std::mt19937_64 source(21);
    for (int i = 0; i < records; ++i)
      m.record(random_history(source, 6), {1.0F}, {}, {static_cast<double>(source() % 100) / 50.0 - 1.0});
    m.time_pims();
    m.design(11);
    for (int i = 1; i <= 10; ++i) m.cell(i, i, 1.0);
    for (int c = 1; c <= 5; ++c) m.covariate(c, 11, 1);
    m.finish(1);
    const std::vector<double> x = random_betas(11, 22);
    const double f = m.func(x);
    const std::vector<double> parm = m.reals();
    std::vector<double> g(x.size()), other(x.size());
    funcg(m.job(), x, g);
    const std::vector<double> mixed = m.second_derivatives(x, 4);
    for (const int threads : {2, 3, 7}) {
      m.force_threads(threads);
      EXPECT_EQ(m.func(x), f);
      EXPECT_EQ(m.reals(), parm);
      EXPECT_EQ(funcg(m.job(), x, other).f, f);
      EXPECT_EQ(other, g);
      EXPECT_EQ(m.second_derivatives(x, 4), mixed);
    }
  }
}

TEST(Func, reals_that_records_share_are_the_same_for_every_thread) {
  // Blocks of derivatives enough for all threads, and many shared reals that take several steps to finish.
  constexpr int occasions = 6, shared = 400;
  Model_builder m(1, occasions, 1, 1);
  std::mt19937_64 source(23);
  for (int i = 0; i < 40000; ++i)
    m.record(random_history(source, occasions), {i % 256 == 0 ? 1.0F : 0.0F}, {}, {0.01 * (i % 100)});
  m.time_pims();
  m.job().model.nlogit = 10 + shared;
  m.design(11);
  for (int i = 1; i <= 10; ++i) m.cell(i, i, 1.0);
  for (int row = 11; row <= 10 + shared; ++row) m.cell(row, row % 10 + 1, 1.0);
  m.covariate(1, 11, 1);
  for (int row = 10 + shared; row >= 6; --row) m.set_member(row, Link::mlogit, 1);
  m.finish(1);
  const std::vector<double> x = random_betas(11, 24);
  std::vector<double> g(x.size()), other(x.size());
  const double f = funcg(m.job(), x, g).f;
  for (int repeat = 0; repeat < 200; ++repeat) {
    if (repeat % 10 == 0) m.force_threads(4);
    ASSERT_EQ(funcg(m.job(), x, other).f, f) << repeat;
    ASSERT_EQ(other, g) << repeat;
  }
}

/// f, gradient, second derivatives and moves of single betas, wherever the point was before.
std::vector<double> everything_at(Model_builder& m, const std::vector<double>& x) {
  std::vector<double> all(x.size());
  const double f = funcg(m.job(), x, all).f;
  for (const std::vector<double>& more :
       {std::vector<double>{f}, m.second_derivatives(x, 1), m.objectives(x, {{1, 0.2}, {6, -0.4}})})
    all.insert(all.end(), more.begin(), more.end());
  return all;
}

TEST(Func, a_renewed_likelihood_is_that_of_a_new_set_up) {
  for (const bool by_record : {false, true}) {
    Model_builder m(1, 6, 1, 1);
    std::mt19937_64 source(71);
    for (int i = 0; i < 40; ++i)
      m.record(random_history(source, 6), {1.0F}, {}, {static_cast<double>(source() % 100) / 50.0 - 1.0});
    m.time_pims();
    m.design(11);
    for (int i = 1; i <= 10; ++i) {
      m.cell(i, i, 1.0);
      m.cell(i, i % 10 + 1, 0.25);
    }
    if (by_record)
      for (int c = 1; c <= 5; ++c) m.covariate(c, 11, 1);
    else
      m.cell(3, 11, 1.0);
    m.finish(2);
    Job& job = m.job();
    const std::vector<double> before = everything_at(m, random_betas(11, 72));
    const Cell_classes* const classes = &cell_classes(job);
    // The scale of a column, a link, and the betas that are estimated.
    job.model.scalefactor(2) = 0.5;
    job.model.lindex(7) = Link::loglog;
    job.model.beta(4) = 0.3;
    for (int i = 4; i <= 11; ++i) job.model.bindex(i) = i == 4 ? 0 : i - 1;
    const std::vector<double> x = random_betas(10, 72);
    renew_likelihood(job);
    const std::vector<double> renewed = everything_at(m, x);
    EXPECT_EQ(&cell_classes(job), classes) << "what follows from the data is kept";
    set_up_likelihood(job);
    EXPECT_EQ(everything_at(m, x), renewed);
    EXPECT_NE(renewed.back(), before.back());
  }
}

TEST(Func, a_renewed_likelihood_keeps_what_the_data_say) {
  for (const int type : types_with_a_routine())
    for (const int threads : {1, 2}) {
      SCOPED_TRACE("type " + std::to_string(type));
      Model_builder m = fitted_model(type, draw_animals(type, 8, {}, 74), {});
      m.set_threads(threads);
      const std::vector<double> x = moderate_betas(m, 75);
      const double f = m.func(x);
      Likelihood_work* work = m.job().model.likelihood.get();
      work->readable.front() = 2;  // a mark of our own
      const std::vector<char> readable = work->readable;
      const Closed_form closed_form = work->closed_form;
      const bool serial_penalty = work->serial_penalty;
      renew_likelihood(m.job());
      work = m.job().model.likelihood.get();
      EXPECT_EQ(work->readable, readable);
      EXPECT_EQ(work->closed_form, closed_form);
      EXPECT_EQ(work->serial_penalty, serial_penalty);
      EXPECT_EQ(static_cast<int>(work->plain.size()), threads);
      EXPECT_EQ(m.func(x), f);
    }
}

TEST(Func, a_likelihood_is_set_up_anew_when_reals_begin_to_depend_on_the_record) {
  Model_builder m(1, 3, 1, 1);
  for (const double x : {-1.0, 0.5, 2.0}) m.record("110", {1.0F}, {}, {x});
  m.time_pims();
  m.design(5);
  for (int i = 1; i <= 4; ++i) m.cell(i, i, 1.0);
  m.covariate(1, 5, 1);
  m.finish();
  Job& job = m.job();
  const std::vector<double> x = random_betas(5, 73);
  const double f = m.func(x);
  ASSERT_NE(job.model.licovs, 0);
  const int covariates = std::exchange(job.model.licovs, 0);
  renew_likelihood(job);
  EXPECT_FALSE(job.model.likelihood->by_record);
  job.model.licovs = covariates;
  renew_likelihood(job);
  EXPECT_TRUE(job.model.likelihood->by_record);
  EXPECT_EQ(m.func(x), f);
}

TEST(Func, a_pass_that_is_short_stays_on_one_thread) {
  Model_builder small = large_model(5, 25), large = large_model(20000, 26);
  for (Model_builder* m : {&small, &large}) {
    m->finish(2);
    for (int pass = 1; pass <= 4; ++pass) m->func(random_betas(16, 27));
    EXPECT_EQ(m->job().model.likelihood->plain_team.parallel, m == &large);
  }
}

TEST(Func, a_region_that_a_busy_machine_makes_dear_is_given_up_for_a_while) {
  using namespace std::chrono_literals;
  Team team;
  const auto pass_for = [&team](int passes, std::chrono::microseconds each) {
    for (int k = 0; k < passes; ++k) team.timed(each);
  };
  pass_for(3, 100us);
  EXPECT_TRUE(team.parallel);
  pass_for(10 * Team::trial, 60us);
  EXPECT_TRUE(team.parallel);
  pass_for(Team::trial, 900us);
  EXPECT_FALSE(team.parallel);
  pass_for(Team::shortest_rest - 1, 100us);
  EXPECT_FALSE(team.parallel);
  pass_for(1, 100us);
  EXPECT_TRUE(team.parallel) << "tried again after the rest";
  pass_for(Team::trial, 900us);
  pass_for(2 * Team::shortest_rest - 1, 100us);
  EXPECT_FALSE(team.parallel) << "the second rest is twice as long";
  pass_for(1, 1000us);
  EXPECT_TRUE(team.parallel);
  pass_for(Team::trial, 80us);
  pass_for(Team::trial, 900us);
  pass_for(Team::shortest_rest, 100us);
  EXPECT_TRUE(team.parallel) << "a region that paid makes the rests short again";
}

TEST(Func, order_of_records_and_groups_does_not_matter) {
  Model_builder m = large_model(300, 15);
  m.finish();
  Model_builder reversed(1, 9, 2);
  for (int i = 300; i >= 1; --i) {
    const Encounter_store& store = m.job().data.encounters;
    std::string live;
    for (int o = 1; o <= 9; ++o) live += store.history(i).live(o);
    reversed.record(live, {store.observed(i, 2), store.observed(i, 1)},
                    {store.lost_on_capture(i, 2), store.lost_on_capture(i, 1)});
  }
  reversed.time_pims();  // shared by the groups
  reversed.finish();
  const std::vector<double> x = random_betas(16, 16);
  EXPECT_EQ(m.func(x), reversed.func(x));
}

TEST(Func, flags_of_workers_reach_the_main_thread) {
  Model_builder m(1, 20);
  std::mt19937_64 source(1);
  for (int i = 0; i < 4000; ++i)
    m.record(i == 3999 ? "1" + std::string(19, '1') : random_history(source, 20), {1.0F});
  for (int q = 1; q <= 2; ++q) m.pim(q, 1, "TRIANG", 19, 19, [q](int, int) { return q; });
  m.job().model.nlink = Link::identity;
  m.finish();
  m.force_threads(2);
  std::feclearexcept(FE_ALL_EXCEPT);
  m.func({1e-30, 0.5});  // the last record underflows, and only it: it is of the second thread
  EXPECT_NE(std::fetestexcept(FE_UNDERFLOW), 0);
}

void faulty(const Job&, Ch_result<double>& result, History, int i, int, int, const Reals<double>&,
            Cell_work<double>& work) {
  result = Ch_result<double>::from(0.5);
  if (i % 1000 != 777) return;
  work.fail(i, "Cell of record " + std::to_string(i) + " cannot be computed.");
  result = Ch_result<double>::floor();
}

TEST(Func, the_fault_of_the_lowest_history_is_reported) {
  for (const int threads : {1, 2, 3, 7}) {
    Model_builder m = large_model(4000, 17);
    for (int i = 1; i <= 4000; ++i) m.job().data.encounters.observed(i)[0] = 1.0F;
    m.finish();
    m.force_threads(threads);
    m.job().model.chprobpointer = faulty;
    m.force_histories();
    const std::string text = error_of(m.test, [&] { m.func(random_betas(16, 1)); });
    EXPECT_EQ(text, "Cell of record 777 cannot be computed.") << threads;
  }
}

void second_penalty(const Job&, Ch_result<double>& result, History, int, int, int, const Reals<double>&,
                    Cell_work<double>& work) {
  result = Ch_result<double>::from(0.5);
  work.penlty[1] += -1.0;
}

TEST(Kept, second_penalty_counts_in_serial_runs_only) {
  Model_builder m = plain_model(4);
  m.record("1011", {3.0F});
  m.record("1000", {3.0F});
  m.finish(1);
  m.job().model.chprobpointer = second_penalty;
  m.func({0.5, 0.5});
  EXPECT_EQ(m.value.sumpen, 4.0);
  m.set_threads(2);  // too little work for two threads, but the rule follows their number
  m.job().model.chprobpointer = second_penalty;
  m.func({0.5, 0.5});
  EXPECT_EQ(m.value.sumpen, 0.0);
}

TEST(Funcg, forward_and_central_differences) {
  Model_builder m = large_model(200, 18);
  m.finish();
  const std::vector<double> x = random_betas(16, 19);
  std::vector<double> g(16);
  const double f = m.func(x);
  const double d = m.job().status.deltax = 2e-8;
  EXPECT_EQ(funcg(m.job(), x, g).f, f);
  for (std::size_t i = 0; i < 16; ++i) {
    std::vector<double> y = x;
    const double h = d * (std::abs(x[i]) + 1.0);
    y[i] = x[i] + h;
    EXPECT_EQ(g[i], (m.func(y) - f) / h);
  }
  m.job().model.centfd = 1;
  EXPECT_EQ(funcg(m.job(), x, g).f, f);
  for (std::size_t i = 0; i < 16; ++i) {
    std::vector<double> up = x, down = x;
    const double h = 0.5 * d * (std::abs(x[i]) + 1.0);
    up[i] = x[i] + h;
    down[i] = x[i] - h;
    EXPECT_EQ(g[i], (m.func(up) - m.func(down)) / (2.0 * h));
  }
}

TEST(Set_up, a_type_without_routine_is_fatal) {
  Model_builder m(114, 4);
  const std::string text = error_of(m.test, [&] { m.finish(); });
  EXPECT_EQ(text, "result_var has an error for this data type.  LOGLIKE not computed.");
  m.test.clear();
  m.job().status.dattyp = 186;
  EXPECT_EQ(error_of(m.test, [&] { set_up_likelihood(m.job()); }), "Incorrect value of DATTYP.");
}

TEST(Set_up, a_matrix_cell_without_number_is_fatal) {
  Model_builder m = plain_model(4);
  m.record("1011", {1.0F});
  m.pim(2, 1, "TRIANG", 3, 3, [](int r, int c) { return r == 1 && c == 2 ? 0 : 2; });
  EXPECT_EQ(
      error_of(m.test, [&] { m.finish(); }),
      "Parameter index matrix 'p', group 1: row 1, column 2 holds 0, which is no row of the design matrix.");
}

TEST(Set_up, a_cell_that_no_record_reaches_may_be_anything) {
  Model_builder m = plain_model(4);
  m.record("0110", {1.0F});
  m.pim(2, 1, "TRIANG", 3, 3, [](int r, int) { return r == 2 ? 2 : 0; });
  m.finish();
  EXPECT_GT(m.func({0.5, 0.5}), 0.0);
}

TEST(Set_up, matrices_that_only_lost_animals_would_reach_may_be_anything) {
  // A model whose group 2 has one animal, lost where it was caught; nothing is read of what lies behind.
  const auto model = [](bool animal) {
    Model_builder m(1, 4, 2);
    std::mt19937_64 source(31);
    for (int i = 0; i < 60; ++i) m.record(random_history(source, 4), {2.0F, 0.0F});
    if (animal) m.record("0100", {}, {0.0F, 1.0F});
    for (int q = 1; q <= 2; ++q) m.pim(q, 1, "TRIANG", 3, 3, [q](int, int) { return q; });
    return m;
  };
  const std::vector<double> x{0.4, -0.3};
  Model_builder none = model(false);
  none.finish();
  const double f = none.func(x);
  Model_builder no_matrix = model(true);
  no_matrix.finish();
  ASSERT_TRUE(no_matrix.job().model.likelihood->setting.counts_some());
  EXPECT_EQ(no_matrix.func(x), f);
  Model_builder zeros = model(true);
  for (int q = 1; q <= 2; ++q) zeros.pim(q, 2, "TRIANG", 3, 3, [](int, int) { return 0; });
  zeros.finish();
  EXPECT_EQ(zeros.func(x), f);
}

TEST(Set_up, a_cohort_is_not_like_one_without_real_parameters) {
  // Nobody reads what stands behind occasion 1 in row 1; behind it the cohort of row 2 has real parameter 1.
  Model_builder with(1, 4), without(1, 4);
  for (Model_builder* m : {&with, &without}) {
    for (const char* live : {"0100", "0101", "0110", "0111"}) m->record(live, {5.0F}, {2.0F});
    if (m == &with) m->record("1000", {}, {1.0F});
    for (int q = 1; q <= 2; ++q) m->pim(q, 1, "TRIANG", 3, 3, [](int r, int) { return r == 1 ? 0 : 1; });
    m->finish();
    ASSERT_TRUE(m->job().model.likelihood->setting.counts_some());
  }
  EXPECT_EQ(with.func({0.3}), without.func({0.3}));
}

TEST(Set_up, a_number_above_the_design_is_fatal) {
  Model_builder m = plain_model(4);
  m.record("1011", {1.0F});
  m.finish();
  m.job().model.pim2(1, 1, 1, 1).cells(3) = 3;
  EXPECT_EQ(error_of(m.test, [&] { set_up_likelihood(m.job()); }),
            "Parameter index matrix 'Phi', group 1: row 1, column 3 holds 3, which is no row of the design "
            "matrix.");
}

TEST(Set_up, a_matrix_that_is_too_small_is_fatal) {
  Model_builder m = plain_model(4);
  m.record("1011", {1.0F});
  m.record("0011", {1.0F});
  m.pim(1, 1, "TRIANG", 2, 3, [](int, int) { return 1; });
  EXPECT_EQ(error_of(m.test, [&] { m.finish(); }),
            "Parameter index matrix 'Phi', group 1: row 3, column 3 is needed but lies outside the matrix.");
  Model_builder narrow = plain_model(4);
  narrow.record("1011", {1.0F});
  narrow.pim(1, 1, "SQUARE", 1, 2, [](int, int) { return 1; });
  EXPECT_EQ(error_of(narrow.test, [&] { narrow.finish(); }),
            "Parameter index matrix 'Phi', group 1: row 1, column 3 is needed but lies outside the matrix.");
}

TEST(Set_up, a_missing_matrix_is_fatal) {
  Model_builder m(1, 4);
  m.record("1011", {1.0F});
  m.pim(1, 1, "TRIANG", 3, 3, [](int, int) { return 1; });
  EXPECT_EQ(error_of(m.test, [&] { m.finish(); }),
            "Parameter index matrix 'p', group 1 is needed but was not given.");
}

TEST(Cell_work, scratch_lives_until_the_next_cell_and_is_kept) {
  Model_builder m = plain_model(4);
  const Cell_setting setting(m.job(), cell_routines(Cell::chprob001));
  Cell_work<double> work(m.job(), setting);
  work.begin();
  const std::span<double> small = work.take(10), large = work.take(5000), more = work.take(1000);
  std::fill(small.begin(), small.end(), 1.0);
  std::fill(large.begin(), large.end(), 2.0);
  std::fill(more.begin(), more.end(), 3.0);
  EXPECT_EQ(small[9], 1.0);
  EXPECT_EQ(large[4999], 2.0);
  work.begin();
  EXPECT_EQ(work.take(10).data(), small.data());
  EXPECT_EQ(work.take(5000).data(), large.data());
}

TEST(Cell_work, facts_of_a_made_up_history) {
  Model_builder m = plain_model(5);
  m.record("01010", {1.0F});
  m.finish();
  Thread_area<double>& area = *m.job().model.likelihood->plain[0];
  const History own = m.job().data.encounters.history(1);
  EXPECT_EQ(facts_of<Live_recaptures>(area.cell, 1, own).lastlc, 4);
  const std::string cells = "00100000.0";
  const History made_up(cells.data(), 5);
  const Live_facts& facts = facts_of<Live_recaptures>(area.cell, 1, made_up);
  EXPECT_EQ(facts.first, 2);
  EXPECT_EQ(facts.lastlc, 2);
  EXPECT_EQ(facts.lastsm, 4);
  EXPECT_EQ(facts.codes, nullptr);
}

TEST(Cell_work, the_longest_fault_text_is_cut) {
  Model_builder m = plain_model(4);
  const Cell_setting setting(m.job(), cell_routines(Cell::chprob001));
  Cell_work<double> work(m.job(), setting);
  work.fail(5, std::string(400, 'x'));
  EXPECT_EQ(work.fault_text(), std::string(255, 'x'));
  work.fail(7, "later");
  EXPECT_EQ(work.fault_history(), 5);
  work.fail(2, "earlier");
  EXPECT_EQ(work.fault_text(), "earlier");
}

TEST(Chprob001, a_character_without_meaning_cannot_come_from_the_living) {
  // Alive is 0 from there on, dead goes on: 1 - s behind the first capture, then certain.
  Model_builder m = plain_model(4);
  m.record("1A00", {1.0F});
  m.finish();
  m.func({0.75, 0.5});
  EXPECT_NEAR(m.value.loglik, -2.0 * std::log(0.25), 1e-14);
}

TEST(Chprob001, table_and_chain_agree) {
  Model_builder m = large_model(500, 23);
  m.intervals({1.0F, 0.5F, 2.0F});
  m.finish();
  const std::vector<double> x = random_betas(16, 24);
  Array2<double> observed, lost;
  cell_probabilities(m.job(), x, observed, lost);
  Thread_area<double>& area = *m.job().model.likelihood->plain[0];
  Ch_result<double> result;
  for (int i = 1; i <= 500; ++i) {
    area.cell.begin();
    // Reals without a stamp: nothing is kept for them.
    m.job().model.chprobpointer(m.job(), result, m.job().data.encounters.history(i), i, 1, 0,
                                Reals<double>(area.reals.parm.data()), area.cell);
    EXPECT_NEAR(result.prob, observed(i, 1), 1e-15 + 1e-13 * observed(i, 1));
  }
}

}  // namespace
}  // namespace tarn
