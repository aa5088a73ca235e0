#include "data/catalogue/datatype.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "data/catalogue/link.h"
#include "support/data_types_page.h"

namespace tarn {
namespace {

struct Reference_row {
  int number = 0;
  std::vector<std::string> keywords, parameters;
  std::string name, alphabet, nodes;
  int live = 0, closed = 0;
};

std::vector<std::string> split(const std::string& text, char at) {
  std::vector<std::string> parts(1);
  for (const char c : text)
    if (c == at)
      parts.emplace_back();
    else
      parts.back() += c;
  return parts;
}

std::vector<Reference_row> reference() {
  std::ifstream file(TARN_TEST_DATA "/datatypes.txt");
  std::vector<Reference_row> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') continue;
    const std::vector<std::string> f = split(line, '\t');
    rows.push_back({std::stoi(f.at(0)), split(f.at(1), ' '), split(f.at(3), ' '), f.at(2), f.at(6), f.at(7),
                    std::stoi(f.at(4)), std::stoi(f.at(5))});
  }
  return rows;
}

TEST(Datatype, table_agrees_with_the_reference_list) {
  const std::vector<Reference_row> rows = reference();
  ASSERT_EQ(rows.size(), 185u);
  for (const Reference_row& expected : rows) {
    SCOPED_TRACE(expected.number);
    const Datatype& row = datatype(expected.number);
    EXPECT_EQ(row.number, expected.number);
    std::vector<std::string> keywords;
    for (std::string_view keyword : row.keyword)
      if (!keyword.empty()) keywords.emplace_back(keyword);
    EXPECT_EQ(keywords, expected.keywords);
    EXPECT_EQ(row.name, expected.name);
    EXPECT_EQ(datastrings(expected.number), expected.name);
    EXPECT_EQ(parmlist(expected.number), expected.parameters);
    EXPECT_EQ(row.live ? 1 : 0, expected.live);
    EXPECT_EQ(static_cast<int>(row.closed), expected.closed);
    EXPECT_EQ(row.alphabet, expected.alphabet);
    EXPECT_EQ(row.nodes == Nodes::listed, expected.nodes == "yes");
    for (const std::string& keyword : expected.keywords) {
      EXPECT_EQ(dattyp_of(keyword), expected.number);
      EXPECT_EQ(dattyp_of(keyword + "  "), expected.number);
    }
  }
}

TEST(Datatype, two_keywords_give_number_1) {
  EXPECT_EQ(dattyp_of("LIVE"), 1);
  EXPECT_EQ(dattyp_of("CJS"), 1);
  EXPECT_EQ(datastrings(1), "Live Recaptures (CJS)");
  EXPECT_EQ(datastrings(19), "POPAN");
}

TEST(Datatype, unknown_keywords_and_numbers) {
  EXPECT_EQ(dattyp_of("LIV"), 0);
  EXPECT_EQ(dattyp_of("live"), 0);
  EXPECT_EQ(dattyp_of(""), 0);
  EXPECT_EQ(dattyp_of("   "), 0);
  EXPECT_EQ(datatype(0).number, 0);
  EXPECT_EQ(datatype(-1).number, 0);
  EXPECT_EQ(datatype(186).number, 0);
  EXPECT_TRUE(parmlist(0).empty());
}

TEST(Datatype, numbers_of_parameters) {
  std::size_t most = 0;
  for (int n = 1; n <= max_dattyp; ++n) most = std::max(most, parmlist(n).size());
  EXPECT_EQ(parmlist(141).size(), 16u);
  EXPECT_EQ(most, 16u);
  for (const int n : {4, 6, 24}) EXPECT_EQ(parmlist(n).size(), 1u);
  EXPECT_EQ(parmlist(121), parmlist(122));
  EXPECT_EQ(parmlist(133), parmlist(134));
  EXPECT_EQ(parmlist(176), parmlist(179));
  EXPECT_EQ(parmlist(176), parmlist(180));
}

std::set<int> numbers(std::initializer_list<std::pair<int, int>> ranges) {
  std::set<int> all;
  for (const auto& [first, last] : ranges)
    for (int n = first; n <= last; ++n) all.insert(n);
  return all;
}

template <class Predicate>
std::set<int> numbers_where(Predicate holds) {
  std::set<int> all;
  for (int n = 1; n <= max_dattyp; ++n)
    if (holds(datatype(n))) all.insert(n);
  return all;
}

std::set<int> with_cell(Cell cell) {
  return numbers_where([=](const Datatype& row) { return row.cell == cell; });
}

TEST(Datatype, numbers_of_the_catalogue) {
  for (const int n : {1, 2, 184, 185}) EXPECT_TRUE(is_datatype(n)) << n;
  for (const int n : {-1, 0, 186, 1000}) EXPECT_FALSE(is_datatype(n)) << n;
}

TEST(Datatype, starts_that_the_data_tell) {
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.data_starts; }),
            (std::set<int>{5,   11,  16,  114, 115, 117, 118, 120, 132, 133, 134, 135, 136, 138, 140,
                           146, 147, 151, 154, 155, 158, 159, 160, 162, 166, 169, 171, 172, 173, 174}));
}

TEST(Datatype, one_type_starts_without_a_preliminary_fit) {
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.starts_without_fit; }), (std::set<int>{115}));
}

TEST(Link, codes_and_names) {
  const std::vector<std::string> names{"LOGIT",  "LOGLOG",   "CLOGLOG",       "SIN",
                                       "LOG",    "IDENTITY", "PARM-SPECIFIC", "MLOGIT",
                                       "CLOGIT", "ABSOLUTE", "CAUCHY",        "SUMRATIO"};
  for (int code = 1; code <= 12; ++code) {
    const std::string& name = names[static_cast<std::size_t>(code) - 1];
    EXPECT_EQ(link_name(static_cast<Link>(code)), name);
    EXPECT_EQ(static_cast<int>(link_of(name)), code);
  }
  EXPECT_EQ(static_cast<int>(Link::sin), 4);
  EXPECT_EQ(static_cast<int>(Link::parm_specific), 7);
  EXPECT_EQ(static_cast<int>(Link::sumratio), 12);
  for (const char* name : {"", "logit", "LOGI", "LOGIT ", "PROBIT"})
    EXPECT_EQ(link_of(name), Link::none) << name;
  EXPECT_EQ(link_name(Link::none), "");
  EXPECT_EQ(link_name(static_cast<Link>(13)), "");
}

TEST(Link, those_of_sets) {
  for (int code = 0; code <= 12; ++code)
    EXPECT_EQ(links_a_set(static_cast<Link>(code)), code == 8 || code == 9 || code == 12) << code;
}

TEST(Datatype, routines_of_their_own) {
  const std::vector<std::pair<int, Cell>> own{
      {1, Cell::chprob001},   {2, Cell::chprob002},   {8, Cell::chprob008},   {9, Cell::chprob009},
      {32, Cell::chprob032},  {115, Cell::chprob115}, {119, Cell::chprob119}, {121, Cell::chprob121},
      {126, Cell::chprob126}, {139, Cell::chprob139}, {140, Cell::chprob140}, {141, Cell::chprob141},
      {142, Cell::chprob142}, {143, Cell::chprob143}, {144, Cell::chprob144}, {160, Cell::chprob160},
      {170, Cell::chprob170}, {171, Cell::chprob171}, {172, Cell::chprob172}, {173, Cell::chprob173},
      {174, Cell::chprob174}, {175, Cell::chprob175}, {176, Cell::chprob176}, {177, Cell::chprob177},
      {178, Cell::chprob178}, {179, Cell::chprob179}, {180, Cell::chprob180}, {181, Cell::chprob181},
      {182, Cell::chprob182}, {183, Cell::chprob183}, {184, Cell::chprob184}, {185, Cell::chprob185}};
  for (const auto& [number, cell] : own) EXPECT_EQ(with_cell(cell), std::set<int>{number}) << number;
}

TEST(Datatype, families_that_share_a_case) {
  EXPECT_EQ(with_cell(Cell::closed), numbers({{5, 5}, {12, 12}, {22, 23}, {25, 26}, {49, 54}, {145, 145}}));
  EXPECT_EQ(with_cell(Cell::density), numbers({{127, 129}, {161, 161}}));
  EXPECT_EQ(with_cell(Cell::robust), numbers({{7, 7}, {13, 13}, {39, 42}, {55, 60}, {146, 146}}));
  EXPECT_EQ(with_cell(Cell::robust_barker), numbers({{18, 18}, {43, 47}, {162, 162}}));
  EXPECT_EQ(with_cell(Cell::robust_multistate), numbers({{33, 38}, {61, 66}, {147, 147}}));
  EXPECT_EQ(with_cell(Cell::robust_pradel), numbers({{67, 102}, {148, 150}}));
  EXPECT_EQ(with_cell(Cell::robust_pradel_n), numbers({{163, 169}}));
  EXPECT_EQ(with_cell(Cell::robust_omega), numbers({{104, 106}}));
  EXPECT_EQ(with_cell(Cell::logit_normal), numbers({{114, 114}, {120, 120}, {158, 159}}));
}

TEST(Datatype, closed_form_terms) {
  const auto term = [](Closed_form form) {
    return numbers_where([=](const Datatype& row) { return row.closed_form == form; });
  };
  EXPECT_EQ(term(Closed_form::A), (std::set<int>{5, 22, 23, 49, 51, 52}));
  EXPECT_EQ(term(Closed_form::B), (std::set<int>{7, 18, 33, 55, 61, 67, 73, 79, 85, 91, 97, 163}));
  EXPECT_EQ(term(Closed_form::C), (std::set<int>{35, 39, 44, 57, 63, 69, 75, 81, 87, 93, 99,  165,
                                                 36, 40, 45, 58, 64, 70, 76, 82, 88, 94, 100, 166}));
  EXPECT_EQ(term(Closed_form::D), std::set<int>{11});
  EXPECT_EQ(term(Closed_form::E), std::set<int>{19});
  EXPECT_EQ(term(Closed_form::resight), (std::set<int>{114, 115, 120, 158, 159, 160, 171, 172, 173, 174}));
}

TEST(Datatype, closed_form_terms_are_those_of_the_full_likelihoods) {
  // Every type with `f0` has a term for the animals never caught, and no other type with a closed layer.
  for (int n = 1; n <= max_dattyp; ++n) {
    const Datatype& row = datatype(n);
    if (row.closed == Closed::none) continue;
    EXPECT_EQ(row.closed_form != Closed_form::none, names_hold(closed_parameters(row.closed), "f0")) << n;
  }
}

TEST(Datatype, links_of_their_own) {
  std::set<int> f0, any;
  for (int n = 1; n <= max_dattyp; ++n) {
    const Datatype& row = datatype(n);
    if (row.log_link == "f0") f0.insert(n);
    if (!row.log_link.empty()) any.insert(n);
    const std::vector<std::string> names = parmlist(n);
    for (const std::string& name :
         split(std::string(row.log_link) + " " + std::string(row.identity_link), ' '))
      if (!name.empty()) {
        EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << n << " " << name;
      }
  }
  EXPECT_EQ(
      f0, (std::set<int>{5,  7,  18, 22, 23, 33, 35, 36, 39, 40, 44, 45, 49, 51, 52, 55, 57, 58, 61,  63,
                         64, 67, 69, 70, 73, 75, 76, 79, 81, 82, 85, 87, 88, 91, 93, 94, 97, 99, 100, 166}));
  EXPECT_EQ(any.size(), f0.size() + 35u);
  EXPECT_TRUE(datatype(163).log_link.empty());
  EXPECT_TRUE(datatype(165).log_link.empty());
  EXPECT_EQ(datatype(11).log_link, "Lambda N");
  EXPECT_EQ(datatype(16).log_link, "Lambda");
  EXPECT_EQ(datatype(17).log_link, "f");
  EXPECT_EQ(datatype(19).log_link, "N");
  EXPECT_EQ(datatype(31).log_link, "f");
  for (const int n : {146, 162, 169}) EXPECT_EQ(datatype(n).log_link, "sigmap") << n;
  for (const int n : {14, 15, 80, 92, 148, 149, 150, 164, 168}) EXPECT_EQ(datatype(n).log_link, "") << n;
  EXPECT_EQ(datatype(118).log_link, "Lambda VarAdd");
  EXPECT_EQ(datatype(120).log_link, "sigma Nbar Nstar");
  EXPECT_EQ(datatype(159).identity_link, "alpha");
  EXPECT_EQ(datatype(136).log_link, "sigmaphi sigmap sigmaf f");
  EXPECT_EQ(datatype(182).log_link, "sigmaS sigmap sigmaPsi");
  EXPECT_TRUE(datatype(183).log_link.empty());
}

TEST(Datatype, primary_sessions) {
  const std::set<int> sessions = numbers_where([](const Datatype& row) { return row.sessions; });
  for (const int n : {7,   13,  18,  28,  32,  33,  67,  103, 104, 119, 121, 122, 124, 125, 126, 141, 142,
                      147, 150, 154, 157, 163, 170, 175, 184, 114, 120, 158, 159, 115, 160, 171, 174})
    EXPECT_TRUE(sessions.count(n)) << n;
  for (const int n :
       {1, 5, 12, 27, 107, 111, 116, 123, 130, 143, 144, 145, 151, 156, 161, 176, 177, 178, 183, 185})
    EXPECT_FALSE(sessions.count(n)) << n;
}

TEST(Datatype, histories_that_do_not_start_with_a_release) {
  EXPECT_EQ(numbers_where([](const Datatype& row) { return !row.released; }), numbers({{27, 30},
                                                                                       {48, 48},
                                                                                       {107, 118},
                                                                                       {120, 120},
                                                                                       {123, 125},
                                                                                       {137, 137},
                                                                                       {141, 141},
                                                                                       {143, 144},
                                                                                       {151, 154},
                                                                                       {156, 160},
                                                                                       {170, 175},
                                                                                       {177, 177}}));
}

TEST(Datatype, stratum_limits) {
  const auto limit = [](Stratum_limit rule) {
    return numbers_where([=](const Datatype& row) { return row.stratum_limit == rule; });
  };
  EXPECT_EQ(limit(Stratum_limit::strata_and_one), (std::set<int>{121, 126, 142, 176, 184}));
  EXPECT_EQ(limit(Stratum_limit::doubled), std::set<int>{122});
  EXPECT_EQ(limit(Stratum_limit::strata_and_events), (std::set<int>{178, 185}));
  EXPECT_EQ(limit(Stratum_limit::doubled_and_events), (std::set<int>{179, 180}));
}

TEST(Datatype, extra_layers) {
  const auto layers = [](Extra_layer rule) {
    return numbers_where([=](const Datatype& row) { return row.extra_layer == rule; });
  };
  EXPECT_EQ(layers(Extra_layer::one), (std::set<int>{11, 19, 121, 126, 142, 176, 184}));
  EXPECT_EQ(layers(Extra_layer::strata), std::set<int>{122});
}

TEST(Datatype, nodes_without_a_line) {
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.nodes == Nodes::silent; }),
            std::set<int>{151});
}

TEST(Datatype, families_by_flag) {
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.density; }),
            (std::set<int>{127, 128, 129, 161}));
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.nstarstate; }), (std::set<int>{183, 185}));
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.species; }), std::set<int>{177});
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.releases_stated; }),
            (std::set<int>{2, 10, 139, 140}));
  EXPECT_EQ(numbers_where([](const Datatype& row) { return !row.negative_allowed; }),
            (std::set<int>{114, 120, 158, 159}));
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.loss_when_dead; }), std::set<int>{8});
  EXPECT_EQ(numbers_where([](const Datatype& row) { return row.resight == Resight::poisson; }),
            (std::set<int>{115, 160, 171, 172, 173, 174}));
}

TEST(Datatype, saturated_forms) {
  const auto form = [](int n) { return datatype(n).saturated; };
  EXPECT_EQ(form(1), Saturated::release);
  EXPECT_EQ(form(9), Saturated::release_stratum);
  EXPECT_EQ(form(14), Saturated::last_capture);
  EXPECT_EQ(form(16), Saturated::whole_group);
  EXPECT_EQ(form(19), Saturated::popan);
  EXPECT_EQ(form(24), Saturated::none);
  EXPECT_EQ(form(127), Saturated::none);
  EXPECT_EQ(form(4), Saturated::interval);
  EXPECT_EQ(form(48), Saturated::brood);
  EXPECT_EQ(form(5), Saturated::closed_full);
  EXPECT_EQ(form(12), Saturated::whole_group);
  EXPECT_EQ(form(13), Saturated::session);
  EXPECT_EQ(form(7), Saturated::session_full);
  EXPECT_EQ(form(55), Saturated::session_full);
  EXPECT_EQ(form(59), Saturated::session);
  EXPECT_EQ(form(33), Saturated::session_stratum_full);
  EXPECT_EQ(form(34), Saturated::session_stratum);
  EXPECT_EQ(form(104), Saturated::session);
  EXPECT_EQ(form(103), Saturated::group_stratum);
  EXPECT_EQ(form(67), Saturated::group_full);
  EXPECT_EQ(form(68), Saturated::whole_group);
  EXPECT_EQ(form(163), Saturated::group_full);
  EXPECT_EQ(form(27), Saturated::whole_group);
  EXPECT_EQ(form(183), Saturated::whole_group);
  for (const int type : {176, 178, 179, 180}) EXPECT_EQ(form(type), Saturated::release_state) << type;
}

TEST(Datatype, derived_counts_of_the_sampler) {
  const auto rule = [](int n) { return datatype(n).derived; };
  EXPECT_EQ(rule(30), Derived_count::sessions_and_growth);
  EXPECT_EQ(rule(33), Derived_count::strata_sessions);
  EXPECT_EQ(rule(7), Derived_count::sessions);
  EXPECT_EQ(rule(27), Derived_count::groups);
  EXPECT_EQ(rule(9), Derived_count::none);
  EXPECT_EQ(rule(31), Derived_count::lambda);
  EXPECT_EQ(rule(28), Derived_count::growth);
  EXPECT_EQ(rule(117), Derived_count::groups);
  EXPECT_EQ(rule(177), Derived_count::sections);
}

TEST(Datatype, bounds_of_the_matrices) {
  const auto rule = [](int n) { return datatype(n).pim_bounds; };
  EXPECT_EQ(rule(1), Pim_bounds::strata);
  EXPECT_EQ(rule(124), Pim_bounds::unoccupied);
  EXPECT_EQ(rule(125), Pim_bounds::unoccupied);
  EXPECT_EQ(rule(122), Pim_bounds::doubled);
  EXPECT_EQ(rule(123), Pim_bounds::blocks);
  EXPECT_EQ(rule(175), Pim_bounds::session_blocks);
  EXPECT_EQ(rule(143), Pim_bounds::mixtures);
  EXPECT_EQ(rule(177), Pim_bounds::species);
  EXPECT_EQ(rule(178), Pim_bounds::codes);
  EXPECT_EQ(rule(185), Pim_bounds::codes);
  EXPECT_EQ(rule(180), Pim_bounds::barker_codes);
  EXPECT_EQ(rule(172), Pim_bounds::occasions);
}

TEST(Datatype, tells_the_range_of_a_parameter) {
  const auto range = [](std::string_view keyword, std::string_view name) {
    return parameter_range(datatype(dattyp_of(keyword)), name);
  };
  EXPECT_EQ(range("CJS", "Phi"), Parameter_range::probability);
  EXPECT_EQ(range("BROWNIE", "f"), Parameter_range::probability);
  EXPECT_EQ(range("JOLLY", "Lambda"), Parameter_range::positive);
  EXPECT_EQ(range("JOLLY", "N"), Parameter_range::count);
  EXPECT_EQ(range("RDPDNCLOSED", "f0"), Parameter_range::count);
  EXPECT_EQ(range("HUGGINSRE", "sigmap"), Parameter_range::deviation);
  EXPECT_EQ(range("IELOGITNORMALMR", "alpha"), Parameter_range::any);
  EXPECT_EQ(range("PRADLAMBDA", "Lambda"), Parameter_range::positive);
  EXPECT_EQ(range("PRADREC", "f"), Parameter_range::positive);
  EXPECT_EQ(range("LINKBARKER", "f"), Parameter_range::positive);
  EXPECT_EQ(range("PRADSEN", "Gamma"), Parameter_range::probability);
  EXPECT_EQ(range("POPAN", "pent"), Parameter_range::probability);
  EXPECT_EQ(range("POPAN", "N"), Parameter_range::count);
  EXPECT_EQ(range("ROBUST", "Gamma''"), Parameter_range::probability);
  EXPECT_EQ(range("ROBUST", "f0"), Parameter_range::count);
  EXPECT_EQ(range("RDBARKER", "a'"), Parameter_range::probability);
  EXPECT_EQ(range("RDHUGGINSRE", "sigmap"), Parameter_range::deviation);
  EXPECT_EQ(range("RDPDGCLOSED", "Gamma"), Parameter_range::probability);
  EXPECT_EQ(range("NSPECIESOCC", "f"), Parameter_range::any);
  EXPECT_EQ(range("NSPECIESOCC", "p"), Parameter_range::probability);
  EXPECT_EQ(range("OCCUPRPOISSON", "Lambda"), Parameter_range::positive);
}

// Whatever the closed layer and its links: a growth or a recruitment above 1 is at no end of its range.
TEST(Datatype, growth_of_every_pradel_type_is_no_chance) {
  int growing = 0;
  for (int n = 1; n <= max_dattyp; ++n) {
    const Datatype& row = datatype(n);
    if (row.cell != Cell::robust_pradel) continue;
    for (const std::string& name : parmlist(n)) {
      const bool growth = name == "Lambda" || name == "f";
      growing += growth ? 1 : 0;
      EXPECT_EQ(parameter_range(row, name) == Parameter_range::positive, growth) << n << " " << name;
    }
  }
  EXPECT_EQ(growing, 26);  // 79 to 102, 149, 150
}

TEST(Datatype, page_of_data_types_is_up_to_date) {
  std::ifstream file(TARN_TEST_DATA "/../../docs/data-types.md");
  std::stringstream text;
  text << file.rdbuf();
  EXPECT_EQ(text.str(), data_types_page()) << "run the program data_types_page into docs/data-types.md";
}

}  // namespace
}  // namespace tarn
