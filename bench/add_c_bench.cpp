// AddC_8u_Sfs beside the plain loop that computes the same bytes, at scale 1
// (rounding halves) and at scale 0 (saturation only), at 1 KiB, 256 KiB and
// 64 MiB per operand. Traffic is the source read plus the destination written.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;

constexpr Kpl8u kVal = 77;

// The obvious loop: the exact sum, the rounding rule of the scale factor, the
// saturation.
void add_c_8u_plain(const Kpl8u* src, Kpl8u val, Kpl8u* dst, int len, int s) {
  for (int i = 0; i < len; ++i) {
    const int x = src[i] + val;
    const int y = s > 0 ? (x + (1 << (s - 1)) - 1 + ((x >> s) & 1)) >> s : x;
    dst[i] = static_cast<Kpl8u>(y > 255 ? 255 : y);
  }
}

template <bool Plain>
void run_add_c_8u(benchmark::State& state, int s) {
  const auto n = static_cast<size_t>(state.range(0));
  Scratch src(n), dst(n);
  for (size_t i = 0; i < n; ++i) src.p[i] = static_cast<Kpl8u>(i * 37 + (i >> 8));
  for (auto _ : state) {
    if constexpr (Plain) add_c_8u_plain(src.p, kVal, dst.p, static_cast<int>(n), s);
    else kplsAddC_8u_Sfs(src.p, kVal, dst.p, static_cast<int>(n), s);
    benchmark::ClobberMemory();
  }
  kplbench::set_traffic(state, 2 * n);
}

void BM_AddC_8u_Sfs(benchmark::State& state) { run_add_c_8u<false>(state, 1); }
void BM_AddC_8u_Sfs_plain(benchmark::State& state) { run_add_c_8u<true>(state, 1); }
void BM_AddC_8u_Sfs_scale0(benchmark::State& state) { run_add_c_8u<false>(state, 0); }
void BM_AddC_8u_Sfs_scale0_plain(benchmark::State& state) { run_add_c_8u<true>(state, 0); }

}  // namespace

BENCHMARK(BM_AddC_8u_Sfs)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddC_8u_Sfs_plain)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddC_8u_Sfs_scale0)->Apply(kplbench::operand_sizes);
BENCHMARK(BM_AddC_8u_Sfs_scale0_plain)->Apply(kplbench::operand_sizes);
