// A statement of the single word STOP, wherever a statement of a procedure may stand.

#include <gtest/gtest.h>

#include <string>

#include "support/deck_run.h"

namespace tarn {
namespace {

const std::string records =
    "1110 6; 1101 3; 1100 9; 1011 2; 1010 4; 1000 20; 0111 7; 0110 8; 0101 3; 0011 10;\n";
const std::string data = "proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE;\n" + records;
const std::string model =
    "proc estimate link=LOGIT;\nmodel={constant};\n"
    "group=1 Phi rows=3 cols=3 triang constant=1;\ngroup=1 p rows=3 cols=3 triang constant=2;\n"
    "design matrix constraints=2 covariates=2 identity;\n";

/// Ends as with PROC STOP, and has what that has.
void expect_same_end(const std::string& deck, std::string_view proof) {
  for (const char* stop : {"stop;\n", "STOP ;\n", "proc stop;\n"}) {
    const Deck_result result = run_deck(deck + stop);
    EXPECT_EQ(result.stop, "NORMAL EXIT") << stop << result.listing;
    EXPECT_TRUE(result.has(proof)) << stop << result.listing;
    EXPECT_TRUE(result.has("E X E C U T I O N   S U C C E S S F U L")) << stop;
    EXPECT_FALSE(result.has("WARNING")) << stop << result.listing;
  }
}

TEST(Stop, ends_a_title) { expect_same_end("proc title One word;\n", "proc title One word;"); }
TEST(Stop, ends_the_records) { expect_same_end(data, "Number of unique encounter histories read was 10."); }
TEST(Stop, ends_the_statements_before_a_record) {
  expect_same_end(
      "proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE;\n" + records + "time intervals 1 1 2;\n",
      "Number of unique encounter histories read was 10.");
}
TEST(Stop, ends_the_nests) {
  expect_same_end(
      "proc chmatrix occasions=9 groups=1 hist=20 etype=NEST;\nnest survival group=1;\n1 3 5 1 4;\n1 4 4 0 "
      "9;\n",
      "Number of unique encounter histories read was 2.");
}
TEST(Stop, ends_the_statements_of_a_model) {
  expect_same_end(data + model, "-2logL {constant}");
  const double f = run_deck(data + model + "proc stop;\n").number("-2logL {constant} =");
  EXPECT_EQ(run_deck(data + model + "stop;\n").number("-2logL {constant} ="), f);
}

TEST(Stop, is_echoed_as_the_end_of_the_job) {
  EXPECT_TRUE(run_deck(data + "stop;\n").has("\n INPUT --- stop;\n"));
}

// Two words are a record of the strata S, T, O and P.
TEST(Stop, with_a_count_is_a_history) {
  const Deck_result result = run_deck(
      "proc chmatrix occasions=4 groups=1 hist=20 strata=4 etype=MULTISTRATA;\nstrata=S T O P;\nSTOP 5;\n"
      "stop;\n");
  EXPECT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  EXPECT_TRUE(result.has("Number of unique encounter histories read was 1.")) << result.listing;
}

}  // namespace
}  // namespace tarn
