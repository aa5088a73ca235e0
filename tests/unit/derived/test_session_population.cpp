// Population sizes by primary session against plain loops over the records.

#include <gtest/gtest.h>

#include <cmath>

#include "derived/population.h"
#include "support/closed_builder.h"
#include "unit/derived/session_model.h"

namespace tarn {
namespace {

constexpr double z = 1.96f;

/// Types of the plain robust design, of Barker's, and of Pradel's by closed kind.
constexpr int full_types[] = {7, 39, 40, 18, 44, 45, 67, 81, 94, 163, 165, 166};
constexpr int conditional_types[] = {13, 41, 42, 146, 43, 162, 68, 84, 149, 150, 164, 167, 168, 169};
constexpr int full_identified_types[] = {55, 57, 58, 73, 87, 100};
constexpr int conditional_identified_types[] = {56, 59, 60, 74, 90, 101};

/// Sessions of 3, 1 and 2 occasions; two groups, animals lost, and in the types that have them dots.
void animals(Session_model& m, bool dots) {
  m.record("110010", {7, 2}, {1, 0});
  m.record("100101", {4, 3}, {0, 2});
  m.record("011000", {5, 0}, {0, 4});
  m.record("001111", {0, 6}, {3, 0});
  m.record("000100", {2, 9}, {0, 0});
  m.record("000011", {8, 1}, {0, 1});
  if (dots) {
    m.record("1.0.1.", {3, 1}, {0, 1});
    m.record(".101.1", {6, 2}, {2, 0});
    m.record("....10", {1, 1}, {0, 0});
  }
  m.finish();
  m.draw();
}

bool takes_dots(int type) { return datatype(type).alphabet.find('.') != std::string_view::npos; }

/// What the records say of a session.
struct Session_sums {
  double caught = 0.0, twice = 0.0;
  double rightly = 0.0;   ///< sum of alpha at the first capture
  double size = 0.0;      ///< the same over p*
  double sampling = 0.0;  ///< and times (1 - p*) / p*^2
};

Session_sums sums_of(Session_model& m, int g, int s) {
  Session_sums sums;
  for (const Session_model::Animals& animals : m.records) {
    int first = 0, captures = 0;
    for (int o = m.length(s); o >= 1; --o)
      if (animals.live[static_cast<std::size_t>(m.before(s) + o) - 1] == '1') first = o, ++captures;
    if (captures == 0) continue;
    const double n = animals.of(g), pstar = m.pstar(animals.live, s, g);
    const double rightly = n * (m.has("alpha") ? m.real("alpha", 1, first, s, g) : 1.0);
    sums.caught += n;
    if (captures > 1) sums.twice += n;
    sums.rightly += rightly;
    sums.size += rightly / pstar;
    sums.sampling += rightly * (1.0 - pstar) / (pstar * pstar);
  }
  return sums;
}

Limits limits_by_hand(double n, double se, double minimum) {
  const double beyond = n - minimum;
  const double c = std::exp(z * std::sqrt(std::log(1.0 + se * se / (beyond * beyond))));
  return {minimum + beyond / c, minimum + beyond * c};
}

TEST(Session_population, full_kinds_add_those_never_caught_to_the_animals_of_the_session) {
  for (const int type : full_types) {
    Session_model m(type, {3, 1, 2}, {.groups = 2});
    animals(m, takes_dots(type));
    std::vector<double> variances(m.x.size(), 0.01);
    for (int s = 1; s <= 3; ++s) variances[static_cast<std::size_t>(m.number("f0", 1, 1, s, 2)) - 1] = 4.0;
    const std::vector<Derived_values> all = m.derive(variances);
    ASSERT_GE(all.size(), 1u) << type;
    const Derived_values& values = all[0];
    ASSERT_EQ(values.parmest.extent(), 6) << type;
    for (int g = 1; g <= 2; ++g)
      for (int s = 1; s <= 3; ++s) {
        const int at = 3 * (g - 1) + s;
        EXPECT_EQ(values.rows(at), (List<int>{g, s}));
        const double caught = sums_of(m, g, s).caught, n = caught + m.real("f0", 1, 1, s, g);
        EXPECT_NEAR(values.parmest(at), n, 1e-12) << type;
        const double se = g == 2 ? 2.0 : 0.1;  // only f0 counts
        EXPECT_NEAR(values.parmse(at), se, 1e-9) << type;
        const Limits limits = limits_by_hand(n, se, caught);
        EXPECT_NEAR(values.parmlci(at), limits.lower, 1e-7);
        EXPECT_NEAR(values.parmuci(at), limits.upper, 1e-7);
      }
  }
}

TEST(Session_population, conditional_kinds_sum_over_the_animals_of_the_session) {
  for (const int type : conditional_types) {
    Session_model m(type, {3, 1, 2}, {.groups = 2});
    animals(m, true);
    const Derived_values values = std::move(m.derive()[0]);
    ASSERT_EQ(values.parmest.extent(), 6) << type;
    for (int g = 1; g <= 2; ++g)
      for (int s = 1; s <= 3; ++s) {
        const int at = 3 * (g - 1) + s;
        const Session_sums sums = sums_of(m, g, s);
        // Sums in another order; a quadrature of 31 nodes in another form.
        EXPECT_NEAR(values.parmest(at), sums.size, 1e-11 * sums.size) << type;
        EXPECT_NEAR(values.parmse(at), std::sqrt(sums.sampling), 1e-10 * sums.size) << type;
        const Limits limits = limits_by_hand(sums.size, std::sqrt(sums.sampling), sums.caught);
        EXPECT_NEAR(values.parmlci(at), limits.lower, 1e-9 * sums.size);
        EXPECT_NEAR(values.parmuci(at), limits.upper, 1e-9 * sums.size);
      }
  }
}

TEST(Session_population, misidentification_counts_by_session_what_was_read_rightly) {
  for (const int type : full_identified_types) {
    Session_model m(type, {3, 1, 2}, {.groups = 2});
    animals(m, takes_dots(type));
    const std::vector<double> values = m.values_of(population_full, 6);
    for (int g = 1; g <= 2; ++g)
      for (int s = 1; s <= 3; ++s) {
        const Session_sums sums = sums_of(m, g, s);
        EXPECT_NEAR(values[static_cast<std::size_t>(3 * (g - 1) + s) - 1],
                    sums.rightly / sums.caught * (sums.caught + m.real("f0", 1, 1, s, g)), 1e-11)
            << type;
      }
  }
  for (const int type : conditional_identified_types) {
    Session_model m(type, {3, 1, 2}, {.groups = 2});
    animals(m, true);
    const std::vector<double> values = m.values_of(huggins_pstar, 6);
    for (int g = 1; g <= 2; ++g)
      for (int s = 1; s <= 3; ++s) {
        const double size = sums_of(m, g, s).size;
        EXPECT_NEAR(values[static_cast<std::size_t>(3 * (g - 1) + s) - 1], size, 1e-11 * size) << type;
      }
  }
}

// With a variance without bounds the lower limit comes down to the minimum, 0 in a session of one occasion.
TEST(Session_population, minimum_under_misidentification_are_the_animals_caught_twice_in_the_session) {
  for (const int type : {55, 56, 57, 58, 59, 60, 78, 101}) {
    Session_model m(type, {3, 1, 2}, {.groups = 2});
    animals(m, takes_dots(type));
    for (int g = 1; g <= 2; ++g)
      for (int s = 1; s <= 3; ++s)
        for (int o = 1; o <= m.length(s); ++o) m.real("alpha", 1, o, s, g) = 0.95;
    const Derived_values values = std::move(m.derive(std::vector<double>(m.x.size(), 1e8))[0]);
    for (int g = 1; g <= 2; ++g)
      for (int s = 1; s <= 3; ++s) {
        const double twice = sums_of(m, g, s).twice;
        EXPECT_GT(values.parmlci(3 * (g - 1) + s), twice) << type;
        EXPECT_LT(values.parmlci(3 * (g - 1) + s), twice + 0.1) << type;
      }
  }
}

/// The same animals and reals under a type of one session.
TEST(Session_population, one_session_is_the_closed_model) {
  for (const auto& [robust, closed] : {std::pair{7, 5},
                                       {13, 12},
                                       {39, 22},
                                       {40, 23},
                                       {41, 25},
                                       {42, 26},
                                       {55, 49},
                                       {56, 50},
                                       {57, 51},
                                       {58, 52},
                                       {59, 53},
                                       {60, 54},
                                       {146, 145}}) {
    std::vector<std::vector<double>> both;
    for (const int type : {robust, closed}) {
      Session_model m(type, {4}, {.groups = 2});
      m.record("1100", {7, 2}, {1, 0});
      m.record("0101", {4, 3}, {0, 2});
      m.record("0010", {5, 0}, {0, 4});
      m.finish();
      for (int g = 1; g <= 2; ++g) {
        for (int mix = 1; mix <= m.job().status.nmixtures; ++mix) m.row("p", {.2, .3, .4, .25}, 1, g, mix);
        if (m.has("pi")) m.real("pi", 1, 1, 1, g) = 0.3, m.row("p", {.6, .5, .4, .7}, 1, g, 2);
        if (m.has("alpha")) m.row("alpha", {.9, .8, .95, .85}, 1, g);
        if (m.has("sigmap")) m.row("sigmap", {.5, .5, .7, .7}, 1, g);
        if (m.has("f0")) m.real("f0", 1, 1, 1, g) = 3.5 * g;
      }
      const Derived_values values = std::move(m.derive()[0]);
      std::vector<double> numbers;
      for (const Array1<double>* column : {&values.parmest, &values.parmse, &values.parmlci, &values.parmuci})
        for (int g = 1; g <= 2; ++g) numbers.push_back((*column)(g));
      both.push_back(numbers);
    }
    for (std::size_t k = 0; k < both[0].size(); ++k) EXPECT_DOUBLE_EQ(both[0][k], both[1][k]) << robust;
  }
}

TEST(Session_population, none_unseen_collapses_to_the_animals_caught) {
  Session_model m(7, {3, 1, 2});
  m.record("110010", {7});
  m.record("000101", {4}, {2});
  m.finish();
  for (const double f0 : {0.0, -3.0}) {
    for (int s = 1; s <= 3; ++s) m.real("f0", 1, 1, s) = f0;
    const Derived_values values = std::move(m.derive()[0]);
    const double caught[] = {7.0, 6.0, 13.0};
    for (int s = 1; s <= 3; ++s)
      for (const Array1<double>* column : {&values.parmest, &values.parmlci, &values.parmuci})
        EXPECT_EQ((*column)(s), caught[s - 1]) << f0;
  }
}

TEST(Session_population, a_session_in_which_nobody_was_caught) {
  for (const int type : {7, 13, 55, 56}) {
    Session_model m(type, {2, 2});
    m.record("1000", {7});
    m.finish();
    m.draw();
    const Derived_values values = std::move(m.derive()[0]);
    const double expected = m.has("f0") ? m.real("f0", 1, 1, 2) : 0.0;
    EXPECT_DOUBLE_EQ(values.parmest(2), expected) << type;
    EXPECT_EQ(values.parmse(2), 0.0) << type;
  }
}

// One rate for a session, on the logit scale: N = M / (1 - q^n).
TEST(Session_population, variance_of_constant_capture) {
  Session_model m(13, {4, 3});
  m.record("1100010", {30});
  m.record("0000100", {12});
  for (int s = 1; s <= 2; ++s)
    for (const char* name : {"p", "c"}) {
      Pim& pim = m.job().model.pim2(findpar(m.job().data, name), 1, s, 1);
      std::fill(pim.cells.begin(), pim.cells.end(), s);
    }
  m.job().model.nlink = Link::logit;
  m.finish();
  const double beta[] = {-1.1, 0.4}, variance[] = {0.03, 0.05}, caught[] = {30.0, 42.0};
  std::vector<double> variances(m.x.size(), 0.0);
  m.x.assign(m.x.size(), 0.0);
  for (std::size_t s = 0; s < 2; ++s) m.x[s] = beta[s], variances[s] = variance[s];
  const Derived_values values = std::move(m.derive(variances)[0]);
  for (int s = 1; s <= 2; ++s) {
    const auto k = static_cast<std::size_t>(s) - 1;
    const int n = m.length(s);
    const double p = 1.0 / (1.0 + std::exp(-beta[k])), pstar = 1.0 - std::pow(1.0 - p, n);
    const double slope = -caught[k] / (pstar * pstar) * n * std::pow(1.0 - p, n - 1) * p * (1.0 - p);
    EXPECT_NEAR(values.partials(s, s), slope, 5e-5 * std::fabs(slope));
    EXPECT_EQ(values.partials(s, 3 - s), 0.0);
    const double se = std::sqrt(slope * slope * variance[k] + caught[k] * (1.0 - pstar) / (pstar * pstar));
    EXPECT_NEAR(values.parmse(s), se, 5e-5 * se);
  }
}

TEST(Session_population, chat_inflates_under_quasi) {
  Session_model m(13, {3, 3});
  m.record("100010", {30});
  m.finish();
  m.draw();
  const double plain = m.derive()[0].parmse(1);
  m.job().model.quasi = true;
  m.job().model.chat = 4.0;
  EXPECT_NEAR(m.derive()[0].parmse(1), 2.0 * plain, 1e-12 * plain);
}

/// p of the first session depends on a covariate: logit p = b1 + b2 x; one p in the second.
TEST(Session_population, each_record_has_its_own_chance) {
  Session_model m(13, {2, 3}, {.covariates = 1});
  const std::vector<double> covariates{-1.0, 0.5, 2.0, 0.5};
  const char* histories[] = {"10100", "01000", "00010", "11001"};
  for (std::size_t i = 0; i < 4; ++i) m.record(histories[i], {1}, {}, {covariates[i]});
  for (int s = 1; s <= 2; ++s)
    for (const char* name : {"p", "c"}) {
      Pim& pim = m.job().model.pim2(findpar(m.job().data, name), 1, s, 1);
      std::fill(pim.cells.begin(), pim.cells.end(), s);
    }
  m.job().model.nlogit = 3;
  for (const char* name : {"S", "Gamma''", "Gamma'"})
    m.job().model.pim2(findpar(m.job().data, name), 1, 1, 1).cells.assign(1, 3);
  m.job().model.nlink = Link::logit;
  m.model.design(4);
  m.model.cell(1, 1, 1.0);
  m.model.covariate(1, 2, 1);
  m.model.cell(2, 3, 1.0);
  m.model.cell(3, 4, 1.0);
  m.finish();
  m.x = {-0.4, 0.3, 0.2, 0.0};
  Derived_frame frame(m.job());
  EXPECT_EQ(frame.capture_classes(false).size(), 6);
  const Derived_values values = std::move(m.derive()[0]);
  double expected = 0.0, sampling = 0.0, by_slope = 0.0;
  for (const std::size_t i : {0, 1, 3}) {
    const double p = 1.0 / (1.0 + std::exp(-(-0.4 + 0.3 * covariates[i]))),
                 pstar = 1.0 - (1.0 - p) * (1.0 - p);
    expected += 1.0 / pstar;
    sampling += (1.0 - pstar) / (pstar * pstar);
    by_slope += -2.0 * (1.0 - p) * p * (1.0 - p) / (pstar * pstar) * covariates[i];
  }
  EXPECT_NEAR(values.parmest(1), expected, 1e-12);
  EXPECT_NEAR(values.parmse(1), std::sqrt(sampling), 1e-12);
  EXPECT_NEAR(values.partials(1, 2), by_slope, 5e-5 * std::fabs(by_slope));
  const double p = 1.0 / (1.0 + std::exp(-0.2));
  EXPECT_NEAR(values.parmest(2), 3.0 / (1.0 - std::pow(1.0 - p, 3)), 1e-12);
}

TEST(Session_population, captures_are_grouped_by_session_when_nothing_depends_on_the_record) {
  Session_model m(56, {3, 2});
  m.record("11001", {7});
  m.record("10110", {2}, {1});
  m.record("01000", {5});
  m.record("01.1.", {6});
  m.finish();
  Derived_frame frame(m.job());
  // Session 1: all sampled, the last not; session 2: all sampled, the last not.
  ASSERT_EQ(frame.capture_classes(false).size(), 4);
  EXPECT_EQ(frame.capture_classes(false)(1).animals, 15.0);
  EXPECT_EQ(frame.capture_classes(false)(2).animals, 10.0);
  // By first capture: 1 and 2, then 2; 2 and 1, then 1.
  EXPECT_EQ(frame.capture_classes(true).size(), 6);
}

TEST(Check_derived, a_session_without_f0_is_fatal_when_the_model_is_set_up) {
  Session_model m(7, {2, 2});
  m.record("1001", {4});
  m.finish();
  check_derived(m.job());
  m.job().model.pim2(findpar(m.job().data, "f0"), 1, 2, 1).cells(1) = 0;
  EXPECT_EQ(
      error_of(m.model.test, [&] { check_derived(m.job()); }),
      "Parameter index matrix 'f0', third index 2, group 1: row 1, column 1 holds 0, which is no row of the "
      "design matrix.");
}

TEST(Check_derived, sound_matrices_of_sessions_pass_without_a_word) {
  for (int type = 1; type <= max_dattyp; ++type) {
    const Derived_sections tag = datatype(type).derived_sections;
    if (tag != Derived_sections::session_population && tag != Derived_sections::population_and_growth)
      continue;
    Session_model m(type, {3, 1, 2}, {.groups = 2});
    animals(m, takes_dots(type));
    m.model.test.clear();
    check_derived(m.job());
    EXPECT_EQ(m.model.test.listing(), "") << type;
  }
}

}  // namespace
}  // namespace tarn
