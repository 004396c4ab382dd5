// Threshold_LT_32f and Threshold_LTInv_32f beside the plain C++ loops that
// compute the same results, at 1 KiB (L1) and 256 KiB (L2) per operand, with
// the traffic (bytes read plus bytes written) reported.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;
using kplbench::set_traffic;

void threshold_sizes(benchmark::internal::Benchmark* b) {
  for (int64_t s : {int64_t{1} << 10, int64_t{256} << 10}) b->Arg(s);
}

// Values spread around the level, so that both outcomes occur.
void fill_spread(Kpl32f* p, size_t n) {
  for (size_t i = 0; i < n; ++i) p[i] = static_cast<Kpl32f>(static_cast<int>(i * 2654435761u % 2001u) - 1000) * 0.01f;
}

constexpr Kpl32f kLevel = 0.5f;

void BM_Threshold_LT_32f(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32f));
  Scratch s(bytes), d(bytes);
  fill_spread(s.as<Kpl32f>(), static_cast<size_t>(n));
  for (auto _ : state) {
    kplsThreshold_LT_32f(s.as<Kpl32f>(), d.as<Kpl32f>(), n, kLevel);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}
void BM_Threshold_LT_32f_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes), d(bytes);
  fill_spread(s.as<Kpl32f>(), n);
  const Kpl32f* src = s.as<Kpl32f>();
  Kpl32f* dst = d.as<Kpl32f>();
  Kpl32f level = kLevel;
  benchmark::DoNotOptimize(level);
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) dst[i] = src[i] < level ? level : src[i];
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}

void BM_Threshold_LTInv_32f(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32f));
  Scratch s(bytes), d(bytes);
  fill_spread(s.as<Kpl32f>(), static_cast<size_t>(n));
  for (auto _ : state) {
    kplsThreshold_LTInv_32f(s.as<Kpl32f>(), d.as<Kpl32f>(), n, kLevel);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}
void BM_Threshold_LTInv_32f_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes), d(bytes);
  fill_spread(s.as<Kpl32f>(), n);
  const Kpl32f* src = s.as<Kpl32f>();
  Kpl32f* dst = d.as<Kpl32f>();
  Kpl32f level = kLevel;
  benchmark::DoNotOptimize(level);
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      const Kpl32f a = std::fabs(src[i]);
      const Kpl32f m = a > level ? a : level;
      dst[i] = 1.0f / std::copysign(m, src[i]);
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}

}  // namespace

BENCHMARK(BM_Threshold_LT_32f)->Apply(threshold_sizes);
BENCHMARK(BM_Threshold_LT_32f_plain)->Apply(threshold_sizes);
BENCHMARK(BM_Threshold_LTInv_32f)->Apply(threshold_sizes);
BENCHMARK(BM_Threshold_LTInv_32f_plain)->Apply(threshold_sizes);
