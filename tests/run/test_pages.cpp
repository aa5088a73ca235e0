// No page of a listing is longer than LINES= says.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/deck_run.h"

namespace tarn {
namespace {

std::string text_of(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// A model of many groups: matrices, figures and derived parameters go over several pages.
std::string many_groups(int groups, const std::string& type, const std::string& records,
                        const std::vector<std::string>& matrices) {
  std::string counts;
  for (int g = 1; g <= groups; ++g) counts += ' ' + std::to_string(1 + g % 7);
  std::string deck =
      "proc chmatrix occasions=3 groups=" + std::to_string(groups) + " hist=9 etype=" + type + ";\n";
  for (const char c : records) deck += c == ';' ? counts + ";\n" : std::string(1, c);
  deck += "proc estimate link=logit;\nmodel={constant};\n";
  const std::string numbers = std::to_string(matrices.size());
  for (int g = 1; g <= groups; ++g)
    for (std::size_t q = 0; q < matrices.size(); ++q)
      deck += "group=" + std::to_string(g) + ' ' + matrices[q] + " constant=" + std::to_string(q + 1) + ";\n";
  return deck + "design matrix constraints=" + numbers + " covariates=" + numbers +
         " identity;\nproc stop;\n";
}

struct Deck {
  std::string name, text;
};

std::vector<Deck> decks() {
  const std::filesystem::path tests = std::filesystem::path(TARN_TEST_DATA).parent_path();
  std::vector<Deck> found;
  for (const char* folder : {"../examples", "decks/options", "decks/golden"})
    for (const auto& entry : std::filesystem::directory_iterator(tests / folder))
      if (entry.path().extension() == ".deck")
        found.push_back({entry.path().filename().string(), text_of(entry.path())});
  EXPECT_GT(found.size(), 100U);
  std::sort(found.begin(), found.end(), [](const Deck& one, const Deck& two) { return one.name < two.name; });
  // The numbers of animals of all groups of a live type are reserved in one piece, which must fit a page.
  constexpr int most_in_one_piece = 23;
  const std::string closed = "110;101;011;100;010;001;";
  found.push_back(
      {"many groups, HUGGINS", many_groups(most_in_one_piece, "HUGGINS", closed,
                                           {"p rows=1 cols=3 square", "c rows=1 cols=2 square"})});
  found.push_back({"many groups, CLOSED", many_groups(most_in_one_piece, "CLOSED", closed,
                                                      {"p rows=1 cols=3 square", "c rows=1 cols=2 square",
                                                       "f0 rows=1 cols=1 square"})});
  found.push_back(
      {"many groups, KNOWN", many_groups(40, "KNOWN", "101010;101100;110000;", {"S rows=1 cols=3 square"})});
  return found;
}

/// Lines of a listing, page by page: from the line with the page feed to the last one in front of the empty
/// line that opens the next header.
std::vector<std::vector<std::string>> pages_of(const std::string& listing) {
  std::vector<std::vector<std::string>> pages(1);
  for (std::size_t p = 0; p < listing.size();) {
    const std::size_t end = std::min(listing.find('\n', p), listing.size());
    const std::string line = listing.substr(p, end - p);
    if (line.starts_with('\f')) {
      EXPECT_EQ(pages.back().back(), "");
      pages.back().pop_back();
      pages.emplace_back();
    }
    pages.back().push_back(line);
    p = end + 1;
  }
  return pages;
}

/// Length of a page without what is not reserved: a line of each block of floating-point flags and, under
/// DEBUG, the course of the minimiser, the ratios of the singular values, and a line of the beta index array.
std::size_t paged_lines(const std::vector<std::string>& page) {
  std::size_t count = 0;
  bool unpaged = false;
  for (const std::string& line : page) {
    const auto holds = [&](const char* text) { return line.find(text) != std::string::npos; };
    if (holds("ENTERING MINIMIZATION") || holds("Current Function Value") || holds("Ratios of S Vector"))
      unpaged = true;
    if (holds("Number of function evaluations") || holds("Gap Method")) unpaged = false;
    if (!unpaged && !holds("     inexact  ") && !holds("Beta Index Array:")) ++count;
  }
  return count;
}

class Pages : public testing::TestWithParam<int> {};

TEST_P(Pages, hold_no_more_lines_than_they_may) {
  const auto lines = static_cast<std::size_t>(GetParam());
  std::size_t longest = 0;
  for (const Deck& deck : decks()) {
    const Deck_result run = run_deck(deck.text, [&](Job& job) {
      job.status.maxlin = GetParam();
      job.status.lines = 0;
    });
    if (deck.name.starts_with("many groups")) {
      EXPECT_TRUE(run.has("95% Confidence Interval")) << deck.name;
      EXPECT_EQ(run.stop, "NORMAL EXIT") << deck.name;
    }
    for (const std::vector<std::string>& page : pages_of(run.listing)) {
      const std::size_t length = paged_lines(page);
      longest = std::max(longest, length);
      if (length <= lines) continue;
      std::string told = deck.name + ": " + std::to_string(length) + " lines\n";
      for (const std::string& line : page) told += line + '\n';
      ADD_FAILURE() << told;
    }
  }
  // And they hold as many: a page is not ended early for nothing.
  EXPECT_EQ(longest, lines);
}

INSTANTIATE_TEST_SUITE_P(lines, Pages, testing::Values(30, 31, 33, 36, 41, 45, 50, 53, 60, 90));

}  // namespace
}  // namespace tarn
