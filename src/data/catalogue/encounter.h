#pragma once
// Encounter histories: the cells of one record, and the pure helpers over them.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// The cells of one history, two characters an occasion: the live state, then the dead state. A view.
class History {
 public:
  History() = default;
  History(const char* cells, int noccas) : cells_(cells), noccas_(noccas) {}
  /// First character of the cell of occasion o, 1 to noccas.
  char live(int o) const { return cells_[2 * (o - 1)]; }
  /// Second character of the cell of occasion o.
  char dead(int o) const { return cells_[2 * (o - 1) + 1]; }
  int noccas() const { return noccas_; }
  const char* cells() const { return cells_; }
  std::string_view text() const { return {cells_, 2 * static_cast<std::size_t>(noccas_)}; }
  /// As a deck writes it: first characters alone in the live form.
  std::string as_typed(bool live_form) const;

 private:
  const char* cells_ = nullptr;
  int noccas_ = 0;
};

/// Whether the first character of a cell tells of an encounter: neither "0" nor ".".
constexpr bool captured(char live) { return live != '0' && live != '.'; }

/// Whether a site was surveyed on occasion o: no character of its cell is a dot.
inline bool surveyed(History h, int o) { return h.live(o) != '.' && h.dead(o) != '.'; }
/// Of a survey: whether anything was detected.
inline bool detected(History h, int o) { return h.live(o) != '0' || h.dead(o) != '0'; }

/// First occasion with a live capture (neither "." nor "0" in the first character); 0 if none.
int first1(History h);
/// First occasion sampled (first character not "."); 0 if none.
int first01(History h);
/// First occasion whose cell differs from "00"; 0 if none.
int frstnz(History h);
/// Last occasion whose cell is neither "00" nor ".0"; 0 if none.
int last1(History h);
/// Last live capture; 0 if none.
int lastlc(History h);
/// Last occasion whose second character is not "0"; 0 if none.
int lastdr(History h);
/// Last occasion sampled (first character not "."); 0 if none.
int lastsm(History h);

/// All records, in input order, stored flat; they grow as they are read and the capacity only bounds them.
class Encounter_store {
 public:
  /// Empties the store and fixes the shape of a record.
  void reset(int noccas, int ngrps, int nicovs, int capacity);
  int size() const { return count_; }
  int capacity() const { return capacity_; }
  /// Cells of record i, 1 to size().
  History history(int i) const;
  /// Its frequency in each group, observed and lost on capture, and its covariates.
  std::span<float> observed(int i);
  std::span<const float> observed(int i) const;
  std::span<float> lost_on_capture(int i);
  std::span<const float> lost_on_capture(int i) const;
  std::span<double> ind_covariates(int i);
  std::span<const double> ind_covariates(int i) const;
  /// One of them: group g, covariate c, counted from 1.
  float& observed(int i, int g) { return observed_[place(i, ngrps_, g)]; }
  float observed(int i, int g) const { return observed_[place(i, ngrps_, g)]; }
  float& lost_on_capture(int i, int g) { return lost_[place(i, ngrps_, g)]; }
  float lost_on_capture(int i, int g) const { return lost_[place(i, ngrps_, g)]; }
  double& ind_covariate(int i, int c) { return covariates_[place(i, nicovs_, c)]; }
  double ind_covariate(int i, int c) const { return covariates_[place(i, nicovs_, c)]; }
  /// Appends a record with zero counts and missing covariates and gives its number.
  /// May throw std::bad_alloc. The caller has compared size() with capacity().
  int append(History cells, double missing);
  /// The first record with these cells; 0 when there is none. Of the same work whatever the number of
  /// records.
  int find(History cells) const;

 private:
  /// Place of element k, from 1, of record i in an array of `length` elements a record.
  static std::size_t place(int i, int length, int k) {
    return static_cast<std::size_t>(i - 1) * static_cast<std::size_t>(length) +
           static_cast<std::size_t>(k - 1);
  }
  template <class T>
  static auto part(T& values, int i, int length) {
    return std::span(values).subspan(place(i, length, 1), static_cast<std::size_t>(length));
  }
  void grow_index();
  std::size_t slot_of(std::string_view cells) const;

  int noccas_ = 0, ngrps_ = 0, nicovs_ = 0, capacity_ = 0, count_ = 0;
  std::vector<char> cells_;
  std::vector<float> observed_, lost_;
  std::vector<double> covariates_;
  std::vector<int> index_;    ///< open hash table of record numbers, 0 where free; its size is a power of 2
  std::size_t distinct_ = 0;  ///< records in the index: the first of each history
};

}  // namespace tarn
