// The options of both procedures: the table that is read from and the page of them.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/option_tables.h"
#include "unit/model_structure/model_job.h"

namespace tarn {
namespace {

std::vector<std::string> in_lines(const std::vector<Option_text>& options) {
  std::vector<std::string> lines;
  for (const Option_text& option : options)
    lines.push_back(option.option + " | " + option.range + " | " + option.preset);
  return lines;
}

TEST(Option_tables, data_procedure) {
  EXPECT_EQ(
      in_lines(chmatrix_option_texts()),
      (std::vector<std::string>{
          "occasions=n |  | required", "groups=n |  | required", "hist=n |  | required",
          "etype=word |  | required", "icovar=n |  | 0", "strata=n | 0 to 94 | 1", "events=n | 1 to 256 | 0",
          "eventsp=n | 0 to 256 | 0", "eventslr=n | 0 to 256 | 0", "eventsbr=n | 0 to 256 | 0",
          "mixtures=n | 1 to 256 | 1", "nodes=n | 10 to 512 | 101", "dataclones=n | 1 to 2147483647 | 1",
          "standardize |  | off", "icmeans |  | off", "icuserspecified |  | ", "nohist |  | off",
          "debug |  | off", "threads=n |  | as on the command line"}));
}

TEST(Option_tables, estimation_procedure) {
  EXPECT_EQ(in_lines(estimate_option_texts()),
            (std::vector<std::string>{"link=word |  | SIN",
                                      "varest=word |  | 2ndPart",
                                      "va09ad |  | on",
                                      "optmiz |  | off",
                                      "newoptmiz |  | off",
                                      "simanneal |  | off",
                                      "simanneal2 |  | off",
                                      "simanneal3 |  | off",
                                      "diff_evol |  | off",
                                      "maxfn=n |  | 2000",
                                      "nsig=n |  | 7",
                                      "starts=n | 1 to 100000 | 1, or more",
                                      "centralfd |  | off",
                                      "deltax=v |  | 1.4901161193847656e-08",
                                      "numpar=n |  | 0",
                                      "loop |  | off",
                                      "noloop |  | on",
                                      "nostanddm |  | off",
                                      "quasi |  | off",
                                      "chat=v |  | none",
                                      "essanimals |  | off",
                                      "pentfirst |  | on",
                                      "pentlast |  | off",
                                      "useobserved |  | off",
                                      "debug |  | off",
                                      "printvc |  | ",
                                      "mcmc |  | off",
                                      "gibbsit |  | off",
                                      "tunein=n |  | 4000",
                                      "burnin=n |  | 1000",
                                      "samples=n |  | 10000",
                                      "numseries=n |  | 1",
                                      "thinchain=n |  | 1",
                                      "seed=n |  | 0",
                                      "stepsize=v |  | 0.5",
                                      "mcmcfile=file |  | MCMC.BIN",
                                      "mcmccsvfile=file |  | none"}));
  EXPECT_EQ(link_name(Model_arrays().nlink), "SIN");
}

TEST(Option_tables, every_option_says_what_it_does) {
  for (const auto& options : {chmatrix_option_texts(), estimate_option_texts()})
    for (const Option_text& option : options) {
      EXPECT_FALSE(option.help.empty()) << option.option;
      EXPECT_EQ(option.help.find('|'), std::string::npos) << option.option;
    }
}

TEST(Option_tables, file_names_are_kept_to_255_characters_as_typed) {
  Model_job t;
  t.read("proc estimate mcmcfile=" + std::string(300, 'a') + " mcmccsvfile=" + std::string(254, 'B') +
         "; proc stop;");
  estimate_options(t.job);
  EXPECT_EQ(t.job.model.mcmcfilename, std::string(255, 'a'));
  EXPECT_EQ(t.job.model.mcmccsvfilename, std::string(254, 'B'));
}

TEST(Option_tables, page_of_the_deck_is_up_to_date) {
  std::ifstream file(TARN_TEST_DATA "/../../docs/deck.md");
  std::stringstream text;
  text << file.rdbuf();
  ASSERT_NE(text.str().find("<!-- options of PROC CHMATRIX -->"), std::string::npos);
  ASSERT_NE(text.str().find("<!-- options of PROC ESTIMATE -->"), std::string::npos);
  EXPECT_EQ(text.str(), with_option_tables(text.str()))
      << "run docs/deck.md through the program option_tables";
}

}  // namespace
}  // namespace tarn
