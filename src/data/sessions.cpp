#include "data/sessions.h"

#include <algorithm>
#include <string_view>

#include "data/catalogue/datatype.h"

namespace tarn {

int strata_of_captures(const Job& job) {
  return datatype(job.status.dattyp).alphabet.empty() ? std::max(job.status.nstrta, 1) : 1;
}

int uncertain_signs(const Job& job) {
  const Datatype& row = datatype(job.status.dattyp);
  if (row.strata_tail == Strata_tail::uncertain) return 1;
  return row.strata_tail == Strata_tail::lower ? job.status.nstrta : 0;
}

int known_stratum_in(const Job& job, History history, const Primary_session& session) {
  const std::string_view strata(job.data.strata);
  const std::string_view codes = strata.substr(0, static_cast<std::size_t>(strata_of_captures(job)));
  for (int o = session.before + 1; o <= session.last(); ++o) {
    if (!captured(history.live(o))) continue;
    const std::size_t place = codes.find(history.live(o));
    if (place != std::string_view::npos) return static_cast<int>(place) + 1;
  }
  return 0;
}

int stratum_in(const Job& job, History history, const Primary_session& session) {
  return std::max(known_stratum_in(job, history, session), 1);
}

List<Primary_session> primary_sessions(const Job& job) {
  List<Primary_session> sessions;
  for_each_session(job, [&](int, const Primary_session& session) { sessions.push_back(session); });
  return sessions;
}

List<int> sessions_of(const Job& job) {
  List<int> session;
  for_each_session(job, [&](int s, const Primary_session& each) {
    for (int o = 1; o <= each.length; ++o) session.push_back(s);
  });
  return session;
}

List<int> periods_of(const Job& job, bool by_session) {
  if (by_session) return sessions_of(job);
  List<int> occasions;
  for (int o = 1; o <= job.status.noccas; ++o) occasions.push_back(o);
  return occasions;
}

List<Primary_session> closed_sessions(const Job& job) {
  if (datatype(job.status.dattyp).sessions) return primary_sessions(job);
  return {Primary_session{0, job.status.noccas}};
}

}  // namespace tarn
