// The number of distinct animals that the closed types of one session take from their records.

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace tarn
