#include "data/sessions.h"

namespace tarn {

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

}  // namespace tarn
