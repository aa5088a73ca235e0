// Measurements of robust designs: one evaluation against a plain loop over the animals.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "generators.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

using bench::Session_design;
using bench::Session_record;

const Session_design study{.sessions = 10, .occasions = 5, .animals = 6000};
constexpr int animals = 20000;

/// {S(t) Gamma''(.) Gamma'(.) p(s)=c(s)} under the conditional likelihood; a record for each of `animals`
/// animals, however many show the same.
struct Case {
  Model_builder model{13, study.sessions* study.occasions};
  std::vector<std::string> histories;
  std::vector<double> beta;

  Case() {
    Job& job = model.job();
    model.sessions(std::vector<int>(static_cast<std::size_t>(study.sessions), study.occasions));
    for (const Session_record& record : bench::session_captures(study))
      for (int k = 0; k < record.count && histories.size() < animals; ++k) histories.push_back(record.live);
    for (const std::string& history : histories) model.record(history, {1.0F});
    const int between = study.sessions - 1;
    const auto matrix = [&](const char* name, int columns, int number, bool by_time, int session) {
      model.pim(
          findpar(job.data, name), 1, "SQUARE", 1, columns,
          [&](int, int c) { return by_time ? number + c - 1 : number; }, session);
    };
    matrix("S", between, 1, true, 1);
    matrix("Gamma''", between, between + 1, false, 1);
    matrix("Gamma'", between, between + 2, false, 1);
    for (int s = 1; s <= study.sessions; ++s) {
      matrix("p", study.occasions, between + 2 + s, false, s);
      matrix("c", study.occasions - 1, between + 2 + s, false, s);
    }
    job.model.nlink = Link::identity;
    for (int s = 1; s < study.sessions; ++s) beta.push_back(study.survival(s));
    beta.insert(beta.end(), {study.leaves, study.stays_away});
    for (int s = 1; s <= study.sessions; ++s) beta.push_back(study.capture(s));
    model.finish();
  }
};

void counted(benchmark::State& state) {
  Case made;
  bool other = false;
  for (auto _ : state) {
    made.beta[0] = (other = !other) ? 0.8 : 0.81;
    benchmark::DoNotOptimize(made.model.func(made.beta));
  }
}
BENCHMARK(counted)->Unit(benchmark::kMicrosecond);

void history_by_history(benchmark::State& state) {
  Case made;
  made.model.force_histories();
  bool other = false;
  for (auto _ : state) {
    made.beta[0] = (other = !other) ? 0.8 : 0.81;
    benchmark::DoNotOptimize(made.model.func(made.beta));
  }
}
BENCHMARK(history_by_history)->Unit(benchmark::kMicrosecond);

void gradient(benchmark::State& state) {
  Case made;
  std::vector<double> g(made.beta.size());
  bool other = false;
  for (auto _ : state) {
    made.beta[0] = (other = !other) ? 0.8 : 0.81;
    funcg(made.model.job(), made.beta, g);
    benchmark::DoNotOptimize(g.data());
  }
}
BENCHMARK(gradient)->Unit(benchmark::kMicrosecond);

/// The yardstick: for every animal the product of session terms that stand ready, the chain of two states,
/// the tail from a table, the logarithm.
void plain_loop(benchmark::State& state) {
  const Case made;
  const std::size_t n = static_cast<std::size_t>(study.sessions),
                    k = static_cast<std::size_t>(study.occasions);
  struct Animal {
    std::vector<unsigned> shown;  ///< captures of a session as bits
    std::size_t first = 0, last = 0;
  };
  std::vector<Animal> data;
  for (const std::string& history : made.histories) {
    Animal animal{std::vector<unsigned>(n, 0), n, 0};
    for (std::size_t s = 0; s < n; ++s) {
      for (std::size_t o = 0; o < k; ++o)
        if (history[s * k + o] == '1') animal.shown[s] |= 1U << o;
      if (animal.shown[s] == 0) continue;
      animal.first = std::min(animal.first, s);
      animal.last = s;
    }
    data.push_back(animal);
  }
  const std::size_t patterns = std::size_t{1} << k;
  std::vector<double> terms(n * patterns), star(n), s(n), tail(n);
  const double leaves = study.leaves, away = study.stays_away;
  for (auto _ : state) {
    for (std::size_t t = 0; t < n; ++t) {
      const double p = study.capture(static_cast<int>(t) + 1);
      star[t] = 1.0 - std::pow(1.0 - p, static_cast<double>(k));
      for (std::size_t bits = 0; bits < patterns; ++bits) {
        double h = 1.0;
        for (std::size_t o = 0; o < k; ++o) h *= (bits >> o & 1U) != 0 ? p : 1.0 - p;
        terms[t * patterns + bits] = h / star[t];
      }
      s[t] = study.survival(static_cast<int>(t) + 1);
    }
    double x = 1.0, y = 1.0;
    tail[n - 1] = 1.0;
    for (std::size_t t = n - 1; t-- > 0;) {
      const double there = 1.0 - s[t] * (1.0 - ((1.0 - leaves) * (1.0 - star[t + 1]) * x + leaves * y));
      y = 1.0 - s[t] * (1.0 - ((1.0 - away) * (1.0 - star[t + 1]) * x + away * y));
      tail[t] = x = there;
    }
    double total = 0.0;
    for (const Animal& animal : data) {
      double inside = 1.0, outside = 0.0,
             within = terms[animal.first * patterns + animal.shown[animal.first]];
      for (std::size_t t = animal.first; t < animal.last; ++t) {
        const double in = s[t] * ((1.0 - leaves) * inside + (1.0 - away) * outside);
        const double out = s[t] * (leaves * inside + away * outside);
        if (animal.shown[t + 1] != 0) {
          within *= terms[(t + 1) * patterns + animal.shown[t + 1]];
          inside = in * star[t + 1];
          outside = 0.0;
        } else {
          inside = in * (1.0 - star[t + 1]);
          outside = out;
        }
      }
      total += std::log(within * inside * tail[animal.last]);
    }
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(plain_loop)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tarn

BENCHMARK_MAIN();
