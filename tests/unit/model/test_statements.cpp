#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/estimate_options.h"
#include "unit/model_structure/model_job.h"

namespace tarn {
namespace {

using Integers = std::vector<int>;
using Numbers = std::vector<double>;

/// Runs options and statements of `deck`, which begins with PROC ESTIMATE.
void read_model(Model_job& t, const std::string& deck) {
  t.read(deck + " proc stop;");
  estimate_options(t.job);
  estimate_statements(t.job);
}

const std::string plain_design = "proc estimate; design matrix constraints=2 covariates=2 identity;";

bool warned(const Test_job& t, const std::string& text) {
  return t.listing_has("  * *  WARNING  * *   " + text + " \n");
}

TEST(Estimate_options, defaults) {
  const Model_arrays model;
  EXPECT_EQ(model.nlink, Link::sin);
  EXPECT_EQ(model.vartyp, Variance::second_partials);
  EXPECT_EQ(model.optimizer, Minimiser::va09ad);
  EXPECT_EQ(model.maxfn, 2000);
  EXPECT_EQ(model.nsig, 7);
  EXPECT_EQ(model.ntune, 4000);
  EXPECT_EQ(model.nburn, 1000);
  EXPECT_EQ(model.nmcmc, 10000);
  EXPECT_EQ(model.mcmcfilename, "MCMC.BIN");
  EXPECT_EQ(model.modnam, "{No Model Specified}");
  EXPECT_FALSE(model.loop);
  EXPECT_EQ(Status_module().deltax, 1.4901161193847656e-8);
}

TEST(Estimate_options, values_are_read) {
  Model_job t;
  t.read(
      "proc estimate NSIG=5 MAXFN=100 NUMPAR=3 DELTAX=1e-5 LINK=Log VAREST=hessian BURNIN=1 TUNEIN=2 "
      "SAMPLES=3 "
      "NUMSERIES=4 THINCHAIN=5 SEED=6 STEPSIZE=0.25 MCMCFILE=Chain.Bin MCMCCSVFILE=Chain.Csv; proc stop;");
  estimate_options(t.job);
  const Model_arrays& model = t.job.model;
  EXPECT_EQ(model.nsig, 5);
  EXPECT_EQ(model.maxfn, 100);
  EXPECT_EQ(model.numpar, 3);
  EXPECT_EQ(t.job.status.deltax, 1e-5);
  EXPECT_EQ(model.nlink, Link::log);
  EXPECT_EQ(model.vartyp, Variance::hessian);
  EXPECT_EQ(model.nburn, 1);
  EXPECT_EQ(model.ntune, 2);
  EXPECT_EQ(model.nmcmc, 3);
  EXPECT_EQ(model.nseries, 4);
  EXPECT_EQ(t.job.status.thinchain, 5);
  EXPECT_EQ(model.iseed, 6);
  EXPECT_EQ(model.stepsize, 0.25);
  EXPECT_EQ(model.mcmcfilename, "Chain.Bin");
  EXPECT_EQ(model.mcmccsvfilename, "Chain.Csv");
  EXPECT_FALSE(t.listing_has("WARNING"));
}

TEST(Estimate_options, bare_words_are_read) {
  Model_job t;
  t.read(
      "proc estimate loop nostanddm debug centralfd pentlast essanimals useobserved quasi mcmc gibbsit "
      "printvc; "
      "proc stop;");
  estimate_options(t.job);
  const Model_arrays& model = t.job.model;
  EXPECT_TRUE(model.loop && model.essanimals && model.quasi);
  EXPECT_FALSE(model.standardize_design);
  EXPECT_EQ(t.job.status.debug, 1);
  EXPECT_EQ(model.centfd, 1);
  EXPECT_EQ(model.pentfirst, 0);
  EXPECT_EQ(model.useobserved, 1);
  EXPECT_EQ(model.lmcmc, 1);
  EXPECT_EQ(model.mcmcsamsiz, 1);
  EXPECT_FALSE(t.listing_has("WARNING"));
  t.read("proc estimate noloop pentfirst; proc stop;");
  estimate_options(t.job);
  EXPECT_FALSE(model.loop);
  EXPECT_EQ(model.pentfirst, 1);
}

TEST(Estimate_options, chat_asks_for_the_quasi_likelihood) {
  Model_job t;
  t.read("proc estimate link=LOGIT chat=1.75 loop; proc stop;");
  estimate_options(t.job);
  EXPECT_EQ(t.job.model.chat_given, 1.75);
  EXPECT_EQ(t.job.model.chat, 1.75);
  EXPECT_TRUE(t.job.model.quasi && t.job.model.loop);
  EXPECT_FALSE(t.listing_has("WARNING"));
}

TEST(Estimate_options, chat_that_is_not_above_0_is_fatal) {
  for (const std::string chat : {"0", "-1.5", "."}) {
    Model_job t;
    t.read("proc estimate chat=" + chat + "; proc stop;");
    EXPECT_EQ(stop_text([&] { estimate_options(t.job); }), "ERROR EXIT from TARN");
    EXPECT_TRUE(t.listing_has("ERROR -- CHAT= must be a finite number above 0, not " + chat + ".")) << chat;
  }
}

TEST(Estimate_options, optimizers_by_name) {
  const std::vector<std::string> names{"VA09AD",     "SIMANNEAL",  "OPTMIZ",   "NEWOPTMIZ",
                                       "SIMANNEAL2", "SIMANNEAL3", "DIFF_EVOL"};
  for (std::size_t k = 0; k < names.size(); ++k) {
    Model_job t;
    t.read("proc estimate " + names[k] + "; proc stop;");
    estimate_options(t.job);
    EXPECT_EQ(static_cast<int>(t.job.model.optimizer), static_cast<int>(k) + 1) << names[k];
  }
}

TEST(Estimate_options, variance_procedures_whatever_the_case) {
  const std::vector<std::string> names{"HESSIAN", "observed", "Expected", "2ndpart"};
  for (std::size_t k = 0; k < names.size(); ++k) {
    Model_job t;
    t.read("proc estimate varest=" + names[k] + "; proc stop;");
    estimate_options(t.job);
    EXPECT_EQ(static_cast<int>(t.job.model.vartyp), static_cast<int>(k) + 1) << names[k];
  }
}

TEST(Estimate_options, unknown_names_warn_and_take_the_default) {
  Model_job t;
  t.read("proc estimate varest=Foo link=probit wings printvc; proc stop;");
  estimate_options(t.job);
  EXPECT_TRUE(warned(t, "unidentified VAREST parameter FOO"));
  EXPECT_TRUE(warned(t, "VAREST set to 2ndPart "));
  EXPECT_TRUE(warned(t, "unidentified LINK function PROBIT"));
  EXPECT_TRUE(warned(t, "LINK function set to SIN          "));
  EXPECT_TRUE(warned(t, "The proc estimate option 'WINGS' was not recognized."));
  EXPECT_EQ(t.job.model.vartyp, Variance::second_partials);
  EXPECT_EQ(t.job.model.nlink, Link::sin);
}

TEST(Estimate_options, a_value_that_is_missing_is_fatal) {
  Model_job t;
  t.read("proc estimate nsig; proc stop;");
  EXPECT_NE(error_of(t, [&] { estimate_options(t.job); }), "");
}

TEST(Estimate_statements, end_with_the_next_procedure_in_hand) {
  Model_job t;
  read_model(t, plain_design);
  EXPECT_EQ(t.words(), (std::vector<std::string>{"PROC", "STOP"}));
  EXPECT_EQ(t.job.status.indent, 1);
}

TEST(Estimate_statements, no_design_is_fatal) {
  Model_job t;
  read_model(t, "proc estimate;");
  EXPECT_EQ(error_of(t, [&] { model_arrays(t.job); }), "No DESIGN MATRIX was specified.");
}

TEST(Estimate_statements, initial_values_with_and_without_equals) {
  for (const char* text : {"initial = 0.5 -1e-2;", "initial 0.5 -1e-2;"}) {
    Model_job t;
    read_model(t, plain_design + text);
    EXPECT_TRUE(t.job.model.initial_given);
    EXPECT_EQ(t.job.model.intvals, (Numbers{0.5, -0.01}));
  }
  for (const std::string& deck :
       {plain_design + "initial 1;", "proc estimate; initial 1;" + plain_design.substr(14)}) {
    Model_job t;
    EXPECT_EQ(error_of(t, [&] { read_model(t, deck); }),
              "Number of initial values does not match the number of beta parameters.");
  }
}

TEST(Estimate_statements, fixed_parameters) {
  Model_job t;
  read_model(t, plain_design + "fixed=2; parm(2)=0.25; phi(1)=3; betafixed=2; beta(1)=-1.5; parm(2)=0.25;");
  EXPECT_EQ(t.job.model.fixdex, (Integers{2}));
  EXPECT_EQ(t.job.model.fixval, (Numbers{0.25}));
  EXPECT_EQ(t.job.model.fixbetadex, (Integers{1}));
  EXPECT_EQ(t.job.model.fixbetaval, (Numbers{-1.5}));
  EXPECT_TRUE(warned(t, "statement to fix a parameter not PARM(xx)=value;"));
  EXPECT_TRUE(warned(t, "Statement to fix a parameter not BETA(xx)=value;"));
  EXPECT_FALSE(t.listing_has("not understood"));
}

TEST(Estimate_statements, a_later_fixed_value_takes_the_place_of_an_earlier_one) {
  Model_job t;
  read_model(t, plain_design + "fixed=3; parm(2)=0.25; parm(1)=0.5; parm(2)=0.75;");
  EXPECT_EQ(t.job.model.fixdex, (Integers{2, 1}));
  EXPECT_EQ(t.job.model.fixval, (Numbers{0.75, 0.5}));
}

TEST(Estimate_statements, any_number_of_fixed_parameters_ends) {
  Model_job t;
  read_model(t, plain_design + "fixed=-5; model=a;");
  EXPECT_EQ(t.job.model.modnam, "{a}");
  Model_job u;
  u.read(plain_design + "fixed=2147483647; parm(1)=0.5;");
  estimate_options(u.job);
  const std::string message = error_of(u, [&] { estimate_statements(u.job); });
  EXPECT_TRUE(message.empty() || message == "Length of command exceeded MAXCHR/2 characters.") << message;
  EXPECT_LT(u.listing().size(), 10000u);
}

TEST(Estimate_statements, fixed_parameters_that_do_not_exist_are_fatal) {
  for (const char* text : {"fixed=1; parm(0)=0.5;", "fixed=1; parm(3)=0.5;", "fixed=1; parm(-7)=0.5;"}) {
    Model_job t;
    read_model(t, plain_design + text);
    EXPECT_TRUE(error_of(t, [&] { model_arrays(t.job); }).ends_with(") is not one of 1 to 2.")) << text;
  }
  Model_job t;
  read_model(t, plain_design + "betafixed=1; beta(3)=0.5;");
  EXPECT_EQ(error_of(t, [&] { model_arrays(t.job); }), "Fixed parameter BETA(3) is not one of 1 to 2.");
}

TEST(Estimate_statements, model_name_as_typed) {
  Model_job t;
  read_model(t, plain_design + "Model = {Phi(t) p(g), a=b} ;");
  EXPECT_EQ(t.job.model.modnam, "{Phi(t) p(g), a=b}");
  read_model(t, "proc estimate; model=My Name;");
  EXPECT_EQ(t.job.model.modnam, "{My Name}");
}

TEST(Estimate_statements, data_type_joins_the_name_on_request) {
  Model_job t;
  t.job.status.show_dt_model = 1;
  read_model(t, plain_design + "model={Phi(.)};");
  EXPECT_EQ(t.job.model.modnam, "{Phi(.)} " + std::string(datastrings(1)) + " (1)");
}

TEST(Estimate_statements, labels_keep_their_text) {
  Model_job t;
  read_model(t, plain_design + "rlabel(2)=1:Survival, All Years; blabel(1) = a=b ;");
  EXPECT_EQ(t.job.model.rlabel(1), "real 1");
  EXPECT_EQ(t.job.model.rlabel(2), "1:Survival, All Years");
  EXPECT_EQ(t.job.model.blabel(1), "a=b");
}

TEST(Estimate_statements, labels_outside_warn) {
  Model_job t;
  read_model(t,
             plain_design + "rlabel(0)=x; rlabel(3)=x; blabel(-1)=x; blabel(3)=x; dlabel(0)=x; dlabel(1)=x;");
  EXPECT_TRUE(warned(t, "Value of real parameter label index <1."));
  EXPECT_TRUE(warned(t, "Value of real parameter label index exceeds rows in design matrix."));
  EXPECT_TRUE(warned(t, "Value of beta parameter label index <1."));
  EXPECT_TRUE(warned(t, "Value of beta parameter label index exceeds columns in design matrix."));
  EXPECT_TRUE(warned(t, "Value of derived parameter label index <1."));
  EXPECT_TRUE(warned(t, "Value of derived parameter label index exceeds number of derived parameters."));
}

TEST(Estimate_statements, derived_labels_up_to_their_number) {
  Sizes sizes;
  sizes.dattyp = 5;
  sizes.ngrps = 2;
  Model_job t(sizes);
  read_model(t, plain_design + "dlabel(2)=N of males; dlabel(3)=x;");
  ASSERT_EQ(t.job.model.dlabel.size(), 2);
  EXPECT_EQ(t.job.model.dlabel(2), "N of males");
  EXPECT_TRUE(warned(t, "Value of derived parameter label index exceeds number of derived parameters."));
}

TEST(Estimate_statements, profile) {
  Model_job t;
  read_model(t, plain_design + "profile = 2 chat=1.5;");
  EXPECT_EQ(t.job.model.profilevals, (Integers{2}));
  EXPECT_EQ(t.job.model.chatuse, 1.5);
  model_arrays(t.job);
  EXPECT_EQ(t.job.model.profileflag(1), 0);
  EXPECT_EQ(t.job.model.profileflag(2), 1);
  Model_job u;
  read_model(u, plain_design + "profile 1 7 chat=0.5;");
  EXPECT_EQ(u.job.model.chatuse, 1.0);
  EXPECT_TRUE(warned(u, "Profile likelihood CI c-hat set to 1.0."));
  model_arrays(u.job);
  EXPECT_TRUE(warned(u, "Profile likelihood interval wanted for real parameter 7, which does not exist."));
  Model_job v;
  EXPECT_EQ(error_of(v, [&] { read_model(v, plain_design + "profile=1 chat=10;"); }),
            "Profile likelihood CI c-hat >= 10.0.");
}

TEST(Estimate_statements, covariate_values) {
  Sizes sizes;
  sizes.nicovs = 2;
  Model_job t(sizes);
  t.name_covariates({"AGE", "SEX"});
  t.job.data.icvrmn(1) = 3.0;
  t.job.data.icvrsd(1) = 2.0;
  t.job.data.icvrmn(2) = 0.5;
  t.job.data.icvrsd(2) = 1.0;
  read_model(t, "proc estimate; icvalues = 7 1;");
  EXPECT_EQ(t.job.model.icvalues, (Numbers{7.0, 1.0}));
  t.job.status.stdic = 1;
  read_model(t, "proc estimate; icvalues 7 1; icfirst;");
  EXPECT_EQ(t.job.model.icvalues, (Numbers{2.0, 0.5}));
  t.clear();
  read_model(t, "proc estimate; icvalues 7;");
  EXPECT_EQ(t.job.model.icvalues, (Numbers{2.0, 0.0}));
  EXPECT_TRUE(warned(t,
                     "Error number 1  number of individual covariate values specified differs from number of "
                     "individual covariates."));
  read_model(t, "proc estimate; icvalues 7 1 9;");
  EXPECT_EQ(t.job.model.nicvalues(), 2);
}

TEST(Estimate_statements, hyperdistributions_are_refused) {
  Model_job t;
  EXPECT_EQ(error_of(t, [&] { read_model(t, plain_design + "hyperdistributions=1;"); }),
            "HYPERDISTRIBUTIONS is not available in this version of TARN.");
}

TEST(Estimate_statements, unknown_statement_warns_above_its_echo) {
  Model_job t;
  read_model(t, plain_design + "wings=2; icfirst;");
  EXPECT_TRUE(warned(t, "The following statement was not understood:"));
  EXPECT_TRUE(t.listing_has("not understood: \n INPUT ---    wings=2;\n"));
}

TEST(Estimate_statements, matrices_and_links_are_read_in_any_order) {
  Model_job t;
  read_model(
      t,
      "proc estimate link=parm-specific; fixed=1; parm(1)=0.2; design matrix constraints=2 covariates=2 "
      "identity;"
      "group=1 Phi rows=1 cols=2 square; 1 2; links; mlogit(1); mlogit(1); group=1 p rows=1 cols=1 square "
      "constant=2;");
  model_arrays(t.job);
  EXPECT_EQ(t.job.model.pim2(1, 1, 1, 1).at(1, 2), 2);
  EXPECT_EQ(t.job.model.linkfuncptr(1).fixed, 1);
  EXPECT_EQ(t.job.model.linkfuncptr(2).fixed, 0);
}

TEST(Model_arrays, positions_of_the_estimated_betas) {
  Model_job t;
  read_model(t,
             "proc estimate; design matrix constraints=2 covariates=4 nlbetas=1; 1 0 2 0; 0 0 nlbeta(1) 1;"
             "betafixed=1; beta(1)=-0.75; fixed=1; parm(2)=0.5;");
  model_arrays(t.job);
  const Model_arrays& model = t.job.model;
  EXPECT_EQ(Integers(model.bindex.begin(), model.bindex.end()), (Integers{0, 0, 1, 2, 3}));
  EXPECT_EQ(model.beta(1), -0.75);
  EXPECT_EQ(model.beta(2), 0.0);
  EXPECT_EQ(model.fixpar(1), 0);
  EXPECT_EQ(model.fixpar(2), 1);
  EXPECT_EQ(model.parm.extent(), 2);
  EXPECT_EQ(model.betast.extent(), 5);
  EXPECT_FALSE(t.listing_has("WARNING"));
}

}  // namespace
}  // namespace tarn
