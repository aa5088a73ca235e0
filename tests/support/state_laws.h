#pragma once
// The laws of histories whose states need not be told: those of animals that a test follows one by one.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/state_study.h"

namespace tarn {

/// Animals of one set, within which the probabilities of all histories sum to 1.
struct Followed {
  State_records records;  ///< their shares
  double all = 1.0;       ///< the sum of those that are told of
  std::string untold{};   ///< cells of which nothing is told; empty: none
};

/// A set of animals of group g, at the rates that the study has then.
using Follow = std::function<Followed(int g)>;

/// An animal that is released on occasion f. Where states at release have no matrix it shows the code of
/// state `from`, and is in that state. A test's walk builds on it.
class Released_animals {
 public:
  Followed followed() const { return {made_}; }

 protected:
  Released_animals(State_study& study, int f, Dots dots, int g)
      : study_(study), f_(f), g_(g), dots_(std::move(dots)) {}
  /// Calls shows(state, share, sign, cells) for every way in which one can be released.
  template <class Shows>
  void release(int from, const Shows& shows) {
    const std::string nothing = dots_.empty(study_);
    for (int a = 1; a <= study_.strata(); ++a) {
      if (from != 0) {
        if (a == from) shows(a, 1.0, study_.code(a), nothing);
        continue;
      }
      for (const auto& [sign, chance] : study_.captured(a, f_, f_, g_))
        shows(a, study_.starts_in(a, f_, g_) * chance, sign, nothing);
    }
  }

  State_study& study_;
  int f_, g_;
  Dots dots_;
  State_records made_;
};

/// The sets of a study with these occasions not sampled: one for each occasion of release, and, where states
/// at release have no matrix, each code. `Walk` is made of a study, f, `from`, dots and g.
template <class Walk>
std::vector<Follow> sets_of_releases(State_study& study, const std::string& dots) {
  const bool pi = study.layout.pi || study.strata() == 1;
  std::vector<Follow> sets;
  for (int f = 1; f <= study.noccas(); ++f)
    for (int from = pi ? 0 : 1; from <= (pi ? 0 : study.strata()); ++from)
      if (!Dots(dots).at(f))
        sets.push_back([&study, f, from, dots](int g) { return Walk(study, f, from, dots, g).followed(); });
  return sets;
}

/// The cells of all these sets, released and lost, are those of the animals followed, and sum to 1; the
/// objective is the same by tables, by histories over tables, and added up from the cells.
/// @param may_be_lost  whether an animal with these cells may have been removed at its last capture
inline void expect_histories_of(State_study& study, const std::vector<Follow>& sets,
                                const std::function<bool(const std::string&)>& may_be_lost) {
  const std::vector<float> some(static_cast<std::size_t>(study.layout.groups), 2.0F),
      one(static_cast<std::size_t>(study.layout.groups), 1.0F);
  study.draw(1);
  std::vector<std::size_t> set_of;
  for (std::size_t k = 0; k < sets.size(); ++k) {
    const Followed all = sets[k](1);
    for (const auto& [cells, share] : all.records.shares()) {
      if (cells == all.untold) continue;
      study.record(cells, some, may_be_lost(cells) ? one : std::vector<float>());
      set_of.push_back(k);
    }
  }
  study.model.finish();
  for (const unsigned seed : {2U, 3U}) {
    study.draw(seed);
    double from_cells = 0.0;
    for (int g = 1; g <= study.layout.groups; ++g) {
      const std::vector<double> observed = study.probabilities(false, g), lost = study.probabilities(true, g);
      for (std::size_t k = 0; k < sets.size(); ++k) {
        const Followed all = sets[k](g);
        double sum = 0.0;
        for (std::size_t i = 0; i < observed.size(); ++i) {
          if (set_of[i] != k) continue;
          const std::string& cells = study.histories[i];
          sum += observed[i];
          from_cells -= 4.0 * std::log(std::max(observed[i], minlog));
          // Some hundred sums of products.
          EXPECT_NEAR(observed[i], all.records.at(cells) / all.all, 1e-14) << cells;
          if (!may_be_lost(cells)) continue;
          from_cells -= 2.0 * std::log(std::max(lost[i], minlog));
          EXPECT_NEAR(lost[i], all.records.removed(cells, study.width()) / all.all, 1e-14) << cells;
        }
        EXPECT_NEAR(sum, 1.0, 1e-12) << "set " << k;
      }
    }
    // Some thousand logarithms.
    EXPECT_NEAR(study.model.func(study.reals), from_cells, 1e-12 * std::abs(from_cells));
    study.model.force_histories();
    EXPECT_NEAR(study.model.func(study.reals), from_cells, 1e-12 * std::abs(from_cells));
    study.model.set_threads(1);
  }
}

}  // namespace tarn
