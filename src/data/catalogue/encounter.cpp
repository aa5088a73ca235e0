#include "data/catalogue/encounter.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <utility>

namespace tarn {

namespace {

/// A multiplicative hash of eight characters at a time. Each word's high bits are mixed into the low ones,
/// which are all that the table's mask leaves.
std::size_t hash_of(std::string_view cells) {
  constexpr std::size_t width = sizeof(std::uint64_t);
  std::uint64_t hash = cells.size();
  for (std::size_t at = 0; at < cells.size(); at += width) {
    std::uint64_t word = 0;
    std::memcpy(&word, cells.data() + at, std::min(width, cells.size() - at));
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    hash ^= hash >> 32;
  }
  return static_cast<std::size_t>(hash);
}

}  // namespace

std::string History::as_typed(bool live_form) const {
  if (!live_form) return std::string(text());
  std::string typed;
  for (int o = 1; o <= noccas_; ++o) typed += live(o);
  return typed;
}

int first1(History h) {
  for (int o = 1; o <= h.noccas(); ++o)
    if (captured(h.live(o))) return o;
  return 0;
}

int first01(History h) {
  for (int o = 1; o <= h.noccas(); ++o)
    if (h.live(o) != '.') return o;
  return 0;
}

int frstnz(History h) {
  for (int o = 1; o <= h.noccas(); ++o)
    if (h.live(o) != '0' || h.dead(o) != '0') return o;
  return 0;
}

int last1(History h) {
  for (int o = h.noccas(); o >= 1; --o)
    if (captured(h.live(o)) || h.dead(o) != '0') return o;
  return 0;
}

int lastlc(History h) {
  for (int o = h.noccas(); o >= 1; --o)
    if (captured(h.live(o))) return o;
  return 0;
}

int lastdr(History h) {
  for (int o = h.noccas(); o >= 1; --o)
    if (h.dead(o) != '0') return o;
  return 0;
}

int lastsm(History h) {
  for (int o = h.noccas(); o >= 1; --o)
    if (h.live(o) != '.') return o;
  return 0;
}

void Encounter_store::reset(int noccas, int ngrps, int nicovs, int capacity) {
  *this = Encounter_store{};
  noccas_ = std::max(noccas, 0), ngrps_ = std::max(ngrps, 0), nicovs_ = std::max(nicovs, 0);
  capacity_ = capacity;
}

History Encounter_store::history(int i) const {
  assert(i >= 1 && i <= count_);
  return {cells_.data() + place(i, 2 * noccas_, 1), noccas_};
}

std::span<float> Encounter_store::observed(int i) { return part(observed_, i, ngrps_); }
std::span<const float> Encounter_store::observed(int i) const { return part(observed_, i, ngrps_); }
std::span<float> Encounter_store::lost_on_capture(int i) { return part(lost_, i, ngrps_); }
std::span<const float> Encounter_store::lost_on_capture(int i) const { return part(lost_, i, ngrps_); }
std::span<double> Encounter_store::ind_covariates(int i) { return part(covariates_, i, nicovs_); }
std::span<const double> Encounter_store::ind_covariates(int i) const { return part(covariates_, i, nicovs_); }

int Encounter_store::append(History cells, double missing) {
  assert(cells.noccas() == noccas_);
  if (2 * (distinct_ + 1) > index_.size()) grow_index();
  const std::string copy(cells.text());  // the history may lie in this store and move while it grows
  cells_.insert(cells_.end(), copy.begin(), copy.end());
  ++count_;
  observed_.resize(place(count_ + 1, ngrps_, 1), 0.0f);
  lost_.resize(place(count_ + 1, ngrps_, 1), 0.0f);
  covariates_.resize(place(count_ + 1, nicovs_, 1), missing);
  int& slot = index_[slot_of(history(count_).text())];
  if (slot == 0) slot = count_, ++distinct_;
  return count_;
}

int Encounter_store::find(History cells) const { return index_.empty() ? 0 : index_[slot_of(cells.text())]; }

std::size_t Encounter_store::slot_of(std::string_view cells) const {
  const std::size_t mask = index_.size() - 1;
  std::size_t slot = hash_of(cells) & mask;
  while (index_[slot] != 0 && history(index_[slot]).text() != cells) slot = (slot + 1) & mask;
  return slot;
}

void Encounter_store::grow_index() {
  const std::vector<int> old =
      std::exchange(index_, std::vector<int>(std::max<std::size_t>(16, 2 * index_.size()), 0));
  for (const int record : old)
    if (record != 0) index_[slot_of(history(record).text())] = record;
}

}  // namespace tarn
