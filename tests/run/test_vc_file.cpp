// The variance-covariance file byte by byte, its second life under RDVC, and the working file that goes.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "support/deck_run.h"

namespace tarn {
namespace {

namespace fs = std::filesystem;

class Vc_file : public testing::Test {
 protected:
  void SetUp() override {
    folder = fs::temp_directory_path() / ("tarn_vc_" + std::to_string(::getpid()) + "_" +
                                          testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(folder);
    file = (folder / "model.vcm").string();
  }
  void TearDown() override { fs::remove_all(folder); }

  fs::path folder;
  std::string file;
};

// Survival depends on a covariate of size 1000, so that the columns of the design are scaled.
std::string covariate_deck(const std::string& more = "") {
  std::mt19937_64 random(20);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::string records;
  for (int i = 0; i < 400; ++i) {
    const double mass = 800.0 + 400.0 * uniform(random);
    const double phi = 1.0 / (1.0 + std::exp(-(-3.0 + 0.004 * mass)));
    std::string history = "1";
    bool alive = true;
    for (int o = 2; o <= 5; ++o) {
      alive = alive && uniform(random) < phi;
      history += alive && uniform(random) < 0.6 ? '1' : '0';
    }
    records += history + " 1 " + std::to_string(mass) + ";\n";
  }
  return "proc chmatrix occasions=5 groups=1 hist=400 icovar=1 etype=LIVE;\n icovariates mass;\n" + records +
         "proc estimate link=LOGIT;\n model={Phi(mass) p(.)};\n" + more +
         "group=1 Phi rows=4 cols=4 triang constant=1;\n group=1 p rows=4 cols=4 triang constant=2;\n"
         "design matrix constraints=2 covariates=4;\n 1 mass 0 0;\n 0 0 1 0;\n proc stop;";
}

struct Contents {
  std::vector<std::string> records;
};

// Every record stands between two 32-bit counts of its bytes.
Contents read_records(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  Contents contents;
  std::size_t place = 0;
  while (place + 8 <= bytes.size()) {
    std::int32_t head = 0, tail = 0;
    std::memcpy(&head, bytes.data() + place, 4);
    if (head < 0 || place + 8 + static_cast<std::size_t>(head) > bytes.size()) break;
    std::memcpy(&tail, bytes.data() + place + 4 + head, 4);
    EXPECT_EQ(head, tail);
    contents.records.push_back(bytes.substr(place + 4, static_cast<std::size_t>(head)));
    place += 8 + static_cast<std::size_t>(head);
  }
  EXPECT_EQ(place, bytes.size());
  return contents;
}

double number_at(const std::string& record, int k) {
  double number = 0.0;
  std::memcpy(&number, record.data() + 8 + 8 * k, 8);
  return number;
}

TEST_F(Vc_file, holds_what_the_tables_show) {
  const Deck_result fit = run_deck(covariate_deck(), [&](Job& job) { job.status.filvcm = file; });
  ASSERT_EQ(fit.stop, "NORMAL EXIT") << fit.listing;
  const Contents contents = read_records(file);
  // Header, four rows of betas, 3 rows of their matrix, four rows of reals, 2 rows of theirs.
  ASSERT_EQ(contents.records.size(), 14u);
  EXPECT_EQ(contents.records[0].substr(0, 8), "BINARY  ");
  ASSERT_EQ(contents.records[0].size(), 24u);
  std::int32_t header[4];
  std::memcpy(header, contents.records[0].data() + 8, 16);
  EXPECT_EQ(header[0], 3);  // the fourth column is empty, its beta is not estimated
  EXPECT_EQ(header[1], 2);
  EXPECT_EQ(header[2], 1);
  EXPECT_EQ(header[3], 1);
  const char* tags[] = {"BETA PAR", "BETA SE ", "BETA LCI", "BETA UCI", "ROW    1", "ROW    2", "ROW    3",
                        "REAL PAR", "REAL SE ", "REAL LCI", "REAL UCI", "ROW    1", "ROW    2"};
  for (std::size_t k = 0; k < 13; ++k) EXPECT_EQ(contents.records[k + 1].substr(0, 8), tags[k]);
  for (std::size_t k = 1; k <= 4; ++k) EXPECT_EQ(contents.records[k].size(), 8u + 4u * 8u);
  for (std::size_t k = 5; k <= 7; ++k) EXPECT_EQ(contents.records[k].size(), 8u + 3u * 8u);
  for (std::size_t k = 8; k <= 13; ++k) EXPECT_EQ(contents.records[k].size(), 8u + 2u * 8u);
  for (int i = 0; i < 4; ++i) {
    const Deck_result::Row row = fit.beta(i + 1);
    EXPECT_NEAR(number_at(contents.records[1], i), row.estimate, 1e-6);
    EXPECT_NEAR(number_at(contents.records[2], i), row.se, 1e-6);
    EXPECT_NEAR(number_at(contents.records[3], i), row.lower, 1e-6);
    EXPECT_NEAR(number_at(contents.records[4], i), row.upper, 1e-6);
  }
  EXPECT_EQ(number_at(contents.records[2], 3), 0.0);
  // The matrix is that of the betas as shown.
  EXPECT_NEAR(std::sqrt(number_at(contents.records[6], 1)), number_at(contents.records[2], 1), 1e-12);
  for (int i = 0; i < 2; ++i) {
    EXPECT_NEAR(number_at(contents.records[8], i), fit.real(i + 1).estimate, 1e-6);
    EXPECT_NEAR(std::sqrt(number_at(contents.records[static_cast<std::size_t>(12 + i)], i)),
                number_at(contents.records[9], i), 1e-12);
  }
}

TEST_F(Vc_file, read_again_gives_the_reals_of_the_fit) {
  for (const char* values : {"", "icvalues=950;\n"}) {
    const Deck_result fit = run_deck(covariate_deck(values), [&](Job& job) { job.status.filvcm = file; });
    const Deck_result again = run_deck(covariate_deck(values), [&](Job& job) {
      job.status.onlyrealderiv = 1;
      job.status.filvcmonlyrealderiv = file;
    });
    ASSERT_EQ(again.stop, "NORMAL EXIT") << again.listing;
    EXPECT_FALSE(again.has("Number of function evaluations"));
    for (int i = 1; i <= 2; ++i) {
      EXPECT_NEAR(again.real(i).estimate, fit.real(i).estimate, 1e-7);
      EXPECT_NEAR(again.real(i).se, fit.real(i).se, 1e-7);
      EXPECT_NEAR(again.real(i).lower, fit.real(i).lower, 1e-7);
      EXPECT_NEAR(again.beta(i).se, fit.beta(i).se, 1e-7);
    }
  }
}

// Members of a multinomial set have their derivatives by differences.
TEST_F(Vc_file, differences_of_multinomial_sets_have_the_step_of_deltax) {
  const auto deck = [](const std::string& options) {
    return "proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE;\n1110 6;\n1101 3;\n1100 9;\n1011 2;\n1010 "
           "4;\n"
           "1000 20;\n0111 7;\n0110 8;\n0101 3;\n0100 15;\n0011 10;\n0010 14;\n"
           "proc estimate link=parm-specific" +
           options +
           ";\n model={M};\n group=1 Phi rows=3 cols=3 triang time=1;\n group=1 p rows=3 cols=3 triang "
           "constant=4;\n"
           "design matrix constraints=4 covariates=4 identity;\n"
           "links; MLOGIT(1); MLOGIT(1); LOGIT; LOGIT;\n proc stop;";
  };
  const Deck_result fit = run_deck(deck(""), [&](Job& job) { job.status.filvcm = file; });
  const Deck_result again = run_deck(deck(" deltax=0.01"), [&](Job& job) {
    job.status.onlyrealderiv = 1;
    job.status.filvcmonlyrealderiv = file;
  });
  ASSERT_EQ(again.stop, "NORMAL EXIT") << again.listing;
  // A step of 0.01 changes the error of real 2 by 5e-7; those that are in no set have their link's
  // derivative.
  EXPECT_GT(std::fabs(again.real(2).se - fit.real(2).se), 2e-7);  // two units of what is printed
  EXPECT_LT(std::fabs(again.real(2).se - fit.real(2).se), 1e-4);
  for (int i = 3; i <= 4; ++i) EXPECT_NEAR(again.real(i).se, fit.real(i).se, 1.01e-7);
}

TEST_F(Vc_file, error_that_is_no_number_has_limits_that_are_none) {
  run_deck(covariate_deck(), [&](Job& job) { job.status.filvcm = file; });
  // Behind the header and four records of four betas: the first row of the matrix, its tag, its first
  // element.
  constexpr std::streamoff place = (24 + 8) + 4 * (8 + 4 * 8 + 8) + 4 + 8;
  const double none = std::nan("");
  std::fstream out(file, std::ios::binary | std::ios::in | std::ios::out);
  out.seekp(place);
  out.write(reinterpret_cast<const char*>(&none), sizeof none);
  out.close();
  const Deck_result again = run_deck(covariate_deck(), [&](Job& job) {
    job.status.onlyrealderiv = 1;
    job.status.filvcmonlyrealderiv = file;
  });
  ASSERT_EQ(again.stop, "NORMAL EXIT") << again.listing;
  for (const std::string label : {"\n    1:", "\n     1:"}) {  // of a beta and of a real
    const std::size_t row = again.listing.rfind(label);
    ASSERT_NE(row, std::string::npos);
    const std::string line = again.listing.substr(row + 1, again.listing.find('\n', row + 1) - row - 1);
    EXPECT_NE(line.find("Not a Number    Not a Number    Not a Number"), std::string::npos) << line;
  }
}

TEST_F(Vc_file, of_another_model_is_refused) {
  run_deck(covariate_deck(), [&](Job& job) { job.status.filvcm = file; });
  const auto reread = [&](const std::string& deck) {
    return run_deck(deck, [&](Job& job) {
      job.status.onlyrealderiv = 1;
      job.status.filvcmonlyrealderiv = file;
    });
  };
  std::string deck = covariate_deck();
  deck.replace(deck.find("covariates=4;\n 1 mass 0 0;\n 0 0 1 0;"), 37,
               "covariates=2;\n 1 0;\n 0 1;            ");
  Deck_result result = reread(deck);
  EXPECT_EQ(result.stop, "ERROR EXIT from TARN");
  EXPECT_TRUE(result.has("ERROR -- Mismatch of parameters in binary file and input file.")) << result.listing;

  fs::resize_file(file, 100);
  result = reread(covariate_deck());
  EXPECT_TRUE(result.has("is damaged or ends too early.")) << result.listing;
  fs::remove(file);
  result = reread(covariate_deck());
  EXPECT_TRUE(result.has("could not be opened: No such file or directory")) << result.listing;
}

TEST_F(Vc_file, working_file_does_not_outlive_its_procedure) {
  const fs::path before = fs::current_path();
  fs::current_path(folder);
  const auto fit_into = [&](const std::string& name) {
    return run_deck(covariate_deck(), [&](Job& job) {
      job.status.filvcm = name;
      job.status.deletecmd = "rm ";
    });
  };
  fit_into("TARN.VCM");
  EXPECT_FALSE(fs::exists("TARN.VCM"));
  fit_into("OTHER.VCM");
  EXPECT_TRUE(fs::exists("OTHER.VCM"));
  fs::current_path(before);
}

TEST_F(Vc_file, that_cannot_be_opened_is_fatal) {
  const Deck_result result =
      run_deck(covariate_deck(), [&](Job& job) { job.status.filvcm = folder.string(); });
  EXPECT_EQ(result.stop, "ERROR EXIT from TARN");
  EXPECT_TRUE(result.has("could not be opened: Is a directory")) << result.listing;
  // All results stand before the message.
  EXPECT_TRUE(result.has("Real Function Parameters of {Phi(mass) p(.)}"));
}

TEST(Kept, null_file_with_a_point_makes_no_file) {
  const Deck_result result =
      run_deck(covariate_deck(), [&](Job& job) { job.status.filvcm = job.status.nullfile + "."; });
  EXPECT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  EXPECT_FALSE(fs::exists("/dev/null."));
}

}  // namespace
}  // namespace tarn
