// Births and sizes of a superpopulation against worked numbers and plain sums.

#include <gtest/gtest.h>

#include <cmath>

#include "derived/popan.h"
#include "unit/derived/session_model.h"

namespace tarn {
namespace {

enum Section_place { gross_births, net_births, everybody, sizes };

/// Three occasions, Phi .8 .7, pent .5 .3 .2; 12, 7 and 4 animals first caught on them.
Session_model worked(bool fixed, bool first_left = true, std::vector<float> between = {}) {
  Session_model m(19, {1, 1, 1}, {.between = std::move(between)});
  m.record("100", {12});
  m.record("011", {7});
  m.record("001", {4});
  m.finish();
  m.job().model.pentfirst = first_left ? 1 : 0;
  m.row("Phi", {0.8, 0.7});
  m.row("p", {0.5, 0.4, 0.3});
  m.row("pent", first_left ? std::vector{0.3, 0.2} : std::vector{0.5, 0.3});
  m.real("N", 1, 1) = fixed ? 60.0 : 37.0;
  if (fixed) m.job().model.fixpar(m.number("N", 1, 1)) = 1;
  return m;
}

void expect_values(const Derived_values& values, const std::vector<double>& expected, double tolerance) {
  ASSERT_EQ(values.parmest.extent(), static_cast<int>(expected.size()));
  for (int i = 1; i <= values.parmest.extent(); ++i)
    EXPECT_NEAR(values.parmest(i), expected[static_cast<std::size_t>(i) - 1], tolerance) << i;
}

// N fixed at 60, or 37 animals never caught beside the 23; the first share of the entrants or the last one is
// what the others leave.
TEST(Popan, worked_numbers) {
  for (const bool fixed : {false, true})
    for (const bool first_left : {false, true}) {
      Session_model m = worked(fixed, first_left);
      const std::vector<Derived_values> all = m.derive();
      ASSERT_EQ(all.size(), 4u);
      // Ten decimals are given.
      expect_values(all[gross_births], {30.0, 20.0829196183, 14.2669977575}, 1e-10);
      expect_values(all[net_births], {30.0, 18.0, 12.0}, 1e-12);
      expect_values(all[everybody], {64.3499173758}, 1e-10);
      expect_values(all[sizes], {30.0, 42.0, 41.4}, 1e-12);
    }
}

TEST(Popan, sections_and_their_rows) {
  Session_model m(19, {1, 1, 1}, {.groups = 2});
  m.record("101", {4, 3});
  m.finish();
  m.draw();
  const std::vector<Derived_values> all = m.derive(std::vector<double>(m.x.size(), 0.01));
  ASSERT_EQ(all.size(), 4u);
  const char* titles[] = {"Gross Birth+Immigration Estimates", "Net Birth+Immigration Estimates",
                          "Population Estimates", "Population Estimates"};
  for (std::size_t k = 0; k < 4; ++k) {
    EXPECT_EQ(subject(*all[k].section), titles[k]);
    EXPECT_EQ(all[k].rows.size(), k == everybody ? 2 : 6);
    for (int i = 1; i <= all[k].rows.size(); ++i) {
      const Limits limits = log_limits(all[k].parmest(i), all[k].parmse(i));
      EXPECT_GT(all[k].parmse(i), 0.0);
      EXPECT_EQ(all[k].parmlci(i), limits.lower);
      EXPECT_EQ(all[k].parmuci(i), limits.upper);
    }
  }
  EXPECT_EQ(all[sizes].rows(5), (List<int>{2, 2}));
  EXPECT_EQ(all[everybody].rows(2), (List<int>{2}));
}

TEST(Popan, groups_and_unequal_intervals_and_losses) {
  for (const bool first_left : {true, false}) {
    Session_model m(19, {1, 1, 1, 1}, {.groups = 2, .between = {2.0F, 0.5F, 1.0F}});
    m.record("1100", {4, 3}, {2, 1});
    m.record("0.11", {5, 0}, {0, 6});
    m.record("0110", {1, 2}, {3, 4});
    m.finish();
    m.job().model.pentfirst = first_left ? 1 : 0;
    for (int g = 1; g <= 2; ++g) {
      m.row("Phi", {0.9, 0.4 + 0.1 * g, 0.7}, 1, g);
      m.row("pent", {0.2, 0.1 * g, 0.15}, 1, g);
      m.real("N", 1, 1, 1, g) = 20.0 + g;
    }
    const std::vector<Derived_values> all = m.derive();
    const double caught[] = {15.0, 16.0};
    // Lost behind occasions 1 to 3: of the first record at 2, of the third at 3; of the second at the last.
    const double lost[][3] = {{0.0, 2.0, 3.0}, {0.0, 1.0, 4.0}};
    for (int g = 1; g <= 2; ++g) {
      const double total = 20.0 + g + caught[g - 1], left = 1.0 - 0.35 - 0.1 * g;
      const std::vector<double> pent =
          first_left ? std::vector{left, 0.2, 0.1 * g, 0.15} : std::vector{0.2, 0.1 * g, 0.15, left};
      const double phi[] = {0.81, std::sqrt(0.4 + 0.1 * g), 0.7};
      double n = 0.0, everyone = 0.0;
      for (int o = 1; o <= 4; ++o) {
        const auto k = static_cast<std::size_t>(o) - 1;
        const double births = total * pent[k],
                     gross = o == 1 ? births : births * std::log(phi[k - 1]) / (phi[k - 1] - 1.0);
        n = o == 1 ? births : (n - lost[g - 1][k - 1]) * phi[k - 1] + births;
        everyone += gross;
        const int at = 4 * (g - 1) + o;
        EXPECT_NEAR(all[net_births].parmest(at), births, 1e-12);
        EXPECT_NEAR(all[gross_births].parmest(at), gross, 1e-12);
        EXPECT_NEAR(all[sizes].parmest(at), n, 1e-12);
      }
      EXPECT_NEAR(all[everybody].parmest(g), everyone, 1e-12);
    }
  }
}

// B*(2) = N pent phi' with phi' = log(phi) / (phi - 1); betas on the logit scale.
TEST(Popan, partials_are_close_to_exact_derivatives) {
  Session_model m(19, {1, 1, 1});
  m.record("100", {12});
  m.job().model.nlink = Link::logit;
  m.model.link(m.number("N", 1, 1), Link::log);
  m.finish();
  m.x.assign(m.x.size(), 0.0);
  m.real("Phi", 1, 1) = 1.2;
  m.real("Phi", 1, 2) = 0.6;
  m.real("pent", 1, 1) = -1.3;
  m.real("pent", 1, 2) = -0.9;
  m.real("N", 1, 1) = 3.1;
  const auto expit = [](double x) { return 1.0 / (1.0 + std::exp(-x)); };
  const double phi = expit(1.2), pent1 = expit(-1.3), pent2 = expit(-0.9), unseen = std::exp(3.1),
               total = 12.0 + unseen, left = 1.0 - pent1 - pent2;
  const double factor = std::log(phi) / (phi - 1.0),
               by_phi = (1.0 / phi - factor) / (phi - 1.0) * phi * (1.0 - phi);
  const std::vector<Derived_values> all = m.derive();
  const auto expect_partial = [&](Section_place section, int row, const std::string& name, int c,
                                  double exact) {
    EXPECT_NEAR(all[section].partials(row, m.number(name, 1, c)), exact, 5e-5 * std::fabs(exact))
        << section << row << name << c;
  };
  expect_partial(gross_births, 2, "Phi", 1, total * pent1 * by_phi);
  expect_partial(gross_births, 2, "pent", 1, total * pent1 * (1.0 - pent1) * factor);
  expect_partial(gross_births, 2, "N", 1, unseen * pent1 * factor);
  expect_partial(net_births, 1, "pent", 2, -total * pent2 * (1.0 - pent2));
  expect_partial(net_births, 1, "N", 1, unseen * left);
  expect_partial(sizes, 2, "Phi", 1, total * left * phi * (1.0 - phi));
  expect_partial(sizes, 2, "pent", 1, total * pent1 * (1.0 - pent1) * (1.0 - phi));
  expect_partial(everybody, 1, "pent", 1, total * pent1 * (1.0 - pent1) * (factor - 1.0));
  expect_partial(everybody, 1, "Phi", 1, total * pent1 * by_phi);
}

TEST(Gross_per_net, is_1_where_nobody_dies_and_has_its_digits_next_to_it) {
  EXPECT_EQ(gross_per_net(1.0), 1.0);
  // log(phi) / (phi - 1) = 1 + d/2 + d^2/3 + ... with d = 1 - phi.
  for (const double d : {1e-3, 1e-6, 1e-9, 1e-12, 1e-15, -1e-6}) {
    const double phi = 1.0 - d, exact = 1.0 - phi;
    const double series =
        1.0 + exact / 2 + exact * exact / 3 + exact * exact * exact / 4 + exact * exact * exact * exact / 5;
    // What is left out is below d^5; rounding.
    EXPECT_NEAR(gross_per_net(phi), series, 1e-15) << d;
  }
  for (const double phi : {0.05, 0.3, 0.49, 0.5, 0.51, 0.9, 1.7})
    EXPECT_NEAR(gross_per_net(phi), std::log(phi) / (phi - 1.0), 1e-14) << phi;
  EXPECT_NEAR(gross_per_net(1e-30), 30.0 * std::log(10.0), 1e-12);
  // At 0 nobody lives to be counted; the logarithm takes its floor.
  EXPECT_NEAR(gross_per_net(0.0), -std::log(minlog), 1e-12);
}

TEST(Popan, survival_of_1_makes_gross_births_net) {
  Session_model m = worked(true);
  m.row("Phi", {1.0, 1.0});
  const std::vector<Derived_values> all = m.derive();
  for (int o = 1; o <= 3; ++o) EXPECT_EQ(all[gross_births].parmest(o), all[net_births].parmest(o));
  EXPECT_DOUBLE_EQ(all[everybody].parmest(1), 60.0);
}

TEST(Popan, chat_of_quasi_does_not_inflate_them) {
  Session_model m = worked(false);
  const double plain = m.derive(std::vector<double>(m.x.size(), 0.01))[everybody].parmse(1);
  m.job().model.quasi = true;
  m.job().model.chat = 4.0;
  EXPECT_EQ(m.derive(std::vector<double>(m.x.size(), 0.01))[everybody].parmse(1), plain);
}

TEST(Check_derived, an_entry_without_a_number_is_fatal_when_the_model_is_set_up) {
  for (const char* name : {"Phi", "pent", "N"}) {
    Session_model m = worked(false);
    check_derived(m.job());
    const int column = name == std::string("N") ? 1 : 2;
    m.job().model.pim2(findpar(m.job().data, name), 1, 1, 1).cells(column) = 0;
    EXPECT_EQ(error_of(m.model.test, [&] { check_derived(m.job()); }),
              std::string("Parameter index matrix '") + name + "', group 1: row 1, column " +
                  std::to_string(column) + " holds 0, which is no row of the design matrix.");
  }
}

TEST(Foundations, of_births_and_sizes) {
  Session_model m = worked(true);
  const int n = static_cast<int>(m.x.size());
  Array2<double> v;
  Estimability open;
  ASSERT_TRUE(v.allocate(n, n));
  m.real("Phi", 1, 2) = 1.0;
  open.at_boundary.push_back({m.number("Phi", 1, 2), Range_end::upper});
  std::vector<Derived_values> all;
  derivedest(m.job(), m.x, v, open, [&](Derived_values& values) { all.push_back(std::move(values)); });
  for (int o = 1; o <= 3; ++o) {
    EXPECT_EQ(all[gross_births].rests_on(o).boundary, o == 3);
    EXPECT_FALSE(all[net_births].rests_on(o).boundary);
    EXPECT_EQ(all[sizes].rests_on(o).boundary, o == 3);
  }
  EXPECT_TRUE(all[everybody].rests_on(1).boundary);
}

}  // namespace
}  // namespace tarn
