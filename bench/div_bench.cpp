// Div_32f and Div_16s_Sfs on one and on two threads beside the plain loop that
// computes the same quotients, at 4 Ki (L1), 64 Ki (L2) and 4 Mi (memory)
// elements. Traffic is every byte read plus every byte written.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

constexpr int64_t kElements[] = {4 << 10, 64 << 10, 4 << 20};

// The thread count for a scope.
class Threads {
 public:
  explicit Threads(int n) : saved_(omp_get_max_threads()) { omp_set_num_threads(n); }
  ~Threads() { omp_set_num_threads(saved_); }

 private:
  int saved_;
};

void sizes_and_threads(benchmark::internal::Benchmark* b) {
  for (int64_t n : kElements)
    for (int t : {1, 2}) b->Args({n, t});
}
void sizes(benchmark::internal::Benchmark* b) {
  for (int64_t n : kElements) b->Args({n, 1});
}

template <class T>
struct Operands {
  explicit Operands(size_t n) : a(n * sizeof(T)), b(n * sizeof(T)), d(n * sizeof(T)) {
    T* x = a.as<T>();
    T* y = b.as<T>();
    for (size_t i = 0; i < n; ++i) x[i] = static_cast<T>(1 + i % 97), y[i] = static_cast<T>(1000 - static_cast<int>(i % 2001));
  }
  kplbench::Scratch a, b, d;
};

void BM_Div_32f(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  const Threads t(static_cast<int>(state.range(1)));
  Operands<Kpl32f> o(n);
  for (auto _ : state) {
    kplsDiv_32f(o.a.as<Kpl32f>(), o.b.as<Kpl32f>(), o.d.as<Kpl32f>(), static_cast<int>(n));
    benchmark::ClobberMemory();
  }
  kplbench::set_traffic(state, 3 * n * sizeof(Kpl32f));
}
void BM_Div_32f_plain(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Operands<Kpl32f> o(n);
  const Kpl32f* a = o.a.as<Kpl32f>();
  const Kpl32f* b = o.b.as<Kpl32f>();
  Kpl32f* d = o.d.as<Kpl32f>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) d[i] = b[i] / a[i];
    benchmark::ClobberMemory();
  }
  kplbench::set_traffic(state, 3 * n * sizeof(Kpl32f));
}

void BM_Div_16s_Sfs(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  const Threads t(static_cast<int>(state.range(1)));
  Operands<Kpl16s> o(n);
  for (auto _ : state) {
    kplsDiv_16s_Sfs(o.a.as<Kpl16s>(), o.b.as<Kpl16s>(), o.d.as<Kpl16s>(), static_cast<int>(n), 1);
    benchmark::ClobberMemory();
  }
  kplbench::set_traffic(state, 3 * n * sizeof(Kpl16s));
}
// The obvious loop: the quotient times 2^-1 to nearest, saturated; a zero divisor
// gives the bound by the dividend's sign.
void BM_Div_16s_Sfs_plain(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  Operands<Kpl16s> o(n);
  const Kpl16s* a = o.a.as<Kpl16s>();
  const Kpl16s* b = o.b.as<Kpl16s>();
  Kpl16s* d = o.d.as<Kpl16s>();
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) {
      if (a[i] == 0) {
        d[i] = b[i] > 0 ? 32767 : (b[i] < 0 ? -32768 : 0);
      } else {
        const float q = std::nearbyint(static_cast<float>(b[i]) / (2.0f * a[i]));
        d[i] = static_cast<Kpl16s>(std::min(std::max(q, -32768.0f), 32767.0f));
      }
    }
    benchmark::ClobberMemory();
  }
  kplbench::set_traffic(state, 3 * n * sizeof(Kpl16s));
}

}  // namespace

BENCHMARK(BM_Div_32f)->Apply(sizes_and_threads)->UseRealTime();
BENCHMARK(BM_Div_32f_plain)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_Div_16s_Sfs)->Apply(sizes_and_threads)->UseRealTime();
BENCHMARK(BM_Div_16s_Sfs_plain)->Apply(sizes)->UseRealTime();
