// Animals by stratum: those caught in each primary session, where the population is closed within sessions.

#include <gtest/gtest.h>

#include <string>

#include "data/catalogue/datatype.h"
#include "data/sessions.h"
#include "data_job.h"

namespace tarn {
namespace {

class Strata_tabulation : public testing::TestWithParam<int> {};

TEST_P(Strata_tabulation, an_animal_stands_once_in_every_session_that_caught_it) {
  const Data_job t(
      "occasions=5 groups=2 hist=10 strata=2 etype=" + std::string(datatype(GetParam()).keyword[0]),
      "strata=A B; time intervals 0 1 2 0;"  // sessions of 2, 1 and 2 occasions
      "AA000 3 2; B0AB0 5 -1; 000BB 20 70; 0A0.A -4 0; ..B00 100 -10;");
  ASSERT_EQ(t.fault, "");
  ASSERT_EQ(t.job.status.nprimy, 3);
  // Group, stratum, session.
  const float u[2][2][5] = {{{3, 5, 0, 0, 0}, {5, 100, 25, 0, 0}}, {{2, 0, 0, 0, 0}, {0, 0, 70, 0, 0}}};
  const float ul[2][2][5] = {{{4, 0, 4, 0, 0}, {0, 0, 0, 0, 0}}, {{0, 1, 0, 0, 0}, {1, 10, 1, 0, 0}}};
  for (int g = 1; g <= 2; ++g)
    for (int a = 1; a <= 2; ++a)
      for (int s = 1; s <= 5; ++s) {
        EXPECT_EQ(t.u(s, g, a), u[g - 1][a - 1][s - 1]) << g << a << s;
        EXPECT_EQ(t.ul(s, g, a), ul[g - 1][a - 1][s - 1]) << g << a << s;
      }
}

INSTANTIATE_TEST_SUITE_P(types, Strata_tabulation,
                         testing::Values(33, 34, 35, 36, 37, 38, 61, 62, 63, 64, 65, 66, 104, 105, 106, 147));

TEST(Strata_tabulation, stratum_of_a_session) {
  const Data_job t("occasions=5 groups=1 hist=10 strata=3 etype=HCRDMS",
                   "strata=X B A; time intervals 0 1 2 0; 0A.BB 1; XXB00 1;");
  ASSERT_EQ(t.fault, "");
  EXPECT_EQ(strata_of_captures(t.job), 3);
  const List<Primary_session> sessions = primary_sessions(t.job);
  const auto strata = [&](int i) {
    List<int> all;
    for (const Primary_session& session : sessions)
      all.push_back(stratum_in(t.job, t.data().encounters.history(i), session));
    return all;
  };
  EXPECT_EQ(strata(1), (List<int>{3, 1, 2}));
  EXPECT_EQ(strata(2), (List<int>{1, 2, 1}));
}

// The codes of a type with an alphabet of its own tell of no stratum, whatever STRATA= says.
TEST(Strata_tabulation, signs_of_a_type_of_its_own_are_one_stratum) {
  const Data_job t("occasions=4 groups=1 hist=10 strata=2 etype=RDHUGGINS", "time intervals 0 1 0; 0110 1;");
  ASSERT_EQ(t.fault, "");
  EXPECT_EQ(strata_of_captures(t.job), 1);
  for (const Primary_session& session : primary_sessions(t.job))
    EXPECT_EQ(stratum_in(t.job, t.data().encounters.history(1), session), 1);
}

}  // namespace
}  // namespace tarn
