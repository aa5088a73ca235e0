#pragma once
// docs/data-types.md, made from the table of data types.

#include <string>
#include <string_view>

#include "data/catalogue/datatype.h"
#include "support/fitted_types.h"
#include "support/state_diagrams.h"

namespace tarn {

inline std::string data_types_page() {
  static constexpr std::string_view closed_kinds[] = {
      "",
      "full likelihood, p and c",
      "Huggins, p and c",
      "full likelihood, mixtures of p",
      "full likelihood, mixtures of p and c",
      "Huggins, mixtures of p",
      "Huggins, mixtures of p and c",
      "full likelihood, p and c, mis-identification",
      "Huggins, p and c, mis-identification",
      "full likelihood, mixtures of p, mis-identification",
      "full likelihood, mixtures of p and c, mis-identification",
      "Huggins, mixtures of p, mis-identification",
      "Huggins, mixtures of p and c, mis-identification",
      "Huggins, p and c, random effect"};
  std::string page =
      "# Data types\n"
      "\n"
      "Made from the table in `src/data/catalogue/datatype_table.cpp` by the program `data_types_page`; a "
      "test "
      "compares the two.\n"
      "\n"
      "`ETYPE=` of `PROC CHMATRIX` takes a keyword of this list. The parameter names, case and all, are "
      "those of the\n"
      "parameter index matrices, in this order.\n"
      "\n"
      "- form: characters of the history for each occasion. Two characters are the live state and the dead "
      "state, or a\n"
      "  count, or two species.\n"
      "- signs: what a history may hold. \"codes\" are those of the STRATA statement; without one they are "
      "\"10\".\n"
      "- closed layer: how capture within a session is modelled.\n"
      "- sessions: the occasions are grouped in primary sessions by the time intervals; an interval of 0 "
      "keeps two\n"
      "  occasions in one session.\n"
      "- nodes: the model integrates over a normal effect; `NODES=` sets the number of quadrature nodes.\n"
      "- own link: parameters that take LOG (or IDENTITY, where said) whatever `LINK=` says.\n"
      "\n"
      "| no. | keyword | data type | parameters | form | signs | closed layer | sessions | nodes | own link "
      "|\n"
      "|---|---|---|---|---|---|---|---|---|---|\n";
  for (int n = 1; n <= max_dattyp; ++n) {
    const Datatype& row = datatype(n);
    std::string keywords = "`" + std::string(row.keyword[0]) + "`";
    if (!row.keyword[1].empty()) keywords += ", `" + std::string(row.keyword[1]) + "`";
    std::string parameters;
    for (const std::string& name : parmlist(n)) parameters += (parameters.empty() ? "`" : " `") + name + "`";
    std::string link(row.log_link);
    if (!row.identity_link.empty()) link += "; IDENTITY " + std::string(row.identity_link);
    std::string signs = row.alphabet.empty() ? "codes" : "`" + std::string(row.alphabet) + "`";
    page += "| " + std::to_string(n) + " | " + keywords + " | " + std::string(row.name) + " | " + parameters +
            " | " + (row.live ? "1" : "2") + " | " + signs + " | " +
            std::string(closed_kinds[static_cast<int>(row.closed)]) + " | " + (row.sessions ? "yes" : "") +
            " | " + (row.nodes == Nodes::none ? "" : "yes") + " | " + link + " |\n";
  }
  page +=
      "\n## Types that are fitted\n\n"
      "K is the number of occasions; interval c runs from occasion c to occasion c + 1. In the forms of two "
      "characters\nthere is an interval K behind the last occasion.\n";
  for (const Family_note& note : fitted_types()) {
    page += "\n### ";
    for (std::size_t k = 0; k < note.numbers.size(); ++k)
      page += (k == 0 ? "`" : ", `") + std::string(datatype(note.numbers[k]).keyword[0]) + "` (" +
              std::to_string(note.numbers[k]) + ")";
    page += "\n\n" + std::string(note.text);
  }
  return page + std::string(state_diagrams);
}

}  // namespace tarn
