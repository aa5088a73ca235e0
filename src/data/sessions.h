#pragma once
// Occasions in primary sessions: one ends at the last occasion, and wherever the interval behind an occasion
// is above 0.

#include "job/job.h"
#include "numerics/list.h"

namespace tarn {

/// The occasions `before` + 1 to `last()`; the interval behind the last one closes the session.
struct Primary_session {
  int before = 0;  ///< occasions ahead of it
  int length = 0;  ///< its occasions
  int last() const { return before + length; }
};

/// The primary sessions of the study. May throw std::bad_alloc.
List<Primary_session> primary_sessions(const Job& job);

/// Primary session of each occasion. May throw std::bad_alloc.
List<int> sessions_of(const Job& job);

}  // namespace tarn
