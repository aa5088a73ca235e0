// Derived parameters on the listing and in the variance-covariance file.

#include <gtest/gtest.h>

#include <cstring>

#include "model/results/derived_listing.h"
#include "unit/derived/derived_model.h"

namespace tarn {
namespace {

class Derived_listing : public testing::Test {
 protected:
  Derived_listing() : m(1, 3) {
    m.record("110", {4});
    m.time_pims();
    m.finish();
    job().model.modnam = "{M}";
  }
  Job& job() { return m.job(); }
  Model_builder m;
};

Derived_values made_values(const Section& section, int count) {
  Derived_values values;
  values.section = &section;
  for (int i = 1; i <= count; ++i) values.rows.push_back({i});
  for (Array1<double>* column : {&values.parmest, &values.parmse, &values.parmlci, &values.parmuci})
    EXPECT_TRUE(column->allocate(count));
  for (int i = 1; i <= count; ++i) {
    values.parmest(i) = 0.504 * i;
    values.parmse(i) = 0.0625 * i;
    values.parmlci(i) = 0.4 * i;
    values.parmuci(i) = 0.6 * i;
  }
  return values;
}

TEST_F(Derived_listing, layout_of_survival_over_the_study) {
  job().status.ngrps = 2;
  m.test.clear();
  report_section(job(), made_values(only_section(4), 2));
  const std::vector<std::string> expected{
      "",
      "",
      "                    Survival Estimates of {M}",
      "",
      "       Pr. Surviving",
      "        Duration of                   95% Confidence Interval",
      " Group     Study      Standard Error     Lower          Upper     ",
      " ----- -------------- -------------- -------------- --------------",
      "   1    0.5040000      0.0625000      0.4000000      0.6000000    ",
      "   2    1.0080000      0.1250000      0.8000000      1.2000000    "};
  EXPECT_EQ(m.test.listing_lines().size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(m.test.listing_lines()[i], expected[i]) << i;
}

TEST_F(Derived_listing, layout_of_population) {
  job().status.ngrps = 2;
  for (const int dattyp : {5, 12}) {
    m.test.clear();
    report_section(job(), made_values(only_section(dattyp), 2));
    const std::vector<std::string> expected{
        "",
        "",
        "                       Population Estimates of {M}",
        "                                                95% Confidence Interval",
        "     Group     N-hat        Standard Error      Lower           Upper",
        " ---------  --------------  --------------  --------------  --------------",
        "         1   0.5040000       0.0625000       0.4000000       0.6000000    ",
        "         2   1.0080000       0.1250000       0.8000000       1.2000000    "};
    EXPECT_EQ(m.test.listing_lines(), expected);
  }
}

TEST_F(Derived_listing, layout_of_density) {
  m.test.clear();
  report_section(job(), made_values(only_section(127), 1));
  const std::vector<std::string> expected{
      "",
      "",
      "                         Density Estimates of {M}",
      "                                                95% Confidence Interval",
      "     Group     D-hat        Standard Error      Lower           Upper",
      " ---------  --------------  --------------  --------------  --------------",
      "         1   0.5040000       0.0625000       0.4000000       0.6000000    "};
  EXPECT_EQ(m.test.listing_lines(), expected);
}

TEST_F(Derived_listing, a_section_never_overflows_its_page) {
  job().status.maxlin = 30;
  job().status.ngrps = 2;
  for (int left = 0; left <= 12; ++left) {
    job().status.lines = left;
    m.test.clear();
    report_section(job(), made_values(only_section(4), 2));
    EXPECT_GE(job().status.lines, 0) << left;
  }
}

TEST_F(Derived_listing, rulers_are_as_wide_as_the_code_of_their_letter) {
  for (const int dattyp : {4, 5, 12, 24, 48, 127, 155}) {
    const Section& section = only_section(dattyp);
    m.test.clear();
    report_section(job(), made_values(section, 0));
    EXPECT_EQ(static_cast<int>(m.test.listing_lines().back().size()), section.letter);
    EXPECT_EQ(section.letter, dattyp == 5 || dattyp == 12 || dattyp == 127 ? 'J' : 'B');
  }
}

std::string record_of(const std::string& bytes) {
  const std::int32_t length = static_cast<std::int32_t>(bytes.size());
  std::string count(4, '\0');
  std::memcpy(count.data(), &length, 4);
  return count + bytes + count;
}
std::string bytes_of(const auto& number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

TEST_F(Derived_listing, records_byte_by_byte) {
  job().streams.open_memory(job().status.sysvcm);
  print_derived(job(), 2, made_values(only_section(5), 2));
  std::string expected = record_of("DERIVEDJ" + bytes_of(std::int32_t{2}));
  expected += record_of("DERV PAR" + bytes_of(0.504) + bytes_of(1.008));
  expected += record_of("DERV SE " + bytes_of(0.0625) + bytes_of(0.125));
  expected += record_of("DERV LCI" + bytes_of(0.4) + bytes_of(0.8));
  expected += record_of("DERV UCI" + bytes_of(0.6) + bytes_of(1.2));
  EXPECT_EQ(job().streams.contents(job().status.sysvcm), expected);
}

TEST_F(Derived_listing, records_from_a_later_value_on) {
  job().streams.open_memory(job().status.sysvcm);
  print_derived(job(), 1, made_values(only_section(4), 2), 2);
  std::string expected = record_of("DERIVEDB" + bytes_of(std::int32_t{1}));
  expected += record_of("DERV PAR" + bytes_of(1.008));
  expected += record_of("DERV SE " + bytes_of(0.125));
  expected += record_of("DERV LCI" + bytes_of(0.8));
  expected += record_of("DERV UCI" + bytes_of(1.2));
  EXPECT_EQ(job().streams.contents(job().status.sysvcm), expected);
}

TEST_F(Derived_listing, few_lines_left_start_a_page) {
  for (const int left : {10, 11}) {
    job().status.maxlin = 50;
    job().status.lines = left;
    const int page = job().status.npage;
    report_derived(job(), {}, {}, {});
    EXPECT_EQ(job().status.npage, left == 10 ? page + 1 : page);
  }
}

}  // namespace
}  // namespace tarn
