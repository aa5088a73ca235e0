#pragma once
// The matrices of the data types of sites, occupied or not: how many, how large, and how a deck names them.

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "data/catalogue/datatype.h"
#include "support/matrix_size.h"

namespace tarn {

/// Whether a record is a site.
inline bool is_site(int type) {
  static const std::vector<int> sites{27,  28,  29,  30,  107, 108, 109, 110, 111, 112,
                                      113, 116, 117, 118, 123, 124, 125, 137, 141, 143,
                                      144, 151, 152, 153, 154, 156, 157, 170, 175, 177};
  return std::binary_search(sites.begin(), sites.end(), type);
}

/// How finely a model of sites is divided.
struct Site_layout {
  int mixtures = 2;  ///< classes of sites, which nobody sees
  int devices = 2;   ///< surveys of a local unit, in the types of several scales
  int states = 2;    ///< occupied ones, in 125
  int species = 2;   ///< in 177
};

/// Whether there is a matrix of the parameter for each session.
inline bool is_site_matrix_by_session(int type, const std::string& name) {
  const Datatype& row = datatype(type);
  if (!row.sessions || row.cell == Cell::rdmsoccupancy) return false;
  static const std::vector<std::string> within{"p",  "p10", "p11", "b",   "pi",  "sigmap", "pent", "d",
                                               "pA", "pB",  "rA",  "rBA", "rBa", "Delta",  "Theta"};
  return std::find(within.begin(), within.end(), name) != within.end();
}

/// All matrices of a parameter in a study of sessions of these lengths, one of all surveys where the type has
/// no sessions.
inline std::vector<Matrix_size> site_matrices(int type, const std::string& name,
                                              const std::vector<int>& lengths, const Site_layout& layout) {
  const Datatype& row = datatype(type);
  if (!names_hold(row.own, name)) return {};
  const int K = std::accumulate(lengths.begin(), lengths.end(), 0), T = static_cast<int>(lengths.size());
  const bool scales = row.cell == Cell::multscalocc || row.cell == Cell::chprob175;
  std::vector<Matrix_size> all;
  const auto add = [&](int columns, int second = 1, int third = 1, int rows = 1) {
    if (rows > 0 && columns > 0) all.push_back({false, rows, columns, second, third});
  };
  if (type == 124 || type == 125) {
    const int states = type == 124 ? 2 : layout.states;
    if (name == "Phi0")
      for (int m = 1; m <= states; ++m) add(1, m + 1);
    if (name == "R" || (name == "Psi" && type == 124))
      for (int m = 0; m <= states; ++m) add(T - 1, m + 1);
    // Of a row of transitions the stay has what the others leave.
    for (int from = 0; name == "Psi" && type == 125 && from <= states; ++from)
      for (int to = 0; to <= states; ++to)
        if (to != from) add(T - 1, from + 1, to + 1);
    for (int m = 1; name == "p" && type == 125 && m <= states; ++m)
      for (int shown = 1; shown <= m; ++shown) add(K, shown + 1, m + 1);
    for (int s = 1; type == 124 && s <= T; ++s) {
      const int n = lengths[static_cast<std::size_t>(s) - 1];
      if (name == "p") add(n, 2, s), add(n, 3, s);
      if (name == "Delta") add(n, 3, s);
    }
    return all;
  }
  if (row.cell == Cell::chprob177) {
    if (name == "f") add((1 << layout.species) - 1);
    for (int k = 1; name == "p" && k <= layout.species; ++k) add(K, k + 1);
    return all;
  }
  static const std::vector<std::string> single{"Lambda", "VarAdd", "PsiAB", "PsiA", "PsiB",
                                               "PsiBA",  "PsiBa",  "Psi1",  "Psi2"};
  if (std::find(single.begin(), single.end(), name) != single.end()) return {Matrix_size{}};
  if (name == "Psi") {
    // With one rate between seasons the other one follows from the shares of both.
    const bool every_season = row.sessions && names_hold(row.own, "Epsilon") != names_hold(row.own, "Gamma");
    return {{false, 1, every_season ? T : 1}};
  }
  if (name.starts_with("Epsilon") || name.starts_with("Gamma")) {
    add(T - 1);
    return all;
  }
  for (int s = 1; s <= (row.sessions ? T : 1); ++s) {
    const int n = row.sessions ? lengths[static_cast<std::size_t>(s) - 1] : K;
    if (name == "pi")
      add(1, 1, s, layout.mixtures - 1);
    else if (name == "p" && scales)
      for (int k = 1; k <= n / layout.devices; ++k) add(layout.devices, k, s);
    else if (name == "Theta" && scales)
      add(n / layout.devices, 1, s);
    else if (name == "Theta'" || name == "pent" || name == "d")
      add(n - 1, 1, s);
    else
      add(n, 1, s, name == "p" && names_hold(row.own, "pi") ? layout.mixtures : 1);
  }
  return all;
}

/// The same in decks: what stands between the name of the parameter and ROWS=, a blank ahead.
inline std::string site_matrix_words(int type, const std::string& name, const Matrix_size& size) {
  const auto sign = [](int position) { return std::to_string(position - 1); };
  const std::string session = " Session " + std::to_string(size.third);
  if (type == 125 && name == "p") return ' ' + sign(size.second) + '|' + sign(size.third);
  if (type == 125 && name == "Psi") return ' ' + sign(size.second) + " to " + sign(size.third);
  if (type == 124 || type == 125)
    return ' ' + sign(size.second) + " :" + (is_site_matrix_by_session(type, name) ? session : "");
  if (type == 177 && name == "p") return ' ' + sign(size.second) + " :";
  const Cell cell = datatype(type).cell;
  std::string words;
  if (name == "p" && (cell == Cell::multscalocc || cell == Cell::chprob175))
    words = " Primary " + std::to_string(size.second);
  return is_site_matrix_by_session(type, name) ? words + session : words;
}

}  // namespace tarn
