// Measurements of the likelihood: one evaluation against a plain loop, threads, the derivative pass, the wide
// sum.

#include <benchmark/benchmark.h>

#include <algorithm>
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

/// A beta of survival for each class of groups and period of intervals, of capture for each period; 0: a
/// period for each interval. With classes each group has real parameters of its own, as in make_deck.
struct Shape {
  Live_design data;
  int phi_periods = 0, p_periods = 0, phi_classes = 1;
};

/// {Phi(class*period) p(period)}, and with a slope {Phi(class*period+x) p(period)}, near the values that the
/// data were simulated with.
Case make_case(const Shape& shape, int threads) {
  const Live_design& data = shape.data;
  const bool covariate = data.slope != 0.0;
  Case made{Model_builder(1, data.occasions, data.groups, covariate ? 1 : 0), {}, {}};
  Model_builder& model = made.model;
  made.records = bench::live_recaptures(data);
  for (const Live_record& record : made.records)
    model.record(record.live, std::vector<float>(record.counts.begin(), record.counts.end()), {},
                 covariate ? std::vector{record.covariate} : std::vector<double>{});
  const int n = data.occasions - 1, classes = shape.phi_classes, groups = classes > 1 ? data.groups : 1;
  for (int g = 1; g <= data.groups; ++g) {
    const int before = (std::min(g, groups) - 1) * n;
    model.pim(1, g, "TRIANG", n, n, [=](int, int c) { return before + c; });
    model.pim(2, g, "TRIANG", n, n, [=](int, int c) { return groups * n + c; });
  }
  const int phi_periods = shape.phi_periods > 0 ? shape.phi_periods : n;
  const int p_periods = shape.p_periods > 0 ? shape.p_periods : n;
  const int phi_betas = classes * phi_periods, slope = phi_betas + p_periods + 1;
  const auto period = [n](int c, int periods) { return (c - 1) * periods / n; };
  made.beta.assign(static_cast<std::size_t>(covariate ? slope : slope - 1), data.slope);
  if (classes > 1 || covariate || phi_periods < n || p_periods < n)
    model.design(static_cast<int>(made.beta.size()));
  const auto put = [&](int row, int beta, double value) {
    if (model.job().model.design.present()) model.cell(row, beta, 1.0);
    made.beta[static_cast<std::size_t>(beta) - 1] = value;
  };
  for (int c = 1; c <= n; ++c) {
    for (int g = 0; g < groups; ++g) {
      put(g * n + c, g % classes * phi_periods + period(c, phi_periods) + 1, data.survival_logit(c));
      if (covariate) model.covariate(g * n + c, slope, 1);
    }
    put(groups * n + c, phi_betas + period(c, p_periods) + 1,
        std::log(data.capture(c) / (1.0 - data.capture(c))));
  }
  model.finish(threads);
  return made;
}

/// Whether counts of releases and next captures may stand for the histories.
enum class Road { counts, histories };

Case make_case(const Shape& shape, int threads, Road road) {
  Case made = make_case(shape, threads);
  if (road == Road::histories) made.model.force_histories();
  return made;
}

void evaluations(benchmark::State& state, const Shape& shape, int threads, Road road = Road::counts) {
  Case made = make_case(shape, threads, road);
  for (auto _ : state) benchmark::DoNotOptimize(made.model.func(made.beta));
  state.counters["records"] = static_cast<double>(made.records.size());
  state.counters["betas"] = static_cast<double>(made.beta.size());
}

const Live_design folded_data{.occasions = 20, .animals = 100000};
const Shape folded{.data = folded_data};
const Shape covariates{.data = {.occasions = 20, .animals = 20000, .groups = 2, .slope = 0.5}};
const Shape periods{
    .data = {.occasions = 20, .animals = 20000, .slope = 0.5}, .phi_periods = 6, .p_periods = 6};
const Shape large{.data = {.occasions = 60, .animals = 3000, .groups = 8, .slope = 0.5}, .phi_classes = 4};
const Shape small_data{.data = {.occasions = 7, .animals = 300}};
const Shape many_occasions{.data = {.occasions = 60, .animals = 2000}};

void func_folded(benchmark::State& state) { evaluations(state, folded, static_cast<int>(state.range(0))); }
BENCHMARK(func_folded)->Arg(1)->Arg(2)->UseRealTime();
void func_histories(benchmark::State& state) {
  evaluations(state, folded, static_cast<int>(state.range(0)), Road::histories);
}
BENCHMARK(func_histories)->Arg(1)->Arg(2)->UseRealTime();
void func_covariates(benchmark::State& state) {
  evaluations(state, covariates, static_cast<int>(state.range(0)));
}
BENCHMARK(func_covariates)->Arg(1)->Arg(2)->UseRealTime();
void func_periods(benchmark::State& state) { evaluations(state, periods, static_cast<int>(state.range(0))); }
BENCHMARK(func_periods)->Arg(1)->Arg(2)->UseRealTime();
void func_large(benchmark::State& state) { evaluations(state, large, static_cast<int>(state.range(0))); }
BENCHMARK(func_large)->Arg(1)->Arg(2)->UseRealTime();
void func_small(benchmark::State& state) { evaluations(state, small_data, static_cast<int>(state.range(0))); }
BENCHMARK(func_small)->Arg(1)->Arg(2)->UseRealTime();
void func_many_occasions(benchmark::State& state) {
  evaluations(state, many_occasions, static_cast<int>(state.range(0)));
}
BENCHMARK(func_many_occasions)->Arg(1)->Arg(2)->UseRealTime();

/// The objective with its gradient.
void gradients(benchmark::State& state, const Shape& shape, Road road = Road::counts) {
  Case made = make_case(shape, 1, road);
  std::vector<double> g(made.beta.size());
  for (auto _ : state) benchmark::DoNotOptimize(funcg(made.model.job(), made.beta, g));
}
void gradient_folded(benchmark::State& state) { gradients(state, folded); }
BENCHMARK(gradient_folded)->Unit(benchmark::kMicrosecond);
void gradient_histories(benchmark::State& state) { gradients(state, folded, Road::histories); }
BENCHMARK(gradient_histories)->Unit(benchmark::kMicrosecond);
void gradient_covariates(benchmark::State& state) { gradients(state, covariates); }
BENCHMARK(gradient_covariates)->Unit(benchmark::kMicrosecond);
void gradient_periods(benchmark::State& state) { gradients(state, periods); }
BENCHMARK(gradient_periods)->Unit(benchmark::kMicrosecond);
void gradient_large(benchmark::State& state) { gradients(state, large); }
BENCHMARK(gradient_large)->Unit(benchmark::kMicrosecond);
void gradient_many_occasions(benchmark::State& state) { gradients(state, many_occasions); }
BENCHMARK(gradient_many_occasions)->Unit(benchmark::kMicrosecond);

/// Survival to the powers of unequal intervals.
void func_unequal_intervals(benchmark::State& state) {
  Case made = make_case(folded, 1);
  for (int c = 1; c < folded_data.occasions; ++c)
    made.model.job().data.timint(c) = 0.5F + 0.25F * static_cast<float>(c % 4);
  made.model.job().data.timevy = 1;
  made.model.set_threads(1);
  for (auto _ : state) benchmark::DoNotOptimize(made.model.func(made.beta));
}
BENCHMARK(func_unequal_intervals);

/// The yardstick: nothing but the chain, over the same histories, with reals in plain arrays.
void plain_loop_folded(benchmark::State& state) {
  const std::vector<Live_record> records = bench::live_recaptures(folded_data);
  const std::size_t occasions = static_cast<std::size_t>(folded_data.occasions);
  std::string cells;
  std::vector<int> first;
  for (const Live_record& record : records) {
    cells += record.live;
    first.push_back(static_cast<int>(record.live.find('1')));
  }
  std::vector<double> phi(occasions), p(occasions);
  for (int c = 1; c < folded_data.occasions; ++c) {
    phi[static_cast<std::size_t>(c) - 1] = 1.0 / (1.0 + std::exp(-folded_data.survival_logit(c)));
    p[static_cast<std::size_t>(c) - 1] = folded_data.capture(c);
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
  const std::vector<Live_record> records = bench::live_recaptures(folded_data);
  std::vector<double> prob(records.size(), 0.01), sum(1);
  for (auto _ : state) {
    double total = 0.0;
    for (std::size_t i = 0; i < prob.size(); ++i) total += std::log(prob[i]);
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(plain_loop_with_log);

/// Eight rows of second derivatives.
void derivative_pass(benchmark::State& state, const Shape& shape, Road road = Road::counts) {
  Case made = make_case(shape, 1, road);
  std::vector<Lanes> rows(made.beta.size());
  for (auto _ : state) {
    func_derivatives(made.model.job(), made.beta, 1, rows);
    benchmark::DoNotOptimize(rows.data());
  }
}
void derivatives_folded(benchmark::State& state) { derivative_pass(state, folded); }
BENCHMARK(derivatives_folded);
void derivatives_histories(benchmark::State& state) { derivative_pass(state, folded, Road::histories); }
BENCHMARK(derivatives_histories);
void derivatives_covariates(benchmark::State& state) { derivative_pass(state, covariates); }
BENCHMARK(derivatives_covariates);
void derivatives_large(benchmark::State& state) { derivative_pass(state, large); }
BENCHMARK(derivatives_large);

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
