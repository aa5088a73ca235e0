#pragma once
// Facts of a history that no parameter changes.

#include <cstddef>
#include <vector>

#include "data/encounter.h"

namespace tarn {

/// Occasions count from 1; 0 is "none". The rules stand in data/encounter.h.
struct History_facts {
  int first = 0;  ///< first1
  int first01 = 0, frstnz = 0;
  int last1 = 0, lastlc = 0, lastdr = 0, lastsm = 0;
  int last_caught = 0;         ///< last "1" in a first character
  bool ends_in_zeros = false;  ///< first characters: "1" at `first`, nothing but "0" behind the last "1"

  static History_facts of(History h) {
    History_facts facts{first1(h),       tarn::first01(h), tarn::frstnz(h), tarn::last1(h),
                        tarn::lastlc(h), tarn::lastdr(h),  tarn::lastsm(h)};
    bool zeros = true;
    for (int o = h.noccas(); o >= 1 && facts.last_caught == 0; --o) {
      if (h.live(o) == '1')
        facts.last_caught = o;
      else
        zeros = zeros && h.live(o) == '0';
    }
    facts.ends_in_zeros = zeros && facts.first > 0 && h.live(facts.first) == '1';
    return facts;
  }
};

/// Facts of all records of the data set, computed once when a model is set up.
class Stored_facts {
 public:
  Stored_facts() = default;
  /// May throw std::bad_alloc.
  explicit Stored_facts(const Encounter_store& encounters) {
    const int records = encounters.size();
    if (records == 0) return;
    cells_ = encounters.history(1).cells();
    stride_ = 2 * static_cast<std::size_t>(encounters.history(1).noccas());
    facts_.reserve(static_cast<std::size_t>(records));
    count_ = static_cast<std::size_t>(records);
    for (int i = 1; i <= records; ++i) facts_.push_back(History_facts::of(encounters.history(i)));
  }

  /// The facts of record i when `histry` is that record's own cells, else nullptr.
  const History_facts* find(int i, History histry) const {
    const auto record = static_cast<std::size_t>(i) - 1;
    const bool own = record < count_ && histry.cells() == cells_ + record * stride_;
    return own ? facts_.data() + record : nullptr;
  }

 private:
  const char* cells_ = nullptr;
  std::size_t stride_ = 0, count_ = 0;
  std::vector<History_facts> facts_;
};

}  // namespace tarn
