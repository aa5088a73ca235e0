#pragma once
// What the cells of a history may hold, family by family, and what a whole data set should hold.

#include <string>
#include <string_view>

#include "data/catalogue/datatype.h"
#include "data/catalogue/encounter.h"
#include "job/job.h"
#include "job/services/fault.h"

namespace tarn {

inline constexpr std::string_view not_a_release = " Initial encounter was not a release: ";

/// The line that stands before every fault of record n.
void put_record_number(Job& job, int n);

/// Reports a fault of record n: "Error around encounter history number", then, fatal, "History number n", the
/// message and the text behind it (the history as typed, or nothing).
[[noreturn]] void record_fault(Job& job, int n, std::string_view message, std::string_view history = {});

/// Fatal when the second character of a cell is "." in a family whose second characters tell of the dead.
void check_dead_columns(Job& job, int n, const Datatype& row, History cells, std::string_view typed);

/// Fatal when the cells of record n cannot be a history of the family. Robust designs of live and dead
/// encounters are checked by `check_sessions`, when the intervals are known.
void check_cells(Job& job, int n, const Datatype& row, History cells, std::string_view typed);

/// Whether records of the family are checked by primary session.
bool has_session_checks(const Datatype& row);

/// The checks by primary session: of live and dead encounters; that every session was sampled where growth is
/// the ratio of sizes; that no animal is in two strata in one session, where strata change between sessions.
void check_sessions(Job& job, int n, const Datatype& row, History cells);

/// Warns of intervals between occasions that leave a robust design without an interval between sessions,
/// without two occasions in any session, or without time behind the last one.
void check_intervals(Job& job, const Datatype& row);

/// Warns of sessions in which no animal of a group was caught, where growth follows from the numbers caught.
/// To be called when `u` and `ul` are there.
void check_sizes(Job& job, const Datatype& row);

/// Position of a first character in `strata`, as strata are counted; 0 when it is none.
int stratum_position(const Job& job, const Datatype& row, char code);

/// Highest position with which a history may start.
int stratum_limit(const Job& job, const Datatype& row);

/// Signs that the second characters of a multi-state Barker family may be beside "0".
struct Second_signs {
  int resightings = 0, recoveries = 0;
};
Second_signs second_signs(const Job& job, const Datatype& row);

/// True when the second character of a cell tells of a dead animal.
bool is_recovery(const Job& job, const Datatype& row, char code);

/// What the records of a joint family hold.
struct Kinds_found {
  bool live = false;  ///< an encounter alive after the first capture
  bool dead = false;  ///< a recovery
  void add(const Job& job, const Datatype& row, History cells);
};

/// Warns when a family of live and dead encounters has only one of the two.
void check_kinds(Job& job, const Datatype& row, const Kinds_found& found);

}  // namespace tarn
