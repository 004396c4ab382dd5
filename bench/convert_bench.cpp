// Convert beside the plain C++ loops that compute the same results: float to
// 16-bit integers with nearest rounding (scale 0 and 3), 16-bit integers to
// float, float to packed 24-bit samples, and float to 16-bit float, at 1 KiB and
// 256 KiB of source, with the traffic (bytes read plus bytes written) reported.
#include <benchmark/benchmark.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

using kplbench::Scratch;
using kplbench::set_traffic;

void source_sizes(benchmark::internal::Benchmark* b) {
  for (int64_t s : {int64_t{1} << 10, int64_t{256} << 10}) b->Arg(s);
}

// Floats spread over and past the 16-bit range, with fractions.
void fill_floats(float* p, size_t n, float range) {
  uint32_t x = 12345;
  for (size_t i = 0; i < n; ++i) {
    x = x * 1664525u + 1013904223u;
    p[i] = (static_cast<float>(x >> 8) / 16777216.0f * 2.0f - 1.0f) * range;
  }
}

// ---- Convert_32f16s_Sfs, nearest ----

template <int Scale>
void BM_Convert_32f16s_Sfs(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32f));
  Scratch s(bytes), d(bytes / 2);
  fill_floats(s.as<float>(), static_cast<size_t>(n), 40000.0f * (1 << Scale));
  for (auto _ : state) {
    kplsConvert_32f16s_Sfs(s.as<Kpl32f>(), d.as<Kpl16s>(), n, kplRndNear, Scale);
    benchmark::ClobberMemory();
  }
  set_traffic(state, bytes + bytes / 2);
}
template <int Scale>
void BM_Convert_32f16s_Sfs_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes), d(bytes / 2);
  fill_floats(s.as<float>(), n, 40000.0f * (1 << Scale));
  const float* src = s.as<float>();
  Kpl16s* dst = d.as<Kpl16s>();
  const float factor = 1.0f / (1 << Scale);
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      const float v = std::fmin(Scale ? src[i] * factor : src[i], 32767.0f);  // NaN gives 32767
      const long r = lrintf(v);
      dst[i] = static_cast<Kpl16s>(r < -32768 ? -32768 : r);
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, bytes + bytes / 2);
}

// ---- Convert_16s32f ----

void BM_Convert_16s32f(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl16s));
  Scratch s(bytes), d(2 * bytes);
  for (auto _ : state) {
    kplsConvert_16s32f(s.as<Kpl16s>(), d.as<Kpl32f>(), n);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * bytes);
}
void BM_Convert_16s32f_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl16s);
  Scratch s(bytes), d(2 * bytes);
  const Kpl16s* src = s.as<Kpl16s>();
  float* dst = d.as<float>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) dst[i] = static_cast<float>(src[i]);
    benchmark::ClobberMemory();
  }
  set_traffic(state, 3 * bytes);
}

// ---- Convert_32f24s_Sfs ----

void BM_Convert_32f24s_Sfs(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32f));
  Scratch s(bytes), d(bytes);
  fill_floats(s.as<float>(), static_cast<size_t>(n), 9e6f);
  for (auto _ : state) {
    kplsConvert_32f24s_Sfs(s.as<Kpl32f>(), d.as<Kpl24s>(), n, 0);
    benchmark::ClobberMemory();
  }
  set_traffic(state, bytes + 3 * bytes / 4);
}
void BM_Convert_32f24s_Sfs_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes), d(bytes);
  fill_floats(s.as<float>(), n, 9e6f);
  const float* src = s.as<float>();
  uint8_t* dst = d.p;
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      const float v = std::fmin(std::fmax(src[i], -8388608.0f), 8388607.0f);  // NaN gives the lower bound
      const auto r = static_cast<uint32_t>(lrintf(v));
      dst[3 * i] = static_cast<uint8_t>(r), dst[3 * i + 1] = static_cast<uint8_t>(r >> 8);
      dst[3 * i + 2] = static_cast<uint8_t>(r >> 16);
    }
    benchmark::ClobberMemory();
  }
  set_traffic(state, bytes + 3 * bytes / 4);
}

// ---- Convert_32f16f, nearest ----

// The usual scalar conversion: round the float's bits to the half grid, nearest
// with ties to even, saturating at 0x7FFF.
uint16_t float_to_half(float f) {
  const uint32_t b = std::bit_cast<uint32_t>(f), sign = (b >> 16) & 0x8000, a = b & 0x7FFFFFFF;
  uint32_t h;
  if (a >= 0x38800000) {
    const uint32_t y = a - (112u << 23);
    h = (y + 0xFFF + ((y >> 13) & 1)) >> 13;
    if (h > 0x7FFF) h = 0x7FFF;
  } else {
    h = std::bit_cast<uint32_t>(std::bit_cast<float>(a) + 0.5f) - 0x3F000000u;
  }
  return static_cast<uint16_t>(h | sign);
}

void BM_Convert_32f16f(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const int n = static_cast<int>(bytes / sizeof(Kpl32f));
  Scratch s(bytes), d(bytes / 2);
  fill_floats(s.as<float>(), static_cast<size_t>(n), 70000.0f);
  for (auto _ : state) {
    kplsConvert_32f16f(s.as<Kpl32f>(), d.as<Kpl16f>(), n, kplRndNear);
    benchmark::ClobberMemory();
  }
  set_traffic(state, bytes + bytes / 2);
}
void BM_Convert_32f16f_plain(benchmark::State& state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const size_t n = bytes / sizeof(Kpl32f);
  Scratch s(bytes), d(bytes / 2);
  fill_floats(s.as<float>(), n, 70000.0f);
  const float* src = s.as<float>();
  uint16_t* dst = d.as<uint16_t>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) dst[i] = float_to_half(src[i]);
    benchmark::ClobberMemory();
  }
  set_traffic(state, bytes + bytes / 2);
}

}  // namespace

BENCHMARK(BM_Convert_32f16s_Sfs<0>)->Apply(source_sizes);
BENCHMARK(BM_Convert_32f16s_Sfs_plain<0>)->Apply(source_sizes);
BENCHMARK(BM_Convert_32f16s_Sfs<3>)->Apply(source_sizes);
BENCHMARK(BM_Convert_32f16s_Sfs_plain<3>)->Apply(source_sizes);
BENCHMARK(BM_Convert_16s32f)->Apply(source_sizes);
BENCHMARK(BM_Convert_16s32f_plain)->Apply(source_sizes);
BENCHMARK(BM_Convert_32f24s_Sfs)->Apply(source_sizes);
BENCHMARK(BM_Convert_32f24s_Sfs_plain)->Apply(source_sizes);
BENCHMARK(BM_Convert_32f16f)->Apply(source_sizes);
BENCHMARK(BM_Convert_32f16f_plain)->Apply(source_sizes);
