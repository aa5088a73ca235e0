// Betas that come nearest to wanted real parameters.

#include "model/start_betas.h"

#include <gtest/gtest.h>

#include <cmath>

#include "model/structure/links.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// Live recaptures with the design of the test; 6 real parameters.
Model_builder open_model(int nicovs = 0) {
  Model_builder m(1, 4, 1, nicovs);
  m.time_pims();
  const auto add = [&](std::string_view live, double x) {
    m.record(live, {2.0F}, {}, nicovs > 0 ? std::vector<double>{x} : std::vector<double>{});
  };
  add("1011", 4.0);
  add("1100", -10.0);
  add("0110", 6.0);
  if (nicovs > 0) {
    m.job().data.icname = {"x"};
    EXPECT_TRUE(m.job().data.icvrmn.allocate(1) && m.job().data.icvrsd.allocate(1));
    m.job().data.icvrmn(1) = 2.0;
  }
  return m;
}

List<double> all(double value) { return List<double>(6, value); }

// What a link makes of the predictor that it is said to have for a real is that real.
TEST(Start_betas, predictors_are_the_links_turned_round) {
  for (const Link link : {Link::logit, Link::loglog, Link::cloglog, Link::sin, Link::log, Link::identity,
                          Link::absolute, Link::cauchy})
    for (const double real : {0.02, 0.3, 0.5, 0.97}) {
      Model_builder m = open_model();
      m.job().model.nlink = link;
      m.finish();
      m.func(std::vector<double>(6, predictor_of(link, real)));
      EXPECT_NEAR(m.reals()[0], real, 1e-12) << link_name(link);
    }
}

TEST(Start_betas, ends_of_a_range_have_predictors) {
  for (const Link link : {Link::logit, Link::loglog, Link::cloglog, Link::cauchy, Link::log})
    for (const double real : {-1.0, 0.0, 1.0, 2.0}) EXPECT_TRUE(std::isfinite(predictor_of(link, real)));
}

TEST(Start_betas, an_identity_design_gives_every_real) {
  Model_builder m = open_model();
  m.finish();
  const Start_design design(m.job(), std::vector<double>(6, 0.0));
  EXPECT_EQ(design.reals_at_start()(4), 0.5);
  List<double> wanted;
  for (int r = 1; r <= 6; ++r) wanted.push_back(0.5 * r);
  const std::vector<double> x = design.betas(wanted);
  for (int r = 1; r <= 6; ++r) EXPECT_NEAR(x[static_cast<std::size_t>(r) - 1], 0.5 * r, 1e-14);
}

// An intercept, a slope in numbers as typed, a column of thousands: three betas for six reals on a line.
TEST(Start_betas, least_squares_over_general_columns) {
  Model_builder m = open_model();
  m.design(3);
  for (int r = 1; r <= 6; ++r) {
    m.cell(r, 1, 1.0);
    m.cell(r, 2, r);
    m.cell(r, 3, r > 3 ? 5000.0 : 0.0);
  }
  m.finish();
  const Start_design design(m.job(), std::vector<double>(3, 0.0));
  EXPECT_EQ(design.sizes(), (std::vector<double>{1.0, 6.0, 5000.0}));
  List<double> wanted;
  for (int r = 1; r <= 6; ++r) wanted.push_back(0.2 + 0.1 * r + (r > 3 ? 2.0 : 0.0));
  const std::vector<double> x = design.betas(wanted);
  EXPECT_NEAR(x[0], 0.2, 1e-12);
  EXPECT_NEAR(x[1], 0.1, 1e-12);
  EXPECT_NEAR(x[2], 2.0 / 5000.0, 1e-15);
  const List<double> got = design.predictors(x);
  for (int r = 1; r <= 6; ++r) EXPECT_NEAR(got(r), wanted(r), 1e-12);
  const std::vector<double> moved = design.moved(x, all(0.25));
  EXPECT_NEAR(moved[0], 0.45, 1e-12);
  EXPECT_NEAR(moved[1], 0.1, 1e-12);
}

TEST(Start_betas, slopes_of_covariates_are_zero_beside_other_columns) {
  Model_builder m = open_model(1);
  m.design(3);
  for (int r = 1; r <= 6; ++r) {
    m.cell(r, r <= 3 ? 1 : 3, 1.0);
    if (r <= 3) m.covariate(r, 2, 1);
  }
  m.finish();
  const Start_design design(m.job(), std::vector<double>{0.0, 0.1, 0.0});
  EXPECT_EQ(design.sizes(), (std::vector<double>{1.0, 10.0, 1.0}));
  EXPECT_TRUE(design.varies(1));
  EXPECT_FALSE(design.varies(0));
  // At the mean, 2.
  EXPECT_NEAR(design.reals_at_start()(1), 1.0 / (1.0 + std::exp(-0.2)), 1e-15);
  const std::vector<double> x = design.betas(all(0.7));
  EXPECT_NEAR(x[0], 0.7, 1e-14);
  EXPECT_EQ(x[1], 0.0);
  EXPECT_NEAR(x[2], 0.7, 1e-14);
}

TEST(Start_betas, covariates_serve_rows_that_have_nothing_else) {
  Model_builder m = open_model(1);
  m.design(2);
  for (int r = 1; r <= 6; ++r)
    if (r <= 3)
      m.covariate(r, 1, 1);
    else
      m.cell(r, 2, 1.0);
  m.finish();
  const Start_design design(m.job(), std::vector<double>{0.0, 0.0});
  EXPECT_NEAR(design.betas(all(0.7))[0], 0.35, 1e-14);
}

TEST(Start_betas, fixed_betas_keep_their_part_and_fixed_reals_have_no_say) {
  Model_builder m = open_model();
  m.design(2);
  for (int r = 1; r <= 6; ++r) {
    m.cell(r, 1, 1.0);
    m.cell(r, 2, 1.0);
  }
  m.finish();
  m.job().model.bindex(2) = 0;
  m.job().model.beta(2) = 3.0;
  m.job().model.fixpar(6) = 1;
  const Start_design design(m.job(), std::vector<double>{0.0});
  List<double> wanted = all(1.0);
  wanted(6) = 100.0;
  EXPECT_NEAR(design.betas(wanted)[0], -2.0, 1e-14);
  EXPECT_NEAR(design.predictors(std::vector<double>{-2.0})(1), 1.0, 1e-14);
}

}  // namespace
}  // namespace tarn
