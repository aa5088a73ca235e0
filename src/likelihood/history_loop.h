#pragma once
// The loop over histories on the threads of a model, and what comes back from it. The one parallel region.

#include <omp.h>

#include <algorithm>
#include <cfenv>
#include <chrono>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/template.h"
#include "likelihood/likelihood_work.h"

namespace tarn {

/// Histories from to to, both counted.
struct History_block {
  int from = 1, to = 0;
};

/// The histories of thread t (from 0) of a team: blocks in order, the first `count` mod `team` one longer.
inline History_block block_of(int count, int t, int team) {
  const int each = count / team, longer = count % team;
  const int before = t * each + std::min(t, longer);
  return {before + 1, before + each + (t < longer ? 1 : 0)};
}

/// Calls `part(t, area, block)` for every thread t (from 0) with its block of `count` histories, or of other
/// things that are counted from 1. The team times its passes and tells which of them are shared out. What a
/// part throws for want of memory is kept for `end_of_histories`. Gives the number of threads that took part.
template <class Real, class Work>
int on_threads(int count, Team& team, Thread_areas<Real>& areas, const Work& part) {
  const auto guarded = [&](int t, Thread_area<Real>& area, History_block block) {
    area.out_of_memory = false;
    try {
      part(t, area, block);
    } catch (const std::bad_alloc&) {
      area.out_of_memory = true;  // must not leave the region as an exception
    }
  };
  const auto start = std::chrono::steady_clock::now();
  if (areas.size() == 1 || !team.parallel) {
    areas[0]->flags = 0;
    guarded(0, *areas[0], {1, count});
    team.timed(std::chrono::steady_clock::now() - start);
    return 1;
  }
  int used = 1;
#pragma omp parallel num_threads(static_cast <int>(areas.size()))
  {
    const int t = omp_get_thread_num(), size = omp_get_num_threads();
    Thread_area<Real>& area = *areas[static_cast<std::size_t>(t)];
    if (t == 0) {
      used = size;
    } else {
      std::feclearexcept(FE_ALL_EXCEPT);
    }
    guarded(t, area, block_of(count, t, size));
    area.flags = t == 0 ? 0 : std::fetestexcept(FE_ALL_EXCEPT);
  }
  team.timed(std::chrono::steady_clock::now() - start);
  return used;
}

/// The fatal end with the fault of a cell, which no work area holds afterwards.
template <class Real>
[[noreturn]] void end_with_fault(Job& job, Thread_areas<Real>& areas, const Cell_work<Real>& cell) {
  const std::string text(cell.fault_text());
  const std::vector<std::string> lines = cell.fault_lines();
  for (auto& area : areas) area->cell.clear_fault();
  // The first lines tell what is shown, and stand on one page.
  constexpr std::size_t together = 3;
  for (std::size_t k = 0; k < lines.size(); ++k) {
    if (k == 0 || k >= together) linchk(job, k == 0 ? static_cast<int>(std::min(together, lines.size())) : 1);
    put(job, listing, "(a)", lines[k]);
  }
  error(job, text);
}

/// Text on a sum over abundance that was given up.
inline constexpr std::string_view not_cumulated_text = "Failed to cumulate NB dist.";

/// Tells once for a model that such a sum was met.
template <class Real>
void tell_notes(Job& job, Thread_areas<Real>& areas) {
  bool not_cumulated = false;
  for (auto& area : areas)
    not_cumulated = std::exchange(area->cell.notes.not_cumulated, false) || not_cumulated;
  if (!not_cumulated || job.model.not_cumulated_told) return;
  job.model.not_cumulated_told = true;
  linchk(job, 1);
  put(job, listing, "(1x,a)", not_cumulated_text);
  put(job, screen, "(1x,a)", not_cumulated_text);
}

/// Joins the threads' floating-point flags to the main thread's; want of memory is thrown on, and the fault
/// of the lowest history is fatal.
template <class Real>
void end_of_histories(Job& job, Thread_areas<Real>& areas, int used) {
  int flags = 0;
  bool out_of_memory = false;
  Cell_work<Real>* fault = nullptr;
  for (int t = 0; t < used; ++t) {
    Thread_area<Real>& area = *areas[static_cast<std::size_t>(t)];
    flags |= area.flags;
    out_of_memory |= area.out_of_memory;
    const int history = area.cell.fault_history();
    if (history != 0 && (fault == nullptr || history < fault->fault_history())) fault = &area.cell;
  }
  if (flags != 0) std::feraiseexcept(flags);
  if (out_of_memory) throw std::bad_alloc();
  tell_notes(job, areas);
  if (fault != nullptr) end_with_fault(job, areas, *fault);
}

}  // namespace tarn
