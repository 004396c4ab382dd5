// Abs, Sqr, AddProduct and AddProductC beside the plain C++ loops that compute
// the same results, at 1 KiB (L1), 256 KiB (L2) and 64 MiB (memory) per operand,
// with the traffic (bytes read plus bytes written) reported; and memcpy moving the
// same kind of traffic, so any element-wise case can be set against memory
// bandwidth.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;
using kplbench::set_traffic;

// memcpy of n bytes: n read plus n written.
void BM_memcpy_traffic(benchmark::State& state) {
  const auto n = static_cast<size_t>(state.range(0));
  Scratch s(n), d(n);
  for (auto _ : state) {
    std::memcpy(d.p, s.p, n);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * n);
}

// ---- Abs_32f ----

void BM_Abs_32f(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32f));
  Scratch s(bytes), d(bytes);
  for (auto _ : state) {
    kplsAbs_32f(s.as<Kpl32f>(), d.as<Kpl32f>(), n);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}
void BM_Abs_32f_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes), d(bytes);
  const Kpl32f* src = s.as<Kpl32f>();
  Kpl32f* dst = d.as<Kpl32f>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) dst[i] = std::fabs(src[i]);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}

// ---- Abs_16s: the most negative value saturates ----

void BM_Abs_16s(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl16s));
  Scratch s(bytes), d(bytes);
  for (auto _ : state) {
    kplsAbs_16s(s.as<Kpl16s>(), d.as<Kpl16s>(), n);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}
void BM_Abs_16s_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl16s);
  Scratch s(bytes), d(bytes);
  const Kpl16s* src = s.as<Kpl16s>();
  Kpl16s* dst = d.as<Kpl16s>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      const int v = src[i] < 0 ? -src[i] : src[i];
      dst[i] = static_cast<Kpl16s>(v > 32767 ? 32767 : v);
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}

// ---- Sqr_32fc ----

void BM_Sqr_32fc(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32fc));
  Scratch s(bytes), d(bytes);
  for (auto _ : state) {
    kplsSqr_32fc(s.as<Kpl32fc>(), d.as<Kpl32fc>(), n);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}
void BM_Sqr_32fc_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32fc);
  Scratch s(bytes), d(bytes);
  const Kpl32fc* src = s.as<Kpl32fc>();
  Kpl32fc* dst = d.as<Kpl32fc>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      const Kpl32fc a = src[i];
      const Kpl32f t = a.re * a.im;
      dst[i] = {a.re * a.re - a.im * a.im, t + t};
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 2 * bytes);
}

// ---- AddProduct_32f and AddProductC_32f: two or one sources and the accumulator ----
// The sources hold small values, so the accumulator neither overflows nor
// turns into denormals however long the benchmark runs.

void BM_AddProduct_32f(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32f));
  Scratch a(bytes), b(bytes), d(bytes);
  for (auto _ : state) {
    kplsAddProduct_32f(a.as<Kpl32f>(), b.as<Kpl32f>(), d.as<Kpl32f>(), n);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 4 * bytes);
}
void BM_AddProduct_32f_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch a(bytes), b(bytes), d(bytes);
  const Kpl32f *x = a.as<Kpl32f>(), *y = b.as<Kpl32f>();
  Kpl32f* acc = d.as<Kpl32f>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) acc[i] = acc[i] + x[i] * y[i];
    benchmark::ClobberMemory();
  }
  set_traffic(state, 4 * bytes);
}

void BM_AddProductC_32f(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32f));
  Scratch a(bytes), d(bytes);
  for (auto _ : state) {
    kplsAddProductC_32f(a.as<Kpl32f>(), 0.5f, d.as<Kpl32f>(), n);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * bytes);
}
void BM_AddProductC_32f_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch a(bytes), d(bytes);
  const Kpl32f* x = a.as<Kpl32f>();
  Kpl32f* acc = d.as<Kpl32f>();
  const Kpl32f val = 0.5f;
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) acc[i] = acc[i] + x[i] * val;
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * bytes);
}

// ---- AddProduct_16s_Sfs and AddProduct_32s_Sfs at a scale factor of 4 ----

constexpr int kScale = 4;

void BM_AddProduct_16s_Sfs(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl16s));
  Scratch a(bytes), b(bytes), d(bytes);
  for (auto _ : state) {
    kplsAddProduct_16s_Sfs(a.as<Kpl16s>(), b.as<Kpl16s>(), d.as<Kpl16s>(), n, kScale);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 4 * bytes);
}
void BM_AddProduct_16s_Sfs_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl16s);
  Scratch a(bytes), b(bytes), d(bytes);
  const Kpl16s *x = a.as<Kpl16s>(), *y = b.as<Kpl16s>();
  Kpl16s* acc = d.as<Kpl16s>();
  int s = kScale;
  benchmark::DoNotOptimize(s);  // a scale known only at run time, as in the library
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      const int64_t v = acc[i] + int64_t{x[i]} * y[i];
      const int64_t r = (v + (int64_t{1} << (s - 1)) - 1 + ((v >> s) & 1)) >> s;
      acc[i] = static_cast<Kpl16s>(r < -32768 ? -32768 : (r > 32767 ? 32767 : r));
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 4 * bytes);
}

void BM_AddProduct_32s_Sfs(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32s));
  Scratch a(bytes), b(bytes), d(bytes);
  for (auto _ : state) {
    kplsAddProduct_32s_Sfs(a.as<Kpl32s>(), b.as<Kpl32s>(), d.as<Kpl32s>(), n, kScale);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 4 * bytes);
}
void BM_AddProduct_32s_Sfs_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32s);
  Scratch a(bytes), b(bytes), d(bytes);
  const Kpl32s *x = a.as<Kpl32s>(), *y = b.as<Kpl32s>();
  Kpl32s* acc = d.as<Kpl32s>();
  const double scale = std::ldexp(1.0, -kScale);
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      double t = static_cast<double>(x[i]) * static_cast<double>(y[i]) + static_cast<double>(acc[i]);
      t = t * scale;
      t = t < -2147483648.0 ? -2147483648.0 : (t > 2147483647.0 ? 2147483647.0 : t);
      acc[i] = static_cast<Kpl32s>(std::nearbyint(t));
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 4 * bytes);
}

}  // namespace

BENCHMARK(BM_memcpy_traffic)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Abs_32f)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Abs_32f_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Abs_16s)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Abs_16s_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Sqr_32fc)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Sqr_32fc_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddProduct_32f)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddProduct_32f_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddProductC_32f)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddProductC_32f_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddProduct_16s_Sfs)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddProduct_16s_Sfs_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddProduct_32s_Sfs)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddProduct_32s_Sfs_plain)->Apply(kplbench::operand_sizes);
