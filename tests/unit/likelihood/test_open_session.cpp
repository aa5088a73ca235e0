// The walk through an open session.

#include "likelihood/blocks/open_session.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "likelihood/cells.h"
#include "likelihood/likelihood_work.h"
#include "support/session_paths.h"
#include "support/session_study.h"
#include "support/traced.h"

namespace tarn {
namespace {

/// A session of a study's job in a work area of its own.
class Session_of {
  template <class Use>
  auto at(int a, int s, const Use& use) {
    work_.begin();
    const Reals<double> parm(study_.reals.data());
    auto session = open_session(study_.model.job(), open_traits(datatype(study_.type())),
                                {a, s, 1, study_.length(s)}, parm, work_);
    return use(session);
  }

 public:
  explicit Session_of(Session_study& study)
      : study_(study), setting_(study.model.job(), Cell_routines{}), work_(study.model.job(), setting_) {}

  double chance(const std::string& cells, int a, int s) {
    return at(a, s, [&](auto& session) {
      return session.probability([&](int j) {
        const char c = cells[static_cast<std::size_t>(j) - 1];
        if (c == '.') return Open_shown::unsampled;
        if (c == '0') return Open_shown::missed;
        return c == 'u' ? Open_shown::unrecognised : Open_shown::recognised;
      });
    });
  }
  Open_stars<double> stars(const std::string& cells, int a, int s) {
    return at(a, s, [&](auto& session) {
      return session.stars([&](int j) { return cells[static_cast<std::size_t>(j) - 1] != '.'; });
    });
  }
  double cut(int a, int s) {
    work_.begin();
    return charge_of_arrivals<double>(study_.model.job(), open_traits(datatype(study_.type())),
                                      {a, s, 1, study_.length(s)}, Reals<double>(study_.reals.data()), work_);
  }

 private:
  Session_study& study_;
  Cell_setting setting_;
  Cell_work<double> work_;
};

/// All that n occasions may show where those of `dots` are not sampled.
std::vector<std::string> patterns(int n, const std::string& signs, const std::string& dots) {
  std::vector<std::string> all{""};
  for (int o = 0; o < n; ++o) {
    std::vector<std::string> longer;
    for (const std::string& cells : all)
      if (dots[static_cast<std::size_t>(o)] == '.')
        longer.push_back(cells + '.');
      else
        for (const char c : signs) longer.push_back(cells + c);
    all = longer;
  }
  return all;
}

class Open_sessions : public testing::TestWithParam<int> {};

TEST_P(Open_sessions, chances_are_those_of_all_stays) {
  const int type = GetParam();
  std::vector<Session_options> all{{}};
  all.push_back({.pentfirst = 0});
  all.push_back({.all_pent = true});
  all.push_back({.pentfirst = 0, .all_pent = true});
  if (type == 184) {
    all.push_back({.triangles = true});
    all.push_back({.rows = 2});
    all.push_back({.one_row_of_captures = true, .rows = 2});
    all.push_back({.triangles = true, .one_row_of_captures = true});
    all.push_back({.rows = 3, .pentfirst = 0});
  }
  for (const Session_options& options : all)
    for (const int n : {1, 2, 4}) {
      Session_study study(type, {n, 2}, "AB", options);
      Session_of sessions(study);
      for (const std::string& dots :
           {std::string("____"), std::string("_._."), std::string(".___"), std::string("....")})
        for (const unsigned seed : {1U, 2U}) {
          study.draw(seed);
          for (const int a : {1, 2}) {
            const Session_rates rates = session_rates(study, a, 1);
            const std::string own(1, study.codes()[static_cast<std::size_t>(a) - 1]);
            double sum = 0.0, known = 0.0, unknown = 0.0;
            for (const std::string& cells : patterns(n, own + (study.has("Delta") ? "u0" : "0"), dots)) {
              const double got = sessions.chance(cells, a, 1);
              // Some dozen products.
              EXPECT_NEAR(got, session_chance(rates, a, cells, study.codes()), 1e-15) << cells;
              sum += got;
              if (cells.find(own) != std::string::npos)
                known += got;
              else if (cells.find('u') != std::string::npos)
                unknown += got;
            }
            EXPECT_NEAR(sum, 1.0, 1e-14);
            const Open_stars<double> stars = sessions.stars(dots, a, 1);
            const auto [never, quiet] = session_misses(rates, dots.substr(0, static_cast<std::size_t>(n)));
            EXPECT_NEAR(stars.caught, 1.0 - never, 1e-15);
            EXPECT_NEAR(stars.recognised, 1.0 - quiet, 1e-15);
            EXPECT_NEAR(stars.unseen, quiet - never, 1e-15);
            // A class of patterns has the chance of its star.
            EXPECT_NEAR(stars.recognised, known, 1e-14);
            EXPECT_NEAR(stars.unseen, unknown, 1e-14);
          }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(types, Open_sessions, testing::Values(32, 121, 126, 142, 184));

/// Session 1 of the worked examples: two occasions, of type 184 three.
void worked(Session_study& study) {
  study.draw(1);
  const auto set = [&](const char* name, int a, int r, const std::vector<double>& values) {
    if (!study.has(name)) return;
    for (std::size_t k = 0; k < values.size(); ++k)
      study.rate(name, a, 1, r, r + static_cast<int>(k)) = values[k];
  };
  if (study.type() != 184) {
    set("p", 1, 1, {0.5, 0.6}), set("p", 2, 1, {0.4, 0.3});
    set("Delta", 1, 1, {0.8, 0.7}), set("Delta", 2, 1, {0.6, 0.5});
    set("pent", 1, 1, {0.4}), set("pent", 2, 1, {0.3});
    set("Phi", 1, 1, {0.7}), set("Phi", 2, 1, {0.6});
    set("c", 1, 1, {0.75}), set("c", 2, 1, {0.55});
  } else {
    for (const int r : {1, 2, 3}) {
      const std::vector<double> p[] = {{0.5, 0.6, 0.4}, {0.4, 0.3, 0.5}}, c[] = {{0.75, 0.65}, {0.55, 0.45}};
      for (const int a : {1, 2}) {
        const auto &own_p = p[a - 1], &own_c = c[a - 1];
        set("p", a, r, {own_p.begin() + r - 1, own_p.end()});
        if (r < 3) set("c", a, r, {own_c.begin() + r - 1, own_c.end()});
      }
    }
    set("Delta", 1, 1, {0.8, 0.7, 0.9}), set("Delta", 2, 1, {0.6, 0.5, 0.65});
    set("pent", 1, 1, {0.3, 0.2}), set("pent", 2, 1, {0.3, 0.1});
    set("Phi", 1, 1, {0.7, 0.5}), set("Phi", 1, 2, {0.8});
    set("Phi", 2, 1, {0.6, 0.4}), set("Phi", 2, 2, {0.9});
  }
  set("alpha", 1, 1, {0.9}), set("alpha", 2, 1, {0.8});
}

TEST(Open_session, worked_stars) {
  struct Worked {
    int type;
    double caught[2], recognised[2];
  };
  for (const Worked& each :
       {Worked{121, {0.8, 0.58}, {0.652, 0.354}}, Worked{126, {0.666, 0.4456}, {0.51384, 0.26088}},
        Worked{142, {0.5994, 0.35648}, {0.466425, 0.215424}},
        Worked{184, {0.60066, 0.455632}, {0.5187452063, 0.2970751760}},
        Worked{32, {0.666, 0.4456}, {0.666, 0.4456}}}) {
    Session_study study(each.type, {each.type == 184 ? 3 : 2, 1}, "AB", {.triangles = true});
    worked(study);
    Session_of sessions(study);
    for (const int a : {1, 2}) {
      const Open_stars<double> stars = sessions.stars("___", a, 1);
      EXPECT_NEAR(stars.caught, each.caught[a - 1], 1e-10) << each.type;
      EXPECT_NEAR(stars.recognised, each.recognised[a - 1], 1e-10) << each.type;
      EXPECT_NEAR(stars.unseen, each.caught[a - 1] - each.recognised[a - 1], 1e-10) << each.type;
    }
  }
}

/// Where captures are rare a star is a small number and no difference of large ones.
TEST(Open_session, rare_captures_keep_their_digits) {
  Session_study study(142, {3}, "A");
  study.draw(1);
  study.fill("p", 1e-12);
  study.fill("alpha", 1.0);
  study.fill("Phi", 1.0);
  study.fill("c", 0.5);
  study.fill("Delta", 0.25);
  study.rate("pent", 1, 1, 1, 1) = 0.0;
  study.rate("pent", 1, 1, 1, 2) = 0.0;
  const Open_stars<double> stars = Session_of(study).stars("___", 1, 1);
  EXPECT_NEAR(stars.caught, 3e-12, 1e-23);  // up to the square of p
  // Recognised at the first capture or, with c Delta = 1/8, at one of the later ones.
  const double recognised = 0.25 + 0.75 * (1.0 - 0.875 * 0.875) + 0.25 + 0.75 * 0.125 + 0.25;
  EXPECT_NEAR(stars.recognised, recognised * 1e-12, 1e-23);
  EXPECT_NEAR(stars.unseen, (3.0 - recognised) * 1e-12, 1e-23);
}

/// Outside 0 to 1 a difference of stars may be below 0, and counts as none.
TEST(Open_session, no_negative_share_is_unseen) {
  Session_study study(126, {2}, "A");
  study.draw(2);
  study.fill("p", -0.2);
  const Open_stars<double> stars = Session_of(study).stars("__", 1, 1);
  EXPECT_LT(stars.caught, stars.recognised);
  EXPECT_EQ(stars.unseen, 0.0);
}

TEST(Open_session, removal_leaves_what_was_shown_before) {
  Session_study study(142, {4}, "A");
  study.draw(3);
  Session_of sessions(study);
  double sum = 0.0;
  for (const char* later : {"AA", "Au", "A0", "uA", "uu", "u0", "0A", "0u", "00"})
    sum += sessions.chance("0A" + std::string(later), 1, 1);
  EXPECT_NEAR(sessions.chance("0A..", 1, 1), sum, 1e-15);
}

/// Shares of arrivals, clamped.
template <class Real>
Real arrivals(std::span<Real> arrive, std::span<Real> absent) {
  not_arrived<Real>(arrive, absent);
  return clamp_arrivals<Real>(arrive, absent);
}

TEST(Open_session, arrivals_inside_their_range_are_what_is_given) {
  std::vector<double> arrive{0.2, 0.0, 0.5, 0.3}, absent(4);
  EXPECT_EQ(arrivals<double>(arrive, absent), 0.0);
  EXPECT_EQ(arrive, (std::vector<double>{0.2, 0.0, 0.5, 0.3}));
  EXPECT_EQ(absent, (std::vector<double>{0.8, 0.8, 0.3, 0.0}));
}

/// Plain loops: each chance t / (1 - s) of an arrival cut to 0 to 1.
double cut_arrivals(const std::vector<double>& b, std::vector<double>& arrive, std::vector<double>& absent) {
  double before = 0.0, left = 1.0, cut = 0.0;
  arrive.clear(), absent.clear();
  for (std::size_t j = 0; j < b.size(); ++j) {
    const double rest = std::accumulate(b.begin() + static_cast<std::ptrdiff_t>(j), b.end(), 0.0);
    const double chance = rest == 0.0 ? 0.0 : b[j] / rest, clamped = std::min(std::max(chance, 0.0), 1.0);
    EXPECT_NEAR(rest, 1.0 - before, 1e-15);
    before += b[j];
    cut -= std::abs(chance - clamped);
    arrive.push_back(left * clamped);
    left *= 1.0 - clamped;
    absent.push_back(left);
  }
  return cut;
}

TEST(Open_session, arrivals_outside_their_range_are_cut_and_charged) {
  for (const std::vector<double>& b :
       {std::vector{0.7, 0.6, -0.3}, std::vector{-0.25, 0.75, 0.5}, std::vector{0.5, -0.5, 1.0},
        std::vector{1.5, -0.75, 0.25}, std::vector{0.5, 0.75, -0.25, 0.0}}) {
    std::vector<double> arrive = b, absent(b.size()), expected_arrive, expected_absent;
    const double expected = cut_arrivals(b, expected_arrive, expected_absent);
    EXPECT_LT(expected, -0.1);
    EXPECT_NEAR(arrivals<double>(arrive, absent), expected, 1e-14);
    double sum = absent.back();
    for (std::size_t j = 0; j < b.size(); ++j) {
      EXPECT_NEAR(arrive[j], expected_arrive[j], 1e-15);
      EXPECT_NEAR(absent[j], expected_absent[j], 1e-15);
      EXPECT_GE(arrive[j], 0.0);
      sum += arrive[j];
    }
    EXPECT_NEAR(sum, 1.0, 1e-15);
  }
}

/// What leaves the range by rounding only is cut and not charged.
TEST(Open_session, rounding_is_not_charged) {
  constexpr double unit = 2.220446049250313e-16;
  std::vector<double> arrive{0.5, 0.5 + unit / 4.0, -unit / 4.0}, absent(3);
  EXPECT_EQ(arrivals<double>(arrive, absent), 0.0);
  EXPECT_EQ(absent[1], 0.0);
  EXPECT_EQ(arrive[2], 0.0);
  arrive = {0.5, 0.5 + 4.0 * unit, -4.0 * unit};
  EXPECT_LT(arrivals<double>(arrive, absent), -unit);
}

TEST(Open_session, the_cut_of_a_session) {
  Session_study study(126, {3, 2}, "AB");
  study.draw(1);
  study.fill("pent", 1, 1, 0.7);  // b: -0.4 0.7 0.7
  Session_of sessions(study);
  EXPECT_NEAR(sessions.cut(1, 1), -0.4, 1e-15);
  EXPECT_EQ(sessions.cut(2, 1), 0.0);
  EXPECT_EQ(sessions.cut(1, 2), 0.0);
  // Nobody is there on the first occasion, half arrive ahead of the second.
  const double p = study.rate("p", 1, 1, 1, 2), delta = study.rate("Delta", 1, 1, 1, 2);
  EXPECT_EQ(sessions.chance("A..", 1, 1), 0.0);
  EXPECT_NEAR(sessions.chance(".A.", 1, 1), 0.5 * p * delta, 1e-15);
}

/// Where every capture shows the stratum shares count as they stand.
TEST(Open_session, arrivals_of_known_strata_are_not_cut) {
  Session_study study(32, {3}, "A");
  study.draw(1);
  study.fill("pent", 0.75);  // b: -.5 .75 .75
  Session_of sessions(study);
  EXPECT_EQ(sessions.cut(1, 1), 0.0);
  const double p = study.rate("p", 1, 1, 1, 1);
  EXPECT_NEAR(sessions.chance("A..", 1, 1), -0.5 * p, 1e-15);
  EXPECT_NEAR(sessions.chance("0..", 1, 1), 1.0 + 0.5 * p, 1e-15);
}

/// Derivatives of what is cut off, by the chances of arrival.
TEST(Open_session, derivatives_of_a_cut) {
  const auto cut = []<class Real>(const std::vector<Real>& x) {
    std::vector<Real> arrive{Real(1.0 - x[0] - x[1]), x[0], x[1]}, absent(3);
    const Real charge = arrivals<Real>(arrive, absent);
    return Real(charge + 0.5 * arrive[1] + 0.25 * absent[1]);
  };
  for (const std::vector<double>& at :
       {std::vector{0.7, 0.6}, std::vector{-0.3, 0.8}, std::vector{0.3, 0.2}}) {
    const Second_order got = first_order(cut, at);
    for (std::size_t k = 0; k < 2; ++k) {
      constexpr double h = 1e-5;
      std::vector<double> up = at, down = at;
      up[k] += h, down[k] -= h;
      // Central differences: truncation of h squared, rounding of 1e-16 / h.
      EXPECT_NEAR(got.gradient[k], (cut(up) - cut(down)) / (2.0 * h), 1e-8);
    }
  }
}

}  // namespace
}  // namespace tarn
