#include "data/summaries.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "data/tabulation.h"
#include "job/services/fault.h"
#include "job/services/report.h"
#include "job/services/statement.h"
#include "job/services/template.h"

namespace tarn {

namespace {

/// The number behind GROUP of the statement in hand.
int group_of(Job& job, std::string_view what) {
  const int words = job.status.lstwrd;
  int group = 0;
  for (int i = 1; i <= words; ++i) {
    if (word(job, i) != "GROUP") continue;
    const int place = i < words && word(job, i + 1) == "=" ? i + 2 : i + 1;
    if (place <= words) group = ivalue(job, word(job, place));
    break;
  }
  const std::string head = "Group # for this " + std::string(what);
  if (group == 0) error(job, head + " was not specified.");
  if (group < 0) error(job, "Value of group <1.");
  if (group > job.status.ngrps) error(job, head + " is > number of groups specified.");
  return group;
}

void no_animals(Job& job) { job.data.ehist.assign(2 * static_cast<std::size_t>(job.status.noccas), '0'); }

char& live_sign(Job& job, int occasion) { return job.data.ehist[2 * static_cast<std::size_t>(occasion - 1)]; }
char& dead_sign(Job& job, int occasion) {
  return job.data.ehist[2 * static_cast<std::size_t>(occasion - 1) + 1];
}

/// Adds n animals of a group to the record of the history in work, and gives the record's number.
int add_to_record(Job& job, int group, double n) {
  const int record = oindex(job);
  add_animals(job, group, job.data.encounters.observed(record, group), n);
  return record;
}

void require_no_covariates(Job& job, std::string_view statement) {
  if (job.status.nicovs > 0)
    error(job, "A " + std::string(statement) + " statement cannot be used with individual covariates.");
}

/// Matrices of recoveries and of known fates make histories whose second characters tell of the dead. Those
/// of nests have another meaning; `survivors` are no records of a type whose every animal was recovered.
void require_dead_columns(Job& job, std::string_view statement, bool survivors) {
  const Datatype& row = datatype(job.status.dattyp);
  if (row.live || !row.released || job.data.strata.front() != '1' || row.cell == Cell::nest ||
      (survivors && row.check == Cell_check::recovery_needed))
    error(job, "A " + std::string(statement) + " statement cannot be used with this data type.");
}

}  // namespace

bool is_data_statement(std::string_view word) {
  static constexpr std::array<std::string_view, 11> first_words{"GLABEL", "TIME",     "STRATA", "ICOVARIATES",
                                                                "AREAS",  "RECOVERY", "KNOWN",  "UNMARKED",
                                                                "MARKED", "NEST",     "PROC"};
  return std::find(first_words.begin(), first_words.end(), word) != first_words.end();
}

void tmread(Job& job) {
  Status_module& status = job.status;
  const Datatype& row = datatype(status.dattyp);
  const bool zero_allowed = row.sessions || row.closed != Closed::none;
  status.indent = 2;
  int place = 3;
  if (place <= status.lstwrd && word(job, place) == "=") ++place;
  const int needed = status.noccas - 1;
  for (int i = 1; i <= status.noccas; ++i, ++place) {
    if (place > status.lstwrd) {
      if (i > needed) break;
      if (status.debug)
        put_lines(job, formatted("(1x,4(a,i0,1x))", "dattyp=", status.dattyp, "k=", needed, "i=", i,
                                 "lstwrd=", status.lstwrd));
      error(job, "Not enough time interval values specified.");
    }
    const std::string& text = word(job, place);
    const float length = static_cast<float>(given_value(job, text));
    if (length == 0.0f && !zero_allowed)
      error(job, "Time Interval Length was equal to zero for value \"" + text + "\".");
    if (!(length >= 0.0f) || !std::isfinite(length))
      error(job, "Time Interval Length was not a positive number for value \"" + text + "\".");
    if (status.debug) put_lines(job, formatted("(1x,a,' = ',i3)", "Occasion", i));
    job.data.timint(i) = length;
  }
  getcmd(job);
}

void rcread(Job& job, const Data_procedure& procedure) {
  Status_module& status = job.status;
  status.indent = -3;
  const int group = group_of(job, "recovery matrix");
  require_no_covariates(job, "RECOVERY MATRIX");
  require_dead_columns(job, "RECOVERY MATRIX", false);
  Array3<float>& u = job.data.u;
  const auto whole_count = [&](int place) {
    const long long count = static_cast<long long>(ivalue(job, word(job, place))) * procedure.clones;
    if (count < 0) error(job, "A negative number was specified in a recovery matrix.");
    return count;
  };
  for (int i = 1; i <= status.noccas; ++i) {
    getcmd(job);
    status.indent = -3;
    if (status.lstwrd != status.noccas - i + 1)
      error(job, "Number of recoveries specified is incorrect for this number of occasions.");
    u(i, group, 1) = 0.0f;
    for (int j = i; j <= status.noccas; ++j) {
      const long long recovered = whole_count(j - i + 1);
      if (recovered == 0) continue;
      no_animals(job);
      live_sign(job, i) = '1';
      dead_sign(job, j) = '1';
      add_to_record(job, group, static_cast<double>(recovered));
      u(i, group, 1) += static_cast<float>(recovered);
    }
  }
  if (datatype(status.dattyp).releases_stated) {
    getcmd(job);
    status.indent = -3;
    if (status.lstwrd != status.noccas)
      error(job, "Number of releases specified is incorrect for number of occasions.");
    for (int i = 1; i <= status.noccas; ++i) {
      const float released = static_cast<float>(whole_count(i));
      if (u(i, group, 1) > released)
        error(job, "Number of recoveries exceeds number of releases for occasion " + adjustfmt(i) + ".");
      no_animals(job);
      live_sign(job, i) = '1';
      add_to_record(job, group, static_cast<double>(released) - static_cast<double>(u(i, group, 1)));
      u(i, group, 1) = released;
    }
  }
  getcmd(job);
}

void kfread(Job& job, const Data_procedure& procedure) {
  Status_module& status = job.status;
  status.indent = -3;
  const int group = group_of(job, "known fate data matrix");
  require_no_covariates(job, "KNOWN FATE");
  require_dead_columns(job, "KNOWN FATE", true);
  for (int i = 1; i <= status.noccas; ++i) {
    getcmd(job);
    status.indent = -3;
    if (status.lstwrd != 2) error(job, "Number of values specified is incorrect for this type of data.");
    const double at_risk = given_value(job, word(job, 1)) * procedure.clones;
    const double deaths = given_value(job, word(job, 2)) * procedure.clones;
    if (!(at_risk >= 0.0) || !(deaths >= 0.0))
      error(job, "A negative number was specified in a known fate data matrix.");
    if (!can_hold(at_risk)) error(job, "A number too large was specified in a known fate data matrix.");
    if (deaths > at_risk)
      error(job, "Number of deaths exceeds number of animals at risk for occasion " + adjustfmt(i) + ".");
    job.data.u(i, group, 1) = static_cast<float>(at_risk);
    no_animals(job);
    live_sign(job, i) = '1';
    dead_sign(job, i) = '1';
    if (deaths > 0.0) add_to_record(job, group, deaths);
    dead_sign(job, i) = '0';
    if (at_risk - deaths > 0.0) add_to_record(job, group, at_risk - deaths);
  }
  getcmd(job);
}

namespace {

/// One nest: day found, last day seen active, last day checked, fate, frequency, covariates.
void read_nest(Job& job, int group, int clones) {
  const Status_module& status = job.status;
  if (status.lstwrd < 5) error(job, "Too few data values for following record.");
  const int found = ivalue(job, word(job, 1)), active = ivalue(job, word(job, 2)),
            checked = ivalue(job, word(job, 3));
  const int fate = ivalue(job, word(job, 4));
  const double frequency = given_value(job, word(job, 5)) * clones;
  const int longest = std::max({found, active, checked});
  if (std::min({found, active, checked}) <= 0) error(job, "Minimum time is <= zero.");
  if (longest > status.noccas)
    error(job, "Maximum time exceeds number of occasions. Incorrect time is " + adjustfmt(longest));
  if (found > active || active > checked) error(job, "Invalid observation -- times ordered correctly?");
  if (found == checked) error(job, "Invalid observation -- all times same.");
  if (found == active && fate == 0) error(job, "Invalid observation -- first 2 times equal and fate=0.");
  if (active == checked && fate > 0) error(job, "Invalid observation -- last 2 times equal and fate>0.");
  if (fate < 0) error(job, "Invalid observation -- fate is negative.");
  if (!(frequency >= 0.0)) error(job, "Invalid observation -- frequency is negative.");
  if (!can_hold(frequency)) error(job, "Invalid observation -- frequency is too large.");
  if (active != checked && fate == 0)
    warn(job, "Possibly invalid observation -- last 2 times not equal and fate=0.");
  if (status.lstwrd < 5 + status.nicovs)
    error(job, "Not enough individual covariates specified on this record.");

  no_animals(job);
  live_sign(job, found) = '1';
  live_sign(job, active) = '1';
  if (fate > 0) dead_sign(job, checked) = '1';
  const int record = add_to_record(job, group, frequency);
  tabulate(job, false, found, group, 1, static_cast<float>(frequency));
  for (int c = 1; c <= status.nicovs; ++c)
    job.data.encounters.ind_covariate(record, c) = value(job, word(job, 5 + c));
}

/// Keeps records from being echoed; a fault shows its record all the same.
class Silence {
 public:
  explicit Silence(Status_module& status) : status_(status), kept_(status.noecho) {}
  ~Silence() { lift(); }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  void fall() { status_.noecho = 1; }
  void lift() { status_.noecho = kept_; }

 private:
  Status_module& status_;
  int kept_;
};

}  // namespace

void nsread(Job& job, const Data_procedure& procedure) {
  Status_module& status = job.status;
  status.indent = -3;
  const int group = group_of(job, "nest survival data matrix");
  getcmd(job);
  Silence silence(status);
  while (!is_data_statement(word(job, 1)) && !ends_procedure(job)) {
    status.indent = -3;
    silence.lift();
    read_nest(job, group, procedure.clones);
    silence.fall();
    getcmd(job);
  }
}

void read_counts(Job& job) {
  struct Matrix {
    std::string_view first, second, what, listed_as;
    Array2<double> Data_module::*counts;
  };
  static constexpr std::array<Matrix, 4> matrices{{
      {"UNMARKED", "SEEN", "unmarked seen", "UNMARKED=", &Data_module::unmarked},
      {"MARKED", "UNIDENTIFIED", "marked unidentified", "MARKUNID=", &Data_module::markunid},
      {"MARKED", "SUPERPOPULATION", "marked superpopulation", "TMARKED=", &Data_module::tmarked},
      {"KNOWN", "MARKS", "known marks", "MARKKNWN=", &Data_module::markknwn},
  }};
  Status_module& status = job.status;
  const std::string first = word(job, 1), second = status.lstwrd > 1 ? word(job, 2) : std::string();
  const auto matrix = std::find_if(matrices.begin(), matrices.end(), [&](const Matrix& candidate) {
    return candidate.first == first && candidate.second == second;
  });
  if (matrix == matrices.end()) {
    warn(job, "Unknown statement starting with \"" + first + "\" and \"" + second + "\".");
    getcmd(job);
    return;
  }
  const std::string what(matrix->what);
  status.indent = -3;
  const int group = group_of(job, what + " data matrix");
  getcmd(job);
  status.indent = -3;
  if (status.lstwrd > status.noccas)
    error(job, "Number of " + what + " values specified > number of occacsions.");
  Array2<double>& counts = job.data.*matrix->counts;
  if (!counts.present())
    error(job, "The statement " + first + " " + second + " cannot be used with this data type.");
  for (int o = 1; o <= status.lstwrd; ++o) {
    const double count = given_value(job, word(job, o));
    if (!(count >= 0.0 && std::isfinite(count)))
      error(job, "A negative number was specified in a " + what + " data matrix.");
    counts(o, group) = count;
  }
  if (status.debug) {
    put_block(job, formatted("(1x,a)", matrix->listed_as) + '\n' +
                       formatted("(10(1x,g14.7))", counts.column(group)));
  }
  getcmd(job);
}

}  // namespace tarn
