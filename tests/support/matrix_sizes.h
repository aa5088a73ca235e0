#pragma once
// How large the matrices of the fitted types are.

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "data/catalogue/datatype.h"
#include "support/matrix_size.h"
#include "support/site_matrices.h"

namespace tarn {

/// Whether animals move between strata and their sessions are closed.
inline bool is_robust_strata(int type) {
  const Cell cell = datatype(type).cell;
  return cell == Cell::robust_multistate || cell == Cell::robust_omega;
}

/// Whether a capture need not tell the state of an animal, or animals enter a population in one of several.
inline bool has_states(int type) {
  return type == 176 || (type >= 178 && type <= 180) || type == 183 || type == 185;
}

/// Whether its sessions are told by state, the state is not always recognised.
inline bool is_uncertain(int type) {
  const Datatype& row = datatype(type);
  return row.sessions && (row.strata_tail == Strata_tail::uncertain || row.strata_tail == Strata_tail::lower);
}

/// The same, or strata between which animals move, which enter and leave sessions.
inline bool is_by_stratum_within(int type) {
  const Cell cell = datatype(type).cell;
  return cell == Cell::chprob032 || cell == Cell::chprob119 || cell == Cell::ordpdms || is_uncertain(type);
}

/// Codes of the strata of the tests' data sets; empty for a type without any.
inline std::string strata_codes(int type) {
  // Of sites the occupied states.
  if (datatype(type).strata_tail == Strata_tail::zero_first) return "12";
  const Cell cell = datatype(type).cell;
  const bool strata = cell == Cell::chprob009 || cell == Cell::mslivedead || is_robust_strata(type) ||
                      is_by_stratum_within(type) || has_states(type);
  return strata ? "AB" : "";
}

/// Codes of the events of captures, of resightings and of recoveries, one of each where the type has such.
struct Event_codes {
  std::string captures{}, resightings{}, recoveries{};
  std::string all() const { return captures + resightings + recoveries; }
};
inline Event_codes event_codes(int type) {
  if (type == 178 || type == 185) return {"x"};
  if (type == 179 || type == 180) return {"x", "v", "k"};
  return {};
}

/// Whether a parameter has a matrix for pairs of a state and a sign.
inline bool is_classification(int type, const std::string& name) {
  return !event_codes(type).all().empty() &&
         (name == "Delta" || name == "rho" || name == "rho'" || name == "b");
}

/// Options of the data procedure beside those that every type has.
inline std::string options_of_codes(int type) {
  const std::string strata = strata_codes(type);
  if (strata.empty()) return {};
  std::string text = "strata=" + std::to_string(strata.size());
  const Event_codes events = event_codes(type);
  if (events.all().empty()) return text;
  text += " events=" + std::to_string(events.all().size());
  if (!events.resightings.empty()) text += " eventslr=1 eventsbr=1 eventsp=1";
  return text;
}

/// Occasions of each primary session in the tests' data sets: one and two by turns, of local units of two
/// surveys twice as many. One session of all where the type has none.
inline std::vector<int> session_lengths(int type, int noccas) {
  if (!datatype(type).sessions) return {noccas};
  const int unit = datatype(type).pim_bounds == Pim_bounds::session_blocks ? 2 : 1;
  std::vector<int> lengths;
  for (int left = noccas; left > 0; left -= lengths.back())
    lengths.push_back(std::min(unit * (1 + static_cast<int>(lengths.size()) % 2), left));
  return lengths;
}

/// Whether the type's cells have a matrix of the parameter for each session.
inline bool has_matrix_by_session(int type, const std::string& name) {
  const Datatype& row = datatype(type);
  if (is_site(type)) return is_site_matrix_by_session(type, name);
  if (is_by_stratum_within(type))
    return name != "S" && name != "Psi" && name != "Gamma" && name != "pi" && name != "Omega";
  return row.sessions && names_hold(closed_parameters(row.closed), name);
}

/// Size of a parameter's matrix when every cohort, occasion and mixture has a cell of its own, for the types
/// with a cell routine, in a study of sessions of these lengths; of those that there are by session in a
/// study of the session alone. Without rows or columns there is no matrix.
inline Matrix_size matrix_size(int type, const std::string& name, const std::vector<int>& lengths,
                               int mixtures) {
  const Datatype& row = datatype(type);
  const int noccas = std::accumulate(lengths.begin(), lengths.end(), 0);
  if (names_hold(closed_parameters(row.closed), name) || names_hold(row.tail, name)) {
    if (name == "pi") return {false, mixtures - 1, 1};
    if (name == "p") return {false, mixtures, noccas};
    if (name == "c") return {false, mixtures, noccas - 1};
    if (name == "alpha" || name == "sigmap") return {false, 1, noccas};
    return {};
  }
  if (has_matrix_by_session(type, name)) {
    const bool by_step = name == "pent" || name == "Phi" || name == "c";
    const bool by_arrival = row.cell == Cell::chprob184 && (name == "p" || name == "Phi" || name == "c");
    const int columns = name == "alpha" ? 1 : by_step ? noccas - 1 : noccas;
    return {by_arrival, by_arrival ? columns : 1, columns};
  }
  const bool barker = row.cell == Cell::robust_barker;
  if (row.sessions) {
    const int n = static_cast<int>(lengths.size());
    if (name == "Omega" || name == "pi") return {false, 1, n};
    const bool whole_study = row.cell == Cell::ordpdms;
    const bool by_cohort = barker || row.cell == Cell::robust || is_robust_strata(type) ||
                           (is_by_stratum_within(type) && !whole_study);
    if (barker && (name == "S" || name == "r" || name == "R" || name == "R'")) return {true, n, n};
    return {by_cohort, by_cohort ? n - 1 : 1, n - 1};
  }
  if (has_states(type)) {
    if (name == "pi") return {false, 1, noccas};
    if (name == "pent") return {false, 1, noccas - 1};
    const bool enters = type == 183 || type == 185, every = name == "Delta" || (enters && name == "p");
    const bool between = row.live || name == "p" || name == "Psi";
    const int n = between && !every ? noccas - 1 : noccas;
    return {!enters, enters ? 1 : n, n};
  }
  static const std::vector<int> without_cohorts{11, 14, 15, 16, 17, 19, 31};
  if (std::find(without_cohorts.begin(), without_cohorts.end(), type) != without_cohorts.end())
    return {false, 1, name == "N" ? 1 : name == "p" ? noccas : noccas - 1};
  // Parameters of the intervals between occasions; all others have one for the interval behind the last.
  static const std::vector<std::pair<int, std::string>> between{
      {1, "Phi"}, {1, "p"},    {3, "p"},  {3, "F"}, {8, "p"}, {8, "F"},   {8, "F'"}, {10, "S"},
      {24, "S"},  {48, "Phi"}, {48, "p"}, {9, "S"}, {9, "p"}, {9, "Psi"}, {21, "p"}, {21, "Psi"}};
  const bool one_less = std::find(between.begin(), between.end(), std::pair{type, name}) != between.end();
  const int n = one_less ? noccas - 1 : noccas;
  return {true, n, n};
}

inline Matrix_size matrix_size(int type, const std::string& name, int noccas, int mixtures) {
  return matrix_size(type, name, session_lengths(type, noccas), mixtures);
}

/// The matrices of a parameter: by stratum and session, by session, by stratum, by pair of strata, or one for
/// all.
inline std::vector<Matrix_size> matrix_sizes(int type, const std::string& name,
                                             const std::vector<int>& lengths, int mixtures) {
  if (is_site(type)) return site_matrices(type, name, lengths, {.mixtures = mixtures, .devices = mixtures});
  std::vector<Matrix_size> sizes;
  if (const int strata = static_cast<int>(strata_codes(type).size()); strata > 0) {
    if (has_matrix_by_session(type, name)) {
      // Of guesses there is a second set.
      const bool doubled = name == "Delta" && datatype(type).pim_bounds == Pim_bounds::doubled;
      for (int a = 1; a <= (doubled ? 2 * strata : strata); ++a)
        for (std::size_t s = 0; s < lengths.size(); ++s) {
          sizes.push_back(matrix_size(type, name, std::vector<int>{lengths[s]}, mixtures));
          sizes.back().second = a;
          sizes.back().third = static_cast<int>(s) + 1;
        }
      return sizes;
    }
    Matrix_size size = matrix_size(type, name, lengths, mixtures);
    if (name == "pent" && has_states(type)) return {size};
    // With one event its chance is what the own code leaves.
    if (is_classification(type, name)) {
      for (size.second = size.third = 1; size.second <= strata; size.third = ++size.second)
        sizes.push_back(size);
      return sizes;
    }
    // The share of the last stratum is what the others leave.
    const int last = name == "Omega" || name == "pi" ? strata - 1 : strata;
    for (size.second = 1; size.second <= last; ++size.second)
      for (size.third = 1; size.third <= (name == "Psi" ? strata : 1); ++size.third)
        if (name != "Psi" || size.third != size.second) sizes.push_back(size);
    return sizes;
  }
  if (!has_matrix_by_session(type, name)) return {matrix_size(type, name, lengths, mixtures)};
  for (const int length : lengths) {
    sizes.push_back(matrix_size(type, name, std::vector<int>{length}, mixtures));
    sizes.back().third = static_cast<int>(sizes.size());
  }
  return sizes;
}

inline std::vector<Matrix_size> matrix_sizes(int type, const std::string& name, int noccas, int mixtures) {
  return matrix_sizes(type, name, session_lengths(type, noccas), mixtures);
}

}  // namespace tarn
