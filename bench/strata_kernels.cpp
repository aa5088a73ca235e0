// Measurements of animals in strata: one evaluation against a hand-written loop over matrices that stand
// ready, and against one that builds them for every animal; growth with the number of strata.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "generators.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

using bench::Strata_design;

constexpr int occasions = 20;
const std::string letters = "ABCDEFGHIJKL";

/// {S(s) p(s*t) Psi(s)} of known states, a record for each animal; of hidden ones with pi and Delta.
struct Case {
  Model_builder model;
  std::vector<std::string> histories;
  std::vector<double> beta;

  Case(int strata, bool hidden)
      : model(hidden ? 178 : 9, occasions),
        histories(bench::strata_captures({.strata = strata, .hidden = hidden})) {
    const Strata_design made{.strata = strata};
    Job& job = model.job();
    const std::string codes = letters.substr(0, static_cast<std::size_t>(strata));
    // The event has a place among the indices of the matrices.
    model.strata(hidden ? codes + "u" : codes);
    if (hidden) job.status.nstrta = strata, job.status.nevents = 1;
    for (const std::string& history : histories) model.record(history, {1.0F});
    int number = 0;
    const auto matrix = [&](const char* name, int a, int b, int columns, const auto& value) {
      const int from = number;
      bool by_time = value(1) != value(2);
      model.pim(
          findpar(job.data, name), 1, "SQUARE", 1, columns,
          [&](int, int c) { return by_time ? from + c : from + 1; }, b, a);
      for (int c = 1; c <= (by_time ? columns : 1); ++c) beta.push_back(value(c));
      number = static_cast<int>(beta.size());
    };
    for (int a = 0; a < strata; ++a) {
      matrix("S", a + 1, 1, occasions - 1, [&](int) { return made.survival(a); });
      matrix("p", a + 1, 1, occasions - 1, [&](int c) { return made.capture(a, c); });
      for (int b = 0; b < strata; ++b)
        if (b != a) matrix("Psi", a + 1, b + 1, occasions - 1, [&](int) { return made.moves(a, b); });
      if (!hidden) continue;
      matrix("Delta", a + 1, a + 1, occasions, [&](int) { return 1.0 - made.uncertain(a); });
      if (a + 1 < strata) matrix("pi", a + 1, 1, occasions, [&](int) { return 1.0 / strata; });
    }
    job.model.nlink = Link::identity;
    model.finish();
  }
};

void evaluate(benchmark::State& state, bool hidden, bool forced) {
  Case made(static_cast<int>(state.range(0)), hidden);
  if (forced) made.model.force_histories();
  bool other = false;
  for (auto _ : state) {
    made.beta[0] = (other = !other) ? 0.8 : 0.81;
    benchmark::DoNotOptimize(made.model.func(made.beta));
  }
}
void known(benchmark::State& state) { evaluate(state, false, false); }
void known_history_by_history(benchmark::State& state) { evaluate(state, false, true); }
void hidden(benchmark::State& state) { evaluate(state, true, false); }
void hidden_history_by_history(benchmark::State& state) { evaluate(state, true, true); }

void gradient(benchmark::State& state, bool hidden) {
  Case made(static_cast<int>(state.range(0)), hidden);
  std::vector<double> g(made.beta.size());
  bool other = false;
  for (auto _ : state) {
    made.beta[0] = (other = !other) ? 0.8 : 0.81;
    funcg(made.model.job(), made.beta, g);
    benchmark::DoNotOptimize(g.data());
  }
}
void known_gradient(benchmark::State& state) { gradient(state, false); }
void hidden_gradient(benchmark::State& state) { gradient(state, true); }

/// The yardsticks: for every animal the row of weights times S Psi and the detection, to the last capture,
/// and the sum with a tail from a table, or, with `build`, the whole walk over matrices made for the animal.
void loop(benchmark::State& state, bool hidden, bool build) {
  const int n = static_cast<int>(state.range(0));
  const Strata_design made{.strata = n, .hidden = hidden};
  struct Animal {
    int first = 0, last = 0;
    std::vector<int> codes;  ///< -1 not caught, n uncertain
  };
  std::vector<Animal> data;
  for (const std::string& history : bench::strata_captures(made)) {
    Animal animal;
    for (int o = 0; o < occasions; ++o) {
      const char sign = history[static_cast<std::size_t>(o)];
      animal.codes.push_back(sign == '0' ? -1 : sign == 'u' ? n : static_cast<int>(letters.find(sign)));
      if (sign == '0') continue;
      if (animal.last == 0 && animal.codes.size() == static_cast<std::size_t>(o) + 1 && animal.first == 0 &&
          std::all_of(animal.codes.begin(), animal.codes.end() - 1, [](int c) { return c < 0; }))
        animal.first = o;
      animal.last = o;
    }
    data.push_back(animal);
  }
  const std::size_t m = static_cast<std::size_t>(n);
  std::vector<double> matrices(occasions * m * m), tail(occasions * m), v(m), next(m);
  const auto make = [&](int c) {
    double* const matrix = matrices.data() + static_cast<std::size_t>(c) * m * m;
    for (int a = 0; a < n; ++a) {
      double stays = 1.0;
      for (int b = 0; b < n; ++b) {
        if (b == a) continue;
        const double psi = made.moves(a, b);
        stays -= psi;
        matrix[a * n + b] = made.survival(a) * psi;
      }
      matrix[a * n + a] = made.survival(a) * stays;
    }
  };
  const auto detection = [&](int code, int b, int o) {
    if (code < 0) return 1.0 - made.capture(b, o);
    if (code == n) return made.capture(b, o) * made.uncertain(b);
    return code == b ? made.capture(b, o) * (hidden ? 1.0 - made.uncertain(b) : 1.0) : 0.0;
  };
  std::vector<double> detected(static_cast<std::size_t>((n + 2) * n * occasions));
  for (auto _ : state) {
    if (!build) {
      for (int c = 0; c + 1 < occasions; ++c) make(c);
      for (int o = 0; o < occasions; ++o)
        for (int code = -1; code <= n; ++code)
          for (int b = 0; b < n; ++b)
            detected[static_cast<std::size_t>((o * (n + 2) + code + 1) * n + b)] = detection(code, b, o);
      std::fill(tail.end() - n, tail.end(), 1.0);
      for (int c = occasions - 2; c >= 0; --c)
        for (int a = 0; a < n; ++a) {
          double unseen = 1.0 - made.survival(a);
          for (int b = 0; b < n; ++b)
            unseen += matrices[static_cast<std::size_t>((c * n + a) * n + b)] *
                      detected[static_cast<std::size_t>((c + 1) * (n + 2) * n + b)] *
                      tail[static_cast<std::size_t>((c + 1) * n + b)];
          tail[static_cast<std::size_t>(c * n + a)] = unseen;
        }
    }
    double total = 0.0;
    for (const Animal& animal : data) {
      const int code = animal.codes[static_cast<std::size_t>(animal.first)];
      for (int a = 0; a < n; ++a)
        v[static_cast<std::size_t>(a)] = hidden ? (code == n   ? made.uncertain(a)
                                                   : code == a ? 1.0 - made.uncertain(a)
                                                               : 0.0) /
                                                      n
                                         : code == a ? 1.0
                                                     : 0.0;
      double dead = 0.0;
      const int last = build ? occasions - 1 : animal.last;
      for (int c = animal.first; c < last; ++c) {
        if (build) make(c);
        const double* const matrix = matrices.data() + static_cast<std::size_t>(c) * m * m;
        const int sign = animal.codes[static_cast<std::size_t>(c) + 1];
        if (build)
          for (int a = 0; a < n; ++a) dead += v[static_cast<std::size_t>(a)] * (1.0 - made.survival(a));
        for (int b = 0; b < n; ++b) {
          double sum = 0.0;
          for (int a = 0; a < n; ++a) sum += v[static_cast<std::size_t>(a)] * matrix[a * n + b];
          next[static_cast<std::size_t>(b)] =
              sum * (build ? detection(sign, b, c + 1)
                           : detected[static_cast<std::size_t>(((c + 1) * (n + 2) + sign + 1) * n + b)]);
        }
        if (sign >= 0) dead = 0.0;
        std::swap(v, next);
      }
      double sum = dead;
      for (int a = 0; a < n; ++a)
        sum += v[static_cast<std::size_t>(a)] *
               (build ? 1.0 : tail[static_cast<std::size_t>(animal.last * n + a)]);
      total += std::log(sum);
    }
    benchmark::DoNotOptimize(total);
  }
}
void known_ready_matrices(benchmark::State& state) { loop(state, false, false); }
void known_built_matrices(benchmark::State& state) { loop(state, false, true); }
void hidden_ready_matrices(benchmark::State& state) { loop(state, true, false); }
void hidden_built_matrices(benchmark::State& state) { loop(state, true, true); }

/// Open sessions with uncertain states: animals of `strata` states, 6 sessions of so many occasions, all
/// rates by state. The order of the matrices of a session is 4 strata + 1 (142), or, with rates by arrival,
/// (2 + 2 occasions) strata + 1 (184).
void uncertain(benchmark::State& state, int type) {
  constexpr int sessions = 6, caught_animals = 2000;
  const int n = static_cast<int>(state.range(0)), length = static_cast<int>(state.range(1));
  Model_builder model(type, sessions * length);
  Job& job = model.job();
  model.sessions(std::vector<int>(sessions, length));
  model.strata(letters.substr(0, static_cast<std::size_t>(n)));
  std::mt19937_64 source(11);
  const auto chance = [&] { return static_cast<double>(source() >> 11) * 0x1p-53; };
  for (int k = 0; k < caught_animals; ++k) {
    std::string history;
    int a = k % n;
    bool alive = true;
    for (int s = 0; s < sessions; ++s) {
      for (int o = 0; o < length; ++o)
        history += !alive || chance() < 0.6 ? '0'
                   : chance() < 0.4         ? 'u'
                                            : letters[static_cast<std::size_t>(a)];
      alive = alive && chance() < 0.8;
      if (chance() < 0.3) a = (a + 1) % n;
    }
    if (history.find_first_not_of('0') != std::string::npos) model.record(history, {1.0F});
  }
  std::vector<double> beta;
  const auto matrix = [&](const char* name, int a, int b, int rows, int columns, double value) {
    beta.push_back(value);
    const int number = static_cast<int>(beta.size());
    model.pim(
        findpar(job.data, name), 1, "SQUARE", rows, columns, [number](int, int) { return number; }, b, a);
  };
  const int by_arrival = type == 184 ? length : 1;
  for (int a = 1; a <= n; ++a) {
    matrix("S", a, 1, 1, sessions - 1, 0.8);
    for (int b = 1; b <= n; ++b)
      if (b != a) matrix("Psi", a, b, 1, sessions - 1, 0.4 / n);
    if (a < n) matrix("pi", a, 1, 1, sessions, 1.0 / n);
    if (a < n) matrix("Omega", a, 1, 1, sessions, 1.0 / n);
    for (int s = 1; s <= sessions; ++s) {
      matrix("p", a, s, by_arrival, length, 0.4);
      matrix("Delta", a, s, 1, length, 0.6);
      matrix("alpha", a, s, 1, 1, 0.9);
      matrix("pent", a, s, 1, length - 1, 1.0 / length);
      matrix("Phi", a, s, by_arrival, length - 1, 0.9);
      matrix("c", a, s, by_arrival, length - 1, 0.5);
    }
  }
  job.model.nlink = Link::identity;
  model.finish();
  bool other = false;
  for (auto _ : state) {
    beta[0] = (other = !other) ? 0.8 : 0.81;
    benchmark::DoNotOptimize(model.func(beta));
  }
  state.counters["ndim"] = type == 184 ? (2 + 2 * length) * n + 1 : 4 * n + 1;
}
void uncertain_seasons(benchmark::State& state) { uncertain(state, 142); }
void uncertain_ages(benchmark::State& state) { uncertain(state, 184); }
BENCHMARK(uncertain_seasons)
    ->Args({2, 3})
    ->Args({2, 6})
    ->Args({4, 3})
    ->Args({4, 6})
    ->Args({8, 6})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(uncertain_ages)
    ->Args({2, 3})
    ->Args({2, 6})
    ->Args({4, 3})
    ->Args({4, 6})
    ->Args({8, 6})
    ->Unit(benchmark::kMicrosecond);

BENCHMARK(known)->Arg(2)->Arg(3)->Arg(5)->Arg(8)->Arg(12)->Unit(benchmark::kMicrosecond);
BENCHMARK(known_history_by_history)->Arg(5)->Unit(benchmark::kMicrosecond);
BENCHMARK(known_gradient)->Arg(5)->Unit(benchmark::kMicrosecond);
BENCHMARK(known_ready_matrices)->Arg(5)->Unit(benchmark::kMicrosecond);
BENCHMARK(known_built_matrices)->Arg(5)->Unit(benchmark::kMicrosecond);
BENCHMARK(hidden)->Arg(2)->Arg(3)->Arg(5)->Arg(8)->Arg(12)->Unit(benchmark::kMicrosecond);
BENCHMARK(hidden_history_by_history)->Arg(5)->Unit(benchmark::kMicrosecond);
BENCHMARK(hidden_gradient)->Arg(5)->Unit(benchmark::kMicrosecond);
BENCHMARK(hidden_ready_matrices)->Arg(5)->Unit(benchmark::kMicrosecond);
BENCHMARK(hidden_built_matrices)->Arg(5)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tarn

BENCHMARK_MAIN();
