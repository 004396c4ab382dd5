// Mul_32fc, MulC_32f and Mul_16s_Sfs beside the plain C++ loops that compute the
// same results, at 1 KiB, 256 KiB and 64 MiB per operand; BM_memcpy_traffic
// gives the ceiling in memory.
#include <benchmark/benchmark.h>

#include <cstring>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;
using kplbench::set_traffic;

constexpr int kScale = 3;

void BM_Mul_32fc(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32fc);
  Scratch a(bytes), b(bytes), d(bytes);
  for (auto _ : state) {
    kplsMul_32fc(a.as<Kpl32fc>(), b.as<Kpl32fc>(), d.as<Kpl32fc>(), static_cast<int>(n));
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * bytes);
}
void BM_Mul_32fc_plain(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32fc);
  Scratch a(bytes), b(bytes), d(bytes);
  const Kpl32fc* x = a.as<Kpl32fc>();
  const Kpl32fc* y = b.as<Kpl32fc>();
  Kpl32fc* z = d.as<Kpl32fc>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      const Kpl32fc p = x[i], q = y[i];
      z[i].re = p.re * q.re - p.im * q.im;
      z[i].im = p.im * q.re + p.re * q.im;
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * bytes);
}

void BM_MulC_32f(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32f);
  Scratch a(bytes), d(bytes);
  for (auto _ : state) {
    kplsMulC_32f(a.as<Kpl32f>(), 1.25f, d.as<Kpl32f>(), static_cast<int>(n));
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}
void BM_MulC_32f_plain(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl32f);
  Scratch a(bytes), d(bytes);
  const Kpl32f* x = a.as<Kpl32f>();
  Kpl32f* z = d.as<Kpl32f>();
  float v = 1.25f;
  benchmark::DoNotOptimize(v);
  for (auto _ : state) {
    if (v == 1.0f) {
      std::memcpy(z, x, bytes);
    } else if (v == 0.0f) {
      std::memset(z, 0, bytes);
    } else {
      for (size_t i = 0; i < n; ++i) z[i] = x[i] * v;
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}

void BM_Mul_16s_Sfs(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl16s);
  Scratch a(bytes), b(bytes), d(bytes);
  for (auto _ : state) {
    kplsMul_16s_Sfs(a.as<Kpl16s>(), b.as<Kpl16s>(), d.as<Kpl16s>(), static_cast<int>(n), kScale);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * bytes);
}
// The exact product, rounded to nearest with ties to even, saturated.
void BM_Mul_16s_Sfs_plain(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)), n = bytes / sizeof(Kpl16s);
  Scratch a(bytes), b(bytes), d(bytes);
  const Kpl16s* x = a.as<Kpl16s>();
  const Kpl16s* y = b.as<Kpl16s>();
  Kpl16s* z = d.as<Kpl16s>();
  int s = kScale;
  benchmark::DoNotOptimize(s);
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      const int32_t p = int32_t{x[i]} * y[i];
      const int32_t r = (p + (1 << (s - 1)) - 1 + ((p >> s) & 1)) >> s;
      z[i] = static_cast<Kpl16s>(r > 32767 ? 32767 : (r < -32768 ? -32768 : r));
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * bytes);
}

BENCHMARK(BM_Mul_32fc)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Mul_32fc_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_MulC_32f)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_MulC_32f_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Mul_16s_Sfs)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Mul_16s_Sfs_plain)->Apply(kplbench::operand_sizes);

}  // namespace
