#include "data/site_checks.h"

#include <string>

#include "data/sessions.h"
#include "job/services/fault.h"
#include "job/services/report.h"

namespace tarn {
namespace {

bool has_blocks(const Datatype& row) {
  return row.pim_bounds == Pim_bounds::blocks || row.pim_bounds == Pim_bounds::session_blocks;
}

void check_states(Job& job, const Datatype& row) {
  if (row.strata_tail != Strata_tail::zero_first) return;
  if (job.data.strata.empty() || job.data.strata.front() != '0')
    error(job, "Data type " + std::string(row.keyword[0]) +
                   " needs a STRATA statement with the codes of the occupied states.");
  if (row.cell == Cell::rdmsoccrepro && job.status.nstrta != 2)
    error(job, "Data type " + std::string(row.keyword[0]) + " has two occupied states, and STRATA= gives " +
                   adjustfmt(job.status.nstrta) + ".");
}

/// Surveys behind the last whole block tell nothing.
void check_blocks(Job& job, const Datatype& row) {
  if (!has_blocks(row)) return;
  const int block = job.status.nmixtures;
  const List<Primary_session> sessions = closed_sessions(job);
  for (int s = 1; s <= sessions.size(); ++s) {
    const int length = sessions(s).length;
    if (length % block == 0) continue;
    const std::string whose = row.sessions ? "Primary session " + adjustfmt(s) + " has " : "The data have ";
    warn(job, whose + adjustfmt(length) + " occasions, no multiple of MIXTURES=" + adjustfmt(block) +
                  ": those behind the last whole block of surveys are passed over.");
  }
}

}  // namespace

void check_site_cells(Job& job, int n, const Datatype& row, History cells, std::string_view typed) {
  if (row.cell != Cell::msoccupancy) return;
  constexpr std::string_view signs = "012.";
  for (int o = 1; o <= cells.noccas(); ++o) {
    const char sign = cells.live(o);
    if (signs.find(sign) == std::string_view::npos)
      record_fault(job, n,
                   " State \"" + std::string(1, sign) + "\" of occasion " + adjustfmt(o) +
                       " is none of 0, 1 and 2 in the encounter history: ",
                   typed);
  }
}

void check_site_design(Job& job, const Datatype& row) {
  if (!of_sites(row)) return;
  check_states(job, row);
  check_blocks(job, row);
}

void check_species(Job& job, const Data_procedure& procedure) {
  const Encounter_store& encounters = job.data.encounters;
  const int n = job.status.nspeciesocc;
  for (int i = 1; i <= encounters.size(); ++i) {
    const History cells = encounters.history(i);
    for (int o = 1; o <= cells.noccas(); ++o) {
      if (!surveyed(cells, o) || 10 * (cells.live(o) - '0') + (cells.dead(o) - '0') < 1 << n) continue;
      record_fault(job, procedure.named(i),
                   " Cell \"" + std::string(cells.text().substr(2 * (static_cast<std::size_t>(o) - 1), 2)) +
                       "\" of occasion " + adjustfmt(o) + " holds a species that is none of the " +
                       adjustfmt(n) + " of MIXTURES= or STRATA= in the encounter history: ",
                   cells.text());
    }
  }
}

}  // namespace tarn
