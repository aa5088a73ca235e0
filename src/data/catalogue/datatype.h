#pragma once
// The catalogue of data types: one row per number; all that follows from a row is computed from it.

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// Kind of the closed-capture layer of a family.
enum class Closed : int {
  none = 0,
  full = 1,
  huggins = 2,
  het = 3,
  full_het = 4,
  huggins_het_p = 5,
  huggins_het = 6,
  id_full = 7,
  id_huggins = 8,
  id_het = 9,
  id_full_het = 10,
  id_huggins_het_p = 11,
  id_huggins_het = 12,
  huggins_re = 13
};

/// The cell routine of a type; the likelihood maps the tag to its code. `chprobNNN` are the routines of one
/// number (or of the numbers that share it), all others are cases of `chprob`, named by the family or by the
/// keyword.
enum class Cell : int {
  none,
  chprob001,
  chprob002,
  chprob008,
  chprob009,
  chprob032,
  chprob115,
  chprob119,
  chprob121,
  chprob126,
  chprob139,
  chprob140,
  chprob141,
  chprob142,
  chprob143,
  chprob144,
  chprob160,
  chprob170,
  chprob171,
  chprob172,
  chprob173,
  chprob174,
  chprob175,
  chprob176,
  chprob177,
  chprob178,
  chprob179,
  chprob180,
  chprob181,
  chprob182,
  chprob183,
  chprob184,
  chprob185,
  burnham,                  // 3
  known_fate,               // 4
  closed,                   // the closed types of one session
  density,                  // 127 to 129, 161
  bto,                      // 6
  robust,                   // plain robust design
  brownie,                  // 10
  jolly,                    // 11
  pradel,                   // 14
  pradsen,                  // 15
  pradlambda,               // 16
  pradrec,                  // 17
  robust_barker,            // 18, 43 to 47, 162
  popan,                    // 19
  vpa,                      // 20
  mslivedead,               // 21
  nest,                     // 24
  occupancy,                // 27
  rdoccuppe,                // 28
  rdoccuppg,                // 29
  rdoccupeg,                // 30
  linkbarker,               // 31
  robust_multistate,        // 33 to 38, 61 to 66, 147
  lysma,                    // 48
  robust_pradel,            // 67 to 102, 148 to 150
  ordpdms,                  // 103
  robust_omega,             // 104 to 106
  occuphet,                 // 107
  rdoccuphetpe,             // 108
  rdoccuphetpg,             // 109
  rdoccupheteg,             // 110
  occuprnpoisson,           // 111
  occuprnnegbin,            // 112
  two_species,              // 113
  logit_normal,             // 114, 120, 158, 159
  msoccupancy,              // 116
  occuprpoisson,            // 117
  occuprnegbin,             // 118
  rdms2misclass,            // 122
  multscalocc,              // 123
  rdmsoccrepro,             // 124
  rdmsoccupancy,            // 125
  cjsmixture,               // 130
  pradsenmix,               // 131
  pradlambdamix,            // 132
  pradelrecmix,             // 133
  linkbarkmix,              // 134
  cjsrandom,                // 135
  linkbarkran,              // 136
  two_species_conditional,  // 137
  burnhamldre,              // 138
  occupancyre,              // 151
  rdoccuprepe,              // 152
  rdoccuprepg,              // 153
  rdoccupreeg,              // 154
  knownre,                  // 155
  occupancyfp,              // 156
  rdoccupfpeg,              // 157
  robust_pradel_n           // 163 to 169
};

/// Closed-form term of -2 log likelihood beside the sum over histories.
enum class Closed_form : int {
  none,
  A,       ///< closed, one session
  B,       ///< closed sessions, p and c
  C,       ///< closed sessions, mixtures
  D,       ///< Jolly-Seber with lambda
  E,       ///< POPAN
  resight  ///< counts of the mark-resight families
};

/// What one cohort of the saturated model is, and what it adds to the cells.
enum class Saturated : int {
  release,          ///< group x first capture
  release_stratum,  ///< group x first capture x stratum there
  release_state,    ///< group x first capture, and x sign there where no matrix tells states at a release
  last_capture,     ///< group x last live capture
  whole_group,      ///< group
  group_stratum,    ///< group x stratum of the first capture
  popan,            ///< as release, and the counts of first captures
  none,             ///< -2 log likelihood 0, one parameter a record
  interval,         ///< group x interval: deaths among animals at risk
  brood,            ///< group x first count of young
  closed_full,      ///< group, and the term of the number caught
  session,          ///< group x first session
  session_stratum,  ///< group x first session x stratum there
  session_full,  ///< group x first session for the sessions, group x session within, and the numbers caught
  session_stratum_full,  ///< the same by stratum
  group_full             ///< group for the sessions, group x session within, and the numbers caught
};

/// Gauss-Hermite nodes of a family.
enum class Nodes : int {
  none,
  listed,  ///< the listing tells their number
  silent   ///< the table is there, the listing does not tell
};

/// Rule for the number of derived values that the sampler keeps per sample.
enum class Derived_count : int {
  sections,            ///< what the derived sections give
  none,                ///< 0
  groups,              ///< ngrps
  lambda,              ///< 2 (noccas - 1) ngrps
  growth,              ///< (nprimy - 1) ngrps
  sessions,            ///< ngrps nprimy
  strata_sessions,     ///< ngrps nstrta nprimy
  sessions_and_growth  ///< (3 nprimy - 2) ngrps
};

/// What is reported beyond the real parameters; the derived parameters map the tag to their sections.
enum class Derived_sections : int {
  none,                   ///< nothing is derived
  survival,               ///< over all intervals, the one behind the last occasion included
  survival_between,       ///< from the first to the last occasion
  population,             ///< closed layer, one session
  density,                ///< closed layer, one session, locations
  session_population,     ///< closed layer, by session
  strata_population,      ///< closed layer, by session and stratum
  population_and_growth,  ///< closed layer, by session, then lambda and its logarithm
  growth,                 ///< lambda and its logarithm
  popan,                  ///< births and population by occasion
  occupancy,
  occupancy_detection,  ///< occupancy, expected detection
  occupancy_gamma,      ///< gamma, then lambda and lambda'
  occupancy_epsilon,    ///< epsilon, then lambda and lambda'
  occupancy_psi,        ///< psi, then lambda and lambda'
  open_robust,          ///< population and residency time
  open_robust_seasons,
  two_species,
  two_species_sessions,
  logit_normal,       ///< resighting rate, population
  poisson_lognormal,  ///< population, resighting rate, chance to be seen
  two_psi,
  transition_products,
  relaxed_closure,
  multi_occupancy,
  state_abundance
};

/// Rule for the upper bounds of the second and third index of the parameter index matrices.
enum class Pim_bounds : int {
  strata,          ///< nstrta; max(nprimy, nstrta)
  unoccupied,      ///< nstrta + 1; max(nprimy, nstrta + 1)
  doubled,         ///< 2 nstrta; max(nprimy, nstrta)
  blocks,          ///< noccas / nmixtures, at least nstrta; max(nprimy, nstrta, first)
  session_blocks,  ///< longest session / nmixtures, at least nstrta; max(nprimy, nstrta)
  mixtures,        ///< max(nmixtures, nstrta); max(nprimy, nstrta)
  species,         ///< max(nstrta, nspeciesocc + 1); max(nprimy, nstrta)
  codes,           ///< nstrta + nevents; max(nprimy, the same)
  barker_codes,    ///< 2 nstrta + nevents; max(nprimy, the same)
  occasions        ///< nstrta; max(noccas, nstrta)
};

/// How far into `strata` the first cell of a history may reach.
enum class Stratum_limit : int {
  strata,             ///< nstrta
  strata_and_one,     ///< nstrta + 1
  doubled,            ///< 2 nstrta
  strata_and_events,  ///< nstrta + nevents
  doubled_and_events  ///< 2 nstrta + neventsp; a position above 2 nstrta is taken down by nstrta
};

/// What stands in `strata` besides the codes of the STRATA statement.
enum class Strata_tail : int {
  zero_dot,         ///< codes, "0", "."
  uncertain,        ///< codes, "u", "0", "."
  zero_first,       ///< "0", codes, "."
  lower,            ///< codes, the codes in lower case, "0", "."
  uncertain_lower,  ///< codes, "U", the same signs in lower case, "0", "."
  barker_events,    ///< state codes, the same in lower case, events, "0", "."
  dead              ///< codes, "0", ".", "1"
};

/// Layers of `u` and `ul` that a keyword adds to the strata.
enum class Extra_layer : int { none, one, strata };

/// Check of the cells of one history, beyond alphabet and release.
enum class Cell_check : int {
  none,
  dead_recoveries,   ///< one release, at most one recovery
  recovery_needed,   ///< the same, and a recovery
  joint,             ///< live captures, then at most one recovery
  barker,            ///< the same, and the first encounter is a live capture
  robust_barker,     ///< as barker, by session
  known_fate,        ///< deaths of animals at risk only
  strata,            ///< stratum codes; signs of events are none
  live_dead_strata,  ///< stratum codes alive, any sign dead
  barker_strata,     ///< stratum codes alive, codes, lower-case codes and events dead
  sightings,         ///< counts, "+0", "-0", ".."
  young              ///< no count above the first
};

/// Words by which a data set of live and dead encounters is told that one of the two is missing.
enum class Joint_words : int {
  none,
  both,
  barker,
  rdbarker,
  mslivedead,
  burnham_re,
  msbarker,
  msbarker_uncertain
};

/// Counts of a mark-resight family.
enum class Resight : int {
  none,
  logit_normal,  ///< unmarked, markunid
  immigration,   ///< unmarked, markunid, tmarked, markknwn, nbarmin, nstarmin
  poisson        ///< unmarked, markunid, markknwn, nstar, cstar
};

/// One data type. Tags, not routines: every layer maps a tag to its own code.
struct Datatype {
  int number = 0;
  std::array<std::string_view, 2> keyword{};  ///< of ETYPE; the second may be empty
  std::string_view name{};                    ///< as listings print it
  std::string_view own{};  ///< parameters of the family, blanks between, closed layer left out
  Closed closed = Closed::none;
  std::string_view tail{};  ///< parameters behind those of the closed layer
  bool live = false;        ///< one character an occasion
  Nodes nodes = Nodes::none;
  std::string_view alphabet{};  ///< characters of a cell; empty: "10" or the codes of the STRATA statement
  Cell cell = Cell::none;
  Closed_form closed_form = Closed_form::none;
  Saturated saturated = Saturated::release;
  std::string_view log_link{};       ///< parameters that take LOG whatever the model's link
  std::string_view identity_link{};  ///< parameters that take IDENTITY
  bool data_starts = false;          ///< under an identity design those parameters start where the data say
  bool starts_without_fit = false;   ///< no preliminary fit and no start at 0, whatever the model's link
  bool sessions = false;             ///< occasions are grouped in primary sessions (`fillminlen`)
  Derived_count derived = Derived_count::sections;
  Pim_bounds pim_bounds = Pim_bounds::strata;
  bool released = true;  ///< a history starts with a release; false: tabulated at occasion 1, stratum 1
  Stratum_limit stratum_limit = Stratum_limit::strata;
  Strata_tail strata_tail = Strata_tail::zero_dot;
  Extra_layer extra_layer = Extra_layer::none;
  Cell_check check = Cell_check::none;
  Joint_words joint_words = Joint_words::none;
  Resight resight = Resight::none;
  bool density = false;          ///< records carry locations and locations inside the grid
  bool nstarstate = false;       ///< abundance by state
  bool species = false;          ///< several species at a site
  bool releases_stated = false;  ///< a recovery matrix is followed by the numbers released
  bool negative_allowed = true;  ///< a negative count is a loss on capture
  bool loss_when_dead = false;   ///< it is one also when the last encounter is a dead one
  Derived_sections derived_sections = Derived_sections::none;
};

/// Records are of sites that were surveyed, not of animals that were released.
constexpr bool of_sites(const Datatype& row) {
  return !row.released && row.resight == Resight::none && row.check != Cell_check::young;
}

inline constexpr int max_dattyp = 185;

/// True for the numbers of the catalogue; false for 0, which stands until ETYPE has been read.
constexpr bool is_datatype(int dattyp) { return dattyp >= 1 && dattyp <= max_dattyp; }

/// The row of a number 1 to 185; for any other number a row without a name.
const Datatype& datatype(int dattyp);

/// Number of a keyword of ETYPE (upper case, trailing blanks do not count); 0 when it is none of the 189.
int dattyp_of(std::string_view keyword);

/// Display name of a number, as listings print it.
std::string_view datastrings(int dattyp);

/// Parameters of a kind of closed layer, blanks between.
std::string_view closed_parameters(Closed kind);

/// Parameter names of a number in the order of the matrices; empty outside 1 to 185.
std::vector<std::string> parmlist(int dattyp);

/// True when `name` is one of the blank-separated names of `list`.
bool names_hold(std::string_view list, std::string_view name);

/// The wall of standard deviations of random effects: from here on rates are 0.
inline constexpr double largest_deviation = 7.5;
/// From here on a search has run into the wall.
inline constexpr double near_largest_deviation = 7.4;

/// The values that a parameter may take.
enum class Parameter_range {
  probability,  ///< 0 to 1
  count,        ///< of animals
  deviation,    ///< of random effects, on the scale of the link
  positive,     ///< a rate or size above 0
  any
};

/// The range of parameter `name` of a type, whatever its link.
Parameter_range parameter_range(const Datatype& type, std::string_view name);

}  // namespace tarn
