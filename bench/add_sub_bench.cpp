// Add_32f and Add_16s_Sfs (at scale factors 0 and 3) beside the plain loop that
// computes the same results, at 1 KiB, 256 KiB and 64 MiB per operand. Traffic
// is every byte read plus every byte written; BM_memcpy_traffic is the ceiling.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;
using kplbench::set_traffic;

// Three operands of `bytes` each, sources filled with varied values.
struct Operands {
  explicit Operands(size_t bytes) : a(bytes), b(bytes), d(bytes), n(bytes) {
    for (size_t i = 0; i < bytes; ++i) a.p[i] = static_cast<Kpl8u>(i * 37 + 11), b.p[i] = static_cast<Kpl8u>(i * 101 + 3);
  }
  Scratch a, b, d;
  size_t n;
};

void BM_Add_32f(benchmark::State& state) {
  Operands o(static_cast<size_t>(state.range(0)));
  const int len = static_cast<int>(o.n / sizeof(Kpl32f));
  for (auto _ : state) {
    kplsAdd_32f(o.a.as<Kpl32f>(), o.b.as<Kpl32f>(), o.d.as<Kpl32f>(), len);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * o.n);
}

void BM_Add_32f_plain(benchmark::State& state) {
  Operands o(static_cast<size_t>(state.range(0)));
  const size_t len = o.n / sizeof(Kpl32f);
  const Kpl32f *a = o.a.as<Kpl32f>(), *b = o.b.as<Kpl32f>();
  Kpl32f* d = o.d.as<Kpl32f>();
  for (auto _ : state) {
    for (size_t i = 0; i < len; ++i) d[i] = a[i] + b[i];
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * o.n);
}

void BM_Add_16s_Sfs(benchmark::State& state, int s) {
  Operands o(static_cast<size_t>(state.range(0)));
  const int len = static_cast<int>(o.n / sizeof(Kpl16s));
  for (auto _ : state) {
    kplsAdd_16s_Sfs(o.a.as<Kpl16s>(), o.b.as<Kpl16s>(), o.d.as<Kpl16s>(), len, s);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * o.n);
}

// The obvious loop: the exact sum, rounded to nearest even by the shift rule,
// clamped to 16 bits.
void BM_Add_16s_Sfs_plain(benchmark::State& state, int s) {
  Operands o(static_cast<size_t>(state.range(0)));
  const size_t len = o.n / sizeof(Kpl16s);
  const Kpl16s *a = o.a.as<Kpl16s>(), *b = o.b.as<Kpl16s>();
  Kpl16s* d = o.d.as<Kpl16s>();
  for (auto _ : state) {
    for (size_t i = 0; i < len; ++i) {
      int x = a[i] + b[i];
      if (s > 0) x = (x + (1 << (s - 1)) - 1 + ((x >> s) & 1)) >> s;
      d[i] = static_cast<Kpl16s>(std::clamp(x, -32768, 32767));
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * o.n);
}

}  // namespace

BENCHMARK(BM_Add_32f)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_Add_32f_plain)->Apply(kplbench::operand_sizes);
BENCHMARK_CAPTURE(BM_Add_16s_Sfs, s0, 0)->Apply(kplbench::operand_sizes);
BENCHMARK_CAPTURE(BM_Add_16s_Sfs_plain, s0, 0)->Apply(kplbench::operand_sizes);
BENCHMARK_CAPTURE(BM_Add_16s_Sfs, s3, 3)->Apply(kplbench::operand_sizes);
BENCHMARK_CAPTURE(BM_Add_16s_Sfs_plain, s3, 3)->Apply(kplbench::operand_sizes);
