// DotProd_32f and Norm_L2_32f beside the plain loop that computes the same sum and
// beside std::inner_product, at 1 KiB and 256 KiB per operand.
#include <benchmark/benchmark.h>

#include <cmath>
#include <numeric>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;
using kplbench::set_traffic;

void reduction_sizes(benchmark::internal::Benchmark* b) {
  for (int64_t s : {int64_t{1} << 10, int64_t{256} << 10}) b->Arg(s);
}

// Values whose sums stay finite and ordinary.
void fill(Kpl32f* p, size_t n, float seed) {
  for (size_t i = 0; i < n; ++i) p[i] = seed + static_cast<float>(i % 97) * 0.01f;
}

void BM_DotProd_32f(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32f);
  Scratch a(bytes), b(bytes);
  fill(a.as<Kpl32f>(), n, 0.5f), fill(b.as<Kpl32f>(), n, -0.25f);
  Kpl32f r = 0;
  for (auto _ : state) {
    kplsDotProd_32f(a.as<Kpl32f>(), b.as<Kpl32f>(), static_cast<int>(n), &r);
    benchmark::DoNotOptimize(r);
  }
  set_traffic(state, 2 * bytes);
}
void BM_DotProd_32f_plain(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32f);
  Scratch a(bytes), b(bytes);
  fill(a.as<Kpl32f>(), n, 0.5f), fill(b.as<Kpl32f>(), n, -0.25f);
  const Kpl32f* x = a.as<Kpl32f>();
  const Kpl32f* y = b.as<Kpl32f>();
  for (auto _ : state) {
    float s = 0;
    for (size_t i = 0; i < n; ++i) s += x[i] * y[i];
    benchmark::DoNotOptimize(s);
  }
  set_traffic(state, 2 * bytes);
}
void BM_DotProd_32f_inner_product(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32f);
  Scratch a(bytes), b(bytes);
  fill(a.as<Kpl32f>(), n, 0.5f), fill(b.as<Kpl32f>(), n, -0.25f);
  const Kpl32f* x = a.as<Kpl32f>();
  const Kpl32f* y = b.as<Kpl32f>();
  for (auto _ : state) {
    float s = std::inner_product(x, x + n, y, 0.0f);
    benchmark::DoNotOptimize(s);
  }
  set_traffic(state, 2 * bytes);
}

void BM_Norm_L2_32f(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32f);
  Scratch a(bytes);
  fill(a.as<Kpl32f>(), n, 0.5f);
  Kpl32f r = 0;
  for (auto _ : state) {
    kplsNorm_L2_32f(a.as<Kpl32f>(), static_cast<int>(n), &r);
    benchmark::DoNotOptimize(r);
  }
  set_traffic(state, bytes);
}
void BM_Norm_L2_32f_plain(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32f);
  Scratch a(bytes);
  fill(a.as<Kpl32f>(), n, 0.5f);
  const Kpl32f* x = a.as<Kpl32f>();
  for (auto _ : state) {
    float s = 0;
    for (size_t i = 0; i < n; ++i) s += x[i] * x[i];
    s = std::sqrt(s);
    benchmark::DoNotOptimize(s);
  }
  set_traffic(state, bytes);
}
void BM_Norm_L2_32f_inner_product(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32f);
  Scratch a(bytes);
  fill(a.as<Kpl32f>(), n, 0.5f);
  const Kpl32f* x = a.as<Kpl32f>();
  for (auto _ : state) {
    float s = std::sqrt(std::inner_product(x, x + n, x, 0.0f));
    benchmark::DoNotOptimize(s);
  }
  set_traffic(state, bytes);
}

}  // namespace

BENCHMARK(BM_DotProd_32f)->Apply(reduction_sizes);
BENCHMARK(BM_DotProd_32f_plain)->Apply(reduction_sizes);
BENCHMARK(BM_DotProd_32f_inner_product)->Apply(reduction_sizes);
BENCHMARK(BM_Norm_L2_32f)->Apply(reduction_sizes);
BENCHMARK(BM_Norm_L2_32f_plain)->Apply(reduction_sizes);
BENCHMARK(BM_Norm_L2_32f_inner_product)->Apply(reduction_sizes);
