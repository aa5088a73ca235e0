#include "data/records.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "data_job.h"

namespace tarn {
namespace {

constexpr const char* live = "occasions=4 groups=1 hist=20 etype=LIVE";

TEST(Records, live_form) {
  const Data_job t("occasions=4 groups=2 hist=20 etype=LIVE", "0110 5 2; 1.00 3 0;");
  EXPECT_EQ(t.fault, "");
  ASSERT_EQ(t.records(), 2);
  EXPECT_EQ(t.history(1), "00101000");
  EXPECT_EQ(t.history(2), "10.00000");
  EXPECT_EQ(t.observed(1, 1), 5.0f);
  EXPECT_EQ(t.observed(1, 2), 2.0f);
  EXPECT_EQ(t.u(2, 1), 5.0f);
  EXPECT_EQ(t.u(2, 2), 2.0f);
  EXPECT_EQ(t.u(1, 1), 3.0f);
}

TEST(Records, live_and_dead_form) {
  const Data_job t("occasions=3 groups=1 hist=20 etype=BOTH", "101001 5; 00110000 2;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.history(1), "101001");
  EXPECT_EQ(t.history(2), "001100");  // characters beyond the occasions are left
  EXPECT_EQ(t.u(1), 5.0f);
  EXPECT_EQ(t.u(2), 2.0f);
}

TEST(Records, echo_of_records) {
  const Data_job t(live, "  1110 6; glabel(1)=a;");
  EXPECT_TRUE(t.listing_has("\n INPUT ---           1110 6;\n") || t.listing_has("1110 6;"));
}

TEST(Records, lengths) {
  EXPECT_EQ(Data_job(live, "11100 1;").fault, "History number 1 is not the correct length of 4.");
  EXPECT_EQ(Data_job(live, "1100 1; 111 1;").fault,
            "History number 2 is not the correct length of 4. "
            "Encounter history was too short for the number of occasions specified.");
  const Data_job t("occasions=4 groups=1 hist=2 etype=DEAD", "1000 1;");
  EXPECT_EQ(t.fault,
            "History number 1 is not the correct length of 4. "
            "Encounter history was too short for the number of occasions specified.");
  EXPECT_TRUE(t.listing_has("\n Error around encounter history number     1\n"));
}

TEST(Records, foreign_characters_are_faults_of_the_data) {
  const Data_job t(live, "11x0 1; 1100 2; 1a00 1;");
  EXPECT_EQ(t.fault, "stop: TARN Error found in data");
  EXPECT_TRUE(t.listing_has(" The character \"x\" was found in the encounter history.\n"));
  EXPECT_TRUE(t.listing_has("  Encounter history must consist of only these characters: \"10.\"\n"));
  EXPECT_TRUE(t.listing_has(" The character \"a\" was found in the encounter history.\n"));
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=2 etype=CLOSED", "11.0 1;").fault,
            "stop: TARN Error found in data");
}

TEST(Records, a_dot_in_an_alphabet_without_it_is_foreign) {
  const Data_job t("occasions=4 groups=1 hist=2 etype=CLOSED", "11.0 1;");
  EXPECT_TRUE(t.listing_has(" The character \".\" was found in the encounter history.\n"));
}

TEST(Records, identical_histories_fold) {
  const Data_job t(live, "1110 1; 1100 2; 1110 -3;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.records(), 2);
  EXPECT_EQ(t.observed(1), 1.0f);
  EXPECT_EQ(t.lost(1), 3.0f);
  EXPECT_EQ(t.u(1), 3.0f);
  EXPECT_EQ(t.ul(1), 3.0f);
  EXPECT_TRUE(
      t.listing_has("\n             The following encounter history is a duplicate of number 1 above.\n"));
  EXPECT_TRUE(t.warned("At least a pair of the encounter histories are duplicates."));
  EXPECT_TRUE(t.listing_has("Number of unique encounter histories read was 2."));
}

TEST(Records, nohist_drops_echo_and_announcement) {
  const Data_job t(std::string(live) + " nohist", "1110 2; 1110 1; 1100 3; glabel(1)=x;");
  EXPECT_FALSE(t.listing_has("1110 2;"));
  EXPECT_FALSE(t.listing_has("1100 3;"));
  EXPECT_FALSE(t.listing_has("is a duplicate"));
  EXPECT_TRUE(t.listing_has("glabel(1)=x;"));
  EXPECT_TRUE(t.warned("At least a pair of the encounter histories are duplicates."));
  EXPECT_EQ(t.records(), 2);
}

TEST(Records, nohist_shows_the_record_of_a_fault) {
  const Data_job t(std::string(live) + " nohist", "1110 2; 11100 1;");
  EXPECT_TRUE(t.listing_has("11100 1;"));
  EXPECT_FALSE(t.listing_has("1110 2;"));
}

TEST(Records, with_covariates_nothing_folds) {
  const Data_job t(std::string(live) + " icovar=1", "1110 1 4; 1110 2 6;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.records(), 2);
  EXPECT_EQ(t.covariate(2), 6.0);
  EXPECT_EQ(t.warnings(), 0);
}

TEST(Records, more_than_the_capacity) {
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=2 etype=LIVE", "1100 1; 1110 1; 1111 1;").fault,
            "More histories found than specified on PROC card.");
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=2 etype=LIVE", "1100 1; 1110 1; 1110 1;").fault, "");
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=1 icovar=1 etype=LIVE", "1100 1 2; 1100 1 2;").fault,
            "Error from findloc finding a blank history.");
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=1 etype=DENSITYPC", "11 1 2 1; 11 1 2 1;").fault,
            "More histories found than specified on PROC card.");
}

TEST(Records, animals_that_were_never_released) {
  EXPECT_EQ(Data_job(live, "1100 1; 0000 1;").fault, "History number 2 Animal was never released: 0000");
  EXPECT_EQ(Data_job(live, "0.0. 1;").fault, "History number 1 Animal was never released: 0.0.");
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=2 etype=BOTH", "0001 1;").fault,
            "History number 1 Animal was never released: 0001");
}

TEST(Records, first_sign_that_is_no_release) {
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=2 etype=BOTH", "2010 1;").fault,
            "History number 1 Initial encounter was not a release: 2010");
}

TEST(Records, stratum_of_the_first_capture) {
  const Data_job t("occasions=3 groups=1 hist=9 etype=MULTISTRATA strata=2",
                   "strata=A B; 0BA 3; A0B -2; .B0 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.u(2, 1, 2), 4.0f);
  EXPECT_EQ(t.ul(1, 1, 1), 2.0f);
  EXPECT_EQ(t.u(1, 1, 1), 0.0f);
}

TEST(Records, limits_of_the_first_stratum) {
  const auto layer = [](const std::string& options, const std::string& deck, int expected) {
    const Data_job t("occasions=2 groups=1 hist=9 " + options, deck);
    EXPECT_EQ(t.fault, "") << deck;
    for (int k = 1; k <= t.data().u.extent(3); ++k)
      EXPECT_EQ(t.u(1, 1, k), k == expected ? 1.0f : 0.0f) << deck;
  };
  layer("etype=RDMSMISCLASS strata=2", "strata=A B; u0 1;", 3);
  layer("etype=RDMS2MISCLASS strata=2", "strata=A B; b0 1;", 4);
  layer("etype=MSBARKER strata=2", "strata=A B; U000 1;", 3);
  layer("strata=2 etype=HIDMARKOV events=2", "strata=A B x y; y0 1;", 4);
  layer("strata=2 etype=MSUNCBARKER eventsp=2", "strata=A B x y; y000 1;", 4);  // position 6 goes down by 2
  layer("strata=2 etype=MSUNCBARKER eventsp=2", "strata=A B x y; B000 1;", 2);
}

TEST(Records, a_layer_that_was_not_allocated) {
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=9 strata=2 etype=MSUNCBARKER eventsp=2 events=0",
                     "strata=A B x y; y000 1;")
                .fault,
            "STRATA= and EVENTS= of the PROC CHMATRIX statement leave no room for stratum 4.");
}

TEST(Records, sites_are_tabulated_at_occasion_1) {
  const Data_job t("occasions=3 groups=1 hist=9 etype=OCCUPANCY", "000 4; 011 2; ..1 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.u(1), 7.0f);
  EXPECT_EQ(t.u(2), 0.0f);
}

TEST(Records, negative_counts_are_losses) {
  const Data_job t(live, "1100 -2; 1010 3;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.lost(1), 2.0f);
  EXPECT_EQ(t.observed(1), 0.0f);
  EXPECT_EQ(t.ul(1), 2.0f);
  EXPECT_TRUE(t.warned("History number 1 has zero values for all groups.  Mistake to be fixed?"));
}

TEST(Kept, losses_alone_are_told_as_zero_values) {
  const Data_job t(live, "1100 -2;");
  EXPECT_TRUE(t.warned("History number 1 has zero values for all groups.  Mistake to be fixed?"));
  EXPECT_EQ(t.lost(1), 2.0f);
}

TEST(Records, the_dead_cannot_be_lost_on_capture) {
  const Data_job burnham("occasions=2 groups=1 hist=9 etype=BOTH", "1001 -5; 1010 -1;");
  EXPECT_EQ(burnham.observed(1), 5.0f);
  EXPECT_EQ(burnham.lost(1), 0.0f);
  EXPECT_EQ(burnham.u(1), 5.0f);
  EXPECT_EQ(burnham.lost(2), 1.0f);
  const Data_job barker("occasions=2 groups=1 hist=9 etype=BARKER", "1001 -5; 1010 1;");
  EXPECT_EQ(barker.observed(1), 0.0f);
  EXPECT_EQ(barker.lost(1), 5.0f);
}

TEST(Records, negative_counts_that_turn_positive) {
  for (const char* keyword :
       {"LOGITNORMALMR", "IELOGITNORMALMR", "UNIDLOGITNORMALMR", "UNIDIELOGITNORMALMR"}) {
    const Data_job t(std::string("occasions=2 groups=1 hist=9 etype=") + keyword, "10 -5;");
    EXPECT_EQ(t.fault, "");
    EXPECT_TRUE(
        t.warned("History number 1 This data type cannot have negative frequencies. Set to positive. "
                 "Use dots in the encounter history instead."));
    EXPECT_EQ(t.observed(1), 5.0f);
    EXPECT_EQ(t.lost(1), 0.0f);
  }
}

TEST(Records, zero_counts_warn_and_keep_the_record) {
  const Data_job t("occasions=4 groups=2 hist=9 etype=LIVE", "1100 1 0; 1110 0 0;");
  EXPECT_EQ(t.records(), 2);
  EXPECT_TRUE(t.warned("History number 2 has zero values for all groups.  Mistake to be fixed?"));
  EXPECT_EQ(t.warnings(), 1);
}

TEST(Records, counts_missing) {
  EXPECT_EQ(Data_job("occasions=4 groups=2 hist=9 etype=LIVE", "1100 1;").fault,
            "History number 1 Not enough group counts specified on the encounter history.");
  EXPECT_EQ(Data_job(live, "1100 .;").fault,
            "History number 1 A group count is missing on the encounter history.");
}

TEST(Records, counts_are_32_bit_floats) {
  const Data_job t(live, "1100 16777217; 1010 0.1; 1000 1e30;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.observed(1), 16777216.0f);
  EXPECT_EQ(t.observed(2), 0.1f);
  EXPECT_EQ(t.observed(3), 1e30f);
}

TEST(Records, counts_beyond_a_32_bit_float) {
  constexpr const char* too_large = " A group count is too large on the encounter history.";
  const std::string groups = "occasions=4 groups=2 hist=20 etype=LIVE";
  EXPECT_EQ(Data_job(groups, "1100 3.4028234e38 0; 1010 0 -3.4028234e38;").fault, "");
  for (const char* record : {"1100 3.5e38 1;", "1100 1 3.5e38;", "1100 -3.5e38 1;", "1100 1 1e60;"})
    EXPECT_EQ(Data_job(groups, record).fault, std::string("History number 1") + too_large) << record;
  EXPECT_EQ(Data_job(groups + " dataclones=4", "1100 1 1; 1000 1e38 1;").fault,
            std::string("History number 2") + too_large);
}

TEST(Records, sums_of_counts_beyond_a_32_bit_float) {
  const auto fault = [](const std::string& records, const std::string& type = "LIVE") {
    return Data_job("occasions=4 groups=2 hist=20 etype=" + type, records).fault;
  };
  EXPECT_EQ(fault("1100 0 2e38; 1100 0 2e38;"), "The number of animals in group 2 is too large.");  // folded
  EXPECT_EQ(fault("1100 2e38 0; 1010 2e38 0;"), "The number of animals in group 1 is too large.");
  EXPECT_EQ(fault("1100 2e38 0; 0110 2e38 2e38; 0101 -2e38 0;"), "");
  EXPECT_EQ(fault("1100 0 2e38; 0110 0 2e38;", "HUGGINS"), "The number of animals in group 2 is too large.");
}

TEST(Records, clones_multiply_the_counts) {
  const Data_job t(std::string(live) + " dataclones=3", "1100 2; 1010 -1;");
  EXPECT_EQ(t.observed(1), 6.0f);
  EXPECT_EQ(t.lost(2), 3.0f);
  EXPECT_EQ(t.u(1), 6.0f);
  EXPECT_EQ(t.ul(1), 3.0f);
}

TEST(Records, covariates_missing) {
  EXPECT_EQ(Data_job(std::string(live) + " icovar=2", "1100 1 3.5;").fault,
            "History number 1 Not enough individual covariates specified on the encounter history.");
}

TEST(Records, extra_values_are_counted) {
  const Data_job t(std::string(live) + " icovar=1", "1100 1 3.5 4 5; 1110 1 3; 1000 1 2 2;");
  EXPECT_EQ(t.fault, "");
  EXPECT_TRUE(
      t.warned("Number of encounter history records found with extra individual covariate values was 2."));
  EXPECT_EQ(t.covariate(1), 3.5);
}

TEST(Records, covariate_means_weigh_the_animals) {
  const Data_job t(std::string(live) + " icovar=1", "1100 2 1; 1110 -1 4; 1000 1 .;");
  EXPECT_NEAR(t.data().icvrmn(1), 2.0, 1e-15);
  EXPECT_NEAR(t.data().icvrsd(1), std::sqrt(3.0), 1e-15);  // 1, 1, 4
  EXPECT_EQ(t.covariate(3), t.data().icvrmn(1));
  EXPECT_TRUE(
      t.warned("Number of missing individual covariate values replaced by the mean of the covariate was 1."));
}

TEST(Records, the_deviation_of_a_covariate_far_from_0) {
  // The mean, 1e8 + 1/3, is no number of 64 bits: its error of up to 7e-9 may reach the deviation squared
  // only, and not times the mean.
  const Data_job t(std::string(live) + " icovar=1", "1100 1 1e8; 1110 1 1e8; 1000 1 100000001;");
  EXPECT_NEAR(t.data().icvrsd(1), std::sqrt(1.0 / 3.0), 1e-12);
}

TEST(Records, standardized_covariates) {
  const Data_job t(std::string(live) + " icovar=2 standardize", "1100 2 1 7; 1110 1 4 7; 1000 1 . 7;");
  EXPECT_NEAR(t.covariate(1), -1.0 / std::sqrt(3.0), 1e-15);
  EXPECT_NEAR(t.covariate(2), 2.0 / std::sqrt(3.0), 1e-15);
  EXPECT_EQ(t.covariate(3), 0.0);
  EXPECT_EQ(t.covariate(1, 2), 0.0);  // without spread: centred only
  EXPECT_EQ(t.data().icvrsd(2), 1.0);
  EXPECT_NEAR(t.data().icvrmn(1), 2.0, 1e-15);
}

TEST(Records, locations_of_the_density_families) {
  const Data_job t("occasions=2 groups=1 hist=9 etype=DENSITYPC", "areas=2; 11 1 3 5; 10 . . 2; 11 0 3 5;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.records(), 3);
  EXPECT_EQ(t.data().ninside(1), 1.0);
  EXPECT_EQ(t.data().nlocations(1), 3.0);
  EXPECT_EQ(t.data().ninside(2), 0.0);
  EXPECT_EQ(t.data().nlocations(2), 0.0);
  EXPECT_EQ(t.data().nlocations(3), 3.0);
  EXPECT_EQ(t.observed(3), 5.0f);
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=2 etype=DENSITYPC", "1100 5 3 1;").fault,
            "History number 1 Number inside grid > number of locations on the encounter history.");
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=2 etype=DENSITYPC", "1100;").fault,
            "Index '2' of dimension 1 of array 'words' above upper bound of 1");
}

TEST(Records, locations_grow_with_the_records) {
  std::string deck = "areas=1;";
  for (int i = 0; i < 200; ++i) deck += " 11 1 " + std::to_string(i + 1) + " 1;";
  const Data_job t("occasions=2 groups=1 hist=500 etype=DENSITYHET", deck);
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.data().nlocations(200), 200.0);
  EXPECT_EQ(t.data().nlocations(1), 1.0);
}

TEST(Records, closed_families_count_all_animals) {
  const Data_job t("occasions=3 groups=2 hist=9 etype=CLOSED", "100 3 1; 001 2 0; 010 -4 1;");
  EXPECT_EQ(t.u(1, 1), 5.0f);
  EXPECT_EQ(t.ul(1, 1), 4.0f);
  EXPECT_EQ(t.u(1, 2), 2.0f);
  EXPECT_EQ(t.u(3, 1), 0.0f);
}

TEST(Records, robust_designs_count_animals_by_session) {
  const Data_job t("occasions=5 groups=1 hist=9 etype=ROBUST",
                   "time intervals 0 2 0 0; 11000 3; 01001 2; 00110 -1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.job.status.nprimy, 2);
  EXPECT_EQ(t.u(1), 5.0f);
  EXPECT_EQ(t.u(2), 2.0f);
  EXPECT_EQ(t.ul(2), 1.0f);
  EXPECT_EQ(t.data().timevy, 1);
  EXPECT_TRUE(t.listing_has("Time interval lengths vary and/or not equal to 1."));
}

TEST(Records, robust_multistate_counts_by_session_and_stratum) {
  const Data_job t("occasions=4 groups=1 hist=9 etype=CRDMS strata=2",
                   "strata=A B; time intervals 0 1 0; AA0B 3; 0B0B 2; 00BB 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.u(1, 1, 1), 3.0f);
  EXPECT_EQ(t.u(1, 1, 2), 2.0f);
  EXPECT_EQ(t.u(2, 1, 2), 6.0f);
  EXPECT_EQ(t.data().timevy, 0);
}

TEST(Records, one_hundred_thousand_histories_are_read_in_linear_time) {
  const auto seconds = [](int records) {
    std::string deck;
    for (int i = 0; i < records; ++i) {
      std::string history(20, '0');
      for (int bit = 0; bit < 19; ++bit) history[static_cast<std::size_t>(bit)] = (i >> bit) & 1 ? '1' : '0';
      history[19] = '1';
      deck += history + " 1;\n";
    }
    const auto start = std::chrono::steady_clock::now();
    const Data_job t("occasions=20 groups=1 hist=100000 etype=LIVE nohist", deck);
    const double taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(t.fault, "");
    EXPECT_EQ(t.records(), records);
    return taken;
  };
  const double few = seconds(10000), many = seconds(100000);
  RecordProperty("seconds_for_100000", std::to_string(many));
  EXPECT_LT(many, 40.0 * few + 0.5);  // a scan of the records would take 100 times as long
}

}  // namespace
}  // namespace tarn
