#include "data/cell_checks.h"

#include <gtest/gtest.h>

#include "data_job.h"

namespace tarn {
namespace {

std::string fault(const std::string& keyword, const std::string& history, const std::string& options = {}) {
  const int noccas = static_cast<int>(history.size()) / (datatype(dattyp_of(keyword)).live ? 1 : 2);
  return Data_job("occasions=" + std::to_string(noccas) + " groups=1 hist=9 " + options + " etype=" + keyword,
                  history + " 1;")
      .fault;
}

TEST(Cell_checks, dead_recoveries) {
  for (const char* keyword : {"DEAD", "BTO", "BROWNIE", "VPA", "PMDEAD", "REDEAD"}) {
    EXPECT_EQ(
        fault(keyword, "10100000"),
        "History number 1 Data type for dead recoveries, but both live and dead encounters found. 10100000");
    EXPECT_EQ(fault(keyword, "01000000"), "History number 1 Initial encounter was not a release: 01000000");
    EXPECT_EQ(fault(keyword, "01100000"), "History number 1 Initial encounter was not a release: 01100000");
    EXPECT_EQ(fault(keyword, "10010100"),
              "History number 1 More than one dead recovery in the encounter history: 10010100");
    EXPECT_EQ(fault(keyword, "00000000"),
              "History number 1 No encounters with the encounter history: 00000000");
    EXPECT_EQ(fault(keyword, "1.000000"),
              "History number 1 Cannot have dots in the Dead columns of the encounter history: 1.000000");
    EXPECT_EQ(fault(keyword, "00100001"), "");
    EXPECT_EQ(fault(keyword, "00110000"), "");
  }
  for (const char* keyword : {"DEAD", "BROWNIE", "PMDEAD", "REDEAD"})
    EXPECT_EQ(fault(keyword, "10000000"), "");
}

TEST(Cell_checks, recoveries_alone) {
  EXPECT_EQ(fault("VPA", "10000000"),
            "History number 1 Data type declared VPA, but capture history has no dead recovery: 10000000");
  EXPECT_EQ(fault("BTO", "10000000"),
            "History number 1 Data type declared BTO, but capture history has no dead recovery: 10000000");
}

TEST(Cell_checks, joint_families) {
  for (const char* keyword : {"BOTH", "BURNHAMLDRE", "BARKER"}) {
    const std::string head = "History number 1 ";
    const std::string dead = keyword == std::string("BURNHAMLDRE") ? "1" : "1";
    EXPECT_EQ(fault(keyword, "11001000"), head + "Live recaptures after a dead recovery: 11001000")
        << keyword;
    EXPECT_EQ(fault(keyword, "11000100"),
              head + "More than one dead recovery in the encounter history: 11000100");
    EXPECT_EQ(fault(keyword, "1.000000"),
              head + "Cannot have dots in the Dead columns of the encounter history: 1.000000");
    EXPECT_EQ(fault(keyword, "00000000"), head + "No encounters with the encounter history: 00000000");
    EXPECT_EQ(fault(keyword, "10100001"), "");
  }
  EXPECT_EQ(fault("BARKER", "11000200"), "History number 1 Live recaptures after a dead recovery: 11000200");
  EXPECT_EQ(fault("BARKER", "12001201"), "");
  EXPECT_EQ(fault("BARKER", "02100000"),
            "History number 1 Barker data with first encounter not a live capture: 02100000");
  EXPECT_EQ(fault("BOTH", "12001000"), "History number 1 Live recaptures after a dead recovery: 12001000");
}

TEST(Cell_checks, robust_barker_by_session) {
  const auto with_sessions = [](const char* history) {
    return Data_job("occasions=4 groups=1 hist=9 etype=RDBARKER",
                    std::string(history) + " 1; time intervals 0 1 0;")
        .fault;
  };
  EXPECT_EQ(with_sessions("12101000"), "");
  EXPECT_EQ(with_sessions("11100000"), "");  // the recovery belongs to the interval behind the session
  EXPECT_EQ(with_sessions("11001000"), "History number 1 Live recaptures after a dead recovery: 11001000");
  EXPECT_EQ(with_sessions("11000200"), "History number 1 Live recaptures after a dead recovery: 11000200");
  EXPECT_EQ(with_sessions("11000001"),
            "History number 1 More than one dead recovery in the encounter history: 11000001");
  EXPECT_EQ(with_sessions("02001000"),
            "History number 1 Barker data with first encounter not a live capture: 02001000");
  EXPECT_EQ(with_sessions("02100000"), "");
  // Resighted, then found dead in the same interval; the other order cannot be.
  EXPECT_EQ(with_sessions("12010000"), "");
  EXPECT_EQ(with_sessions("11020000"), "History number 1 Live recaptures after a dead recovery: 11020000");
}

TEST(Cell_checks, sessions_name_the_record_as_typed) {
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=9 etype=RDBARKER",
                     "10001000 1; 10001000 2; 10000000 3; 11001000 4; time intervals 0 1 0;")
                .fault,
            "History number 4 Live recaptures after a dead recovery: 11001000");
}

TEST(Cell_checks, intervals_that_make_no_robust_design_warn) {
  const auto warned = [](const std::string& etype, const std::string& intervals, const char* text) {
    const Data_job t("occasions=4 groups=1 hist=9 etype=" + etype, intervals);
    EXPECT_EQ(t.fault, "") << etype;
    return t.warned(text);
  };
  const char* one = "The time intervals join all occasions to one primary session";
  const char* each = "No time interval is 0: every occasion is a primary session";
  const char* last = "The time interval behind the last occasion is 0: no animal can be met in it.";
  for (const char* etype : {"ROBUST", "RDHUGGINS", "RDBARKER", "RDPDLHUGGINS", "RDPDNCLOSED"}) {
    EXPECT_TRUE(warned(etype, "time intervals 0 0 0;", one)) << etype;
    EXPECT_FALSE(warned(etype, "time intervals 0 0 1;", one)) << etype;
    EXPECT_TRUE(warned(etype, "", each)) << etype;
    EXPECT_TRUE(warned(etype, "time intervals 1 1 2;", each)) << etype;
    EXPECT_FALSE(warned(etype, "time intervals 0 1 2;", each)) << etype;
  }
  EXPECT_TRUE(warned("RDBARKER", "time intervals 0 1 0 0;", last));
  EXPECT_FALSE(warned("RDBARKER", "time intervals 0 1 0;", last));
  EXPECT_FALSE(warned("ROBUST", "time intervals 0 1 0 0;", last));
  EXPECT_FALSE(warned("CLOSED", "time intervals 0 0 0;", one));
  EXPECT_FALSE(warned("PRADEL", "", each));
}

TEST(Cell_checks, known_fate) {
  for (const char* keyword : {"KNOWN", "KNOWNRE"}) {
    EXPECT_EQ(fault(keyword, "101100"), "");
    EXPECT_EQ(fault(keyword, "100010"), "");
    EXPECT_EQ(fault(keyword, ".01011"), "");
    EXPECT_EQ(fault(keyword, "111000"), "History number 1 Live recaptures after a dead recovery: 111000");
    EXPECT_EQ(fault(keyword, "110001"), "History number 1 Live recaptures after a dead recovery: 110001");
    EXPECT_EQ(fault(keyword, "100100"),
              "History number 1 Death of an animal that was not at risk in the encounter history: 100100");
    EXPECT_EQ(fault(keyword, "1.0000"),
              "History number 1 Cannot have dots in the Dead columns of the encounter history: 1.0000");
  }
}

TEST(Cell_checks, sightings) {
  for (const char* keyword : {"POISSONMR", "UNIDPOISSONMR", "POISSONMRACROSS", "UNIDPOISSONMRACROSS",
                              "ZIUNIDPOISSONMRWITHIN", "ZIUNIDPOISSONMRACROSS"}) {
    EXPECT_EQ(fault(keyword, "0300"),
              "History number 1 Encounter history entries of \"00\" are not allowed in this data type.  "
              "Change to \"+0\" or \"-0\". 0300");
    EXPECT_EQ(fault(keyword, "..03+0-012"), "");
    EXPECT_EQ(fault(keyword, "03+5"), "History number 1 Incorrect entry \"+5\" in history: 03+5");
    EXPECT_EQ(fault(keyword, "033+"), "History number 1 Incorrect entry \"3+\" in history: 033+");
  }
  EXPECT_EQ(fault("ZIUNIDPOISSONMRWITHIN", "03*0"), "");
  EXPECT_EQ(fault("POISSONMR", "03*0"), "stop: TARN Error found in data");
}

TEST(Cell_checks, young) {
  EXPECT_EQ(fault("LYSMA", "..03..0201"), "");
  EXPECT_EQ(fault("LYSMA", "0000"), "");
  EXPECT_EQ(fault("LYSMA", "....0304"),
            "History number 1 Number of young above the first number in the encounter history: ....0304");
}

TEST(Cell_checks, sites_may_have_no_detection) {
  for (const char* keyword : {"OCCUPANCY", "MSOCCUPANCY", "LOGITNORMALMR"})
    EXPECT_EQ(fault(keyword, "000"), "");
  for (const char* keyword : {"2SPECOCCUP", "OCCUPRPOISSON", "NSPECIESOCC"})
    EXPECT_EQ(fault(keyword, "0000"), "");
}

TEST(Cell_checks, strata_of_live_and_dead_encounters) {
  const auto run = [](const char* history) {
    return Data_job("occasions=3 groups=1 hist=9 strata=2 etype=MSLIVEDEAD",
                    "strata=A B; " + std::string(history) + " 1;")
        .fault;
  };
  EXPECT_EQ(run("A0B001"), "");
  EXPECT_EQ(run("A0B100"), "");
  EXPECT_EQ(run("A01000"), "History number 1 Incorrect stratum identifier \"1\" in history: A01000");
  EXPECT_EQ(run("A1B000"), "History number 1 Live recaptures after a dead recovery: A1B000");
}

TEST(Cell_checks, strata_of_barker_families) {
  const auto run = [](const char* history) {
    return Data_job("occasions=2 groups=1 hist=9 strata=2 etype=MSBARKER",
                    "strata=A B; " + std::string(history) + " 1;")
        .fault;
  };
  EXPECT_EQ(run("AAUb"), "");
  EXPECT_EQ(run("a000"), "History number 1 Incorrect stratum identifier \"a\" in history: a000");
  EXPECT_EQ(run("0AB0"), "History number 1 Barker data with first encounter not a live capture: 0AB0");
  EXPECT_EQ(run("AuB0"), "History number 1 Live recaptures after a dead recovery: AuB0");
  EXPECT_EQ(run("Aa0b"), "History number 1 More than one dead recovery in the encounter history: Aa0b");
  const auto events = [](const char* history) {
    return Data_job("occasions=2 groups=1 hist=9 strata=2 etype=MSUNCBARKER eventsp=1 eventslr=1 eventsbr=1",
                    "strata=A B p q r; " + std::string(history) + " 1;")
        .fault;
  };
  EXPECT_EQ(events("pqBr"), "");
  EXPECT_EQ(events("pAB0"), "");
  EXPECT_EQ(events("prB0"), "History number 1 Live recaptures after a dead recovery: prB0");
  EXPECT_EQ(events("ApB0"), "History number 1 Incorrect stratum transition \"Ap\" in history: ApB0");
  EXPECT_EQ(events("q0B0"), "History number 1 Incorrect stratum identifier \"q\" in history: q0B0");
  EXPECT_EQ(events("a0B0"), "History number 1 Initial encounter was not a release: a0B0");
  EXPECT_EQ(events("00b0"), "History number 1 Initial encounter was not a release: 00b0");
  EXPECT_EQ(events("A0b0"), "History number 1 Incorrect stratum identifier \"b\" in history: A0b0");
  // A lower-case letter may be the sign of a capture, too.
  EXPECT_EQ(
      Data_job("occasions=2 groups=1 hist=9 strata=2 etype=MSUNCBARKER eventsp=1", "strata=A B a; a0a0 1;")
          .fault,
      "");
}

struct Kinds {
  const char *keyword, *options, *strata, *only_live, *only_dead, *live, *dead;
};

class Kinds_found_test : public testing::TestWithParam<Kinds> {};

TEST_P(Kinds_found_test, warns_when_one_kind_is_missing) {
  const Kinds& kinds = GetParam();
  const std::string options =
      "occasions=2 groups=1 hist=9 " + std::string(kinds.options) + " etype=" + kinds.keyword;
  const auto run = [&](const std::string& records) {
    return Data_job(options, kinds.strata + (" " + records));
  };
  const std::string live = std::string(kinds.live) + " 1;", dead = std::string(kinds.dead) + " 1;";
  EXPECT_TRUE(
      run(live).warned("Data type declared " + std::string(kinds.only_live) + ", but only live found."));
  EXPECT_TRUE(
      run(dead).warned("Data type declared " + std::string(kinds.only_dead) + ", but only dead found."));
  // Two occasions are no robust design, which is told, too.
  const int of_intervals = datatype(dattyp_of(kinds.keyword)).sessions ? 1 : 0;
  EXPECT_EQ(run(live).warnings(), 1 + of_intervals);
  EXPECT_EQ(run(dead).warnings(), 1 + of_intervals);
  EXPECT_EQ(run(live + " " + dead).warnings(), of_intervals);
  EXPECT_EQ(run("").warnings(), of_intervals);
}

INSTANTIATE_TEST_SUITE_P(
    families, Kinds_found_test,
    testing::Values(Kinds{"BOTH", "", "", "BOTH", "BOTH", "1010", "1001"},
                    Kinds{"BARKER", "", "", "BARKER", "Barker Live/DeAD", "1010", "1001"},
                    Kinds{"RDBARKER", "", "", "RDBARKER", "Barker Live/DeAD", "1010", "1001"},
                    Kinds{"RDBARKHUG", "", "", "RDBARKER", "Barker Live/DeAD", "1010", "1001"},
                    Kinds{"MSLIVEDEAD", "strata=2", "strata=A B;", "MSLiveDead", "MSLiveDead", "A0B0",
                          "A001"},
                    Kinds{"BURNHAMLDRE", "", "", "Burnham Live/Dead with random effects",
                          "Burnham Live/Dead with random effects", "1010", "1001"},
                    Kinds{"MSBARKER", "strata=2", "strata=A B;", "MSBarker", "multi-state Barker Live/Dead",
                          "A0B0", "A00a"},
                    Kinds{"MSUNCBARKER", "strata=2", "strata=A B;", "MSBarker with state uncertainty",
                          "multi-state Barker Live/Dead with state uncertainty", "A0B0", "A00a"},
                    Kinds{"MSUNC2BARKER", "strata=2", "strata=A B;", "MSBarker with state uncertainty",
                          "multi-state Barker Live/Dead with state uncertainty", "A0B0", "A00a"}));

}  // namespace
}  // namespace tarn
