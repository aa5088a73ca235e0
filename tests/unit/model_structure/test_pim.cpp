#include "data/records.h"
#include "model/structure/pim.h"

#include <gtest/gtest.h>

#include "unit/model_structure/model_job.h"

namespace tarn {
namespace {

std::vector<int> row_of(const Pim& pim, int r) {
  std::vector<int> cells;
  for (int c = pim.start(r); c <= pim.ncols; ++c) cells.push_back(pim.at(r, c));
  return cells;
}

using Cells = std::vector<int>;

TEST(Pim, empty_description_goes_to_the_first_element) {
  Model_job t;
  t.read_pim("group=1 Phi rows=3 cols=3 triang; 1 2 3; 4 5; 6;");
  const Pim& pim = t.job.model.pim2(1, 1, 1, 1);
  EXPECT_EQ(pim.parname, "Phi");
  EXPECT_EQ(pim.pardescptn, "");
  EXPECT_EQ(pim.shape, Pim_shape::triang);
  EXPECT_EQ(pim.group, 1);
  EXPECT_EQ(pim.nmix, 1);
  EXPECT_EQ(row_of(pim, 1), (Cells{1, 2, 3}));
  EXPECT_EQ(row_of(pim, 2), (Cells{4, 5}));
  EXPECT_EQ(row_of(pim, 3), (Cells{6}));
  EXPECT_EQ(t.job.status.indent, -3);
}

TEST(Pim, time_numbers_run_along_the_columns) {
  Model_job t;
  t.read_pim("group 1 Phi rows=4 cols=4 triang time=3;");
  const Pim& pim = t.job.model.pim2(1, 1, 1, 1);
  EXPECT_EQ(row_of(pim, 1), (Cells{3, 4, 5, 6}));
  EXPECT_EQ(row_of(pim, 2), (Cells{4, 5, 6}));
  EXPECT_EQ(row_of(pim, 3), (Cells{5, 6}));
  EXPECT_EQ(row_of(pim, 4), (Cells{6}));
  EXPECT_EQ(pim.at(2, 1), 0);
}

TEST(Pim, constant_wins_over_time_and_zero_counts_as_not_given) {
  Model_job t;
  t.read_pim("group=1 Phi rows=1 cols=2 square time=3 constant=7;");
  EXPECT_EQ(row_of(t.job.model.pim2(1, 1, 1, 1), 1), (Cells{7, 7}));
  t.read_pim("group=1 p rows=1 cols=2 square constant=0 time=0; 8 9;");
  EXPECT_EQ(row_of(t.job.model.pim2(2, 1, 1, 1), 1), (Cells{8, 9}));
}

TEST(Pim, striang_rows_wrap_round) {
  Model_job t;
  t.read_pim("group=1 Phi rows=5 cols=3 striang; 1 2 3; 4 5; 6; 7 8 9; 10 11;");
  const Pim& pim = t.job.model.pim2(1, 1, 1, 1);
  Cells starts;
  for (int r = 1; r <= 5; ++r) starts.push_back(pim.start(r));
  EXPECT_EQ(starts, (Cells{1, 2, 3, 1, 2}));
  EXPECT_EQ(row_of(pim, 4), (Cells{7, 8, 9}));
  EXPECT_EQ(row_of(pim, 5), (Cells{10, 11}));
}

TEST(Pim, words_left_out_leave_zero) {
  Model_job t;
  t.read_pim("group=1 Phi rows=1 cols=3 square; 5;");
  EXPECT_EQ(row_of(t.job.model.pim2(1, 1, 1, 1), 1), (Cells{5, 0, 0}));
}

TEST(Pim, view_clamps_square_rows_and_no_others) {
  Model_job t;
  t.read_pim("group=1 Phi rows=2 cols=3 square; 1 2 3; 4 5 6;");
  t.read_pim("group=1 p rows=3 cols=3 triang; 1 2 3; 4 5; 6;");
  const Pim_view square = pim(t.job, 1, 1, 1, 1), triangle = pim(t.job, 2, 1, 1, 1);
  EXPECT_EQ(square.row(1)[3], 3);
  EXPECT_EQ(square.row(2)[1], 4);
  EXPECT_EQ(square.row(9)[2], 5);
  EXPECT_EQ(triangle.row(3)[3], 6);
  EXPECT_EQ(triangle(2, 2), 4);
}

struct Description_case {
  std::string text;
  int istrta, jstrta;
};

class Description : public testing::TestWithParam<Description_case> {};

TEST_P(Description, gives_second_and_third_index) {
  Sizes sizes;
  sizes.dattyp = 9;
  sizes.nstrta = 3;
  sizes.nprimy = 14;
  sizes.strata = "ABC";
  Model_job t(sizes);
  t.job.model.pim2index2upbd = t.job.model.pim2index3upbd = 14;
  t.job.model.pim2.allocate(t.job.data.numparmnames, 1, 14, 1, 14, 1);
  t.read_pim("group=1 p " + GetParam().text + " rows=1 cols=1 square constant=1;");
  EXPECT_TRUE(t.job.model.pim2(findpar(t.job.data, "p"), GetParam().istrta, GetParam().jstrta, 1).given());
}

INSTANTIATE_TEST_SUITE_P(descriptions, Description,
                         testing::Values(Description_case{"A to B", 1, 2}, Description_case{"C to A", 3, 1},
                                         Description_case{"A : Session 2", 1, 2},
                                         Description_case{"B : Session 12", 2, 12},
                                         Description_case{"Session 11", 1, 11},
                                         Description_case{"B:Session 3", 2, 3}, Description_case{"C :", 3, 1},
                                         Description_case{"Session 2 Primary 3", 3, 2},
                                         Description_case{"Primary 4", 4, 1}, Description_case{"B|C", 2, 3},
                                         Description_case{"for B : all times", 2, 1}));

TEST(Pim, colon_is_closed_up_and_the_description_is_kept) {
  Sizes sizes;
  sizes.dattyp = 9;
  sizes.nstrta = 2;
  sizes.strata = "AB";
  Model_job t(sizes);
  t.read_pim("group=1 p A : Session 2 rows=1 cols=1 square constant=1;");
  EXPECT_EQ(t.job.model.pim2(findpar(t.job.data, "p"), 1, 2, 1).pardescptn, " A:Session 2");
}

TEST(Pim, description_keeps_50_characters) {
  Model_job t;
  const std::string words = "Session 1 abcdefghij abcdefghij abcdefghij abcdefghij abcdefghij";
  t.read_pim("group=1 Phi " + words + " rows=1 cols=1 square constant=1;");
  EXPECT_EQ(t.job.model.pim2(1, 1, 1, 1).pardescptn, (" " + words).substr(0, 50));
}

TEST(Pim, name_split_at_a_comma_is_joined) {
  Model_job t;
  t.job.data.parameterlist = {"pi[1,2]"};
  t.job.data.numparmnames = 1;
  t.read_pim("group=1 pi[1,2] rows=1 cols=1 square constant=1;");
  EXPECT_EQ(t.job.model.pim2(1, 1, 1, 1).parname, "pi[1,2]");
}

std::string pim_error(const std::string& deck, const Sizes& sizes = {}) {
  Model_job t(sizes);
  return error_of(t, [&] { t.read_pim(deck); });
}

TEST(Pim, faults_are_worded) {
  EXPECT_EQ(pim_error("group=0 Phi rows=1 cols=1 square constant=1;"),
            "Group # for this input matrix was not specified.");
  EXPECT_EQ(pim_error("group=2 Phi rows=1 cols=1 square constant=1;"),
            "Group # for this input matrix > number  of groups specified.");
  EXPECT_EQ(pim_error("group=1 Phi rows=1 cols=1 constant=1;"),
            "Shape incorrectly specified for this input matrix.");
  EXPECT_EQ(pim_error("group=1 phi rows=1 cols=1 square constant=1;"),
            "The parameter name 'phi' is not correct and thus known.");
  EXPECT_EQ(pim_error("group=1 Phi rows=1 cols=2 square; 1 2 3;"),
            "Row 1 of the input matrix for Phi, group 1 has 3 values for its 2 cells.");
  EXPECT_EQ(pim_error("group=1 Phi Session 1 rows=3 cols=2 triang; 1 2; 1; 1;"),
            "Row 3 of the input matrix for Phi Session 1, group 1 has 1 values for its 0 cells.");
  EXPECT_EQ(pim_error("group=1 Phi rows=1000000 cols=1000000 square constant=1;"),
            "The input matrix for Phi, group 1 is too large: 1000000000000 cells.");
  EXPECT_EQ(pim_error("group=1 Phi rows=-1 cols=3 square constant=1;"),
            "ROWS and COLS of the input matrix for Phi, group 1 must be 1 or more.");
  EXPECT_EQ(pim_error("group=1 Phi rows=1 cols=1 square; 1.5;"), "Error with integer read of '1.5'");
  EXPECT_EQ(pim_error("group=1 Phi;"), "Index '5' of dimension 1 of array 'words' above upper bound of 4");
}

TEST(Pim, description_that_says_nothing_is_shown_and_fatal) {
  Model_job t;
  EXPECT_EQ(error_of(t, [&] { t.read_pim("group=1 Phi Survival rows=1 cols=1 square constant=1;"); }),
            "This PIM statement was not correctly decoded.");
  EXPECT_TRUE(t.listing_has("  PARNAME = 'Phi'\n  PARDESCPTN = ' Survival'\n"));
}

TEST(Pim, unknown_stratum_is_an_invalid_index) {
  Sizes sizes;
  sizes.dattyp = 9;
  sizes.nstrta = 2;
  sizes.strata = "AB";
  Model_job t(sizes);
  EXPECT_EQ(error_of(t, [&] { t.read_pim("group=1 p Z : Session 1 rows=1 cols=1 square constant=1;"); }),
            "Invalid value for the second dimension of PIM2, ISTRTA = 0");
  EXPECT_TRUE(t.listing_has("PARNAME = 'p'"));
  Model_job u(sizes);
  EXPECT_EQ(error_of(u, [&] { u.read_pim("group=1 p A : Session 3 rows=1 cols=1 square constant=1;"); }),
            "Invalid value for the third dimension of PIM2, JSTRTA = 3");
  EXPECT_FALSE(u.listing_has("PARNAME"));
}

TEST(Pim, second_matrix_for_one_element_is_fatal) {
  Model_job t;
  t.read_pim("group=1 Phi rows=1 cols=1 square constant=1;");
  EXPECT_EQ(error_of(t, [&] { t.read_pim("group=1 Phi Session 1 rows=1 cols=1 square constant=1;"); }),
            "A second input matrix was specified for Phi Session 1, group 1.");
}

TEST(Pim, unknown_option_warns_and_is_skipped) {
  Model_job t;
  t.read_pim("group=1 Phi rows=1 cols=1 wide square constant=4;");
  EXPECT_TRUE(t.listing_has(
      "  * *  WARNING  * *   The following option \"WIDE\" was not recognized on a PIM statement. \n"));
  EXPECT_EQ(t.job.model.pim2(1, 1, 1, 1).at(1, 1), 4);
}

TEST(Pim, parameter_name_is_compared_by_its_first_10_characters) {
  Model_job t;
  t.job.data.parameterlist = {"abcdefghij", "p"};
  t.job.data.numparmnames = 2;
  EXPECT_EQ(findpar(t.job.data, "abcdefghijkl"), 1);
  EXPECT_EQ(findpar(t.job.data, "p"), 2);
  EXPECT_EQ(findpar(t.job.data, "P"), 0);
  t.job.data.numparmnames = 0;
  EXPECT_EQ(findpar(t.job.data, "p"), 0);
}

TEST(Pim, print_shows_shape_and_true_positions) {
  Model_job t;
  t.read_pim("group=1 Phi rows=3 cols=3 triang; 1 2 3; 4 5; 6;");
  t.clear();
  print_pim2(t.job, 1, 1, 1, 1);
  EXPECT_EQ(
      t.listing(),
      "  PIM Set        = 1\n  Strata Number  = 1\n  Strata/Session = 1\n  Group Number   = 1\n"
      "  NAME   = 'Phi'\n  DESCR  = ''\n  GROUP  = 1\n  SHAPE  = 'TRIANG '\n  NROWS  = 3\n  NCOLS  = 3\n"
      "  NMIX   = 1\n    1    2    3\n         4    5\n              6\n");
  t.clear();
  print_pim2(t.job, 2, 1, 1, 1);
  EXPECT_EQ(t.listing(),
            "  PIM Set        = 2\n  Strata Number  = 1\n  Strata/Session = 1\n  Group Number   = 1\n"
            "  Undefined and not used\n");
}

TEST(Pim, all_matrices_are_printed_under_their_heads) {
  Model_job t;
  t.read_pim("group=1 p rows=1 cols=2 square; 7 8;");
  t.clear();
  print_all_pims(t.job);
  EXPECT_EQ(t.listing_lines().at(1), " PIM Set 2   Group 1   p");
  EXPECT_EQ(t.listing_lines().at(2),
            " Strata Number 1 Strata/Session 1 PIM2(IPARAMETER,ISTRTA,JSTRTA,IGRPS)%NROWS = 1");
  EXPECT_EQ(t.listing_lines().back(), "    7    8");
  EXPECT_FALSE(t.listing_has("Phi"));
}

TEST(Pim, every_matrix_is_visited_in_the_order_of_the_array) {
  Sizes sizes;
  sizes.dattyp = 9;
  sizes.nstrta = 2;
  sizes.ngrps = 2;
  Model_job t(sizes);
  const int parameters = t.job.data.numparmnames;
  ASSERT_EQ(parameters, 3);
  std::vector<Cells> expected, visited;
  for (int g = 1; g <= 2; ++g)
    for (int b = 1; b <= t.job.model.pim2index3upbd; ++b)
      for (int a = 1; a <= 2; ++a)
        for (int q = 1; q <= parameters; ++q) expected.push_back({q, a, b, g});
  for_each_matrix(t.job, [&](const Pim_place& at, Pim& pim) {
    visited.push_back({at.q, at.a, at.b, at.g});
    EXPECT_EQ(&pim, &t.job.model.pim2(at.q, at.a, at.b, at.g));
  });
  EXPECT_EQ(visited, expected);

  std::erase_if(expected, [](const Cells& place) { return place[0] != 2; });
  visited.clear();
  const Job& job = t.job;
  for_each_matrix_of(job, 2, [&](const Pim_place& at, const Pim& pim) {
    visited.push_back({at.q, at.a, at.b, at.g});
    EXPECT_EQ(&pim, &job.model.pim2(at.q, at.a, at.b, at.g));
  });
  EXPECT_EQ(visited, expected);
}

TEST(Pim, every_cell_that_the_shape_has_is_visited) {
  const auto places = [](const std::string& shape) {
    Model_job t;
    t.read_pim("group=1 Phi rows=3 cols=2 " + shape + " constant=7;");
    Pim& pim = t.job.model.pim2(1, 1, 1, 1);
    std::vector<Cells> visited;
    for_each_cell(pim, [&](int r, int c, int& number) {
      visited.push_back({r, c});
      EXPECT_EQ(number, 7);
      number = 10 * r + c;
    });
    for (const Cells& place : visited) EXPECT_EQ(pim.at(place[0], place[1]), 10 * place[0] + place[1]);
    return visited;
  };
  EXPECT_EQ(places("square"), (std::vector<Cells>{{1, 1}, {1, 2}, {2, 1}, {2, 2}, {3, 1}, {3, 2}}));
  EXPECT_EQ(places("triang"), (std::vector<Cells>{{1, 1}, {1, 2}, {2, 2}}));
  EXPECT_EQ(places("striang"), (std::vector<Cells>{{1, 1}, {1, 2}, {2, 2}, {3, 1}, {3, 2}}));
}

TEST(Pim, shapes_have_one_word_each) {
  EXPECT_EQ(pim_shape("SQUARE"), Pim_shape::square);
  EXPECT_EQ(pim_shape("TRIANG"), Pim_shape::triang);
  EXPECT_EQ(pim_shape("STRIANG"), Pim_shape::striang);
  for (const char* other : {"", "None", "NONE", "square", "TRIANGLE"})
    EXPECT_EQ(pim_shape(other), Pim_shape::none) << other;
  EXPECT_EQ(name_of(Pim_shape::none), "None");
  EXPECT_EQ(name_of(Pim_shape::striang), "STRIANG");
}

TEST(Fillminlen, zero_interval_keeps_occasions_in_one_session) {
  Sizes sizes;
  sizes.dattyp = 7;
  sizes.noccas = 5;
  sizes.nprimy = 2;
  sizes.timint = {0.0f, 0.0f, 1.0f, 0.0f};
  Model_job t(sizes);
  EXPECT_EQ(t.job.model.minlen, (Cells{3, 2}));
  EXPECT_EQ(t.job.model.maxprimoccas, 3);
  t.clear();
  fillminlen(t.job);
  EXPECT_TRUE(t.listing_has("Error number 5014 from memory allocation of MINLEN."));
  EXPECT_EQ(t.job.model.minlen, (Cells{3, 2}));
}

TEST(Index_bounds, default_and_special_rules) {
  Sizes sizes;
  sizes.dattyp = 9;
  sizes.nstrta = 3;
  Model_job t(sizes);
  EXPECT_EQ(t.job.model.pim2index2upbd, 3);
  EXPECT_EQ(t.job.model.pim2index3upbd, 3);
  sizes.dattyp = 7;
  sizes.nstrta = 1;
  sizes.nprimy = 2;
  sizes.ngrps = 3;
  sizes.timint = {0.0f, 1.0f, 0.0f, 1.0f};
  Model_job u(sizes);
  EXPECT_EQ(u.job.model.pim2index2upbd, 1);
  EXPECT_EQ(u.job.model.pim2index3upbd, 2);
  EXPECT_EQ(u.job.model.numderivedmcmcpar, 6);
  sizes = {};
  sizes.dattyp = 125;
  sizes.nstrta = 2;
  Model_job v(sizes);
  EXPECT_EQ(v.job.model.pim2index2upbd, 3);
}

TEST(Index_bounds, data_type_without_data_is_fatal) {
  for (int dattyp : {0, -1, 186}) {
    Test_job t;
    t.job.status.dattyp = dattyp;
    EXPECT_EQ(error_of(t, [&] { set_index_bounds(t.job); }),
              "An invalid value of DATTYP was set in proc chmatrix.");
  }
}

TEST(Index_helpers, packed_positions) {
  Test_job t;
  t.job.status.noccas = 4;
  t.job.status.nstrta = 3;
  int position = 0;
  for (int i = 1; i <= 4; ++i)
    for (int j = i; j <= 4; ++j) {
      EXPECT_EQ(lmdex(t.job, i, j), ++position);
      EXPECT_EQ(lmdexgen(t.job, i, j, 4), position);
    }
  // Transitions follow the 2 nstrta probabilities of survival and encounter: 1 to 2 is number 7.
  EXPECT_EQ(lsdex(t.job, 1, 2), 7);
  EXPECT_EQ(lsdex(t.job, 1, 3), 8);
  EXPECT_EQ(lsdex(t.job, 2, 1), 9);
  EXPECT_EQ(lsdex(t.job, 3, 2), 12);
}

TEST(Index_helpers, bad_arguments_are_fatal) {
  Test_job t;
  t.job.status.noccas = 4;
  t.job.status.nstrta = 3;
  EXPECT_EQ(stop_text([&] { lmdex(t.job, 3, 2); }), "Programming error from LMDEX");
  EXPECT_TRUE(t.listing_has("Row=3    Col=2\n"));
  Test_job u;
  EXPECT_EQ(stop_text([&] { lmdexgen(u.job, 0, 2, 5); }), "Programming error from LMDEXGEN");
  EXPECT_TRUE(u.listing_has("Row=0    Col=2 NCols=5\n"));
  EXPECT_TRUE(u.screen_has("Row=0    Col=2 NCols=5\n"));
  Test_job v;
  v.job.status.nstrta = 3;
  EXPECT_EQ(stop_text([&] { lsdex(v.job, 2, 2); }), "Programming error from LSDEX");
}

}  // namespace
}  // namespace tarn
