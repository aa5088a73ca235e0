#pragma once
// Encounter-history records: reading, placing and tabulating them, and the index helpers that report.

#include "data/catalogue/datatype.h"
#include "data/cell_checks.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// What one data procedure keeps while it reads its records.
struct Data_procedure {
  int clones = 1;        ///< factor of every frequency
  bool nohist = false;   ///< records are not echoed
  int records_read = 0;  ///< statements read as histories
  int extra_values = 0;  ///< of these, with more values than expected
  bool folded = false;   ///< some history was met twice
  bool faulty = false;   ///< some history holds a foreign character
  /// For each record the statement that it came from, counted as histories are; 0: from a matrix.
  List<int> statements;

  /// Number by which messages name record r.
  int named(int r) const { return r <= statements.size() && statements(r) > 0 ? statements(r) : r; }
};

/// The record to which the history in `ehist` belongs. Without individual covariates: the first record with
/// these cells, or a new one; with them: a new one. A full store is fatal.
int oindex(Job& job);

/// Makes room for the counts of locations of record r: they grow with the records. Fatal without memory.
void hold_locations(Job& job, int r);

/// Reads the statement in hand as one encounter history with its counts and covariates.
void read_record(Job& job, Data_procedure& procedure);

/// Position of (row, col) in the packed upper triangle of side `noccas`, 1 <= row <= col <= noccas; else the
/// job stops with "Programming error from LMDEX".
int lmdex(Job& job, int row, int col);
/// The same for a triangle of side n.
int lmdexgen(Job& job, int row, int col, int n);
/// Position of the transition from stratum i to stratum j, i not j.
int lsdex(Job& job, int i, int j);

}  // namespace tarn
