// Laws of animals that move between strata (data types 9 and 21): sums, agreement with an enumeration of what
// may have happened, reductions, worked numbers.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/fitted_models.h"

namespace tarn {
namespace {

/// A data set of strata whose betas are its reals; every cohort and interval has its own.
class Strata_study {
 public:
  Strata_study(int type, int noccas, const std::string& codes, std::initializer_list<float> lengths = {},
               bool by_cohort = true)
      : model(type, noccas), type_(type), noccas_(noccas), codes_(codes), by_cohort_(by_cohort) {
    if (type == 21) model.job().status.liveeh = 0;
    model.intervals(lengths);
    model.strata(codes);
    model.job().model.nlink = Link::identity;
    for (const char* name : {"S", "p", "r"})
      for (int a = 1; a <= strata(); ++a) matrix(name, a, 1);
    for (int a = 1; a <= strata(); ++a)
      for (int b = 1; b <= strata(); ++b)
        if (b != a) matrix("Psi", a, b);
  }

  int strata() const { return static_cast<int>(codes_.size()); }
  int noccas() const { return noccas_; }
  bool dead_too() const { return type_ == 21; }
  const std::string& codes() const { return codes_; }

  /// One character an occasion, and of type 21 a second one.
  void record(const std::string& cells, float observed, float lost) {
    std::string two;
    for (const char c : cells) {
      two += c;
      if (!dead_too()) two += '0';
    }
    Encounter_store& store = model.job().data.encounters;
    const int i = store.append(History(two.data(), noccas_), -9999.0);
    store.observed(i, 1) = observed;
    store.lost_on_capture(i, 1) = lost;
    model.job().status.nhist = store.size();
    histories.push_back(cells);
  }

  void draw(unsigned seed) {
    Draws draws(seed);
    reals.assign(static_cast<std::size_t>(model.job().model.nlogit), 0.0);
    for (const auto& [key, number] : numbers_) {
      const bool moves = key.substr(0, 3) == "Psi";
      reals[static_cast<std::size_t>(number) - 1] =
          moves ? draws.between(0.02, 0.9 / strata()) : draws.between(0.05, 0.95);
    }
  }
  double& rate(const std::string& name, int a, int b, int first, int c) {
    return reals[static_cast<std::size_t>(numbers_.at(key(name, a, b, by_cohort_ ? first : 1, c))) - 1];
  }
  double length(int c) { return static_cast<double>(model.job().data.timint(c)); }

  std::vector<double> probabilities(bool lost = false) { return model.probabilities(reals, lost); }

  Model_builder model;
  std::vector<std::string> histories;
  std::vector<double> reals;

 private:
  static std::string key(const std::string& name, int a, int b, int row, int column) {
    std::string text = name;
    for (const int part : {a, b, row, column}) text += "/" + std::to_string(part);
    return text;
  }
  void matrix(const std::string& name, int a, int b) {
    const int q = findpar(model.job().data, name);
    if (q == 0) return;
    const int n = dead_too() && (name == "S" || name == "r") ? noccas_ : noccas_ - 1;
    model.pim(
        q, 1, by_cohort_ ? "TRIANG" : "SQUARE", by_cohort_ ? n : 1, n,
        [&](int r, int c) {
          const int number = static_cast<int>(numbers_.size()) + 1;
          numbers_.emplace(key(name, a, b, r, c), number);
          return number;
        },
        b, a);
  }

  int type_, noccas_;
  std::string codes_;
  bool by_cohort_;
  std::map<std::string, int> numbers_;
};

/// All that an animal caught first in stratum a on occasion f may go through, one way after the other: to
/// each record its probability. Nothing of the routines is used. Recorded are K characters, of type 21 two
/// each.
class Movers {
 public:
  Movers(Strata_study& study, int f, int a, const std::string& dots = {})
      : study_(study), f_(f), dots_(dots) {
    std::string cells(static_cast<std::size_t>(study.noccas()) * width(), '0');
    for (int o = 1; o < f; ++o)
      if (dotted(o)) cells[at(o)] = '.';
    cells[at(f)] = study.codes()[static_cast<std::size_t>(a) - 1];
    live(f, a, 1.0, cells);
  }
  const std::map<std::string, double>& records() const { return records_; }

 private:
  std::size_t width() const { return study_.dead_too() ? 2 : 1; }
  std::size_t at(int o) const { return static_cast<std::size_t>(o - 1) * width(); }
  bool dotted(int o) const {
    return static_cast<std::size_t>(o) <= dots_.size() && dots_[static_cast<std::size_t>(o) - 1] == '.';
  }
  void dots_from(int o, std::string& cells) const {
    for (; o <= study_.noccas(); ++o)
      if (dotted(o)) cells[at(o)] = '.';
  }
  void add(double share, std::string cells, int from) {
    dots_from(from, cells);
    records_[cells] += share;
  }

  /// Alive in stratum a on occasion o.
  void live(int o, int a, double share, const std::string& cells) {
    const int last = study_.dead_too() ? study_.noccas() : study_.noccas() - 1;
    if (o > last) return add(share, cells, o + 1);
    const double s = std::pow(study_.rate("S", a, 1, f_, o), study_.length(o));
    if (study_.dead_too()) {
      const double r = study_.rate("r", a, 1, f_, o);
      std::string found = cells;
      found[at(o) + 1] = '1';
      add(share * (1.0 - s) * r, found, o + 1);
      add(share * (1.0 - s) * (1.0 - r), cells, o + 1);
    } else {
      add(share * (1.0 - s), cells, o + 1);
    }
    if (o == study_.noccas()) return add(share * s, cells, o + 1);
    double stays = 1.0;
    for (int b = 1; b <= study_.strata(); ++b)
      if (b != a) stays -= study_.rate("Psi", a, b, f_, o);
    for (int b = 1; b <= study_.strata(); ++b) {
      const double there = share * s * (b == a ? stays : study_.rate("Psi", a, b, f_, o));
      std::string met = cells;
      if (dotted(o + 1)) {
        met[at(o + 1)] = '.';
        live(o + 1, b, there, met);
        continue;
      }
      const double p = study_.rate("p", b, 1, f_, o);
      live(o + 1, b, there * (1.0 - p), cells);
      met[at(o + 1)] = study_.codes()[static_cast<std::size_t>(b) - 1];
      live(o + 1, b, there * p, met);
    }
  }

  Strata_study& study_;
  int f_;
  std::string dots_;
  std::map<std::string, double> records_;
};

/// Of an animal removed at its last capture: all that it might have shown later.
double removed(const Movers& movers, const Strata_study& study, const std::string& cells) {
  const std::size_t width = study.dead_too() ? 2 : 1;
  std::size_t last = 0;
  for (std::size_t o = 0; o * width < cells.size(); ++o)
    if (study.codes().find(cells[o * width]) != std::string::npos) last = o;
  double total = 0.0;
  for (const auto& [other, share] : movers.records())
    if (other.compare(0, last * width + 1, cells, 0, last * width + 1) == 0) total += share;
  return total;
}

/// Whether a record ends with a recovery.
bool recovered(const Strata_study& study, const std::string& cells) {
  for (std::size_t k = 1; study.dead_too() && k < cells.size(); k += 2)
    if (cells[k] != '0') return true;
  return false;
}

struct Case {
  int type;
  std::string codes;
  int noccas;
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.type << " " << c.codes << " " << c.noccas; }

class Strata_laws : public testing::TestWithParam<Case> {};

TEST_P(Strata_laws, histories_are_those_of_animals_followed_one_by_one) {
  const auto& [type, codes, noccas] = GetParam();
  for (const std::string& dots :
       {std::string(), std::string("__.__"), std::string("___.."), std::string("_._._")})
    for (const bool by_cohort : {true, false})
      for (const bool unequal : {false, true}) {
        Strata_study study = unequal ? Strata_study(type, noccas, codes, {1.0F, 0.5F, 2.5F, 3.0F}, by_cohort)
                                     : Strata_study(type, noccas, codes, {}, by_cohort);
        study.draw(1);
        std::vector<std::pair<int, int>> cohort;  // of every record
        for (int f = 1; f <= noccas; ++f) {
          if (static_cast<std::size_t>(f) <= dots.size() && dots[static_cast<std::size_t>(f) - 1] == '.')
            continue;
          for (int a = 1; a <= study.strata(); ++a) {
            const Movers movers(study, f, a, dots);
            for (const auto& [cells, share] : movers.records()) {
              study.record(cells, 2.0F, recovered(study, cells) ? 0.0F : 1.0F);
              cohort.push_back({f, a});
            }
          }
        }
        study.model.finish();
        for (const unsigned seed : {2U, 3U}) {
          study.draw(seed);
          const std::vector<double> observed = study.probabilities(), lost = study.probabilities(true);
          std::map<std::pair<int, int>, double> sums;
          for (std::size_t i = 0; i < observed.size(); ++i) {
            const Movers movers(study, cohort[i].first, cohort[i].second, dots);
            // Some hundred sums of products.
            EXPECT_NEAR(observed[i], movers.records().at(study.histories[i]), 1e-14) << study.histories[i];
            if (!recovered(study, study.histories[i])) {
              EXPECT_NEAR(lost[i], removed(movers, study, study.histories[i]), 1e-14) << study.histories[i];
            }
            sums[cohort[i]] += observed[i];
          }
          for (const auto& [of, sum] : sums) EXPECT_NEAR(sum, 1.0, 1e-12) << of.first << " " << of.second;
          // Counts of what happened between captures, where they stand for histories.
          const double by_counts = study.model.func(study.reals);
          study.model.force_histories();
          EXPECT_NEAR(study.model.func(study.reals), by_counts, 1e-13 * std::abs(by_counts));
          study.model.set_threads(1);
        }
      }
}

INSTANTIATE_TEST_SUITE_P(types, Strata_laws,
                         testing::Values(Case{9, "A", 4}, Case{9, "AB", 4}, Case{9, "XYZ", 3},
                                         Case{21, "A", 3}, Case{21, "AB", 3}));

void copy_rates(Strata_study& to, double s_a, double s_b, double p_a, double p_b, double ab, double ba) {
  for (int f = 1; f <= to.noccas(); ++f)
    for (int c = f; c < to.noccas(); ++c) {
      to.rate("S", 1, 1, f, c) = s_a;
      to.rate("S", 2, 1, f, c) = s_b;
      to.rate("p", 1, 1, f, c) = p_a;
      to.rate("p", 2, 1, f, c) = p_b;
      to.rate("Psi", 1, 2, f, c) = ab;
      to.rate("Psi", 2, 1, f, c) = ba;
    }
}

TEST(Strata_worked, live_recaptures) {
  const std::map<std::string, double> expected{
      {"A00", 0.4763840000}, {"A0A", 0.0884800000}, {"A0B", 0.0591360000}, {"AA0", 0.1747200000},
      {"AAA", 0.0784000000}, {"AAB", 0.0268800000}, {"AB0", 0.0677760000}, {"ABA", 0.0067200000},
      {"ABB", 0.0215040000}, {"B00", 0.5808960000}, {"B0A", 0.0431200000}, {"B0B", 0.0819840000},
      {"BA0", 0.0436800000}, {"BAA", 0.0196000000}, {"BAB", 0.0067200000}, {"BB0", 0.1581440000},
      {"BBA", 0.0156800000}, {"BBB", 0.0501760000}, {"A.B", 0.1075200000}};
  Strata_study study(9, 3, "AB");
  for (const auto& [cells, prob] : expected) study.record(cells, 1.0F, cells == "AB0" ? 1.0F : 0.0F);
  study.draw(1);
  copy_rates(study, 0.8, 0.7, 0.5, 0.4, 0.3, 0.2);
  study.model.finish();
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], expected.at(study.histories[i]), 1e-10) << study.histories[i];
  const auto ab0 = std::find(study.histories.begin(), study.histories.end(), "AB0") - study.histories.begin();
  EXPECT_NEAR(study.probabilities(true)[static_cast<std::size_t>(ab0)], 0.0960000000, 1e-10);
}

TEST(Strata_worked, intervals_of_different_lengths) {
  for (const auto& [cells, first, second, prob] :
       {std::tuple("A0B", 1.0F, 2.0F, 0.0440832000), std::tuple("A0A", 2.0F, 0.5F, 0.0797614153)}) {
    Strata_study study(9, 3, "AB", {first, second});
    study.record(cells, 1.0F, 0.0F);
    study.draw(1);
    copy_rates(study, 0.8, 0.7, 0.5, 0.4, 0.3, 0.2);
    study.model.finish();
    EXPECT_NEAR(study.probabilities()[0], prob, 1e-10) << cells;
  }
}

TEST(Strata_worked, live_and_dead) {
  const std::map<std::string, double> expected{
      {"A000", 0.5385600000}, {"A001", 0.0254400000}, {"A0A0", 0.2632000000}, {"A0A1", 0.0168000000},
      {"A0B0", 0.0902400000}, {"A0B1", 0.0057600000}, {"A100", 0.0600000000}};
  Strata_study study(21, 2, "AB");
  for (const auto& [cells, prob] : expected) study.record(cells, 1.0F, 0.0F);
  study.draw(1);
  copy_rates(study, 0.8, 0.7, 0.5, 0.4, 0.3, 0.2);
  for (int f = 1; f <= 2; ++f)
    for (int c = f; c <= 2; ++c) {
      study.rate("S", 1, 1, f, c) = 0.8;
      study.rate("S", 2, 1, f, c) = 0.7;
      study.rate("r", 1, 1, f, c) = 0.3;
      study.rate("r", 2, 1, f, c) = 0.2;
    }
  study.model.finish();
  const std::vector<double> got = study.probabilities();
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], expected.at(study.histories[i]), 1e-10) << study.histories[i];
}

TEST(Strata_reductions, one_stratum_is_live_recaptures) {
  Strata_study study(9, 4, "1");
  Model_builder live(1, 4);
  for (unsigned bits = 1; bits < 16; ++bits) {
    study.record(binary_history(bits, 4), 1.0F, 1.0F);
    live.record(binary_history(bits, 4), {1.0F}, {1.0F});
  }
  live.cohort_pims();
  live.job().model.nlink = Link::identity;
  study.model.finish();
  live.finish();
  study.draw(5);
  std::vector<double> reals(static_cast<std::size_t>(live.job().model.nlogit), 0.5);
  for (int f = 1; f <= 3; ++f)
    for (int c = f; c <= 3; ++c) {
      reals[static_cast<std::size_t>((f - 1) * 3 + c) - 1] = study.rate("S", 1, 1, f, c);
      reals[static_cast<std::size_t>((3 + f - 1) * 3 + c) - 1] = study.rate("p", 1, 1, f, c);
    }
  Array2<double> observed, lost;
  cell_probabilities(live.job(), reals, observed, lost);
  const std::vector<double> got = study.probabilities(), got_lost = study.probabilities(true);
  for (std::size_t i = 0; i < got.size(); ++i) {
    EXPECT_NEAR(got[i], observed(static_cast<int>(i) + 1, 1), 1e-15) << study.histories[i];
    EXPECT_NEAR(got_lost[i], lost(static_cast<int>(i) + 1, 1), 1e-15) << study.histories[i];
  }
}

TEST(Strata_reductions, dots_behind_the_first_capture_are_certain) {
  Strata_study study(9, 4, "AB");
  study.record("B...", 1.0F, 0.0F);
  study.record("A...", 1.0F, 1.0F);
  study.draw(6);
  study.model.finish();
  EXPECT_EQ(study.probabilities()[0], 1.0);
  EXPECT_EQ(study.probabilities(true)[1], 1.0);
}

/// A transition of which there is no matrix does not happen.
TEST(Strata_reductions, a_missing_transition_is_none) {
  Strata_study study(9, 3, "AB"), without(9, 3, "AB");
  without.model.job().model.pim2(findpar(without.model.job().data, "Psi"), 2, 1, 1) = {};
  for (Strata_study* each : {&study, &without})
    for (const char* cells : {"A00", "A0A", "AB0", "BB0", "B0B", "ABB"}) each->record(cells, 1.0F, 1.0F);
  study.draw(7);
  without.draw(7);
  for (int f = 1; f <= 2; ++f)
    for (int c = f; c <= 2; ++c) study.rate("Psi", 2, 1, f, c) = 0.0;
  study.model.finish();
  without.model.finish();
  EXPECT_EQ(study.probabilities(), without.probabilities());
}

// KEPT: the row sums to more than 1, and only serial runs are charged for it.
TEST(Kept, over_full_row_of_transitions_is_charged_in_serial_runs) {
  Strata_study study(9, 2, "ABC", {}, false);
  study.record("A0", 1.0F, 0.0F);
  study.draw(8);
  for (const auto& [a, b, psi] : {std::tuple(1, 2, 0.7), std::tuple(1, 3, 0.5)})
    study.rate("Psi", a, b, 1, 1) = psi;
  study.model.finish();
  const double s = study.rate("S", 1, 1, 1, 1);
  const auto missed = [&](int b) { return 1.0 - study.rate("p", b, 1, 1, 1); };
  const double expected =
      1.0 - s + s * (2.220446049250313e-16 * missed(1) + 0.7 * missed(2) + 0.5 * missed(3));
  EXPECT_NEAR(study.probabilities()[0], expected, 1e-15);
  const double alone = study.model.func(study.reals);
  EXPECT_NEAR(study.model.value.sumpen, 0.8 + 2e6 * std::max(expected - 1.0, 0.0), 1e-9);
  study.model.force_threads(2);
  study.model.func(study.reals);
  EXPECT_NEAR(study.model.value.sumpen, 2e6 * std::max(expected - 1.0, 0.0), 1e-9);
  EXPECT_GT(alone, 0.0);
}

}  // namespace
}  // namespace tarn
