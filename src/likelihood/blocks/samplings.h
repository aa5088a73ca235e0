#pragma once
// Sets of occasions that were not sampled. What was computed for one serves every history that has it.

#include <string>
#include <unordered_map>
#include <vector>

#include "data/catalogue/encounter.h"

namespace tarn {

/// The occasions from `from` on that were not sampled, as a text.
std::string text_of_sampling(History history, int from);

/// The sets that many of the records share.
class Samplings {
 public:
  /// Record i, which takes part from period `first` on, has the set of this text.
  void add(int i, const std::string& text, int first);
  /// To be called behind the last record. Of a set that less than one record in 64 has nothing is kept.
  void number_them();

  /// Number of a record's set: 0 where every occasion was sampled, -1 where few share it.
  int of(int i) const {
    const auto place = static_cast<std::size_t>(i);
    return place < set_of_.size() && set_of_[place] >= 0
               ? sets_[static_cast<std::size_t>(set_of_[place])].number
               : -1;
  }
  /// For every number the record that takes part first; 0 where there is none.
  const std::vector<int>& examples() const { return examples_; }

 private:
  struct Set {
    bool everything = false;  ///< was sampled
    int uses = 0, record = 0, first = 0, number = -1;
  };
  std::unordered_map<std::string, int> numbers_;
  std::vector<Set> sets_;
  std::vector<int> set_of_;  ///< by record, from 0; -1: takes no part
  std::vector<int> examples_{0};
  int records_ = 0;
};

}  // namespace tarn
