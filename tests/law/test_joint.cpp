// Laws of joint live and dead encounters: Burnham (3), Barker (8).

#include <gtest/gtest.h>

#include "support/cell_bench.h"
#include "support/joint_paths.h"

namespace tarn {
namespace {

Cell_bench burnham(int noccas, std::initializer_list<float> lengths = {}) {
  return {3, noccas, {noccas, noccas - 1, noccas, noccas - 1}, lengths};
}
Cell_bench barker(int noccas, std::initializer_list<float> lengths = {}) {
  return {8, noccas, {noccas, noccas - 1, noccas, noccas, noccas, noccas - 1, noccas - 1}, lengths};
}

class Joint_laws : public testing::TestWithParam<std::tuple<unsigned, bool>> {
 protected:
  unsigned seed() const { return std::get<0>(GetParam()); }
  Cell_bench made(bool of_barker, int noccas) const {
    const std::initializer_list<float> equal{}, unequal{1.0F, 0.5F, 2.0F};
    const auto lengths = std::get<1>(GetParam()) ? unequal : equal;
    Cell_bench bench = of_barker ? barker(noccas, lengths) : burnham(noccas, lengths);
    bench.draw(seed());
    return bench;
  }
};

TEST_P(Joint_laws, probability_is_the_sum_over_latent_paths) {
  for (const bool of_barker : {false, true})
    for (const int noccas : {3, 4}) {
      Cell_bench bench = made(of_barker, noccas);
      for (int first = 1; first <= noccas; ++first) {
        const Joint_paths paths(bench, of_barker, first);
        std::size_t possible = 0;
        const int n = noccas - first;
        if (of_barker) {
          possible = (1U << (2 * n + 1)) + ((1U << (2 * n + 2)) - 1) / 3;
        } else {
          for (int l = first; l <= noccas; ++l)
            possible += static_cast<std::size_t>((l > first ? 1 << (l - first - 1) : 1) * (noccas - l + 2));
        }
        EXPECT_EQ(paths.table.size(), possible);
        expect_table(bench, paths.table, "release " + std::to_string(first));
      }
    }
}

// A loss ends the history at its last capture: what may follow it sums to 1.
TEST_P(Joint_laws, losses_are_followed_to_the_last_capture_only) {
  for (const bool of_barker : {false, true}) {
    Cell_bench bench = made(of_barker, 4);
    const Joint_paths paths(bench, of_barker, 1);
    History_table by_last_capture;
    for (const auto& [cells, prob] : paths.table) {
      std::size_t last = 6;
      while (cells[last] != '1') last -= 2;
      by_last_capture[cells.substr(0, last + 1) + std::string(cells.size() - last - 1, '0')] += prob;
    }
    for (const auto& [cells, prob] : by_last_capture) {
      std::size_t last = 6;
      while (cells[last] != '1') last -= 2;
      // Later captures count for the sum over what follows; they stand under their own last capture.
      double tail = prob;
      for (const auto& [other, more] : by_last_capture)
        if (other != cells && other.substr(0, last + 1) == cells.substr(0, last + 1)) {
          const std::string between = other.substr(last + 1);
          if (between.find('1') != std::string::npos || between.find('2') != std::string::npos) tail += more;
        }
      EXPECT_NEAR(bench.prob(cells, true), tail, 1e-13) << cells;
      EXPECT_EQ(bench.unreadable(cells, true), "");
    }
    std::string late = "10000010";
    const double kept = bench.prob(late, true);
    late[7] = '2';  // behind the removal
    EXPECT_EQ(bench.prob(late, true), kept);
  }
}

TEST_P(Joint_laws, barker_without_resightings_and_return_is_burnham) {
  Cell_bench eight = made(true, 4), three = made(false, 4);
  for (int r = 1; r <= 4; ++r)
    for (int c = 1; c <= 4; ++c) {
      for (const int q : {1, 3}) eight.real(q, r, c) = three.real(q, r, c);
      if (r > 3 || c > 3) continue;
      eight.real(2, r, c) = three.real(2, r, c);
      eight.real(6, r, c) = three.real(4, r, c);
    }
  for (const int q : {4, 5, 7}) eight.set(q, 0.0);
  for (int first = 1; first <= 4; ++first)
    for (const auto& [cells, prob] : Joint_paths(three, false, first).table)
      for (const bool lost : {false, true})
        EXPECT_NEAR(eight.prob(cells, lost), three.prob(cells, lost), 1e-16) << cells;
}

TEST_P(Joint_laws, burnham_without_recoveries_and_moves_is_live_recapture) {
  Cell_bench three = made(false, 4), one(1, 4, {3, 3});
  for (int c = 1; c <= 4; ++c) one.job().data.timint(c) = three.job().data.timint(c);
  one.job().data.timevy = three.job().data.timevy;
  three.set(3, 0.0);
  three.set(4, 1.0);
  for (int r = 1; r <= 3; ++r)
    for (int c = 1; c <= 3; ++c)
      for (const int q : {1, 2}) one.real(q, r, c) = three.real(q, r, c);
  for (unsigned n = 1; n < 16; ++n) {
    std::string cells;
    for (const char c : binary_history(n, 4)) cells += {c, '0'};
    for (const bool lost : {false, true})
      EXPECT_NEAR(three.prob(cells, lost), one.prob(cells, lost), 1e-15) << cells;
  }
}

TEST_P(Joint_laws, burnham_without_captures_and_moves_is_seber) {
  Cell_bench three = made(false, 4), two(2, 4, {4, 4});
  for (int c = 1; c <= 4; ++c) two.job().data.timint(c) = three.job().data.timint(c);
  two.job().data.timevy = three.job().data.timevy;
  three.set(2, 0.0);
  three.set(4, 1.0);
  for (int r = 1; r <= 4; ++r)
    for (int c = 1; c <= 4; ++c) {
      two.real(1, r, c) = three.real(1, r, c);
      two.real(2, r, c) = three.real(3, r, c);
    }
  for (std::size_t first = 0; first < 4; ++first)
    for (std::size_t last = first; last <= 4; ++last) {
      std::string cells(8, '0');
      cells[2 * first] = '1';
      if (last < 4) cells[2 * last + 1] = '1';
      EXPECT_NEAR(three.prob(cells), two.prob(cells), 1e-15) << cells;
    }
}

TEST_P(Joint_laws, derivatives_agree_with_extrapolated_differences) {
  for (const bool of_barker : {false, true}) {
    Cell_bench bench = made(of_barker, 3);
    bench.draw(seed(), 0.3, 0.7);
    const std::size_t n = bench.reals().size();
    for (const std::string cells : {"100000", "101000", "100100", of_barker ? "120010" : "100010"})
      for (std::size_t i = 0; i < n; ++i)
        for (std::size_t k = 0; k < 4; ++k) expect_derivatives(bench, cells, i, (i + k * k) % n);
  }
}

INSTANTIATE_TEST_SUITE_P(random_parameters, Joint_laws,
                         testing::Combine(testing::Range(1U, 5U), testing::Bool()));

TEST(Joint, survival_compounds_over_a_long_interval_without_encounters) {
  // One interval of length 2, nobody outside ever returns and nothing is reported: S alone, and F in type 3.
  Cell_bench two = burnham(3, {1.0F, 2.0F, 1.0F}), split = burnham(4);
  two.draw(11);
  const double s = two.real(1, 1, 2), f = two.real(4, 1, 2);
  split.set(1, {two.real(1, 1, 1), s, s, two.real(1, 1, 3)});
  split.set(2, {two.real(2, 1, 1), 0.0, two.real(2, 1, 2)});
  split.set(3, {two.real(3, 1, 1), 0.0, 0.0, two.real(3, 1, 3)});
  split.set(4, {two.real(4, 1, 1), f, f});
  two.real(3, 1, 2) = 0.0;
  for (const std::string cells : {"101010", "101011", "101000", "100010", "100000", "100001", "110000"})
    EXPECT_NEAR(two.prob(cells), split.prob(cells.substr(0, 4) + "00" + cells.substr(4)), 1e-15) << cells;
}

Cell_bench worked(bool of_barker) {
  Cell_bench bench = of_barker ? barker(3) : burnham(3);
  bench.set(1, {0.8, 0.7, 0.6});
  bench.set(2, {0.5, 0.4});
  bench.set(3, {0.3, 0.25, 0.2});
  if (of_barker) {
    bench.set(4, {0.35, 0.3, 0.25});
    bench.set(5, {0.15, 0.2, 0.1});
    bench.set(7, {0.3, 0.4});
  }
  bench.set(of_barker ? 6 : 4, {0.9, 0.85});
  return bench;
}

void expect_worked(bool of_barker, bool lost, const History_table& table) {
  Cell_bench bench = worked(of_barker);
  for (const auto& [cells, prob] : table) EXPECT_NEAR(bench.prob(cells, lost), prob, 1e-10) << cells;
}

TEST(Joint, burnham_worked_example) {
  expect_worked(false, false,
                {{"101010", 0.0788256000},
                 {"101011", 0.0068544000},
                 {"101000", 0.2340144000},
                 {"101001", 0.0133056000},
                 {"101100", 0.0270000000},
                 {"100010", 0.0788256000},
                 {"100011", 0.0068544000},
                 {"100000", 0.4435344000},
                 {"100001", 0.0177856000},
                 {"100100", 0.0330000000},
                 {"110000", 0.0600000000},
                 {"001010", 0.2189600000},
                 {"001011", 0.0190400000},
                 {"001000", 0.6500400000},
                 {"001001", 0.0369600000},
                 {"001100", 0.0750000000},
                 {"000010", 0.92},
                 {"000011", 0.08}});
  expect_worked(false, true,
                {{"101010", 0.0856800000}, {"101000", 0.36}, {"100010", 0.0856800000}, {"001010", 0.238}});
}

TEST(Joint, barker_worked_example) {
  expect_worked(
      true, false,
      {{"001010", 0.1229508000}, {"001011", 0.0133280000}, {"001012", 0.0303212000}, {"001210", 0.0526932000},
       {"001211", 0.0057120000}, {"001212", 0.0129948000}, {"001000", 0.4186692000}, {"001001", 0.0258720000},
       {"001002", 0.0588588000}, {"001100", 0.0750000000}, {"001200", 0.1472868000}, {"001201", 0.0110880000},
       {"001202", 0.0252252000}, {"000010", 0.738},        {"000011", 0.08},         {"000012", 0.182},
       {"101010", 0.0287704872}, {"121212", 0.0016373448}, {"101000", 0.0979685928}, {"101200", 0.0344651112},
       {"121000", 0.0527523192}, {"100010", 0.0317791656}, {"100212", 0.0033587736}, {"120012", 0.0042199976},
       {"100000", 0.2421241544}, {"100001", 0.0077663040}, {"100002", 0.0176683416}, {"100100", 0.0214500000},
       {"100200", 0.0435746376}, {"110000", 0.0600000000}, {"120000", 0.0872976216}, {"120100", 0.0115500000},
       {"120202", 0.0040773096}});
}

TEST(Joint, sign_of_a_recovery_in_burnham) {
  Cell_bench bench = worked(false);
  EXPECT_EQ(bench.prob("100200"), bench.prob("100100"));
}

TEST(Joint, capture_after_a_recovery_has_no_chance) {
  for (const bool of_barker : {false, true}) {
    Cell_bench bench = worked(of_barker);
    EXPECT_EQ(bench.prob("111000"), 0.0);
    EXPECT_EQ(bench.prob("110100"), 0.0);
    EXPECT_EQ(bench.prob("111000", true), 0.0);
  }
}

TEST(Joint, released_on_the_last_occasion_and_lost) {
  for (const bool of_barker : {false, true}) EXPECT_EQ(worked(of_barker).prob("000010", true), 1.0);
}

TEST(Joint, sign_that_barker_does_not_know) {
  Cell_bench bench = worked(true);
  EXPECT_EQ(bench.fault("100300"), "Error in Barker capture history: 3");
  EXPECT_EQ(bench.fault("10.000"), "");
  EXPECT_EQ(bench.fault("101.00"), "Error in Barker capture history: .");
  EXPECT_EQ(bench.result("100300").lnprob, std::log(minlog));
  EXPECT_EQ(bench.fault("100200"), "");
}

TEST(Joint, fault_of_a_cell_ends_the_run) {
  Model_builder model(8, 3);
  add_record(model, "100000", {2.0F});
  add_record(model, "100300", {1.0F});
  for (int q = 1; q <= 7; ++q) model.pim(q, 1, "SQUARE", 1, 3, [&](int, int) { return q; });
  model.finish();
  EXPECT_EQ(stop_text([&] { model.func(std::vector<double>(7, 0.1)); }), "ERROR EXIT from TARN");
  EXPECT_TRUE(model.test.listing_has("ERROR -- Error in Barker capture history: 3"));
}

// The rate of return in the interval of release is never needed: a triangle without its first column serves.
TEST(Joint, return_right_after_a_capture_is_not_looked_up) {
  Cell_bench bench = worked(true);
  Pim& returns = bench.job().model.pim2(7, 1, 1, 1);
  returns.cells(1) = 0;  // row 1, column 1
  EXPECT_EQ(bench.unreadable("100000"), "");
  EXPECT_EQ(bench.unreadable("100202"), "");
  returns.cells(2) = 0;  // row 1, column 2
  EXPECT_NE(bench.unreadable("100000"), "");
  EXPECT_EQ(bench.unreadable("101000"), "");
}

/// Random animals of a random study.
Model_builder study(int dattyp, int noccas, int records, int threads) {
  Model_builder model(dattyp, noccas);
  model.intervals({1.0F, 0.5F, 2.0F});
  std::mt19937_64 source(99);
  for (int i = 0; i < records; ++i) {
    std::string cells(2 * static_cast<std::size_t>(noccas), '0');
    const std::size_t first = source() % static_cast<std::size_t>(noccas);
    cells[2 * first] = '1';
    for (std::size_t o = first; o < static_cast<std::size_t>(noccas); ++o) {
      const auto u = source() % 10;
      if (o > first && u < 4) cells[2 * o] = '1';
      if (source() % 12 == 0) {
        cells[2 * o + 1] = '1';
        break;
      }
      if (dattyp == 8 && source() % 4 == 0) cells[2 * o + 1] = '2';
    }
    const bool dead = cells.find("11") != std::string::npos || cells.find("01") % 2 == 0;
    add_record(model, cells, {static_cast<float>(1 + source() % 3)}, {!dead && i % 7 == 0 ? 1.0F : 0.0F});
  }
  const int q = model.job().data.numparmnames;
  for (int k = 1; k <= q; ++k)
    model.pim(k, 1, "SQUARE", 1, noccas, [&](int, int c) { return (k - 1) * noccas + c; });
  model.finish(threads);
  return model;
}

TEST(Joint, thread_counts_agree) {
  for (const int dattyp : {3, 8}) {
    Model_builder model = study(dattyp, 10, 4000, 1);
    std::vector<double> beta(static_cast<std::size_t>(model.betas()));
    for (std::size_t k = 0; k < beta.size(); ++k) beta[k] = std::sin(3.0 * static_cast<double>(k));
    const double serial = model.func(beta), serial_again = model.func(beta);
    EXPECT_EQ(serial, serial_again);
    EXPECT_GT(serial, 1000.0);
    EXPECT_TRUE(std::isfinite(serial));
    for (const int threads : {2, 3, 5}) {
      model.set_threads(threads);
      for (int pass = 0; pass < 3; ++pass) EXPECT_EQ(model.func(beta), serial) << dattyp << ' ' << threads;
    }
  }
}

}  // namespace
}  // namespace tarn
