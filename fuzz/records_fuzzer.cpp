// The data procedure: any statements and records behind a sound head, and a model of the data type behind
// them when they hold none. The first byte chooses the head; for those without a data type its number
// follows.

#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "data/catalogue/datatype.h"
#include "fuzz_run.h"
#include "support/matrix_sizes.h"

namespace {

struct Head {
  std::string_view keyword;
  int occasions;
  int groups = 1, covariates = 0;
  std::string_view more = {};  ///< further options
  int type = 0;
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
    {"", 6},  // the data type of the number that follows
    {"", 6, 2, 1},
};

/// The head that an input chooses; what chooses it is taken from the input.
Head head_of(std::string_view& input) {
  // '@' is the first: inputs that stand keep their head when one is added behind the last.
  Head head = heads[static_cast<unsigned char>(input[0] - '@') % std::size(heads)];
  input.remove_prefix(1);
  head.type = tarn::dattyp_of(head.keyword);
  if (head.type != 0) return head;
  for (; !input.empty() && input[0] >= '0' && input[0] <= '9'; input.remove_prefix(1))
    head.type = (10 * head.type + input[0] - '0') % (tarn::max_dattyp + 1);
  const tarn::Datatype& row = tarn::datatype(head.type);
  head.keyword = row.keyword[0];
  const std::string_view layer = tarn::closed_parameters(row.closed);
  const bool sites_in_classes = tarn::is_site(head.type) && tarn::names_hold(row.own, "pi"),
             units = row.pim_bounds == tarn::Pim_bounds::blocks ||
                     row.pim_bounds == tarn::Pim_bounds::session_blocks;
  if (tarn::names_hold(layer, "pi") || sites_in_classes || units || row.species) head.more = "mixtures=2";
  if (row.nodes != tarn::Nodes::none) head.more = "nodes=15";
  return head;
}

/// Lengths of the primary sessions that the statements tell; one session of all where they tell none or the
/// type has none.
std::vector<int> session_lengths(const Head& head, const std::string& upper) {
  std::vector<int> lengths{1};
  const std::size_t at =
      tarn::datatype(head.type).sessions ? upper.find("TIME INTERVALS") : std::string::npos;
  std::istringstream intervals(at == std::string::npos ? "" : upper.substr(at + 14));
  for (int o = 1; o < head.occasions; ++o) {
    float interval = 0;
    if (intervals >> interval && interval > 0)
      lengths.push_back(1);
    else
      ++lengths.back();
  }
  return lengths;
}

std::string data_procedure(const Head& head) {
  std::string text = "proc chmatrix occasions=" + std::to_string(head.occasions) +
                     " groups=" + std::to_string(head.groups) + " hist=99";
  if (head.covariates > 0) text += " icovar=" + std::to_string(head.covariates);
  const std::string codes = tarn::options_of_codes(head.type);
  return text + ' ' + (codes.empty() ? std::string(head.more) : codes) +
         " etype=" + std::string(head.keyword) + ";\n";
}

/// A model with a number for each parameter, session and row of its matrix; with covariates the first one has
/// a slope for every parameter.
std::string estimation(const Head& head, const std::vector<int>& sessions) {
  std::string text = "proc estimate link=LOGIT;\nmodel={all};\n";
  int numbers = 0;
  for (int g = 1; g <= head.groups; ++g) {
    int number = 0;
    for (const std::string& name : tarn::parmlist(head.type)) {
      const int mixtures = head.more.starts_with("mixtures") ? 2 : 1;
      for (const tarn::Matrix_size& size : tarn::matrix_sizes(head.type, name, sessions, mixtures)) {
        if (size.rows < 1 || size.columns < 1) continue;
        text += "group=" + std::to_string(g) + ' ' + name;
        if (tarn::is_site(head.type))
          text += tarn::site_matrix_words(head.type, name, size);
        else if (const std::string codes = tarn::strata_codes(head.type);
                 !codes.empty() && !(name == "pent" && tarn::has_states(head.type))) {
          const auto code = [&codes](int k) {
            const std::size_t n = codes.size(), at = static_cast<std::size_t>(k) - 1;
            // Behind the codes stand those of guesses.
            return std::string(1, at < n ? codes[at] : static_cast<char>(codes[at - n] - 'A' + 'a'));
          };
          text += ' ' + code(size.second) +
                  (name == "Psi"                              ? " to " + code(size.third)
                   : tarn::is_classification(head.type, name) ? "|" + code(size.third)
                                                              : " :");
        }
        if (tarn::has_matrix_by_session(head.type, name) && !tarn::is_site(head.type))
          text += " Session " + std::to_string(size.third);
        text += " rows=" + std::to_string(size.rows) + " cols=" + std::to_string(size.columns) +
                (size.by_cohort ? " triang;\n" : " square;\n");
        if (size.by_cohort) ++number;
        for (int r = 1; r <= size.rows; ++r) {
          if (!size.by_cohort) ++number;
          for (int c = size.by_cohort ? r : 1; c <= size.columns; ++c) text += std::to_string(number) + ' ';
          text += ";\n";
        }
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
  std::string_view input(reinterpret_cast<const char*>(bytes), size);
  const Head head = head_of(input);
  const std::string statements(input), upper = tarn::upper_case(statements);
  std::string deck = data_procedure(head);
  const auto hold = [&upper](const char* word) { return upper.find(word) != std::string::npos; };
  if (head.covariates > 0 && !hold("ICOVARIATES")) deck += "icovariates=weight;\n";
  if (const std::string codes = tarn::strata_codes(head.type); !codes.empty() && !hold("STRATA")) {
    deck += "strata=";
    for (const char code : codes + tarn::event_codes(head.type).all()) deck += {code, ' '};
    deck += ";\n";
  }
  deck += statements + '\n';
  const std::string model = hold("PROC") ? "" : estimation(head, session_lengths(head, upper));
  tarn::run_bounded(deck, model + "\nproc stop;\n");
  return 0;
}
