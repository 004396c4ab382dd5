// Sum_32f (accurate and fast hints) and Mean_16s_Sfs beside the plain C++ loops
// that compute the same kind of result (a float accumulator; an int64 one) and
// std::accumulate, at 1 KiB (L1) and 256 KiB (L2) of source, reporting bytes read.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <numeric>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;
using kplbench::set_traffic;

void reduction_sizes(benchmark::internal::Benchmark* b) {
  for (int64_t s : {int64_t{1} << 10, int64_t{256} << 10}) b->Arg(s);
}

// Values of both signs and many mantissas, so that no add is trivially exact.
template <class T>
T* filled(Scratch& s, size_t n) {
  T* p = s.as<T>();
  uint32_t x = 12345;
  for (size_t i = 0; i < n; ++i) {
    x = x * 1664525u + 1013904223u;
    if constexpr (sizeof(T) == 4) {
      p[i] = static_cast<T>(static_cast<int32_t>(x) * 0x1p-31);
    } else {
      p[i] = static_cast<T>(x >> 16);
    }
  }
  return p;
}

// ---- Sum_32f ----

void sum_32f(benchmark::State& state, KplHintAlgorithm hint) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes);
  const Kpl32f* src = filled<Kpl32f>(s, n);
  Kpl32f sum = 0;
  for (auto _ : state) {
    kplsSum_32f(src, static_cast<int>(n), &sum, hint);
    benchmark::DoNotOptimize(sum);
  }
  set_traffic(state, bytes);
}
void BM_Sum_32f(benchmark::State& state) { sum_32f(state, kplAlgHintAccurate); }
void BM_Sum_32f_Fast(benchmark::State& state) { sum_32f(state, kplAlgHintFast); }

void BM_Sum_32f_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes);
  const Kpl32f* src = filled<Kpl32f>(s, n);
  for (auto _ : state) {
    float sum = 0;
    for (size_t i = 0; i < n; ++i) sum += src[i];
    benchmark::DoNotOptimize(sum);
  }
  set_traffic(state, bytes);
}
void BM_Sum_32f_accumulate(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes);
  const Kpl32f* src = filled<Kpl32f>(s, n);
  for (auto _ : state) {
    float sum = std::accumulate(src, src + n, 0.0f);
    benchmark::DoNotOptimize(sum);
  }
  set_traffic(state, bytes);
}

// ---- Mean_16s_Sfs ----

void BM_Mean_16s_Sfs(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl16s);
  Scratch s(bytes);
  const Kpl16s* src = filled<Kpl16s>(s, n);
  Kpl16s mean = 0;
  for (auto _ : state) {
    kplsMean_16s_Sfs(src, static_cast<int>(n), &mean, 0);
    benchmark::DoNotOptimize(mean);
  }
  set_traffic(state, bytes);
}
void BM_Mean_16s_Sfs_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl16s);
  Scratch s(bytes);
  const Kpl16s* src = filled<Kpl16s>(s, n);
  for (auto _ : state) {
    int64_t sum = 0;
    for (size_t i = 0; i < n; ++i) sum += src[i];
    const Kpl16s mean = static_cast<Kpl16s>(std::nearbyint(static_cast<double>(sum) / static_cast<double>(n)));
    benchmark::DoNotOptimize(mean);
  }
  set_traffic(state, bytes);
}
void BM_Mean_16s_Sfs_accumulate(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl16s);
  Scratch s(bytes);
  const Kpl16s* src = filled<Kpl16s>(s, n);
  for (auto _ : state) {
    const int64_t sum = std::accumulate(src, src + n, int64_t{0});
    const Kpl16s mean = static_cast<Kpl16s>(std::nearbyint(static_cast<double>(sum) / static_cast<double>(n)));
    benchmark::DoNotOptimize(mean);
  }
  set_traffic(state, bytes);
}

}  // namespace

BENCHMARK(BM_Sum_32f)->Apply(reduction_sizes);
BENCHMARK(BM_Sum_32f_Fast)->Apply(reduction_sizes);
BENCHMARK(BM_Sum_32f_plain)->Apply(reduction_sizes);
BENCHMARK(BM_Sum_32f_accumulate)->Apply(reduction_sizes);
BENCHMARK(BM_Mean_16s_Sfs)->Apply(reduction_sizes);
BENCHMARK(BM_Mean_16s_Sfs_plain)->Apply(reduction_sizes);
BENCHMARK(BM_Mean_16s_Sfs_accumulate)->Apply(reduction_sizes);
