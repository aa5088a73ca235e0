#include "data/xmatrx.h"

#include <gtest/gtest.h>

#include "data_job.h"

namespace tarn {
namespace {

constexpr const char* live = "occasions=4 groups=1 hist=20 etype=LIVE";

TEST(Data_procedure, required_options_in_their_order) {
  EXPECT_EQ(Data_job("groups=1 hist=2 etype=LIVE", "").fault, "No OCCASIONS= specified.");
  EXPECT_EQ(Data_job("occasions=4 hist=2 etype=LIVE", "").fault, "No GROUPS= specified.");
  EXPECT_EQ(Data_job("occasions=4 groups=1 etype=LIVE", "").fault, "No HIST= specified.");
  EXPECT_EQ(Data_job("etype=LIVE", "").fault, "No OCCASIONS= specified.");
}

TEST(Data_procedure, sizes_below_zero) {
  EXPECT_EQ(Data_job("occasions=-5 groups=1 hist=2 etype=LIVE", "").fault, "Invalid value for OCCASIONS=-5");
  EXPECT_EQ(Data_job("occasions=5 groups=-1 hist=2 etype=LIVE", "").fault, "Invalid value for GROUPS=-1");
  EXPECT_EQ(Data_job("occasions=5 groups=1 hist=2 icovar=-1 etype=LIVE", "").fault,
            "Invalid value for ICOVAR=-1");
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=-1 etype=LIVE", "1100 1;").fault,
            "More histories found than specified on PROC card.");
}

TEST(Data_procedure, sizes_beyond_memory_warn_and_end_at_the_first_use) {
  for (const char* sizes :
       {"occasions=2000000000 groups=1", "occasions=4 groups=2000000000", "occasions=70000 groups=70000"}) {
    const Data_job t(std::string(sizes) + " hist=2 etype=LIVE", "");
    EXPECT_TRUE(t.warned("Error number 5020 from memory allocation of GLABEL, TIMINT, U, and UL.")) << sizes;
    EXPECT_TRUE(t.warned("Insufficient virtual memory"));
    EXPECT_EQ(t.fault, "Array TIMINT is not allocated.");
  }
  const Data_job t("occasions=4 groups=1 hist=2 icovar=2000000000 etype=LIVE", "");
  EXPECT_TRUE(t.warned("Error number 5020 from memory allocation of ICNAME, ICVRMN, and ICVRSD."));
  EXPECT_EQ(t.fault, "Array ICVRMN is not allocated.");
}

TEST(Data_procedure, a_huge_capacity_costs_nothing) {
  const Data_job t("occasions=4 groups=1 hist=2000000000 etype=LIVE", "1100 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.job.status.nhist, 1);
}

TEST(Data_procedure, sizes_told_twice) {
  EXPECT_EQ(Data_job("occasions=4 occasions=5 groups=1 hist=2 etype=LIVE", "11000 1;").fault, "");
  EXPECT_EQ(Data_job("nodes=occasions 4 occasions=5 groups=1 hist=2 etype=LIVE", "").fault.substr(0, 5),
            "Error");
}

TEST(Data_procedure, ranges_of_options) {
  const auto fault = [](const std::string& options) {
    return Data_job(std::string(live) + " " + options, "").fault;
  };
  EXPECT_EQ(fault("strata=95"), "Invalid value for NSTRATA=95");
  EXPECT_EQ(fault("strata=-1"), "Invalid value for NSTRATA=-1");
  EXPECT_EQ(fault("strata=0"), "");
  EXPECT_EQ(fault("strata=94"), "");
  EXPECT_EQ(fault("events=0"), "Invalid value for EVENTS=0");
  EXPECT_EQ(fault("events=257"), "Invalid value for EVENTS=257");
  EXPECT_EQ(fault("events=256"), "");
  EXPECT_EQ(fault("eventsp=257"), "Invalid value for EVENTSP=257");
  EXPECT_EQ(fault("eventsp=-1"), "Invalid value for EVENTSP=-1");
  EXPECT_EQ(fault("eventslr=257"), "Invalid value for EVENTSLR=257");
  EXPECT_EQ(fault("eventsbr=-1"), "Invalid value for EVENTSBR=-1");
  EXPECT_EQ(fault("mixtures=0"), "Invalid value for MIXTURES=0");
  EXPECT_EQ(fault("mixtures=257"), "Invalid value for MIXTURES=257");
  EXPECT_EQ(fault("mixtures=256"), "");
  EXPECT_EQ(fault("etype=DIPPER"), "Invalid value of ETYPE = \"DIPPER\" was specified.");
}

TEST(Data_procedure, events_may_be_0_for_179_and_180) {
  for (const char* keyword : {"MSUNCBARKER", "MSUNC2BARKER"})
    EXPECT_EQ(Data_job(std::string("occasions=4 groups=1 hist=2 etype=") + keyword + " events=0", "").fault,
              "");
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=2 etype=MSBARKER events=0", "").fault,
            "Invalid value for EVENTS=0");
}

TEST(Data_procedure, nodes) {
  for (const char* nodes : {"9", "513", "-4"}) {
    const Data_job t(std::string(live) + " nodes=" + nodes, "1100 1;");
    EXPECT_EQ(t.fault, "");
    EXPECT_TRUE(t.warned("Invalid value for NODES = \"" + std::string(nodes) + "\", reset to 101."));
    EXPECT_EQ(t.data().order, 101);
  }
  const Data_job t(std::string(live) + " nodes=512", "1100 1;");
  EXPECT_EQ(t.warnings(), 0);
  EXPECT_EQ(t.data().order, 512);
  EXPECT_FALSE(t.data().ghqv.present());  // live recaptures integrate over nothing
}

TEST(Data_procedure, nodes_are_listed_for_the_families_that_use_them) {
  const Data_job t("occasions=3 groups=1 hist=9 etype=CJSRANDOM nodes=15", "110 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_TRUE(t.listing_has("\n      Number of integration nodes = 15\n"));
  EXPECT_EQ(t.data().ghqv.extent(), 15);
  const Data_job silent("occasions=3 groups=1 hist=9 etype=OCCUPANCYRE nodes=15", "110 1;");
  EXPECT_FALSE(silent.listing_has("Number of integration nodes"));
  EXPECT_EQ(silent.data().ghqv.extent(), 15);
}

TEST(Data_procedure, unknown_options_warn_word_by_word) {
  const Data_job t(std::string(live) + " wings=2 threads=1", "1100 1;");
  EXPECT_EQ(t.fault, "");
  for (const char* word : {"WINGS", "=", "2", "THREADS", "1"})
    EXPECT_TRUE(t.warned("The chproc option \"" + std::string(word) + "\" was not recognized.")) << word;
  EXPECT_EQ(t.warnings(), 6);
}

TEST(Kept, threads_on_the_data_statement_warns_thrice) {
  const Data_job t(std::string(live) + " threads=1", "1100 1;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.job.status.num_threads, 1);
  EXPECT_EQ(t.warnings(), 3);
}

TEST(Kept, last_keyword_sizes_the_tabulation) {
  const auto layers = [](const std::string& options) {
    return Data_job("occasions=3 groups=1 hist=9 strata=2 etype=MSUNCBARKER " + options, "")
        .data()
        .u.extent(3);
  };
  EXPECT_EQ(layers("eventsp=3 events=1"), 3);
  EXPECT_EQ(layers("events=1 eventsp=3"), 5);
}

TEST(Data_procedure, options_without_a_value) {
  const Data_job t(std::string(live) + " icmeans standardize icuserspecified", "1100 1;");
  EXPECT_EQ(t.warnings(), 0);
  EXPECT_EQ(t.job.status.icmeans, 1);
  EXPECT_EQ(t.job.status.stdic, 1);
}

TEST(Data_procedure, a_value_that_is_not_there) {
  EXPECT_EQ(Data_job("occasions=4 groups=", "").fault,
            "Index '8' of dimension 1 of array 'words' above upper bound of 7");
}

TEST(Data_procedure, group_labels_by_default) {
  EXPECT_EQ(Data_job(live, "").data().glabel, std::vector<Charray>{"Control Group"});
  EXPECT_EQ(Data_job("occasions=4 groups=2 hist=2 etype=LIVE", "").data().glabel,
            (std::vector<Charray>{"Control Group", "Treatment Group"}));
  EXPECT_EQ(Data_job("occasions=4 groups=3 hist=2 etype=LIVE", "").data().glabel,
            (std::vector<Charray>{"Control Group", "Treatment Group 1", "Treatment Group 2"}));
}

TEST(Data_procedure, group_labels_keep_their_text) {
  const Data_job t("occasions=4 groups=2 hist=2 etype=LIVE", "GLABEL(2)=Males, of  1990;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.data().glabel(2), "Males, of  1990");
  EXPECT_EQ(Data_job(live, "glabel(2)=x;").fault, "Value of group exceeds GROUPS= value.");
  EXPECT_EQ(Data_job(live, "glabel(0)=x;").fault, "Value of group <1.");
  EXPECT_EQ(Data_job(live, "glabel;").fault,
            "Index '3' of dimension 1 of array 'words' above upper bound of 1");
}

TEST(Data_procedure, covariate_names) {
  const Data_job t("occasions=4 groups=1 hist=9 icovar=2 etype=LIVE",
                   "ICOVARIATES = Weight wing; 1100 1 2 3;");
  EXPECT_EQ(t.fault, "");
  EXPECT_EQ(t.data().icname, (std::vector<Charray>{"WEIGHT", "WING"}));  // as the words of a design name them
  EXPECT_TRUE(t.listing_has("\n      Number of individual covariates read was 2.\n"));
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=9 icovar=2 etype=LIVE", "icovariates a;").fault,
            "Number of individual covariate names does not match number on PROC CHMATRIX statement.");
}

TEST(Data_procedure, areas) {
  const Data_job t("occasions=4 groups=2 hist=9 etype=LIVE", "areas=2.5 4;");
  EXPECT_EQ(t.data().areas(1), 2.5);
  EXPECT_EQ(t.data().areas(2), 4.0);
  EXPECT_EQ(Data_job(live, "areas 2 3;").fault, "Number of areas specified does not match number of groups.");
  EXPECT_EQ(Data_job(live, "areas=0;").fault, "Area cannot be equal to zero.");
  EXPECT_EQ(Data_job(live, "areas=-2;").fault, "Area cannot be negative.");
  EXPECT_EQ(Data_job(live, "areas=2; areas=3;").data().areas(1), 3.0);
}

TEST(Data_procedure, density_without_areas_warns) {
  const Data_job t("occasions=2 groups=1 hist=9 etype=DENSITYPC", "11 1 2 1;");
  EXPECT_TRUE(t.warned("No AREAS statement was found. The area of every group is taken as 1."));
  EXPECT_EQ(t.data().areas(1), 1.0);
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=9 etype=DENSITYPC", "areas=3; 11 1 2 1;").warnings(), 0);
}

TEST(Data_procedure, report_of_the_data_set) {
  const Data_job t(live, "1110 6; 1101 3;");
  EXPECT_TRUE(
      t.listing_has("      Number of unique encounter histories read was 2.\n"
                    "      Number of individual covariates read was 0.\n"
                    "      Time interval lengths are all equal to 1.\n"
                    "\n"
                    "      Data type number is 1\n"
                    "      Data type is Live Recaptures (CJS)\n"));
  EXPECT_TRUE(t.screen_has("\n   Number of unique encounter histories read was 2.\n"));
  EXPECT_TRUE(t.screen_has("\n   Time interval lengths are all equal to 1.\n"));
  EXPECT_EQ(t.job.status.nhist, 2);
  EXPECT_EQ(t.job.status.liveeh, 1);
  EXPECT_EQ(t.job.status.formt, "Live Recaptures (CJS)");
  EXPECT_EQ(t.data().numparmnames, 2);
  EXPECT_EQ(t.data().parameterlist, (std::vector<Charray>{"Phi", "p"}));
  EXPECT_EQ(t.words(), (std::vector<std::string>{"PROC", "STOP"}));
}

TEST(Data_procedure, keyword_as_typed) {
  const Data_job t("occasions=4 groups=1 hist=9 etype=Live", "");
  EXPECT_EQ(t.job.status.dattyp, 1);
  EXPECT_EQ(t.job.status.dt_string, "Live");
}

TEST(Data_procedure, debug_lists_parameters_and_tables) {
  const Data_job t(std::string(live) + " debug", "1110 6;");
  EXPECT_TRUE(t.listing_has("\n Parameter number 1 named Phi\n Parameter number 2 named p\n"));
  for (const char* text : {"NEVENTS=0", "NEVENTSP=0", "NEVENTSBR=0", "NEVENTSLR=0", "\n U=\n", "\n UL=\n"})
    EXPECT_TRUE(t.listing_has(text)) << text;
}

TEST(Data_procedure, without_a_data_type) {
  EXPECT_EQ(Data_job("occasions=4 groups=1 hist=2", "").fault,
            "Invalid value of DATATYPE is being used to set the parameter names.");
}

TEST(Data_procedure, the_second_starts_afresh) {
  Data_job t("occasions=3 groups=2 hist=9 etype=MULTISTRATA strata=2 icovar=1 mixtures=3 icmeans",
             "strata=A B; icovariates w; time intervals 1 2; A0B 1 2 3.5;");
  ASSERT_EQ(t.fault, "");
  t.read("proc chmatrix occasions=4 groups=1 hist=20 etype=PRADEL; 1100 1; proc stop;");
  EXPECT_EQ(t.run(), "");
  const Status_module& status = t.job.status;
  EXPECT_EQ(status.nstrta, 1);
  EXPECT_EQ(status.nicovs, 0);
  EXPECT_EQ(status.nmixtures, 1);
  EXPECT_EQ(status.icmeans, 0);
  EXPECT_EQ(t.records(), 1);
  EXPECT_EQ(t.data().glabel.size(), 1u);
  EXPECT_FALSE(t.data().icvrmn.present());
  EXPECT_EQ(t.data().timint(2), 1.0f);
  EXPECT_EQ(t.data().strata, "10" + std::string(94, ' '));
}

TEST(Data_procedure, nodes_of_an_earlier_data_set_stay) {
  Data_job t("occasions=3 groups=1 hist=9 etype=LIVE nodes=20", "110 1;");
  t.read("proc chmatrix occasions=3 groups=1 hist=20 etype=CJSRANDOM; 110 1; proc stop;");
  EXPECT_EQ(t.run(), "");
  EXPECT_EQ(t.data().ghqv.extent(), 20);
}

TEST(Data_procedure, layers_of_the_tabulation) {
  const auto layers = [](const std::string& options) {
    return Data_job("occasions=3 groups=1 hist=9 " + options, "").data().u.extent(3);
  };
  EXPECT_EQ(layers("etype=LIVE"), 1);
  EXPECT_EQ(layers("etype=MULTISTRATA strata=3"), 3);
  EXPECT_EQ(layers("etype=JOLLY"), 2);
  EXPECT_EQ(layers("etype=POPAN"), 2);
  EXPECT_EQ(layers("etype=MSBARKER strata=3"), 4);
  EXPECT_EQ(layers("etype=RDMS2MISCLASS strata=3"), 6);
  EXPECT_EQ(layers("strata=3 etype=HIDMARKOV events=2"), 5);
  EXPECT_EQ(layers("strata=3 etype=MSUNCBARKER eventsp=2"), 5);
  EXPECT_EQ(layers("strata=3 etype=MSUNCBARKER eventsp=2 events=4"), 7);  // the last keyword decides
}

TEST(Data_procedure, strata_of_the_families) {
  const auto strata = [](const std::string& options, const std::string& codes) {
    const Data_job t("occasions=3 groups=1 hist=9 " + options, "strata=" + codes + ";");
    EXPECT_EQ(t.fault, "");
    EXPECT_EQ(t.data().strata.size(), 96u);
    return t.data().strata.substr(0, t.data().strata.find_last_not_of(' ') + 1);
  };
  EXPECT_EQ(strata("etype=MULTISTRATA strata=2", "A B"), "AB0.");
  EXPECT_EQ(strata("etype=MULTISTRATA strata=2", "Apple b"), "Ab0.");
  EXPECT_EQ(strata("etype=MSBARKER strata=2", "A B"), "ABUabu0.");
  for (const char* keyword : {"RDMSMISCLASS", "RDMSOPENMISCLASS", "RDMSOPENMCSEAS", "RDMSOPENMCSEAS2"})
    EXPECT_EQ(strata(std::string("strata=2 etype=") + keyword, "A B"), "ABu0.");
  EXPECT_EQ(strata("etype=RDMSOCCREPRO strata=2", "1 2"), "012.");
  EXPECT_EQ(strata("etype=RDMSOCCUPANCY strata=2", "1 2"), "012.");
  EXPECT_EQ(strata("etype=RDMS2MISCLASS strata=2", "A B"), "ABab0.");
  EXPECT_EQ(strata("etype=HIDMARKOV strata=2 events=2", "A B x y"), "ABxy0.");
  EXPECT_EQ(strata("etype=HMMMSJOLLYSEBER strata=2 events=1", "A B x"), "ABx0.");
  EXPECT_EQ(strata("etype=MSUNCBARKER strata=2 eventsp=1 eventslr=1 eventsbr=1", "A B p q r"), "ABabpqr0.");
  EXPECT_EQ(strata("etype=MSLIVEDEAD strata=2", "A B"), "AB0.1");
  EXPECT_EQ(strata("etype=MSLIVEDEAD strata=2", "1 2"), "120.");
}

TEST(Data_procedure, strata_faults) {
  EXPECT_EQ(Data_job("occasions=3 groups=1 hist=9 etype=MULTISTRATA strata=3", "strata=A B;").fault,
            "Number of strata codes does not match number on PROC CHMATRIX statement.");
  std::string codes;
  for (int i = 0; i < 50; ++i) codes += std::string(" ") + static_cast<char>('!' + 1 + (i % 25));
  for (char& c : codes)
    if (c == ',' || c == '/' || c == '(' || c == ')') c = 'A';
  EXPECT_EQ(Data_job("occasions=3 groups=1 hist=9 etype=MSBARKER strata=50", "strata" + codes + ";").fault,
            "Number of strata codes and signs exceeds 96.");
}

TEST(Data_procedure, arrays_of_single_families) {
  const auto has = [](const char* keyword, Array2<double> Data_module::*array) {
    return (Data_job(std::string("occasions=3 groups=2 hist=9 etype=") + keyword, "").data().*array)
               .extent(1) == 3;
  };
  EXPECT_TRUE(has("LOGITNORMALMR", &Data_module::unmarked));
  EXPECT_TRUE(has("UNIDLOGITNORMALMR", &Data_module::markunid));
  EXPECT_FALSE(has("LOGITNORMALMR", &Data_module::markknwn));
  EXPECT_TRUE(has("IELOGITNORMALMR", &Data_module::tmarked));
  EXPECT_TRUE(has("UNIDIELOGITNORMALMR", &Data_module::nbarmin));
  for (const char* keyword : {"POISSONMR", "POISSONMRACROSS", "UNIDPOISSONMR", "UNIDPOISSONMRACROSS",
                              "ZIUNIDPOISSONMRACROSS", "ZIUNIDPOISSONMRWITHIN"})
    EXPECT_TRUE(has(keyword, &Data_module::cstar)) << keyword;
  EXPECT_TRUE(has("MSJOLLYSEBER", &Data_module::nstarstate));
  EXPECT_TRUE(has("HMMMSJOLLYSEBER", &Data_module::nstarstate));
  EXPECT_FALSE(has("LIVE", &Data_module::unmarked));
}

TEST(Data_procedure, family_arrays_do_not_need_the_sizes_first) {
  EXPECT_EQ(Data_job("etype=POISSONMR occasions=3 groups=1 hist=9", "").data().unmarked.extent(1), 3);
}

TEST(Species, number_from_mixtures_strata_or_cells) {
  const auto species = [](const std::string& options, const char* records) {
    const Data_job t("occasions=2 groups=1 hist=9 etype=NSPECIESOCC " + options, records);
    EXPECT_EQ(t.fault, "");
    EXPECT_TRUE(t.listing_has(" Number of Species = " + std::to_string(t.job.status.nspeciesocc) + "\n"));
    return t.job.status.nspeciesocc;
  };
  EXPECT_EQ(species("mixtures=3", "0103 1;"), 3);
  EXPECT_EQ(species("strata=2", "0103 1;"), 2);
  EXPECT_EQ(species("", "0001 1;"), 1);
  EXPECT_EQ(species("", "0103 1;"), 2);
  EXPECT_EQ(species("", "0504 1; ..00 2;"), 3);
  EXPECT_EQ(species("", "0063 1;"), 6);
  EXPECT_EQ(Data_job("occasions=2 groups=1 hist=9 etype=NSPECIESOCC", "0064 1;").fault,
            "Number of species 7 is greater than 6.");
}

TEST(Species, sets_by_size_then_by_members) {
  const Data_job t("occasions=2 groups=1 hist=9 etype=NSPECIESOCC mixtures=3 debug", "0103 1;");
  const Array2<int>& design = t.data().fdesign;
  ASSERT_EQ(design.extent(1), 8);
  ASSERT_EQ(design.extent(2), 7);
  const int expected[8][7] = {{0, 0, 0, 0, 0, 0, 0}, {1, 0, 0, 0, 0, 0, 0}, {0, 1, 0, 0, 0, 0, 0},
                              {1, 1, 0, 1, 0, 0, 0}, {0, 0, 1, 0, 0, 0, 0}, {1, 0, 1, 0, 1, 0, 0},
                              {0, 1, 1, 0, 0, 1, 0}, {1, 1, 1, 1, 1, 1, 1}};
  for (int z = 0; z < 8; ++z)
    for (int c = 0; c < 7; ++c) EXPECT_EQ(design(z + 1, c + 1), expected[z][c]) << z << " " << c;
  for (int z = 0; z < 8; ++z)
    for (int k = 1; k <= 3; ++k) EXPECT_EQ(t.data().pdesign(z + 1, k), (z >> (k - 1)) & 1);
  EXPECT_TRUE(t.listing_has("\n    COLS:  1  2  3  4  5  6  7\n"));
  EXPECT_TRUE(t.listing_has("\n ROW   4:  1  1  0  1  0  0  0\n"));
}

}  // namespace
}  // namespace tarn
