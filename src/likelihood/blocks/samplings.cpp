#include "likelihood/blocks/samplings.h"

namespace tarn {

std::string text_of_sampling(History history, int from) {
  std::string text;
  for (int o = from; o <= history.noccas(); ++o)
    if (history.live(o) == '.') text += std::to_string(o) + ' ';
  return text;
}

void Samplings::add(int i, const std::string& text, int first) {
  const auto [place, is_new] = numbers_.emplace(text, static_cast<int>(sets_.size()));
  if (is_new) sets_.push_back({.everything = text.empty()});
  Set& set = sets_[static_cast<std::size_t>(place->second)];
  ++set.uses;
  ++records_;
  // What is ahead of the first period of a record does not stand in the text, so none may come earlier.
  if (set.record == 0 || first < set.first) set.record = i, set.first = first;
  if (static_cast<std::size_t>(i) >= set_of_.size()) set_of_.resize(static_cast<std::size_t>(i) + 1, -1);
  set_of_[static_cast<std::size_t>(i)] = place->second;
}

void Samplings::number_them() {
  for (Set& set : sets_) {
    if (set.everything) {
      set.number = 0;
      examples_[0] = set.record;
    } else if (set.uses > 1 && set.uses >= records_ / 64) {
      set.number = static_cast<int>(examples_.size());
      examples_.push_back(set.record);
    }
  }
}

}  // namespace tarn
