#include "data/catalogue/encounter.h"

#include <gtest/gtest.h>

#include <random>

#include "data/records.h"
#include "support/test_job.h"

namespace tarn {
namespace {

/// Cells of a history written out, two characters an occasion.
struct Cells {
  explicit Cells(std::string text) : text(std::move(text)) {}
  operator History() const { return {text.data(), static_cast<int>(text.size() / 2)}; }
  std::string text;
};

TEST(Encounter, helpers_of_a_live_history) {
  const Cells h(
      ".0"
      "00"
      "10"
      "00"
      "10"
      "00"
      ".0");
  EXPECT_EQ(first1(h), 3);
  EXPECT_EQ(first01(h), 2);
  EXPECT_EQ(frstnz(h), 1);  // ".0" differs from "00"
  EXPECT_EQ(last1(h), 5);
  EXPECT_EQ(lastlc(h), 5);
  EXPECT_EQ(lastdr(h), 0);
  EXPECT_EQ(lastsm(h), 6);
}

TEST(Encounter, helpers_of_a_live_and_dead_history) {
  const Cells h(
      "00"
      "1000"
      "1000"
      "01");
  EXPECT_EQ(first1(h), 2);
  EXPECT_EQ(frstnz(h), 2);
  EXPECT_EQ(last1(h), 6);
  EXPECT_EQ(lastlc(h), 4);
  EXPECT_EQ(lastdr(h), 6);
  EXPECT_EQ(lastsm(h), 6);
}

TEST(Encounter, helpers_of_empty_histories) {
  for (const auto helper : {first1, frstnz, last1, lastlc, lastdr}) EXPECT_EQ(helper(Cells("0000")), 0);
  for (const auto helper : {first1, first01, last1, lastlc, lastdr, lastsm})
    EXPECT_EQ(helper(Cells(".0.0")), 0);
  for (const auto helper : {first1, first01, frstnz, last1, lastlc, lastdr, lastsm})
    EXPECT_EQ(helper(History()), 0);
}

TEST(Encounter, find_agrees_with_a_scan) {
  std::mt19937 random(7);
  Encounter_store store;
  store.reset(4, 2, 0, 100000);
  for (int draw = 0; draw < 5000; ++draw) {
    std::string text(8, '0');
    for (char& c : text) c = "01."[random() % 3];
    const Cells cells(text);
    int scanned = 0;
    for (int i = 1; i <= store.size() && scanned == 0; ++i)
      if (store.history(i).text() == text) scanned = i;
    ASSERT_EQ(store.find(cells), scanned);
    // Some histories are appended twice: the first record is the one that is found.
    if (scanned == 0 || draw % 10 == 0) store.append(cells, -9999.0);
  }
  EXPECT_GT(store.size(), 1000);
}

TEST(Encounter, elements_of_one_record) {
  Encounter_store store;
  store.reset(2, 3, 2, 10);
  store.append(Cells("1000"), -9999.0);
  store.append(Cells("0010"), -9999.0);
  for (int g = 1; g <= 3; ++g) {
    store.observed(2, g) = static_cast<float>(g);
    store.lost_on_capture(2, g) = static_cast<float>(10 * g);
  }
  store.ind_covariate(2, 1) = 0.5;
  store.ind_covariate(2, 2) = 1.5;
  const Encounter_store& read = store;
  for (int g = 1; g <= 3; ++g) {
    EXPECT_EQ(read.observed(1, g), 0.0f);
    EXPECT_EQ(read.observed(2, g), read.observed(2)[static_cast<std::size_t>(g) - 1]);
    EXPECT_EQ(read.observed(2, g), static_cast<float>(g));
    EXPECT_EQ(read.lost_on_capture(2, g), static_cast<float>(10 * g));
    EXPECT_EQ(read.lost_on_capture(2, g), read.lost_on_capture(2)[static_cast<std::size_t>(g) - 1]);
  }
  EXPECT_EQ(read.ind_covariate(1, 2), -9999.0);
  EXPECT_EQ(read.ind_covariate(2, 1), 0.5);
  EXPECT_EQ(read.ind_covariates(2)[1], 1.5);
}

TEST(Encounter, records_start_empty) {
  Encounter_store store;
  store.reset(2, 3, 2, 10);
  EXPECT_EQ(store.append(Cells("1000"), -9999.0), 1);
  EXPECT_EQ(store.observed(1).size(), 3u);
  EXPECT_EQ(store.observed(1, 3), 0.0f);
  EXPECT_EQ(store.lost_on_capture(1, 1), 0.0f);
  EXPECT_EQ(store.ind_covariate(1, 2), -9999.0);
  EXPECT_EQ(store.history(1).text(), "1000");
  store.reset(2, 3, 2, 10);
  EXPECT_EQ(store.size(), 0);
  EXPECT_EQ(store.find(Cells("1000")), 0);
}

TEST(Encounter, a_record_can_be_appended_from_its_own_store) {
  Encounter_store store;
  store.reset(3, 1, 0, 100);
  store.append(Cells("101000"), 0.0);
  for (int i = 1; i < 50; ++i) store.append(store.history(i), 0.0);
  EXPECT_EQ(store.history(50).text(), "101000");
}

TEST(Index, triangle) {
  Test_job t;
  t.job.status.noccas = 4;
  int next = 0;
  for (int row = 1; row <= 4; ++row)
    for (int col = row; col <= 4; ++col) EXPECT_EQ(lmdex(t, row, col), ++next);
  EXPECT_EQ(lmdexgen(t, 3, 3, 3), 6);
}

TEST(Index, triangle_arguments_out_of_range) {
  Test_job t;
  t.job.status.noccas = 4;
  for (const auto& [row, col] : {std::pair{0, 1}, {2, 1}, {1, 5}, {-1, -1}})
    EXPECT_EQ(stop_text([&, row = row, col = col] { lmdex(t, row, col); }), "Programming error from LMDEX");
  EXPECT_TRUE(t.listing_has("Row=2    Col=1"));
  EXPECT_TRUE(t.screen_has("Row=2    Col=1"));
  EXPECT_EQ(stop_text([&] { lmdexgen(t, 2, 7, 6); }), "Programming error from LMDEXGEN");
  EXPECT_TRUE(t.listing_has("Row=2    Col=7 NCols=6"));
  EXPECT_TRUE(t.screen_has("Row=2    Col=7 NCols=6"));
}

TEST(Index, transitions) {
  Test_job t;
  t.job.status.nstrta = 3;
  int next = 6;
  for (int i = 1; i <= 3; ++i)
    for (int j = 1; j <= 3; ++j)
      if (i != j) {
        EXPECT_EQ(lsdex(t, i, j), ++next);
      }
  EXPECT_EQ(stop_text([&] { lsdex(t, 2, 2); }), "Programming error from LSDEX");
  EXPECT_EQ(stop_text([&] { lsdex(t, 4, 1); }), "Programming error from LSDEX");
  EXPECT_TRUE(t.listing_has("Row=4    Col=1"));
}

}  // namespace
}  // namespace tarn
