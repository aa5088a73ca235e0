#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "fault/fault_run.h"

namespace tarn {
namespace {

const char* const weighed_animals =
    "1110 1 10.5;\n1101 1 11;\n1100 1 8;\n1000 1 7.5;\n0111 1 12;\n0110 1 9;\n0100 -1 6.5;\n1011 1 11.5;\n"
    "0011 1 9.5;\n0010 1 8.5;\n";
const char* const counted_animals =
    "1110 6;\n1101 3;\n1100 9;\n1011 2;\n1010 4;\n1000 20;\n0111 7;\n0110 8;\n0101 3;\n0100 15;\n0011 10;\n"
    "0010 14;\n";

/// Live recaptures with a covariate, design functions, a set of links, and all that a fit can report.
Fault_deck everything() {
  return {
      "proc title Faults;\n"
      "proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE icovar=1;\n"
      "glabel(1)=Mice;\ntime interval 1 1 2;\nicovariates=weight;\n" +
          std::string(weighed_animals) +
          "proc estimate debug link=parm-specific;\n"
          "model={Phi(weight) p(.)};\n"
          "group=1 Phi rows=3 cols=3 triang time=1;\n"
          "group=1 p rows=3 cols=3 triang constant=4;\n"
          "design matrix constraints=4 covariates=3;\n"
          "1 0 0;\n1 product(weight,add(0.1,0)) 0;\n1 0 0;\n0 0 1;\n"
          "links;\nMLOGIT(1);\nMLOGIT(1);\nLOGIT;\nLOGIT;\n"
          "icvalues=9.5;\nrlabel(4)=capture;\nproc stop;\n",
      1};
}

/// The log link starts from a preliminary fit; LOOP fits again without the beta that the data do not tell.
Fault_deck preliminary_fit_and_loop() {
  return {"proc chmatrix occasions=4 groups=1 hist=20 etype=LIVE;\n" + std::string(counted_animals) +
              "proc estimate loop link=log varest=Observed;\n"
              "model={Phi(.) p(.)};\n"
              "group=1 Phi rows=3 cols=3 triang constant=1;\n"
              "group=1 p rows=3 cols=3 triang constant=2;\n"
              "design matrix constraints=2 covariates=3;\n1 1 0;\n0 0 1;\nproc stop;\n",
          1};
}

/// A closed population with two kinds of animals and its derived sizes.
Fault_deck closed_population() {
  return {"proc chmatrix occasions=4 groups=1 hist=20 etype=HUGHET mixtures=2;\n" +
              std::string(counted_animals) +
              "proc estimate link=logit;\nmodel={pi p};\n"
              "group=1 pi rows=1 cols=1 square constant=1;\n"
              "group=1 p rows=2 cols=4 square;\n2 2 2 2;\n3 3 3 3;\n"
              "design matrix constraints=3 covariates=3 identity;\ninitial 0 -1.5 0;\nproc stop;\n",
          1, true};
}

/// Quadrature nodes, areas and locations.
Fault_deck density_with_random_effects() {
  return {
      "proc chmatrix occasions=3 groups=1 hist=8 etype=DENSITYRANPC nodes=10;\nareas=4;\n"
      "111 2 3 2;\n110 1 2 2;\n101 2 2 3;\n100 0 1 6;\n011 2 2 2;\n010 1 1 6;\n001 0 1 7;\n"
      "proc estimate link=logit maxfn=60;\nmodel={p};\n"
      "group=1 sigmap rows=1 cols=1 square constant=3;\n"
      "group=1 p rows=1 cols=3 square constant=1;\ngroup=1 c rows=1 cols=2 square constant=1;\n"
      "group=1 ptilde rows=1 cols=1 square constant=2;\n"
      "design matrix constraints=3 covariates=3 identity;\nproc stop;\n",
      1};
}

/// The arrays that single families have for their counts.
Fault_deck counts_of_resights() {
  return {
      "proc chmatrix debug occasions=3 groups=2 hist=9 etype=IELOGITNORMALMR nodes=10;\n"
      "101 1 0;\n110 2 3;\n011 1 1;\n"
      "known marks group=1;\n4 4 4;\nknown marks group=2;\n4 4 4;\n"
      "marked superpopulation group=1;\n6 6 6;\nmarked superpopulation group=2;\n6 6 6;\n"
      "marked unidentified group=1;\n1 0 1;\nunmarked seen group=1;\n5 6 7;\n"
      "proc chmatrix occasions=3 groups=1 hist=9 etype=UNIDLOGITNORMALMR nodes=10;\n101 2;\n"
      "proc chmatrix occasions=3 groups=1 hist=9 etype=POISSONMR nodes=10;\n010203 2;\n"
      "proc chmatrix debug occasions=3 groups=1 hist=9 etype=NSPECIESOCC;\n010203 2;\nproc stop;\n",
      1};
}

/// So many records with a covariate that a pass over them is worth two threads.
Fault_deck two_threads() {
  std::string deck =
      "proc chmatrix occasions=6 groups=1 hist=3000 etype=LIVE icovar=1 nohist;\nicovariates=mass;\n";
  for (int i = 0; i < 2000; ++i) {
    deck += '1';
    for (int o = 0; o < 5; ++o) deck += (i >> o & 1) != 0 ? '1' : '0';
    deck += " 1 " + std::to_string(i % 17) + ";\n";
  }
  deck +=
      "proc estimate link=logit;\nmodel={Phi(c) p};\n"
      "group=1 Phi rows=5 cols=5 triang constant=1;\ngroup=1 p rows=5 cols=5 triang constant=2;\n"
      "design matrix constraints=2 covariates=3;\n1 mass 0;\n0 0 1;\nproc stop;\n";
  return {deck, 2};
}

void expect_words(const Fault_summary& summary, const std::vector<std::string>& wanted) {
  for (const std::string& arrays : wanted)
    EXPECT_TRUE(summary.words.contains("from memory allocation of " + arrays)) << arrays;
  for (const std::string& words : summary.words)
    EXPECT_TRUE(words.starts_with("from memory allocation of ")) << words;
}

/// Every run but those without a fault ended early or told of it.
void expect_ends(const Fault_summary& summary) {
  EXPECT_GT(summary.out_of_memory, 0);
  EXPECT_GT(summary.fatal, 0);
  EXPECT_GE(summary.completed, 1);
}

TEST(Allocation, live_recaptures_with_all_reports) {
  const Fault_summary summary = run_every_fault(everything(), Failing::one, Counted::everywhere);
  expect_ends(summary);
  expect_words(summary,
               {"GLABEL, TIMINT, U, and UL.", "ICNAME, ICVRMN, and ICVRSD.",
                "DESIGN, LINDEX, RLABEL, BLABEL, SCALEFACTOR, and DESIGNNICVARFLG.",
                "DMFUNCSTYPES and DMFUNCSARGS.", "PARM, BETA, FIXPAR, BETAST and BINDEX.", "G, H and WORK.",
                "CELLPR.", "JACOB and PART1.", "JACOBX.", "VCMAT.", "BETA_SE.",
                "PARMSE, PARMLCI and PARMUCI.", "PARTIALS, PARMUP, and PARMDN.", "VCRMAT.", "PARTIALS."});
}

TEST(Allocation, preliminary_fit_and_refit) {
  const Fault_summary summary =
      run_every_fault(preliminary_fit_and_loop(), Failing::one, Counted::everywhere);
  expect_ends(summary);
  expect_words(summary, {"VCMAT and PARMSV.", "G, H and WORK.", "PART.", "BETSAV."});
}

TEST(Allocation, closed_population_with_mixtures) {
  const Fault_summary summary = run_every_fault(closed_population(), Failing::one, Counted::everywhere);
  expect_ends(summary);
  expect_words(summary,
               {"PARMEST, PARMSE, PARMLCI, PARMUCI, PARTIALS, G and W.", "VCDMAT.", "VCMAT.", "CELLPR."});
}

TEST(Allocation, density_with_random_effects) {
  const Fault_summary summary =
      run_every_fault(density_with_random_effects(), Failing::one, Counted::everywhere);
  expect_ends(summary);
  expect_words(summary, {"GHQV and GHQW.", "AREAS.", "NLOCATIONS and NINSIDE."});
}

TEST(Allocation, counts_of_resights) {
  const Fault_summary summary = run_every_fault(counts_of_resights(), Failing::one, Counted::everywhere);
  expect_ends(summary);
  expect_words(summary,
               {"UNMARKED, MARKUNID, TMARKED, and MARKKNWN.", "NBARMIN and NSTARMIN.",
                "UNMARKED and MARKUNID.", "UNMARKED, MARKUNID, MARKKNWN, NSTAR and CSTAR.", "FDESIGN."});
}

// Nothing at all is left from the n-th on: what is told of the fault finds no memory either.
TEST(Allocation, none_left) {
  for (const Fault_deck& deck : {everything(), preliminary_fit_and_loop(), closed_population(),
                                 density_with_random_effects(), counts_of_resights()}) {
    const Fault_summary summary = run_every_fault(deck, Failing::all_from_there, Counted::everywhere);
    EXPECT_GT(summary.out_of_memory, 0);
    EXPECT_EQ(summary.completed, 1);
    expect_words(summary, {});
  }
}

// What fails on a thread of the parallel region must not leave it as an exception.
TEST(Allocation, inside_the_parallel_region) {
  constexpr long enough = 2;  // each thread at its first evaluation
  for (const Failing failing : {Failing::one, Failing::all_from_there}) {
    const Fault_summary summary =
        run_every_fault(two_threads(), failing, Counted::in_parallel_regions, enough);
    EXPECT_GT(summary.allocations, enough);
    EXPECT_EQ(summary.out_of_memory, enough);
  }
}

// The work area of the second thread is done without, and the results are those of two threads.
TEST(Allocation, of_the_second_thread) {
  Fault_deck deck = everything();
  deck.threads = 2;
  const Fault_summary summary = run_every_fault(deck, Failing::one, Counted::everywhere);
  expect_ends(summary);
  expect_words(summary, {"DESIGNTMP, BETATMP and PARMTMP."});
}

}  // namespace
}  // namespace tarn
