// MaxIndx_32f and MinMax_16s beside the plain loops that compute the same results
// and the standard algorithms (std::max_element, std::minmax_element), at 1 KiB
// (L1) and 256 KiB (L2) of source, on random data, reporting the bytes read.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;
using kplbench::set_traffic;

void extremes_sizes(benchmark::internal::Benchmark* b) {
  for (int64_t s : {int64_t{1} << 10, int64_t{256} << 10}) b->Arg(s);
}

// Reproducible values spread over the range, so the extreme moves now and then.
template <class T>
void fill(T* p, size_t n) {
  uint64_t s = 0x9E3779B97F4A7C15ull;
  for (size_t i = 0; i < n; ++i) {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    if constexpr (sizeof(T) == 4) {
      p[i] = static_cast<T>(static_cast<int32_t>(s >> 40) - (1 << 23)) * T(0.001);
    } else {
      p[i] = static_cast<T>(s >> 48);
    }
  }
}

// Every case reads one filled source of state.range(0) bytes and reports them.
template <class T, class Body>
void on_source(benchmark::State& state, Body body) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(T);
  Scratch s(bytes);
  fill(s.as<T>(), n);
  const T* p = s.as<T>();
  for (auto _ : state) body(p, n);
  set_traffic(state, bytes);
}

// ---- MaxIndx_32f ----

void BM_MaxIndx_32f(benchmark::State& state) {
  on_source<Kpl32f>(state, [](const Kpl32f* p, size_t n) {
    Kpl32f m;
    int at;
    kplsMaxIndx_32f(p, static_cast<int>(n), &m, &at);
    benchmark::DoNotOptimize(m);
    benchmark::DoNotOptimize(at);
  });
}
void BM_MaxIndx_32f_plain(benchmark::State& state) {
  on_source<Kpl32f>(state, [](const Kpl32f* p, size_t n) {
    Kpl32f m = p[0];
    int at = 0;
    for (size_t i = 1; i < n; ++i)
      if (p[i] > m) m = p[i], at = static_cast<int>(i);
    benchmark::DoNotOptimize(m);
    benchmark::DoNotOptimize(at);
  });
}
void BM_MaxIndx_32f_std(benchmark::State& state) {
  on_source<Kpl32f>(state, [](const Kpl32f* p, size_t n) {
    const Kpl32f* it = std::max_element(p, p + n);
    benchmark::DoNotOptimize(it);
  });
}

// ---- MinMax_16s ----

void BM_MinMax_16s(benchmark::State& state) {
  on_source<Kpl16s>(state, [](const Kpl16s* p, size_t n) {
    Kpl16s lo, hi;
    kplsMinMax_16s(p, static_cast<int>(n), &lo, &hi);
    benchmark::DoNotOptimize(lo);
    benchmark::DoNotOptimize(hi);
  });
}
void BM_MinMax_16s_plain(benchmark::State& state) {
  on_source<Kpl16s>(state, [](const Kpl16s* p, size_t n) {
    Kpl16s lo = p[0], hi = p[0];
    for (size_t i = 1; i < n; ++i) {
      lo = p[i] < lo ? p[i] : lo;
      hi = p[i] > hi ? p[i] : hi;
    }
    benchmark::DoNotOptimize(lo);
    benchmark::DoNotOptimize(hi);
  });
}
void BM_MinMax_16s_std(benchmark::State& state) {
  on_source<Kpl16s>(state, [](const Kpl16s* p, size_t n) {
    auto its = std::minmax_element(p, p + n);
    benchmark::DoNotOptimize(its);
  });
}

}  // namespace

BENCHMARK(BM_MaxIndx_32f)->Apply(extremes_sizes);
BENCHMARK(BM_MaxIndx_32f_plain)->Apply(extremes_sizes);
BENCHMARK(BM_MaxIndx_32f_std)->Apply(extremes_sizes);
BENCHMARK(BM_MinMax_16s)->Apply(extremes_sizes);
BENCHMARK(BM_MinMax_16s_plain)->Apply(extremes_sizes);
BENCHMARK(BM_MinMax_16s_std)->Apply(extremes_sizes);
