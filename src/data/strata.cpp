#include "data/strata.h"

#include <algorithm>
#include <vector>

#include "job/services/array.h"
#include "job/services/fault.h"
#include "job/services/statement.h"

namespace tarn {

namespace {

/// First word behind the keyword and an "=".
int first_value(Job& job) { return job.status.lstwrd > 1 && word(job, 2) == "=" ? 3 : 2; }

std::string lower_case(std::string text) {
  cvtlcas(text);
  return text;
}

/// The lists of signs in which every one must differ from the others. A sign may serve several lists of
/// events.
std::vector<std::string> lists_of_signs(const Status_module& status, const Datatype& row,
                                        const std::string& codes) {
  if (row.strata_tail == Strata_tail::uncertain_lower) return {codes + "U"};
  if (row.strata_tail != Strata_tail::barker_events) return {codes};
  const std::string states = codes.substr(0, static_cast<std::size_t>(std::max(status.nstrta, 0)));
  std::vector<std::string> lists;
  std::size_t from = states.size();
  for (const int events : {status.neventsp, status.neventslr, status.neventsbr}) {
    lists.push_back(states + codes.substr(std::min(from, codes.size()), static_cast<std::size_t>(events)));
    from += static_cast<std::size_t>(events);
  }
  return lists;
}

void check_codes(Job& job, const Datatype& row, const std::string& codes) {
  if (const std::size_t taken = codes.find_first_of("0."); taken != std::string::npos)
    error(job, "The stratum code \"" + codes.substr(taken, 1) + "\" tells of no capture or of no sampling.");
  for (const std::string& list : lists_of_signs(job.status, row, codes))
    for (std::size_t k = 1; k < list.size(); ++k)
      if (list.find(list[k]) < k)
        error(job,
              "The stratum code \"" + list.substr(k, 1) + "\" stands for more than one stratum or event.");
  if (row.check != Cell_check::barker_strata) return;
  for (const char code : codes.substr(0, static_cast<std::size_t>(std::max(job.status.nstrta, 0))))
    if (lower_case({code}) == std::string{code})
      warn(job,
           "The stratum code \"" + std::string{code} +
               "\" has no lower-case letter of its own: a recovery in that stratum reads as a resighting.");
}

}  // namespace

std::string strata_of(const Datatype& row, std::string_view codes, int nstrta) {
  std::string signs(codes);
  const std::string states(codes.substr(0, static_cast<std::size_t>(std::max(nstrta, 0))));
  switch (row.strata_tail) {
    case Strata_tail::zero_dot:
      return signs + "0.";
    case Strata_tail::uncertain:
      return signs + "u0.";
    case Strata_tail::zero_first:
      return "0" + signs + ".";
    case Strata_tail::lower:
      return signs + lower_case(signs) + "0.";
    case Strata_tail::uncertain_lower:
      signs += 'U';
      return signs + lower_case(signs) + "0.";
    case Strata_tail::barker_events:
      return states + lower_case(states) + signs.substr(states.size()) + "0.";
    case Strata_tail::dead:
      return signs.find('1') == std::string::npos ? signs + "0.1" : signs + "0.";
  }
  return signs;
}

void read_strata(Job& job) {
  const Status_module& status = job.status;
  std::string codes;
  for (int i = first_value(job); i <= status.lstwrd; ++i) codes += word_as_typed(job, i).front();
  if (static_cast<int>(codes.size()) != status.nstrta + status.nevents)
    error(job, "Number of strata codes does not match number on PROC CHMATRIX statement.");
  std::string& strata = job.data.strata;
  const std::size_t room = strata.size();
  std::string signs = strata_of(datatype(status.dattyp), codes, status.nstrta);
  if (signs.size() > room) error(job, "Number of strata codes and signs exceeds 96.");
  check_codes(job, datatype(status.dattyp), codes);
  signs.resize(room, ' ');
  strata = signs;
}

void read_group_label(Job& job) {
  job.status.indent = 2;
  const int group = ivalue(job, word(job, 3));
  if (group < 1) error(job, "Value of group <1.");
  if (group > job.status.ngrps) error(job, "Value of group exceeds GROUPS= value.");
  std::string_view text = statement_text(job);
  text.remove_suffix(std::min<std::size_t>(1, text.size()));
  const std::size_t equals = text.find('=');
  job.data.glabel(group) =
      equals == std::string_view::npos ? std::string() : std::string(text.substr(equals + 1));
}

void read_covariate_names(Job& job) {
  const int first = first_value(job), last = job.status.lstwrd;
  if (last - first + 1 != job.status.nicovs)
    error(job, "Number of individual covariate names does not match number on PROC CHMATRIX statement.");
  // In upper case, as the words of the design matrix that name them.
  for (int i = first; i <= last; ++i) job.data.icname(i - first + 1) = word(job, i);
}

void allocate_areas(Job& job) {
  job.data.areas.free();
  if (!allocate(job, "from memory allocation of AREAS.", job.data.areas, job.status.ngrps))
    error_of_absent_array(job, "AREAS");
}

void read_areas(Job& job) {
  const int first = first_value(job), last = job.status.lstwrd;
  if (last - first + 1 != job.status.ngrps)
    error(job, "Number of areas specified does not match number of groups.");
  allocate_areas(job);
  for (int i = first; i <= last; ++i) {
    const double area = given_value(job, word(job, i));
    if (area == 0.0) error(job, "Area cannot be equal to zero.");
    if (!(area > 0.0)) error(job, "Area cannot be negative.");
    job.data.areas(i - first + 1) = area;
  }
}

}  // namespace tarn
