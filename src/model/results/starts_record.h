#pragma once
// What became of the starts of one fit.

#include <string_view>

namespace tarn {

/// Why another start than the first was tried.
enum class Second_start {
  none,      ///< the first search ended as searches should, or one start was asked for
  boundary,  ///< a real parameter stood at the end of its range
  wall,      ///< a standard deviation stood at its wall
  mixtures,  ///< mixtures stood at the same rates, or have recaptures of their own
  states,    ///< detections leave the state of a site open
  no_move,   ///< the search ended where it began
  stopped,   ///< the search stopped before it had converged
  improper   ///< chances that share 1 summed to more
};

/// In a word: "none", "boundary", "wall", "mixtures", "states", "no move", "stopped", "improper".
constexpr std::string_view name_of(Second_start why) {
  switch (why) {
    case Second_start::boundary:
      return "boundary";
    case Second_start::wall:
      return "wall";
    case Second_start::mixtures:
      return "mixtures";
    case Second_start::states:
      return "states";
    case Second_start::no_move:
      return "no move";
    case Second_start::stopped:
      return "stopped";
    case Second_start::improper:
      return "improper";
    default:
      return "none";
  }
}

/// How many starts a fit had, and what came of them.
struct Starts_record {
  Second_start why = Second_start::none;
  int starts = 1;               ///< searches made
  int kept = 1;                 ///< the search whose end stands, from 1
  double first_f = 0.0;         ///< objective at the end of the first search
  double f = 0.0;               ///< at the end of the one kept
  bool random = false;          ///< the further starts are those of STARTS=n
  int maxima = 0;               ///< of random starts: different ends, see `distinct_ends`
  int at_best = 0;              ///< searches that ended at the best of them
  int unfinished = 0;           ///< searches that ended nowhere: not converged
  bool ended_at_start = false;  ///< the search kept did not leave its start
};

}  // namespace tarn
