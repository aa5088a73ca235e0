// c-hat of the quasi-likelihood: the model's own, the one that is given, and what becomes of both in a file
// that is read again.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/deck_run.h"

namespace tarn {
namespace {

namespace fs = std::filesystem;

/// Captures of a closed population that vary more than the model allows; K is 1, whether the second column is
/// there or not. The columns are scaled.
std::string capture_deck(const std::string& options, const std::string& design = "covariates=1;\n 5;\n") {
  return "proc chmatrix occasions=3 groups=1 hist=7 etype=HUGGINS;\n"
         "100 30;\n 010 12;\n 001 9;\n 110 25;\n 101 8;\n 011 11;\n 111 40;\n"
         "proc estimate link=LOGIT" +
         options +
         ";\n model={p};\n group=1 p rows=1 cols=3 square constant=1;\n"
         "group=1 c rows=1 cols=2 square constant=1;\n design matrix constraints=1 " +
         design + " proc stop;";
}

/// Estimate, standard error and limits of the population size.
std::vector<double> population(const Deck_result& result) {
  const std::size_t section = result.listing.find("Population Estimates of ");
  const std::size_t row = result.listing.find("\n         1", section);
  if (section == std::string::npos || row == std::string::npos) return {NAN, NAN, NAN, NAN};
  std::vector<double> numbers;
  const char* text = result.listing.c_str() + row + 11;
  for (int k = 0; k < 4; ++k) {
    char* end = nullptr;
    numbers.push_back(std::strtod(text, &end));
    text = end;
  }
  return numbers;
}

// Numbers are printed with seven digits.
constexpr double printed = 2e-6;

TEST(Chat, that_is_given_multiplies_every_variance_once) {
  const Deck_result plain = run_deck(capture_deck(""));
  for (const char* options : {" chat=2.25", " quasi chat=2.25", " chat=2.25 quasi"}) {
    const Deck_result given = run_deck(capture_deck(options));
    ASSERT_EQ(given.stop, "NORMAL EXIT") << given.listing;
    EXPECT_EQ(given.beta(1).estimate, plain.beta(1).estimate);
    EXPECT_NEAR(given.beta(1).se, 1.5 * plain.beta(1).se, printed);
    EXPECT_NEAR(given.beta(1).upper - given.beta(1).estimate, 1.96 * given.beta(1).se, printed);
    EXPECT_NEAR(given.real(1).se, 1.5 * plain.real(1).se, printed);
    const double p = plain.real(1).estimate, c = std::exp(1.96 * 1.5 * plain.real(1).se / (p * (1.0 - p)));
    EXPECT_NEAR(given.real(1).lower, p / (p + (1.0 - p) * c), printed);
    EXPECT_NEAR(given.real(1).upper, p * c / (1.0 - p + p * c), printed);
    // The sampling term, too, but nothing twice.
    EXPECT_EQ(population(given)[0], population(plain)[0]);
    EXPECT_NEAR(population(given)[1], 1.5 * population(plain)[1], printed * population(plain)[1]);
    // The model's own c-hat is told as ever.
    EXPECT_EQ(given.number("\n c-hat {p} = "), plain.number("\n c-hat {p} = "));
    EXPECT_EQ(given.number("\n c-hat given {p} = "), 2.25);
    EXPECT_EQ(given.number("\n Variances multiplied by c-hat {p} = "), 2.25);
    const double m2logl = plain.number("\n -2logL {p} = ");
    EXPECT_NEAR(given.number("\n QAIC {p} = "), m2logl / 2.25 + 2.0, 1e-4);
    EXPECT_EQ(given.number("\n AIC {p} = "), plain.number("\n AIC {p} = "));
  }
  const Deck_result quasi = run_deck(capture_deck(" quasi"));
  EXPECT_FALSE(quasi.has("c-hat given"));
  EXPECT_FALSE(quasi.has("Variances multiplied by c-hat"));
  EXPECT_EQ(quasi.beta(1).se, plain.beta(1).se);
  EXPECT_EQ(quasi.real(1).se, plain.real(1).se);
}

TEST(Chat, that_is_given_holds_for_survival_and_the_own_one_does_not) {
  const auto row = [](const std::string& options) {
    const Deck_result result = run_deck(
        "proc chmatrix occasions=4 groups=1 hist=10 etype=KNOWN;\n"
        "known fate group=1;\n 100 20;\n 80 4;\n 76 15;\n 61 3;\n proc estimate link=LOGIT" +
        options +
        ";\n model={S};\n group=1 S rows=1 cols=4 square constant=1;\n"
        "design matrix constraints=1 covariates=1 identity;\n proc stop;");
    const std::size_t place = result.listing.find("\n   1  ", result.listing.find("Survival Estimates of "));
    double estimate = NAN, se = NAN;
    std::sscanf(result.listing.c_str() + place, " 1 %lf %lf", &estimate, &se);
    EXPECT_GT(result.number("\n c-hat {S} = "), 1.5);
    return std::vector<double>{estimate, se};
  };
  const std::vector<double> plain = row(""), quasi = row(" quasi"), given = row(" chat=4");
  ASSERT_GT(plain[1], 0.01);
  EXPECT_EQ(quasi, plain);
  EXPECT_EQ(given[0], plain[0]);
  EXPECT_NEAR(given[1], 2.0 * plain[1], printed);
}

class Chat_file : public testing::Test {
 protected:
  void SetUp() override {
    file = (fs::temp_directory_path() / ("tarn_chat_" + std::to_string(::getpid()) + "_" +
                                         testing::UnitTest::GetInstance()->current_test_info()->name()))
               .string();
  }
  void TearDown() override { fs::remove(file); }

  Deck_result fit(const std::string& deck) {
    return run_deck(deck, [&](Job& job) { job.status.filvcm = file; });
  }
  Deck_result read(const std::string& deck) {
    return run_deck(deck, [&](Job& job) {
      job.status.onlyrealderiv = 1;
      job.status.filvcmonlyrealderiv = file;
    });
  }
  std::string bytes() const {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  std::string file;
};

TEST_F(Chat_file, header_ends_with_the_c_hat_that_was_given) {
  const auto size_of_header = [this] {
    std::int32_t size = 0;
    std::memcpy(&size, bytes().data(), 4);
    return size;
  };
  for (const char* options : {"", " quasi"}) {
    fit(capture_deck(options));
    EXPECT_EQ(size_of_header(), 24) << options;
  }
  fit(capture_deck(" chat=2.25"));
  ASSERT_EQ(size_of_header(), 32);
  double chat = 0.0;
  std::memcpy(&chat, bytes().data() + 4 + 24, 8);
  EXPECT_EQ(chat, 2.25);
}

TEST_F(Chat_file, read_again_gives_the_variances_of_the_fit) {
  const Deck_result plain = run_deck(capture_deck(""));
  const double own = plain.number("\n c-hat {p} = ");
  ASSERT_GT(own, 1.5);
  struct Case {
    const char *fitted, *read;
    double of_beta, of_population;  // what variances are multiplied by
  };
  const Case cases[] = {{"", "", 1.0, 1.0},
                        {"", " quasi", 1.0, own},
                        {" quasi", " quasi", 1.0, own},
                        {" quasi", "", 1.0, 1.0},
                        {"", " chat=4", 4.0, 4.0},
                        {" quasi", " chat=4", 4.0, 4.0},
                        {" chat=2.25", " chat=2.25", 2.25, 2.25},
                        {" chat=2.25", " chat=4", 4.0, 4.0},
                        {" chat=2.25", "", 2.25, 2.25},
                        {" chat=2.25", " quasi", 2.25, 2.25},
                        {" chat=1", " quasi", 1.0, 1.0}};
  // The second design has a column that is no parameter of its own: the c-hat of a model counts one, not two.
  for (const char* design : {"covariates=1;\n 5;\n", "covariates=2;\n 5 5;\n"})
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(design) + "fitted" + c.fitted + ", read" + c.read);
      const Deck_result first = fit(capture_deck(c.fitted, design));
      ASSERT_EQ(first.number("Number of Estimated Parameters {p} = "), 1.0);
      const Deck_result again = read(capture_deck(c.read, design));
      ASSERT_EQ(again.stop, "NORMAL EXIT") << again.listing;
      EXPECT_NEAR(again.real(1).estimate, plain.real(1).estimate, printed);
      EXPECT_NEAR(again.real(1).se, std::sqrt(c.of_beta) * plain.real(1).se, printed);
      EXPECT_NEAR(population(again)[1], std::sqrt(c.of_population) * population(plain)[1], 1e-5);
    }
}

TEST_F(Chat_file, numpar_is_the_count_of_a_model_that_is_read) {
  const std::string deck = capture_deck(" quasi numpar=4");
  const Deck_result first = fit(deck), again = read(deck);
  ASSERT_GT(first.number("\n c-hat {p} = "), 1.2 * run_deck(capture_deck("")).number("\n c-hat {p} = "));
  EXPECT_EQ(population(again), population(first));
}

TEST_F(Chat_file, damaged_c_hat_is_no_c_hat) {
  fit(capture_deck(" chat=2.25"));
  for (const double chat : {-1.0, HUGE_VAL, std::nan("")}) {
    std::fstream out(file, std::ios::binary | std::ios::in | std::ios::out);
    out.seekp(4 + 24);
    out.write(reinterpret_cast<const char*>(&chat), 8);
    out.close();
    const Deck_result again = read(capture_deck(""));
    EXPECT_TRUE(again.has("ERROR -- Mismatch of parameters in binary file and input file.")) << chat;
  }
}

}  // namespace
}  // namespace tarn
