// Measurements of the likelihood: one evaluation against a plain loop, threads, the derivative pass, the wide
// sum.

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "generators.h"
#include "numerics/sum.h"
#include "support/model_builder.h"

namespace tarn {
namespace {

using bench::Live_design;
using bench::Live_record;

struct Case {
  Model_builder model;
  std::vector<double> beta;
  std::vector<Live_record> records;
};

/// {Phi(t) p(t)}, and with a slope {Phi(t+x) p(t)}, at the values that the data were simulated with.
Case make_case(const Live_design& design, int threads) {
  Case made{Model_builder(1, design.occasions, design.groups, design.slope != 0.0 ? 1 : 0), {}, {}};
  made.records = bench::live_recaptures(design);
  for (const Live_record& record : made.records)
    made.model.record(record.live, std::vector<float>(record.counts.begin(), record.counts.end()), {},
                      design.slope != 0.0 ? std::vector{record.covariate} : std::vector<double>{});
  made.model.time_pims();
  const int n = design.occasions - 1;
  for (int c = 1; c <= n; ++c) made.beta.push_back(design.survival_logit(c));
  for (int c = 1; c <= n; ++c) made.beta.push_back(std::log(design.capture(c) / (1.0 - design.capture(c))));
  if (design.slope != 0.0) {
    made.model.design(2 * n + 1);
    for (int i = 1; i <= 2 * n; ++i) made.model.cell(i, i, 1.0);
    for (int c = 1; c <= n; ++c) made.model.covariate(c, 2 * n + 1, 1);
    made.beta.push_back(design.slope);
  }
  made.model.finish(threads);
  return made;
}

void evaluations(benchmark::State& state, const Live_design& design, int threads) {
  Case made = make_case(design, threads);
  for (auto _ : state) benchmark::DoNotOptimize(made.model.func(made.beta));
  state.counters["records"] = static_cast<double>(made.records.size());
}

const Live_design folded{.occasions = 20, .animals = 100000};
const Live_design covariates{.occasions = 20, .animals = 20000, .groups = 2, .slope = 0.5};
const Live_design small_data{.occasions = 7, .animals = 300};
const Live_design many_occasions{.occasions = 60, .animals = 2000};

void func_folded(benchmark::State& state) { evaluations(state, folded, static_cast<int>(state.range(0))); }
BENCHMARK(func_folded)->Arg(1)->Arg(2)->UseRealTime();
void func_covariates(benchmark::State& state) {
  evaluations(state, covariates, static_cast<int>(state.range(0)));
}
BENCHMARK(func_covariates)->Arg(1)->Arg(2)->UseRealTime();
void func_small(benchmark::State& state) { evaluations(state, small_data, static_cast<int>(state.range(0))); }
BENCHMARK(func_small)->Arg(1)->Arg(2)->UseRealTime();
void func_many_occasions(benchmark::State& state) {
  evaluations(state, many_occasions, static_cast<int>(state.range(0)));
}
BENCHMARK(func_many_occasions)->Arg(1)->Arg(2)->UseRealTime();

/// The objective with its gradient.
void gradients(benchmark::State& state, const Live_design& design) {
  Case made = make_case(design, 1);
  std::vector<double> g(made.beta.size());
  for (auto _ : state) benchmark::DoNotOptimize(funcg(made.model.job(), made.beta, g));
}
void gradient_folded(benchmark::State& state) { gradients(state, folded); }
BENCHMARK(gradient_folded)->Unit(benchmark::kMicrosecond);
void gradient_covariates(benchmark::State& state) { gradients(state, covariates); }
BENCHMARK(gradient_covariates)->Unit(benchmark::kMicrosecond);

/// Survival to the powers of unequal intervals.
void func_unequal_intervals(benchmark::State& state) {
  Case made = make_case(folded, 1);
  for (int c = 1; c < folded.occasions; ++c)
    made.model.job().data.timint(c) = 0.5F + 0.25F * static_cast<float>(c % 4);
  made.model.job().data.timevy = 1;
  for (auto _ : state) benchmark::DoNotOptimize(made.model.func(made.beta));
}
BENCHMARK(func_unequal_intervals);

/// The yardstick: nothing but the chain, over the same histories, with reals in plain arrays.
void plain_loop_folded(benchmark::State& state) {
  const std::vector<Live_record> records = bench::live_recaptures(folded);
  const std::size_t occasions = static_cast<std::size_t>(folded.occasions);
  std::string cells;
  std::vector<int> first;
  for (const Live_record& record : records) {
    cells += record.live;
    first.push_back(static_cast<int>(record.live.find('1')));
  }
  std::vector<double> phi(occasions), p(occasions);
  for (int c = 1; c < folded.occasions; ++c) {
    phi[static_cast<std::size_t>(c) - 1] = 1.0 / (1.0 + std::exp(-folded.survival_logit(c)));
    p[static_cast<std::size_t>(c) - 1] = folded.capture(c);
  }
  for (auto _ : state) {
    double total = 0.0;
    for (std::size_t i = 0; i < first.size(); ++i) {
      const char* live = cells.data() + i * occasions;
      double alive = 1.0, dead = 0.0;
      for (std::size_t c = static_cast<std::size_t>(first[i]); c + 1 < occasions; ++c) {
        const double caught = live[c + 1] - '0', s = phi[c];
        dead = (dead + alive * (1.0 - s)) * (1.0 - caught);
        alive *= s * (caught * p[c] + (1.0 - caught) * (1.0 - p[c]));
      }
      total += alive + dead;
    }
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(plain_loop_folded);

/// The same with what every evaluation cannot do without: a logarithm a history.
void plain_loop_with_log(benchmark::State& state) {
  const std::vector<Live_record> records = bench::live_recaptures(folded);
  std::vector<double> prob(records.size(), 0.01), sum(1);
  for (auto _ : state) {
    double total = 0.0;
    for (std::size_t i = 0; i < prob.size(); ++i) total += std::log(prob[i]);
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(plain_loop_with_log);

/// Eight rows of second derivatives.
void derivative_pass(benchmark::State& state, const Live_design& design) {
  Case made = make_case(design, 1);
  std::vector<Lanes> rows(made.beta.size());
  for (auto _ : state) {
    func_derivatives(made.model.job(), made.beta, 1, rows);
    benchmark::DoNotOptimize(rows.data());
  }
}
void derivatives_folded(benchmark::State& state) { derivative_pass(state, folded); }
BENCHMARK(derivatives_folded);
void derivatives_covariates(benchmark::State& state) { derivative_pass(state, covariates); }
BENCHMARK(derivatives_covariates);

std::vector<double> terms() {
  std::mt19937_64 source(1);
  std::vector<double> x(10000);
  for (double& term : x) term = -static_cast<double>(source() >> 11) * 0x1p-50;
  return x;
}

void wide_sum(benchmark::State& state) {
  const std::vector<double> x = terms();
  for (auto _ : state) {
    Wide_sum sum;
    for (const double term : x) sum.add_product(3.0F, term);
    benchmark::DoNotOptimize(sum.value());
  }
}
BENCHMARK(wide_sum);

#if defined(__SIZEOF_FLOAT128__)
__extension__ typedef __float128 Wide;

void float128_sum(benchmark::State& state) {
  const std::vector<double> x = terms();
  for (auto _ : state) {
    Wide sum = 0;
    for (const double term : x) sum += static_cast<Wide>(3.0F) * static_cast<Wide>(term);
    benchmark::DoNotOptimize(static_cast<double>(sum));
  }
}
BENCHMARK(float128_sum);
#endif

}  // namespace
}  // namespace tarn

BENCHMARK_MAIN();
