// The data procedure: any statements and records behind a sound head, and a model of the data type behind
// them when they hold none. The first byte chooses the head.

#include <string>

#include "data/catalogue/datatype.h"
#include "fuzz_run.h"
#include "support/matrix_sizes.h"

namespace {

struct Head {
  std::string_view keyword;
  int occasions;
  int groups = 1, covariates = 0;
  std::string_view more = {};  ///< further options
};

// Their order is that of the first bytes in the corpus: new ones come last.
constexpr Head heads[] = {
    {"LIVE", 4},
    {"LIVE", 4, 2, 1},
    {"DEAD", 3},
    {"BOTH", 3},
    {"BARKER", 3},
    {"BROWNIE", 3},
    {"KNOWN", 3},
    {"NEST", 9},
    {"MULTISTRATA", 4, 1, 0, "strata=2"},
    {"ROBUST", 6},
    {"LOGITNORMALMR", 4},
    {"POISSONMR", 4},
    {"DENSITYPC", 4},
    {"CLOSED", 4},
    {"BTO", 3},
    {"VPA", 3},
    {"LYSMA", 3},
    {"HUGGINS", 4, 2, 1},
    {"HETCLOSED", 4, 1, 0, "mixtures=2"},
    {"FULLHET", 4, 1, 0, "mixtures=2"},
    {"HUGHET", 4, 1, 0, "mixtures=2"},
    {"HUGFULLHET", 4, 1, 0, "mixtures=2"},
    {"IDCLOSED", 4},
    {"IDHUGGINS", 4},
    {"IDHETCLOSED", 4, 1, 0, "mixtures=2"},
    {"IDFULLHET", 4, 1, 0, "mixtures=2"},
    {"IDHUGHET", 4, 1, 0, "mixtures=2"},
    {"IDHUGFULLHET", 4, 1, 0, "mixtures=2"},
    {"DENSITYHET", 4, 1, 0, "mixtures=2"},
    {"DENSITYFHET", 4, 1, 0, "mixtures=2"},
    {"HUGGINSRE", 4, 1, 0, "nodes=15"},
    {"DENSITYRANPC", 4, 1, 0, "nodes=15"},
    {"JOLLY", 4},
};

std::string data_procedure(const Head& head) {
  std::string text = "proc chmatrix occasions=" + std::to_string(head.occasions) +
                     " groups=" + std::to_string(head.groups) + " hist=99";
  if (head.covariates > 0) text += " icovar=" + std::to_string(head.covariates);
  return text + ' ' + std::string(head.more) + " etype=" + std::string(head.keyword) + ";\n";
}

/// A model with a number for each parameter and row of its matrix; with covariates the first one has a slope
/// for every parameter.
std::string estimation(const Head& head, int type) {
  std::string text = "proc estimate link=LOGIT;\nmodel={all};\n";
  int numbers = 0;
  for (int g = 1; g <= head.groups; ++g) {
    int number = 0;
    for (const std::string& name : tarn::parmlist(type)) {
      const int mixtures = head.more.starts_with("mixtures") ? 2 : 1;
      const tarn::Matrix_size size = tarn::matrix_size(type, name, head.occasions, mixtures);
      if (size.rows < 1 || size.columns < 1) continue;
      text += "group=" + std::to_string(g) + ' ' + name + " rows=" + std::to_string(size.rows) +
              " cols=" + std::to_string(size.columns) + (size.by_cohort ? " triang;\n" : " square;\n");
      if (size.by_cohort) ++number;
      for (int r = 1; r <= size.rows; ++r) {
        if (!size.by_cohort) ++number;
        for (int c = size.by_cohort ? r : 1; c <= size.columns; ++c) text += std::to_string(number) + ' ';
        text += ";\n";
      }
    }
    numbers = number;
  }
  const int columns = numbers + (head.covariates > 0 ? 1 : 0);
  text += "design matrix constraints=" + std::to_string(numbers) + " covariates=" + std::to_string(columns) +
          ";\n";
  for (int row = 1; row <= numbers; ++row) {
    for (int column = 1; column <= numbers; ++column) text += row == column ? "1 " : "0 ";
    if (head.covariates > 0) text += "weight ";
    text += ";\n";
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  // '@' is the first: inputs that stand keep their head when one is added behind the last.
  const Head& head = heads[static_cast<unsigned char>(bytes[0] - '@') % (sizeof heads / sizeof *heads)];
  const std::string statements(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  std::string deck = data_procedure(head);
  const auto hold = [upper = tarn::upper_case(statements)](const char* word) {
    return upper.find(word) != std::string::npos;
  };
  if (head.covariates > 0 && !hold("ICOVARIATES")) deck += "icovariates=weight;\n";
  deck += statements + '\n';
  if (!hold("PROC")) deck += estimation(head, tarn::dattyp_of(head.keyword));
  tarn::run_bounded(deck + "\nproc stop;\n");
  return 0;
}
