// What the data of sites may hold.

#include "data/site_checks.h"

#include <gtest/gtest.h>

#include <string>

#include "data_job.h"

namespace tarn {
namespace {

// A cell with one dot was not surveyed, whatever the other character.
TEST(Site_checks, half_a_cell_is_accepted) {
  for (const std::string type :
       {"2SPECOCCUP", "2SPECCONOCCUP", "RD2SPGECONOCC", "OCCUPRPOISSON", "OCCUPRNEGBIN", "NSPECIESOCC"}) {
    const std::string intervals = type == "RD2SPGECONOCC" ? "time intervals 0 1; " : "";
    const Data_job t("occasions=3 groups=1 hist=5 etype=" + type,
                     intervals + "1..1.. 4; 1.0101 3; ...... 2;");
    EXPECT_EQ(t.fault, "") << type;
    EXPECT_EQ(t.warnings(), 0) << type;
    EXPECT_EQ(t.records(), 3) << type;
    EXPECT_EQ(t.u(1), 9.0F) << type;
  }
}

TEST(Site_checks, negative_counts_stay_in_their_column) {
  const Data_job t("occasions=3 groups=2 hist=5 etype=OCCUPANCY", "010 4 -3; 001 -2 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_TRUE(t.warned("History number 1 has a negative count. A site is not lost on capture"));
  EXPECT_TRUE(t.warned("History number 2 has a negative count. A site is not lost on capture"));
  EXPECT_EQ(t.warnings(), 2);
  EXPECT_EQ(t.observed(1, 1), 4.0F);
  EXPECT_EQ(t.lost(1, 2), 3.0F);
  EXPECT_EQ(t.lost(2, 1), 2.0F);
}

TEST(Site_checks, animals_may_be_lost) {
  const Data_job t("occasions=3 groups=1 hist=5 etype=LIVE", "110 -3; 100 2;");
  EXPECT_FALSE(t.listing_has("A site is not lost"));
}

TEST(Site_checks, longer_pairs_are_cut_of_animals_only) {
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=5 etype=DEAD", "11000 3;").fault, "");
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=5 etype=2SPECOCCUP", "11000 3;").fault,
            "History number 1 has 5 characters for 2 occasions of two, so that counts end at 99.");
}

TEST(Site_checks, sessions_of_whole_blocks_do_not_warn) {
  const Data_job single("occasions=6 groups=1 hist=5 mixtures=3 etype=MULTSCALOCC", "001010 3;");
  EXPECT_EQ(single.warnings(), 0);
  const Data_job seasons("occasions=6 groups=1 hist=5 mixtures=2 etype=RDMULTSCALOCC",
                         "time intervals 0 1 0 0 0; 001010 3;");
  EXPECT_EQ(seasons.warnings(), 0);
  const Data_job short_one("occasions=6 groups=1 hist=5 mixtures=4 etype=RDMULTSCALOCC",
                           "time intervals 0 1 0 0 0; 001010 3;");
  EXPECT_TRUE(short_one.warned("Primary session 1 has 2 occasions, no multiple of MIXTURES=4"));
  EXPECT_EQ(short_one.warnings(), 1);
}

TEST(Site_checks, intervals_of_one_season_are_not_looked_at) {
  for (const std::string type : {"OCCUPANCY", "OCCCLUS", "OCCRELCLOS"})
    EXPECT_EQ(Data_job("occasions=3 groups=1 hist=5 etype=" + type, "001 3;").warnings(), 0) << type;
}

TEST(Site_checks, codes_of_states) {
  EXPECT_EQ(Data_job("occasions=3 groups=1 hist=5 strata=2 etype=RDMSOCCREPRO",
                     "strata=1 2; time intervals 0 1; 012 3; .20 1;")
                .fault,
            "");
  EXPECT_EQ(Data_job("occasions=3 groups=1 hist=5 strata=3 etype=RDMSOCCUPANCY",
                     "strata=a b c; time intervals 0 1; 0ab 3; .c0 1;")
                .fault,
            "");
}

TEST(Site_checks, species_follow_from_the_data) {
  const Data_job told("occasions=2 groups=1 hist=5 etype=NSPECIESOCC", "0005 3; ..01 1;");
  EXPECT_EQ(told.fault, "");
  EXPECT_EQ(told.job.status.nspeciesocc, 3);
  const Data_job by_strata("occasions=2 groups=1 hist=5 strata=2 etype=NSPECIESOCC", "0003 3; 0400 1;");
  EXPECT_TRUE(by_strata.fault.starts_with("History number 2 Cell \"04\" of occasion 1")) << by_strata.fault;
  // What was not surveyed is no number.
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=5 mixtures=2 etype=NSPECIESOCC", "0003 3; 9.00 1;").fault,
            "");
}

}  // namespace
}  // namespace tarn
