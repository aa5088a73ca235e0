#include "data/cell_checks.h"

#include <algorithm>
#include <array>
#include <vector>

#include "data/sessions.h"
#include "data/site_checks.h"
#include "job/services/report.h"
#include "job/services/template.h"

namespace tarn {

namespace {

bool digit(char c) { return c >= '0' && c <= '9'; }

constexpr std::string_view live_after_dead = " Live recaptures after a dead recovery: ";
constexpr std::string_view two_recoveries = " More than one dead recovery in the encounter history: ";
constexpr std::string_view barker_not_live = " Barker data with first encounter not a live capture: ";

/// Where the strings of signs of a multi-state Barker family stand in `strata`.
enum class Sign { none, state, lower, capture, resighting, recovery };

std::size_t at_least_0(int n) { return static_cast<std::size_t>(std::max(n, 0)); }

bool among(const Job& job, char c, std::size_t from, std::size_t length) {
  const std::string_view strata = job.data.strata;
  if (from >= strata.size()) return false;
  return strata.substr(from, length).find(c) != std::string_view::npos;
}

/// The meaning of a second character where events have their own signs; the order decides for a sign that
/// serves twice.
Sign second_sign(const Job& job, const Datatype& row, char c) {
  const Status_module& status = job.status;
  const std::size_t n = at_least_0(status.nstrta);
  if (row.strata_tail == Strata_tail::uncertain_lower) {
    if (among(job, c, 0, n + 1)) return Sign::state;
    return among(job, c, n + 1, n + 1) ? Sign::lower : Sign::none;
  }
  const std::size_t p = at_least_0(status.neventsp), lr = at_least_0(status.neventslr);
  const std::size_t br = at_least_0(status.neventsbr);
  if (among(job, c, 0, n)) return Sign::state;
  if (among(job, c, n, n)) return Sign::lower;
  if (among(job, c, 2 * n + p, lr)) return Sign::resighting;
  if (among(job, c, 2 * n + p + lr, br)) return Sign::recovery;
  return Sign::none;
}

/// First occasion with an encounter of either kind; 0 if none.
int first_encounter(History cells) {
  for (int o = 1; o <= cells.noccas(); ++o)
    if (captured(cells.live(o)) || cells.dead(o) != '0') return o;
  return 0;
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string incorrect_stratum(char code) {
  return " Incorrect stratum identifier " + quoted({&code, 1}) + " in history:";
}

void check_dead_recoveries(Job& job, int n, const Datatype& row, History cells, std::string_view typed) {
  const int first = first_encounter(cells);
  if (first > 0 && !captured(cells.live(first))) record_fault(job, n, not_a_release, typed);
  int alive = 0, dead = 0;
  for (int o = 1; o <= cells.noccas(); ++o) alive += captured(cells.live(o)), dead += cells.dead(o) != '0';
  if (alive > 1)
    record_fault(job, n, " Data type for dead recoveries, but both live and dead encounters found.", typed);
  if (dead > 1) record_fault(job, n, two_recoveries, typed);
  if (dead == 0 && row.check == Cell_check::recovery_needed)
    record_fault(
        job, n,
        "Data type declared " + std::string(row.keyword[0]) + ", but capture history has no dead recovery:",
        typed);
}

/// Nothing follows a recovery. Captures of its own session came before it, in whatever cell of the session it
/// stands; resightings stand in their order.
template <class Session_of>
void check_after_recovery(Job& job, int n, const Datatype& row, History cells, std::string_view typed,
                          Session_of session) {
  int recovered = 0;
  for (int o = 1; o <= cells.noccas(); ++o) {
    if (recovered > 0 && captured(cells.live(o)) && session(o) > session(recovered))
      record_fault(job, n, live_after_dead, typed);
    const char dead = cells.dead(o);
    if (dead == '0') continue;
    if (is_recovery(job, row, dead)) {
      if (recovered > 0) record_fault(job, n, two_recoveries, typed);
      recovered = o;
    } else if (recovered > 0) {
      record_fault(job, n, live_after_dead, typed);
    }
  }
}

void check_first_is_live(Job& job, int n, History cells, std::string_view typed) {
  const int first = first_encounter(cells);
  if (first > 0 && !captured(cells.live(first))) record_fault(job, n, barker_not_live, typed);
}

/// Growth from the ratio of sizes hangs on the size of every session, the number caught over p*, which is no
/// number where p* is 0.
void check_each_session_sampled(Job& job, int n, History cells) {
  for_each_session(job, [&](int s, const Primary_session& session) {
    for (int o = session.before + 1; o <= session.last(); ++o)
      if (cells.live(o) != '.') return;
    record_fault(job, n,
                 " has no occasion sampled in primary session " + adjustfmt(s) +
                     ", of which the size is then not known.",
                 "");
  });
}

/// The words for a record with two strata in one session; empty in families whose animals may change within
/// one, or whose cells tell of none. A code that leaves the stratum open does not count: with it families of
/// uncertain states take the second words.
std::string_view words_of_two_codes(const Datatype& row) {
  switch (row.cell) {
    case Cell::robust_multistate:
    case Cell::robust_omega:
    case Cell::chprob032:
    case Cell::chprob119:
    case Cell::ordpdms:
      return "Multiple strata within one primary session: ";
    case Cell::chprob121:
    case Cell::rdms2misclass:
    case Cell::chprob126:
    case Cell::chprob142:
    case Cell::chprob184:
      return "Multiple known states within one primary session: ";
    default:
      return {};
  }
}

/// In every session the codes of strata are one and the same; the first `nstrta` signs are these. Those
/// behind them up to the limit of a first cell leave the stratum open; all others are none.
void check_one_stratum_a_session(Job& job, int n, const Datatype& row, History cells,
                                 std::string_view words) {
  for_each_session(job, [&](int, const Primary_session& session) {
    char known = '0';
    for (int o = session.before + 1; o <= session.last(); ++o) {
      const char live = cells.live(o);
      if (!captured(live)) continue;
      const int position = stratum_position(job, row, live);
      if (position < 1 || position > stratum_limit(job, row))
        record_fault(job, n, incorrect_stratum(live), cells.as_typed(row.live));
      if (position > job.status.nstrta) continue;
      if (known == '0') known = live;
      if (live == known) continue;
      put_record_number(job, n);
      error(job, std::string(words) + quoted({&known, 1}) + " and " + quoted({&live, 1}) + ".");
    }
  });
}

void check_known_fate(Job& job, int n, History cells, std::string_view typed) {
  bool died = false;
  for (int o = 1; o <= cells.noccas(); ++o) {
    const bool alive = captured(cells.live(o)), dead = cells.dead(o) != '0';
    if (died && (alive || dead)) record_fault(job, n, live_after_dead, typed);
    if (dead && !alive)
      record_fault(job, n, " Death of an animal that was not at risk in the encounter history: ", typed);
    died = died || dead;
  }
}

/// True for the lower-case code of a state where events have their own signs: the sign of a recovery.
bool lower_case_code(const Job& job, const Datatype& row, char c) {
  return row.strata_tail == Strata_tail::barker_events && second_sign(job, row, c) == Sign::lower;
}

void check_signs(Job& job, int n, const Datatype& row, History cells, std::string_view typed) {
  const bool barker = row.check == Cell_check::barker_strata;
  const int first = first1(cells);
  if (first > 0 && stratum_position(job, row, cells.live(first)) == 0 &&
      lower_case_code(job, row, cells.live(first)))
    record_fault(job, n, not_a_release, typed);
  for (int o = 1; o <= cells.noccas(); ++o) {
    const char live = cells.live(o), dead = cells.dead(o);
    const int position = stratum_position(job, row, live);
    const int limit = barker ? stratum_limit(job, row) : job.status.nstrta;
    if (captured(live) && (position < 1 || position > limit))
      record_fault(job, n, incorrect_stratum(live), typed);
    if (barker && dead != '0' && second_sign(job, row, dead) == Sign::none)
      record_fault(
          job, n,
          " Incorrect stratum transition " + quoted(cells.text().substr(2 * (o - 1), 2)) + " in history:",
          typed);
  }
}

void check_sightings(Job& job, int n, const Datatype& row, History cells, std::string_view typed) {
  for (int o = 1; o <= cells.noccas(); ++o) {
    const char a = cells.live(o), b = cells.dead(o);
    if (a == '0' && b == '0')
      record_fault(job, n,
                   " Encounter history entries of \"00\" are not allowed in this data type. "
                   " Change to \"+0\" or \"-0\".",
                   typed);
    const bool sign = a == '+' || a == '-' || (a == '*' && row.alphabet.find('*') != std::string_view::npos);
    const bool fits = (digit(a) && digit(b)) || (sign && b == '0') || (a == '.' && (b == '.' || b == '0'));
    if (!fits)
      record_fault(job, n,
                   " Incorrect entry " + quoted(cells.text().substr(2 * (o - 1), 2)) + " in history:", typed);
  }
}

void check_young(Job& job, int n, History cells, std::string_view typed) {
  int brood = -1;
  for (int o = 1; o <= cells.noccas(); ++o) {
    const char tens = cells.live(o), ones = cells.dead(o);
    if (!digit(tens) || !digit(ones)) continue;
    const int count = 10 * (tens - '0') + (ones - '0');
    if (brood < 0) brood = count;
    if (count > brood)
      record_fault(job, n, " Number of young above the first number in the encounter history: ", typed);
  }
}

bool has_dead_columns(const Datatype& row) {
  switch (row.check) {
    case Cell_check::dead_recoveries:
    case Cell_check::recovery_needed:
    case Cell_check::joint:
    case Cell_check::barker:
    case Cell_check::robust_barker:
    case Cell_check::known_fate:
    case Cell_check::live_dead_strata:
    case Cell_check::barker_strata:
      return true;
    case Cell_check::none:
    case Cell_check::strata:
    case Cell_check::sightings:
    case Cell_check::young:
      return false;
  }
  return false;
}

}  // namespace

void put_record_number(Job& job, int n) {
  linchk(job, 1);
  put(job, listing | screen, "(1x,a,i5)", "Error around encounter history number ", n);
}

void record_fault(Job& job, int n, std::string_view message, std::string_view history) {
  put_record_number(job, n);
  std::string text = "History number " + adjustfmt(n);
  if (!message.empty() && message.front() != ' ') text += ' ';
  text += message;
  if (!history.empty()) {
    if (text.back() != ' ') text += ' ';
    text += history;
  }
  error(job, text);
}

int stratum_position(const Job& job, const Datatype& row, char code) {
  const std::string_view strata = job.data.strata;
  if (row.strata_tail == Strata_tail::barker_events) {
    const std::size_t n = at_least_0(job.status.nstrta);
    if (among(job, code, 0, n)) return static_cast<int>(strata.find(code)) + 1;
    if (among(job, code, 2 * n, at_least_0(job.status.neventsp)))
      return static_cast<int>(strata.find(code, 2 * n)) + 1;
    return 0;
  }
  const std::size_t place = strata.find(code);
  return place == std::string_view::npos ? 0 : static_cast<int>(place) + 1;
}

int stratum_limit(const Job& job, const Datatype& row) {
  const Status_module& status = job.status;
  switch (row.stratum_limit) {
    case Stratum_limit::strata:
      return status.nstrta;
    case Stratum_limit::strata_and_one:
      return status.nstrta + 1;
    case Stratum_limit::doubled:
      return 2 * status.nstrta;
    case Stratum_limit::strata_and_events:
      return status.nstrta + status.nevents;
    case Stratum_limit::doubled_and_events:
      return 2 * status.nstrta + status.neventsp;
  }
  return status.nstrta;
}

Second_signs second_signs(const Job& job, const Datatype& row) {
  Second_signs found;
  const std::string_view strata = job.data.strata;
  for (std::size_t k = 0; k < strata.size(); ++k) {
    if (strata[k] == ' ' || strata.find(strata[k]) < k) continue;
    const Sign sign = second_sign(job, row, strata[k]);
    if (sign == Sign::state || sign == Sign::resighting) ++found.resightings;
    if (sign == Sign::lower || sign == Sign::recovery) ++found.recoveries;
  }
  return found;
}

bool is_recovery(const Job& job, const Datatype& row, char code) {
  if (code == '0' || code == '.') return false;
  switch (row.check) {
    case Cell_check::barker:
    case Cell_check::robust_barker:
      return code == '1';
    case Cell_check::barker_strata: {
      const Sign sign = second_sign(job, row, code);
      return sign == Sign::lower || sign == Sign::recovery;
    }
    default:
      return true;
  }
}

void check_dead_columns(Job& job, int n, const Datatype& row, History cells, std::string_view typed) {
  if (!has_dead_columns(row)) return;
  for (int o = 1; o <= cells.noccas(); ++o)
    if (cells.dead(o) == '.')
      record_fault(job, n, " Cannot have dots in the Dead columns of the encounter history:", typed);
}

void check_cells(Job& job, int n, const Datatype& row, History cells, std::string_view typed) {
  // A live history of zeros alone is told as an animal that was never released.
  if (!row.live && row.released && frstnz(cells) == 0)
    record_fault(job, n, " No encounters with the encounter history:", typed);
  const auto each_occasion = [](int occasion) { return occasion; };
  switch (row.check) {
    case Cell_check::none:
      if (of_sites(row)) check_site_cells(job, n, row, cells, typed);
      return;
    case Cell_check::robust_barker:
      return;
    case Cell_check::strata:
      return check_signs(job, n, row, cells, typed);
    case Cell_check::dead_recoveries:
    case Cell_check::recovery_needed:
      return check_dead_recoveries(job, n, row, cells, typed);
    case Cell_check::joint:
      return check_after_recovery(job, n, row, cells, typed, each_occasion);
    case Cell_check::barker:
      check_first_is_live(job, n, cells, typed);
      return check_after_recovery(job, n, row, cells, typed, each_occasion);
    case Cell_check::known_fate:
      return check_known_fate(job, n, cells, typed);
    case Cell_check::live_dead_strata:
      check_signs(job, n, row, cells, typed);
      return check_after_recovery(job, n, row, cells, typed, each_occasion);
    case Cell_check::barker_strata:
      check_signs(job, n, row, cells, typed);
      check_first_is_live(job, n, cells, typed);
      return check_after_recovery(job, n, row, cells, typed, each_occasion);
    case Cell_check::sightings:
      return check_sightings(job, n, row, cells, typed);
    case Cell_check::young:
      return check_young(job, n, cells, typed);
  }
}

bool has_session_checks(const Datatype& row) {
  return row.check == Cell_check::robust_barker || row.cell == Cell::robust_pradel_n ||
         !words_of_two_codes(row).empty();
}

void check_sessions(Job& job, int n, const Datatype& row, History cells) {
  if (row.cell == Cell::robust_pradel_n) check_each_session_sampled(job, n, cells);
  if (const std::string_view words = words_of_two_codes(row); !words.empty())
    check_one_stratum_a_session(job, n, row, cells, words);
  if (row.check != Cell_check::robust_barker) return;
  const List<int> session = sessions_of(job);
  const auto session_of = [&session](int o) { return session(o); };
  const int first = first1(cells), dead = first_encounter(cells);
  if (first == 0 || session_of(dead) < session_of(first)) record_fault(job, n, barker_not_live, cells.text());
  check_after_recovery(job, n, row, cells, cells.text(), session_of);
}

void check_intervals(Job& job, const Datatype& row) {
  const bool sites = of_sites(row);
  if ((row.closed == Closed::none && !sites) || !row.sessions || job.status.noccas < 2) return;
  if (job.status.nprimy == 1)
    warn(job,
         "The time intervals join all occasions to one primary session: nothing between sessions can be "
         "estimated.");
  if (job.status.nprimy == job.status.noccas)
    warn(job, sites
                  ? "No time interval is 0: every occasion is a primary session, and detection can hardly be "
                    "told from occupancy."
                  : "No time interval is 0: every occasion is a primary session, and nothing within sessions "
                    "can be estimated.");
  if (row.check == Cell_check::robust_barker && !(job.data.timint(job.status.noccas) > 0.0f))
    warn(job, "The time interval behind the last occasion is 0: no animal can be met in it.");
}

void check_sizes(Job& job, const Datatype& row) {
  if (row.cell != Cell::robust_pradel_n || names_hold(closed_parameters(row.closed), "f0")) return;
  const int sessions = primary_sessions(job).size();
  for (int g = 1; g <= job.status.ngrps; ++g)
    for (int s = 1; s <= sessions; ++s)
      if (job.data.u(s, g, 1) + job.data.ul(s, g, 1) == 0.0F)
        warn(job, "No animal of group " + adjustfmt(g) + " was caught in primary session " + adjustfmt(s) +
                      ": its size counts as 0 there, and growth has no meaning.");
}

void Kinds_found::add(const Job& job, const Datatype& row, History cells) {
  const int first = first1(cells);
  for (int o = 1; o <= cells.noccas(); ++o) {
    live = live || (o > first && captured(cells.live(o)));
    if (cells.dead(o) == '0') continue;
    (is_recovery(job, row, cells.dead(o)) ? dead : live) = true;
  }
}

void check_kinds(Job& job, const Datatype& row, const Kinds_found& found) {
  struct Words {
    std::string_view live, dead;
  };
  static constexpr std::array<Words, 8> words{{
      {"", ""},
      {"BOTH", "BOTH"},
      {"BARKER", "Barker Live/DeAD"},
      {"RDBARKER", "Barker Live/DeAD"},
      {"MSLiveDead", "MSLiveDead"},
      {"Burnham Live/Dead with random effects", "Burnham Live/Dead with random effects"},
      {"MSBarker", "multi-state Barker Live/Dead"},
      {"MSBarker with state uncertainty", "multi-state Barker Live/Dead with state uncertainty"},
  }};
  if (row.joint_words == Joint_words::none) return;
  const Words& family = words[static_cast<std::size_t>(row.joint_words)];
  if (!found.dead)
    warn(job, "Data type declared " + std::string(family.live) + ", but only live found.");
  else if (!found.live)
    warn(job, "Data type declared " + std::string(family.dead) + ", but only dead found.");
}

}  // namespace tarn
