// Measurements of the closed session: covariates against a plain loop, quadrature against the bare walk.

#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "generators.h"
#include "support/closed_builder.h"

namespace tarn {
namespace {

using bench::Closed_design;
using bench::Closed_record;

double expit_of(double x) { return 1.0 / (1.0 + std::exp(-x)); }

/// A type with p by occasion, c an offset from it, and with a slope the covariate in both; logit link.
struct Case {
  Closed_builder builder;
  std::vector<double> beta;
  std::vector<Closed_record> records;
};

Case make_case(int type, const Closed_design& design) {
  Case made{Closed_builder(type, design.occasions), {}, bench::closed_captures(design)};
  Model_builder& model = made.builder.model;
  Job& job = model.job();
  const bool covariate = design.slope != 0.0;
  if (covariate) {
    job.status.nicovs = 1;
    job.data.encounters.reset(design.occasions, 1, 1, design.animals);
  }
  for (const Closed_record& record : made.records)
    model.record(record.live, {static_cast<float>(record.count)}, {},
                 covariate ? std::vector{record.covariate} : std::vector<double>{});
  const int n = design.occasions, p = findpar(job.data, "p"), c = findpar(job.data, "c"),
            sigma = findpar(job.data, "sigmap");
  model.pim(p, 1, "SQUARE", 1, n, [](int, int o) { return o; });
  model.pim(c, 1, "SQUARE", 1, n - 1, [n](int, int o) { return n + o; });
  job.model.nlogit = 2 * n - 1;
  if (sigma > 0) model.pim(sigma, 1, "SQUARE", 1, 1, [n](int, int) { return 2 * n; });
  const int offset = n + 1, slope = n + 2, columns = n + 3;
  model.design(columns);
  for (int i = 1; i <= 2 * n - 1; ++i) {
    model.cell(i, i <= n ? i : i - n + 1, 1.0);
    if (i > n) model.cell(i, offset, 1.0);
    if (covariate) model.covariate(i, slope, 1);
  }
  if (sigma > 0) model.cell(2 * n, columns, 1.0);
  job.model.nlink = Link::logit;
  for (int o = 1; o <= n; ++o) made.beta.push_back(design.capture_logit(o));
  made.beta.insert(made.beta.end(), {design.recapture_offset, design.slope, 0.2});
  model.finish();
  return made;
}

void evaluation(benchmark::State& state, int type, const Closed_design& design) {
  Case made = make_case(type, design);
  for (auto _ : state) benchmark::DoNotOptimize(made.builder.model.func(made.beta));
  state.counters["records"] = static_cast<double>(made.records.size());
  state.counters["per_record"] =
      benchmark::Counter(static_cast<double>(made.records.size()),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

const Closed_design animals{.occasions = 30, .animals = 100000, .slope = 0.4};
const Closed_design records{.occasions = 10, .animals = 5000, .slope = 0.4};
// p* is far below one half.
const Closed_design rare{.occasions = 10, .animals = 5000, .slope = 0.4, .intercept = -5.0};
// Far more animals than histories, so that nearly every history is there.
const Closed_design folded{.occasions = 10, .animals = 100000, .slope = 0.0};

void conditional_with_covariate(benchmark::State& state) { evaluation(state, 12, animals); }
BENCHMARK(conditional_with_covariate)->Unit(benchmark::kMillisecond);

/// The yardstick: the same records, the linear predictors and links of all rows that depend on the record,
/// the products, the logarithm.
void plain_loop_with_covariate(benchmark::State& state) {
  const std::vector<Closed_record> data = bench::closed_captures(animals);
  const std::size_t n = static_cast<std::size_t>(animals.occasions);
  std::vector<double> a(n), p(n), c(n);
  for (std::size_t o = 0; o < n; ++o) a[o] = animals.capture_logit(static_cast<int>(o) + 1);
  for (auto _ : state) {
    double total = 0.0;
    for (const Closed_record& record : data) {
      const double x = animals.slope * record.covariate;
      for (std::size_t o = 0; o < n; ++o) p[o] = expit_of(a[o] + x);
      for (std::size_t o = 1; o < n; ++o) c[o] = expit_of(a[o] + animals.recapture_offset + x);
      double h = 1.0, q = 1.0;
      bool seen = false;
      for (std::size_t o = 0; o < n; ++o) {
        const double rate = seen ? c[o] : p[o];
        q *= 1.0 - p[o];
        h *= record.live[o] == '1' ? rate : 1.0 - rate;
        seen = seen || record.live[o] == '1';
      }
      total += std::log(h / (1.0 - q));
    }
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(plain_loop_with_covariate)->Unit(benchmark::kMillisecond);

void quadrature_fixed_reals(benchmark::State& state) { evaluation(state, 145, folded); }
BENCHMARK(quadrature_fixed_reals)->Unit(benchmark::kMicrosecond);
void quadrature_with_covariate(benchmark::State& state) { evaluation(state, 145, records); }
BENCHMARK(quadrature_with_covariate)->Unit(benchmark::kMicrosecond);
void conditional_fixed_reals(benchmark::State& state) { evaluation(state, 12, folded); }
BENCHMARK(conditional_fixed_reals)->Unit(benchmark::kMicrosecond);
void conditional_few_occasions(benchmark::State& state) { evaluation(state, 12, records); }
BENCHMARK(conditional_few_occasions)->Unit(benchmark::kMicrosecond);
void quadrature_rare_captures(benchmark::State& state) { evaluation(state, 145, rare); }
BENCHMARK(quadrature_rare_captures)->Unit(benchmark::kMicrosecond);
void conditional_rare_captures(benchmark::State& state) { evaluation(state, 12, rare); }
BENCHMARK(conditional_rare_captures)->Unit(benchmark::kMicrosecond);

/// The bare walk, as often as the quadrature walks: every record at each of 101 nodes, rates in plain tables.
void bare_walk_at_every_node(benchmark::State& state) {
  const std::vector<Closed_record> data = bench::closed_captures(folded);
  constexpr std::size_t nodes = 101;
  const std::size_t n = static_cast<std::size_t>(folded.occasions);
  std::vector<double> p(nodes * n), c(nodes * n), w(nodes, 1.0 / static_cast<double>(nodes));
  for (std::size_t k = 0; k < nodes; ++k)
    for (std::size_t o = 0; o < n; ++o) {
      const double logit =
          folded.capture_logit(static_cast<int>(o) + 1) + 0.05 * (static_cast<double>(k) - 50.0);
      p[k * n + o] = expit_of(logit);
      c[k * n + o] = expit_of(logit + folded.recapture_offset);
    }
  for (auto _ : state) {
    double total = 0.0;
    for (const Closed_record& record : data) {
      double sum_h = 0.0, sum_q = 0.0;
      for (std::size_t k = 0; k < nodes; ++k) {
        double h = 1.0, q = 1.0;
        bool seen = false;
        for (std::size_t o = 0; o < n; ++o) {
          const double rate = seen ? c[k * n + o] : p[k * n + o];
          q *= 1.0 - p[k * n + o];
          h *= record.live[o] == '1' ? rate : 1.0 - rate;
          seen = seen || record.live[o] == '1';
        }
        sum_h += w[k] * h;
        sum_q += w[k] * q;
      }
      total += sum_h / (1.0 - sum_q);
    }
    benchmark::DoNotOptimize(total);
  }
  state.counters["records"] = static_cast<double>(data.size());
}
BENCHMARK(bare_walk_at_every_node)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tarn

BENCHMARK_MAIN();
