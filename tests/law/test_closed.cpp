// Laws of the closed-population probabilities: sums, agreement with an enumeration of animals, reductions,
// worked numbers.

#include <gtest/gtest.h>

#include <cmath>

#include "support/closed_animals.h"
#include "support/closed_builder.h"

namespace tarn {
namespace {

constexpr int every_type[] = {5, 12, 22, 23, 25, 26, 49, 50, 51, 52, 53, 54, 145};

struct Case {
  int type, mixtures;
  Weights_in weights;
};

std::vector<Case> every_case() {
  std::vector<Case> all;
  for (const int type : every_type) {
    if (!Closed_kind::of(type).mixtures) {
      all.push_back({type, 1, Weights_in::column});
      continue;
    }
    all.push_back({type, 1, Weights_in::column});
    for (int mixtures = 2; mixtures <= 5; ++mixtures)
      for (const Weights_in weights : {Weights_in::column, Weights_in::row})
        all.push_back({type, mixtures, weights});
  }
  return all;
}

void PrintTo(const Case& c, std::ostream* out) {
  *out << "type " << c.type << " mixtures " << c.mixtures
       << (c.weights == Weights_in::row ? " in a row" : "");
}

class Closed_laws : public testing::TestWithParam<Case> {
 protected:
  Closed_options options() const { return {.mixtures = GetParam().mixtures, .weights = GetParam().weights}; }
  /// Occasions not sampled, where the type's alphabet has the dot.
  static std::vector<std::string> dots() {
    if (datatype(GetParam().type).alphabet.find('.') == std::string_view::npos) return {"_____"};
    return {"_____", ".____", "_.___", "__._.", ".__..", "...._"};
  }
};

TEST_P(Closed_laws, histories_sum_to_one) {
  for (const std::string& dots : dots()) {
    Closed_builder b(GetParam().type, 5, options());
    b.records(all_histories(5, dots));
    b.model.finish();
    for (unsigned seed = 1; seed <= 5; ++seed) {
      double total = 0.0;
      for (const double prob : b.probabilities(b.random_reals(seed))) total += prob;
      EXPECT_NEAR(total, 1.0, 1e-12) << dots << " seed " << seed;
    }
  }
}

TEST_P(Closed_laws, probabilities_are_those_of_animals_followed_one_by_one) {
  for (const std::string& dots : dots()) {
    Closed_builder b(GetParam().type, 5, options());
    const std::vector<std::string> histories = all_histories(5, dots);
    b.records(histories);
    b.model.finish();
    for (unsigned seed = 1; seed <= 3; ++seed) {
      const Closed_reals x = b.random_reals(seed + 10);
      const Closed_animals animals(b.kind, x, dots);
      const std::vector<double> observed = b.probabilities(x), lost = b.probabilities(x, true);
      // 101 nodes against an integral: what the rule itself leaves out with deviations up to 1.2.
      const double tolerance = b.kind.effect ? 1e-10 : 1e-14;
      for (std::size_t i = 0; i < histories.size(); ++i) {
        EXPECT_NEAR(observed[i], animals.prob(histories[i]), tolerance) << histories[i];
        if (histories[i].find('1') == std::string::npos) continue;
        std::string history = histories[i];
        std::replace(history.begin(), history.end(), '.', '0');
        EXPECT_NEAR(lost[i], animals.removed(history), tolerance) << histories[i] << " lost";
      }
    }
  }
}

TEST_P(Closed_laws, one_alpha_and_one_deviation_serve_all_occasions) {
  Closed_options shared = options();
  shared.shared_alpha = true;
  Closed_builder one(GetParam().type, 4, shared), all(GetParam().type, 4, options());
  one.records(all_histories(4));
  all.records(all_histories(4));
  one.model.finish();
  all.model.finish();
  const Closed_reals x = one.random_reals(21);
  EXPECT_EQ(one.probabilities(x), all.probabilities(x));
}

INSTANTIATE_TEST_SUITE_P(types, Closed_laws, testing::ValuesIn(every_case()));

/// Probabilities of all histories of 4 occasions under a type.
std::vector<double> under(int type, const Closed_reals& x, int mixtures) {
  Closed_builder b(type, 4, {.mixtures = mixtures});
  b.records(all_histories(4));
  b.model.finish();
  return b.probabilities(x);
}

void expect_same(const std::vector<double>& got, const std::vector<double>& expected, double tolerance,
                 const std::string& what) {
  ASSERT_EQ(got.size(), expected.size());
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], expected[i], tolerance) << what << " " << i;
}

TEST(Closed_reductions, marks_read_rightly) {
  const std::pair<int, int> pairs[] = {{49, 5}, {50, 12}, {51, 22}, {52, 23}, {53, 25}, {54, 26}};
  for (const auto& [with, without] : pairs)
    for (const int mixtures : {1, 2, 3}) {
      Closed_builder b(with, 4, {.mixtures = mixtures});
      Closed_reals x = b.random_reals(31);
      x.alpha.assign(4, 1.0);
      expect_same(under(with, x, mixtures), under(without, x, mixtures), 1e-15, std::to_string(with));
    }
}

TEST(Closed_reductions, mixtures_of_one_kind_are_none) {
  const std::pair<int, int> pairs[] = {{22, 5},  {23, 5},  {25, 12}, {26, 12},
                                       {51, 49}, {52, 49}, {53, 50}, {54, 50}};
  for (const auto& [with, without] : pairs)
    for (const int mixtures : {1, 2, 3}) {
      Closed_builder b(with, 4, {.mixtures = mixtures});
      Closed_reals x = b.random_reals(32);
      for (std::size_t m = 1; m < x.p.size(); ++m) x.p[m] = x.p[0], x.c[m] = x.c[0];
      expect_same(under(with, x, mixtures), under(without, x, 1), 1e-15, std::to_string(with));
    }
}

TEST(Closed_reductions, no_spread_is_no_effect) {
  Closed_builder b(145, 4);
  Closed_reals x = b.random_reals(33);
  x.sigma.assign(4, 0.0);
  expect_same(under(145, x, 1), under(12, x, 1), 1e-14, "145");
}

TEST(Closed_reductions, sign_of_the_deviation_and_order_of_the_mixtures_do_not_matter) {
  Closed_builder b(145, 4);
  Closed_reals x = b.random_reals(34);
  Closed_reals mirrored = x;
  for (double& sigma : mirrored.sigma) sigma = -sigma;
  expect_same(under(145, mirrored, 1), under(145, x, 1), 1e-14, "145");
  for (const int type : {22, 23, 25, 26, 51, 52, 53, 54}) {
    Closed_builder mixed(type, 4, {.mixtures = 3});
    Closed_reals y = mixed.random_reals(35), swapped = y;
    std::reverse(swapped.pi.begin(), swapped.pi.end());
    std::reverse(swapped.p.begin(), swapped.p.end());
    std::reverse(swapped.c.begin(), swapped.c.end());
    expect_same(under(type, swapped, 3), under(type, y, 3), 1e-15, std::to_string(type));
  }
}

TEST(Closed_reductions, conditional_kinds_are_the_full_ones_given_a_capture) {
  const std::pair<int, int> pairs[] = {{12, 5}, {25, 22}, {26, 23}, {50, 49}, {53, 51}, {54, 52}};
  for (const auto& [conditional, full] : pairs) {
    Closed_builder b(full, 4, {.mixtures = 2});
    const Closed_reals x = b.random_reals(36);
    std::vector<double> expected = under(full, x, 2);
    const double pstar = 1.0 - expected[0];
    for (double& prob : expected) prob /= pstar;
    expected[0] = 0.0;
    expect_same(under(conditional, x, 2), expected, 1e-15, std::to_string(conditional));
  }
}

TEST(Closed_reductions, location_factor_aside_density_is_the_closed_type) {
  const std::pair<int, int> pairs[] = {{127, 12}, {128, 25}, {129, 26}, {161, 145}};
  for (const auto& [density, closed] : pairs) {
    Closed_builder b(density, 4, {.mixtures = 2});
    const Closed_reals x = b.random_reals(37);
    EXPECT_EQ(under(density, x, 2), under(closed, x, 2)) << density;
  }
}

/// The sum over the number never caught of the chances that so many were, with M caught: 1 / pstar^(M+1). It
/// ties the full kinds to the conditional ones.
TEST(Closed_reductions, sum_over_the_number_never_caught) {
  for (const int type : {5, 22, 23, 49, 51, 52}) {
    Closed_builder b(type, 4, {.mixtures = 2});
    b.record("1010", {7.0F}, {2.0F});
    b.record("0110", {3.0F}, {0.0F});
    b.model.finish();
    Closed_reals x = b.random_reals(38);
    Job& job = b.model.job();
    job.model.phase1 = 0;
    Closed_builder zero(type, 4, {.mixtures = 2});
    zero.records({"0000"});
    zero.model.finish();
    const double q = zero.probabilities(x)[0];
    const double caught = 12.0;
    double total = 0.0;
    for (int f0 = 0; f0 < 4000; ++f0) {
      x.f0 = f0;
      total += std::exp(-0.5 * b.model.func(b.vector_of(x)) - std::lgamma(caught + 1.0));
    }
    const double expected = std::pow(1.0 - q, -(caught + 1.0));
    EXPECT_NEAR(total / expected, 1.0, 1e-11) << type;
  }
}

struct Worked {
  const char* history;
  double prob[13];
};

constexpr Worked worked[] = {
    {"111",
     {0.0600000000, 0.0903614458, 0.1449000000, 0.0865625000, 0.1718046004, 0.1026351672, 0.0540000000,
      0.0813253012, 0.1304100000, 0.0779062500, 0.1546241404, 0.0923716505, 0.1514577712}},
    {"110",
     {0.0400000000, 0.0602409639, 0.0711000000, 0.0771875000, 0.0843016362, 0.0915194451, 0.0360000000,
      0.0542168675, 0.0639900000, 0.0694687500, 0.0758714726, 0.0823675006, 0.0583663331}},
    {"101",
     {0.0600000000, 0.0903614458, 0.1106000000, 0.1166875000, 0.1311358786, 0.1383536875, 0.0540000000,
      0.0813253012, 0.0995400000, 0.1050187500, 0.1180222907, 0.1245183187, 0.0875494996}},
    {"100",
     {0.0400000000, 0.0602409639, 0.0684000000, 0.1145625000, 0.0811003083, 0.1358341238, 0.0560000000,
      0.0843373494, 0.1010600000, 0.1426062500, 0.1198245198, 0.1690849538, 0.0534985173}},
    {"011",
     {0.1440000000, 0.2168674699, 0.1701000000, 0.1366500000, 0.2016836614, 0.1620227650, 0.1368000000,
      0.2060240964, 0.1615950000, 0.1298175000, 0.1915994783, 0.1539216267, 0.2265567115}},
    {"010",
     {0.0960000000, 0.1445783133, 0.1089000000, 0.1423500000, 0.1291202276, 0.1687811240, 0.1032000000,
      0.1554216867, 0.1174050000, 0.1491825000, 0.1392044107, 0.1768822623, 0.1270378260}},
    {"001",
     {0.2240000000, 0.3373493976, 0.1694000000, 0.1694000000, 0.2008536875, 0.2008536875, 0.2240000000,
      0.3373493976, 0.1694000000, 0.1694000000, 0.2008536875, 0.2008536875, 0.2955333413}},
    {"000",
     {0.3360000000, 0.0, 0.1566000000, 0.1566000000, 0.0, 0.0, 0.3360000000, 0.0, 0.1566000000, 0.1566000000,
      0.0, 0.0, 0.0}}};

Closed_reals worked_reals(const Closed_kind& kind) {
  Closed_reals x;
  if (kind.mixtures) {
    x.pi = {0.35, 0.65};
    x.p = {{0.2, 0.3, 0.4}, {0.5, 0.6, 0.7}};
    x.c = {{0.0, 0.25, 0.35}, {0.0, 0.45, 0.55}};
    if (!kind.recapture) x.c = x.p;
  } else {
    x.pi = {1.0};
    x.p = {{0.2, 0.3, 0.4}};
    x.c = {{0.0, 0.5, 0.6}};
  }
  x.alpha = {0.9, 0.95, 0.85};
  x.sigma = {0.8, 0.8, 0.8};
  return x;
}

TEST(Closed_worked, every_kind) {
  constexpr int type_of_kind[] = {5, 12, 22, 23, 25, 26, 49, 50, 51, 52, 53, 54, 145};
  for (int kind = 1; kind <= 13; ++kind) {
    Closed_builder b(type_of_kind[kind - 1], 3, {.mixtures = 2});
    std::vector<std::string> histories;
    for (const Worked& row : worked) histories.emplace_back(row.history);
    b.records(histories);
    b.model.finish();
    const std::vector<double> got = b.probabilities(worked_reals(b.kind));
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_NEAR(got[i], worked[i].prob[kind - 1], 1e-10) << "kind " << kind << " " << histories[i];
  }
}

TEST(Closed_worked, a_low_order_of_the_quadrature_agrees) {
  Closed_builder b(145, 3, {.order = 15});
  b.records({"111", "110", "101", "100", "011", "010", "001"});
  b.model.finish();
  const std::vector<double> got = b.probabilities(worked_reals(b.kind));
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], worked[i].prob[12], 1e-8);
}

TEST(Closed_worked, occasions_not_sampled) {
  Closed_builder b(12, 3);
  b.records({"1.0", ".10", "01."});
  b.model.finish();
  const std::vector<double> got = b.probabilities(worked_reals(b.kind));
  EXPECT_NEAR(got[0], 0.1538461538, 1e-10);
  EXPECT_NEAR(got[1], 0.2068965517, 1e-10);
  EXPECT_NEAR(got[2], 0.5454545455, 1e-10);
}

TEST(Closed_worked, term_of_the_animals_never_caught) {
  Closed_builder b(5, 3);
  b.record("100", {17.0F}, {3.0F});
  b.model.finish();
  Closed_reals x = worked_reals(b.kind);
  x.f0 = 5.5;
  b.model.job().model.phase1 = 0;
  EXPECT_NEAR(-0.5 * b.model.func(b.vector_of(x)), 47.9667413814, 1e-10);
}

}  // namespace
}  // namespace tarn
