// The results file of decks that run in memory: what no listing shows beside it.

#include <gtest/gtest.h>

#include <string>

#include "model/results/results_file.h"
#include "support/deck_run.h"

namespace tarn {
namespace {

const std::string animals =
    "1110 6;\n1101 3;\n1100 9;\n1011 2;\n1010 4;\n1000 20;\n0111 7;\n0110 8;\n0101 3;\n0100 15;\n0011 10;\n"
    "0010 14;\n";

/// The results file that a deck gives.
std::string results_of(const std::string& deck) {
  Test_job t;
  t.job.status.maxlin = 0;
  t.open(deck);
  t.job.streams.open_memory(t.job.status.sysjson);
  const std::string stop = stop_text([&] { run_job(t.job); });
  end_results(t, stop);
  return std::string(t.job.streams.contents(t.job.status.sysjson));
}

::testing::AssertionResult has(const std::string& results, const std::string& text) {
  if (results.find(text) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << text << " is not in\n" << results;
}

TEST(Results_file, tells_the_options_in_force) {
  const std::string results = results_of(
      "proc chmatrix occasions=4 groups=1 hist=20 etype=Live;\n" + animals +
      "proc estimate link=LOGIT starts=2 maxfn=500 nsig=6 centralfd deltax=1e-7 nostanddm numpar=1 loop "
      "quasi essanimals;\n"
      "model={M};\ninitial 0.5 0.25;\n"
      "group=1 Phi rows=3 cols=3 triang constant=1;\ngroup=1 p rows=3 cols=3 triang constant=2;\n"
      "design matrix constraints=2 covariates=2 identity;\nproc stop;\n");
  EXPECT_TRUE(has(results, R"x("data_type":{"number":1,"keyword":"Live","name":"Live Recaptures (CJS)"})x"));
  EXPECT_TRUE(has(results,
                  R"("options":{"minimiser":"VA09AD","maxfn":500,"nsig":6,"central_differences":true,)"
                  R"("deltax":1e-07,"initial_values":true,"standardized_design":false,"starts":2,"numpar":1,)"
                  R"("ratio_threshold":50,"loop":true,"quasi":true,"c_hat":null,)"
                  R"("sample_size_of_animals":true})"));
  EXPECT_TRUE(has(results, R"("effective_sample_size":101,)"));
  EXPECT_TRUE(has(results, R"("parameters":1,"singular_values":[)"));
  EXPECT_TRUE(has(results, R"("gap":null,"threshold":null)"));
}

/// Warnings on the listing of a deck, with a results file or without one.
std::size_t warnings_of(const std::string& deck, bool with_results) {
  Test_job t;
  t.job.status.maxlin = 0;
  t.open(deck);
  if (with_results) t.job.streams.open_memory(t.job.status.sysjson);
  stop_text([&] { run_job(t.job); });
  const std::string listing = t.listing();
  std::size_t count = 0;
  for (std::size_t at = listing.find("WARNING"); at != std::string::npos;
       at = listing.find("WARNING", at + 1))
    ++count;
  return count;
}

// The description evaluates the design once more; what that raises is not the next model's.
TEST(Results_file, raises_no_conditions_on_the_listing) {
  const std::string matrices =
      "group=1 Phi rows=3 cols=3 triang time=1;\ngroup=1 p rows=3 cols=3 triang time=4;\n";
  const std::string deck =
      "proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE;\n" + animals +
      "proc estimate link=LOGIT nostanddm;\nmodel={one};\n" + matrices +
      "design matrix constraints=6 covariates=4;\n"
      "1 power(0,-1) 0 0;\n1 2 0 0;\n1 3 0 0;\n0 0 1 1;\n0 0 1 2;\n0 0 1 3;\n"
      "proc estimate link=LOGIT;\nmodel={two};\n" +
      matrices +
      "design matrix constraints=6 covariates=2;\n1 0;\n1 0;\n1 0;\n0 1;\n0 1;\n0 1;\nproc stop;\n";
  EXPECT_EQ(warnings_of(deck, true), warnings_of(deck, false));
}

TEST(Results_file, tells_the_sets_of_links) {
  const std::string results =
      results_of("proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE;\n" + animals +
                 "proc estimate link=parm-specific;\nmodel={M};\n"
                 "group=1 Phi rows=3 cols=3 triang time=1;\ngroup=1 p rows=3 cols=3 triang constant=4;\n"
                 "design matrix constraints=4 covariates=4 identity;\n"
                 "links;\nMLOGIT(3);\nMLOGIT(3);\nSIN;\nLOGLOG;\nfixed=1;\nparm(3)=0.5;\nproc stop;\n");
  EXPECT_TRUE(has(results, R"("fixed":false,"link":"MLOGIT","link_set":3,"second_link_set":null)"));
  EXPECT_TRUE(has(results, R"("fixed":true,"link":"SIN","link_set":null,"second_link_set":null)"));
  EXPECT_TRUE(has(results, R"("fixed":false,"link":"LOGLOG","link_set":null,"second_link_set":null)"));
  EXPECT_TRUE(has(results, R"("link":"PARM-SPECIFIC","variance_procedure":"2ndPart")"));
}

TEST(Results_file, tells_functions_of_one_argument_and_of_two) {
  std::string records;
  for (const char* size : {"0.5", "1.5", "2.5"})
    for (const char* record : {"110 6 ", "101 3 ", "100 9 ", "011 5 ", "010 4 "})
      records += record + std::string(size) + ";\n";
  const std::string results = results_of(
      "proc chmatrix occasions=3 groups=1 hist=20 etype=LIVE icovar=1;\nicovariates size;\n" + records +
      "proc estimate link=LOGIT;\nmodel={M};\n"
      "group=1 Phi rows=2 cols=2 triang constant=1;\ngroup=1 p rows=2 cols=2 triang constant=2;\n"
      "design matrix constraints=2 covariates=4;\n"
      "1 log(size) exp(add(size,-2)) add(exp(log(size)),0.5);\n0 0 0 1;\nproc stop;\n");
  EXPECT_TRUE(has(results, R"x([1,"LOG(SIZE)","EXP(ADD(SIZE,-2))","ADD(EXP(LOG(SIZE)),0.5)"])x"));
}

TEST(Results_file, tells_the_betas_that_a_refit_is_without) {
  const std::string results =
      results_of("proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE;\n" + animals +
                 "proc estimate loop link=LOGIT;\nmodel={M};\n"
                 "group=1 Phi rows=3 cols=3 triang constant=1;\ngroup=1 p rows=3 cols=3 triang constant=2;\n"
                 "design matrix constraints=2 covariates=3;\n1 1 0;\n0 0 1;\nproc stop;\n");
  // Of betas 1 and 2, which enter as a sum, one leaves.
  EXPECT_TRUE(has(results, R"("fit":{"fits":2,"removed_betas":[1])") ||
              has(results, R"("fit":{"fits":2,"removed_betas":[2])"));
  EXPECT_EQ(results.find(R"("type":"model")"), results.rfind(R"("type":"model")"));
}

TEST(Results_file, texts_that_are_no_utf8_are_mended) {
  const std::string results = results_of(
      "proc title \xff\xc3\xa9\xc3 \"t\" \\;\nproc chmatrix occasions=4 groups=1 hist=20 etype=LIVE;\n" +
      animals +
      "proc estimate link=LOGIT;\nmodel={M\x01};\n"
      "group=1 Phi rows=3 cols=3 triang constant=1;\ngroup=1 p rows=3 cols=3 triang constant=2;\n"
      "design matrix constraints=2 covariates=2 identity;\nproc stop;\n");
  EXPECT_TRUE(has(results, "\"title\":\"\xef\xbf\xbd\xc3\xa9\xef\xbf\xbd \\\"t\\\" \\\\\""));
  EXPECT_TRUE(has(results, R"("name":"{M\u0001}")"));
}

TEST(Results_file, ends_with_the_error_and_what_no_model_has) {
  const std::string results = results_of("proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE nonsense;\n" +
                                         animals + "proc nothing;\n");
  EXPECT_EQ(results, R"({"type":"end","schema":1,"stop":"ERROR EXIT from TARN",)"
                     R"("error":"Unrecognized procedure specified: NOTHING","models":0,)"
                     R"("warnings":["The chproc option \"NONSENSE\" was not recognized."]})"
                     "\n");
}

TEST(Results_file, is_not_made_unless_asked_for) {
  Test_job t;
  EXPECT_FALSE(results_wanted(t));
  end_results(t, "NORMAL EXIT");
  EXPECT_EQ(t.listing() + t.screen(), "");
}

}  // namespace
}  // namespace tarn
