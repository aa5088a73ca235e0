// Derived parameters on the listing and in the variance-covariance file.

#include <gtest/gtest.h>

#include <cstring>

#include "model/results/derived_listing.h"
#include "model/results/estimability_listing.h"
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
  for (int i = 1; i <= count; ++i) {
    List<int> labels(static_cast<int>(section.label_names.size()), 1);
    labels.back() = i;
    values.rows.push_back(labels);
  }
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

/// Title and heading of a section, with its model's name taken off, and its last row of two.
struct Shown {
  std::string title, heading, row;
};
Shown shown(Model_builder& m, const Section& section) {
  m.test.clear();
  report_section(m.job(), made_values(section, 2));
  const std::vector<std::string> lines = m.test.listing_lines();
  EXPECT_EQ(lines.size(), 8u);
  EXPECT_EQ(lines[3], "                                                95% Confidence Interval");
  EXPECT_EQ(lines[5], " ---------  --------------  --------------  --------------  --------------");
  return {lines[2], lines[4], lines[7]};
}

TEST_F(Derived_listing, layout_by_group_and_session_or_occasion) {
  const std::string row = "   1     2    1.0080000       0.1250000       0.8000000       1.2000000    ";
  for (const int dattyp : {7, 13, 43, 68, 163}) {
    const Shown population = shown(m, *derived_sections(datatype(dattyp)).front());
    EXPECT_EQ(population.title, "                       Population Estimates of {M}");
    EXPECT_EQ(population.heading, " Grp. Sess.     N-hat        Standard Error      Lower           Upper");
    EXPECT_EQ(population.row, row);
  }
  for (const int dattyp : {15, 16, 17, 31, 68, 163}) {
    const std::span<const Section* const> sections = derived_sections(datatype(dattyp));
    const Shown growth = shown(m, *sections[sections.size() - 2]), log_growth = shown(m, *sections.back());
    EXPECT_EQ(growth.title, "                         Lambda Estimates of {M}");
    EXPECT_EQ(growth.heading, " Grp. Occ.   Lambda-hat      Standard Error      Lower           Upper");
    EXPECT_EQ(growth.row, row);
    EXPECT_EQ(log_growth.title, "                       log(Lambda) Estimates of {M}");
    EXPECT_EQ(log_growth.heading, " Grp. Occ.   log(Lambda-hat) Standard Error      Lower           Upper");
    EXPECT_EQ(log_growth.row, row);
  }
}

TEST_F(Derived_listing, layout_of_births_and_sizes) {
  const std::span<const Section* const> sections = derived_sections(datatype(19));
  ASSERT_EQ(sections.size(), 4u);
  const std::string row = "   1     2    1.0080000       0.1250000       0.8000000       1.2000000    ";
  const Shown gross = shown(m, *sections[0]), net = shown(m, *sections[1]),
              everybody = shown(m, *sections[2]), sizes = shown(m, *sections[3]);
  EXPECT_EQ(gross.title, "                 Gross Birth+Immigration Estimates of {M}");
  EXPECT_EQ(gross.heading, " Grp. Occ.     B*-hat        Standard Error      Lower           Upper");
  EXPECT_EQ(gross.row, row);
  EXPECT_EQ(net.title, "                  Net Birth+Immigration Estimates of {M}");
  EXPECT_EQ(net.heading, " Grp. Occ.     B-hat         Standard Error      Lower           Upper");
  EXPECT_EQ(net.row, row);
  EXPECT_EQ(everybody.title, "                       Population Estimates of {M}");
  EXPECT_EQ(everybody.heading, "     Group     N*-hat       Standard Error      Lower           Upper");
  EXPECT_EQ(everybody.row, "         2   1.0080000       0.1250000       0.8000000       1.2000000    ");
  EXPECT_EQ(sizes.title, everybody.title);
  EXPECT_EQ(sizes.heading, " Grp. Occ.     N-hat         Standard Error      Lower           Upper");
  EXPECT_EQ(sizes.row, row);
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

TEST_F(Derived_listing, layout_by_group_stratum_and_session) {
  for (const int dattyp : {33, 34, 38, 61, 147}) {
    m.test.clear();
    report_section(job(), made_values(only_section(dattyp), 2));
    const std::vector<std::string> expected{
        "",
        "",
        "                          Population Estimates of {M}",
        "                                                     95% Confidence Interval",
        " Grp. Str. Ses.    N-hat          Standard Error     Lower           Upper",
        " --------------  --------------  --------------  --------------  --------------",
        "   1    1    1    0.5040000       0.0625000       0.4000000       0.6000000    ",
        "   1    1    2    1.0080000       0.1250000       0.8000000       1.2000000    "};
    EXPECT_EQ(m.test.listing_lines(), expected);
  }
}

TEST_F(Derived_listing, rulers_are_as_wide_as_the_code_of_their_letter) {
  for (int dattyp = 1; dattyp <= max_dattyp; ++dattyp)
    for (const Section* section : derived_sections(datatype(dattyp))) {
      m.test.clear();
      report_section(job(), made_values(*section, 0));
      EXPECT_EQ(static_cast<int>(m.test.listing_lines().back().size()), section->letter);
      char letter = section->label_names.size() == 3 ? 'O' : 'J';
      if (section->quantity == Derived_quantity::survival_over_study) letter = 'B';
      if (section->quantity == Derived_quantity::total_abundance) letter = 'F';
      if (of_sites(datatype(dattyp))) continue;
      EXPECT_EQ(section->letter, letter) << dattyp;
    }
}

/// The columns of a section of sites, from the line above its ruler to its second row.
struct Site_layout {
  int type;
  std::size_t section;
  std::string_view heading;
};

TEST_F(Derived_listing, layouts_of_sites) {
  const std::string_view
      short_row = "   2     1.0080000       0.1250000       0.8000000       1.2000000    ",
      group_row = "         2   1.0080000       0.1250000       0.8000000       1.2000000    ",
      pair_row = "   1     2    1.0080000       0.1250000       0.8000000       1.2000000    ",
      wide_row = "        1        2     1.0080000       0.1250000       0.8000000       1.2000000    ";
  const auto expect = [&](std::string_view row, const std::vector<Site_layout>& layouts) {
    for (const Site_layout& layout : layouts) {
      m.test.clear();
      report_section(job(), made_values(*derived_sections(datatype(layout.type))[layout.section], 2));
      const std::vector<std::string> lines = m.test.listing_lines();
      ASSERT_EQ(lines.size(), 8U) << layout.type;
      EXPECT_EQ(lines[4], layout.heading) << layout.type;
      EXPECT_EQ(lines[7], row) << layout.type;
      // The words of the limits end above the last column.
      EXPECT_EQ(lines[3].size(), lines[5].size() - 3) << layout.type;
    }
  };
  expect(short_row, {{27, 0, " Group   Psi-hat         Standard Error      Lower           Upper"},
                     {111, 1, " Group   E(p-hat)        Standard Error      Lower           Upper"},
                     {116, 0, " Group   Psi1*Psi2-hat   Standard Error      Lower           Upper"},
                     {144, 0, " Group   Res. Time(1)    Standard Error      Lower           Upper"},
                     {144, 2, " Group   Mean Arrival    Standard Error      Lower           Upper"},
                     {144, 3, " Group   Mean Departure  Standard Error      Lower           Upper"}});
  expect(pair_row, {{28, 0, " Grp. Occ.   Gamma-hat       Standard Error      Lower           Upper"},
                    {29, 0, " Grp. Occ.   Epsilon-hat     Standard Error      Lower           Upper"},
                    {30, 0, " Grp. Occ.   Psi-hat         Standard Error      Lower           Upper"},
                    {30, 1, " Grp. Occ.   Lambda-hat      Standard Error      Lower           Upper"},
                    {30, 2, " Grp. Occ.   Lambda'-hat     Standard Error      Lower           Upper"},
                    {144, 1, " Grp. Occ.   Alpha-hat       Standard Error      Lower           Upper"}});
  expect(group_row, {{113, 0, "     Group   SIF-hat        Standard Error      Lower           Upper"},
                     {137, 1, "     Group   PsiB-hat       Standard Error      Lower           Upper"},
                     {137, 2, "     Group   PsiAB-hat      Standard Error      Lower           Upper"}});
  expect(wide_row,
         {{141, 3, "    Group  Session     Estimate        Standard Error      Lower           Upper"}});
  expect("   1    1    1    2   1.0080000       0.1250000       0.8000000       1.2000000    ",
         {{124, 0, " Grp  Occ  Row  Col  Phi_t           Standard Error      Lower           Upper"}});
  expect("   1    1    2   1.0080000       0.1250000       0.8000000       1.2000000    ",
         {{124, 1, " Grp  Occ  Row  Phi_t*Psi       Standard Error      Lower           Upper"}});
  expect("   1    1          2   1.0080000       0.1250000       0.8000000       1.2000000    ",
         {{177, 0, " Grp. Parm.            Estimate        Standard Error      Lower           Upper"}});
}

/// All rows of a section rest on a boundary.
List<Derived_values> all_resting(const std::vector<const Section*>& sections) {
  List<Derived_values> derived;
  for (const Section* section : sections) {
    derived.push_back(made_values(*section, 2));
    derived.back().rests_on.assign(2, {.direction = false, .boundary = true});
  }
  return derived;
}

TEST_F(Derived_listing, what_rests_on_open_reals) {
  m.test.clear();
  write_derived_that_rests(job(), all_resting({&only_section(4), derived_sections(datatype(13)).front()}));
  const std::vector<std::string> expected{
      "",
      " Derived values that rest on such real parameters:",
      " Section                         Row                 Rests",
      " ------------------------------  ------------------  ----------------------------------",
      " Survival Estimates              group 1             on a boundary",
      " Survival Estimates              group 2             on a boundary",
      " Population Estimates            group 1, session 1  on a boundary",
      " Population Estimates            group 1, session 2  on a boundary"};
  EXPECT_EQ(m.test.listing_lines(), expected);
}

TEST_F(Derived_listing, long_names_of_sections_push_the_rows_aside) {
  m.test.clear();
  write_derived_that_rests(job(), all_resting({derived_sections(datatype(19)).front()}));
  const std::vector<std::string> lines = m.test.listing_lines();
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[2], " Section                            Row                  Rests");
  EXPECT_EQ(lines[4], " Gross Birth+Immigration Estimates  group 1, occasion 1  on a boundary");
}

TEST_F(Derived_listing, rows_by_group_stand_where_they_always_did) {
  m.test.clear();
  write_derived_that_rests(job(), all_resting({&only_section(4)}));
  EXPECT_EQ(m.test.listing_lines()[2], " Section                         Row                Rests");
  EXPECT_EQ(m.test.listing_lines()[3],
            " ------------------------------  -----------------  ----------------------------------");
  EXPECT_EQ(m.test.listing_lines()[4], " Survival Estimates              group 1            on a boundary");
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
