// Writes a deck of simulated live recaptures on the standard output:
//   make_deck OCCASIONS ANIMALS [GROUPS SLOPE] [SEED]
// Without a slope the model is {Phi(t) p(t)} on folded histories; with one every animal is a record and
// survival depends on its covariate, {Phi(t+x) p(t)}. The decks of the measurements:
//   make_deck 20 1000;  make_deck 20 10000;  make_deck 20 100000;  make_deck 20 20000 2 0.5;  make_deck 60
//   2000

#include <cstdlib>
#include <iomanip>
#include <iostream>

#include "generators.h"

namespace {

using tarn::bench::Live_design;
using tarn::bench::Live_record;

void write_model(const Live_design& design) {
  const int intervals = design.occasions - 1, reals = 2 * intervals;
  const bool covariate = design.slope != 0.0;
  std::cout << "proc estimate link=LOGIT;\nmodel={" << (covariate ? "Phi(t+x) p(t)" : "Phi(t) p(t)")
            << "};\n";
  for (int g = 1; g <= design.groups; ++g) {
    std::cout << "group=" << g << " Phi rows=" << intervals << " cols=" << intervals << " triang time=1;\n"
              << "group=" << g << " p rows=" << intervals << " cols=" << intervals
              << " triang time=" << intervals + 1 << ";\n";
  }
  std::cout << "design matrix constraints=" << reals << " covariates=" << reals + (covariate ? 1 : 0)
            << (covariate ? ";\n" : " identity;\n");
  if (!covariate) return;
  for (int row = 1; row <= reals; ++row) {
    for (int column = 1; column <= reals; ++column) std::cout << (row == column ? "1 " : "0 ");
    std::cout << (row <= intervals ? "x" : "0") << ";\n";
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) {
    std::cerr << "make_deck OCCASIONS ANIMALS [GROUPS SLOPE] [SEED]\n";
    return 1;
  }
  Live_design design;
  design.occasions = std::atoi(arguments[1]);
  design.animals = std::atoi(arguments[2]);
  if (count > 4) {
    design.groups = std::atoi(arguments[3]);
    design.slope = std::atof(arguments[4]);
  }
  if (count > 5) design.seed = std::strtoull(arguments[5], nullptr, 10);
  if (design.occasions < 2 || design.animals < 1 || design.groups < 1) {
    std::cerr << "make_deck: two occasions, one animal and one group are the least\n";
    return 1;
  }

  const std::vector<Live_record> records = tarn::bench::live_recaptures(design);
  const bool covariate = design.slope != 0.0;
  std::cout << "proc title Simulated live recaptures, " << design.animals << " animals;\n"
            << "proc chmatrix occasions=" << design.occasions << " groups=" << design.groups
            << " hist=" << records.size() << " etype=LIVE" << (covariate ? " icovar=1" : "") << ";\n";
  if (covariate) std::cout << "icovariates=x;\n";
  for (const Live_record& record : records) {
    std::cout << record.live;
    for (const int n : record.counts) std::cout << ' ' << n;
    if (covariate) std::cout << ' ' << std::setprecision(6) << record.covariate;
    std::cout << ";\n";
  }
  write_model(design);
  std::cout << "proc stop;\n";
}
