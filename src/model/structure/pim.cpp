#include "model/structure/pim.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "data/catalogue/datatype.h"
#include "data/sessions.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "job/services/template.h"

namespace tarn {

namespace {

constexpr std::size_t description_width = 50;
/// Cells of one matrix and of all matrices together; more could not be typed or used, only take the memory.
constexpr std::int64_t most_matrices = 2'000'000;
constexpr std::int64_t most_cells = 20'000'000, most_cells_of_all = 250'000'000;

std::string trimmed(std::string_view text) {
  const std::size_t last = text.find_last_not_of(' ');
  return std::string(last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1));
}

/// What a GROUP statement says.
struct Pim_statement {
  int group = 0, nrows = 0, ncols = 0, constant = 0, time = 0;
  std::string name, description;
  Pim_shape shape = Pim_shape::none;
};

/// Position of `part` in `text`, counted from 1; 0 when it is not there.
int position_of(std::string_view text, std::string_view part) {
  const std::size_t found = text.find(part);
  return found == std::string_view::npos ? 0 : static_cast<int>(found) + 1;
}

/// Character at position `i` (from 1) of a blank-padded description.
char character_at(std::string_view text, int i) {
  return i >= 1 && i <= static_cast<int>(text.size()) ? text[static_cast<std::size_t>(i - 1)] : ' ';
}

/// Closes up the blanks round the first colon, which is a word of its own and so has one on each side.
std::string without_blanks_at_colon(const std::string& description) {
  const int k = position_of(description, ":");
  if (k == 0) return description;
  std::string closed = description.substr(0, static_cast<std::size_t>(std::max(k - 2, 0))) + ":";
  if (k + 1 < static_cast<int>(description.size()))
    closed += description.substr(static_cast<std::size_t>(k) + 1);
  return closed;
}

/// Takes the words of the GROUP option from word i on; returns the last word that it used.
int read_group(Job& job, int i, Pim_statement& pim) {
  if (word(job, i + 1) == "=") ++i;
  pim.group = ivalue(job, word(job, ++i));
  if (pim.group < 1) error(job, "Group # for this input matrix was not specified.");
  if (pim.group > job.status.ngrps)
    error(job, "Group # for this input matrix > number  of groups specified.");
  pim.name = trimmed(word_as_typed(job, ++i));
  if (pim.name.find('[') != std::string::npos && pim.name.find(']') == std::string::npos)
    pim.name += "," + trimmed(word_as_typed(job, ++i));
  pim.description.clear();
  while (word(job, i + 1) != "ROWS" && word(job, i + 1) != "COLS") {
    pim.description = trimmed(pim.description) + " " + word_as_typed(job, ++i);
    if (pim.description.size() > description_width) pim.description.resize(description_width);
  }
  pim.description = without_blanks_at_colon(pim.description);
  return i;
}

Pim_statement read_statement(Job& job) {
  Pim_statement pim;
  for (int i = 1; i <= job.status.lstwrd; ++i) {
    const std::string& option = word(job, i);
    if (option == "GROUP") {
      i = read_group(job, i, pim);
    } else if (option == "ROWS" || option == "COLS" || option == "TIME" || option == "CONSTANT") {
      int& target = option == "ROWS"   ? pim.nrows
                    : option == "COLS" ? pim.ncols
                    : option == "TIME" ? pim.time
                                       : pim.constant;
      i += 2;
      target = ivalue(job, word(job, i));
    } else if (const Pim_shape shape = pim_shape(option); shape != Pim_shape::none) {
      pim.shape = shape;
    } else {
      warn(job, "The following option \"" + option + "\" was not recognized on a PIM statement.");
    }
  }
  return pim;
}

void show_name_and_description(Job& job, const Pim_statement& pim) {
  linchk(job, 2);
  put(job, listing, "(1x,3a)", " PARNAME = '", pim.name, "'");
  put(job, listing, "(1x,3a)", " PARDESCPTN = '", pim.description, "'");
}

/// The number that follows a word of `length` 7 letters standing at `position`.
int number_after(Job& job, std::string_view description, int position) {
  std::string digits;
  for (int i = position + 7; i <= static_cast<int>(description.size()); ++i) {
    const char c = character_at(description, i);
    if (c != ' ' && (c < '0' || c > '9')) break;
    digits += c;
  }
  const std::size_t first = digits.find_first_not_of(' ');
  return ivalue(job, first == std::string::npos ? std::string() : trimmed(digits.substr(first)));
}

/// Second and third index from the description.
void decode_description(Job& job, const Pim_statement& pim, int& istrta, int& jstrta) {
  istrta = jstrta = 1;
  const std::string_view text = pim.description;
  const auto index_in_strata = [&](int i) {
    return position_of(job.data.strata, std::string(1, character_at(text, i)));
  };
  if (text.find_first_not_of(' ') == std::string_view::npos) return;
  const int colon = position_of(text, ":"), session = position_of(text, "Session");
  if (colon >= 2) {
    istrta = index_in_strata(colon - 1);
    if (session >= 2) jstrta = number_after(job, text, session);
    return;
  }
  const int primary = position_of(text, "Primary");
  if (session >= 2) {
    jstrta = number_after(job, text, session);
    if (primary == 0) return;
  }
  if (primary >= 2) {
    istrta = number_after(job, text, primary);
    return;
  }
  const int to = position_of(text, "to"), bar = position_of(text, "|");
  if (to >= 2) {
    istrta = index_in_strata(to - 2);
    jstrta = index_in_strata(to + 3);
  } else if (bar >= 2) {
    istrta = index_in_strata(bar - 1);
    jstrta = index_in_strata(bar + 1);
  } else {
    show_name_and_description(job, pim);
    error(job, "This PIM statement was not correctly decoded.");
  }
}

std::int64_t cells_so_far(const Job& job) {
  std::int64_t cells = 0;
  for_each_matrix(job, [&](const Pim_place&, const Pim& pim) { cells += pim.cells.size(); });
  return cells;
}

/// "for NAME description, group g": how our own messages name a matrix.
std::string matrix_text(const Pim_statement& pim) {
  return "for " + pim.name + trimmed(pim.description) + ", group " + adjustfmt(pim.group);
}

void read_row(Job& job, const Pim_statement& statement, Pim& pim, int r) {
  getcmd(job);
  job.status.indent = -3;
  const int start = pim.start(r), cells = std::max(pim.ncols - start + 1, 0);
  if (job.status.lstwrd > cells)
    error(job, "Row " + adjustfmt(r) + " of the input matrix " + matrix_text(statement) + " has " +
                   adjustfmt(job.status.lstwrd) + " values for its " + adjustfmt(cells) + " cells.");
  for (int k = 1; k <= job.status.lstwrd; ++k)
    pim.cell(r, start + k - 1) = ivalue(job, word_as_typed(job, k));
}

/// CONSTANT= and TIME=: the numbers that need no rows.
void generate_cells(const Pim_statement& statement, Pim& pim) {
  for_each_cell(pim, [&statement](int, int c, int& cell) {
    const std::int64_t number =
        statement.constant > 0 ? statement.constant : static_cast<std::int64_t>(statement.time) + c - 1;
    cell = static_cast<int>(std::min<std::int64_t>(number, std::numeric_limits<int>::max()));
  });
}

void set_upper_bounds(Job& job, Pim_bounds rule) {
  const Status_module& status = job.status;
  Model_arrays& model = job.model;
  const int strata = std::max(status.nstrta, 1), mixtures = std::max(status.nmixtures, 1);
  int second = strata, third = std::max(status.nprimy, strata);
  switch (rule) {
    case Pim_bounds::strata:
      break;
    case Pim_bounds::unoccupied:
      second = strata + 1;
      third = std::max(third, second);
      break;
    case Pim_bounds::doubled:
      second = 2 * strata;
      break;
    case Pim_bounds::blocks:
      second = std::max(status.noccas / mixtures, strata);
      third = std::max(third, second);
      break;
    case Pim_bounds::session_blocks:
      second = std::max(model.maxprimoccas / mixtures, strata);
      break;
    case Pim_bounds::mixtures:
      second = std::max(mixtures, strata);
      break;
    case Pim_bounds::species:
      second = std::max(strata, status.nspeciesocc + 1);
      break;
    case Pim_bounds::codes:
      second = strata + status.nevents;
      third = std::max(third, second);
      break;
    case Pim_bounds::barker_codes:
      second = 2 * strata + status.nevents;
      third = std::max(third, second);
      break;
    case Pim_bounds::occasions:
      third = std::max(status.noccas, strata);
      break;
  }
  model.pim2index2lobd = model.pim2index3lobd = 1;
  model.pim2index2upbd = second;
  model.pim2index3upbd = third;
}

int derived_count(const Status_module& status, Derived_count rule) {
  switch (rule) {
    case Derived_count::sections:
    case Derived_count::none:
      return 0;
    case Derived_count::groups:
      return status.ngrps;
    case Derived_count::lambda:
      return 2 * (status.noccas - 1) * status.ngrps;
    case Derived_count::growth:
      return (status.nprimy - 1) * status.ngrps;
    case Derived_count::sessions:
      return status.ngrps * status.nprimy;
    case Derived_count::strata_sessions:
      return status.ngrps * status.nstrta * status.nprimy;
    case Derived_count::sessions_and_growth:
      return (3 * status.nprimy - 2) * status.ngrps;
  }
  return 0;
}

}  // namespace

int findpar(const Data_module& data, std::string_view name) {
  const std::string wanted = trimmed(name.substr(0, 10));
  for (int q = 1; q <= data.numparmnames; ++q)
    if (trimmed(data.parameterlist(q)) == wanted) return q;
  return 0;
}

bool has_matrix(const Job& job, std::string_view name) {
  bool any = false;
  if (const int q = findpar(job.data, name); q > 0)
    for_each_matrix_of(job, q, [&any](const Pim_place&, const Pim& pim) { any = any || pim.given(); });
  return any;
}

Pim_shape pim_shape(std::string_view word) {
  for (const Pim_shape shape : {Pim_shape::square, Pim_shape::triang, Pim_shape::striang})
    if (word == name_of(shape)) return shape;
  return Pim_shape::none;
}

void piread(Job& job) {
  const Pim_statement statement = read_statement(job);
  if (statement.shape == Pim_shape::none) error(job, "Shape incorrectly specified for this input matrix.");
  const int q = findpar(job.data, statement.name);
  if (q == 0) error(job, "The parameter name '" + statement.name + "' is not correct and thus known.");
  int istrta = 1, jstrta = 1;
  decode_description(job, statement, istrta, jstrta);
  Model_arrays& model = job.model;
  if (istrta < model.pim2index2lobd || istrta > model.pim2index2upbd) {
    show_name_and_description(job, statement);
    error(job, "Invalid value for the second dimension of PIM2, ISTRTA = " + adjustfmt(istrta));
  }
  if (jstrta < model.pim2index3lobd || jstrta > model.pim2index3upbd)
    error(job, "Invalid value for the third dimension of PIM2, JSTRTA = " + adjustfmt(jstrta));

  Pim& pim = model.pim2(q, istrta, jstrta, statement.group);
  if (pim.shape != Pim_shape::none)
    error(job, "A second input matrix was specified " + matrix_text(statement) + ".");
  if (statement.nrows < 0 || statement.ncols < 0 || (statement.nrows > 0 && statement.ncols == 0))
    error(job, "ROWS and COLS of the input matrix " + matrix_text(statement) + " must be 1 or more.");
  const std::int64_t cells = static_cast<std::int64_t>(statement.nrows) * statement.ncols;
  // Small matrices are not counted: each has cost a statement of the deck.
  if (cells > most_cells || (cells > 256 && cells_so_far(job) + cells > most_cells_of_all))
    error(job,
          "The input matrix " + matrix_text(statement) + " is too large: " + adjustfmt(cells) + " cells.");
  pim.parname = statement.name;
  pim.pardescptn = trimmed(statement.description);
  pim.group = statement.group;
  pim.shape = statement.shape;
  pim.nrows = statement.nrows;
  pim.ncols = statement.ncols;
  pim.nmix = job.status.nmixtures;
  pim.cells.assign(static_cast<int>(cells), 0);
  if (statement.constant > 0 || statement.time > 0)
    generate_cells(statement, pim);
  else
    for (int r = 1; r <= pim.nrows; ++r) read_row(job, statement, pim, r);
}

void fillminlen(Job& job) {
  List<int>& minlen = job.model.minlen;
  if (!minlen.empty())
    warn_of_allocation(job, "from memory allocation of MINLEN.", Allocation::already_allocated);
  minlen.clear();
  for (const Primary_session& session : primary_sessions(job)) minlen.push_back(session.length);
}

void print_pim2(Job& job, int parameter, int istrta, int jstrta, int group) {
  const Pim& pim = job.model.pim2(parameter, istrta, jstrta, group);
  linchk(job, 4);
  put(job, listing, "(2x,a,i0)", "PIM Set        = ", parameter);
  put(job, listing, "(2x,a,i0)", "Strata Number  = ", istrta);
  put(job, listing, "(2x,a,i0)", "Strata/Session = ", jstrta);
  put(job, listing, "(2x,a,i0)", "Group Number   = ", group);
  if (pim.shape == Pim_shape::none) {
    linchk(job, 1);
    put(job, listing, "(2x,a)", "Undefined and not used");
    return;
  }
  linchk(job, 7);
  put(job, listing, "(2x,a)", "NAME   = '" + pim.parname + "'");
  put(job, listing, "(2x,a)", "DESCR  = '" + pim.pardescptn + "'");
  put(job, listing, "(2x,a,i0)", "GROUP  = ", pim.group);
  put(job, listing, "(2x,a)",
      "SHAPE  = '" + (std::string(name_of(pim.shape)) + "       ").substr(0, 7) + "'");
  put(job, listing, "(2x,a,i0)", "NROWS  = ", pim.nrows);
  put(job, listing, "(2x,a,i0)", "NCOLS  = ", pim.ncols);
  put(job, listing, "(2x,a,i0)", "NMIX   = ", pim.nmix);
  for (int r = 1; r <= pim.nrows; ++r) {
    const int start = pim.start(r), cells = pim.ncols - start + 1;
    if (cells < 1) continue;
    std::vector<int> row;
    for (int c = start; c <= pim.ncols; ++c) row.push_back(pim.at(r, c));
    linchk(job, 1);
    put_runtime(job, listing, "(T" + adjustfmt(5 * (start - 1) + 1) + "," + adjustfmt(cells) + "i5)", row);
  }
}

void print_all_pims(Job& job) {
  for_each_matrix(std::as_const(job), [&job](const Pim_place& at, const Pim& pim) {
    if (!pim.given()) return;
    linchk(job, 3);
    put(job, listing, "(/1x,a,i0,3x,a,i0,3x,a)", "PIM Set ", at.q, "Group ", at.g, pim.parname);
    put(job, listing, "(1x,a,i0,1x,a,i0,1x,a,i0)", "Strata Number ", at.a, "Strata/Session ", at.b,
        "PIM2(IPARAMETER,ISTRTA,JSTRTA,IGRPS)%NROWS = ", pim.nrows);
    print_pim2(job, at.q, at.a, at.b, at.g);
  });
}

void set_index_bounds(Job& job) {
  const Status_module& status = job.status;
  if (!is_datatype(status.dattyp)) error(job, "An invalid value of DATTYP was set in proc chmatrix.");
  Model_arrays& model = job.model;
  const Datatype& type = datatype(status.dattyp);
  if (type.sessions) {
    fillminlen(job);
    for (int occasions : model.minlen) model.maxprimoccas = std::max(model.maxprimoccas, occasions);
  }
  set_upper_bounds(job, type.pim_bounds);
  model.numderivedmcmcpar = derived_count(status, type.derived);
  const std::int64_t matrices = static_cast<std::int64_t>(job.data.numparmnames) * model.pim2index2upbd *
                                model.pim2index3upbd * status.ngrps;
  if (matrices > most_matrices)
    error(job,
          "Too many strata, sessions and groups for input matrices: " + adjustfmt(matrices) + " matrices.");
  model.pim2.allocate(job.data.numparmnames, model.pim2index2lobd, model.pim2index2upbd, model.pim2index3lobd,
                      model.pim2index3upbd, status.ngrps);
}

}  // namespace tarn
