// Growth of populations against the parameters it follows from.

#include <gtest/gtest.h>

#include <cmath>

#include "derived/growth.h"
#include "derived/population.h"
#include "unit/derived/session_model.h"

namespace tarn {
namespace {

/// Growth per unit of time as the parameters of the type say.
double by_hand(Session_model& m, int c, int g) {
  if (m.has("Gamma")) return m.real("Phi", 1, c, 1, g) / m.real("Gamma", 1, c, 1, g);
  if (m.has("Lambda")) return m.real("Lambda", 1, c, 1, g);
  return m.real("Phi", 1, c, 1, g) + m.real("f", 1, c, 1, g);
}

void expect_rows(const Derived_values& values, int intervals) {
  ASSERT_EQ(values.rows.size(), 2 * intervals);
  for (int g = 1; g <= 2; ++g)
    for (int c = 1; c <= intervals; ++c) EXPECT_EQ(values.rows((g - 1) * intervals + c), (List<int>{g, c}));
}

TEST(Growth, open_types_derive_lambda_then_its_logarithm) {
  for (const int type : {15, 16, 17, 31}) {
    // Growth is per unit of time, so lengths of intervals do not matter.
    Session_model m(type, {1, 1, 1, 1}, {.groups = 2, .between = {1.0F, 2.5F, 0.5F}});
    m.record("1010", {4, 3});
    m.finish();
    m.draw();
    const std::vector<Derived_values> all = m.derive(std::vector<double>(m.x.size(), 0.04));
    ASSERT_EQ(all.size(), 2u) << type;
    for (const Derived_values& values : all) expect_rows(values, 3);
    for (int g = 1; g <= 2; ++g)
      for (int c = 1; c <= 3; ++c) {
        const int at = 3 * (g - 1) + c;
        const double lambda = by_hand(m, c, g);
        EXPECT_DOUBLE_EQ(all[0].parmest(at), lambda) << type;
        EXPECT_DOUBLE_EQ(all[1].parmest(at), std::log(lambda)) << type;
        const Limits own = log_limits(lambda, all[0].parmse(at)),
                     plain = plain_limits(std::log(lambda), all[1].parmse(at));
        EXPECT_DOUBLE_EQ(all[0].parmlci(at), own.lower);
        EXPECT_DOUBLE_EQ(all[0].parmuci(at), own.upper);
        EXPECT_DOUBLE_EQ(all[1].parmlci(at), plain.lower);
        EXPECT_DOUBLE_EQ(all[1].parmuci(at), plain.upper);
        // The step of the differences is below .0015, and the least denominator .15.
        EXPECT_NEAR(all[1].parmse(at), all[0].parmse(at) / lambda, 5e-4 * all[1].parmse(at)) << type;
      }
  }
}

// Betas on the logit scale: exact derivatives.
TEST(Growth, partials_are_close_to_exact_derivatives) {
  for (const int type : {15, 17}) {
    Session_model m(type, {1, 1, 1});
    m.record("101", {4});
    m.job().model.nlink = Link::logit;
    m.finish();
    for (std::size_t i = 0; i < m.x.size(); ++i) m.x[i] = 0.3 * static_cast<double>(i) - 0.8;
    const std::vector<Derived_values> all = m.derive();
    const auto p = [&](int number) {
      return 1.0 / (1.0 + std::exp(-m.x[static_cast<std::size_t>(number) - 1]));
    };
    for (int c = 1; c <= 2; ++c) {
      const int phi = m.number("Phi", 1, c), other = m.number(type == 15 ? "Gamma" : "f", 1, c);
      const double a = p(phi), b = p(other), lambda = type == 15 ? a / b : a + b;
      const double by_phi = a * (1 - a) / (type == 15 ? b : 1.0),
                   by_other = type == 15 ? -a / b * (1 - b) : b * (1 - b);
      EXPECT_NEAR(all[0].partials(c, phi), by_phi, 5e-5 * std::fabs(by_phi));
      EXPECT_NEAR(all[0].partials(c, other), by_other, 5e-5 * std::fabs(by_other));
      EXPECT_NEAR(all[1].partials(c, phi), by_phi / lambda, 5e-5 * std::fabs(by_phi / lambda));
      EXPECT_NEAR(all[1].partials(c, other), by_other / lambda, 5e-5 * std::fabs(by_other / lambda));
    }
  }
}

TEST(Growth, chat_of_quasi_does_not_inflate_it) {
  Session_model m(16, {1, 1, 1});
  m.record("101", {4});
  m.finish();
  m.draw();
  m.job().model.quasi = true;
  m.job().model.chat = 4.0;
  const std::vector<Derived_values> all = m.derive(std::vector<double>(m.x.size(), 0.25));
  EXPECT_NEAR(all[0].parmse(1), 0.5, 1e-9);
  EXPECT_EQ(all[0].chat, 1.0);
  EXPECT_EQ(all[1].chat, 1.0);
}

TEST(Growth, of_sessions_stands_behind_the_population) {
  for (const int type : {67, 71, 73, 78, 80, 83, 85, 90, 91, 96, 97, 102, 148, 149, 150}) {
    Session_model m(type, {2, 1, 3}, {.groups = 2});
    m.record("101010", {4, 3});
    m.finish();
    m.draw();
    const std::vector<Derived_values> all = m.derive();
    ASSERT_EQ(all.size(), 3u) << type;
    EXPECT_EQ(subject(*all[0].section), "Population Estimates");
    EXPECT_EQ(subject(*all[1].section), "Lambda Estimates");
    EXPECT_EQ(subject(*all[2].section), "log(Lambda) Estimates");
    EXPECT_EQ(all[0].parmest.extent(), 6);
    for (std::size_t k = 1; k <= 2; ++k) expect_rows(all[k], 2);
    for (int g = 1; g <= 2; ++g)
      for (int s = 1; s <= 2; ++s) {
        EXPECT_DOUBLE_EQ(all[1].parmest(2 * (g - 1) + s), by_hand(m, s, g)) << type;
        EXPECT_DOUBLE_EQ(all[2].parmest(2 * (g - 1) + s), std::log(by_hand(m, s, g))) << type;
      }
  }
}

TEST(Growth, from_the_ratio_of_sizes_is_that_of_the_population_section) {
  for (int type = 163; type <= 169; ++type) {
    Session_model m(type, {2, 3, 2}, {.groups = 2, .between = {2.0F, 0.5F}});
    m.record("1001011", {4, 3}, {1, 0});
    m.record("0110010", {6, 2}, {0, 5});
    m.record("0000100", {0, 9});
    m.finish();
    m.draw();
    const std::vector<Derived_values> all = m.derive();
    ASSERT_EQ(all.size(), 3u) << type;
    for (int g = 1; g <= 2; ++g)
      for (int s = 1; s <= 2; ++s) {
        const double ratio = all[0].parmest(3 * (g - 1) + s + 1) / all[0].parmest(3 * (g - 1) + s);
        EXPECT_DOUBLE_EQ(all[1].parmest(2 * (g - 1) + s), ratio) << type;
        EXPECT_DOUBLE_EQ(all[2].parmest(2 * (g - 1) + s), std::log(ratio)) << type;
        // The sizes are taken as known but for their rates: no sampling term.
        EXPECT_EQ(all[1].parmse(2 * (g - 1) + s), 0.0) << type;
      }
  }
}

TEST(Growth, nobody_ahead_of_an_interval_has_no_growth) {
  Session_model m(164, {2, 2, 2, 2});
  m.record("100000", {4});  // in sessions 1 and 4 only
  m.records.clear();
  m.finish();
  m.draw();
  const std::vector<Derived_values> all = m.derive();
  EXPECT_EQ(all[1].parmest(1), 0.0);
  EXPECT_TRUE(std::isnan(all[1].parmest(2)));
  EXPECT_TRUE(std::isnan(all[2].parmest(2)));
}

TEST(Growth, a_study_of_one_session_has_none) {
  Session_model m(80, {3});
  m.record("101", {4});
  m.finish();
  m.draw();
  EXPECT_EQ(m.derive().size(), 1u);
  check_derived(m.job());
}

TEST(Growth, another_data_type_is_fatal) {
  for (const int type : {11, 14, 19, 164}) {
    Session_model m(type, {1, 1, 1});
    m.record("101", {4});
    m.finish();
    Derived_frame frame(m.job(), true);
    std::vector<double> values(2);
    EXPECT_EQ(error_of(m.model.test, [&] { lambda_pradel(frame, {}, 1, values); }),
              "Bad call to LAMBDA_PRADEL.")
        << type;
  }
}

TEST(Check_derived, a_growth_rate_without_a_number_is_fatal_when_the_model_is_set_up) {
  for (const auto& [type, name] :
       {std::pair{15, "Gamma"}, {15, "Phi"}, {16, "Lambda"}, {17, "f"}, {92, "f"}}) {
    Session_model m(type, datatype(type).sessions ? std::vector<int>{2, 2, 2} : std::vector<int>{1, 1, 1});
    m.record(datatype(type).sessions ? "101010" : "101", {4});
    m.finish();
    check_derived(m.job());
    m.job().model.pim2(findpar(m.job().data, name), 1, 1, 1).cells(2) = 0;
    EXPECT_EQ(error_of(m.model.test, [&] { check_derived(m.job()); }),
              std::string("Parameter index matrix '") + name +
                  (datatype(type).sessions ? "', third index 1, group 1" : "', group 1") +
                  ": row 1, column 2 holds 0, which is no row of the design matrix.");
  }
}

// Lambda 1 moves with the direction as much as any; its logarithm is near 0, and only what moves it counts.
TEST(Foundations, of_a_logarithm_are_those_of_what_it_is_of) {
  Session_model m(16, {1, 1, 1});
  m.record("101", {4});
  m.finish();
  m.row("Lambda", {1.0, 1.0 + 1e-9});
  const int n = static_cast<int>(m.x.size());
  Array2<double> v;
  Estimability open;
  ASSERT_TRUE(v.allocate(n, n) && open.moves.allocate(n, 1));
  open.moves(m.number("Lambda", 1, 1), 1) = 1.0;
  open.moves(m.number("Lambda", 1, 2), 1) = 1e-6;
  std::vector<Derived_values> all;
  derivedest(m.job(), m.x, v, open, [&](Derived_values& values) { all.push_back(std::move(values)); });
  ASSERT_EQ(all.size(), 2u);
  for (const Derived_values& values : all) {
    EXPECT_TRUE(values.rests_on(1).direction);
    EXPECT_FALSE(values.rests_on(2).direction);
  }
}

}  // namespace
}  // namespace tarn
