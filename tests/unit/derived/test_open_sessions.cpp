// Sizes and residency times of open sessions.

#include "derived/open_sessions.h"

#include <gtest/gtest.h>

#include "derived/sections.h"
#include "support/session_lives.h"

namespace tarn {
namespace {

/// Animals that were sampled differently, in two groups, some lost.
void fill(Session_study& study) {
  for (const std::string& dots : {std::string(), std::string("_.___"), std::string("_.._.")})
    for (const std::string& cells : all_records({3, 2}, kinds_of_signs(study.type(), study.codes()), dots))
      if (!never_caught(cells))
        study.record(cells, {1.0F + static_cast<float>(study.histories.size() % 3), 2.0F}, {0.0F, 1.0F});
  study.draw(3);
  study.model.finish();
}

class Open_sections : public testing::TestWithParam<int> {};

TEST_P(Open_sections, give_sizes_with_their_sampling_and_times) {
  Session_study study(GetParam(), {3, 2}, "AB", {.triangles = true, .groups = 2});
  fill(study);
  Derived_frame frame(study.model.job());
  const bool seasons = study.has("alpha");
  List<double> sizes(8), times(8);
  frame.added_variance.assign(8, 0.0);
  openrd_n(frame, study.reals, 1, sizes);
  (seasons ? openrdseas_rt1a : openrd_rt1)(frame, study.reals, 1, times);
  const Encounter_store& store = study.model.job().data.encounters;
  for (const int g : {1, 2})
    for (const int a : {1, 2})
      for (const int s : {1, 2}) {
        const Session_lives lives(study, g);
        double size = 0.0, sampling = 0.0;
        for (int i = 1; i <= store.size(); ++i) {
          const std::string& cells = study.histories[static_cast<std::size_t>(i) - 1];
          if (lives.cells_of(cells, s).find(study.codes()[static_cast<std::size_t>(a) - 1]) ==
              std::string::npos)
            continue;
          const double star = 1.0 - lives.misses(cells, s, a).second;
          const double animals = static_cast<double>(store.observed(i, g)) + store.lost_on_capture(i, g);
          size += animals / star;
          sampling += animals * (1.0 - star) / (star * star);
        }
        const int at = ((g - 1) * 2 + a - 1) * 2 + s;
        EXPECT_NEAR(sizes(at) / size, 1.0, 1e-12);  // some hundred terms
        EXPECT_NEAR(frame.added_variance(at) / sampling, 1.0, 1e-12);
        const Session_rates rates = session_rates(study, a, s, g);
        double time = 0.0;
        for (int i = 1; i <= rates.length(); ++i) {
          double stay = rates.alpha * rates.b[static_cast<std::size_t>(i) - 1];
          for (int d = i; d <= rates.length(); ++d) {
            time += stay;
            stay *= rates.phi[static_cast<std::size_t>(i) - 1][static_cast<std::size_t>(d) - 1];
          }
        }
        EXPECT_NEAR(times(at), time, 1e-14);
      }
}

INSTANTIATE_TEST_SUITE_P(types, Open_sections, testing::Values(32, 119, 126, 142, 184));

TEST(Open_sections, of_each_type) {
  for (const int type : {32, 119, 126}) {
    ASSERT_EQ(derived_sections(datatype(type)).size(), 2U);
    EXPECT_EQ(derived_sections(datatype(type))[1]->title, "Method 1 Residency Time Estimates of ");
  }
  for (const int type : {142, 184})
    EXPECT_EQ(derived_sections(datatype(type))[1]->title,
              "Method 1 Residency Time of Individuals Estimates of ");
  for (const int type : {103, 121, 122}) EXPECT_TRUE(derived_sections(datatype(type)).empty());
}

}  // namespace
}  // namespace tarn
