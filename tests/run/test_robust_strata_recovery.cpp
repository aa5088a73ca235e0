// Fits of the robust designs of animals that move between strata: expected counts of large populations give
// back the parameters that made them, and the sizes of the populations.
//
// Within sessions the counts come from animals that are followed occasion by occasion (closed_animals.h),
// between sessions from animals in their strata. Counts are kept to 1 in 1.7e7, and the search ends well
// within 1e-5. Full likelihoods have their maximum some 1 / M away, M the animals caught in a stratum and
// session: here 1e-6 and less.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "data/catalogue/datatype.h"
#include "support/closed_animals.h"
#include "support/recovery_deck.h"
#include "support/section_rows.h"

namespace tarn {
namespace {

constexpr double tolerance = 1e-5;
/// Unmarked animals present in each session, in the strata by their shares.
constexpr double size = 6e7;
const std::string codes = "ABC";

/// Rates of a stratum within sessions: one for each mixture, in every session alike or by session.
struct Captures {
  std::vector<double> pi{1.0};
  std::vector<std::vector<double>> p, c;  ///< session (or one for all), mixture; c empty: as p
  double alpha = 1.0, sigma = 0.0;
};

struct Design {
  int type;
  std::vector<int> length;         ///< occasions by session
  std::vector<Captures> captures;  ///< by stratum, two or three
  std::size_t strata() const { return captures.size(); }
};
void PrintTo(const Design& d, std::ostream* out) { *out << "type " << d.type; }

const std::vector<double> t{2.0, 0.5};
/// By stratum and interval.
const double survival[3][2] = {{0.8, 0.7}, {0.65, 0.85}, {0.75, 0.6}};
/// Of those that live on, the share that is in stratum b at the end.
double moves(const Design& d, std::size_t a, std::size_t b) {
  static const double of_three[3][3] = {{0.55, 0.3, 0.15}, {0.2, 0.7, 0.1}, {0.25, 0.15, 0.6}};
  static const double of_two[2][2] = {{0.7, 0.3}, {0.2, 0.8}};
  return d.strata() == 2 ? of_two[a][b] : of_three[a][b];
}
/// Share of a stratum among the unmarked, by session.
double share_of(const Design& d, std::size_t s, std::size_t a) {
  static const double of_three[3][3] = {{0.5, 0.2, 0.3}, {0.25, 0.35, 0.4}, {0.3, 0.5, 0.2}};
  static const double of_two[3][2] = {{0.55, 0.45}, {0.4, 0.6}, {0.7, 0.3}};
  return d.strata() == 2 ? of_two[s][a] : of_three[s][a];
}

const std::vector<double>& of_session(const std::vector<std::vector<double>>& rates, std::size_t s) {
  return rates[rates.size() == 1 ? 0 : s];
}

/// A stratum in session s: its histories with a capture, given that there is one, and the chance of that.
struct Session {
  std::map<std::string, double> histories;
  double pstar = 0.0;
};

Session session_of(const Design& d, std::size_t a, std::size_t s) {
  const Closed_kind kind = Closed_kind::of(d.type);
  const Captures& captures = d.captures[a];
  const auto n = static_cast<std::size_t>(d.length[s]);
  Closed_reals x;
  x.pi = captures.pi;
  for (std::size_t m = 0; m < x.pi.size(); ++m) {
    x.p.emplace_back(n, of_session(captures.p, s)[m]);
    x.c.emplace_back(n, of_session(captures.c.empty() ? captures.p : captures.c, s)[m]);
  }
  x.alpha.assign(n, captures.alpha);
  x.sigma.assign(n, captures.sigma);
  const Closed_animals animals(kind, x);
  Session session{{}, 1.0 - animals.never()};
  for (const std::string& history : all_histories(d.length[s]))
    if (history.find('1') != std::string::npos) {
      std::string cells = history;
      std::replace(cells.begin(), cells.end(), '1', codes[a]);
      session.histories[cells] = animals.prob(history) / (kind.conditional ? 1.0 : session.pstar);
    }
  return session;
}

/// What is recorded of all animals, and how many are caught, by stratum and session.
class Counts {
 public:
  Counts(const Design& d, double animals)
      : within(d.strata()), caught(d.strata(), std::vector<double>(d.length.size(), 0.0)), d_(d) {
    for (std::size_t a = 0; a < d.strata(); ++a)
      for (std::size_t s = 0; s < d.length.size(); ++s) within[a].push_back(session_of(d, a, s));
    std::string ahead;
    for (std::size_t f = 0; f < d.length.size(); ++f) {
      for (std::size_t a = 0; a < d.strata(); ++a) catch_in(a, f, animals * share_of(d, f, a), ahead);
      ahead += std::string(static_cast<std::size_t>(d.length[f]), '0');
    }
  }

  std::vector<std::vector<Session>> within;
  std::map<std::string, double> records;
  std::vector<std::vector<double>> caught;

 private:
  /// So many animals are in stratum a in session s and are told apart by `ahead`; what follows those caught.
  void catch_in(std::size_t a, std::size_t s, double animals, const std::string& ahead) {
    caught[a][s] += animals * within[a][s].pstar;
    for (const auto& [history, chance] : within[a][s].histories) {
      std::vector<double> alive(d_.strata(), 0.0);
      alive[a] = animals * within[a][s].pstar * chance;
      after(s, alive, 0.0, ahead + history);
    }
  }
  /// Behind session s: alive in the strata, dead.
  void after(std::size_t s, const std::vector<double>& alive, double dead, const std::string& so_far) {
    if (s + 1 == d_.length.size()) {
      for (const double animals : alive) dead += animals;
      records[so_far] += dead;
      return;
    }
    std::vector<double> there(d_.strata(), 0.0);
    for (std::size_t a = 0; a < d_.strata(); ++a) {
      const double lives = std::pow(survival[a][s], t[s]);
      dead += alive[a] * (1.0 - lives);
      for (std::size_t b = 0; b < d_.strata(); ++b) there[b] += alive[a] * lives * moves(d_, a, b);
    }
    for (std::size_t b = 0; b < d_.strata(); ++b) {
      catch_in(b, s + 1, there[b], so_far);
      there[b] *= 1.0 - within[b][s + 1].pstar;
    }
    after(s + 1, there, dead, so_far + std::string(static_cast<std::size_t>(d_.length[s + 1]), '0'));
  }

  const Design& d_;
};

/// The statements of a model, the reals that they name, and their links.
struct Model {
  std::vector<double> truth;
  std::vector<std::string> links;
  std::string matrices;

  int add(double real, const std::string& link) {
    truth.push_back(real);
    links.push_back(link);
    return static_cast<int>(truth.size());
  }
  /// Rows of numbers by column, or of one number each.
  void matrix(const std::string& name, int columns, const std::vector<std::vector<int>>& rows) {
    if (columns == 0) return;
    matrices += "group=1 " + name + " rows=" + std::to_string(rows.size()) +
                " cols=" + std::to_string(columns) + " square;\n";
    for (const std::vector<int>& row : rows) {
      for (int k = 0; k < columns; ++k)
        matrices += std::to_string(row[row.size() == 1 ? 0 : static_cast<std::size_t>(k)]) + " ";
      matrices += ";\n";
    }
  }
  std::string text() const {
    const std::string count = std::to_string(truth.size());
    std::string all = "proc estimate link=parm-specific;\n model={recovered};\n" + matrices +
                      "design matrix constraints=" + count + " covariates=" + count + " identity;\nlinks;\n";
    for (const std::string& link : links) all += link + ";\n";
    all += "initial";
    for (std::size_t i = 0; i < truth.size(); ++i) {
      double rest = 1.0;  // of a set of shares, what they leave
      for (std::size_t k = 0; k < truth.size(); ++k)
        if (k == i || (links[i][0] == 'M' && links[k] == links[i])) rest -= truth[k];
      const double predictor = std::log(links[i] == "LOG" ? truth[i] : truth[i] / rest);
      all += text_of(predictor + (i % 2 == 1 ? 0.2 : -0.15));
    }
    return all + ";\nproc stop;\n";
  }
};

Model model_of(const Design& d, const Counts& counts) {
  const Closed_kind kind = Closed_kind::of(d.type);
  const int intervals = static_cast<int>(d.length.size()) - 1;
  Model model;
  const auto rows_of = [&](const std::vector<double>& reals) {
    std::vector<std::vector<int>> rows;
    for (const double real : reals) rows.push_back({model.add(real, "LOGIT")});
    return rows;
  };
  const auto set = [](std::size_t number) { return "MLOGIT(" + std::to_string(number) + ")"; };
  for (std::size_t a = 0; a < d.strata(); ++a) {
    const std::string of = std::string(" ") + codes[a] + " :";
    std::vector<int> by_interval;
    for (int c = 0; c < intervals; ++c) by_interval.push_back(model.add(survival[a][c], "LOGIT"));
    model.matrix("S" + of, intervals, {by_interval});
    for (std::size_t b = 0; b < d.strata(); ++b)
      if (b != a)
        model.matrix(std::string("Psi ") + codes[a] + " to " + codes[b], intervals,
                     {{model.add(moves(d, a, b), set(a + 1))}});
    std::vector<std::vector<int>> pi, p, c;
    int alpha = 0, sigma = 0;
    for (std::size_t s = 0; s < d.length.size(); ++s) {
      const Captures& captures = d.captures[a];
      const std::string session = of + " Session " + std::to_string(s + 1);
      // Numbers of the first session may serve for all.
      const bool own = s == 0 || captures.p.size() > 1;
      if (kind.effect) {
        if (s == 0) sigma = model.add(captures.sigma, "LOG");
        model.matrix("sigmap" + session, 1, {{sigma}});
      }
      if (kind.mixtures) {
        if (own) pi = rows_of({captures.pi.begin(), captures.pi.end() - 1});
        model.matrix("pi" + session, 1, pi);
      }
      if (own) p = rows_of(of_session(captures.p, s));
      model.matrix("p" + session, d.length[s], p);
      if (kind.recapture) {
        if (own && d.length[s] > 1) c = rows_of(of_session(captures.c, s));
        model.matrix("c" + session, d.length[s] - 1, c);
      }
      if (kind.identification) {
        if (s == 0) alpha = model.add(captures.alpha, "LOGIT");
        model.matrix("alpha" + session, 1, {{alpha}});
      }
      if (!kind.conditional) {
        const double pstar = counts.within[a][s].pstar;
        model.matrix("f0" + session, 1, {{model.add(counts.caught[a][s] * (1.0 - pstar) / pstar, "LOG")}});
      }
    }
  }
  for (std::size_t a = 0; datatype(d.type).cell == Cell::robust_omega && a + 1 < d.strata(); ++a) {
    std::vector<int> by_session;
    for (std::size_t s = 0; s < d.length.size(); ++s)
      by_session.push_back(model.add(share_of(d, s, a), set(d.strata() + s + 1)));
    model.matrix(std::string("Omega ") + codes[a] + " :", static_cast<int>(d.length.size()), {by_session});
  }
  return model;
}

std::string data_of(const Design& d, const std::map<std::string, double>& records) {
  int occasions = 0;
  std::string intervals = "time intervals";
  for (std::size_t s = 0; s < d.length.size(); ++s) {
    occasions += d.length[s];
    for (int o = 1; o < d.length[s]; ++o) intervals += " 0";
    if (s + 1 < d.length.size()) intervals += text_of(t[s]);
  }
  std::string text = "proc chmatrix occasions=" + std::to_string(occasions) +
                     " groups=1 hist=20000 strata=" + std::to_string(d.strata()) +
                     " etype=" + std::string(datatype(d.type).keyword[0]) +
                     " nohist mixtures=" + std::to_string(d.captures[0].pi.size()) + ";\nstrata=";
  for (std::size_t a = 0; a < d.strata(); ++a) text += std::string(" ") + codes[a];
  text += ";\n" + intervals + ";\n";
  for (const auto& [history, animals] : records) text += history + text_of(animals) + ";\n";
  return text;
}

class Robust_strata_recovery : public testing::TestWithParam<Design> {};

TEST_P(Robust_strata_recovery, rates_shares_and_sizes) {
  const Design& d = GetParam();
  const Counts counts(d, size);
  const Model model = model_of(d, counts);
  const Deck_result result = run_deck(data_of(d, counts.records) + model.text());
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  for (std::size_t i = 0; i < model.truth.size(); ++i)
    EXPECT_NEAR(result.real(static_cast<int>(i) + 1).estimate, model.truth[i],
                tolerance * std::max(1.0, model.truth[i]))
        << "real " << i + 1 << "\n"
        << model.matrices;
  // A count is off by 6e-8 of itself, 4e-15 of it in sums of squares; sums of 1e9 have digits to 1e-6.
  const bool conditional = Closed_kind::of(d.type).conditional;
  if (conditional) {
    EXPECT_NEAR(result.number(" DEVIANCE {recovered} ="), 0.0, 1e-4);
  }
  EXPECT_NEAR(result.number("Pearson Chisquare {recovered} ="), 0.0, 1e-4);
  EXPECT_NEAR(
      result.number("Sum(Observed/Expected) {recovered} =") / static_cast<double>(counts.records.size()), 1.0,
      tolerance);
  const std::string section = section_of(result, "Population Estimates of {recovered}");
  if (datatype(d.type).cell == Cell::robust_omega) {
    EXPECT_TRUE(section.empty());
    return;
  }
  for (std::size_t a = 0; a < d.strata(); ++a)
    for (std::size_t s = 0; s < d.length.size(); ++s) {
      const std::vector<double> row =
          row_of(section, "\n   1    " + std::to_string(a + 1) + "    " + std::to_string(s + 1) + " ");
      ASSERT_EQ(row.size(), 4u) << section;
      const double n = d.captures[a].alpha * counts.caught[a][s] / counts.within[a][s].pstar;
      EXPECT_NEAR(row[0] / n, 1.0, tolerance) << codes[a] << s + 1 << section;
    }
}

// The deviance of a full likelihood where nothing else is left: in each stratum and session the number
// caught, of those that were there, is a binomial, and no chance makes its value certain. A deviance is
// sensitive to single animals, so counts are quarters of which all sums are exact in 32 bits.
TEST_P(Robust_strata_recovery, deviance_of_sizes) {
  const Design& d = GetParam();
  if (Closed_kind::of(d.type).conditional) return;
  Counts counts(d, 1e6);
  double squares = 0.0;
  for (std::vector<double>& caught : counts.caught) std::fill(caught.begin(), caught.end(), 0.0);
  for (auto& [history, animals] : counts.records) {
    const double count = std::round(4.0 * animals) / 4.0;
    squares += (count - animals) * (count - animals) / animals;
    animals = count;
    std::size_t at = 0;
    for (std::size_t s = 0; s < d.length.size(); ++s) {
      const auto n = static_cast<std::size_t>(d.length[s]);
      const std::size_t met = history.find_first_not_of('0', at);
      if (met < at + n) counts.caught[codes.find(history[met])][s] += count;
      at += n;
    }
  }
  std::erase_if(counts.records, [](const auto& record) { return record.second <= 0.0; });
  const Deck_result result = run_deck(data_of(d, counts.records) + model_of(d, counts).text());
  ASSERT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  double sizes = 0.0;
  for (std::size_t a = 0; a < d.strata(); ++a)
    for (std::size_t s = 0; s < d.length.size(); ++s) {
      const double caught = counts.caught[a][s], share = counts.within[a][s].pstar;
      const double never = caught * (1.0 - share) / share;
      ASSERT_LT(caught, 4194304.0);  // 2^24 quarters
      sizes -= 2.0 * (std::lgamma(caught + never + 1.0) - std::lgamma(caught + 1.0) -
                      std::lgamma(never + 1.0) + caught * std::log(share) + never * std::log(1.0 - share));
    }
  // What rounding of the counts leaves is within twice its squares; lgamma of 1e7 has digits to 1e-7.
  EXPECT_NEAR(result.number(" DEVIANCE {recovered} ="), sizes, 2.0 * squares + 1e-3);
  EXPECT_GT(sizes, 10.0 * squares);
}

Captures by_session(double shift) {
  return {{1.0}, {{0.3 + shift}, {0.5 - shift}, {0.4 + shift}}, {{0.45 - shift}, {0.35}, {0.6 - shift}}};
}
Captures misread(double shift) { return {{1.0}, {{0.3 + shift}}, {{0.45 - shift}}, 0.9 - shift}; }
Captures two_kinds(double shift) { return {{0.4, 0.6}, {{0.2, 0.6 + shift}}, {}}; }
Captures two_kinds_recaught(double shift) {
  return {{0.4, 0.6}, {{0.2, 0.5 + shift}}, {{0.35 - shift, 0.7}}};
}
Captures two_kinds_misread(double shift) { return {{0.4, 0.6}, {{0.2, 0.6 + shift}}, {}, 0.85 + shift}; }
Captures two_kinds_recaught_misread(double shift) {
  return {{0.4, 0.6}, {{0.2, 0.6 + shift}}, {{0.3, 0.7}}, 0.85 + shift};
}
Captures of_all_sorts(double shift) { return {{1.0}, {{0.3 + shift}}, {{0.45 - shift}}, 1.0, 0.8 - shift}; }

template <class Make>
Design design(int type, std::vector<int> length, const Make& captures, std::size_t strata = 2) {
  Design made{type, std::move(length), {captures(0.0), captures(0.1)}};
  if (strata == 3) made.captures.push_back(captures(-0.05));
  return made;
}

INSTANTIATE_TEST_SUITE_P(
    types, Robust_strata_recovery,
    testing::Values(design(34, {3, 2, 2}, by_session), design(33, {3, 2, 2}, by_session),
                    design(37, {6, 1, 2}, two_kinds), design(35, {6, 1, 2}, two_kinds),
                    design(38, {6, 1, 2}, two_kinds_recaught), design(36, {6, 1, 2}, two_kinds_recaught),
                    design(62, {5, 1, 2}, misread), design(61, {5, 1, 2}, misread),
                    design(65, {6, 1, 2}, two_kinds_misread), design(63, {6, 1, 2}, two_kinds_misread),
                    design(66, {7, 1, 1}, two_kinds_recaught_misread),
                    design(64, {7, 1, 1}, two_kinds_recaught_misread), design(147, {4, 2, 1}, of_all_sorts),
                    design(34, {3, 2, 2}, by_session, 3), design(33, {3, 2, 2}, by_session, 3),
                    design(104, {3, 2, 2}, by_session, 3), design(61, {5, 1, 2}, misread, 3),
                    design(104, {3, 2, 2}, by_session), design(105, {6, 1, 2}, two_kinds),
                    design(106, {6, 1, 2}, two_kinds_recaught)));

/// Of so many animals in each session, counts as they come.
std::vector<double> estimates(double animals, bool full) {
  const Design d = design(full ? 33 : 34, {3, 2, 2}, by_session);
  const Counts counts(d, animals);
  const Model model = model_of(d, counts);
  const Deck_result result = run_deck(data_of(d, counts.records) + model.text());
  EXPECT_EQ(result.stop, "NORMAL EXIT") << result.listing;
  std::vector<double> all;
  for (std::size_t i = 0; i < model.truth.size(); ++i)
    if (model.links[i] != "LOG") all.push_back(result.real(static_cast<int>(i) + 1).estimate);
  return all;
}

TEST(Robust_strata_likelihoods, come_together_as_one_over_the_number_of_animals) {
  const auto distances = [](double animals) {
    const std::vector<double> full = estimates(animals, true), conditional = estimates(animals, false);
    std::vector<double> all;
    for (std::size_t i = 0; i < full.size(); ++i) all.push_back(std::abs(full[i] / conditional[i] - 1.0));
    return all;
  };
  const std::vector<double> few = distances(2e3), more = distances(2e4), many = distances(2e8);
  int apart = 0;
  for (std::size_t i = 0; i < few.size(); ++i) {
    EXPECT_LT(many[i], tolerance) << i;
    if (few[i] < 2e-4) continue;  // of which the table does not show enough
    ++apart;
    EXPECT_NEAR(few[i] / more[i], 10.0, 1.0) << i;
  }
  EXPECT_GE(apart, 6);
}

}  // namespace
}  // namespace tarn
