#pragma once
// What a cell of a history means and how the matrices lie, for the families that are fitted.

#include <algorithm>
#include <string_view>
#include <vector>

namespace tarn {

struct Family_note {
  std::vector<int> numbers;
  std::string_view text;  ///< Markdown
};

/// K occasions; interval c runs from occasion c to occasion c + 1, and in the two-character forms there is an
/// interval K behind the last occasion.
inline const std::vector<Family_note>& fitted_types() {
  static const std::vector<Family_note> notes{
      {{1},
       R"(- cell: `1` caught and released, `0` not caught, `.` not sampled. A negative count: lost at its last capture.
- `Phi`: K - 1 columns, one an interval. `p`: K - 1 columns, column c is occasion c + 1. Rows: the occasion of the first
  capture (TRIANG), or one row for all (SQUARE).
)"},
      {{11},
       R"(- cell: as for `CJS`, and when animals are caught for the first time tells how many unmarked there are. Every capture
  occasion must have a chance above 0.
- `Phi`, `Lambda` (growth of the population, not below `Phi`): K - 1 columns, one an interval. `p`: K columns, column o is
  occasion o. `N`: one cell, the animals present on occasion 1 beyond those caught there. One row. `p` of the first occasion
  cannot be told from `Lambda` of the first interval and `N`, nor `p` of the last from `Phi` and `Lambda` before it, unless
  tied to others. `DEBUG` lists where the search is charged: `Lambda` below `Phi`, more entrants than first captures.
)"},
      {{2},
       R"(- cell: first character `1` on the occasion of release, second character `1` when the dead animal was reported in the
  interval that follows. `11` is recovered in the interval of its release. Or RECOVERY MATRIX with the numbers released.
- `S`, `r`: K columns, one an interval; rows: the occasion of release. `S` and `r` of the last interval enter as
  (1 - S) r only.
)"},
      {{10},
       R"(- cell: as for `DEAD`. `f` is the chance to be killed and reported in an interval, not tied to `S`.
- `S`: K - 1 columns. `f`: K columns. Rows: the occasion of release.
)"},
      {{6},
       R"(- cell: as for `DEAD`, and every animal has been recovered; the number marked is not known.
- `S`: K columns; rows: the occasion of release.
)"},
      {{20},
       R"(- cell: as for `DEAD`, and every animal has been taken. `M` and `F` are the rates of natural death and of harvest; give
  them the LOG link.
- `M`, `F`: K columns; rows: the occasion of entry.
)"},
      {{4},
       R"(- cell: `10` alive through the interval, `11` died in it, `00` not followed. Or KNOWN FATE with the numbers at risk and
  dead. A gap of `00` is a censored run.
- `S`: K columns; rows: the occasion of entry, or one row.
)"},
      {{24},
       R"(- record: NEST SURVIVAL with day found, last day seen active, last day checked, fate (0 success, 1 failed), frequency,
  covariates.
- `S`: daily survival, K - 1 columns, column c from day c to day c + 1; one row. Age of the nest enters through a
  covariate and design functions.
)"},
      {{48},
       R"(- cell: two digits, the young seen with the marked adult; `..` adult not met. The count at the first meeting is the number
  of young then.
- `Phi`: K - 1 columns. `p`: K - 1 columns, column c is occasion c + 1. One row.
)"},
      {{3},
       R"(- cell: first character `1` caught alive, second character `1` (or `2`) reported dead in the interval that follows.
- `S`, `r`: K columns. `p`: K - 1 columns, column c is occasion c + 1. `F` (stays where it can be caught): K - 1 columns.
  Rows: the occasion of the first capture.
)"},
      {{8},
       R"(- cell: first character `1` caught alive; second character `1` reported dead, `2` resighted alive in the interval that
  follows.
- `S`, `r`, `R` (resighted alive), `R'` (resighted before it died): K columns. `p`: K - 1 columns, column c is occasion
  c + 1. `F` (stays), `F'` (returns): K - 1 columns. Rows: the occasion of the first capture.
)"},
      {{5, 12},
       R"(- cell: `1` caught, `0` not caught, with Huggins' form `.` not sampled.
- `p`: K columns. `c` (caught again): K - 1 columns, column o - 1 is occasion o. One row. `f0`, the number never caught: one
  cell. In Huggins' form N is derived and covariates of the animal are free to use.
)"},
      {{22, 23, 25, 26},
       R"(- cell: as for `CLOSED`; animals belong to one of `MIXTURES=` classes that nobody sees.
- `pi`: weights of all classes but the last, one row of columns or one column of rows. `p`, `c`: row m is class m. Those
  that start equal are moved apart; with `initial` give the classes different values.
)"},
      {{49, 50, 51, 52, 53, 54},
       R"(- cell: as for the type without mis-identification. A capture that is misread makes an animal that is never seen again.
- `alpha`: the chance that a first capture is read rightly, column o (the last one serves all behind it). The other matrices
  as without.
)"},
      {{145},
       R"(- cell: as for `HUGGINS`. Every animal has its own level of p and c on the logit scale, normal with deviation `sigmap`.
- `sigmap`: column o of the occasion, or one column for all. `p`, `c` as for `HUGGINS`.
)"},
      {{127, 128, 129, 161},
       R"(- record: the history, then the locations inside the grid and all locations (`.` when there are none), then the counts.
- `ptilde`: the chance of a location inside the grid, one cell. The others as for the type of the closed layer. AREAS gives
  the area of each group's grid.
)"}};
  return notes;
}

/// Numbers of the data types with a cell routine, ascending.
inline std::vector<int> types_with_a_routine() {
  std::vector<int> types;
  for (const Family_note& note : fitted_types())
    types.insert(types.end(), note.numbers.begin(), note.numbers.end());
  std::sort(types.begin(), types.end());
  return types;
}

}  // namespace tarn
