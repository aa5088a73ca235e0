// Derived sections of sites in whole decks: what they make of the table of reals, the records of the
// variance-covariance file, and the same again from that file.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "inference/intervals.h"
#include "support/section_rows.h"

namespace tarn {
namespace {

namespace fs = std::filesystem;

struct Site_deck {
  std::string name, deck;
  std::string first_title;
  std::string letters;      ///< of the sections, in their order
  std::vector<int> counts;  ///< of their values
};

void PrintTo(const Site_deck& deck, std::ostream* out) { *out << deck.name; }

std::string golden(const std::string& name) {
  std::ifstream in(fs::path(TARN_TEST_DATA).parent_path() / "decks" / "golden" / (name + ".deck"));
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string abundance_deck() {
  return "proc chmatrix occasions=2 groups=2 hist=9 etype=OCCUPRNPOISSON;\n"
         "00 50 31;\n 01 20 12;\n 10 12 25;\n 11 18 7;\n 1. 6 4;\n"
         "proc estimate link=LOGIT;\n model={r(t) Lambda(g)};\n"
         "group=1 r rows=1 cols=2 square;\n 1 2;\n group=2 r rows=1 cols=2 square;\n 1 2;\n"
         "group=1 Lambda rows=1 cols=1 square constant=3;\n group=2 Lambda rows=1 cols=1 square constant=4;\n"
         "design matrix constraints=4 covariates=4 identity;\n proc stop;";
}

std::string species_deck() { return golden("occupancy-species"); }

std::string two_species_deck() {
  return "proc chmatrix occasions=2 groups=1 hist=40 etype=2SPECCONOCCUP;\n"
         "0000 90;\n 1000 14;\n 0010 15;\n 1010 12;\n 0100 11;\n 0001 9;\n 0101 13;\n 1111 10;\n 1101 8;\n"
         "0111 9;\n 1110 6;\n 1011 7;\n 1100 6;\n 0011 5;\n 1001 4;\n 0110 4;\n"
         "proc estimate link=LOGIT;\n model={all};\n"
         "group=1 PsiA rows=1 cols=1 square constant=1;\n group=1 PsiBA rows=1 cols=1 square constant=2;\n"
         "group=1 PsiBa rows=1 cols=1 square constant=3;\n group=1 pA rows=1 cols=2 square constant=4;\n"
         "group=1 pB rows=1 cols=2 square constant=5;\n group=1 rA rows=1 cols=2 square constant=4;\n"
         "group=1 rBA rows=1 cols=2 square constant=5;\n group=1 rBa rows=1 cols=2 square constant=5;\n"
         "design matrix constraints=5 covariates=5 identity;\n proc stop;";
}

const std::vector<Site_deck>& site_decks() {
  static const std::vector<Site_deck> decks{
      {"seasons", golden("occupancy-seasons"), "Gamma Estimates of ", "JJJ", {4, 4, 4}},
      {"two_states", golden("occupancy-two-states"), "Estimates of Phi_t Matrices ", "SN", {9, 6}},
      {"two_species_seasons",
       golden("occupancy-two-species"),
       "Unoccupied of ",
       "TTTTTTTTT",
       {2, 2, 2, 2, 2, 2, 2, 2, 2}},
      {"relaxed_closure",
       golden("occupancy-relaxed-closure"),
       "Method 1 Residency Time of Occupancy ",
       "FJFF",
       {1, 5, 1, 1}},
      {"abundance", abundance_deck(), "Occupancy Estimates of ", "FF", {2, 2}},
      {"species", species_deck(), "Occupancy Estimates (psi) of ", "T", {3}},
      {"two_species", two_species_deck(), "Species Interaction Factors of ", "JJJ", {1, 1, 1}},
  };
  return decks;
}

class Site_sections : public testing::TestWithParam<Site_deck> {
 protected:
  void SetUp() override {
    file = (fs::temp_directory_path() / ("tarn_sites_" + std::to_string(::getpid()) + "_" + GetParam().name))
               .string();
  }
  void TearDown() override { fs::remove(file); }
  Deck_result fit() {
    return run_deck(GetParam().deck, [&](Job& job) { job.status.filvcm = file; });
  }
  /// The sections, without the table of what they rest on.
  static std::string sections_of(const Deck_result& result) {
    const std::string all = section_of(result, GetParam().first_title);
    return all.substr(0, all.find("\n Derived values that rest"));
  }
  std::string file;
};

TEST_P(Site_sections, stand_in_the_file_with_their_letters_and_numbers) {
  const Deck_result result = fit();
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  std::ifstream in(file, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::string letters;
  std::vector<int> counts;
  for (std::size_t at = bytes.find("DERIVED"); at != std::string::npos; at = bytes.find("DERIVED", at + 1)) {
    letters += bytes[at + 7];
    std::int32_t count = 0;
    std::memcpy(&count, bytes.data() + at + 8, 4);
    counts.push_back(count);
  }
  EXPECT_EQ(letters, GetParam().letters);
  EXPECT_EQ(counts, GetParam().counts);
}

// The code of a letter is the width of the ruler.
TEST_P(Site_sections, have_rulers_of_the_width_of_their_letter) {
  const Deck_result result = fit();
  const std::string section = sections_of(result);
  std::string letters;
  std::size_t from = 0;
  for (std::size_t end; (end = section.find('\n', from)) != std::string::npos; from = end + 1) {
    const std::string line = section.substr(from, end - from);
    if (line.starts_with(" -----") && line.find("  --------------") != std::string::npos)
      letters += static_cast<char>(line.find_last_of('-') + 1);
  }
  EXPECT_EQ(letters, GetParam().letters) << section;
}

TEST_P(Site_sections, are_the_same_from_the_file) {
  const Deck_result first = fit();
  const Deck_result again = run_deck(GetParam().deck, [&](Job& job) {
    job.status.onlyrealderiv = 1;
    job.status.filvcmonlyrealderiv = file;
  });
  ASSERT_EQ(again.stop, "NORMAL EXIT") << again.listing;
  EXPECT_FALSE(again.has("Number of function evaluations"));
  // Page breaks fall elsewhere: only lines of values count.
  const auto values = [&](const Deck_result& result) {
    const std::string section = sections_of(result);
    std::vector<std::string> lines;
    std::size_t from = 0;
    for (std::size_t end; (end = section.find('\n', from)) != std::string::npos; from = end + 1)
      if (const std::string line = section.substr(from, end - from);
          line.size() > 60 && line.find_first_not_of(" 0123456789.+-E") == std::string::npos)
        lines.push_back(line);
    return lines;
  };
  std::size_t count = 0;
  for (const int each : GetParam().counts) count += static_cast<std::size_t>(each);
  const std::vector<std::string> lines = values(first);
  EXPECT_GE(lines.size(), count);
  EXPECT_EQ(lines, values(again));
}

INSTANTIATE_TEST_SUITE_P(decks, Site_sections, testing::ValuesIn(site_decks()),
                         [](const auto& info) { return info.param.name; });

// Tables show seven digits.
constexpr double shown = 1e-6;

TEST(Site_decks, occupancy_and_detection_follow_from_abundance) {
  const Deck_result result = run_deck(abundance_deck());
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const std::string occupancy = section_of(result, "Occupancy Estimates of "),
                    detection = section_of(result, "E(p-hat) Estimates of ");
  for (int g = 1; g <= 2; ++g) {
    const Deck_result::Row lambda = result.real(2 + g);
    const double empty = std::exp(-lambda.estimate);
    double expected = 0.0;
    for (int c = 1; c <= 2; ++c)
      expected += 0.5 * (1.0 - std::exp(-lambda.estimate * result.real(c).estimate)) / (1.0 - empty);
    const std::string label = "\n   " + std::to_string(g) + " ";
    const std::vector<double> psi = row_of(occupancy, label), shows = row_of(detection, label);
    EXPECT_NEAR(psi[0], 1.0 - empty, shown) << g;
    EXPECT_NEAR(psi[1], empty * lambda.se, 1e-5 * psi[1]) << g;
    EXPECT_NEAR(psi[2], probability_limits(psi[0], psi[1]).lower, 1e-5) << g;
    EXPECT_NEAR(shows[0], expected, shown) << g;
  }
}

TEST(Site_decks, sets_of_species_follow_from_their_parameters) {
  const Deck_result result = run_deck(species_deck());
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const double f1 = result.real(1).estimate, f2 = result.real(2).estimate, f12 = result.real(3).estimate;
  const double one = std::exp(f1), two = std::exp(f2), both = std::exp(f1 + f2 + f12);
  const double all = 1.0 + one + two + both;
  const std::string section = section_of(result, "Occupancy Estimates (psi) of ");
  EXPECT_NEAR(row_of(section, "\n   1    1          1 ")[0], (one + both) / all, shown) << section;
  EXPECT_NEAR(row_of(section, "\n   1    2          2 ")[0], (two + both) / all, shown);
  EXPECT_NEAR(row_of(section, "\n   1    3         12 ")[0], both / all, shown);
}

TEST(Site_decks, a_factor_has_plain_limits_and_no_warning) {
  const Deck_result result = run_deck(two_species_deck());
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  const std::vector<double> factor =
      row_of(section_of(result, "Species Interaction Factors of "), "\n         1 ");
  ASSERT_EQ(factor.size(), 4U);
  EXPECT_NEAR(factor[2], plain_limits(factor[0], factor[1]).lower, shown);
  EXPECT_NEAR(factor[3], plain_limits(factor[0], factor[1]).upper, shown);
  EXPECT_FALSE(result.has("never hold 1"));
}

TEST(Site_decks, limits_that_cannot_hold_1_are_told) {
  const Deck_result result = run_deck(golden("occupancy-two-species"));
  EXPECT_TRUE(
      result.has("  * *  WARNING  * *   The limits of the Species Interaction Factors are on the scale of "
                 "probabilities and never hold 1: judge it by the standard error."))
      << result.listing;
}

}  // namespace
}  // namespace tarn
