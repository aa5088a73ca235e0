#include <gtest/gtest.h>

#include "data/cell_checks.h"
#include "data_job.h"

namespace tarn {
namespace {

/// The fault of a data set of two strata, sessions of two, one and two occasions, and these records.
Data_job data_of(const std::string& keyword, const std::string& records, const std::string& options = {},
                 const std::string& codes = "A B") {
  return {"occasions=5 groups=1 hist=9 strata=2 " + options + " etype=" + keyword,
          "strata=" + codes + "; time intervals 0 1 1 0; " + records};
}

constexpr std::string_view of_strata = "Multiple strata within one primary session: ";
constexpr std::string_view of_states = "Multiple known states within one primary session: ";

const std::vector<int> known{32, 33, 34, 35,  36,  37,  38,  61,  62, 63,
                             64, 65, 66, 103, 104, 105, 106, 119, 147};
const std::vector<int> uncertain{121, 122, 126, 142, 184};

std::string keyword_of(int type) { return std::string(datatype(type).keyword[0]); }

TEST(One_stratum, two_codes_of_one_session_are_a_fault) {
  for (const int type : known) {
    SCOPED_TRACE(type);
    EXPECT_EQ(data_of(keyword_of(type), "AAB00 1; AB000 1;").fault,
              std::string(of_strata) + "\"A\" and \"B\".");
    EXPECT_EQ(data_of(keyword_of(type), "AABBA 1;").fault, std::string(of_strata) + "\"B\" and \"A\".");
    EXPECT_EQ(data_of(keyword_of(type), "AABAA 1; .A.BB 1; B0AB. 1; A.B0A 1;").fault, "");
  }
  for (const int type : uncertain) {
    SCOPED_TRACE(type);
    EXPECT_EQ(data_of(keyword_of(type), "BA000 1;").fault, std::string(of_states) + "\"B\" and \"A\".");
    EXPECT_EQ(data_of(keyword_of(type), "AABAA 1;").fault, "");
  }
}

TEST(One_stratum, codes_that_leave_the_state_open_may_stand_beside_any) {
  for (const int type : {121, 126, 142, 184})
    EXPECT_EQ(data_of(keyword_of(type), "AuuuB 1; uA0Bu 1; 00Auu 1;").fault, "") << type;
  EXPECT_EQ(data_of(keyword_of(122), "Abab0 1; aB0ba 1;").fault, "");
  EXPECT_EQ(data_of(keyword_of(122), "00AbB 1; 00AAB 1;").fault, std::string(of_states) + "\"A\" and \"B\".");
}

TEST(One_stratum, the_record_is_told_as_it_was_read) {
  const Data_job faulty = data_of("HCRDMS", "AAB00 1; AAB00 1; 00AAA 1; B0BAB 1;");
  EXPECT_TRUE(faulty.listing_has("Error around encounter history number     4"));
}

TEST(One_stratum, sessions_are_those_of_the_intervals) {
  const auto fault = [](const std::string& intervals) {
    return Data_job("occasions=3 groups=1 hist=9 strata=2 etype=HCRDMS", "strata=A B; AAB 1; " + intervals)
        .fault;
  };
  EXPECT_EQ(fault("time intervals 0 1;"), "");
  EXPECT_EQ(fault("time intervals 0 0;"), std::string(of_strata) + "\"A\" and \"B\".");
  // Without a statement every occasion is a session.
  EXPECT_EQ(fault(""), "");
}

TEST(One_stratum, an_event_is_no_stratum) {
  EXPECT_EQ(data_of("HCRDMS", "A0B00 1; A0x00 1;", "events=1", "A B x").fault,
            "History number 2 Incorrect stratum identifier \"x\" in history: A0x00");
  EXPECT_EQ(data_of("RDMSMISCLASS", "A0B00 1; A0yu0 1;", "events=2", "A B x y").fault,
            "History number 2 Incorrect stratum identifier \"y\" in history: A0yu0");
}

}  // namespace
}  // namespace tarn
