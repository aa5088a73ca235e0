// Laws of the robust designs for every closed kind: sums, and agreement with an enumeration of animals.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fitted_models.h"
#include "support/study_animals.h"

namespace tarn {
namespace {

std::vector<int> types_with_cell(std::vector<Cell> cells) {
  std::vector<int> types;
  for (int type = 1; type <= max_dattyp; ++type)
    if (std::find(cells.begin(), cells.end(), datatype(type).cell) != cells.end()) types.push_back(type);
  return types;
}

/// Sessions, how the matrices lie, and occasions without sampling where the alphabet has the dot.
struct Layout {
  std::vector<int> lengths;
  std::vector<float> between;
  bool by_cohort, short_return;
  int groups;
  std::vector<std::string> dots;
};

const std::vector<Layout>& layouts() {
  static const std::vector<Layout> all{
      {{2, 1, 2}, {0.5F, 2.0F, 1.5F}, true, false, 1, {"_____", "_.___", ".__._", "__.__", "___.."}},
      {{1, 2, 1, 2}, {1.5F, 1.0F, 0.25F}, false, true, 2, {"______", "_.____", "_..___", "___.__"}},
      {{1, 3}, {}, true, true, 1, {"____", "__._"}},
      {{1, 1, 1, 1}, {0.5F, 2.0F}, true, true, 1, {"____", "_.__"}}};
  return all;
}

/// One model of a type.
struct Setting {
  const Layout& layout;
  int mixtures;
  std::string dots;
  std::string told() const { return dots + ", mixtures " + std::to_string(mixtures); }
};

bool skips_a_session(const std::vector<int>& lengths, const std::string& dots) {
  std::size_t at = 0;
  for (const int length : lengths) {
    const auto n = static_cast<std::size_t>(length);
    if (dots.substr(at, n) == std::string(n, '.')) return true;
    at += n;
  }
  return false;
}

std::vector<Setting> settings_of(int type) {
  std::vector<Setting> all;
  const bool dotted = datatype(type).alphabet.find('.') != std::string_view::npos;
  for (const Layout& layout : layouts())
    for (const int mixtures : Closed_kind::of(type).mixtures ? std::vector{2, 3} : std::vector{1})
      for (const std::string& dots : layout.dots) {
        if (dots != layout.dots.front() && !dotted) continue;
        // A session in which nothing is sampled leaves no estimate of the number present in it.
        if (datatype(type).cell == Cell::robust_pradel_n && skips_a_session(layout.lengths, dots)) continue;
        all.push_back({layout, mixtures, dots});
      }
  return all;
}

Study_builder study_of(int type, const Setting& setting) {
  const Layout& layout = setting.layout;
  return {type,
          layout.lengths,
          {.between = layout.between,
           .mixtures = setting.mixtures,
           .groups = layout.groups,
           .by_cohort = layout.by_cohort,
           .short_return = layout.short_return}};
}

/// The history with a dot where nothing was sampled.
std::string dotted(std::string history, const std::string& dots) {
  const std::size_t width = history.size() / dots.size();
  for (std::size_t o = 0; o < dots.size(); ++o)
    if (dots[o] == '.') history[width * o] = '.';
  return history;
}

/// Whether the animals of each first session are a cohort; else all that are ever caught are one.
bool is_conditional_on_first(int type) {
  const Cell cell = datatype(type).cell;
  return cell == Cell::robust || cell == Cell::robust_barker;
}

class Robust_laws : public testing::TestWithParam<int> {
 protected:
  /// Records all histories of a data set, then calls `look(setting, study)`, the model finished.
  /// @param losses  some animals of every history were lost on capture
  template <class Look>
  void at_every_setting(bool losses, const Look& look) {
    for (const Setting& setting : settings_of(GetParam())) {
      Study_builder study = study_of(GetParam(), setting);
      study.draw(1);
      Draws draws(71);
      for (const Recorded& cohort : cohorts(study, 1, setting.dots))
        for (const auto& [history, share] : cohort.shares()) {
          std::vector<float> observed, lost;
          for (int g = 1; g <= study.groups(); ++g) {
            observed.push_back(static_cast<float>(draws.whole(1, 4)));
            lost.push_back(losses ? static_cast<float>(draws.whole(1, 2)) : 0.0F);
          }
          study.record(dotted(history, setting.dots), observed, lost);
          histories_.push_back(history);
        }
      study.model.finish();
      look(setting, study);
      histories_.clear();
    }
  }

  /// What the animals of a group show, by the first session where a type has such cohorts.
  static std::vector<Recorded> cohorts(Study_builder& study, int g, const std::string& dots) {
    Study_animals animals(study, g, dots);
    std::vector<Recorded> all;
    if (is_conditional_on_first(study.row.number)) {
      for (int f = 1; f <= study.sessions(); ++f)
        if (animals.pstar(f) > 0.0)
          all.push_back(study.row.cell == Cell::robust ? animals.emigrants(f) : animals.resighted(f));
      return all;
    }
    const Entering of = entering(study, animals, growth_of(study), released_shares(study, g), g);
    all.push_back(ever_caught(study, animals, of));
    return all;
  }

  std::vector<std::string> histories_;  ///< of the records
};

TEST_P(Robust_laws, histories_are_those_of_animals_followed_one_by_one) {
  for (const bool losses : {false, true})
    at_every_setting(losses, [&](const Setting& setting, Study_builder& study) {
      // 101 nodes against an integral: what the rule itself leaves out with deviations up to 1.2. The others
      // are sums of some ten products.
      const double tolerance = study.kind.effect ? 1e-10 : 1e-14;
      for (int g = 1; g <= study.groups(); ++g) {
        study.draw(static_cast<unsigned>(10 * g));
        const Study_animals animals(study, g, setting.dots);
        const std::vector<double> observed = study.probabilities(false, g),
                                  lost = study.probabilities(true, g);
        std::size_t i = 0;
        for (const Recorded& cohort : cohorts(study, g, setting.dots)) {
          double total = 0.0;
          for (const auto& [history, share] : cohort.shares()) {
            const double factor = study.kind.conditional ? 1.0 : animals.pstar_of(history);
            ASSERT_EQ(histories_[i], history);
            EXPECT_NEAR(observed[i], share * factor, tolerance)
                << history << ' ' << setting.told() << ", group " << g;
            total += observed[i] / factor;
            if (losses) {
              const double removed = cohort.removed(history, history.size() / setting.dots.size());
              EXPECT_NEAR(lost[i], removed * factor, tolerance)
                  << history << ' ' << setting.told() << ", group " << g << ", lost";
            }
            ++i;
          }
          // Within the rule's own error, that cancels in a ratio.
          EXPECT_NEAR(total, 1.0, 1e-12) << setting.told() << ", group " << g;
        }
        EXPECT_EQ(i, observed.size());
      }
    });
}

class Growing_robust_laws : public Robust_laws {};

// Released with chance mu after every capture but the last, which is a loss with chance 1 - mu. In a longer
// session an animal may be removed on any occasion, which a share of the session does not tell.
TEST_P(Growing_robust_laws, releases_and_losses_in_sessions_of_one_occasion_sum_to_one) {
  at_every_setting(true, [&](const Setting& setting, Study_builder& study) {
    if (study.sessions() < study.noccas()) return;
    for (const unsigned seed : {31U, 32U, 33U}) {
      study.draw(seed);
      const Study_animals animals(study, 1, setting.dots);
      const std::vector<double> mu = released_shares(study), observed = study.probabilities(),
                                lost = study.probabilities(true);
      double total = 0.0;
      for (std::size_t i = 0; i < observed.size(); ++i) {
        const std::vector<bool> captured = study.captured(histories_[i]);
        double ahead = 1.0, last = 1.0;
        for (std::size_t s = 0; s < captured.size(); ++s)
          if (captured[s]) ahead *= last, last = mu[s];
        const double factor = study.kind.conditional ? 1.0 : animals.pstar_of(histories_[i]);
        total += ahead * (last * observed[i] + (1.0 - last) * lost[i]) / factor;
      }
      EXPECT_NEAR(total, 1.0, 1e-12) << setting.told() << ", seed " << seed;
    }
  });
}

INSTANTIATE_TEST_SUITE_P(types, Growing_robust_laws,
                         testing::ValuesIn(types_with_cell({Cell::robust_pradel, Cell::robust_pradel_n})),
                         name_of_type);
INSTANTIATE_TEST_SUITE_P(types, Robust_laws,
                         testing::ValuesIn(types_with_cell({Cell::robust, Cell::robust_barker,
                                                            Cell::robust_pradel, Cell::robust_pradel_n})),
                         name_of_type);

}  // namespace
}  // namespace tarn
