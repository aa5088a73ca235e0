// What a fit tells of its start.

#include "model/fit.h"

#include <gtest/gtest.h>

#include "job/services/report.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

Model_builder constant_model() {
  Model_builder m(1, 4);
  for (int q = 1; q <= 2; ++q) m.pim(q, 1, "TRIANG", 3, 3, [q](int, int) { return q; });
  m.record("1000", {4.0F});
  m.record("1100", {2.0F});
  m.record("1011", {3.0F});
  m.job().model.modnam = "{Phi(.) p(.)}";
  m.finish();
  return m;
}

TEST(Fit, reports_its_first_values_once) {
  for (const bool report : {true, false}) {
    Model_builder m = constant_model();
    std::vector<double> x{0.5, 0.25}, g(2), h(3);
    const double first = m.func(x);
    m.test.clear();
    fit(m.job(), {x, g, h}, report);
    const std::vector<std::string> lines = m.test.listing_lines();
    const auto heading = std::find(lines.begin(), lines.end(), " Results from first iteration:");
    if (!report) {
      EXPECT_EQ(heading, lines.end());
      continue;
    }
    ASSERT_GE(lines.end() - heading, 3);
    EXPECT_EQ(heading[1], "  -2logL Initial {Phi(.) p(.)} = " + f14(m.job(), first));
    EXPECT_EQ(heading[2], "  Penalty Initial {Phi(.) p(.)} = " + f14(m.job(), 0.0));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), *heading), 1);
    EXPECT_LT(m.func(x), first);
  }
}

}  // namespace
}  // namespace tarn
