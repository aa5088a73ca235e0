// The saturated model, its cohorts, and the effective sample size.

#include "inference/saturd.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "data/catalogue/available.h"
#include "data/strata.h"
#include "inference/cohorts.h"
#include "model/structure/pim.h"
#include "numerics/special.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

TEST(Saturd, numbers_come_from_available_forms_only) {
  for (int n = 1; n <= max_dattyp; ++n) {
    const Datatype& type = datatype(n);
    Model_builder m(n, 4);
    m.record("1010", {3.0F});
#ifndef NDEBUG
    if (!is_available(type.saturated)) continue;  // an assertion there
#endif
    const Cohorts cohorts(m.job());
    ASSERT_EQ(cohorts.count(), 1) << n;
    EXPECT_EQ(std::isfinite(cohorts.possible_histories(1)), is_available(type.saturated)) << n;
  }
}

/// A record of two characters an occasion.
void record_of_pairs(Model_builder& m, const std::string& cells, float observed) {
  Encounter_store& store = m.job().data.encounters;
  store.observed(store.append(History(cells.data(), m.job().status.noccas), -9999.0)).begin()[0] = observed;
}

/// Sessions of 2, 1 and 2 occasions.
constexpr int occasions = 5;
constexpr int session_of[] = {1, 1, 2, 3, 3};
void make_sessions(Model_builder& m) { m.intervals({0.0F, 1.0F, 1.0F, 0.0F}); }

/// Everything that a marked animal can show, live captures alone or with a code behind each session: "2" for
/// a resighting, "1" for a recovery, which nothing follows. Written for the last cell of each session.
std::set<std::string> everything_possible(bool codes) {
  std::set<std::string> all;
  for (unsigned live = 1; live < 32U; ++live)
    for (int code = 0; code < (codes ? 27 : 1); ++code) {
      const int of_session[] = {0, code % 3, code / 3 % 3, code / 9};
      std::string cells;
      bool possible = true, marked = false, recovered = false;
      for (int o = 1; o <= occasions; ++o) {
        const int s = session_of[o - 1];
        const bool caught = ((live >> (occasions - o)) & 1U) != 0;
        const bool closes = o == occasions || session_of[o] != s;
        possible = possible && !(caught && recovered);
        marked = marked || caught;
        char dead = '0';
        if (closes && of_session[s] != 0) {
          possible = possible && marked && !recovered;
          dead = of_session[s] == 1 ? '1' : '2';
          recovered = recovered || dead == '1';
        }
        cells += caught ? '1' : '0';
        cells += dead;
      }
      if (possible) all.insert(cells);
    }
  return all;
}

TEST(Saturd, a_cohort_can_show_what_enumeration_finds) {
  struct Case {
    int type;
    bool codes;
    int cohorts;
  };
  // Cohorts by first session, the whole group, by last or by first capture.
  for (const Case& c : {Case{13, false, 3}, Case{7, false, 3}, Case{43, true, 3}, Case{18, true, 3},
                        Case{67, false, 1}, Case{80, false, 1}, Case{163, false, 1}, Case{16, false, 1},
                        Case{31, false, 1}, Case{14, false, 5}, Case{19, false, 5}}) {
    Model_builder m(c.type, occasions);
    make_sessions(m);
    for (const std::string& cells : everything_possible(c.codes)) record_of_pairs(m, cells, 1.0F);
    const Cohorts cohorts(m.job());
    ASSERT_EQ(cohorts.count(), c.cohorts) << c.type;
    double all = 0.0;
    for (int k = 1; k <= cohorts.count(); ++k) {
      EXPECT_EQ(cohorts.possible_histories(k), cohorts.observed(k, 1)) << c.type << " cohort " << k;
      all += cohorts.observed(k, 1);
    }
    const Saturated_model saturated = saturd(m.job());
    EXPECT_EQ(saturated.histories, all) << c.type;
    EXPECT_EQ(saturated.cohorts, c.cohorts) << c.type;
  }
}

double term(double n, double total) { return n * std::log(n / total); }

/// Relative error of sums of a few logarithms.
constexpr double rounding = 1e-13;

/// Sessions of 2 and 1 occasions.
Model_builder two_sessions(int type) {
  Model_builder m(type, 3);
  m.intervals({0.0F, 1.0F});
  m.record("110", {3.0F});
  m.record("101", {2.0F});
  m.record("011", {5.0F});
  m.record("001", {4.0F});
  return m;
}

TEST(Saturd, conditional_sessions_have_a_cell_for_every_history_of_a_first_session) {
  Model_builder m = two_sessions(13);
  const Saturated_model saturated = saturd(m.job());
  EXPECT_NEAR(saturated.xlogs / (-2.0 * (term(3, 10) + term(2, 10) + term(5, 10))), 1.0, rounding);
  EXPECT_EQ(saturated.nsat, 2);
  EXPECT_EQ(saturated.histories, 7.0);
  EXPECT_EQ(saturated.cohorts, 2);
}

TEST(Saturd, full_sessions_have_cells_between_and_within_them) {
  const double within = term(3, 10) + term(2, 10) + term(5, 10) + lgamma(11.0) + lgamma(12.0);
  Model_builder plain = two_sessions(7);
  const Saturated_model by_session = saturd(plain.job());
  EXPECT_NEAR(by_session.xlogs / (-2.0 * (term(3, 10) + term(7, 10) + within)), 1.0, rounding);
  EXPECT_EQ(by_session.nsat, 3);  // 1 between the sessions, 2 within the first
  EXPECT_EQ(by_session.histories, 7.0);
  EXPECT_EQ(by_session.cohorts, 2);

  Model_builder pradel = two_sessions(67);
  const Saturated_model by_group = saturd(pradel.job());
  EXPECT_NEAR(by_group.xlogs / (-2.0 * (term(3, 14) + term(7, 14) + term(4, 14) + within)), 1.0, rounding);
  EXPECT_EQ(by_group.nsat, 4);
  EXPECT_EQ(by_group.histories, 7.0);
  EXPECT_EQ(by_group.cohorts, 1);
}

TEST(Saturd, codes_stand_between_sessions_and_not_within) {
  Model_builder m(18, 3);
  m.intervals({0.0F, 1.0F});
  record_of_pairs(m, "101000", 3.0F);  // the code of a session is its last one, in whatever cell
  record_of_pairs(m, "101200", 2.0F);
  record_of_pairs(m, "121000", 4.0F);
  record_of_pairs(m, "100010", 6.0F);
  const Saturated_model saturated = saturd(m.job());
  const double between = term(3, 15) + term(6, 15) + term(6, 15), within = term(9, 15) + term(6, 15);
  EXPECT_NEAR(saturated.xlogs / (-2.0 * (between + within + lgamma(16.0) + lgamma(7.0))), 1.0, rounding);
  EXPECT_EQ(saturated.nsat, 3);
}

TEST(Saturd, losses_have_totals_of_their_own) {
  Model_builder m(7, 3, 2);
  m.intervals({0.0F, 1.0F});
  m.record("110", {3.0F, 0.0F}, {1.0F, 2.0F});
  m.record("101", {2.0F, 0.0F}, {4.0F, 0.0F});
  m.record("001", {0.0F, 1.0F}, {0.0F, 0.0F});
  const double released = 2.0 * (term(3, 5) + term(2, 5)), lost = 2.0 * (term(1, 5) + term(4, 5));
  const double caught = lgamma(11.0) + lgamma(7.0) + lgamma(3.0) + lgamma(2.0);
  const Saturated_model saturated = saturd(m.job());
  EXPECT_NEAR(saturated.xlogs / (-2.0 * (released + lost + caught)), 1.0, rounding);
  EXPECT_EQ(saturated.nsat, 4);
  EXPECT_EQ(saturated.cohorts, 4);  // of group 1 both kinds, of group 2 one each
  EXPECT_EQ(saturated.histories, 3.0 * 6.0 + 1.0);
}

TEST(Saturd, superpopulation_has_its_first_captures_as_cells) {
  Model_builder m(19, 3);
  m.record("110", {3.0F});
  m.record("100", {5.0F}, {2.0F});
  m.record("011", {4.0F});
  m.record("001", {6.0F});
  const double cells = term(3, 8) + term(5, 8);
  const double first =
      lgamma(21.0) + term(10, 20) + term(4, 20) + term(6, 20) - lgamma(11.0) - lgamma(5.0) - lgamma(7.0);
  const Saturated_model saturated = saturd(m.job());
  EXPECT_NEAR(saturated.xlogs / (-2.0 * (cells + first)), 1.0, rounding);
  EXPECT_EQ(saturated.nsat, 3);  // 1 of the cohort of occasion 1, 2 of the first captures
  EXPECT_EQ(saturated.histories, 4.0 + 4.0 + 2.0 + 1.0);
  EXPECT_EQ(saturated.cohorts, 4);
}

TEST(Saturd, recruitment_has_cohorts_by_last_capture) {
  Model_builder m(14, 3);
  m.record("100", {5.0F});
  m.record("110", {3.0F});
  m.record("010", {4.0F});
  m.record("011", {6.0F});
  const Saturated_model saturated = saturd(m.job());
  EXPECT_NEAR(saturated.xlogs / (-2.0 * (term(3, 7) + term(4, 7))), 1.0, rounding);
  EXPECT_EQ(saturated.nsat, 1);
  EXPECT_EQ(saturated.histories, 1.0 + 2.0 + 4.0);
  EXPECT_EQ(saturated.cohorts, 3);
}

TEST(Effective_sample_size, counts_sessions_with_a_capture_that_another_may_follow) {
  for (const int type : {7, 13, 18, 43, 67, 80, 146, 163}) {
    Model_builder m(type, occasions);
    make_sessions(m);
    m.record("11111", {1.0F});             // sessions 1 and 2
    m.record("11000", {10.0F});            // session 1
    m.record("00011", {100.0F});           // none: the last session
    m.record("01100", {0.0F}, {1000.0F});  // session 1: they were lost in session 2
    m.record("10001", {0.0F}, {1e4F});     // session 1
    EXPECT_EQ(effective_sample_size(m.job()), 2.0 + 10.0 + 1000.0 + 1e4) << type;
  }
  for (const int type : {9, 14, 15, 19, 31, 176, 178, 179, 180, 183, 185}) {  // by occasion
    Model_builder m(type, occasions);
    m.record("11111", {1.0F});
    m.record("01100", {10.0F}, {100.0F});
    EXPECT_EQ(effective_sample_size(m.job()), 4.0 + 20.0 + 100.0) << type;
  }
}

// Captures that another may follow, and recoveries.
TEST(Effective_sample_size, counts_recoveries_of_strata) {
  Model_builder m(21, 3);
  m.strata("AB");
  Encounter_store& store = m.job().data.encounters;
  const auto add = [&](std::string_view cells, float observed, float lost) {
    const int i = store.append(History(cells.data(), 3), -9999.0);
    store.observed(i, 1) = observed;
    store.lost_on_capture(i, 1) = lost;
  };
  add("A0B000", 1.0F, 0.0F);    // two captures
  add("A0B001", 10.0F, 0.0F);   // and a recovery
  add("0000A1", 100.0F, 0.0F);  // one behind the last occasion
  add("A1.000", 1000.0F, 0.0F);
  add("A0B000", 0.0F, 1e4F);  // lost at the second
  EXPECT_EQ(effective_sample_size(m.job()), 2.0 + 30.0 + 100.0 + 2000.0 + 1e4);
}

// From one release on: a capture in either stratum, or none, on each occasion; a recovery ends it all.
TEST(Cohorts, of_strata) {
  for (const auto& [type, possible] : {std::pair(9, 9.0), std::pair(21, 22.0)}) {
    Model_builder m(type, 3);
    m.strata("AB");
    m.record("A00", {5.0F}, {1.0F});
    m.record("AB0", {2.0F}, {0.0F});
    m.record("B0A", {3.0F}, {0.0F});
    m.record("0B0", {4.0F}, {0.0F});
    const Cohorts cohorts(m.job());
    ASSERT_EQ(cohorts.count(), 3);
    EXPECT_EQ(cohorts.cohort_of(1), cohorts.cohort_of(2));
    EXPECT_NE(cohorts.cohort_of(1), cohorts.cohort_of(3));
    EXPECT_EQ(cohorts.observed(cohorts.cohort_of(1), 1), 7.0);
    EXPECT_EQ(cohorts.lost(cohorts.cohort_of(1), 1), 1.0);
    EXPECT_EQ(cohorts.possible_histories(cohorts.cohort_of(1)), possible);
    EXPECT_EQ(cohorts.possible_histories(cohorts.cohort_of(4)), type == 9 ? 3.0 : 7.0);
  }
}

/// A job of states and events, with matrices of the states at a release or without.
Model_builder of_states(int type, const std::string& events, bool pi) {
  Model_builder m(type, 3);
  Status_module& status = m.job().status;
  status.nstrta = 2;
  status.liveeh = datatype(type).live ? 1 : 0;
  status.nevents = static_cast<int>(events.size());
  if (type == 179 || type == 180)
    status.neventsp = status.nevents - 2, status.neventslr = status.neventsbr = 1;
  m.job().data.strata = strata_of(datatype(type), "AB" + events, 2);
  set_index_bounds(m.job());
  if (pi) m.pim(findpar(m.job().data, "pi"), 1, "SQUARE", 1, 1, [](int, int) { return 1; });
  return m;
}

// Of 115 and 143 histories that can follow a release with two occasions to go, and of three capture signs
// more than of the states alone.
TEST(Cohorts, of_states_that_a_capture_may_not_tell) {
  for (const auto& [type, events, signs, one, two] :
       {std::tuple(178, "xy", 4.0, 5.0, 25.0), std::tuple(176, "", 3.0, 115.0, 3.0 + 4.0 * 4.0 * 115.0),
        std::tuple(179, "xyvk", 4.0, 143.0, 3.0 + 4.0 * 5.0 * 143.0),
        std::tuple(180, "xyvk", 4.0, 143.0, 3.0 + 4.0 * 5.0 * 143.0)})
    for (const bool pi : {true, false}) {
      Model_builder m = of_states(type, events, pi);
      const std::string other = type == 176 ? "U" : "x";
      for (const std::string& live : std::vector<std::string>{"A00", other + "00", "AB0", "0B0", "0A0"}) {
        std::string cells;
        for (const char c : live) cells += {c, '0'};
        record_of_pairs(m, cells, 2.0F);
      }
      const Cohorts cohorts(m.job());
      ASSERT_EQ(cohorts.count(), pi ? 2 : 4) << type;
      EXPECT_EQ(cohorts.cohort_of(1), cohorts.cohort_of(3)) << type;
      EXPECT_EQ(cohorts.observed(cohorts.cohort_of(1), 1), pi ? 6.0 : 4.0) << type;
      EXPECT_EQ(cohorts.possible_histories(cohorts.cohort_of(1)), pi ? signs * two : two) << type;
      EXPECT_EQ(cohorts.possible_histories(cohorts.cohort_of(4)), pi ? signs * one : one) << type;
      EXPECT_EQ(saturd(m.job()).cohorts, pi ? 2 : 4) << type;
    }
}

// A sign of two lists is the first that it can be.
TEST(Cohorts, signs_that_serve_twice_are_counted_once) {
  Model_builder m = of_states(179, "xxx", true);
  record_of_pairs(m, "0000A0", 1.0F);
  // Captures A, B, x; behind the last occasion A, B, x, a, b, nothing.
  EXPECT_EQ(Cohorts(m.job()).possible_histories(1), 3.0 * 6.0);
}

TEST(Cohorts, of_populations_of_several_states) {
  for (const auto& [type, events, possible] : {std::tuple(183, "", 26.0), std::tuple(185, "xy", 124.0)}) {
    Model_builder m = of_states(type, events, true);
    for (const char* cells : {"A00000", "0000B0", "A0B0A0"}) record_of_pairs(m, cells, 1.0F);
    const Cohorts cohorts(m.job());
    ASSERT_EQ(cohorts.count(), 1) << type;
    EXPECT_EQ(cohorts.possible_histories(1), possible) << type;
  }
}

}  // namespace
}  // namespace tarn
