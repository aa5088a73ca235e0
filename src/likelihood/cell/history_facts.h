#pragma once
// Facts of a history that no parameter changes.

#include <cstddef>
#include <vector>

#include "data/catalogue/encounter.h"
#include "job/job.h"

namespace tarn {

/// Occasions count from 1; 0 is "none". The rules stand in data/catalogue/encounter.h.
struct History_facts {
  int first = 0;  ///< first1
  int first01 = 0, frstnz = 0;
  int last1 = 0, lastlc = 0, lastdr = 0, lastsm = 0;

  static History_facts of(History h) {
    return {first1(h),       tarn::first01(h), tarn::frstnz(h), tarn::last1(h),
            tarn::lastlc(h), tarn::lastdr(h),  tarn::lastsm(h)};
  }
};

/// Facts of all records of the data set, computed once when a model is set up. `Facts` is `History_facts` or
/// what a family has made of it; its `of` takes a history.
template <class Facts_of_a_history>
class Record_facts {
 public:
  using Facts = Facts_of_a_history;

  /// May throw std::bad_alloc.
  explicit Record_facts(const Job& job) {
    const Encounter_store& encounters = job.data.encounters;
    const int records = encounters.size();
    if (records == 0) return;
    cells_ = encounters.history(1).cells();
    stride_ = 2 * static_cast<std::size_t>(encounters.history(1).noccas());
    count_ = static_cast<std::size_t>(records);
    facts_.reserve(count_);
    for (int i = 1; i <= records; ++i) facts_.push_back(Facts::of(encounters.history(i)));
  }

  /// The facts of record i when `histry` is that record's own cells, else nullptr.
  const Facts* find(int i, History histry) const {
    const auto record = static_cast<std::size_t>(i) - 1;
    const bool own = record < count_ && histry.cells() == cells_ + record * stride_;
    return own ? facts_.data() + record : nullptr;
  }

 protected:
  std::vector<Facts> facts_;

 private:
  const char* cells_ = nullptr;
  std::size_t stride_ = 0, count_ = 0;
};

}  // namespace tarn
