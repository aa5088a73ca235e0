// Whole models: the figures and tables of the listing against what theory says of them.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/deck_run.h"

namespace tarn {
namespace {

const std::vector<double> phi_true{0.8, 0.7, 0.6, 0.75, 0.75}, p_true{0.5, 0.4, 0.6, 0.55, 0.35},
    lengths{1.0, 1.0, 2.0, 1.0, 0.5};

std::string data_of_expected_counts(double released = 5000.0) {
  return "proc chmatrix occasions=6 groups=1 hist=100 etype=LIVE;\n time intervals 1 1 2 1 .5;\n" +
         expected_records(phi_true, p_true, lengths, released);
}

// Phi of the last interval equals that before it, so that every parameter can be estimated.
std::string model(const std::string& options = "link=LOGIT", const std::string& more = "") {
  return "proc estimate " + options + ";\n model={Phi(t) p(t)};\n" + more +
         "group=1 Phi rows=5 cols=5 square;\n"
         "1 2 3 4 4;\n1 2 3 4 4;\n1 2 3 4 4;\n1 2 3 4 4;\n1 2 3 4 4;\n"
         "group=1 p rows=5 cols=5 triang time=5;\n"
         "design matrix constraints=9 covariates=9 identity;\n";
}

const std::vector<double> reals_true{0.8, 0.7, 0.6, 0.75, 0.5, 0.4, 0.6, 0.55, 0.35};

class Every_link : public testing::TestWithParam<const char*> {};

TEST_P(Every_link, expected_counts_give_back_the_parameters) {
  const Deck_result result =
      run_deck(data_of_expected_counts() + model(std::string("link=") + GetParam()) + "proc stop;");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  for (int i = 1; i <= 9; ++i)
    EXPECT_NEAR(result.real(i).estimate, reals_true[static_cast<std::size_t>(i) - 1], 1e-5)
        << GetParam() << i;
  EXPECT_NEAR(result.number("Number of Estimated Parameters {Phi(t) p(t)} = "), 9.0, 0.0);
}
INSTANTIATE_TEST_SUITE_P(links, Every_link,
                         testing::Values("LOGIT", "LOGLOG", "CLOGLOG", "SIN", "LOG", "IDENTITY", "CAUCHY"));

class Every_variance : public testing::TestWithParam<const char*> {};

// At expected counts the observed and the expected information are one matrix.
TEST_P(Every_variance, procedures_agree_at_expected_counts) {
  const auto fitted = [](const std::string& name) {
    return run_deck(data_of_expected_counts() + model("link=LOGIT varest=" + name) + "proc stop;");
  };
  const Deck_result reference = fitted("2ndPart"), result = fitted(GetParam());
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  // The optimizer's matrix is an approximation that the path has left.
  const double tolerance = std::string(GetParam()) == "Hessian" ? 0.5 : 2e-4;
  for (int i = 1; i <= 9; ++i)
    EXPECT_NEAR(result.real(i).se / reference.real(i).se, 1.0, tolerance) << GetParam() << i;
}
INSTANTIATE_TEST_SUITE_P(procedures, Every_variance, testing::Values("Hessian", "Observed", "Expected"));

// One interval, p fixed at 1: Phi is a binomial proportion, and the model is saturated.
TEST(Figures, binomial_proportion_has_its_textbook_figures) {
  const Deck_result result = run_deck(
      "proc chmatrix occasions=2 groups=1 hist=10 etype=LIVE;\n 11 30; 10 70;\n"
      "proc estimate link=LOGIT quasi;\n model={Phi};\n fixed=1; parm(2)=1;\n"
      "group=1 Phi rows=1 cols=1 triang; 1;\n group=1 p rows=1 cols=1 triang; 2;\n"
      "design matrix constraints=2 covariates=1; 1; 0;\n proc stop;");
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const double phi = 0.3, n = 100.0, m2logl = -2.0 * (30.0 * std::log(phi) + 70.0 * std::log(1.0 - phi));
  EXPECT_NEAR(result.real(1).estimate, phi, 1e-6);
  EXPECT_NEAR(result.real(1).se, std::sqrt(phi * (1.0 - phi) / n), 1e-6);
  const double c = std::exp(1.96 * std::sqrt(phi * (1.0 - phi) / n) / (phi * (1.0 - phi)));
  EXPECT_NEAR(result.real(1).lower, phi / (phi + (1.0 - phi) * c), 1e-6);
  EXPECT_NEAR(result.real(1).upper, phi * c / (1.0 - phi + phi * c), 1e-6);
  EXPECT_NEAR(result.beta(1).estimate, std::log(phi / (1.0 - phi)), 1e-6);
  EXPECT_NEAR(result.beta(1).se, 1.0 / std::sqrt(n * phi * (1.0 - phi)), 1e-6);
  EXPECT_NEAR(result.number("-2logL(saturated) = "), m2logl, 1e-4);
  EXPECT_NEAR(result.number("-2logL {Phi} = "), m2logl, 1e-4);
  EXPECT_NEAR(result.number("Effective Sample Size = "), 100.0, 0.0);
  EXPECT_NEAR(result.number("DEVIANCE {Phi} = "), 0.0, 1e-6);
  EXPECT_NEAR(result.number("DEVIANCE Degrees of Freedom {Phi} = "), 0.0, 0.0);
  EXPECT_NEAR(result.number("\n c-hat {Phi} = "), 1.0, 0.0);
  EXPECT_NEAR(result.number("\n AIC {Phi} = "), m2logl + 2.0, 1e-4);
  EXPECT_NEAR(result.number("\n AICc {Phi} = "), m2logl + 2.0 + 4.0 / 98.0, 1e-4);
  EXPECT_NEAR(result.number("\n BIC {Phi} = "), m2logl + std::log(100.0), 1e-4);
  EXPECT_NEAR(result.number("\n QAIC {Phi} = "), m2logl + 2.0, 1e-4);
  EXPECT_NEAR(result.number("Pearson Chisquare {Phi} = "), 0.0, 1e-6);
  EXPECT_NEAR(result.number("Possible Encounter Histories {Phi} = "), 2.0, 0.0);
  EXPECT_TRUE(result.has("Fixed"));
}

// Phi(t) p(t): the last Phi and the last p enter as a product, so one parameter of ten cannot be estimated.
TEST(Rank_of_a_model, last_survival_and_last_recapture_count_once) {
  const std::string deck =
      data_of_expected_counts(500.0) +
      "proc estimate link=LOGIT loop;\n model={Phi(t) p(t)};\n"
      "group=1 Phi rows=5 cols=5 triang time=1;\n group=1 p rows=5 cols=5 triang time=6;\n"
      "design matrix constraints=10 covariates=10 identity;\n proc stop;";
  const Deck_result result = run_deck(deck);
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  EXPECT_EQ(result.number("Number of Estimated Parameters {Phi(t) p(t)} = "), 9.0);
  EXPECT_TRUE(result.has(" is a singular value."));
  // The refit has nine betas and estimates them all.
  EXPECT_TRUE(result.has("for 9 parameters."));
  EXPECT_TRUE(result.has("Parameter  Parameter       Value          Value"));
  EXPECT_FALSE(result.has("for 8 parameters."));
  const std::size_t refit = result.listing.find("for 9 parameters.");
  const std::string tail = result.listing.substr(refit);
  EXPECT_NE(tail.find("Number of Estimated Parameters {Phi(t) p(t)} = 9"), std::string::npos);
}

TEST(Rank_of_a_model, numpar_stands_for_the_count) {
  const Deck_result result =
      run_deck(data_of_expected_counts() + model("link=LOGIT numpar=5 loop") + "proc stop;");
  ASSERT_EQ(result.stop, "NORMAL EXIT");
  EXPECT_FALSE(result.has("Attempted ordering"));
  EXPECT_FALSE(result.has("Gap Method"));
  EXPECT_NEAR(result.number("\n AIC {Phi(t) p(t)} = "), result.number("-2logL {Phi(t) p(t)} = ") + 10.0,
              1e-3);
}

TEST(Fit, every_thread_count_gives_one_listing) {
  const std::string deck = data_of_expected_counts() + model() + "proc stop;";
  const auto listing_of = [&](int threads) {
    const Deck_result result = run_deck(deck, [&](Job& job) { job.status.num_threads = threads; });
    std::string kept;
    std::size_t from = 0;
    for (std::size_t end; (end = result.listing.find('\n', from)) != std::string::npos; from = end + 1) {
      const std::string line = result.listing.substr(from, end - from);
      if (line.find("Time") == std::string::npos && line.find("Page") == std::string::npos)
        kept += line + "\n";
    }
    return kept;
  };
  const std::string one = listing_of(1);
  EXPECT_EQ(one, listing_of(2));
  EXPECT_EQ(one, listing_of(3));
  EXPECT_EQ(one, listing_of(70));
}

TEST(Fit, a_type_without_a_routine_says_so) {
  const Deck_result result = run_deck(
      "proc chmatrix occasions=3 groups=1 hist=10 etype=LOGITNORMALMR; 110 3; 100 4; 010 2;\n"
      "proc estimate; model={p}; group=1 p rows=1 cols=3 square constant=1;\n"
      "group=1 sigma rows=1 cols=1 square constant=2; group=1 N rows=1 cols=1 square constant=2;\n"
      "design matrix constraints=2 covariates=2 identity; proc stop;");
  EXPECT_EQ(result.stop, "ERROR EXIT from TARN");
  EXPECT_TRUE(result.has("ERROR -- result_var has an error for this data type.  LOGLIKE not computed."))
      << result.listing;
}

TEST(Fit, other_optimizers_end_in_a_clear_error) {
  const Deck_result result = run_deck(data_of_expected_counts() + model("optmiz") + "proc stop;");
  EXPECT_EQ(result.stop, "ERROR EXIT from TARN");
  EXPECT_TRUE(result.has("ERROR -- The optimizer OPTMIZ is not available in this version of TARN."));
}

TEST(Kept, evaluation_line_counts_iterations) {
  const Deck_result result = run_deck(data_of_expected_counts() + model("link=LOGIT debug") + "proc stop;");
  // The last detail block begins with the iterations and the evaluations; the line takes the first.
  const std::size_t line = result.listing.find("Number of function evaluations was ");
  ASSERT_NE(line, std::string::npos);
  const int told = std::atoi(result.listing.c_str() + line + 35);
  const std::size_t block = result.listing.rfind("Current Function Value", line);
  const std::size_t counts = result.listing.rfind('\n', block - 3);
  int itn = 0, ifn = 0;
  ASSERT_EQ(std::sscanf(result.listing.c_str() + counts, "%d %d", &itn, &ifn), 2);
  EXPECT_EQ(told, itn);
  EXPECT_GT(ifn, itn);
}

}  // namespace
}  // namespace tarn
