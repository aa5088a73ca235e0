#include "data/sessions.h"

namespace tarn {

List<Primary_session> primary_sessions(const Job& job) {
  List<Primary_session> sessions;
  int before = 0;
  for (int o = 1; o <= job.status.noccas; ++o) {
    if (o < job.status.noccas && !(job.data.timint(o) > 0.0f)) continue;
    sessions.push_back({before, o - before});
    before = o;
  }
  return sessions;
}

List<int> sessions_of(const Job& job) {
  List<int> session;
  int number = 0;
  for (const Primary_session& each : primary_sessions(job)) {
    ++number;
    for (int o = each.before + 1; o <= each.last(); ++o) session.push_back(number);
  }
  return session;
}

}  // namespace tarn
