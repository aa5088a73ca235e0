// The classes of cells tell rightly which real parameters, and so which betas, a cell depends on.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "data/sessions.h"
#include "likelihood/cell_classes.h"
#include "likelihood/likelihood_work.h"
#include "support/closed_builder.h"
#include "support/fitted_models.h"
#include "support/site_paths.h"

namespace tarn {
namespace {

/// Everything that a cell gives to the likelihood, bit by bit: a number that is none equals itself.
struct Cell_figures {
  std::uint64_t prob, lnprob, penalty, serial_penalty;
  bool operator==(const Cell_figures&) const = default;
};

/// The cells of a job by themselves, at any reals.
class Cells {
 public:
  explicit Cells(Job& job) : job_(job), work_(job, job.model.likelihood->setting) {}

  Cell_figures at(int i, int j, int lost, const std::vector<double>& reals) {
    work_.begin();
    Ch_result<double> made;
    job_.model.chprobpointer(job_, made, job_.data.encounters.history(i), i, j, lost,
                             Reals<double>(reals.data()), work_);
    const auto bits = [](double x) { return std::bit_cast<std::uint64_t>(x); };
    return {bits(made.prob), bits(made.lnprob), bits(work_.penlty[0]), bits(work_.penlty[1])};
  }

 private:
  Job& job_;
  Cell_work<double> work_;
};

/// Real parameters of record i at x.
std::vector<double> reals_of(Job& job, int i, const std::vector<double>& x) {
  Real_work<double> work;
  prepare(job, work);
  tranlg<double>(job, i, x, work, 1, 0, nullptr);
  return {work.parm.begin(), work.parm.end()};
}

/// Calls `visit(i, j, lost)` for every cell with a count.
template <class Visit>
void for_each_cell(Job& job, Visit visit) {
  for (int i = 1; i <= job.data.encounters.size(); ++i)
    for (int j = 1; j <= job.status.ngrps; ++j) {
      const auto g = static_cast<std::size_t>(j) - 1;
      if (job.data.encounters.observed(i)[g] > 0.0F) visit(i, j, 0);
      if (job.data.encounters.lost_on_capture(i)[g] > 0.0F) visit(i, j, 1);
    }
}

/// The matrix that a real parameter stands in, its stratum, its session and its column there.
struct Place {
  std::string name;
  int stratum = 1, session = 1, column = 0;
};
std::vector<Place> places(Job& job) {
  std::vector<Place> by_number(static_cast<std::size_t>(job.model.nlogit));
  for_each_matrix(job, [&](const Pim_place& place, const Pim& pim) {
    for_each_cell(pim, [&](int, int c, int number) {
      by_number[static_cast<std::size_t>(number) - 1] = {pim.parname, place.a, place.b, c};
    });
  });
  return by_number;
}

/// The part of a history that lies in one session.
struct Session_part {
  int first = 0, last = 0;  ///< captures, by occasion of the session
  int sampled = 0, last_sampled = 0;

  Session_part(History history, const Primary_session& session) {
    for (int o = 1; o <= session.length; ++o) {
      const char live = history.live(session.before + o);
      if (live != '.') ++sampled, last_sampled = o;
      if (!captured(live)) continue;
      if (first == 0) first = o;
      last = o;
    }
  }
};

/// The same of robust designs.
bool is_looked_up_in_vain(const Job& job, History history, int lost, const Place& real) {
  const Datatype& row = datatype(job.status.dattyp);
  const Closed_kind kind = Closed_kind::of(row.number);
  std::vector<Session_part> parts;
  const List<Primary_session> sessions = primary_sessions(job);
  for (const Primary_session& session : sessions) parts.emplace_back(history, session);
  const int n = static_cast<int>(parts.size());
  int first = 0, last = 0, first_sampled = 0, last_sampled = 0;
  for (int s = 1; s <= n; ++s) {
    const Session_part& part = parts[static_cast<std::size_t>(s) - 1];
    if (part.first > 0 && first == 0) first = s;
    if (part.first > 0) last = s;
    if (part.last_sampled > 0 && first_sampled == 0) first_sampled = s;
    if (part.last_sampled > 0) last_sampled = s;
  }
  const auto stratum_shown = [&](int s) { return known_stratum_in(job, history, sessions(s)); };
  // What animals do that are in another state than this one.
  if (is_uncertain(row.number) && real.name == "S" && stratum_shown(real.column) > 0 &&
      stratum_shown(real.column) != real.stratum)
    return true;
  // Captures in other strata than that of the last session that was sampled, which nobody could have missed.
  if (row.cell == Cell::ordpdms && has_matrix_by_session(row.number, real.name) &&
      real.session == last_sampled && stratum_shown(last_sampled) > 0 &&
      stratum_shown(last_sampled) != real.stratum)
    return true;
  const bool conditional_on_first =
      row.cell == Cell::robust || row.cell == Cell::robust_barker || row.cell == Cell::robust_multistate;
  if (!has_matrix_by_session(row.number, real.name)) {
    // Whether an animal lives on, and where, if nothing is sampled any more.
    const bool of_encounters = row.cell == Cell::robust_barker &&
                               (real.name[0] == 'S' || real.name[0] == 'r' || real.name[0] == 'R');
    if (!of_encounters && real.column >= last_sampled) return true;
    // By what a population grew that nobody has sampled.
    return !conditional_on_first && real.column < first_sampled;
  }
  const Session_part& part = parts[static_cast<std::size_t>(real.session) - 1];
  if (part.last_sampled == 0) return true;
  // Sessions behind the one in which the animal was found dead.
  if (row.cell == Cell::robust_barker && lost == 0)
    for (int s = 1; s < real.session; ++s) {
      const Primary_session& session = sessions(s);
      for (int o = session.before + 1; o <= session.last(); ++o)
        if (history.dead(o) == '1') return true;
    }
  // Given a capture in the session of the first one, of one occasion sampled.
  if (conditional_on_first && real.session == first && kind.conditional && part.sampled == 1) return true;
  const int open = lost != 0 && real.session == last ? part.last : part.last_sampled;
  // The chance of no capture is of no use in the session of the first one.
  if (conditional_on_first && real.session == first && !kind.conditional && real.name == "p")
    return real.column > (kind.recapture ? part.first : open);
  // Read wrongly or rightly, nothing could have been met behind.
  return real.name == "alpha" && part.first == open;
}

/// The same of animals whose state a sign may tell: there those of the other states have the factor 0.
bool is_of_a_state_excluded(int type, History history, const Place& real) {
  const auto state = [](char sign) {
    return sign == 'A' || sign == 'a' ? 1 : sign == 'B' || sign == 'b' ? 2 : 0;
  };
  const auto excluded = [&](int known) { return known != 0 && known != real.stratum; };
  const bool two_characters = !datatype(type).live;
  if (real.name == "pi" || real.name == "pent") return false;
  if (real.name == "p" || real.name == "Delta") {
    const int o = real.name == "p" && type != 183 && type != 185 ? real.column + 1 : real.column;
    if (history.live(o) == '.' || excluded(state(history.live(o)))) return true;
    // Of type 180 that state is the one of the interval behind it, of the others, that of the interval ahead
    // of which it is found.
    const int c = type == 180 ? o - 1 : o;
    return two_characters && c >= 1 && c <= history.noccas() && excluded(state(history.dead(c)));
  }
  const int c = real.column;
  // What was met later was not dead.
  if (real.name == "r" || real.name == "R'" || real.name == "rho'") {
    for (int o = c + 1; o <= history.noccas(); ++o)
      if (captured(history.live(o)) || history.dead(o) != '0') return true;
  }
  const bool later = type == 180 && real.name != "Psi";
  const char ahead = later ? (c < history.noccas() ? history.live(c + 1) : '0') : history.live(c);
  if (excluded(state(ahead))) return true;
  if (two_characters && !(type == 180 && real.name == "Psi") && excluded(state(history.dead(c)))) return true;
  // The state in which it was resighted ahead of the interval.
  return type == 180 && real.name == "Psi" && c > 1 && excluded(state(history.dead(c - 1)));
}

/// The same of sites: what has the factor 0 there, because surveys exclude a state, is what the chance of the
/// record does not depend on. Of surveys that were not made, and behind the last one, nothing is looked up
/// all the same.
bool is_of_a_site_excluded(const Job& job, History history, const Place& real) {
  const int type = job.status.dattyp;
  const Datatype& row = datatype(type);
  const List<Primary_session> sessions =
      row.sessions ? primary_sessions(job) : List<Primary_session>{{0, history.noccas()}};
  std::vector<int> lengths;
  std::string cells;
  int o = 0;
  for (int s = 1; s <= sessions.size(); ++s) {
    lengths.push_back(sessions(s).length);
    for (int j = 1; j <= sessions(s).length; ++j) {
      cells += history.live(++o);
      if (!row.live) cells += history.dead(o);
    }
  }
  static const std::vector<std::string> of_surveys{"p",   "p10", "p11", "b",   "pA", "pB", "rA",    "rBA",
                                                   "rBa", "rAB", "rAb", "raB", "p1", "p2", "Delta", "r"};
  const bool units = row.cell == Cell::multscalocc || row.cell == Cell::chprob175;
  const bool of_session = is_site_matrix_by_session(type, real.name);
  const int before = of_session ? sessions(real.session).before : 0;
  if (std::find(of_surveys.begin(), of_surveys.end(), real.name) != of_surveys.end()) {
    const int unit = units ? (real.stratum - 1) * job.status.nmixtures : 0;
    if (!surveyed(history, before + unit + real.column)) return false;
  }
  const auto chance = [&](double own) {
    const Site_layout twos;
    const auto rate = [&](const std::string& name, int column, int second, int third, int) {
      const auto sizes = site_matrices(type, name, lengths, twos);
      const bool is_there = std::any_of(sizes.begin(), sizes.end(), [&](const Matrix_size& size) {
        return size.second == second && size.third == third && column <= size.columns;
      });
      if (!is_there) return std::nan("");
      const bool it =
          name == real.name && column == real.column && second == real.stratum && third == real.session;
      return it ? own : 0.15 + 0.01 * column + 0.02 * second + 0.03 * third;
    };
    return Site_paths(type, lengths, twos, 1, rate).chance(cells);
  };
  return chance(0.1) == chance(0.3);
}

/// Real parameters that a routine looks up for a history, although they cancel or have the factor 0.
bool is_looked_up_in_vain(const Job& job, int i, int lost, const Place& real) {
  const int type = job.status.dattyp;
  const History history = job.data.encounters.history(i);
  const Datatype& row = datatype(type);
  if (is_site(type)) return is_of_a_site_excluded(job, history, real);
  if (row.sessions) return is_looked_up_in_vain(job, history, lost, real);
  if (has_states(type)) return is_of_a_state_excluded(type, history, real);
  if (type == 1) return real.name == "p" && history.live(real.column + 1) == '.';
  if (type == 19) return real.name == "p" && history.live(real.column) == '.';
  // A harvest is certain to be in the only interval that is left, whatever else animals die of.
  if (type == 20) return real.name == "M" && first1(history) == history.noccas();
  if (row.closed == Closed::none) return false;
  const Closed_kind kind = Closed_kind::of(type);
  const int open = lost ? lastlc(history) : lastsm(history);
  // The chance of no capture, of which the conditional kinds alone make use.
  if (!kind.conditional && real.name == "p") return real.column > (kind.recapture ? first1(history) : open);
  // Read wrongly or rightly, nothing could have been met behind.
  return real.name == "alpha" && first1(history) == open;
}

class Cell_classes_law : public testing::TestWithParam<int> {
 protected:
  static std::vector<Animal> animals(const Fitted_options& options) {
    return draw_animals(GetParam(), 15, options, 23);
  }
};

/// A real: most of them inside 0 to 1, some at its ends or beyond them.
double any_real(Draws& draws) {
  static constexpr double special[] = {0.0, 1.0, 1.3, -0.2, 8.0};
  return draws.chance(0.2) ? special[draws.whole(0, 4)] : draws.between(0.05, 0.95);
}

TEST_P(Cell_classes_law, cells_change_with_the_reals_that_they_read_and_with_no_others) {
  const Fitted_options options{.covariates = 0, .identity = true};
  Model_builder m = fitted_model(GetParam(), animals(options), options);
  Job& job = m.job();
  const Cell_classes& classes = cell_classes(job);
  Cells cells(job);
  Draws draws(29);
  // In the first points all reals are inside 0 to 1: what a cell reads shows there.
  std::vector<std::vector<double>> points;
  for (int k = 0; k < 8; ++k) {
    points.emplace_back();
    for (int row = 1; row <= job.model.nlogit; ++row)
      points.back().push_back(k < 3 ? draws.between(0.05, 0.95) : any_real(draws));
  }
  const std::vector<Place> places_of_reals = places(job);
  int read = 0, unread = 0;
  for_each_cell(job, [&](int i, int j, int lost) {
    for (int row = 1; row <= job.model.nlogit; ++row) {
      bool changes = false;
      for (std::vector<double> reals : points) {
        const Cell_figures before = cells.at(i, j, lost, reals);
        for (const double value : {draws.between(0.05, 0.95), 0.0, 1.0, 1.3, -0.2, 8.0}) {
          reals[static_cast<std::size_t>(row) - 1] = value;
          changes = changes || !(cells.at(i, j, lost, reals) == before);
        }
      }
      const bool reads = classes.reads(classes.of(i, j, lost), row);
      ++(reads ? read : unread);
      const Place& place = places_of_reals[static_cast<std::size_t>(row) - 1];
      const auto vain = [&] { return is_looked_up_in_vain(job, i, lost, place); };
      // Where it cancels its rounding may show.
      EXPECT_TRUE(reads ? changes || vain() : !changes)
          << "record " << i << ' ' << job.data.encounters.history(i).text() << ", group " << j << ", lost "
          << lost << ", real " << row << " of " << place.name;
    }
  });
  EXPECT_GT(read, 0);
  EXPECT_GT(unread, 0);
}

TEST_P(Cell_classes_law, records_change_with_the_reals_of_their_set_and_with_no_others) {
  const Fitted_options options{.covariates = 0, .identity = true};
  std::vector<Animal> met = animals(options);
  Animal nobody = met.front();
  std::fill(nobody.observed.begin(), nobody.observed.end(), 0.0F);
  std::fill(nobody.lost.begin(), nobody.lost.end(), 0.0F);
  met.insert(met.begin() + 3, nobody);
  Model_builder m = fitted_model(GetParam(), met, options);
  Job& job = m.job();
  const Reach_sets& sets = reach_sets(job);
  Cells cells(job);
  Draws draws(37);
  std::vector<std::vector<double>> points;
  for (int k = 0; k < 6; ++k) {
    points.emplace_back();
    for (int row = 1; row <= job.model.nlogit; ++row)
      points.back().push_back(k < 3 ? draws.between(0.05, 0.95) : any_real(draws));
  }
  const std::vector<Place> places_of_reals = places(job);
  struct Seen {
    bool changes = false, in_vain = false;
  };
  const int records = job.data.encounters.size();
  std::vector<std::vector<Seen>> seen(static_cast<std::size_t>(records),
                                      std::vector<Seen>(points.front().size()));
  for_each_cell(job, [&](int i, int j, int lost) {
    for (std::size_t row = 0; row < points.front().size(); ++row) {
      Seen& own = seen[static_cast<std::size_t>(i) - 1][row];
      for (std::vector<double> reals : points) {
        const Cell_figures before = cells.at(i, j, lost, reals);
        for (const double value : {draws.between(0.05, 0.95), 0.0, 1.0, -0.2, 8.0}) {
          reals[row] = value;
          own.changes = own.changes || !(cells.at(i, j, lost, reals) == before);
        }
      }
      own.in_vain = own.in_vain || own.changes || is_looked_up_in_vain(job, i, lost, places_of_reals[row]);
    }
  });
  for (int i = 1; i <= records; ++i) {
    ASSERT_TRUE(sets.of(i) >= 1 && sets.of(i) <= sets.count());
    const List<int>& rows = sets.rows(sets.of(i));
    EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(), std::less_equal<>()));
    for (int row = 1; row <= job.model.nlogit; ++row) {
      const bool reads = std::binary_search(rows.begin(), rows.end(), row);
      const Seen& own = seen[static_cast<std::size_t>(i) - 1][static_cast<std::size_t>(row) - 1];
      EXPECT_TRUE(reads || !own.changes) << "record " << i << ", real " << row;
      EXPECT_TRUE(!reads || own.changes || own.in_vain) << "record " << i << ", real " << row;
    }
  }
  EXPECT_TRUE(sets.rows(sets.of(4)).empty()) << "nobody there";
  for (int k = 1; k <= sets.count(); ++k)
    for (int other = 1; other < k; ++other) EXPECT_NE(sets.rows(k), sets.rows(other));
}

TEST(Reach_sets, are_shared_by_records_and_made_of_all_their_cells) {
  Model_builder m(1, 4, 2);
  m.record("0110", {1.0F, 0.0F});
  m.record("0100", {0.0F, 2.0F});
  m.record("0110", {1.0F, 1.0F});
  m.record("0111", {3.0F, 0.0F}, {0.0F, 1.0F});
  m.record("0101", {1.0F, 0.0F});
  m.record("0011", {0.0F, 0.0F}, {0.0F, 1.0F});
  for (int g = 1; g <= 2; ++g)
    for (int q = 1; q <= 2; ++q)
      m.pim(q, g, "TRIANG", 3, 3, [&](int, int c) { return 6 * (g - 1) + 3 * (q - 1) + c; });
  m.finish();
  const Reach_sets& sets = reach_sets(m.job());
  EXPECT_EQ(&sets, &reach_sets(m.job()));
  EXPECT_EQ(sets.count(), 4);
  const auto rows_of = [&sets](int i) { return sets.rows(sets.of(i)); };
  EXPECT_EQ(rows_of(1), (List<int>{2, 3, 5, 6}));
  EXPECT_EQ(rows_of(2), (List<int>{8, 9, 11, 12}));
  EXPECT_EQ(rows_of(3), (List<int>{2, 3, 5, 6, 8, 9, 11, 12}));
  EXPECT_EQ(sets.of(4), sets.of(3));
  EXPECT_EQ(sets.of(5), sets.of(1));
  EXPECT_EQ(rows_of(6), (List<int>{9, 12}));
}

/// What stands between betas and reals.
enum class Between { slopes, few_slopes, sets, fixed };

Model_builder model_with(Between between, int type, const std::vector<Animal>& animals) {
  const Fitted_options options{.by_record = true, .slope_every = between == Between::few_slopes ? 3 : 1};
  Model_builder m = unfinished_model(type, animals, options);
  if (between == Between::sets) {
    m.set_member(1, Link::mlogit, 1);
    m.set_member(3, Link::mlogit, 1);
    m.set_member(2, Link::sumratio, 1);
    m.set_member(4, Link::sumratio, 1);
  }
  if (between == Between::fixed) {
    m.set_member(1, Link::mlogit, 1);
    m.set_member(2, Link::mlogit, 1);
    m.fix(2, 0.25);
    m.fix(3, 0.5);
  }
  m.finish();
  return m;
}

std::string name_of_model(const testing::TestParamInfo<std::tuple<int, Between>>& info) {
  static constexpr const char* names[] = {"slopes", "few_slopes", "sets", "fixed"};
  const auto [type, between] = info.param;
  return "type_" + std::to_string(type) + "_" + names[static_cast<int>(between)];
}

class Moved_classes_law : public testing::TestWithParam<std::tuple<int, Between>> {};

TEST_P(Moved_classes_law, cells_change_with_the_betas_that_move_them_and_with_no_others) {
  const auto [type, between] = GetParam();
  Model_builder m = model_with(between, type, draw_animals(type, 15, {}, 31));
  Job& job = m.job();
  const Cell_classes& classes = cell_classes(job);
  const Moved_classes& moved = moved_classes(job);
  Cells cells(job);
  const std::vector<std::vector<double>> points{moderate_betas(m, 1), moderate_betas(m, 2),
                                                moderate_betas(m, 3)};
  int moving = 0, idle = 0;
  for (int k = 1; k <= m.betas(); ++k)
    for_each_cell(job, [&, between = between](int i, int j, int lost) {
      const int of = classes.of(i, j, lost);
      bool cell_changes = false, real_changes = false;
      for (const std::vector<double>& x : points) {
        const std::vector<double> reals = reals_of(job, i, x);
        for (const double by : {-0.7, 0.4, 2.5, 40.0, -40.0}) {
          std::vector<double> y = x;
          y[static_cast<std::size_t>(k) - 1] += by;
          const std::vector<double> others = reals_of(job, i, y);
          cell_changes = cell_changes || !(cells.at(i, j, lost, reals) == cells.at(i, j, lost, others));
          for (std::size_t row = 0; row < reals.size(); ++row)
            real_changes =
                real_changes || (reals[row] != others[row] && classes.reads(of, static_cast<int>(row) + 1));
        }
      }
      const bool moves = moved.moves(of, k);
      ++(moves ? moving : idle);
      const auto told = [&] {
        return "record " + std::to_string(i) + ", group " + std::to_string(j) + ", lost " +
               std::to_string(lost) + ", beta " + std::to_string(k);
      };
      EXPECT_TRUE(moves || !real_changes) << told();
      EXPECT_TRUE(moves || !cell_changes) << told();
      // A fixed real parameter counts as moved by the betas of its row, which costs time only.
      EXPECT_TRUE(real_changes || !moves || between == Between::fixed) << told();
    });
  EXPECT_GT(moving, 0);
  EXPECT_GT(idle, 0);
}

INSTANTIATE_TEST_SUITE_P(types, Cell_classes_law, testing::ValuesIn(types_with_a_routine()), name_of_type);
INSTANTIATE_TEST_SUITE_P(types, Moved_classes_law,
                         testing::Combine(testing::ValuesIn(types_for_long_laws()),
                                          testing::Values(Between::slopes, Between::few_slopes, Between::sets,
                                                          Between::fixed)),
                         name_of_model);

}  // namespace
}  // namespace tarn
