#pragma once
// Occasions in primary sessions: one ends at the last occasion, and wherever the interval behind an occasion
// is above 0.

#include "data/catalogue/encounter.h"
#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// The occasions `before` + 1 to `last()`; the interval behind the last one closes the session.
struct Primary_session {
  int before = 0;  ///< occasions ahead of it
  int length = 0;  ///< its occasions
  int last() const { return before + length; }
};

/// Calls visit(s, session) for every primary session of the study, from s = 1.
template <class Visit>
void for_each_session(const Job& job, const Visit& visit) {
  int before = 0, number = 0;
  for (int o = 1; o <= job.status.noccas; ++o) {
    if (o < job.status.noccas && !(job.data.timint(o) > 0.0f)) continue;
    visit(++number, Primary_session{before, o - before});
    before = o;
  }
}

/// Strata that captures tell apart: 1 where cells are written with signs of the data type's own.
int strata_of_captures(const Job& job);

/// Signs of a capture that leave its stratum open.
int uncertain_signs(const Job& job);

/// Stratum, from 1, that the captures of a session tell for certain; 0 when none does.
int known_stratum_in(const Job& job, History history, const Primary_session& session);

/// The same; 1 when none does.
int stratum_in(const Job& job, History history, const Primary_session& session);

/// The primary sessions of the study. May throw std::bad_alloc.
List<Primary_session> primary_sessions(const Job& job);

/// Primary session of each occasion. May throw std::bad_alloc.
List<int> sessions_of(const Job& job);

/// The same, or, unless `by_session`, each occasion by itself.
List<int> periods_of(const Job& job, bool by_session);

/// The sessions in which a population of the job's data type is closed: its primary sessions, or the whole
/// study.
List<Primary_session> closed_sessions(const Job& job);

}  // namespace tarn
