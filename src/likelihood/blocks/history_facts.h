#pragma once
// Facts of a history that no parameter changes.

#include <cstddef>
#include <vector>

#include "data/catalogue/encounter.h"
#include "likelihood/blocks/emission.h"

namespace tarn {

/// Occasions count from 1; 0 is "none". The rules stand in data/encounter.h.
struct History_facts {
  int first = 0;  ///< first1
  int first01 = 0, frstnz = 0;
  int last1 = 0, lastlc = 0, lastdr = 0, lastsm = 0;
  int last_caught = 0;  ///< last "1" in a first character
  /// Codes (blocks/emission.h) of the occasions behind `first`, for a record of the data set that is made of
  /// "1", "0" and "." with nothing but "0" behind the last "1"; else nullptr.
  const unsigned char* codes = nullptr;

  static History_facts of(History h) {
    History_facts facts{first1(h),       tarn::first01(h), tarn::frstnz(h), tarn::last1(h),
                        tarn::lastlc(h), tarn::lastdr(h),  tarn::lastsm(h)};
    for (int o = h.noccas(); o >= 1 && facts.last_caught == 0; --o)
      if (h.live(o) == '1') facts.last_caught = o;
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
    count_ = static_cast<std::size_t>(records);
    facts_.reserve(count_);
    const std::size_t length = stride_ / 2 + padded_steps;
    codes_.assign(count_ * length, 3);
    for (int i = 1; i <= records; ++i) {
      const History h = encounters.history(i);
      facts_.push_back(History_facts::of(h));
      set_codes(h, codes_.data() + static_cast<std::size_t>(i - 1) * length, facts_.back());
    }
  }

  /// The facts of record i when `histry` is that record's own cells, else nullptr.
  const History_facts* find(int i, History histry) const {
    const auto record = static_cast<std::size_t>(i) - 1;
    const bool own = record < count_ && histry.cells() == cells_ + record * stride_;
    return own ? facts_.data() + record : nullptr;
  }

 private:
  static void set_codes(History h, unsigned char* codes, History_facts& facts) {
    if (facts.last_caught == 0) return;
    for (int o = 1; o <= h.noccas(); ++o) {
      const std::size_t code = live_code(h.live(o));
      const bool behind = o > facts.last_caught;
      if (behind ? h.live(o) != '0' : code == 3) return;
      if (!behind) codes[o - 1] = static_cast<unsigned char>(code);
    }
    facts.codes = codes + facts.first;
  }

  const char* cells_ = nullptr;
  std::size_t stride_ = 0, count_ = 0;
  std::vector<History_facts> facts_;
  std::vector<unsigned char> codes_;
};

}  // namespace tarn
