#include "data/summaries.h"

#include <gtest/gtest.h>

#include "data_job.h"

namespace tarn {
namespace {

TEST(Time_intervals, values_and_the_last_interval) {
  const Data_job t("occasions=4 groups=1 hist=9 etype=LIVE", "time intervals 1 2 1.5; 1100 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.data().timint(2), 2.0f);
  EXPECT_EQ(t.data().timint(3), 1.5f);
  EXPECT_EQ(t.data().timint(4), 1.0f);
  EXPECT_EQ(t.data().timevy, 1);
  EXPECT_TRUE(t.listing_has("\n      Time interval lengths vary and/or not equal to 1.\n"));
  EXPECT_TRUE(t.screen_has("\n   Time interval lengths vary and/or not equal to 1.\n"));
  EXPECT_EQ(Data_job("occasions=3 groups=1 hist=9 etype=DEAD", "time intervals 1 1 2;").data().timint(3),
            2.0f);
}

TEST(Time_intervals, faults) {
  const auto fault = [](const std::string& statement, const std::string& options = "etype=LIVE") {
    return Data_job("occasions=4 groups=1 hist=9 " + options, statement).fault;
  };
  EXPECT_EQ(fault("time intervals 1 1;"), "Not enough time interval values specified.");
  EXPECT_EQ(fault("time;"), "Not enough time interval values specified.");
  EXPECT_EQ(fault("time intervals 1 0 1;"), "Time Interval Length was equal to zero for value \"0\".");
  EXPECT_EQ(fault("time intervals 1 0.0 1;"), "Time Interval Length was equal to zero for value \"0.0\".");
  EXPECT_EQ(fault("time intervals 1 -1 1;"),
            "Time Interval Length was not a positive number for value \"-1\".");
  EXPECT_EQ(fault("time intervals 0 1 0;", "etype=ROBUST"), "");
  EXPECT_EQ(fault("time intervals 0 0 0;", "etype=CLOSED"), "");
  EXPECT_EQ(fault("time intervals 1 1 1 1 1 1;"), "");
}

TEST(Time_intervals, debug) {
  const Data_job t("occasions=3 groups=1 hist=9 etype=LIVE debug", "time intervals 1 2;");
  EXPECT_TRUE(t.listing_has("\n Occasion =   1\n Occasion =   2\n"));
  const Data_job short_list("occasions=4 groups=1 hist=9 etype=LIVE debug", "time intervals 1 2;");
  for (const char* text : {"dattyp=1", "k=3", "i=3", "lstwrd=4"})
    EXPECT_TRUE(short_list.listing_has(text)) << text;
}

TEST(Time_intervals, primary_sessions) {
  const auto sessions = [](const std::string& etype, const std::string& statement) {
    const Data_job t("occasions=5 groups=1 hist=9 etype=" + etype, statement);
    EXPECT_EQ(t.fault, "");
    return std::pair(t.job.status.nprimy, t.data().timevy);
  };
  EXPECT_EQ(sessions("ROBUST", "time intervals 0 0 1 0;"), std::pair(2, 0));
  EXPECT_EQ(sessions("ROBUST", "time intervals 0 0 2 0;"), std::pair(2, 1));
  EXPECT_EQ(sessions("ROBUST", ""), std::pair(5, 0));
  EXPECT_EQ(sessions("LIVE", ""), std::pair(1, 0));
  EXPECT_EQ(sessions("DEAD", "time intervals 1 1 1 1 2;"), std::pair(1, 1));
  EXPECT_EQ(sessions("LIVE", "time intervals 1 1 1 1 2;"), std::pair(1, 0));
  EXPECT_EQ(sessions("RDBARKER", "time intervals 0 0 1 0 2;"), std::pair(2, 1));
  EXPECT_EQ(sessions("RDOCCUPEG", "time intervals 0 1 0 1;"), std::pair(3, 0));
}

TEST(Recovery_matrix, records_and_releases) {
  const Data_job t("occasions=3 groups=1 hist=20 etype=BROWNIE",
                   "recovery matrix group=1; 3 2 1; 4 1; 5; 50 51 52;");
  EXPECT_EQ(t.fault, "");
  EXPECT_TRUE(t.listing_has("Number of unique encounter histories read was 9."));
  ASSERT_EQ(t.records(), 9);
  EXPECT_EQ(t.history(1), "110000");
  EXPECT_EQ(t.history(2), "100100");
  EXPECT_EQ(t.history(4), "001100");
  EXPECT_EQ(t.history(7), "100000");
  EXPECT_EQ(t.observed(1), 3.0f);
  EXPECT_EQ(t.observed(7), 44.0f);
  EXPECT_EQ(t.observed(9), 47.0f);
  EXPECT_EQ(t.u(1), 50.0f);
  EXPECT_EQ(t.u(3), 52.0f);
}

TEST(Recovery_matrix, without_releases_u_is_the_sum_of_recoveries) {
  const Data_job t("occasions=2 groups=2 hist=20 etype=VPA dataclones=2",
                   "recovery matrix group=2; 3 0; 4; recovery matrix group=1; 1 1; 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.records(), 3);
  EXPECT_EQ(t.u(1, 2), 6.0f);
  EXPECT_EQ(t.u(2, 2), 8.0f);
  EXPECT_EQ(t.u(1, 1), 4.0f);
  EXPECT_EQ(t.observed(1, 2), 6.0f);
  EXPECT_EQ(t.observed(1, 1), 2.0f);
}

TEST(Recovery_matrix, faults) {
  const auto fault = [](const std::string& statements, const std::string& options = "etype=BROWNIE") {
    return Data_job("occasions=3 groups=1 hist=20 " + options, statements).fault;
  };
  EXPECT_EQ(fault("recovery matrix;"), "Group # for this recovery matrix was not specified.");
  EXPECT_EQ(fault("recovery matrix group=0;"), "Group # for this recovery matrix was not specified.");
  EXPECT_EQ(fault("recovery matrix group=;"), "Group # for this recovery matrix was not specified.");
  EXPECT_EQ(fault("recovery matrix group=2;"),
            "Group # for this recovery matrix is > number of groups specified.");
  EXPECT_EQ(fault("recovery matrix group=-1;"), "Value of group <1.");
  const std::string wrong = "Number of recoveries specified is incorrect for this number of occasions.";
  EXPECT_EQ(fault("recovery matrix group=1; 3 2;"), wrong);
  EXPECT_EQ(fault("recovery matrix group=1; 3 2 1 1;"), wrong);
  EXPECT_EQ(fault("recovery matrix group=1; 3 2 1; 4 1; 5; 50 50 50 50;"),
            "Number of releases specified is incorrect for number of occasions.");
  EXPECT_EQ(fault("recovery matrix group=1; 3 2 1; 4 1; 5; 50 4 50;"),
            "Number of recoveries exceeds number of releases for occasion 2.");
  EXPECT_EQ(fault("recovery matrix group=1; 3 -2 1;"),
            "A negative number was specified in a recovery matrix.");
  EXPECT_EQ(fault("recovery matrix group=1;", "etype=BROWNIE icovar=1"),
            "A RECOVERY MATRIX statement cannot be used with individual covariates.");
  EXPECT_EQ(fault("recovery matrix group=1;", "etype=LIVE"),
            "A RECOVERY MATRIX statement cannot be used with this data type.");
  EXPECT_EQ(Data_job("occasions=3 groups=1 hist=2 etype=BROWNIE", "recovery matrix group=1; 3 2 1;").fault,
            "More histories found than specified on PROC card.");
}

TEST(Known_fate, records) {
  const Data_job t("occasions=3 groups=1 hist=20 etype=KNOWN", "known fate group=1; 10 1; 9 2; 7 0;");
  EXPECT_EQ(t.fault, "");
  ASSERT_EQ(t.records(), 5);
  EXPECT_EQ(t.history(1), "110000");
  EXPECT_EQ(t.observed(1), 1.0f);
  EXPECT_EQ(t.history(2), "100000");
  EXPECT_EQ(t.observed(2), 9.0f);
  EXPECT_EQ(t.history(5), "000010");
  EXPECT_EQ(t.u(1), 10.0f);
  EXPECT_EQ(t.u(3), 7.0f);
}

TEST(Known_fate, faults) {
  const auto fault = [](const std::string& statements, const std::string& options = "etype=KNOWN") {
    return Data_job("occasions=3 groups=1 hist=20 " + options, statements).fault;
  };
  EXPECT_EQ(fault("known fate;"), "Group # for this known fate data matrix was not specified.");
  EXPECT_EQ(fault("known fate group=2;"),
            "Group # for this known fate data matrix is > number of groups specified.");
  EXPECT_EQ(fault("known fate group=1; 10 1 2;"),
            "Number of values specified is incorrect for this type of data.");
  EXPECT_EQ(fault("known fate group=1; 10;"),
            "Number of values specified is incorrect for this type of data.");
  EXPECT_EQ(fault("known fate group=1; 10 11;"),
            "Number of deaths exceeds number of animals at risk for occasion 1.");
  EXPECT_EQ(fault("known fate group=1; 10 -1;"),
            "A negative number was specified in a known fate data matrix.");
  EXPECT_EQ(fault("known fate group=1; 3.5e38 0;"),
            "A number too large was specified in a known fate data matrix.");
  EXPECT_EQ(fault("known fate group=1; 3e37 0;", "etype=KNOWN dataclones=20"),
            "A number too large was specified in a known fate data matrix.");
  EXPECT_EQ(fault("known fate group=1; 3.4e38 1; 10 1; 10 1;"), "");
  EXPECT_EQ(fault("known fate group=1; 3e38 0; 1 0; 1 0; known fate group=1; 3e38 0; 1 0; 1 0;"),
            "The number of animals in group 1 is too large.");
  EXPECT_EQ(fault("known fate group=1;", "etype=KNOWN icovar=1"),
            "A KNOWN FATE statement cannot be used with individual covariates.");
  const Data_job unknown("occasions=3 groups=1 hist=20 etype=KNOWN", "known birds group=1;");
  EXPECT_EQ(unknown.fault, "");
  EXPECT_TRUE(unknown.warned("Unknown statement starting with \"KNOWN\" and \"BIRDS\"."));
}

TEST(Nest_survival, records) {
  const Data_job t(
      "occasions=9 groups=2 hist=20 etype=NEST dataclones=2",
      "nest survival group=1; 1 5 9 1 1; 2 7 7 0 3; 1 5 9 1 4; nest survival group=2; 2 2 4 1 1; "
      "glabel(1)=a;");
  EXPECT_EQ(t.fault, "");
  ASSERT_EQ(t.records(), 3);
  EXPECT_EQ(t.history(1), "100000001000000001");
  EXPECT_EQ(t.history(2), "001000000000100000");
  EXPECT_EQ(t.history(3), "001000010000000000");
  EXPECT_EQ(t.observed(1, 1), 10.0f);
  EXPECT_EQ(t.observed(2, 1), 6.0f);
  EXPECT_EQ(t.observed(3, 2), 2.0f);
  EXPECT_EQ(t.u(1, 1), 10.0f);
  EXPECT_EQ(t.u(2, 2), 2.0f);
  EXPECT_FALSE(t.listing_has("1 5 9 1 1;"));
  EXPECT_TRUE(t.listing_has("nest survival group=2;") || t.listing_has("nest survival group=1;"));
  EXPECT_TRUE(t.listing_has("glabel(1)=a;"));
}

TEST(Nest_survival, covariates) {
  const Data_job t("occasions=9 groups=1 hist=20 icovar=1 etype=NEST",
                   "nest survival group=1; 1 5 9 1 1 3.5; 1 5 9 1 1 4;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.records(), 2);
  EXPECT_EQ(t.covariate(1), 3.5);
  EXPECT_EQ(t.covariate(2), 4.0);
}

TEST(Nest_survival, faults_show_their_record) {
  const auto fault = [](const std::string& record, const std::string& options = "etype=NEST") {
    const Data_job t("occasions=20 groups=1 hist=9 " + options, "nest survival group=1; " + record + ";");
    EXPECT_TRUE(t.fault.empty() || t.listing_has(record + ";")) << record;
    return t.fault;
  };
  EXPECT_EQ(fault("1 5 9 1"), "Too few data values for following record.");
  EXPECT_EQ(fault("0 5 9 0 1"), "Minimum time is <= zero.");
  EXPECT_EQ(fault("1 5 29 0 1"), "Maximum time exceeds number of occasions. Incorrect time is 29");
  EXPECT_EQ(fault("5 3 9 0 1"), "Invalid observation -- times ordered correctly?");
  EXPECT_EQ(fault("5 9 8 0 1"), "Invalid observation -- times ordered correctly?");
  EXPECT_EQ(fault("5 5 5 0 1"), "Invalid observation -- all times same.");
  EXPECT_EQ(fault("5 5 5 1 1"), "Invalid observation -- all times same.");
  EXPECT_EQ(fault("5 5 9 0 1"), "Invalid observation -- first 2 times equal and fate=0.");
  EXPECT_EQ(fault("5 9 9 1 1"), "Invalid observation -- last 2 times equal and fate>0.");
  EXPECT_EQ(fault("5 7 9 -1 1"), "Invalid observation -- fate is negative.");
  EXPECT_EQ(fault("5 7 9 1 -1"), "Invalid observation -- frequency is negative.");
  EXPECT_EQ(fault("5 7 9 1 3.5e38"), "Invalid observation -- frequency is too large.");
  EXPECT_EQ(fault("5 5 9 1 1"), "");
  EXPECT_EQ(fault("1 5 9 1 1", "icovar=1 etype=NEST"),
            "Not enough individual covariates specified on this record.");
  EXPECT_TRUE(Data_job("occasions=20 groups=1 hist=9 etype=NEST", "nest survival group=1; 1 5 9 0 1;")
                  .warned("Possibly invalid observation -- last 2 times not equal and fate=0."));
}

TEST(Nest_survival, sums_of_frequencies_beyond_a_32_bit_float) {
  const Data_job t("occasions=20 groups=1 hist=9 etype=NEST",
                   "nest survival group=1; 5 7 9 1 3e38; 5 7 8 1 3e38;");
  EXPECT_EQ(t.fault, "The number of animals in group 1 is too large.");
}

TEST(Nest_survival, group_and_family) {
  const auto fault = [](const std::string& statement, const std::string& etype) {
    return Data_job("occasions=20 groups=1 hist=9 etype=" + etype, statement).fault;
  };
  EXPECT_EQ(fault("nest survival;", "NEST"), "Group # for this nest survival data matrix was not specified.");
  EXPECT_EQ(fault("nest survival group=3;", "NEST"),
            "Group # for this nest survival data matrix is > number of groups specified.");
  EXPECT_EQ(fault("nest survival group=1;", "LIVE"),
            "Data type must be nest success to enter encounter histories in this format.");
}

struct Matrix {
  const char *statement, *what, *keyword;
  Array2<double> Data_module::*array;
};

class Count_matrix : public testing::TestWithParam<Matrix> {};

TEST_P(Count_matrix, values_and_faults) {
  const Matrix& matrix = GetParam();
  const std::string options = "occasions=3 groups=2 hist=9 etype=" + std::string(matrix.keyword);
  const std::string statement = matrix.statement, what = matrix.what;
  const Data_job t(options, statement + " group=2; 4 5;");
  EXPECT_EQ(t.fault, "");
  const Array2<double>& counts = t.data().*matrix.array;
  EXPECT_EQ(counts(1, 2), 4.0);
  EXPECT_EQ(counts(2, 2), 5.0);
  EXPECT_EQ(counts(3, 2), 0.0);
  EXPECT_EQ(counts(1, 1), 0.0);
  const auto fault = [&](const std::string& statements) { return Data_job(options, statements).fault; };
  const std::string head = "Group # for this " + what + " data matrix";
  EXPECT_EQ(fault(statement + "; 1 2 3;"), head + " was not specified.");
  EXPECT_EQ(fault(statement + " group=0; 1 2 3;"), head + " was not specified.");
  EXPECT_EQ(fault(statement + " group=3; 1 2 3;"), head + " is > number of groups specified.");
  EXPECT_EQ(fault(statement + " group=1; 1 2 3 4;"),
            "Number of " + what + " values specified > number of occacsions.");
  EXPECT_EQ(fault(statement + " group=1; 1 -2 3;"),
            "A negative number was specified in a " + what + " data matrix.");
  EXPECT_EQ(
      Data_job("occasions=3 groups=1 hist=9 etype=LIVE", statement + " group=1; 1 2 3;").fault.substr(0, 13),
      "The statement");
}

INSTANTIATE_TEST_SUITE_P(
    statements, Count_matrix,
    testing::Values(Matrix{"unmarked seen", "unmarked seen", "LOGITNORMALMR", &Data_module::unmarked},
                    Matrix{"marked unidentified", "marked unidentified", "POISSONMR", &Data_module::markunid},
                    Matrix{"marked superpopulation", "marked superpopulation", "IELOGITNORMALMR",
                           &Data_module::tmarked},
                    Matrix{"known marks", "known marks", "POISSONMR", &Data_module::markknwn}));

TEST(Count_matrix, unknown_second_words_warn) {
  for (const char* first : {"UNMARKED", "MARKED", "KNOWN"}) {
    const Data_job t("occasions=3 groups=1 hist=9 etype=POISSONMR", std::string(first) + " birds group=1;");
    EXPECT_EQ(t.fault, "");
    EXPECT_TRUE(t.warned("Unknown statement starting with \"" + std::string(first) + "\" and \"BIRDS\"."));
  }
}

TEST(Count_matrix, debug) {
  const Data_job t(
      "occasions=3 groups=1 hist=9 etype=POISSONMR debug",
      "unmarked seen group=1; 4 5 6; marked unidentified group=1; 1 1 1; known marks group=1; 1 0 0; "
      "01+0.. 1;");
  EXPECT_TRUE(t.listing_has("\n UNMARKED=\n"));
  EXPECT_TRUE(t.listing_has("\n MARKUNID=\n"));
  EXPECT_TRUE(
      t.listing_has("      Group=1\n      Occasion=1\n"
                    "      Number of encounter histories tabulated =1\n      Marks known = 1\n"));
  EXPECT_TRUE(
      t.listing_has("      Group = 1\n      Occasion = 2\n"
                    "      Number of encounter histories tabulated = 1\n      New Marks added = 0\n"));
}

TEST(Count_matrix, debug_cuts_counts_that_no_integer_holds) {
  const Data_job t("occasions=2 groups=1 hist=9 etype=POISSONMR debug",
                   "known marks group=1; 1e60 0; 01+0 1; +001 2e38;");
  EXPECT_EQ(t.fault, "");
  EXPECT_TRUE(
      t.listing_has("      Number of encounter histories tabulated =1000000000000000000\n"
                    "      Marks known = 1000000000000000000\n"));
  EXPECT_TRUE(t.listing_has(" Number of encounter histories tabulated = 1000000000000000000\n"));
}

TEST(Sightings, totals_of_the_poisson_families) {
  const Data_job t("occasions=3 groups=1 hist=9 etype=POISSONMR",
                   "03+002 2; ..01-0 3; known marks group=1; 2 5 0;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.u(1), 2.0f);
  EXPECT_EQ(t.u(2), 5.0f);
  EXPECT_EQ(t.u(3), 5.0f);
  EXPECT_EQ(t.data().nstar(1, 1), 2.0);
  EXPECT_EQ(t.data().nstar(2, 1), 3.0);
  EXPECT_EQ(t.data().cstar(1, 1), 6.0);
  EXPECT_EQ(t.data().cstar(3, 1), 4.0);
  EXPECT_EQ(t.warnings(), 0);
}

TEST(Sightings, known_marks_that_differ_warn) {
  const Data_job t("occasions=2 groups=1 hist=9 etype=POISSONMR", "03+0 2; known marks group=1; 2 3;");
  EXPECT_TRUE(t.warned("Number of marks known does not match number of animals in the encounter histories."));
}

TEST(Sightings, least_sizes_by_session) {
  const Data_job t(
      "occasions=4 groups=1 hist=9 etype=IELOGITNORMALMR",
      "time intervals 0 1 0; marked superpopulation group=1; 5 7 8 6; known marks group=1; 3 4 5 5;"
      "11.. 3; .1.. 1; ..11 5;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.data().nstarmin(1, 1), 7.0);
  EXPECT_EQ(t.data().nstarmin(2, 1), 8.0);
  EXPECT_EQ(t.data().nbarmin(1, 1), 3.5);
  EXPECT_EQ(t.data().nbarmin(2, 1), 5.0);
  EXPECT_EQ(t.u(1), 3.0f);
  EXPECT_EQ(t.u(2), 4.0f);
  EXPECT_EQ(t.warnings(), 0);
}

}  // namespace
}  // namespace tarn
