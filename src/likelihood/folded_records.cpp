#include "likelihood/folded_records.h"

#include <algorithm>
#include <cmath>
#include <span>
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

bool any_of(std::span<const float> counts) {
  return std::any_of(counts.begin(), counts.end(), [](float count) { return count > 0.0F; });
}

/// Records by number, 0: none.
struct First_alike {
  int observed = 0, lost = 0;
};

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
  // Families know of a record what its own animals need: what stands for others has animals of the same kind.
  std::unordered_map<std::string, First_alike> first;
  first.reserve(static_cast<std::size_t>(records));
  std::vector<First_alike> like(static_cast<std::size_t>(records));
  bool any = false;
  std::string key;
  for (int i = 1; i <= records; ++i) {
    const auto own = static_cast<std::size_t>(i) - 1;
    like[own] = {i, i};
    if (!counted.empty() && counted[own] != 0) continue;
    key = encounters.history(i).text();
    if (by_record) {
      const auto covariates = encounters.ind_covariates(i);
      key.append(reinterpret_cast<const char*>(covariates.data()), covariates.size_bytes());
    }
    First_alike& of = first[key];
    const auto fold = [&](std::span<const float> counts, int First_alike::*kind) {
      if (!any_of(counts)) return;
      if (of.*kind == 0) of.*kind = i;
      like[own].*kind = of.*kind;
      any = any || of.*kind != i;
    };
    fold(encounters.observed(i), &First_alike::observed);
    fold(encounters.lost_on_capture(i), &First_alike::lost);
  }
  if (!any) return folded;
  for (std::vector<float>* counts :
       {&folded.observed, &folded.lost, &folded.observed_cells, &folded.lost_cells})
    counts->assign(place(records + 1, 1), 0.0F);
  const auto add = [&](int i, int j, int like_i, float count, std::vector<float>& counts,
                       std::vector<float>& cells) {
    std::size_t to = place(like_i, j);
    if (!adds_up(counts[to], count)) to = place(i, j);
    counts[to] += count;
    if (count > 0.0F) cells[to] += 1.0F;
  };
  for (int i = 1; i <= records; ++i)
    for (int j = 1; j <= groups; ++j) {
      const First_alike& of = like[static_cast<std::size_t>(i) - 1];
      add(i, j, of.observed, encounters.observed(i, j), folded.observed, folded.observed_cells);
      add(i, j, of.lost, encounters.lost_on_capture(i, j), folded.lost, folded.lost_cells);
    }
  return folded;
}

}  // namespace tarn
