// Magnitude_32fc and Phase_32fc beside the plain loops that compute the same
// results (the magnitude in binary64, rounded once to float, as the library
// does; the phase through std::atan2), at 1 KiB and 256 KiB of source. Traffic is
// every byte read plus every byte written. One thread: the comparison is of
// kernels.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cmath>
#include <cstdint>

#include "bench_sizes.hpp"
#include "kpls.h"

namespace {

void source_sizes(benchmark::internal::Benchmark* b) {
  for (int64_t s : {int64_t{1} << 10, int64_t{256} << 10}) b->Arg(s);
}

struct Operands {
  explicit Operands(size_t n) : n(n), src(n * sizeof(Kpl32fc)), dst(n * sizeof(Kpl32f)) {
    Kpl32fc* z = src.as<Kpl32fc>();
    for (size_t i = 0; i < n; ++i) z[i] = {std::cos(0.37f * i) * (1 + i % 13), std::sin(0.37f * i) * (1 + i % 7)};
  }
  size_t n;
  kplbench::Scratch src, dst;
};

class OneThread {
 public:
  OneThread() : saved_(omp_get_max_threads()) { omp_set_num_threads(1); }
  ~OneThread() { omp_set_num_threads(saved_); }

 private:
  int saved_;
};

template <class Body>
void run(benchmark::State& state, Body body) {
  const size_t n = static_cast<size_t>(state.range(0)) / sizeof(Kpl32fc);
  const OneThread one;
  Operands o(n);
  const Kpl32fc* s = o.src.as<Kpl32fc>();
  Kpl32f* d = o.dst.as<Kpl32f>();
  for (auto _ : state) {
    body(s, d, n);
    benchmark::ClobberMemory();
  }
  kplbench::set_traffic(state, n * (sizeof(Kpl32fc) + sizeof(Kpl32f)));
}

void BM_Magnitude_32fc(benchmark::State& state) {
  run(state, [](const Kpl32fc* s, Kpl32f* d, size_t n) { kplsMagnitude_32fc(s, d, static_cast<int>(n)); });
}
void BM_Magnitude_32fc_plain(benchmark::State& state) {
  run(state, [](const Kpl32fc* s, Kpl32f* d, size_t n) {
    for (size_t i = 0; i < n; ++i) {
      const double re = s[i].re, im = s[i].im;
      d[i] = static_cast<float>(std::sqrt(re * re + im * im));
    }
  });
}
void BM_Phase_32fc(benchmark::State& state) {
  run(state, [](const Kpl32fc* s, Kpl32f* d, size_t n) { kplsPhase_32fc(s, d, static_cast<int>(n)); });
}
void BM_Phase_32fc_plain(benchmark::State& state) {
  run(state, [](const Kpl32fc* s, Kpl32f* d, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = std::atan2(s[i].im, s[i].re);
  });
}

BENCHMARK(BM_Magnitude_32fc)->Apply(source_sizes);
BENCHMARK(BM_Magnitude_32fc_plain)->Apply(source_sizes);
BENCHMARK(BM_Phase_32fc)->Apply(source_sizes);
BENCHMARK(BM_Phase_32fc_plain)->Apply(source_sizes);

}  // namespace
