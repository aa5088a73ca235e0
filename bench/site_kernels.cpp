// Measurements of sites: one evaluation against a hand-written loop with the same links; seasons; sums over
// abundance.

#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "generators.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

using bench::Site_design;
using bench::Site_record;

constexpr int visits = 10;

/// What a covariate enters.
enum class Enters { nothing, psi, everything };

Site_design large(bool covariate) {
  return {.sites = 50000, .surveys = visits, .slope = covariate ? 0.8 : 0.0};
}

/// {p(t) Psi} of one season, with a covariate in Psi, or in p, too.
struct One_season {
  Model_builder model;
  std::vector<double> beta;

  explicit One_season(Enters enters) : model(27, visits, 1, enters == Enters::nothing ? 0 : 1) {
    for (const Site_record& site : bench::site_surveys(large(enters != Enters::nothing)))
      model.record(site.history, {1.0F}, {},
                   enters == Enters::nothing ? std::vector<double>() : std::vector<double>{site.covariate});
    model.pim(1, 1, "SQUARE", 1, visits, [](int, int c) { return c; });
    model.pim(2, 1, "SQUARE", 1, 1, [](int, int) { return visits + 1; });
    const int extra = enters == Enters::nothing ? 0 : enters == Enters::psi ? 1 : 2;
    model.design(visits + 1 + extra);
    for (int c = 1; c <= visits + 1; ++c) model.cell(c, c, 1.0);
    if (extra > 0) model.covariate(visits + 1, visits + 2, 1);
    for (int c = 1; extra > 1 && c <= visits; ++c) model.covariate(c, visits + 3, 1);
    model.finish();
    beta.assign(static_cast<std::size_t>(visits + 1 + extra), 0.2);
  }
};

void evaluate(benchmark::State& state, Model_builder& model, std::vector<double>& beta) {
  bool other = false;
  for (auto _ : state) {
    beta[0] = (other = !other) ? 0.2 : 0.21;
    benchmark::DoNotOptimize(model.func(beta));
  }
}

void gradient(benchmark::State& state, Model_builder& model, std::vector<double>& beta) {
  std::vector<double> g(beta.size());
  bool other = false;
  for (auto _ : state) {
    beta[0] = (other = !other) ? 0.2 : 0.21;
    funcg(model.job(), beta, g);
    benchmark::DoNotOptimize(g.data());
  }
}

template <Enters enters>
void one_season(benchmark::State& state) {
  One_season made(enters);
  evaluate(state, made.model, made.beta);
}
template <Enters enters>
void one_season_gradient(benchmark::State& state) {
  One_season made(enters);
  gradient(state, made.model, made.beta);
}

/// The yardstick: site after site the links, the product over the surveys and the logarithm.
template <Enters enters>
void one_season_loop(benchmark::State& state) {
  struct Site {
    std::string surveys;
    double x;
  };
  std::vector<Site> sites;
  for (const Site_record& site : bench::site_surveys(large(enters != Enters::nothing)))
    sites.push_back({site.history, site.covariate});
  std::vector<double> beta(visits + 3, 0.2), p(visits);
  bool other = false;
  for (auto _ : state) {
    beta[0] = (other = !other) ? 0.2 : 0.21;
    const auto link = [](double eta) { return 1.0 / (1.0 + std::exp(-eta)); };
    for (int c = 0; c < visits; ++c) p[static_cast<std::size_t>(c)] = link(beta[static_cast<std::size_t>(c)]);
    double total = 0.0;
    for (const Site& site : sites) {
      const double psi = link(beta[visits] + (enters == Enters::nothing ? 0.0 : beta[visits + 1] * site.x));
      double h = psi;
      bool seen = false;
      for (std::size_t c = 0; c < visits; ++c) {
        const double rate = enters == Enters::everything ? link(beta[c] + beta[visits + 2] * site.x) : p[c];
        const bool met = site.surveys[c] == '1';
        h *= met ? rate : 1.0 - rate;
        seen = seen || met;
      }
      total += std::log(seen ? h : h + 1.0 - psi);
    }
    benchmark::DoNotOptimize(total);
  }
}

/// {Psi Epsilon(t) Gamma(t) p(s)}, 5,000 sites, 20 seasons of 4 surveys.
struct Seasons {
  static constexpr int seasons = 20, surveys = 4;
  Model_builder model;
  std::vector<double> beta;

  Seasons() : model(30, seasons * surveys) {
    model.sessions(std::vector<int>(seasons, surveys));
    for (const Site_record& site :
         bench::site_surveys({.sites = 5000, .seasons = seasons, .surveys = surveys}))
      model.record(site.history, {1.0F});
    model.pim(1, 1, "SQUARE", 1, 1, [](int, int) { return 1; });
    for (const int q : {2, 3})
      model.pim(q, 1, "SQUARE", 1, seasons - 1, [q](int, int c) { return 1 + (q - 2) * (seasons - 1) + c; });
    for (int s = 1; s <= seasons; ++s)
      model.pim(
          4, 1, "SQUARE", 1, surveys, [s](int, int) { return 2 * seasons - 1 + s; }, s);
    model.finish();
    beta.assign(static_cast<std::size_t>(model.betas()), -0.5);
  }
};
void seasons(benchmark::State& state) {
  Seasons made;
  evaluate(state, made.model, made.beta);
}
void seasons_history_by_history(benchmark::State& state) {
  Seasons made;
  made.model.force_histories();
  evaluate(state, made.model, made.beta);
}
void seasons_gradient(benchmark::State& state) {
  Seasons made;
  gradient(state, made.model, made.beta);
}
/// The yardstick: two states through all seasons of every site, rates ready.
void seasons_loop(benchmark::State& state) {
  const auto sites =
      bench::site_surveys({.sites = 5000, .seasons = Seasons::seasons, .surveys = Seasons::surveys});
  double p = 0.4;
  for (auto _ : state) {
    p = p == 0.4 ? 0.41 : 0.4;
    double total = 0.0;
    for (const Site_record& site : sites) {
      double occupied = 0.5, empty = 0.5;
      std::size_t o = 0;
      for (int s = 0; s < Seasons::seasons; ++s) {
        if (s > 0) {
          const double next = occupied * 0.75 + empty * 0.2;
          empty = occupied * 0.25 + empty * 0.8;
          occupied = next;
        }
        bool seen = false;
        for (int j = 0; j < Seasons::surveys; ++j, ++o) {
          const bool met = site.history[o] == '1';
          occupied *= met ? p : 1.0 - p;
          seen = seen || met;
        }
        if (seen) empty = 0.0;
      }
      total += std::log(occupied + empty);
    }
    benchmark::DoNotOptimize(total);
  }
}

/// {r(t) Lambda(x)}, 5,000 sites, 6 visits: counts, or detections made of them.
struct Abundances {
  static constexpr int surveys = 6;
  Model_builder model;
  std::vector<double> beta;

  explicit Abundances(bool counts) : model(counts ? 117 : 111, surveys, 1, 1) {
    if (counts) model.job().status.liveeh = 0;
    for (const Site_record& site :
         bench::site_surveys({.sites = 5000, .surveys = surveys, .slope = 0.8, .counts = true})) {
      std::string cells;
      for (std::size_t c = 0; c < surveys; ++c) {
        const std::string count = site.history.substr(2 * c, 2);
        cells += counts ? count : count == "00" ? "00" : "10";
      }
      Encounter_store& store = model.job().data.encounters;
      const int i = store.append(History(cells.data(), surveys), -9999.0);
      store.observed(i, 1) = 1.0F;
      store.ind_covariate(i, 1) = site.covariate;
    }
    model.job().status.nhist = model.job().data.encounters.size();
    model.pim(1, 1, "SQUARE", 1, surveys, [](int, int c) { return c; });
    model.pim(2, 1, "SQUARE", 1, 1, [](int, int) { return surveys + 1; });
    model.design(surveys + 2);
    for (int c = 1; c <= surveys + 1; ++c) model.cell(c, c, 1.0);
    model.covariate(surveys + 1, surveys + 2, 1);
    model.link(surveys + 1, Link::log);
    model.finish();
    beta.assign(surveys, -0.8);
    beta.insert(beta.end(), {0.7, 0.8});
  }
};
template <bool counts>
void abundance(benchmark::State& state) {
  Abundances made(counts);
  evaluate(state, made.model, made.beta);
}
template <bool counts>
void abundance_gradient(benchmark::State& state) {
  Abundances made(counts);
  gradient(state, made.model, made.beta);
}

BENCHMARK(one_season<Enters::nothing>)->Unit(benchmark::kMicrosecond);
BENCHMARK(one_season_loop<Enters::nothing>)->Unit(benchmark::kMicrosecond);
BENCHMARK(one_season_gradient<Enters::nothing>)->Unit(benchmark::kMicrosecond);
BENCHMARK(one_season<Enters::psi>)->Unit(benchmark::kMicrosecond);
BENCHMARK(one_season_loop<Enters::psi>)->Unit(benchmark::kMicrosecond);
BENCHMARK(one_season_gradient<Enters::psi>)->Unit(benchmark::kMicrosecond);
BENCHMARK(one_season<Enters::everything>)->Unit(benchmark::kMicrosecond);
BENCHMARK(one_season_loop<Enters::everything>)->Unit(benchmark::kMicrosecond);
BENCHMARK(one_season_gradient<Enters::everything>)->Unit(benchmark::kMicrosecond);
BENCHMARK(seasons)->Unit(benchmark::kMicrosecond);
BENCHMARK(seasons_history_by_history)->Unit(benchmark::kMicrosecond);
BENCHMARK(seasons_gradient)->Unit(benchmark::kMicrosecond);
BENCHMARK(seasons_loop)->Unit(benchmark::kMicrosecond);
BENCHMARK(abundance<true>)->Unit(benchmark::kMicrosecond);
BENCHMARK(abundance_gradient<true>)->Unit(benchmark::kMicrosecond);
BENCHMARK(abundance<false>)->Unit(benchmark::kMicrosecond);
BENCHMARK(abundance_gradient<false>)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tarn

BENCHMARK_MAIN();
