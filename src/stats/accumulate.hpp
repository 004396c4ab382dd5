// The accumulation kernels that Sum, Mean, StdDev and MeanStdDev share, and the
// rounding steps of their integer results. Kernels take a count of elements
// (complex elements count once) and never check arguments.
#pragma once

#include <immintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "frame/entry.hpp"
#include "frame/rounding.hpp"

namespace kpl {
inline namespace q5 {

// Block sizes of the fast single-precision kernels, in elements.
constexpr size_t kFastSumBlock = 32768;
constexpr size_t kFastStdDevBlock = 1024;
// Above this many elements 32-bit lanes of 16-bit sums could overflow.
constexpr size_t kLaneFlush16s = 65536;

// Sums of 32f, or of the two parts of 32fc (parts = 2), into out[0..parts-1].
// Accurate: eight extended accumulators rotated over groups of eight floats, the
// remainder to the first (per part), then a tree. Fast: single-precision lanes
// in blocks, each block added into an extended accumulator per part.
void sum_32f_accurate(const float* x, size_t n, int parts, long double* out);
void sum_32f_fast(const float* x, size_t n, int parts, long double* out);
// Sums of 64f, or of 64fc (parts = 2): eight double accumulators.
void sum_64f(const double* x, size_t n, int parts, double* out);
// Exact sums of 16-bit elements, or of each part of 16sc.
int64_t sum_16s(const int16_t* x, size_t n);
void sum_16sc(const Kpl16sc* x, size_t n, int64_t out[2]);
// Exact sum of 32-bit elements (|sum| < 2^62 for any int length).
int64_t sum_32s(const int32_t* x, size_t n);

// The float sums as the entries and the means take them: extended, then double.
inline void sum_32f_by_hint(const float* x, size_t n, int parts, KplHintAlgorithm hint, double* out) {
  ExtendedPrecision x87;
  long double acc[2];
  if (hint == kplAlgHintFast) {
    sum_32f_fast(x, n, parts, acc);
  } else {
    sum_32f_accurate(x, n, parts, acc);
  }
  for (int p = 0; p < parts; ++p) out[p] = static_cast<double>(acc[p]);
}

// Nearest integer, ties to even, whatever the caller's rounding mode.
inline double round_even(double x) {
  return _mm_cvtsd_f64(_mm_round_sd(_mm_setzero_pd(), _mm_set_sd(x), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
}
inline long double round_even(long double x) {
  const long double f = floorl(x), d = x - f;  // exact
  if (d > 0.5L || (d == 0.5L && fmodl(f, 2.0L) != 0)) return f + 1;
  return f;
}

// A power-of-two scale factor applied by halving (s > 0) or doubling (s < 0):
// exact until it overflows or underflows, and past +-2048 no value changes its
// fate, so the count is clamped first.
inline int clamp_scale(int s) { return s > 2048 ? 2048 : (s < -2048 ? -2048 : s); }

}  // namespace q5
}  // namespace kpl
