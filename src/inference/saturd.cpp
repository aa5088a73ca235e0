#include "inference/saturd.h"

#include <cmath>

namespace tarn {

Cohorts::Cohorts(const Job& job) : ngrps_(job.status.ngrps), count_(job.status.noccas) {
  const Encounter_store& encounters = job.data.encounters;
  const std::size_t cells = static_cast<std::size_t>(count_) * static_cast<std::size_t>(ngrps_);
  observed_.assign(cells, 0.0);
  lost_.assign(cells, 0.0);
  first_.reserve(static_cast<std::size_t>(encounters.size()));
  for (int i = 1; i <= encounters.size(); ++i) {
    first_.push_back(first1(encounters.history(i)));
    for (int g = 1; g <= ngrps_; ++g) {
      const std::size_t group = static_cast<std::size_t>(g - 1);
      observed_[place(cohort_of(i), g)] += static_cast<double>(encounters.observed(i)[group]);
      lost_[place(cohort_of(i), g)] += static_cast<double>(encounters.lost_on_capture(i)[group]);
    }
  }
}

double Cohorts::possible_histories(int cohort) const { return std::ldexp(1.0, count_ - 1 - cohort); }

Saturated_model saturd(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const Cohorts cohorts(job);
  Saturated_model model;
  double sum = 0.0;
  int cells = 0;
  for (int i = 1; i <= encounters.size(); ++i) {
    bool counted = false;
    for (int g = 1; g <= job.status.ngrps; ++g) {
      const std::size_t group = static_cast<std::size_t>(g - 1);
      const auto cell = [&](double count, double total) {
        if (!(count > 0.0)) return;
        sum += count * std::log(count / total);
        ++cells;
        counted = true;
      };
      cell(static_cast<double>(encounters.observed(i)[group]), cohorts.observed(cohorts.cohort_of(i), g));
      cell(static_cast<double>(encounters.lost_on_capture(i)[group]), cohorts.lost(cohorts.cohort_of(i), g));
    }
    if (job.status.nicovs > 0 && counted) ++model.nsat;
  }
  for (int k = 0; k < cohorts.count(); ++k)
    for (int g = 1; g <= job.status.ngrps; ++g)
      for (const double total : {cohorts.observed(k, g), cohorts.lost(k, g)})
        if (total > 0.0) {
          ++model.cohorts;
          model.histories += cohorts.possible_histories(k);
        }
  if (job.status.nicovs > 0) return model;
  model.xlogs = -2.0 * sum;
  model.nsat = cells - model.cohorts;
  return model;
}

double effective_sample_size(const Job& job) {
  const Encounter_store& encounters = job.data.encounters;
  const int last_occasion = job.status.noccas;
  double size = 0.0;
  for (int i = 1; i <= encounters.size(); ++i) {
    const History history = encounters.history(i);
    int releases = 0;  // captures that leave an occasion to come
    for (int o = 1; o < last_occasion; ++o)
      if (history.live(o) != '0' && history.live(o) != '.') ++releases;
    const int last = lastlc(history);
    const int releases_of_lost = releases - (last > 0 && last < last_occasion ? 1 : 0);
    for (int g = 0; g < job.status.ngrps; ++g) {
      const double observed = static_cast<double>(encounters.observed(i)[static_cast<std::size_t>(g)]);
      const double lost = static_cast<double>(encounters.lost_on_capture(i)[static_cast<std::size_t>(g)]);
      size += job.model.essanimals ? observed + lost : observed * releases + lost * releases_of_lost;
    }
  }
  return size;
}

}  // namespace tarn
