// A small data set of every data type, and random decks of all of them.

#include <gtest/gtest.h>

#include <random>

#include "data/catalogue/datatype.h"
#include "data_job.h"

namespace tarn {
namespace {

bool has_strata(const Datatype& row) {
  if (!row.alphabet.empty()) return false;
  for (const std::string& name : parmlist(row.number))
    if (name == "Psi") return true;
  return false;
}

/// A history of three occasions that the family takes.
std::string history_of(const Datatype& row) {
  const bool strata = has_strata(row);
  switch (row.check) {
    case Cell_check::dead_recoveries:
    case Cell_check::recovery_needed:
      return "100100";
    case Cell_check::joint:
    case Cell_check::barker:
    case Cell_check::robust_barker:
      return "101001";
    case Cell_check::known_fate:
      return "101100";
    case Cell_check::live_dead_strata:
      return "A0B001";
    case Cell_check::barker_strata:
      return "A0B00a";
    case Cell_check::sightings:
      return "01+0-0";
    case Cell_check::young:
      return "030200";
    case Cell_check::none:
    case Cell_check::strata:
      break;
  }
  if (row.live) return strata ? "AB0" : "101";
  return "101101";
}

std::string options_of(const Datatype& row) {
  return "occasions=3 groups=1 hist=9 etype=" + std::string(row.keyword[0]) +
         (has_strata(row) ? " strata=2" : "");
}

class Every_type : public testing::TestWithParam<int> {};

TEST_P(Every_type, reads_a_history) {
  const Datatype& row = datatype(GetParam());
  const std::string counts = row.density ? " 1 2 4;" : " 4;";
  const Data_job t(options_of(row), (has_strata(row) ? "strata=A B; " : "") + history_of(row) + counts);
  ASSERT_EQ(t.fault, "");
  EXPECT_EQ(t.records(), 1);
  EXPECT_EQ(t.observed(1), 4.0f);
  EXPECT_EQ(t.u(1), 4.0f);
  EXPECT_EQ(t.job.status.dattyp, row.number);
  EXPECT_EQ(t.job.status.liveeh, row.live ? 1 : 0);
  EXPECT_EQ(t.job.status.closedmodel, static_cast<int>(row.closed));
  EXPECT_EQ(t.job.status.nprimy, row.sessions ? 3 : 1);
  EXPECT_EQ(t.data().parameterlist, parmlist(row.number));
  EXPECT_EQ(t.data().ghqv.present(), row.nodes != Nodes::none);
  EXPECT_TRUE(t.listing_has("      Data type number is " + std::to_string(row.number) +
                            "\n      Data type is " + std::string(row.name) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(numbers, Every_type, testing::Range(1, max_dattyp + 1));

/// Random decks: most are sound in form, some options, counts and characters are not.
class Random_deck {
 public:
  explicit Random_deck(unsigned seed) : random_(seed) {}

  std::string operator()() {
    const Datatype& row = datatype(1 + below(max_dattyp));
    occasions_ = 1 + below(5), groups_ = 1 + below(2), covariates_ = below(3) == 0 ? below(3) : 0;
    std::string deck = "proc chmatrix occasions=" + text(occasions_) + " groups=" + text(groups_) +
                       " hist=" + text(1 + below(6));
    if (covariates_ > 0) deck += " icovar=" + text(covariates_);
    const int strata = 1 + below(3), events = below(3) == 0 ? 1 + below(3) : 0;
    const bool codes = row.alphabet.empty() && below(4) > 0;
    if (codes) deck += " strata=" + text(strata);
    if (below(4) == 0) deck += " " + one_of(options) + "=" + one_of(numbers);
    deck += " etype=" + std::string(row.keyword[0]);
    if (events > 0) deck += " events=" + text(events);
    if (below(3) == 0) deck += " eventsp=" + text(below(3));
    if (below(4) == 0) deck += " debug";
    deck += "; ";
    std::string signs = row.alphabet.empty() ? "10" : std::string(row.alphabet);
    if (codes) {
      signs = std::string("ABCxyzPQ").substr(0, static_cast<std::size_t>(strata + events));
      deck += "strata=";
      for (const char c : signs) deck += std::string(1, c) + " ";
      deck += "; ";
      signs += below(2) ? "0.00" : "0.00uUab1";
    }
    for (int statements = below(8); statements > 0; --statements) deck += statement(row, signs);
    if (below(20) == 0) deck.resize(static_cast<std::size_t>(below(static_cast<int>(deck.size()))));
    return deck + " proc stop;";
  }

 private:
  static constexpr std::string_view options =
      "occasions groups hist icovar strata events eventsp eventslr eventsbr "
      "mixtures nodes dataclones threads nohist debug standardize";
  static constexpr std::string_view numbers = "0 1 2 3 4 5 -1 2000000000 72000 100000 x .";

  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  static std::string text(int n) { return std::to_string(n); }
  std::string one_of(std::string_view list) {
    std::vector<std::string> words(1);
    for (const char c : list)
      if (c == ' ')
        words.emplace_back();
      else
        words.back() += c;
    return words[static_cast<std::size_t>(below(static_cast<int>(words.size())))];
  }
  std::string values(int count, int limit) {
    std::string list;
    for (int i = 0; i < count; ++i) list += " " + text(below(limit));
    return list + "; ";
  }

  std::string statement(const Datatype& row, const std::string& signs) {
    std::string deck;
    switch (below(9)) {
      case 0:
        deck = "time intervals";
        for (int i = below(2); i < occasions_; ++i) deck += " " + one_of("1 1 0 2.5");
        return deck + "; ";
      case 1:
        return one_of("unmarked marked known") + " " +
               one_of("seen unidentified superpopulation marks fate") + " group=" + text(below(3)) + "; " +
               values(occasions_ + below(2), 9);
      case 2:
        deck = "recovery matrix group=1; ";
        for (int i = 0; i < occasions_; ++i) deck += values(occasions_ - i, 4);
        return deck + values(occasions_, 60);
      case 3:
        deck = "known fate group=1; ";
        for (int i = 0; i < occasions_; ++i) deck += text(5 + below(4)) + values(1, 6);
        return deck;
      case 4:
        return "nest survival group=1; " + values(5 + covariates_, 6) + values(5 + covariates_, 6);
      case 5:
        return "glabel(" + one_of(numbers) + ")=abc; ";
      case 6:
        return one_of("areas=1,2 icovariates=a,b areas=2 icovariates=a") + "; ";
      default:
        break;
    }
    for (int records = 1 + below(3); records > 0; --records) {
      const int length = occasions_ * (row.live ? 1 : 2) + (below(40) == 0);
      for (int i = 0; i < length; ++i)
        deck += signs[static_cast<std::size_t>(below(static_cast<int>(signs.size())))];
      if (row.density) deck += " 1 3";
      for (int g = below(30) == 0; g < groups_; ++g) deck += " " + text(below(9) - 2);
      for (int c = 0; c < covariates_; ++c) deck += " " + one_of("1.5 2 -4 .");
      deck += "; ";
    }
    return deck;
  }

  std::mt19937 random_;
  int occasions_ = 0, groups_ = 0, covariates_ = 0;
};

TEST(Random_decks, end_in_data_or_in_a_message) {
  Random_deck next(20);
  int read = 0;
  for (int draw = 0; draw < 6000; ++draw) {
    const std::string deck = next();
    SCOPED_TRACE(deck);
    Data_job t("occasions=1 groups=1 hist=1 etype=LIVE", "");
    std::string end;
    try {
      t.read(deck);
      if (t.job.status.lstwrd < 2 || t.job.status.words(2) != "CHMATRIX") continue;
      end = t.run();
    } catch (const Stop&) {  // the statement reader refused the deck
      continue;
    }
    if (!end.empty()) continue;
    ++read;
    // What was read is whole: each group's animals stand once in the tables of first captures.
    const Datatype& row = datatype(t.job.status.dattyp);
    ASSERT_LE(t.records(), t.data().encounters.capacity());
    if (row.closed != Closed::none || row.resight != Resight::none || t.listing_has("recovery matrix") ||
        t.listing_has("known fate"))
      continue;
    for (int g = 1; g <= t.job.status.ngrps; ++g) {
      double animals = 0.0, tabulated = 0.0;
      for (int i = 1; i <= t.records(); ++i)
        animals += static_cast<double>(t.observed(i, g)) + static_cast<double>(t.lost(i, g));
      for (int o = 1; o <= t.job.status.noccas; ++o)
        for (int layer = 1; layer <= t.data().u.extent(3); ++layer)
          tabulated += static_cast<double>(t.u(o, g, layer)) + static_cast<double>(t.ul(o, g, layer));
      EXPECT_EQ(animals, tabulated);
    }
  }
  EXPECT_GT(read, 300);
}

}  // namespace
}  // namespace tarn
