#include "model/structure/links.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "numerics/scalars.h"
#include "unit/model_structure/model_job.h"

namespace tarn {
namespace {

/// A job of type 1 whose design is the identity of `size` and whose links are read from `links`.
class Link_job : public Model_job {
 public:
  Link_job(int size, const std::string& links, const std::vector<int>& fixdex = {},
           const std::vector<double>& fixval = {}) {
    const std::string n = std::to_string(size);
    read_design("design matrix constraints=" + n + " covariates=" + n + " identity;");
    job.model.fixdex = fixdex;
    job.model.fixval = fixval;
    job.model.nlink = Link::parm_specific;
    read("links; " + links + " proc stop;");
    links_statement(job);
    set_up();
  }

  std::vector<double> reals(const std::vector<double>& beta) {
    prepare(job, work);
    tranlg<double>(job, 1, beta, work, 1, 0, nullptr);
    return {work.parm.begin(), work.parm.end()};
  }

  Real_work<double> work;
};

std::vector<double> reals(const std::string& links, const std::vector<double>& beta,
                          const std::vector<int>& fixdex = {}, const std::vector<double>& fixval = {}) {
  Link_job t(static_cast<int>(beta.size()), links, fixdex, fixval);
  const std::vector<double> values = t.reals(beta);
  EXPECT_EQ(t.work.fault, "");
  return values;
}

TEST(Links, values_of_the_single_links) {
  const double x = 0.7;
  EXPECT_DOUBLE_EQ(reals("logit;", {x})[0], 1.0 / (1.0 + std::exp(-x)));
  EXPECT_DOUBLE_EQ(reals("loglog;", {x})[0], std::exp(-std::exp(-x)));
  EXPECT_DOUBLE_EQ(reals("cloglog;", {x})[0], 1.0 - std::exp(-std::exp(x)));
  EXPECT_DOUBLE_EQ(reals("sin;", {x})[0], (std::sin(x) + 1.0) * 0.5);
  EXPECT_DOUBLE_EQ(reals("log;", {x})[0], std::exp(x));
  EXPECT_DOUBLE_EQ(reals("identity;", {-x})[0], -x);
  EXPECT_DOUBLE_EQ(reals("absolute;", {-x})[0], x);
  EXPECT_DOUBLE_EQ(reals("cauchy;", {x})[0], std::atan(x) / std::numbers::pi + 0.5);
}

TEST(Links, extreme_predictors_stay_guarded) {
  EXPECT_EQ(reals("absolute;", {0.0})[0], minlog);
  EXPECT_EQ(reals("absolute;", {std::nan("")})[0], minlog);
  EXPECT_GT(reals("logit;", {-1e6})[0], 0.0);
  EXPECT_EQ(reals("logit;", {1e6})[0], 1.0);
  EXPECT_TRUE(std::isfinite(reals("log;", {1e6})[0]));
  EXPECT_GT(reals("log;", {-1e6})[0], 0.0);
}

TEST(Links, mlogit_of_three_zeros_is_a_quarter_each) {
  for (double p : reals("mlogit(1); mlogit(1); mlogit(1);", {0.0, 0.0, 0.0})) EXPECT_DOUBLE_EQ(p, 0.25);
}

TEST(Links, mlogit_members_share_what_fixed_ones_leave) {
  const std::vector<double> p = reals("mlogit(1); mlogit(1);", {5.0, 0.0}, {1}, {0.2});
  EXPECT_DOUBLE_EQ(p[0], 0.2);
  EXPECT_DOUBLE_EQ(p[1], 0.4);
}

TEST(Links, clogit_is_computed_as_mlogit) {
  const std::vector<double> p = reals("clogit(3,1); clogit(3,2); logit;", {1.0, 2.0, 0.0});
  const double sum = 1.0 + std::exp(1.0) + std::exp(2.0);
  EXPECT_DOUBLE_EQ(p[0], std::exp(1.0) / sum);
  EXPECT_DOUBLE_EQ(p[1], std::exp(2.0) / sum);
  EXPECT_DOUBLE_EQ(p[2], 0.5);
}

TEST(Links, sumratio_divides_by_the_sum_of_sizes) {
  const std::vector<double> p = reals("sumratio(1); sumratio(1);", {-1.0, 3.0});
  EXPECT_DOUBLE_EQ(p[0], 0.25);
  EXPECT_DOUBLE_EQ(p[1], 0.75);
}

TEST(Links, fixed_values_above_one_are_a_fault) {
  Link_job t(2, "mlogit(4); mlogit(4);", {1, 2}, {0.5, 0.7});
  t.reals({0.0, 0.0});
  EXPECT_EQ(t.work.fault, "Sum of fixed values for MLOGIT(4) that exceeded 1.0 was  1.2000000    ");
}

TEST(Links, fixed_parameters_take_their_values_whatever_the_link) {
  const std::vector<double> p = reals("logit; log;", {0.0, 0.0}, {2, 1}, {17.0, 0.25});
  EXPECT_EQ(p[0], 0.25);
  EXPECT_EQ(p[1], 17.0);
}

TEST(Links, parm_specific_without_statement_is_a_fault) {
  Model_job t;
  t.job.model.nlink = Link::parm_specific;
  t.read_design("design matrix constraints=1 covariates=1 identity;");
  t.set_up();
  setlink(t.job);
  EXPECT_EQ(t.job.model.lindex(1), Link::parm_specific);
  Real_work<double> work;
  prepare(t.job, work);
  tranlg<double>(t.job, 1, std::vector<double>{0.0}, work, 1, 0, nullptr);
  EXPECT_EQ(work.fault, "Incorrect LINK function number specified.");
}

TEST(Kept, mlogit_row_in_no_set_keeps_its_linear_predictor) {
  Model_job t;
  t.job.model.nlink = Link::mlogit;
  t.read_design("design matrix constraints=2 covariates=2 identity;");
  t.set_up();
  setlink(t.job);
  check_links(t.job);
  Real_work<double> work;
  prepare(t.job, work);
  tranlg<double>(t.job, 1, std::vector<double>{0.3, -2.5}, work, 1, 0, nullptr);
  EXPECT_EQ(work.parm, (std::vector<double>{0.3, -2.5}));
  EXPECT_EQ(work.fault, "");
}

TEST(Links, sumratio_row_in_no_set_is_fatal) {
  Model_job t;
  t.job.model.nlink = Link::sumratio;
  t.read_design("design matrix constraints=1 covariates=1 identity;");
  t.set_up();
  setlink(t.job);
  EXPECT_EQ(error_of(t, [&] { check_links(t.job); }),
            "SUMRATIO link for real parameter 1 that stands in no set.");
}

TEST(Links, sets_without_parm_specific_are_dropped) {
  Link_job t(2, "mlogit(1); mlogit(1);");
  t.job.model.nlink = Link::logit;
  setlink(t.job);
  check_links(t.job);
  EXPECT_TRUE(t.listing_has(
      "  * *  WARNING  * *   The LINKS statement has no effect without LINK=PARM-SPECIFIC. \n"));
  EXPECT_EQ(t.reals({0.0, 0.0}), (std::vector<double>{0.5, 0.5}));
}

TEST(Links, statement_fills_codes_and_sets) {
  Link_job t(6, "sumratio(2); mlogit(7); logit; clogit(5,3); mlogit(7); Sin;", {5}, {0.1});
  const Model_arrays& model = t.job.model;
  std::vector<Link> codes(model.lindex.begin(), model.lindex.end());
  EXPECT_EQ(codes, (std::vector<Link>{Link::sumratio, Link::mlogit, Link::logit, Link::clogit, Link::mlogit,
                                      Link::sin}));
  ASSERT_EQ(model.nummlogit(), 4);
  const auto row = [&](int k) {
    const Link_function_row& r = model.linkfuncptr(k);
    return std::vector<int>{static_cast<int>(r.code), r.set, r.second, r.parm, r.fixed};
  };
  EXPECT_EQ(row(1), (std::vector<int>{8, 7, 0, 2, 0}));
  EXPECT_EQ(row(2), (std::vector<int>{8, 7, 0, 5, 1}));
  EXPECT_EQ(row(3), (std::vector<int>{9, 5, 3, 4, 0}));
  EXPECT_EQ(row(4), (std::vector<int>{12, 2, 0, 1, 0}));
}

TEST(Links, members_of_a_set_need_not_stand_together_in_the_deck) {
  const std::vector<double> p = reals("mlogit(1); mlogit(2); mlogit(1); mlogit(2);", {0.0, 1.0, 0.0, 1.0});
  EXPECT_DOUBLE_EQ(p[0], 1.0 / 3.0);
  EXPECT_DOUBLE_EQ(p[2], 1.0 / 3.0);
  EXPECT_DOUBLE_EQ(p[1], std::exp(1.0) / (1.0 + 2.0 * std::exp(1.0)));
  EXPECT_DOUBLE_EQ(p[3], p[1]);
}

TEST(Links, fixed_after_links_is_found) {
  Link_job t(2, "mlogit(1); mlogit(1);");
  t.job.model.fixdex = {2};
  t.job.model.fixval = {0.5};
  find_fixed_members(t.job);
  EXPECT_DOUBLE_EQ(t.reals({0.0, 9.0})[0], 0.25);
}

TEST(Links, unknown_name_warns_and_becomes_logit) {
  Link_job t(1, "probit;");
  EXPECT_EQ(t.job.model.lindex(1), Link::logit);
  EXPECT_TRUE(t.listing_has("  * *  WARNING  * *   unidentified LINK function PROBIT \n"));
  EXPECT_TRUE(t.listing_has("  * *  WARNING  * *   LINK function set to LOGIT         \n"));
}

/// Links of an identity design under `nlink`, for matrices given by `pims`.
std::vector<Link> links_of(const Sizes& sizes, Link nlink, int size, const std::vector<std::string>& pims) {
  Model_job t(sizes);
  t.job.model.nlink = nlink;
  for (const std::string& deck : pims) t.read_pim(deck);
  const std::string n = std::to_string(size);
  t.read_design("design matrix constraints=" + n + " covariates=" + n + " identity;");
  setlink(t.job);
  return {t.job.model.lindex.begin(), t.job.model.lindex.end()};
}

/// The link of one real parameter that stands in the matrices of all parameters, under LINK=LOGIT.
std::vector<Link> links_of_all_parameters(int dattyp) {
  Sizes sizes;
  sizes.dattyp = dattyp;
  std::vector<std::string> pims;
  for (const std::string& name : parmlist(dattyp))
    pims.push_back("group=1 " + name + " rows=1 cols=1 square constant=1;");
  return links_of(sizes, Link::logit, 1, pims);
}

TEST(Setlink, log_on_an_open_model_is_log_everywhere) {
  EXPECT_EQ(links_of({}, Link::log, 2,
                     {"group=1 Phi rows=3 cols=3 triang constant=1;",
                      "group=1 p rows=3 cols=3 triang constant=2;"}),
            (std::vector<Link>{Link::log, Link::log}));
}

TEST(Setlink, abundance_keeps_log) {
  Sizes sizes;
  sizes.dattyp = 5;
  EXPECT_EQ(
      links_of(sizes, Link::logit, 3,
               {"group=1 p rows=1 cols=4 square constant=1;", "group=1 c rows=1 cols=3 square constant=2;",
                "group=1 f0 rows=1 cols=1 square constant=3;"}),
      (std::vector<Link>{Link::logit, Link::logit, Link::log}));
  sizes.dattyp = 12;
  EXPECT_EQ(
      links_of(sizes, Link::logit, 2,
               {"group=1 p rows=1 cols=4 square constant=1;", "group=1 c rows=1 cols=3 square constant=2;"}),
      (std::vector<Link>{Link::logit, Link::logit}));
}

TEST(Setlink, abundance_of_every_session_and_stratum) {
  Sizes sizes;
  sizes.dattyp = 7;
  sizes.nprimy = 2;
  sizes.timint = {0.0f, 1.0f, 0.0f, 1.0f};
  EXPECT_EQ(links_of(sizes, Link::sin, 3,
                     {"group=1 S rows=1 cols=1 square constant=1;",
                      "group=1 f0 Session 1 rows=1 cols=1 square constant=2;",
                      "group=1 f0 Session 2 rows=1 cols=1 square constant=3;"}),
            (std::vector<Link>{Link::sin, Link::log, Link::log}));
}

TEST(Setlink, identity_of_the_immigration_model) {
  Sizes sizes;
  sizes.dattyp = 120;
  Model_job probe(sizes);
  ASSERT_GT(findpar(probe.job.data, "alpha"), 0);
  EXPECT_EQ(
      links_of(
          sizes, Link::logit, 5,
          {"group=1 p rows=1 cols=1 square constant=1;", "group=1 alpha rows=1 cols=1 square constant=2;",
           "group=1 sigma rows=1 cols=1 square constant=3;", "group=1 Nbar rows=1 cols=1 square constant=4;",
           "group=1 Nstar rows=1 cols=1 square constant=5;"}),
      (std::vector<Link>{Link::logit, Link::identity, Link::log, Link::log, Link::log}));
}

TEST(Kept, full_robust_pradel_types_163_and_165_have_no_log_override) {
  for (int dattyp : {163, 165})
    EXPECT_EQ(links_of_all_parameters(dattyp), (std::vector<Link>{Link::logit})) << dattyp;
  EXPECT_EQ(links_of_all_parameters(166), (std::vector<Link>{Link::log}));
}

TEST(Setlink, types_outside_of_5_to_182_have_no_override) {
  for (int dattyp : {1, 4, 183, 185})
    EXPECT_EQ(links_of_all_parameters(dattyp), (std::vector<Link>{Link::logit})) << dattyp;
}

TEST(Setlink, parm_specific_touches_nothing) {
  Sizes sizes;
  sizes.dattyp = 5;
  EXPECT_EQ(links_of(sizes, Link::parm_specific, 1, {"group=1 f0 rows=1 cols=1 square constant=1;"}),
            (std::vector<Link>{Link::parm_specific}));
}

/// Eight rows: plain ones, rows with a covariate, a multinomial set of which one row has a covariate, a fixed
/// row.
class Animal_job : public Model_job {
 public:
  Animal_job()
      : Model_job([] {
          Sizes sizes;
          sizes.nicovs = 1;
          return sizes;
        }()) {
    name_covariates({"AGE"});
    add_record("10101010", 1.0f, {2.0});
    add_record("10101010", 1.0f, {-1.5});
    add_record("10101010", 1.0f, {0.25});
    job.model.nlink = Link::parm_specific;
    read_design(
        "design matrix constraints=8 covariates=4; 1 0 0 0; 1 age 0 1; 0 1 0 0; 0 0 1 0; 0.3 0 age 0; 1 1 1 "
        "1;"
        "0 0 0 1; exp(age) 0 0 1;");
    job.model.fixdex = {7};
    job.model.fixval = {0.125};
    read("links; logit; log; mlogit(1); mlogit(2); mlogit(1); sin; logit; sumratio(1); proc stop;");
    links_statement(job);
    set_up();
    for (int i = 1; i <= 4; ++i) job.model.scalefactor(i) = 1.0 / i;
  }
};

TEST(Tranlg, an_animal_pass_gives_what_a_full_pass_gives) {
  Animal_job t;
  EXPECT_EQ(t.job.model.dmicrows, (std::vector<int>{2, 5, 8}));
  const std::vector<double> beta{0.3, -0.7, 0.9, 0.2};
  Real_work<double> animal, full;
  prepare(t.job, animal);
  prepare(t.job, full);
  EXPECT_EQ(animal.animal.rows, (std::vector<int>{2, 3, 5, 8}));
  tranlg<double>(t.job, 1, beta, animal, 1, 0, nullptr);
  for (int hist : {2, 3, 1, 3}) {
    tranlg<double>(t.job, hist, beta, animal, 0, 0, nullptr);
    tranlg<double>(t.job, hist, beta, full, 1, 0, nullptr);
    EXPECT_EQ(animal.parm, full.parm) << hist;
  }
  EXPECT_EQ(animal.parm(7), 0.125);
  EXPECT_EQ(animal.parm(8), 1.0);
}

TEST(Tranlg, a_pass_without_new_betas_leaves_finished_rows_alone) {
  Animal_job t;
  const std::vector<double> beta{0.3, -0.7, 0.9, 0.2}, other{9.0, 9.0, 9.0, 9.0};
  Real_work<double> work;
  prepare(t.job, work);
  tranlg<double>(t.job, 1, beta, work, 1, 0, nullptr);
  const List<double> before = work.parm;
  tranlg<double>(t.job, 1, other, work, 0, 0, nullptr);
  EXPECT_EQ(work.parm, before);
  tranlg<double>(t.job, 1, other, work, 0, 1, nullptr);
  EXPECT_NE(work.parm, before);
}

TEST(Tranlg, fixed_betas_keep_their_value) {
  Model_job t;
  t.read_design("design matrix constraints=1 covariates=2; 1 1;");
  t.set_up();
  setlink(t.job);
  t.job.model.lindex(1) = Link::identity;
  t.job.model.beta(1) = 10.0;
  t.job.model.bindex(1) = 0;
  t.job.model.bindex(2) = 1;
  Real_work<double> work;
  prepare(t.job, work);
  tranlg<double>(t.job, 1, std::vector<double>{0.5}, work, 1, 0, nullptr);
  EXPECT_EQ(work.parm(1), 10.5);
}

/// The variable of direction 0.
Dual along(double value) {
  Dual x = value;
  x.b[0] = 1.0;
  return x;
}

TEST(Tranlg, derivatives_agree_with_the_table) {
  for (const Link link : {Link::logit, Link::loglog, Link::cloglog, Link::sin, Link::log, Link::identity,
                          Link::absolute, Link::cauchy}) {
    Model_job t;
    t.job.model.nlink = link;
    t.read_design("design matrix constraints=1 covariates=1 identity;");
    t.set_up();
    setlink(t.job);
    const std::vector<Dual> beta{along(0.4)};
    Real_work<Dual> work;
    prepare(t.job, work, true);
    tranlg<Dual>(t.job, 1, beta, work, 1, 0, nullptr);
    EXPECT_NEAR(work.parm(1).b[0], link_derivative(t.job, link, work.parm(1).v), 1e-14) << link_name(link);
    EXPECT_NEAR(work.slope(1).v, work.parm(1).b[0], 1e-15) << link_name(link);
  }
}

TEST(Tranlg, derivatives_of_a_set_and_of_an_animal_pass) {
  Animal_job t;
  const std::vector<double> at{0.3, -0.7, 0.9, 0.2};
  Real_work<Dual> work;
  prepare(t.job, work);
  std::vector<Dual> beta(at.begin(), at.end());
  beta[2] = along(at[2]);
  tranlg<Dual>(t.job, 1, beta, work, 1, 0, nullptr);
  tranlg<Dual>(t.job, 2, beta, work, 0, 0, nullptr);

  const double step = 1e-5;
  Real_work<double> up, down;
  prepare(t.job, up);
  prepare(t.job, down);
  std::vector<double> x = at;
  x[2] += step;
  tranlg<double>(t.job, 2, x, up, 1, 0, nullptr);
  x[2] -= 2.0 * step;
  tranlg<double>(t.job, 2, x, down, 1, 0, nullptr);
  for (int i = 1; i <= work.parm.size(); ++i)
    // A central difference of this step is good to about 1e-10 for values near 1.
    EXPECT_NEAR(work.parm(i).b[0], (up.parm(i) - down.parm(i)) / (2.0 * step), 1e-8) << i;
}

TEST(Link_derivative, other_codes_are_fatal) {
  for (const Link link : {Link::none, Link::parm_specific, Link::mlogit, Link::clogit, Link::sumratio}) {
    Test_job t;
    EXPECT_EQ(error_of(t, [&] { link_derivative(t.job, link, 0.5); }),
              "An incorrect LINK function number specified.");
  }
  Test_job t;
  EXPECT_EQ(link_derivative(t.job, Link::loglog, 0.0), 0.0);
  EXPECT_EQ(link_derivative(t.job, Link::cloglog, 1.0), 0.0);
}

TEST(Recompute_reals, covariate_values_follow_the_rule) {
  Animal_job t;
  t.job.data.icvrmn(1) = 4.0;
  t.job.data.icvrsd(1) = 2.0;
  const std::vector<double> beta{0.0, 1.0, 0.0, 0.0};  // row 2 is exp(age / 2)
  recompute_reals(t.job, 1, beta);
  EXPECT_DOUBLE_EQ(t.job.model.parm(2), std::exp(1.0));
  t.job.status.icmeans = 1;
  recompute_reals(t.job, 1, beta);
  EXPECT_DOUBLE_EQ(t.job.model.parm(2), std::exp(2.0));
  t.job.status.stdic = 1;
  recompute_reals(t.job, 1, beta);
  EXPECT_DOUBLE_EQ(t.job.model.parm(2), 1.0);
  t.job.model.icvalues = {6.0};
  recompute_reals(t.job, 1, beta);
  EXPECT_DOUBLE_EQ(t.job.model.parm(2), std::exp(3.0));
  t.job.model.licovs = 0;
  recompute_reals(t.job, 2, beta);
  EXPECT_DOUBLE_EQ(t.job.model.parm(2), std::exp(-0.75));
}

TEST(Recompute_reals, a_fault_is_fatal) {
  Link_job t(2, "mlogit(4); mlogit(4);", {1, 2}, {0.5, 0.7});
  EXPECT_EQ(error_of(t,
                     [&] {
                       recompute_reals(t.job, 1, std::vector<double>{0.0, 0.0});
                     }),
            "Sum of fixed values for MLOGIT(4) that exceeded 1.0 was  1.2000000    ");
}

}  // namespace
}  // namespace tarn
