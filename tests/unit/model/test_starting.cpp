#include "model/starting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "unit/model_structure/model_job.h"

namespace tarn {
namespace {

/// The fit of a preliminary model whose solution the test knows.
struct Known_fit {
  std::vector<double> solution;
  std::vector<double> start = {};
  std::vector<Link> links = {};
  int calls = 0;

  Fit for_job(Job& job) {
    return [this, &job](std::vector<double>& x) {
      ++calls;
      start = x;
      links.assign(job.model.lindex.begin(), job.model.lindex.end());
      x = solution;
    };
  }
};

Fit no_fit() {
  return [](std::vector<double>&) { FAIL() << "no preliminary fit is made"; };
}

std::vector<double> betast(const Job& job) { return {job.model.betast.begin(), job.model.betast.end()}; }

double to_sin(double p) { return std::asin(2.0 * p - 1.0); }

TEST(Starting, initial_values_of_estimated_betas_only) {
  Model_job t;
  t.read_design("design matrix constraints=3 covariates=3 identity;");
  t.set_up();
  t.job.model.bindex(1) = 1;
  t.job.model.bindex(2) = 0;
  t.job.model.bindex(3) = 2;
  t.job.model.initial_given = true;
  t.job.model.intvals = {0.5, 9.0, -0.25};
  choose_start(t.job, no_fit());
  EXPECT_EQ(betast(t.job), (std::vector<double>{0.5, 0.0, -0.25}));
}

TEST(Kept, initial_values_belong_to_the_scaled_columns) {
  Model_job t;
  t.read_design("design matrix constraints=1 covariates=1; 1000;");
  t.set_up();
  scale_columns(t.job);
  t.job.model.initial_given = true;
  t.job.model.intvals = {0.5};
  choose_start(t.job, no_fit());
  EXPECT_EQ(betast(t.job), (std::vector<double>{0.5}));
  // 0.5 times 1000 times 1/1000, not 500.
  t.job.model.nlink = Link::identity;
  setlink(t.job);
  recompute_reals(t.job, 1, betast(t.job));
  EXPECT_DOUBLE_EQ(t.job.model.parm(1), 0.5);
}

TEST(Starting, links_confined_to_0_to_1_start_at_one_value) {
  for (const Link link : {Link::logit, Link::loglog, Link::cloglog, Link::sin}) {
    Model_job t;
    t.job.model.nlink = link;
    t.read_design("design matrix constraints=2 covariates=1 nlbetas=1; 1; 2;");
    t.set_up();
    choose_start(t.job, no_fit());
    EXPECT_EQ(betast(t.job), (std::vector<double>{-0.1, 0.0})) << link_name(link);
  }
}

TEST(Starting, mlogit_as_the_models_link_starts_at_zero) {
  Model_job t;
  t.job.model.nlink = Link::mlogit;
  t.read_design("design matrix constraints=2 covariates=2 identity;");
  t.set_up();
  choose_start(t.job, no_fit());
  EXPECT_EQ(betast(t.job), (std::vector<double>{0.0, 0.0}));
}

TEST(Starting, poisson_resight_starts_without_a_preliminary_fit) {
  Sizes sizes;
  sizes.dattyp = 115;
  Model_job t(sizes);
  t.job.model.nlink = Link::log;
  t.read_design("design matrix constraints=1 covariates=1; 1;");
  t.set_up();
  choose_start(t.job, no_fit());
  EXPECT_EQ(betast(t.job), (std::vector<double>{-0.1}));
}

TEST(Starting, preliminary_fit_under_log_is_translated_and_capped) {
  Model_job t;
  t.job.model.nlink = Link::log;
  t.read_design("design matrix constraints=2 covariates=2 identity;");
  t.set_up();
  setlink(t.job);
  Known_fit fit{{to_sin(0.5), to_sin(0.999)}};
  choose_start(t.job, fit.for_job(t.job));
  EXPECT_EQ(fit.calls, 1);
  EXPECT_EQ(fit.start, (std::vector<double>{-0.1, -0.1}));
  EXPECT_EQ(fit.links, (std::vector<Link>{Link::sin, Link::sin}));
  EXPECT_NEAR(t.job.model.betast(1), std::log(0.5), 1e-14);
  EXPECT_EQ(t.job.model.betast(2), -0.01);
  EXPECT_EQ(t.job.model.nlink, Link::log);
  EXPECT_EQ(t.job.model.lindex(1), Link::log);
}

TEST(Starting, preliminary_fit_under_identity_is_not_capped) {
  Model_job t;
  t.job.model.nlink = Link::identity;
  // Three reals on a line: an intercept and a slope, whose column is scaled.
  t.read_design("design matrix constraints=3 covariates=2; 1 0; 1 10; 1 20;");
  t.set_up();
  t.job.model.scalefactor(2) = 1.0 / 20.0;
  Known_fit fit{{to_sin(0.2), 0.4}};
  choose_start(t.job, fit.for_job(t.job));
  // Least squares through the reals of the SIN fit, by the normal equations of three equally spaced points.
  double y[3];
  for (int i = 0; i < 3; ++i) y[i] = (std::sin(to_sin(0.2) + 0.4 * i / 2.0) + 1.0) / 2.0;
  const double slope = y[2] - y[0], intercept = (y[0] + y[1] + y[2]) / 3.0 - slope / 2.0;
  EXPECT_NEAR(t.job.model.betast(1), intercept, 1e-14);
  EXPECT_NEAR(t.job.model.betast(2), slope, 1e-14);
}

TEST(Starting, extra_betas_keep_what_the_preliminary_fit_found) {
  Model_job t;
  t.job.model.nlink = Link::identity;
  t.read_design("design matrix constraints=1 covariates=1 nlbetas=1; exp(nlbeta(1));");
  t.set_up();
  Known_fit fit{{to_sin(0.3) / std::exp(-0.5), -0.5}};
  choose_start(t.job, fit.for_job(t.job));
  EXPECT_NEAR(t.job.model.betast(1), 0.3 / std::exp(-0.5), 1e-14);
  EXPECT_EQ(t.job.model.betast(2), -0.5);
}

TEST(Starting, overridden_rows_keep_their_own_target) {
  Sizes sizes;
  sizes.dattyp = 5;
  for (const Link link : {Link::log, Link::identity}) {
    Model_job t(sizes);
    t.job.model.nlink = link;
    t.read_pim("group=1 p rows=1 cols=4 square constant=1;");
    t.read_pim("group=1 f0 rows=1 cols=1 square constant=2;");
    t.read_design("design matrix constraints=2 covariates=2 identity;");
    t.set_up();
    setlink(t.job);
    Known_fit fit{{to_sin(0.25), std::log(30.0)}};
    choose_start(t.job, fit.for_job(t.job));
    EXPECT_EQ(fit.links, (std::vector<Link>{Link::sin, Link::log}));
    EXPECT_NEAR(t.job.model.betast(1), link == Link::log ? std::log(0.25) : 0.25, 1e-14);
    EXPECT_NEAR(t.job.model.betast(2), std::log(30.0), 1e-12);
  }
}

TEST(Starting, fixed_rows_and_singular_designs_still_give_a_start) {
  Model_job t;
  t.job.model.nlink = Link::identity;
  t.read_design("design matrix constraints=3 covariates=3; 1 1 0; 1 1 0; 0 0 1;");
  t.set_up();
  t.job.model.fixdex = {3};
  t.job.model.fixval = {1.0};
  t.job.model.fixpar(3) = 1;
  Known_fit fit{{to_sin(0.3), 0.0, 0.0}};
  choose_start(t.job, fit.for_job(t.job));
  EXPECT_NEAR(t.job.model.betast(1) + t.job.model.betast(2), 0.3, 1e-14);
  EXPECT_EQ(t.job.model.betast(3), 0.0);
}

/// The starts of an identity design of one row per matrix of group 1, session by session.
std::vector<double> identity_starts(Model_job& t, const std::vector<std::string>& matrices) {
  int number = 0;
  for (const std::string& name : matrices)
    t.read_pim("group=1 " + name + " rows=1 cols=1 square constant=" + std::to_string(++number) + ";");
  const std::string n = std::to_string(number);
  t.read_design("design matrix constraints=" + n + " covariates=" + n + " identity;");
  t.set_up();
  initpar(t.job);
  return betast(t.job);
}

TEST(Starting, abundance_starts_from_the_animals_caught) {
  Sizes sizes;
  sizes.dattyp = 5;
  Model_job t(sizes);
  t.add_record("10001000", 30.0f);
  t.add_record("00100000", 10.0f);
  EXPECT_EQ(identity_starts(t, {"p", "c", "f0"}), (std::vector<double>{-0.1, -0.1, std::log(20.0)}));
}

TEST(Starting, abundance_of_each_session) {
  Sizes sizes;
  sizes.dattyp = 166;
  sizes.nprimy = 2;
  sizes.timint = {0.0f, 1.0f, 0.0f, 1.0f};
  Model_job t(sizes);
  t.add_record("10001000", 30.0f);
  t.add_record("00100000", 10.0f);
  t.add_record("00000010", 4.0f);
  EXPECT_EQ(identity_starts(t, {"f0 Session 1", "f0 Session 2"}),
            (std::vector<double>{std::log(20.0), std::log(17.0)}));
}

TEST(Starting, growth_starts_at_none_and_other_open_types_at_the_common_start) {
  Sizes sizes;
  sizes.dattyp = 16;
  Model_job lambda(sizes);
  EXPECT_EQ(identity_starts(lambda, {"Phi", "p", "Lambda"}), (std::vector<double>{-0.1, -0.1, 0.0}));
  for (const int n : {17, 31}) {
    sizes.dattyp = n;
    Model_job recruitment(sizes);
    EXPECT_EQ(identity_starts(recruitment, {"Phi", "p", "f"}), (std::vector<double>{-0.1, -0.1, -0.1})) << n;
  }
  sizes.dattyp = 19;
  Model_job popan(sizes);
  popan.add_record("10001000", 30.0f);
  EXPECT_EQ(identity_starts(popan, {"Phi", "p", "pent", "N"}), (std::vector<double>(4, -0.1)));
}

TEST(Starting, standard_deviations_of_every_session_start_at_a_half) {
  for (const int n : {146, 162, 169}) {
    Sizes sizes;
    sizes.dattyp = n;
    sizes.nprimy = 2;
    sizes.timint = {0.0f, 1.0f, 0.0f, 1.0f};
    Model_job t(sizes);
    EXPECT_EQ(identity_starts(t, {"sigmap Session 1", "p Session 1", "sigmap Session 2", "p Session 2"}),
              (std::vector<double>{std::log(0.5), -0.1, std::log(0.5), -0.1}))
        << n;
  }
}

// The numbers never caught have the logarithm as their link in every session and group, and nothing else has.
TEST(Starting, counts_of_every_session_have_their_own_link) {
  for (const int n : {7, 18, 40, 57, 67, 82, 99, 166, 163}) {
    Sizes sizes;
    sizes.dattyp = n;
    sizes.ngrps = 2;
    sizes.nprimy = 2;
    sizes.timint = {0.0f, 1.0f, 0.0f, 1.0f};
    Model_job t(sizes);
    t.job.model.nlink = Link::sin;
    int number = 0;
    for (const char* name : {"p Session 1", "f0 Session 1", "p Session 2", "f0 Session 2"})
      for (const char* group : {"1", "2"})
        t.read_pim("group=" + std::string(group) + " " + name +
                   " rows=1 cols=1 square constant=" + std::to_string(++number) + ";");
    t.read_design("design matrix constraints=8 covariates=8 identity;");
    t.set_up();
    setlink(t.job);
    for (int i = 1; i <= 8; ++i) {
      const bool f0 = (i > 2 && i <= 4) || i > 6;
      EXPECT_EQ(t.job.model.lindex(i), f0 && n != 163 ? Link::log : Link::sin) << n << " row " << i;
    }
  }
}

TEST(Starting, few_animals_start_at_one) {
  Sizes sizes;
  sizes.dattyp = 11;
  Model_job t(sizes);
  t.add_record("10101010", 1.0f);
  const std::vector<double> starts = identity_starts(t, {"Lambda", "N"});
  EXPECT_EQ(starts, (std::vector<double>{0.0, 0.0}));
}

TEST(Starting, standard_deviations_start_at_a_half) {
  Sizes sizes;
  sizes.dattyp = 135;
  Model_job t(sizes);
  EXPECT_EQ(identity_starts(t, {"Phi", "sigmaphi", "p", "sigmap"}),
            (std::vector<double>{-0.1, std::log(0.5), -0.1, std::log(0.5)}));
}

TEST(Starting, resight_types_start_at_a_tenth) {
  Sizes sizes;
  sizes.dattyp = 120;
  Model_job t(sizes);
  EXPECT_EQ(identity_starts(t, {"p", "alpha"}), (std::vector<double>{0.1, 0.0}));
}

TEST(Starting, betas_that_are_not_estimated_get_no_data_start) {
  Sizes sizes;
  sizes.dattyp = 5;
  Model_job t(sizes);
  t.add_record("10001000", 30.0f);
  t.read_pim("group=1 f0 rows=1 cols=1 square constant=1;");
  t.read_design("design matrix constraints=1 covariates=1 identity;");
  t.set_up();
  t.job.model.bindex(1) = 0;
  initpar(t.job);
  EXPECT_EQ(betast(t.job), (std::vector<double>{-0.1}));
}

TEST(Starting, other_designs_and_types_take_the_common_start) {
  Sizes sizes;
  sizes.dattyp = 7;
  sizes.nprimy = 2;
  sizes.timint = {0.0f, 1.0f, 0.0f, 1.0f};
  Model_job t(sizes);
  t.add_record("10001000", 30.0f);
  EXPECT_EQ(identity_starts(t, {"f0 Session 1"}), (std::vector<double>{-0.1}));
  sizes.dattyp = 5;
  Model_job u(sizes);
  u.add_record("10001000", 30.0f);
  u.read_pim("group=1 f0 rows=1 cols=1 square constant=1;");
  u.read_design("design matrix constraints=1 covariates=1; 1;");
  u.set_up();
  initpar(u.job);
  EXPECT_EQ(betast(u.job), (std::vector<double>{-0.1}));
}

}  // namespace
}  // namespace tarn
