#include "likelihood/folded_records.h"

#include <cmath>
#include <string>
#include <unordered_map>

#include "data/catalogue/datatype.h"

namespace tarn {
namespace {

/// Sums of whole counts up to this lose nothing.
constexpr float largest_count = 16777216.0F;

bool adds_up(float a, float b) {
  return a >= 0.0F && b >= 0.0F && a + b <= largest_count && std::floor(a) == a && std::floor(b) == b;
}

}  // namespace

Folded_records Folded_records::of(const Job& job, bool by_record, const std::vector<char>& counted) {
  const Encounter_store& encounters = job.data.encounters;
  const int records = encounters.size(), groups = job.status.ngrps;
  Folded_records folded;
  // Without covariates the data procedure has done it; locations are a record's own.
  if (job.status.nicovs == 0 || datatype(job.status.dattyp).density || records == 0) return folded;
  const auto place = [groups](int i, int j) {
    return static_cast<std::size_t>(i - 1) * static_cast<std::size_t>(groups) +
           static_cast<std::size_t>(j - 1);
  };
  std::unordered_map<std::string, int> first;
  first.reserve(static_cast<std::size_t>(records));
  std::vector<int> like(static_cast<std::size_t>(records));
  bool any = false;
  std::string key;
  for (int i = 1; i <= records; ++i) {
    const auto own = static_cast<std::size_t>(i) - 1;
    like[own] = i;
    if (!counted.empty() && counted[own] != 0) continue;
    key = encounters.history(i).text();
    // What families prepare for a record may follow from which counts it has.
    for (int j = 1; j <= groups; ++j) {
      key += encounters.observed(i, j) > 0.0F ? '1' : '0';
      key += encounters.lost_on_capture(i, j) > 0.0F ? '1' : '0';
    }
    if (by_record) {
      const auto covariates = encounters.ind_covariates(i);
      key.append(reinterpret_cast<const char*>(covariates.data()), covariates.size_bytes());
    }
    const auto [of, is_new] = first.emplace(key, i);
    like[own] = of->second;
    any = any || !is_new;
  }
  if (!any) return folded;
  for (std::vector<float>* counts :
       {&folded.observed, &folded.lost, &folded.observed_cells, &folded.lost_cells})
    counts->assign(place(records + 1, 1), 0.0F);
  for (int i = 1; i <= records; ++i)
    for (int j = 1; j <= groups; ++j) {
      const std::size_t own = place(i, j);
      std::size_t to = place(like[static_cast<std::size_t>(i) - 1], j);
      const float observed = encounters.observed(i, j), lost = encounters.lost_on_capture(i, j);
      if (!adds_up(folded.observed[to], observed) || !adds_up(folded.lost[to], lost)) to = own;
      folded.observed[to] += observed;
      folded.lost[to] += lost;
      if (observed > 0.0F) folded.observed_cells[to] += 1.0F;
      if (lost > 0.0F) folded.lost_cells[to] += 1.0F;
    }
  return folded;
}

}  // namespace tarn
