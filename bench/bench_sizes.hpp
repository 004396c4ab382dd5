// What every element-wise benchmark shares: the three sizes (a working set in L1,
// in L2, and in memory), and the reference that moves the same bytes with memcpy.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

#include "kpls.h"

namespace kplbench {

// Bytes of one operand: 1 KiB, 256 KiB, 64 MiB.
inline void operand_sizes(benchmark::internal::Benchmark* b) {
  for (int64_t s : {int64_t{1} << 10, int64_t{256} << 10, int64_t{64} << 20}) b->Arg(s);
}

// Aligned scratch for benchmarks, freed on scope exit.
struct Scratch {
  explicit Scratch(size_t bytes) : p(kplsMalloc_8u(static_cast<int>(bytes))) { std::memset(p, 0x3C, bytes); }
  ~Scratch() { kplsFree(p); }
  template <class T>
  T* as() const {
    return reinterpret_cast<T*>(p);
  }
  Kpl8u* p;
};

// Reports traffic: every byte read plus every byte written, per iteration.
inline void set_traffic(benchmark::State& state, size_t bytes_per_iteration) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes_per_iteration));
}

}  // namespace kplbench
