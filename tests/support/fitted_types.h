#pragma once
// What a cell of a history means and how the matrices lie, for the families that are fitted.

#include <algorithm>
#include <string_view>
#include <vector>

#include "data/catalogue/datatype.h"

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
      {{14},
       R"(- cell: `1` caught, `0` not caught. Animals are followed back from their last capture.
- `Gamma`, seniority: of the animals present on occasion c + 1 those that were there on occasion c; K - 1 columns. `p`:
  K columns, column o is occasion o; that of the last occasion is not read. One row. `Gamma` of the first interval cannot be
  told from `p` of the first occasion.
)"},
      {{15, 16, 17, 31},
       R"(- cell: `1` caught, `0` not caught; first captures tell how the population grows. Losses on capture are taken out of it,
  in `LINKBARKER` they are not.
- `Phi`, and `Gamma` (seniority), `Lambda` (growth) or `f` (new animals for each one there): K - 1 columns. `p`: K columns,
  column o is occasion o. One row. With all by time `p` of the first occasion cannot be told from the growth of the first
  interval, nor `p` of the last from `Phi` before it. `Lambda` below `Phi` is charged where a chance comes out negative.
)"},
      {{19},
       R"(- cell: `1` caught, `0` not caught, `.` not sampled.
- `Phi`: K - 1 columns. `p`: K columns, column o is occasion o. `pent`, the share of all animals that enters between two
  occasions: K - 1 columns, column c is occasion c + 1, and the first occasion has the rest; with PENTLAST column c is
  occasion c, and the last one has the rest. `N`: one cell, the animals never caught, or when fixed all animals. One row.
  By time the first `p` cannot be told from `pent`, nor the last from `Phi` and `pent` before it.
)"},
      {{7, 13, 39, 40, 41, 42, 55, 56, 57, 58, 59, 60, 146},
       R"(- cell: `1` caught, `0` not caught, in Huggins' forms `.` not sampled. TIME INTERVALS tell the sessions: 0 between two
  occasions of one session, a length above 0 behind the last occasion of each.
- `S`, `Gamma''` (goes away; of those present before) and `Gamma'` (stays away): one column an interval between sessions, of
  `Gamma'` one may be left out, as nobody is away in the first. Rows: the session of the first capture, or one row. With all
  by time the last `S` and `Gamma''` are confounded; tie the last `Gamma''` and `Gamma'` to those before.
- `pi`, `p`, `c`, `alpha`, `sigmap`, `f0`: a matrix a session, as for the closed type of the same name, columns counted from
  the session's first occasion. A session of one occasion has no `c`.
)"},
      {{18, 43, 44, 45, 46, 47, 162},
       R"(- cell: first character `1` caught alive, `0` not, in Huggins' forms `.` not sampled; second character `1` reported dead,
  `2` resighted alive in the interval behind the session; the last code of a session counts. Sessions as for `ROBUST`.
- `S`, `r`, `R`, `R'` as for `BARKER`: one column a session, the interval behind it. `a''`, `a'` (there to be caught next
  time, of animals that are and that are not), `F` (stays): one column an interval between sessions, of `a'` one may be left
  out. Rows: the session of the first capture, or one row. The last `S` and `r` are confounded as for `BARKER`.
- the closed layer as for `ROBUST`.
)"},
      {{67, 68, 69, 70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 80,  81,  82,  83,  84,  85, 86,
        87, 88, 89, 90, 91, 92, 93, 94, 95, 96, 97, 98, 99, 100, 101, 102, 148, 149, 150},
       R"(- cell and sessions as for `ROBUST`; first captures tell how the population grows.
- `Phi`, and `Gamma`, `Lambda` or `f` as for `PRADSEN`, `PRADLAMBDA` and `PRADREC`: one column an interval between sessions.
  One row. The closed layer tells the chance of a capture in every session, so that none is confounded. Under Huggins'
  forms give `Lambda` and `f` the LOG link.
- the closed layer as for `ROBUST`.
)"},
      {{163, 164, 165, 166, 167, 168, 169},
       R"(- cell and sessions as for `ROBUST`; the growth of the population is the ratio of its sizes in two sessions, which the
  closed layer gives.
- `Phi`: one column an interval between sessions. One row. `f0` needs the LOG link.
- the closed layer as for `ROBUST`. A session in which nothing is sampled leaves no size. Standard errors of the growth are
  somewhat small: the sizes are taken as known.
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
      {{9},
       R"(- cell: the code of the stratum in which the animal was caught (STRATA), `0` not caught, `.` not sampled.
- `S`, `p`: K - 1 columns, a matrix for each stratum: `S A :`, `p A :`. `S` is that of the stratum at the beginning of the interval, `p`
  of column c is occasion c + 1. `Psi A to B`: of those that live through the interval, the share that is in B at its end; what
  the others leave of 1 stays. A transition without a matrix does not happen. The link MLOGIT, one set for each stratum and
  interval, keeps the shares of a stratum below 1. Rows: the occasion of the first capture.
)"},
      {{21},
       R"(- cell: first character as for `MULTISTRATA`; second character not `0`: found dead in the interval that follows.
- `S`, `r` (a death is reported, in the stratum at the beginning of the interval): K columns. `p`, `Psi`: K - 1 columns. All as for
  `MULTISTRATA`.
)"},
      {{33, 34, 35, 36, 37, 38, 61, 62, 63, 64, 65, 66, 147},
       R"(- cell: the code of the stratum in which the animal was caught (STRATA), the same in all of a session, `0` not caught,
  `.` not sampled. Sessions as for `ROBUST`.
- `S`, `Psi` as for `MULTISTRATA`: one column an interval between sessions, between which animals move. Rows: the session of
  the first capture, or one row.
- the closed layer as for `ROBUST`, a matrix for each stratum and session: `p A : Session 2`.
)"},
      {{104, 105, 106},
       R"(- as for `HCRDMS`, and the stratum of a first capture tells of the shares of the strata.
- `Omega`: the share of a stratum among the animals that are there in a session and were never caught before; one column a
  session, one row, a matrix for each stratum but the last, which has what they leave of 1. The link MLOGIT, one set for
  each session, keeps the others below 1.
)"},
      {{178},
       R"(- cell: a sign of STRATA, whose first `STRATA=` codes name the states, the `EVENTS=` codes behind them events that leave the
  state open; `0` not caught, `.` not sampled.
- `S`, `p`, `Psi`: as for `MULTISTRATA`.
- `Delta`, how a capture is recorded: `Delta A|A` a state's own code, `Delta A|x` (or `x|A`) the event x of an animal in state A;
  the last event has what the others leave of 1, and a sign without a matrix is not given. K columns, column o is occasion o, or
  K - 1 without the first. Rows: the occasion of the first capture.
- `pi`, the state at the first capture: `pi A :` for all states but the last. One row, a column for each occasion; the last serves
  those behind it. Then the first sign counts with its `Delta`. Without any `pi` histories start with the code of a state, and that
  is taken for certain.
- states that nothing but events tell have no names of their own: a fit finds them in either order, unless INITIAL tells which
  is which.
)"},
      {{176},
       R"(- cell: first character the code of a state, caught in it, `U` caught, state not recognised, `0` not caught, `.` not sampled.
  Second character, of the interval that follows: capital letters as in the first resighted alive; the state in lower case or `u`
  found dead; `0` nothing.
- `S`, `r` (a death is reported), `R` (resighted alive), `R'` (resighted before it died unreported): K columns, a matrix for each
  state. `p`, `Psi`: K - 1 columns. All by the state at the beginning of the interval, `p` by that at its end. Rows: the occasion of the
  first capture.
- `Delta`, `rho`, `rho'`, `b`: the state is recognised at a capture, at a resighting that the animal survives or does not, at a
  recovery: `Delta A :`. K columns, of `Delta` the first may be left out.
- `pi`: as for `HIDMARKOV`.
)"},
      {{179, 180},
       R"(- cell: as for `MSBARKER`, with events in place of `U` and `u`: STRATA names the states, then the `EVENTSP=` events of captures,
  the `EVENTSLR=` of resightings, the `EVENTSBR=` of recoveries. A sign may serve in several of these lists.
- `S`, `r`, `R`, `R'`, `p`, `Psi`, `pi`: as for `MSBARKER`. In `MSUNC2BARKER` animals move at the beginning of an interval, so that all
  but `Psi` go by the state at its end; `Psi` may have a column K, else its last one serves the interval behind the last occasion.
- `Delta`, `rho`, `rho'`, `b`: `Delta A|A` the own code, `Delta A|x` the event x; the last event of the list has what the others
  leave. With a single event `Delta A :` tells the own code as well.
)"},
      {{183},
       R"(- cell: as for `MULTISTRATA`. Zeros ahead of the first capture count: the animal was not yet there, or missed.
- `S`, `p`, `Psi`: as for `MULTISTRATA`, `p` with K columns, column o is occasion o. One row.
- `pent`: as for `POPAN`. `pi`, the state of entrants: `pi A :` for all states but the last, K columns. With all by time `p` of the first
  occasion cannot be told from `pent` and `pi`, nor `p` of the last from what comes before it.
)"},
      {{185},
       R"(- cell: as for `HIDMARKOV`, zeros ahead of the first capture as for `MSJOLLYSEBER`.
- `S`, `p`, `Psi`, `pent`, `pi`: as for `MSJOLLYSEBER`. `Delta`: as for `HIDMARKOV`, K columns. One row.
)"},
      {{32},
       R"(- cell and sessions as for `HCRDMS`. Animals arrive in a session and leave it: the population is open there, too.
- `S`, `Psi` as for `HCRDMS`. `pent`, `Phi`, `p`: one row, a matrix for each stratum and session: `p A : Session 2`. `p`: one
  column an occasion of the session. `pent` (arrives ahead of an occasion) and `Phi` (stays to the next): one column
  less. Of `pent` the first occasion is what the others leave of 1, or with PENTLAST the last one; the link MLOGIT, one set
  for each stratum and session, keeps the others below 1. A session of one occasion has neither `pent` nor `Phi`. The last `p`
  and the last `Phi` of a session enter as their product only where no animal arrives at its end.
)"},
      {{119},
       R"(- as for `ORDMS`, with `Omega` as for `CRDMSOHUG`.
)"},
      {{103},
       R"(- as for `ORDMS`; the session of a first capture tells how the animals of a stratum grow in number.
- `Gamma` (of the animals in a stratum, those that were in the population one session before): one column an interval between
  sessions, a matrix for each stratum. `S`, `Psi`, `Gamma`: one row.
)"},
      {{121},
       R"(- cell: the code of the state in which the animal was caught (STRATA), `u` caught and the state not recognised, `0` not
  caught, `.` not sampled. Sessions as for `ROBUST`; no animal changes its state in one, so the codes of a session are one and
  the same.
- `S`, `Psi` as for `HCRDMS`. `pi` (the state of an animal caught for the first time) and `Omega` (the same among all that are
  there, by which the states of those never recognised in that session are told): one column a session, one row, a matrix for
  each state but the last, which has what they leave of 1. `p`, `Delta` (a captured animal is recognised): one column an
  occasion of the session, one row, a matrix for each state and session.
)"},
      {{122},
       R"(- as for `RDMSMISCLASS`, but in the place of `u` stands a guess, the code in lower case.
- `Delta` with the lower-case code (`Delta a : Session 2`): the chance that a guess at an animal of that state is right; without
  these matrices a guess tells nothing.
)"},
      {{126},
       R"(- as for `RDMSMISCLASS`, with `pent` and `Phi` as for `ORDMS`.
)"},
      {{142},
       R"(- as for `RDMSOPENMISCLASS`. `alpha` (takes part in the session): one cell. `c` (caught again in the session): one column less
  than `p`, column o - 1 is occasion o; a matrix for each state and session.
)"},
      {{184},
       R"(- as for `RDMSOPENMCSEAS`. `p`, `c` and `Phi`: rows by the occasion of arrival in the session, or fewer, of which the last
  serves all behind it.
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

/// Those of them that the laws look at that take long. Of the robust designs, which join one of six ways
/// between sessions with one of thirteen closed kinds, these: every way and every kind is among them.
inline std::vector<int> types_for_long_laws() {
  static const std::vector<int> robust{7,   13,  40,  58,  59,  146, 18,  46,  162, 67,  75, 81,
                                       85,  86,  96,  102, 149, 163, 168, 169, 33,  36,  37, 63,
                                       104, 106, 147, 32,  119, 103, 121, 122, 126, 142, 184};
  std::vector<int> types;
  for (const int type : types_with_a_routine())
    if (!datatype(type).sessions || std::find(robust.begin(), robust.end(), type) != robust.end())
      types.push_back(type);
  return types;
}

}  // namespace tarn
