// Cohorts, the saturated model, sample size and summary of sites.

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "inference/cohorts.h"
#include "inference/data_summary.h"
#include "inference/saturd.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

/// What a survey may tell in each type.
struct Family {
  std::vector<int> types;
  std::vector<std::string> signs;
};
const std::vector<Family>& families() {
  static const std::vector<Family> all{
      {{27, 28, 29, 30, 107, 108, 109, 110, 111, 112, 123, 143, 144, 151, 152, 153, 154, 170, 175},
       {"0", "1"}},
      {{116, 124, 125, 156, 157}, {"0", "1", "2"}},
      {{113, 137, 141}, {"00", "10", "01", "11"}},
      {{177}, {"00", "01", "02", "03"}},
      {{117, 118}, {"00", "01", "12"}},
  };
  return all;
}
constexpr int type_count = 30;

Model_builder study(int type, int groups = 1) {
  Model_builder m(type, 3, groups);
  m.job().status.liveeh = datatype(type).live ? 1 : 0;
  if (datatype(type).sessions) m.sessions({1, 2});
  if (datatype(type).strata_tail == Strata_tail::zero_first) m.strata("12");
  m.job().status.nspeciesocc = datatype(type).species ? 2 : 0;
  return m;
}

/// A record by its cells, of one or two characters each.
void record(Model_builder& m, const std::string& typed, const std::vector<float>& observed,
            const std::vector<float>& lost = {}) {
  if (m.job().status.liveeh) return m.record(typed, observed, lost);
  Encounter_store& store = m.job().data.encounters;
  const int i = store.append(History(typed.data(), m.job().status.noccas), -9999.0);
  std::copy(observed.begin(), observed.end(), store.observed(i).begin());
  std::copy(lost.begin(), lost.end(), store.lost_on_capture(i).begin());
}

std::vector<std::string> everything_possible(const std::vector<std::string>& signs) {
  std::vector<std::string> all{""};
  for (int o = 1; o <= 3; ++o) {
    std::vector<std::string> longer;
    for (const std::string& ahead : all)
      for (const std::string& sign : signs) longer.push_back(ahead + sign);
    all = longer;
  }
  return all;
}

TEST(Site_cohorts, are_all_types_of_sites) {
  std::set<int> named, told;
  for (const Family& family : families()) named.insert(family.types.begin(), family.types.end());
  for (int n = 1; n <= max_dattyp; ++n)
    if (of_sites(datatype(n))) told.insert(n);
  EXPECT_EQ(named, told);
  EXPECT_EQ(static_cast<int>(told.size()), type_count);
}

TEST(Site_cohorts, can_show_what_enumeration_finds) {
  for (const Family& family : families())
    for (const int type : family.types) {
      Model_builder m = study(type, 2);
      const std::vector<std::string> all = everything_possible(family.signs);
      for (const std::string& cells : all) record(m, cells, {1.0F, 2.0F});
      const Cohorts of(m.job());
      ASSERT_EQ(of.count(), 1) << type;
      EXPECT_EQ(of.possible_histories(1), static_cast<double>(all.size())) << type;
      const Saturated_model saturated = saturd(m.job());
      EXPECT_EQ(saturated.cohorts, 2) << type;
      EXPECT_EQ(saturated.histories, 2.0 * static_cast<double>(all.size())) << type;
      EXPECT_EQ(saturated.nsat, 2 * (static_cast<int>(all.size()) - 1)) << type;
    }
}

TEST(Site_cohorts, codes_of_states_and_species_count) {
  Model_builder states = study(125);
  states.strata("123");
  record(states, "012", {1.0F});
  EXPECT_EQ(Cohorts(states.job()).possible_histories(1), 64.0);
  Model_builder species = study(177);
  species.job().status.nspeciesocc = 3;
  record(species, "000702", {1.0F});
  EXPECT_EQ(Cohorts(species.job()).possible_histories(1), 512.0);
}

double term(double n, double total) { return n * std::log(n / total); }

// Sites without a detection, and those of dots, are cells as any other. Of those that were called lost the
// cells are their own, as of animals.
TEST(Site_cohorts, the_cohort_is_the_group) {
  Model_builder m = study(30, 2);
  record(m, "000", {30.0F, 10.0F});
  record(m, "1.0", {5.0F, 0.0F}, {2.0F, 0.0F});
  record(m, "...", {3.0F, 0.0F});
  record(m, "011", {2.0F, 6.0F}, {1.0F, 0.0F});
  const double sum = term(30, 40) + term(5, 40) + term(3, 40) + term(2, 40) + term(10, 16) + term(6, 16) +
                     term(2, 3) + term(1, 3);
  const Saturated_model saturated = saturd(m.job());
  // A sum of eight logarithms.
  EXPECT_NEAR(saturated.xlogs / (-2.0 * sum), 1.0, 1e-14);
  EXPECT_EQ(saturated.nsat, 3 + 1 + 1);
  EXPECT_EQ(saturated.cohorts, 3);
  EXPECT_TRUE(has_pearson_figures(m.job()));
}

TEST(Site_cohorts, sample_size_is_the_sites_that_were_surveyed) {
  for (const Family& family : families())
    for (const int type : family.types) {
      Model_builder m = study(type, 2);
      const bool pairs = datatype(type).live == 0;
      record(m, pairs ? "000000" : "000", {7.0F, 2.0F}, {1.0F, 0.0F});
      record(m, pairs ? "....01" : "..1", {4.0F, 0.0F});
      record(m, pairs ? "......" : "...", {11.0F, 5.0F});
      EXPECT_EQ(effective_sample_size(m.job()), 14.0) << type;
      m.job().model.essanimals = true;
      EXPECT_EQ(effective_sample_size(m.job()), 30.0) << type;
    }
}

// A cell with one dot was not surveyed.
TEST(Site_cohorts, half_a_cell_is_no_survey) {
  for (const int type : {113, 117, 118, 137, 141, 177}) {
    Model_builder m = study(type);
    record(m, "1..1..", {4.0F});
    EXPECT_EQ(effective_sample_size(m.job()), 0.0) << type;
    record(m, "1..100", {3.0F});
    EXPECT_EQ(effective_sample_size(m.job()), 3.0) << type;
  }
}

TEST(Site_cohorts, the_summary_has_one_number_a_group) {
  for (const Family& family : families())
    for (const int type : family.types) {
      Model_builder m = study(type, 2);
      const bool pairs = datatype(type).live == 0;
      record(m, pairs ? "000000" : "000", {7.0F, 2.0F}, {1.0F, 0.0F});
      record(m, pairs ? "......" : "...", {4.0F, 3.0F});
      m.job().data.glabel.assign(2, Charray());
      const Data_summary data = data_summary(m.job());
      EXPECT_FALSE(data.records_are_captures) << type;
      EXPECT_FALSE(data.closed) << type;
      ASSERT_EQ(data.groups.size(), 2) << type;
      EXPECT_EQ(data.groups(1).released, (List<double>{12.0})) << type;
      EXPECT_EQ(data.groups(2).released, (List<double>{5.0})) << type;
      EXPECT_TRUE(data.groups(1).not_released.empty()) << type;
    }
}

}  // namespace
}  // namespace tarn
