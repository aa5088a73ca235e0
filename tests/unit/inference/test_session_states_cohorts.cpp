// Cohorts and effective sample sizes of robust designs with open sessions or uncertain states.

#include <gtest/gtest.h>

#include <tuple>

#include "inference/cohorts.h"
#include "inference/saturd.h"
#include "support/session_lives.h"

namespace tarn {
namespace {

const std::vector<int> lengths{2, 1, 2};

TEST(Session_states_cohorts, can_show_what_enumeration_finds) {
  for (const auto& [type, codes, cohorts] :
       {std::tuple(32, "AB", 6), std::tuple(119, "AB", 3), std::tuple(103, "AB", 2), std::tuple(121, "AB", 3),
        std::tuple(122, "AB", 3), std::tuple(126, "AB", 3), std::tuple(142, "ABC", 3),
        std::tuple(184, "A", 3), std::tuple(122, "A", 3), std::tuple(103, "ABC", 3)}) {
    Session_study study(type, lengths, codes);
    for (const std::string& cells : all_records(lengths, kinds_of_signs(type, codes), {}))
      if (!never_caught(cells)) study.record(cells);
    const Cohorts of(study.model.job());
    ASSERT_EQ(of.count(), cohorts) << type;
    for (int k = 1; k <= of.count(); ++k)
      EXPECT_EQ(of.possible_histories(k), of.observed(k, 1)) << type << " cohort " << k;
    const Saturated_model saturated = saturd(study.model.job());
    EXPECT_EQ(saturated.histories, static_cast<double>(study.histories.size())) << type;
    EXPECT_EQ(saturated.nsat, static_cast<int>(study.histories.size()) - cohorts) << type;
  }
}

TEST(Session_states_cohorts, effective_sample_size_counts_sessions_with_a_capture_that_another_may_follow) {
  for (const int type : {32, 119, 103, 121, 122, 126, 142, 184}) {
    Session_study study(type, lengths, "AB");
    const char open = !is_uncertain(type) ? 'A' : type == 122 ? 'b' : 'u';
    const auto record = [&](std::string cells, float observed, float lost) {
      for (char& c : cells) c = c == '?' ? open : c;
      study.record(cells, observed, lost);
    };
    record("A?BAA", 1.0F, 0.0F);      // sessions 1 and 2
    record("B0000", 10.0F, 0.0F);     // session 1
    record("000A?", 100.0F, 0.0F);    // none: the last session
    record("0?B00", 0.0F, 1000.0F);   // session 1: they were lost in session 2
    record("?0?00", 0.0F, 10000.0F);  // the same
    EXPECT_EQ(effective_sample_size(study.model.job()), 2.0 + 10.0 + 1000.0 + 10000.0) << type;
  }
}

}  // namespace
}  // namespace tarn
