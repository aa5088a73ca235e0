#include "data/records.h"

#include <array>
#include <cmath>
#include <string>

#include "data/tabulation.h"
#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "job/services/template.h"

namespace tarn {

namespace {

std::string_view trimmed(std::string_view s) {
  const std::size_t last = s.find_last_not_of(' ');
  return last == std::string_view::npos ? std::string_view{} : s.substr(0, last + 1);
}

History history_in_work(const Job& job) { return {job.data.ehist.data(), job.status.noccas}; }

/// Cells of the history into `ehist`; in the live form the second character is "0".
void take_cells(Job& job, int n, const Datatype& row, const std::string& typed) {
  const std::size_t noccas = static_cast<std::size_t>(job.status.noccas);
  const auto wrong_length = [&](std::string_view more = {}) {
    record_fault(job, n,
                 " is not the correct length of " + adjustfmt(job.status.noccas) + "." + std::string(more));
  };
  constexpr std::string_view too_short =
      " Encounter history was too short for the number of occasions specified.";
  std::string& ehist = job.data.ehist;
  if (row.live) {
    if (typed.size() < noccas) wrong_length(too_short);
    if (typed.size() > noccas) wrong_length();
    for (std::size_t o = 0; o < noccas; ++o) ehist[2 * o] = typed[o], ehist[2 * o + 1] = '0';
  } else {
    if (typed.size() < 2 * noccas) wrong_length(too_short);
    if (typed.size() > 2 * noccas && of_sites(row))
      record_fault(job, n,
                   " has " + adjustfmt(static_cast<int>(typed.size())) + " characters for " +
                       adjustfmt(job.status.noccas) + " occasions of two, so that counts end at 99.");
    ehist.assign(typed, 0, 2 * noccas);
  }
}

/// Place of the first character that is none of `alphabet`.
std::size_t first_foreign(std::string_view typed, std::string_view alphabet) {
  std::array<bool, 256> known{};
  const auto code = [](char c) { return static_cast<std::size_t>(static_cast<unsigned char>(c)); };
  for (const char c : alphabet) known[code(c)] = true;
  for (std::size_t o = 0; o < typed.size(); ++o)
    if (!known[code(typed[o])]) return o;
  return std::string_view::npos;
}

bool alphabet_holds(Job& job, int n, const Datatype& row, std::string_view typed) {
  const std::string_view strata = trimmed(job.data.strata);
  const std::size_t foreign = first_foreign(typed, strata);
  if (foreign == std::string_view::npos) return true;
  put_record_number(job, n);
  linchk(job, 2);
  put(job, listing | screen, "(1x,a,a,a)", "The character \"", typed.substr(foreign, 1),
      "\" was found in the encounter history.");
  put(job, listing | screen, "(1x,a,a,a)", " Encounter history must consist of only these characters: \"",
      strata, "\"");
  if (of_sites(row)) {
    linchk(job, 1);
    put(job, listing | screen, "(1x,a,i0,a)", " The character stands on occasion ",
        static_cast<int>(foreign) / (row.live ? 1 : 2) + 1, ".");
  }
  return false;
}

void read_locations(Job& job, int n, int r) {
  hold_locations(job, r);
  const auto count = [&](int place) {
    const std::string& text = word(job, place);
    return text == "." ? 0.0 : value(job, text);
  };
  job.data.ninside(r) = count(2);
  job.data.nlocations(r) = count(3);
  if (!(job.data.ninside(r) >= 0.0))
    record_fault(job, n, " Number inside grid is negative on the encounter history.");
  if (job.data.ninside(r) > job.data.nlocations(r))
    record_fault(job, n, " Number inside grid > number of locations on the encounter history.");
}

/// Where a record is tabulated.
struct Release {
  int first = 1, last = 1, layer = 1;
};

Release release_of(Job& job, int n, const Datatype& row, std::string_view typed) {
  if (!row.released) return {};
  const History cells = history_in_work(job);
  Release at{first1(cells), last1(cells), 1};
  if (at.first == 0) record_fault(job, n, " Animal was never released: ", typed);
  at.layer = stratum_position(job, row, cells.live(at.first));
  if (at.layer < 1 || at.layer > stratum_limit(job, row)) record_fault(job, n, not_a_release, typed);
  if (row.stratum_limit == Stratum_limit::doubled_and_events && at.layer > 2 * job.status.nstrta)
    at.layer -= job.status.nstrta;
  return at;
}

void add_count(Job& job, int n, const Datatype& row, int r, int group, const Release& at, float c) {
  Encounter_store& encounters = job.data.encounters;
  bool lost = false;
  if (c < 0.0f) {
    if (!row.negative_allowed)
      warn(job, "History number " + adjustfmt(n) +
                    " This data type cannot have negative frequencies. Set to positive. "
                    "Use dots in the encounter history instead.");
    else  // an animal found dead cannot be lost on capture
      lost = history_in_work(job).dead(at.last) == '0' || row.loss_when_dead;
    if (of_sites(row))
      warn(job, "History number " + adjustfmt(n) +
                    " has a negative count. A site is not lost on capture: the count enters as if positive.");
    c = -c;
  }
  add_animals(job, group, lost ? encounters.lost_on_capture(r, group) : encounters.observed(r, group),
              static_cast<double>(c));
  tabulate(job, lost, at.first, group, at.layer, c);
}

}  // namespace

void hold_locations(Job& job, int r) {
  Data_module& data = job.data;
  if (data.nlocations.present() && r <= data.nlocations.extent()) return;
  const long long room = std::min<long long>(2147483647LL, std::max<long long>(64, 2LL * r));
  if (data.nlocations.resize(room) && data.ninside.resize(room)) return;
  warn_of_allocation(job, "from memory allocation of NLOCATIONS and NINSIDE.", Allocation::no_memory);
  error_of_absent_array(job, "NLOCATIONS");
}

int oindex(Job& job) {
  Encounter_store& encounters = job.data.encounters;
  const bool full = encounters.size() >= encounters.capacity();
  if (encounters.capacity() < 1) error(job, "More histories found than specified on PROC card.");
  const History cells = history_in_work(job);
  if (job.status.nicovs < 1) {
    if (const int record = encounters.find(cells)) return record;
    if (full) error(job, "More histories found than specified on PROC card.");
  } else if (full) {
    error(job, "Error from findloc finding a blank history.");
  }
  return encounters.append(cells, job.status.missrwp);
}

void read_record(Job& job, Data_procedure& procedure) {
  const Status_module& status = job.status;
  Encounter_store& encounters = job.data.encounters;
  const Datatype& row = datatype(status.dattyp);
  job.status.indent = -3;
  const int n = ++procedure.records_read;
  const std::string& typed = word_as_typed(job, 1);

  take_cells(job, n, row, typed);
  const History cells = history_in_work(job);
  check_dead_columns(job, n, row, cells, typed);
  if (!alphabet_holds(job, n, row, typed)) {
    procedure.faulty = true;
    return;
  }
  check_cells(job, n, row, cells, typed);

  int next = 2, r = 0;
  if (row.density) {
    if (encounters.size() >= encounters.capacity())
      error(job, "More histories found than specified on PROC card.");
    r = encounters.append(cells, status.missrwp);
    read_locations(job, n, r);
    next = 4;
  } else {
    const int before = encounters.size();
    r = oindex(job);
    if (r <= before) {
      procedure.folded = true;
      if (!procedure.nohist) {
        linchk(job, 1);
        put(job, listing, "(13x,a,i0,a)", "The following encounter history is a duplicate of number ", r,
            " above.");
      }
    }
  }
  if (procedure.statements.size() < r) procedure.statements.resize(r, 0);
  if (procedure.statements(r) == 0) procedure.statements(r) = n;

  const Release at = release_of(job, n, row, typed);
  for (int g = 1; g <= status.ngrps; ++g, ++next) {
    if (next > status.lstwrd)
      record_fault(job, n, " Not enough group counts specified on the encounter history.");
    const double count = value(job, word(job, next));
    if (count == status.missrwp || !std::isfinite(count))
      record_fault(job, n, " A group count is missing on the encounter history.");
    if (!can_hold(count * procedure.clones))
      record_fault(job, n, " A group count is too large on the encounter history.");
    add_count(job, n, row, r, g, at, static_cast<float>(count * procedure.clones));
  }
  for (int c = 1; c <= status.nicovs; ++c, ++next) {
    if (next > status.lstwrd)
      record_fault(job, n, " Not enough individual covariates specified on the encounter history.");
    encounters.ind_covariate(r, c) = value(job, word(job, next));
  }
  if (next <= status.lstwrd) ++procedure.extra_values;

  double total = 0.0;
  for (const float count : encounters.observed(r)) total += static_cast<double>(count);
  // KEPT: a record of losses alone warns, too; the rule looks at the animals that were released.
  if (total == 0.0)
    warn(job, "History number " + adjustfmt(n) + " has zero values for all groups.  Mistake to be fixed?");
}

namespace {

[[noreturn]] void stop_for_index(Job& job, std::string_view routine, int row, int col) {
  put(job, listing | screen, "(1x,a,i0,a,i0)", "Row=", row, "    Col=", col);
  stop("Programming error from " + std::string(routine));
}

int packed(int row, int col, int n) { return ((2 * n + 1) * row - 2 * (n - col) - row * row) / 2; }

}  // namespace

int lmdex(Job& job, int row, int col) {
  const int n = job.status.noccas;
  if (row < 1 || row > col || col > n) stop_for_index(job, "LMDEX", row, col);
  return packed(row, col, n);
}

int lmdexgen(Job& job, int row, int col, int n) {
  if (row < 1 || row > col || col > n) {
    put(job, listing | screen, "(1x,a,i0,a,i0,a,i0)", "Row=", row, "    Col=", col, " NCols=", n);
    stop("Programming error from LMDEXGEN");
  }
  return packed(row, col, n);
}

int lsdex(Job& job, int i, int j) {
  const int n = job.status.nstrta;
  if (i < 1 || i > n || j < 1 || j > n || i == j) stop_for_index(job, "LSDEX", i, j);
  return (i - 1) * (n - 1) + 2 * n + j - (i < j ? 1 : 0);
}

}  // namespace tarn
