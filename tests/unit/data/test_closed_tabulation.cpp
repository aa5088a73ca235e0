// The number of distinct animals that the closed layer takes from the records, in all or by primary session,
// and the first captures that open populations take.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/catalogue/datatype.h"
#include "data_job.h"

namespace tarn {
namespace {

class Closed_tabulation : public testing::TestWithParam<int> {};

TEST_P(Closed_tabulation, all_animals_of_a_group_stand_at_index_1) {
  const Datatype& type = datatype(GetParam());
  const std::string located = type.density ? " 0 0" : "";
  std::string records;
  for (const char* record : {"1000| 3 2", "0100| 5 -1", "0011| 2 7", "0101| -4 0", "0001| 1 1"}) {
    const std::string text = record;
    const std::size_t bar = text.find('|');
    records += text.substr(0, bar) + located + text.substr(bar + 1) + ";\n";
  }
  Data_job t("occasions=4 groups=2 hist=10 etype=" + std::string(type.keyword[0]), records);
  ASSERT_EQ(t.fault, "");
  EXPECT_EQ(t.u(1, 1), 11.0F);
  EXPECT_EQ(t.ul(1, 1), 4.0F);
  EXPECT_EQ(t.u(1, 2), 10.0F);
  EXPECT_EQ(t.ul(1, 2), 1.0F);
  for (int o = 2; o <= 4; ++o)
    for (int g = 1; g <= 2; ++g) {
      EXPECT_EQ(t.u(o, g), 0.0F);
      EXPECT_EQ(t.ul(o, g), 0.0F);
    }
}

INSTANTIATE_TEST_SUITE_P(types, Closed_tabulation,
                         testing::Values(5, 12, 22, 23, 25, 26, 49, 50, 51, 52, 53, 54, 127, 128, 129, 145,
                                         161));

/// Every type with a closed layer in primary sessions and one stratum that starts with a capture.
std::vector<int> robust_types() {
  std::vector<int> numbers;
  for (int n = 1; n <= max_dattyp; ++n) {
    const Cell cell = datatype(n).cell;
    if (cell == Cell::robust || cell == Cell::robust_barker || cell == Cell::robust_pradel ||
        cell == Cell::robust_pradel_n)
      numbers.push_back(n);
  }
  return numbers;
}

/// The live characters as a record of the type.
std::string cells_of(const Datatype& type, const std::string& live) {
  if (type.live) return live;
  std::string cells;
  for (const char c : live) cells += {c, '0'};
  return cells;
}

class Session_tabulation : public testing::TestWithParam<int> {};

TEST_P(Session_tabulation, an_animal_stands_once_in_every_session_that_caught_it) {
  const Datatype& type = datatype(GetParam());
  std::string records = "time intervals 0 1 2 0;";  // sessions of 2, 1 and 2 occasions
  for (const char* record : {"11000| 3 2", "10111| 5 -1", "00011| 20 70", "01001| -4 0", "00100| 100 -10"}) {
    const std::string text = record;
    const std::size_t bar = text.find('|');
    records += cells_of(type, text.substr(0, bar)) + text.substr(bar + 1) + ";";
  }
  const Data_job t("occasions=5 groups=2 hist=10 etype=" + std::string(type.keyword[0]), records);
  ASSERT_EQ(t.fault, "");
  ASSERT_EQ(t.job.status.nprimy, 3);
  const float u[2][5] = {{8, 105, 25, 0, 0}, {2, 0, 70, 0, 0}},
              ul[2][5] = {{4, 0, 4, 0, 0}, {1, 11, 1, 0, 0}};
  for (int g = 1; g <= 2; ++g)
    for (int s = 1; s <= 5; ++s) {
      EXPECT_EQ(t.u(s, g), u[g - 1][s - 1]) << g << s;
      EXPECT_EQ(t.ul(s, g), ul[g - 1][s - 1]) << g << s;
    }
}

INSTANTIATE_TEST_SUITE_P(types, Session_tabulation, testing::ValuesIn(robust_types()));

TEST(Open_tabulation, first_captures_by_occasion) {
  for (const char* etype : {"PRADEL", "PRADSEN", "PRADLAMBDA", "PRADREC", "POPAN", "LINKBARKER"}) {
    const Data_job t("occasions=4 groups=1 hist=10 etype=" + std::string(etype),
                     "1100 3; 1001 -2; 0110 5; 0001 7; 0001 -1;");
    ASSERT_EQ(t.fault, "") << etype;
    const float u[] = {3, 5, 0, 7}, ul[] = {2, 0, 0, 1};
    for (int o = 1; o <= 4; ++o) {
      EXPECT_EQ(t.u(o), u[o - 1]) << etype << o;
      EXPECT_EQ(t.ul(o), ul[o - 1]) << etype << o;
    }
  }
}

}  // namespace
}  // namespace tarn
