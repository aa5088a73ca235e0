// Fits of the robust designs: expected counts of large populations give back the parameters that made them.
//
// Within sessions the counts come from animals that are followed occasion by occasion (closed_animals.h),
// between sessions from animals in their states. Counts are kept to 1 in 1.7e7, and the search ends well
// within 1e-5. Full likelihoods have their maximum some 1 / M away, M the animals caught in a session: here
// 1e-7 and less.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "data/catalogue/datatype.h"
#include "support/closed_animals.h"
#include "support/recovery_deck.h"

namespace tarn {
namespace {

constexpr double tolerance = 1e-5;
/// Animals that each session adds to the marked ones, or that are there in the first one.
constexpr double size = 3e7;

/// Rates within sessions: one for each mixture, in every session alike or by session.
struct Captures {
  std::vector<double> pi{1.0};
  std::vector<std::vector<double>> p, c;  ///< session (or one for all), mixture; c empty: as p
  double alpha = 1.0, sigma = 0.0;
};

struct Design {
  int type;
  std::vector<int> length;  ///< occasions by session
  std::vector<double> t;    ///< intervals, the one behind the last session included
  Captures captures;
};

void PrintTo(const Design& d, std::ostream* out) { *out << "type " << d.type; }

int sessions(const Design& d) { return static_cast<int>(d.length.size()); }
const std::vector<double>& of_session(const std::vector<std::vector<double>>& rates, std::size_t s) {
  return rates[rates.size() == 1 ? 0 : s];
}

/// The closed session s: its histories with a capture, given that there is one, and the chance of that.
struct Session {
  std::map<std::string, double> histories;
  double pstar;
};

std::vector<Session> sessions_of(const Design& d) {
  const Closed_kind kind = Closed_kind::of(d.type);
  std::vector<Session> all;
  for (std::size_t s = 0; s < d.length.size(); ++s) {
    const auto n = static_cast<std::size_t>(d.length[s]);
    Closed_reals x;
    x.pi = d.captures.pi;
    for (std::size_t m = 0; m < x.pi.size(); ++m) {
      x.p.emplace_back(n, of_session(d.captures.p, s)[m]);
      x.c.emplace_back(n, of_session(d.captures.c.empty() ? d.captures.p : d.captures.c, s)[m]);
    }
    x.alpha.assign(n, d.captures.alpha);
    x.sigma.assign(n, d.captures.sigma);
    const Closed_animals animals(kind, x);
    Session session{{}, 1.0 - animals.never()};
    for (const std::string& history : all_histories(d.length[s]))
      if (history.find('1') != std::string::npos)
        session.histories[history] = animals.prob(history) / (kind.conditional ? 1.0 : session.pstar);
    all.push_back(session);
  }
  return all;
}

/// Animals by what the sessions show of them: two characters a session, a capture or none and a code.
using Patterns = std::map<std::string, double>;

/// Calls visit(history, animals) for every way in which the captures within sessions can make the pattern.
template <class Visit>
void for_each_record(const Design& d, const std::vector<Session>& within, const std::string& pattern,
                     double animals, const Visit& visit, const std::string& so_far = {}, std::size_t s = 0) {
  if (s == d.length.size()) {
    visit(so_far, animals);
    return;
  }
  const bool live = datatype(d.type).live;
  const auto written = [&](const std::string& history) {
    if (live) return history;
    std::string cells;
    for (const char cell : history) cells += {cell, '0'};
    cells.back() = pattern[2 * s + 1];
    return cells;
  };
  if (pattern[2 * s] == '0') {
    const std::string none(static_cast<std::size_t>(d.length[s]), '0');
    for_each_record(d, within, pattern, animals, visit, so_far + written(none), s + 1);
    return;
  }
  for (const auto& [history, share] : within[s].histories)
    for_each_record(d, within, pattern, animals * share, visit, so_far + written(history), s + 1);
}

template <class Visit>
void for_each_record(const Design& d, const std::vector<Session>& within, const Patterns& patterns,
                     const Visit& visit) {
  for (const auto& [pattern, animals] : patterns)
    if (animals > 0.0)
      for_each_record(d, within, pattern, animals,
                      [&](const std::string& history, double share) { visit(pattern, history, share); });
}

/// A parameter between sessions: by interval, or one for all, fixed or not.
struct Between {
  std::string name, link;
  std::vector<double> truth;
  int columns;
  bool fixed = false;
  int same_as = 0;  ///< the parameter of this place, from 1, has its numbers
};

/// The model of a deck: its statements, the reals that they name, and where the search starts.
struct Model {
  std::vector<double> truth;
  std::vector<std::string> links;
  std::string matrices, fixed;
  int fixed_count = 0;

  int add(double real, const std::string& link) {
    truth.push_back(real);
    links.push_back(link);
    return static_cast<int>(truth.size());
  }
  int fix(double real, const std::string& link) {
    ++fixed_count;
    const int number = add(real, link);
    fixed += "parm(" + std::to_string(number) + ")=" + text_of(real) + ";\n";
    return number;
  }
  /// Rows of a matrix with one number each.
  void matrix(const std::string& name, int columns, const std::vector<int>& numbers) {
    if (columns == 0) return;
    head(name, static_cast<int>(numbers.size()), columns);
    for (const int number : numbers) {
      for (int k = 0; k < columns; ++k) matrices += std::to_string(number) + " ";
      matrices += ";\n";
    }
  }
  void head(const std::string& name, int rows, int columns) {
    matrices += "group=1 " + name + " rows=" + std::to_string(rows) + " cols=" + std::to_string(columns) +
                " square;\n";
  }
  /// @param start  predictor of each real
  std::string text(const std::vector<double>& start) const {
    const std::string count = std::to_string(truth.size());
    std::string all = "proc estimate link=parm-specific;\n model={recovered};\n" + matrices +
                      "design matrix constraints=" + count + " covariates=" + count + " identity;\n";
    if (fixed_count > 0) all += "fixed=" + std::to_string(fixed_count) + ";\n" + fixed;
    all += "links;\n";
    for (const std::string& link : links) all += link + ";\n";
    all += "initial";
    for (const double predictor : start) all += text_of(predictor);
    return all + ";\nproc stop;\n";
  }
};

double predictor_of_real(double real, const std::string& link) {
  if (link == "LOG") return std::log(real);
  return real > 0.0 ? std::log(real / (1.0 - real)) : 0.0;  // of a real that is fixed
}

/// @param never  by session, animals never caught in it
Model model_of(const Design& d, const std::vector<Between>& between, const std::vector<double>& never) {
  const Closed_kind kind = Closed_kind::of(d.type);
  Model model;
  std::vector<std::string> rows;
  for (const Between& of : between) {
    std::string row;
    if (of.same_as > 0) {
      row = rows[static_cast<std::size_t>(of.same_as) - 1];
    } else {
      std::vector<int> numbers;
      for (const double real : of.truth)
        numbers.push_back(of.fixed ? model.fix(real, of.link) : model.add(real, of.link));
      for (int c = 0; c < of.columns; ++c)
        row += std::to_string(numbers[numbers.size() == 1 ? 0 : static_cast<std::size_t>(c)]) + " ";
    }
    rows.push_back(row);
    model.head(of.name, 1, of.columns);
    model.matrices += row + ";\n";
  }
  // Numbers of the rates within sessions; those of the first session may serve for all.
  std::vector<int> pi, p, c;
  int alpha = 0, sigma = 0;
  for (std::size_t s = 0; s < d.length.size(); ++s) {
    const std::string session = " Session " + std::to_string(s + 1);
    const bool own = s == 0 || d.captures.p.size() > 1;
    const auto numbered = [&](std::vector<int>& numbers, const std::vector<double>& reals) {
      if (!own) return;
      numbers.clear();
      for (const double real : reals) numbers.push_back(model.add(real, "LOGIT"));
    };
    if (kind.effect) {
      if (s == 0) sigma = model.add(d.captures.sigma, "LOG");
      model.matrix("sigmap" + session, 1, {sigma});
    }
    if (kind.mixtures) {
      numbered(pi, {d.captures.pi.begin(), d.captures.pi.end() - 1});
      model.matrix("pi" + session, 1, pi);
    }
    numbered(p, of_session(d.captures.p, s));
    model.matrix("p" + session, d.length[s], p);
    if (kind.recapture) {
      numbered(c, of_session(d.captures.c, s));
      model.matrix("c" + session, d.length[s] - 1, c);
    }
    if (kind.identification) {
      if (s == 0) alpha = model.add(d.captures.alpha, "LOGIT");
      model.matrix("alpha" + session, 1, {alpha});
    }
    if (!kind.conditional) model.matrix("f0" + session, 1, {model.add(never[s], "LOG")});
  }
  return model;
}

std::string data_of(const Design& d, const std::string& records) {
  int occasions = 0;
  std::string intervals = "time intervals";
  for (std::size_t s = 0; s < d.length.size(); ++s) {
    occasions += d.length[s];
    for (int o = 1; o < d.length[s]; ++o) intervals += " 0";
    intervals += text_of(d.t[s]);
  }
  return "proc chmatrix occasions=" + std::to_string(occasions) +
         " groups=1 hist=20000 etype=" + std::string(datatype(d.type).keyword[0]) +
         " nohist mixtures=" + std::to_string(d.captures.pi.size()) + ";\n" + intervals + ";\n" + records;
}

/// Data, what they say of the sizes, and the model.
struct Study {
  std::string records;
  int histories = 0;
  std::vector<double> caught, never;
};

/// @param count  what is recorded where so many animals are expected
template <class Count>
Study study_of(const Design& d, const Patterns& patterns, const Count& count) {
  const std::vector<Session> within = sessions_of(d);
  Study study;
  study.caught.assign(d.length.size(), 0.0);
  for_each_record(d, within, patterns, [&](const std::string& pattern, const std::string& history, double n) {
    const double animals = count(n);
    if (animals <= 0.0) return;
    study.records += history + text_of(animals) + ";\n";
    ++study.histories;
    for (std::size_t s = 0; s < d.length.size(); ++s)
      if (pattern[2 * s] == '1') study.caught[s] += animals;
  });
  for (std::size_t s = 0; s < d.length.size(); ++s)
    study.never.push_back(study.caught[s] * (1.0 - within[s].pstar) / within[s].pstar);
  return study;
}

/// A fit that starts off the truth.
Deck_result fitted(const Design& d, const Study& study, const Model& model) {
  std::vector<double> start;
  for (std::size_t i = 0; i < model.truth.size(); ++i)
    start.push_back(predictor_of_real(model.truth[i], model.links[i]) + (i % 2 == 1 ? 0.2 : -0.15));
  return run_deck(data_of(d, study.records) + model.text(start));
}

/// Expected counts are those of the saturated model: nothing is left of the deviance of a conditional
/// likelihood, and observed and expected counts of every history are alike.
void expect_truth(const Design& d, const std::vector<Between>& between, const Patterns& patterns,
                  const std::string& what) {
  const Study study = study_of(d, patterns, [](double n) { return n; });
  const Model model = model_of(d, between, study.never);
  const Deck_result result = fitted(d, study, model);
  const std::string which = "type " + std::to_string(d.type) + " " + what;
  ASSERT_EQ(result.stop, "NORMAL EXIT") << which << result.listing;
  for (std::size_t i = 0; i < model.truth.size(); ++i)
    EXPECT_NEAR(result.real(static_cast<int>(i) + 1).estimate, model.truth[i],
                tolerance * std::max(1.0, model.truth[i]))
        << which << " real " << i + 1 << "\n"
        << model.matrices;
  // A count is off by 6e-8 of itself, 4e-15 of it in sums of squares; sums of 1e9 have digits to 1e-6.
  if (Closed_kind::of(d.type).conditional) {
    EXPECT_NEAR(result.number(" DEVIANCE {recovered} ="), 0.0, 1e-4) << which;
  }
  EXPECT_NEAR(result.number("Pearson Chisquare {recovered} ="), 0.0, 1e-4) << which;
  // A history of few animals is off by what the estimates are.
  EXPECT_NEAR(result.number("Sum(Observed/Expected) {recovered} =") / study.histories, 1.0, tolerance)
      << which;
}

/// The deviance of a full likelihood where nothing else is left: in each session the number caught, of those
/// that were there, is a binomial, and no chance makes its value certain. A deviance is sensitive to single
/// animals, so counts are quarters of which all sums are exact in 32 bits.
void expect_deviance_of_sizes(const Design& d, const std::vector<Between>& between,
                              const Patterns& patterns) {
  if (Closed_kind::of(d.type).conditional) return;
  double squares = 0.0;
  const Study study = study_of(d, patterns, [&squares](double n) {
    const double expected = n / 60.0, count = std::round(4.0 * expected) / 4.0;
    squares += (count - expected) * (count - expected) / expected;
    return count;
  });
  for (const double caught : study.caught) ASSERT_LT(caught, 4194304.0);  // 2^24 quarters
  const Deck_result result = fitted(d, study, model_of(d, between, study.never));
  ASSERT_EQ(result.stop, "NORMAL EXIT") << "type " << d.type << result.listing;
  double sizes = 0.0;
  for (std::size_t s = 0; s < study.caught.size(); ++s) {
    const double caught = study.caught[s], never = study.never[s], share = caught / (caught + never);
    sizes -= 2.0 * (std::lgamma(caught + never + 1.0) - std::lgamma(caught + 1.0) - std::lgamma(never + 1.0) +
                    caught * std::log(share) + never * std::log(1.0 - share));
  }
  // What rounding of the counts leaves is within twice its squares; lgamma of 1e7 has digits to 1e-7.
  EXPECT_NEAR(result.number(" DEVIANCE {recovered} ="), sizes, 2.0 * squares + 1e-3) << "type " << d.type;
  EXPECT_GT(sizes, 10.0 * squares) << "type " << d.type;
}

/// Few animals, drawn among the histories that the sessions can show, and reals drawn without regard to them:
/// -2 log likelihood is not below that of the saturated model, nor is it where the search ends.
/// @param at_the_end  whether every model that the search may meet has probabilities from 0 to 1
void expect_no_better_than_saturated(const Design& d, const std::vector<Between>& between,
                                     const Patterns& patterns, bool at_the_end) {
  const std::vector<Session> within = sessions_of(d);
  std::vector<std::string> histories;
  for_each_record(d, within, patterns, [&](const std::string&, const std::string& history, double) {
    histories.push_back(history);
  });

  std::mt19937_64 bits(static_cast<unsigned long>(d.type));
  const auto between_0_and_1 = [&bits] { return static_cast<double>(bits() >> 11) * 0x1p-53; };
  for (int round = 0; round < 2; ++round) {
    std::string records;
    for (int i = 0; i < 30; ++i)
      records += histories[bits() % histories.size()] + " " + std::to_string(1 + bits() % 9) + ";\n";
    const Model model = model_of(d, between, std::vector<double>(d.length.size(), 10.0));
    std::vector<double> start;
    for (std::size_t i = 0; i < model.truth.size(); ++i)
      start.push_back(predictor_of_real(model.truth[i], model.links[i]) + 2.0 * between_0_and_1() - 1.0);
    const Deck_result result = run_deck(data_of(d, records) + model.text(start));
    if (at_the_end) {
      ASSERT_EQ(result.stop, "NORMAL EXIT") << "type " << d.type << result.listing;
    }
    const double saturated = result.number("-2logL(saturated) =");
    // Seven digits are shown.
    const double shown = 1e-6 * std::fabs(saturated);
    EXPECT_GE(result.number("-2logL Initial {recovered} ="), saturated - shown) << "type " << d.type;
    if (at_the_end) {
      EXPECT_GE(result.number(" -2logL {recovered} ="), saturated - shown) << "type " << d.type;
    }
  }
}

/// An animal outside with chance `away` when it was inside at the session before, with `still` when it was
/// outside; per unit of time.
struct Emigration {
  double away, still;
};

/// What sessions k + 1 and later show of an animal that is inside with chance `in`, outside with `out`, dead
/// with `dead` after session k.
void follow_plain(const Design& d, const std::vector<Session>& within, const std::vector<double>& survival,
                  Emigration e, std::size_t k, double in, double out, double dead, const std::string& pattern,
                  double animals, Patterns& patterns) {
  if (k + 1 == d.length.size()) {
    patterns[pattern] += animals * (in + out + dead);
    return;
  }
  const double t = d.t[k], lives = std::pow(survival[k], t);
  const double leaves = 1.0 - std::pow(1.0 - e.away, t), stays_out = std::pow(e.still, t);
  const double inside = lives * (in * (1.0 - leaves) + out * (1.0 - stays_out));
  const double outside = lives * (in * leaves + out * stays_out);
  const double gone = dead + (1.0 - lives) * (in + out);
  const double met = within[k + 1].pstar;
  follow_plain(d, within, survival, e, k + 1, inside * met, 0.0, 0.0, pattern + "10", animals, patterns);
  follow_plain(d, within, survival, e, k + 1, inside * (1.0 - met), outside, gone, pattern + "00", animals,
               patterns);
}

Patterns plain_patterns(const Design& d, const std::vector<double>& survival, Emigration e) {
  const std::vector<Session> within = sessions_of(d);
  Patterns patterns;
  std::string before;
  for (std::size_t f = 0; f < d.length.size(); ++f, before += "00")
    follow_plain(d, within, survival, e, f, 1.0, 0.0, 0.0, before + "10", size, patterns);
  return patterns;
}

// Capture and recapture of their own in each session.
const Captures by_session{{1.0}, {{0.3}, {0.5}, {0.4}, {0.35}}, {{0.45}, {0.35}, {0.6}, {0.3}}};
const Captures misread{{1.0}, {{0.3}}, {{0.45}}, 0.9};
const Captures two_kinds{{0.4, 0.6}, {{0.2, 0.6}}, {}};
const Captures two_kinds_recaught{{0.4, 0.6}, {{0.2, 0.5}}, {{0.35, 0.7}}};
const Captures two_kinds_misread{{0.4, 0.6}, {{0.2, 0.6}}, {}, 0.85};
const Captures two_kinds_recaught_misread{{0.4, 0.6}, {{0.2, 0.6}}, {{0.3, 0.7}}, 0.85};
const Captures of_all_sorts{{1.0}, {{0.3}}, {{0.45}}, 1.0, 0.8};
const std::vector<double> four_intervals{1.0, 2.0, 0.5, 1.0};

class Robust_recovery : public testing::TestWithParam<Design> {};

TEST_P(Robust_recovery, survival_and_emigration) {
  const Design& d = GetParam();
  const std::vector<double> survival{0.8, 0.9, 0.7};
  expect_truth(d,
               {{"S", "LOGIT", survival, 3}, {"Gamma''", "LOGIT", {0.25}, 3}, {"Gamma'", "LOGIT", {0.6}, 2}},
               plain_patterns(d, survival, {0.25, 0.6}), "Markovian");
}

TEST_P(Robust_recovery, nothing_beats_the_saturated_model) {
  const std::vector<double> survival{0.8, 0.9, 0.7};
  expect_no_better_than_saturated(
      GetParam(),
      {{"S", "LOGIT", survival, 3}, {"Gamma''", "LOGIT", {0.25}, 3}, {"Gamma'", "LOGIT", {0.6}, 2}},
      plain_patterns(GetParam(), survival, {0.25, 0.6}), true);
}

INSTANTIATE_TEST_SUITE_P(types, Robust_recovery,
                         testing::Values(Design{13, {3, 2, 2, 3}, four_intervals, by_session},
                                         Design{7, {3, 2, 2, 3}, four_intervals, by_session},
                                         Design{41, {6, 1, 2, 1}, four_intervals, two_kinds},
                                         Design{39, {6, 1, 2, 1}, four_intervals, two_kinds},
                                         Design{42, {6, 1, 2, 1}, four_intervals, two_kinds_recaught},
                                         Design{40, {6, 1, 2, 1}, four_intervals, two_kinds_recaught},
                                         Design{56, {5, 2, 1, 2}, four_intervals, misread},
                                         Design{55, {5, 2, 1, 2}, four_intervals, misread},
                                         Design{59, {6, 1, 2, 1}, four_intervals, two_kinds_misread},
                                         Design{57, {6, 1, 2, 1}, four_intervals, two_kinds_misread},
                                         Design{60, {7, 1, 1, 1}, four_intervals, two_kinds_recaught_misread},
                                         Design{58, {7, 1, 1, 1}, four_intervals, two_kinds_recaught_misread},
                                         Design{146, {4, 2, 1, 2}, four_intervals, of_all_sorts}));

TEST(Robust_emigration, at_random_or_none) {
  for (const int type : {13, 7}) {
    const Design d{type, {3, 2, 2, 3}, {1.0, 1.0, 1.0, 1.0}, by_session};
    // Away with the same chance wherever the animal was: one number for both.
    expect_truth(
        d,
        {{"S", "LOGIT", {0.85}, 3},
         {"Gamma''", "LOGIT", {0.2, 0.35, 0.3}, 3},
         {"Gamma'", "LOGIT", {}, 3, false, 2}},
        [&] {
          // As the chance differs from interval to interval, so does what is followed.
          const std::vector<Session> within = sessions_of(d);
          Patterns patterns;
          const double away[] = {0.2, 0.35, 0.3};
          for (unsigned bits = 1; bits < 16U; ++bits) {
            std::string pattern;
            std::size_t first = 4, last = 0;
            for (std::size_t s = 0; s < 4; ++s) {
              const bool met = ((bits >> (3 - s)) & 1U) != 0;
              pattern += met ? "10" : "00";
              if (met && first == 4) first = s;
              if (met) last = s;
            }
            double animals = size;
            for (std::size_t s = first + 1; s <= last; ++s) {
              const double met = (1.0 - away[s - 1]) * within[s].pstar;
              animals *= 0.85 * (pattern[2 * s] == '1' ? met : 1.0 - met);
            }
            double never = 1.0;
            for (std::size_t s = 3; s > last; --s)
              never = 0.15 + 0.85 * (1.0 - (1.0 - away[s - 1]) * within[s].pstar) * never;
            patterns[pattern] = animals * never;
          }
          return patterns;
        }(),
        "random");
    const std::vector<double> survival{0.8, 0.9, 0.7};
    expect_truth(d,
                 {{"S", "LOGIT", survival, 3},
                  {"Gamma''", "LOGIT", {0.0}, 3, true},
                  {"Gamma'", "LOGIT", {0.0}, 2, true}},
                 plain_patterns(d, survival, {0.0, 0.0}), "none");
  }
}

/// Live and dead encounters, per unit of time.
struct Fates {
  double survival, r, R, R_dying, inside, returning, faithful;
};

/// What the code of session k and later sessions show of an animal that after session k is available,
/// outside, gone for good or dead with these chances.
void follow_barker(const Design& d, const std::vector<Session>& within, const Fates& x, std::size_t k,
                   double in, double out, double gone, double dead, const std::string& pattern,
                   double animals, Patterns& patterns) {
  const double t = d.t[k], lives = std::pow(x.survival, t);
  const double resighted = 1.0 - std::pow(1.0 - x.R, t), dying = 1.0 - std::pow(1.0 - x.R_dying, t);
  const double faithful = std::pow(x.faithful, t), inside = std::pow(x.inside, t);
  const double returning = 1.0 - std::pow(1.0 - x.returning, t);
  for (const char code : {'0', '1', '2'}) {
    const double alive = lives * (code == '2' ? resighted : code == '0' ? 1.0 - resighted : 0.0);
    const double dies = (1.0 - lives) * (code == '1'   ? x.r
                                         : code == '2' ? (1.0 - x.r) * dying
                                                       : (1.0 - x.r) * (1.0 - dying));
    const double still_dead = (code == '0' ? dead : 0.0) + (in + out + gone) * dies;
    const double available = alive * faithful * (in * inside + out * returning);
    const double away = alive * faithful * (in * (1.0 - inside) + out * (1.0 - returning));
    const double left = alive * (gone + (1.0 - faithful) * (in + out));
    if (k + 1 == d.length.size()) {
      patterns[pattern + code] += animals * (alive * (in + out + gone) + still_dead);
      continue;
    }
    const double met = within[k + 1].pstar;
    if (available > 0.0)
      follow_barker(d, within, x, k + 1, available * met, 0.0, 0.0, 0.0, pattern + code + "1", animals,
                    patterns);
    follow_barker(d, within, x, k + 1, available * (1.0 - met), away, left, still_dead, pattern + code + "0",
                  animals, patterns);
  }
}

Patterns barker_patterns(const Design& d, const Fates& x) {
  const std::vector<Session> within = sessions_of(d);
  Patterns patterns;
  std::string before;
  for (std::size_t f = 0; f < d.length.size(); ++f, before += "00")
    follow_barker(d, within, x, f, 1.0, 0.0, 0.0, 0.0, before + "1", size, patterns);
  return patterns;
}

class Robust_barker_recovery : public testing::TestWithParam<Design> {};

TEST_P(Robust_barker_recovery, fates_and_availability) {
  const Design& d = GetParam();
  const int n = sessions(d);
  // Of three sessions the data do not tell the return of an animal from its faithfulness.
  const bool random = n < 4;
  const Fates x{0.75, 0.35, 0.4, 0.2, 0.7, random ? 0.7 : 0.45, 0.9};
  expect_truth(
      d,
      {{"S", "LOGIT", {x.survival}, n},
       {"r", "LOGIT", {x.r}, n},
       {"R", "LOGIT", {x.R}, n},
       {"R'", "LOGIT", {x.R_dying}, n},
       {"a''", "LOGIT", {x.inside}, n - 1},
       random ? Between{"a'", "LOGIT", {}, n - 1, false, 5} : Between{"a'", "LOGIT", {x.returning}, n - 2},
       {"F", "LOGIT", {x.faithful}, n - 1}},
      barker_patterns(d, x), "constant");
}

INSTANTIATE_TEST_SUITE_P(types, Robust_barker_recovery,
                         testing::Values(Design{43, {2, 2, 2, 2}, {1.0, 2.0, 0.5, 1.5}, by_session},
                                         Design{18, {2, 2, 2, 2}, {1.0, 2.0, 0.5, 1.5}, by_session},
                                         Design{46, {6, 1, 1}, {1.0, 1.0, 1.0}, two_kinds},
                                         Design{44, {6, 1, 1}, {1.0, 1.0, 1.0}, two_kinds},
                                         Design{47, {6, 1, 1}, {1.0, 1.0, 1.0}, two_kinds_recaught},
                                         Design{45, {6, 1, 1}, {1.0, 1.0, 1.0}, two_kinds_recaught},
                                         Design{162, {4, 1, 2}, {1.0, 1.0, 1.0}, of_all_sorts}));

/// A population that grows by `lambda` and survives with `phi`: its animals by what the sessions show, all
/// that are ever caught.
Patterns pradel_patterns(const Design& d, const std::vector<double>& phi, const std::vector<double>& lambda) {
  const std::vector<Session> within = sessions_of(d);
  const std::size_t n = d.length.size();
  Patterns patterns;
  std::string before;
  double all = size, unmarked = size;
  for (std::size_t f = 0; f < n; ++f, before += "00") {
    // From here on as in a design without emigration.
    follow_plain(d, within, phi, {0.0, 0.0}, f, 1.0, 0.0, 0.0, before + "10", unmarked * within[f].pstar,
                 patterns);
    if (f + 1 == n) break;
    const double lives = std::pow(phi[f], d.t[f]), grows = std::pow(lambda[f], d.t[f]);
    unmarked = unmarked * (1.0 - within[f].pstar) * lives + all * (grows - lives);
    all *= grows;
  }
  return patterns;
}

/// Rates by interval as the type names them.
std::vector<Between> between_of(const Design& d, const std::vector<double>& phi,
                                const std::vector<double>& lambda) {
  const int intervals = sessions(d) - 1;
  std::vector<double> gamma, f;
  for (std::size_t k = 0; k < phi.size(); ++k) {
    gamma.push_back(phi[k] / lambda[k]);
    f.push_back(lambda[k] - phi[k]);
  }
  std::vector<Between> between{{"Phi", "LOGIT", phi, intervals}};
  const std::vector<std::string> names = parmlist(d.type);
  if (names[1] == "Gamma") between.push_back({"Gamma", "LOGIT", gamma, intervals});
  if (names[1] == "Lambda") between.push_back({"Lambda", "LOG", lambda, intervals});
  if (names[1] == "f") between.push_back({"f", "LOG", f, intervals});
  return between;
}

std::vector<double> first_of(std::vector<double> rates, const Design& d) {
  rates.resize(d.length.size() - 1);
  return rates;
}

class Robust_pradel_recovery : public testing::TestWithParam<Design> {};

TEST_P(Robust_pradel_recovery, survival_and_growth) {
  const Design& d = GetParam();
  const std::vector<double> phi = first_of({0.8, 0.75, 0.7}, d), lambda = first_of({1.1, 0.95, 0.9}, d);
  expect_truth(d, between_of(d, phi, lambda), pradel_patterns(d, phi, lambda), "growing");
  expect_deviance_of_sizes(d, between_of(d, phi, lambda), pradel_patterns(d, phi, lambda));
}

// Survival is so low that no draw has more survivors than animals: the model would be no distribution.
TEST_P(Robust_pradel_recovery, nothing_beats_the_saturated_model) {
  const Design& d = GetParam();
  const std::vector<double> phi = first_of({0.04, 0.05, 0.03}, d), lambda = first_of({1.1, 0.95, 0.9}, d);
  expect_no_better_than_saturated(d, between_of(d, phi, lambda), pradel_patterns(d, phi, lambda), false);
}

/// The types of a Pradel family from the number of its first one, and that of its random effects.
std::vector<Design> pradel_designs() {
  std::vector<Design> all;
  const std::vector<double> t{1.0, 2.0, 1.0}, t4{1.0, 2.0, 0.5, 1.0};
  struct Family {
    int first, effect;
    bool misread;
  };
  for (const Family& family :
       {Family{67, 148, true}, Family{79, 149, true}, Family{91, 150, true}, Family{163, 169, false}}) {
    all.push_back({family.first, {2, 3, 2, 2}, t4, by_session});
    all.push_back({family.first + 1, {2, 3, 2, 2}, t4, by_session});
    all.push_back({family.first + 2, {6, 1, 2}, t, two_kinds});
    all.push_back({family.first + 3, {6, 1, 2}, t, two_kinds_recaught});
    all.push_back({family.first + 4, {6, 1, 2}, t, two_kinds});
    all.push_back({family.first + 5, {6, 1, 2}, t, two_kinds_recaught});
    all.push_back({family.effect, {4, 1, 2}, t, of_all_sorts});
    if (!family.misread) continue;
    all.push_back({family.first + 6, {5, 1, 2}, t, misread});
    all.push_back({family.first + 7, {5, 1, 2}, t, misread});
    all.push_back({family.first + 8, {6, 1, 1}, t, two_kinds_misread});
    all.push_back({family.first + 9, {7, 1, 1}, t, two_kinds_recaught_misread});
    all.push_back({family.first + 10, {6, 1, 1}, t, two_kinds_misread});
    all.push_back({family.first + 11, {7, 1, 1}, t, two_kinds_recaught_misread});
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(types, Robust_pradel_recovery, testing::ValuesIn(pradel_designs()));

}  // namespace
}  // namespace tarn
