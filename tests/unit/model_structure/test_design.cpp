#include "model/structure/design.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "model/design_matrix_funcs_module.h"
#include "numerics/scalars.h"
#include "support/traced.h"
#include "unit/model_structure/model_job.h"

namespace tarn {
namespace {

using Words = std::vector<std::string>;

/// A job with two covariates, AGE and SEX, and one record.
class Covariate_job : public Model_job {
 public:
  explicit Covariate_job(const std::string& cells = "10101010",
                         const std::vector<double>& covariates = {3.0, 1.0})
      : Model_job([] {
          Sizes sizes;
          sizes.nicovs = 2;
          return sizes;
        }()) {
    name_covariates({"AGE", "SEX"});
    add_record(cells, 1.0f, covariates);
  }

  /// Value of the only cell of a design, for record 1.
  double cell(const std::string& text, const double* other_values = nullptr) {
    read_design("design matrix constraints=1 covariates=1 nlbetas=2; " + text + ";");
    set_up();
    Design_work<double> work;
    prepare(job, work);
    const std::vector<double> xbeta{0.5, 0.25, 0.125};
    fault = nullptr;
    if (const char* text_of_fault = updatedm<double>(job, 1, xbeta, work, other_values))
      fault = text_of_fault;
    Array2<double> values;
    EXPECT_TRUE(values.allocate(1, 1));
    evaluated_design(job, work, values);
    return values(1, 1);
  }

  const char* fault = nullptr;
};

double cell(const std::string& text, const std::string& cells = "10101010") {
  Covariate_job t(cells);
  const double value = t.cell(text);
  EXPECT_EQ(t.fault, nullptr) << text;
  return value;
}

std::string design_error(const std::string& deck) {
  Covariate_job t;
  return error_of(t, [&] { t.read_design(deck); });
}

TEST(Design, rows_and_labels_as_typed) {
  Model_job t;
  t.read_design("design matrix constraints=2 covariates=3 nlbetas=1; 1 0 -2.5; 0,1,3e2;");
  const Model_arrays& model = t.job.model;
  EXPECT_EQ(model.nlogit, 2);
  EXPECT_EQ(model.ncovs, 3);
  EXPECT_EQ(model.ncovs_nlbetas, 4);
  EXPECT_EQ(model.design(1, 3), -2.5);
  EXPECT_EQ(model.design(2, 3), 300.0);
  EXPECT_EQ(model.rlabel(2), "real 2");
  EXPECT_EQ(model.blabel(4), "beta 4");
  EXPECT_EQ(model.lindex(1), Link::sin);
  EXPECT_EQ(model.scalefactor(4), 1.0);
  EXPECT_FALSE(model.identity);
}

TEST(Design, identity_reads_no_rows) {
  Model_job t;
  t.read_design("design matrix constraints=3 covariates=3 identity;");
  EXPECT_TRUE(t.job.model.identity);
  EXPECT_EQ(t.job.model.design(2, 2), 1.0);
  EXPECT_EQ(t.job.model.design(2, 3), 0.0);
  EXPECT_EQ(t.words(),
            (Words{"DESIGN", "MATRIX", "CONSTRAINTS", "=", "3", "COVARIATES", "=", "3", "IDENTITY"}));
}

TEST(Design, faults_of_the_statement) {
  EXPECT_EQ(design_error("design matrix covariates=2;"),
            "No constraints specified on DESIGN MATRIX statement.");
  EXPECT_EQ(design_error("design matrix constraints=2;"),
            "No covariates specifed on DESIGN MATRIX statement.");
  EXPECT_EQ(design_error("design matrix constraints=-2 covariates=1;"),
            "No constraints specified on DESIGN MATRIX statement.");
  EXPECT_EQ(design_error("design matrix constraints=2 covariates=3 identity;"),
            "Identity design matrix specified, but number of columns not equal number of rows.");
  EXPECT_EQ(design_error("design matrix constraints=1 covariates=3; 1 2;"),
            "More covariates were requested than specified in DESIGN MATRIX.");
  EXPECT_EQ(design_error("design matrix constraints=1 covariates=1 nlbetas=-1; 1;"),
            "Invalid number of NLBETAS on DESIGN MATRIX statement.");
  EXPECT_EQ(design_error("design matrix constraints=1000000 covariates=1000000;"),
            "No memory for a design matrix of 1000000 rows and 1000000 columns.");
}

TEST(Design, too_large_names_the_arrays) {
  Model_job t;
  EXPECT_NE(error_of(t, [&] { t.read_design("design matrix constraints=1000000 covariates=1000000;"); }), "");
  EXPECT_TRUE(t.listing_has(
      "  * *  WARNING  * *   Error number 5020 from memory allocation of DESIGN, LINDEX, RLABEL, "
      "BLABEL, SCALEFACTOR, and DESIGNNICVARFLG. \n"));
}

TEST(Design, unknown_option_warns) {
  Model_job t;
  t.read_design("design matrix wings constraints=1 covariates=1; 1;");
  EXPECT_TRUE(t.listing_has("  * *  WARNING  * *   The design matrix option 'WINGS' was not recognized. \n"));
  EXPECT_EQ(t.job.model.design(1, 1), 1.0);
}

TEST(Design, initial_values_of_another_number_are_fatal) {
  Model_job t;
  t.job.model.initial_given = true;
  t.job.model.intvals = {0.1, 0.2};
  EXPECT_EQ(error_of(t, [&] { t.read_design("design matrix constraints=1 covariates=1; 1;"); }),
            "Number of initial values does not match the number of beta parameters.");
}

TEST(Design, second_statement_is_fatal) {
  Model_job t;
  t.read_design("design matrix constraints=1 covariates=1; 1;");
  EXPECT_EQ(error_of(t, [&] { t.read_design("design matrix constraints=1 covariates=1; 1;"); }),
            "A second DESIGN MATRIX was specified in one PROC ESTIMATE.");
  EXPECT_TRUE(t.listing_has("Error number 5014 from memory allocation of DESIGN,"));
}

TEST(Design, cells_are_coded) {
  Covariate_job t;
  t.read_design("design matrix constraints=2 covariates=2; 1 sex; add(age,1) -899000;");
  const Model_arrays& model = t.job.model;
  EXPECT_EQ(model.design(1, 2), -999002.0);
  EXPECT_EQ(model.design(2, 1), -899001.0);
  EXPECT_EQ(model.design(2, 2), -899000.0);
  EXPECT_EQ(model.designicvarflag(1), 1);
  EXPECT_EQ(model.licovs, 1);
  EXPECT_EQ(design_error("design matrix constraints=1 covariates=1; -899000.5;"),
            "Design matrix can not have values less than -899000.");
}

TEST(Design, tables_list_covariate_cells_and_animal_rows) {
  Covariate_job t;
  t.read_design(
      "design matrix constraints=4 covariates=3; 1 age sex; 1 0 0; add(1,2) 0 0; max(age,1) 0 sex;");
  t.set_up();
  const Model_arrays& model = t.job.model;
  EXPECT_EQ(model.dmicrows, (std::vector<int>{1, 3, 4}));
  // Row, column, covariate, node.
  std::vector<std::array<int, 4>> varying;
  for (const Varying_cell& cell : model.varying_cells)
    varying.push_back({cell.row, cell.col, cell.covariate, cell.node});
  EXPECT_EQ(varying, (std::vector<std::array<int, 4>>{
                         {1, 2, 1, 0}, {1, 3, 2, 0}, {3, 1, 0, 1}, {4, 1, 0, 2}, {4, 3, 2, 0}}));
  ASSERT_EQ(model.design_rows.size(), 4);
  EXPECT_EQ(model.design_rows(2).size(), 1);
  EXPECT_EQ(model.design_rows(2)(1).varying, 0);
  EXPECT_EQ(model.design_rows(4)(2).varying, 5);
  EXPECT_TRUE(reals_depend_on_record(model));
}

TEST(Design, a_plain_matrix_has_no_animal_rows) {
  Model_job t;
  t.read_design("design matrix constraints=2 covariates=2 identity;");
  t.set_up();
  EXPECT_TRUE(t.job.model.varying_cells.empty());
  EXPECT_FALSE(reals_depend_on_record(t.job.model));
  EXPECT_TRUE(t.job.model.dmicrows.empty());
}

TEST(Design_functions, nested_call_makes_two_nodes) {
  Covariate_job t;
  t.read_design("design matrix constraints=1 covariates=2; product(age,product(sex,2)) 7;");
  const Design_matrix_funcs_module& tables = t.job.model.functions;
  EXPECT_EQ(tables.numdmfuncs, 2);
  EXPECT_EQ(tables.dmfuncsmaxnest, 2);
  EXPECT_EQ(tables.dmfuncslevel, 0);
  const auto node = [&](int k) {
    std::vector<int> rows;
    for (int r = 1; r <= 6; ++r) rows.push_back(tables.dmfuncstypes(r, k));
    return rows;
  };
  EXPECT_EQ(node(1), (std::vector<int>{3, 1, 1, 1, 2, 1}));
  EXPECT_EQ(node(2), (std::vector<int>{3, 1, 2, 1, 2, 2}));
  EXPECT_EQ(tables.dmfuncsargs(1, 2), 2.0);
  EXPECT_EQ(t.job.model.design(1, 2), 7.0);
  EXPECT_EQ(cell("product(age,product(sex,2))"), 6.0);
}

struct Function_case {
  std::string text;
  double value;
};

class Function : public testing::TestWithParam<Function_case> {};

TEST_P(Function, has_its_value) { EXPECT_EQ(cell(GetParam().text), GetParam().value) << GetParam().text; }

// The record has AGE = 3 and SEX = 1 and was caught on every occasion.
INSTANTIATE_TEST_SUITE_P(
    functions, Function,
    testing::Values(
        Function_case{"add(age,sex)", 4.0}, Function_case{"product(age,-2)", -6.0},
        Function_case{"eq(age,3)", 1.0}, Function_case{"eq(age,2)", 0.0}, Function_case{"eq(1e-17,0)", 1.0},
        Function_case{"eq(1e-15,0)", 0.0}, Function_case{"ge(age,3)", 1.0}, Function_case{"ge(2,age)", 0.0},
        Function_case{"gt(age,3)", 0.0}, Function_case{"gt(age,2)", 1.0}, Function_case{"le(age,3)", 1.0},
        Function_case{"le(4,age)", 0.0}, Function_case{"lt(2,age)", 1.0}, Function_case{"lt(3,age)", 0.0},
        Function_case{"power(age,2)", 9.0}, Function_case{"min(3)", 0.0}, Function_case{"min(age,sex)", 1.0},
        Function_case{"max(age,sex)", 3.0}, Function_case{"max(-1)", 0.0},
        Function_case{"log(0)", std::log(minlog)}, Function_case{"log(age)", std::log(3.0)},
        Function_case{"exp(sex)", std::exp(1.0)}, Function_case{"exp(1000)", std::exp(maxexp)},
        Function_case{"add(exp(-1000),0)", std::exp(minexp)}, Function_case{"nlbeta(1)", 0.25},
        Function_case{"nlbeta(2)", 0.125}, Function_case{"nlbeta(add(sex,1))", 0.125},
        Function_case{"add(add(add(1,2),add(3,4)),add(add(5,6),7))", 28.0}));

TEST(Design_functions, prior_captures_read_the_history) {
  EXPECT_EQ(cell("priorcapl(1,3)", "00001000"), 1.0);
  EXPECT_EQ(cell("priorcapl(1,3)", "00000010"), 0.0);
  EXPECT_EQ(cell("priorcapl(1,4)", "00000010"), 1.0);
  EXPECT_EQ(cell("priorcapl(1,3)", ".0.00010"), 0.0);
  EXPECT_EQ(cell("priorcapd(1,3)", "00000100"), 1.0);
  EXPECT_EQ(cell("priorcapl(1,3)", "00000100"), 0.0);
  EXPECT_EQ(cell("priorcapl(1,0)", "10101010"), 0.0);
  Covariate_job t;
  EXPECT_FALSE(t.job.model.functions.prior_capture);
  t.cell("add(priorcapd(1,2),1)");
  EXPECT_TRUE(t.job.model.functions.prior_capture);
}

TEST(Design_functions, occasions_outside_of_the_history_are_a_fault) {
  for (const char* text : {"priorcapl(0,2)", "priorcapd(1,5)", "priorcapl(-3,-1)"}) {
    Covariate_job t;
    t.cell(text);
    ASSERT_NE(t.fault, nullptr) << text;
    EXPECT_STREQ(t.fault, "Occasion of PRIORCAPL or PRIORCAPD is outside of the encounter history.");
  }
}

TEST(Design_functions, nlbeta_without_an_estimated_beta_is_a_fault) {
  Covariate_job t;
  t.cell("nlbeta(3)");
  EXPECT_STREQ(t.fault, "NLBETA refers to a beta parameter that does not exist.");
  Covariate_job u;
  u.read_design("design matrix constraints=1 covariates=1 nlbetas=1; nlbeta(1);");
  u.set_up();
  u.job.model.bindex(2) = 0;
  Design_work<double> work;
  prepare(u.job, work);
  EXPECT_STREQ(updatedm<double>(u.job, 1, std::vector<double>{0.5}, work, nullptr),
               "NLBETA refers to a beta parameter that is not estimated.");
}

TEST(Design_functions, nlbeta_carries_derivatives) {
  Covariate_job t;
  t.read_design("design matrix constraints=1 covariates=1 nlbetas=1; power(nlbeta(1),age);");
  t.set_up();
  const auto power = [&t](const auto& xbeta) {
    using X = std::decay_t<decltype(xbeta[0])>;
    Design_work<X> work;
    prepare(t.job, work);
    EXPECT_EQ(updatedm<X>(t.job, 1, xbeta, work, nullptr), nullptr);
    return X(work.cells(1));
  };
  const Second_order cell = second_order(power, {0.5, 2.0});
  EXPECT_DOUBLE_EQ(cell.value, 8.0);
  EXPECT_EQ(cell.gradient[0], 0.0);
  EXPECT_DOUBLE_EQ(cell.gradient[1], 12.0);
  EXPECT_DOUBLE_EQ(cell.second[1][1], 12.0);
}

TEST(Design_functions, other_values_take_the_place_of_the_record) {
  Covariate_job t;
  const double means[2] = {10.0, 0.5};
  EXPECT_EQ(t.cell("product(age,sex)", means), 5.0);
  Covariate_job u;
  EXPECT_EQ(u.cell("age", means), 10.0);
}

TEST(Design_functions, faults_while_reading) {
  EXPECT_EQ(design_error("design matrix constraints=1 covariates=1; add(COL3,1);"),
            "Use of COLxx no longer valid with recursive design function calling.");
  EXPECT_EQ(design_error("design matrix constraints=1 covariates=1; add(Agex,1);"),
            "Incorrect covariate name?  Invalid value: Agex");
  EXPECT_EQ(design_error("design matrix constraints=1 covariates=1; add(1,Agex);"),
            "Incorrect covariate name?  Invalid value: Agex");
  EXPECT_NE(design_error("design matrix constraints=1 covariates=1; COL3;"), "");
  EXPECT_NE(design_error("design matrix constraints=1 covariates=1; agex;"), "");
  EXPECT_NE(design_error("design matrix constraints=1 covariates=1; add(1,;"), "");
}

TEST(Design_functions, deep_nesting_is_read_and_evaluated) {
  constexpr int depth = 8000;
  std::string text;
  for (int k = 0; k < depth; ++k) text += "lt(";
  text += "0,1";
  for (int k = 0; k < depth; ++k) text += ")";
  Model_job t;
  t.read_design("design matrix constraints=1 covariates=1; " + text + ";");
  t.set_up();
  EXPECT_EQ(t.job.model.functions.dmfuncsmaxnest, depth);
  EXPECT_EQ(t.job.model.functions.dmfuncslevel, 0);
  Design_work<double> work;
  prepare(t.job, work);
  EXPECT_EQ(updatedm<double>(t.job, 1, {}, work, nullptr), nullptr);
  // lt(0,1) is 1, lt(1) is "1 < 0", which is 0, and then lt(0) and all others are 0 < 0.
  EXPECT_EQ(work.cells(1), 0.0);
}

TEST(Design_functions, a_matrix_without_records_faults_instead_of_reading) {
  Sizes sizes;
  sizes.nicovs = 1;
  Model_job t(sizes);
  t.name_covariates({"AGE"});
  t.read_design("design matrix constraints=1 covariates=1; age;");
  t.set_up();
  Design_work<double> work;
  prepare(t.job, work);
  EXPECT_STREQ(updatedm<double>(t.job, 1, {}, work, nullptr),
               "Design matrix refers to an individual covariate that no record holds.");
}

TEST(Scaling, one_over_the_largest_value_of_the_column) {
  Model_job t;
  t.read_design("design matrix constraints=2 covariates=3; 1 -20 0.5; 1 5 0.25;");
  t.set_up();
  scale_columns(t.job);
  EXPECT_EQ(t.job.model.scalefactor(1), 1.0);
  EXPECT_EQ(t.job.model.scalefactor(2), 1.0 / 20.0);
  EXPECT_EQ(t.job.model.scalefactor(3), 1.0);
}

TEST(Scaling, covariates_over_all_records) {
  Covariate_job t;
  t.add_record("10101010", 1.0f, {-40.0, 2.0});
  t.read_design("design matrix constraints=1 covariates=3; 1 age product(sex,age);");
  t.set_up();
  scale_columns(t.job);
  EXPECT_EQ(t.job.model.scalefactor(2), 1.0 / 40.0);
  EXPECT_EQ(t.job.model.scalefactor(3), 1.0 / 80.0);
}

TEST(Scaling, functions_are_scaled_by_their_values) {
  Model_job t;
  t.add_record("10101010");
  t.read_design("design matrix constraints=1 covariates=1; product(5,priorcapl(1,2));");
  t.set_up();
  EXPECT_EQ(t.job.model.licovs, 0);
  scale_columns(t.job);
  EXPECT_EQ(t.job.model.scalefactor(1), 1.0 / 5.0);
}

TEST(Scaling, left_out_on_request) {
  Model_job t;
  t.read_design("design matrix constraints=1 covariates=2; 1 20;");
  t.set_up();
  t.job.model.standardize_design = false;
  scale_columns(t.job);
  EXPECT_EQ(t.job.model.scalefactor(2), 1.0);
}

TEST(Scaling, factors_are_listed_under_debug) {
  Model_job t;
  t.read_design("design matrix constraints=1 covariates=2; 1 20;");
  t.set_up();
  t.job.status.debug = 1;
  t.clear();
  scale_columns(t.job);
  EXPECT_EQ(t.listing(), "\n Scaling Factors {No Model Specified}:\n   1.000000     0.5000000E-01\n");
}

}  // namespace
}  // namespace tarn
