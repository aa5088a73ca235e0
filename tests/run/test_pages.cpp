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
                        const std::vector<std::string>& matrices, const std::string& options = "") {
  std::string counts;
  for (int g = 1; g <= groups; ++g) counts += ' ' + std::to_string(1 + g % 7);
  std::string deck = "proc chmatrix " + options + " occasions=3 groups=" + std::to_string(groups) +
                     " hist=9 etype=" + type + ";\n";
  for (const char c : records) deck += c == ';' ? counts + ";\n" : std::string(1, c);
  deck += "proc estimate " + options + " link=logit;\nmodel={constant};\n";
  const std::string numbers = std::to_string(matrices.size());
  for (int g = 1; g <= groups; ++g)
    for (std::size_t q = 0; q < matrices.size(); ++q)
      deck += "group=" + std::to_string(g) + ' ' + matrices[q] + " constant=" + std::to_string(q + 1) + ";\n";
  return deck + "design matrix constraints=" + numbers + " covariates=" + numbers +
         " identity;\nproc stop;\n";
}

/// Known fates of groups, each with a survival of its own: as many betas as groups.
std::string many_betas(int betas, const std::string& options) {
  const std::string number = std::to_string(betas);
  std::string deck = "proc chmatrix occasions=1 groups=" + number + " hist=9 etype=KNOWN;\n";
  for (int g = 1; g <= betas; ++g)
    deck += "known fate group=" + std::to_string(g) + ";\n" + std::to_string(4000 + 10 * g) + ' ' +
            std::to_string(400 + g) + ";\n";
  deck += "proc estimate " + options + " link=logit;\nmodel={S(g)};\n";
  for (int g = 1; g <= betas; ++g)
    deck += "group=" + std::to_string(g) + " S rows=1 cols=1 square constant=" + std::to_string(g) + ";\n";
  return deck + "design matrix constraints=" + number + " covariates=" + number + " identity;\nproc stop;\n";
}

/// Recaptures on so many occasions that their numbers of releases fill pages.
std::string many_occasions(int occasions, const std::string& options) {
  const std::string last = std::to_string(occasions - 1);
  const std::string matrix = " rows=" + last + " cols=" + last + " triang constant=";
  const auto record = [&](int first) {
    std::string history(static_cast<std::size_t>(occasions), '0');
    for (int o = first; o < occasions && o < first + 9; o += 2) history[static_cast<std::size_t>(o)] = '1';
    return history;
  };
  std::string deck = "proc chmatrix " + options + " occasions=" + std::to_string(occasions) +
                     " groups=1 hist=50 etype=LIVE;\ntime interval";
  for (int o = 1; o < occasions; ++o) deck += " 1";
  deck += ";\n";
  for (int first = 0; first < 10; ++first) deck += record(first) + (first % 3 == 1 ? " -2;\n" : " 3;\n");
  return deck + "proc estimate link=logit;\nmodel={Phi(.) p(.)};\ngroup=1 Phi" + matrix + "1;\ngroup=1 p" +
         matrix + "2;\ndesign matrix constraints=2 covariates=2 identity;\nproc stop;\n";
}

/// Recaptures with so many covariates that the table of their values turns or fills a page.
std::string many_covariates(int covariates, const std::string& options) {
  std::string deck = "proc chmatrix occasions=9 groups=1 hist=50 etype=LIVE " + options +
                     " icovar=" + std::to_string(covariates) + ";\nicovariates";
  for (int c = 1; c <= covariates; ++c) deck += " size" + std::to_string(c);
  deck += ";\n";
  int animal = 0;
  for (const char* history : {"111000000", "101010000", "011010100", "010100000", "001101000", "001110000",
                              "110010101", "000111010", "000101101", "000011101", "000010011", "000001111"}) {
    deck += std::string(history) + " 3";
    for (int c = 1; c <= covariates; ++c) deck += ' ' + std::to_string((animal * 7 + c * 3) % 11);
    deck += ";\n";
    ++animal;
  }
  deck +=
      "proc estimate link=logit;\nmodel={Phi(size) p(.)};\n"
      "group=1 Phi rows=8 cols=8 triang time=1;\ngroup=1 p rows=8 cols=8 triang time=9;\n"
      "design matrix constraints=16 covariates=3;\n";
  for (int row = 0; row < 8; ++row) deck += "1 size1 0;\n";
  for (int row = 0; row < 8; ++row) deck += "0 0 1;\n";
  return deck + "proc stop;\n";
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
  const auto add = [&](const std::string& name, const std::string& deck) { found.push_back({name, deck}); };
  const std::string closed = "110;101;011;100;010;001;";
  for (const int groups : {23, 40, 60}) {
    const std::string name = "long, " + std::to_string(groups) + " groups, ";
    add(name + "HUGGINS",
        many_groups(groups, "HUGGINS", closed, {"p rows=1 cols=3 square", "c rows=1 cols=2 square"}));
    add(name + "CLOSED",
        many_groups(groups, "CLOSED", closed,
                    {"p rows=1 cols=3 square", "c rows=1 cols=2 square", "f0 rows=1 cols=1 square"}));
    add(name + "KNOWN", many_groups(groups, "KNOWN", "101010;101100;110000;", {"S rows=1 cols=3 square"}));
    add(name + "LIVE, DEBUG", many_groups(groups, "LIVE", "111;110;101;011;010;100;",
                                          {"Phi rows=2 cols=2 triang", "p rows=2 cols=2 triang"}, "debug"));
  }
  add("long, 600 groups, HUGGINS",
      many_groups(600, "HUGGINS", closed, {"p rows=1 cols=3 square", "c rows=1 cols=2 square"}));
  for (const int betas : {20, 25, 130, 240}) {
    const std::string name = "long, " + std::to_string(betas) + " betas";
    add(name, many_betas(betas, ""));
    add(name + ", DEBUG", many_betas(betas, "debug"));
    add(name + ", far", many_betas(betas, "maxfn=1"));
  }
  add("long, 20 betas, DEBUG, LOOP", many_betas(20, "loop debug"));
  add("long, occasions", many_occasions(750, ""));
  add("long, occasions, DEBUG", many_occasions(250, "debug"));
  for (const int covariates : {6, 14, 20, 30, 60})
    add("long, " + std::to_string(covariates) + " covariates", many_covariates(covariates, ""));
  add("long, 60 covariates, STANDARDIZE", many_covariates(60, "standardize"));
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

/// Length of a page without what is not reserved: a line of each block of floating-point flags, and the fatal
/// message with the empty line above it.
std::size_t paged_lines(const std::vector<std::string>& page, bool fatal) {
  const auto flags = std::count_if(page.begin(), page.end(), [](const std::string& line) {
    return line.find("     inexact  ") != std::string::npos;
  });
  return page.size() - static_cast<std::size_t>(flags) - (fatal ? 2 : 0);
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
    if (deck.name.ends_with("far")) {
      EXPECT_TRUE(run.has("Last Real Parameter Values:")) << deck.name;
    } else if (deck.name.starts_with("long")) {
      EXPECT_TRUE(run.has("95% Confidence Interval")) << deck.name;
      EXPECT_EQ(run.stop, "NORMAL EXIT") << deck.name;
    }
    const std::vector<std::vector<std::string>> pages = pages_of(run.listing);
    for (const std::vector<std::string>& page : pages) {
      const std::size_t length =
          paged_lines(page, run.stop == "ERROR EXIT from TARN" && &page == &pages.back());
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
