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
      {{27},
       R"(- record: a site, not an animal; a count above 1 is a number of sites with the same surveys, a negative one counts like
  a positive one. Cell: `1` (or `2`) detected, `0` searched and not detected, `.` not surveyed. A site never surveyed adds
  nothing.
- `p`: K columns, column o is survey o. `Psi`, the share of sites that are occupied: one cell. One row. Surveys must be close
  enough in time for the site to stay occupied or empty. With one survey a site `Psi` and `p` enter as their product only.
)"},
      {{28, 29, 30},
       R"(- cell: as for `OCCUPANCY`. TIME INTERVALS tell the seasons: 0 between two surveys of one season, a length above 0 behind the
  last survey of each. Lengths end seasons and no more; rates are those of a step between two seasons, however long. Whole
  seasons may be without surveys, at single sites or at all.
- `Epsilon` (goes extinct, of sites occupied in a season) and `Gamma` (is colonised, of those empty): one column a step, one less than
  there are seasons. `Psi`: in `RDOCCUPEG` one cell, that of the first season; in the others a column a season, and the rate that has no
  matrix follows: Gamma = (Psi(t+1) - (1 - Epsilon) Psi(t)) / (1 - Psi(t)). Where it comes out below 0 or above 1 it is taken as 0 or 1
  and charged for; the estimates stand on a border then. One row.
- `p`: a matrix a season, `p Session 2`, columns counted from the season's first survey. The `p` of a season of one survey cannot be told
  from `Psi` there.
)"},
      {{107, 108, 109, 110},
       R"(- cell and seasons as for `OCCUPANCY` and `RDOCCUPEG`; sites belong to one of `MIXTURES=` classes that nobody sees, in every
  season anew.
- `pi`: shares of all classes but the last, one row of columns or one column of rows. `p`: row m is class m. With seasons a matrix of both
  a season. Those that start equal are moved apart, the first class to the higher rate. The others as without classes.
- two classes need four surveys and more, and many sites: what was never detected may be a class of its own, so that `Psi`
  hangs on the kind of difference that is assumed.
)"},
      {{151, 152, 153, 154},
       R"(- cell and seasons as for `OCCUPANCY` and `RDOCCUPEG`. Every site has its own level of p on the logit scale, normal with deviation
  `sigmap`; in every season another one.
- `sigmap`: column o of the survey, the last one serves all behind it; with seasons a matrix a season. Give it the LOG link where it is
  not its own. The others as without an effect. As for `OCCUPHET`, `Psi` hangs on the kind of difference that is assumed.
)"},
      {{156, 157},
       R"(- cell: `2` a detection that is certain, `1` one that may be false, `0` none, `.` not surveyed. Seasons as for `RDOCCUPEG`.
- `p10` (detected at an empty site), `p11` (detected at an occupied one), `b` (such a detection is certain): K columns, or a matrix a season.
  The others as without false detections. Without any `2` fix `b` at 0 and start (`initial`) with `p10` below `p11`: else the two may change places, and
  occupied sites with empty ones.
)"},
      {{143},
       R"(- cell: segment o of a trail, in its order along it: `1` detected, `0` not, `.` not surveyed. A segment that was not surveyed keeps its
  place.
- `Theta` (a segment of an occupied site is used; the first one, and one behind a segment that is not), `p` (detected where it is used): K
  columns. `Theta'` (used, behind a used one): K - 1 columns, column c is segment c + 1, or K with the first one unread. `Psi`: one cell. One
  row. What tells `Theta` from `p` is that detections come in runs: tie each over segments. Where `Theta` and `Theta'` are equal they
  enter as Theta p only.
)"},
      {{144, 170},
       R"(- cell as for `OCCUPANCY`, seasons as for `RDOCCUPEG`. At an occupied site the species arrives once and leaves once within the season,
  and is there to be detected in between. A survey that was not made keeps its place in time.
- `pent` (arrives ahead of a survey): one column less than surveys; column j is survey j + 1, and the first survey has what the
  others leave of 1. With PENTLAST column j is survey j, and the last has the rest. The link MLOGIT, one set a season, keeps the others
  below 1. `d` (leaves behind a survey): one column less than surveys. `p`: a column a survey. `Psi`, and with seasons `Epsilon`, `Gamma`,
  as for `RDOCCUPEG`; with seasons a matrix of the others a season. One row. A season of one survey has neither `pent` nor `d`.
- by time `p` of the first survey cannot be told from `pent`, nor `p` of the last from `d` before it.
)"},
      {{111, 112},
       R"(- cell: as for `OCCUPANCY`. A site has a number of animals, the same at all its surveys, each of which is detected by itself.
- `r` (one animal is detected): K columns. `Lambda`, the mean number of animals at a site: one cell. `VarAdd`, by how much the variance
  of that number is above its mean: one cell. One row. `VarAdd` of almost 0 is a Poisson number; give it many surveys, as `Lambda`
  and `VarAdd` are told apart by the sites with many detections only.
)"},
      {{117, 118},
       R"(- cell: two digits, the animals counted: `00` to `99`; a dot in either place: not surveyed.
- `r`, `Lambda`, `VarAdd`: as for `OCCUPRNPOISSON` and `OCCUPRNNEGBIN`, each animal being counted with `r`. With one survey a site `r` and
  `Lambda` enter as their product only.
)"},
      {{113},
       R"(- cell: two characters, species A and species B: `11` both, `10` A, `01` B, `00` none; a dot in either place: not surveyed.
- `PsiAB`, `PsiA`, `PsiB`, the shares of sites with both species, with A, with B: one cell each. `PsiA` and `PsiB` include the sites with both:
  below `PsiAB` they are charged for, and so is PsiA + PsiB - PsiAB above 1.
- `pA`, `pB`, detected where the other species is not: K columns. `rAB`, `rAb`, `raB`, where both are: both, A alone, B alone are detected;
  K columns. One set of MLOGIT for each survey keeps their sum below 1. One row. Start (`initial`) with `PsiA` and `PsiB` above `PsiAB`.
)"},
      {{137},
       R"(- cell: as for `2SPECOCCUP`. A is the species that does not mind the other.
- `PsiA`; `PsiBA`, `PsiBa`, B where A is and where it is not: one cell each.
- `pA`, `pB`, detected where the other species is not; `rA`, A where both are; `rBA`, `rBa`, B where both are, in a survey in which A was detected
  and in one in which it was not: K columns. One row. All are chances of their own: any link serves.
)"},
      {{141},
       R"(- cell: as for `2SPECOCCUP`, seasons as for `RDOCCUPEG`; the first season and the surveys as for `2SPECCONOCCUP`, detections with a matrix
  a season.
- `GammaA`, `GammaAB` (A comes where B is not, where B is), `EpsilonA`, `EpsilonAB` (A goes where B is not, where B is); `GammaB`, `GammaBA`, `EpsilonB`,
  `EpsilonBA` the same of B where A is not and where A is: one column a step. One row. What counts is where the other species is at the beginning
  of the step.
)"},
      {{116},
       R"(- cell: `0` nothing seen, `1` seen without evidence of state 2 (say, of young), `2` seen with it, `.` not surveyed.
- `Psi1`, occupied; `Psi2`, in state 2 when occupied: one cell each. `p1`, `p2`, seen in state 1 and in state 2; `Delta`, evidence when
  seen in state 2: K columns. One row.
)"},
      {{124},
       R"(- cell: `0` nothing seen, the first and the second code of STRATA (`STRATA=2`, the codes of the occupied states, lower state first) as `1` and
  `2` of `MSOCCUPANCY`, `.` not surveyed. Seasons as for `RDOCCUPEG`. With the codes 1 and 2:
- `Phi0 1 :`, `Phi0 2 :`, the shares of the two states in the first season: one cell each; one set of MLOGIT keeps their sum below 1.
- `Psi 0 :`, `Psi 1 :`, `Psi 2 :` (occupied in the next season, by the state in this one; `0` the empty sites), `R 0 :`, `R 1 :`, `R 2 :` (then in state
  2): one column a step. One row.
- `p 1 : Session 2`, `p 2 : Session 2`, `Delta 2 : Session 2`: as `p1`, `p2`, `Delta` of `MSOCCUPANCY`, a matrix a season.
)"},
      {{125},
       R"(- cell: `0` nothing seen, the code of a state (STRATA names the occupied ones, lowest first), `.` not surveyed. A site in a state may be
  recorded in that state or in a lower one. Seasons as for `RDOCCUPEG`. With the codes 1 and 2:
- `Phi0 1 :`, `Phi0 2 :`: as for `RDMSOCCREPRO`.
- `Psi 0 to 1`: one column a step, a matrix for each pair of states, `0` the empty sites. The pair without a matrix (of several, the first) has
  what the others of that state leave of 1: leave out those that stay.
- `p 1|2`: a site in state 2 is recorded as 1; K columns, column o is survey o of the whole study.
- one row. The link MLOGIT keeps below 1 the sum of `Phi0`; of `Psi` out of one state, for each step; of `p` of one state, for each survey.
)"},
      {{123, 175},
       R"(- cell as for `OCCUPANCY`, `1` and not `2`. `MIXTURES=L`: every L surveys, one after the other, belong to one local unit, a plot or a day, of
  the site; what is left behind the last whole unit does not count. Seasons as for `RDOCCUPEG`.
- `Theta` (the species is at a unit, of an occupied site): one column a unit. `p` (detected at a unit where it is): L columns, a matrix for
  each unit: `p Primary 2`, with seasons `p Primary 2 Session 1`. `Psi`, with seasons `Epsilon` and `Gamma`: as for `OCCUPANCY` and `RDOCCUPEG`. One row.
  With L = 1 `Theta` and `p` enter as their product only.
)"},
      {{177},
       R"(- cell: two digits, the sum of 1 for species 1, 2 for species 2, 4 for species 3 and so on, of the species detected: `00` none, `03` species 1 and 2,
  `05` species 1 and 3; a dot in either place: not surveyed. `MIXTURES=` tells the number of species, up to 6.
- `f`: a column for each set of species, smaller sets first: 1, 2, 3, then 12, 13, 23, then 123. A site has the species of a set z with a
  chance in proportion to exp of the sum of f over the sets within z, so those of single species are logits where no other is, and those of
  two their log odds ratio. Give it the IDENTITY link. Columns left out at the end are 0.
- `p 1 :`, `p 2 :`, detected: K columns, a matrix for each species; or one matrix with a row for each. One row.
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
/// between sessions with one of thirteen closed kinds, these: every way and every kind is among them. Of the
/// sites in seasons every kind of season.
inline std::vector<int> types_for_long_laws() {
  static const std::vector<int> robust{7,   13,  40,  58,  59,  146, 18,  46,  162, 67,  75,  81,
                                       85,  86,  96,  102, 149, 163, 168, 169, 33,  36,  37,  63,
                                       104, 106, 147, 32,  119, 103, 121, 122, 126, 142, 184, 28,
                                       29,  30,  110, 154, 157, 170, 124, 125, 141, 175};
  std::vector<int> types;
  for (const int type : types_with_a_routine())
    if (!datatype(type).sessions || std::find(robust.begin(), robust.end(), type) != robust.end())
      types.push_back(type);
  return types;
}

}  // namespace tarn
