// Block moves against the standard library: Copy_8u vs memcpy, Set_32f vs
// std::fill, Zero_8u vs memset, Move_32f vs memmove, at 1 KiB (L1), 256 KiB (L2)
// and 64 MiB (memory). Both sides run on the same buffers in the same process.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "kpls.h"

namespace {

constexpr int64_t kSizes[] = {1 << 10, 256 << 10, 64 << 20};

struct Buffers {
  explicit Buffers(size_t bytes) : src(kplsMalloc_8u(static_cast<int>(bytes))), dst(kplsMalloc_8u(static_cast<int>(bytes))) {
    std::memset(src, 1, bytes);
    std::memset(dst, 2, bytes);
  }
  ~Buffers() {
    kplsFree(src);
    kplsFree(dst);
  }
  Kpl8u* src;
  Kpl8u* dst;
};

void finish(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

void BM_Copy_8u(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Buffers b(n);
  for (auto _ : state) {
    kplsCopy_8u(b.src, b.dst, static_cast<int>(n));
    benchmark::ClobberMemory();
  }
  finish(state, n);
}
void BM_memcpy(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Buffers b(n);
  for (auto _ : state) {
    std::memcpy(b.dst, b.src, n);
    benchmark::ClobberMemory();
  }
  finish(state, n);
}

void BM_Set_32f(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Buffers b(n);
  auto* d = reinterpret_cast<Kpl32f*>(b.dst);
  for (auto _ : state) {
    kplsSet_32f(1.5f, d, static_cast<int>(n / 4));
    benchmark::ClobberMemory();
  }
  finish(state, n);
}
void BM_std_fill_32f(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Buffers b(n);
  auto* d = reinterpret_cast<Kpl32f*>(b.dst);
  for (auto _ : state) {
    std::fill(d, d + n / 4, 1.5f);
    benchmark::ClobberMemory();
  }
  finish(state, n);
}

void BM_Zero_8u(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Buffers b(n);
  for (auto _ : state) {
    kplsZero_8u(b.dst, static_cast<int>(n));
    benchmark::ClobberMemory();
  }
  finish(state, n);
}
void BM_memset(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Buffers b(n);
  for (auto _ : state) {
    std::memset(b.dst, 0, n);
    benchmark::ClobberMemory();
  }
  finish(state, n);
}

// Move by one element down the same buffer: the overlapping case Move exists for.
void BM_Move_32f(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Buffers b(n + 4);
  auto* p = reinterpret_cast<Kpl32f*>(b.src);
  for (auto _ : state) {
    kplsMove_32f(p + 1, p, static_cast<int>(n / 4));
    benchmark::ClobberMemory();
  }
  finish(state, n);
}
void BM_memmove(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Buffers b(n + 4);
  auto* p = reinterpret_cast<Kpl32f*>(b.src);
  for (auto _ : state) {
    std::memmove(p, p + 1, n);
    benchmark::ClobberMemory();
  }
  finish(state, n);
}

void sizes(benchmark::internal::Benchmark* b) {
  for (int64_t s : kSizes) b->Arg(s);
}

}  // namespace

BENCHMARK(BM_Copy_8u)->Apply(sizes);
BENCHMARK(BM_memcpy)->Apply(sizes);
BENCHMARK(BM_Set_32f)->Apply(sizes);
BENCHMARK(BM_std_fill_32f)->Apply(sizes);
BENCHMARK(BM_Zero_8u)->Apply(sizes);
BENCHMARK(BM_memset)->Apply(sizes);
BENCHMARK(BM_Move_32f)->Apply(sizes);
BENCHMARK(BM_memmove)->Apply(sizes);
