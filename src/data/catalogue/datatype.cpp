#include "data/catalogue/datatype.h"

#include <algorithm>

#include "data/catalogue/datatype_table.h"

namespace tarn {

namespace {

constexpr Datatype no_row{};

std::string_view without_trailing_blanks(std::string_view s) {
  const std::size_t last = s.find_last_not_of(' ');
  return last == std::string_view::npos ? std::string_view{} : s.substr(0, last + 1);
}

void append_names(std::vector<std::string>& names, std::string_view list) {
  while (!list.empty()) {
    const std::size_t blank = std::min(list.find(' '), list.size());
    if (blank > 0) names.emplace_back(list.substr(0, blank));
    list.remove_prefix(std::min(blank + 1, list.size()));
  }
}

}  // namespace

const Datatype& datatype(int dattyp) {
  if (!is_datatype(dattyp)) return no_row;
  return datatype_rows()[static_cast<std::size_t>(dattyp - 1)];
}

int dattyp_of(std::string_view keyword) {
  const std::string_view wanted = without_trailing_blanks(keyword);
  if (wanted.empty()) return 0;
  for (const Datatype& row : datatype_rows())
    if (row.keyword[0] == wanted || row.keyword[1] == wanted) return row.number;
  return 0;
}

std::string_view datastrings(int dattyp) { return datatype(dattyp).name; }

std::string_view closed_parameters(Closed kind) {
  static constexpr std::array<std::string_view, 14> names{"",
                                                          "p c f0",
                                                          "p c",
                                                          "pi p f0",
                                                          "pi p c f0",
                                                          "pi p",
                                                          "pi p c",
                                                          "p c alpha f0",
                                                          "p c alpha",
                                                          "pi p alpha f0",
                                                          "pi p c alpha f0",
                                                          "pi p alpha",
                                                          "pi p c alpha",
                                                          "sigmap p c"};
  return names[static_cast<std::size_t>(kind)];
}

std::vector<std::string> parmlist(int dattyp) {
  const Datatype& row = datatype(dattyp);
  std::vector<std::string> names;
  append_names(names, row.own);
  append_names(names, closed_parameters(row.closed));
  append_names(names, row.tail);
  return names;
}

bool names_hold(std::string_view list, std::string_view name) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(' '), list.size());
    if (end > 0 && list.substr(0, end) == name) return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

Parameter_range parameter_range(const Datatype& type, std::string_view name) {
  if (name.starts_with("sigma")) return Parameter_range::deviation;
  if (name == "f0" || name == "N") return Parameter_range::count;
  if (names_hold(type.identity_link, name)) return Parameter_range::any;
  // Logarithms of odds of sets of species.
  if (type.species && name == "f") return Parameter_range::any;
  // Of the virtual population all parameters are mortalities in an instant.
  if (names_hold(type.log_link, name) || type.cell == Cell::vpa) return Parameter_range::positive;
  // Growth and recruitment between sessions have no link of their own and may be above 1 all the same.
  if (type.cell == Cell::robust_pradel && (name == "Lambda" || name == "f")) return Parameter_range::positive;
  return Parameter_range::probability;
}

}  // namespace tarn
